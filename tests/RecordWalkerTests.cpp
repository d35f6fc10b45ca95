// The record walk: samples of periodic and aperiodic records with any lower bound, breaks only
// where a record is entered at its start, records that cannot be read, and arrays unlocked and
// destroyed however the walk ends.
#include <gtest/gtest.h>
#include <string>
#include <vector>
#include "sim/HostArrays.h"
#include "statistics/RecordWalker.h"
#include "tests/TestSeries.h"

using namespace qvxtest;

namespace {

// Aperiodic 1, 2, 3 at 0, 10, 20 (lower bound 1); periodic 4, 5 at 30, 40 (lower bound -2),
// continuous; after a break periodic 6, 7 at 100, 110.
CTestSeriesPtr MakeSeries()
{
    auto series = CTestSeries::Create();
    series->AddAperiodic({0, 10, 20}, {1.0, 2.0, 3.0}, true, 1);
    series->AddPeriodic(30, 10, {4.0, 5.0}, true, -2);
    series->AddPeriodic(100, 10, {6.0, 7.0}, false);
    return series;
}

// The walk as text: "time=value" for each sample, "|" before a break, "?" for a record that
// could not be read, "!" for a failure.
std::string Walk(IQvxDataRecords* records, LONG number, LONG index, int stopAfterRecords = 100)
{
    CRecordWalker walker;
    if (!walker.Begin(records, number, index)) return "!";
    std::string text;
    for (int r = 0; r < stopAfterRecords; ++r) {
        const CRecordWalker::Status status = walker.Next();
        if (status == CRecordWalker::Ended) break;
        if (status == CRecordWalker::Failed) return text + "!";
        if (status == CRecordWalker::Unreadable) {
            text += "? ";
            continue;
        }
        if (walker.BreakBefore) text += "| ";
        for (LONG i = walker.First; i < walker.Count; ++i)
            text += std::to_string(walker.TimeOf(i)) + "=" + std::to_string(int(walker.Values[i])) + " ";
    }
    return text;
}

} // namespace

TEST(RecordWalker, WalksRecordsInPlaceAndLeavesNoArrayBehind)
{
    struct CRow
    {
        const char* Name;
        LONG Number, Index;
        const char* Failing;
        LONG FailingValuesRecord;
        int StopAfter;
        std::string Expected;
    };
    const CRow rows[] = {
        {"the whole series", 1, 0, nullptr, 0, 100, "0=1 10=2 20=3 30=4 40=5 | 100=6 110=7 "},
        {"from inside the first record", 1, 2, nullptr, 0, 100, "20=3 30=4 40=5 | 100=6 110=7 "},
        {"entered inside a record after a break, no break shows", 3, 1, nullptr, 0, 100, "110=7 "},
        {"entered at the start of a record after a break", 3, 0, nullptr, 0, 100, "| 100=6 110=7 "},
        {"a record whose values fail is passed", 1, 0, nullptr, 2, 100, "0=1 10=2 20=3 ? | 100=6 110=7 "},
        {"times that fail make an aperiodic record unreadable", 1, 0, "GetTimes", 0, 100, "? 30=4 40=5 | 100=6 110=7 "},
        {"a record that can not be fetched ends the walk", 1, 0, "GetRecord", 0, 100, "!"},
        {"a break that can not be asked ends the walk", 2, 0, "GetIsContinuous", 0, 100, "!"},
        {"no count, no walk", 1, 0, "GetCount", 0, 100, "!"},
        {"a walk left with a record open", 1, 0, nullptr, 0, 2, "0=1 10=2 20=3 30=4 40=5 "},
    };
    for (const CRow& row : rows) {
        CHostArrays::Reset();
        auto series = MakeSeries();
        if (row.Failing) series->Failing = {row.Failing};
        series->FailingValuesRecord = row.FailingValuesRecord;
        CComPtr<IQvxDataRecords> records;
        ASSERT_EQ(series->GetRecords(records.Out()), S_OK);
        EXPECT_EQ(Walk(records, row.Number, row.Index, row.StopAfter), row.Expected) << row.Name;
        const CArrayBalance balance = CHostArrays::Balance();
        EXPECT_TRUE(balance.Watching);
        EXPECT_EQ(balance.Outstanding(), 0) << row.Name << ": arrays not destroyed";
        EXPECT_EQ(balance.Locked, 0) << row.Name << ": arrays left locked";
    }
}
