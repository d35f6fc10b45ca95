// The task item over the substitute host: what it reads lazily and how often it asks, the zoom
// stacks, the selection items and the active objects, and what it keeps when the host fails.
// Task notifications reach the item through the control; here the test calls the receiver
// operations as the control would.
#include <gtest/gtest.h>
#include "items/DataSelectionDataItem.h"
#include "items/ItemFlags.h"
#include "items/TraceDataItem.h"
#include "tests/SimTestSupport.h"

using namespace qvxtest;

namespace {

// A chart whose host root the test gives, and which counts what the task tells it.
class CHostedChart : public CTestChartCtl
{
public:
    IQvxOrvid* GetOrvid() override { return TestHost; }
    void MarkModified() override { ++Modified; }
    void FireActiveChanged() override { ++ActiveChanges; }

    IQvxOrvid* TestHost = nullptr;
    int Modified = 0;
    int ActiveChanges = 0;
};

class TaskDataItem : public testing::Test, protected CTestHost
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(S_OK, StartHost());
        ASSERT_EQ(S_OK, CComObject<CHostedChart>::CreateInstance(Control));
        Chart = static_cast<CHostedChart*>(Control.Get());
        Chart->TestHost = Host;
        Task = std::make_unique<CTaskDataItem>(Chart);
        Task->AddListener(&Listener);
    }
    void TearDown() override
    {
        if (Task) Task->RemoveListener(&Listener);
        Task.reset();
    }

    CComPtr<IQvxTask> HostTask(long id) { return qvxtest::TaskOfHost(Host, id); }

    // What the control does when it is given a task.
    void Attach(long id)
    {
        Attached = HostTask(id);
        ASSERT_TRUE(Attached);
        CComPtr<IQvxZoomStack> stack;
        ASSERT_EQ(S_OK, CoCreateInstance(CLSID_QvxZoomStack, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IQvxZoomStack),
                                         stack.OutVoid()));
        ASSERT_EQ(S_OK, stack->SetTask(Attached));
        Task->SetZoomStack(nullptr);
        Task->SetTask(Attached);
        Task->GetOwnZoomStack()->SetTask(Attached);
        Task->NotifyChange(TaskCursorStale | TaskSelectionsStale, 1);
        Task->RebuildDataSelections();
        ASSERT_EQ(S_OK, Task->SetZoomStack(stack));
        Task->NotifyChange(TaskTimeRangeStale | TaskDistanceRangeStale, 1);
        Stack = stack;
    }

    std::pair<qvx::time, qvx::time> Range()
    {
        qvx::time minimum = -1, maximum = -1;
        Task->GetTimeRange(minimum, maximum);
        return {minimum, maximum};
    }
    qvx::time HostCursor()
    {
        qvx::time time = -1;
        Sim->ClearFaults();
        Attached->GetCursorTime(&time);
        return time;
    }

    CComPtr<IQvxLinnographCtl4> Control;
    CHostedChart* Chart = nullptr;
    std::unique_ptr<CTaskDataItem> Task;
    CComPtr<IQvxTask> Attached;
    CComPtr<IQvxZoomStack> Stack;
    HWND NoWindow = nullptr;
    CRecordingRegion Listener{&NoWindow};
};

using Pair = std::pair<qvx::time, qvx::time>;

} // namespace

// --- construction, the zoom stack in use ---

TEST_F(TaskDataItem, ConstructionMakesItsOwnStackAndListensToIt)
{
    const long before = SinkCount();
    {
        CTaskDataItem task(nullptr);
        EXPECT_EQ(0xFFFFFFFFu & ~TaskLiveRangeStale, task.Flags);
        ASSERT_TRUE(task.GetOwnZoomStack());
        EXPECT_EQ(task.GetOwnZoomStack(), task.GetZoomStack());
        EXPECT_TRUE(task.GetUnitConverter());
        ASSERT_TRUE(task.GetOrdering());
        EXPECT_EQ(L"Time: ", std::wstring(task.GetTimePrefix().View()));
        EXPECT_EQ(before + 1, SinkCount());
    }
    EXPECT_EQ(before, SinkCount());
}

TEST_F(TaskDataItem, AGivenStackReplacesTheOwnOneUntilItIsTakenBack)
{
    IQvxZoomStack* own = Task->GetOwnZoomStack();
    CComPtr<IQvxZoomStack> stack;
    ASSERT_EQ(S_OK, CoCreateInstance(CLSID_QvxZoomStack, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IQvxZoomStack),
                                     stack.OutVoid()));
    const long before = SinkCount();
    ASSERT_EQ(S_OK, Task->SetZoomStack(Query<IUnknown>(stack)));
    EXPECT_EQ(stack.Get(), Task->GetZoomStack());
    EXPECT_EQ(before, SinkCount()) << "the sink moves from one stack to the other";
    ASSERT_EQ(1u, Listener.Heard.size());
    EXPECT_EQ(0x203u, Listener.Heard[0]);

    // The item hears the stack in use, and only that one.
    Listener.Heard.clear();
    Task->Flags = 0;
    ASSERT_EQ(S_OK, own->SetCursorCentred(VARIANT_TRUE));
    EXPECT_TRUE(Listener.Heard.empty());
    ASSERT_EQ(S_OK, stack->SetCursorCentred(VARIANT_TRUE));
    ASSERT_EQ(1u, Listener.Heard.size());
    EXPECT_EQ(TaskZoomStackChanged, Listener.Heard[0]);

    // Something that is no zoom stack changes nothing.
    CAdviseSink notAStack;
    EXPECT_EQ(E_NOINTERFACE, Task->SetZoomStack(&notAStack));
    EXPECT_EQ(stack.Get(), Task->GetZoomStack());

    ASSERT_EQ(S_OK, Task->SetZoomStack(nullptr));
    EXPECT_EQ(own, Task->GetZoomStack());
}

// --- laziness: notifications set bits, the next reader asks once ---

TEST_F(TaskDataItem, ABurstOfRangeChangesCostsOneReadAtTheNextAccess)
{
    Attach(ArchiveTask);
    EXPECT_EQ(Pair(0, 120 * Second), Range());
    Sim->ResetCallCounts();
    for (int i = 0; i < 10; ++i) Task->NotifyChange(TaskTimeRangeStale, 1);
    EXPECT_EQ(0, Calls(L"IQvxZoomStack.GetTimeMinimum"));
    EXPECT_EQ(Pair(0, 120 * Second), Range());
    EXPECT_EQ(Pair(0, 120 * Second), Range());
    EXPECT_EQ(1, Calls(L"IQvxZoomStack.GetTimeMinimum"));
    EXPECT_EQ(1, Calls(L"IQvxZoomStack.GetTimeMaximum"));
    EXPECT_EQ(1, Calls(L"IQvxZoomStack.GetFullTimeSpan"));
    EXPECT_EQ(120 * Second, Task->GetFullTimeSpan());
    EXPECT_TRUE(Task->HasTimeRange());
}

TEST_F(TaskDataItem, AnUnchangedRangeTellsNobodyAndAChangedOneTellsTheListeners)
{
    Attach(ArchiveTask);
    Range();
    Listener.Heard.clear();
    Task->NotifyChange(TaskTimeRangeStale, 0);
    Range();
    EXPECT_TRUE(Listener.Heard.empty());
    EXPECT_TRUE(Task->Flags & TaskDistanceRangeStale) << "the other axis counts as stale";
    EXPECT_FALSE(Task->Flags & TaskTimeRangeStale);

    // A zoom reaches the item through the stack's range notification, which refreshes at once.
    ASSERT_EQ(S_OK, Stack->PushTimeZoom(10 * Second, 20 * Second));
    ASSERT_FALSE(Listener.Heard.empty());
    EXPECT_EQ(0x3u, Listener.Heard.back());
    Sim->ResetCallCounts();
    EXPECT_EQ(Pair(10 * Second, 20 * Second), Range());
    EXPECT_EQ(0, Calls(L"IQvxZoomStack.GetTimeMinimum"));
}

TEST_F(TaskDataItem, CursorSelectionsAndTimeFormatAreAskedOnceAfterABurst)
{
    Attach(SessionTask);
    EXPECT_EQ(0, Task->GetCursorTime());
    Sim->ResetCallCounts();
    for (int i = 1; i <= 5; ++i) Task->OnCursorChanged(i * Second);
    ASSERT_EQ(S_OK, Attached->SetCursorTime(7 * Second));
    Sim->ResetCallCounts();
    EXPECT_EQ(7 * Second, Task->GetCursorTime());
    EXPECT_EQ(7 * Second, Task->GetCursorTime());
    EXPECT_EQ(1, Calls(L"IQvxTask.GetCursorTime"));

    Task->GetSelections();
    Sim->ResetCallCounts();
    for (int i = 0; i < 3; ++i) Task->OnSelectionsChanged();
    EXPECT_EQ(0, Calls(L"IQvxTask.GetDataSelections"));
    EXPECT_EQ(2u, Task->GetSelections().size());
    EXPECT_EQ(1u, Task->GetSecondarySelections().size());
    EXPECT_EQ(1, Calls(L"IQvxTask.GetDataSelections"));

    ASSERT_EQ(S_OK, Sim->SetTimeFormat(2));
    ASSERT_EQ(S_OK, Sim->SetTimeDigits(4));
    Sim->ResetCallCounts();
    for (int i = 0; i < 4; ++i) Task->NotifyChange(TaskTimeFormatStale | TaskTimeDigitsStale, 1);
    EXPECT_EQ(2, Task->GetTimeFormat());
    EXPECT_EQ(2, Task->GetTimeFormat());
    EXPECT_EQ(4, Task->GetTimeDigits());
    EXPECT_EQ(1, Calls(L"IQvxOrvid.GetTimeFormat"));
    EXPECT_EQ(1, Calls(L"IQvxOrvid.GetTimeDigits"));
}

TEST_F(TaskDataItem, WithoutAHostTheTimeFormatStaysStaleForTheFirstReaderAfter)
{
    Chart->TestHost = nullptr;
    ASSERT_EQ(S_OK, Sim->SetTimeFormat(1));
    EXPECT_EQ(0, Task->GetTimeFormat());
    EXPECT_EQ(1, Task->GetTimeDigits());
    Chart->TestHost = Host;
    EXPECT_EQ(1, Task->GetTimeFormat());
}

// --- zooms ---

TEST_F(TaskDataItem, ZoomsArePushedAndUndoneThroughTheStack)
{
    Attach(ArchiveTask);
    EXPECT_FALSE(Task->IsXZoomed());
    Task->UndoZoom();
    Task->UndoAllZooms();
    EXPECT_EQ(0, Chart->Modified) << "nothing to undo";

    Task->PushTimeZoom(10 * Second, 50 * Second);
    Task->PushTimeZoom(20 * Second, 30 * Second);
    EXPECT_EQ(2, Chart->Modified);
    EXPECT_TRUE(Task->IsXZoomed());
    EXPECT_TRUE(Task->IsZoomed());
    EXPECT_EQ(Pair(20 * Second, 30 * Second), Range());
    Task->UndoZoom();
    EXPECT_EQ(Pair(10 * Second, 50 * Second), Range());
    Task->PushTimeZoom(20 * Second, 30 * Second);
    Task->UndoAllZooms();
    EXPECT_EQ(Pair(0, 120 * Second), Range());
    EXPECT_FALSE(Task->IsZoomed());
    EXPECT_EQ(5, Chart->Modified);
    // An inverted range is refused by the stack and marks nothing.
    Task->PushTimeZoom(30 * Second, 20 * Second);
    EXPECT_EQ(5, Chart->Modified);
}

TEST_F(TaskDataItem, ScrollXMovesAZoomedViewByAShareOfItsWidth)
{
    Attach(ArchiveTask);
    EXPECT_EQ(E_FAIL, Task->ScrollX(10)) << "unzoomed";
    Task->PushTimeZoom(10 * Second, 20 * Second);
    EXPECT_EQ(E_FAIL, Task->ScrollX(0));
    EXPECT_EQ(Pair(10 * Second, 20 * Second), Range());
    EXPECT_EQ(S_OK, Task->ScrollX(50));
    EXPECT_EQ(Pair(15 * Second, 25 * Second), Range());
    EXPECT_EQ(S_OK, Task->ScrollX(-150));
    EXPECT_EQ(Pair(0, 10 * Second), Range());
    // The end of the data stops it: the stack answers S_FALSE and keeps the width.
    EXPECT_EQ(S_FALSE, Task->ScrollX(5000));
    EXPECT_EQ(Pair(110 * Second, 120 * Second), Range());
    EXPECT_EQ(E_FAIL, Task->ReplaceTimeZoom(5 * Second, 5 * Second, 1));
}

TEST_F(TaskDataItem, TheVerticalZoomStackReadsAsTheWholeRangeWhenEmpty)
{
    EXPECT_EQ((CYZoom{0.0, 1.0}), Task->GetYZoom());
    Task->ReplaceYZoom({0.2, 0.4}, 1);
    Task->ScrollY(10);
    EXPECT_EQ((CYZoom{0.0, 1.0}), Task->GetYZoom());
    EXPECT_FALSE(Task->IsZoomed());
    EXPECT_EQ(0, Chart->Modified);

    Task->PushYZoom({0.2, 0.4});
    EXPECT_TRUE(Task->IsZoomed());
    Listener.Heard.clear();
    Task->ScrollY(50);
    EXPECT_NEAR(0.3, Task->GetYZoom().Low, 1e-12);
    EXPECT_NEAR(0.5, Task->GetYZoom().High, 1e-12);
    EXPECT_EQ(std::vector<DWORD>{TaskYZoomChanged}, Listener.Heard);
    // At the top the width stays and High stays at 1.0; at the bottom Low stays at 0.0.
    Task->ScrollY(1000);
    EXPECT_NEAR(0.8, Task->GetYZoom().Low, 1e-12);
    EXPECT_EQ(1.0, Task->GetYZoom().High);
    Task->ScrollY(-1000);
    EXPECT_EQ(0.0, Task->GetYZoom().Low);
    EXPECT_NEAR(0.2, Task->GetYZoom().High, 1e-12);

    Task->PushYZoom({0.05, 0.1});
    Task->UndoZoomBothAxes();
    EXPECT_NEAR(0.2, Task->GetYZoom().High, 1e-12);
    Task->ClearYZoom();
    EXPECT_EQ((CYZoom{0.0, 1.0}), Task->GetYZoom());
    EXPECT_TRUE(Task->GetYZoomLevels().empty());
}

TEST_F(TaskDataItem, TheVerticalZoomGoesWithTheHorizontalOneUnlessTheStackKeepsIt)
{
    Attach(ArchiveTask);
    Task->PushYZoom({0.2, 0.4});
    Task->PushTimeZoom(10 * Second, 20 * Second);
    EXPECT_EQ(1u, Task->GetYZoomLevels().size()) << "the stack keeps vertical zooms by default";
    ASSERT_EQ(S_OK, Stack->SetIsYZoomKept(VARIANT_FALSE));
    Task->UndoAllZooms();
    EXPECT_TRUE(Task->GetYZoomLevels().empty());

    // A new list of selections forgets the vertical zoom too.
    Task->PushYZoom({0.2, 0.4});
    Task->OnSelectionsChanged();
    EXPECT_TRUE(Task->GetYZoomLevels().empty());
}

TEST_F(TaskDataItem, TheCentredCursorIsAskedAfterAnOtherChangeOfTheStack)
{
    Attach(ArchiveTask);
    EXPECT_FALSE(Task->IsCursorCentred());
    Sim->ResetCallCounts();
    ASSERT_EQ(S_OK, Stack->SetCursorCentred(VARIANT_TRUE));
    EXPECT_EQ(0, Calls(L"IQvxZoomStack.GetCursorCentred"));
    EXPECT_TRUE(Task->IsCursorCentred());
    EXPECT_TRUE(Task->IsCursorCentred());
    EXPECT_EQ(1, Calls(L"IQvxZoomStack.GetCursorCentred"));
}

TEST_F(TaskDataItem, TheStackInUseGoingAwayLeavesTheOwnOne)
{
    Attach(ArchiveTask);
    IQvxZoomStack* own = Task->GetOwnZoomStack();
    Task->OnStackGoingAway(Stack);
    EXPECT_EQ(own, Task->GetZoomStack());
    // The own stack going away leaves none, and the axis reads empty.
    Task->OnStackGoingAway(own);
    EXPECT_EQ(nullptr, Task->GetZoomStack());
    EXPECT_EQ(nullptr, Task->GetOwnZoomStack());
    EXPECT_EQ(Pair(0, 0), Range());
    EXPECT_FALSE(Task->HasTimeRange());
}

// --- the cursor ---

TEST_F(TaskDataItem, AConstrainedCursorStaysInTheVisibleRange)
{
    Task->SetCursor(5 * Second, 0);
    Attach(ArchiveTask);
    Task->PushTimeZoom(10 * Second, 20 * Second);
    Task->SetCursor(5 * Second, 1);
    EXPECT_EQ(10 * Second, HostCursor());
    Task->SetCursor(50 * Second, 1);
    EXPECT_EQ(20 * Second, HostCursor());
    Task->SetCursor(50 * Second, 0);
    EXPECT_EQ(50 * Second, HostCursor());

    // Without a trace a step is a hundredth of the visible range.
    Task->SetCursor(15 * Second, 0);
    Task->NotifyChange(TaskCursorStale, 1);
    Task->CursorToNextSample();
    EXPECT_EQ(15 * Second + Second / 10, HostCursor());
    Task->NotifyChange(TaskCursorStale, 1);
    Task->StepCursor(-50);
    EXPECT_EQ(10 * Second + Second / 10, HostCursor());
    Task->CursorToLastSample();
    EXPECT_EQ(20 * Second, HostCursor());
}

// --- selections ---

TEST_F(TaskDataItem, SelectionsAreBuiltInDisplayOrderAndRebuiltWhenTheHostsListChanges)
{
    Attach(SessionTask);
    const auto& selections = Task->GetSelections();
    ASSERT_EQ(2u, selections.size());
    EXPECT_EQ(1, selections[0]->GetIndex());
    EXPECT_EQ(2, selections[1]->GetIndex());
    EXPECT_EQ(200 * Second, selections[1]->GetLength());
    ASSERT_EQ(1u, Task->GetSecondarySelections().size());
    EXPECT_EQ(3, Task->GetSecondarySelections()[0]->GetIndex());

    // The host's display order puts secondary selections last.
    ASSERT_EQ(S_OK, Sim->AddDataSelection(SessionTask, 7, 50 * Second, VARIANT_FALSE));
    Task->OnSelectionsChanged();
    ASSERT_EQ(3u, Task->GetSelections().size());
    EXPECT_EQ(4, Task->GetSelections()[2]->GetIndex());
    EXPECT_EQ(50 * Second, Task->GetSelections()[2]->GetLength());

    // A selection that the host lets go leaves the vectors at once.
    const long sinks = SinkCount();
    ASSERT_EQ(S_OK, Sim->RemoveDataSelection(SessionTask, 2));
    EXPECT_EQ(sinks - 1, SinkCount());
    EXPECT_TRUE(Task->Flags & TaskSelectionsStale);
    Task->OnSelectionsChanged();
    ASSERT_EQ(2u, Task->GetSelections().size());
    EXPECT_EQ(1, Task->GetSelections()[0]->GetIndex());
    EXPECT_EQ(3, Task->GetSelections()[1]->GetIndex());
    EXPECT_EQ(2, Task->GetSecondarySelections()[0]->GetIndex());
}

TEST_F(TaskDataItem, WithoutTheHostsDisplayOrderSelectionsComeInHostOrder)
{
    Fault(L"IQvxTaskOrder.GetDisplayOrder", E_NOTIMPL);
    ASSERT_EQ(S_OK, Sim->AddDataSelection(SessionTask, 7, 50 * Second, VARIANT_TRUE));
    ASSERT_EQ(S_OK, Sim->AddDataSelection(SessionTask, 8, 60 * Second, VARIANT_FALSE));
    Attach(SessionTask);
    ASSERT_EQ(3u, Task->GetSelections().size());
    EXPECT_EQ(5, Task->GetSelections()[2]->GetIndex());
    ASSERT_EQ(2u, Task->GetSecondarySelections().size());
    EXPECT_EQ(3, Task->GetSecondarySelections()[0]->GetIndex());
    EXPECT_EQ(4, Task->GetSecondarySelections()[1]->GetIndex());
}

TEST_F(TaskDataItem, SelectionItemsFollowTheirHostSelection)
{
    Attach(SessionTask);
    CDataSelectionDataItem* session = Task->GetSelections()[1];
    CRecordingRegion listener(&NoWindow);
    session->AddListener(&listener);
    session->Flags = 0;
    Task->Flags = 0;
    ASSERT_EQ(S_OK, Sim->SetSelectionColor(SessionTask, 2, 0x123456));
    EXPECT_EQ(std::vector<DWORD>{SelectionColorStale}, listener.Heard);
    // An echoed offset that changed nothing tells nobody.
    CComPtr<IQvxDataSelection> host(session->GetSelection());
    ASSERT_EQ(S_OK, host->SetTimeOffset(0));
    EXPECT_EQ(1u, listener.Heard.size());
    ASSERT_EQ(S_OK, host->SetTimeOffset(3 * Second));
    EXPECT_EQ(3 * Second, session->GetTimeOffset());
    ASSERT_EQ(3u, listener.Heard.size());
    EXPECT_EQ(SelectionTimesChanged | SelectionDistanceStale, listener.Heard[1]);
    EXPECT_EQ(SelectionSplitsStale | SelectionSegmentsStale, listener.Heard[2]);
    session->RemoveListener(&listener);

    // The task's segment and split news reach every selection unless the list is stale.
    Task->OnSegmentsChanged();
    EXPECT_EQ(CDataSelectionDataItem::UnknownTime, session->GetSegmentsValidTo());
    EXPECT_TRUE(session->Flags & SelectionSegmentsStale);
    session->Flags = 0;
    Task->NotifyChange(TaskSelectionsStale, 0);
    Task->OnEventSetsChanged();
    EXPECT_EQ(0u, session->Flags);
}

// --- the active objects ---

TEST_F(TaskDataItem, WithoutChannelsTheActiveSelectionIsTheHostsCurrentOne)
{
    Attach(SessionTask);
    Chart->ActiveChanges = 0;
    ASSERT_TRUE(Task->GetActiveSelection());
    EXPECT_EQ(1, Task->GetActiveSelection()->GetIndex());
    EXPECT_EQ(1, Chart->ActiveChanges);
    EXPECT_EQ(nullptr, Task->GetActiveChannel());

    ASSERT_EQ(S_OK, Attached->SetCurrentDataSelection(2));
    Task->OnCurrentSelectionChanged();
    Sim->ResetCallCounts();
    EXPECT_EQ(2, Task->GetActiveSelection()->GetIndex());
    EXPECT_EQ(2, Task->GetActiveSelection()->GetIndex());
    EXPECT_EQ(1, Calls(L"IQvxTask.GetCurrentDataSelection"));
    EXPECT_EQ(2, Chart->ActiveChanges);

    // The active selection going away is a change of the active objects.
    Listener.Heard.clear();
    ASSERT_EQ(S_OK, Sim->RemoveDataSelection(SessionTask, 2));
    ASSERT_FALSE(Listener.Heard.empty());
    EXPECT_EQ(TaskSelectionsStale | TaskActiveStale, Listener.Heard[0]);
    Task->OnSelectionsChanged();
    ASSERT_EQ(S_OK, Attached->SetCurrentDataSelection(1));
    Task->OnCurrentSelectionChanged();
    ASSERT_TRUE(Task->GetActiveSelection());
    EXPECT_EQ(1, Task->GetActiveSelection()->GetIndex());
}

TEST_F(TaskDataItem, WithoutChannelsTheNextTraceIsTheNextSelectionWrapping)
{
    Attach(SessionTask);
    ASSERT_EQ(S_OK, Attached->SetCursorTime(3 * Second));
    Task->ActivateNextTrace();
    ASSERT_TRUE(Task->GetActiveSelection());
    EXPECT_EQ(2, Task->GetActiveSelection()->GetIndex());
    EXPECT_EQ(3 * Second, HostCursor()) << "the cursor is put where the host has it";
    // The secondary selection is passed over.
    Task->ActivateNextTrace();
    EXPECT_EQ(1, Task->GetActiveSelection()->GetIndex());
    Task->ActivatePreviousTrace();
    EXPECT_EQ(2, Task->GetActiveSelection()->GetIndex());

    // A host that refuses the change leaves the active objects as they were.
    Fault(L"SetCurrentDataSelection", E_FAIL);
    Task->ActivateNextTrace();
    EXPECT_FALSE(Task->Flags & TaskActiveStale);
    EXPECT_EQ(2, Task->GetActiveSelection()->GetIndex());
}

TEST_F(TaskDataItem, TheFirstChannelBecomesActiveWithItsTraceOfTheCurrentSelection)
{
    Attach(SessionTask);
    Task->GetOrdering()->SetNames({CBstr(L"Speed"), CBstr(L"Gear")});
    Task->SetActiveChannel(nullptr);
    Task->NotifyChange(TaskActiveStale, 1);
    CComPtr<IQvxDataSelection> current;
    ASSERT_EQ(S_OK, Attached->GetCurrentDataSelection(current.Out()));
    ASSERT_TRUE(Task->GetActiveSelection());
    ASSERT_TRUE(Task->GetActiveChannel());
    EXPECT_EQ(L"Speed", std::wstring(Task->GetActiveChannel()->GetName().View()));
    EXPECT_TRUE(SameObject(current, Task->GetActiveSelection()->GetSelection()));
    ASSERT_TRUE(Task->GetActiveTrace());
    EXPECT_EQ(Task->GetActiveChannel(), Task->GetActiveTrace()->GetChannel());
    EXPECT_EQ(Task->GetActiveSelection(), Task->GetActiveTrace()->GetSelection());

    // A change of the host's selections makes every channel rebuild its traces.
    for (CChannelDataItem* channel : Task->GetOrdering()->GetItems()) channel->Flags = 0;
    Task->OnChannelsChanged();
    for (CChannelDataItem* channel : Task->GetOrdering()->GetItems()) EXPECT_EQ(ChannelTracesStale, channel->Flags);
    EXPECT_TRUE(Task->Flags & TaskActiveStale);
}

// --- host failures ---

TEST_F(TaskDataItem, AFailingHostKeepsTheLastValues)
{
    Attach(SessionTask);
    ASSERT_EQ(S_OK, Attached->SetCursorTime(4 * Second));
    ASSERT_EQ(S_OK, Sim->SetTimeFormat(1));
    EXPECT_EQ(4 * Second, Task->GetCursorTime());
    EXPECT_EQ(1, Task->GetTimeFormat());
    Task->NotifyChange(TaskZoomStackChanged, 1);
    ASSERT_EQ(S_OK, Stack->SetCursorCentred(VARIANT_TRUE));
    EXPECT_TRUE(Task->IsCursorCentred());

    Fault(L"GetCursorTime", E_FAIL);
    Fault(L"GetTimeFormat", E_FAIL);
    Fault(L"GetCursorCentred", E_FAIL);
    Task->NotifyChange(TaskCursorStale | TaskTimeFormatStale | TaskZoomStackChanged, 1);
    EXPECT_EQ(4 * Second, Task->GetCursorTime());
    EXPECT_EQ(1, Task->GetTimeFormat());
    EXPECT_TRUE(Task->IsCursorCentred());
    // A failed cursor read is tried again; the others wait for the next notification.
    EXPECT_TRUE(Task->Flags & TaskCursorStale);
    EXPECT_FALSE(Task->Flags & TaskTimeFormatStale);
    Sim->ClearFaults();
    ASSERT_EQ(S_OK, Attached->SetCursorTime(6 * Second));
    EXPECT_EQ(6 * Second, Task->GetCursorTime());
}

TEST_F(TaskDataItem, AFailingRangeReadGivesItsDefaults)
{
    Attach(ArchiveTask);
    EXPECT_EQ(Pair(0, 120 * Second), Range());
    Task->PushTimeZoom(10 * Second, 20 * Second);
    // Only the maximum fails: the length of the active selection stands in.
    Task->GetActiveSelection();
    Fault(L"IQvxZoomStack.GetTimeMaximum", E_FAIL);
    Task->NotifyChange(TaskTimeRangeStale, 1);
    EXPECT_EQ(Pair(10 * Second, 120 * Second), Range());
    Fault(L"IQvxZoomStack.GetTimeMinimum", E_FAIL);
    Fault(L"IQvxZoomStack.GetFullTimeSpan", E_FAIL);
    Task->NotifyChange(TaskTimeRangeStale, 1);
    EXPECT_EQ(Pair(0, 0), Range());
    EXPECT_FALSE(Task->HasTimeRange());
    EXPECT_EQ(120 * Second, Task->GetFullTimeSpan()) << "a failed span keeps the last one";
}

TEST_F(TaskDataItem, AFailingSelectionListLeavesNoItemsAndTheBitSet)
{
    Attach(SessionTask);
    ASSERT_EQ(2u, Task->GetSelections().size());
    const long sinks = SinkCount();
    Fault(L"IQvxTask.GetDataSelections", E_FAIL);
    Task->OnSelectionsChanged();
    EXPECT_TRUE(Task->GetSelections().empty());
    EXPECT_TRUE(Task->GetSecondarySelections().empty());
    EXPECT_TRUE(Task->Flags & TaskSelectionsStale);
    EXPECT_EQ(sinks - 3, SinkCount());
    Sim->ClearFaults();
    EXPECT_EQ(2u, Task->GetSelections().size());

    // A selection that the host fails to give is skipped.
    Fault(L"IQvxDataSelectionList.GetItem", E_FAIL);
    Task->OnSelectionsChanged();
    EXPECT_TRUE(Task->GetSelections().empty());
    EXPECT_FALSE(Task->Flags & TaskSelectionsStale);
}

TEST_F(TaskDataItem, WithoutATaskNothingIsAskedAndTheDestructorLeavesNoSink)
{
    const long before = SinkCount();
    Sim->ResetCallCounts();
    Task->NotifyChange(0xFFFFFFFF & ~TaskLiveRangeStale, 1);
    EXPECT_TRUE(Task->GetSelections().empty());
    EXPECT_EQ(nullptr, Task->GetActiveSelection());
    EXPECT_EQ(0, Task->GetCursorTime());
    Task->SetCursor(Second, 0);
    Task->CommitCursor(Second);
    IQvxDataSelection* none = reinterpret_cast<IQvxDataSelection*>(1);
    EXPECT_EQ(E_UNEXPECTED, Task->GetCurrentDataSelection(&none));
    EXPECT_EQ(nullptr, none);
    EXPECT_EQ(0, Calls(L"SetCursorTime"));

    Attach(SessionTask);
    const long attached = SinkCount();
    Task->DeleteSelections();
    EXPECT_EQ(attached - 3, SinkCount()) << "one sink for each selection";
    Task->RemoveListener(&Listener);
    Task.reset();
    // The zoom sink, and the own stack's sink on the task, which went with the stack.
    EXPECT_EQ(attached - 5, SinkCount());
    // Of what the attachment added, only the test's stack still listens to the task.
    EXPECT_EQ(before, SinkCount());
}
