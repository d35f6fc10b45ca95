#include "statistics/RecordWalker.h"

bool CRecordWalker::Begin(IQvxDataRecords* records, LONG number, LONG index)
{
    Drop();
    Records = records;
    Number = number - 1;
    NextIndex = index;
    RecordCount = 0;
    return Records && SUCCEEDED(Records->GetCount(&RecordCount));
}

void CRecordWalker::Drop() noexcept
{
    Times = nullptr;
    Values = nullptr;
    Count = 0;
    TimeAccess.reset();
    ValueAccess.reset();
    TimeArray = CSafeArray();
    ValueArray = CSafeArray();
    Record = nullptr;
}

CRecordWalker::Status CRecordWalker::Next()
{
    Drop();
    if (!Records || Number >= RecordCount) return Ended;
    ++Number;
    First = NextIndex;
    NextIndex = 0;
    const Status status = Open();
    if (status != Opened) Drop();
    return status;
}

CRecordWalker::Status CRecordWalker::Open()
{
    if (FAILED(Records->GetRecord(Number, Record.Out())) || !Record) return Failed;
    VARIANT_BOOL continuous = VARIANT_TRUE;
    // Only a record entered at its start can break the line: a walk that begins inside one
    // has nothing before it.
    if (First == 0 && Number != 1 && FAILED(Record->GetIsContinuous(&continuous))) return Failed;
    BreakBefore = continuous == 0;

    VARIANT_BOOL periodic = VARIANT_FALSE;
    if (FAILED(Record->GetIsPeriodic(&periodic)) || FAILED(Record->GetValues(ValueArray.Out()))) return Unreadable;
    ValueAccess.emplace(ValueArray.Get());
    if (!ValueAccess->Valid()) return Unreadable;
    Count = LONG(ValueAccess->Size());
    Values = ValueAccess->Get();

    TimesShort = false;
    if (periodic != 0) {
        if (FAILED(Record->GetStartTime(&Start)) || FAILED(Record->GetPeriod(&Period))) return Unreadable;
        return Opened;
    }
    if (FAILED(Record->GetTimes(TimeArray.Out()))) return Unreadable;
    TimeAccess.emplace(TimeArray.Get());
    if (!TimeAccess->Valid()) return Unreadable;
    Times = TimeAccess->Get();
    if (LONG(TimeAccess->Size()) < Count) {
        TimesShort = true;
        Count = LONG(TimeAccess->Size());
    }
    return Opened;
}
