// Host attachment as a host does it: tasks attached by id, replaced and going away, and the news.
#include <gtest/gtest.h>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include "tests/SimTestSupport.h"
#include "items/ItemFlags.h"

namespace {

using Whats = std::vector<std::string>;
constexpr qvx::time Seconds = qvxtest::Second;

struct CHeard
{
    std::string What;
    CComPtr<IUnknown> Control, Subject;   // the subject is the task or the host
};

// A host's sink for the control's notifications.
class CRecorder : public CComRoot, public IQvxControlNotifications2
{
public:
    QVX_BEGIN_INTERFACES(CRecorder)
        QVX_INTERFACE(CRecorder, IQvxControlNotifications2),
        QVX_INTERFACE_VIA(CRecorder, IQvxControlNotifications, IQvxControlNotifications2),
    QVX_END_INTERFACES()

    STDMETHODIMP OnTaskChanged(IQvxControl* control, IQvxTask* task) override
    {
        Heard.push_back({"task", control, task});
        if (OnTask) OnTask(task);
        return S_OK;
    }
    STDMETHODIMP OnHostAttached(IQvxControl* control, IUnknown* host) override { return Record("host", control, host); }
    STDMETHODIMP OnChannelsChanged(IQvxControl* control) override { return Record("channels", control); }
    STDMETHODIMP OnActiveChanged(IQvxControl* control) override { return Record("active", control); }
    STDMETHODIMP OnEventSetsChanged(IQvxControl* control) override { return Record("eventsets", control); }

    Whats Names() const
    {
        Whats names;
        for (const CHeard& heard : Heard) names.push_back(heard.What);
        return names;
    }

    std::vector<CHeard> Heard;
    std::function<void(IQvxTask*)> OnTask;   // run inside the task news, as a host that reacts at once

private:
    HRESULT Record(const char* what, IUnknown* control, IUnknown* subject = nullptr)
    {
        Heard.push_back({what, control, subject});
        return S_OK;
    }
};

CComPtr<IQvxOrvid> MakeHost()
{
    CComPtr<IQvxOrvid> host;
    EXPECT_EQ(S_OK, CoCreateInstance(CLSID_QvxSimulatedHost, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IQvxOrvid),
                                     host.OutVoid()));
    return host;
}

class HostAttachment : public ::testing::Test, protected qvxtest::CTestHost
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(S_OK, StartHost());
        Empty = SinkCount();
        ASSERT_EQ(S_OK, CoCreateInstance(CLSID_LinnographCtl, nullptr, CLSCTX_INPROC_SERVER,
                                         __uuidof(IQvxControl3), Control.OutVoid()));
        // The chart listens to its own zoom stack, an object of the host's library, from the start.
        Baseline = SinkCount();
        AdviseRecorders(Control);
    }
    void TearDown() override { if (Sim) Sim->ClearFaults(); }

    // One recorder on each of the two control points.
    void AdviseRecorders(IUnknown* control)
    {
        CComPtr<IQvxNotifications> notifications;
        ASSERT_EQ(S_OK, notifications.QueryFrom(control, __uuidof(IQvxNotifications)));
        const IID* points[] = {&IID_IQvxControlNotifications, &IID_IQvxControlNotifications2};
        for (CComPtr<CRecorder>* recorder : {&First, &Second}) {
            CComPtr<IQvxControlNotifications2> sink;
            ASSERT_EQ(S_OK, CComObject<CRecorder>::CreateInstance(sink));
            *recorder = static_cast<CRecorder*>(sink.Get());
            ULONG cookie = 0;
            ASSERT_EQ(S_OK, notifications->Advise(*points[recorder == &Second], sink, &cookie));
        }
    }

    CComPtr<IQvxTask> HostTask(long id) { return qvxtest::TaskOfHost(Host, id); }
    // The host pauses task `id`; a control listening to that task asks for its run state twice:
    // once for its wish to run, once when its task item chooses the control mode.
    long RunStateQueriesOnPause(long id)
    {
        EXPECT_EQ(S_OK, Sim->ResetCallCounts());
        EXPECT_EQ(S_OK, Sim->SetRunning(id, VARIANT_FALSE));
        return Calls(L"IQvxTask.GetRunning");
    }
    CComPtr<IQvxTask> AttachedTask()
    {
        CComPtr<IQvxTask> task;
        EXPECT_EQ(S_OK, Control->GetTask(task.Out()));
        return task;
    }
    bool HasHost()
    {
        CComPtr<IQvxHost> application;
        return Control->GetHost(application.Out()) == S_OK && SameObject(application, Host);
    }
    void Attach(long task)
    {
        ASSERT_EQ(S_OK, Control->SetHost(Host));
        ASSERT_EQ(S_OK, Control->SetTaskById(task));
    }

    CComPtr<IQvxControl3> Control;
    CComPtr<CRecorder> First, Second;
    long Empty = 0, Baseline = 0;   // sinks on the substitute's objects before the control, and after
};

// A host is taken once and told to both points; a task by id needs a host and a task list that knows
// the id. Every refusal keeps what the control had.
TEST_F(HostAttachment, SetHostAndSetTaskByIdRefusalsKeepWhatTheControlHas)
{
    EXPECT_EQ(E_UNEXPECTED, Control->SetTaskById(1));
    EXPECT_EQ(E_INVALIDARG, Control->SetHost(nullptr));
    EXPECT_EQ(E_NOINTERFACE, Control->SetHost(static_cast<IQvxControlNotifications2*>(First.Get())));
    EXPECT_EQ(E_POINTER, Control->GetHost(nullptr));
    EXPECT_EQ(E_POINTER, Control->GetTask(nullptr));
    // A root that refuses the sink leaves the control without a host, but usable.
    Fault(L"IQvxNotifications.Advise", E_ACCESSDENIED);
    EXPECT_EQ(E_FAIL, Control->SetHost(Host));
    EXPECT_FALSE(HasHost());
    EXPECT_TRUE(Baseline == SinkCount() && First->Heard.empty());
    // A missing distance source is fetched at the root's next selections news, and only then.
    ASSERT_EQ(S_OK, Sim->ClearFaults());
    ASSERT_EQ(S_OK, Sim->ResetCallCounts());
    Fault(L"IQvxOrvid.GetDistanceSource", E_FAIL);
    ASSERT_EQ(S_OK, Control->SetHost(Host));
    ASSERT_EQ(S_OK, Sim->ClearFaults());
    for (const wchar_t* source : {L"GPS distance", L"Distance"}) {
        ASSERT_EQ(S_OK, Sim->ReplaceDistanceSource(CBstr(source).Get()));
        EXPECT_EQ(2, Calls(L"IQvxOrvid.GetDistanceSource"));
    }
    EXPECT_EQ(E_UNEXPECTED, Control->SetHost(Host)) << "a second host, even the same one";
    EXPECT_EQ(Baseline + 1, SinkCount());
    for (CRecorder* recorder : {First.Get(), Second.Get()})
        EXPECT_TRUE(recorder->Names() == Whats{"host"} && SameObject(recorder->Heard[0].Control, Control)
                    && SameObject(recorder->Heard[0].Subject, Host));
    EXPECT_TRUE(HasHost());
    ASSERT_EQ(S_OK, Control->SetTaskById(2));
    EXPECT_EQ(E_INVALIDARG, Control->SetTaskById(99));
    Fault(L"IQvxOrvid.GetTaskList", E_OUTOFMEMORY);
    EXPECT_EQ(E_FAIL, Control->SetTaskById(1));
    ASSERT_EQ(S_OK, Sim->ClearFaults());
    EXPECT_TRUE(SameObject(AttachedTask(), HostTask(2)));
    EXPECT_EQ((Whats{"host", "task"}), Second->Names());
}

// The control listens to its present task only, once, and both points hear of each change; a host
// that changes the task inside the news leaves the control listening to its last choice.
TEST_F(HostAttachment, AttachedTasksAreHeardOnceAndReplacedOnesNoMore)
{
    Attach(1);
    for (CRecorder* recorder : {First.Get(), Second.Get()})
        EXPECT_TRUE(recorder->Names() == (Whats{"host", "task"}) && SameObject(recorder->Heard[1].Control, Control)
                    && SameObject(recorder->Heard[1].Subject, HostTask(1)));
    EXPECT_EQ(2, RunStateQueriesOnPause(1));
    const long sinks = SinkCount();
    ASSERT_EQ(S_OK, Control->SetTaskById(1));
    EXPECT_EQ(sinks, SinkCount());
    ASSERT_EQ(S_OK, Sim->SetRunning(1, VARIANT_TRUE));
    EXPECT_EQ(2, RunStateQueriesOnPause(1));
    ASSERT_EQ(S_OK, Sim->SetRunning(1, VARIANT_TRUE));
    ASSERT_EQ(S_OK, Control->SetTaskById(2));
    EXPECT_TRUE(SameObject(AttachedTask(), HostTask(2)));
    EXPECT_EQ(0, RunStateQueriesOnPause(1));
    ASSERT_EQ(S_OK, Sim->SetRunning(1, VARIANT_TRUE));
    // Back to the first task, and at once to the second again from inside the news.
    bool once = false;
    First->OnTask = [&](IQvxTask*) { if (!std::exchange(once, true)) Control->SetTaskById(2); };
    ASSERT_EQ(S_OK, Control->SetTaskById(1));
    EXPECT_TRUE(SameObject(AttachedTask(), HostTask(2)));
    EXPECT_EQ(0, RunStateQueriesOnPause(1));
    EXPECT_EQ(2, RunStateQueriesOnPause(2));
}

// A host that closes takes its task away first, then itself; notifications in flight meanwhile
// reach nothing of the control's, and the control takes the next host.
TEST_F(HostAttachment, AHostThatClosesTakesItsTaskAndItselfAway)
{
    Attach(1);
    Second->OnTask = [&](IQvxTask* task) {
        if (task) return;
        Sim->SetTimeFormat(1);
        Sim->SetTimeDigits(5);
        Sim->ReplaceDistanceSource(CBstr(L"Lap distance").Get());
    };
    ASSERT_EQ(S_OK, Sim->Shutdown());
    EXPECT_EQ((Whats{"host", "task", "task"}), Second->Names());
    EXPECT_TRUE(!Second->Heard[2].Subject && !AttachedTask() && !HasHost());
    ASSERT_EQ(S_OK, Sim->SetTimeFormat(2));
    EXPECT_EQ(Baseline, SinkCount());
    EXPECT_EQ(S_OK, Control->SetHost(MakeHost()));
    EXPECT_EQ(S_OK, Control->SetTaskById(2));
}

// The chart linked in, whose memory is filled with a pattern rather than handed back when it is
// released: anything that uses the chart after its last release reads garbage and fails at once.
class CQuarantinedChart : public qvxtest::CTestChartCtl
{
public:
    static void operator delete(void* memory, std::size_t size) { std::memset(memory, 0xDD, size); }
    using CQvxControlBase::GetRootSink;
};

// A host that drops its last reference to the control inside the task news: the control stays
// until it is done, so the second point is still told, and then nothing of it stays advised.
TEST_F(HostAttachment, AHostThatLetsTheControlGoInsideTheTaskNewsIsStillServedToTheEnd)
{
    // The last row is told through the control's own sink, as a host that goes without closing its task.
    const char* rows[] = {"a task set by id", "the host closing", "the root going away with its task"};
    for (int row = 0; row < 3; ++row) {
        SCOPED_TRACE(rows[row]);
        CComPtr<IQvxOrvid> host = MakeHost();
        CComPtr<IQvxSimulation> simulation;
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
        EXPECT_EQ(S_OK, row == 0   ? chart.SetTaskById(2)
                        : row == 1 ? simulation->Shutdown()
                                   : chart.GetRootSink()->OnHostGoingAway(host));
        EXPECT_EQ(1, secondTold);
        long sinks = -1;
        EXPECT_EQ(S_OK, simulation->GetSinkCount(&sinks));
        EXPECT_EQ(Empty, sinks);
    }
}

// A new chart has its two pages and no names; its own factories, made by InitNew, stand on the
// host's defaults and follow the host when it replaces them, and go with the host.
TEST_F(HostAttachment, TheControlsPagesNamesAndFactories)
{
    using Get = HRESULT (STDMETHODCALLTYPE IQvxControl3::*)(IQvxDataNames**);
    const auto names = [&](Get get) {
        CComPtr<IQvxDataNames> list;
        long count = 0;
        std::wstring text;
        EXPECT_EQ(S_OK, (Control.Get()->*get)(list.Out()));
        EXPECT_EQ(S_OK, list->GetCount(&count));
        for (long i = 1; i <= count; ++i) {
            CBstr name;
            list->GetName(i, name.Out());
            text += std::wstring(name.View()) + L";";
        }
        return text;
    };
    EXPECT_EQ(L"QvxConfigurationPages.ChannelSelect;QvxConfigurationPages.EventSelect;|",
              names(&IQvxControl3::GetConfigurationPages) + L"|" + names(&IQvxControl3::GetChannelNames));
    CComPtr<IQvxPropertyFactory> channels, parent;
    CComPtr<IQvxGroupFactory> groups;
    EXPECT_EQ(S_FALSE, Control->GetGroupFactory(groups.Out()));
    EXPECT_FALSE(groups);
    ASSERT_EQ(S_OK, qvxtest::InitNew(Control));
    ASSERT_EQ(S_OK, Control->GetChannelPropertyFactory(channels.Out()));
    ASSERT_EQ(S_OK, Control->GetGroupFactory(groups.Out()));
    ASSERT_TRUE(channels && groups);
    // Each factory's parent is the host's default of its kind, as the host has it now; the channel
    // and group factories stand for the event factory too.
    const auto parentsAreTheHosts = [&] {
        CComPtr<IQvxPropertyFactory> channelDefaults, channelParent;
        CComPtr<IQvxGroupFactory> groupDefaults, groupParent;
        Host->GetChannelDefaults(channelDefaults.Out());
        Host->GetGroupDefaults(groupDefaults.Out());
        channels->GetParent(channelParent.Out());
        groups->GetParent(groupParent.Out());
        return channelDefaults && SameObject(channelDefaults, channelParent) && groupDefaults
               && SameObject(groupDefaults, groupParent);
    };
    EXPECT_FALSE(parentsAreTheHosts());
    ASSERT_EQ(S_OK, Control->SetHost(Host));
    EXPECT_TRUE(parentsAreTheHosts());
    ASSERT_EQ(S_OK, Sim->ReplaceChannelDefaults());
    ASSERT_EQ(S_OK, Sim->ReplaceGroupDefaults());
    EXPECT_TRUE(parentsAreTheHosts());
    ASSERT_EQ(S_OK, Sim->Shutdown());
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
        ASSERT_EQ(S_OK, CComObject<qvxtest::CLiveChartCtl>::CreateInstance(Owner));
        Chart = static_cast<qvxtest::CLiveChartCtl*>(Owner.Get());
        ASSERT_EQ(S_OK, Owner.As(Control));
        AdviseRecorders(Owner);
        Baseline = SinkCount();
    }
    // The task item's flags among `mask` that an action raises.
    DWORD FlagsRaisedBy(const std::function<void()>& action, DWORD mask = ~0u)
    {
        Chart->TaskItem->Flags = 0;
        action();
        return Chart->TaskItem->Flags & mask;
    }

    CComPtr<IQvxLinnographCtl4> Owner;
    qvxtest::CLiveChartCtl* Chart = nullptr;
};

// The receivers flag the task item (what the run state and the cursor do is the control modes' test).
TEST_F(LinkedHostAttachment, TheHostsNewsFlagTheTaskItem)
{
    Chart->FireActiveChanged();
    EXPECT_TRUE(First->Names() == Whats{"active"} && Second->Names() == Whats{"active"});
    ASSERT_EQ(S_OK, Control->SetHost(Host));
    EXPECT_EQ(TaskTimeFormatStale, FlagsRaisedBy([&] { Sim->SetTimeFormat(1); }));
    EXPECT_EQ(TaskTimeDigitsStale, FlagsRaisedBy([&] { Sim->SetTimeDigits(5); }));
    // Attaching gives the task to the task item with a fresh stack; the selections were stale
    // too, and have been rebuilt for the new task already.
    IQvxZoomStack* before = Chart->TaskItem->GetZoomStack();
    const DWORD attached = TaskCursorStale | TaskControlModeStale | TaskTimeRangeStale;
    EXPECT_EQ(attached, FlagsRaisedBy([&] { Control->SetTaskById(1); }, attached));
    CComPtr<IQvxTask> task = HostTask(1);
    EXPECT_TRUE(SameObject(Chart->TaskItem->GetTask(), task));
    EXPECT_TRUE(Chart->TaskItem->GetZoomStack() && before != Chart->TaskItem->GetZoomStack());
    const DWORD added = TaskTimeRangeStale | TaskDistanceRangeStale | TaskSelectionsStale | TaskActiveStale;
    EXPECT_EQ(added, FlagsRaisedBy([&] { Sim->AddDataSelection(1, 7, 600'000'000, VARIANT_FALSE); }, added));
    EXPECT_EQ(TaskActiveStale, FlagsRaisedBy([&] { task->SetCurrentDataSelection(2); }, TaskActiveStale));
}

// A task closed alone, or a root going without closing its tasks, detaches what went; the next
// task's stack retains the historic span, or the data span when that is wider.
TEST_F(LinkedHostAttachment, ATaskOrRootGoingAwayDetachesWhatWentAndTheNextTaskIsServed)
{
    ASSERT_EQ(S_OK, Control->SetHost(Host));
    for (bool root : {false, true}) {
        SCOPED_TRACE(root ? "root" : "task");
        ASSERT_EQ(S_OK, Control->SetTaskById(1));
        First->Heard.clear();
        if (root) Chart->OnHostGoingAway(Host);
        else Chart->OnTaskGoingAway(HostTask(1));
        EXPECT_TRUE(!AttachedTask() && !Chart->TaskItem->GetTask());
        ASSERT_EQ(Whats{"task"}, First->Names());
        EXPECT_EQ(nullptr, First->Heard[0].Subject.Get());
        EXPECT_EQ(0, RunStateQueriesOnPause(1));
        EXPECT_EQ(!root, HasHost());
    }
    EXPECT_EQ(Baseline, SinkCount());
    Attach(2);   // the archive, whose selection is 120 seconds long
    EXPECT_EQ(2, RunStateQueriesOnPause(2));
    ASSERT_EQ(S_OK, Owner->put_HistoricDataTimeSpan(50 * Seconds));
    IQvxZoomStack* stack = Chart->TaskItem->GetZoomStack();
    ASSERT_TRUE(stack);
    ASSERT_EQ(S_OK, stack->SetTask(HostTask(2)));
    for (const auto& [data, retained] : {std::pair{10 * Seconds, 50 * Seconds}, {80 * Seconds, 80 * Seconds}}) {
        ASSERT_EQ(S_OK, Owner->put_DataTimeSpan(data));
        qvx::time span = 0;
        ASSERT_EQ(S_OK, stack->GetFullTimeSpan(&span));
        EXPECT_EQ(retained, span) << data;
    }
}
} // namespace
