#pragma once
// The root of the data-item tree: the task that the chart shows. Every item reaches the chart
// control (its ChartOwner) through the task.
//
// This is the item's first form: it carries the flag word and the listeners of every item, and
// holds the zoom stack that the control gives it. The host's task, the data selections, the
// cursor, the visible range, the control modes and the stack's notifications come with the full
// item; until then nothing refreshes, and its stale bits stay set.
#include <windows.h>
#include "ChannelOrdering.h"
#include "ComPtr.h"
#include "DataItemBase.h"
#include "Interfaces.h"

class CBaseChartCtl;
// The chart control as the data items see it.
using ChartOwner = CBaseChartCtl;

class CRTCTaskDataItem : public CDataItemBase
{
public:
    // `dataTimeSpan` is the width of the running chart's window at the time of construction.
    CRTCTaskDataItem(ChartOwner* owner, qvx::time dataTimeSpan) noexcept;
    // Has the ordering delete the channels; a host may still hold the ordering.
    ~CRTCTaskDataItem() override;

    // Takes `stack` as the zoom stack in use, or lets the present one go when it is null, and tells
    // the listeners that the range and the stack changed. A stack that is not a zoom stack is
    // refused with E_NOINTERFACE, and nothing changes.
    HRESULT SetZoomStack(IUnknown* stack);
    // Back to the unzoomed view: pops every level of a zoomed stack and marks the layout modified.
    void UndoAllZooms();

    IQvxZoomStack* GetZoomStack() const { return ZoomStack; }
    ChartOwner* GetOwner() const { return Owner; }
    qvx::time GetDataTimeSpan() const { return DataTimeSpan; }

    // The channel ordering, which owns the channels; null when it could not be made.
    CChannelOrdering* GetOrdering() const { return Ordering; }
    // A new channel for the ordering. Local until the chart has its channel property factory.
    CChannelDataItem* CreateChannel(const CBstr& name);
    CChannelDataItem* GetActiveChannel() const { return ActiveChannel; }
    void SetActiveChannel(CChannelDataItem* channel) { ActiveChannel = channel; }
    // The ordering's news for the chart, when there is one.
    void MarkModified();
    void FireActiveChanged();

private:
    CChannelDataItem* ActiveChannel = nullptr;
    CComPtr<IQvxZoomStack> ZoomStack;
    ChartOwner* Owner;
    qvx::time DataTimeSpan;
    CComPtr<CChannelOrdering> Ordering;
};
