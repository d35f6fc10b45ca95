#include "control/NotificationPoints.h"
#include <objbase.h>
#include "com/AutomationTypes.h"

STDMETHODIMP IQvxNotificationsImpl::AdviseByName(BSTR iid, IUnknown* sink, ULONG* cookie)
{
    if (!sink || !cookie) return E_POINTER;
    *cookie = 0;
    CLSID id;
    if (FAILED(CLSIDFromString(iid, &id))) return E_FAIL;
    CComPtr<IUnknown> unknown;
    if (FAILED(unknown.QueryFrom(sink, IID_IUnknown)) || !unknown) return E_FAIL;
    return Advise(id, unknown, cookie);
}

STDMETHODIMP IQvxNotificationsImpl::Advise(REFIID iid, IUnknown* sink, ULONG* cookie)
{
    if (!sink || !cookie) return E_POINTER;
    *cookie = 0;
    const std::span<QvxNotificationPointLocator* const> points = NotificationPoints();
    for (size_t i = 0; i < points.size(); ++i) {
        if (!IsEqualIID(points[i]->GetIid(), iid)) continue;
        uint16_t entry = 0;
        HRESULT hr = points[i]->Advise(sink, &entry);
        if (SUCCEEDED(hr)) *cookie = (ULONG(entry) << 16) | ULONG(i + 1);
        return hr;
    }
    return E_FAIL;
}

STDMETHODIMP IQvxNotificationsImpl::Unadvise(ULONG cookie)
{
    const std::span<QvxNotificationPointLocator* const> points = NotificationPoints();
    const ULONG number = cookie & 0xFFFF;
    if (number < 1 || number > points.size()) return E_FAIL;
    return points[number - 1]->Unadvise(uint16_t(cookie >> 16));
}

HRESULT CProxyIQvxNavigateToPropertiesNotifications::Fire_OnNavigateToProperties(IQvxControl* control, long kind,
                                                                                BSTR name)
{
    CSafeArray names(SafeArrayCreateVector(VT_BSTR, 0, 1));
    if (!names.Get()) return E_OUTOFMEMORY;
    LONG index = 0;
    HRESULT hr = SafeArrayPutElement(names.Get(), &index, name);
    if (FAILED(hr)) return hr;
    return Fire(control, [&](IQvxNavigateToPropertiesNotifications* sink) {
        return sink->OnNavigateToProperties(control, kind, names.Get());
    });
}

CControlNotificationPoints::CControlNotificationPoints() noexcept
    : Points{static_cast<CControlNotificationsPoint*>(this),
             static_cast<CControlNotifications2Point*>(this),
             static_cast<CProxyIQvx1DChannelConfigNotifications*>(this),
             static_cast<CProxyIQvxEventsConfigNotifications*>(this),
             static_cast<CProxyIQvxNavigateToPropertiesNotifications*>(this),
             static_cast<CProxyIQvxSingleDataSelectionControlNotifications*>(this)}
{
}
