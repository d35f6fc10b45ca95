#pragma once
// IQvxTransactionNotifications: a host transaction starts, ends, progresses or fails. The
// receiver keeps failure before progress: interface operations 2 and 3 reach its places 3 and 2.
#include "config/NotificationSinks.h"

class CTransactionNotificationsReceiver
{
public:
    virtual void OnTransactionStarted(IUnknown* /*source*/) {}
    virtual void OnTransactionEnded(IUnknown* /*source*/) {}
    virtual void OnTransactionFailed(IUnknown* /*source*/, BSTR /*message*/) {}
    virtual void OnTransactionProgress(IUnknown* /*source*/, long /*percent*/) {}

protected:
    ~CTransactionNotificationsReceiver() = default;
};

template <class Base>
class CTransactionNotificationsSink : public CBaseNotificationsSink<CTransactionNotificationsReceiver>, public Base
{
public:
    using R = CTransactionNotificationsReceiver;
    explicit CTransactionNotificationsSink(R* receiver) : CBaseNotificationsSink(receiver) {}

    STDMETHODIMP OnTransactionStarted(IUnknown* source) override { return Forward(&R::OnTransactionStarted, source); }
    STDMETHODIMP OnTransactionEnded(IUnknown* source) override { return Forward(&R::OnTransactionEnded, source); }
    STDMETHODIMP OnTransactionProgress(IUnknown* source, long percent) override
    {
        return Forward(&R::OnTransactionProgress, source, percent);
    }
    STDMETHODIMP OnTransactionFailed(IUnknown* source, BSTR message) override
    {
        return Forward(&R::OnTransactionFailed, source, message);
    }
};
