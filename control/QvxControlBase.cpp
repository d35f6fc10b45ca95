#include "control/QvxControlBase.h"
#include <new>

CQvxControlBase::CQvxControlBase(DWORD factoryUse) noexcept : FactoryUse(factoryUse)
{
}

CQvxControlBase::~CQvxControlBase()
{
    CloseSink(GroupFactorySink, GroupFactory);
    CloseSink(EventFactorySink, EventFactory);
    CloseSink(ChannelFactorySink, ChannelFactory);
    CloseSink(TaskSink, Task);
    CloseSink(RootSink, Host);
}

HRESULT CQvxControlBase::InitialiseControlBase(COrvidNotifications4Receiver* root, CTaskNotifications6Receiver* task,
                                               CChannelPropertyFactoryNotifications2Receiver* channels,
                                               CEventPropertyFactoryNotificationsReceiver* events,
                                               CGroupFactoryNotificationsReceiver* groups)
{
    ConfigurationPages = CDataNames::Make();
    TaskSink = CreateSink<CTaskSink>(task);
    RootSink = CreateSink<CRootSink>(root);
    if (!ConfigurationPages || !TaskSink || !RootSink) return E_OUTOFMEMORY;
    if (FactoryUse & UsesChannelPropertyFactory) {
        ChannelFactorySink = CreateSink<CChannelFactorySink>(channels);
        if (!ChannelFactorySink) return E_OUTOFMEMORY;
    }
    if (FactoryUse & UsesEventPropertyFactory) {
        EventFactorySink = CreateSink<CEventFactorySink>(events);
        if (!EventFactorySink) return E_OUTOFMEMORY;
    }
    if (FactoryUse & UsesGroupFactory) {
        GroupFactorySink = CreateSink<CGroupFactorySink>(groups);
        if (!GroupFactorySink) return E_OUTOFMEMORY;
    }
    // A host's news may reach whoever lets the control go: the control stays until it is done.
    IUnknown* self = ControlInterface();
    TaskSink->HoldDuringCalls(self);
    RootSink->HoldDuringCalls(self);
    if (ChannelFactorySink) ChannelFactorySink->HoldDuringCalls(self);
    if (EventFactorySink) EventFactorySink->HoldDuringCalls(self);
    if (GroupFactorySink) GroupFactorySink->HoldDuringCalls(self);
    return S_OK;
}

namespace {

// A property factory of the host's library, in process, initialised on a compound file in memory.
template <class I>
HRESULT MakeStoredFactory(REFCLSID clsid, CComPtr<I>& factory)
{
    CComPtr<I> made;
    CComPtr<IPersistStorage> persist;
    CComPtr<ILockBytes> bytes;
    CComPtr<IStorage> storage;
    HRESULT hr = CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(I), made.OutVoid());
    if (SUCCEEDED(hr)) hr = made.As(persist);
    if (SUCCEEDED(hr)) hr = CreateILockBytesOnHGlobal(nullptr, TRUE, bytes.Out());
    if (SUCCEEDED(hr))
        hr = StgCreateDocfileOnILockBytes(bytes, STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0, storage.Out());
    if (SUCCEEDED(hr)) hr = persist->InitNew(storage);
    if (SUCCEEDED(hr)) factory = std::move(made);
    return hr;
}

} // namespace

HRESULT CQvxControlBase::CreateFactories()
{
    if ((FactoryUse & UsesChannelPropertyFactory) && !ChannelFactory) {
        if (FAILED(MakeStoredFactory(CLSID_QvxChannelPropertyFactory, ChannelFactory))) return E_UNEXPECTED;
        if (ChannelFactorySink) ChannelFactorySink->Advise(ChannelFactory);
    }
    if ((FactoryUse & UsesEventPropertyFactory) && !EventFactory) {
        if (FAILED(MakeStoredFactory(CLSID_QvxEventPropertyFactory, EventFactory))) return E_UNEXPECTED;
        if (EventFactorySink) EventFactorySink->Advise(EventFactory);
    }
    if ((FactoryUse & UsesGroupFactory) && !GroupFactory) {
        if (FAILED(CoCreateInstance(CLSID_QvxGroupFactory, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IQvxGroupFactory),
                                    GroupFactory.OutVoid())))
            return E_UNEXPECTED;
        if (GroupFactorySink) GroupFactorySink->Advise(GroupFactory);
    }
    return S_OK;
}

void CQvxControlBase::ConnectFactories(IQvxOrvid* host)
{
    CComPtr<IQvxPropertyFactory> channels;
    CComPtr<IQvxEventPropertyFactory> events;
    CComPtr<IQvxGroupFactory> groups;
    // A host that has no defaults of a kind leaves that factory without a parent.
    if (host && (FactoryUse & UsesChannelPropertyFactory)) host->GetChannelDefaults(channels.Out());
    if (host && (FactoryUse & UsesEventPropertyFactory)) host->GetEventDefaults(events.Out());
    if (host && (FactoryUse & UsesGroupFactory)) host->GetGroupDefaults(groups.Out());
    SetChannelFactoryParent(channels);
    SetEventFactoryParent(events);
    SetGroupFactoryParent(groups);
}

void CQvxControlBase::SetChannelFactoryParent(IQvxPropertyFactory* parent)
{
    if (ChannelFactory) ChannelFactory->SetParent(parent);
}

void CQvxControlBase::SetEventFactoryParent(IQvxEventPropertyFactory* parent)
{
    if (EventFactory) EventFactory->SetParent(parent);
}

void CQvxControlBase::SetGroupFactoryParent(IQvxGroupFactory* parent)
{
    if (GroupFactory) GroupFactory->SetParent(parent);
}

HRESULT CQvxControlBase::AddConfigurationPage(const wchar_t* name)
{
    if (!ConfigurationPages) return E_UNEXPECTED;
    try {
        return ConfigurationPages->Append(name);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

// --- IQvxControl ---

STDMETHODIMP CQvxControlBase::GetHost(IQvxHost** host)
{
    if (!host) return E_POINTER;
    *host = nullptr;
    if (!Host) return E_UNEXPECTED;
    return Host->QueryInterface(__uuidof(IQvxHost), reinterpret_cast<void**>(host));
}

STDMETHODIMP CQvxControlBase::SetHost(IUnknown* host)
{
    if (Host) return E_UNEXPECTED;
    if (!host) return E_INVALIDARG;
    const CComPtr<IUnknown> keepAlive = KeepAlive();
    CComPtr<IQvxOrvid> root;
    HRESULT hr = root.QueryFrom(host, __uuidof(IQvxOrvid));
    if (FAILED(hr)) return hr;
    if (!root) return E_NOINTERFACE;
    Host = std::move(root);
    hr = OnHostAttached();
    if (FAILED(hr)) {
        if (RootSink) RootSink->Unadvise(Host);
        Host = nullptr;
    }
    return hr;
}

STDMETHODIMP CQvxControlBase::GetTask(IQvxTask** task)
{
    return Task.CopyTo(task);
}

STDMETHODIMP CQvxControlBase::SetTaskById(long id)
{
    if (!Host) return E_UNEXPECTED;
    const CComPtr<IUnknown> keepAlive = KeepAlive();
    CComPtr<IQvxTaskList> tasks;
    if (FAILED(Host->GetTaskList(tasks.Out())) || !tasks) return E_FAIL;
    CComPtr<IQvxTask> task;
    HRESULT hr = tasks->GetItem(id, task.Out());
    if (FAILED(hr)) return hr;
    // A list that answers with no task has no task of that id; the present one stays.
    if (!task) return E_FAIL;
    SetTask(task);
    return S_OK;
}

STDMETHODIMP CQvxControlBase::GetConfigurationPages(IQvxDataNames** pages)
{
    if (!pages) return E_POINTER;
    *pages = nullptr;
    if (!ConfigurationPages) return E_UNEXPECTED;
    *pages = ConfigurationPages.Get();
    (*pages)->AddRef();
    return S_OK;
}

namespace {

// A factory with a reference, or S_FALSE for none: the control makes its factories when it is
// initialised.
template <class I>
HRESULT GiveFactory(I* held, I** factory)
{
    if (!factory) return E_POINTER;
    *factory = held;
    if (!held) return S_FALSE;
    held->AddRef();
    return S_OK;
}

} // namespace

STDMETHODIMP CQvxControlBase::GetChannelPropertyFactory(IQvxPropertyFactory** factory)
{
    return GiveFactory<IQvxPropertyFactory>(ChannelFactory, factory);
}

STDMETHODIMP CQvxControlBase::GetEventPropertyFactory(IQvxEventPropertyFactory** factory)
{
    return GiveFactory<IQvxEventPropertyFactory>(EventFactory, factory);
}

STDMETHODIMP CQvxControlBase::GetGroupFactory(IQvxGroupFactory** factory)
{
    return GiveFactory<IQvxGroupFactory>(GroupFactory, factory);
}

// --- attachment ---

HRESULT CQvxControlBase::OnHostAttached()
{
    // A sink still advised means an attachment that never ended: refuse rather than hear twice.
    if (!RootSink || RootSink->IsAdvised()) return E_FAIL;
    return RootSink->Advise(Host) ? S_OK : E_FAIL;
}

void CQvxControlBase::OnHostDetached()
{
    if (TaskSink) TaskSink->Unadvise(Task);
    if (RootSink) RootSink->Unadvise(Host);
    Host = nullptr;
}

void CQvxControlBase::SetTask(IQvxTask* task)
{
    const CComPtr<IUnknown> keepAlive = KeepAlive();
    CComPtr<IQvxTask> old = std::move(Task);
    Task = task;
    // Off the old task before the chart and the host hear of the new one: a host that sets
    // another task from inside that news leaves the sink on its last choice.
    if (TaskSink) TaskSink->Unadvise(old);
    OnTaskAttached(old);
    if (TaskSink && Task) TaskSink->Advise(Task);
}

void CQvxControlBase::OnChannelConfigChanged()
{
    MarkModified();
}

void CQvxControlBase::OnEventConfigChanged()
{
    MarkModified();
}
