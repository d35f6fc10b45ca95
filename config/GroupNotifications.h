#pragma once
// The notifications of groups: IQvxGroupFactoryNotifications, and IQvxGroupNotifications and 2.
// A group's receiver has its places in pairs swapped against the interface: interface
// operations 0 to 5 reach places 1, 0, 3, 2, 5, 4. Interface operation 2 is a query: the sink
// answers S_OK when the receiver agrees or is gone, and S_FALSE when it does not.
#include "config/NotificationSinks.h"

class CGroupFactoryNotificationsReceiver
{
public:
    virtual void OnGroupAdded(IQvxGroupFactory* /*factory*/, BSTR /*name*/) {}
    virtual void OnGroupRemoved(IQvxGroupFactory* /*factory*/, BSTR /*name*/) {}
    virtual void OnGroupsChanged(IQvxGroupFactory* /*factory*/) {}

protected:
    ~CGroupFactoryNotificationsReceiver() = default;
};

template <class Base>
class CGroupFactoryNotificationsSink : public CBaseNotificationsSink<CGroupFactoryNotificationsReceiver>, public Base
{
public:
    using R = CGroupFactoryNotificationsReceiver;
    explicit CGroupFactoryNotificationsSink(R* receiver) : CBaseNotificationsSink(receiver) {}

    STDMETHODIMP OnGroupAdded(IQvxGroupFactory* f, BSTR name) override { return Forward(&R::OnGroupAdded, f, name); }
    STDMETHODIMP OnGroupRemoved(IQvxGroupFactory* f, BSTR name) override { return Forward(&R::OnGroupRemoved, f, name); }
    STDMETHODIMP OnGroupsChanged(IQvxGroupFactory* f) override { return Forward(&R::OnGroupsChanged, f); }
};

class CGroupNotificationsReceiver
{
public:
    virtual void OnGroupChanged(IQvxGroup* /*group*/) {}
    virtual void OnGroupContentsChanged(IQvxGroup* /*group*/) {}
    virtual void OnGroupGoingAway(IQvxGroup* /*group*/) {}
    // True when the group may be removed.
    virtual bool QueryGroupRemoval(IQvxGroup* /*group*/) { return true; }

protected:
    ~CGroupNotificationsReceiver() = default;
};

class CGroupNotifications2Receiver : public CGroupNotificationsReceiver
{
public:
    virtual void OnMemberAdded(IQvxGroup* /*group*/, BSTR /*name*/) {}
    virtual void OnMemberRemoved(IQvxGroup* /*group*/, BSTR /*name*/) {}

protected:
    ~CGroupNotifications2Receiver() = default;
};

template <class Base>
class CGroupNotificationsSink : public CBaseNotificationsSink<CGroupNotificationsReceiver>, public Base
{
public:
    using R = CGroupNotificationsReceiver;
    explicit CGroupNotificationsSink(R* receiver) : CBaseNotificationsSink(receiver) {}

    STDMETHODIMP OnGroupContentsChanged(IQvxGroup* g) override { return Forward(&R::OnGroupContentsChanged, g); }
    STDMETHODIMP OnGroupChanged(IQvxGroup* g) override { return Forward(&R::OnGroupChanged, g); }
    STDMETHODIMP QueryGroupRemoval(IQvxGroup* g) override
    {
        if (!Receiver) return S_OK;
        return Receiver->QueryGroupRemoval(g) ? S_OK : S_FALSE;
    }
    STDMETHODIMP OnGroupGoingAway(IQvxGroup* g) override { return Forward(&R::OnGroupGoingAway, g); }
};

template <class Base>
class CGroupNotifications2Sink : public CGroupNotificationsSink<Base>
{
public:
    using R2 = CGroupNotifications2Receiver;
    explicit CGroupNotifications2Sink(R2* receiver) : CGroupNotificationsSink<Base>(receiver) {}

    STDMETHODIMP OnMemberRemoved(IQvxGroup* g, BSTR name) override { return this->ForwardAs(&R2::OnMemberRemoved, g, name); }
    STDMETHODIMP OnMemberAdded(IQvxGroup* g, BSTR name) override { return this->ForwardAs(&R2::OnMemberAdded, g, name); }
};
