// The statistics calculators and the record and distance walks beneath them, over series with
// exactly known samples; every test ends with each array it was handed destroyed and unlocked.
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <sstream>
#include <utility>
#include "sim/HostArrays.h"
#include "statistics/DistanceCursor.h"
#include "statistics/StatisticsCalculator.h"
#include "tests/TestSeries.h"

using namespace qvxtest;

namespace {

using CFiniteMinMax = CStatisticsCalculator<qvx::time, CMinMaxStatsBin, false>;
using CAllMinMax = CStatisticsCalculator<qvx::time, CMinMaxStatsBin, true>;
using CLinearTime = CStatisticsCalculator<qvx::time, CLinearStatsBin<qvx::time>, true>;
using CHoldTime = CStatisticsCalculator<qvx::time, CHoldStatsBin<qvx::time>, true>;
using CLinearDistance = CStatisticsCalculator<double, CLinearStatsBin<double>, true>;
using CHoldDistance = CStatisticsCalculator<double, CHoldStatsBin<double>, true>;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Inf = std::numeric_limits<double>::infinity();

std::vector<double> Ramp(int count, double first = 0.0)
{
    std::vector<double> values(count);
    for (int i = 0; i < count; ++i) values[i] = first + i;
    return values;
}

// Distances 0, 10, 30 at 0, 10, 20 (aperiodic, arrays from 1), continued by a periodic record of
// 40, 60 at 30, 40 (arrays from -2), then after a break 100, 110 at 100, 110.
CTestSeriesPtr ThreeRecords()
{
    auto series = CTestSeries::Create();
    series->AddAperiodic({0, 10, 20}, {0.0, 10.0, 30.0}, true, 1);
    series->AddPeriodic(30, 10, {40.0, 60.0}, true, -2);
    series->AddPeriodic(100, 10, {100.0, 110.0}, false);
    return series;
}

struct CResult
{
    bool Valid = false;
    double Minimum = 0, Maximum = 0, Mean = 0;
    qvx::time MinimumTime = 0, MaximumTime = 0;
    bool HasGap = false;
    std::vector<LONG> Counts;
};

template <class Calculator>
CResult ResultOf(const Calculator& c)
{
    CResult r{bool(c.Valid), c.Minimum, c.Maximum, c.Mean, c.MinimumTime, c.MaximumTime, bool(c.HasGap), {}};
    for (const auto& bin : c.Bins) r.Counts.push_back(bin->Count);
    return r;
}

// "minimum@time maximum@time mean m gap bins n n", or "none" without a result; the mean to six
// digits, and the counts of the bins only when asked.
std::string Text(const CResult& r, bool mean, bool bins)
{
    std::ostringstream text;
    if (!r.Valid) text << "none";
    if (r.Valid) text << r.Minimum << '@' << r.MinimumTime << ' ' << r.Maximum << '@' << r.MaximumTime;
    if (r.Valid && mean) text << " mean " << r.Mean;
    if (r.Valid && r.HasGap) text << " gap";
    if (bins) text << " bins";
    for (LONG count : bins ? r.Counts : std::vector<LONG>{}) text << ' ' << count;
    return text.str();
}

// Equal, NaN to NaN too; the mean within rounding, and only when asked, as is the break flag.
bool Matches(const CResult& c, const CResult& e, bool mean, bool gap)
{
    const auto same = [](double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); };
    if (c.Valid != e.Valid) return false;
    if (!e.Valid) return true;
    return same(c.Minimum, e.Minimum) && same(c.Maximum, e.Maximum) && c.MinimumTime == e.MinimumTime
        && c.MaximumTime == e.MaximumTime && (!mean || std::abs(c.Mean - e.Mean) <= 1e-7 * (1 + std::abs(e.Mean)))
        && (!gap || c.HasGap == e.HasGap);
}

template <class Calculator>
CResult CalculateOnce(IQvxData2* series, LONG binSize, qvx::time from, qvx::time to)
{
    Calculator c(binSize);
    c.Calculate(series, from, to);
    return ResultOf(c);
}

// The result of one calculation as text; the mean of min-max bins means nothing and is left out.
template <class Calculator, bool Mean>
std::string TextOnce(IQvxData2* series, LONG binSize, qvx::time from, qvx::time to)
{
    return Text(CalculateOnce<Calculator>(series, binSize, from, to), Mean, true);
}

// The values handed out since the counts were reset, and the records they came from.
std::string Reads(const CTestSeries& series)
{
    std::string text = std::to_string(series.ValuesHandedOut) + " values from records";
    for (LONG record : series.RecordsFetched) text += ' ' + std::to_string(record);
    return text;
}

class StatisticsCalculator : public ::testing::Test
{
protected:
    void SetUp() override { CHostArrays::Reset(); }
    void TearDown() override
    {
        const CArrayBalance balance = CHostArrays::Balance();
        EXPECT_TRUE(balance.Balanced()) << balance.HandedOut << " arrays handed out, " << balance.Destroyed
                                        << " destroyed, " << balance.Locked << " left locked";
    }
};
using DistanceWalk = StatisticsCalculator;

} // namespace

TEST_F(StatisticsCalculator, ResultsOfOneCalculation)
{
    using CRunOf = std::string (*)(IQvxData2*, LONG, qvx::time, qvx::time);
    const auto periodic = [](std::vector<double> v) { return [v](CTestSeries& s) { s.AddPeriodic(0, 10, v); }; };
    const auto tied = [](std::vector<double> v) { return [v](CTestSeries& s) { s.AddPeriodic(0, 1, v); }; };
    const auto broken = [](CTestSeries& s) {
        s.AddPeriodic(0, 10, {1.0, 1.0, 1.0, 1.0});
        s.AddPeriodic(100, 10, {3.0, 3.0, 3.0, 3.0}, false);
    };
    const std::vector<double> ties{5.0, 1.0, 9.0, 1.0, 9.0, 5.0, 1.0}, odd{NaN, 3.0, Inf, -2.0, NaN, 1e308, -Inf, 1.0};
    const CRunOf finite = TextOnce<CFiniteMinMax, false>, all = TextOnce<CAllMinMax, false>,
                 linear = TextOnce<CLinearTime, true>, hold = TextOnce<CHoldTime, true>;
    using CFill = std::function<void(CTestSeries&)>;
    struct { const char* Name; CFill Fill; CRunOf Run; LONG Bin; qvx::time From, To; const char* Result; } rows[] = {
        {"an empty series", [](CTestSeries&) {}, finite, 1000, 0, 1000, "none bins"},
        {"a range that ends before it starts", periodic({4.0, -3.0}), linear, 150, 0, -100, "none bins"},
        {"the whole time axis", [](CTestSeries& s) { s.AddAperiodic({-50, -40, -30}, {4.0, -3.0, 8.0}); }, linear, 150,
         INT64_MIN, INT64_MAX, "-3@-40 8@-30 mean 1.5 bins 3"},
        {"held values", periodic({0.0, 10.0, 10.0}), hold, 150, 0, 20, "0@0 10@10 mean 5 bins 3"},
        // The edge at 5 is a linear 5 even for held values, held to 10: (5 * 5 + 10 * 10) / 15.
        {"held values from an edge", periodic({0.0, 10.0, 10.0}), hold, 150, 5, 20, "5@5 10@10 mean 8.33333 bins 3"},
        {"values that are not finite left out", periodic(odd), finite, 1000, 0, 70, "-2@30 1e+308@50 bins 4"},
        // A NaN first in the bin is replaced by no comparison.
        {"values that are not finite taken in", periodic(odd), all, 1000, 0, 70, "nan@0 nan@0 bins 8"},
        {"only NaN", periodic({NaN, NaN, NaN}), finite, 1000, 0, 20, "none bins"},
        {"ties across bins", tied(ties), finite, 2, 0, 6, "1@1 9@2 bins 2 2 2 2 2 2"},
        // A new bin after the break; the stretch of the break counts for nothing in the mean.
        {"a record that does not continue", broken, linear, 150, 0, 130, "1@0 3@100 mean 2 gap bins 4 4"},
        // A bin full at its last sample shares it with the next: no hole in the integral.
        {"a bin full at its last sample", periodic(Ramp(8, 1.0)), linear, 4, 0, 40, "1@0 5@40 mean 3 bins 4 2"},
    };
    for (const auto& row : rows) {
        auto series = CTestSeries::Create();
        row.Fill(*series);
        EXPECT_EQ(row.Result, row.Run(series, row.Bin, row.From, row.To)) << row.Name;
    }
}

TEST_F(StatisticsCalculator, SecondCalculateWithoutChangeReadsNothingAndANullSeriesEmptiesTheBins)
{
    auto series = CTestSeries::Create();
    series->AddPeriodic(0, 10, Ramp(100));
    CLinearTime calculator(10);
    calculator.Calculate(series, 0, 990);
    ASSERT_TRUE(calculator.Valid);
    // Nothing changed, so nothing is folded again: a planted value survives.
    calculator.Mean = 1234.0;
    series->ResetCounts();
    calculator.Calculate(series, 0, 990);
    EXPECT_EQ("0 values from records", Reads(*series));
    EXPECT_EQ(std::make_pair(0, 2), std::make_pair(series->ValueQueries, series->SampleTimeQueries));
    EXPECT_EQ("0@0 99@990 mean 1234", Text(ResultOf(calculator), true, false));
    calculator.Calculate(nullptr, 0, 990);
    EXPECT_EQ("none bins", Text(ResultOf(calculator), true, true));
}

TEST_F(StatisticsCalculator, InvalidateDropsTheBinsThatTheSpanTouchesAndOnlyTheirGapIsRead)
{
    // 21 samples in records of 5: bins [0..90], [90..180], [180..200], named by their starts.
    const struct { const char* Name; qvx::time From, To; std::vector<qvx::time> Left; const char* Read; } rows[] = {
        {"the middle of three bins", 120, 140, {0, 180}, "10 values from records 3 4"},
        {"a sample that two bins share", 180, 180, {0}, "11 values from records 3 4 5"},
        {"beyond all bins", 300, 400, {0, 90, 180}, "0 values from records"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.Name);
        auto series = CTestSeries::Create();
        for (int r = 0; r < 4; ++r) series->AddPeriodic(r * 50, 10, Ramp(5, r * 5.0), true, 1);
        series->AddPeriodic(200, 10, {20.0}, true, 1);
        CFiniteMinMax calculator(10);
        calculator.Calculate(series, 0, 200);
        ASSERT_EQ(calculator.Bins.size(), 3u);
        series->Records[2].Values[3] = 100.0;   // sample 13, at 130
        calculator.Invalidate(row.From, row.To);
        std::vector<qvx::time> left;
        for (const auto& bin : calculator.Bins) left.push_back(bin->StartTime);
        EXPECT_EQ(row.Left, left);
        series->ResetCounts();
        calculator.Calculate(series, 0, 200);
        EXPECT_EQ(row.Read, Reads(*series));
        // Bins left over a change that was not reported keep the old values; else as a fresh calculator, bin for bin.
        if (row.Left.size() == 3) continue;
        const CResult fresh = CalculateOnce<CFiniteMinMax>(series, 10, 0, 200);
        EXPECT_EQ(Text(fresh, false, true), Text(ResultOf(calculator), false, true));
    }
}

TEST_F(StatisticsCalculator, DroppedBinsAreFoldedAgainWhenNothingNewIsRead)
{
    // The first bin ends at an edge at 65, between samples: the second starts there.
    auto series = CTestSeries::Create();
    series->AddPeriodic(0, 10, {-100.0, -100.0, -100.0, -100.0, -100.0, -100.0, -100.0, 1.0, 2.0, 3.0, 4.0});
    CFiniteMinMax calculator(1000);
    calculator.Calculate(series, 65, 100);
    calculator.Calculate(series, 0, 100);
    ASSERT_EQ(calculator.Bins.size(), 2u);
    ASSERT_EQ(calculator.Minimum, -100.0);
    // The host drops its samples up to 60 and reports that span: the bin from 65 on is all that is left.
    series->Records.clear();
    series->AddPeriodic(70, 10, {1.0, 2.0, 3.0, 4.0});
    calculator.Invalidate(0, 60);
    calculator.Calculate(series, 0, 100);
    EXPECT_EQ("-49.5@65 4@100 bins 5", Text(ResultOf(calculator), false, true));
}

TEST_F(StatisticsCalculator, LiveDataReadsOnlyNewSamplesAndASlidingStartOnlyTheFirstGap)
{
    auto series = CTestSeries::Create();
    const std::vector<double> first = Ramp(1000), more(250, 5000.0);
    series->Append(first.data(), first.size(), 10, 100);
    CFiniteMinMax calculator(100);
    calculator.Calculate(series, 0, 9990);
    series->Append(more.data(), more.size(), 10, 100);
    calculator.Invalidate(10000, 12490);
    series->ResetCounts();
    calculator.Calculate(series, 0, 12490);
    // The new samples fill records 11 to 13, and nothing before them is read again.
    EXPECT_EQ("250 values from records 11 12 13", Reads(*series));
    EXPECT_EQ("0@0 5000@10000", Text(ResultOf(calculator), false, false));
    // The bins from 2970 on stay; 2500..2970 lies in record 3.
    series->ResetCounts();
    calculator.Calculate(series, 2500, 12490);
    EXPECT_EQ("100 values from records 3", Reads(*series));
    EXPECT_EQ(calculator.Bins.front()->StartTime, 2500);
    EXPECT_EQ("250@2500 5000@10000", Text(ResultOf(calculator), false, false));
    const CResult fresh = CalculateOnce<CFiniteMinMax>(series, 100, 2500, 12490);
    EXPECT_EQ(Text(fresh, true, false), Text(ResultOf(calculator), true, false));
}

TEST_F(StatisticsCalculator, AnUnreadRecordEndsTheReadWithoutAnEdgeAndIsReadAtTheNextCalculate)
{
    struct { const char* Name; LONG CTestSeries::*Fault; LONG Record; qvx::time End; const char* Result; } rows[] = {
        {"values that fail", &CTestSeries::FailingValuesRecord, 3, 190, "0@0 19@190"},
        {"an empty array of values", &CTestSeries::EmptyValuesRecord, 2, 90, "0@0 9@90"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.Name);
        auto series = CTestSeries::Create();
        for (int r = 0; r < 5; ++r) series->AddPeriodic(r * 100, 10, Ramp(10, r * 10.0));
        (*series).*row.Fault = row.Record;
        CFiniteMinMax calculator(1000);
        calculator.Calculate(series, 0, 490);
        EXPECT_EQ(row.Result, Text(ResultOf(calculator), false, false));
        EXPECT_EQ(calculator.Bins.back()->EndTime, row.End);
        (*series).*row.Fault = 0;
        calculator.Calculate(series, 0, 490);
        EXPECT_EQ("0@0 49@490", Text(ResultOf(calculator), false, false));
    }
}

TEST_F(StatisticsCalculator, FailingSearchesAndRecordsNeverCrash)
{
    auto series = CTestSeries::Create();
    series->AddPeriodic(0, 10, Ramp(10));
    for (const char* operation : {"GetRecords", "GetCount", "GetRecord", "GetIsPeriodic", "GetIsContinuous",
                                  "GetValueAt", "LocateSample", "GetSampleTime", "GetTimes"}) {
        series->Failing = {operation};
        CLinearTime calculator(4);
        calculator.Calculate(series, 0, 90);
        series->Failing.clear();
        calculator.Calculate(series, 0, 90);
        EXPECT_EQ("0@0 9@90 mean 4.5", Text(ResultOf(calculator), true, false)) << operation;
    }
}

TEST_F(StatisticsCalculator, DistanceCalculatorsIntegrateOverDistance)
{
    auto distance = CTestSeries::Create();
    distance->AddAperiodic({0, 10, 20}, {0.0, 10.0, 40.0});
    auto series = CTestSeries::Create();
    series->AddPeriodic(0, 10, {0.0, 10.0, 10.0});
    DistanceCursor cursor;
    cursor.SetData(distance);
    CLinearDistance linear(150, &cursor);
    linear.Calculate(series, 0, 20);
    ASSERT_TRUE(linear.Valid);
    EXPECT_EQ(std::make_pair(0.0, 40.0), std::make_pair(linear.Bins[0]->StartX, linear.Bins[0]->EndX));
    EXPECT_DOUBLE_EQ(linear.Mean, (5.0 * 10 + 10.0 * 30) / 40);
    CHoldDistance hold(150, &cursor);
    hold.Calculate(series, 0, 20);
    EXPECT_DOUBLE_EQ(hold.Mean, 10.0 * 30 / 40);
    // A second span starts its walk over the distances again.
    hold.Calculate(series, 5, 20);
    EXPECT_DOUBLE_EQ(hold.Bins[0]->StartX, 5.0);
}

TEST_F(DistanceWalk, LookupsAloneAndInOneIncreasingWalk)
{
    // In increasing time, so that one cursor can walk them all.
    const struct { const char* Name; qvx::time Time; DistanceCursor::Result Status; double Distance; } rows[] = {
        {"before the data", -5, DistanceCursor::BeforeFirstSample, 0},
        {"at a sample", 10, DistanceCursor::HasValue, 10.0},
        {"within a record", 15, DistanceCursor::HasValue, 20.0},
        {"at the last sample of a record", 20, DistanceCursor::HasValue, 30.0},
        {"across continuous records", 25, DistanceCursor::HasValue, 35.0},
        {"in a periodic record", 35, DistanceCursor::HasValue, 50.0},
        {"inside a break", 70, DistanceCursor::BeforeFirstSample, 0},
        {"after a break", 105, DistanceCursor::HasValue, 105.0},
        {"after the data", 200, DistanceCursor::NoValue, 0},
    };
    auto series = ThreeRecords(), walked = ThreeRecords();
    DistanceCursor walk;
    walk.SetData(walked);
    for (const auto& row : rows) {
        DistanceCursor alone;
        alone.SetData(series);
        for (DistanceCursor* cursor : {&alone, &walk}) {
            double distance = 0;
            EXPECT_EQ(row.Status, cursor->TimeToDistance(row.Time, distance)) << row.Name;
            if (row.Status == DistanceCursor::HasValue) { EXPECT_DOUBLE_EQ(row.Distance, distance) << row.Name; }
        }
    }
    EXPECT_EQ(walk.SampleIndex, -1);
    // The walk fetched each record once and asked for no single value.
    EXPECT_EQ("7 values from records 1 2 3", Reads(*walked));
    EXPECT_EQ(walked->ValueQueries, 0);
    // Without data there is no value.
    DistanceCursor none;
    double distance = -1;
    EXPECT_EQ(none.TimeToDistance(5, distance), DistanceCursor::NoValue);
    none.SetData(nullptr);
    EXPECT_EQ(none.TimeToDistance(5, distance), DistanceCursor::NoValue);
    EXPECT_EQ(distance, -1);
}

TEST_F(DistanceWalk, ADroppedOrUnreadableRecordStartsANewWalk)
{
    auto series = ThreeRecords();
    DistanceCursor cursor, fresh;
    cursor.SetData(series);
    fresh.SetData(series);
    double distance = 0;
    // The walk starts from the last sample up to the time: at a record's first sample, in that record.
    ASSERT_EQ(cursor.TimeToDistance(100, distance), DistanceCursor::HasValue);
    EXPECT_EQ("2 values from records 3", Reads(*series));
    cursor.DropRecord();
    // A new walk may go back in time, and knows the sample before the time.
    EXPECT_EQ(cursor.TimeToDistance(15, distance), DistanceCursor::HasValue);
    EXPECT_DOUBLE_EQ(distance, 20.0);
    series->Failing = {"GetValues"};
    EXPECT_EQ(fresh.TimeToDistance(15, distance), DistanceCursor::NoValue);
    EXPECT_FALSE(fresh.Walk.Record);
    series->Failing.clear();
    EXPECT_EQ(fresh.TimeToDistance(15, distance), DistanceCursor::HasValue);
    EXPECT_DOUBLE_EQ(distance, 20.0);
}

// A computation over all samples of a range, as the calculators define it: the samples in the
// range, with an interpolated sample at each edge where the series has a value; one sample alone
// when only one lies in the range and no edges are asked. Values that are not finite are left
// out, and so is a single sample after the last break of the range when others come before it.
struct CPoint { qvx::time Time; double Value; bool AfterBreak; };

CResult BruteForce(const CTestSeries& series, qvx::time from, qvx::time to, bool alone)
{
    std::vector<CPoint> samples;
    bool hasGap = false;
    for (size_t r = 0; r < series.Records.size(); ++r) {
        const CSeriesRecord& record = series.Records[r];
        const bool breakBefore = r > 0 && !record.Continuous;
        // A break that follows a sample in the range, toward a record that starts after `from`.
        if (breakBefore && series.Records[r - 1].Last() <= to && record.TimeAt(0) > from) hasGap = true;
        for (size_t i = 0; i < record.Size(); ++i) {
            const qvx::time t = record.TimeAt(i);
            if (t >= from && t <= to) samples.push_back({t, record.Values[i], breakBefore && i == 0});
        }
    }
    std::vector<CPoint> points;
    if (alone && samples.size() == 1) {
        points = samples;
        CSamplePosition next;
        hasGap = series.FirstAfter(points[0].Time, next) && next.Index == 0 && !series.Records[next.Record].Continuous;
    } else {
        double value = 0;
        if (series.ValueAt(from, 2, value) && (samples.empty() || samples.front().Time != from))
            points.push_back({from, value, false});
        points.insert(points.end(), samples.begin(), samples.end());
        const bool anyFinite =
            std::any_of(points.begin(), points.end(), [](const CPoint& p) { return std::isfinite(p.Value); });
        if (anyFinite && series.ValueAt(to, 2, value) && (points.empty() || points.back().Time != to))
            points.push_back({to, value, false});
    }
    // The first finite point after a break starts a run.
    std::vector<CPoint> finite;
    bool breakPending = false;
    for (CPoint p : points) {
        breakPending = breakPending || p.AfterBreak;
        if (!std::isfinite(p.Value)) continue;
        p.AfterBreak = std::exchange(breakPending, false);
        finite.push_back(p);
    }
    points = std::move(finite);
    if (points.size() > 1 && points.back().AfterBreak) points.pop_back();
    if (points.empty()) return CResult();
    CResult e{true, points[0].Value, points[0].Value, 0, points[0].Time, points[0].Time, hasGap, {}};
    double integral = 0;
    qvx::time extent = 0;
    for (size_t i = 0; i < points.size(); ++i) {
        const CPoint& p = points[i];
        if (p.Value < e.Minimum) e.Minimum = p.Value, e.MinimumTime = p.Time;
        if (p.Value > e.Maximum) e.Maximum = p.Value, e.MaximumTime = p.Time;
        if (i > 0 && !p.AfterBreak) {
            const qvx::time dx = p.Time - points[i - 1].Time;
            integral += double(dx) * (p.Value + points[i - 1].Value) * 0.5;
            extent += dx;
        }
    }
    e.Mean = points.size() == 1 ? points[0].Value : extent ? integral / double(extent) : integral;
    return e;
}

// Random records with breaks, periodic and aperiodic, any lower bound, integer values so that
// extremes tie often.
void FillRandomSeries(CTestSeries& series, std::mt19937& random, double nanShare)
{
    std::uniform_int_distribution<int> value(-20, 20), count(1, 25), step(1, 30), gap(50, 500), recordCount(1, 8);
    std::uniform_real_distribution<double> share(0.0, 1.0);
    const LONG lowerBounds[] = {0, 1, -3, 7};
    qvx::time t = 1000;
    const int records = recordCount(random);
    for (int r = 0; r < records; ++r) {
        const bool continuous = r == 0 || share(random) < 0.7;
        if (!continuous) t += gap(random);
        const int n = count(random);
        std::vector<double> values;
        for (int i = 0; i < n; ++i) values.push_back(share(random) < nanShare ? NaN : double(value(random)));
        const LONG lowerBound = lowerBounds[random() % 4];
        if (share(random) < 0.5) {
            const qvx::time period = step(random);
            series.AddPeriodic(t, period, values, continuous, lowerBound);
            t += n * period;
            continue;
        }
        std::vector<qvx::time> times;
        for (int i = 0; i < n; ++i, t += step(random)) times.push_back(t);
        series.AddAperiodic(times, values, continuous, lowerBound);
    }
}

// Runs random calculations, changes and appends on one calculator and compares each result with
// the brute force; a fresh calculator is compared too, including the break flag.
template <class Calculator>
void RunRandomComparison(unsigned seed, double nanShare, bool mean)
{
    std::mt19937 random(seed);
    for (int round = 0; round < 40; ++round) {
        auto series = CTestSeries::Create();
        FillRandomSeries(*series, random, nanShare);
        const LONG binSize = 2 + LONG(random() % 6);
        Calculator calculator(binSize);
        for (int step = 0; step < 30; ++step) {
            const qvx::time last = series->Records.back().Last();
            std::uniform_int_distribution<qvx::time> anyTime(series->Records.front().TimeAt(0) - 100, last + 100);
            const int action = int(random() % 10);
            if (action == 0) {
                // New values for a run of samples; the change is reported with its neighbours, on
                // which interpolated edges depend.
                CSeriesRecord& record = series->Records[random() % series->Records.size()];
                const size_t i = random() % record.Size();
                record.Values[i] = double(int(random() % 41) - 20);
                CSamplePosition before, after;
                const qvx::time t = record.TimeAt(i);
                const qvx::time from = series->LastBefore(t, before) ? series->TimeOf(before) : t;
                const qvx::time to = series->FirstAfter(t, after) ? series->TimeOf(after) : t;
                calculator.Invalidate(from, to);
                continue;
            }
            if (action == 1) {
                // Live data: a few samples more at the end.
                const std::vector<double> more(1 + random() % 5, double(int(random() % 41) - 20));
                series->Append(more.data(), more.size(), 1 + random() % 9, 1000);
                calculator.Invalidate(last + 1, series->Records.back().Last());
                continue;
            }
            qvx::time from = anyTime(random), to = anyTime(random);
            if (from > to) std::swap(from, to);
            calculator.Calculate(series, from, to);
            const CResult alone = BruteForce(*series, from, to, true), got = ResultOf(calculator),
                          fresh = CalculateOnce<Calculator>(series, binSize, from, to);
            SCOPED_TRACE("seed " + std::to_string(seed) + " round " + std::to_string(round) + " range "
                         + std::to_string(from) + ".." + std::to_string(to) + ": " + Text(alone, mean, false));
            // With one sample in the range, bins left from earlier ranges may bring the edges in.
            const CResult edges = BruteForce(*series, from, to, false);
            EXPECT_TRUE(Matches(got, alone, mean, false) || Matches(got, edges, mean, false)) << Text(got, mean, false);
            EXPECT_TRUE(Matches(fresh, alone, mean, nanShare == 0.0)) << "fresh " << Text(fresh, mean, false);
        }
    }
}

// With NaN among the values, the calculator that skips them.
TEST_F(StatisticsCalculator, RandomRangesOfRandomSeriesMatchBruteForce)
{
    RunRandomComparison<CLinearTime>(20240601, 0.0, true);
    RunRandomComparison<CFiniteMinMax>(77, 0.15, false);
}
