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
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>
#include "AutomationTypes.h"
#include "ChannelOrdering.h"
#include "ComPtr.h"
#include "DataItemBase.h"
#include "Interfaces.h"
#include "DataSelectionNotifications.h"
#include "ZoomStackNotifications.h"

class CBaseChartCtl;
class CDataSelectionDataItem;
class CRTCDataSelectionDataItem;
class CTraceDataItem;
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
    ChartOwner* GetOwner() const noexcept { return Owner; }
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
    // Written by the graph region.
    void SetPlotWidth(long width) noexcept { PlotWidth = width; }
    long GetPlotWidth() const noexcept { return PlotWidth; }
    bool IsDistanceMode() const noexcept { return DistanceMode != 0; }
    void SetDistanceMode(bool on) noexcept { DistanceMode = on; }
    // The second cursor, from the start of the selection.
    qvx::time GetSecondCursorTime() const noexcept { return SecondCursorTime; }
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

// The control's time settings, read where the control keeps them: the width of the running
// window, how far back from the newest data the chart can look (never less than the width), and
// the control's wish to run (cleared by a local pause).
struct CRTCTimeSettings
{
    const qvx::time* DataTimeSpan;
    const qvx::time* HistoricDataTimeSpan;
    const uint32_t* Running;
};

// The task item of the real-time chart, the only one that the control makes. It shows the live
// end of the data: it computes the visible range from the data's end and the control's time
// settings, and hands every cursor and pause question to its control mode, an object whose class
// is the state.
class CRTCTaskDataItem : public CTaskDataItem
{
public:
    class CControlMode;
    class CNoTaskControlMode;
    class CRunningControlMode;
    class CLocalPauseControlMode;
    class CGlobalPauseControlMode;

    // Reads the control's settings through `settings`, whose pointers must outlive the item.
    CRTCTaskDataItem(ChartOwner* owner, const CRTCTimeSettings& settings);
    // A task item of no chart: a window of `dataTimeSpan`, which is also all that it retains,
    // and the wish to run.
    CRTCTaskDataItem(ChartOwner* owner, qvx::time dataTimeSpan);
    ~CRTCTaskDataItem() override;

    void OnRunStateChanged() override;
    void UpdateTimeRange() override;
    const qvx::time& GetCursorTime() override;
    void SetCursor(const qvx::time& time, int constrain) override;
    void SetCursorChecked(const qvx::time& time) override;
    void CursorToPreviousSample() override;
    void CursorToNextSample() override;
    void CursorToFirstSample() override;
    void CursorToLastSample() override;
    // The chart shows one selection, so a channel has one trace: `trace` is not needed.
    void SetActiveTrace(CChannelDataItem* channel, CTraceDataItem* trace) override;
    // Step the active channel through the ordering, wrapping.
    void ActivatePreviousTrace() override;
    void ActivateNextTrace() override;
    bool IsXZoomed() override { return true; }
    // Also fixes the span that the stack retains to HistoricDataTimeSpan.
    HRESULT SetZoomStack(IUnknown* stack) override;
    CChannelDataItem* CreateChannel(const CBstr& name) override;
    // The control's single data selection; E_UNEXPECTED when the chart has none to ask.
    HRESULT GetCurrentDataSelection(IQvxDataSelection** selection) override;
    void CommitCursor(const qvx::time& time) override;
    // Shows exactly the control's selection: as the selection when it is live, as a secondary
    // one, or, while it is not live, not at all until it turns live.
    void RebuildDataSelections() override;
    // A real-time selection item for `selection`, with its window computed.
    CRTCDataSelectionDataItem* CreateRTCDataSelection(IQvxDataSelection* selection);

    // The mode as it now stands, made again first when TaskControlModeStale is set. The reference
    // lasts only until the next change of mode.
    CControlMode& GetMode();
    // After the local pause command or a change of the host's run state: a new mode, and the
    // traces, the range and the stack's freeze made to agree with it.
    void RefreshControlMode();
    // The control's HistoricDataTimeSpan changed: the stack retains the new span.
    void UpdateRetainedSpan();
    // The control's time spans changed: the selections compute their windows again.
    void RefreshWindows();
    // The waiting listener's selection went away.
    void DropWaitingListener();
    bool IsWaitingForSelection() const noexcept { return WaitingListener != nullptr; }

    qvx::time GetDataTimeSpan() const noexcept { return *TimeSettings.DataTimeSpan; }
    qvx::time GetHistoricDataTimeSpan() const noexcept { return *TimeSettings.HistoricDataTimeSpan; }
    bool IsRunWanted() const noexcept { return *TimeSettings.Running != 0; }
    const CRTCTimeSettings& GetTimeSettings() const noexcept { return TimeSettings; }

    // The right edge of the live window: the next half second strictly after `dataEnd`.
    static qvx::time NextHalfSecond(qvx::time dataEnd) noexcept;

    // --- CZoomStackNotifications3Receiver ---
    // A running chart's range is its own: the stack's is ignored until it pauses.
    void OnRangeChanged(IQvxZoomStack* stack) override;

private:
    class CRTCNonRealTimeDataSelectionListener;

    // The 1-based place of the current selection in the host's list; -1 when absent.
    long CurrentSelectionIndex();
    void StepActiveChannel(int step);

    void ChooseMode();

    CRTCTimeSettings TimeSettings;
    std::unique_ptr<CControlMode> Mode;
    std::unique_ptr<CRTCNonRealTimeDataSelectionListener> WaitingListener;
    // What a task item of no chart points TimeSettings at.
    qvx::time OwnDataTimeSpan = 0;
    uint32_t OwnRunning = 1;
};

// The state of a real-time chart, as far as cursors and pauses go. A mode is made for one state
// and replaced, never changed, when the state changes.
class CRTCTaskDataItem::CControlMode
{
public:
    CControlMode(CRTCTaskDataItem& task, UINT statusText, const wchar_t* statusFallback, UINT timeLabel,
                 const wchar_t* timeLabelFallback);
    virtual ~CControlMode() = default;

    virtual void SetCursor(const qvx::time& time);
    virtual void SetCursorChecked(const qvx::time& time);
    virtual const qvx::time& GetCursorTime();
    virtual bool HasScrollBars() = 0;
    virtual bool IsRunning() = 0;
    virtual bool ValuesAtCursor() = 0;
    virtual bool HasCursors() = 0;
    virtual bool IsLocallyHeld() = 0;
    virtual void GetSelectionStart(qvx::time& start);

    // Drawn in the graph's corner, and put before the time on the x-axis.
    const CBstr& GetStatusText() const noexcept { return StatusText; }
    const CBstr& GetTimeLabel() const noexcept { return TimeLabel; }

protected:
    CRTCTaskDataItem* Task;
    CBstr StatusText;
    CBstr TimeLabel;
    qvx::time LocalCursor = 0;
};

// No task attached: no cursor, no scroll bars, nothing held.
class CRTCTaskDataItem::CNoTaskControlMode : public CControlMode
{
public:
    explicit CNoTaskControlMode(CRTCTaskDataItem& task);
    bool HasScrollBars() override { return false; }
    bool IsRunning() override { return false; }
    bool ValuesAtCursor() override { return false; }
    bool HasCursors() override { return false; }
    bool IsLocallyHeld() override { return false; }
};

// The window follows the live end; no cursor exists.
class CRTCTaskDataItem::CRunningControlMode : public CControlMode
{
public:
    explicit CRunningControlMode(CRTCTaskDataItem& task);
    bool HasScrollBars() override { return false; }
    bool IsRunning() override { return true; }
    bool ValuesAtCursor() override { return false; }
    bool HasCursors() override { return false; }
    bool IsLocallyHeld() override { return true; }
};

// This chart alone is paused: it moves a private cursor and leaves the host's alone.
class CRTCTaskDataItem::CLocalPauseControlMode : public CControlMode
{
public:
    // `cursor` is where the host's cursor stood when the pause began.
    CLocalPauseControlMode(CRTCTaskDataItem& task, qvx::time cursor);
    void SetCursor(const qvx::time& time) override;
    void SetCursorChecked(const qvx::time& time) override;
    bool HasScrollBars() override { return true; }
    bool IsRunning() override { return false; }
    bool ValuesAtCursor() override { return true; }
    bool HasCursors() override { return true; }
    bool IsLocallyHeld() override { return true; }
};

// The host has paused all its views: the chart shares the host's cursor, whose times count from
// the start of the host's selection.
class CRTCTaskDataItem::CGlobalPauseControlMode : public CControlMode
{
public:
    explicit CGlobalPauseControlMode(CRTCTaskDataItem& task);
    void SetCursor(const qvx::time& time) override;
    void SetCursorChecked(const qvx::time& time) override;
    const qvx::time& GetCursorTime() override;
    bool HasScrollBars() override { return true; }
    bool IsRunning() override { return false; }
    bool ValuesAtCursor() override { return true; }
    bool HasCursors() override { return true; }
    bool IsLocallyHeld() override { return false; }
    void GetSelectionStart(qvx::time& start) override;

private:
    // From the chart's times to the host's: the host selection's start less the item's.
    qvx::time HostOffset();
};

// Waits for the control's selection to turn live, and then has the task take it up.
class CRTCTaskDataItem::CRTCNonRealTimeDataSelectionListener : public CDataSelectionNotificationsReceiver
{
public:
    CRTCNonRealTimeDataSelectionListener(IQvxDataSelection* selection, CRTCTaskDataItem& task);
    ~CRTCNonRealTimeDataSelectionListener();

    void OnContentsChanged(IQvxDataSelection* selection) override;
    void OnSelectionGoingAway(IQvxDataSelection* selection) override;
    void OnRealTimeChanged(IQvxDataSelection* selection) override;

private:
    using CSink = CDataSelectionNotificationsSink<CBaseSingleSourceSink<IQvxDataSelectionNotifications>>;

    void CheckRealTime();

    CComPtr<IQvxDataSelection> Selection;
    CRTCTaskDataItem* Task;
    CComPtr<CSink> Sink;
};
