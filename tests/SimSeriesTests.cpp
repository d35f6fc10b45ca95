// The substitute host's series: strict searches, values between and outside samples, records
// that do not continue, arrays from any lower bound and their balance; and the simulated
// recording behind them, with the channels generated for load.
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>
#include "sim/HostArrays.h"
#include "sim/HostCalls.h"
#include "sim/Recording.h"
#include "sim/Series.h"

namespace {

constexpr qvx::time Second = 10'000'000;
constexpr qvx::time Min = std::numeric_limits<qvx::time>::min();
constexpr qvx::time Max = std::numeric_limits<qvx::time>::max();
const double Unchanged = -1.0;

// Samples at 1000..1400 (values 0..40), a gap, then 2000..2200 (values 100..120).
std::shared_ptr<CChannelData> GappedData()
{
    auto data = std::make_shared<CChannelData>();
    for (int i = 0; i < 5; ++i) data->Append(1000 + i * 100, i * 10.0, true, 100, false);
    for (int i = 0; i < 3; ++i) data->Append(2000 + i * 100, 100.0 + i * 10.0, true, 100, i == 0);
    return data;
}

CObjectPtr<CSeries> SeriesOver(std::shared_ptr<CChannelData> data)
{
    CObjectPtr<CSeries> series;
    EXPECT_EQ(S_OK, (CreateObject<CSeries, IQvxData2>(series)));
    series->Init(std::move(data));
    return series;
}

CComPtr<IQvxDataRecord> RecordOf(IQvxData* data, long number)
{
    CComPtr<IQvxDataRecords> records;
    CComPtr<IQvxDataRecord> record;
    EXPECT_EQ(S_OK, data->GetRecords(records.Out()));
    EXPECT_EQ(S_OK, records->GetRecord(number, record.Out()));
    return record;
}

size_t Find(const wchar_t* name) { return size_t(CChannelTable::Car()->Find(name)); }

} // namespace

TEST(SimSeries, LocateSampleIsStrictAndLeavesItsOutsWhenThereIsNone)
{
    const struct { const char* Name; qvx::time Time; long Direction; HRESULT Status; long Record, Index; } rows[] = {
        {"after a sample skips it", 1100, 0, S_OK, 1, 2},     {"before a sample skips it", 1100, 1, S_OK, 1, 0},
        {"after, between samples", 1150, 0, S_OK, 1, 2},      {"before, between samples", 1150, 1, S_OK, 1, 1},
        {"after, across the gap", 1400, 0, S_OK, 2, 0},       {"before, back across the gap", 2000, 1, S_OK, 1, 4},
        {"nothing before the first", 1000, 1, S_FALSE, -9, -9}, {"nothing after the last", 2200, 0, S_FALSE, -9, -9},
        {"after the smallest time", Min, 0, S_OK, 1, 0},      {"before the largest time", Max, 1, S_OK, 2, 2},
        {"nothing after the largest", Max, 0, S_FALSE, -9, -9}, {"no such direction", 1100, 3, E_INVALIDARG, -9, -9},
    };
    auto series = SeriesOver(GappedData());
    for (const auto& row : rows) {
        long record = -9, index = -9;
        EXPECT_EQ(row.Status, series->LocateSample(row.Time, row.Direction, 0, &record, &index)) << row.Name;
        EXPECT_EQ(std::make_pair(row.Record, row.Index), std::make_pair(record, index)) << row.Name;
    }
}

TEST(SimSeries, FindSampleAndSampleTimeTakeTheNearestOrFail)
{
    // Nearest counts a sample at the time, and takes the earlier one on a tie.
    const struct { qvx::time Time; long Direction; HRESULT Status; qvx::time Found; } rows[] = {
        {1200, 2, S_OK, 1200}, {1149, 2, S_OK, 1100}, {1150, 2, S_OK, 1100}, {1151, 2, S_OK, 1200}, {-5, 2, S_OK, 1000},
        {9999, 2, S_OK, 2200}, {1200, 0, S_OK, 1300}, {1200, 1, S_OK, 1100}, {2200, 0, E_FAIL, 42}, {1000, 1, E_FAIL, 42}};
    auto series = SeriesOver(GappedData());
    for (const auto& row : rows) {
        qvx::time found = 42, sampleTime = 42;
        double value = Unchanged;
        EXPECT_EQ(row.Status, series->FindSample(row.Time, row.Direction, 0, &found, &value)) << row.Time;
        EXPECT_EQ(row.Status, series->GetSampleTime(row.Time, row.Direction, 0, &sampleTime)) << row.Time;
        EXPECT_EQ(row.Found, found) << row.Time;
        EXPECT_EQ(row.Found, sampleTime) << row.Time;
        if (row.Status != S_OK) { EXPECT_EQ(Unchanged, value) << row.Time; }
    }
    auto empty = SeriesOver(std::make_shared<CChannelData>());
    qvx::time t = 0;
    double v = Unchanged;
    EXPECT_EQ(E_FAIL, empty->FindSample(0, 2, 0, &t, &v));
    EXPECT_EQ(E_FAIL, empty->GetLatestValue(&v));
    EXPECT_EQ(Unchanged, v);
}

TEST(SimSeries, ValueAtIsExactAtSamplesInterpolatedOrHeldBetweenAndFailsOutsideOrInAGap)
{
    const struct { qvx::time Time; long Mode; HRESULT Status; double Value; } rows[] = {
        {1100, 2, S_OK, 10.0},    {1100, 1, S_OK, 10.0},    {1125, 2, S_FALSE, 12.5}, {1125, 1, S_FALSE, 10.0},
        {1125, 7, S_FALSE, 10.0}, {1125, 0, S_FALSE, 20.0}, {1000, 2, S_OK, 0.0},     {2200, 2, S_OK, 120.0},
        {2000, 2, S_OK, 100.0},   {999, 2, E_FAIL, Unchanged}, {2201, 1, E_FAIL, Unchanged},
        {1700, 2, E_FAIL, Unchanged}, {1401, 1, E_FAIL, Unchanged}};   // the last two inside the gap
    auto series = SeriesOver(GappedData());
    for (const auto& row : rows) {
        double value = Unchanged;
        EXPECT_EQ(row.Status, series->GetValueAt(row.Time, row.Mode, 0, &value)) << row.Time << " mode " << row.Mode;
        EXPECT_DOUBLE_EQ(row.Value, value) << row.Time << " mode " << row.Mode;
    }
}

TEST(SimSeries, RecordsShowGapsAndCutsAndTheirArraysStartAtAlternatingBounds)
{
    auto series = SeriesOver(GappedData());
    CComPtr<IQvxDataRecords> records;
    CComPtr<IQvxDataRecord> none;
    ASSERT_EQ(S_OK, series->GetRecords(records.Out()));
    long count = 0;
    records->GetCount(&count);
    EXPECT_EQ(2, count);
    EXPECT_EQ(E_INVALIDARG, records->GetRecord(3, none.Out()));
    CComPtr<IQvxDataRecord> second = RecordOf(series, 2);
    EXPECT_EQ(second.Get(), RecordOf(series, 2).Get());   // a record keeps its identity
    VARIANT_BOOL continuous = 1, periodic = 0;
    qvx::time start = 0, period = 0;
    second->GetIsContinuous(&continuous);
    second->GetIsPeriodic(&periodic);
    second->GetStartTime(&start);
    second->GetPeriod(&period);
    EXPECT_EQ(std::make_tuple(VARIANT_FALSE, VARIANT_TRUE, qvx::time(2000), qvx::time(100)),
              std::make_tuple(continuous, periodic, start, period));
    for (long number : {1L, 2L}) {
        CSafeArray values;
        ASSERT_EQ(S_OK, RecordOf(series, number)->GetValues(values.Out()));
        LONG lower = -1;
        SafeArrayGetLBound(values.Get(), 1, &lower);
        EXPECT_EQ(number == 1 ? 1 : 0, lower);
        CSafeArrayAccess<double> access(values.Get());
        EXPECT_EQ(number == 1 ? 5u : 3u, access.Size());
        EXPECT_EQ(number == 1 ? 0.0 : 100.0, access[0]);
    }
    CSafeArray times;
    ASSERT_EQ(S_OK, RecordOf(series, 1)->GetTimes(times.Out()));
    CSafeArrayAccess<qvx::time> access(times.Get());
    ASSERT_EQ(5u, access.Size());
    EXPECT_EQ(1400, access[4]);

    // A long run is cut into records that continue: between them the value is interpolated.
    auto data = std::make_shared<CChannelData>();
    const size_t n = CChannelData::RecordLength + 3;
    for (size_t i = 0; i < n; ++i) data->Append(qvx::time(i) * 10, double(i), true, 10, false);
    auto cut = SeriesOver(data);
    ASSERT_EQ(S_OK, RecordOf(cut, 2)->GetIsContinuous(&continuous));
    EXPECT_EQ(VARIANT_TRUE, continuous);
    double v = 0;
    EXPECT_EQ(S_FALSE, cut->GetValueAt(qvx::time(CChannelData::RecordLength - 1) * 10 + 5, 2, 0, &v));
    EXPECT_DOUBLE_EQ(double(CChannelData::RecordLength) - 0.5, v);
    EXPECT_EQ(S_OK, cut->GetLatestValue(&v));
    EXPECT_EQ(double(n - 1), v);
}

TEST(SimSeries, AperiodicRecordsHaveTimesAndNoPeriod)
{
    auto data = std::make_shared<CChannelData>();
    for (qvx::time t : {10, 25, 45}) data->Append(t, double(t), false, 0, false);
    auto series = SeriesOver(data);
    VARIANT_BOOL periodic = -1;
    qvx::time period = 7;
    RecordOf(series, 1)->GetIsPeriodic(&periodic);
    EXPECT_EQ(VARIANT_FALSE, periodic);
    EXPECT_EQ(E_FAIL, RecordOf(series, 1)->GetPeriod(&period));
    long record = 0, index = 0;
    series->LocateSample(25, 0, 0, &record, &index);
    EXPECT_EQ(2, index);
    double v = 0;
    EXPECT_EQ(S_FALSE, series->GetValueAt(35, 2, 0, &v));
    EXPECT_DOUBLE_EQ(35.0, v);
}

TEST(SimSeries, TheBalanceOfArraysSeesWhatIsLeftLockedOrNotDestroyed)
{
    CComPtr<IQvxDataRecord> record = RecordOf(SeriesOver(GappedData()), 1);
    CHostArrays::Reset();
    CSafeArray values, times;
    ASSERT_EQ(S_OK, record->GetValues(values.Out()));
    ASSERT_EQ(S_OK, record->GetTimes(times.Out()));
    ASSERT_EQ(S_OK, SafeArrayLock(values.Get()));
    EXPECT_TRUE(CHostArrays::Balance().Watching);
    EXPECT_FALSE(CHostArrays::Balance().Balanced());
    EXPECT_EQ(DISP_E_ARRAYISLOCKED, SafeArrayDestroy(values.Get()));
    times = CSafeArray();
    // The figures as a test reads them from the host's call counts.
    const auto figures = [] {
        std::vector<LONG> values;
        for (const wchar_t* name : {L"Arrays.HandedOut", L"Arrays.Destroyed", L"Arrays.Outstanding", L"Arrays.Locked"})
            values.push_back(CHostCalls::CallCount(name));
        return values;
    };
    EXPECT_EQ((std::vector<LONG>{2, 1, 1, 1}), figures());
    SafeArrayUnlock(values.Get());
    values = CSafeArray();
    EXPECT_EQ((std::vector<LONG>{2, 2, 0, 0}), figures());
    EXPECT_TRUE(CHostArrays::Balance().Balanced());
}

TEST(SimSeries, TimeOfAValueOnAMonotonicSeries)
{
    const struct { double Value; long Mode, Flag; HRESULT Status; qvx::time Time; } rows[] = {
        {15.0, 2, 0, S_OK, 150},  {15.0, 6, 0, S_OK, 200},  {10.0, 2, 0, S_OK, 100},     {-1.0, 2, 0, E_FAIL, -1},
        {-1.0, 2, 1, S_FALSE, 0}, {25.0, 2, 1, S_FALSE, 200}, {std::nan(""), 2, 0, E_INVALIDARG, -1},
        {5.0, 3, 0, E_INVALIDARG, -1}};
    auto data = std::make_shared<CChannelData>();
    for (int i = 0; i < 3; ++i) data->Append(i * 100, i * 10.0, true, 100, false);
    auto series = SeriesOver(data);
    for (const auto& row : rows) {
        qvx::time t = -1;
        EXPECT_EQ(row.Status, series->FindTimeOfValue(row.Value, row.Mode, row.Flag, &t)) << row.Value;
        EXPECT_EQ(row.Time, t) << row.Value << " mode " << row.Mode;
    }
}

// --- the simulated recording ---

TEST(SimRecording, PeriodicChannelsGeneratedOnesTooLieOnTheirPeriodAndRepeatForASeed)
{
    const auto& car = *CChannelTable::Car();
    // Generated in two steps, numbered on; the last one faster.
    auto table = std::make_shared<const CChannelTable>(CChannelTable(car, 2, 1000), 1, 10000);
    ASSERT_EQ(car.Size() + 2, size_t(table->Find(L"generated 3")));
    const qvx::time start = 1'000'000'000;
    CRecording a(5, start, 10 * Second, false, table), b(5, start, 10 * Second, false, table),
        c(6, start, 10 * Second, false, table);
    std::vector<OLE_COLOR> colours;
    for (size_t i = 0; i < table->Size(); ++i) {
        const CChannelDefinition& d = (*table)[i];
        EXPECT_EQ(colours.end(), std::find(colours.begin(), colours.end(), d.Color)) << d.Name;
        colours.push_back(d.Color);
        if (d.Sampling != CSampling::Periodic) continue;
        const auto& records = a.Channel(i)->Records();
        EXPECT_EQ(size_t(10 * Second / d.Period + 1), a.Channel(i)->SampleCount()) << d.Name;
        EXPECT_EQ(std::make_pair(start, d.Period), std::make_pair(records[0].Start, records[0].Period)) << d.Name;
        if (i < car.Size()) continue;
        EXPECT_EQ(records[0].Values, b.Channel(i)->Records()[0].Values) << d.Name;
        EXPECT_NE(records[0].Values, c.Channel(i)->Records()[0].Values) << d.Name;
        EXPECT_EQ(i + 1 < table->Size() ? Second / 1000 : Second / 10000, d.Period) << d.Name;
        // Records of the host's own length, continuing; a waveform that swings within -1..1.
        EXPECT_EQ(CChannelData::RecordLength, records[0].Count());
        EXPECT_TRUE(records[1].Continuous);
        double low = 0, high = 0;
        for (const auto& record : records) {
            for (double v : record.Values) low = std::min(low, v), high = std::max(high, v);
        }
        EXPECT_TRUE(low < -0.5 && high > 0.5 && low >= -1.0 && high <= 1.0) << d.Name << ' ' << low << ' ' << high;
    }
    EXPECT_NE(a.Channel(car.Size())->Records()[0].Values, a.Channel(car.Size() + 1)->Records()[0].Values);
    EXPECT_EQ(a.Channel(Find(L"Speed"))->Records()[0].Values, b.Channel(Find(L"Speed"))->Records()[0].Values);
    EXPECT_NE(a.Channel(Find(L"Speed"))->Records()[0].Values, c.Channel(Find(L"Speed"))->Records()[0].Values);
}

TEST(SimRecording, DistanceGrowsAtTheSpeedAndLapsFallWhereItPassesEachLapLength)
{
    CRecording recording(3, 0, 200 * Second, false);
    auto distance = recording.Channel(Find(L"Distance"));
    CChannelData::CPosition at, next;
    ASSERT_TRUE(distance->First(at));
    for (next = at; distance->Next(next); at = next) ASSERT_LE(distance->ValueOf(at), distance->ValueOf(next));
    ASSERT_GE(recording.LapCount(), 2);
    auto series = SeriesOver(distance), speed = SeriesOver(recording.Channel(Find(L"Speed")));
    double d0 = 0, d1 = 0, v = 0;
    for (long lap = 1; lap <= recording.LapCount(); ++lap) {
        series->GetValueAt(recording.LapTime(lap), 2, 0, &d0);
        EXPECT_NEAR(lap * CTrackModel::LapLength, d0, 1.0) << lap;   // within one sample at top speed
    }
    for (qvx::time t = 5 * Second; t < 55 * Second; t += 7 * Second) {
        series->GetValueAt(t - Second / 10, 2, 0, &d0);
        series->GetValueAt(t + Second / 10, 2, 0, &d1);
        speed->GetValueAt(t, 2, 0, &v);
        EXPECT_NEAR(v, (d1 - d0) / 0.2, 1.5) << t;
    }
}

TEST(SimRecording, ChannelsOfTheirOwnKind)
{
    CRecording recording(1, 0, 70 * Second, false);
    // GPS drop-outs: records that do not continue, more than a period apart.
    const auto& gps = recording.Channel(Find(L"GPS speed"))->Records();
    ASSERT_GE(gps.size(), 3u);
    EXPECT_FALSE(gps[1].Continuous);
    EXPECT_GT(gps[1].First() - gps[0].Last(), gps[0].Period);
    // Fuel flow: NaN while the injectors are cut.
    const auto& fuel = recording.Channel(Find(L"Fuel flow"))->Records()[0].Values;
    const auto nan = std::count_if(fuel.begin(), fuel.end(), [](double v) { return std::isnan(v); });
    EXPECT_TRUE(nan > 0 && size_t(nan) < fuel.size()) << nan;
    // Tyre pressure: aperiodic, 0.2 to 1.4 s apart.
    const auto& tyre = recording.Channel(Find(L"Tyre pressure FL"))->Records()[0];
    ASSERT_FALSE(tyre.Periodic);
    ASSERT_GE(tyre.Times.size(), 40u);
    for (size_t i = 1; i < tyre.Times.size(); ++i) {
        EXPECT_GE(tyre.Times[i] - tyre.Times[i - 1], 2 * Second / 10);
        EXPECT_LE(tyre.Times[i] - tyre.Times[i - 1], 14 * Second / 10);
    }
}

TEST(SimRecording, LiveAdvanceReportsTheSpanOfNewSamplesAndOffersWarningsFromTheirFirst)
{
    CRecording recording(1, 500, 0, true);
    const size_t speed = Find(L"Speed"), warnings = 2;
    EXPECT_EQ(1u, recording.Channel(speed)->SampleCount());   // the sample at the start
    CRecording::CAdvance step = recording.Advance(Second);
    ASSERT_EQ(1u, step.Channels.size());
    EXPECT_EQ(speed, step.Channels[0].Index);
    EXPECT_EQ(std::make_pair(500 + Second / 100, 500 + Second), std::make_pair(step.Channels[0].From, step.Channels[0].To));
    EXPECT_EQ(101u, recording.Channel(speed)->SampleCount());
    // Channels that nobody uses are made when first asked for, complete.
    EXPECT_EQ(1001u, recording.Channel(Find(L"RPM"))->SampleCount());

    ASSERT_STREQ(L"Warnings", EventDefinitions()[warnings].Name);
    EXPECT_TRUE(recording.IsEventSetOffered(0));
    EXPECT_FALSE(recording.IsEventSetOffered(warnings));
    bool offered = false;
    for (int i = 0; i < 600 && !offered; ++i) {
        for (size_t set : recording.Advance(Second).OfferedSets) offered |= set == warnings;
    }
    ASSERT_TRUE(offered);
    const auto& events = recording.EventSet(warnings)->Events();
    ASSERT_FALSE(events.empty());
    EXPECT_LE(events.back().Time, recording.End());
}
