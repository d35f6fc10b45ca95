// The channel and trace items over the substitute host: the channel's lazily read properties, the
// scale with units, autoscale and the vertical zoom, and what a property notification does to its
// traces; the trace's hold on the host's channel, samples and values on the chart's time axis, what
// a data change costs, and colours.
#include <cfloat>
#include "tests/ChannelTestSupport.h"

using namespace qvxtest;

TEST_F(ChannelItemTest, AConstantChannelScalesToAHundredthOfItsUnitEitherSide)
{
    // Five milliseconds of a channel sampled at 100 Hz hold one sample.
    ASSERT_EQ(S_OK, Sim->AddDataSelection(ArchiveTask, 9, Second / 200, VARIANT_FALSE));
    ASSERT_EQ(S_OK, Sim->RemoveDataSelection(ArchiveTask, 1));
    Attach(ArchiveTask);
    Set(L"Speed", L"Autoscale", VT_BOOL, -1);
    Show({L"Speed"});
    const double value = SampleAt(Trace(), 0);
    // A hundredth of a km/h, in m/s.
    EXPECT_DOUBLE_EQ(value - 0.01 / 3.6, Channel()->GetScaleMinimum(0));
    EXPECT_DOUBLE_EQ(value + 0.01 / 3.6, Channel()->GetScaleMaximum(0));
}

TEST_F(ChannelItemTest, AutoscaleSpansEveryTraceWithAFivePercentMargin)
{
    Attach(SessionTask);
    Show({L"Speed"});
    CChannelDataItem* speed = Channel();
    EXPECT_DOUBLE_EQ(300.0 / 3.6, speed->GetScaleMaximum(0));
    CListeningRegion listener(speed);
    Set(L"Speed", L"Autoscale", VT_BOOL, -1);
    EXPECT_EQ(std::vector<DWORD>{ChannelAutoscaleStale | ChannelRangeStale}, listener.Heard);
    // The extremes of each series, summed up in one bin.
    double low = DBL_MAX, high = -DBL_MAX;
    for (CTraceDataItem* trace : speed->GetTraces()) {
        CStatisticsCalculator<qvx::time, CMinMaxStatsBin, false> all(1 << 30);
        all.Calculate(Series(trace), trace->GetSelection()->GetStartTime(), trace->GetSelection()->GetEndTime());
        low = std::min(low, all.Minimum);
        high = std::max(high, all.Maximum);
    }
    EXPECT_DOUBLE_EQ(low - (high - low) * 0.05, speed->GetScaleMinimum(0));
    EXPECT_DOUBLE_EQ(high + (high - low) * 0.05, speed->GetScaleMaximum(0));
}

TEST_F(ChannelItemTest, APropertyChangeMakesEveryTraceBuildItsCalculatorAgainAndKeepsTheTraces)
{
    Attach(SessionTask);
    Show({L"Speed"});
    CTraceDataItem* live = Trace(0);
    CTraceDataItem* session = Trace(1);
    using CExtremes = CStatisticsCalculator<qvx::time, CMinMaxStatsBin, true>;
    EXPECT_TRUE(dynamic_cast<CExtremes*>(session->GetStatisticsCalculator())) << "nobody wants a mean";
    session->AddStatisticsUser(this);
    using CLinear = CStatisticsCalculator<qvx::time, CLinearStatsBin<qvx::time>, true>;
    EXPECT_TRUE(dynamic_cast<CLinear*>(session->GetStatisticsCalculator()));
    CListeningRegion listener(live);
    Set(L"Speed", L"Interpolation", VT_I4, 1);
    EXPECT_EQ(std::vector<DWORD>{TraceCalculatorStale}, listener.Heard);
    using CHold = CStatisticsCalculator<qvx::time, CHoldStatsBin<qvx::time>, true>;
    EXPECT_TRUE(dynamic_cast<CHold*>(session->GetStatisticsCalculator()));
    // A notification of all properties keeps the traces.
    CChannelDataItem* speed = Channel();
    CListeningRegion channelListener(speed);
    listener.Heard.clear();
    speed->OnPropertyChanged(nullptr, nullptr);
    EXPECT_EQ(std::vector<DWORD>{~ChannelTracesStale}, channelListener.Heard);
    EXPECT_EQ((std::vector<DWORD>{TraceColorChanged, TraceCalculatorStale}), listener.Heard);
    EXPECT_EQ(live, Trace(0));
}

// The scale is the display range in the quantity's base unit; y-axis percentages switch the
// vertical zoom off.
TEST_F(ChannelItemTest, TheScaleIsInTheBaseUnitAndYAxisPercentagesSwitchTheVerticalZoomOff)
{
    Attach(ArchiveTask);
    Show({L"Speed", L"Fuel flow"});
    CChannelDataItem* speed = Channel();
    EXPECT_EQ(L"km/h", std::wstring(speed->GetUnitText().View()));
    EXPECT_EQ(0.0, speed->GetScaleMinimum(1));
    EXPECT_DOUBLE_EQ(300.0 / 3.6, speed->GetScaleMaximum(1));
    EXPECT_DOUBLE_EQ(36.0, speed->ToDisplayUnit(10.0));
    EXPECT_EQ(L"l/h", std::wstring(Channel(1)->GetUnitText().View())) << "no quantity: the user type";
    Task->PushYZoom({0.5, 1.0});
    const double bottom = speed->GetScaleMinimum(0), top = speed->GetScaleMaximum(0);
    const double middle = bottom + (top - bottom) * 0.5;
    EXPECT_DOUBLE_EQ(middle, speed->GetScaleMinimum(1));
    ASSERT_EQ(S_OK, speed->SetYPercentMinimum(20.0));
    ASSERT_EQ(S_OK, speed->SetYPercentMaximum(60.0));
    EXPECT_EQ(100.0, speed->GetYPercentMaximum()) << "while the percentages are off";
    ASSERT_EQ(S_OK, speed->SetYPercentEnabled(1));
    EXPECT_EQ(60.0, speed->GetYPercentMaximum());
    EXPECT_EQ(bottom, speed->GetScaleMinimum(1));
    // The whole axis (the setters clamp) lets the zoom apply.
    ASSERT_EQ(S_OK, speed->SetYPercentMinimum(-5.0));
    ASSERT_EQ(S_OK, speed->SetYPercentMaximum(150.0));
    EXPECT_DOUBLE_EQ(middle, speed->GetScaleMinimum(1));
    // The host's shared percentages switch it off too, until they are cleared.
    Set(L"Speed", L"Y-axis % minimum", VT_R8, 10.0, true);
    Set(L"Speed", L"Y-axis % enabled", VT_BOOL, -1, true);
    EXPECT_EQ(10.0, speed->GetDefaultYPercentMinimum());
    EXPECT_EQ(bottom, speed->GetScaleMinimum(1));
    ASSERT_EQ(S_OK, speed->ClearDefaultYPercentEnabled());
    EXPECT_DOUBLE_EQ(middle, speed->GetScaleMinimum(1));
    // A failing converter keeps the symbol that it gave.
    Fault(L"GetUnitText", E_FAIL);
    Set(L"Speed", L"Unit", VT_I4, 2);
    EXPECT_EQ(2, speed->GetUnit());
    EXPECT_EQ(L"km/h", std::wstring(speed->GetUnitText().View()));
    // A burst of changes costs one read, and more than nine places read as nine.
    for (double places : {4.0, 7.0, 12.0}) Set(L"Speed", L"Decimal places", VT_I4, places);
    Sim->ResetCallCounts();
    EXPECT_EQ(9, speed->GetDecimalPlaces());
    EXPECT_EQ(9, speed->GetDecimalPlaces());
    EXPECT_EQ(1, Calls(L"IQvxPropertySet.GetProperty"));
}

namespace {

constexpr qvx::time Period = Second / 100;   // of "Speed"

// A data change as the host's series reports it.
void Change(CTraceDataItem* trace, qvx::time from, qvx::time to)
{
    trace->OnDataChanged(nullptr, &from, &to);
}

} // namespace

TEST_F(ChannelItemTest, ATraceUsesAndSubscribesToItsChannelUntilItGoes)
{
    Attach(SessionTask);
    Task->GetSelections();
    // The factory's set of the channel listens to its parent set for as long as the factory lives.
    CComPtr<IQvxPropertySet> set;
    ASSERT_EQ(S_OK, Factory->GetPropertySet(CBstr(L"Speed").Get(), set.Out()));
    const long before = SinkCount();
    Show({L"Speed"});
    EXPECT_EQ(before + 5, SinkCount()) << "the property set's, and the data and offset sinks of two traces";
    const auto use = [&] {
        long uses = -1, subscribers = -1;
        EXPECT_EQ(S_OK, Sim->GetChannelUse(SessionTask, 2, CBstr(L"Speed").Get(), &uses, &subscribers));
        return std::pair(uses, subscribers);
    };
    Task->InvalidateChannels();
    Channel()->GetTraces();
    EXPECT_EQ(std::pair(1L, 1L), use()) << "traces made again take the place of the old ones";
    Task->GetOrdering()->SetNames({});
    EXPECT_EQ(std::pair(0L, 0L), use());
    EXPECT_EQ(before, SinkCount());
}

TEST_F(ChannelItemTest, WithoutTheHostsChannelATraceHasNoDataAndTheChannelNoScale)
{
    Attach(ArchiveTask);
    Set(L"Oil pressure", L"Autoscale", VT_BOOL, -1);
    Show({L"Oil pressure", L"Speed"});
    CTraceDataItem* trace = Trace(0, 0);
    EXPECT_EQ(nullptr, trace->GetProxy());
    EXPECT_FALSE(trace->GetData());
    double value = 7.0;
    qvx::time time = Second;
    EXPECT_EQ(E_FAIL, trace->GetValueAtCursor(value));
    EXPECT_EQ(E_FAIL, trace->SampleFrom(time, 1));
    EXPECT_FALSE(trace->SnapToSample(time));
    EXPECT_TRUE(value == 7.0 && time == Second) << "nothing written";
    EXPECT_TRUE(Channel(0)->GetScaleMinimum(0) == 0.0 && Channel(0)->GetScaleMaximum(0) == -1.0);
    // A host that fails to give the series leaves the trace without one until the next change.
    CTraceDataItem* speed = Trace(0, 1);
    speed->NotifyChange(TraceDataStale, 0);
    Fault(L"GetDataFor", E_FAIL);
    EXPECT_FALSE(speed->GetData());
    Sim->ClearFaults();
    EXPECT_FALSE(speed->GetData());
    Change(speed, 0, 0);
    EXPECT_TRUE(speed->GetData());
}

TEST_F(ChannelItemTest, ATraceReadsValuesFindsSamplesAndReadsItsOffsetAndSeriesOnceAfterAChange)
{
    Attach(ArchiveTask);
    Set(L"Speed", L"Interpolation", VT_I4, 1);
    Show({L"Speed"});
    CTraceDataItem* speed = Trace();
    const auto sample = [&](qvx::time time) { return SampleAt(speed, time); };
    const qvx::time between = Second + Period / 4;
    ASSERT_EQ(S_OK, Attached->SetCursorTime(between));
    Task->NotifyChange(TaskCursorStale, 0);
    double value = 0.0;
    EXPECT_TRUE(SUCCEEDED(speed->GetValueAtCursor(value)));
    EXPECT_EQ(sample(Second), value) << "held from the sample before";
    EXPECT_TRUE(SUCCEEDED(speed->GetLinearValueAt(between, value)));
    // The host interpolates over absolute times, which a double holds to some ten ticks.
    const double v0 = sample(Second), v1 = sample(Second + Period);
    EXPECT_NEAR(v0 * 0.75 + v1 * 0.25, value, std::abs(v1 - v0) * 1e-3);
    EXPECT_TRUE(SUCCEEDED(speed->GetValueAtOrigin(value)));
    EXPECT_EQ(sample(0), value) << "the second cursor stands at the start";
    value = 5.0;
    EXPECT_TRUE(FAILED(speed->GetLinearValueAt(-Second, value)));
    EXPECT_EQ(5.0, value) << "outside the data the value stays";
    // Samples are found on the chart's time axis; the value offset is asked again after the host
    // changed it, and a burst of data changes costs one fetch of the series.
    const auto from = [&](qvx::time time, LONG direction) {
        EXPECT_TRUE(SUCCEEDED(speed->SampleFrom(time, direction)));
        return time;
    };
    EXPECT_EQ(Second + Period, from(Second + Period / 4, 1)) << "the nearest sample lies before the time";
    EXPECT_EQ(Second + Period, from(Second, 0));
    EXPECT_EQ(0.0, speed->GetValueOffset());
    ASSERT_EQ(S_OK, Query<IQvxChannelOffset>(speed->GetProxy())->SetValueOffset(2.5));
    Sim->ResetCallCounts();
    EXPECT_EQ(2.5, speed->GetValueOffset());
    EXPECT_EQ(2.5, speed->GetValueOffset());
    EXPECT_EQ(1, Calls(L"IQvxChannelOffset.GetValueOffset"));
    speed->GetData();
    CListeningRegion listener(speed);
    Sim->ResetCallCounts();
    for (int i = 0; i < 3; ++i) Change(speed, Second, 2 * Second);
    EXPECT_EQ(std::vector<DWORD>(3, TraceDataStale), listener.Heard);
    speed->GetData();
    speed->GetData();
    EXPECT_EQ(1, Calls(L"GetDataFor"));
    // A task that is to rebuild its selections redraws anyway: the bit is set, nobody is told.
    Task->NotifyChange(TaskSelectionsStale, 0);
    speed->Flags = 0;
    Change(speed, Second, 2 * Second);
    EXPECT_EQ(TraceDataStale, speed->Flags);
    EXPECT_EQ(3u, listener.Heard.size());
}

TEST_F(ChannelItemTest, ADataChangeDropsOnlyTheBinsThatItTouches)
{
    Attach(ArchiveTask);
    Set(L"RPM", L"Autoscale", VT_BOOL, -1);
    Show({L"RPM"});   // 1000 Hz over 120 seconds: 15 records of the host
    CChannelDataItem* rpm = Channel();
    CTraceDataItem* trace = Trace();
    Sim->ResetCallCounts();
    const double low = rpm->GetScaleMinimum(0), high = rpm->GetScaleMaximum(0);
    EXPECT_GE(Calls(L"IQvxDataRecord.GetValues"), 15);
    const qvx::time from = trace->GetSelection()->GetStartTime() + 60 * Second, to = from + Second / 2;
    Change(trace, from, to);
    EXPECT_TRUE(from == trace->GetChangedFrom() && to == trace->GetChangedTo());
    Sim->ResetCallCounts();
    EXPECT_TRUE(low == rpm->GetScaleMinimum(0) && high == rpm->GetScaleMaximum(0));
    EXPECT_GE(Calls(L"IQvxDataRecord.GetValues"), 1);
    EXPECT_LE(Calls(L"IQvxDataRecord.GetValues"), 2) << "only the records under the change are read";
}

TEST_F(ChannelItemTest, NeitherADataChangeNorATraceMadeOrGoneReadsAPropertyOfTheChannel)
{
    Attach(SessionTask);
    Show({L"Speed"});
    CChannelDataItem* speed = Channel();
    const double fixedTop = speed->GetScaleMaximum(0);
    CTraceDataItem* trace = Trace(1);
    const qvx::time from = trace->GetSelection()->GetStartTime() + Second, to = from + Second;
    {
        CListeningRegion listener(speed);
        Change(trace, from, to);
        EXPECT_TRUE(listener.Heard.empty()) << "a fixed scale does not follow the data";
        // "Autoscale" switched on and not read yet: the scale may follow the data, and is measured
        // again when read.
        Set(L"Speed", L"Autoscale", VT_BOOL, -1);
        listener.Heard.clear();
        Sim->ResetCallCounts();
        Change(trace, from, to);
        EXPECT_EQ(std::vector<DWORD>{ChannelRangeStale}, listener.Heard);
    }
    speed->Flags &= ~ChannelRangeStale;
    Task->InvalidateChannels();
    speed->GetTraces();
    EXPECT_TRUE(speed->Flags & ChannelRangeStale) << "new traces, new data";
    // The session's series goes away: its trace is deleted inside the notification.
    speed->Flags &= ~ChannelRangeStale;
    CListeningRegion gone(Trace(1));
    ASSERT_EQ(S_OK, Sim->RemoveDataSelection(SessionTask, 2));
    EXPECT_EQ(1, gone.Removed);
    EXPECT_EQ(ChannelRangeStale, speed->Flags & (ChannelRangeStale | ChannelTracesStale)) << "keeps its other trace";
    EXPECT_EQ(0, Calls(L"IQvxPropertySet.GetProperty"));
    EXPECT_NE(fixedTop, speed->GetScaleMaximum(0));
}

TEST_F(ChannelItemTest, AHiddenTraceIsHiddenAgainWhenItsChannelRebuildsItsTraces)
{
    Attach(SessionTask);
    Show({L"Speed"});
    Trace(1)->Visible = FALSE;
    Task->OnSelectionsChanged();
    ASSERT_EQ(2u, Channel()->GetTraces().size());
    EXPECT_TRUE(Trace(0)->Visible && !Trace(1)->Visible);
    // Also when the task makes its selections again first: the old items go before the traces,
    // which forget them.
    CTraceDataItem* session = Trace(1);
    Task->OnSelectionsChanged();
    Task->GetSelections();
    EXPECT_EQ(nullptr, session->GetSelection());
    ASSERT_EQ(2u, Channel()->GetTraces().size());
    EXPECT_TRUE(Trace(0)->Visible && !Trace(1)->Visible);
}

TEST_F(ChannelItemTest, OneTraceShowsTheChannelsColourAndMoreShowTheirSelectionsGraded)
{
    Attach(SessionTask);
    Chart->TraceGradation = 100;
    Show({L"Speed", L"RPM"});
    // The first channel shows the selections' colours (red and blue), the last one graded by 100.
    const auto colours = [&] {
        std::vector<COLORREF> all;
        for (size_t place : {0, 1})
            for (CTraceDataItem* trace : Channel(place)->GetTraces()) all.push_back(trace->GetColor());
        return all;
    };
    EXPECT_EQ((std::vector<COLORREF>{0x0000FF, 0xFF0000, RGB(255, 100, 100), RGB(100, 100, 255)}), colours());
    ASSERT_EQ(S_OK, Sim->RemoveDataSelection(SessionTask, 1));
    Task->InvalidateChannels();
    EXPECT_EQ((std::vector<COLORREF>{0x0000FF, 0x00A5FF}), colours()) << "the channels' own colours";
}

// 100 steps to white, one every 2.55: red and green climb by 1 and 0.5 a step; below the first
// stop the colour itself.
TEST(TraceGrade, RampsFromTheColourToWhite)
{
    const COLORREF sky = RGB(155, 205, 255);
    std::vector<COLORREF> graded;
    for (double grade : {2.5, 2.55, 100.0, 254.99, 255.0, -3.0}) graded.push_back(CTraceDataItem::Grade(sky, grade));
    EXPECT_EQ((std::vector<COLORREF>{sky, RGB(156, 205, 255), RGB(194, 224, 255), RGB(254, 254, 255), 0xFFFFFF, sky}),
              graded);
    EXPECT_EQ(COLORREF(0xFFFFFF), CTraceDataItem::Grade(0xFFFFFF, 0.0));
}
