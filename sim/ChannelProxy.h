#pragma once
// The object of one channel in one selection: its series (for everyone, or per subscriber),
// the count of its uses, its value offset, and its notifications: data changed and going away
// (IQvxDataNotifications), value offset changed (IQvxChannelProxyNotifications).
#include <map>
#include <memory>
#include "sim/Notifier.h"
#include "sim/Series.h"

class CChannelProxy : public CComRoot,
                      public IQvxChannelProxy,
                      public IQvxChannelProxyClients,
                      public IQvxChannelUse,
                      public IQvxChannelOffset,
                      public CNotificationsImpl
{
public:
    QVX_BEGIN_INTERFACES(CChannelProxy)
        QVX_INTERFACE(CChannelProxy, IQvxChannelProxy),
        QVX_INTERFACE(CChannelProxy, IQvxChannelProxyClients),
        QVX_INTERFACE(CChannelProxy, IQvxChannelUse),
        QVX_INTERFACE(CChannelProxy, IQvxChannelOffset),
        QVX_INTERFACE(CChannelProxy, IQvxNotifications),
    QVX_END_INTERFACES()

    CChannelProxy();
    HRESULT Init(std::shared_ptr<const CChannelData> data);

    // IQvxChannelProxy
    QVX_RESERVED(0)
    QVX_RESERVED(1)
    STDMETHODIMP GetData(IQvxData** data) override;
    // IQvxChannelProxyClients
    STDMETHODIMP Subscribe(IQvxPropertySet* propertySet, ULONG* cookie) override;
    STDMETHODIMP Unsubscribe(ULONG cookie) override;
    STDMETHODIMP GetDataFor(ULONG cookie, IQvxData** data) override;
    // IQvxChannelUse
    STDMETHODIMP AddUse() override;
    STDMETHODIMP ReleaseUse() override;
    // IQvxChannelOffset
    STDMETHODIMP GetValueOffset(double* offset) override;
    STDMETHODIMP SetValueOffset(double offset) override;

    // Told by the selection.
    void NotifyDataChanged(qvx::time from, qvx::time to);
    void NotifyGoingAway();

    long Uses() const noexcept { return UseCount; }
    long Subscribers() const noexcept { return long(Subscriptions.size()); }
    // The object's identity, as QueryInterface for IUnknown gives it.
    IUnknown* Identity() { return static_cast<IQvxChannelProxy*>(this); }

private:
    CObjectPtr<CSeries> Series;
    std::map<ULONG, CComPtr<IQvxPropertySet>> Subscriptions;
    ULONG NextCookie = 1;
    long UseCount = 0;
    double ValueOffset = 0.0;
};
