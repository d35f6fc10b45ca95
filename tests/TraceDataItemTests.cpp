// The trace item over the substitute host: its hold on the host's channel, samples and values on
// the chart's time axis, what a data change costs, colours, and the real-time trace.
#include "tests/ChannelTestSupport.h"
#include "items/RTCTaskDataItem.h"

using namespace qvxtest;

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
    long uses = -1, subscribers = -1;
    const auto use = [&] { return Sim->GetChannelUse(SessionTask, 2, CBstr(L"Speed").Get(), &uses, &subscribers); };
    Task->InvalidateChannels();
    Channel()->GetTraces();
    ASSERT_EQ(S_OK, use());
    EXPECT_EQ(1, uses) << "traces made again take the place of the old ones";
    EXPECT_EQ(1, subscribers);
    Task->GetOrdering()->SetNames({});
    ASSERT_EQ(S_OK, use());
    EXPECT_EQ(0, uses);
    EXPECT_EQ(0, subscribers);
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

TEST_F(ChannelItemTest, ValuesAreReadWithTheChannelsInterpolation)
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
}

// Samples are found on the chart's time axis; the value offset is asked again after the host
// changed it, and a burst of data changes costs one fetch of the series.
TEST_F(ChannelItemTest, ATraceFindsSamplesAndReadsItsOffsetAndSeriesOnceAfterAChange)
{
    Attach(ArchiveTask);
    Show({L"Speed"});
    CTraceDataItem* speed = Trace();
    const auto from = [&](qvx::time time, LONG direction) {
        EXPECT_TRUE(SUCCEEDED(speed->SampleFrom(time, direction)));
        return time;
    };
    EXPECT_EQ(Second + Period, from(Second + Period / 4, 1)) << "the nearest sample lies before the time";
    EXPECT_EQ(Second, from(Second, 1));
    EXPECT_EQ(Second + Period, from(Second, 0));
    qvx::time t = Second + Period / 4;
    EXPECT_TRUE(speed->SnapToSample(t));
    EXPECT_EQ(Second, t);
    EXPECT_TRUE(speed->ToLastSample(t));
    EXPECT_EQ(120 * Second, t);
    EXPECT_FALSE(speed->ToPreviousSample(t = 0));

    EXPECT_EQ(0.0, speed->GetValueOffset());
    ASSERT_EQ(S_OK, Query<IQvxChannelOffset>(speed->GetProxy())->SetValueOffset(2.5));
    EXPECT_TRUE(speed->Flags & TraceValueOffsetStale);
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
    CListeningRegion listener(rpm);
    const qvx::time from = trace->GetSelection()->GetStartTime() + 60 * Second, to = from + Second / 2;
    Change(trace, from, to);
    EXPECT_EQ(std::vector<DWORD>{ChannelRangeStale}, listener.Heard) << "the channel measures again";
    EXPECT_EQ(from, trace->GetChangedFrom());
    EXPECT_EQ(to, trace->GetChangedTo());
    Sim->ResetCallCounts();
    EXPECT_EQ(low, rpm->GetScaleMinimum(0));
    EXPECT_EQ(high, rpm->GetScaleMaximum(0));
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
    EXPECT_FALSE(speed->Flags & ChannelTracesStale) << "the channel keeps its other trace";
    EXPECT_TRUE(speed->Flags & ChannelRangeStale);
    EXPECT_EQ(0, Calls(L"IQvxPropertySet.GetProperty"));
    EXPECT_NE(fixedTop, speed->GetScaleMaximum(0));
}

TEST_F(ChannelItemTest, AHiddenTraceIsHiddenAgainWhenItsChannelRebuildsItsTraces)
{
    Attach(SessionTask);
    Show({L"Speed"});
    Trace(1)->Visible = FALSE;
    Task->OnSelectionsChanged();
    EXPECT_TRUE(Channel()->Flags & ChannelTracesStale);
    ASSERT_EQ(2u, Channel()->GetTraces().size());
    EXPECT_TRUE(Trace(0)->Visible);
    EXPECT_FALSE(Trace(1)->Visible);
    // Also when the task makes its selections again first: the old items go before the traces,
    // which forget them.
    CTraceDataItem* session = Trace(1);
    Task->OnSelectionsChanged();
    Task->GetSelections();
    EXPECT_EQ(nullptr, session->GetSelection());
    ASSERT_EQ(2u, Channel()->GetTraces().size());
    EXPECT_FALSE(Trace(1)->Visible);
}

TEST_F(ChannelItemTest, OneTraceShowsTheChannelsColourAndMoreShowTheirSelectionsGraded)
{
    Attach(SessionTask);
    Chart->TraceGradation = 100;
    Show({L"Speed", L"RPM"});
    // The first channel shows the selections' colours (red and blue), the last one graded by 100.
    EXPECT_EQ(COLORREF(0x0000FF), Trace(0, 0)->GetColor());
    EXPECT_EQ(COLORREF(0xFF0000), Trace(1, 0)->GetColor());
    EXPECT_EQ(RGB(255, 100, 100), Trace(0, 1)->GetColor());
    EXPECT_EQ(RGB(100, 100, 255), Trace(1, 1)->GetColor());
    CTraceDataItem* stale = Trace(0, 0);
    stale->NotifyChange(TraceColorChanged, 0);
    Channel(0)->NotifyChange(ChannelTracesStale, 0);
    EXPECT_EQ(0u, stale->GetColor()) << "until the traces are made again";
    EXPECT_FALSE(stale->Flags & TraceColorChanged);

    ASSERT_EQ(S_OK, Sim->RemoveDataSelection(SessionTask, 1));
    Task->InvalidateChannels();
    EXPECT_EQ(COLORREF(0x0000FF), Trace(0, 0)->GetColor()) << "Speed's own colour";
    EXPECT_EQ(COLORREF(0x00A5FF), Trace(0, 1)->GetColor()) << "RPM's own colour";
}

TEST(TraceGrade, RampsFromTheColourToWhite)
{
    EXPECT_EQ(COLORREF(0xFFFFFF), CTraceDataItem::Grade(0xFFFFFF, 0.0));
    // 100 steps to white, one every 2.55: red and green climb by 1 and 0.5 a step.
    const COLORREF sky = RGB(155, 205, 255);
    EXPECT_EQ(sky, CTraceDataItem::Grade(sky, 2.5));
    EXPECT_EQ(RGB(156, 205, 255), CTraceDataItem::Grade(sky, 2.55));
    EXPECT_EQ(RGB(194, 224, 255), CTraceDataItem::Grade(sky, 100.0));
    EXPECT_EQ(RGB(254, 254, 255), CTraceDataItem::Grade(sky, 254.99));
    EXPECT_EQ(COLORREF(0xFFFFFF), CTraceDataItem::Grade(sky, 255.0));
    EXPECT_EQ(sky, CTraceDataItem::Grade(sky, -3.0)) << "below the first stop: the colour itself";
}
