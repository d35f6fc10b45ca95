#pragma once
// The advise list of a notifying object of the substitute host, and its IQvxNotifications.
//
// Sinks are called in the order in which they were advised. A sink may unadvise itself or
// another sink while it is being called: a notification goes only to sinks that are still
// advised when their turn comes, and each is held for the length of its call. A sink advised
// during a notification hears the next one.
//
// With late delivery on, the notifier behaves as a host whose calls were queued before a sink let
// go: every sink advised when a notification starts hears it, and a sink that unadvises also
// hears the object's next notification, then is released.
#include <windows.h>
#include <initializer_list>
#include <vector>
#include "com/ComPtr.h"
#include "Interfaces.h"

class CNotifier
{
public:
    // The notification interfaces that the object sends.
    explicit CNotifier(std::initializer_list<IID> offered);
    CNotifier(const CNotifier&) = delete;
    CNotifier& operator=(const CNotifier&) = delete;
    ~CNotifier();

    HRESULT Advise(REFIID iid, IUnknown* sink, ULONG* cookie);
    HRESULT AdviseByName(BSTR iid, IUnknown* sink, ULONG* cookie);
    HRESULT Unadvise(ULONG cookie);
    // Drops every sink, as an object does that has gone away.
    void Clear();
    size_t Count() const noexcept { return Entries.size(); }
    // Sinks advised on any notifier of the module.
    static LONG LiveSinks();
    static void SetLateDelivery(bool late) noexcept;

    // Calls `call(I*)` on each sink advised for one of `iids`, each of which must be I or an
    // interface that extends I.
    template <class I, class Call>
    void Fire(std::initializer_list<IID> iids, Call&& call)
    {
        if (LateDelivery()) {
            for (const CComPtr<IUnknown>& sink : TakeLateSinks(iids)) call(reinterpret_cast<I*>(sink.Get()));
            return;
        }
        std::vector<ULONG> cookies;
        for (const CEntry& entry : Entries) {
            if (Matches(entry, iids)) cookies.push_back(entry.Cookie);
        }
        for (ULONG cookie : cookies) {
            CComPtr<IUnknown> sink = Find(cookie);
            if (sink) call(reinterpret_cast<I*>(sink.Get()));
        }
    }

private:
    struct CEntry
    {
        ULONG Cookie;
        IID Iid;
        CComPtr<IUnknown> Sink;   // the sink's pointer for Iid
    };

    IUnknown* Find(ULONG cookie) const;
    static bool Matches(const CEntry& entry, std::initializer_list<IID> iids);
    static bool& LateDelivery() noexcept;
    // The sinks for one late-delivered notification: those advised now and those that left
    // since the last one, which are then let go.
    std::vector<CComPtr<IUnknown>> TakeLateSinks(std::initializer_list<IID> iids);

    std::vector<IID> Offered;
    std::vector<CEntry> Entries;
    std::vector<CEntry> Departed;   // unadvised under late delivery, not yet told again
    ULONG NextCookie = 1;
};

// IQvxNotifications over a CNotifier; a notifying class derives from this and lists
// IQvxNotifications in its interface table.
class CNotificationsImpl : public IQvxNotifications
{
public:
    explicit CNotificationsImpl(std::initializer_list<IID> offered) : Notifier(offered) {}

    STDMETHODIMP AdviseByName(BSTR iid, IUnknown* sink, ULONG* cookie) override;
    STDMETHODIMP Advise(REFIID iid, IUnknown* sink, ULONG* cookie) override;
    STDMETHODIMP Unadvise(ULONG cookie) override;

protected:
    CNotifier Notifier;
};
