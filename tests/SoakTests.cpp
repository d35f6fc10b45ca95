// A hostile host, for a long seeded run: a chart in place, painted after every step while the
// substitute host fails calls, sends its news in bursts, late and out of order, takes channels,
// selections and tasks away and back, and lets go of the control inside its news. No scale may turn
// NaN, memory stays bounded, and at the end nothing of ours and no sink on the host is left.
// Options: --soak-seed=N replays a run, --soak-steps=N makes it longer, --soak-without="an action".
#include <gtest/gtest.h>
#include <windows.h>
#include <psapi.h>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>
#include "com/ComObject.h"
#include "config/TaskNotifications.h"
#include "items/ChannelDataItem.h"
#include "tests/LiveInPlaceSupport.h"
#include "QvxSim.h"

namespace {

using namespace qvxtest;

constexpr qvx::time Millisecond = 10'000;
constexpr SIZE_T MemoryAllowance = 96u << 20;

#ifndef SOAK_STEPS
#define SOAK_STEPS 150
#endif

// Without: an action left out, so that a fault it finds first hides no other.
struct CSoakSettings { unsigned Seed = 20261123; int Steps = SOAK_STEPS; std::string Without; } Settings;

// Where a run is, for the report of a crash.
struct CProgress { unsigned Seed = 0; int Step = 0; const char* Action = ""; } Progress;

LONG WINAPI ReportCrash(EXCEPTION_POINTERS* exception)
{
    std::printf("soak: crash 0x%08lx at step %d (%s); replay with --soak-seed=%u\n",
                exception->ExceptionRecord->ExceptionCode, Progress.Step, Progress.Action, Progress.Seed);
    std::fflush(stdout);
    // Ended here: a debugger that the system would start waits for no one.
    TerminateProcess(GetCurrentProcess(), exception->ExceptionRecord->ExceptionCode);
    return EXCEPTION_EXECUTE_HANDLER;
}

// A host's sink on the control's points. Armed, it acts inside the next news of the control:
// it lets go of the control, as a host that closes its view at once would, or has it paint, as
// a host that redraws its views at once would.
class CHostViewSink : public CComRoot, public IQvxControlNotifications2
{
public:
    QVX_BEGIN_INTERFACES(CHostViewSink)
        QVX_INTERFACE(CHostViewSink, IQvxControlNotifications2),
        QVX_INTERFACE_VIA(CHostViewSink, IQvxControlNotifications, IQvxControlNotifications2),
    QVX_END_INTERFACES()

    STDMETHODIMP OnTaskChanged(IQvxControl*, IQvxTask*) override
    {
        if (auto letGo = std::move(LetGo)) letGo();
        return Heard();
    }
    STDMETHODIMP OnHostAttached(IQvxControl*, IUnknown*) override { return Heard(); }
    STDMETHODIMP OnChannelsChanged(IQvxControl*) override { return Heard(); }
    STDMETHODIMP OnActiveChanged(IQvxControl*) override { return Heard(); }
    STDMETHODIMP OnEventSetsChanged(IQvxControl*) override { return Heard(); }

    std::function<void()> LetGo;     // on the next task news
    HWND PaintInside = nullptr;      // on the next news of any kind

private:
    HRESULT Heard()
    {
        if (HWND window = std::exchange(PaintInside, nullptr))
            RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW);
        return S_OK;
    }
};

// The chart of a run. Its memory is spoilt when it is freed, as a debugging heap does, so that a
// use after the last release fails there and then rather than reading what is left.
class CSoakChart : public CTestChartCtl
{
public:
    static void* operator new(std::size_t size, const std::nothrow_t&) noexcept
    {
        return ::operator new(size, std::nothrow);
    }
    static void operator delete(void* memory, const std::nothrow_t&) noexcept { ::operator delete(memory); }
    static void operator delete(void* memory, std::size_t size) noexcept
    {
        std::memset(memory, 0xDD, size);
        ::operator delete(memory);
    }
};

// Names of host operations; a fault on a name fails that operation of every interface.
const wchar_t* const Operations[] = {
    L"AddUse", L"Advise", L"FindSample", L"FindTimeOfValue", L"GetChannel", L"GetChannelDefaults",
    L"GetChannelNames", L"GetColor", L"GetCount", L"GetCurrentDataSelection", L"GetCursorTime", L"GetData",
    L"GetDataFor", L"GetDataSelections", L"GetDefaultColor", L"GetDefaultSelectionIndex", L"GetDisplayOrder",
    L"GetDistanceChannelName", L"GetDistanceSource", L"GetEndTime", L"GetEventDefaults", L"GetEventPriorities",
    L"GetEventSet", L"GetEventSetNames", L"GetEvents", L"GetFirstTime", L"GetFreeze", L"GetFullTimeSpan",
    L"GetGroupDefaults", L"GetIsContinuous", L"GetIsPeriodic", L"GetIsRealTime", L"GetIsSecondary",
    L"GetIsZoomed", L"GetItem", L"GetLapTime", L"GetLaps", L"GetLastTime", L"GetLatestValue", L"GetName",
    L"GetPeriod", L"GetProperty", L"GetPropertySet", L"GetRecord", L"GetRecords", L"GetRunning",
    L"GetSampleTime", L"GetSelectionText", L"GetStartTime", L"GetTaskList", L"GetTimeDigits",
    L"GetTimeFormat", L"GetTimeMaximum", L"GetTimeMinimum", L"GetTimeOffset", L"GetTimes", L"GetUnitText",
    L"GetValueAt", L"GetValueOffset", L"GetValues", L"LocateSample", L"Pop", L"PopAll", L"PushTimeZoom",
    L"ReleaseUse", L"SetCurrentDataSelection", L"SetCursorTime", L"SetFixedTimeSpan", L"SetFreeze",
    L"SetFrozenRange", L"SetReferenceSelection", L"SetTask", L"SetTimeZoom", L"Subscribe", L"Unadvise",
    L"Unsubscribe",
};

const wchar_t* const Channels[] = {L"Speed", L"RPM", L"Throttle", L"Fuel flow", L"Lateral G", L"Brake", L"Gear",
                                   L"Water temperature"};

SIZE_T PrivateBytes()
{
    PROCESS_MEMORY_COUNTERS_EX counters{};
    counters.cb = sizeof counters;
    GetProcessMemoryInfo(GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&counters), sizeof counters);
    // Some systems leave the private count empty; the commit charge is the same figure there.
    return counters.PrivateUsage ? counters.PrivateUsage : counters.PagefileUsage;
}

// The run: the container, the host and the chart, and the steps a hostile host takes.
class CSoak : CTestHost
{
public:
    explicit CSoak(unsigned seed, std::string without = {}) : Random(seed), Seed(seed), Without(std::move(without))
    {
        Progress = {seed, 0, "start"};
        Objects = CComModule::Instance().ObjectCount();
        StartHost();
        Sim->GetSinkCount(&HostSinks);
        // Counts calls and the host's arrays from here on.
        Sim->ResetCallCounts();
        MakeChart();
    }

    // What is wrong after a step, or empty.
    std::string Check()
    {
        std::ostringstream problem;
        if (Chart) {
            CRTCTaskDataItem& task = *Chart->TaskItem;
            double low = 0.0, high = 0.0;
            task.GetDistanceRange(low, high);
            const CYZoom zoom = task.GetYZoom();
            if (!std::isfinite(low) || !std::isfinite(high)) problem << "distance range not finite; ";
            if (!std::isfinite(zoom.Low) || !std::isfinite(zoom.High)) problem << "vertical zoom not finite; ";
            for (CChannelDataItem* channel : task.GetOrdering()->GetItems()) {
                for (double value : {channel->GetScaleMinimum(1), channel->GetScaleMaximum(1),
                                     channel->GetYPercentMinimum(), channel->GetYPercentMaximum()}) {
                    if (std::isfinite(value)) continue;
                    const std::wstring_view name = channel->GetName().View();
                    problem << "scale of \"" << std::string(name.begin(), name.end()) << "\" not finite; ";
                    break;
                }
            }
        }
        const SIZE_T bytes = PrivateBytes();
        if (Step == Warmup) Memory = bytes;
        if (Step > Warmup && bytes > Memory + MemoryAllowance)
            problem << "private bytes grew by " << (bytes - Memory) / 1024 << " KiB; ";
        return problem.str();
    }

    // One step of the named action, then the paint.
    void Run(const char* name, const std::function<void()>& action)
    {
        Progress.Step = ++Step;
        Progress.Action = name;
        action();
        if (!Chart) MakeChart();
        Paint();
    }

    // A step of random choice.
    void RandomStep();

    // Everything let go: what is left of ours and on the host.
    std::string Finish()
    {
        DropChart();
        LetGo = nullptr;
        LetGoSink = nullptr;
        std::ostringstream problem;
        ClearFaults();
        Sim->SetLateDelivery(VARIANT_FALSE);
        Sim->Shutdown();
        Sim = nullptr;
        Host = nullptr;
        // A host that refused to unadvise kept the sink until it went; what is advised on anything
        // now is held by an object that the chart never let go of.
        StartHost();
        long sinks = -1;
        Sim->GetSinkCount(&sinks);
        if (sinks != HostSinks) problem << sinks - HostSinks << " sinks left on host objects; ";
        // Every array the host handed out is destroyed, and none is left locked.
        long outstanding = -1, locked = -1;
        Sim->GetCallCount(CBstr(L"Arrays.Outstanding").Get(), &outstanding);
        Sim->GetCallCount(CBstr(L"Arrays.Locked").Get(), &locked);
        if (outstanding || locked)
            problem << outstanding << " host arrays not destroyed, " << locked << " left locked; ";
        Sim = nullptr;
        Host = nullptr;
        CoFreeUnusedLibraries();
        if (CComModule::Instance().ObjectCount() != Objects)
            problem << CComModule::Instance().ObjectCount() - Objects << " objects of ours left; ";
        std::printf("soak: seed %u, %d steps, private bytes %+lld KiB since warming up\n", Seed, Step,
                    ((long long)PrivateBytes() - (long long)Memory) / 1024);
        return problem.str();
    }

    // The host fails `operation` for a short fixed script.
    void FaultInTurn(const wchar_t* operation)
    {
        SetFault(operation, E_FAIL);
        Run("fault in turn", [&] {
            for (auto action : {&CSoak::Advance, &CSoak::Burst, &CSoak::OutOfOrder, &CSoak::ReplaceTask,
                                &CSoak::ChannelAwayAndBack, &CSoak::ShowChannels, &CSoak::PauseOrRun,
                                &CSoak::ActivateChannel, &CSoak::HostCursor})
                (this->*action)();
        });
        ClearFaults();
        Run("faults cleared", [&] { Advance(); });
    }

private:
    struct CAction { const char* Name; void (CSoak::*Do)(); };
    static const CAction Actions[];
    static constexpr int Warmup = 20;

    int Pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(Random); }

    void StartHost()
    {
        ASSERT_EQ(S_OK, CTestHost::StartHost());
        Sim->Initialise(Seed);
    }

    void MakeChart()
    {
        ASSERT_EQ(S_OK, CComObject<CSoakChart>::CreateInstance(Control));
        Chart = static_cast<CSoakChart*>(Control.Get());
        ASSERT_EQ(S_OK, InitNew(Control));
        ASSERT_TRUE(InPlace.Activate(Control, RECT{0, 0, 480, 240}));
        CComPtr<IQvxNotifications> points = Query<IQvxNotifications>(Control);
        ULONG cookie = 0;
        if (!LetGoSink) {
            ASSERT_EQ(S_OK, CComObject<CHostViewSink>::CreateInstance(LetGoSink));
            LetGo = static_cast<CHostViewSink*>(LetGoSink.Get());
        }
        ASSERT_EQ(S_OK, points->Advise(IID_IQvxControlNotifications2, LetGoSink, &cookie));
        Attach();
        ShowChannels();
    }

    void Attach()
    {
        CComPtr<IQvxControl> attach = Query<IQvxControl>(Control);
        if (attach->SetHost(Host) == S_OK) attach->SetTaskById(1);
    }

    // The container closes the control and lets go of it.
    void DropChart()
    {
        if (!Control) return;
        CComPtr<IQvxLinnographCtl4> control = std::move(Control);
        Chart = nullptr;
        InPlace.Close(control);
    }

    void Paint()
    {
        if (HWND window = Chart ? Chart->Window : nullptr) {
            if (Step % 8 == 0) InvalidateRect(window, nullptr, FALSE);
            UpdateWindow(window);
        }
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
    }

    CComPtr<IQvxTask> HostTask(long id)
    {
        CComPtr<IQvxTaskList> tasks;
        CComPtr<IQvxTask> task;
        if (SUCCEEDED(Host->GetTaskList(tasks.Out())) && tasks) tasks->GetItem(id, task.Out());
        return task;
    }

    // The actions.
    void Advance() { Sim->Advance(Pick(10, 1000) * Millisecond); }
    void Burst()
    {
        for (int i = Pick(5, 40); i > 0; --i) Sim->Advance(Pick(1, 20) * Millisecond);
    }
    void OutOfOrder() { Sim->RepeatDataChanges(1, 1, Pick(1, 30), Pick(0, 1) ? VARIANT_TRUE : VARIANT_FALSE); }
    void Fault()
    {
        const HRESULT failures[] = {E_FAIL, E_UNEXPECTED, E_OUTOFMEMORY, E_INVALIDARG, RPC_E_DISCONNECTED};
        SetFault(Operations[Pick(0, int(std::size(Operations)) - 1)], failures[Pick(0, 4)]);
    }
    void SetFault(const wchar_t* operation, HRESULT status) { Sim->SetFault(CBstr(operation).Get(), status); }
    void ClearFaults() { Sim->ClearFaults(); }
    void PauseOrRun() { Sim->SetRunning(1, Pick(0, 1) ? VARIANT_TRUE : VARIANT_FALSE); }
    void ChannelAwayAndBack()
    {
        CBstr channel(Channels[Pick(0, int(std::size(Channels)) - 1)]);
        Sim->RemoveChannel(1, Pick(1, 2), channel.Get());
        if (Pick(0, 1)) {
            Paint();
            Sim->RestoreChannel(1, 1, channel.Get());
            Sim->RestoreChannel(1, 2, channel.Get());
        }
    }
    void SelectionAwayAndBack()
    {
        Sim->RemoveDataSelection(Pick(1, 2), Pick(1, 3));
        Paint();
        if (Pick(0, 3)) Sim->RestoreDataSelection(1);
        if (Pick(0, 1)) Sim->RestoreDataSelection(2);
    }
    void StopOrResume() { Pick(0, 1) ? Sim->StopRecording() : Sim->ResumeRecording(); }
    void ReplaceTask()
    {
        if (Control) Query<IQvxControl>(Control)->SetTaskById(Pick(1, 2));
    }
    void LateDelivery() { Sim->SetLateDelivery(Pick(0, 1) ? VARIANT_TRUE : VARIANT_FALSE); }
    // The host moves its cursor, now and then before the data or beyond them.
    void HostCursor()
    {
        __int64 now = 0, start = 0;
        Sim->GetClock(&now);
        Sim->GetRecordingStart(&start);
        const int tenths = int((now - start) / (100 * Millisecond));
        if (CComPtr<IQvxTask> task = HostTask(1)) task->SetCursorTime(Pick(-5, tenths + 5) * 100 * Millisecond);
    }
    // The user, in the host's pause, zooms in on a trace and drags the host's cursor along it.
    void ReadValuesInThePause()
    {
        Sim->SetRunning(1, VARIANT_FALSE);
        VerticalZoom();
        ActivateChannel();
        for (int i = 0; i < 5; ++i) {
            HostCursor();
            Paint();
        }
    }
    void HostGoesAway()
    {
        Sim->Shutdown();
        ClearFaults();
        Sim = nullptr;
        Host = nullptr;
        StartHost();
        if (Control) Attach();
    }
    // The control is called through a pointer that holds no reference, as a host's view does.
    void LetGoInsideNews()
    {
        LetGo->LetGo = [this] { DropChart(); };
        if (Pick(0, 3) == 0) {
            HostGoesAway();
        } else {
            IQvxControl* control = Query<IQvxControl>(Control).Get();
            control->SetTaskById(Pick(1, 2));
        }
        LetGo->LetGo = nullptr;
    }
    void ShrinkToNothing()
    {
        CComPtr<IOleInPlaceObject> inPlace = Query<IOleInPlaceObject>(Control);
        RECT none{0, 0, 0, 0};
        inPlace->SetObjectRects(&none, &InPlace.Site.Clip);
        Paint();
        inPlace->SetObjectRects(&InPlace.Site.Position, &InPlace.Site.Clip);
    }
    void ShowChannels()
    {
        std::vector<CBstr> names;
        for (const wchar_t* channel : Channels)
            if (Pick(0, 2)) names.emplace_back(channel);
        Chart->TaskItem->GetOrdering()->SetNames(names);
    }
    void TimeSpan() { Control->put_DataTimeSpan(Pick(1, 120) * 10'000'000LL); }
    // The user's vertical zoom, and the trace the user picks.
    void VerticalZoom()
    {
        const double low = Pick(0, 80) / 100.0;
        Chart->TaskItem->PushYZoom(CYZoom{low, low + Pick(5, 100 - int(low * 100)) / 100.0});
    }
    void ActivateChannel()
    {
        const auto& channels = Chart->TaskItem->GetOrdering()->GetItems();
        if (channels.empty()) return;
        CChannelDataItem* channel = channels[size_t(Pick(0, int(channels.size()) - 1))];
        Chart->TaskItem->SetActiveTrace(channel, channel->GetTraces().empty() ? nullptr : channel->GetTraces().front());
    }
    void PaintInsideNews()
    {
        LetGo->PaintInside = Chart->Window;
        if (Pick(0, 1)) ActivateChannel();
        else ReplaceTask();
        LetGo->PaintInside = nullptr;
    }

    CInPlaceContainer InPlace;
    CComPtr<IQvxLinnographCtl4> Control;
    CSoakChart* Chart = nullptr;
    CComPtr<IQvxControlNotifications2> LetGoSink;
    CHostViewSink* LetGo = nullptr;
    std::mt19937 Random;
    unsigned Seed;
    std::string Without;
    LONG Objects = 0;
    long HostSinks = 0;
    SIZE_T Memory = 0;
    int Step = 0;
};

// An action listed twice comes twice as often.
const CSoak::CAction CSoak::Actions[] = {
    {"advance", &CSoak::Advance}, {"advance", &CSoak::Advance}, {"burst", &CSoak::Burst},
    {"out of order", &CSoak::OutOfOrder}, {"fault", &CSoak::Fault}, {"clear faults", &CSoak::ClearFaults},
    {"pause or run", &CSoak::PauseOrRun}, {"channel away and back", &CSoak::ChannelAwayAndBack},
    {"selection away and back", &CSoak::SelectionAwayAndBack}, {"stop or resume", &CSoak::StopOrResume},
    {"replace task", &CSoak::ReplaceTask}, {"late delivery", &CSoak::LateDelivery}, {"host cursor", &CSoak::HostCursor},
    {"host goes away", &CSoak::HostGoesAway}, {"let go inside news", &CSoak::LetGoInsideNews},
    {"shrink to nothing", &CSoak::ShrinkToNothing}, {"show channels", &CSoak::ShowChannels},
    {"time span", &CSoak::TimeSpan}, {"vertical zoom", &CSoak::VerticalZoom},
    {"activate channel", &CSoak::ActivateChannel}, {"host cursor", &CSoak::HostCursor},
    {"paint inside news", &CSoak::PaintInsideNews}, {"read values in the pause", &CSoak::ReadValuesInThePause},
};

void CSoak::RandomStep()
{
    const CAction* action = nullptr;
    do action = &Actions[Pick(0, int(std::size(Actions)) - 1)];
    while (Without == action->Name);
    Run(action->Name, [&] { (this->*action->Do)(); });
}

void Soak(unsigned seed, int steps, const std::string& without)
{
    CSoak soak(seed, without);
    for (int step = 0; step < steps; ++step) {
        soak.RandomStep();
        ASSERT_EQ("", soak.Check()) << "after step " << Progress.Step << " (" << Progress.Action
                                    << "); replay with --soak-seed=" << seed;
    }
    EXPECT_EQ("", soak.Finish()) << "replay with --soak-seed=" << seed;
}

// The hostile host's own controls, seen by its clients: otherwise a run could pass by doing nothing.
class SoakHost : public testing::Test, protected CTestHost
{
};

TEST_F(SoakHost, TheHostsHostileControlsDoWhatTheySay)
{
    ASSERT_EQ(S_OK, StartHost());
    CComPtr<IQvxTask> task = TaskOfHost(Host, 1);
    CComPtr<IQvxDataSelection> live;
    ASSERT_EQ(S_OK, task->GetCurrentDataSelection(live.Out()));
    // Selections taken away are the chart's tests' own; channels are not.
    const auto channels = [&] {
        CComPtr<IQvxDataNames> names;
        long count = -1;
        if (SUCCEEDED(Query<IQvxDataSelectionChannels>(live)->GetChannelNames(names.Out())) && names)
            names->GetCount(&count);
        return count;
    };
    CBstr fuel(L"Fuel flow");
    const long all = channels();
    Sim->RemoveChannel(1, 1, fuel.Get());
    EXPECT_EQ(all - 1, channels());
    Sim->RestoreChannel(1, 1, fuel.Get());
    EXPECT_EQ(all, channels());

    // Under late delivery a sink that let go hears the next notification, and only that.
    struct CRuns : CTaskNotificationsReceiver
    {
        void OnRunningChanged(IQvxTask*) override { ++Heard; }
        int Heard = 0;
    } runs;
    using CTaskSink = CTaskNotificationsSink<CBaseSingleSourceSink<IQvxTaskNotifications>>;
    CComPtr<CTaskSink> sink = CreateSink<CTaskSink>(&runs);
    ASSERT_TRUE(sink->Advise(task));
    Sim->SetLateDelivery(VARIANT_TRUE);
    sink->Unadvise(task);
    Sim->SetRunning(1, VARIANT_FALSE);
    Sim->SetRunning(1, VARIANT_TRUE);
    EXPECT_EQ(1, runs.Heard);
    Sim->SetLateDelivery(VARIANT_FALSE);
    CloseSink(sink, nullptr);
    Sim->Shutdown();
}

TEST(Soak, ARandomHostRunKeepsEveryScaleFiniteAndLeavesNothingBehind)
{
    Soak(Settings.Seed, Settings.Steps, Settings.Without);
}

// Runs that found a fault, kept so that it stays found.
TEST(Soak, RememberedRunsFindNothingNow)
{
    const struct { unsigned Seed; const char* Without; const char* Found; } runs[] = {
        {5, "", "a host's view let go of the control inside the control's own task news: used after it was freed"},
        {9, "let go inside news",
         "a gap in \"Fuel flow\" at the host's cursor, in the host's pause, made the vertical zoom NaN"},
    };
    for (const auto& run : runs) {
        SCOPED_TRACE(run.Found);
        Soak(run.Seed, 150, run.Without);
    }
}

TEST(Soak, EveryHostOperationFailingInTurnIsSurvived)
{
    CSoak soak(Settings.Seed);
    for (const wchar_t* operation : Operations) {
        soak.FaultInTurn(operation);
        ASSERT_EQ("", soak.Check()) << "with a fault on " << std::string(operation, operation + wcslen(operation));
    }
    EXPECT_EQ("", soak.Finish());
}

} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option.rfind("--soak-seed=", 0) == 0)
            Settings.Seed = unsigned(std::strtoul(option.c_str() + 12, nullptr, 10));
        if (option.rfind("--soak-steps=", 0) == 0) Settings.Steps = std::atoi(option.c_str() + 13);
        if (option.rfind("--soak-without=", 0) == 0) Settings.Without = option.substr(15);
    }
    SetUnhandledExceptionFilter(ReportCrash);
    return RUN_ALL_TESTS();
}
