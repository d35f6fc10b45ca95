#include "sim/ChannelProxy.h"

CChannelProxy::CChannelProxy()
    : CNotificationsImpl({__uuidof(IQvxDataNotifications), __uuidof(IQvxChannelProxyNotifications)})
{
}

HRESULT CChannelProxy::Init(std::shared_ptr<const CChannelData> data)
{
    HRESULT hr = CreateObject<CSeries, IQvxData2>(Series);
    if (SUCCEEDED(hr)) Series->Init(std::move(data));
    return hr;
}

STDMETHODIMP CChannelProxy::GetData(IQvxData** data)
{
    QVX_HOST_CALL("IQvxChannelProxy.GetData");
    return GiveOut(Series, data);
}

STDMETHODIMP CChannelProxy::Subscribe(IQvxPropertySet* propertySet, ULONG* cookie)
{
    QVX_HOST_CALL("IQvxChannelProxyClients.Subscribe");
    if (!cookie) return E_POINTER;
    *cookie = 0;
    // Each subscriber sees the series itself: the substitute does no filtering.
    Subscriptions.emplace(NextCookie, propertySet);
    *cookie = NextCookie++;
    return S_OK;
}

STDMETHODIMP CChannelProxy::Unsubscribe(ULONG cookie)
{
    QVX_HOST_CALL("IQvxChannelProxyClients.Unsubscribe");
    return Subscriptions.erase(cookie) ? S_OK : E_INVALIDARG;
}

STDMETHODIMP CChannelProxy::GetDataFor(ULONG cookie, IQvxData** data)
{
    QVX_HOST_CALL("IQvxChannelProxyClients.GetDataFor");
    if (!data) return E_POINTER;
    *data = nullptr;
    if (!Subscriptions.count(cookie)) return E_INVALIDARG;
    return GiveOut(Series, data);
}

STDMETHODIMP CChannelProxy::AddUse()
{
    QVX_HOST_CALL("IQvxChannelUse.AddUse");
    ++UseCount;
    return S_OK;
}

STDMETHODIMP CChannelProxy::ReleaseUse()
{
    QVX_HOST_CALL("IQvxChannelUse.ReleaseUse");
    if (UseCount == 0) return E_UNEXPECTED;
    --UseCount;
    return S_OK;
}

STDMETHODIMP CChannelProxy::GetValueOffset(double* offset)
{
    QVX_HOST_CALL("IQvxChannelOffset.GetValueOffset");
    if (!offset) return E_POINTER;
    *offset = ValueOffset;
    return S_OK;
}

STDMETHODIMP CChannelProxy::SetValueOffset(double offset)
{
    QVX_HOST_CALL("IQvxChannelOffset.SetValueOffset");
    ValueOffset = offset;
    // Echoed, also when unchanged: a view that set it waits for this.
    Notifier.Fire<IQvxChannelProxyNotifications>({__uuidof(IQvxChannelProxyNotifications)},
        [&](IQvxChannelProxyNotifications* sink) { sink->OnValueOffsetChanged(Identity()); });
    return S_OK;
}

void CChannelProxy::NotifyDataChanged(qvx::time from, qvx::time to)
{
    Notifier.Fire<IQvxDataNotifications>({__uuidof(IQvxDataNotifications)},
        [&](IQvxDataNotifications* sink) { sink->OnDataChanged(Identity(), from, to); });
}

void CChannelProxy::NotifyGoingAway()
{
    Notifier.Fire<IQvxDataNotifications>({__uuidof(IQvxDataNotifications)},
        [&](IQvxDataNotifications* sink) { sink->OnDataGoingAway(Identity()); });
}
