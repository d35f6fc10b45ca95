// The task item over the substitute host: lazy reads and their host calls, the zoom stacks, the
// cursor, the selection items, the active objects, and what it keeps when the host fails.
#include <functional>
#include "items/LapMarkersDataItem.h"
#include "tests/ChannelTestSupport.h"

using namespace qvxtest;

namespace {

using Pair = std::pair<qvx::time, qvx::time>;
using Indices = std::vector<long>;

// The task notifications reach the item through the control; here the test calls the receiver
// operations as the control would, and hears what the item tells.
class TaskDataItem : public ChannelItemTest
{
protected:
    void SetUp() override
    {
        ChannelItemTest::SetUp();
        Task->AddListener(&Listener);
    }
    void TearDown() override
    {
        if (Task) Task->RemoveListener(&Listener);
        ChannelItemTest::TearDown();
    }

    IQvxZoomStack* Stack() { return Task->GetZoomStack(); }
    Pair Range()
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
    static Indices IndicesOf(const std::vector<CDataSelectionDataItem*>& selections)
    {
        Indices result;
        for (CDataSelectionDataItem* selection : selections) result.push_back(selection->GetIndex());
        return result;
    }
    void ExpectYZoom(double low, double high)
    {
        EXPECT_NEAR(low, Task->GetYZoom().Low, 1e-12);
        EXPECT_NEAR(high, Task->GetYZoom().High, 1e-12);
    }

    CRecordingRegion Listener{&NoWindow};
};

} // namespace

TEST_F(TaskDataItem, AGivenStackReplacesTheOwnOneUntilItIsTakenBackOrGoesAway)
{
    IQvxZoomStack* own = Task->GetOwnZoomStack();
    CComPtr<IQvxZoomStack> stack;
    CoCreateInstance(CLSID_QvxZoomStack, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IQvxZoomStack), stack.OutVoid());
    const long before = SinkCount();
    ASSERT_EQ(S_OK, Task->SetZoomStack(Query<IUnknown>(stack)));
    EXPECT_EQ(stack.Get(), Task->GetZoomStack());
    EXPECT_EQ(before, SinkCount()) << "the sink moves from one stack to the other";
    EXPECT_EQ(std::vector<DWORD>{TaskTimeRangeStale | TaskDistanceRangeStale | TaskZoomStackChanged}, Listener.Heard);
    // The item hears the stack in use, and only that one.
    Listener.Heard.clear();
    ASSERT_EQ(S_OK, own->SetCursorCentred(VARIANT_TRUE));
    EXPECT_TRUE(Listener.Heard.empty());
    ASSERT_EQ(S_OK, stack->SetCursorCentred(VARIANT_TRUE));
    EXPECT_EQ(std::vector<DWORD>{TaskZoomStackChanged}, Listener.Heard);
    CAdviseSink notAStack;
    EXPECT_EQ(E_NOINTERFACE, Task->SetZoomStack(&notAStack));
    EXPECT_EQ(stack.Get(), Task->GetZoomStack());
    Task->OnStackGoingAway(stack);
    EXPECT_EQ(own, Task->GetZoomStack());
    // The own stack going away leaves none, and the axis reads empty.
    Task->OnStackGoingAway(own);
    EXPECT_EQ(Pair(0, 0), Range());
    EXPECT_FALSE(Task->HasTimeRange());
}

TEST_F(TaskDataItem, ABurstOfNotificationsCostsOneReadAtTheNextAccess)
{
    Attach(SessionTask);
    ASSERT_EQ(S_OK, Attached->SetCursorTime(7 * Second));
    ASSERT_EQ(S_OK, Sim->SetTimeFormat(2));
    const struct
    {
        const char* Name;
        const wchar_t* Operation;
        std::function<void()> Notify;
        std::function<void()> Read;
    } rows[] = {
        {"cursor", L"IQvxTask.GetCursorTime", [&] { Task->OnCursorChanged(Second); },
         [&] { EXPECT_EQ(7 * Second, Task->GetCursorTime()); }},
        {"selections", L"IQvxTask.GetDataSelections", [&] { Task->OnSelectionsChanged(); },
         [&] { EXPECT_EQ(2u, Task->GetSelections().size()); }},
        {"time format", L"IQvxOrvid.GetTimeFormat", [&] { Task->NotifyChange(TaskTimeFormatStale, 1); },
         [&] { EXPECT_EQ(2, Task->GetTimeFormat()); }},
        {"time range", L"IQvxZoomStack.GetTimeMinimum", [&] { Task->NotifyChange(TaskTimeRangeStale, 1); },
         [&] { Range(); }},
        {"centred cursor", L"IQvxZoomStack.GetCursorCentred",
         [&] { Stack()->SetCursorCentred(VARIANT_TRUE); }, [&] { EXPECT_TRUE(Task->IsCursorCentred()); }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.Name);
        Sim->ResetCallCounts();
        for (int i = 0; i < 3; ++i) row.Notify();
        EXPECT_EQ(0, Calls(row.Operation));
        row.Read();
        row.Read();
        EXPECT_EQ(1, Calls(row.Operation));
    }
}

// An unchanged range tells nobody; a zoom of the host's stack is read at once; a scroll moves the
// zoomed view by a share of its width, up to the end of the data.
TEST_F(TaskDataItem, ZoomsArePushedScrolledAndUndoneThroughTheStack)
{
    Attach(ArchiveTask);
    EXPECT_EQ(Pair(0, 120 * Second), Range());
    Listener.Heard.clear();
    Task->NotifyChange(TaskTimeRangeStale, 0);
    Range();
    EXPECT_TRUE(Listener.Heard.empty());
    ASSERT_EQ(S_OK, Stack()->PushTimeZoom(10 * Second, 20 * Second));
    EXPECT_EQ(std::vector<DWORD>{TaskTimeRangeStale | TaskDistanceRangeStale}, Listener.Heard);
    Sim->ResetCallCounts();
    EXPECT_EQ(Pair(10 * Second, 20 * Second), Range());
    EXPECT_EQ(0, Calls(L"IQvxZoomStack.GetTimeMinimum"));
    ASSERT_EQ(S_OK, Stack()->Pop());
    EXPECT_EQ(E_FAIL, Task->ScrollX(10)) << "unzoomed";
    Task->UndoZoom();
    Task->UndoAllZooms();
    EXPECT_EQ(0, Chart->Modified) << "nothing to undo";
    Task->PushTimeZoom(10 * Second, 50 * Second);
    Task->PushTimeZoom(20 * Second, 30 * Second);
    EXPECT_TRUE(Task->IsXZoomed());
    Task->UndoZoom();
    EXPECT_EQ(Pair(10 * Second, 50 * Second), Range());
    Task->UndoAllZooms();
    EXPECT_EQ(Pair(0, 120 * Second), Range());
    EXPECT_FALSE(Task->IsZoomed());
    Task->PushTimeZoom(30 * Second, 20 * Second);   // refused by the stack
    EXPECT_EQ(4, Chart->Modified);
    Task->PushTimeZoom(10 * Second, 20 * Second);
    EXPECT_EQ(E_FAIL, Task->ScrollX(0));
    EXPECT_EQ(S_OK, Task->ScrollX(50));
    EXPECT_EQ(Pair(15 * Second, 25 * Second), Range());
    EXPECT_EQ(S_OK, Task->ScrollX(-150));
    EXPECT_EQ(Pair(0, 10 * Second), Range());
    EXPECT_EQ(S_FALSE, Task->ScrollX(5000));
    EXPECT_EQ(Pair(110 * Second, 120 * Second), Range());
    EXPECT_EQ(E_FAIL, Task->ReplaceTimeZoom(5 * Second, 5 * Second, 1));
    // A failing range read gives its defaults; when only the maximum fails, the length of the
    // active selection stands in.
    Task->PushTimeZoom(10 * Second, 20 * Second);
    Task->GetActiveSelection();
    Fault(L"IQvxZoomStack.GetTimeMaximum", E_FAIL);
    Task->NotifyChange(TaskTimeRangeStale, 1);
    EXPECT_EQ(Pair(10 * Second, 120 * Second), Range());
    Fault(L"IQvxZoomStack.GetTimeMinimum", E_FAIL);
    Fault(L"IQvxZoomStack.GetFullTimeSpan", E_FAIL);
    Task->NotifyChange(TaskTimeRangeStale, 1);
    EXPECT_EQ(Pair(0, 0), Range());
    EXPECT_EQ(120 * Second, Task->GetFullTimeSpan()) << "a failed span keeps the last one";
}

// The vertical zoom scrolls within the whole range, keeping its width; it goes with the horizontal
// one unless the stack keeps it, and with a new list of selections.
TEST_F(TaskDataItem, TheVerticalZoomScrollsWithinTheWholeRangeAndReadsAsItWhenEmpty)
{
    Task->ReplaceYZoom({0.2, 0.4}, 1);
    Task->ScrollY(10);
    ExpectYZoom(0.0, 1.0);
    EXPECT_EQ(0, Chart->Modified);
    Task->PushYZoom({0.2, 0.4});
    EXPECT_TRUE(Task->IsZoomed());
    Listener.Heard.clear();
    Task->ScrollY(50);
    ExpectYZoom(0.3, 0.5);
    EXPECT_EQ(std::vector<DWORD>{TaskYZoomChanged}, Listener.Heard);
    Task->ScrollY(1000);
    ExpectYZoom(0.8, 1.0);
    Task->ScrollY(-1000);
    ExpectYZoom(0.0, 0.2);
    Task->PushYZoom({0.05, 0.1});
    Task->UndoZoomBothAxes();
    ExpectYZoom(0.0, 0.2);
    Attach(ArchiveTask);
    Task->PushTimeZoom(10 * Second, 20 * Second);
    Task->UndoAllZooms();
    EXPECT_EQ(1u, Task->GetYZoomLevels().size()) << "the stack keeps vertical zooms by default";
    ASSERT_EQ(S_OK, Stack()->SetIsYZoomKept(VARIANT_FALSE));
    Task->PushTimeZoom(10 * Second, 20 * Second);
    Task->UndoAllZooms();
    EXPECT_TRUE(Task->GetYZoomLevels().empty());
    Task->PushYZoom({0.2, 0.4});
    Task->OnSelectionsChanged();
    EXPECT_TRUE(Task->GetYZoomLevels().empty());
}

// A constrained cursor stays in the visible range; without a trace a step is a hundredth of it.
TEST_F(TaskDataItem, AConstrainedCursorStaysInTheVisibleRangeAndStepsAHundredthWithoutATrace)
{
    Task->SetCursor(5 * Second, 0);
    Attach(ArchiveTask);
    Task->PushTimeZoom(10 * Second, 20 * Second);
    const auto cursor = [&](qvx::time time, int constrain) {
        Task->SetCursor(time, constrain);
        return HostCursor();
    };
    EXPECT_EQ(10 * Second, cursor(5 * Second, 1));
    EXPECT_EQ(20 * Second, cursor(50 * Second, 1));
    EXPECT_EQ(50 * Second, cursor(50 * Second, 0));
    cursor(15 * Second, 0);
    Task->NotifyChange(TaskCursorStale, 1);
    Task->CursorToNextSample();
    EXPECT_EQ(15 * Second + Second / 10, HostCursor());
    Task->NotifyChange(TaskCursorStale, 1);
    Task->StepCursor(-50);
    EXPECT_EQ(10 * Second + Second / 10, HostCursor());
    Task->CursorToLastSample();
    EXPECT_EQ(20 * Second, HostCursor());
}

// The host's display order puts secondary selections last; without it selections come in host
// order. A selection that the host lets go leaves the vectors at once, with its lap markers.
TEST_F(TaskDataItem, SelectionsAreBuiltInDisplayOrderAndRebuiltWhenTheHostsListChanges)
{
    Attach(SessionTask);
    EXPECT_EQ((Indices{1, 2}), IndicesOf(Task->GetSelections()));
    EXPECT_EQ(Indices{3}, IndicesOf(Task->GetSecondarySelections()));
    ASSERT_EQ(S_OK, Sim->AddDataSelection(SessionTask, 7, 50 * Second, VARIANT_FALSE));
    Task->OnSelectionsChanged();
    EXPECT_EQ((Indices{1, 2, 4}), IndicesOf(Task->GetSelections()));
    const long sinks = SinkCount();
    Task->GetSelections()[1]->GetLapMarkers()->GetMarkers();
    ASSERT_EQ(S_OK, Sim->RemoveDataSelection(SessionTask, 2));
    EXPECT_EQ(sinks - 1, SinkCount()) << "the selection's sink and its lap markers' went";
    Task->OnSelectionsChanged();
    EXPECT_EQ((Indices{1, 3}), IndicesOf(Task->GetSelections()));
    EXPECT_EQ(Indices{2}, IndicesOf(Task->GetSecondarySelections()));
    Fault(L"IQvxTaskOrder.GetDisplayOrder", E_NOTIMPL);
    ASSERT_EQ(S_OK, Sim->AddDataSelection(SessionTask, 8, 60 * Second, VARIANT_TRUE));
    Task->OnSelectionsChanged();
    EXPECT_EQ((Indices{1, 3}), IndicesOf(Task->GetSelections()));
    EXPECT_EQ((Indices{2, 4}), IndicesOf(Task->GetSecondarySelections()));
    // The task's segment and split news reach every selection unless the list is stale.
    CDataSelectionDataItem* session = Task->GetSelections()[1];
    session->Flags = 0;
    Task->OnSegmentsChanged();
    EXPECT_TRUE(session->Flags & SelectionSegmentsStale);
    session->Flags = 0;
    Task->NotifyChange(TaskSelectionsStale, 0);
    Task->OnEventSetsChanged();
    EXPECT_EQ(0u, session->Flags);
    // A failing list leaves no items and the bit set; a selection that the host fails to give is
    // skipped.
    Sim->ClearFaults();
    const long listed = SinkCount();
    Fault(L"IQvxTask.GetDataSelections", E_FAIL);
    Task->OnSelectionsChanged();
    EXPECT_TRUE(Task->GetSelections().empty());
    EXPECT_EQ(listed - 4, SinkCount());
    Sim->ClearFaults();
    EXPECT_EQ(2u, Task->GetSelections().size());
    Fault(L"IQvxDataSelectionList.GetItem", E_FAIL);
    Task->OnSelectionsChanged();
    EXPECT_TRUE(Task->GetSelections().empty());
}

// Without channels the active selection is the host's current one; the next passes over the
// secondary selection and wraps.
TEST_F(TaskDataItem, WithoutChannelsTheActiveSelectionIsTheHostsCurrentOneAndTheNextWraps)
{
    Attach(SessionTask);
    Chart->ActiveChanges = 0;
    EXPECT_EQ(1, Task->GetActiveSelection()->GetIndex());
    EXPECT_EQ(1, Chart->ActiveChanges);
    EXPECT_EQ(nullptr, Task->GetActiveChannel());
    ASSERT_EQ(S_OK, Attached->SetCursorTime(3 * Second));
    const auto next = [&](bool forward) {
        forward ? Task->ActivateNextTrace() : Task->ActivatePreviousTrace();
        return Task->GetActiveSelection()->GetIndex();
    };
    EXPECT_EQ(2, next(true));
    EXPECT_EQ(3 * Second, HostCursor()) << "the cursor is put where the host has it";
    EXPECT_EQ(1, next(true));
    EXPECT_EQ(2, next(false));
    // A host that refuses the change leaves the active objects as they were.
    Fault(L"SetCurrentDataSelection", E_FAIL);
    EXPECT_EQ(2, next(true));
    // The active selection going away is a change of the active objects.
    Listener.Heard.clear();
    ASSERT_EQ(S_OK, Sim->RemoveDataSelection(SessionTask, 2));
    EXPECT_EQ(TaskSelectionsStale | TaskActiveStale, Listener.Heard.at(0));
}

TEST_F(TaskDataItem, AFailingHostKeepsTheLastValuesAndOnlyACursorIsAskedAgain)
{
    Attach(SessionTask);
    ASSERT_EQ(S_OK, Attached->SetCursorTime(4 * Second));
    ASSERT_EQ(S_OK, Sim->SetTimeFormat(1));
    ASSERT_EQ(S_OK, Stack()->SetCursorCentred(VARIANT_TRUE));
    const auto expectLast = [&] {
        EXPECT_EQ(4 * Second, Task->GetCursorTime());
        EXPECT_EQ(1, Task->GetTimeFormat());
        EXPECT_TRUE(Task->IsCursorCentred());
    };
    expectLast();
    for (const wchar_t* operation : {L"GetCursorTime", L"GetTimeFormat", L"GetCursorCentred"}) Fault(operation, E_FAIL);
    Task->NotifyChange(TaskCursorStale | TaskTimeFormatStale | TaskZoomStackChanged, 1);
    expectLast();
    EXPECT_TRUE(Task->Flags & TaskCursorStale);
    EXPECT_FALSE(Task->Flags & TaskTimeFormatStale);
    Sim->ClearFaults();
    ASSERT_EQ(S_OK, Attached->SetCursorTime(6 * Second));
    EXPECT_EQ(6 * Second, Task->GetCursorTime());
}

// Without a host the time format stays stale for the first reader after.
TEST_F(TaskDataItem, WithoutATaskNothingIsAskedAndTheDestructorLeavesNoSink)
{
    Task.reset();
    const long before = SinkCount();
    Task = std::make_unique<CTaskDataItem>(Chart);
    Chart->TestHost = nullptr;
    ASSERT_EQ(S_OK, Sim->SetTimeFormat(1));
    EXPECT_EQ(0, Task->GetTimeFormat());
    Chart->TestHost = Host;
    EXPECT_EQ(1, Task->GetTimeFormat());
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
    Task.reset();
    // Of what the item and its attachment added, nothing still listens to the host.
    EXPECT_EQ(before, SinkCount());
}
