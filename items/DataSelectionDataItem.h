#pragma once
// A data selection on the chart: a stretch of recorded or live data in the host. The item keeps
// the selection's bounds, offset and colour, knows its traces and its lap markers, keeps the
// segment and split lists, listens to the selection, and takes itself out of its task when the
// host lets the selection go. All sample times on the chart count from its start.
//
// The real-time item replaces the selection's bounds with a window that slides over the live
// data in whole pixel columns.
#include <windows.h>
#include <memory>
#include <vector>
#include "com/ComPtr.h"
#include "items/DataItemBase.h"
#include "config/DataSelectionNotifications.h"
#include "Interfaces.h"

class CTaskDataItem;
class CRTCTaskDataItem;
struct CRTCTimeSettings;
class CTraceDataItem;
class CLapMarkersDataItem;

// A stretch of the lap between two map nodes, as the selection passed over it.
struct CSegmentRecord
{
    int32_t Index;              // in the map's segment table
    qvx::time StartTime;
    qvx::time EndTime;
    double StartDistance;
    double EndDistance;
};

// A split line crossed.
struct CSplitRecord
{
    qvx::time Time;
    double Distance;
};

class CDataSelectionDataItem : public CDataItemBase, public CDataSelectionNotifications2Receiver
{
public:
    // Nothing of a list is known yet.
    static constexpr qvx::time UnknownTime = qvx::time(0x8000000000000000ull);

    // `index` is the selection's 1-based place in the host's task. Reads the bounds and advises
    // one sink: on IQvxDataSelection2 when the selection has it, else on IQvxDataSelection. The
    // creator then gives the item its lap markers (AttachLapMarkers).
    CDataSelectionDataItem(IQvxDataSelection* selection, CTaskDataItem* task, long index);
    // Deletes the lap markers; the traces belong to their channels and stay.
    ~CDataSelectionDataItem() override;

    // Put before the time on the x axis; null for none.
    virtual const wchar_t* GetTimeLabel();
    // Start, end and offset, absolute; false at the first failure.
    virtual bool GetTimes(qvx::time& start, qvx::time& end, qvx::time& offset);
    virtual std::unique_ptr<CLapMarkersDataItem> CreateLapMarkers();

    // Makes the lap markers of this item's class.
    void AttachLapMarkers();
    CLapMarkersDataItem* GetLapMarkers() const noexcept { return LapMarkers.get(); }

    IQvxDataSelection* GetSelection() const noexcept { return Selection; }
    CTaskDataItem* GetTask() const noexcept { return Task; }
    qvx::time GetStartTime() const noexcept { return StartTime; }
    qvx::time GetEndTime() const noexcept { return EndTime; }
    qvx::time GetTimeOffset() const noexcept { return TimeOffset; }
    // The selection's length on the chart's time axis.
    qvx::time GetLength() const noexcept { return EndTime - StartTime; }
    long GetIndex() const noexcept { return Index; }
    // The selection's colour, asked again after the host said it changed.
    COLORREF GetColor();
    // GetIsSecondary of the host; false without IQvxDataSelection2 or when the host fails.
    bool IsSecondary() const { return IsSecondary(Selection); }
    // GetIsRealTime of the host is true.
    bool IsRealTime() const { return IsRealTime(Selection); }
    // The same questions of any host selection (null answers false). Only VARIANT_TRUE counts.
    static bool IsSecondary(IQvxDataSelection* selection);
    static bool IsRealTime(IQvxDataSelection* selection);
    // The first and last time of the selection's data, from its lap object; false without one.
    bool GetDataFirstTime(qvx::time& time) const;
    bool GetDataLastTime(qvx::time& time) const;
    // The task's visible range, absolute.
    qvx::time GetVisibleStart();
    qvx::time GetVisibleEnd();

    // The traces of this selection, one per channel; the channels own them.
    const std::vector<CTraceDataItem*>& GetTraces() const noexcept { return Traces; }
    void AddTrace(CTraceDataItem* trace);
    void RemoveTrace(CTraceDataItem* trace);

    // The segment and split lists, extended to the selection's end when stale.
    const std::vector<CSegmentRecord>& GetSegments();
    const std::vector<CSplitRecord>& GetSplits();
    // The lists are good up to nothing.
    void ForgetSegments() noexcept { SegmentsValidTo = UnknownTime; }
    void ForgetSplits() noexcept { SplitsValidTo = UnknownTime; }
    qvx::time GetSegmentsValidTo() const noexcept { return SegmentsValidTo; }
    qvx::time GetSplitsValidTo() const noexcept { return SplitsValidTo; }

    // --- CDataSelectionNotificationsReceiver ---
    void OnColorChanged(IQvxDataSelection* selection) override;
    void OnContentsChanged(IQvxDataSelection* selection) override;
    // Leaves the task's vectors and deletes itself.
    void OnSelectionGoingAway(IQvxDataSelection* selection) override;
    void OnTimesChanged(IQvxDataSelection* selection) override;
    // --- CDataSelectionNotifications2Receiver ---
    void OnChannelsChanged(IQvxDataSelection* selection) override;

protected:
    // The times moved: splits and segments are stale, and autoscaled channels measure again.
    void NotifyTimesChanged();
    // The lap object behind GetLaps of the selection; null without one.
    CComPtr<IQvxLaps> GetLaps() const;
    void UpdateSplits();
    void UpdateSegments();

    qvx::time StartTime = 0;
    qvx::time EndTime = 0;
    qvx::time TimeOffset = 0;

private:
    using CSink1 = CDataSelectionNotificationsSink<CBaseSingleSourceSink<IQvxDataSelectionNotifications>>;
    using CSink2 = CDataSelectionNotifications2Sink<CBaseSingleSourceSink<IQvxDataSelectionNotifications2>>;

    CComPtr<IQvxDataSelection> Selection;
    CComPtr<IQvxDataSelection2> Selection2;
    CComPtr<CSink1> Sink1;
    CComPtr<CSink2> Sink2;
    std::vector<CTraceDataItem*> Traces;
    COLORREF Color = 0;
    CTaskDataItem* Task;
    std::unique_ptr<CLapMarkersDataItem> LapMarkers;
    std::vector<CSegmentRecord> Segments;
    std::vector<CSplitRecord> Splits;
    qvx::time SegmentsValidTo = UnknownTime;
    qvx::time SplitsValidTo = UnknownTime;
    long Index;
};

// The selection of a real-time chart: a window of HistoricDataTimeSpan over the live data,
// ending at the newest data and moved by whole pixel columns so that what is drawn already can
// be shifted. Its host times and offset count as 0.
class CRTCDataSelectionDataItem : public CDataSelectionDataItem
{
public:
    CRTCDataSelectionDataItem(IQvxDataSelection* selection, CRTCTaskDataItem* task, long index);

    // The control mode's time label; null without a task.
    const wchar_t* GetTimeLabel() override;
    // The window, and offset 0; false when no window can be had.
    bool GetTimes(qvx::time& start, qvx::time& end, qvx::time& offset) override;
    std::unique_ptr<CLapMarkersDataItem> CreateLapMarkers() override;

    // The time span changed or the live data moved: compute the window again, and when it moved
    // tell the task (its live range is stale) and the traces' channels.
    void RefreshWindow();
    // The first time that the host holds, as of the last window.
    qvx::time GetFirstDataTime() const noexcept { return FirstDataTime; }
    bool AreTimesValid() const noexcept { return TimesValid != 0; }

    // --- CDataSelectionNotificationsReceiver ---
    void OnContentsChanged(IQvxDataSelection* selection) override;
    void OnTimesChanged(IQvxDataSelection* selection) override;
    void OnRealTimeChanged(IQvxDataSelection* selection) override;

private:
    // Computes WindowStart and WindowEnd from the data's first and last time.
    bool UpdateWindow();
    CRTCTaskDataItem* GetRTCTask() const;

    const CRTCTimeSettings* TimeSettings;
    qvx::time WindowStart = UnknownTime;
    qvx::time WindowEnd = UnknownTime;
    qvx::time FirstDataTime = UnknownTime;
    BOOL WindowKnown = FALSE;
    BOOL TimesValid = FALSE;
};
