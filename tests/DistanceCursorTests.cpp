// The forward walk over a distance series: exact samples, interpolation across records, breaks,
// the ends of the data, and one record fetch per record for increasing lookups.
#include <gtest/gtest.h>
#include "statistics/DistanceCursor.h"
#include "tests/TestSeries.h"

using namespace qvxtest;

namespace {

// Distances 0, 10, 30 at 0, 10, 20 (aperiodic, lower bound 1), then a continuous periodic record
// 40, 60 at 30, 40, then after a break 100, 110 at 100, 110.
CTestSeriesPtr MakeDistances()
{
    auto series = CTestSeries::Create();
    series->AddAperiodic({0, 10, 20}, {0.0, 10.0, 30.0}, true, 1);
    series->AddPeriodic(30, 10, {40.0, 60.0}, true, -2);
    series->AddPeriodic(100, 10, {100.0, 110.0}, false);
    return series;
}

} // namespace

TEST(DistanceCursor, LookupsAloneAndInOneIncreasingWalk)
{
    struct CRow
    {
        const char* Name;
        qvx::time Time;
        DistanceCursor::Result Status;
        double Distance;
    };
    // In increasing time, so that one cursor can walk them all.
    const CRow rows[] = {
        {"before the data", -5, DistanceCursor::BeforeFirstSample, 0},
        {"at a sample", 10, DistanceCursor::HasValue, 10.0},
        {"within a record", 15, DistanceCursor::HasValue, 20.0},
        {"at the last sample of a record", 20, DistanceCursor::HasValue, 30.0},
        {"across continuous records", 25, DistanceCursor::HasValue, 35.0},
        {"in a periodic record", 35, DistanceCursor::HasValue, 50.0},
        {"inside a break", 70, DistanceCursor::BeforeFirstSample, 0},
        {"after a break", 105, DistanceCursor::HasValue, 105.0},
        {"after the data", 200, DistanceCursor::NoValue, 0},
        {"long after the data", 300, DistanceCursor::NoValue, 0},
    };
    auto series = MakeDistances(), walked = MakeDistances();
    DistanceCursor walk;
    walk.SetData(walked);
    for (const CRow& row : rows) {
        DistanceCursor alone;
        alone.SetData(series);
        for (DistanceCursor* cursor : {&alone, &walk}) {
            double distance = 0;
            EXPECT_EQ(row.Status, cursor->TimeToDistance(row.Time, distance)) << row.Name;
            if (row.Status == DistanceCursor::HasValue) {
                EXPECT_DOUBLE_EQ(row.Distance, distance) << row.Name;
            }
        }
    }
    EXPECT_EQ(walk.SampleIndex, -1);
    // The walk fetched each record once and asked for no single value.
    EXPECT_EQ(walked->RecordsFetched, (std::vector<LONG>{1, 2, 3}));
    EXPECT_EQ(walked->ValueQueries, 0);
    // Without data there is no value.
    DistanceCursor none;
    double distance = -1;
    EXPECT_EQ(none.TimeToDistance(5, distance), DistanceCursor::NoValue);
    none.SetData(nullptr);
    EXPECT_EQ(none.TimeToDistance(5, distance), DistanceCursor::NoValue);
    EXPECT_EQ(distance, -1);
}

TEST(DistanceCursor, ADroppedOrUnreadableRecordStartsANewWalk)
{
    auto series = MakeDistances();
    DistanceCursor cursor, fresh;
    cursor.SetData(series);
    fresh.SetData(series);
    double distance = 0;
    ASSERT_EQ(cursor.TimeToDistance(105, distance), DistanceCursor::HasValue);
    cursor.DropRecord();
    // The walk starts from the last sample up to the time, so the sample before it is known.
    EXPECT_EQ(cursor.TimeToDistance(15, distance), DistanceCursor::HasValue);
    EXPECT_DOUBLE_EQ(distance, 20.0);
    series->Failing = {"GetValues"};
    EXPECT_EQ(fresh.TimeToDistance(15, distance), DistanceCursor::NoValue);
    EXPECT_FALSE(fresh.Walk.Record);
    series->Failing.clear();
    EXPECT_EQ(fresh.TimeToDistance(15, distance), DistanceCursor::HasValue);
    EXPECT_DOUBLE_EQ(distance, 20.0);
}
