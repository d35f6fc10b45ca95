#include "items/RTCTaskDataItem.h"
#include <algorithm>
#include <new>
#include "com/AutomationTypes.h"
#include "items/ChartOwner.h"
#include "items/DataSelectionDataItem.h"
#include "items/LapMarkersDataItem.h"
#include "items/ChannelDataItem.h"
#include "items/TraceDataItem.h"
#include "resources/Resource.h"

namespace {

constexpr qvx::time HalfSecond = 5'000'000;

} // namespace

CRTCTaskDataItem::CRTCTaskDataItem(CChartOwner* owner, const CRTCTimeSettings& settings)
    : CTaskDataItem(owner), TimeSettings(settings)
{
}

CRTCTaskDataItem::CRTCTaskDataItem(CChartOwner* owner, qvx::time dataTimeSpan)
    : CTaskDataItem(owner), TimeSettings{&OwnDataTimeSpan, &OwnDataTimeSpan, &OwnRunning},
      OwnDataTimeSpan(dataTimeSpan)
{
}

CRTCTaskDataItem::~CRTCTaskDataItem() = default;

void CRTCTaskDataItem::OnRunStateChanged()
{
    RefreshControlMode();
    // A pause keeps the range where it stood as a zoom level; a chart that runs again is left
    // unzoomed, or its window would stop following the live end.
    if (ZoomStack && !Mode->IsRunning()) ZoomStack->PushTimeZoom(TimeMinimum, TimeMaximum);
}

qvx::time CRTCTaskDataItem::NextHalfSecond(qvx::time dataEnd) noexcept
{
    return (dataEnd / HalfSecond + 1) * HalfSecond;
}

void CRTCTaskDataItem::UpdateTimeRange()
{
    CTaskDataItem::UpdateTimeRange();
    const qvx::time dataTimeSpan = GetDataTimeSpan();
    qvx::time width = dataTimeSpan;
    bool snap = true;
    if (StackIsZoomed()) {
        if (ActiveSelection) FullTimeSpan = ActiveSelection->GetLength();
        const qvx::time length = FullTimeSpan;
        if (TimeMaximum > length) {
            // A zoomed window never looks past the data's end; it keeps its width.
            width = TimeMaximum - TimeMinimum;
            TimeMaximum = length;
            TimeMinimum = length - width;
        } else {
            // A zoomed window inside the data is the user's: it stays as it is.
            snap = false;
        }
    } else {
        if (ActiveSelection) {
            TimeMinimum = 0;
            FullTimeSpan = TimeMaximum = ActiveSelection->GetLength();
        }
        TimeMaximum = TimeMinimum + NextHalfSecond(TimeMaximum - TimeMinimum);
        TimeMinimum = TimeMaximum - dataTimeSpan;
    }
    if (snap && TimeMinimum < 0) {
        // Until the window is filled it stands at the start.
        TimeMinimum = 0;
        TimeMaximum = width;
    }
    HasTimeRangeFlag = TimeMinimum != TimeMaximum;
    Flags &= ~TaskLiveRangeStale;
}

const qvx::time& CRTCTaskDataItem::GetCursorTime()
{
    return GetMode().GetCursorTime();
}

void CRTCTaskDataItem::SetCursor(const qvx::time& time, int constrain)
{
    qvx::time t = time;
    CTraceDataItem* trace = GetActiveTrace();
    if (trace) trace->SnapToSample(t);
    if (!constrain) {
        GetMode().SetCursor(t);
        return;
    }
    if (!HasTimeRange()) return;
    // Without an active trace there is no sample nearer the range to move to.
    if (t < TimeMinimum || t > TimeMaximum) {
        if (!trace) return;
        ConstrainToRange(t, trace);
    }
    if (t >= TimeMinimum && t <= TimeMaximum) GetMode().SetCursor(t);
}

void CRTCTaskDataItem::CursorToPreviousSample()
{
    if (GetActiveTrace()) CTaskDataItem::CursorToPreviousSample();
}

void CRTCTaskDataItem::CursorToNextSample()
{
    if (GetActiveTrace()) CTaskDataItem::CursorToNextSample();
}

void CRTCTaskDataItem::CursorToFirstSample()
{
    if (GetActiveTrace()) CTaskDataItem::CursorToFirstSample();
}

void CRTCTaskDataItem::CursorToLastSample()
{
    if (GetActiveTrace()) CTaskDataItem::CursorToLastSample();
}

long CRTCTaskDataItem::CurrentSelectionIndex()
{
    CComPtr<IQvxDataSelection> current;
    CComPtr<IQvxDataSelectionList> list;
    long count = 0;
    if (!Task || FAILED(GetCurrentDataSelection(current.Out())) || !current) return -1;
    if (FAILED(Task->GetDataSelections(list.Out())) || !list || FAILED(list->GetCount(&count))) return -1;
    for (long index = 1; index <= count; ++index) {
        CComPtr<IQvxDataSelection> selection;
        if (SUCCEEDED(list->GetItem(index, selection.Out())) && SameObject(selection, current)) return index;
    }
    return -1;
}

void CRTCTaskDataItem::SetActiveTrace(CChannelDataItem* channel, CTraceDataItem*)
{
    ActiveChannel = channel;
    if (!channel || !GetActiveSelection()) return;
    const long index = CurrentSelectionIndex();
    if (index < 1 || FAILED(Task->SetCurrentDataSelection(index))) return;
    ActiveTraceChosen();
}

void CRTCTaskDataItem::ActivatePreviousTrace()
{
    StepActiveChannel(-1);
}

void CRTCTaskDataItem::ActivateNextTrace()
{
    StepActiveChannel(1);
}

void CRTCTaskDataItem::StepActiveChannel(int step)
{
    if (!ActiveChannel || !Ordering || !GetActiveSelection()) return;
    const long index = CurrentSelectionIndex();
    if (index < 1) return;
    const std::vector<CChannelDataItem*>& channels = Ordering->GetItems();
    const auto at = std::find(channels.begin(), channels.end(), ActiveChannel);
    if (at == channels.end()) return;
    ActiveChannel = channels[Wrapped(size_t(at - channels.begin()), step, channels.size())];
    if (FAILED(Task->SetCurrentDataSelection(index))) return;
    ActiveTraceChosen();
}

void CRTCTaskDataItem::SetCursorChecked(const qvx::time& time)
{
    GetMode().SetCursorChecked(time);
}

HRESULT CRTCTaskDataItem::SetZoomStack(IUnknown* stack)
{
    const HRESULT hr = CTaskDataItem::SetZoomStack(stack);
    if (FAILED(hr)) return hr;
    UpdateRetainedSpan();
    // The stack that comes into use measures against the selection shown, which the last
    // rebuild gave to the stack before it.
    if (ZoomStack && !(Flags & TaskSelectionsStale))
        ZoomStack->SetReferenceSelection(Selections.empty() ? nullptr : Selections.front()->GetSelection());
    return hr;
}

CChannelDataItem* CRTCTaskDataItem::CreateChannel(const CBstr& name)
{
    return new (std::nothrow) CRTCChannelDataItem(this, name, Owner ? Owner->GetChannelFactory() : nullptr);
}

HRESULT CRTCTaskDataItem::GetCurrentDataSelection(IQvxDataSelection** selection)
{
    if (!selection) return E_POINTER;
    *selection = nullptr;
    return Owner ? Owner->GetSingleSelection(selection) : E_UNEXPECTED;
}

void CRTCTaskDataItem::CommitCursor(const qvx::time& time)
{
    GetMode().SetCursor(time);
}

void CRTCTaskDataItem::RebuildDataSelections()
{
    if (!(Flags & TaskSelectionsStale)) return;
    DeleteSelections();
    WaitingListener.reset();
    CComPtr<IQvxDataSelection> reference;
    CComPtr<IQvxDataSelection> selection;
    if (SUCCEEDED(GetCurrentDataSelection(selection.Out())) && selection) {
        if (CDataSelectionDataItem::IsSecondary(selection)) {
            SecondarySelections.reserve(SecondarySelections.size() + 1);
            if (CRTCDataSelectionDataItem* item = CreateRTCDataSelection(selection)) SecondarySelections.push_back(item);
        } else if (CDataSelectionDataItem::IsRealTime(selection)) {
            Selections.reserve(Selections.size() + 1);
            if (CRTCDataSelectionDataItem* item = CreateRTCDataSelection(selection)) Selections.push_back(item);
            reference = selection;
        } else {
            WaitingListener.reset(new (std::nothrow) CRTCNonRealTimeDataSelectionListener(selection, *this));
        }
    }
    if (ZoomStack) ZoomStack->SetReferenceSelection(reference);
    Flags &= ~TaskSelectionsStale;
}

CRTCDataSelectionDataItem* CRTCTaskDataItem::CreateRTCDataSelection(IQvxDataSelection* selection)
{
    auto* item = new (std::nothrow) CRTCDataSelectionDataItem(selection, this, 0);
    if (!item) return nullptr;
    item->AttachLapMarkers();
    // The lap object's reports of new data are what move a live window: listen from the start.
    if (CLapMarkersDataItem* markers = item->GetLapMarkers()) markers->GetMarkers();
    // A chart attached to a paused recording shows its data at once, not at the next report of
    // new data.
    item->RefreshWindow();
    return item;
}

void CRTCTaskDataItem::RefreshWindows()
{
    std::vector<CDataSelectionDataItem*> selections = Selections;
    selections.insert(selections.end(), SecondarySelections.begin(), SecondarySelections.end());
    for (CDataSelectionDataItem* selection : selections)
        static_cast<CRTCDataSelectionDataItem*>(selection)->RefreshWindow();
}

void CRTCTaskDataItem::DropWaitingListener()
{
    WaitingListener.reset();
}

CRTCTaskDataItem::CControlMode& CRTCTaskDataItem::GetMode()
{
    if (!Mode || (Flags & TaskControlModeStale)) ChooseMode();
    return *Mode;
}

void CRTCTaskDataItem::ChooseMode()
{
    Mode.reset();
    VARIANT_BOOL hostRunning = VARIANT_FALSE;
    if (!Task) {
        Mode = std::make_unique<CNoTaskControlMode>(*this);
    } else if (FAILED(Task->GetRunning(&hostRunning)) || hostRunning != VARIANT_TRUE) {
        Mode = std::make_unique<CGlobalPauseControlMode>(*this);
    } else if (IsRunWanted()) {
        Mode = std::make_unique<CRunningControlMode>(*this);
    } else {
        qvx::time cursor = 0;
        Task->GetCursorTime(&cursor);
        Mode = std::make_unique<CLocalPauseControlMode>(*this, cursor);
    }
    Flags &= ~TaskControlModeStale;
}

void CRTCTaskDataItem::RefreshControlMode()
{
    NotifyChange(TaskControlModeStale, 1);
    ChooseMode();
    const bool running = Mode->IsRunning();
    // A chart that runs again shows the newest data of every trace.
    if (running && Ordering)
        for (CChannelDataItem* channel : std::vector<CChannelDataItem*>(Ordering->GetItems()))
            channel->NotifyTraces(TraceDataStale);
    NotifyChange(TaskCursorStale | TaskWindowMoved | TaskDistanceRangeStale | TaskTimeRangeStale, 1);
    if (Flags & TaskSelectionsStale) RebuildDataSelections();
    CComPtr<IQvxZoomStackLimits> limits;
    if (ZoomStack) ZoomStack->QueryInterface(__uuidof(IQvxZoomStackLimits), limits.OutVoid());
    if (running) {
        if (limits) limits->SetFreeze(VARIANT_FALSE);
        ClearYZoom();
        if (StackIsZoomed()) {
            ZoomStack->PopAll();
        } else {
            NotifyChange(TaskTimeRangeStale | TaskDistanceRangeStale, 1);
            RedrawNow();
        }
        InvalidateChannels();
    } else if (limits) {
        if (Mode->IsLocallyHeld()) {
            limits->SetFreeze(VARIANT_TRUE);
            limits->SetFrozenRange(TimeMinimum, TimeMaximum);
        } else {
            limits->SetFreeze(VARIANT_FALSE);
        }
    }
}

void CRTCTaskDataItem::UpdateRetainedSpan()
{
    qvx::time span = GetHistoricDataTimeSpan();
    if (ZoomStack) ZoomStack->SetFixedTimeSpan(VARIANT_TRUE, &span);
}

void CRTCTaskDataItem::OnRangeChanged(IQvxZoomStack* stack)
{
    // Whether the chart runs is the mode's answer: the wish to run outlasts a pause of the host.
    if (!GetMode().IsRunning()) CTaskDataItem::OnRangeChanged(stack);
}

qvx::time CRTCTaskDataItem::HostCursorOffset()
{
    CDataSelectionDataItem* selection = GetActiveSelection();
    qvx::time hostStart = 0;
    if (!selection || !selection->GetSelection() || FAILED(selection->GetSelection()->GetStartTime(&hostStart)))
        return 0;
    return hostStart - selection->GetStartTime();
}

// --- the listener that waits for a live selection ---

CRTCTaskDataItem::CRTCNonRealTimeDataSelectionListener::CRTCNonRealTimeDataSelectionListener(
    IQvxDataSelection* selection, CRTCTaskDataItem& task)
    : Selection(selection), Task(&task)
{
    Sink = CreateSink<CSink>(static_cast<CDataSelectionNotificationsReceiver*>(this));
    if (Sink) Sink->Advise(Selection);
}

CRTCTaskDataItem::CRTCNonRealTimeDataSelectionListener::~CRTCNonRealTimeDataSelectionListener()
{
    CloseSink(Sink, Selection);
}

void CRTCTaskDataItem::CRTCNonRealTimeDataSelectionListener::OnContentsChanged(IQvxDataSelection*)
{
    CheckRealTime();
}

void CRTCTaskDataItem::CRTCNonRealTimeDataSelectionListener::OnRealTimeChanged(IQvxDataSelection*)
{
    CheckRealTime();
}

void CRTCTaskDataItem::CRTCNonRealTimeDataSelectionListener::OnSelectionGoingAway(IQvxDataSelection*)
{
    Task->DropWaitingListener();
}

void CRTCTaskDataItem::CRTCNonRealTimeDataSelectionListener::CheckRealTime()
{
    if (CDataSelectionDataItem::IsRealTime(Selection)) Task->OnSelectionsChanged();
}

// --- the control modes ---

CRTCTaskDataItem::CControlMode::CControlMode(CRTCTaskDataItem& task, UINT statusText, const wchar_t* statusFallback,
                                             UINT timeLabel, const wchar_t* timeLabelFallback)
    : Task(&task), StatusText(LoadModuleString(statusText, statusFallback)),
      TimeLabel(LoadModuleString(timeLabel, timeLabelFallback))
{
}

void CRTCTaskDataItem::CControlMode::SetCursor(const qvx::time&)
{
}

void CRTCTaskDataItem::CControlMode::SetCursorChecked(const qvx::time&)
{
}

const qvx::time& CRTCTaskDataItem::CControlMode::GetCursorTime()
{
    return LocalCursor;
}

void CRTCTaskDataItem::CControlMode::GetSelectionStart(qvx::time& start)
{
    start = 0;
}

CRTCTaskDataItem::CNoTaskControlMode::CNoTaskControlMode(CRTCTaskDataItem& task)
    : CControlMode(task, 0, L"", 0, L"")
{
}

CRTCTaskDataItem::CRunningControlMode::CRunningControlMode(CRTCTaskDataItem& task)
    : CControlMode(task, IDS_RUNNING, L"Running ", IDS_ELAPSED_TIME, L"Elapsed Time: ")
{
}

CRTCTaskDataItem::CLocalPauseControlMode::CLocalPauseControlMode(CRTCTaskDataItem& task, qvx::time hostCursor)
    : CControlMode(task, IDS_LOCAL_PAUSE, L"Local Pause ", IDS_PAUSED_TIME, L"Time: ")
{
    LocalCursor = hostCursor;
}

void CRTCTaskDataItem::CLocalPauseControlMode::SetCursor(const qvx::time& time)
{
    CDataSelectionDataItem* selection = Task->GetActiveSelection();
    if (!selection) return;
    FromHost = false;
    LocalCursor = std::min(selection->GetLength(), time);
    Task->OnCursorChanged(LocalCursor);
}

void CRTCTaskDataItem::CLocalPauseControlMode::SetCursorChecked(const qvx::time& time)
{
    FromHost = false;
    LocalCursor = time;
    Task->OnCursorChanged(LocalCursor);
}

const qvx::time& CRTCTaskDataItem::CLocalPauseControlMode::GetCursorTime()
{
    // The host's time is moved onto the chart's axis at the first read, not while the mode is
    // chosen: finding the active selection then could rebuild the selections inside the choice.
    if (FromHost) {
        FromHost = false;
        LocalCursor += Task->HostCursorOffset();
    }
    return LocalCursor;
}

CRTCTaskDataItem::CGlobalPauseControlMode::CGlobalPauseControlMode(CRTCTaskDataItem& task)
    : CControlMode(task, IDS_GLOBAL_PAUSE, L"Global Pause ", IDS_PAUSED_TIME, L"Time: ")
{
}

void CRTCTaskDataItem::CGlobalPauseControlMode::SetCursor(const qvx::time& time)
{
    if (Task->GetTask()) Task->GetTask()->SetCursorTime(time - Task->HostCursorOffset());
}

void CRTCTaskDataItem::CGlobalPauseControlMode::SetCursorChecked(const qvx::time& time)
{
    CDataSelectionDataItem* selection = Task->GetActiveSelection();
    if (selection && time >= 0 && time <= selection->GetLength()) SetCursor(time);
}

const qvx::time& CRTCTaskDataItem::CGlobalPauseControlMode::GetCursorTime()
{
    if (!(Task->Flags & TaskCursorStale)) return LocalCursor;
    // A failing host leaves the bit set: the next reader asks again.
    qvx::time host = 0;
    if (Task->GetTask() && SUCCEEDED(Task->GetTask()->GetCursorTime(&host))) {
        LocalCursor = host + Task->HostCursorOffset();
        Task->Flags &= ~TaskCursorStale;
    }
    return LocalCursor;
}

void CRTCTaskDataItem::CGlobalPauseControlMode::GetSelectionStart(qvx::time& start)
{
    CDataSelectionDataItem* selection = Task->GetActiveSelection();
    start = selection ? selection->GetStartTime() : 0;
}
