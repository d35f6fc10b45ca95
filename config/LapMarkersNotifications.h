#pragma once
// IQvxLapMarkersNotifications: the lap markers changed, or the stretch of time for which the
// selection holds data moved.
#include "config/NotificationSinks.h"

class CLapMarkersNotificationsReceiver
{
public:
    virtual void OnMarkersChanged(IUnknown* /*source*/) {}
    // Absolute times, copies that the call may change.
    virtual void OnTimeRangeChanged(IUnknown* /*source*/, qvx::time* /*from*/, qvx::time* /*to*/) {}

protected:
    ~CLapMarkersNotificationsReceiver() = default;
};

template <class Base>
class CLapMarkersNotificationsSink : public CBaseNotificationsSink<CLapMarkersNotificationsReceiver>, public Base
{
public:
    explicit CLapMarkersNotificationsSink(CLapMarkersNotificationsReceiver* receiver) : CBaseNotificationsSink(receiver) {}

    STDMETHODIMP OnMarkersChanged(IUnknown* source) override
    {
        return Forward(&CLapMarkersNotificationsReceiver::OnMarkersChanged, source);
    }
    STDMETHODIMP OnTimeRangeChanged(IUnknown* source, __int64 from, __int64 to) override
    {
        qvx::time first = from;
        qvx::time last = to;
        return Forward(&CLapMarkersNotificationsReceiver::OnTimeRangeChanged, source, &first, &last);
    }
};
