// The substitute host's series: strict searches, values between and outside samples, records
// that do not continue, arrays from any lower bound; and the simulated recording behind them.
#include <gtest/gtest.h>
#include <cmath>
#include <limits>
#include "sim/Recording.h"
#include "sim/Series.h"

namespace {

constexpr qvx::time Second = 10'000'000;

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

struct CFound
{
    HRESULT Status;
    long Record;
    long Index;
};

CFound Locate(IQvxData* data, qvx::time time, long direction)
{
    CFound found{E_FAIL, -99, -99};
    found.Status = data->LocateSample(time, direction, 0, &found.Record, &found.Index);
    return found;
}

CComPtr<IQvxDataRecord> RecordOf(IQvxData* data, long number)
{
    CComPtr<IQvxDataRecords> records;
    CComPtr<IQvxDataRecord> record;
    EXPECT_EQ(S_OK, data->GetRecords(records.Out()));
    EXPECT_EQ(S_OK, records->GetRecord(number, record.Out()));
    return record;
}

} // namespace

TEST(SimSeries, DirectionsZeroAndOneAreStrict)
{
    auto series = SeriesOver(GappedData());
    // At a sample's time, after and before skip that sample.
    CFound after = Locate(series, 1100, 0);
    EXPECT_EQ(S_OK, after.Status);
    EXPECT_EQ(1, after.Record);
    EXPECT_EQ(2, after.Index);
    CFound before = Locate(series, 1100, 1);
    EXPECT_EQ(0, before.Index);
    // Between samples.
    EXPECT_EQ(2, Locate(series, 1150, 0).Index);
    EXPECT_EQ(1, Locate(series, 1150, 1).Index);
    // Across the gap, into the next record and back.
    CFound next = Locate(series, 1400, 0);
    EXPECT_EQ(2, next.Record);
    EXPECT_EQ(0, next.Index);
    CFound back = Locate(series, 2000, 1);
    EXPECT_EQ(1, back.Record);
    EXPECT_EQ(4, back.Index);
}

TEST(SimSeries, NothingBeyondTheEndsIsANonZeroStatusWithOutsUntouched)
{
    auto series = SeriesOver(GappedData());
    CFound none = Locate(series, 1000, 1);
    EXPECT_EQ(S_FALSE, none.Status);
    EXPECT_EQ(-99, none.Record);
    EXPECT_EQ(S_FALSE, Locate(series, 2200, 0).Status);
    // The extreme times of the type do not overflow.
    CFound first = Locate(series, std::numeric_limits<qvx::time>::min(), 0);
    EXPECT_EQ(S_OK, first.Status);
    EXPECT_EQ(1, first.Record);
    EXPECT_EQ(0, first.Index);
    CFound last = Locate(series, std::numeric_limits<qvx::time>::max(), 1);
    EXPECT_EQ(2, last.Record);
    EXPECT_EQ(2, last.Index);
    EXPECT_EQ(S_FALSE, Locate(series, std::numeric_limits<qvx::time>::max(), 0).Status);
    EXPECT_EQ(E_INVALIDARG, Locate(series, 1100, 3).Status);
    long r = 0;
    EXPECT_EQ(E_POINTER, series->LocateSample(1100, 0, 0, &r, nullptr));
}

TEST(SimSeries, NearestCountsTheSampleAtTheTimeAndPrefersTheEarlierOnATie)
{
    auto series = SeriesOver(GappedData());
    qvx::time t = 0;
    double v = 0;
    EXPECT_EQ(S_OK, series->FindSample(1200, 2, 0, &t, &v));
    EXPECT_EQ(1200, t);
    EXPECT_EQ(20.0, v);
    series->FindSample(1149, 2, 0, &t, &v);
    EXPECT_EQ(1100, t);
    series->FindSample(1150, 2, 0, &t, &v);
    EXPECT_EQ(1100, t);
    series->FindSample(1151, 2, 0, &t, &v);
    EXPECT_EQ(1200, t);
    series->FindSample(-5, 2, 0, &t, &v);
    EXPECT_EQ(1000, t);
    series->FindSample(9999, 2, 0, &t, &v);
    EXPECT_EQ(2200, t);
    EXPECT_EQ(S_OK, series->GetSampleTime(1200, 0, 0, &t));
    EXPECT_EQ(1300, t);
    EXPECT_EQ(S_OK, series->GetSampleTime(1200, 1, 0, &t));
    EXPECT_EQ(1100, t);
}

TEST(SimSeries, FindSampleAndSampleTimeFailWhenThereIsNone)
{
    auto series = SeriesOver(GappedData());
    qvx::time t = 42;
    double v = 4.2;
    EXPECT_EQ(E_FAIL, series->FindSample(2200, 0, 0, &t, &v));
    EXPECT_EQ(E_FAIL, series->GetSampleTime(1000, 1, 0, &t));
    EXPECT_EQ(42, t);
    EXPECT_EQ(4.2, v);
    auto empty = SeriesOver(std::make_shared<CChannelData>());
    EXPECT_EQ(E_FAIL, empty->FindSample(0, 2, 0, &t, &v));
}

TEST(SimSeries, ValueAtASampleIsExactAndBetweenSamplesInterpolatedOrHeld)
{
    auto series = SeriesOver(GappedData());
    double v = 0;
    EXPECT_EQ(S_OK, series->GetValueAt(1100, 2, 0, &v));
    EXPECT_EQ(10.0, v);
    EXPECT_EQ(S_OK, series->GetValueAt(1100, 1, 0, &v));
    EXPECT_EQ(10.0, v);
    EXPECT_EQ(S_FALSE, series->GetValueAt(1125, 2, 0, &v));
    EXPECT_DOUBLE_EQ(12.5, v);
    // Held readings: the last sample for any mode but 0, which takes the next.
    EXPECT_EQ(S_FALSE, series->GetValueAt(1125, 1, 0, &v));
    EXPECT_EQ(10.0, v);
    EXPECT_EQ(S_FALSE, series->GetValueAt(1125, 7, 0, &v));
    EXPECT_EQ(10.0, v);
    EXPECT_EQ(S_FALSE, series->GetValueAt(1125, 0, 0, &v));
    EXPECT_EQ(20.0, v);
    EXPECT_EQ(S_OK, series->GetValueAt(1000, 2, 0, &v));
    EXPECT_EQ(0.0, v);
    EXPECT_EQ(S_OK, series->GetValueAt(2200, 2, 0, &v));
    EXPECT_EQ(120.0, v);
}

TEST(SimSeries, ValueOutsideTheDataOrInAGapFailsAndLeavesTheOut)
{
    auto series = SeriesOver(GappedData());
    double v = -1.0;
    EXPECT_EQ(E_FAIL, series->GetValueAt(999, 2, 0, &v));
    EXPECT_EQ(E_FAIL, series->GetValueAt(2201, 1, 0, &v));
    EXPECT_EQ(E_FAIL, series->GetValueAt(1700, 2, 0, &v));
    EXPECT_EQ(E_FAIL, series->GetValueAt(1401, 1, 0, &v));
    EXPECT_EQ(-1.0, v);
    EXPECT_EQ(S_OK, series->GetValueAt(2000, 2, 0, &v));
    EXPECT_EQ(100.0, v);
}

TEST(SimSeries, RecordsShowTheGapAndTheirArraysStartAtAlternatingBounds)
{
    auto series = SeriesOver(GappedData());
    CComPtr<IQvxDataRecords> records;
    ASSERT_EQ(S_OK, series->GetRecords(records.Out()));
    long count = 0;
    records->GetCount(&count);
    EXPECT_EQ(2, count);
    CComPtr<IQvxDataRecord> none;
    EXPECT_EQ(E_INVALIDARG, records->GetRecord(0, none.Out()));
    EXPECT_EQ(E_INVALIDARG, records->GetRecord(3, none.Out()));

    CComPtr<IQvxDataRecord> second = RecordOf(series, 2);
    EXPECT_EQ(second.Get(), RecordOf(series, 2).Get());   // a record keeps its identity
    VARIANT_BOOL flag = 1;
    second->GetIsContinuous(&flag);
    EXPECT_EQ(VARIANT_FALSE, flag);
    second->GetIsPeriodic(&flag);
    EXPECT_EQ(VARIANT_BOOL(-1), flag);
    qvx::time start = 0, period = 0;
    second->GetStartTime(&start);
    second->GetPeriod(&period);
    EXPECT_EQ(2000, start);
    EXPECT_EQ(100, period);

    for (long number : {1L, 2L}) {
        CSafeArray values;
        ASSERT_EQ(S_OK, RecordOf(series, number)->GetValues(values.Out()));
        LONG lower = -1, upper = -1;
        SafeArrayGetLBound(values.Get(), 1, &lower);
        SafeArrayGetUBound(values.Get(), 1, &upper);
        EXPECT_EQ(number == 1 ? 1 : 0, lower);
        EXPECT_EQ(number == 1 ? 5 : 3, upper - lower + 1);
        CSafeArrayAccess<double> access(values.Get());
        EXPECT_EQ(number == 1 ? 0.0 : 100.0, access[0]);
    }
    CSafeArray times;
    ASSERT_EQ(S_OK, RecordOf(series, 1)->GetTimes(times.Out()));
    CSafeArrayAccess<qvx::time> access(times.Get());
    ASSERT_EQ(5u, access.Size());
    EXPECT_EQ(1400, access[4]);
}

TEST(SimSeries, LongRunsAreCutIntoRecordsThatContinue)
{
    auto data = std::make_shared<CChannelData>();
    const size_t n = CChannelData::RecordLength + 3;
    for (size_t i = 0; i < n; ++i) data->Append(qvx::time(i) * 10, double(i), true, 10, false);
    auto series = SeriesOver(data);
    VARIANT_BOOL continuous = 0;
    ASSERT_EQ(S_OK, RecordOf(series, 2)->GetIsContinuous(&continuous));
    EXPECT_EQ(VARIANT_BOOL(-1), continuous);
    // Between the last sample of one record and the first of the next the value is
    // interpolated: no gap lies there.
    qvx::time boundary = qvx::time(CChannelData::RecordLength - 1) * 10;
    double v = 0;
    EXPECT_EQ(S_FALSE, series->GetValueAt(boundary + 5, 2, 0, &v));
    EXPECT_DOUBLE_EQ(double(CChannelData::RecordLength) - 0.5, v);
    CFound next = Locate(series, boundary, 0);
    EXPECT_EQ(2, next.Record);
    EXPECT_EQ(0, next.Index);
    EXPECT_EQ(S_OK, series->GetLatestValue(&v));
    EXPECT_EQ(double(n - 1), v);
}

TEST(SimSeries, AperiodicRecordsHaveTimesAndNoPeriod)
{
    auto data = std::make_shared<CChannelData>();
    data->Append(10, 1.0, false, 0, false);
    data->Append(25, 2.0, false, 0, false);
    data->Append(45, 3.0, false, 0, false);
    auto series = SeriesOver(data);
    CComPtr<IQvxDataRecord> record = RecordOf(series, 1);
    VARIANT_BOOL periodic = -1;
    record->GetIsPeriodic(&periodic);
    EXPECT_EQ(VARIANT_FALSE, periodic);
    qvx::time period = 7;
    EXPECT_EQ(E_FAIL, record->GetPeriod(&period));
    EXPECT_EQ(0, Locate(series, 25, 1).Index);
    EXPECT_EQ(2, Locate(series, 25, 0).Index);
    double v = 0;
    EXPECT_EQ(S_FALSE, series->GetValueAt(35, 2, 0, &v));
    EXPECT_DOUBLE_EQ(2.5, v);
}

TEST(SimSeries, TimeOfAValueOnAMonotonicSeries)
{
    auto data = std::make_shared<CChannelData>();
    for (int i = 0; i < 3; ++i) data->Append(i * 100, i * 10.0, true, 100, false);
    auto series = SeriesOver(data);
    qvx::time t = -1;
    EXPECT_EQ(S_OK, series->FindTimeOfValue(15.0, 2, 0, &t));
    EXPECT_EQ(150, t);
    EXPECT_EQ(S_OK, series->FindTimeOfValue(15.0, 6, 0, &t));
    EXPECT_EQ(200, t);
    EXPECT_EQ(S_OK, series->FindTimeOfValue(10.0, 2, 0, &t));
    EXPECT_EQ(100, t);
    t = -1;
    EXPECT_EQ(E_FAIL, series->FindTimeOfValue(-1.0, 2, 0, &t));
    EXPECT_EQ(-1, t);
    EXPECT_EQ(S_FALSE, series->FindTimeOfValue(-1.0, 2, 1, &t));
    EXPECT_EQ(0, t);
    EXPECT_EQ(S_FALSE, series->FindTimeOfValue(25.0, 2, 1, &t));
    EXPECT_EQ(200, t);
    EXPECT_EQ(E_INVALIDARG, series->FindTimeOfValue(std::nan(""), 2, 0, &t));
    EXPECT_EQ(E_INVALIDARG, series->FindTimeOfValue(5.0, 3, 0, &t));
}

TEST(SimSeries, LatestValueOfAnEmptySeriesFails)
{
    auto series = SeriesOver(std::make_shared<CChannelData>());
    double v = 8.0;
    EXPECT_EQ(E_FAIL, series->GetLatestValue(&v));
    EXPECT_EQ(8.0, v);
    CComPtr<IQvxData> base;
    EXPECT_EQ(S_OK, series->QueryInterface(__uuidof(IQvxData), base.OutVoid()));
}

// --- the simulated recording ---

TEST(SimRecording, TheSameSeedGivesTheSameSamplesAndAnotherSeedOthers)
{
    CRecording a(5, 0, 30 * Second, false), b(5, 0, 30 * Second, false), c(6, 0, 30 * Second, false);
    int speed = FindChannelDefinition(L"speed");
    ASSERT_GE(speed, 0);
    auto va = a.Channel(size_t(speed))->Records()[0].Values;
    auto vb = b.Channel(size_t(speed))->Records()[0].Values;
    auto vc = c.Channel(size_t(speed))->Records()[0].Values;
    EXPECT_EQ(va, vb);
    EXPECT_NE(va, vc);
}

TEST(SimRecording, PeriodicSamplesLieOnTheirPeriodFromTheStart)
{
    const qvx::time start = 1'000'000'000;
    CRecording recording(1, start, 10 * Second, false);
    for (size_t i = 0; i < ChannelDefinitions().size(); ++i) {
        const CChannelDefinition& d = ChannelDefinitions()[i];
        if (d.Sampling != CSampling::Periodic) continue;
        auto data = recording.Channel(i);
        EXPECT_EQ(size_t(10 * Second / d.Period + 1), data->SampleCount()) << d.Name;
        const auto& first = data->Records().front();
        EXPECT_EQ(start, first.Start) << d.Name;
        EXPECT_EQ(d.Period, first.Period) << d.Name;
    }
}

TEST(SimRecording, DistanceGrowsAndLapsFallWhereItPassesEachLapLength)
{
    CRecording recording(3, 0, 200 * Second, false);
    auto distance = recording.Channel(size_t(FindChannelDefinition(L"Distance")));
    CChannelData::CPosition at, next;
    ASSERT_TRUE(distance->First(at));
    next = at;
    while (distance->Next(next)) {
        ASSERT_LE(distance->ValueOf(at), distance->ValueOf(next));
        at = next;
    }
    long laps = recording.LapCount();
    ASSERT_GE(laps, 2);
    auto series = SeriesOver(distance);
    for (long lap = 1; lap <= laps; ++lap) {
        double value = 0;
        series->GetValueAt(recording.LapTime(lap), 2, 0, &value);
        // Within the distance of one sample at top speed.
        EXPECT_NEAR(lap * CTrackModel::LapLength, value, 1.0) << lap;
    }
    EXPECT_LT(recording.LapTime(1), recording.LapTime(2));
}

TEST(SimRecording, SpeedIsTheRateOfDistance)
{
    CRecording recording(2, 0, 60 * Second, false);
    auto distance = SeriesOver(recording.Channel(size_t(FindChannelDefinition(L"Distance"))));
    auto speed = SeriesOver(recording.Channel(size_t(FindChannelDefinition(L"Speed"))));
    for (qvx::time t = 5 * Second; t < 55 * Second; t += 7 * Second) {
        double d0 = 0, d1 = 0, v = 0;
        distance->GetValueAt(t - Second / 10, 2, 0, &d0);
        distance->GetValueAt(t + Second / 10, 2, 0, &d1);
        speed->GetValueAt(t, 2, 0, &v);
        EXPECT_NEAR(v, (d1 - d0) / 0.2, 1.5) << t;
    }
}

TEST(SimRecording, GpsDropOutsMakeRecordsThatDoNotContinue)
{
    CRecording recording(1, 0, 60 * Second, false);
    auto gps = recording.Channel(size_t(FindChannelDefinition(L"GPS speed")));
    const auto& records = gps->Records();
    ASSERT_GE(records.size(), 3u);
    EXPECT_FALSE(records[1].Continuous);
    // The first sample after a drop-out lies more than a period after the last one before.
    EXPECT_GT(records[1].First() - records[0].Last(), records[0].Period);
}

TEST(SimRecording, FuelFlowHasNaNWhileTheInjectorsAreCut)
{
    CRecording recording(1, 0, 70 * Second, false);
    const auto& values = recording.Channel(size_t(FindChannelDefinition(L"Fuel flow")))->Records()[0].Values;
    size_t nan = 0;
    for (double v : values) nan += std::isnan(v) ? 1 : 0;
    EXPECT_GT(nan, 0u);
    EXPECT_LT(nan, values.size());
}

TEST(SimRecording, TyrePressureSamplesAreAperiodic)
{
    CRecording recording(1, 0, 60 * Second, false);
    const auto& record = recording.Channel(size_t(FindChannelDefinition(L"Tyre pressure FL")))->Records()[0];
    ASSERT_FALSE(record.Periodic);
    ASSERT_GE(record.Times.size(), 40u);
    for (size_t i = 1; i < record.Times.size(); ++i) {
        qvx::time gap = record.Times[i] - record.Times[i - 1];
        EXPECT_GE(gap, 2 * Second / 10);
        EXPECT_LE(gap, 14 * Second / 10);
    }
}

TEST(SimRecording, LiveAdvanceReportsTheSpanOfNewSamples)
{
    CRecording recording(1, 500, 0, true);
    size_t speed = size_t(FindChannelDefinition(L"Speed"));
    EXPECT_EQ(1u, recording.Channel(speed)->SampleCount());   // the sample at the start
    CRecording::CAdvance step = recording.Advance(Second);
    ASSERT_EQ(1u, step.Channels.size());
    EXPECT_EQ(speed, step.Channels[0].Index);
    EXPECT_EQ(500 + Second / 100, step.Channels[0].From);
    EXPECT_EQ(500 + Second, step.Channels[0].To);
    EXPECT_EQ(101u, recording.Channel(speed)->SampleCount());
    EXPECT_EQ(500 + Second, recording.End());
    // Channels that nobody uses are made when first asked for, complete.
    EXPECT_EQ(1001u, recording.Channel(size_t(FindChannelDefinition(L"RPM")))->SampleCount());
}

TEST(SimRecording, WarningsAreOnOfferFromTheirFirstEvent)
{
    CRecording recording(1, 0, 0, true);
    size_t warnings = 2;
    ASSERT_STREQ(L"Warnings", EventDefinitions()[warnings].Name);
    EXPECT_TRUE(recording.IsEventSetOffered(0));
    EXPECT_FALSE(recording.IsEventSetOffered(warnings));
    bool offered = false;
    for (int step = 0; step < 600 && !offered; ++step) {
        CRecording::CAdvance advance = recording.Advance(Second);
        for (size_t set : advance.OfferedSets) offered |= set == warnings;
    }
    ASSERT_TRUE(offered);
    const auto& events = recording.EventSet(warnings)->Events();
    ASSERT_FALSE(events.empty());
    EXPECT_LE(events.back().Time, recording.End());
    const auto& shifts = recording.EventSet(0)->Events();
    for (size_t i = 1; i < shifts.size(); ++i) EXPECT_LE(shifts[i - 1].Time, shifts[i].Time);
}
