#pragma once
// IQvxZoomStackNotifications, 2 and 3: the zoom stack's range, its going away, its levels, and
// any other change of the stack.
#include "config/NotificationSinks.h"

class CZoomStackNotificationsReceiver
{
public:
    virtual void OnRangeChanged(IQvxZoomStack* /*stack*/) {}
    virtual void OnStackGoingAway(IQvxZoomStack* /*stack*/) {}

protected:
    ~CZoomStackNotificationsReceiver() = default;
};

class CZoomStackNotifications2Receiver : public CZoomStackNotificationsReceiver
{
public:
    // The first level was pushed or the last one removed.
    virtual void OnLevelsChanged(IQvxZoomStack* /*stack*/) {}

protected:
    ~CZoomStackNotifications2Receiver() = default;
};

class CZoomStackNotifications3Receiver : public CZoomStackNotifications2Receiver
{
public:
    virtual void OnOtherChange(IQvxZoomStack* /*stack*/) {}

protected:
    ~CZoomStackNotifications3Receiver() = default;
};

template <class Base>
class CZoomStackNotificationsSink : public CBaseNotificationsSink<CZoomStackNotificationsReceiver>, public Base
{
public:
    explicit CZoomStackNotificationsSink(CZoomStackNotificationsReceiver* receiver) : CBaseNotificationsSink(receiver) {}

    STDMETHODIMP OnRangeChanged(IQvxZoomStack* stack) override
    {
        return Forward(&CZoomStackNotificationsReceiver::OnRangeChanged, stack);
    }
    STDMETHODIMP OnStackGoingAway(IQvxZoomStack* stack) override
    {
        return Forward(&CZoomStackNotificationsReceiver::OnStackGoingAway, stack);
    }
};

template <class Base>
class CZoomStackNotifications2Sink : public CZoomStackNotificationsSink<Base>
{
public:
    explicit CZoomStackNotifications2Sink(CZoomStackNotifications2Receiver* receiver) : CZoomStackNotificationsSink<Base>(receiver) {}

    STDMETHODIMP OnLevelsChanged(IQvxZoomStack* stack) override
    {
        return this->ForwardAs(&CZoomStackNotifications2Receiver::OnLevelsChanged, stack);
    }
};

template <class Base>
class CZoomStackNotifications3Sink : public CZoomStackNotifications2Sink<Base>
{
public:
    explicit CZoomStackNotifications3Sink(CZoomStackNotifications3Receiver* receiver) : CZoomStackNotifications2Sink<Base>(receiver) {}

    STDMETHODIMP OnOtherChange(IQvxZoomStack* stack) override
    {
        return this->ForwardAs(&CZoomStackNotifications3Receiver::OnOtherChange, stack);
    }
};
