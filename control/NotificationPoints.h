#pragma once
// Notification points: the chart's side of the mechanism that the host's objects share beside
// the OLE connection points. A host asks an object for IQvxNotifications and advises a sink by
// the identifier of a notification interface; the cookie it gets back holds the sink's entry
// number in its high 16 bits and the point's number in its low 16 bits.
//
// An object lists its points in a fixed order, and the order gives each point its number, from
// 1. A point keeps its sinks in a vector in which a free entry holds null, and reuses the most
// recently freed entry first. A firing walks the entries that existed when it started, and a
// sink may unadvise itself or another sink while it is being called.
#include <windows.h>
#include <cstdint>
#include <deque>
#include <new>
#include <span>
#include <vector>
#include "com/ComPtr.h"
#include "Interfaces.h"

// One point as IQvxNotifications finds it.
class QvxNotificationPointLocator
{
public:
    QvxNotificationPointLocator() = default;
    QvxNotificationPointLocator(const QvxNotificationPointLocator&) = delete;
    QvxNotificationPointLocator& operator=(const QvxNotificationPointLocator&) = delete;
    virtual ~QvxNotificationPointLocator() = default;

    // The notification interface that the point serves.
    virtual const IID& GetIid() const = 0;
    // Takes a reference on the sink and gives its entry number, from 1.
    virtual HRESULT Advise(IUnknown* sink, uint16_t* entry) = 0;
    virtual HRESULT Unadvise(uint16_t entry) = 0;
};

template <const IID* Iid>
class QvxNotificationPointLocatorTyped : public QvxNotificationPointLocator
{
public:
    const IID& GetIid() const override { return *Iid; }
};

template <class I, const IID* Iid>
class QvxNotificationPointDynamic : public QvxNotificationPointLocatorTyped<Iid>
{
public:
    // Entry numbers are 16 bits wide, and 0 is no entry.
    static constexpr size_t MaxEntries = 0xFFFF;

    // E_INVALIDARG for a null sink; E_FAIL when every entry number is taken.
    HRESULT Advise(IUnknown* sink, uint16_t* entry) override
    {
        if (!sink || !entry) return E_INVALIDARG;
        *entry = 0;
        if (FreeList.empty() && Sinks.size() >= MaxEntries) return E_FAIL;
        CComPtr<I> typed;
        HRESULT hr = sink->QueryInterface(*Iid, typed.OutVoid());
        if (FAILED(hr)) return hr;
        if (!typed) return E_NOINTERFACE;
        if (!FreeList.empty()) {
            *entry = FreeList.back();
            FreeList.pop_back();
            Sinks[*entry - 1] = std::move(typed);
            return S_OK;
        }
        try {
            Sinks.push_back(std::move(typed));
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
        *entry = uint16_t(Sinks.size());
        return S_OK;
    }

    // E_INVALIDARG for a number that is no entry or whose entry is free already.
    HRESULT Unadvise(uint16_t entry) override
    {
        if (entry == 0 || entry > Sinks.size() || !Sinks[entry - 1]) return E_INVALIDARG;
        try {
            FreeList.push_back(entry);
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
        // The sink is released once the entry is free: its release may call back.
        CComPtr<I> sink = std::move(Sinks[entry - 1]);
        return S_OK;
    }

protected:
    // Calls `call(I*)` on each sink of the entries that exist when the firing starts, holding
    // each sink for the length of its call. Gives the result of the last call made, or `last`
    // when there was none, so that a firing over two points reports its last sink.
    // `holder` is the object that the point lives in: a sink may drop the last reference to it,
    // so it is held until the loop is done.
    template <class Call>
    HRESULT Fire(IUnknown* holder, Call&& call, HRESULT last = S_OK)
    {
        const CComPtr<IUnknown> keepAlive(holder);
        const size_t count = Sinks.size();
        for (size_t i = 0; i < count && i < Sinks.size(); ++i) {
            CComPtr<I> sink = Sinks[i];
            if (sink) last = call(sink.Get());
        }
        return last;
    }

private:
    std::vector<CComPtr<I>> Sinks;
    std::deque<uint16_t> FreeList;
};

// IQvxNotifications over an object's points.
class IQvxNotificationsImpl : public IQvxNotifications
{
public:
    STDMETHODIMP AdviseByName(BSTR iid, IUnknown* sink, ULONG* cookie) override;
    STDMETHODIMP Advise(REFIID iid, IUnknown* sink, ULONG* cookie) override;
    STDMETHODIMP Unadvise(ULONG cookie) override;

protected:
    ~IQvxNotificationsImpl() = default;
    // The points in their fixed order: a point's number is its place, from 1.
    virtual std::span<QvxNotificationPointLocator* const> NotificationPoints() = 0;
};

// --- The points of the control ---

using CControlNotificationsPoint = QvxNotificationPointDynamic<IQvxControlNotifications, &IID_IQvxControlNotifications>;
using CControlNotifications2Point = QvxNotificationPointDynamic<IQvxControlNotifications2, &IID_IQvxControlNotifications2>;

class CProxyIQvxControlNotifications : public CControlNotificationsPoint
{
public:
    HRESULT Fire_OnTaskChanged(IQvxControl* control, IQvxTask* task)
    {
        return Fire(control, [&](IQvxControlNotifications* sink) { return sink->OnTaskChanged(control, task); });
    }
    HRESULT Fire_OnHostAttached(IQvxControl* control, IUnknown* host)
    {
        return Fire(control, [&](IQvxControlNotifications* sink) { return sink->OnHostAttached(control, host); });
    }
    HRESULT Fire_OnChannelsChanged(IQvxControl* control)
    {
        return Fire(control, [&](IQvxControlNotifications* sink) { return sink->OnChannelsChanged(control); });
    }
    HRESULT Fire_OnActiveChanged(IQvxControl* control)
    {
        return Fire(control, [&](IQvxControlNotifications* sink) { return sink->OnActiveChanged(control); });
    }
};

// Both control points: the four operations of the first interface go to the sinks of both, the
// first point's first; the fifth only to the second point's.
class CProxyIQvxControlNotifications2 : public CProxyIQvxControlNotifications, public CControlNotifications2Point
{
public:
    HRESULT Fire_OnTaskChanged(IQvxControl* control, IQvxTask* task)
    {
        return FireBoth(control, [&](auto* sink) { return sink->OnTaskChanged(control, task); });
    }
    HRESULT Fire_OnHostAttached(IQvxControl* control, IUnknown* host)
    {
        return FireBoth(control, [&](auto* sink) { return sink->OnHostAttached(control, host); });
    }
    HRESULT Fire_OnChannelsChanged(IQvxControl* control)
    {
        return FireBoth(control, [&](auto* sink) { return sink->OnChannelsChanged(control); });
    }
    HRESULT Fire_OnActiveChanged(IQvxControl* control)
    {
        return FireBoth(control, [&](auto* sink) { return sink->OnActiveChanged(control); });
    }
    HRESULT Fire_OnEventSetsChanged(IQvxControl* control)
    {
        return CControlNotifications2Point::Fire(
            control, [&](IQvxControlNotifications2* sink) { return sink->OnEventSetsChanged(control); });
    }

private:
    // The first point's sinks, then the second's; the control is held across both, since a sink
    // of the first may let it go.
    template <class Call>
    HRESULT FireBoth(IQvxControl* control, Call&& call)
    {
        const CComPtr<IUnknown> keepAlive(control);
        HRESULT last = CControlNotificationsPoint::Fire(control, [&](IQvxControlNotifications* sink) { return call(sink); });
        return CControlNotifications2Point::Fire(
            control, [&](IQvxControlNotifications2* sink) { return call(sink); }, last);
    }
};

class CProxyIQvx1DChannelConfigNotifications
    : public QvxNotificationPointDynamic<IQvx1DChannelConfigNotifications, &IID_IQvx1DChannelConfigNotifications>
{
public:
    HRESULT Fire_OnChannelListChanged(IQvx1DChannelConfig* config)
    {
        return Fire(config, [&](IQvx1DChannelConfigNotifications* sink) { return sink->OnChannelListChanged(config); });
    }
    HRESULT Fire_OnShownChannelsChanged(IQvx1DChannelConfig* config)
    {
        return Fire(config, [&](IQvx1DChannelConfigNotifications* sink) { return sink->OnShownChannelsChanged(config); });
    }
};

class CProxyIQvxEventsConfigNotifications
    : public QvxNotificationPointDynamic<IQvxEventsConfigNotifications, &IID_IQvxEventsConfigNotifications>
{
public:
    HRESULT Fire_OnEventsChanged(IQvxEventsConfig* config)
    {
        return Fire(config, [&](IQvxEventsConfigNotifications* sink) { return sink->OnEventsChanged(config); });
    }
    HRESULT Fire_OnInclusionsChanged(IQvxEventsConfig* config)
    {
        return Fire(config, [&](IQvxEventsConfigNotifications* sink) { return sink->OnInclusionsChanged(config); });
    }
    HRESULT Fire_OnExclusionsChanged(IQvxEventsConfig* config)
    {
        return Fire(config, [&](IQvxEventsConfigNotifications* sink) { return sink->OnExclusionsChanged(config); });
    }
    HRESULT Fire_OnResolvedChanged(IQvxEventsConfig* config)
    {
        return Fire(config, [&](IQvxEventsConfigNotifications* sink) { return sink->OnResolvedChanged(config); });
    }
};

class CProxyIQvxNavigateToPropertiesNotifications
    : public QvxNotificationPointDynamic<IQvxNavigateToPropertiesNotifications, &IID_IQvxNavigateToPropertiesNotifications>
{
public:
    // The name goes to the sinks as an array of one string. E_OUTOFMEMORY, and no call, when
    // the array cannot be made.
    HRESULT Fire_OnNavigateToProperties(IQvxControl* control, long kind, BSTR name);
};

class CProxyIQvxSingleDataSelectionControlNotifications
    : public QvxNotificationPointDynamic<IQvxSingleDataSelectionControlNotifications,
                                         &IID_IQvxSingleDataSelectionControlNotifications>
{
public:
    HRESULT Fire_OnSelectionChanged(IUnknown* control)
    {
        return Fire(control, [&](IQvxSingleDataSelectionControlNotifications* sink) { return sink->OnSelectionChanged(control); });
    }
};

// The control's six points, numbered in this order: control, control 2, channel configuration,
// events configuration, navigate to properties, single data selection. The control derives
// from this class and lists IQvxNotifications in its interface table.
class CControlNotificationPoints : public IQvxNotificationsImpl,
                                   public CProxyIQvxControlNotifications2,
                                   public CProxyIQvx1DChannelConfigNotifications,
                                   public CProxyIQvxEventsConfigNotifications,
                                   public CProxyIQvxNavigateToPropertiesNotifications,
                                   public CProxyIQvxSingleDataSelectionControlNotifications
{
public:
    CControlNotificationPoints() noexcept;

protected:
    ~CControlNotificationPoints() = default;
    std::span<QvxNotificationPointLocator* const> NotificationPoints() override { return Points; }

private:
    QvxNotificationPointLocator* Points[6];
};

// --- The points of an ordering ---

class CProxyIQvxOrderingNotifications
    : public QvxNotificationPointDynamic<IQvxOrderingNotifications, &IID_IQvxOrderingNotifications>
{
public:
    HRESULT Fire_OnOrderingChanged(IQvxOrdering* ordering)
    {
        return Fire(ordering, [&](IQvxOrderingNotifications* sink) { return sink->OnOrderingChanged(ordering); });
    }
};

class CProxyIQvxDefaultOrderingNotifications
    : public QvxNotificationPointDynamic<IQvxDefaultOrderingNotifications, &IID_IQvxDefaultOrderingNotifications>
{
public:
    HRESULT Fire_OnDefaultOrderingChanged(IQvxDefaultOrdering* ordering)
    {
        return Fire(ordering, [&](IQvxDefaultOrderingNotifications* sink) { return sink->OnDefaultOrderingChanged(ordering); });
    }
};

class CProxyIQvxGroupedOrderingNotifications
    : public QvxNotificationPointDynamic<IQvxGroupedOrderingNotifications, &IID_IQvxGroupedOrderingNotifications>
{
public:
    HRESULT Fire_OnGroupedOrderingChanged(IQvxGroupedOrdering* ordering)
    {
        return Fire(ordering, [&](IQvxGroupedOrderingNotifications* sink) { return sink->OnGroupedOrderingChanged(ordering); });
    }
};
