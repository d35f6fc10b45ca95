#include "items/LapMarkersDataItem.h"
#include <cwchar>
#include "items/ChartOwner.h"
#include "items/DataSelectionDataItem.h"
#include "items/ItemFlags.h"
#include "items/RTCTaskDataItem.h"

CLapMarkersDataItem::CLapMarkersDataItem(CDataSelectionDataItem* selection)
    : Selection(selection),
      LapSink(CreateSink<CLapSink>(static_cast<CLapMarkersNotificationsReceiver*>(this))),
      TransactionSink(CreateSink<CTransactionSink>(static_cast<CTransactionNotificationsReceiver*>(this)))
{
}

CLapMarkersDataItem::~CLapMarkersDataItem()
{
    Detach();
    // Detach leaves a transaction alone when no lap object was ever found.
    CloseSink(TransactionSink, Transaction);
    CloseSink(LapSink, Laps);
    Transaction = nullptr;
}

const std::list<LapMarker>& CLapMarkersDataItem::GetMarkers()
{
    if (Flags & LapSourceStale) Attach();
    if (Flags & LapListStale) ReadMarkers();
    return Markers;
}

void CLapMarkersDataItem::ReadMarkers()
{
    Markers.clear();
    long count = 0;
    if (!Laps || FAILED(Laps->GetCount(&count)) || count < 1) {
        Flags &= ~LapListStale;
        return;
    }
    CComPtr<IQvxLapNames> names;
    Laps.As(names);
    for (long index = 1; index <= count; ++index) {
        // A lap that the host cannot give is left out; the others keep the host's index.
        qvx::time time = 0;
        if (FAILED(Laps->GetLapTime(index, &time))) continue;
        long number = 0;
        if (FAILED(Laps->GetLapNumber(index, &number))) continue;
        CBstr name;
        if (names) {
            // A failed name is an empty one.
            names->GetLapName(index, name.Out());
        } else {
            wchar_t text[16];
            swprintf(text, 16, L"%d", int(number));
            name = CBstr(text);
        }
        Markers.push_back({time, std::move(name), int32_t(number), int32_t(index)});
    }
    Flags &= ~LapListStale;
}

void CLapMarkersDataItem::Attach()
{
    Detach();
    CComPtr<IUnknown> object;
    IQvxDataSelection* selection = Selection ? Selection->GetSelection() : nullptr;
    if (selection && SUCCEEDED(selection->GetLaps(object.Out())) && object)
        Laps.QueryFrom(object, __uuidof(IQvxLaps));
    if (Laps && LapSink) LapSink->Advise(Laps);
    // A selection without a lap object stays without one: it is not asked again.
    Flags &= ~LapSourceStale;
}

void CLapMarkersDataItem::Detach()
{
    if (!Laps) return;
    if (LapSink) LapSink->Unadvise(Laps);
    DetachTransaction();
    Laps = nullptr;
}

void CLapMarkersDataItem::DetachTransaction()
{
    if (TransactionSink) TransactionSink->Unadvise(Transaction);
    Transaction = nullptr;
}

void CLapMarkersDataItem::WatchTransaction(IUnknown* transaction)
{
    DetachTransaction();
    Transaction = transaction;
    if (Transaction && TransactionSink) TransactionSink->Advise(Transaction);
}

void CLapMarkersDataItem::ShowFailure(const wchar_t* text)
{
    HWND window = nullptr;
    CTaskDataItem* task = Selection ? Selection->GetTask() : nullptr;
    CChartOwner* owner = task ? task->GetOwner() : nullptr;
    if (owner) window = owner->GetWindow();
    MessageBoxW(window, text, L"Morvane", MB_ICONERROR);
}

// --- notifications ---

void CLapMarkersDataItem::OnMarkersChanged(IUnknown*)
{
    NotifyChange(LapListStale, 1);
    if (Selection) Selection->NotifyChange(SelectionSplitsStale | SelectionSegmentsStale, 1);
}

void CLapMarkersDataItem::OnTransactionEnded(IUnknown*)
{
    DetachTransaction();
}

void CLapMarkersDataItem::OnTransactionFailed(IUnknown*, BSTR message)
{
    ShowFailure(message ? message : L"");
    DetachTransaction();
}

// --- the real-time item ---

void CRTCLapMarkersDataItem::OnMarkersChanged(IUnknown*)
{
    NotifyChange(LapListStale, 1);
    if (CDataSelectionDataItem* selection = GetSelection()) selection->NotifyChange(SelectionEventSetsStale, 1);
}

void CRTCLapMarkersDataItem::OnTimeRangeChanged(IUnknown*, qvx::time*, qvx::time*)
{
    CDataSelectionDataItem* selection = GetSelection();
    CTaskDataItem* task = selection ? selection->GetTask() : nullptr;
    if (!task || (task->Flags & TaskSelectionsStale)) return;
    // Only the real-time selection, of a real-time task, makes this item.
    if (!static_cast<CRTCTaskDataItem*>(task)->GetMode().IsRunning()) return;
    static_cast<CRTCDataSelectionDataItem*>(selection)->RefreshWindow();
}
