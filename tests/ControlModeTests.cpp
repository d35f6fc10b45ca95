// The real-time task item over the substitute host: the live window and the control modes.
#include <gtest/gtest.h>
#include <functional>
#include <tuple>
#include "items/DataSelectionDataItem.h"
#include "items/ItemFlags.h"
#include "tests/SimTestSupport.h"
#include "items/RTCTaskDataItem.h"
#include "items/ChannelDataItem.h"
#include "items/TraceDataItem.h"

using namespace qvxtest;

namespace {

constexpr qvx::time Tick = 1;
constexpr qvx::time HalfSecond = Second / 2;

using Pair = std::pair<qvx::time, qvx::time>;

} // namespace

// A zoom inside the data stays put, one past it ends at the data. Unzoomed, the window ends at the
// next half second strictly after the data, and stands at zero until it is filled.
TEST_F(LiveChartTest, TheLiveWindowFollowsTheDataByHalfSecondsAndAZoomStaysInsideIt)
{
    ASSERT_EQ(S_OK, Owner->put_HistoricDataTimeSpan(300 * Second));
    ASSERT_EQ(S_OK, Owner->put_DataTimeSpan(10 * Second));
    Attach(SessionTask);
    Advance(30 * Second);
    const auto range = [&] {
        Task().NotifyChange(TaskLiveRangeStale, 1);
        qvx::time minimum = -1, maximum = -1;
        Task().GetTimeRange(minimum, maximum);
        return Pair(minimum, maximum);
    };
    IQvxZoomStack* stack = Task().GetZoomStack();
    const std::pair<Pair, Pair> zooms[] = {{{10 * Second, 20 * Second}, {10 * Second, 20 * Second}},
                                           {{25 * Second, 45 * Second}, {10 * Second, 30 * Second}},
                                           {{5 * Second, 40 * Second}, {0, 35 * Second}}};
    for (const auto& [zoom, window] : zooms) {
        ASSERT_EQ(S_OK, stack->PushTimeZoom(zoom.first, zoom.second));
        EXPECT_EQ(window, range()) << zoom.first;
        EXPECT_EQ(30 * Second, Task().GetFullTimeSpan());
    }
    ASSERT_EQ(S_OK, stack->PopAll());
    const struct
    {
        const char* Name;
        qvx::time Span, Length;
        Pair Window;
    } rows[] = {
        {"longer than the data", 100 * Second, 30 * Second, {0, 100 * Second}},
        {"one tick short of a half second", 10 * Second, 100 * Second - Tick, {90 * Second, 100 * Second}},
        {"on a half second", 10 * Second, 100 * Second, {90 * Second + HalfSecond, 100 * Second + HalfSecond}},
        {"one tick past", 10 * Second, 100 * Second + Tick, {90 * Second + HalfSecond, 100 * Second + HalfSecond}},
        {"filled", 100 * Second, 130 * Second + Second / 5, {30 * Second + HalfSecond, 130 * Second + HalfSecond}},
    };
    for (const auto& row : rows) {
        ASSERT_EQ(S_OK, Owner->put_DataTimeSpan(row.Span));
        if (row.Length > Elapsed) Advance(row.Length - Elapsed);
        Shown()->RefreshWindow();
        ASSERT_EQ(row.Length, Shown()->GetLength()) << row.Name;
        EXPECT_EQ(row.Window, range()) << row.Name;
        EXPECT_EQ(row.Length, Task().GetFullTimeSpan()) << row.Name;
    }
    ASSERT_EQ(S_OK, Owner->put_DataTimeSpan(120 * Second));
    EXPECT_EQ(Pair(10 * Second + HalfSecond, 130 * Second + HalfSecond), range());
}

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
        ASSERT_GT(ChartToAbsolute(0), HostToAbsolute(0));
    }
    Pair Range()
    {
        qvx::time minimum = -1, maximum = -1;
        Task().GetTimeRange(minimum, maximum);
        return {minimum, maximum};
    }
    qvx::time StackSpan()
    {
        qvx::time span = -1;
        EXPECT_EQ(S_OK, Task().GetZoomStack()->GetFullTimeSpan(&span));
        return span;
    }
};

using Mode = CRTCTaskDataItem::CControlMode;

} // namespace

TEST_F(LiveChartTest, WithoutATaskTheModeHasNoCursorAndNoText)
{
    Attach(SessionTask);
    Task().SetTask(nullptr);
    Task().RefreshControlMode();
    Mode& mode = Task().GetMode();
    EXPECT_FALSE(mode.IsRunning() || mode.HasScrollBars() || mode.HasCursors() || mode.ValuesAtCursor()
                 || mode.IsLocallyHeld() || Task().GetCursorTime());
    EXPECT_EQ(0u, SysStringLen(mode.GetStatusText().Get()) + SysStringLen(mode.GetTimeLabel().Get()));
}

TEST_F(LiveChart, EachModeSaysWhatTheChartShowsAndWhoseCursorItHolds)
{
    const struct
    {
        const char* Name;
        std::function<void()> Enter;
        bool Running, Held;
        const wchar_t *Status, *Label;
    } rows[] = {
        {"running", [] {}, true, true, L"Running ", L"Elapsed Time: "},
        {"local pause", [&] { LocalPause(); }, false, true, L"Local Pause ", L"Time: "},
        {"host's pause", [&] { HostRuns(false); }, false, false, L"Global Pause ", L"Time: "},
        {"host's pause, no answer", [&] { Fault(L"IQvxTask.GetRunning", E_FAIL); Task().RefreshControlMode(); },
         false, false, L"Global Pause ", L"Time: "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.Name);
        ASSERT_EQ(S_OK, HostTask()->SetCursorTime(50 * Second));
        row.Enter();
        Mode& mode = Task().GetMode();
        EXPECT_TRUE(row.Running == mode.IsRunning() && row.Held == mode.IsLocallyHeld());
        EXPECT_TRUE(!row.Running == mode.HasCursors() && !row.Running == mode.HasScrollBars()
                    && !row.Running == mode.ValuesAtCursor());
        EXPECT_EQ(std::wstring(row.Status) + row.Label, std::wstring(mode.GetStatusText().View())
                                                            + std::wstring(mode.GetTimeLabel().View()));
        // No cursor while running; a local pause starts where the host's stands and moves a
        // private one; the host's pause moves the host's. Either pause counts across the offset.
        const qvx::time expected = row.Running ? 0 : 50 * Second + HostToAbsolute(0) - ChartToAbsolute(0);
        EXPECT_EQ(expected, Task().GetCursorTime());
        Task().SetCursor(60 * Second, 0);
        EXPECT_EQ(row.Running ? 0 : 60 * Second, Task().GetCursorTime());
        EXPECT_EQ(row.Held ? 50 * Second : 60 * Second + ChartToAbsolute(0) - HostToAbsolute(0), HostCursor());
        EXPECT_EQ(row.Held && !row.Running ? 0u : 1u, Chart->Running) << "only the local pause clears the wish";
        Sim->ClearFaults();
        HostRuns(true);
        Chart->Running = 1;
        Task().RefreshControlMode();
    }
}

TEST_F(LiveChart, TheLocalPauseWorksOnlyWhileTheHostRunsAndTheHostsRunEndsIt)
{
    const struct
    {
        const char* Name;
        std::function<void()> Event;
        bool Running, Held;
    } steps[] = {
        {"host pauses", [&] { HostRuns(false); }, false, false},
        {"local pause in the host's pause", [&] { LocalPause(); }, false, false},
        {"host runs", [&] { HostRuns(true); }, true, true},
        {"local pause", [&] { LocalPause(); }, false, true},
        {"host pauses a locally paused chart", [&] { HostRuns(false); }, false, false},
        {"host runs again", [&] { HostRuns(true); }, true, true},
        {"local pause", [&] { LocalPause(); }, false, true},
        {"local pause again", [&] { LocalPause(); }, true, true},
    };
    for (const auto& step : steps) {
        step.Event();
        ASSERT_EQ(S_OK, Sim->ResetCallCounts());
        EXPECT_TRUE(step.Running == Task().GetMode().IsRunning() && step.Held == Task().GetMode().IsLocallyHeld())
            << step.Name;
        EXPECT_EQ(0, Calls(L"IQvxTask.GetRunning")) << step.Name << ": the mode was chosen at the event";
    }
}

// A paused cursor stays inside the data and the window; a pause after a run reads the host's
// cursor again, and only once.
TEST_F(LiveChart, APausedCursorStaysInsideTheDataAndAPauseReadsTheHostsCursorOnce)
{
    LocalPause();
    const Pair live = Range();
    Task().SetCursor(live.first + 50 * Second, 1);
    EXPECT_EQ(live.first + 50 * Second, Task().GetCursorTime());
    Task().SetCursor(live.first - Tick, 1);
    EXPECT_EQ(live.first + 50 * Second, Task().GetCursorTime()) << "outside the window, no trace to move to";
    Task().SetCursor(200 * Second, 0);
    EXPECT_EQ(Shown()->GetLength(), Task().GetCursorTime()) << "the private cursor stops at the data's end";
    LocalPause();
    HostRuns(false);
    Task().SetCursor(20 * Second, 0);
    const qvx::time host = HostCursor();
    Task().SetCursorChecked(-Second);
    Task().SetCursorChecked(Shown()->GetLength() + Tick);
    EXPECT_EQ(host, HostCursor()) << "the host's cursor stays inside the selection";
    HostRuns(true);
    ASSERT_EQ(S_OK, HostTask()->SetCursorTime(70 * Second));
    HostRuns(false);
    ASSERT_EQ(S_OK, Sim->ResetCallCounts());
    EXPECT_EQ(HostToAbsolute(70 * Second), ChartToAbsolute(Task().GetCursorTime()));
    EXPECT_EQ(HostToAbsolute(70 * Second), ChartToAbsolute(Task().GetCursorTime()));
    EXPECT_EQ(1, Calls(L"IQvxTask.GetCursorTime"));
}

// The range where the host paused is kept as a zoom, and the chart follows the stack's zooms until
// the host runs again; a local pause freezes the stack at the range it shows.
TEST_F(LiveChart, InTheHostsPauseTheStacksZoomsAreFollowedAndItsRunFollowsTheDataAgain)
{
    const Pair live = Range();
    HostRuns(false);
    const auto zoomed = [&] {
        VARIANT_BOOL read = 0;
        EXPECT_EQ(S_OK, Task().GetZoomStack()->GetIsZoomed(&read));
        return read;
    };
    EXPECT_EQ(VARIANT_TRUE, zoomed());
    CRecordingRegion heard(nullptr);
    Task().AddListener(&heard);
    ASSERT_EQ(S_OK, Task().GetZoomStack()->PushTimeZoom(10 * Second, 20 * Second));
    Task().RemoveListener(&heard);
    EXPECT_TRUE(heard.HeardAny(TaskTimeRangeStale)) << "the regions are told at once";
    EXPECT_EQ(Pair(10 * Second, 20 * Second), Range());
    HostRuns(true);
    EXPECT_EQ(VARIANT_FALSE, zoomed());
    EXPECT_EQ(live, Range());
    const qvx::time span = StackSpan();
    LocalPause();
    EXPECT_EQ(live.second, StackSpan());
    LocalPause();
    EXPECT_EQ(span, StackSpan());
}

// Paused by the host, a trace takes data up to the end of its selection and no further; the
// newest value of a running trace is read once after data arrived.
TEST_F(LiveChart, OnlyARunningTraceTakesDataBeyondTheEndOfItsSelection)
{
    Task().GetOrdering()->SetNames({CBstr(L"Speed")});
    const std::tuple<const char*, bool, qvx::time> rows[] = {
        {"host's pause, at the end", false, 0}, {"host's pause", false, 1}, {"running again", true, 1}};
    for (const auto& [name, running, beyond] : rows) {
        HostRuns(running);
        auto* trace = static_cast<CRTCTraceDataItem*>(Task().GetOrdering()->GetItems().at(0)->GetTraces().at(0));
        trace->HasNewData = FALSE;
        CRecordingRegion heard(nullptr);
        trace->AddListener(&heard);
        qvx::time from = trace->GetSelection()->GetEndTime() + beyond, to = from + Second;
        trace->OnDataChanged(nullptr, &from, &to);
        trace->RemoveListener(&heard);
        const bool taken = running || !beyond;
        EXPECT_EQ(taken, bool(trace->HasNewData)) << name;
        EXPECT_TRUE(taken || heard.Heard.empty()) << name;
    }
    auto* trace = static_cast<CRTCTraceDataItem*>(Task().GetOrdering()->GetItems().at(0)->GetTraces().at(0));
    double latest = 0.0;
    ASSERT_EQ(S_OK, Sim->ResetCallCounts());
    EXPECT_EQ(S_OK, trace->GetLatestValue(latest));
    EXPECT_EQ(S_OK, trace->GetLatestValue(latest));
    EXPECT_EQ(1, Calls(L"IQvxData2.GetLatestValue"));
}
