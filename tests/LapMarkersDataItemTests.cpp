// The lap-marker items over the substitute host and over lap objects of the tests' own: reads,
// failures, what a change marks stale, the live window, the watched transaction, left sinks.
#include <gtest/gtest.h>
#include <thread>
#include "items/DataSelectionDataItem.h"
#include "items/ItemFlags.h"
#include "items/RTCTaskDataItem.h"
#include "items/LapMarkersDataItem.h"
#include "tests/HostPaths.h"
#include "tests/SimTestSupport.h"
#include "tests/TestSource.h"

using namespace qvxtest;

namespace {

// The session task's selections: the live recording, with no data yet, and the finished session.
constexpr long LiveIndex = 1;
constexpr long SessionIndex = 2;
const wchar_t* const NotSaved = L"The laps could not be saved.";

// An item whose transaction the test gives, and whose failures are noted unless `ShowsFailures`.
template <class Item>
class CTestLapMarkers : public Item
{
public:
    using Item::Item;
    using Item::WatchTransaction;
    void ShowFailure(const wchar_t* text) override
    {
        if (ShowsFailures) Item::ShowFailure(text);
        else Shown.push_back(text);
    }
    bool ShowsFailures = false;
    std::vector<std::wstring> Shown;
};

// A lap object without names, whose single laps can fail, and which keeps its sink as a host may.
class CTestLaps : public CComRoot, public IQvxLaps, public CTestSource
{
public:
    QVX_BEGIN_INTERFACES(CTestLaps)
        QVX_INTERFACE(CTestLaps, IQvxLaps),
        QVX_INTERFACE(CTestLaps, IQvxNotifications),
    QVX_END_INTERFACES()
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override = 0;
    STDMETHODIMP_(ULONG) AddRef() override = 0;
    STDMETHODIMP_(ULONG) Release() override = 0;
    CTestLaps() { KeepsSink = true, NextCookie = 41; }

    struct CLap
    {
        qvx::time Time;
        long Number;
        bool TimeFails = false, NumberFails = false;
    };
    STDMETHODIMP GetCount(long* count) override { return ++Counts, *count = long(Laps.size()), S_OK; }
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
    IUnknown* Unknown() { return static_cast<IQvxLaps*>(this); }

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

    STDMETHODIMP GetIsRealTime(VARIANT_BOOL* realTime) override { return *realTime = VARIANT_FALSE, S_OK; }
    STDMETHODIMP Reserved1() override { return E_NOTIMPL; }
    STDMETHODIMP GetColor(OLE_COLOR*) override { return E_NOTIMPL; }
    STDMETHODIMP GetEndTime(__int64* time) override { return *time = 0, S_OK; }
    STDMETHODIMP Reserved4() override { return E_NOTIMPL; }
    STDMETHODIMP GetLaps(IUnknown** laps) override
    {
        ++LapRequests;
        *laps = nullptr;
        return LapObject ? LapObject->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(laps)) : S_OK;
    }
    STDMETHODIMP GetStartTime(__int64* time) override { return *time = 0, S_OK; }
    STDMETHODIMP Reserved7() override { return E_NOTIMPL; }
    STDMETHODIMP GetTimeOffset(__int64* offset) override { return *offset = 0, S_OK; }
    STDMETHODIMP SetTimeOffset(__int64) override { return E_NOTIMPL; }

    CComPtr<IUnknown> LapObject;
    int LapRequests = 0;
};

// A transaction of the tests' own, handed to `markers` to watch; its sink is the item's.
template <class Markers>
CComPtr<IQvxTransactionNotifications> Watch(Markers& markers, CComPtr<CKeepingSourceObject>& transaction)
{
    transaction = MakeObject<CKeepingSourceObject, IQvxNotifications>();
    markers.WatchTransaction(static_cast<IQvxNotifications*>(transaction.Get()));
    EXPECT_TRUE(IsEqualIID(transaction->Iid, __uuidof(IQvxTransactionNotifications)));
    return transaction->Held<IQvxTransactionNotifications>();
}

CComPtr<IQvxLapNames> HostLaps(IQvxDataSelection* selection)
{
    CComPtr<IUnknown> laps;
    EXPECT_EQ(S_OK, selection->GetLaps(laps.Out()));
    return Query<IQvxLapNames>(laps);
}

// Moves the live clock until a lap is completed.
void CompleteALap(IQvxSimulation* sim, IQvxDataSelection* live)
{
    CComPtr<IQvxLapNames> laps = HostLaps(live);
    long before = 0, after = 0;
    ASSERT_EQ(S_OK, laps->GetCount(&before));
    for (int step = 0; step < 600 && after == before; ++step) {
        ASSERT_EQ(S_OK, sim->Advance(Second));
        ASSERT_EQ(S_OK, laps->GetCount(&after));
    }
    ASSERT_GT(after, before);
}

// A list of markers as "index:number:name@time" entries.
std::wstring Text(const std::list<LapMarker>& markers)
{
    std::wstring text;
    for (const LapMarker& m : markers)
        text += std::to_wstring(m.Index) + L":" + std::to_wstring(m.Number) + L":" + std::wstring(m.Name.View()) + L"@"
                + std::to_wstring(m.Time) + L" ";
    return text;
}

class LapMarkers : public testing::Test, protected CTestHost
{
protected:
    void SetUp() override { ASSERT_EQ(S_OK, StartHost()); }

    CComPtr<IQvxDataSelection> HostSelection(long index) { return SelectionOf(TaskOfHost(Host, SessionTask), index); }
    // A selection of the tests' own whose lap object is `laps`.
    CComPtr<CTestSelection> SelectionWith(CTestLaps* laps)
    {
        CComPtr<CTestSelection> host = MakeObject<CTestSelection, IQvxDataSelection>();
        if (laps) host->LapObject = laps->Unknown();
        return host;
    }
};

} // namespace

TEST_F(LapMarkers, ANewItemAsksNothingUntilTheFirstReadAndThenMirrorsTheHostOnce)
{
    CComPtr<IQvxDataSelection> session = HostSelection(SessionIndex);
    CDataSelectionDataItem selection(session, nullptr, SessionIndex);
    const long sinks = SinkCount();
    Sim->ResetCallCounts();
    CLapMarkersDataItem markers(&selection);
    EXPECT_EQ(0, Calls(L"GetLaps"));
    EXPECT_EQ(sinks, SinkCount());
    const std::list<LapMarker>& list = markers.GetMarkers();
    EXPECT_EQ(1, Calls(L"GetLaps"));
    EXPECT_EQ(sinks + 1, SinkCount()) << "the item listens to the lap object from its first read on";
    CComPtr<IQvxLapNames> laps = HostLaps(session);
    std::list<LapMarker> host;
    for (long index = 1, number = 0; SUCCEEDED(laps->GetLapNumber(index, &number)); ++index) {
        LapMarker& lap = host.emplace_back(LapMarker{0, CBstr(), int32_t(number), int32_t(index)});
        laps->GetLapTime(index, &lap.Time);
        laps->GetLapName(index, lap.Name.Out());
    }
    ASSERT_GE(host.size(), 2u) << "the session holds laps";
    EXPECT_EQ(Text(host), Text(list));
    // Nothing changed: the next read costs no host call.
    Sim->ResetCallCounts();
    markers.GetMarkers();
    EXPECT_EQ(0, Calls(L"IQvxLaps.GetCount"));
    // A failed name is an empty one.
    Fault(L"IQvxLapNames.GetLapName", E_FAIL);
    markers.NotifyChange(LapListStale, 0);
    for (const LapMarker& marker : markers.GetMarkers()) EXPECT_TRUE(marker.Name.View().empty());
}

// New data without a new lap: the lap object reports only its time range.
TEST_F(LapMarkers, NoLapsGiveAnEmptyListAndNoHostCallUntilALapIsCompleted)
{
    CComPtr<IQvxDataSelection> live = HostSelection(LiveIndex);
    CDataSelectionDataItem selection(live, nullptr, LiveIndex);
    CLapMarkersDataItem markers(&selection);
    Sim->ResetCallCounts();
    EXPECT_TRUE(markers.GetMarkers().empty());
    ASSERT_EQ(S_OK, Sim->Advance(Second));
    EXPECT_TRUE(markers.GetMarkers().empty());
    EXPECT_EQ(1, Calls(L"IQvxLaps.GetCount"));
    CompleteALap(Sim, live);
    const std::list<LapMarker>& list = markers.GetMarkers();
    ASSERT_EQ(1u, list.size());
    EXPECT_GT(list.front().Time, Second) << "absolute, as the host gives it";
    EXPECT_EQ(1, list.front().Index);
}

// A lap object that turns up later is found by no read: the item attaches once.
TEST_F(LapMarkers, WithoutALapObjectOrCountTheListIsEmptyAndNotAskedForAgain)
{
    const struct
    {
        const char* Name;
        bool Selection;
        bool SelfAsLaps;
    } rows[] = {{"no lap object", true, false}, {"no lap object but itself", true, true}, {"no selection", false, false}};
    for (const auto& row : rows) {
        CComPtr<CTestSelection> host = SelectionWith(nullptr);
        if (row.SelfAsLaps) host->LapObject = Query<IUnknown>(static_cast<IQvxDataSelection*>(host.Get()));
        CDataSelectionDataItem selection(row.Selection ? host.Get() : nullptr, nullptr, 1);
        CLapMarkersDataItem markers(&selection);
        EXPECT_TRUE(markers.GetMarkers().empty()) << row.Name;
        CComPtr<CTestLaps> laps = MakeObject<CTestLaps, IQvxLaps>();
        laps->Laps = {{10 * Second, 1}};
        host->LapObject = laps->Unknown();
        markers.NotifyChange(LapListStale, 1);
        EXPECT_TRUE(markers.GetMarkers().empty()) << row.Name;
        EXPECT_EQ(row.Selection ? 1 : 0, host->LapRequests) << row.Name;
    }
    CDataSelectionDataItem session(HostSelection(SessionIndex), nullptr, SessionIndex);
    CLapMarkersDataItem markers(&session);
    Fault(L"IQvxLaps.GetCount", E_FAIL);
    Sim->ResetCallCounts();
    EXPECT_TRUE(markers.GetMarkers().empty());
    EXPECT_TRUE(markers.GetMarkers().empty());
    EXPECT_EQ(1, Calls(L"IQvxLaps.GetCount"));
    EXPECT_EQ(0, Calls(L"IQvxLaps.GetLapTime"));
}

// Without lap names a lap is named by its number, and one that the host cannot give is left out.
TEST_F(LapMarkers, NewMarkersMakeTheSelectionsSplitsAndSegmentsStale)
{
    CComPtr<CTestLaps> laps = MakeObject<CTestLaps, IQvxLaps>();
    laps->Laps = {{10 * Second, 12}, {20 * Second, 2, true}, {30 * Second, 3, false, true}, {40 * Second, -4}};
    CDataSelectionDataItem selection(SelectionWith(laps), nullptr, 1);
    CLapMarkersDataItem markers(&selection);
    EXPECT_EQ(L"1:12:12@" + std::to_wstring(10 * Second) + L" 4:-4:-4@" + std::to_wstring(40 * Second) + L" ",
              Text(markers.GetMarkers()));
    CComPtr<IQvxLapMarkersNotifications> sink = laps->Notifications();
    CListeningRegion onSelection(&selection), onMarkers(&markers);
    laps->Laps = {{10 * Second, 1}};
    EXPECT_EQ(S_OK, sink->OnMarkersChanged(laps->Unknown()));
    EXPECT_EQ((std::vector<DWORD>{LapListStale}), onMarkers.Heard);
    EXPECT_EQ((std::vector<DWORD>{SelectionSplitsStale | SelectionSegmentsStale}), onSelection.Heard);
    ASSERT_EQ(1u, markers.GetMarkers().size());
    EXPECT_EQ(2, laps->Counts);
}

namespace {

// The chart attached to the live task, and the real-time item of its live selection.
class RTCLapMarkers : public LiveChartTest
{
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(LiveChartTest::SetUp());
        Attach(SessionTask);
        Shown()->GetLapMarkers()->GetMarkers();
    }
    // The live clock moves on, and the lap object reports the new time range.
    bool WindowMovesWithTheData()
    {
        CListeningRegion task(&Task());
        const qvx::time end = Shown()->GetEndTime();
        Advance(2 * Second);
        const bool moved = Shown()->GetEndTime() != end;
        EXPECT_EQ(moved, task.HeardAny(TaskWindowMoved));
        EXPECT_EQ(moved, task.HeardAny(TaskLiveRangeStale));
        return moved;
    }
};

} // namespace

TEST_F(RTCLapMarkers, NewMarkersMakeTheLiveSelectionsEventSetsStaleInstead)
{
    CRTCDataSelectionDataItem* live = Shown();
    CListeningRegion onSelection(live), onMarkers(live->GetLapMarkers());
    CompleteALap(Sim, live->GetSelection());
    EXPECT_EQ((std::vector<DWORD>{LapListStale}), onMarkers.Heard);
    EXPECT_EQ(1, std::count(onSelection.Heard.begin(), onSelection.Heard.end(), SelectionEventSetsStale));
}

// Running, the window follows the data; in a local pause a refresh says only
// that the window moved. The mode is brought up to date at the report itself. In the host's pause
// the wish to run stays, but a moved window is not followed either.
TEST_F(RTCLapMarkers, ANewTimeRangeMovesTheWindowOnlyWhileTheChartRunsAndHasATask)
{
    EXPECT_TRUE(WindowMovesWithTheData()) << "running";
    EXPECT_EQ(DataEnd(), Shown()->GetEndTime());
    LocalPause();
    EXPECT_FALSE(WindowMovesWithTheData()) << "local pause";
    {
        CListeningRegion task(&Task());
        Shown()->RefreshWindow();
        EXPECT_EQ(std::vector<DWORD>{TaskWindowMoved}, task.Heard);
    }
    Chart->Running = 1;
    Task().NotifyChange(TaskControlModeStale, 0);
    EXPECT_TRUE(WindowMovesWithTheData()) << "the wish to run again";
    HostRuns(false);
    CListeningRegion task(&Task());
    Advance(10 * Second);
    Shown()->RefreshWindow();
    EXPECT_TRUE(task.HeardAny(TaskWindowMoved));
    EXPECT_FALSE(task.HeardAny(TaskLiveRangeStale));
}

// Start and progress change nothing; a late report reaches an item that watches nothing, and
// takes nothing off twice.
TEST_F(LapMarkers, TheEndOrFailureOfAWatchedTransactionTakesTheSinkOffOnce)
{
    CDataSelectionDataItem selection(HostSelection(SessionIndex), nullptr, SessionIndex);
    CTestLapMarkers<CRTCLapMarkersDataItem> markers(&selection);
    for (bool fails : {false, true}) {
        CComPtr<CKeepingSourceObject> transaction;
        CComPtr<IQvxTransactionNotifications> sink = Watch(markers, transaction);
        EXPECT_EQ(S_OK, sink->OnTransactionStarted(nullptr));
        EXPECT_EQ(S_OK, sink->OnTransactionProgress(nullptr, 50));
        EXPECT_TRUE(transaction->Unadvised.empty());
        const auto finish = [&](const wchar_t* text) {
            return fails ? sink->OnTransactionFailed(nullptr, CBstr(text).Get()) : sink->OnTransactionEnded(nullptr);
        };
        EXPECT_EQ(S_OK, finish(NotSaved));
        EXPECT_EQ((std::vector<ULONG>{41}), transaction->Unadvised);
        EXPECT_EQ(S_OK, finish(nullptr));
        EXPECT_EQ(1u, transaction->Unadvised.size());
    }
    EXPECT_EQ((std::vector<std::wstring>{NotSaved, L""}), markers.Shown);
}

TEST_F(LapMarkers, AFailureShowsAnErrorBoxOverTheControlsWindow)
{
    CContainerWindow container;
    CComPtr<IQvxLinnographCtl4> control;
    CTestChartCtl* chart = CreateTestChart(control);
    chart->Window = container.Window;
    {
        CTaskDataItem task(chart);
        CDataSelectionDataItem selection(HostSelection(SessionIndex), &task, SessionIndex);
        CTestLapMarkers<CLapMarkersDataItem> markers(&selection);
        markers.ShowsFailures = true;
        CComPtr<CKeepingSourceObject> transaction;
        CComPtr<IQvxTransactionNotifications> sink = Watch(markers, transaction);
        // The box is modal: another thread finds it by its title, reads it and closes it.
        HWND box = nullptr, owner = nullptr;
        wchar_t text[64] = {};
        std::thread closer([&] {
            for (int wait = 0; wait < 500 && !(box = FindWindowW(L"#32770", L"Morvane")); ++wait) Sleep(20);
            owner = box ? GetWindow(box, GW_OWNER) : nullptr;
            if (box) GetDlgItemTextW(box, 0xFFFF, text, 64);
            if (box) PostMessageW(box, WM_COMMAND, IDOK, 0);
        });
        EXPECT_EQ(S_OK, sink->OnTransactionFailed(nullptr, CBstr(NotSaved).Get()));
        closer.join();
        EXPECT_EQ(container.Window, owner);
        EXPECT_EQ(std::wstring(NotSaved), text);
    }
    chart->Window = nullptr;
}

// The host objects still hold the sinks: a late report calls nothing and succeeds.
TEST_F(LapMarkers, AnItemThatGoesTakesItsSinksOffAndALateReportReachesNothing)
{
    CDataSelectionDataItem session(HostSelection(SessionIndex), nullptr, SessionIndex);
    CComPtr<CTestLaps> laps = MakeObject<CTestLaps, IQvxLaps>();
    laps->Laps = {{10 * Second, 1}};
    CDataSelectionDataItem selection(SelectionWith(laps), nullptr, 1);
    CListeningRegion onSelection(&selection);
    const long sinks = SinkCount();
    CComPtr<CKeepingSourceObject> transaction;
    CComPtr<IQvxTransactionNotifications> late;
    {
        CTestLapMarkers<CLapMarkersDataItem> markers(&session), own(&selection);
        markers.GetMarkers();
        own.GetMarkers();
        late = Watch(markers, transaction);
        EXPECT_EQ(sinks + 1, SinkCount());
        // The lap object found again: the transaction goes with the old one.
        markers.NotifyChange(LapSourceStale, 0);
        markers.GetMarkers();
        EXPECT_EQ(1u, transaction->Unadvised.size());
    }
    EXPECT_EQ(sinks, SinkCount());
    EXPECT_EQ(1u, transaction->Unadvised.size());
    EXPECT_EQ((std::vector<ULONG>{41}), laps->Unadvised);
    EXPECT_EQ(S_OK, late->OnTransactionFailed(nullptr, CBstr(L"late").Get()));
    EXPECT_EQ(S_OK, laps->Notifications()->OnMarkersChanged(nullptr));
    EXPECT_TRUE(onSelection.Heard.empty());
}
