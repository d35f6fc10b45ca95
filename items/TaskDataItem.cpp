#include "items/TaskDataItem.h"
#include <algorithm>
#include <cmath>
#include <new>
#include "items/ChartOwner.h"
#include "items/DataSelectionDataItem.h"
#include "items/LapMarkersDataItem.h"
#include "items/ChannelDataItem.h"
#include "scales/TimeText.h"
#include "items/TraceDataItem.h"
#include "items/ItemFlags.h"
#include "resources/Resource.h"

CBstr CTaskDataItem::LoadModuleString(UINT id, const wchar_t* fallback)
{
    const wchar_t* text = nullptr;
    const int length = id ? LoadStringW(CComModule::Instance().Handle(), id, reinterpret_cast<wchar_t*>(&text), 0) : 0;
    if (length > 0 && text) return CBstr::Adopt(SysAllocStringLen(text, UINT(length)));
    return CBstr(fallback);
}

size_t CTaskDataItem::Wrapped(size_t at, int step, size_t count)
{
    const long n = long(count);
    return size_t((long(at) + step % n + n) % n);
}

CTaskDataItem::CTaskDataItem(CChartOwner* owner) : Owner(owner)
{
    // Only the real-time task follows a live window.
    Flags &= ~TaskLiveRangeStale;
    CComPtr<IQvxOrdering> ordering;
    if (SUCCEEDED(CComObject<CChannelOrdering>::Create(nullptr, __uuidof(IQvxOrdering), ordering.OutVoid()))) {
        Ordering = static_cast<CChannelOrdering*>(ordering.Get());
        Ordering->SetTask(this);
    }
    CoCreateInstance(CLSID_QvxUnitConverter, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IQvxUnitConverter),
                     UnitConverter.OutVoid());
    TimePrefix = LoadModuleString(IDS_TIME_PREFIX, L"Time: ");
    // The chart's own stack, in use until the control gives the task's. Without it the chart
    // shows no range until it gets one.
    CoCreateInstance(CLSID_QvxZoomStack, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IQvxZoomStack),
                     OwnZoomStack.OutVoid());
    ZoomStack = OwnZoomStack;
    ZoomSink = CreateSink<CZoomSink>(static_cast<CZoomStackNotifications3Receiver*>(this));
    if (ZoomSink) ZoomSink->Advise(ZoomStack);
}

CTaskDataItem::~CTaskDataItem()
{
    CloseSink(ZoomSink, ZoomStack);
    ActiveChannel = nullptr;
    if (Ordering) Ordering->Close();
    Ordering = nullptr;
    DeleteSelections();
}

// --- task notifications ---

void CTaskDataItem::OnSegmentsAndSplitsChanged()
{
    if (Flags & TaskSelectionsStale) return;
    for (CDataSelectionDataItem* selection : Selections) selection->NotifyChange(SelectionSplitsStale | SelectionSegmentsStale, 1);
}

void CTaskDataItem::OnSegmentsChanged()
{
    if (Flags & TaskSelectionsStale) return;
    for (CDataSelectionDataItem* selection : Selections) {
        selection->ForgetSegments();
        selection->NotifyChange(SelectionSegmentsStale, 1);
    }
}

void CTaskDataItem::OnSplitsChanged()
{
    if (Flags & TaskSelectionsStale) return;
    for (CDataSelectionDataItem* selection : Selections) {
        selection->ForgetSplits();
        selection->NotifyChange(SelectionSplitsStale, 1);
    }
}

void CTaskDataItem::OnEventSetsChanged()
{
    if (Flags & TaskSelectionsStale) return;
    for (CDataSelectionDataItem* selection : Selections) selection->NotifyChange(SelectionEventSetsStale, 1);
}

void CTaskDataItem::OnCurrentSelectionChanged()
{
    NotifyChange(TaskActiveStale, 1);
}

void CTaskDataItem::OnRunStateChanged()
{
}

void CTaskDataItem::OnSelectionsChanged()
{
    NotifyChange(TaskSelectionsStale | TaskActiveStale, 1);
    InvalidateChannels();
    ClearYZoom();
}

void CTaskDataItem::OnCursorChanged(qvx::time time)
{
    CursorTime = time;
    EnsureActiveValueVisible();
    NotifyChange(TaskCursorStale, 1);
}

void CTaskDataItem::OnChannelsChanged()
{
    NotifyChange(TaskSelectionsStale | TaskActiveStale, 1);
    InvalidateChannels();
}

// --- the horizontal axis ---

void CTaskDataItem::UpdateTimeRange()
{
    qvx::time minimum = 0, maximum = 0;
    const bool haveMinimum = ZoomStack && SUCCEEDED(ZoomStack->GetTimeMinimum(&minimum));
    const bool haveMaximum = ZoomStack && SUCCEEDED(ZoomStack->GetTimeMaximum(&maximum));
    TimeMinimum = haveMinimum ? minimum : 0;
    if (haveMaximum) TimeMaximum = maximum;
    else if (!haveMinimum) TimeMaximum = 0;
    else TimeMaximum = ActiveSelection ? ActiveSelection->GetLength() : 0;
    HasTimeRangeFlag = TimeMinimum != TimeMaximum;
    qvx::time span = 0;
    if (ZoomStack && SUCCEEDED(ZoomStack->GetFullTimeSpan(&span))) FullTimeSpan = span;
    Flags &= ~TaskTimeRangeStale;
}

void CTaskDataItem::UpdateDistanceRange()
{
    double minimum = 0.0, maximum = 0.0;
    const bool haveMinimum = ZoomStack && SUCCEEDED(ZoomStack->GetDistanceMinimum(&minimum));
    const bool haveMaximum = ZoomStack && SUCCEEDED(ZoomStack->GetDistanceMaximum(&maximum));
    DistanceMinimum = haveMinimum ? minimum : 0.0;
    // The selection's length in distance, which stands in for a failed maximum, comes with the
    // distance items.
    DistanceMaximum = haveMaximum ? maximum : 0.0;
    HasDistanceRange = DistanceMinimum != DistanceMaximum;
    double span = 0.0;
    if (ZoomStack && SUCCEEDED(ZoomStack->GetFullDistanceSpan(&span))) FullDistanceSpan = span;
    Flags &= ~TaskDistanceRangeStale;
}

void CTaskDataItem::RefreshTimeRange()
{
    const qvx::time minimum = TimeMinimum, maximum = TimeMaximum, span = FullTimeSpan;
    UpdateTimeRange();
    if (minimum == TimeMinimum && maximum == TimeMaximum && span == FullTimeSpan) {
        Flags |= TaskDistanceRangeStale;
        return;
    }
    NotifyChange(TaskTimeRangeStale | TaskDistanceRangeStale, 1);
    RedrawNow();
    Flags &= ~TaskTimeRangeStale;
}

void CTaskDataItem::RefreshDistanceRange()
{
    const double minimum = DistanceMinimum, maximum = DistanceMaximum, span = FullDistanceSpan;
    UpdateDistanceRange();
    if (minimum == DistanceMinimum && maximum == DistanceMaximum && span == FullDistanceSpan) {
        Flags |= TaskTimeRangeStale;
        return;
    }
    NotifyChange(TaskTimeRangeStale | TaskDistanceRangeStale, 1);
    RedrawNow();
    Flags &= ~TaskDistanceRangeStale;
}

void CTaskDataItem::RedrawNow()
{
    if (HWND window = Owner ? Owner->GetWindow() : nullptr) UpdateWindow(window);
}

void CTaskDataItem::GetTimeRange(qvx::time& minimum, qvx::time& maximum)
{
    if (Flags & (TaskTimeRangeStale | TaskLiveRangeStale)) RefreshTimeRange();
    minimum = TimeMinimum;
    maximum = TimeMaximum;
}

void CTaskDataItem::GetDistanceRange(double& minimum, double& maximum)
{
    if (Flags & TaskDistanceRangeStale) RefreshDistanceRange();
    minimum = DistanceMinimum;
    maximum = DistanceMaximum;
}

qvx::time CTaskDataItem::GetFullTimeSpan()
{
    if (Flags & (TaskTimeRangeStale | TaskLiveRangeStale)) RefreshTimeRange();
    return FullTimeSpan;
}

double CTaskDataItem::GetFullDistanceSpan()
{
    if (Flags & TaskDistanceRangeStale) RefreshDistanceRange();
    return FullDistanceSpan;
}

bool CTaskDataItem::HasTimeRange()
{
    if (Flags & (TaskTimeRangeStale | TaskLiveRangeStale)) RefreshTimeRange();
    return HasTimeRangeFlag != FALSE;
}

const qvx::time& CTaskDataItem::GetCursorTime()
{
    qvx::time time = 0;
    // A failure leaves the bit set: the next reader asks again.
    if ((Flags & TaskCursorStale) && Task && SUCCEEDED(Task->GetCursorTime(&time))) {
        CursorTime = time;
        Flags &= ~TaskCursorStale;
    }
    return CursorTime;
}

void CTaskDataItem::SetCursor(const qvx::time& time, int constrain)
{
    if (!Task) return;
    qvx::time t = time;
    CTraceDataItem* trace = GetActiveTrace();
    // The cursor stands on a real sample of the active trace.
    if (trace) trace->SnapToSample(t);
    if (constrain) {
        if (!HasTimeRange()) return;
        ConstrainToRange(t, trace);
        if (t < TimeMinimum || t > TimeMaximum) return;
    }
    Task->SetCursorTime(t);
}

void CTaskDataItem::ConstrainToRange(qvx::time& t, CTraceDataItem* trace)
{
    if (t < TimeMinimum) {
        qvx::time first = TimeMinimum - 1;
        if (!trace)
            t = TimeMinimum;
        else if (trace->ToNextSample(first))
            t = first;
    } else if (t > TimeMaximum) {
        qvx::time last = TimeMaximum + 1;
        if (!trace)
            t = TimeMaximum;
        else if (trace->ToPreviousSample(last))
            t = last;
    }
}

void CTaskDataItem::SetCursorChecked(const qvx::time& time)
{
    CDataSelectionDataItem* selection = GetActiveSelection();
    if (!selection || time < 0 || time > selection->GetLength()) return;
    if (Task) Task->SetCursorTime(time);
    NotifyChange(TaskCursorStale, 1);
}

void CTaskDataItem::CursorToPreviousSample()
{
    CTraceDataItem* trace = GetActiveTrace();
    if (!trace) return StepCursor(-1);
    qvx::time t = GetCursorTime();
    if (trace->ToPreviousSample(t)) CommitCursor(t);
}

void CTaskDataItem::CursorToNextSample()
{
    CTraceDataItem* trace = GetActiveTrace();
    if (!trace) return StepCursor(1);
    qvx::time t = GetCursorTime();
    if (trace->ToNextSample(t)) CommitCursor(t);
}

void CTaskDataItem::CursorToFirstSample()
{
    qvx::time t = 0;
    if (CTraceDataItem* trace = GetActiveTrace()) {
        if (!trace->ToFirstSample(t)) return;
    } else {
        qvx::time maximum = 0;
        GetTimeRange(t, maximum);
    }
    CommitCursor(t);
}

void CTaskDataItem::CursorToLastSample()
{
    qvx::time t = 0;
    if (CTraceDataItem* trace = GetActiveTrace()) {
        if (!trace->ToLastSample(t)) return;
    } else {
        qvx::time minimum = 0;
        GetTimeRange(minimum, t);
    }
    CommitCursor(t);
}

void CTaskDataItem::SetActiveTrace(CChannelDataItem* channel, CTraceDataItem* trace)
{
    // In distance mode the cursor would keep its distance in the new selection; the chart offers
    // no distance axis, so the cursor keeps its time.
    ActiveChannel = channel;
    if (!channel || !GetActiveSelection() || !Task) return;
    if (!trace || !trace->GetSelection()) return;
    if (FAILED(Task->SetCurrentDataSelection(trace->GetSelection()->GetIndex()))) return;
    ActiveTraceChosen();
}

void CTaskDataItem::ActiveTraceChosen()
{
    NotifyChange(TaskActiveStale, 1);
    SetCursor(GetCursorTime(), 0);
}

void CTaskDataItem::ActivatePreviousTrace()
{
    if (!StepActiveTrace(-1)) StepActiveSelection(-1);
}

void CTaskDataItem::ActivateNextTrace()
{
    if (!StepActiveTrace(1)) StepActiveSelection(1);
}

bool CTaskDataItem::StepActiveTrace(int step)
{
    if (!ActiveChannel || !Ordering || !Task || !GetActiveSelection()) return false;
    // Every trace of every channel, in the ordering's order.
    std::vector<std::pair<CChannelDataItem*, CTraceDataItem*>> all;
    size_t at = all.size();
    for (CChannelDataItem* channel : std::vector<CChannelDataItem*>(Ordering->GetItems())) {
        const std::vector<CTraceDataItem*>& traces = channel->GetTraces();
        for (size_t i = 0; i < traces.size(); ++i) {
            if (channel == ActiveChannel && i == ActiveTrace) at = all.size();
            all.emplace_back(channel, traces[i]);
        }
    }
    if (at == all.size()) return false;
    const auto [channel, trace] = all[Wrapped(at, step, all.size())];
    ActiveChannel = channel;
    // A host that refuses the selection leaves it current: the step is taken all the same.
    if (trace->GetSelection() && FAILED(Task->SetCurrentDataSelection(trace->GetSelection()->GetIndex()))) return true;
    ActiveTraceChosen();
    return true;
}

void CTaskDataItem::StepActiveSelection(int step)
{
    CDataSelectionDataItem* active = GetActiveSelection();
    // Without an active channel the step runs through the selections.
    if (active && !ActiveChannel && Task) {
        const std::vector<CDataSelectionDataItem*>& selections = GetSelections();
        const auto at = std::find(selections.begin(), selections.end(), active);
        if (at != selections.end()) {
            const size_t next = Wrapped(size_t(at - selections.begin()), step, selections.size());
            if (FAILED(Task->SetCurrentDataSelection(selections[next]->GetIndex()))) return;
        }
    }
    ActiveTraceChosen();
}

void CTaskDataItem::StepCursor(long percent)
{
    qvx::time minimum = 0, maximum = 0;
    GetTimeRange(minimum, maximum);
    const qvx::time cursor = GetCursorTime();
    qvx::time t = cursor + (maximum - minimum) * percent / 100;
    CTraceDataItem* trace = GetActiveTrace();
    const auto toNeighbour = [&] { percent < 0 ? CursorToPreviousSample() : CursorToNextSample(); };
    if (trace && !trace->SnapToSample(t)) return toNeighbour();
    if (t == cursor) {
        // Without an active trace there is no neighbouring sample: a step that does not move
        // ends here.
        if (trace) toNeighbour();
        return;
    }
    if (t < minimum) t = minimum;
    if (t > maximum) t = maximum;
    SetCursor(t, 0);
}

// --- creation ---

CChannelDataItem* CTaskDataItem::CreateChannel(const CBstr& name)
{
    return new (std::nothrow) CChannelDataItem(this, name, Owner ? Owner->GetChannelFactory() : nullptr);
}

CDataSelectionDataItem* CTaskDataItem::CreateDataSelection(IQvxDataSelection* selection, long index)
{
    auto* item = new (std::nothrow) CDataSelectionDataItem(selection, this, index);
    if (item) item->AttachLapMarkers();
    return item;
}

HRESULT CTaskDataItem::GetCurrentDataSelection(IQvxDataSelection** selection)
{
    if (!selection) return E_POINTER;
    *selection = nullptr;
    if (!Task) return E_UNEXPECTED;
    return Task->GetCurrentDataSelection(selection);
}

CTraceDataItem* CTaskDataItem::GetActiveTrace()
{
    FindActiveObjects();
    if (!ActiveChannel || ActiveTrace == NoTrace) return nullptr;
    const std::vector<CTraceDataItem*>& traces = ActiveChannel->GetTraces();
    // A trace that went away since leaves the position past the end.
    return ActiveTrace < traces.size() ? traces[ActiveTrace] : nullptr;
}

void CTaskDataItem::CommitCursor(const qvx::time& time)
{
    if (Task) Task->SetCursorTime(time);
}

void CTaskDataItem::ReadDisplayOrder(IQvxDataSelectionList* list)
{
    DisplayOrder.clear();
    if (!Task) return;
    CComPtr<IQvxTaskOrder> order;
    SAFEARRAY* array = nullptr;
    if (SUCCEEDED(Task.As(order)) && SUCCEEDED(order->GetDisplayOrder(&array)) && array) {
        {
            CSafeArrayAccess<long> indices(array);
            for (ULONG i = 0; i < indices.Size(); ++i) DisplayOrder.push_back(indices[i]);
        }
        SafeArrayDestroy(array);
        return;
    }
    // Hosts without an order of their own show their selections in their list's order.
    long count = 0;
    if (!list || FAILED(list->GetCount(&count))) return;
    for (long index = 1; index <= count; ++index) DisplayOrder.push_back(index);
}

void CTaskDataItem::RebuildDataSelections()
{
    if (!(Flags & TaskSelectionsStale)) return;
    DeleteSelections();
    if (!Task) return;
    CComPtr<IQvxDataSelectionList> list;
    if (FAILED(Task->GetDataSelections(list.Out())) || !list) return;
    ReadDisplayOrder(list);
    for (long index : DisplayOrder) {
        CComPtr<IQvxDataSelection> selection;
        if (FAILED(list->GetItem(index, selection.Out())) || !selection) continue;
        Selections.reserve(Selections.size() + 1);
        SecondarySelections.reserve(SecondarySelections.size() + 1);
        CDataSelectionDataItem* item = CreateDataSelection(selection, index);
        if (!item) continue;
        (item->IsSecondary() ? SecondarySelections : Selections).push_back(item);
    }
    Flags &= ~TaskSelectionsStale;
}

const std::vector<CDataSelectionDataItem*>& CTaskDataItem::GetSelections()
{
    RebuildDataSelections();
    return Selections;
}

const std::vector<CDataSelectionDataItem*>& CTaskDataItem::GetSecondarySelections()
{
    RebuildDataSelections();
    return SecondarySelections;
}

// --- the active objects ---

CDataSelectionDataItem* CTaskDataItem::GetActiveSelection()
{
    FindActiveObjects();
    return ActiveSelection;
}

void CTaskDataItem::FindActiveObjects()
{
    if (!(Flags & TaskActiveStale)) return;
    ActiveSelection = nullptr;
    if (!ActiveChannel && Ordering && !Ordering->GetItems().empty()) ActiveChannel = Ordering->GetItems().front();
    if (!ActiveChannel && Task) {
        CComPtr<IQvxDataSelection> current;
        GetCurrentDataSelection(current.Out());
        for (CDataSelectionDataItem* selection : GetSelections()) {
            if (SameObject(selection->GetSelection(), current)) {
                ActiveSelection = selection;
                break;
            }
        }
    }
    // With an active channel the active selection is that of its trace on the current selection.
    ActiveTrace = NoTrace;
    CComPtr<IQvxDataSelection> current;
    if (ActiveChannel && Task && SUCCEEDED(GetCurrentDataSelection(current.Out())) && current) {
        const std::vector<CTraceDataItem*>& traces = ActiveChannel->GetTraces();
        for (size_t i = 0; i < traces.size(); ++i) {
            CDataSelectionDataItem* selection = traces[i]->GetSelection();
            if (selection && SameObject(selection->GetSelection(), current)) {
                ActiveTrace = i;
                ActiveSelection = selection;
                break;
            }
        }
    }
    FireActiveChanged();
    Flags &= ~TaskActiveStale;
}

// --- cached host settings ---

long CTaskDataItem::GetTimeFormat()
{
    IQvxOrvid* host = Owner ? Owner->GetOrvid() : nullptr;
    // Without a host nothing was asked: the bit stays for the first reader after the attachment.
    if ((Flags & TaskTimeFormatStale) && host) {
        long format = 0;
        if (SUCCEEDED(host->GetTimeFormat(&format)) && format >= 0 && format <= 2) TimeFormat = format;
        Flags &= ~TaskTimeFormatStale;
    }
    return TimeFormat;
}

unsigned short CTaskDataItem::GetTimeDigits()
{
    IQvxOrvid* host = Owner ? Owner->GetOrvid() : nullptr;
    if ((Flags & TaskTimeDigitsStale) && host) {
        unsigned short digits = 0;
        if (SUCCEEDED(host->GetTimeDigits(&digits))) TimeDigits = digits;
        Flags &= ~TaskTimeDigitsStale;
    }
    return TimeDigits;
}

const wchar_t* CTaskDataItem::FormatTime(const qvx::time& time, long decimals, bool compact, bool stripZeros,
                                         bool showUnit)
{
    return FormatTimeText(time, GetTimeFormat(), decimals, compact, stripZeros, showUnit, false);
}

const wchar_t* CTaskDataItem::FormatTimeDifference(const qvx::time& time, long decimals, bool compact,
                                                   bool stripZeros, bool showUnit)
{
    return FormatTimeText(time - SecondCursorTime, GetTimeFormat(), decimals, compact, stripZeros, showUnit, true);
}

bool CTaskDataItem::IsCursorCentred()
{
    if (Flags & TaskZoomStackChanged) {
        VARIANT_BOOL centred = VARIANT_FALSE;
        if (ZoomStack && SUCCEEDED(ZoomStack->GetCursorCentred(&centred))) CursorCentred = centred == VARIANT_TRUE;
        Flags &= ~TaskZoomStackChanged;
    }
    return CursorCentred != FALSE;
}

// --- helpers ---

void CTaskDataItem::InvalidateChannels()
{
    if (Ordering) {
        const std::vector<CChannelDataItem*> channels = Ordering->GetItems();
        for (CChannelDataItem* channel : channels) channel->NotifyChannelChange(ChannelTracesStale);
    }
    NotifyChange(TaskActiveStale, 1);
}

void CTaskDataItem::RemoveSelection(CDataSelectionDataItem* selection)
{
    std::erase(Selections, selection);
    std::erase(SecondarySelections, selection);
    if (selection && selection == ActiveSelection) {
        ActiveSelection = nullptr;
        NotifyChange(TaskSelectionsStale | TaskActiveStale, 1);
    } else {
        NotifyChange(TaskSelectionsStale, 1);
    }
}

void CTaskDataItem::DeleteSelections()
{
    // The active selection goes with them: it is found again at the next need.
    if (ActiveSelection) {
        ActiveSelection = nullptr;
        Flags |= TaskActiveStale;
    }
    std::vector<CDataSelectionDataItem*> doomed = std::move(Selections);
    Selections.clear();
    for (CDataSelectionDataItem* selection : SecondarySelections) doomed.push_back(selection);
    SecondarySelections.clear();
    for (CDataSelectionDataItem* selection : doomed) delete selection;
}

// --- the control's side ---

void CTaskDataItem::SetTask(IQvxTask* task)
{
    Task = task;
}

IQvxOrvid* CTaskDataItem::GetOrvid() const
{
    return Owner ? Owner->GetOrvid() : nullptr;
}

int32_t CTaskDataItem::GetTraceGradation() const
{
    return Owner ? Owner->GetTraceGradation() : 0;
}

void CTaskDataItem::MarkModified()
{
    if (Owner) Owner->MarkModified();
}

void CTaskDataItem::FireActiveChanged()
{
    if (Owner) Owner->FireActiveChanged();
}

void CTaskDataItem::NotifyOrderChanged(bool activeToo)
{
    NotifyChange(TaskOrderChanged | (activeToo ? TaskActiveStale : 0), 1);
}

void CTaskDataItem::NotifyActiveChanged()
{
    NotifyChange(TaskActiveStale, 1);
}
