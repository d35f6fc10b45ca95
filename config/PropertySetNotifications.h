#pragma once
// IQvxPropertySetNotifications and 2: a property changed (a null name: all of them), or the
// property set is going away.
#include "config/NotificationSinks.h"

class CPropertySetNotificationsReceiver
{
public:
    virtual void OnPropertyChanged(IQvxPropertySet* /*source*/, BSTR /*name*/) {}

protected:
    ~CPropertySetNotificationsReceiver() = default;
};

class CPropertySetNotifications2Receiver : public CPropertySetNotificationsReceiver
{
public:
    virtual void OnPropertySetGoingAway(IQvxPropertySet* /*source*/) {}

protected:
    ~CPropertySetNotifications2Receiver() = default;
};

template <class Base>
class CPropertySetNotificationsSink : public CBaseNotificationsSink<CPropertySetNotificationsReceiver>, public Base
{
public:
    explicit CPropertySetNotificationsSink(CPropertySetNotificationsReceiver* receiver) : CBaseNotificationsSink(receiver) {}

    STDMETHODIMP OnPropertyChanged(IQvxPropertySet* source, BSTR name) override
    {
        return Forward(&CPropertySetNotificationsReceiver::OnPropertyChanged, source, name);
    }
};

template <class Base>
class CPropertySetNotifications2Sink : public CPropertySetNotificationsSink<Base>
{
public:
    explicit CPropertySetNotifications2Sink(CPropertySetNotifications2Receiver* receiver) : CPropertySetNotificationsSink<Base>(receiver) {}

    STDMETHODIMP OnPropertySetGoingAway(IQvxPropertySet* source) override
    {
        return this->ForwardAs(&CPropertySetNotifications2Receiver::OnPropertySetGoingAway, source);
    }
};
