#pragma once
// IQvxDataFactoryNotifications: the items that a data factory offers changed. Kind 1 is event
// sets. Each operation carries its source, so that one sink can serve many factories.
#include "config/NotificationSinks.h"

class CDataFactoryNotificationsReceiver
{
public:
    virtual void OnItemsReset(IUnknown* /*source*/, long /*kind*/) {}
    virtual void OnItemAdded(IUnknown* /*source*/, long /*kind*/, BSTR /*name*/) {}
    virtual void OnItemRemoved(IUnknown* /*source*/, long /*kind*/, BSTR /*name*/) {}
    virtual void OnItemChanged(IUnknown* /*source*/, long /*kind*/, BSTR /*name*/) {}

protected:
    ~CDataFactoryNotificationsReceiver() = default;
};

template <class Base>
class CDataFactoryNotificationsSink : public CBaseNotificationsSink<CDataFactoryNotificationsReceiver>, public Base
{
public:
    using R = CDataFactoryNotificationsReceiver;
    explicit CDataFactoryNotificationsSink(R* receiver) : CBaseNotificationsSink(receiver) {}

    STDMETHODIMP OnItemsReset(IUnknown* source, long kind) override { return Forward(&R::OnItemsReset, source, kind); }
    STDMETHODIMP OnItemAdded(IUnknown* source, long kind, BSTR name) override
    {
        return Forward(&R::OnItemAdded, source, kind, name);
    }
    STDMETHODIMP OnItemRemoved(IUnknown* source, long kind, BSTR name) override
    {
        return Forward(&R::OnItemRemoved, source, kind, name);
    }
    STDMETHODIMP OnItemChanged(IUnknown* source, long kind, BSTR name) override
    {
        return Forward(&R::OnItemChanged, source, kind, name);
    }
};
