#include "QvxControlBase.h"
#include <new>

CQvxControlBase::CQvxControlBase(DWORD factoryUse) noexcept : FactoryUse(factoryUse)
{
}

CQvxControlBase::~CQvxControlBase()
{
    CloseSink(TaskSink, Task);
    CloseSink(RootSink, Host);
}

HRESULT CQvxControlBase::InitialiseControlBase(COrvidNotifications4Receiver* root, CTaskNotifications6Receiver* task)
{
    ConfigurationPages = CDataNames::Make();
    TaskSink = CreateSink<CTaskSink>(task);
    RootSink = CreateSink<CRootSink>(root);
    return ConfigurationPages && TaskSink && RootSink ? S_OK : E_OUTOFMEMORY;
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

// The control makes its channel property, event property and group factories when it is
// initialised, once they exist; until then it has none to give, whatever its factory word says.

STDMETHODIMP CQvxControlBase::GetChannelPropertyFactory(IQvxPropertyFactory** factory)
{
    if (!factory) return E_POINTER;
    *factory = nullptr;
    return S_FALSE;
}

STDMETHODIMP CQvxControlBase::GetEventPropertyFactory(IQvxEventPropertyFactory** factory)
{
    if (!factory) return E_POINTER;
    *factory = nullptr;
    return S_FALSE;
}

STDMETHODIMP CQvxControlBase::GetGroupFactory(IQvxGroupFactory** factory)
{
    if (!factory) return E_POINTER;
    *factory = nullptr;
    return S_FALSE;
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
