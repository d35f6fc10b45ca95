#pragma once
// A data selection of the substitute: a simulated recording seen through IQvxDataSelection3,
// its channels and event sets, and its laps (IQvxLapNames).
//
// Live selections grow at each Advance, which tells the sinks in this order: the laps' markers
// changed (when a lap was completed), the laps' time range changed, the selection's times
// changed, then data changed for each channel in use (in the order of the channel table), then
// event sets newly on offer (data factory, kind 1), then data changed for each event set in use
// that got events.
#include <deque>
#include <map>
#include <set>
#include <memory>
#include <string>
#include <vector>
#include "sim/ChannelProxy.h"
#include "sim/EventObjects.h"
#include "sim/Notifier.h"
#include "sim/Recording.h"

class CLaps : public CComRoot, public IQvxLapNames, public CNotificationsImpl
{
public:
    QVX_BEGIN_INTERFACES(CLaps)
        QVX_INTERFACE(CLaps, IQvxLapNames),
        QVX_INTERFACE_VIA(CLaps, IQvxLaps, IQvxLapNames),
        QVX_INTERFACE(CLaps, IQvxNotifications),
    QVX_END_INTERFACES()

    CLaps();
    void Init(std::shared_ptr<const CRecording> recording) { Recording = std::move(recording); }

    STDMETHODIMP GetCount(long* count) override;
    QVX_RESERVED(1)
    STDMETHODIMP GetLapTime(long index, __int64* time) override;
    // The number of the lap that begins at the marker.
    STDMETHODIMP GetLapNumber(long index, long* number) override;
    QVX_RESERVED(4)
    STDMETHODIMP GetFirstTime(__int64* time) override;
    STDMETHODIMP GetLastTime(__int64* time) override;
    QVX_RESERVED(7)
    QVX_RESERVED(8)
    QVX_RESERVED(9)
    STDMETHODIMP GetLapName(long index, BSTR* name) override;

    void NotifyMarkersChanged();
    void NotifyTimeRangeChanged(qvx::time from, qvx::time to);
    IUnknown* Identity() { return static_cast<IQvxLapNames*>(this); }

private:
    std::shared_ptr<const CRecording> Recording;
};

class CDataSelection : public CComRoot,
                       public IQvxDataSelection3,
                       public IQvxDataSelectionChannels,
                       public IQvxDataSelectionEvents,
                       public CNotificationsImpl
{
public:
    QVX_BEGIN_INTERFACES(CDataSelection)
        QVX_INTERFACE_VIA(CDataSelection, IQvxDataSelection, IQvxDataSelection3),
        QVX_INTERFACE_VIA(CDataSelection, IQvxDataSelection2, IQvxDataSelection3),
        QVX_INTERFACE(CDataSelection, IQvxDataSelection3),
        QVX_INTERFACE(CDataSelection, IQvxDataSelectionChannels),
        QVX_INTERFACE(CDataSelection, IQvxDataSelectionEvents),
        QVX_INTERFACE(CDataSelection, IQvxNotifications),
    QVX_END_INTERFACES()

    CDataSelection();
    HRESULT Init(std::shared_ptr<CRecording> recording, std::wstring text, OLE_COLOR colour, bool secondary);

    // IQvxDataSelection
    STDMETHODIMP GetIsRealTime(VARIANT_BOOL* realTime) override;
    QVX_RESERVED(1)
    STDMETHODIMP GetColor(OLE_COLOR* colour) override;
    STDMETHODIMP GetEndTime(__int64* time) override;
    QVX_RESERVED(4)
    STDMETHODIMP GetLaps(IUnknown** laps) override;
    STDMETHODIMP GetStartTime(__int64* time) override;
    QVX_RESERVED(7)
    STDMETHODIMP GetTimeOffset(__int64* offset) override;
    STDMETHODIMP SetTimeOffset(__int64 offset) override;
    // IQvxDataSelection2, 3
    QVX_RESERVED(10)
    QVX_RESERVED(11)
    QVX_RESERVED(12)
    STDMETHODIMP GetIsSecondary(VARIANT_BOOL* secondary) override;
    QVX_RESERVED(14)
    STDMETHODIMP GetSelectionText(BSTR* text) override;
    // IQvxDataSelectionChannels (with IQvxDataSelectionEvents' places 1 to 5)
    STDMETHODIMP GetChannelNames(IQvxDataNames** names) override;
    QVX_RESERVED(2)
    QVX_RESERVED(3)
    QVX_RESERVED(5)
    STDMETHODIMP GetChannel(BSTR name, IUnknown** channel) override;
    // IQvxDataSelectionEvents
    STDMETHODIMP GetEventSetNames(IQvxDataNames** names) override;
    STDMETHODIMP GetEventSet(BSTR name, IQvxEventData** events) override;

    // The host's side.
    bool IsLive() const { return Recording->IsLive(); }
    bool IsSecondary() const noexcept { return Secondary; }
    void Advance(qvx::time ticks);
    void StopRecording();
    // Only a recording that was stopped goes on; a finished selection stays finished.
    void ResumeRecording();
    void GoAway();
    void SetColour(OLE_COLOR colour);
    void SetSecondary(bool secondary);
    void SetText(std::wstring text);
    // A channel leaves the selection or comes back; E_INVALIDARG for an unknown name, S_FALSE
    // when it is already so.
    HRESULT SetChannelPresent(const wchar_t* name, bool present);
    // The last `count` data changes of the channels in use, told again at once.
    void RepeatDataChanges(size_t count, bool reversed);
    // A new object over the same recording, as the host makes when a closed selection opens again.
    HRESULT Reopen(CObjectPtr<CDataSelection>& reopened) const;
    // Uses and subscriptions of a channel in use; false for a channel not in use.
    bool ChannelUse(const wchar_t* name, long& uses, long& subscribers) const;
    IQvxDataSelection* Self() { return static_cast<IQvxDataSelection3*>(this); }
    IUnknown* Identity() { return Self(); }

private:
    // Calls each sink of the selection's notifications of version I or later.
    template <class I, class Call>
    void FireSelection(Call&& call);

    std::shared_ptr<CRecording> Recording;
    std::wstring Text;
    OLE_COLOR Colour = 0;
    bool Secondary = false;
    qvx::time Offset = 0;
    CObjectPtr<CLaps> Laps;
    std::map<size_t, CObjectPtr<CChannelProxy>> Proxies;
    std::map<size_t, CObjectPtr<CEventData>> EventSets;
    std::set<size_t> Absent;                  // channels that have left the selection
    std::deque<CRecording::CSpan> Recent;     // the last data changes told, oldest first
};

// A snapshot of a task's selections.
class CDataSelectionList : public CComRoot, public IQvxDataSelectionList
{
public:
    QVX_BEGIN_INTERFACES(CDataSelectionList)
        QVX_INTERFACE(CDataSelectionList, IQvxDataSelectionList),
    QVX_END_INTERFACES()

    void Init(const std::vector<CObjectPtr<CDataSelection>>& selections) { Selections = selections; }

    STDMETHODIMP GetCount(long* count) override;
    STDMETHODIMP GetItem(long index, IQvxDataSelection** selection) override;

private:
    std::vector<CObjectPtr<CDataSelection>> Selections;
};
