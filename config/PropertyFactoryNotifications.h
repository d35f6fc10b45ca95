#pragma once
// The notifications of the property factories: IQvxChannelPropertyFactoryNotifications and 2,
// and IQvxEventPropertyFactoryNotifications. A set was added or removed, the factory changed as
// a whole, or (channels, version 2) it was given another parent; the event factory also asks,
// before it removes a set, how many uses each view still has of it.
#include "config/NotificationSinks.h"

class CChannelPropertyFactoryNotificationsReceiver
{
public:
    virtual void OnPropertySetAdded(IQvxPropertyFactory* /*factory*/, BSTR /*name*/) {}
    virtual void OnPropertySetRemoved(IQvxPropertyFactory* /*factory*/, BSTR /*name*/) {}
    virtual void OnFactoryChanged(IQvxPropertyFactory* /*factory*/) {}

protected:
    ~CChannelPropertyFactoryNotificationsReceiver() = default;
};

class CChannelPropertyFactoryNotifications2Receiver : public CChannelPropertyFactoryNotificationsReceiver
{
public:
    virtual void OnParentChanged(IQvxPropertyFactory* /*factory*/) {}

protected:
    ~CChannelPropertyFactoryNotifications2Receiver() = default;
};

template <class Base>
class CChannelPropertyFactoryNotificationsSink
    : public CBaseNotificationsSink<CChannelPropertyFactoryNotificationsReceiver>, public Base
{
public:
    using R = CChannelPropertyFactoryNotificationsReceiver;
    explicit CChannelPropertyFactoryNotificationsSink(R* receiver) : CBaseNotificationsSink(receiver) {}

    STDMETHODIMP OnPropertySetAdded(IQvxPropertyFactory* f, BSTR name) override { return Forward(&R::OnPropertySetAdded, f, name); }
    STDMETHODIMP OnPropertySetRemoved(IQvxPropertyFactory* f, BSTR name) override { return Forward(&R::OnPropertySetRemoved, f, name); }
    STDMETHODIMP OnFactoryChanged(IQvxPropertyFactory* f) override { return Forward(&R::OnFactoryChanged, f); }
};

template <class Base>
class CChannelPropertyFactoryNotifications2Sink : public CChannelPropertyFactoryNotificationsSink<Base>
{
public:
    explicit CChannelPropertyFactoryNotifications2Sink(CChannelPropertyFactoryNotifications2Receiver* receiver)
        : CChannelPropertyFactoryNotificationsSink<Base>(receiver) {}

    STDMETHODIMP OnParentChanged(IQvxPropertyFactory* f) override
    {
        return this->ForwardAs(&CChannelPropertyFactoryNotifications2Receiver::OnParentChanged, f);
    }
};

class CEventPropertyFactoryNotificationsReceiver
{
public:
    virtual void OnPropertySetAdded(IQvxPropertyFactory* /*factory*/, BSTR /*name*/) {}
    virtual void OnPropertySetRemoved(IQvxPropertyFactory* /*factory*/, BSTR /*name*/) {}
    virtual void OnFactoryChanged(IQvxPropertyFactory* /*factory*/) {}
    virtual void QueryPropertySetUses(IQvxPropertyFactory* /*factory*/, BSTR /*name*/, long* /*uses*/) {}

protected:
    ~CEventPropertyFactoryNotificationsReceiver() = default;
};

template <class Base>
class CEventPropertyFactoryNotificationsSink
    : public CBaseNotificationsSink<CEventPropertyFactoryNotificationsReceiver>, public Base
{
public:
    using R = CEventPropertyFactoryNotificationsReceiver;
    explicit CEventPropertyFactoryNotificationsSink(R* receiver) : CBaseNotificationsSink(receiver) {}

    STDMETHODIMP OnPropertySetAdded(IQvxPropertyFactory* f, BSTR name) override { return Forward(&R::OnPropertySetAdded, f, name); }
    STDMETHODIMP OnPropertySetRemoved(IQvxPropertyFactory* f, BSTR name) override { return Forward(&R::OnPropertySetRemoved, f, name); }
    STDMETHODIMP OnFactoryChanged(IQvxPropertyFactory* f) override { return Forward(&R::OnFactoryChanged, f); }
    // No uses unless the receiver counts some: a sink that is cut off answers 0.
    STDMETHODIMP QueryPropertySetUses(IQvxPropertyFactory* f, BSTR name, long* uses) override
    {
        if (!uses) return E_POINTER;
        *uses = 0;
        return Forward(&R::QueryPropertySetUses, f, name, uses);
    }
};
