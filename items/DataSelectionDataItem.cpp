#include "items/DataSelectionDataItem.h"
#include <olectl.h>
#include "items/ChannelDataItem.h"
#include "items/ItemFlags.h"
#include "items/LapMarkersDataItem.h"
#include "items/RTCTaskDataItem.h"
#include "items/TraceDataItem.h"
#include "scales/ValueToPixel.h"

CDataSelectionDataItem::CDataSelectionDataItem(IQvxDataSelection* selection, CTaskDataItem* task, long index)
    : Selection(selection), Task(task), Index(index)
{
    if (Selection) Selection.As(Selection2);
    qvx::time start = 0, end = 0, offset = 0;
    if (CDataSelectionDataItem::GetTimes(start, end, offset)) {
        StartTime = start;
        EndTime = end;
        TimeOffset = offset;
    }
    // One sink, of the newest version that the selection offers.
    if (Selection2) {
        Sink2 = CreateSink<CSink2>(static_cast<CDataSelectionNotifications2Receiver*>(this));
        if (Sink2) Sink2->Advise(Selection2);
    } else if (Selection) {
        Sink1 = CreateSink<CSink1>(static_cast<CDataSelectionNotificationsReceiver*>(this));
        if (Sink1) Sink1->Advise(Selection);
    }
}

CDataSelectionDataItem::~CDataSelectionDataItem()
{
    CloseSink(Sink2, Selection2);
    CloseSink(Sink1, Selection);
    LapMarkers.reset();
    // The traces belong to their channels and may outlive the item: they forget it.
    for (CTraceDataItem* trace : std::vector<CTraceDataItem*>(Traces)) trace->DetachSelection();
}

const wchar_t* CDataSelectionDataItem::GetTimeLabel()
{
    // In distance mode the axis is labelled by the distance unit, which the selection's distance
    // item gives; a chart without one shows no label.
    if (!Task || Task->IsDistanceMode()) return nullptr;
    return Task->GetTimePrefix().Get();
}

bool CDataSelectionDataItem::GetTimes(qvx::time& start, qvx::time& end, qvx::time& offset)
{
    return Selection && SUCCEEDED(Selection->GetStartTime(&start)) && SUCCEEDED(Selection->GetEndTime(&end))
           && SUCCEEDED(Selection->GetTimeOffset(&offset));
}

std::unique_ptr<CLapMarkersDataItem> CDataSelectionDataItem::CreateLapMarkers()
{
    return std::make_unique<CLapMarkersDataItem>(this);
}

void CDataSelectionDataItem::AttachLapMarkers()
{
    LapMarkers = CreateLapMarkers();
}

COLORREF CDataSelectionDataItem::GetColor()
{
    if (!(Flags & SelectionColorStale)) return Color;
    OLE_COLOR colour = 0;
    COLORREF translated = 0;
    if (Selection && SUCCEEDED(Selection->GetColor(&colour)) && SUCCEEDED(OleTranslateColor(colour, nullptr, &translated)))
        Color = translated;
    Flags &= ~SelectionColorStale;
    return Color;
}

bool CDataSelectionDataItem::IsSecondary(IQvxDataSelection* selection)
{
    CComPtr<IQvxDataSelection2> selection2;
    VARIANT_BOOL secondary = VARIANT_FALSE;
    return selection && SUCCEEDED(selection->QueryInterface(__uuidof(IQvxDataSelection2), selection2.OutVoid()))
           && selection2 && SUCCEEDED(selection2->GetIsSecondary(&secondary)) && secondary == VARIANT_TRUE;
}

bool CDataSelectionDataItem::IsRealTime(IQvxDataSelection* selection)
{
    VARIANT_BOOL realTime = VARIANT_FALSE;
    return selection && SUCCEEDED(selection->GetIsRealTime(&realTime)) && realTime == VARIANT_TRUE;
}

CComPtr<IQvxLaps> CDataSelectionDataItem::GetLaps() const
{
    CComPtr<IQvxLaps> laps;
    CComPtr<IUnknown> object;
    if (Selection && SUCCEEDED(Selection->GetLaps(object.Out())) && object) object.As(laps);
    return laps;
}

bool CDataSelectionDataItem::GetDataFirstTime(qvx::time& time) const
{
    CComPtr<IQvxLaps> laps = GetLaps();
    return laps && SUCCEEDED(laps->GetFirstTime(&time));
}

bool CDataSelectionDataItem::GetDataLastTime(qvx::time& time) const
{
    CComPtr<IQvxLaps> laps = GetLaps();
    return laps && SUCCEEDED(laps->GetLastTime(&time));
}

qvx::time CDataSelectionDataItem::GetVisibleStart()
{
    qvx::time minimum = 0, maximum = 0;
    if (Task) Task->GetTimeRange(minimum, maximum);
    return minimum + StartTime;
}

qvx::time CDataSelectionDataItem::GetVisibleEnd()
{
    qvx::time minimum = 0, maximum = 0;
    if (Task) Task->GetTimeRange(minimum, maximum);
    return maximum + StartTime;
}

void CDataSelectionDataItem::AddTrace(CTraceDataItem* trace)
{
    Traces.push_back(trace);
}

void CDataSelectionDataItem::RemoveTrace(CTraceDataItem* trace)
{
    std::erase(Traces, trace);
}

const std::vector<CSegmentRecord>& CDataSelectionDataItem::GetSegments()
{
    if (Flags & SelectionSegmentsStale) UpdateSegments();
    return Segments;
}

const std::vector<CSplitRecord>& CDataSelectionDataItem::GetSplits()
{
    if (Flags & SelectionSplitsStale) UpdateSplits();
    return Splits;
}

void CDataSelectionDataItem::UpdateSplits()
{
    // Keep what is good: the splits before SplitsValidTo.
    if (SplitsValidTo == UnknownTime) {
        Splits.clear();
        SplitsValidTo = StartTime;
    } else {
        std::erase_if(Splits, [this](const CSplitRecord& split) { return split.Time >= SplitsValidTo; });
    }
    // Crossings are found on a map's lap-distance series. This chart offers no map region, so
    // the list ends here and the bit stays set: the split bar stays empty.
}

void CDataSelectionDataItem::UpdateSegments()
{
    // Keep what is good: the segments that ended before SegmentsValidTo, and one that runs
    // across it, which the next stretch of the map's series would finish.
    if (SegmentsValidTo == UnknownTime) {
        Segments.clear();
        SegmentsValidTo = StartTime;
    } else {
        auto first = std::find_if(Segments.begin(), Segments.end(),
                                  [this](const CSegmentRecord& segment) { return segment.EndTime >= SegmentsValidTo; });
        if (first != Segments.end() && first->StartTime <= SegmentsValidTo) ++first;
        Segments.erase(first, Segments.end());
    }
    // Without a map region (this chart offers none) nothing can be found, and the bit stays set.
}

// --- notifications ---

void CDataSelectionDataItem::OnColorChanged(IQvxDataSelection*)
{
    NotifyChange(SelectionColorStale, 1);
    for (CTraceDataItem* trace : std::vector<CTraceDataItem*>(Traces)) trace->NotifyChange(TraceColorChanged, 1);
}

void CDataSelectionDataItem::OnContentsChanged(IQvxDataSelection*)
{
    NotifyChange(SelectionEventSetsStale, 1);
    if (Task) Task->NotifyChange(TaskTimeRangeStale | TaskDistanceRangeStale, 1);
}

void CDataSelectionDataItem::OnSelectionGoingAway(IQvxDataSelection*)
{
    if (Task) Task->RemoveSelection(this);
    delete this;
}

void CDataSelectionDataItem::OnTimesChanged(IQvxDataSelection*)
{
    qvx::time start = 0, end = 0, offset = 0;
    if (!GetTimes(start, end, offset)) return;
    if (start != StartTime) {
        ForgetSegments();
        ForgetSplits();
    }
    if (start == StartTime && end == EndTime && offset == TimeOffset) return;
    StartTime = start;
    EndTime = end;
    TimeOffset = offset;
    NotifyChange(SelectionTimesChanged | SelectionDistanceStale, 1);
    NotifyTimesChanged();
}

void CDataSelectionDataItem::OnChannelsChanged(IQvxDataSelection*)
{
    NotifyChange(SelectionChannelsChanged, 1);
    if (!Task) return;
    Task->NotifyChange(TaskSelectionsStale | TaskActiveStale, 1);
    Task->InvalidateChannels();
}

void CDataSelectionDataItem::NotifyTimesChanged()
{
    NotifyChange(SelectionSplitsStale | SelectionSegmentsStale, 1);
    // Autoscaled channels measure their range over the new bounds.
    for (CTraceDataItem* trace : std::vector<CTraceDataItem*>(Traces)) {
        CChannelDataItem* channel = trace->GetChannel();
        if (channel && channel->MayAutoscale() && !(channel->Flags & ChannelTracesStale))
            channel->NotifyChannelChange(ChannelRangeStale);
    }
}

// --- the real-time selection ---

CRTCDataSelectionDataItem::CRTCDataSelectionDataItem(IQvxDataSelection* selection, CRTCTaskDataItem* task,
                                                     long index)
    : CDataSelectionDataItem(selection, task, index), TimeSettings(task ? &task->GetTimeSettings() : nullptr)
{
    // The window stands in for the host's bounds, and live data have no offset.
    StartTime = 0;
    EndTime = 0;
    TimeOffset = 0;
}

CRTCTaskDataItem* CRTCDataSelectionDataItem::GetRTCTask() const
{
    return static_cast<CRTCTaskDataItem*>(GetTask());
}

const wchar_t* CRTCDataSelectionDataItem::GetTimeLabel()
{
    CRTCTaskDataItem* task = GetRTCTask();
    if (!task) return nullptr;
    return task->GetMode().GetTimeLabel().Get();
}

bool CRTCDataSelectionDataItem::GetTimes(qvx::time& start, qvx::time& end, qvx::time& offset)
{
    if (!UpdateWindow()) return false;
    start = WindowStart;
    end = WindowEnd;
    offset = 0;
    return true;
}

std::unique_ptr<CLapMarkersDataItem> CRTCDataSelectionDataItem::CreateLapMarkers()
{
    return std::make_unique<CRTCLapMarkersDataItem>(this);
}

bool CRTCDataSelectionDataItem::UpdateWindow()
{
    CRTCTaskDataItem* task = GetRTCTask();
    if (!task || !TimeSettings) return false;
    const qvx::time old = WindowStart;
    // A held chart keeps the window it has: its view must not move under the user.
    if (WindowKnown && task->GetMode().IsLocallyHeld()) return true;
    qvx::time first = 0, last = 0;
    if (GetDataFirstTime(first) && GetDataLastTime(last)) {
        WindowStart = first;
        WindowEnd = last;
        WindowKnown = TRUE;
    }
    if (!WindowKnown) return false;
    FirstDataTime = WindowStart;
    const qvx::time historic = *TimeSettings->HistoricDataTimeSpan;
    if (WindowStart + historic >= WindowEnd) return true;  // all data fit: the window starts at the first
    WindowStart = WindowEnd - historic;
    if (old == UnknownTime) return true;
    const long width = task->GetPlotWidth();
    if (width < 1) return true;
    const qvx::time column = *TimeSettings->DataTimeSpan / width;
    if (column < 1) return true;
    // The window starts on the grid of pixel columns through the last window's start, at the
    // first grid line strictly after the earliest start that still shows the newest data. So it
    // moves by whole columns only, forward as data arrive, never back while data trickle in
    // within the last column, and the newest data stay strictly inside the window.
    const qvx::time moved = WindowStart - old;
    WindowStart = old + (FloorDivide(moved, column) + 1) * column;
    WindowEnd = WindowStart + historic;
    return true;
}

void CRTCDataSelectionDataItem::RefreshWindow()
{
    WindowKnown = FALSE;
    qvx::time start = 0, end = 0, offset = 0;
    if (!GetTimes(start, end, offset)) {
        TimesValid = FALSE;
        return;
    }
    if (TimesValid && start == StartTime && end == EndTime) return;
    StartTime = start;
    EndTime = end;
    TimesValid = TRUE;
    if (CRTCTaskDataItem* task = GetRTCTask()) {
        const bool running = task->GetMode().IsRunning();
        task->NotifyChange(running ? (TaskWindowMoved | TaskLiveRangeStale) : TaskWindowMoved, 1);
    }
    NotifyTimesChanged();
}

void CRTCDataSelectionDataItem::OnContentsChanged(IQvxDataSelection* selection)
{
    WindowKnown = FALSE;
    if (IsRealTime())
        CDataSelectionDataItem::OnContentsChanged(selection);
    else
        OnRealTimeChanged(selection);
}

void CRTCDataSelectionDataItem::OnTimesChanged(IQvxDataSelection*)
{
    // The window is the chart's own; the host's bounds do not move it.
}

void CRTCDataSelectionDataItem::OnRealTimeChanged(IQvxDataSelection*)
{
    WindowKnown = FALSE;
    // A selection that stopped being live is exchanged for a waiting listener at the rebuild.
    if (!IsRealTime() && GetTask()) GetTask()->OnSelectionsChanged();
}
