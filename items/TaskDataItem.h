#pragma once
// The root of the data-item tree: the host task that the chart shows. It answers every question
// about the horizontal axis (the visible time and distance range, the shared cursor, the active
// channel and selection), holds the vertical zoom stack, creates the other items, owns the data
// selections and the channel ordering, and turns the task notifications that the control passes
// on into item changes. Every item reaches the chart control (its ChartOwner) through the task.
//
// Every cached value has a stale bit (ItemFlags.h): a notification sets it, the next reader asks
// the host, and a failing host call keeps the last value.
#include <windows.h>
#include <deque>
#include <vector>
#include "AutomationTypes.h"
#include "ChannelOrdering.h"
#include "ComPtr.h"
#include "DataItemBase.h"
#include "Interfaces.h"
#include "ZoomStackNotifications.h"

class CBaseChartCtl;
class CDataSelectionDataItem;
// The chart control as the data items see it.
using ChartOwner = CBaseChartCtl;

// A vertical zoom level: fractions of the channels' unzoomed display range, Low at the bottom.
struct CYZoom
{
    double Low;
    double High;
    bool operator==(const CYZoom&) const = default;
};

class CTaskDataItem : public CDataItemBase, public CZoomStackNotifications3Receiver
{
public:
    // Makes the ordering, the unit converter and the chart's own zoom stack, which is the stack in
    // use until the control gives another. `owner` may be null (a task with no chart).
    explicit CTaskDataItem(ChartOwner* owner);
    // Leaves the zoom stack, has the ordering delete its channels, deletes the selections.
    ~CTaskDataItem() override;

    // --- task notifications, which the control passes on ---
    virtual void OnSegmentsAndSplitsChanged();
    virtual void OnSegmentsChanged();
    virtual void OnSplitsChanged();
    virtual void OnEventSetsChanged();
    virtual void OnCurrentSelectionChanged();
    virtual void OnRunStateChanged();
    virtual void ReservedOperation1() {}
    virtual void ReservedOperation2() {}
    virtual void ReservedOperation3() {}
    // The host's list of selections changed: rebuild it, find the active objects again, and
    // forget the vertical zoom.
    virtual void OnSelectionsChanged();
    virtual void ReservedOperation4() {}
    virtual void ReservedOperation5() {}
    virtual void ReservedOperation6() {}
    // The host's cursor moved to `time`, from the start of the current selection.
    virtual void OnCursorChanged(qvx::time time);
    virtual void ReservedOperation7() {}
    virtual void OnChannelsChanged();

    // --- the horizontal axis ---
    virtual void UpdateTimeRange();
    virtual void UpdateDistanceRange();
    // The host's cursor, asked again while TaskCursorStale is set and a task is attached.
    virtual const qvx::time& GetCursorTime();
    // Moves the host's cursor; with `constrain` only within the visible range.
    virtual void SetCursor(const qvx::time& time, int constrain);
    virtual void SetCursorChecked(const qvx::time& time);
    virtual void CursorToPreviousSample();
    virtual void CursorToNextSample();
    virtual void CursorToFirstSample();
    virtual void CursorToLastSample();
    // Make the trace before or after the active one active, wrapping; without an active channel,
    // the selection before or after the active one.
    virtual void ActivatePreviousTrace();
    virtual void ActivateNextTrace();

    // --- zooms ---
    virtual void PushDistanceZoom(const double& from, const double& to);
    virtual void PushTimeZoom(const qvx::time& from, const qvx::time& to);
    virtual void UndoZoom();
    virtual void UndoAllZooms();
    // The top of the vertical zoom stack, or {0.0, 1.0} when it is empty.
    virtual const CYZoom& GetYZoom();
    virtual bool IsZoomed();
    virtual bool IsXZoomed();
    // A new vertical zoom level on top.
    void PushYZoom(const CYZoom& zoom);
    // Oldest first; the layout keeps them.
    const std::deque<CYZoom>& GetYZoomLevels() const noexcept { return YZoomStack; }
    // Overwrites the top of a non-empty vertical stack; an empty one ignores the call.
    virtual void ReplaceYZoom(const CYZoom& zoom, int modified);
    // E_FAIL for an empty or inverted range.
    virtual HRESULT ReplaceDistanceZoom(const double& from, const double& to, int modified);
    virtual HRESULT ReplaceTimeZoom(const qvx::time& from, const qvx::time& to, int modified);
    // Scrolls a zoomed view by a share of its width; E_FAIL unzoomed or for 0.
    virtual HRESULT ScrollX(long percent);
    virtual void ScrollY(long percent);
    // The stack in use: `stack` (any interface of it), or the chart's own for null. E_NOINTERFACE
    // for an object that is not a zoom stack, and nothing changes.
    virtual HRESULT SetZoomStack(IUnknown* stack);

    // --- creation ---
    virtual CChannelDataItem* CreateChannel(const CBstr& name);
    // A selection item for the host's selection at the 1-based `index`; null when out of memory.
    virtual CDataSelectionDataItem* CreateDataSelection(IQvxDataSelection* selection, long index);
    virtual HRESULT GetCurrentDataSelection(IQvxDataSelection** selection);
    virtual void EnsureActiveValueVisible();
    virtual void CommitCursor(const qvx::time& time);
    // Builds the selection items again while TaskSelectionsStale is set and a task is attached.
    virtual void RebuildDataSelections();
    // The 1-based host indices to show: the host's display order, or the order of `list`.
    virtual void ReadDisplayOrder(IQvxDataSelectionList* list);

    // --- what regions read ---
    void GetTimeRange(qvx::time& minimum, qvx::time& maximum);
    void GetDistanceRange(double& minimum, double& maximum);
    qvx::time GetFullTimeSpan();
    bool HasTimeRange();
    CChannelDataItem* GetActiveChannel() const noexcept { return ActiveChannel; }
    // The item of the host's current selection, found again first when TaskActiveStale is set.
    CDataSelectionDataItem* GetActiveSelection();
    // The selections that get traces, and the secondary ones, rebuilt first when stale.
    const std::vector<CDataSelectionDataItem*>& GetSelections();
    const std::vector<CDataSelectionDataItem*>& GetSecondarySelections();
    // 0 seconds, 1 minutes and seconds, 2 hours, minutes and seconds.
    long GetTimeFormat();
    unsigned short GetTimeDigits();
    bool IsCursorCentred();
    const CBstr& GetTimePrefix() const noexcept { return TimePrefix; }

    // --- helpers that other items and the control use ---
    // Every channel rebuilds its traces, and the active objects are found again.
    void InvalidateChannels();
    void ClearYZoom();
    void UndoZoomBothAxes();
    // Takes `selection` out of both vectors; the caller deletes it.
    void RemoveSelection(CDataSelectionDataItem* selection);
    void DeleteSelections();
    // Moves the cursor by `percent` of the visible range.
    void StepCursor(long percent);
    // Finds the active channel and selection again while TaskActiveStale is set.
    void FindActiveObjects();

    // --- the control's side ---
    // The host task, or null to detach. Only stores it: the control then hands it to the own
    // stack, marks the cursor and the selections stale and gives the new stack (SetZoomStack).
    void SetTask(IQvxTask* task);
    IQvxTask* GetTask() const noexcept { return Task; }
    IQvxZoomStack* GetZoomStack() const noexcept { return ZoomStack; }
    IQvxZoomStack* GetOwnZoomStack() const noexcept { return OwnZoomStack; }
    IQvxUnitConverter* GetUnitConverter() const noexcept { return UnitConverter; }
    ChartOwner* GetOwner() const noexcept { return Owner; }
    // The channel ordering, which owns the channels; null when it could not be made.
    CChannelOrdering* GetOrdering() const noexcept { return Ordering; }
    // The ordering may change the active channel.
    void SetActiveChannel(CChannelDataItem* channel) noexcept { ActiveChannel = channel; }
    void MarkModified();
    void FireActiveChanged();
    // Written by the graph region.
    void SetPlotWidth(long width) noexcept { PlotWidth = width; }
    long GetPlotWidth() const noexcept { return PlotWidth; }
    bool IsDistanceMode() const noexcept { return DistanceMode != 0; }
    void SetDistanceMode(bool on) noexcept { DistanceMode = on; }

    // --- CZoomStackNotifications3Receiver ---
    void OnRangeChanged(IQvxZoomStack* stack) override;
    void OnStackGoingAway(IQvxZoomStack* stack) override;
    void OnLevelsChanged(IQvxZoomStack* stack) override;
    void OnOtherChange(IQvxZoomStack* stack) override;

protected:
    using CZoomSink = CZoomStackNotifications3Sink<CBaseSingleSourceSink<IQvxZoomStackNotifications3>>;

    // The refresh that the lazy tests call; tells the listeners only of a change.
    void RefreshTimeRange();
    void RefreshDistanceRange();
    // GetIsZoomed of the stack; false when it fails.
    bool StackIsZoomed();
    // Makes the selection `step` places from the active one current, then finds the active
    // objects again and puts the cursor where the host has it.
    void StepActiveSelection(int step);
    void RedrawNow();

    qvx::time TimeMinimum = 0;
    qvx::time TimeMaximum = 0;
    double DistanceMinimum = 0.0;
    double DistanceMaximum = 0.0;
    qvx::time FullTimeSpan = 0;
    double FullDistanceSpan = 0.0;
    BOOL HasTimeRangeFlag = FALSE;
    BOOL HasDistanceRange = FALSE;
    CChannelDataItem* ActiveChannel = nullptr;
    CDataSelectionDataItem* ActiveSelection = nullptr;
    CComPtr<IQvxTask> Task;
    CComPtr<IQvxZoomStack> ZoomStack;
    CComPtr<IQvxZoomStack> OwnZoomStack;
    std::vector<CDataSelectionDataItem*> Selections;
    std::vector<CDataSelectionDataItem*> SecondarySelections;
    std::vector<long> DisplayOrder;
    qvx::time CursorTime = 0;
    ChartOwner* Owner;
    CComPtr<IQvxUnitConverter> UnitConverter;
    std::deque<CYZoom> YZoomStack;
    BOOL DistanceMode = FALSE;
    qvx::time SecondCursorTime = 0;
    BOOL TwoCursors = FALSE;
    CBstr TimePrefix;
    CComPtr<CZoomSink> ZoomSink;
    long TimeFormat = 0;
    unsigned short TimeDigits = 1;
    BOOL CursorCentred = FALSE;
    long PlotWidth = 0;
    CComPtr<CChannelOrdering> Ordering;
};

// The task item of the real-time chart, the only one that the control makes. It replaces the
// operations that live data change; until those come, it differs from its base only in the
// channels that it makes.
class CRTCTaskDataItem : public CTaskDataItem
{
public:
    // `dataTimeSpan` is the width of the running chart's window at the time of construction.
    CRTCTaskDataItem(ChartOwner* owner, qvx::time dataTimeSpan);

    void UpdateTimeRange() override;
    CChannelDataItem* CreateChannel(const CBstr& name) override;

    qvx::time GetDataTimeSpan() const noexcept { return DataTimeSpan; }

private:
    qvx::time DataTimeSpan;
};
