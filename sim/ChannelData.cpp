#include "sim/ChannelData.h"
#include <algorithm>

void CChannelData::Append(qvx::time time, double value, bool periodic, qvx::time period, bool afterGap)
{
    bool startRecord = RecordList.empty() || afterGap || RecordList.back().Count() >= RecordLength;
    if (startRecord) {
        CRecord record;
        record.Periodic = periodic;
        record.Continuous = !RecordList.empty() && !afterGap;
        record.Start = time;
        record.Period = periodic ? period : 0;
        // Odd-numbered records hand out arrays from 1, even-numbered ones from 0, so that
        // readers meet both.
        record.LowerBound = RecordList.size() % 2 == 0 ? 1 : 0;
        // A record takes its whole room at once, as a recorder's buffers do: grown by doubling,
        // it would leave a trail of freed blocks behind every record of a long recording.
        record.Values.reserve(RecordLength);
        if (!periodic) record.Times.reserve(RecordLength);
        RecordList.push_back(std::move(record));
    }
    CRecord& record = RecordList.back();
    if (!record.Periodic) record.Times.push_back(time);
    record.Values.push_back(value);
    ++Samples;
}

bool CChannelData::FirstAfter(qvx::time time, CPosition& at) const
{
    // The first record whose last sample lies after the time.
    auto record = std::partition_point(RecordList.begin(), RecordList.end(),
                                       [&](const CRecord& r) { return r.Last() <= time; });
    if (record == RecordList.end()) return false;
    size_t index = 0;
    if (record->First() <= time) {
        if (record->Periodic) {
            index = size_t((time - record->Start) / record->Period) + 1;
        } else {
            index = size_t(std::upper_bound(record->Times.begin(), record->Times.end(), time) - record->Times.begin());
        }
    }
    at = {size_t(record - RecordList.begin()), index};
    return true;
}

bool CChannelData::LastBefore(qvx::time time, CPosition& at) const
{
    // The last record whose first sample lies before the time.
    auto after = std::partition_point(RecordList.begin(), RecordList.end(),
                                      [&](const CRecord& r) { return r.First() < time; });
    if (after == RecordList.begin()) return false;
    const CRecord& record = *(after - 1);
    size_t index = record.Count() - 1;
    if (record.Last() >= time) {
        if (record.Periodic) {
            index = size_t((time - 1 - record.Start) / record.Period);
        } else {
            index = size_t(std::lower_bound(record.Times.begin(), record.Times.end(), time) - record.Times.begin()) - 1;
        }
    }
    at = {size_t(after - 1 - RecordList.begin()), index};
    return true;
}

bool CChannelData::Nearest(qvx::time time, CPosition& at) const
{
    CPosition before, after;
    bool hasBefore = LastBefore(time, before);
    bool hasAfter = FirstAfter(time, after);
    // A sample exactly at the time is the one after the last one before it.
    if (hasBefore) {
        CPosition next = before;
        if (Next(next) && TimeOf(next) == time) { at = next; return true; }
    } else if (First(at) && TimeOf(at) == time) {
        return true;
    }
    if (!hasBefore && !hasAfter) return false;
    if (!hasAfter) { at = before; return true; }
    if (!hasBefore) { at = after; return true; }
    // Distances taken unsigned, which cannot overflow; the earlier sample wins a tie.
    unsigned long long toBefore = (unsigned long long)time - (unsigned long long)TimeOf(before);
    unsigned long long toAfter = (unsigned long long)TimeOf(after) - (unsigned long long)time;
    at = toAfter < toBefore ? after : before;
    return true;
}

bool CChannelData::First(CPosition& at) const
{
    if (RecordList.empty()) return false;
    at = {0, 0};
    return true;
}

bool CChannelData::Last(CPosition& at) const
{
    if (RecordList.empty()) return false;
    at = {RecordList.size() - 1, RecordList.back().Count() - 1};
    return true;
}

bool CChannelData::Next(CPosition& at) const
{
    if (at.Index + 1 < RecordList[at.Record].Count()) { ++at.Index; return true; }
    if (at.Record + 1 < RecordList.size()) { at = {at.Record + 1, 0}; return true; }
    return false;
}

bool CChannelData::Previous(CPosition& at) const
{
    if (at.Index > 0) { --at.Index; return true; }
    if (at.Record > 0) { at = {at.Record - 1, RecordList[at.Record - 1].Count() - 1}; return true; }
    return false;
}

bool CChannelData::GapBefore(const CPosition& at) const
{
    return at.Index == 0 && at.Record > 0 && !RecordList[at.Record].Continuous;
}
