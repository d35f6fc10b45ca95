#pragma once
// The lap markers of one data selection: the host's lap object mirrored as a list in memory, which
// the lap-marker region draws and from which the selection makes splits when no map gives any.
// The list is read from the host only after the host said that the markers changed.
//
// The same lap object tells the first and last time of the selection's data. In a live selection
// its report of a new time range is what moves the chart along: the real-time item turns it into
// a refresh of the selection's window.
#include <windows.h>
#include <cstdint>
#include <list>
#include "com/AutomationTypes.h"
#include "com/ComPtr.h"
#include "items/DataItemBase.h"
#include "Interfaces.h"
#include "config/LapMarkersNotifications.h"
#include "config/TransactionNotifications.h"

class CDataSelectionDataItem;

struct LapMarker
{
    qvx::time Time;   // absolute, as the host gives it
    CBstr Name;       // the host's name of the lap, or its number in decimal
    int32_t Number;
    int32_t Index;    // the host's, from 1
};

class CLapMarkersDataItem : public CDataItemBase,
                            public CLapMarkersNotificationsReceiver,
                            public CTransactionNotificationsReceiver
{
public:
    // Makes the two sinks and asks the host for nothing: the lap object is found at the first
    // read. `selection` owns the item.
    explicit CLapMarkersDataItem(CDataSelectionDataItem* selection);
    // Leaves the lap object and a watched transaction; the host may keep the sinks, which then
    // reach nothing.
    ~CLapMarkersDataItem() override;

    // The markers in the order of the host's indices, read again first when the host said that
    // they changed. The reference holds until the next call.
    const std::list<LapMarker>& GetMarkers();

    // --- CLapMarkersNotificationsReceiver ---
    // The list is stale, and so are the selection's splits and segments, which are made from it.
    void OnMarkersChanged(IUnknown* source) override;

    // --- CTransactionNotificationsReceiver ---
    // The transaction is over: stop watching it.
    void OnTransactionEnded(IUnknown* source) override;
    // Tells the user why the transaction failed, then stops watching it.
    void OnTransactionFailed(IUnknown* source, BSTR message) override;

protected:
    using CLapSink = CLapMarkersNotificationsSink<CBaseSingleSourceSink<IQvxLapMarkersNotifications>>;
    using CTransactionSink = CTransactionNotificationsSink<CBaseSingleSourceSink<IQvxTransactionNotifications>>;

    // Watches a host transaction until it ends or fails. The host starts transactions; nothing
    // in this chart hands one over yet.
    void WatchTransaction(IUnknown* transaction);
    // The message box over the control's window (none without a chart). It is modal: tests
    // replace it.
    virtual void ShowFailure(const wchar_t* text);

    CDataSelectionDataItem* GetSelection() const noexcept { return Selection; }

private:
    // Finds the selection's lap object and listens to it.
    void Attach();
    // Leaves the lap object and a watched transaction.
    void Detach();
    void DetachTransaction();
    // The list as the host has it now.
    void ReadMarkers();

    std::list<LapMarker> Markers;
    CDataSelectionDataItem* Selection;
    CComPtr<IQvxLaps> Laps;
    CComPtr<CLapSink> LapSink;
    CComPtr<CTransactionSink> TransactionSink;
    CComPtr<IUnknown> Transaction;
};

// The lap markers of a live selection, which only the real-time selection makes. A change of the
// markers makes the selection's event sets stale, and a new time range moves a running chart's
// window.
class CRTCLapMarkersDataItem : public CLapMarkersDataItem
{
public:
    using CLapMarkersDataItem::CLapMarkersDataItem;

    // --- CLapMarkersNotificationsReceiver ---
    void OnMarkersChanged(IUnknown* source) override;
    void OnTimeRangeChanged(IUnknown* source, qvx::time* from, qvx::time* to) override;
};
