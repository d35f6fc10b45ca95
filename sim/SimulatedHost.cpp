#include "sim/SimulatedHost.h"
#include "sim/HostArrays.h"
#include <type_traits>
#include "sim/TrackModel.h"

namespace {

constexpr qvx::time Second = 10'000'000;
constexpr qvx::time Hour = 3600 * Second;

} // namespace

// --- CDistanceSource ---

void CDistanceSource::Init(std::wstring distance, std::wstring mapDistance)
{
    Distance = std::move(distance);
    MapDistance = std::move(mapDistance);
}

STDMETHODIMP CDistanceSource::GetDistanceChannelName(BSTR* name)
{
    QVX_HOST_CALL("IQvxDistanceSource.GetDistanceChannelName");
    if (!name) return E_POINTER;
    *name = SysAllocString(Distance.c_str());
    return *name ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CDistanceSource::GetMapDistanceChannelName(BSTR* name)
{
    QVX_HOST_CALL("IQvxMapSource.GetMapDistanceChannelName");
    if (!name) return E_POINTER;
    *name = SysAllocString(MapDistance.c_str());
    return *name ? S_OK : E_OUTOFMEMORY;
}

// --- CSimulatedHost ---

CSimulatedHost::CSimulatedHost()
    : CNotificationsImpl({__uuidof(IQvxOrvidNotifications), __uuidof(IQvxOrvidNotifications2),
                          __uuidof(IQvxOrvidNotifications3), __uuidof(IQvxOrvidNotifications4)})
{
}

HRESULT CSimulatedHost::FinalConstruct()
{
    HRESULT hr = MakeChannelDefaults(ChannelDefaults);
    if (SUCCEEDED(hr)) hr = MakeEventDefaults(EventDefaults);
    if (SUCCEEDED(hr)) hr = MakeGroupDefaults(GroupDefaults);
    if (SUCCEEDED(hr)) hr = CreateObject<CDistanceSource, IQvxMapSource>(DistanceSource);
    if (SUCCEEDED(hr)) DistanceSource->Init(L"Distance", L"Lap distance");
    if (SUCCEEDED(hr)) hr = CreateObject<CEventPriorities, IQvxEventPriorities>(Priorities);
    if (SUCCEEDED(hr)) hr = BuildTasks();
    return hr;
}

void CSimulatedHost::FinalRelease()
{
    Tasks.clear();
}

template <class I, class Call>
void CSimulatedHost::FireRoot(Call&& call)
{
    const IID v1 = __uuidof(IQvxOrvidNotifications);
    const IID v2 = __uuidof(IQvxOrvidNotifications2);
    const IID v3 = __uuidof(IQvxOrvidNotifications3);
    const IID v4 = __uuidof(IQvxOrvidNotifications4);
    CComPtr<IUnknown> self(ControllingUnknown());
    if constexpr (std::is_same_v<I, IQvxOrvidNotifications>) Notifier.Fire<I>({v1, v2, v3, v4}, call);
    else if constexpr (std::is_same_v<I, IQvxOrvidNotifications2>) Notifier.Fire<I>({v2, v3, v4}, call);
    else if constexpr (std::is_same_v<I, IQvxOrvidNotifications3>) Notifier.Fire<I>({v3, v4}, call);
    else Notifier.Fire<I>({v4}, call);
}

HRESULT CSimulatedHost::MakeSelection(ULONG seed, qvx::time start, qvx::time length, bool live, const wchar_t* text,
                                      OLE_COLOR colour, bool secondary, CObjectPtr<CDataSelection>& selection)
{
    HRESULT hr = CreateObject<CDataSelection, IQvxDataSelection3>(selection);
    if (FAILED(hr)) return hr;
    auto recording = std::make_shared<CRecording>(seed, start, length, live, Channels);
    return selection->Init(std::move(recording), text, colour, secondary);
}

HRESULT CSimulatedHost::BuildTasks()
{
    Tasks.clear();
    CObjectPtr<CTask> first, second;
    HRESULT hr = CreateObject<CTask, IQvxTaskOrder>(first);
    if (SUCCEEDED(hr)) hr = CreateObject<CTask, IQvxTaskOrder>(second);
    if (FAILED(hr)) return hr;
    first->Init(1);
    second->Init(2);
    struct CPlan
    {
        CTask* Task;
        ULONG Seed;
        qvx::time Start;
        qvx::time Length;
        bool Live;
        const wchar_t* Text;
        OLE_COLOR Colour;
        bool Secondary;
    };
    const CPlan plans[] = {
        {first, Seed, RecordingStart, 0, true, L"Live", 0x000000FF, false},
        {first, Seed + 1, RecordingStart - 2 * Hour, 200 * Second, false, L"Session 1", 0x00FF0000, false},
        {first, Seed + 2, RecordingStart - 3 * Hour, 70 * Second, false, L"Reference lap", 0x0000A000, true},
        {second, Seed + 3, RecordingStart - 24 * Hour, 120 * Second, false, L"Archive", 0x00808000, false},
    };
    for (const CPlan& plan : plans) {
        CObjectPtr<CDataSelection> selection;
        hr = MakeSelection(plan.Seed, plan.Start, plan.Length, plan.Live, plan.Text, plan.Colour, plan.Secondary, selection);
        if (FAILED(hr)) return hr;
        plan.Task->AddSelection(selection, false);
    }
    Tasks = {first, second};
    return S_OK;
}

HRESULT CSimulatedHost::MakeChannelDefaults(CObjectPtr<CChannelPropertyFactory>& factory)
{
    HRESULT hr = CreateObject<CChannelPropertyFactory, IQvxPropertyFactory>(factory);
    if (SUCCEEDED(hr)) factory->MakeHostDefaults();
    if (SUCCEEDED(hr)) factory->SetChannels(Channels);
    return hr;
}

HRESULT CSimulatedHost::MakeEventDefaults(CObjectPtr<CEventPropertyFactory>& factory)
{
    HRESULT hr = CreateObject<CEventPropertyFactory, IQvxEventPropertyFactory>(factory);
    if (SUCCEEDED(hr)) factory->MakeHostDefaults();
    return hr;
}

HRESULT CSimulatedHost::MakeGroupDefaults(CObjectPtr<CGroupFactory>& factory)
{
    HRESULT hr = CreateObject<CGroupFactory, IQvxGroupFactory>(factory);
    if (SUCCEEDED(hr)) hr = factory->AddGroup(L"Engine", {L"RPM", L"Throttle", L"Water temperature", L"Fuel flow"});
    if (SUCCEEDED(hr)) hr = factory->AddGroup(L"Chassis", {L"Speed", L"Lateral G", L"Brake", L"Damper FL"});
    if (SUCCEEDED(hr)) hr = factory->AddGroup(L"Driver", {L"Throttle", L"Brake", L"Gear"});
    if (SUCCEEDED(hr)) hr = factory->AddGroup(L"Dashboard", {L"[1]Speed", L"RPM", L"Throttle", L"Brake"});
    return hr;
}

CTask* CSimulatedHost::FindTask(long id) const
{
    for (const auto& task : Tasks) {
        if (task->GetId() == id) return task;
    }
    return nullptr;
}

CDataSelection* CSimulatedHost::FindSelection(long taskId, long index) const
{
    CTask* task = FindTask(taskId);
    return task ? task->Selection(index) : nullptr;
}

// --- IQvxOrvid, IQvxHost ---

STDMETHODIMP CSimulatedHost::GetChannelDefaults(IQvxPropertyFactory** factory)
{
    QVX_HOST_CALL("IQvxOrvid.GetChannelDefaults");
    return GiveOut(ChannelDefaults, factory);
}

STDMETHODIMP CSimulatedHost::GetDistanceSource(IQvxDistanceSource** source)
{
    QVX_HOST_CALL("IQvxOrvid.GetDistanceSource");
    return GiveOut(DistanceSource, source);
}

STDMETHODIMP CSimulatedHost::GetGroupDefaults(IQvxGroupFactory** factory)
{
    QVX_HOST_CALL("IQvxOrvid.GetGroupDefaults");
    return GiveOut(GroupDefaults, factory);
}

STDMETHODIMP CSimulatedHost::GetTaskList(IQvxTaskList** tasks)
{
    QVX_HOST_CALL("IQvxOrvid.GetTaskList");
    if (!tasks) return E_POINTER;
    *tasks = nullptr;
    CObjectPtr<CTaskList> list;
    HRESULT hr = CreateObject<CTaskList, IQvxTaskList>(list);
    if (FAILED(hr)) return hr;
    list->Init(Tasks);
    Exposed = true;
    return GiveOut(list, tasks);
}

STDMETHODIMP CSimulatedHost::GetTimeFormat(long* format)
{
    QVX_HOST_CALL("IQvxOrvid.GetTimeFormat");
    if (!format) return E_POINTER;
    *format = TimeFormat;
    return S_OK;
}

STDMETHODIMP CSimulatedHost::GetEventPriorities(IQvxEventPriorities** priorities)
{
    QVX_HOST_CALL("IQvxOrvid.GetEventPriorities");
    return GiveOut(Priorities, priorities);
}

STDMETHODIMP CSimulatedHost::GetEventDefaults(IQvxEventPropertyFactory** factory)
{
    QVX_HOST_CALL("IQvxOrvid.GetEventDefaults");
    return GiveOut(EventDefaults, factory);
}

STDMETHODIMP CSimulatedHost::GetTimeDigits(unsigned short* digits)
{
    QVX_HOST_CALL("IQvxOrvid.GetTimeDigits");
    if (!digits) return E_POINTER;
    *digits = TimeDigits;
    return S_OK;
}

STDMETHODIMP CSimulatedHost::GetApplicationName(BSTR* name)
{
    QVX_HOST_CALL("IQvxHost.GetApplicationName");
    if (!name) return E_POINTER;
    *name = SysAllocString(L"Qvx substitute host");
    return *name ? S_OK : E_OUTOFMEMORY;
}

// --- IQvxSimulation ---

STDMETHODIMP CSimulatedHost::Initialise(ULONG seed)
{
    if (RecordingsFixed()) return E_UNEXPECTED;
    Seed = seed;
    return BuildTasks();
}

STDMETHODIMP CSimulatedHost::Advance(__int64 ticks)
{
    if (Closed) return E_UNEXPECTED;
    if (ticks <= 0) return E_INVALIDARG;
    Elapsed += ticks;
    CComPtr<IUnknown> self(ControllingUnknown());
    auto tasks = Tasks;
    for (auto& task : tasks) task->Advance(ticks);
    return S_OK;
}

STDMETHODIMP CSimulatedHost::GetClock(__int64* now)
{
    if (!now) return E_POINTER;
    *now = RecordingStart + Elapsed;
    return S_OK;
}

STDMETHODIMP CSimulatedHost::GetRecordingStart(__int64* start)
{
    if (!start) return E_POINTER;
    *start = RecordingStart;
    return S_OK;
}

STDMETHODIMP CSimulatedHost::GetLapLength(double* metres)
{
    if (!metres) return E_POINTER;
    *metres = CTrackModel::LapLength;
    return S_OK;
}

STDMETHODIMP CSimulatedHost::SetFault(BSTR operation, HRESULT status)
{
    if (!operation) return E_INVALIDARG;
    return CHostCalls::SetFault(operation, status);
}

STDMETHODIMP CSimulatedHost::ClearFaults()
{
    CHostCalls::ClearFaults();
    return S_OK;
}

STDMETHODIMP CSimulatedHost::GetCallCount(BSTR operation, long* count)
{
    if (!operation || !count) return E_POINTER;
    *count = CHostCalls::CallCount(operation);
    return S_OK;
}

STDMETHODIMP CSimulatedHost::ResetCallCounts()
{
    CHostCalls::ResetCounts();
    return S_OK;
}

STDMETHODIMP CSimulatedHost::GetSinkCount(long* count)
{
    if (!count) return E_POINTER;
    *count = CNotifier::LiveSinks();
    return S_OK;
}

STDMETHODIMP CSimulatedHost::SetRunning(long taskId, VARIANT_BOOL running)
{
    CTask* task = FindTask(taskId);
    if (!task) return E_INVALIDARG;
    CObjectPtr<CTask> held(static_cast<CComObject<CTask>*>(task));
    held->SetRunning(running != VARIANT_FALSE);
    return S_OK;
}

STDMETHODIMP CSimulatedHost::SetTimeFormat(long format)
{
    if (format < 0 || format > 2) return E_INVALIDARG;
    if (format == TimeFormat) return S_OK;
    TimeFormat = format;
    FireRoot<IQvxOrvidNotifications>([&](IQvxOrvidNotifications* sink) { sink->OnTimeFormatChanged(Self()); });
    return S_OK;
}

STDMETHODIMP CSimulatedHost::SetTimeDigits(unsigned short digits)
{
    if (digits > 7) return E_INVALIDARG;
    if (digits == TimeDigits) return S_OK;
    TimeDigits = digits;
    FireRoot<IQvxOrvidNotifications3>([&](IQvxOrvidNotifications3* sink) { sink->OnTimeDigitsChanged(Self()); });
    return S_OK;
}

STDMETHODIMP CSimulatedHost::SetEventPriorityColor(long priority, OLE_COLOR colour)
{
    Priorities->SetColour(priority, colour);
    FireRoot<IQvxOrvidNotifications>([&](IQvxOrvidNotifications* sink) { sink->OnEventPrioritiesChanged(Self()); });
    return S_OK;
}

STDMETHODIMP CSimulatedHost::ReplaceChannelDefaults()
{
    CObjectPtr<CChannelPropertyFactory> factory;
    HRESULT hr = MakeChannelDefaults(factory);
    if (FAILED(hr)) return hr;
    ChannelDefaults = factory;
    FireRoot<IQvxOrvidNotifications>([&](IQvxOrvidNotifications* sink) {
        sink->OnChannelDefaultsChanged(Self(), static_cast<IQvxEventPropertyFactory*>(factory.Get()));
    });
    return S_OK;
}

STDMETHODIMP CSimulatedHost::ReplaceEventDefaults()
{
    CObjectPtr<CEventPropertyFactory> factory;
    HRESULT hr = MakeEventDefaults(factory);
    if (FAILED(hr)) return hr;
    EventDefaults = factory;
    FireRoot<IQvxOrvidNotifications2>([&](IQvxOrvidNotifications2* sink) {
        sink->OnEventDefaultsChanged(Self(), static_cast<IQvxEventPropertyFactory*>(factory.Get()));
    });
    return S_OK;
}

STDMETHODIMP CSimulatedHost::ReplaceGroupDefaults()
{
    CObjectPtr<CGroupFactory> factory;
    HRESULT hr = MakeGroupDefaults(factory);
    if (FAILED(hr)) return hr;
    CObjectPtr<CGroupFactory> old = GroupDefaults;
    GroupDefaults = factory;
    FireRoot<IQvxOrvidNotifications>([&](IQvxOrvidNotifications* sink) {
        sink->OnGroupDefaultsChanged(Self(), static_cast<IQvxGroupFactory*>(factory.Get()));
    });
    old->GoAway();
    return S_OK;
}

STDMETHODIMP CSimulatedHost::ReplaceDistanceSource(BSTR channel)
{
    if (!channel) return E_INVALIDARG;
    CObjectPtr<CDistanceSource> source;
    HRESULT hr = CreateObject<CDistanceSource, IQvxMapSource>(source);
    if (FAILED(hr)) return hr;
    source->Init(channel, L"Lap distance");
    DistanceSource = source;
    FireRoot<IQvxOrvidNotifications>([&](IQvxOrvidNotifications* sink) { sink->OnSelectionsChanged(Self()); });
    return S_OK;
}

STDMETHODIMP CSimulatedHost::StopRecording()
{
    CComPtr<IUnknown> self(ControllingUnknown());
    auto tasks = Tasks;
    for (auto& task : tasks) task->StopRecording();
    return S_OK;
}

STDMETHODIMP CSimulatedHost::ResumeRecording()
{
    CComPtr<IUnknown> self(ControllingUnknown());
    auto tasks = Tasks;
    for (auto& task : tasks) task->ResumeRecording();
    return S_OK;
}

STDMETHODIMP CSimulatedHost::AddDataSelection(long taskId, ULONG seed, __int64 length, VARIANT_BOOL secondary)
{
    CTask* task = FindTask(taskId);
    if (!task) return E_INVALIDARG;
    if (length <= 0) return E_INVALIDARG;
    long number = long(task->Selections().size()) + 1;
    std::wstring text = L"Selection " + std::to_wstring(number);
    CObjectPtr<CDataSelection> selection;
    HRESULT hr = MakeSelection(seed, RecordingStart - qvx::time(4 + number) * Hour, length, false, text.c_str(),
                               0x00008080, secondary != VARIANT_FALSE, selection);
    if (FAILED(hr)) return hr;
    CObjectPtr<CTask> held(static_cast<CComObject<CTask>*>(task));
    held->AddSelection(selection, true);
    return S_OK;
}

STDMETHODIMP CSimulatedHost::RemoveDataSelection(long taskId, long index)
{
    CTask* task = FindTask(taskId);
    if (!task) return E_INVALIDARG;
    CObjectPtr<CTask> held(static_cast<CComObject<CTask>*>(task));
    return held->RemoveSelection(index);
}

STDMETHODIMP CSimulatedHost::SetSelectionSecondary(long taskId, long index, VARIANT_BOOL secondary)
{
    CDataSelection* selection = FindSelection(taskId, index);
    if (!selection) return E_INVALIDARG;
    selection->SetSecondary(secondary != VARIANT_FALSE);
    return S_OK;
}

STDMETHODIMP CSimulatedHost::SetSelectionText(long taskId, long index, BSTR text)
{
    CDataSelection* selection = FindSelection(taskId, index);
    if (!selection) return E_INVALIDARG;
    selection->SetText(text ? text : L"");
    return S_OK;
}

STDMETHODIMP CSimulatedHost::SetSelectionColor(long taskId, long index, OLE_COLOR colour)
{
    CDataSelection* selection = FindSelection(taskId, index);
    if (!selection) return E_INVALIDARG;
    selection->SetColour(colour);
    return S_OK;
}

STDMETHODIMP CSimulatedHost::GetChannelUse(long taskId, long index, BSTR channel, long* uses, long* subscribers)
{
    if (!uses || !subscribers) return E_POINTER;
    *uses = 0;
    *subscribers = 0;
    CDataSelection* selection = FindSelection(taskId, index);
    if (!selection || !channel) return E_INVALIDARG;
    return selection->ChannelUse(channel, *uses, *subscribers) ? S_OK : S_FALSE;
}

STDMETHODIMP CSimulatedHost::Shutdown()
{
    if (Closed) return S_FALSE;
    Closed = true;
    CComPtr<IUnknown> self(ControllingUnknown());
    auto tasks = std::move(Tasks);
    Tasks.clear();
    for (auto& task : tasks) task->GoAway();
    GroupDefaults->GoAway();
    FireRoot<IQvxOrvidNotifications>([&](IQvxOrvidNotifications* sink) { sink->OnHostGoingAway(Self()); });
    return S_OK;
}

STDMETHODIMP CSimulatedHost::RemoveChannel(long taskId, long index, BSTR channel)
{
    CDataSelection* selection = FindSelection(taskId, index);
    if (!selection || !channel) return E_INVALIDARG;
    CObjectPtr<CDataSelection> held(static_cast<CComObject<CDataSelection>*>(selection));
    return held->SetChannelPresent(channel, false);
}

STDMETHODIMP CSimulatedHost::RestoreChannel(long taskId, long index, BSTR channel)
{
    CDataSelection* selection = FindSelection(taskId, index);
    if (!selection || !channel) return E_INVALIDARG;
    CObjectPtr<CDataSelection> held(static_cast<CComObject<CDataSelection>*>(selection));
    return held->SetChannelPresent(channel, true);
}

STDMETHODIMP CSimulatedHost::RestoreDataSelection(long taskId)
{
    CTask* task = FindTask(taskId);
    if (!task) return E_INVALIDARG;
    CObjectPtr<CTask> held(static_cast<CComObject<CTask>*>(task));
    return held->RestoreSelection();
}

STDMETHODIMP CSimulatedHost::RepeatDataChanges(long taskId, long index, long count, VARIANT_BOOL reversed)
{
    CDataSelection* selection = FindSelection(taskId, index);
    if (!selection || count < 0) return E_INVALIDARG;
    CObjectPtr<CDataSelection> held(static_cast<CComObject<CDataSelection>*>(selection));
    held->RepeatDataChanges(size_t(count), reversed != VARIANT_FALSE);
    return S_OK;
}

STDMETHODIMP CSimulatedHost::SetLateDelivery(VARIANT_BOOL late)
{
    CNotifier::SetLateDelivery(late != VARIANT_FALSE);
    return S_OK;
}

STDMETHODIMP CSimulatedHost::WatchArrays(VARIANT_BOOL watch)
{
    return CHostArrays::Watch(watch != VARIANT_FALSE) ? S_OK : E_UNEXPECTED;
}

STDMETHODIMP CSimulatedHost::AddGeneratedChannels(long count, long rate)
{
    if (RecordingsFixed()) return E_UNEXPECTED;
    if (count < 1 || count > CChannelTable::MaxGenerated - Channels->GeneratedCount() || rate < 1 ||
        rate > CChannelTable::MaxGeneratedRate)
        return E_INVALIDARG;
    std::shared_ptr<const CChannelTable> before = Channels;
    Channels = std::make_shared<const CChannelTable>(*before, count, rate);
    // Nobody holds a selection yet: the tasks are made again over the longer table.
    HRESULT hr = BuildTasks();
    if (FAILED(hr)) {
        Channels = before;
        BuildTasks();
        return hr;
    }
    ChannelDefaults->SetChannels(Channels);
    return S_OK;
}
