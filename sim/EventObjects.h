#pragma once
// The event sets of a selection: the set (IQvxEventData, with its uses and its data-changed
// notifications), its events (IQvxEvents), their list (IQvxEventList) and each event
// (IQvxEvent); and the host's colour table of event priorities.
#include <map>
#include <memory>
#include <string>
#include "sim/Notifier.h"
#include "sim/Recording.h"
#include "sim/SimObject.h"

class CEventItem : public CComRoot, public IQvxEvent
{
public:
    QVX_BEGIN_INTERFACES(CEventItem)
        QVX_INTERFACE(CEventItem, IQvxEvent),
    QVX_END_INTERFACES()

    void Init(const CTimedEvent& event) { Event = event; }

    STDMETHODIMP GetText(BSTR* text) override;
    STDMETHODIMP GetTime(__int64* time) override;

private:
    CTimedEvent Event;
};

class CEventList : public CComRoot, public IQvxEventList
{
public:
    QVX_BEGIN_INTERFACES(CEventList)
        QVX_INTERFACE(CEventList, IQvxEventList),
    QVX_END_INTERFACES()

    void Init(std::shared_ptr<const CEventSetData> data) { Data = std::move(data); }

    STDMETHODIMP GetCount(long* count) override;
    STDMETHODIMP GetEvent(long index, IQvxEvent** event) override;

private:
    std::shared_ptr<const CEventSetData> Data;
};

class CEvents : public CComRoot, public IQvxEvents
{
public:
    QVX_BEGIN_INTERFACES(CEvents)
        QVX_INTERFACE(CEvents, IQvxEvents),
    QVX_END_INTERFACES()

    HRESULT Init(std::shared_ptr<const CEventSetData> data);

    STDMETHODIMP GetEventList(IQvxEventList** list) override;
    // Directions as for series: 0 first after, 1 last before (both strict), 2 nearest.
    STDMETHODIMP LocateEvent(__int64 time, long direction, long option, long* index) override;

private:
    std::shared_ptr<const CEventSetData> Data;
    CObjectPtr<CEventList> List;
};

class CEventData : public CComRoot, public IQvxEventData, public IQvxChannelUse, public CNotificationsImpl
{
public:
    QVX_BEGIN_INTERFACES(CEventData)
        QVX_INTERFACE(CEventData, IQvxEventData),
        QVX_INTERFACE(CEventData, IQvxChannelUse),
        QVX_INTERFACE(CEventData, IQvxNotifications),
    QVX_END_INTERFACES()

    CEventData();
    HRESULT Init(const wchar_t* name, std::shared_ptr<const CEventSetData> data);

    STDMETHODIMP GetName(BSTR* name) override;
    QVX_RESERVED(1)
    STDMETHODIMP GetEvents(IQvxEvents** events) override;
    STDMETHODIMP AddUse() override;
    STDMETHODIMP ReleaseUse() override;

    void NotifyDataChanged(qvx::time from, qvx::time to);
    void NotifyGoingAway();
    long Uses() const noexcept { return UseCount; }
    IUnknown* Identity() { return static_cast<IQvxEventData*>(this); }

private:
    std::wstring Name;
    CObjectPtr<CEvents> Events;
    long UseCount = 0;
};

class CEventPriority : public CComRoot, public IQvxEventPriority
{
public:
    QVX_BEGIN_INTERFACES(CEventPriority)
        QVX_INTERFACE(CEventPriority, IQvxEventPriority),
    QVX_END_INTERFACES()

    void Init(OLE_COLOR colour) { Colour = colour; }

    QVX_RESERVED(0)
    QVX_RESERVED(1)
    QVX_RESERVED(2)
    STDMETHODIMP GetColor(OLE_COLOR* colour) override;

private:
    OLE_COLOR Colour = 0;
};

// Priorities 1 to 5, each with a colour; other numbers are not in the table.
class CEventPriorities : public CComRoot, public IQvxEventPriorities
{
public:
    QVX_BEGIN_INTERFACES(CEventPriorities)
        QVX_INTERFACE(CEventPriorities, IQvxEventPriorities),
    QVX_END_INTERFACES()

    CEventPriorities();
    void SetColour(long priority, OLE_COLOR colour) { Colours[priority] = colour; }

    QVX_RESERVED(0)
    QVX_RESERVED(1)
    STDMETHODIMP GetDefaultColor(OLE_COLOR* colour) override;
    QVX_RESERVED(3)
    QVX_RESERVED(4)
    QVX_RESERVED(5)
    STDMETHODIMP GetPriority(long number, IQvxEventPriority** priority) override;

private:
    std::map<long, OLE_COLOR> Colours;
    OLE_COLOR DefaultColour = 0x00808080;
};
