#include "com/ConnectionPoints.h"
#include <algorithm>
#include "com/Enumerator.h"

namespace {

// Keeps each sink alive while the list lives.
struct CHeldConnection
{
    CComPtr<IUnknown> Sink;
    DWORD Cookie;
};

CONNECTDATA HandOutHeldConnection(const CHeldConnection& held)
{
    if (held.Sink) held.Sink->AddRef();
    return CONNECTDATA{held.Sink.Get(), held.Cookie};
}

IConnectionPoint* HandOutPoint(const CComPtr<IConnectionPoint>& point)
{
    IConnectionPoint* p = point.Get();
    if (p) p->AddRef();
    return p;
}

using CEnumConnections = CEnumerator<IEnumConnections, CONNECTDATA, CHeldConnection, &HandOutHeldConnection>;
using CEnumConnectionPoints =
    CEnumerator<IEnumConnectionPoints, IConnectionPoint*, CComPtr<IConnectionPoint>, &HandOutPoint>;

} // namespace

STDMETHODIMP CConnectionPoint::QueryInterface(REFIID iid, void** out)
{
    if (!out) return E_POINTER;
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IConnectionPoint)) {
        *out = static_cast<IConnectionPoint*>(this);
        AddRef();
        return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP CConnectionPoint::GetConnectionInterface(IID* iid)
{
    if (!iid) return E_POINTER;
    *iid = Iid;
    return S_OK;
}

STDMETHODIMP CConnectionPoint::GetConnectionPointContainer(IConnectionPointContainer** out)
{
    if (!out) return E_POINTER;
    *out = &Container;
    Container.AddRef();
    return S_OK;
}

STDMETHODIMP CConnectionPoint::Advise(IUnknown* sink, DWORD* cookie)
{
    if (cookie) *cookie = 0;
    if (!sink || !cookie) return E_POINTER;
    CComPtr<IUnknown> typed;
    if (FAILED(sink->QueryInterface(Iid, typed.OutVoid())) || !typed) return CONNECT_E_CANNOTCONNECT;
    // Cookies are never 0 and never reused while a connection holds them.
    DWORD next = NextCookie;
    while (next == 0 || IsConnected(next)) ++next;
    try {
        Connections.push_back({next, std::move(typed)});
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    NextCookie = next + 1;
    *cookie = next;
    return S_OK;
}

STDMETHODIMP CConnectionPoint::Unadvise(DWORD cookie)
{
    auto found = std::find_if(Connections.begin(), Connections.end(),
                              [cookie](const CConnection& c) { return c.Cookie == cookie; });
    if (found == Connections.end()) return CONNECT_E_NOCONNECTION;
    // The sink is released after the list is consistent again: its Release may call back.
    CComPtr<IUnknown> sink = std::move(found->Sink);
    Connections.erase(found);
    return S_OK;
}

STDMETHODIMP CConnectionPoint::EnumConnections(IEnumConnections** out)
{
    if (!out) return E_POINTER;
    *out = nullptr;
    CEnumConnections::Items items;
    try {
        for (const CConnection& connection : Connections) items.push_back({connection.Sink, connection.Cookie});
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    return MakeEnumerator<CEnumConnections>(std::move(items), out);
}

bool CConnectionPoint::IsConnected(DWORD cookie) const noexcept
{
    return std::any_of(Connections.begin(), Connections.end(),
                       [cookie](const CConnection& c) { return c.Cookie == cookie; });
}

bool CConnectionPoint::TakeSnapshot(std::vector<CConnection>& snapshot) const noexcept
{
    try {
        snapshot = Connections;
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

STDMETHODIMP CConnectionPointContainerImpl::EnumConnectionPoints(IEnumConnectionPoints** out)
{
    if (!out) return E_POINTER;
    *out = nullptr;
    CEnumConnectionPoints::Items items;
    try {
        for (CConnectionPoint* point : ConnectionPoints()) items.emplace_back(point);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    return MakeEnumerator<CEnumConnectionPoints>(std::move(items), out);
}

STDMETHODIMP CConnectionPointContainerImpl::FindConnectionPoint(REFIID iid, IConnectionPoint** out)
{
    if (!out) return E_POINTER;
    *out = nullptr;
    for (CConnectionPoint* point : ConnectionPoints()) {
        if (IsEqualIID(iid, point->Interface())) {
            *out = point;
            point->AddRef();
            return S_OK;
        }
    }
    return CONNECT_E_NOCONNECTION;
}
