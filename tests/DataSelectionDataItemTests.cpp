// The data-selection items over the substitute host: the real-time window on whole pixel columns,
// the control's choice of its one selection, the waiting listener, and the historic item.
#include <gtest/gtest.h>
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

    STDMETHODIMP OnSelectionChanged(IUnknown*) override { return ++Changes, S_OK; }
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
    // What the chart shows ("live", "historic" or "none"), and whether it waits for a selection.
    std::string State()
    {
        CRTCDataSelectionDataItem* shown = Shown();
        return std::string(shown ? (shown->IsRealTime() ? "live" : "historic") : "none")
               + (Task().IsWaitingForSelection() ? " waiting" : "");
    }

    CComPtr<IQvxSingleDataSelectionControl> Single;
    CRecordingRegion Listener{nullptr};
    static constexpr qvx::time Column = 100 * Second / 1000;   // one pixel column of a 100 s window 1000 px wide
};

} // namespace

// Without the control's choice a real-time task has no selection; a secondary choice shows
// nothing, a new task drops the choice, and a finished recording is waited for.
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
    EXPECT_EQ("live", State());
    EXPECT_EQ(1u, Task().GetSelections().size());
    EXPECT_TRUE(Task().GetSecondarySelections().empty());
    EXPECT_TRUE(SameObject(Chosen(), shown->GetSelection()));
    EXPECT_TRUE(dynamic_cast<CRTCLapMarkersDataItem*>(shown->GetLapMarkers()));
    CRTCTaskDataItem orphan(nullptr, 100 * Second);
    EXPECT_EQ(E_UNEXPECTED, orphan.GetCurrentDataSelection(chosen.Out()));
    orphan.SetTask(TaskOfHost(Host, SessionTask));
    orphan.NotifyChange(TaskSelectionsStale, 0);
    EXPECT_TRUE(orphan.GetSelections().empty());
    ASSERT_EQ(S_OK, Single->SetSelectionIndex(3));
    EXPECT_EQ("none", State());
    Attach(ArchiveTask);
    EXPECT_TRUE(SameObject(Chosen(), SelectionOf(TaskOfHost(Host, ArchiveTask), 1)));
    EXPECT_EQ("none waiting", State());
}

// The finished session is not live: the chart waits for it. The same choice again is no change;
// a new text of the chosen selection is news, the same text not. A waiting listener leaves with
// its selection, and the task's default, the live one, is taken next.
TEST_F(LiveSelection, AChangedChoiceIsToldToTheHostAndTheChartFollowsAndWaitsForAStoppedRecording)
{
    Attach(SessionTask);
    using INotifications = IQvxSingleDataSelectionControlNotifications;
    CComPtr<CSelectionRecorder> recorder = MakeObject<CSelectionRecorder, INotifications>();
    ULONG cookie = 0;
    AdviseNotifications(Owner, __uuidof(INotifications), static_cast<INotifications*>(recorder.Get()), &cookie);
    for (int twice = 0; twice < 2; ++twice) ASSERT_EQ(S_OK, Single->SetSelectionIndex(2));
    EXPECT_EQ(1, recorder->Changes);
    EXPECT_EQ("none waiting", State());
    for (int twice = 0; twice < 2; ++twice)
        ASSERT_EQ(S_OK, Sim->SetSelectionText(SessionTask, 2, CBstr(L"Morning").Get()));
    EXPECT_EQ(2, recorder->Changes);
    UnadviseNotifications(Owner, cookie);
    ASSERT_EQ(S_OK, Sim->RemoveDataSelection(SessionTask, 2));
    EXPECT_EQ("live", State());
    // A stopped recording is exchanged for a waiting listener, which hands the selection back when
    // it resumes, and leaves; the new item listens as the old one did.
    Advance(5 * Second);
    const long before = SinkCount();
    ASSERT_EQ(S_OK, Sim->StopRecording());
    EXPECT_EQ("none waiting", State());
    ASSERT_EQ(S_OK, Sim->ResumeRecording());
    EXPECT_EQ("live", State());
    EXPECT_EQ(before, SinkCount());
}

// Uneven steps, as a host delivers them, for three hours of recording.
TEST_F(LiveSelection, HoursOfLiveDataLeaveTheWindowExactlyOnItsColumns)
{
    Attach(SessionTask);
    CRTCDataSelectionDataItem* shown = Shown();
    qvx::time lastStart = shown->GetStartTime();
    for (int step = 0; Elapsed < 3 * Hour; ++step) {
        Advance(7'000'000 + (step % 13) * 131'071);
        shown->RefreshWindow();
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

// A held window is not asked for again between refreshes; without a lap object there is none.
TEST_F(LiveSelection, DataWithinTheLastColumnLeaveTheWindowWhereItIsAndANewSpanComputesItAgain)
{
    Attach(SessionTask);
    Advance(150 * Second + 100);
    CRTCDataSelectionDataItem* shown = Shown();
    shown->RefreshWindow();
    Listener.Heard.clear();
    Advance(Column / 2);
    shown->RefreshWindow();
    EXPECT_TRUE(Listener.Heard.empty()) << "nothing moved, nothing told";
    Sim->ResetCallCounts();
    qvx::time first = 0, end = 0, offset = -1;
    ASSERT_TRUE(shown->GetTimes(first, end, offset));
    EXPECT_EQ(0, Calls(L"IQvxLaps.GetLastTime"));
    EXPECT_TRUE(shown->GetEndTime() == end && offset == 0);
    ASSERT_EQ(S_OK, Owner->put_HistoricDataTimeSpan(150 * Second));
    EXPECT_EQ(150 * Second, shown->GetLength());
    EXPECT_TRUE(shown->GetEndTime() > DataEnd() && shown->GetEndTime() <= DataEnd() + Column);
    Fault(L"IQvxDataSelection.GetLaps", E_FAIL);
    shown->RefreshWindow();
    EXPECT_FALSE(shown->AreTimesValid());
}

class HistoricSelection : public LiveSelection
{
protected:
    // The host's selection at `index` of the live task, as a historic item of a plain task.
    std::unique_ptr<CDataSelectionDataItem> Make(long index)
    {
        Plain.SetTask(TaskOfHost(Host, SessionTask));
        auto item = std::make_unique<CDataSelectionDataItem>(SelectionOf(TaskOfHost(Host, SessionTask), index), &Plain,
                                                             index);
        item->AttachLapMarkers();
        return item;
    }

    CTaskDataItem Plain{nullptr};
};

// A failing host keeps the last colour.
TEST_F(HistoricSelection, TheColourIsReadOnceUntilTheHostChangesItAndTheLapObjectGivesTheBounds)
{
    auto item = Make(2);
    ASSERT_EQ(S_OK, Sim->ResetCallCounts());
    EXPECT_EQ(COLORREF(0x00FF0000), item->GetColor());
    EXPECT_EQ(COLORREF(0x00FF0000), item->GetColor());
    EXPECT_EQ(1, Calls(L"IQvxDataSelection.GetColor"));
    ASSERT_EQ(S_OK, Sim->SetSelectionColor(SessionTask, 2, 0x00123456));
    EXPECT_EQ(COLORREF(0x00123456), item->GetColor());
    ASSERT_EQ(S_OK, Sim->SetSelectionColor(SessionTask, 2, 0x00654321));
    Fault(L"IQvxDataSelection.GetColor", E_FAIL);
    EXPECT_EQ(COLORREF(0x00123456), item->GetColor());
    qvx::time first = 0, last = 0;
    ASSERT_TRUE(item->GetDataFirstTime(first) && item->GetDataLastTime(last));
    EXPECT_EQ(item->GetStartTime(), first);
    EXPECT_EQ(200 * Second, last - first);
    EXPECT_FALSE(item->IsRealTime());
    EXPECT_TRUE(item->GetLapMarkers() && !dynamic_cast<CRTCLapMarkersDataItem*>(item->GetLapMarkers()));
    EXPECT_EQ(Plain.GetTimePrefix().Get(), item->GetTimeLabel());
    Fault(L"IQvxDataSelection.GetLaps", E_FAIL);
    EXPECT_FALSE(item->GetDataFirstTime(first));
}

// The start is not known at first, so the host's start is a move. Live data move only the end.
// Without a map the lists stay empty and stale.
TEST_F(HistoricSelection, AMovedStartForgetsTheListsAndAMovedEndKeepsThem)
{
    Fault(L"IQvxDataSelection.GetStartTime", E_FAIL);
    auto item = Make(1);
    ASSERT_EQ(S_OK, Sim->ClearFaults());
    EXPECT_TRUE(item->GetSplits().empty() && item->GetSegments().empty());
    EXPECT_EQ(0, item->GetSplitsValidTo());
    EXPECT_EQ(0, item->GetSegmentsValidTo());
    ASSERT_EQ(S_OK, item->GetSelection()->SetTimeOffset(0));
    EXPECT_EQ(CDataSelectionDataItem::UnknownTime, item->GetSplitsValidTo());
    EXPECT_EQ(CDataSelectionDataItem::UnknownTime, item->GetSegmentsValidTo());
    EXPECT_EQ(RecordingStart, item->GetStartTime());
    item->GetSplits();
    item->GetSegments();
    {
        CListeningRegion heard(item.get());
        Advance(5 * Second);
        EXPECT_EQ(SelectionTimesChanged | SelectionDistanceStale, heard.Heard.at(0));
    }
    EXPECT_EQ(RecordingStart, item->GetSplitsValidTo());
    EXPECT_EQ(RecordingStart, item->GetSegmentsValidTo());
    EXPECT_EQ(DataEnd(), item->GetEndTime());
    EXPECT_EQ(SelectionSplitsStale | SelectionSegmentsStale,
              item->Flags & (SelectionSplitsStale | SelectionSegmentsStale));
}
