// Statistics calculators against series with exactly known samples: edges, breaks, values that
// are not finite, full bins, what is read again after a change, the arrays that are read, and a
// randomized comparison with a computation over all samples.
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <random>
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

// The results of a calculation, and the counts of the bins when they come from a calculator.
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

template <class Calculator>
CResult CalculateOnce(IQvxData2* series, LONG binSize, qvx::time from, qvx::time to)
{
    Calculator c(binSize);
    c.Calculate(series, from, to);
    return ResultOf(c);
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

std::string Describe(const CResult& c, const CResult& e)
{
    char text[300];
    snprintf(text, sizeof text, "got valid %d min %g@%lld max %g@%lld mean %g gap %d; expected %d %g@%lld %g@%lld %g %d",
             int(c.Valid), c.Minimum, (long long)c.MinimumTime, c.Maximum, (long long)c.MaximumTime, c.Mean,
             int(c.HasGap), int(e.Valid), e.Minimum, (long long)e.MinimumTime, e.Maximum,
             (long long)e.MaximumTime, e.Mean, int(e.HasGap));
    return text;
}

// The results of a calculator and of a fresh one over the same range must agree.
template <class Calculator>
void ExpectSameAsFresh(const Calculator& c, IQvxData2* series, qvx::time from, qvx::time to, LONG binSize)
{
    const CResult fresh = CalculateOnce<Calculator>(series, binSize, from, to);
    EXPECT_TRUE(Matches(ResultOf(c), fresh, true, true)) << Describe(ResultOf(c), fresh);
}

// Every test ends with each array that the series handed out destroyed and none left locked.
class StatisticsCalculator : public ::testing::Test
{
protected:
    void SetUp() override { CHostArrays::Reset(); }
    void TearDown() override
    {
        const CArrayBalance balance = CHostArrays::Balance();
        EXPECT_TRUE(balance.Watching);
        EXPECT_EQ(balance.Outstanding(), 0) << "arrays not destroyed, of " << balance.HandedOut;
        EXPECT_EQ(balance.Locked, 0) << "arrays left locked";
    }
};

} // namespace

TEST_F(StatisticsCalculator, ResultsOfOneCalculation)
{
    using CRunOf = CResult (*)(IQvxData2*, LONG, qvx::time, qvx::time);
    // Mean NaN: not checked; Counts: of the bins.
    struct CRow
    {
        const char* Name;
        std::function<void(CTestSeries&)> Fill;
        CRunOf Run;
        LONG BinSize;
        qvx::time From, To;
        BOOL Valid;
        double Minimum;
        qvx::time MinimumTime;
        double Maximum;
        qvx::time MaximumTime;
        double Mean;
        BOOL HasGap;
        std::vector<LONG> Counts;
    };
    const auto aperiodic = [](std::vector<qvx::time> t, std::vector<double> v) {
        return [t, v](CTestSeries& s) { s.AddAperiodic(t, v); };
    };
    const auto periodic = [](std::vector<double> v) { return [v](CTestSeries& s) { s.AddPeriodic(0, 10, v); }; };
    const auto broken = [](CTestSeries& s) {
        s.AddPeriodic(0, 10, {1.0, 1.0, 1.0, 1.0});
        s.AddPeriodic(100, 10, {3.0, 3.0, 3.0, 3.0}, false);
    };
    const auto bounds = [](CTestSeries& s) {
        s.AddAperiodic({5, 10, 20}, {3.0, -1.0, 4.0}, true, 1);
        s.AddPeriodic(30, 10, {2.0, 8.0, 0.0}, true, -3);
    };
    const auto tied = [](const std::vector<double>& v) { return [v](CTestSeries& s) { s.AddPeriodic(0, 1, v); }; };
    const std::vector<double> ties{5.0, 1.0, 9.0, 1.0, 9.0, 5.0, 1.0}, odd{NaN, 3.0, Inf, -2.0, NaN, 7.0, -Inf, 1.0};
    const CRunOf finite = CalculateOnce<CFiniteMinMax>, all = CalculateOnce<CAllMinMax>,
                 linear = CalculateOnce<CLinearTime>, hold = CalculateOnce<CHoldTime>;
    const CRow rows[] = {
        {"an empty series", [](CTestSeries&) {}, finite, 1000, 0, 1000, FALSE, 0, 0, 0, 0, NaN, FALSE, {}},
        {"a range that ends before it starts", periodic({4.0, -3.0}), linear, 150, 0, -100, FALSE, 0, 0, 0, 0, NaN,
         FALSE, {}},
        {"the whole time axis", aperiodic({-50, -40, -30}, {4.0, -3.0, 8.0}), linear, 150, INT64_MIN, INT64_MAX, TRUE,
         -3.0, -40, 8.0, -30, NaN, FALSE, {3}},
        {"one sample in the range", aperiodic({10, 50, 90}, {1.0, 5.0, 9.0}), linear, 150, 40, 60, TRUE, 5.0, 50, 5.0,
         50, 5.0, FALSE, {1}},
        // The two interpolated edges make one bin.
        {"a range between two samples", aperiodic({0, 100}, {0.0, 10.0}), linear, 150, 20, 60, TRUE, 2.0, 20, 6.0, 60,
         4.0, FALSE, {2}},
        {"held values", periodic({0.0, 10.0, 10.0}), hold, 150, 0, 20, TRUE, 0.0, 0, 10.0, 10, 5.0, FALSE, {3}},
        // The edge at 5 is a linear 5 even for held values, held to 20.
        {"held values from an edge", periodic({0.0, 10.0, 10.0}), hold, 150, 5, 20, TRUE, 5.0, 5, 10.0, 10,
         (5.0 * 5 + 10.0 * 10) / 15, FALSE, {3}},
        {"values that are not finite left out", periodic(odd), finite, 1000, 0, 70, TRUE, -2.0, 30, 7.0, 50, NaN,
         FALSE, {4}},
        // A NaN first in the bin is replaced by no comparison.
        {"values that are not finite taken in", periodic(odd), all, 1000, 0, 70, TRUE, NaN, 0, NaN, 0, NaN, FALSE, {8}},
        {"only NaN", periodic({NaN, NaN, NaN}), finite, 1000, 0, 20, FALSE, 0, 0, 0, 0, NaN, FALSE, {}},
        {"ties in one bin", tied(ties), finite, 100, 0, 6, TRUE, 1.0, 1, 9.0, 2, NaN, FALSE, {7}},
        {"ties across bins", tied(ties), finite, 2, 0, 6, TRUE, 1.0, 1, 9.0, 2, NaN, FALSE, {2, 2, 2, 2, 2, 2}},
        {"arrays from any lower bound", bounds, finite, 1000, 0, 50, TRUE, -1.0, 10, 8.0, 40, NaN, FALSE, {6}},
        // A new bin after the break; the stretch of the break counts for nothing in the mean.
        {"a record that does not continue", broken, linear, 150, 0, 130, TRUE, 1.0, 0, 3.0, 100, 2.0, TRUE, {4, 4}},
        {"a range that starts inside a break", broken, linear, 150, 50, 130, TRUE, 3.0, 100, 3.0, 100, 3.0, TRUE, {4}},
        // A bin full at its last sample shares it with the next: no hole in the integral.
        {"a bin full at its last sample", periodic(Ramp(8, 1.0)), linear, 4, 0, 40, TRUE, 1.0, 0, 5.0, 40, 3.0, FALSE,
         {4, 2}},
        {"a range inside one record", broken, linear, 150, 100, 130, TRUE, 3.0, 100, 3.0, 100, 3.0, FALSE, {4}},
    };
    for (const CRow& row : rows) {
        auto series = CTestSeries::Create();
        row.Fill(*series);
        const CResult run = row.Run(series, row.BinSize, row.From, row.To);
        const CResult expected{bool(row.Valid), row.Minimum, row.Maximum, row.Mean, row.MinimumTime, row.MaximumTime,
                               bool(row.HasGap), row.Counts};
        EXPECT_TRUE(Matches(run, expected, !std::isnan(row.Mean), true)) << row.Name << ": " << Describe(run, expected);
        EXPECT_EQ(row.Counts, run.Counts) << row.Name;
    }
}

TEST_F(StatisticsCalculator, SecondCalculateWithoutChangeReadsNothingAndKeepsTheResults)
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
    EXPECT_EQ(series->ValuesHandedOut, 0);
    EXPECT_TRUE(series->RecordsFetched.empty());
    EXPECT_EQ(series->ValueQueries, 0);
    EXPECT_EQ(series->SampleTimeQueries, 2);
    EXPECT_TRUE(calculator.Valid);
    EXPECT_EQ(calculator.Mean, 1234.0);
    EXPECT_EQ(calculator.Maximum, 99.0);
    // A null series empties the bins.
    calculator.Calculate(nullptr, 0, 990);
    EXPECT_FALSE(calculator.Valid);
    EXPECT_TRUE(calculator.Bins.empty());
}

TEST_F(StatisticsCalculator, InvalidateDropsTheBinsThatTheSpanTouchesAndOnlyTheirGapIsRead)
{
    struct CRow
    {
        const char* Name;
        qvx::time From, To;
        std::vector<qvx::time> Left;   // StartTime of the bins that stay
        std::vector<LONG> Read;        // records read by the next Calculate
    };
    // 21 samples in records of 5: bins [0..90], [90..180], [180..200].
    const CRow rows[] = {
        {"the middle of three bins", 120, 140, {0, 180}, {3, 4}},
        {"a sample that two bins share", 180, 180, {0}, {3, 4, 5}},
        {"beyond all bins", 300, 400, {0, 90, 180}, {}},
    };
    for (const CRow& row : rows) {
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
        EXPECT_EQ(row.Left, left) << row.Name;
        series->ResetCounts();
        calculator.Calculate(series, 0, 200);
        EXPECT_EQ(row.Read, series->RecordsFetched) << row.Name;
        SCOPED_TRACE(row.Name);
        if (!row.Read.empty()) ExpectSameAsFresh(calculator, series, 0, 200, 10);
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
    // The host drops its samples up to 60 and reports that span; there is nothing to read there.
    series->Records.clear();
    series->AddPeriodic(70, 10, {1.0, 2.0, 3.0, 4.0});
    calculator.Invalidate(0, 60);
    calculator.Calculate(series, 0, 100);
    ASSERT_TRUE(calculator.Valid);
    ASSERT_EQ(calculator.Bins.size(), 1u);
    EXPECT_EQ(calculator.Minimum, calculator.Bins[0]->Minimum);
    EXPECT_GT(calculator.Minimum, -100.0);
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
    EXPECT_EQ(calculator.Maximum, 5000.0);
    EXPECT_EQ(calculator.MaximumTime, 10000);
    // The new samples fill records 11 to 13, and nothing before them is read again.
    EXPECT_EQ(series->ValuesHandedOut, 250);
    EXPECT_EQ(series->RecordsFetched, (std::vector<LONG>{11, 12, 13}));

    // The bins from 2970 on stay; 2500..2970 lies in record 3.
    series->ResetCounts();
    calculator.Calculate(series, 2500, 12490);
    EXPECT_EQ(series->RecordsFetched, (std::vector<LONG>{3}));
    EXPECT_EQ(calculator.Bins.front()->StartTime, 2500);
    EXPECT_EQ(calculator.Minimum, 250.0);
    ExpectSameAsFresh(calculator, series, 2500, 12490, 100);
}

TEST_F(StatisticsCalculator, AnUnreadRecordEndsTheReadWithoutAnEdgeAndIsReadAtTheNextCalculate)
{
    struct CRow
    {
        const char* Name;
        LONG CTestSeries::*Fault;
        LONG Record;
        qvx::time ReadUpTo;
    };
    const CRow rows[] = {{"values that fail", &CTestSeries::FailingValuesRecord, 3, 190},
                         {"an empty array of values", &CTestSeries::EmptyValuesRecord, 2, 90}};
    for (const CRow& row : rows) {
        SCOPED_TRACE(row.Name);
        auto series = CTestSeries::Create();
        for (int r = 0; r < 5; ++r) series->AddPeriodic(r * 100, 10, Ramp(10, r * 10.0));
        (*series).*row.Fault = row.Record;
        CFiniteMinMax calculator(1000);
        calculator.Calculate(series, 0, 490);
        ASSERT_TRUE(calculator.Valid);
        EXPECT_EQ(calculator.Bins.back()->EndTime, row.ReadUpTo);
        EXPECT_EQ(calculator.Maximum, row.ReadUpTo / 10);
        (*series).*row.Fault = 0;
        calculator.Calculate(series, 0, 490);
        EXPECT_EQ(calculator.Maximum, 49.0);
        EXPECT_EQ(calculator.MaximumTime, 490);
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
        EXPECT_TRUE(calculator.Valid && calculator.Minimum == 0.0 && calculator.Maximum == 9.0
                    && std::abs(calculator.Mean - 4.5) < 1e-12)
            << operation;
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
    EXPECT_DOUBLE_EQ(linear.Bins[0]->StartX, 0.0);
    EXPECT_DOUBLE_EQ(linear.Bins[0]->EndX, 40.0);
    EXPECT_DOUBLE_EQ(linear.Mean, (5.0 * 10 + 10.0 * 30) / 40);

    CHoldDistance hold(150, &cursor);
    hold.Calculate(series, 0, 20);
    EXPECT_DOUBLE_EQ(hold.Mean, 10.0 * 30 / 40);
    // A second span starts its walk over the distances again.
    hold.Calculate(series, 5, 20);
    EXPECT_DOUBLE_EQ(hold.Bins[0]->StartX, 5.0);
}

// A computation over all samples of a range, as the calculators define it: the samples in the
// range, with an interpolated sample at each edge where the series has a value; one sample alone
// when only one lies in the range and no edges are asked. Values that are not finite are left
// out, and so is a single sample after the last break of the range when others come before it.
struct CPoint
{
    qvx::time Time;
    double Value;
    bool AfterBreak;
};

CResult BruteForce(const CTestSeries& series, qvx::time from, qvx::time to, bool alone)
{
    std::vector<CPoint> samples;
    bool hasGap = false;
    for (size_t r = 0; r < series.Records.size(); ++r) {
        const CSeriesRecord& record = series.Records[r];
        const bool breakBefore = r > 0 && !record.Continuous;
        // A break that follows a sample in the range, toward a record that starts after `from`.
        if (breakBefore) {
            const CSeriesRecord& before = series.Records[r - 1];
            if (before.TimeAt(before.Size() - 1) <= to && record.TimeAt(0) > from) hasGap = true;
        }
        for (size_t i = 0; i < record.Size(); ++i) {
            const qvx::time t = record.TimeAt(i);
            if (t >= from && t <= to) samples.push_back({t, record.Values[i], breakBefore && i == 0});
        }
    }
    std::vector<CPoint> points;
    if (alone && samples.size() == 1) {
        points = samples;
        const CPoint& only = samples.front();
        CSamplePosition next;
        hasGap = series.FirstAfter(only.Time, next) && next.Index == 0 && !series.Records[next.Record].Continuous;
    } else {
        double value = 0;
        if (series.ValueAt(from, 2, value) && (samples.empty() || samples.front().Time != from))
            points.push_back({from, value, false});
        points.insert(points.end(), samples.begin(), samples.end());
        const bool anyFinite = std::any_of(points.begin(), points.end(), [](const CPoint& p) { return std::isfinite(p.Value); });
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
    CResult e;
    if (points.empty()) return e;
    e.Valid = true;
    e.HasGap = hasGap;
    e.Minimum = e.Maximum = points[0].Value;
    e.MinimumTime = e.MaximumTime = points[0].Time;
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
            const qvx::time first = series->Records.front().TimeAt(0);
            const CSeriesRecord& lastRecord = series->Records.back();
            const qvx::time last = lastRecord.TimeAt(lastRecord.Size() - 1);
            std::uniform_int_distribution<qvx::time> anyTime(first - 100, last + 100);
            const int action = int(random() % 10);
            if (action == 0) {
                // New values for a run of samples; the change is reported with its neighbours, on
                // which interpolated edges depend.
                const size_t r = random() % series->Records.size();
                CSeriesRecord& record = series->Records[r];
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
                const qvx::time newEnd = series->TimeOf({series->Records.size() - 1, series->Records.back().Size() - 1});
                calculator.Invalidate(last + 1, newEnd);
                continue;
            }
            qvx::time from = anyTime(random), to = anyTime(random);
            if (from > to) std::swap(from, to);
            calculator.Calculate(series, from, to);
            const CResult alone = BruteForce(*series, from, to, true);
            const CResult edges = BruteForce(*series, from, to, false);
            // With one sample in the range, bins left from earlier ranges may bring the edges in.
            const CResult got = ResultOf(calculator);
            EXPECT_TRUE(Matches(got, alone, mean, false) || Matches(got, edges, mean, false))
                << "seed " << seed << " round " << round << " step " << step << " range " << from << ".." << to
                << ": " << Describe(got, alone);
            const CResult fresh = CalculateOnce<Calculator>(series, binSize, from, to);
            EXPECT_TRUE(Matches(fresh, alone, mean, nanShare == 0.0))
                << "seed " << seed << " round " << round << " step " << step << " fresh range " << from << ".." << to
                << ": " << Describe(fresh, alone);
        }
    }
}

// With NaN among the values, the calculator that skips them.
TEST_F(StatisticsCalculator, RandomRangesOfRandomSeriesMatchBruteForce)
{
    RunRandomComparison<CLinearTime>(20240601, 0.0, true);
    RunRandomComparison<CFiniteMinMax>(77, 0.15, false);
}
