#pragma once
// The sink family: small counted COM objects that take one host notification interface and
// forward each operation to a receiver, a plain class of the chart.
//
// The host may hold a sink longer than its receiver lives. The owner therefore cuts the sink
// off (Disconnect) before its last release, and a late notification reaches nothing and still
// answers S_OK.
//
// A concrete sink is a template on its base, one of CBaseSingleSourceSink<I> and
// CBaseMultiSourceSink<I>, so that one forwarding class serves both kinds:
//     using CSink = CDataNotificationsSink<CBaseSingleSourceSink<IQvxDataNotifications>>;
//     CComPtr<CSink> sink = CreateSink<CSink>(this);   // null when out of memory
//     sink->Advise(source);
//     ...
//     CloseSink(sink, source);                          // unadvise, cut off, release
#include <windows.h>
#include <map>
#include <new>
#include "com/ComObject.h"
#include "com/SimpleUnknown.h"
#include "Interfaces.h"

// Advises a sink for one notification interface through the source's IQvxNotifications.
inline HRESULT AdviseNotifications(IUnknown* source, REFIID iid, IUnknown* sink, ULONG* cookie)
{
    if (!source || !sink || !cookie) return E_POINTER;
    CComPtr<IQvxNotifications> notifications;
    HRESULT hr = notifications.QueryFrom(source, __uuidof(IQvxNotifications));
    if (FAILED(hr)) return hr;
    return notifications->Advise(iid, sink, cookie);
}

inline HRESULT UnadviseNotifications(IUnknown* source, ULONG cookie)
{
    if (!source) return E_POINTER;
    CComPtr<IQvxNotifications> notifications;
    HRESULT hr = notifications.QueryFrom(source, __uuidof(IQvxNotifications));
    if (FAILED(hr)) return hr;
    return notifications->Unadvise(cookie);
}

// A sink advised on one source at a time. The same sink may be advised on the next source once
// it has been taken off the last one.
template <class I>
class CBaseSingleSourceSink : public CSimpleUnknownImpl<I>
{
public:
    ULONG GetCookie() const noexcept { return Cookie; }
    bool IsAdvised() const noexcept { return Cookie != 0; }

    // Advises the sink on the source, unless it is advised already. A failure leaves the owner
    // without notifications; the next call tries again.
    bool Advise(IUnknown* source)
    {
        if (Cookie != 0) return true;
        if (!source) return false;
        ULONG cookie = 0;
        if (FAILED(AdviseNotifications(source, __uuidof(I), this->Unknown(), &cookie))) return false;
        Cookie = cookie;
        return Cookie != 0;
    }

    // Takes the sink off the source. The cookie is forgotten whatever the source answers.
    void Unadvise(IUnknown* source)
    {
        if (Cookie != 0 && source) UnadviseNotifications(source, Cookie);
        Cookie = 0;
    }

private:
    ULONG Cookie = 0;
};

// A sink advised on many sources; the map's keys are the sources' IUnknown identities, each
// holding a reference, so that the owner can take every source off again.
template <class I>
class CBaseMultiSourceSink : public CSimpleUnknownImpl<I>
{
public:
    ~CBaseMultiSourceSink() override
    {
        for (auto& [source, cookie] : Sources) source->Release();
    }

    // Advises the sink on a source it does not hold yet.
    bool Add(IUnknown* source)
    {
        CComPtr<IUnknown> key;
        if (FAILED(key.QueryFrom(source, IID_IUnknown)) || !key) return false;
        if (Sources.count(key.Get())) return false;
        ULONG cookie = 0;
        if (FAILED(AdviseNotifications(key, __uuidof(I), this->Unknown(), &cookie))) return false;
        Sources.emplace(key.Detach(), cookie);
        return true;
    }

    // Takes the sink off one source; false when the source was not added.
    bool Remove(IUnknown* source)
    {
        CComPtr<IUnknown> key;
        if (FAILED(key.QueryFrom(source, IID_IUnknown)) || !key) return false;
        auto entry = Sources.find(key.Get());
        if (entry == Sources.end()) return false;
        IUnknown* held = entry->first;
        ULONG cookie = entry->second;
        Sources.erase(entry);
        UnadviseNotifications(held, cookie);
        held->Release();
        return true;
    }

    // Takes the sink off every source, in map order.
    void Clear()
    {
        while (!Sources.empty()) {
            auto entry = Sources.begin();
            IUnknown* held = entry->first;
            ULONG cookie = entry->second;
            Sources.erase(entry);
            UnadviseNotifications(held, cookie);
            held->Release();
        }
    }

    bool Contains(IUnknown* source) const
    {
        CComPtr<IUnknown> key;
        if (FAILED(key.QueryFrom(source, IID_IUnknown)) || !key) return false;
        return Sources.count(key.Get()) != 0;
    }
    size_t Count() const noexcept { return Sources.size(); }

private:
    std::map<IUnknown*, ULONG> Sources;
};

// The receiver pointer of a sink, not counted; null once the owner has cut the sink off.
template <class R>
class CBaseNotificationsSink
{
public:
    explicit CBaseNotificationsSink(R* receiver) noexcept : Receiver(receiver) {}

    void Disconnect() noexcept
    {
        Receiver = nullptr;
        Holder = nullptr;
    }
    bool IsConnected() const noexcept { return Receiver != nullptr; }
    // The counted object that the receiver lives in, held for the length of each call: whoever
    // the receiver calls may let that object's last reference go. Not held between calls.
    void HoldDuringCalls(IUnknown* holder) noexcept { Holder = holder; }

protected:
    // Calls a receiver operation if there is a receiver; the host always hears S_OK.
    template <class Method, class... Args>
    HRESULT Forward(Method method, Args... args)
    {
        if (!Receiver) return S_OK;
        const CComPtr<IUnknown> keepAlive(Holder);
        (Receiver->*method)(args...);
        return S_OK;
    }

    // The same for an operation of a later version, whose receiver derives from R.
    template <class Later, class... Params, class... Args>
    HRESULT ForwardAs(void (Later::*method)(Params...), Args... args)
    {
        if (!Receiver) return S_OK;
        const CComPtr<IUnknown> keepAlive(Holder);
        (static_cast<Later*>(Receiver)->*method)(args...);
        return S_OK;
    }

    R* Receiver;

private:
    IUnknown* Holder = nullptr;
};

// A new sink with one reference, forwarding to the receiver; null when out of memory.
template <class Sink, class Receiver>
CComPtr<Sink> CreateSink(Receiver* receiver)
{
    return CComPtr<Sink>::Adopt(new (std::nothrow) Sink(receiver));
}

// The closing steps of an owner: take the sink off its source or sources, cut it off, and
// release it. The host may still hold it; it then reaches nothing.
template <class Sink>
void CloseSink(CComPtr<Sink>& sink, IUnknown* source)
{
    if (!sink) return;
    sink->Unadvise(source);
    sink->Disconnect();
    sink = nullptr;
}

template <class Sink>
void CloseSink(CComPtr<Sink>& sink)
{
    if (!sink) return;
    sink->Clear();
    sink->Disconnect();
    sink = nullptr;
}
