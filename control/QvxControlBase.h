#pragma once
// The control's side of host attachment: IQvxControl3 with its two earlier versions, through
// which the host gives the control its root and a task. The part holds the host root, the task
// and the sinks through which their notifications reach the chart; the chart gives the virtual
// operations their meaning.
//
// The sinks are made once and outlive a change of host or task: each is advised on the next
// source after it has been taken off the last one.
#include <windows.h>
#include <string>
#include "com/ComPtr.h"
#include "config/DataNames.h"
#include "Interfaces.h"
#include "config/GroupNotifications.h"
#include "config/OrvidNotifications.h"
#include "config/PropertyFactoryNotifications.h"
#include "config/TaskNotifications.h"

class CQvxControlBase : public IQvxControl3
{
public:
    // The factory word: which of the host's factories the control uses, and whether the ordering
    // modes are persisted.
    static constexpr DWORD UsesChannelPropertyFactory = 0x1;
    static constexpr DWORD UsesEventPropertyFactory = 0x2;
    static constexpr DWORD UsesGroupFactory = 0x4;
    static constexpr DWORD PersistsOrderingModes = 0x8;

    // --- IQvxControl ---
    // The host's application face; E_UNEXPECTED without a host.
    STDMETHODIMP GetHost(IQvxHost** host) override;
    // Once only: E_UNEXPECTED while a host is set, E_INVALIDARG for null. A failed attachment
    // leaves the control without a host.
    STDMETHODIMP SetHost(IUnknown* host) override;
    // The current task, or null.
    STDMETHODIMP GetTask(IQvxTask** task) override;
    // The task of that id in the host's task list. E_UNEXPECTED without a host, E_FAIL when the
    // host gives no task list; the list's failure for an unknown id is returned as it is.
    STDMETHODIMP SetTaskById(long id) override;
    // The names of the pages that the host's configuration dialog shows for this control.
    STDMETHODIMP GetConfigurationPages(IQvxDataNames** pages) override;
    // --- IQvxControl2 ---
    // S_FALSE and null while the control uses no such factory.
    STDMETHODIMP GetChannelPropertyFactory(IQvxPropertyFactory** factory) override;
    // --- IQvxControl3 ---
    STDMETHODIMP GetEventPropertyFactory(IQvxEventPropertyFactory** factory) override;
    STDMETHODIMP GetGroupFactory(IQvxGroupFactory** factory) override;

    // --- what the chart makes of an attachment ---
    // After the host root is stored: subscribes to it. A failure makes SetHost fail.
    virtual HRESULT OnHostAttached();
    // Unsubscribes from the task and the host root, and lets the host go.
    virtual void OnHostDetached();
    // A task has been set or cleared; `oldTask` is the one before, null for none.
    virtual void OnTaskAttached(IQvxTask* oldTask) = 0;
    // The group factory changed: groups are resolved again.
    virtual void OnGroupFactoryChanged() = 0;
    virtual void OnChannelConfigChanged();
    virtual void OnEventConfigChanged();
    // Is the named channel, or event set, in the configured list?
    virtual bool IsChannelSelected(const std::wstring& name) = 0;
    virtual bool IsEventSelected(const std::wstring& name) = 0;
    // Sets the requires-save flag, then tells the data advise sinks.
    virtual void MarkModified() = 0;

    // The control as its notifications name it.
    IQvxControl* ControlInterface() noexcept { return this; }
    // A reference on the control for the length of a call out (a firing, a call to the host)
    // after which the caller still uses the control: the other side may let it go meanwhile.
    CComPtr<IUnknown> KeepAlive() noexcept { return CComPtr<IUnknown>(ControlInterface()); }
    IQvxOrvid* GetHostRoot() const noexcept { return Host; }
    IQvxTask* GetAttachedTask() const noexcept { return Task; }

protected:
    explicit CQvxControlBase(DWORD factoryUse) noexcept;
    // Takes the sinks off whatever they are still advised on and cuts them off: the host may
    // hold them longer.
    ~CQvxControlBase();
    // The sink on the host root as the host sees it; null before the control is initialised.
    IQvxOrvidNotifications4* GetRootSink() const noexcept { return RootSink.Get(); }

    // The empty list of page names and the sinks, which forward to `root` and `task`, and to the
    // three factory receivers for the factories that the factory word names. Part of the
    // control's construction: E_OUTOFMEMORY when something cannot be made.
    HRESULT InitialiseControlBase(COrvidNotifications4Receiver* root, CTaskNotifications6Receiver* task,
                                  CChannelPropertyFactoryNotifications2Receiver* channels,
                                  CEventPropertyFactoryNotificationsReceiver* events,
                                  CGroupFactoryNotificationsReceiver* groups);
    // Makes the factories that the word names and have not been made, in process: the two
    // property factories initialised on storage in memory. Subscribes to each. E_UNEXPECTED
    // when one cannot be made.
    HRESULT CreateFactories();
    // The host's defaults (or none, for a null host) become the factories' parents.
    void ConnectFactories(IQvxOrvid* host);
    void SetChannelFactoryParent(IQvxPropertyFactory* parent);
    void SetEventFactoryParent(IQvxEventPropertyFactory* parent);
    void SetGroupFactoryParent(IQvxGroupFactory* parent);
    IQvxPropertyFactory* GetChannelFactoryObject() const noexcept { return ChannelFactory; }
    HRESULT AddConfigurationPage(const wchar_t* name);

    // Stores `task` (null detaches), takes the task sink off the task before, runs OnTaskAttached
    // with it, advises the sink on the new task and lets the old one go.
    void SetTask(IQvxTask* task);

    const DWORD FactoryUse;

private:
    using CRootSink = COrvidNotifications4Sink<CBaseSingleSourceSink<IQvxOrvidNotifications4>>;
    using CTaskSink = CTaskNotifications6Sink<CBaseSingleSourceSink<IQvxTaskNotifications6>>;
    using CChannelFactorySink =
        CChannelPropertyFactoryNotifications2Sink<CBaseSingleSourceSink<IQvxChannelPropertyFactoryNotifications2>>;
    using CEventFactorySink =
        CEventPropertyFactoryNotificationsSink<CBaseSingleSourceSink<IQvxEventPropertyFactoryNotifications>>;
    using CGroupFactorySink = CGroupFactoryNotificationsSink<CBaseSingleSourceSink<IQvxGroupFactoryNotifications>>;

    CComPtr<IQvxOrvid> Host;
    CComPtr<IQvxTask> Task;
    CComPtr<CDataNames> ConfigurationPages;
    CComPtr<CRootSink> RootSink;
    CComPtr<CTaskSink> TaskSink;
    CComPtr<IQvxPropertyFactory> ChannelFactory;
    CComPtr<IQvxEventPropertyFactory> EventFactory;
    CComPtr<IQvxGroupFactory> GroupFactory;
    CComPtr<CChannelFactorySink> ChannelFactorySink;
    CComPtr<CEventFactorySink> EventFactorySink;
    CComPtr<CGroupFactorySink> GroupFactorySink;
};
