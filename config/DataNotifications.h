#pragma once
// IQvxDataNotifications: a series' samples changed, or the series is going away.
#include "config/NotificationSinks.h"

class CDataNotificationsReceiver
{
public:
    // The span of changed samples, absolute; the times are copies that the call may change.
    virtual void OnDataChanged(IUnknown* /*source*/, qvx::time* /*from*/, qvx::time* /*to*/) {}
    virtual void OnDataGoingAway(IUnknown* /*source*/) {}

protected:
    ~CDataNotificationsReceiver() = default;
};

template <class Base>
class CDataNotificationsSink : public CBaseNotificationsSink<CDataNotificationsReceiver>, public Base
{
public:
    explicit CDataNotificationsSink(CDataNotificationsReceiver* receiver) : CBaseNotificationsSink(receiver) {}

    STDMETHODIMP OnDataChanged(IUnknown* source, __int64 from, __int64 to) override
    {
        qvx::time first = from;
        qvx::time last = to;
        return Forward(&CDataNotificationsReceiver::OnDataChanged, source, &first, &last);
    }
    STDMETHODIMP OnDataGoingAway(IUnknown* source) override
    {
        return Forward(&CDataNotificationsReceiver::OnDataGoingAway, source);
    }
};
