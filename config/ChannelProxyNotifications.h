#pragma once
// IQvxChannelProxyNotifications: the value offset of a channel in a selection changed.
#include "config/NotificationSinks.h"

class CChannelProxyNotificationsReceiver
{
public:
    virtual void OnValueOffsetChanged(IUnknown* /*source*/) {}

protected:
    ~CChannelProxyNotificationsReceiver() = default;
};

template <class Base>
class CChannelProxyNotificationsSink : public CBaseNotificationsSink<CChannelProxyNotificationsReceiver>, public Base
{
public:
    explicit CChannelProxyNotificationsSink(CChannelProxyNotificationsReceiver* receiver) : CBaseNotificationsSink(receiver) {}

    STDMETHODIMP OnValueOffsetChanged(IUnknown* source) override
    {
        return Forward(&CChannelProxyNotificationsReceiver::OnValueOffsetChanged, source);
    }
};
