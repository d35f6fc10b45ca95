#pragma once
// A forward walk over the distance series of a selection: turns increasing times into distances
// with one pass over the samples, reading the host's arrays in place.
#include <windows.h>
#include "com/ComPtr.h"
#include "Interfaces.h"
#include "statistics/RecordWalker.h"

class DistanceCursor
{
public:
    // What TimeToDistance gives.
    enum Result { HasValue = 0, BeforeFirstSample = 1, NoValue = 2 };

    DistanceCursor() noexcept = default;
    DistanceCursor(const DistanceCursor&) = delete;
    DistanceCursor& operator=(const DistanceCursor&) = delete;

    // Drops the series, its records and the walk; with a series, takes it and its records.
    void SetData(IQvxData* data);
    // The distance at an absolute time, interpolated linearly between samples. Times must not
    // decrease between calls unless the walk was restarted.
    int TimeToDistance(qvx::time time, double& distance);
    // Releases the record: the next lookup starts a new walk.
    void DropRecord() noexcept;

    CComPtr<IQvxData> Data;
    CComPtr<IQvxDataRecords> Records;
    // The record being walked; it holds no record when no walk is under way.
    CRecordWalker Walk;
    // -1 when the data ended.
    LONG SampleIndex = 0;
    // PreviousValue and PreviousTime hold the sample before the current one.
    bool HasPrevious = false;
    double PreviousValue = 0.0;
    qvx::time PreviousTime = 0;

private:
    bool LoadRecord();
    bool StartWalk(qvx::time time);
};
