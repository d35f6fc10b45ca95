#pragma once
// The samples of one channel in one recording, in records: unbroken runs of samples, periodic
// or each with its own time. A record that follows a gap does not continue the one before it.
// Records are also cut at a fixed length, and then continue each other.
//
// The searches are those of IQvxData: the first sample strictly after a time, the last one
// strictly before it, and the nearest one (at the time counts).
#include <windows.h>
#include <vector>
#include "Interfaces.h"

class CChannelData
{
public:
    struct CRecord
    {
        bool Periodic = true;
        bool Continuous = false;       // continues the record before it
        qvx::time Start = 0;           // time of sample 0 of a periodic record
        qvx::time Period = 0;
        std::vector<qvx::time> Times;  // aperiodic records only
        std::vector<double> Values;
        LONG LowerBound = 0;           // of the arrays that the record hands out

        size_t Count() const noexcept { return Values.size(); }
        qvx::time TimeAt(size_t index) const noexcept
        {
            return Periodic ? Start + qvx::time(index) * Period : Times[index];
        }
        qvx::time First() const noexcept { return TimeAt(0); }
        qvx::time Last() const noexcept { return TimeAt(Count() - 1); }
    };

    // A sample: record and index within it, both from 0.
    struct CPosition
    {
        size_t Record = 0;
        size_t Index = 0;
        bool operator==(const CPosition&) const = default;
    };

    // Samples longer than this are cut into continuing records.
    static constexpr size_t RecordLength = 8192;

    CChannelData() = default;
    CChannelData(const CChannelData&) = delete;
    CChannelData& operator=(const CChannelData&) = delete;

    const std::vector<CRecord>& Records() const noexcept { return RecordList; }
    size_t SampleCount() const noexcept { return Samples; }

    // Appends a sample; times must grow. `afterGap` starts a record that does not continue.
    void Append(qvx::time time, double value, bool periodic, qvx::time period, bool afterGap);

    bool FirstAfter(qvx::time time, CPosition& at) const;
    bool LastBefore(qvx::time time, CPosition& at) const;
    bool Nearest(qvx::time time, CPosition& at) const;
    bool First(CPosition& at) const;
    bool Last(CPosition& at) const;
    qvx::time TimeOf(const CPosition& at) const { return RecordList[at.Record].TimeAt(at.Index); }
    double ValueOf(const CPosition& at) const { return RecordList[at.Record].Values[at.Index]; }
    // The next sample along, across records.
    bool Next(CPosition& at) const;
    bool Previous(CPosition& at) const;
    // A gap lies between this sample and the one before it.
    bool GapBefore(const CPosition& at) const;

private:
    std::vector<CRecord> RecordList;
    size_t Samples = 0;
};
