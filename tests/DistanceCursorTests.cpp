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

TEST(DistanceCursor, WithoutDataThereIsNoValue)
{
    DistanceCursor cursor;
    double distance = -1;
    EXPECT_EQ(cursor.TimeToDistance(5, distance), DistanceCursor::NoValue);
    cursor.SetData(nullptr);
    EXPECT_EQ(cursor.TimeToDistance(5, distance), DistanceCursor::NoValue);
    EXPECT_EQ(distance, -1);
}

TEST(DistanceCursor, ExactSampleTimeGivesItsValue)
{
    auto series = MakeDistances();
    DistanceCursor cursor;
    cursor.SetData(series);
    double distance = 0;
    EXPECT_EQ(cursor.TimeToDistance(10, distance), DistanceCursor::HasValue);
    EXPECT_EQ(distance, 10.0);
    EXPECT_EQ(cursor.TimeToDistance(20, distance), DistanceCursor::HasValue);
    EXPECT_EQ(distance, 30.0);
}

TEST(DistanceCursor, InterpolatesWithinAndAcrossContinuousRecords)
{
    auto series = MakeDistances();
    DistanceCursor cursor;
    cursor.SetData(series);
    double distance = 0;
    EXPECT_EQ(cursor.TimeToDistance(15, distance), DistanceCursor::HasValue);
    EXPECT_DOUBLE_EQ(distance, 20.0);
    // From the last sample of the first record to the first of the second.
    EXPECT_EQ(cursor.TimeToDistance(25, distance), DistanceCursor::HasValue);
    EXPECT_DOUBLE_EQ(distance, 35.0);
    EXPECT_EQ(cursor.TimeToDistance(35, distance), DistanceCursor::HasValue);
    EXPECT_DOUBLE_EQ(distance, 50.0);
}

TEST(DistanceCursor, TimeInsideABreakIsBeforeTheFirstSample)
{
    auto series = MakeDistances();
    DistanceCursor cursor;
    cursor.SetData(series);
    double distance = 0;
    EXPECT_EQ(cursor.TimeToDistance(35, distance), DistanceCursor::HasValue);
    EXPECT_EQ(cursor.TimeToDistance(70, distance), DistanceCursor::BeforeFirstSample);
    EXPECT_EQ(cursor.TimeToDistance(105, distance), DistanceCursor::HasValue);
    EXPECT_DOUBLE_EQ(distance, 105.0);
}

TEST(DistanceCursor, EndsOfTheData)
{
    auto series = MakeDistances();
    DistanceCursor cursor;
    cursor.SetData(series);
    double distance = 0;
    EXPECT_EQ(cursor.TimeToDistance(-5, distance), DistanceCursor::BeforeFirstSample);
    EXPECT_EQ(cursor.TimeToDistance(200, distance), DistanceCursor::NoValue);
    EXPECT_EQ(cursor.SampleIndex, -1);
    EXPECT_EQ(cursor.TimeToDistance(300, distance), DistanceCursor::NoValue);
}

TEST(DistanceCursor, IncreasingLookupsFetchEachRecordOnce)
{
    auto series = MakeDistances();
    DistanceCursor cursor;
    cursor.SetData(series);
    double distance = 0;
    for (qvx::time t = 0; t <= 110; t += 5) cursor.TimeToDistance(t, distance);
    EXPECT_EQ(series->RecordsFetched, (std::vector<LONG>{1, 2, 3}));
    EXPECT_EQ(series->ValueQueries, 0);
}

TEST(DistanceCursor, DroppingTheRecordStartsANewWalk)
{
    auto series = MakeDistances();
    DistanceCursor cursor;
    cursor.SetData(series);
    double distance = 0;
    ASSERT_EQ(cursor.TimeToDistance(105, distance), DistanceCursor::HasValue);
    cursor.DropRecord();
    // The walk starts from the last sample up to the time, so the sample before it is known.
    EXPECT_EQ(cursor.TimeToDistance(15, distance), DistanceCursor::HasValue);
    EXPECT_DOUBLE_EQ(distance, 20.0);
}

TEST(DistanceCursor, UnreadableRecordGivesNoValueAndIsTriedAgain)
{
    auto series = MakeDistances();
    DistanceCursor cursor;
    cursor.SetData(series);
    series->Failing = {"GetValues"};
    double distance = 0;
    EXPECT_EQ(cursor.TimeToDistance(15, distance), DistanceCursor::NoValue);
    EXPECT_FALSE(cursor.Record);
    series->Failing.clear();
    EXPECT_EQ(cursor.TimeToDistance(15, distance), DistanceCursor::HasValue);
    EXPECT_DOUBLE_EQ(distance, 20.0);
}
