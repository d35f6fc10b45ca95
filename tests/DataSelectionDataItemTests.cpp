// The data-selection items over the substitute host: the real-time window that slides over the
// live data by whole pixel columns, the control's choice of its one selection, the listener that
// waits for a selection to turn live, and the historic item's colour, bounds and lists.
#include <gtest/gtest.h>
#include <algorithm>
#include "items/DataSelectionDataItem.h"
#include "items/ItemFlags.h"
#include "items/LapMarkersDataItem.h"
#include "config/NotificationSinks.h"
#include "tests/HostPaths.h"
#include "tests/SimTestSupport.h"
#include "tests/TestSource.h"
#include "items/RTCTaskDataItem.h"

using namespace qvxtest;

namespace {

// A host's sink for the control's choice of selection.
class CSelectionRecorder : public CComRoot, public IQvxSingleDataSelectionControlNotifications
{
public:
    QVX_BEGIN_INTERFACES(CSelectionRecorder)
        QVX_INTERFACE(CSelectionRecorder, IQvxSingleDataSelectionControlNotifications),
    QVX_END_INTERFACES()

    STDMETHODIMP OnSelectionChanged(IUnknown*) override
    {
        ++Changes;
        return S_OK;
    }
    int Changes = 0;
};

// A chart attached to the live task through COM, as a host attaches it.
class LiveSelection : public LiveChartTest
{
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(LiveChartTest::SetUp());
        Single = Query<IQvxSingleDataSelectionControl>(Owner);
        ASSERT_TRUE(Single);
        Task().AddListener(&Listener);
    }
    void TearDown() override
    {
        if (Chart) Task().RemoveListener(&Listener);
        Single = nullptr;
        LiveChartTest::TearDown();
    }
    CComPtr<IQvxDataSelection> Chosen()
    {
        CComPtr<IQvxDataSelection> chosen;
        EXPECT_EQ(S_OK, Single->GetSelection(chosen.Out()));
        return chosen;
    }
    // The newest data lie strictly inside the window, at most a column from its end.
    void ExpectNewestDataInside(CRTCDataSelectionDataItem* shown)
    {
        EXPECT_GT(shown->GetEndTime(), DataEnd());
        EXPECT_LE(shown->GetEndTime(), DataEnd() + Column);
    }

    CComPtr<IQvxSingleDataSelectionControl> Single;
    CRecordingRegion Listener{nullptr};
    static constexpr qvx::time Column = 100 * Second / 1000;   // one pixel column of a 100 s window 1000 px wide
};

} // namespace

TEST_F(LiveSelection, TheChartShowsTheTasksLiveSelectionAndFollowsTheChoiceAsTheHostExpects)
{
    CComPtr<IQvxDataSelection> chosen;
    EXPECT_EQ(E_POINTER, Single->GetSelection(nullptr));
    EXPECT_EQ(E_FAIL, Single->GetSelection(chosen.Out())) << "no task, no selection";
    EXPECT_EQ(DISP_E_BADINDEX, Single->SetSelectionIndex(0));
    EXPECT_EQ(E_FAIL, Single->SetSelectionIndex(1)) << "no task";
    Attach(SessionTask);
    EXPECT_EQ(E_INVALIDARG, Single->SetSelectionIndex(9)) << "the host's own answer";
    CRTCDataSelectionDataItem* shown = Shown();
    ASSERT_TRUE(shown);
    EXPECT_EQ(1u, Task().GetSelections().size());
    EXPECT_TRUE(Task().GetSecondarySelections().empty());
    EXPECT_TRUE(SameObject(Chosen(), shown->GetSelection()));
    EXPECT_TRUE(shown->IsRealTime());
    EXPECT_EQ(0, shown->GetIndex());
    EXPECT_TRUE(dynamic_cast<CRTCLapMarkersDataItem*>(shown->GetLapMarkers()));
    // Without the control's choice a real-time task has no selection.
    CRTCTaskDataItem orphan(nullptr, 100 * Second);
    EXPECT_EQ(E_UNEXPECTED, orphan.GetCurrentDataSelection(chosen.Out()));
    EXPECT_EQ(E_POINTER, orphan.GetCurrentDataSelection(nullptr));
    orphan.SetTask(TaskOfHost(Host, SessionTask));
    orphan.NotifyChange(TaskSelectionsStale, 0);
    EXPECT_TRUE(orphan.GetSelections().empty());
    EXPECT_FALSE(orphan.Flags & TaskSelectionsStale);
    // A secondary choice shows nothing, and a new task drops the choice.
    ASSERT_EQ(S_OK, Single->SetSelectionIndex(3));
    EXPECT_TRUE(Task().GetSelections().empty());
    EXPECT_TRUE(Task().GetSecondarySelections().empty());
    EXPECT_FALSE(Task().IsWaitingForSelection());
    Attach(ArchiveTask);
    EXPECT_TRUE(SameObject(Chosen(), SelectionOf(TaskOfHost(Host, ArchiveTask), 1)));
    // A finished recording is waited for.
    EXPECT_FALSE(Shown());
    EXPECT_TRUE(Task().IsWaitingForSelection());
}

TEST_F(LiveSelection, AChangedChoiceIsToldToTheHostAndTheChartFollows)
{
    Attach(SessionTask);
    ASSERT_TRUE(Shown());
    using INotifications = IQvxSingleDataSelectionControlNotifications;
    CComPtr<CSelectionRecorder> recorder = MakeObject<CSelectionRecorder, INotifications>();
    ULONG cookie = 0;
    ASSERT_EQ(S_OK, AdviseNotifications(Owner, __uuidof(INotifications), static_cast<INotifications*>(recorder.Get()),
                                        &cookie));
    // The finished session is not live: the chart waits for it and shows nothing meanwhile. The
    // same choice again is no change; a new text of the chosen selection is news, the same text not.
    for (int twice = 0; twice < 2; ++twice) ASSERT_EQ(S_OK, Single->SetSelectionIndex(2));
    EXPECT_EQ(1, recorder->Changes);
    EXPECT_FALSE(Shown());
    EXPECT_TRUE(Task().IsWaitingForSelection());
    for (int twice = 0; twice < 2; ++twice)
        ASSERT_EQ(S_OK, Sim->SetSelectionText(SessionTask, 2, CBstr(L"Morning").Get()));
    EXPECT_EQ(2, recorder->Changes);
    UnadviseNotifications(Owner, cookie);
    // A waiting listener leaves with its selection; the task's default, the live one, is taken next.
    ASSERT_EQ(S_OK, Sim->RemoveDataSelection(SessionTask, 2));
    EXPECT_FALSE(Task().IsWaitingForSelection());
    ASSERT_TRUE(Shown());
    EXPECT_TRUE(Shown()->IsRealTime());
}

TEST_F(LiveSelection, AStoppedRecordingIsExchangedForAWaitingListenerAndTakenUpAgain)
{
    Attach(SessionTask);
    Advance(5 * Second);
    ASSERT_TRUE(Shown());
    const long before = SinkCount();
    ASSERT_EQ(S_OK, Sim->StopRecording());
    EXPECT_TRUE(Task().Flags & TaskSelectionsStale);
    EXPECT_FALSE(Shown());
    EXPECT_TRUE(Task().IsWaitingForSelection());
    ASSERT_EQ(S_OK, Sim->ResumeRecording());
    EXPECT_TRUE(Task().Flags & TaskSelectionsStale) << "the listener hands the selection back";
    ASSERT_TRUE(Shown());
    EXPECT_FALSE(Task().IsWaitingForSelection());
    EXPECT_TRUE(Shown()->IsRealTime());
    EXPECT_EQ(before, SinkCount()) << "the listener left, and the new item listens as the old one did";
}

// --- the real-time window ---

TEST_F(LiveSelection, HoursOfLiveDataLeaveTheWindowExactlyOnItsColumns)
{
    Attach(SessionTask);
    CRTCDataSelectionDataItem* shown = Shown();
    ASSERT_TRUE(shown);
    qvx::time lastStart = shown->GetStartTime();
    // Uneven steps, as a host delivers them, for three hours of recording.
    for (int step = 0; Elapsed < 3 * Hour; ++step) {
        Advance(7'000'000 + (step % 13) * 131'071);
        shown->RefreshWindow();
        ASSERT_TRUE(shown->AreTimesValid());
        ASSERT_GE(shown->GetStartTime(), lastStart) << "never back, at step " << step;
        lastStart = shown->GetStartTime();
        if (Elapsed <= 100 * Second) {
            ASSERT_EQ(RecordingStart, shown->GetStartTime());
            continue;
        }
        ASSERT_EQ(0, (shown->GetStartTime() - RecordingStart) % Column) << "off the columns at step " << step;
        ASSERT_GT(shown->GetEndTime(), DataEnd()) << step;
        ASSERT_LE(shown->GetEndTime(), DataEnd() + Column) << step;
    }
    EXPECT_EQ(RecordingStart, shown->GetFirstDataTime());
    EXPECT_EQ(0, shown->GetTimeOffset());
}

TEST_F(LiveSelection, DataWithinTheLastColumnLeaveTheWindowWhereItIsAndANewSpanComputesItAgain)
{
    Attach(SessionTask);
    Advance(150 * Second + 100);
    CRTCDataSelectionDataItem* shown = Shown();
    shown->RefreshWindow();
    const qvx::time start = shown->GetStartTime();
    Listener.Heard.clear();
    Advance(Column / 2);
    shown->RefreshWindow();
    EXPECT_EQ(start, shown->GetStartTime());
    EXPECT_TRUE(Listener.Heard.empty()) << "nothing moved, nothing told";
    Advance(Column);
    shown->RefreshWindow();
    EXPECT_EQ(start + Column, shown->GetStartTime());
    // A held window is not asked for again between refreshes.
    ASSERT_EQ(S_OK, Sim->ResetCallCounts());
    qvx::time first = 0, end = 0, offset = -1;
    ASSERT_TRUE(shown->GetTimes(first, end, offset));
    EXPECT_EQ(0, Calls(L"IQvxLaps.GetLastTime"));
    EXPECT_EQ(shown->GetEndTime(), end);
    EXPECT_EQ(0, offset);
    Advance(50 * Second);
    shown->RefreshWindow();
    ASSERT_EQ(S_OK, Owner->put_HistoricDataTimeSpan(150 * Second));
    EXPECT_EQ(150 * Second, shown->GetLength());
    ExpectNewestDataInside(shown);
    // Without a lap object there is no window.
    Fault(L"IQvxDataSelection.GetLaps", E_FAIL);
    shown->RefreshWindow();
    EXPECT_FALSE(shown->AreTimesValid());
    ASSERT_EQ(S_OK, Sim->ClearFaults());
    shown->RefreshWindow();
    EXPECT_TRUE(shown->AreTimesValid());
    ExpectNewestDataInside(shown);
}

TEST_F(LiveSelection, AMovedWindowTellsTheTaskItsLiveRangeIsStaleOnlyWhileRunning)
{
    Attach(SessionTask);
    CRTCDataSelectionDataItem* shown = Shown();
    // Running: the lap object's report of new data moves the window, and the visible range follows.
    Listener.Heard.clear();
    Advance(120 * Second);
    EXPECT_TRUE(std::count(Listener.Heard.begin(), Listener.Heard.end(), TaskWindowMoved | TaskLiveRangeStale));
    qvx::time minimum = 0, maximum = 0;
    Task().GetTimeRange(minimum, maximum);
    EXPECT_EQ(100 * Second, maximum - minimum);
    EXPECT_EQ(CRTCTaskDataItem::NextHalfSecond(shown->GetLength()), maximum);
    // A local pause: the lap object's reports leave the window; a refresh says only that it moved.
    LocalPause();
    const qvx::time end = shown->GetEndTime();
    Listener.Heard.clear();
    Advance(10 * Second);
    EXPECT_EQ(end, shown->GetEndTime());
    EXPECT_EQ(0, std::count(Listener.Heard.begin(), Listener.Heard.end(), TaskWindowMoved));
    shown->RefreshWindow();
    EXPECT_EQ(std::vector<DWORD>{TaskWindowMoved}, Listener.Heard);
    // The host's pause: the wish to run stays, but a moved window is not followed either.
    LocalPause();
    HostRuns(false);
    Listener.Heard.clear();
    Advance(10 * Second);
    shown->RefreshWindow();
    EXPECT_TRUE(Listener.HeardAny(TaskWindowMoved));
    EXPECT_FALSE(Listener.HeardAny(TaskLiveRangeStale));
}

// --- the historic item ---

class HistoricSelection : public LiveSelection
{
protected:
    // The host's selection at `index` of the live task, as a historic item of a plain task.
    std::unique_ptr<CDataSelectionDataItem> Make(long index)
    {
        HostTask = TaskOfHost(Host, SessionTask);
        Plain.SetTask(HostTask);
        auto item = std::make_unique<CDataSelectionDataItem>(SelectionOf(HostTask, index), &Plain, index);
        item->AttachLapMarkers();
        return item;
    }

    CTaskDataItem Plain{nullptr};
    CComPtr<IQvxTask> HostTask;
};

TEST_F(HistoricSelection, TheColourIsReadOnceUntilTheHostChangesItAndTheLapObjectGivesTheBounds)
{
    auto item = Make(2);
    ASSERT_EQ(S_OK, Sim->ResetCallCounts());
    EXPECT_EQ(COLORREF(0x00FF0000), item->GetColor());
    EXPECT_EQ(COLORREF(0x00FF0000), item->GetColor());
    EXPECT_EQ(1, Calls(L"IQvxDataSelection.GetColor"));
    ASSERT_EQ(S_OK, Sim->SetSelectionColor(SessionTask, 2, 0x00123456));
    EXPECT_TRUE(item->Flags & SelectionColorStale);
    EXPECT_EQ(COLORREF(0x00123456), item->GetColor());
    // A failing host keeps the last colour.
    ASSERT_EQ(S_OK, Sim->SetSelectionColor(SessionTask, 2, 0x00654321));
    Fault(L"IQvxDataSelection.GetColor", E_FAIL);
    EXPECT_EQ(COLORREF(0x00123456), item->GetColor());

    qvx::time first = 0, last = 0;
    ASSERT_TRUE(item->GetDataFirstTime(first));
    ASSERT_TRUE(item->GetDataLastTime(last));
    EXPECT_EQ(item->GetStartTime(), first);
    EXPECT_EQ(200 * Second, last - first);
    EXPECT_FALSE(item->IsRealTime());
    EXPECT_TRUE(dynamic_cast<CLapMarkersDataItem*>(item->GetLapMarkers()));
    EXPECT_FALSE(dynamic_cast<CRTCLapMarkersDataItem*>(item->GetLapMarkers()));
    EXPECT_EQ(Plain.GetTimePrefix().Get(), item->GetTimeLabel());
    Fault(L"IQvxDataSelection.GetLaps", E_FAIL);
    EXPECT_FALSE(item->GetDataFirstTime(first));
}

TEST_F(HistoricSelection, AMovedStartForgetsTheListsAndAMovedEndKeepsThem)
{
    // The start is not known at first, so the host's start is a move.
    Fault(L"IQvxDataSelection.GetStartTime", E_FAIL);
    auto item = Make(1);
    ASSERT_EQ(S_OK, Sim->ClearFaults());
    EXPECT_TRUE(item->GetSplits().empty());
    EXPECT_TRUE(item->GetSegments().empty());
    EXPECT_EQ(0, item->GetSplitsValidTo());
    EXPECT_EQ(0, item->GetSegmentsValidTo());
    ASSERT_EQ(S_OK, item->GetSelection()->SetTimeOffset(0));
    EXPECT_EQ(CDataSelectionDataItem::UnknownTime, item->GetSplitsValidTo());
    EXPECT_EQ(CDataSelectionDataItem::UnknownTime, item->GetSegmentsValidTo());
    EXPECT_EQ(RecordingStart, item->GetStartTime());
    // Lists known again; live data move only the end.
    item->GetSplits();
    item->GetSegments();
    {
        CListeningRegion heard(item.get());
        Advance(5 * Second);
        ASSERT_FALSE(heard.Heard.empty());
        EXPECT_EQ(SelectionTimesChanged | SelectionDistanceStale, heard.Heard.front());
    }
    EXPECT_EQ(RecordingStart, item->GetSplitsValidTo());
    EXPECT_EQ(RecordingStart, item->GetSegmentsValidTo());
    EXPECT_EQ(DataEnd(), item->GetEndTime());
    // Without a map the lists stay empty and stale.
    EXPECT_TRUE(item->Flags & SelectionSplitsStale);
    EXPECT_TRUE(item->Flags & SelectionSegmentsStale);
}

TEST_F(HistoricSelection, AGoingSelectionLeavesItsTaskAndTakesItsLapMarkersAlong)
{
    Plain.SetTask(TaskOfHost(Host, SessionTask));
    Plain.NotifyChange(TaskSelectionsStale, 0);
    ASSERT_EQ(2u, Plain.GetSelections().size());
    const long before = SinkCount();
    Plain.GetSelections()[1]->GetLapMarkers()->GetMarkers();
    ASSERT_EQ(S_OK, Sim->RemoveDataSelection(SessionTask, 2));
    EXPECT_EQ(1u, Plain.GetSelections().size());
    EXPECT_LT(SinkCount(), before) << "the selection's sink and its lap markers' are gone";
}
