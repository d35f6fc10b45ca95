// Host attachment as a host does it: the control and the substitute host made through COM, the
// host given to the control, tasks attached by id, replaced and going away, and the control's
// notifications heard by sinks advised on it. The substitute's call counters and its count of
// advised sinks show what the control asked and what it still listens to.
#include <gtest/gtest.h>
#include <cstring>
#include <functional>
#include <string>
#include <vector>
#include "com/AutomationTypes.h"
#include "tests/ChartFrameTestSupport.h"
#include "com/ComObject.h"
#include "config/PropertyFactoryNotifications.h"
#include "items/ItemFlags.h"
#include "Linnograph.h"
#include "QvxSim.h"

namespace {

// The chart linked in, with the flag that the host's run state reaches open to the test.
class CAttachChartCtl : public qvxtest::CTestChartCtl
{
public:
    using CBaseChartCtl::Running;
};

struct CHeard
{
    std::string What;
    CComPtr<IUnknown> Control;
    CComPtr<IUnknown> Subject;   // the task or the host
};

// A host's sink for the control's notifications; `name` tells the two points apart.
class CRecorder : public CComRoot, public IQvxControlNotifications2
{
public:
    QVX_BEGIN_INTERFACES(CRecorder)
        QVX_INTERFACE(CRecorder, IQvxControlNotifications2),
        QVX_INTERFACE_VIA(CRecorder, IQvxControlNotifications, IQvxControlNotifications2),
    QVX_END_INTERFACES()

    STDMETHODIMP OnTaskChanged(IQvxControl* control, IQvxTask* task) override
    {
        Record("task", control, task);
        if (OnTask) OnTask(task);
        return S_OK;
    }
    STDMETHODIMP OnHostAttached(IQvxControl* control, IUnknown* host) override { return Record("host", control, host); }
    STDMETHODIMP OnChannelsChanged(IQvxControl* control) override { return Record("channels", control, nullptr); }
    STDMETHODIMP OnActiveChanged(IQvxControl* control) override { return Record("active", control, nullptr); }
    STDMETHODIMP OnEventSetsChanged(IQvxControl* control) override { return Record("eventsets", control, nullptr); }

    std::vector<CHeard> Heard;
    // Called inside the task notification, as a host that reacts at once would.
    std::function<void(IQvxTask*)> OnTask;

private:
    HRESULT Record(const char* what, IUnknown* control, IUnknown* subject)
    {
        Heard.push_back({what, control, subject});
        return S_OK;
    }
};

CComPtr<CRecorder> MakeRecorder()
{
    CComPtr<IQvxControlNotifications2> sink;
    EXPECT_EQ(S_OK, CComObject<CRecorder>::CreateInstance(sink));
    return static_cast<CRecorder*>(sink.Get());
}

std::vector<std::string> Whats(const CRecorder& recorder)
{
    std::vector<std::string> whats;
    for (const CHeard& heard : recorder.Heard) whats.push_back(heard.What);
    return whats;
}

class HostAttachment : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(S_OK, CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
        ASSERT_EQ(S_OK, CoCreateInstance(CLSID_QvxSimulatedHost, nullptr, CLSCTX_INPROC_SERVER,
                                         __uuidof(IQvxOrvid), Host.OutVoid()));
        ASSERT_EQ(S_OK, Host.As(Simulation));
        ASSERT_EQ(S_OK, Simulation->GetSinkCount(&Empty));
        ASSERT_EQ(S_OK, CoCreateInstance(CLSID_LinnographCtl, nullptr, CLSCTX_INPROC_SERVER,
                                         __uuidof(IQvxControl3), Control.OutVoid()));
        // The chart listens to its own zoom stack, an object of the host's library, from the start.
        ASSERT_EQ(S_OK, Simulation->GetSinkCount(&Baseline));
        AdviseRecorders(Control);
    }
    void TearDown() override
    {
        Control = nullptr;
        First = Second = nullptr;
        if (Simulation) Simulation->ClearFaults();
        Simulation = nullptr;
        Host = nullptr;
        CoUninitialize();
    }

    // One recorder on each of the two control points.
    void AdviseRecorders(IUnknown* control)
    {
        CComPtr<IQvxNotifications> notifications;
        ASSERT_EQ(S_OK, notifications.QueryFrom(control, __uuidof(IQvxNotifications)));
        First = MakeRecorder();
        Second = MakeRecorder();
        ULONG cookie = 0;
        ASSERT_EQ(S_OK, notifications->Advise(IID_IQvxControlNotifications,
                                              static_cast<IQvxControlNotifications2*>(First.Get()), &cookie));
        ASSERT_EQ(S_OK, notifications->Advise(IID_IQvxControlNotifications2,
                                              static_cast<IQvxControlNotifications2*>(Second.Get()), &cookie));
    }

    CComPtr<IQvxTask> HostTask(long id) { return qvxtest::TaskOfHost(Host, id); }

    long Sinks()
    {
        long count = -1;
        EXPECT_EQ(S_OK, Simulation->GetSinkCount(&count));
        return count;
    }

    long Calls(const wchar_t* operation)
    {
        CBstr name(operation);
        long count = -1;
        EXPECT_EQ(S_OK, Simulation->GetCallCount(name.Get(), &count));
        return count;
    }

    void Fault(const wchar_t* operation, HRESULT status)
    {
        CBstr name(operation);
        ASSERT_EQ(S_OK, Simulation->SetFault(name.Get(), status));
    }

    // The host pauses task `id`; the control, if it listens to that task, asks for its run state
    // twice: once for its wish to run, once when its task item chooses the control mode.
    long RunStateQueriesOnPause(long id)
    {
        EXPECT_EQ(S_OK, Simulation->ResetCallCounts());
        EXPECT_EQ(S_OK, Simulation->SetRunning(id, VARIANT_FALSE));
        return Calls(L"IQvxTask.GetRunning");
    }

    CComPtr<IQvxTask> AttachedTask()
    {
        CComPtr<IQvxTask> task;
        EXPECT_EQ(S_OK, Control->GetTask(task.Out()));
        return task;
    }

    CComPtr<IQvxOrvid> Host;
    CComPtr<IQvxSimulation> Simulation;
    CComPtr<IQvxControl3> Control;
    CComPtr<CRecorder> First;
    CComPtr<CRecorder> Second;
    // Sinks advised on the substitute's objects before the control exists, and after.
    long Empty = 0;
    long Baseline = 0;
};

TEST_F(HostAttachment, SetHostSubscribesToTheRootTellsBothPointsAndIsOnceOnly)
{
    CComPtr<IQvxControl> first;
    ASSERT_EQ(S_OK, Control.As(first));
    EXPECT_TRUE(SameObject(first, Control)) << "the three control interfaces are one table";
    EXPECT_EQ(E_INVALIDARG, Control->SetHost(nullptr));
    EXPECT_EQ(E_NOINTERFACE, Control->SetHost(static_cast<IQvxControlNotifications2*>(First.Get())));
    CComPtr<IQvxHost> application;
    EXPECT_EQ(E_UNEXPECTED, Control->GetHost(application.Out()));
    EXPECT_EQ(E_POINTER, Control->GetHost(nullptr));
    EXPECT_TRUE(First->Heard.empty());

    ASSERT_EQ(S_OK, Control->SetHost(Host));
    EXPECT_EQ(Baseline + 1, Sinks());
    EXPECT_EQ(1, Calls(L"IQvxOrvid.GetDistanceSource"));
    for (CRecorder* recorder : {First.Get(), Second.Get()}) {
        ASSERT_EQ(std::vector<std::string>{"host"}, Whats(*recorder));
        EXPECT_TRUE(SameObject(recorder->Heard[0].Control, Control));
        EXPECT_TRUE(SameObject(recorder->Heard[0].Subject, Host));
    }
    ASSERT_EQ(S_OK, Control->GetHost(application.Out()));
    EXPECT_TRUE(SameObject(application, Host));

    // A second host, even the same one, is refused and changes nothing.
    CComPtr<IQvxOrvid> other;
    ASSERT_EQ(S_OK, CoCreateInstance(CLSID_QvxSimulatedHost, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IQvxOrvid),
                                     other.OutVoid()));
    EXPECT_EQ(E_UNEXPECTED, Control->SetHost(other));
    EXPECT_EQ(E_UNEXPECTED, Control->SetHost(Host));
    EXPECT_EQ(Baseline + 1, Sinks());
    EXPECT_EQ(std::vector<std::string>{"host"}, Whats(*First));
}

TEST_F(HostAttachment, ARootThatRefusesTheSinkLeavesTheControlWithoutHostButUsable)
{
    Fault(L"IQvxNotifications.Advise", E_ACCESSDENIED);
    EXPECT_EQ(E_FAIL, Control->SetHost(Host));
    CComPtr<IQvxHost> application;
    EXPECT_EQ(E_UNEXPECTED, Control->GetHost(application.Out()));
    EXPECT_TRUE(First->Heard.empty());
    EXPECT_EQ(Baseline, Sinks());
    ASSERT_EQ(S_OK, Simulation->ClearFaults());
    EXPECT_EQ(S_OK, Control->SetHost(Host));
    EXPECT_EQ(Baseline + 1, Sinks());
}

// A task by id needs a host and a task list; an id that the list does not know keeps the task.
TEST_F(HostAttachment, SetTaskByIdRefusalsKeepThePresentTask)
{
    EXPECT_EQ(E_UNEXPECTED, Control->SetTaskById(1));
    EXPECT_EQ(0, Calls(L"GetTaskList"));
    EXPECT_EQ(E_POINTER, Control->GetTask(nullptr));
    ASSERT_EQ(S_OK, Control->SetHost(Host));
    ASSERT_EQ(S_OK, Control->SetTaskById(2));
    EXPECT_EQ(E_INVALIDARG, Control->SetTaskById(99));
    Fault(L"IQvxOrvid.GetTaskList", E_OUTOFMEMORY);
    EXPECT_EQ(E_FAIL, Control->SetTaskById(1));
    ASSERT_EQ(S_OK, Simulation->ClearFaults());
    EXPECT_TRUE(SameObject(AttachedTask(), HostTask(2)));
    EXPECT_EQ((std::vector<std::string>{"host", "task"}), Whats(*Second));
}

// The control listens to its present task only, once, and both points hear of each change.
TEST_F(HostAttachment, AttachedTasksAreHeardOnceAndReplacedOnesNoMore)
{
    ASSERT_EQ(S_OK, Control->SetHost(Host));
    ASSERT_EQ(S_OK, Control->SetTaskById(1));
    for (CRecorder* recorder : {First.Get(), Second.Get()}) {
        ASSERT_EQ((std::vector<std::string>{"host", "task"}), Whats(*recorder));
        EXPECT_TRUE(SameObject(recorder->Heard[1].Control, Control));
        EXPECT_TRUE(SameObject(recorder->Heard[1].Subject, HostTask(1)));
    }
    // The host pauses: the control hears it on its task sink and asks for the run state.
    EXPECT_EQ(2, RunStateQueriesOnPause(1));
    const long sinks = Sinks();
    ASSERT_EQ(S_OK, Control->SetTaskById(1));
    EXPECT_EQ(sinks, Sinks());
    ASSERT_EQ(S_OK, Simulation->SetRunning(1, VARIANT_TRUE));
    EXPECT_EQ(2, RunStateQueriesOnPause(1));
    ASSERT_EQ(S_OK, Simulation->SetRunning(1, VARIANT_TRUE));
    ASSERT_EQ(S_OK, Control->SetTaskById(2));
    EXPECT_TRUE(SameObject(AttachedTask(), HostTask(2)));
    EXPECT_TRUE(SameObject(First->Heard.back().Subject, HostTask(2)));
    EXPECT_EQ(0, RunStateQueriesOnPause(1));
    EXPECT_EQ(2, RunStateQueriesOnPause(2));
}

TEST_F(HostAttachment, AHostThatChangesTheTaskInsideTheNewsListensToItsLastChoice)
{
    ASSERT_EQ(S_OK, Control->SetHost(Host));
    bool once = false;
    First->OnTask = [&](IQvxTask*) {
        if (once) return;
        once = true;
        EXPECT_EQ(S_OK, Control->SetTaskById(2));
    };
    ASSERT_EQ(S_OK, Control->SetTaskById(1));
    EXPECT_TRUE(SameObject(AttachedTask(), HostTask(2)));
    EXPECT_EQ(0, RunStateQueriesOnPause(1));
    EXPECT_EQ(2, RunStateQueriesOnPause(2));
}

TEST_F(HostAttachment, AHostThatClosesTakesItsTaskAndItselfAway)
{
    ASSERT_EQ(S_OK, Control->SetHost(Host));
    ASSERT_EQ(S_OK, Control->SetTaskById(1));
    ASSERT_EQ(S_OK, Simulation->Shutdown());
    // The task went first, as the host closed it, then the host root.
    EXPECT_EQ((std::vector<std::string>{"host", "task", "task"}), Whats(*Second));
    EXPECT_EQ(nullptr, Second->Heard[2].Subject.Get());
    EXPECT_EQ(nullptr, AttachedTask().Get());
    CComPtr<IQvxHost> application;
    EXPECT_EQ(E_UNEXPECTED, Control->GetHost(application.Out()));
    EXPECT_EQ(Baseline, Sinks());
    // Late notifications reach nothing of the control's.
    ASSERT_EQ(S_OK, Simulation->SetTimeFormat(2));
    EXPECT_EQ(Baseline, Sinks());
    // Without a host, the control takes the next one.
    CComPtr<IQvxOrvid> next;
    ASSERT_EQ(S_OK, CoCreateInstance(CLSID_QvxSimulatedHost, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IQvxOrvid),
                                     next.OutVoid()));
    EXPECT_EQ(S_OK, Control->SetHost(next));
    EXPECT_EQ(S_OK, Control->SetTaskById(2));
}

TEST_F(HostAttachment, NotificationsInFlightWhileTheHostClosesAreHarmless)
{
    ASSERT_EQ(S_OK, Control->SetHost(Host));
    ASSERT_EQ(S_OK, Control->SetTaskById(1));
    // While the control lets its task go, the host tells of more changes of the root.
    Second->OnTask = [&](IQvxTask* task) {
        if (task) return;
        Simulation->SetTimeFormat(1);
        Simulation->SetTimeDigits(5);
        Simulation->ReplaceDistanceSource(CBstr(L"Lap distance").Get());
    };
    ASSERT_EQ(S_OK, Simulation->Shutdown());
    EXPECT_EQ(nullptr, AttachedTask().Get());
    EXPECT_EQ(Baseline, Sinks());
}

// The chart linked in, whose memory is never handed back once it is released but filled with a
// pattern: anything that uses the chart after its last release reads garbage and fails at once.
class CQuarantinedChart : public qvxtest::CTestChartCtl
{
public:
    static void operator delete(void* memory, std::size_t size) { std::memset(memory, 0xDD, size); }
};

// A host that drops its last reference to the control inside the task news: the control stays
// until it is done, so the second point is still told, and once it goes nothing of it stays
// advised on the host's objects.
TEST_F(HostAttachment, AHostThatLetsTheControlGoInsideTheTaskNewsIsStillServedToTheEnd)
{
    struct CRow
    {
        const char* Name;
        std::function<HRESULT(CQuarantinedChart&, IQvxOrvid*, IQvxSimulation*)> Trigger;
    };
    const CRow rows[] = {
        {"a task set by id", [](CQuarantinedChart& chart, IQvxOrvid*, IQvxSimulation*) { return chart.SetTaskById(2); }},
        {"the host closing", [](CQuarantinedChart&, IQvxOrvid*, IQvxSimulation* simulation) { return simulation->Shutdown(); }},
        {"the root going away with its task", [](CQuarantinedChart& chart, IQvxOrvid* host, IQvxSimulation*) {
             chart.OnHostGoingAway(host);
             return S_OK;
         }},
    };
    for (const CRow& row : rows) {
        SCOPED_TRACE(row.Name);
        CComPtr<IQvxOrvid> host;
        CComPtr<IQvxSimulation> simulation;
        ASSERT_EQ(S_OK, CoCreateInstance(CLSID_QvxSimulatedHost, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IQvxOrvid),
                                         host.OutVoid()));
        ASSERT_EQ(S_OK, host.As(simulation));
        CComPtr<IQvxLinnographCtl4> made;
        ASSERT_EQ(S_OK, CComObject<CQuarantinedChart>::CreateInstance(made));
        CQuarantinedChart& chart = *static_cast<CQuarantinedChart*>(made.Get());
        ASSERT_EQ(S_OK, made.As(Control));
        made = nullptr;
        AdviseRecorders(Control);
        ASSERT_EQ(S_OK, Control->SetHost(host));
        ASSERT_EQ(S_OK, Control->SetTaskById(1));
        // Neither recorder keeps what it heard: the control's last reference goes inside the news.
        int secondTold = 0;
        First->OnTask = [&](IQvxTask*) {
            First->Heard.clear();
            Second->Heard.clear();
            Control = nullptr;
        };
        Second->OnTask = [&](IQvxTask*) {
            ++secondTold;
            Second->Heard.clear();
        };
        EXPECT_EQ(S_OK, row.Trigger(chart, host, simulation));
        EXPECT_EQ(1, secondTold);
        long sinks = -1;
        EXPECT_EQ(S_OK, simulation->GetSinkCount(&sinks));
        EXPECT_EQ(Empty, sinks);
    }
}

// Asked how many uses the chart still has of an event property set, a sink answers 0 whether
// its receiver counts none or it has been cut off; a null answer pointer is refused.
TEST(EventFactorySink, AnswersNoUsesUnlessItsReceiverCountsSome)
{
    struct CNoCount : CEventPropertyFactoryNotificationsReceiver
    {
    } receiver;
    using CSink = CEventPropertyFactoryNotificationsSink<CBaseSingleSourceSink<IQvxEventPropertyFactoryNotifications>>;
    for (CEventPropertyFactoryNotificationsReceiver* row : {static_cast<CEventPropertyFactoryNotificationsReceiver*>(&receiver),
                                                           static_cast<CEventPropertyFactoryNotificationsReceiver*>(nullptr)}) {
        SCOPED_TRACE(row ? "receiver" : "cut off");
        CComPtr<CSink> sink = CreateSink<CSink>(row);
        ASSERT_TRUE(sink);
        long uses = 77;
        EXPECT_EQ(S_OK, sink->QueryPropertySetUses(nullptr, CBstr(L"Events").Get(), &uses));
        EXPECT_EQ(0, uses);
        EXPECT_EQ(E_POINTER, sink->QueryPropertySetUses(nullptr, CBstr(L"Events").Get(), nullptr));
    }
}

TEST_F(HostAttachment, TheRootsSelectionsNewsFetchesAMissingDistanceSource)
{
    Fault(L"IQvxOrvid.GetDistanceSource", E_FAIL);
    ASSERT_EQ(S_OK, Control->SetHost(Host));
    ASSERT_EQ(S_OK, Simulation->ClearFaults());
    ASSERT_EQ(S_OK, Simulation->ResetCallCounts());
    ASSERT_EQ(S_OK, Simulation->ReplaceDistanceSource(CBstr(L"GPS distance").Get()));
    EXPECT_EQ(1, Calls(L"IQvxOrvid.GetDistanceSource"));
    // Once the control has one, the same news asks for nothing.
    ASSERT_EQ(S_OK, Simulation->ReplaceDistanceSource(CBstr(L"Distance").Get()));
    EXPECT_EQ(1, Calls(L"IQvxOrvid.GetDistanceSource"));
}

TEST_F(HostAttachment, ANewChartHasItsPagesAndNoNamesNorFactories)
{
    CComPtr<IQvxDataNames> pages;
    ASSERT_EQ(S_OK, Control->GetConfigurationPages(pages.Out()));
    long count = 0;
    ASSERT_EQ(S_OK, pages->GetCount(&count));
    ASSERT_EQ(2, count);
    CBstr first, second;
    ASSERT_EQ(S_OK, pages->GetName(1, first.Out()));
    ASSERT_EQ(S_OK, pages->GetName(2, second.Out()));
    EXPECT_STREQ(L"QvxConfigurationPages.ChannelSelect", first.Get());
    EXPECT_STREQ(L"QvxConfigurationPages.EventSelect", second.Get());
    EXPECT_EQ(E_POINTER, Control->GetConfigurationPages(nullptr));
    using Names = HRESULT (STDMETHODCALLTYPE IQvxControl3::*)(IQvxDataNames**);
    const Names lists[] = {&IQvxControl3::GetActiveChannelName, &IQvxControl3::GetChannelNames,
                           &IQvxControl3::GetEventNames};
    for (Names names : lists) {
        CComPtr<IQvxDataNames> list;
        ASSERT_EQ(S_OK, (Control.Get()->*names)(list.Out()));
        count = -1;
        ASSERT_EQ(S_OK, list->GetCount(&count));
        EXPECT_EQ(0, count);
    }
    CComPtr<IQvxPropertyFactory> channels;
    CComPtr<IQvxEventPropertyFactory> events;
    CComPtr<IQvxGroupFactory> groups;
    EXPECT_EQ(S_FALSE, Control->GetChannelPropertyFactory(channels.Out()));
    EXPECT_EQ(S_FALSE, Control->GetEventPropertyFactory(events.Out()));
    EXPECT_EQ(S_FALSE, Control->GetGroupFactory(groups.Out()));
    EXPECT_FALSE(channels || events || groups);
}

// The control's own factories, made by InitNew, take the host's defaults as their parents and
// follow the host when it replaces them.
TEST_F(HostAttachment, TheControlsFactoriesStandOnTheHostsDefaults)
{
    CComPtr<IPersistStreamInit> persist;
    ASSERT_EQ(S_OK, persist.QueryFrom(Control, __uuidof(IPersistStreamInit)));
    ASSERT_EQ(S_OK, persist->InitNew());
    CComPtr<IQvxPropertyFactory> channels;
    CComPtr<IQvxEventPropertyFactory> events;
    CComPtr<IQvxGroupFactory> groups;
    ASSERT_EQ(S_OK, Control->GetChannelPropertyFactory(channels.Out()));
    ASSERT_EQ(S_OK, Control->GetEventPropertyFactory(events.Out()));
    ASSERT_EQ(S_OK, Control->GetGroupFactory(groups.Out()));
    ASSERT_TRUE(channels && events && groups);
    EXPECT_EQ(E_POINTER, Control->GetGroupFactory(nullptr));

    const auto parentsAreTheHosts = [&] {
        CComPtr<IQvxPropertyFactory> channelDefaults, channelParent, eventParent;
        CComPtr<IQvxEventPropertyFactory> eventDefaults;
        CComPtr<IQvxGroupFactory> groupDefaults, groupParent;
        Host->GetChannelDefaults(channelDefaults.Out());
        Host->GetEventDefaults(eventDefaults.Out());
        Host->GetGroupDefaults(groupDefaults.Out());
        channels->GetParent(channelParent.Out());
        events->GetParent(eventParent.Out());
        groups->GetParent(groupParent.Out());
        return channelDefaults && SameObject(channelDefaults, channelParent) && eventDefaults
               && SameObject(eventDefaults, eventParent) && groupDefaults && SameObject(groupDefaults, groupParent);
    };
    EXPECT_FALSE(parentsAreTheHosts());
    ASSERT_EQ(S_OK, Control->SetHost(Host));
    EXPECT_TRUE(parentsAreTheHosts());
    ASSERT_EQ(S_OK, Simulation->ReplaceChannelDefaults());
    ASSERT_EQ(S_OK, Simulation->ReplaceEventDefaults());
    ASSERT_EQ(S_OK, Simulation->ReplaceGroupDefaults());
    EXPECT_TRUE(parentsAreTheHosts());
    // A host that goes takes its defaults along.
    ASSERT_EQ(S_OK, Simulation->Shutdown());
    CComPtr<IQvxPropertyFactory> parent;
    channels->GetParent(parent.Out());
    EXPECT_FALSE(parent);
}

// The chart linked in: what the receivers do to the task item, and the control's own firing.
class LinkedHostAttachment : public HostAttachment
{
protected:
    void SetUp() override
    {
        HostAttachment::SetUp();
        Control = nullptr;
        ASSERT_EQ(S_OK, CComObject<CAttachChartCtl>::CreateInstance(Owner));
        Chart = static_cast<CAttachChartCtl*>(Owner.Get());
        ASSERT_EQ(S_OK, Owner.As(Control));
        AdviseRecorders(Owner);
        ASSERT_EQ(S_OK, Simulation->GetSinkCount(&Baseline));
    }
    void TearDown() override
    {
        Chart = nullptr;
        Owner = nullptr;
        HostAttachment::TearDown();
    }

    // The task item's flags that a notification raises.
    template <class Action>
    DWORD FlagsRaisedBy(Action&& action)
    {
        Chart->TaskItem->Flags = 0;
        action();
        return Chart->TaskItem->Flags;
    }

    CComPtr<IQvxLinnographCtl4> Owner;
    CAttachChartCtl* Chart = nullptr;
};

TEST_F(LinkedHostAttachment, TheReceiversFlagTheTaskItemAndActiveChangedGoesToBothPoints)
{
    Chart->FireActiveChanged();
    EXPECT_EQ(std::vector<std::string>{"active"}, Whats(*First));
    EXPECT_EQ(std::vector<std::string>{"active"}, Whats(*Second));
    ASSERT_EQ(S_OK, Control->SetHost(Host));
    EXPECT_EQ(TaskTimeFormatStale, FlagsRaisedBy([&] { Simulation->SetTimeFormat(1); }));
    EXPECT_EQ(TaskTimeDigitsStale, FlagsRaisedBy([&] { Simulation->SetTimeDigits(5); }));
    ASSERT_EQ(S_OK, Control->SetTaskById(1));
    const DWORD added = FlagsRaisedBy([&] { Simulation->AddDataSelection(1, 7, 600'000'000, VARIANT_FALSE); });
    EXPECT_EQ(TaskTimeRangeStale | TaskDistanceRangeStale | TaskSelectionsStale | TaskActiveStale,
              added & (TaskTimeRangeStale | TaskDistanceRangeStale | TaskSelectionsStale | TaskActiveStale));
    CComPtr<IQvxTask> task = HostTask(1);
    EXPECT_EQ(TaskActiveStale, FlagsRaisedBy([&] { task->SetCurrentDataSelection(2); }) & TaskActiveStale);
}

TEST_F(LinkedHostAttachment, AttachingATaskGivesItToTheTaskItemWithAFreshStack)
{
    ASSERT_EQ(S_OK, Control->SetHost(Host));
    IQvxZoomStack* before = Chart->TaskItem->GetZoomStack();
    const DWORD raised = FlagsRaisedBy([&] { ASSERT_EQ(S_OK, Control->SetTaskById(1)); });
    EXPECT_TRUE(SameObject(Chart->TaskItem->GetTask(), HostTask(1)));
    EXPECT_NE(nullptr, Chart->TaskItem->GetZoomStack());
    EXPECT_NE(before, Chart->TaskItem->GetZoomStack());
    // The selections were stale too, and have been rebuilt for the new task already.
    EXPECT_EQ(TaskCursorStale | TaskControlModeStale | TaskTimeRangeStale,
              raised & (TaskCursorStale | TaskControlModeStale | TaskTimeRangeStale));
}

// A host that runs again ends a local pause; a run state that the task does not answer keeps
// the wish to run as it is and counts as the host's pause.
TEST_F(LinkedHostAttachment, AHostThatRunsAgainEndsALocalPause)
{
    ASSERT_EQ(S_OK, Control->SetHost(Host));
    ASSERT_EQ(S_OK, Control->SetTaskById(1));
    Chart->Running = 0;
    ASSERT_EQ(S_OK, Simulation->SetRunning(1, VARIANT_FALSE));
    EXPECT_EQ(0u, Chart->Running);
    Fault(L"IQvxTask.GetRunning", E_FAIL);
    ASSERT_EQ(S_OK, Simulation->SetRunning(1, VARIANT_TRUE));
    EXPECT_EQ(0u, Chart->Running);
    EXPECT_FALSE(Chart->TaskItem->GetMode().IsLocallyHeld());
    EXPECT_FALSE(Chart->TaskItem->GetMode().IsRunning());
    ASSERT_EQ(S_OK, Simulation->ClearFaults());
    ASSERT_EQ(S_OK, Simulation->SetRunning(1, VARIANT_FALSE));
    ASSERT_EQ(S_OK, Simulation->SetRunning(1, VARIANT_TRUE));
    EXPECT_EQ(1u, Chart->Running);
}

TEST_F(LinkedHostAttachment, ATaskGoingAwayAloneLeavesTheHostAttached)
{
    ASSERT_EQ(S_OK, Control->SetHost(Host));
    ASSERT_EQ(S_OK, Control->SetTaskById(1));
    CComPtr<IQvxTask> task = HostTask(1);
    // What the task's sink hands on when the host closes that task alone.
    Chart->OnTaskGoingAway(task);
    EXPECT_EQ(nullptr, AttachedTask().Get());
    EXPECT_EQ(nullptr, Chart->TaskItem->GetTask());
    EXPECT_EQ((std::vector<std::string>{"host", "task", "task"}), Whats(*First));
    EXPECT_EQ(nullptr, First->Heard[2].Subject.Get());
    EXPECT_EQ(0, RunStateQueriesOnPause(1));
    CComPtr<IQvxHost> application;
    EXPECT_EQ(S_OK, Control->GetHost(application.Out()));
    EXPECT_EQ(S_OK, Control->SetTaskById(2));
    EXPECT_EQ(2, RunStateQueriesOnPause(2));
}

TEST_F(LinkedHostAttachment, ARootGoingAwayWithItsTaskStillAttachedDetachesBoth)
{
    ASSERT_EQ(S_OK, Control->SetHost(Host));
    ASSERT_EQ(S_OK, Control->SetTaskById(1));
    // What the root's sink hands on from a host that does not close its tasks first.
    Chart->OnHostGoingAway(Host);
    EXPECT_EQ(nullptr, AttachedTask().Get());
    EXPECT_EQ((std::vector<std::string>{"host", "task", "task"}), Whats(*Second));
    CComPtr<IQvxHost> application;
    EXPECT_EQ(E_UNEXPECTED, Control->GetHost(application.Out()));
    EXPECT_EQ(Baseline, Sinks());
    EXPECT_EQ(0, RunStateQueriesOnPause(1));
}

TEST_F(LinkedHostAttachment, OnlyAChartInTheHostsPauseFollowsTheHostsCursor)
{
    ASSERT_EQ(S_OK, Control->SetHost(Host));
    ASSERT_EQ(S_OK, Control->SetTaskById(1));
    CComPtr<IQvxTask> task = HostTask(1);
    // Running: the chart holds its own cursor, which does not exist.
    Chart->OnCursorChanged(task, 3 * 10'000'000);
    EXPECT_EQ(0, Chart->TaskItem->GetCursorTime());
    ASSERT_EQ(S_OK, Simulation->SetRunning(1, VARIANT_FALSE));
    ASSERT_FALSE(Chart->TaskItem->GetMode().IsLocallyHeld());
    ASSERT_EQ(S_OK, task->SetCursorTime(4 * 10'000'000));
    EXPECT_EQ(4 * 10'000'000, Chart->TaskItem->GetCursorTime());
}

TEST_F(LinkedHostAttachment, TheTaskItemsStackRetainsTheControlsHistoricSpan)
{
    constexpr qvx::time Second = 10'000'000;
    ASSERT_EQ(S_OK, Control->SetHost(Host));
    // The archive's selection is 120 seconds long.
    ASSERT_EQ(S_OK, Control->SetTaskById(2));
    CComPtr<IQvxLinnographCtl4> chart;
    ASSERT_EQ(S_OK, Owner.As(chart));
    ASSERT_EQ(S_OK, chart->put_DataTimeSpan(10 * Second));
    ASSERT_EQ(S_OK, chart->put_HistoricDataTimeSpan(50 * Second));
    IQvxZoomStack* stack = Chart->TaskItem->GetZoomStack();
    ASSERT_TRUE(stack);
    // The stack measures the task's current selection.
    ASSERT_EQ(S_OK, stack->SetTask(HostTask(2)));
    qvx::time span = 0;
    ASSERT_EQ(S_OK, stack->GetFullTimeSpan(&span));
    EXPECT_EQ(50 * Second, span);
    // A wider window pulls the retained span along.
    ASSERT_EQ(S_OK, chart->put_DataTimeSpan(80 * Second));
    ASSERT_EQ(S_OK, stack->GetFullTimeSpan(&span));
    EXPECT_EQ(80 * Second, span);
}
} // namespace
