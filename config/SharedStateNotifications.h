#pragma once
// IQvxSharedStateNotifications: a shared view state changed, or is going away.
#include "config/NotificationSinks.h"

class CSharedStateNotificationsReceiver
{
public:
    virtual void OnSharedStateChanged(IUnknown* /*source*/) {}
    virtual void OnSharedStateGoingAway(IUnknown* /*source*/) {}

protected:
    ~CSharedStateNotificationsReceiver() = default;
};

template <class Base>
class CSharedStateNotificationsSink : public CBaseNotificationsSink<CSharedStateNotificationsReceiver>, public Base
{
public:
    using R = CSharedStateNotificationsReceiver;
    explicit CSharedStateNotificationsSink(R* receiver) : CBaseNotificationsSink(receiver) {}

    STDMETHODIMP OnSharedStateChanged(IUnknown* source) override { return Forward(&R::OnSharedStateChanged, source); }
    STDMETHODIMP OnSharedStateGoingAway(IUnknown* source) override { return Forward(&R::OnSharedStateGoingAway, source); }
};
