#include "sim/EventObjects.h"
#include <algorithm>

// --- CEventItem ---

STDMETHODIMP CEventItem::GetText(BSTR* text)
{
    QVX_HOST_CALL("IQvxEvent.GetText");
    if (!text) return E_POINTER;
    *text = SysAllocStringLen(Event.Text.data(), UINT(Event.Text.size()));
    return *text ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CEventItem::GetTime(__int64* time)
{
    QVX_HOST_CALL("IQvxEvent.GetTime");
    if (!time) return E_POINTER;
    *time = Event.Time;
    return S_OK;
}

// --- CEventList ---

STDMETHODIMP CEventList::GetCount(long* count)
{
    QVX_HOST_CALL("IQvxEventList.GetCount");
    if (!count) return E_POINTER;
    *count = long(Data->Events().size());
    return S_OK;
}

STDMETHODIMP CEventList::GetEvent(long index, IQvxEvent** event)
{
    QVX_HOST_CALL("IQvxEventList.GetEvent");
    if (!event) return E_POINTER;
    *event = nullptr;
    if (index < 1 || size_t(index) > Data->Events().size()) return E_INVALIDARG;
    CObjectPtr<CEventItem> item;
    HRESULT hr = CreateObject<CEventItem, IQvxEvent>(item);
    if (FAILED(hr)) return hr;
    item->Init(Data->Events()[size_t(index - 1)]);
    return GiveOut(item, event);
}

// --- CEvents ---

HRESULT CEvents::Init(std::shared_ptr<const CEventSetData> data)
{
    Data = std::move(data);
    HRESULT hr = CreateObject<CEventList, IQvxEventList>(List);
    if (SUCCEEDED(hr)) List->Init(Data);
    return hr;
}

STDMETHODIMP CEvents::GetEventList(IQvxEventList** list)
{
    QVX_HOST_CALL("IQvxEvents.GetEventList");
    return GiveOut(List, list);
}

STDMETHODIMP CEvents::LocateEvent(__int64 time, long direction, long, long* index)
{
    QVX_HOST_CALL("IQvxEvents.LocateEvent");
    if (!index) return E_POINTER;
    const auto& events = Data->Events();
    auto earlier = [](const CTimedEvent& e, qvx::time t) { return e.Time < t; };
    // First event at or after the time, and first strictly after it.
    size_t atOrAfter = size_t(std::lower_bound(events.begin(), events.end(), time, earlier) - events.begin());
    size_t after = atOrAfter;
    while (after < events.size() && events[after].Time == time) ++after;
    size_t found = 0;
    switch (direction) {
    case 0:
        if (after == events.size()) return S_FALSE;
        found = after;
        break;
    case 1:
        if (atOrAfter == 0) return S_FALSE;
        found = atOrAfter - 1;
        break;
    case 2:
        if (events.empty()) return S_FALSE;
        if (atOrAfter == events.size()) found = events.size() - 1;
        else if (atOrAfter == 0 || events[atOrAfter].Time == time) found = atOrAfter;
        else {
            unsigned long long toBefore = (unsigned long long)time - (unsigned long long)events[atOrAfter - 1].Time;
            unsigned long long toAfter = (unsigned long long)events[atOrAfter].Time - (unsigned long long)time;
            found = toAfter < toBefore ? atOrAfter : atOrAfter - 1;
        }
        break;
    default:
        return E_INVALIDARG;
    }
    *index = long(found + 1);
    return S_OK;
}

// --- CEventData ---

CEventData::CEventData() : CNotificationsImpl({__uuidof(IQvxDataNotifications)}) {}

HRESULT CEventData::Init(const wchar_t* name, std::shared_ptr<const CEventSetData> data)
{
    Name = name;
    HRESULT hr = CreateObject<CEvents, IQvxEvents>(Events);
    if (SUCCEEDED(hr)) hr = Events->Init(std::move(data));
    return hr;
}

STDMETHODIMP CEventData::GetName(BSTR* name)
{
    QVX_HOST_CALL("IQvxEventData.GetName");
    if (!name) return E_POINTER;
    *name = SysAllocString(Name.c_str());
    return *name ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CEventData::GetEvents(IQvxEvents** events)
{
    QVX_HOST_CALL("IQvxEventData.GetEvents");
    return GiveOut(Events, events);
}

STDMETHODIMP CEventData::AddUse()
{
    QVX_HOST_CALL("IQvxChannelUse.AddUse");
    ++UseCount;
    return S_OK;
}

STDMETHODIMP CEventData::ReleaseUse()
{
    QVX_HOST_CALL("IQvxChannelUse.ReleaseUse");
    if (UseCount == 0) return E_UNEXPECTED;
    --UseCount;
    return S_OK;
}

void CEventData::NotifyDataChanged(qvx::time from, qvx::time to)
{
    Notifier.Fire<IQvxDataNotifications>({__uuidof(IQvxDataNotifications)},
        [&](IQvxDataNotifications* sink) { sink->OnDataChanged(Identity(), from, to); });
}

void CEventData::NotifyGoingAway()
{
    Notifier.Fire<IQvxDataNotifications>({__uuidof(IQvxDataNotifications)},
        [&](IQvxDataNotifications* sink) { sink->OnDataGoingAway(Identity()); });
}

// --- CEventPriority, CEventPriorities ---

STDMETHODIMP CEventPriority::GetColor(OLE_COLOR* colour)
{
    QVX_HOST_CALL("IQvxEventPriority.GetColor");
    if (!colour) return E_POINTER;
    *colour = Colour;
    return S_OK;
}

CEventPriorities::CEventPriorities()
{
    Colours = {{1, 0x000000FF}, {2, 0x000080FF}, {3, 0x00FF0000}, {4, 0x0000A000}, {5, 0x00A0A0A0}};
}

STDMETHODIMP CEventPriorities::GetDefaultColor(OLE_COLOR* colour)
{
    QVX_HOST_CALL("IQvxEventPriorities.GetDefaultColor");
    if (!colour) return E_POINTER;
    *colour = DefaultColour;
    return S_OK;
}

STDMETHODIMP CEventPriorities::GetPriority(long number, IQvxEventPriority** priority)
{
    QVX_HOST_CALL("IQvxEventPriorities.GetPriority");
    if (!priority) return E_POINTER;
    *priority = nullptr;
    auto entry = Colours.find(number);
    if (entry == Colours.end()) return E_INVALIDARG;
    CObjectPtr<CEventPriority> item;
    HRESULT hr = CreateObject<CEventPriority, IQvxEventPriority>(item);
    if (FAILED(hr)) return hr;
    item->Init(entry->second);
    return GiveOut(item, priority);
}
