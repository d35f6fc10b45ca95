#include "statistics/DistanceCursor.h"

void DistanceCursor::SetData(IQvxData* data)
{
    DropRecord();
    Records = nullptr;
    Data = data;
    if (Data && FAILED(Data->GetRecords(Records.Out()))) Records = nullptr;
}

void DistanceCursor::DropRecord() noexcept
{
    Times = nullptr;
    Values = nullptr;
    TimeAccess.reset();
    ValueAccess.reset();
    TimeArray = CSafeArray();
    ValueArray = CSafeArray();
    SampleCount = 0;
    Record = nullptr;
}

bool DistanceCursor::LoadRecord()
{
    if (OpenRecord()) return true;
    // A record that cannot be read is not kept: the next lookup starts a new walk.
    DropRecord();
    return false;
}

bool DistanceCursor::OpenRecord()
{
    DropRecord();
    if (FAILED(Records->GetRecord(RecordNumber, Record.Out())) || !Record) return false;
    if (FAILED(Record->GetValues(ValueArray.Out()))) return false;
    ValueAccess.emplace(ValueArray.Get());
    if (!ValueAccess->Valid()) return false;
    Values = ValueAccess->Get();
    SampleCount = LONG(ValueAccess->Size());

    VARIANT_BOOL continuous = VARIANT_FALSE, periodic = VARIANT_FALSE;
    if (FAILED(Record->GetIsContinuous(&continuous)) || FAILED(Record->GetIsPeriodic(&periodic))) return false;
    // Interpolation runs across a record boundary only where the data continue.
    HasPrevious = HasPrevious && RecordNumber != 1 && continuous != 0;
    if (periodic != 0)
        return SUCCEEDED(Record->GetStartTime(&RecordStart)) && SUCCEEDED(Record->GetPeriod(&RecordPeriod));

    if (FAILED(Record->GetTimes(TimeArray.Out()))) return false;
    TimeAccess.emplace(TimeArray.Get());
    if (!TimeAccess->Valid()) return false;
    Times = TimeAccess->Get();
    // A times array shorter than the values ends the record where the times end.
    if (LONG(TimeAccess->Size()) < SampleCount) SampleCount = LONG(TimeAccess->Size());
    return true;
}

bool DistanceCursor::StartWalk(qvx::time time)
{
    if (!Data || !Records) return false;
    if (FAILED(Records->GetCount(&RecordCount))) {
        RecordCount = 0;
        return false;
    }
    // The last sample up to `time`: the search is strict, so ask just after it.
    const qvx::time after = time == INT64_MAX ? time : time + 1;
    if (Data->LocateSample(after, 1, 0, &RecordNumber, &SampleIndex) != S_OK || SampleIndex < 0) {
        RecordNumber = 1;
        SampleIndex = 0;
    }
    HasPrevious = false;
    return LoadRecord();
}

int DistanceCursor::TimeToDistance(qvx::time time, double& distance)
{
    if (!Record) {
        if (!StartWalk(time)) return NoValue;
    } else if (SampleIndex < 0) {
        return NoValue;
    }
    for (;;) {
        if (SampleIndex >= SampleCount) {
            if (RecordNumber >= RecordCount) {
                SampleIndex = -1;
                return NoValue;
            }
            ++RecordNumber;
            SampleIndex = 0;
            if (!LoadRecord()) return NoValue;
            continue;
        }
        const qvx::time sampleTime = SampleTime(SampleIndex);
        if (sampleTime >= time) break;
        PreviousValue = Values[SampleIndex];
        PreviousTime = sampleTime;
        HasPrevious = true;
        ++SampleIndex;
    }
    const qvx::time sampleTime = SampleTime(SampleIndex);
    const double value = Values[SampleIndex];
    if (sampleTime == time) {
        distance = value;
        return HasValue;
    }
    if (!HasPrevious) return BeforeFirstSample;
    distance = (value - PreviousValue) / double(sampleTime - PreviousTime) * double(time - PreviousTime) + PreviousValue;
    return HasValue;
}
