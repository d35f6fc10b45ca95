#pragma once
// The root of the data-item tree: the host task that the chart shows. It answers every question
// about the horizontal axis (the visible time and distance range, the shared cursor, the active
// channel and selection), holds the vertical zoom stack, creates the other items, owns the data
// selections and the channel ordering, and turns the task notifications that the control passes
// on into item changes. Every item reaches the chart control (its CChartOwner) through the task.
//
// Every cached value has a stale bit (ItemFlags.h): a notification sets it, the next reader asks
// the host, and a failing host call keeps the last value.
#include <windows.h>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>
#include "com/AutomationTypes.h"
#include "items/ChannelItemOrdering.h"
#include "com/ComPtr.h"
#include "items/DataItemBase.h"
#include "items/ItemFlags.h"
#include "Interfaces.h"
#include "config/DataSelectionNotifications.h"
#include "config/ZoomStackNotifications.h"

class CChartOwner;
class CDataSelectionDataItem;
class CRTCDataSelectionDataItem;
class CTraceDataItem;

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
    explicit CTaskDataItem(CChartOwner* owner);
    // Leaves the zoom stack, has the ordering delete its channels, deletes the selections.
    ~CTaskDataItem() override;

    // --- task notifications, which the control passes on ---
    // The reserved operations keep the places of the task notifications that the chart does not
    // act on, so that the order stays the host's; nothing calls them.
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
    // Makes `trace` of `channel` active: its selection becomes the host's current one.
    virtual void SetActiveTrace(CChannelDataItem* channel, CTraceDataItem* trace);
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
    double GetFullDistanceSpan();
    bool HasTimeRange();
    CChannelDataItem* GetActiveChannel() const noexcept { return ActiveChannel; }
    // The active channel's trace of the current selection, found again first when stale; null
    // for none.
    CTraceDataItem* GetActiveTrace();
    // The item of the host's current selection, found again first when TaskActiveStale is set.
    CDataSelectionDataItem* GetActiveSelection();
    // The selections that get traces, and the secondary ones, rebuilt first when stale.
    const std::vector<CDataSelectionDataItem*>& GetSelections();
    const std::vector<CDataSelectionDataItem*>& GetSecondarySelections();
    // 0 seconds, 1 minutes and seconds, 2 hours, minutes and seconds.
    long GetTimeFormat();
    unsigned short GetTimeDigits();
    // The text of a chart time in the host's time format (see FormatTimeText); a static buffer.
    const wchar_t* FormatTime(const qvx::time& time, long decimals, bool compact, bool stripZeros, bool showUnit);
    // The text of `time` less the second cursor's, always signed.
    const wchar_t* FormatTimeDifference(const qvx::time& time, long decimals, bool compact, bool stripZeros,
                                        bool showUnit);
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
    CChartOwner* GetOwner() const noexcept { return Owner; }
    // The channel ordering, which owns the channels; null when it could not be made.
    CChannelOrdering* GetOrdering() const noexcept { return Ordering; }
    // The ordering may change the active channel.
    void SetActiveChannel(CChannelDataItem* channel) noexcept
    {
        ActiveChannel = channel;
        Flags |= TaskActiveStale;
    }
    void MarkModified();
    void FireActiveChanged();
    // The ordering's news, as change flags for the listeners: the order changed (TaskOrderChanged),
    // with the active channel (TaskActiveStale) when `activeToo`; the active channel alone changed.
    void NotifyOrderChanged(bool activeToo);
    void NotifyActiveChanged();
    // Written by the graph region.
    void SetPlotWidth(long width) noexcept { PlotWidth = width; }
    long GetPlotWidth() const noexcept { return PlotWidth; }
    bool IsDistanceMode() const noexcept { return DistanceMode != 0; }
    void SetDistanceMode(bool on) noexcept { DistanceMode = on; }
    // The second cursor, from the start of the selection.
    qvx::time GetSecondCursorTime() const noexcept { return SecondCursorTime; }
    void SetSecondCursorTime(const qvx::time& time) noexcept { SecondCursorTime = time; }
    // Two-cursor mode, with the span between the cursors shaded.
    bool HasTwoCursors() const noexcept { return TwoCursors != 0; }
    void SetTwoCursors(bool on) noexcept { TwoCursors = on; }
    // The host root through the chart; null without a chart or a host.
    IQvxOrvid* GetOrvid() const;
    // The chart's gradation of the traces of one selection towards white, 0 to 255; 0 without
    // a chart.
    int32_t GetTraceGradation() const;

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
    // Steps through every trace of every channel of the ordering, wrapping; false when there is
    // no active trace to step from or no other trace.
    bool StepActiveTrace(int step);
    // The last steps of choosing a trace: the active objects are found again and the cursor is
    // put where the host has it.
    void ActiveTraceChosen();
    // The visible range's edge nearest `t` when it lies outside: the trace's first sample inside
    // it, or the edge itself without a trace.
    void ConstrainToRange(qvx::time& t, CTraceDataItem* trace);
    void RedrawNow();

    qvx::time TimeMinimum = 0;
    qvx::time TimeMaximum = 0;
    double DistanceMinimum = 0.0;
    double DistanceMaximum = 0.0;
    qvx::time FullTimeSpan = 0;
    double FullDistanceSpan = 0.0;
    BOOL HasTimeRangeFlag = FALSE;
    BOOL HasDistanceRange = FALSE;
    // No active trace: the end of the active channel's trace vector.
    static constexpr size_t NoTrace = size_t(-1);

    CChannelDataItem* ActiveChannel = nullptr;
    size_t ActiveTrace = NoTrace;
    CDataSelectionDataItem* ActiveSelection = nullptr;
    CComPtr<IQvxTask> Task;
    CComPtr<IQvxZoomStack> ZoomStack;
    CComPtr<IQvxZoomStack> OwnZoomStack;
    std::vector<CDataSelectionDataItem*> Selections;
    std::vector<CDataSelectionDataItem*> SecondarySelections;
    std::vector<long> DisplayOrder;
    qvx::time CursorTime = 0;
    CChartOwner* Owner;
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

protected:
    // A text of the module's string table; `fallback` stands where the module's resources are not
    // linked in.
    static CBstr LoadModuleString(UINT id, const wchar_t* fallback);
    // The place `step` places from `at` in a ring of `count` (not 0).
    static size_t Wrapped(size_t at, int step, size_t count);
};
