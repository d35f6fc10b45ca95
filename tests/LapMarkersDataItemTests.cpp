// The lap-marker items over the substitute host and over lap objects of the tests' own: when they
// read, what the list holds when the host fails, what a change of the markers marks stale in the
// selection, when a new time range moves the live window, the watched transaction, and the sinks
// that an item leaves behind.
#include <gtest/gtest.h>
#include <atomic>
#include <thread>
#include "items/DataSelectionDataItem.h"
#include "items/ItemFlags.h"
#include "items/RTCTaskDataItem.h"
#include "items/LapMarkersDataItem.h"
#include "tests/SimTestSupport.h"
#include "tests/TestSource.h"

using namespace qvxtest;

namespace {

// The session task's selections: the live recording, with no data yet, and the finished session.
constexpr long LiveIndex = 1;
constexpr long SessionIndex = 2;

// An item whose transaction the test gives, and whose failures are noted instead of shown.
template <class Item>
class CTestLapMarkers : public Item
{
public:
    using Item::Item;
    using Item::WatchTransaction;
    void ShowFailure(const wchar_t* text) override { Shown.push_back(text); }
    std::vector<std::wstring> Shown;
};

// An item that shows its failures as the chart does.
class CShowingLapMarkers : public CLapMarkersDataItem
{
public:
    using CLapMarkersDataItem::CLapMarkersDataItem;
    using CLapMarkersDataItem::WatchTransaction;
};

// A notifying host object that keeps the one sink advised on it, also after it was taken off, as
// a host may.
class CKeepingSource : public CTestSource
{
public:
    CKeepingSource()
    {
        KeepsSink = true;
        NextCookie = 41;
    }
};

// A host transaction, as the host would hand one over.
class CTestTransaction : public CComRoot, public CKeepingSource
{
public:
    QVX_BEGIN_INTERFACES(CTestTransaction)
        QVX_INTERFACE(CTestTransaction, IQvxNotifications),
    QVX_END_INTERFACES()

    CComPtr<IQvxTransactionNotifications> Notifications() { return Query<IQvxTransactionNotifications>(Sink); }
};

// A lap object without names, whose single laps can fail.
class CTestLaps : public CComRoot, public IQvxLaps, public CKeepingSource
{
public:
    QVX_BEGIN_INTERFACES(CTestLaps)
        QVX_INTERFACE(CTestLaps, IQvxLaps),
        QVX_INTERFACE(CTestLaps, IQvxNotifications),
    QVX_END_INTERFACES()
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override = 0;
    STDMETHODIMP_(ULONG) AddRef() override = 0;
    STDMETHODIMP_(ULONG) Release() override = 0;

    struct CLap
    {
        qvx::time Time;
        long Number;
        bool TimeFails = false;
        bool NumberFails = false;
    };

    STDMETHODIMP GetCount(long* count) override
    {
        ++Counts;
        *count = long(Laps.size());
        return S_OK;
    }
    STDMETHODIMP Reserved1() override { return E_NOTIMPL; }
    STDMETHODIMP GetLapTime(long index, __int64* time) override
    {
        if (index < 1 || index > long(Laps.size()) || Laps[index - 1].TimeFails) return E_FAIL;
        *time = Laps[index - 1].Time;
        return S_OK;
    }
    STDMETHODIMP GetLapNumber(long index, long* number) override
    {
        if (index < 1 || index > long(Laps.size()) || Laps[index - 1].NumberFails) return E_FAIL;
        *number = Laps[index - 1].Number;
        return S_OK;
    }
    STDMETHODIMP Reserved4() override { return E_NOTIMPL; }
    STDMETHODIMP GetFirstTime(__int64*) override { return E_NOTIMPL; }
    STDMETHODIMP GetLastTime(__int64*) override { return E_NOTIMPL; }

    CComPtr<IQvxLapMarkersNotifications> Notifications() { return Query<IQvxLapMarkersNotifications>(Sink); }

    std::vector<CLap> Laps;
    int Counts = 0;
};

// A selection that hands out the test's lap object, or none.
class CTestSelection : public CComRoot, public IQvxDataSelection
{
public:
    QVX_BEGIN_INTERFACES(CTestSelection)
        QVX_INTERFACE(CTestSelection, IQvxDataSelection),
    QVX_END_INTERFACES()

    STDMETHODIMP GetIsRealTime(VARIANT_BOOL* realTime) override
    {
        *realTime = VARIANT_FALSE;
        return S_OK;
    }
    STDMETHODIMP Reserved1() override { return E_NOTIMPL; }
    STDMETHODIMP GetColor(OLE_COLOR*) override { return E_NOTIMPL; }
    STDMETHODIMP GetEndTime(__int64* time) override { return Zero(time); }
    STDMETHODIMP Reserved4() override { return E_NOTIMPL; }
    STDMETHODIMP GetLaps(IUnknown** laps) override
    {
        ++LapRequests;
        *laps = nullptr;
        return LapObject ? LapObject->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(laps)) : S_OK;
    }
    STDMETHODIMP GetStartTime(__int64* time) override { return Zero(time); }
    STDMETHODIMP Reserved7() override { return E_NOTIMPL; }
    STDMETHODIMP GetTimeOffset(__int64* offset) override { return Zero(offset); }
    STDMETHODIMP SetTimeOffset(__int64) override { return E_NOTIMPL; }

    CComPtr<IUnknown> LapObject;
    int LapRequests = 0;

private:
    static HRESULT Zero(__int64* time)
    {
        *time = 0;
        return S_OK;
    }
};

template <class T, class I>
CComPtr<T> Make()
{
    CComPtr<I> object;
    EXPECT_EQ(S_OK, CComObject<T>::CreateInstance(object));
    return CComPtr<T>(static_cast<T*>(object.Get()));
}

// A transaction of the tests' own, handed to `markers` to watch.
template <class Markers>
CComPtr<CTestTransaction> Watched(Markers& markers)
{
    CComPtr<CTestTransaction> transaction = Make<CTestTransaction, IQvxNotifications>();
    markers.WatchTransaction(Query<IUnknown>(static_cast<IQvxNotifications*>(transaction.Get())));
    return transaction;
}

std::vector<long> IndicesOf(const std::list<LapMarker>& markers)
{
    std::vector<long> indices;
    for (const LapMarker& marker : markers) indices.push_back(marker.Index);
    return indices;
}

class LapMarkers : public testing::Test, protected CTestHost
{
protected:
    void SetUp() override { ASSERT_EQ(S_OK, StartHost()); }

    CComPtr<IQvxDataSelection> HostSelection(long task, long index)
    {
        CComPtr<IQvxDataSelectionList> list;
        CComPtr<IQvxDataSelection> selection;
        EXPECT_EQ(S_OK, TaskOfHost(Host, task)->GetDataSelections(list.Out()));
        if (list) {
            EXPECT_EQ(S_OK, list->GetItem(index, selection.Out()));
        }
        return selection;
    }
    CComPtr<IQvxLapNames> HostLaps(IQvxDataSelection* selection)
    {
        CComPtr<IUnknown> laps;
        EXPECT_EQ(S_OK, selection->GetLaps(laps.Out()));
        return Query<IQvxLapNames>(laps);
    }
    // Moves the live clock until a lap is completed.
    void CompleteALap(IQvxDataSelection* live)
    {
        CComPtr<IQvxLapNames> laps = HostLaps(live);
        long before = 0, after = 0;
        ASSERT_EQ(S_OK, laps->GetCount(&before));
        for (int step = 0; step < 600 && after == before; ++step) {
            ASSERT_EQ(S_OK, Sim->Advance(Second));
            ASSERT_EQ(S_OK, laps->GetCount(&after));
        }
        ASSERT_GT(after, before);
    }

    HWND NoWindow = nullptr;
};

// The real-time task attached to the live task as the control attaches it, and the real-time item
// of its live selection.
class RTCLapMarkers : public LapMarkers
{
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(LapMarkers::SetUp());
        Task = std::make_unique<CRTCTaskDataItem>(nullptr, Settings);
        Attached = TaskOfHost(Host, SessionTask);
        ASSERT_TRUE(Attached);
        ASSERT_EQ(S_OK, CoCreateInstance(CLSID_QvxZoomStack, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IQvxZoomStack),
                                         Stack.OutVoid()));
        ASSERT_EQ(S_OK, Stack->SetTask(Attached));
        Task->SetTask(Attached);
        Task->NotifyChange(TaskCursorStale | TaskSelectionsStale | TaskControlModeStale, 1);
        Task->RebuildDataSelections();
        ASSERT_EQ(S_OK, Task->SetZoomStack(Stack));
        Live = HostSelection(SessionTask, LiveIndex);
        Selection = std::make_unique<CRTCDataSelectionDataItem>(Live, Task.get(), LiveIndex);
        Selection->AttachLapMarkers();
        ASSERT_TRUE(Selection->GetLapMarkers());
        Selection->GetLapMarkers()->GetMarkers();
        Selection->RefreshWindow();
        Task->AddListener(&TaskListener);
        Task->Flags = 0;
    }
    void TearDown() override
    {
        Task->RemoveListener(&TaskListener);
        Selection.reset();
        Task.reset();
    }

    // The live clock moves on, and the lap object reports the new time range.
    bool WindowMovesWithTheData()
    {
        TaskListener.Heard.clear();
        const qvx::time end = Selection->GetEndTime();
        EXPECT_EQ(S_OK, Sim->Advance(2 * Second));
        const bool moved = Selection->GetEndTime() != end;
        EXPECT_EQ(moved, TaskListener.HeardAny(TaskWindowMoved));
        return moved;
    }

    qvx::time DataTimeSpan = 10 * Second;
    qvx::time HistoricDataTimeSpan = 300 * Second;
    uint32_t Running = 1;
    CRTCTimeSettings Settings{&DataTimeSpan, &HistoricDataTimeSpan, &Running};
    std::unique_ptr<CRTCTaskDataItem> Task;
    CComPtr<IQvxTask> Attached;
    CComPtr<IQvxZoomStack> Stack;
    CComPtr<IQvxDataSelection> Live;
    std::unique_ptr<CRTCDataSelectionDataItem> Selection;
    CRecordingRegion TaskListener{&NoWindow};
};

} // namespace

// --- reading ---

TEST_F(LapMarkers, ANewItemAsksNothingUntilTheFirstReadAndThenMirrorsTheHost)
{
    CComPtr<IQvxDataSelection> session = HostSelection(SessionTask, SessionIndex);
    CDataSelectionDataItem selection(session, nullptr, SessionIndex);
    const long sinks = SinkCount();
    Sim->ResetCallCounts();

    CLapMarkersDataItem markers(&selection);
    EXPECT_EQ(0xFFFFFFFFu, markers.Flags);
    EXPECT_EQ(0, Calls(L"GetLaps"));
    EXPECT_EQ(0, Calls(L"IQvxLaps.GetCount"));
    EXPECT_EQ(sinks, SinkCount());

    const std::list<LapMarker>& list = markers.GetMarkers();
    EXPECT_EQ(1, Calls(L"GetLaps"));
    EXPECT_EQ(sinks + 1, SinkCount()) << "the item listens to the lap object from its first read on";
    EXPECT_EQ(0u, markers.Flags & (LapListStale | LapSourceStale));

    CComPtr<IQvxLapNames> laps = HostLaps(session);
    long count = 0;
    ASSERT_EQ(S_OK, laps->GetCount(&count));
    ASSERT_GE(count, 2) << "the session holds laps";
    ASSERT_EQ(size_t(count), list.size());
    long index = 1;
    for (const LapMarker& marker : list) {
        qvx::time time = 0;
        long number = 0;
        CBstr name;
        ASSERT_EQ(S_OK, laps->GetLapTime(index, &time));
        ASSERT_EQ(S_OK, laps->GetLapNumber(index, &number));
        ASSERT_EQ(S_OK, laps->GetLapName(index, name.Out()));
        EXPECT_EQ(time, marker.Time);
        EXPECT_EQ(number, marker.Number);
        EXPECT_EQ(name.View(), marker.Name.View());
        EXPECT_EQ(index, marker.Index);
        ++index;
    }

    // Nothing changed: the next read costs no host call.
    Sim->ResetCallCounts();
    EXPECT_EQ(&list, &markers.GetMarkers());
    EXPECT_EQ(size_t(count), list.size());
    EXPECT_EQ(0, Calls(L"GetLaps"));
    EXPECT_EQ(0, Calls(L"IQvxLaps.GetCount"));
    EXPECT_EQ(0, Calls(L"IQvxLaps.GetLapTime"));
}

TEST_F(LapMarkers, NoLapsGiveAnEmptyListAndNoHostCallUntilTheMarkersChange)
{
    CComPtr<IQvxDataSelection> live = HostSelection(SessionTask, LiveIndex);
    CDataSelectionDataItem selection(live, nullptr, LiveIndex);
    CLapMarkersDataItem markers(&selection);
    Sim->ResetCallCounts();
    EXPECT_TRUE(markers.GetMarkers().empty());
    EXPECT_EQ(1, Calls(L"IQvxLaps.GetCount"));
    EXPECT_EQ(0u, markers.Flags & LapListStale);

    // New data without a new lap: the lap object reports only its time range.
    ASSERT_EQ(S_OK, Sim->Advance(Second));
    EXPECT_EQ(0u, markers.Flags & LapListStale);
    EXPECT_TRUE(markers.GetMarkers().empty());
    EXPECT_EQ(1, Calls(L"IQvxLaps.GetCount"));

    CompleteALap(live);
    EXPECT_NE(0u, markers.Flags & LapListStale);
    Sim->ResetCallCounts();
    const std::list<LapMarker>& list = markers.GetMarkers();
    EXPECT_EQ(1, Calls(L"IQvxLaps.GetCount"));
    ASSERT_EQ(1u, list.size());
    qvx::time start = 0;
    ASSERT_EQ(S_OK, Sim->GetRecordingStart(&start));
    EXPECT_GT(list.front().Time, start) << "absolute, as the host gives it";
    EXPECT_EQ(1, list.front().Index);
}

TEST_F(LapMarkers, WithoutLapNamesALapIsNamedByItsNumber)
{
    CComPtr<CTestLaps> laps = Make<CTestLaps, IQvxLaps>();
    laps->Laps = {{100 * Second, 12}, {190 * Second, 13}, {280 * Second, -4}};
    CComPtr<CTestSelection> host = Make<CTestSelection, IQvxDataSelection>();
    host->LapObject = Query<IUnknown>(static_cast<IQvxLaps*>(laps.Get()));
    CDataSelectionDataItem selection(host, nullptr, 1);
    CLapMarkersDataItem markers(&selection);

    const std::list<LapMarker>& list = markers.GetMarkers();
    ASSERT_EQ(3u, list.size());
    EXPECT_EQ(L"12", std::wstring(list.front().Name.View()));
    EXPECT_EQ(12, list.front().Number);
    EXPECT_EQ(100 * Second, list.front().Time);
    EXPECT_EQ(L"-4", std::wstring(list.back().Name.View()));
    EXPECT_TRUE(IsEqualIID(laps->Iid, __uuidof(IQvxLapMarkersNotifications))) << "advised for the markers";
}

TEST_F(LapMarkers, AFailedNameIsAnEmptyOne)
{
    CComPtr<IQvxDataSelection> session = HostSelection(SessionTask, SessionIndex);
    CDataSelectionDataItem selection(session, nullptr, SessionIndex);
    CLapMarkersDataItem markers(&selection);
    Fault(L"IQvxLapNames.GetLapName", E_FAIL);
    const std::list<LapMarker>& list = markers.GetMarkers();
    ASSERT_GE(list.size(), 2u);
    for (const LapMarker& marker : list) {
        EXPECT_TRUE(marker.Name.View().empty());
        EXPECT_EQ(marker.Index + 1, marker.Number) << "the substitute numbers a lap one above its index";
    }
}

TEST_F(LapMarkers, ALapTheHostCannotGiveIsLeftOutAndTheOthersKeepTheirIndex)
{
    CComPtr<CTestLaps> laps = Make<CTestLaps, IQvxLaps>();
    laps->Laps = {{10 * Second, 1}, {20 * Second, 2, true}, {30 * Second, 3, false, true}, {40 * Second, 4}};
    CComPtr<CTestSelection> host = Make<CTestSelection, IQvxDataSelection>();
    host->LapObject = Query<IUnknown>(static_cast<IQvxLaps*>(laps.Get()));
    CDataSelectionDataItem selection(host, nullptr, 1);
    CLapMarkersDataItem markers(&selection);

    const std::list<LapMarker>& list = markers.GetMarkers();
    EXPECT_EQ((std::vector<long>{1, 4}), IndicesOf(list));
    EXPECT_EQ(40 * Second, list.back().Time);
    EXPECT_EQ(L"4", std::wstring(list.back().Name.View()));
}

TEST_F(LapMarkers, AFailingCountGivesAnEmptyListThatIsNotAskedForAgain)
{
    CComPtr<IQvxDataSelection> session = HostSelection(SessionTask, SessionIndex);
    CDataSelectionDataItem selection(session, nullptr, SessionIndex);
    CLapMarkersDataItem markers(&selection);
    Fault(L"IQvxLaps.GetCount", E_FAIL);
    Sim->ResetCallCounts();
    EXPECT_TRUE(markers.GetMarkers().empty());
    EXPECT_TRUE(markers.GetMarkers().empty());
    EXPECT_EQ(1, Calls(L"IQvxLaps.GetCount"));
    EXPECT_EQ(0, Calls(L"IQvxLaps.GetLapTime"));
    EXPECT_EQ(0u, markers.Flags & LapListStale);
}

TEST_F(LapMarkers, ASelectionWithoutALapObjectIsAskedOnce)
{
    CComPtr<CTestSelection> host = Make<CTestSelection, IQvxDataSelection>();
    CDataSelectionDataItem selection(host, nullptr, 1);
    CLapMarkersDataItem markers(&selection);
    EXPECT_TRUE(markers.GetMarkers().empty());
    EXPECT_EQ(0u, markers.Flags & (LapListStale | LapSourceStale));
    // A lap object that turns up later is found by no read: the item attaches once.
    CComPtr<CTestLaps> laps = Make<CTestLaps, IQvxLaps>();
    laps->Laps = {{10 * Second, 1}};
    host->LapObject = Query<IUnknown>(static_cast<IQvxLaps*>(laps.Get()));
    markers.NotifyChange(LapListStale, 1);
    EXPECT_TRUE(markers.GetMarkers().empty());
    EXPECT_EQ(1, host->LapRequests);
}

TEST_F(LapMarkers, AnObjectThatIsNoLapObjectCountsAsNone)
{
    CComPtr<CTestSelection> host = Make<CTestSelection, IQvxDataSelection>();
    host->LapObject = Query<IUnknown>(static_cast<IQvxDataSelection*>(host.Get()));
    CDataSelectionDataItem selection(host, nullptr, 1);
    CLapMarkersDataItem markers(&selection);
    EXPECT_TRUE(markers.GetMarkers().empty());
    EXPECT_EQ(1, host->LapRequests);
    EXPECT_EQ(0u, markers.Flags & (LapListStale | LapSourceStale));
    host->LapObject = nullptr;  // the selection holds itself otherwise
}

TEST_F(LapMarkers, ASelectionItemOfNoSelectionGivesAnEmptyList)
{
    CDataSelectionDataItem selection(nullptr, nullptr, 1);
    CLapMarkersDataItem markers(&selection);
    EXPECT_TRUE(markers.GetMarkers().empty());
    EXPECT_EQ(0u, markers.Flags & (LapListStale | LapSourceStale));
}

// --- what a change of the markers marks stale ---

TEST_F(LapMarkers, NewMarkersMakeTheSelectionsSplitsAndSegmentsStale)
{
    CComPtr<CTestLaps> laps = Make<CTestLaps, IQvxLaps>();
    CComPtr<CTestSelection> host = Make<CTestSelection, IQvxDataSelection>();
    host->LapObject = Query<IUnknown>(static_cast<IQvxLaps*>(laps.Get()));
    CDataSelectionDataItem selection(host, nullptr, 1);
    CLapMarkersDataItem markers(&selection);
    EXPECT_TRUE(markers.GetMarkers().empty());
    CComPtr<IQvxLapMarkersNotifications> sink = laps->Notifications();
    ASSERT_TRUE(sink);
    CRecordingRegion onSelection(&NoWindow), onMarkers(&NoWindow);
    selection.AddListener(&onSelection);
    markers.AddListener(&onMarkers);
    selection.Flags = 0;

    laps->Laps = {{10 * Second, 1}};
    EXPECT_EQ(S_OK, sink->OnMarkersChanged(Query<IUnknown>(static_cast<IQvxLaps*>(laps.Get()))));
    EXPECT_EQ((std::vector<DWORD>{LapListStale}), onMarkers.Heard);
    EXPECT_EQ((std::vector<DWORD>{SelectionSplitsStale | SelectionSegmentsStale}), onSelection.Heard);
    EXPECT_EQ(SelectionSplitsStale | SelectionSegmentsStale, selection.Flags);
    ASSERT_EQ(1u, markers.GetMarkers().size());
    EXPECT_EQ(2, laps->Counts);

    // A time range report changes nothing outside a live chart.
    onSelection.Heard.clear();
    onMarkers.Heard.clear();
    EXPECT_EQ(S_OK, sink->OnTimeRangeChanged(nullptr, 0, 20 * Second));
    EXPECT_TRUE(onSelection.Heard.empty());
    EXPECT_TRUE(onMarkers.Heard.empty());
    selection.RemoveListener(&onSelection);
    markers.RemoveListener(&onMarkers);
}

TEST_F(RTCLapMarkers, NewMarkersMakeTheLiveSelectionsEventSetsStaleInstead)
{
    CRecordingRegion onSelection(&NoWindow), onMarkers(&NoWindow);
    Selection->AddListener(&onSelection);
    Selection->GetLapMarkers()->AddListener(&onMarkers);
    Selection->Flags = 0;

    CompleteALap(Live);
    EXPECT_EQ((std::vector<DWORD>{LapListStale}), onMarkers.Heard);
    EXPECT_TRUE(std::count(onSelection.Heard.begin(), onSelection.Heard.end(), SelectionEventSetsStale) == 1);
    EXPECT_NE(0u, Selection->Flags & SelectionEventSetsStale);
    Selection->GetLapMarkers()->RemoveListener(&onMarkers);
    Selection->RemoveListener(&onSelection);
}

// --- a new time range of the live data ---

TEST_F(RTCLapMarkers, ANewTimeRangeMovesARunningChartsWindow)
{
    ASSERT_TRUE(Task->GetMode().IsRunning());
    EXPECT_TRUE(WindowMovesWithTheData());
    EXPECT_TRUE(TaskListener.HeardAny(TaskLiveRangeStale));
    qvx::time clock = 0;
    ASSERT_EQ(S_OK, Sim->GetClock(&clock));
    EXPECT_EQ(clock, Selection->GetEndTime());
}

TEST_F(RTCLapMarkers, ANewTimeRangeWhileTheSelectionsAreStaleLeavesTheWindow)
{
    Task->NotifyChange(TaskSelectionsStale, 0);
    EXPECT_FALSE(WindowMovesWithTheData());
    EXPECT_FALSE(TaskListener.HeardAny(TaskLiveRangeStale));
}

TEST_F(RTCLapMarkers, ANewTimeRangeInAHostPauseLeavesTheWindow)
{
    ASSERT_EQ(S_OK, Sim->SetRunning(SessionTask, VARIANT_FALSE));
    Task->OnRunStateChanged();
    Task->Flags &= ~TaskSelectionsStale;
    EXPECT_FALSE(WindowMovesWithTheData());
    EXPECT_FALSE(TaskListener.HeardAny(TaskLiveRangeStale));
}

TEST_F(RTCLapMarkers, ANewTimeRangeInALocalPauseLeavesTheWindowAndRunningAgainMovesIt)
{
    Running = 0;
    Task->NotifyChange(TaskControlModeStale, 0);
    EXPECT_FALSE(WindowMovesWithTheData());
    // The mode is brought up to date at the report itself.
    Running = 1;
    Task->NotifyChange(TaskControlModeStale, 0);
    EXPECT_TRUE(WindowMovesWithTheData());
}

TEST_F(RTCLapMarkers, ANewTimeRangeWithoutATaskDoesNothing)
{
    CRTCDataSelectionDataItem orphan(Live, nullptr, LiveIndex);
    CRTCLapMarkersDataItem markers(&orphan);
    markers.GetMarkers();
    const qvx::time end = orphan.GetEndTime();
    ASSERT_EQ(S_OK, Sim->Advance(Second));
    EXPECT_EQ(end, orphan.GetEndTime());
}

// --- the watched transaction ---

TEST_F(LapMarkers, TheEndOfAWatchedTransactionTakesTheSinkOff)
{
    CComPtr<IQvxDataSelection> session = HostSelection(SessionTask, SessionIndex);
    CDataSelectionDataItem selection(session, nullptr, SessionIndex);
    CTestLapMarkers<CLapMarkersDataItem> markers(&selection);
    CComPtr<CTestTransaction> transaction = Watched(markers);
    EXPECT_TRUE(IsEqualIID(transaction->Iid, __uuidof(IQvxTransactionNotifications)));
    CComPtr<IQvxTransactionNotifications> sink = transaction->Notifications();
    ASSERT_TRUE(sink);

    // Start and progress change nothing.
    EXPECT_EQ(S_OK, sink->OnTransactionStarted(nullptr));
    EXPECT_EQ(S_OK, sink->OnTransactionProgress(nullptr, 50));
    EXPECT_TRUE(transaction->Unadvised.empty());

    EXPECT_EQ(S_OK, sink->OnTransactionEnded(nullptr));
    EXPECT_EQ((std::vector<ULONG>{41}), transaction->Unadvised);
    // A late end reaches an item that watches nothing, and takes nothing off twice.
    EXPECT_EQ(S_OK, sink->OnTransactionEnded(nullptr));
    EXPECT_EQ((std::vector<ULONG>{41}), transaction->Unadvised);
    EXPECT_TRUE(markers.Shown.empty());
}

TEST_F(LapMarkers, AFailedTransactionIsShownAndThenLeft)
{
    CComPtr<IQvxDataSelection> session = HostSelection(SessionTask, SessionIndex);
    CDataSelectionDataItem selection(session, nullptr, SessionIndex);
    CTestLapMarkers<CRTCLapMarkersDataItem> markers(&selection);
    CComPtr<CTestTransaction> transaction = Watched(markers);
    CComPtr<IQvxTransactionNotifications> sink = transaction->Notifications();
    ASSERT_TRUE(sink);

    EXPECT_EQ(S_OK, sink->OnTransactionFailed(nullptr, CBstr(L"The laps could not be saved.").Get()));
    EXPECT_EQ((std::vector<std::wstring>{L"The laps could not be saved."}), markers.Shown);
    EXPECT_EQ((std::vector<ULONG>{41}), transaction->Unadvised);
    EXPECT_EQ(S_OK, sink->OnTransactionFailed(nullptr, nullptr));
    EXPECT_EQ((std::vector<std::wstring>{L"The laps could not be saved.", L""}), markers.Shown);
    EXPECT_EQ(1u, transaction->Unadvised.size());
}

TEST_F(LapMarkers, AFailureShowsAnErrorBoxOverTheControlsWindow)
{
    CContainerWindow container;
    ASSERT_TRUE(container.Window);
    CComPtr<IQvxLinnographCtl4> control;
    CTestChartCtl* chart = CreateTestChart(control);
    ASSERT_TRUE(chart);
    chart->Window = container.Window;
    {
        CTaskDataItem task(chart);
        CDataSelectionDataItem selection(HostSelection(SessionTask, SessionIndex), &task, SessionIndex);
        CShowingLapMarkers markers(&selection);
        CComPtr<CTestTransaction> transaction = Watched(markers);
        CComPtr<IQvxTransactionNotifications> sink = transaction->Notifications();
        ASSERT_TRUE(sink);

        // The box is modal: another thread reads it and closes it.
        HWND owner = nullptr;
        std::wstring texts;
        bool icon = false;
        std::atomic<bool> found{false};
        std::thread closer([&] {
            for (int wait = 0; wait < 500 && !found; ++wait) {
                HWND box = FindWindowW(L"#32770", L"Morvane");
                if (!box) {
                    Sleep(20);
                    continue;
                }
                owner = GetWindow(box, GW_OWNER);
                for (HWND child = GetWindow(box, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
                    wchar_t text[256] = {};
                    GetWindowTextW(child, text, 256);
                    texts += text;
                    texts += L"|";
                    if ((GetWindowLongW(child, GWL_STYLE) & SS_TYPEMASK) == SS_ICON) icon = true;
                }
                found = true;
                PostMessageW(box, WM_COMMAND, IDOK, 0);
            }
        });
        EXPECT_EQ(S_OK, sink->OnTransactionFailed(nullptr, CBstr(L"The laps could not be saved.").Get()));
        closer.join();
        ASSERT_TRUE(found);
        EXPECT_EQ(container.Window, owner);
        EXPECT_NE(std::wstring::npos, texts.find(L"The laps could not be saved.")) << texts;
        EXPECT_TRUE(icon);
        EXPECT_EQ(1u, transaction->Unadvised.size());
    }
    chart->Window = nullptr;
}

// --- what an item leaves behind ---

TEST_F(LapMarkers, AnItemThatGoesTakesItsSinksOff)
{
    CComPtr<IQvxDataSelection> session = HostSelection(SessionTask, SessionIndex);
    CDataSelectionDataItem selection(session, nullptr, SessionIndex);
    const long sinks = SinkCount();
    CComPtr<CTestTransaction> transaction;
    {
        CTestLapMarkers<CLapMarkersDataItem> markers(&selection);
        markers.GetMarkers();
        transaction = Watched(markers);
        EXPECT_EQ(sinks + 1, SinkCount());
    }
    EXPECT_EQ(sinks, SinkCount());
    EXPECT_EQ(1u, transaction->Unadvised.size());
    // The transaction still holds the sink: a late report calls nothing and succeeds.
    CComPtr<IQvxTransactionNotifications> late = transaction->Notifications();
    ASSERT_TRUE(late);
    EXPECT_EQ(S_OK, late->OnTransactionFailed(nullptr, CBstr(L"late").Get()));
}

TEST_F(LapMarkers, TheSelectionsOwnItemGoesWithIt)
{
    const long sinks = SinkCount();
    {
        CDataSelectionDataItem selection(HostSelection(SessionTask, LiveIndex), nullptr, LiveIndex);
        selection.AttachLapMarkers();
        ASSERT_TRUE(selection.GetLapMarkers());
        selection.GetLapMarkers()->GetMarkers();
        EXPECT_EQ(sinks + 2, SinkCount()) << "the selection's sink and the lap object's";
    }
    EXPECT_EQ(sinks, SinkCount());
}

TEST_F(LapMarkers, ALapObjectThatKeepsTheSinkReachesNothingOnceTheItemWent)
{
    CComPtr<CTestLaps> laps = Make<CTestLaps, IQvxLaps>();
    laps->Laps = {{10 * Second, 1}};
    CComPtr<CTestSelection> host = Make<CTestSelection, IQvxDataSelection>();
    host->LapObject = Query<IUnknown>(static_cast<IQvxLaps*>(laps.Get()));
    CDataSelectionDataItem selection(host, nullptr, 1);
    CRecordingRegion onSelection(&NoWindow);
    selection.AddListener(&onSelection);
    {
        CLapMarkersDataItem markers(&selection);
        markers.GetMarkers();
    }
    EXPECT_EQ((std::vector<ULONG>{41}), laps->Unadvised);
    CComPtr<IQvxLapMarkersNotifications> late = laps->Notifications();
    ASSERT_TRUE(late);
    EXPECT_EQ(S_OK, late->OnMarkersChanged(nullptr));
    EXPECT_TRUE(onSelection.Heard.empty());
    selection.RemoveListener(&onSelection);
}
