// The real-time task item over the substitute host: the live window that follows the data's end
// by half seconds, the span that the zoom stack retains, and the control modes (no task, running,
// local pause, global pause) with the cursor that each of them gives.
#include <gtest/gtest.h>
#include <algorithm>
#include "items/DataSelectionDataItem.h"
#include "items/ItemFlags.h"
#include "tests/SimTestSupport.h"
#include "items/RTCTaskDataItem.h"
#include "items/ChannelDataItem.h"
#include "items/TraceDataItem.h"

using namespace qvxtest;

namespace {

constexpr qvx::time Tick = 1;

using Mode = CRTCTaskDataItem::CControlMode;

// The control whose choice of selection the task asks: its task is the one that the test attaches.
class CChoosingChart : public CTestChartCtl
{
public:
    HRESULT GetSelectionTask(IQvxTask** task) override
    {
        *task = Chosen;
        if (Chosen) Chosen->AddRef();
        return Chosen ? S_OK : E_FAIL;
    }
    IQvxTask* Chosen = nullptr;
};

class RTCTask : public testing::Test, protected CTestHost
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(S_OK, StartHost());
        ASSERT_EQ(S_OK, CComObject<CChoosingChart>::CreateInstance(Owner));
        Chart = static_cast<CChoosingChart*>(Owner.Get());
        Task = std::make_unique<CRTCTaskDataItem>(Chart, Settings);
    }

    CComPtr<IQvxTask> HostTask(long id) { return qvxtest::TaskOfHost(Host, id); }

    // What the control does when it is given a task.
    void Attach(long id)
    {
        Attached = HostTask(id);
        ASSERT_TRUE(Attached);
        ASSERT_EQ(S_OK, CoCreateInstance(CLSID_QvxZoomStack, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IQvxZoomStack),
                                         Stack.OutVoid()));
        ASSERT_EQ(S_OK, Stack->SetTask(Attached));
        Task->SetZoomStack(nullptr);
        Task->SetTask(Attached);
        Chart->Chosen = Attached;
        Task->NotifyChange(TaskCursorStale | TaskSelectionsStale | TaskControlModeStale, 1);
        Task->RebuildDataSelections();
        ASSERT_EQ(S_OK, Task->SetZoomStack(Stack));
        Task->NotifyChange(TaskTimeRangeStale | TaskLiveRangeStale, 1);
    }
    // The live task, whose recording holds `length` of data.
    void AttachLiveOfLength(qvx::time length)
    {
        ASSERT_EQ(S_OK, Sim->Advance(length));
        Attach(SessionTask);
        ASSERT_TRUE(Task->GetActiveSelection());
        // The chart's selection is a window of at most the historic span over the data.
        ASSERT_EQ(std::min(length, HistoricDataTimeSpan), Task->GetActiveSelection()->GetLength());
    }
    std::pair<qvx::time, qvx::time> Range()
    {
        Task->NotifyChange(TaskLiveRangeStale, 1);
        qvx::time minimum = -1, maximum = -1;
        Task->GetTimeRange(minimum, maximum);
        return {minimum, maximum};
    }
    qvx::time HostCursor()
    {
        qvx::time time = -1;
        Attached->GetCursorTime(&time);
        return time;
    }
    // The host's run state as the control passes it on: the wish to run follows it.
    void HostRuns(bool running)
    {
        ASSERT_EQ(S_OK, Sim->SetRunning(SessionTask, running ? VARIANT_TRUE : VARIANT_FALSE));
        Running = running;
        Task->OnRunStateChanged();
    }
    // The local pause command: it toggles the wish to run.
    void LocalPause()
    {
        Running = !Running;
        Task->RefreshControlMode();
    }

    qvx::time DataTimeSpan = 10 * Second;
    qvx::time HistoricDataTimeSpan = 300 * Second;
    uint32_t Running = 1;
    CRTCTimeSettings Settings{&DataTimeSpan, &HistoricDataTimeSpan, &Running};
    CComPtr<IQvxLinnographCtl4> Owner;
    CChoosingChart* Chart = nullptr;
    std::unique_ptr<CRTCTaskDataItem> Task;
    CComPtr<IQvxTask> Attached;
    CComPtr<IQvxZoomStack> Stack;
};

using Pair = std::pair<qvx::time, qvx::time>;

} // namespace

// --- the live window ---

TEST(RTCLiveWindow, TheRightEdgeIsTheNextHalfSecondStrictlyAfterTheDataEnd)
{
    EXPECT_EQ(100 * Second, CRTCTaskDataItem::NextHalfSecond(100 * Second - Tick));
    EXPECT_EQ(100 * Second + Second / 2, CRTCTaskDataItem::NextHalfSecond(100 * Second));
    EXPECT_EQ(100 * Second + Second / 2, CRTCTaskDataItem::NextHalfSecond(100 * Second + Tick));
    EXPECT_EQ(Second / 2, CRTCTaskDataItem::NextHalfSecond(0));
}

TEST_F(RTCTask, TheTimeSettingsAreReadWhereTheControlKeepsThem)
{
    EXPECT_EQ(10 * Second, Task->GetDataTimeSpan());
    EXPECT_EQ(300 * Second, Task->GetHistoricDataTimeSpan());
    EXPECT_TRUE(Task->IsRunWanted());
    DataTimeSpan = 20 * Second;
    HistoricDataTimeSpan = 40 * Second;
    Running = 0;
    EXPECT_EQ(20 * Second, Task->GetDataTimeSpan());
    EXPECT_EQ(40 * Second, Task->GetHistoricDataTimeSpan());
    EXPECT_FALSE(Task->IsRunWanted());
}

TEST_F(RTCTask, DataEndingOnAHalfSecondPutsTheEdgeHalfASecondAhead)
{
    AttachLiveOfLength(100 * Second);
    EXPECT_EQ(Pair(90 * Second + Second / 2, 100 * Second + Second / 2), Range());
    EXPECT_EQ(100 * Second, Task->GetFullTimeSpan());
    EXPECT_TRUE(Task->HasTimeRange());
}

TEST_F(RTCTask, DataEndingOneTickShortOfAHalfSecondPutsTheEdgeOnIt)
{
    AttachLiveOfLength(100 * Second - Tick);
    EXPECT_EQ(Pair(90 * Second, 100 * Second), Range());
}

TEST_F(RTCTask, DataEndingOneTickPastAHalfSecondPutsTheEdgeOnTheNextOne)
{
    AttachLiveOfLength(100 * Second + Tick);
    EXPECT_EQ(Pair(90 * Second + Second / 2, 100 * Second + Second / 2), Range());
}

TEST_F(RTCTask, AWindowLongerThanTheDataStandsAtTheStart)
{
    DataTimeSpan = 100 * Second;
    AttachLiveOfLength(30 * Second);
    EXPECT_EQ(Pair(0, 100 * Second), Range());
}

TEST_F(RTCTask, AFilledWindowEndsAtTheNextHalfSecond)
{
    DataTimeSpan = 100 * Second;
    AttachLiveOfLength(130 * Second + 2 * Second / 10);
    EXPECT_EQ(Pair(30 * Second + Second / 2, 130 * Second + Second / 2), Range());
    // A wider window read from the control at the next update.
    DataTimeSpan = 120 * Second;
    EXPECT_EQ(Pair(10 * Second + Second / 2, 130 * Second + Second / 2), Range());
}

TEST_F(RTCTask, AZoomedWindowInsideTheDataStaysPut)
{
    AttachLiveOfLength(130 * Second);
    ASSERT_EQ(S_OK, Stack->PushTimeZoom(10 * Second, 20 * Second));
    EXPECT_EQ(Pair(10 * Second, 20 * Second), Range());
    EXPECT_EQ(130 * Second, Task->GetFullTimeSpan());
}

TEST_F(RTCTask, AZoomedWindowPastTheDataEndsAtTheDataWithItsWidthKept)
{
    AttachLiveOfLength(130 * Second);
    ASSERT_EQ(S_OK, Stack->PushTimeZoom(125 * Second, 145 * Second));
    EXPECT_EQ(Pair(110 * Second, 130 * Second), Range());
}

TEST_F(RTCTask, AZoomedWindowWiderThanTheDataStartsAtZero)
{
    AttachLiveOfLength(10 * Second);
    ASSERT_EQ(S_OK, Stack->PushTimeZoom(5 * Second, 25 * Second));
    EXPECT_EQ(Pair(0, 20 * Second), Range());
}

// --- the retained span ---

TEST_F(RTCTask, TheStackRetainsTheHistoricSpanAndFollowsItsChanges)
{
    HistoricDataTimeSpan = 50 * Second;
    AttachLiveOfLength(130 * Second);
    qvx::time span = 0;
    ASSERT_EQ(S_OK, Stack->GetFullTimeSpan(&span));
    EXPECT_EQ(50 * Second, span);
    HistoricDataTimeSpan = 200 * Second;
    Task->UpdateRetainedSpan();
    ASSERT_EQ(S_OK, Stack->GetFullTimeSpan(&span));
    EXPECT_EQ(130 * Second, span);
}

// --- the control modes ---

TEST_F(RTCTask, WithoutATaskTheModeHasNoCursorAndNoText)
{
    Mode& mode = Task->GetMode();
    EXPECT_FALSE(mode.IsRunning());
    EXPECT_FALSE(mode.HasScrollBars());
    EXPECT_FALSE(mode.HasCursors());
    EXPECT_FALSE(mode.ValuesAtCursor());
    EXPECT_FALSE(mode.IsLocallyHeld());
    EXPECT_EQ(0, Task->GetCursorTime());
    EXPECT_EQ(0u, SysStringLen(mode.GetStatusText().Get()));
    EXPECT_EQ(0u, SysStringLen(mode.GetTimeLabel().Get()));
}

TEST_F(RTCTask, ARunningChartHasNoCursorAndLeavesTheHostsAlone)
{
    Attach(SessionTask);
    ASSERT_EQ(S_OK, Attached->SetCursorTime(3 * Second));
    Mode& mode = Task->GetMode();
    EXPECT_TRUE(mode.IsRunning());
    EXPECT_TRUE(mode.IsLocallyHeld());
    EXPECT_FALSE(mode.HasCursors());
    EXPECT_EQ(L"Running ", std::wstring(mode.GetStatusText().View()));
    EXPECT_EQ(L"Elapsed Time: ", std::wstring(mode.GetTimeLabel().View()));
    EXPECT_EQ(0, Task->GetCursorTime());
    Task->SetCursor(Second, 0);
    Task->SetCursorChecked(Second);
    EXPECT_EQ(0, Task->GetCursorTime());
    EXPECT_EQ(3 * Second, HostCursor());
}

TEST_F(RTCTask, ALocalPauseMovesAPrivateCursorFromWhereTheHostsStood)
{
    AttachLiveOfLength(60 * Second);
    ASSERT_EQ(S_OK, Sim->SetRunning(SessionTask, VARIANT_TRUE));
    ASSERT_EQ(S_OK, Attached->SetCursorTime(4 * Second));
    LocalPause();
    Mode& mode = Task->GetMode();
    EXPECT_FALSE(mode.IsRunning());
    EXPECT_TRUE(mode.IsLocallyHeld());
    EXPECT_TRUE(mode.HasScrollBars());
    EXPECT_TRUE(mode.HasCursors());
    EXPECT_EQ(L"Local Pause ", std::wstring(mode.GetStatusText().View()));
    EXPECT_EQ(L"Time: ", std::wstring(mode.GetTimeLabel().View()));
    EXPECT_EQ(4 * Second, Task->GetCursorTime());
    Task->SetCursor(7 * Second, 0);
    EXPECT_EQ(7 * Second, Task->GetCursorTime());
    // Past the data's end the private cursor stops at the end.
    Task->SetCursor(90 * Second, 0);
    EXPECT_EQ(60 * Second, Task->GetCursorTime());
    EXPECT_EQ(4 * Second, HostCursor());
}

TEST_F(RTCTask, AConstrainedCursorOutsideTheWindowDoesNotMove)
{
    AttachLiveOfLength(60 * Second);
    ASSERT_EQ(S_OK, Sim->SetRunning(SessionTask, VARIANT_TRUE));
    ASSERT_EQ(S_OK, Attached->SetCursorTime(55 * Second));
    LocalPause();
    // The window is [50.5 s, 60.5 s].
    Task->SetCursor(20 * Second, 1);
    EXPECT_EQ(55 * Second, Task->GetCursorTime());
    Task->SetCursor(52 * Second, 1);
    EXPECT_EQ(52 * Second, Task->GetCursorTime());
}

TEST_F(RTCTask, TheHostsPauseSharesTheHostsCursor)
{
    ASSERT_EQ(S_OK, Sim->Advance(10 * Second));
    Attach(SessionTask);
    HostRuns(false);
    Mode& mode = Task->GetMode();
    EXPECT_FALSE(mode.IsRunning());
    EXPECT_FALSE(mode.IsLocallyHeld());
    EXPECT_TRUE(mode.HasCursors());
    EXPECT_EQ(L"Global Pause ", std::wstring(mode.GetStatusText().View()));
    ASSERT_TRUE(Task->GetActiveSelection());
    Task->SetCursorChecked(2 * Second);
    EXPECT_EQ(2 * Second, HostCursor());
    Task->NotifyChange(TaskCursorStale, 1);
    EXPECT_EQ(2 * Second, Task->GetCursorTime());
    // A time before the selection is refused.
    Task->SetCursorChecked(-Second);
    EXPECT_EQ(2 * Second, HostCursor());
}

TEST_F(RTCTask, ALocalPauseWhileTheHostPausesStaysAGlobalPauseUntilTheHostRuns)
{
    Attach(SessionTask);
    EXPECT_TRUE(Task->GetMode().IsRunning());
    HostRuns(false);
    EXPECT_FALSE(Task->GetMode().IsLocallyHeld());
    LocalPause();
    EXPECT_FALSE(Task->GetMode().IsLocallyHeld());
    EXPECT_FALSE(Task->GetMode().IsRunning());
    HostRuns(true);
    EXPECT_TRUE(Task->GetMode().IsRunning());
    // Paused locally, then the host pauses: the host's pause wins.
    LocalPause();
    EXPECT_TRUE(Task->GetMode().IsLocallyHeld());
    EXPECT_FALSE(Task->GetMode().IsRunning());
    HostRuns(false);
    EXPECT_FALSE(Task->GetMode().IsLocallyHeld());
    // Resuming from a local pause runs again.
    HostRuns(true);
    LocalPause();
    LocalPause();
    EXPECT_TRUE(Task->GetMode().IsRunning());
}

TEST_F(RTCTask, TheModeIsChosenAgainOnlyWhenStale)
{
    Attach(SessionTask);
    ASSERT_TRUE(Task->GetMode().IsRunning());
    ASSERT_EQ(S_OK, Sim->SetRunning(SessionTask, VARIANT_FALSE));
    EXPECT_TRUE(Task->GetMode().IsRunning());
    Task->NotifyChange(TaskControlModeStale, 1);
    EXPECT_FALSE(Task->GetMode().IsRunning());
    EXPECT_FALSE(Task->Flags & TaskControlModeStale);
}

TEST_F(RTCTask, AFailingRunStateCountsAsTheHostsPause)
{
    Attach(SessionTask);
    Fault(L"IQvxTask.GetRunning", E_FAIL);
    Task->RefreshControlMode();
    EXPECT_FALSE(Task->GetMode().IsRunning());
    EXPECT_FALSE(Task->GetMode().IsLocallyHeld());
    EXPECT_TRUE(Task->IsRunWanted());
}

TEST_F(RTCTask, ATaskGoingAwayLeavesNoTaskMode)
{
    Attach(SessionTask);
    ASSERT_TRUE(Task->GetMode().IsRunning());
    Task->SetTask(nullptr);
    Task->RefreshControlMode();
    EXPECT_FALSE(Task->GetMode().IsRunning());
    EXPECT_FALSE(Task->GetMode().HasCursors());
}

TEST_F(RTCTask, ARunStateChangeFreezesTheStackOnlyForALocalPause)
{
    AttachLiveOfLength(60 * Second);
    ASSERT_EQ(S_OK, Sim->SetRunning(SessionTask, VARIANT_TRUE));
    Task->RefreshControlMode();
    // What the chart showed when the pause came.
    ASSERT_EQ(Pair(50 * Second + Second / 2, 60 * Second + Second / 2), Range());
    LocalPause();
    // Frozen at [50.5 s, 60.5 s]: the stack's extent is the frozen range.
    qvx::time span = 0;
    ASSERT_EQ(S_OK, Stack->GetFullTimeSpan(&span));
    EXPECT_EQ(60 * Second + Second / 2, span);
    LocalPause();
    ASSERT_EQ(S_OK, Stack->GetFullTimeSpan(&span));
    EXPECT_EQ(60 * Second, span);
}

TEST_F(RTCTask, TheHostsPauseKeepsTheRangeAsAZoomAndItsResumeFollowsTheDataAgain)
{
    AttachLiveOfLength(60 * Second);
    ASSERT_EQ(S_OK, Sim->SetRunning(SessionTask, VARIANT_TRUE));
    Task->RefreshControlMode();
    ASSERT_EQ(Pair(50 * Second + Second / 2, 60 * Second + Second / 2), Range());
    ASSERT_EQ(S_OK, Sim->SetRunning(SessionTask, VARIANT_FALSE));
    Task->OnRunStateChanged();
    VARIANT_BOOL zoomed = VARIANT_FALSE;
    ASSERT_EQ(S_OK, Stack->GetIsZoomed(&zoomed));
    EXPECT_EQ(VARIANT_TRUE, zoomed);
    ASSERT_EQ(S_OK, Sim->SetRunning(SessionTask, VARIANT_TRUE));
    Task->OnRunStateChanged();
    ASSERT_EQ(S_OK, Stack->GetIsZoomed(&zoomed));
    EXPECT_EQ(VARIANT_FALSE, zoomed);
    EXPECT_EQ(Pair(50 * Second + Second / 2, 60 * Second + Second / 2), Range());
}

TEST_F(RTCTask, AZoomedWindowFromBeforeZeroInsideTheDataStaysPut)
{
    AttachLiveOfLength(30 * Second);
    ASSERT_EQ(S_OK, Stack->PushTimeZoom(-2 * Second, 5 * Second));
    EXPECT_EQ(Pair(-2 * Second, 5 * Second), Range());
}

// --- the run state through the control, as the host and the local pause command give it ---

namespace {

// A chart whose live window of 100 seconds has slid 30 seconds past the host selection's start, so
// that the chart's times and the host's differ.
class LiveChart : public LiveChartTest
{
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(LiveChartTest::SetUp());
        Attach(SessionTask);
        Advance(130 * Second);
        ASSERT_TRUE(Shown());
        ASSERT_TRUE(Task().GetMode().IsRunning());
        ASSERT_GT(ChartToAbsolute(0), HostToAbsolute(0));
    }
};

} // namespace

TEST_F(LiveChart, InTheHostsPauseTheWishToRunStaysAndTheStacksZoomsAreFollowed)
{
    HostRuns(false);
    EXPECT_EQ(1u, Chart->Running) << "only the local pause command clears the wish";
    EXPECT_FALSE(Task().GetMode().IsRunning());
    ASSERT_EQ(S_OK, Task().GetZoomStack()->PushTimeZoom(10 * Second, 20 * Second));
    qvx::time minimum = 0, maximum = 0;
    Task().GetTimeRange(minimum, maximum);
    EXPECT_EQ(Pair(10 * Second, 20 * Second), Pair(minimum, maximum));
    HostRuns(true);
    EXPECT_TRUE(Task().GetMode().IsRunning());
}

TEST_F(LiveChart, OnlyARunningTraceTakesDataBeyondTheEndOfItsSelection)
{
    Task().GetOrdering()->SetNames({CBstr(L"Speed")});
    const struct
    {
        const char* Name;
        bool Running;
    } rows[] = {{"host's pause", false}, {"running again", true}};
    for (const auto& row : rows) {
        HostRuns(row.Running);
        auto* trace = static_cast<CRTCTraceDataItem*>(Task().GetOrdering()->GetItems().at(0)->GetTraces().at(0));
        trace->HasNewData = FALSE;
        CRecordingRegion heard(nullptr);
        trace->AddListener(&heard);
        qvx::time from = trace->GetSelection()->GetEndTime() + 1, to = from + Second;
        trace->OnDataChanged(nullptr, &from, &to);
        trace->RemoveListener(&heard);
        EXPECT_EQ(row.Running, bool(trace->HasNewData)) << row.Name;
        if (!row.Running) EXPECT_TRUE(heard.Heard.empty()) << row.Name;
        if (!row.Running) continue;
        // The newest value is read once after data arrived.
        double latest = 0.0;
        ASSERT_EQ(S_OK, Sim->ResetCallCounts());
        EXPECT_EQ(S_OK, trace->GetLatestValue(latest));
        EXPECT_EQ(S_OK, trace->GetLatestValue(latest));
        EXPECT_EQ(1, Calls(L"IQvxData2.GetLatestValue"));
    }
}

TEST_F(LiveChart, EitherPauseStartsTheCursorWhereTheHostsStandsAfterTheWindowSlid)
{
    ASSERT_EQ(S_OK, HostTask()->SetCursorTime(50 * Second));
    LocalPause();
    ASSERT_TRUE(Task().GetMode().IsLocallyHeld());
    EXPECT_EQ(HostToAbsolute(50 * Second), ChartToAbsolute(Task().GetCursorTime())) << "local pause";
    LocalPause();
    HostRuns(false);
    EXPECT_EQ(HostToAbsolute(50 * Second), ChartToAbsolute(Task().GetCursorTime())) << "host's pause";
    Task().SetCursor(60 * Second, 0);
    EXPECT_EQ(ChartToAbsolute(60 * Second), HostToAbsolute(HostCursor()));
}

TEST_F(LiveChart, APauseAfterARunReadsTheHostsCursorAgainAndOnlyOnce)
{
    HostRuns(false);
    ASSERT_EQ(S_OK, HostTask()->SetCursorTime(40 * Second));
    EXPECT_EQ(HostToAbsolute(40 * Second), ChartToAbsolute(Task().GetCursorTime()));
    HostRuns(true);
    ASSERT_EQ(S_OK, HostTask()->SetCursorTime(70 * Second));
    HostRuns(false);
    ASSERT_EQ(S_OK, Sim->ResetCallCounts());
    EXPECT_EQ(HostToAbsolute(70 * Second), ChartToAbsolute(Task().GetCursorTime()));
    EXPECT_EQ(HostToAbsolute(70 * Second), ChartToAbsolute(Task().GetCursorTime()));
    EXPECT_EQ(1, Calls(L"IQvxTask.GetCursorTime"));
}
