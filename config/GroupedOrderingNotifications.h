#pragma once
// IQvxGroupedOrderingNotifications: the grouped mode of a channel ordering changed.
#include "config/NotificationSinks.h"

class CGroupedOrderingNotificationsReceiver
{
public:
    virtual void OnGroupedOrderingChanged(IQvxGroupedOrdering* /*ordering*/) {}

protected:
    ~CGroupedOrderingNotificationsReceiver() = default;
};

template <class Base>
class CGroupedOrderingNotificationsSink : public CBaseNotificationsSink<CGroupedOrderingNotificationsReceiver>, public Base
{
public:
    explicit CGroupedOrderingNotificationsSink(CGroupedOrderingNotificationsReceiver* receiver) : CBaseNotificationsSink(receiver) {}

    STDMETHODIMP OnGroupedOrderingChanged(IQvxGroupedOrdering* ordering) override
    {
        return Forward(&CGroupedOrderingNotificationsReceiver::OnGroupedOrderingChanged, ordering);
    }
};
