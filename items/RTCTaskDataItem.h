#pragma once
// The real-time task item: the live end of the data, the control's time settings, the control
// modes (running, local pause, global pause, no task) and the listener that waits for a live
// selection.
#include "items/TaskDataItem.h"

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
    CRTCTaskDataItem(CChartOwner* owner, const CRTCTimeSettings& settings);
    // A task item of no chart: a window of `dataTimeSpan`, which is also all that it retains,
    // and the wish to run.
    CRTCTaskDataItem(CChartOwner* owner, qvx::time dataTimeSpan);
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
    // From the host's cursor times, which count from its selection's start, to the chart's: the
    // host selection's start less the item's; 0 without an active selection or a start.
    qvx::time HostCursorOffset();

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
    // `hostCursor` is where the host's cursor stood when the pause began, in the host's times.
    CLocalPauseControlMode(CRTCTaskDataItem& task, qvx::time hostCursor);
    void SetCursor(const qvx::time& time) override;
    void SetCursorChecked(const qvx::time& time) override;
    const qvx::time& GetCursorTime() override;
    bool HasScrollBars() override { return true; }
    bool IsRunning() override { return false; }
    bool ValuesAtCursor() override { return true; }
    bool HasCursors() override { return true; }
    bool IsLocallyHeld() override { return true; }

private:
    // LocalCursor still holds the host's time, not yet moved onto the chart's axis.
    bool FromHost = true;
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
