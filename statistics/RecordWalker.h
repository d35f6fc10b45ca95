#pragma once
// A walk over the records of a host series, one record at a time, its samples read in place
// through the arrays' data pointers: the arrays stay locked while the record is held and are
// unlocked when the walk moves on, ends or is dropped. Statistics, the distance walk and the
// trace regions all read samples through it.
#include <windows.h>
#include <optional>
#include "com/AutomationTypes.h"
#include "com/ComPtr.h"
#include "Interfaces.h"

class CRecordWalker
{
public:
    // What Next gives.
    enum Status {
        // A record is open: its samples from First to Count - 1 are there to read.
        Opened,
        // The walk is past the last record.
        Ended,
        // A host call that the walk needs failed: no record is open.
        Failed,
        // The record is there but its samples can not be read; Next goes on past it.
        Unreadable,
    };

    CRecordWalker() noexcept = default;
    CRecordWalker(const CRecordWalker&) = delete;
    CRecordWalker& operator=(const CRecordWalker&) = delete;

    // Starts a walk at record `number` (1-based), sample `index`. False when the count of the
    // records can not be read.
    bool Begin(IQvxDataRecords* records, LONG number, LONG index);
    // Opens the next record of the walk, the first at the first call.
    Status Next();
    // Unlocks the arrays and lets the record go; the walk goes on with the next record.
    void Drop() noexcept;

    // The time of sample `i` of the open record.
    qvx::time TimeOf(LONG i) const noexcept { return Times ? Times[i] : Start + qvx::time(i) * Period; }
    // Calls `visit` with a function from sample index to time, of the kind of the open record,
    // so that a loop over samples is compiled once for each kind.
    template <class Visit>
    decltype(auto) WithTimes(Visit&& visit) const
    {
        if (Times) {
            const qvx::time* times = Times;
            return visit([times](LONG i) { return times[i]; });
        }
        const qvx::time start = Start, period = Period;
        return visit([start, period](LONG i) { return start + qvx::time(i) * period; });
    }

    CComPtr<IQvxDataRecords> Records;
    CComPtr<IQvxDataRecord> Record;
    // The open record's number, and the count of the series' records at Begin.
    LONG Number = 0;
    LONG RecordCount = 0;
    // The first sample to read: the index of Begin in the first record, 0 after.
    LONG First = 0;
    // The samples of the open record; Count is cut to the times where the times are fewer.
    LONG Count = 0;
    const double* Values = nullptr;
    // Null for a periodic record.
    const qvx::time* Times = nullptr;
    qvx::time Start = 0;
    qvx::time Period = 0;
    // The open record does not go on from the one before: it is not continuous, is not the
    // series' first record, and the walk entered it at its first sample.
    bool BreakBefore = false;
    // The aperiodic record has fewer times than values.
    bool TimesShort = false;

private:
    Status Open();

    LONG NextIndex = 0;
    // The locks go before the arrays.
    CSafeArray ValueArray;
    CSafeArray TimeArray;
    std::optional<CSafeArrayAccess<double>> ValueAccess;
    std::optional<CSafeArrayAccess<qvx::time>> TimeAccess;
};
