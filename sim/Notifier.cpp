#include "sim/Notifier.h"
#include <algorithm>
#include <olectl.h>
#include "sim/HostCalls.h"

namespace {

LONG& SinkCount()
{
    static LONG count = 0;
    return count;
}

} // namespace

CNotifier::CNotifier(std::initializer_list<IID> offered) : Offered(offered) {}

CNotifier::~CNotifier()
{
    Clear();
}

LONG CNotifier::LiveSinks()
{
    return SinkCount();
}

bool& CNotifier::LateDelivery() noexcept
{
    static bool late = false;
    return late;
}

void CNotifier::SetLateDelivery(bool late) noexcept
{
    LateDelivery() = late;
}

bool CNotifier::Matches(const CEntry& entry, std::initializer_list<IID> iids)
{
    return std::any_of(iids.begin(), iids.end(), [&](const IID& iid) { return IsEqualIID(iid, entry.Iid); });
}

std::vector<CComPtr<IUnknown>> CNotifier::TakeLateSinks(std::initializer_list<IID> iids)
{
    std::vector<CEntry> departed;
    departed.swap(Departed);
    std::vector<CComPtr<IUnknown>> sinks;
    for (const std::vector<CEntry>* list : {&Entries, &departed}) {
        for (const CEntry& entry : *list) {
            if (Matches(entry, iids)) sinks.push_back(entry.Sink);
        }
    }
    return sinks;
}

HRESULT CNotifier::Advise(REFIID iid, IUnknown* sink, ULONG* cookie)
{
    if (!sink || !cookie) return E_POINTER;
    *cookie = 0;
    if (std::none_of(Offered.begin(), Offered.end(), [&](const IID& o) { return IsEqualIID(o, iid); }))
        return E_NOINTERFACE;
    CComPtr<IUnknown> typed;
    HRESULT hr = sink->QueryInterface(iid, typed.OutVoid());
    if (FAILED(hr)) return hr;
    if (!typed) return E_NOINTERFACE;
    Entries.push_back({NextCookie, iid, std::move(typed)});
    *cookie = NextCookie++;
    ++SinkCount();
    return S_OK;
}

HRESULT CNotifier::AdviseByName(BSTR iid, IUnknown* sink, ULONG* cookie)
{
    if (!sink || !cookie) return E_POINTER;
    *cookie = 0;
    IID id;
    if (!iid || FAILED(IIDFromString(iid, &id))) return E_INVALIDARG;
    return Advise(id, sink, cookie);
}

HRESULT CNotifier::Unadvise(ULONG cookie)
{
    auto entry = std::find_if(Entries.begin(), Entries.end(), [&](const CEntry& e) { return e.Cookie == cookie; });
    if (entry == Entries.end()) return CONNECT_E_NOCONNECTION;
    // The sink is released after it has left the list: its release may call back.
    CComPtr<IUnknown> sink = std::move(entry->Sink);
    const IID iid = entry->Iid;
    Entries.erase(entry);
    --SinkCount();
    if (LateDelivery()) Departed.push_back({cookie, iid, sink});
    return S_OK;
}

void CNotifier::Clear()
{
    std::vector<CEntry> entries, departed;
    entries.swap(Entries);
    departed.swap(Departed);
    SinkCount() -= LONG(entries.size());
}

IUnknown* CNotifier::Find(ULONG cookie) const
{
    for (const CEntry& entry : Entries) {
        if (entry.Cookie == cookie) return entry.Sink.Get();
    }
    return nullptr;
}

STDMETHODIMP CNotificationsImpl::AdviseByName(BSTR iid, IUnknown* sink, ULONG* cookie)
{
    QVX_HOST_CALL("IQvxNotifications.AdviseByName");
    return Notifier.AdviseByName(iid, sink, cookie);
}

STDMETHODIMP CNotificationsImpl::Advise(REFIID iid, IUnknown* sink, ULONG* cookie)
{
    QVX_HOST_CALL("IQvxNotifications.Advise");
    return Notifier.Advise(iid, sink, cookie);
}

STDMETHODIMP CNotificationsImpl::Unadvise(ULONG cookie)
{
    QVX_HOST_CALL("IQvxNotifications.Unadvise");
    return Notifier.Unadvise(cookie);
}
