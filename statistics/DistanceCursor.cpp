#include "statistics/DistanceCursor.h"

void DistanceCursor::SetData(IQvxData* data)
{
    DropRecord();
    Walk.Records = nullptr;
    Records = nullptr;
    Data = data;
    if (Data && FAILED(Data->GetRecords(Records.Out()))) Records = nullptr;
}

void DistanceCursor::DropRecord() noexcept
{
    Walk.Drop();
}

bool DistanceCursor::LoadRecord()
{
    // A record that cannot be read is not kept: the next lookup starts a new walk.
    if (Walk.Next() != CRecordWalker::Opened) return false;
    // Interpolation runs across a record boundary only where the data continue.
    HasPrevious = HasPrevious && Walk.Number != 1 && !Walk.BreakBefore;
    SampleIndex = Walk.First;
    return true;
}

bool DistanceCursor::StartWalk(qvx::time time)
{
    if (!Data || !Records) return false;
    // The last sample up to `time`: the search is strict, so ask just after it.
    const qvx::time after = time == INT64_MAX ? time : time + 1;
    LONG number = 1, index = 0;
    if (Data->LocateSample(after, 1, 0, &number, &index) != S_OK || index < 0) {
        number = 1;
        index = 0;
    }
    if (!Walk.Begin(Records, number, index)) return false;
    HasPrevious = false;
    return LoadRecord();
}

int DistanceCursor::TimeToDistance(qvx::time time, double& distance)
{
    if (!Walk.Record) {
        if (!StartWalk(time)) return NoValue;
    } else if (SampleIndex < 0) {
        return NoValue;
    }
    for (;;) {
        if (SampleIndex >= Walk.Count) {
            if (Walk.Number >= Walk.RecordCount) {
                SampleIndex = -1;
                return NoValue;
            }
            if (!LoadRecord()) return NoValue;
            continue;
        }
        const qvx::time sampleTime = Walk.TimeOf(SampleIndex);
        if (sampleTime >= time) break;
        PreviousValue = Walk.Values[SampleIndex];
        PreviousTime = sampleTime;
        HasPrevious = true;
        ++SampleIndex;
    }
    const qvx::time sampleTime = Walk.TimeOf(SampleIndex);
    const double value = Walk.Values[SampleIndex];
    if (sampleTime == time) {
        distance = value;
        return HasValue;
    }
    if (!HasPrevious) return BeforeFirstSample;
    distance = (value - PreviousValue) / double(sampleTime - PreviousTime) * double(time - PreviousTime) + PreviousValue;
    return HasValue;
}
