#include "sim/DataSelection.h"
#include <algorithm>
#include <cstdio>
#include <type_traits>
#include "sim/NameList.h"

namespace {

constexpr long EventSetKind = 1;
constexpr size_t MaxRecent = 256;

} // namespace

// --- CLaps ---

CLaps::CLaps() : CNotificationsImpl({__uuidof(IQvxLapMarkersNotifications)}) {}

STDMETHODIMP CLaps::GetCount(long* count)
{
    QVX_HOST_CALL("IQvxLaps.GetCount");
    if (!count) return E_POINTER;
    *count = Recording->LapCount();
    return S_OK;
}

STDMETHODIMP CLaps::GetLapTime(long index, __int64* time)
{
    QVX_HOST_CALL("IQvxLaps.GetLapTime");
    if (!time) return E_POINTER;
    if (index < 1 || index > Recording->LapCount()) return E_INVALIDARG;
    *time = Recording->LapTime(index);
    return S_OK;
}

STDMETHODIMP CLaps::GetLapNumber(long index, long* number)
{
    QVX_HOST_CALL("IQvxLaps.GetLapNumber");
    if (!number) return E_POINTER;
    if (index < 1 || index > Recording->LapCount()) return E_INVALIDARG;
    *number = index + 1;
    return S_OK;
}

STDMETHODIMP CLaps::GetFirstTime(__int64* time)
{
    QVX_HOST_CALL("IQvxLaps.GetFirstTime");
    if (!time) return E_POINTER;
    *time = Recording->Start();
    return S_OK;
}

STDMETHODIMP CLaps::GetLastTime(__int64* time)
{
    QVX_HOST_CALL("IQvxLaps.GetLastTime");
    if (!time) return E_POINTER;
    *time = Recording->End();
    return S_OK;
}

STDMETHODIMP CLaps::GetLapName(long index, BSTR* name)
{
    QVX_HOST_CALL("IQvxLapNames.GetLapName");
    if (!name) return E_POINTER;
    *name = nullptr;
    if (index < 1 || index > Recording->LapCount()) return E_INVALIDARG;
    wchar_t text[32];
    swprintf(text, 32, L"Lap %ld", index + 1);
    *name = SysAllocString(text);
    return *name ? S_OK : E_OUTOFMEMORY;
}

void CLaps::NotifyMarkersChanged()
{
    Notifier.Fire<IQvxLapMarkersNotifications>({__uuidof(IQvxLapMarkersNotifications)},
        [&](IQvxLapMarkersNotifications* sink) { sink->OnMarkersChanged(Identity()); });
}

void CLaps::NotifyTimeRangeChanged(qvx::time from, qvx::time to)
{
    Notifier.Fire<IQvxLapMarkersNotifications>({__uuidof(IQvxLapMarkersNotifications)},
        [&](IQvxLapMarkersNotifications* sink) { sink->OnTimeRangeChanged(Identity(), from, to); });
}

// --- CDataSelection ---

CDataSelection::CDataSelection()
    : CNotificationsImpl({__uuidof(IQvxDataSelectionNotifications), __uuidof(IQvxDataSelectionNotifications2),
                          __uuidof(IQvxDataSelectionNotifications3), __uuidof(IQvxDataFactoryNotifications)})
{
}

HRESULT CDataSelection::Init(std::shared_ptr<CRecording> recording, std::wstring text, OLE_COLOR colour, bool secondary)
{
    Recording = std::move(recording);
    Text = std::move(text);
    Colour = colour;
    Secondary = secondary;
    HRESULT hr = CreateObject<CLaps, IQvxLapNames>(Laps);
    if (SUCCEEDED(hr)) Laps->Init(Recording);
    return hr;
}

template <class I, class Call>
void CDataSelection::FireSelection(Call&& call)
{
    // A later version extends the earlier ones: its sinks hear their operations too.
    const IID v1 = __uuidof(IQvxDataSelectionNotifications);
    const IID v2 = __uuidof(IQvxDataSelectionNotifications2);
    const IID v3 = __uuidof(IQvxDataSelectionNotifications3);
    if constexpr (std::is_same_v<I, IQvxDataSelectionNotifications>) Notifier.Fire<I>({v1, v2, v3}, call);
    else if constexpr (std::is_same_v<I, IQvxDataSelectionNotifications2>) Notifier.Fire<I>({v2, v3}, call);
    else Notifier.Fire<I>({v3}, call);
}

STDMETHODIMP CDataSelection::GetIsRealTime(VARIANT_BOOL* realTime)
{
    QVX_HOST_CALL("IQvxDataSelection.GetIsRealTime");
    if (!realTime) return E_POINTER;
    *realTime = ToVariantBool(Recording->IsLive());
    return S_OK;
}

STDMETHODIMP CDataSelection::GetColor(OLE_COLOR* colour)
{
    QVX_HOST_CALL("IQvxDataSelection.GetColor");
    if (!colour) return E_POINTER;
    *colour = Colour;
    return S_OK;
}

STDMETHODIMP CDataSelection::GetEndTime(__int64* time)
{
    QVX_HOST_CALL("IQvxDataSelection.GetEndTime");
    if (!time) return E_POINTER;
    *time = Recording->End();
    return S_OK;
}

STDMETHODIMP CDataSelection::GetLaps(IUnknown** laps)
{
    QVX_HOST_CALL("IQvxDataSelection.GetLaps");
    return GiveOut(Laps, laps);
}

STDMETHODIMP CDataSelection::GetStartTime(__int64* time)
{
    QVX_HOST_CALL("IQvxDataSelection.GetStartTime");
    if (!time) return E_POINTER;
    *time = Recording->Start();
    return S_OK;
}

STDMETHODIMP CDataSelection::GetTimeOffset(__int64* offset)
{
    QVX_HOST_CALL("IQvxDataSelection.GetTimeOffset");
    if (!offset) return E_POINTER;
    *offset = Offset;
    return S_OK;
}

STDMETHODIMP CDataSelection::SetTimeOffset(__int64 offset)
{
    QVX_HOST_CALL("IQvxDataSelection.SetTimeOffset");
    Offset = offset;
    // Echoed, also when unchanged: a view that set it waits for this.
    FireSelection<IQvxDataSelectionNotifications>([&](IQvxDataSelectionNotifications* sink) { sink->OnTimesChanged(Self()); });
    return S_OK;
}

STDMETHODIMP CDataSelection::GetIsSecondary(VARIANT_BOOL* secondary)
{
    QVX_HOST_CALL("IQvxDataSelection2.GetIsSecondary");
    if (!secondary) return E_POINTER;
    *secondary = ToVariantBool(Secondary);
    return S_OK;
}

STDMETHODIMP CDataSelection::GetSelectionText(BSTR* text)
{
    QVX_HOST_CALL("IQvxDataSelection3.GetSelectionText");
    if (!text) return E_POINTER;
    *text = SysAllocStringLen(Text.data(), UINT(Text.size()));
    return *text ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CDataSelection::GetChannelNames(IQvxDataNames** names)
{
    QVX_HOST_CALL("IQvxDataSelectionChannels.GetChannelNames");
    std::vector<std::wstring> list;
    const CChannelTable& channels = Recording->ChannelTable();
    for (size_t i = 0; i < channels.Size(); ++i) {
        if (!Absent.count(i)) list.push_back(channels[i].Name);
    }
    return CNameList::Make(std::move(list), names);
}

STDMETHODIMP CDataSelection::GetChannel(BSTR name, IUnknown** channel)
{
    QVX_HOST_CALL("IQvxDataSelectionChannels.GetChannel");
    if (!channel) return E_POINTER;
    *channel = nullptr;
    int index = Recording->ChannelTable().Find(name);
    if (index < 0 || Absent.count(size_t(index))) return E_INVALIDARG;
    CObjectPtr<CChannelProxy>& proxy = Proxies[size_t(index)];
    if (!proxy) {
        HRESULT hr = CreateObject<CChannelProxy, IQvxChannelProxy>(proxy);
        if (SUCCEEDED(hr)) hr = proxy->Init(Recording->Channel(size_t(index)));
        if (FAILED(hr)) {
            Proxies.erase(size_t(index));
            return hr;
        }
    }
    return GiveOut(proxy, channel);
}

STDMETHODIMP CDataSelection::GetEventSetNames(IQvxDataNames** names)
{
    QVX_HOST_CALL("IQvxDataSelectionEvents.GetEventSetNames");
    std::vector<std::wstring> list;
    const auto& definitions = EventDefinitions();
    for (size_t i = 0; i < definitions.size(); ++i) {
        if (Recording->IsEventSetOffered(i)) list.emplace_back(definitions[i].Name);
    }
    return CNameList::Make(std::move(list), names);
}

STDMETHODIMP CDataSelection::GetEventSet(BSTR name, IQvxEventData** events)
{
    QVX_HOST_CALL("IQvxDataSelectionEvents.GetEventSet");
    if (!events) return E_POINTER;
    *events = nullptr;
    const auto& definitions = EventDefinitions();
    for (size_t i = 0; i < definitions.size(); ++i) {
        if (!name || _wcsicmp(name, definitions[i].Name) != 0) continue;
        if (!Recording->IsEventSetOffered(i)) return E_INVALIDARG;
        CObjectPtr<CEventData>& data = EventSets[i];
        if (!data) {
            HRESULT hr = CreateObject<CEventData, IQvxEventData>(data);
            if (SUCCEEDED(hr)) hr = data->Init(definitions[i].Name, Recording->EventSet(i));
            if (FAILED(hr)) {
                EventSets.erase(i);
                return hr;
            }
        }
        return GiveOut(data, events);
    }
    return E_INVALIDARG;
}

void CDataSelection::Advance(qvx::time ticks)
{
    CRecording::CAdvance step = Recording->Advance(ticks);
    // Held: a sink may release the last outside reference during the calls.
    CComPtr<IUnknown> self(Identity());
    CObjectPtr<CLaps> laps = Laps;
    if (step.LapsAfter > step.LapsBefore) laps->NotifyMarkersChanged();
    laps->NotifyTimeRangeChanged(Recording->Start(), Recording->End());
    FireSelection<IQvxDataSelectionNotifications>([&](IQvxDataSelectionNotifications* sink) { sink->OnTimesChanged(Self()); });
    for (const CRecording::CSpan& span : step.Channels) {
        auto proxy = Proxies.find(span.Index);
        if (proxy == Proxies.end()) continue;
        Recent.push_back(span);
        if (Recent.size() > MaxRecent) Recent.pop_front();
        CObjectPtr<CChannelProxy> held = proxy->second;
        held->NotifyDataChanged(span.From, span.To);
    }
    for (size_t set : step.OfferedSets) {
        CBstr name(EventDefinitions()[set].Name);
        Notifier.Fire<IQvxDataFactoryNotifications>({__uuidof(IQvxDataFactoryNotifications)},
            [&](IQvxDataFactoryNotifications* sink) { sink->OnItemAdded(Identity(), EventSetKind, name.Get()); });
    }
    for (const CRecording::CSpan& span : step.EventSets) {
        auto data = EventSets.find(span.Index);
        if (data == EventSets.end()) continue;
        CObjectPtr<CEventData> held = data->second;
        held->NotifyDataChanged(span.From, span.To);
    }
}

void CDataSelection::StopRecording()
{
    if (!Recording->IsLive()) return;
    Recording->Stop();
    FireSelection<IQvxDataSelectionNotifications>([&](IQvxDataSelectionNotifications* sink) { sink->OnRealTimeChanged(Self()); });
}

void CDataSelection::ResumeRecording()
{
    if (!Recording->IsStopped()) return;
    Recording->Resume();
    FireSelection<IQvxDataSelectionNotifications>([&](IQvxDataSelectionNotifications* sink) { sink->OnRealTimeChanged(Self()); });
}

void CDataSelection::GoAway()
{
    CComPtr<IUnknown> self(Identity());
    auto proxies = Proxies;
    for (auto& [index, proxy] : proxies) proxy->NotifyGoingAway();
    auto eventSets = EventSets;
    for (auto& [index, data] : eventSets) data->NotifyGoingAway();
    FireSelection<IQvxDataSelectionNotifications>([&](IQvxDataSelectionNotifications* sink) { sink->OnSelectionGoingAway(Self()); });
}

void CDataSelection::SetColour(OLE_COLOR colour)
{
    Colour = colour;
    FireSelection<IQvxDataSelectionNotifications>([&](IQvxDataSelectionNotifications* sink) { sink->OnColorChanged(Self()); });
}

void CDataSelection::SetSecondary(bool secondary)
{
    if (Secondary == secondary) return;
    Secondary = secondary;
    FireSelection<IQvxDataSelectionNotifications2>([&](IQvxDataSelectionNotifications2* sink) { sink->OnChannelsChanged(Self()); });
}

void CDataSelection::SetText(std::wstring text)
{
    if (Text == text) return;
    Text = std::move(text);
    FireSelection<IQvxDataSelectionNotifications3>([&](IQvxDataSelectionNotifications3* sink) { sink->OnSelectionTextChanged(Self()); });
}

bool CDataSelection::ChannelUse(const wchar_t* name, long& uses, long& subscribers) const
{
    int index = Recording->ChannelTable().Find(name);
    auto proxy = index < 0 ? Proxies.end() : Proxies.find(size_t(index));
    if (proxy == Proxies.end()) return false;
    uses = proxy->second->Uses();
    subscribers = proxy->second->Subscribers();
    return true;
}

// --- CDataSelectionList ---

STDMETHODIMP CDataSelectionList::GetCount(long* count)
{
    QVX_HOST_CALL("IQvxDataSelectionList.GetCount");
    if (!count) return E_POINTER;
    *count = long(Selections.size());
    return S_OK;
}

STDMETHODIMP CDataSelectionList::GetItem(long index, IQvxDataSelection** selection)
{
    QVX_HOST_CALL("IQvxDataSelectionList.GetItem");
    if (!selection) return E_POINTER;
    *selection = nullptr;
    if (index < 1 || size_t(index) > Selections.size()) return E_INVALIDARG;
    return GiveOut(Selections[size_t(index - 1)], selection);
}

HRESULT CDataSelection::SetChannelPresent(const wchar_t* name, bool present)
{
    const int found = Recording->ChannelTable().Find(name);
    if (found < 0) return E_INVALIDARG;
    const size_t index = size_t(found);
    if (present == !Absent.count(index)) return S_FALSE;
    CComPtr<IUnknown> self(Identity());
    if (present) {
        Absent.erase(index);
    } else {
        Absent.insert(index);
        // The old object tells its clients and is let go; a restored channel gets a new one.
        auto proxy = Proxies.find(index);
        if (proxy != Proxies.end()) {
            CObjectPtr<CChannelProxy> held = proxy->second;
            Proxies.erase(proxy);
            held->NotifyGoingAway();
        }
    }
    FireSelection<IQvxDataSelectionNotifications2>([&](IQvxDataSelectionNotifications2* sink) { sink->OnChannelsChanged(Self()); });
    return S_OK;
}

void CDataSelection::RepeatDataChanges(size_t count, bool reversed)
{
    std::vector<CRecording::CSpan> spans(Recent.end() - std::ptrdiff_t(std::min(count, Recent.size())), Recent.end());
    if (reversed) std::reverse(spans.begin(), spans.end());
    CComPtr<IUnknown> self(Identity());
    for (const CRecording::CSpan& span : spans) {
        auto proxy = Proxies.find(span.Index);
        if (proxy == Proxies.end()) continue;
        CObjectPtr<CChannelProxy> held = proxy->second;
        held->NotifyDataChanged(span.From, span.To);
    }
}

HRESULT CDataSelection::Reopen(CObjectPtr<CDataSelection>& reopened) const
{
    HRESULT hr = CreateObject<CDataSelection, IQvxDataSelection3>(reopened);
    if (SUCCEEDED(hr)) hr = reopened->Init(Recording, Text, Colour, Secondary);
    if (SUCCEEDED(hr)) reopened->Offset = Offset;
    return hr;
}
