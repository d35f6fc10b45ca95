#include "control/BaseChartCtl.h"
#include <optional>
#include "regions/CursorsRegion.h"
#include "config/DataNames.h"
#include "regions/GraphRegion.h"
#include "interaction/DragManager.h"
#include "interaction/FlashingTraceManager.h"
#include "interaction/FragileManager.h"
#include "items/ItemFlags.h"
#include "regions/ResizeRegion.h"
#include "regions/ScrollbarRegion.h"
#include "items/RTCTaskDataItem.h"

namespace {

// Scheme index of the border colour.
constexpr int SchemeBorder = 4;

// What a new or cleared task makes stale: the cursor and the selections first; then the visible
// ranges and the control mode.
constexpr DWORD TaskAttachStale = TaskCursorStale | TaskSelectionsStale;
constexpr DWORD TaskAttachRangeStale = TaskTimeRangeStale | TaskDistanceRangeStale | TaskControlModeStale;

// A list for the host of the names of a set, in the set's order.
template <class Set>
HRESULT GiveNames(const Set& names, IQvxDataNames** out)
{
    if (!out) return E_POINTER;
    *out = nullptr;
    CComPtr<CDataNames> list = CDataNames::Make();
    if (!list) return E_OUTOFMEMORY;
    for (const std::wstring& name : names) {
        HRESULT hr = list->Append(name);
        if (FAILED(hr)) return hr;
    }
    *out = list.Detach();
    return S_OK;
}

} // namespace

CBaseChartCtl::CBaseChartCtl(const HWND* windowRef, CControlBorderHelper& border)
    : CChartRegionBase(windowRef),
      CQvxControlBase(UsesChannelPropertyFactory | UsesEventPropertyFactory | UsesGroupFactory |
                      PersistsOrderingModes),
      Border(border)
{
}

CBaseChartCtl::~CBaseChartCtl()
{
    DestroyChart();
}

HRESULT CBaseChartCtl::CreateChart(const CRTCTimeSettings& settings, CResizeCallback& resizeCallback)
{
    // The data-item root, everything in it stale.
    TaskItem = std::make_unique<CRTCTaskDataItem>(this, settings);
    TaskItem->NotifyChange(DirtyAll, 1);

    // The chart's own zoom stack, from the host's library, which the task item uses. A new
    // control has no task yet: the stack gets one when the host gives the control its task.
    CComPtr<IQvxZoomStack> stack;
    HRESULT hr = CoCreateInstance(CLSID_QvxZoomStack, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IQvxZoomStack),
                                  stack.OutVoid());
    if (SUCCEEDED(hr)) hr = TaskItem->SetZoomStack(stack);
    if (FAILED(hr)) {
        DestroyChart();
        // The stack's own error (a class not registered, say) would read as the control's.
        return hr == E_OUTOFMEMORY ? E_OUTOFMEMORY : E_FAIL;
    }

    // The root's children: the graph, the cursor values panel, and the divider, which asks the
    // control for its range.
    GraphRegion = std::make_unique<CRTCGraphRegion>(*this, TaskItem.get());
    CursorsRegion = std::make_unique<CRTCCursorsRegion>(WindowRef);
    DragManager = std::make_unique<CDragManager>(WindowRef);
    FragileManager = std::make_unique<CFragileManager>(*DragManager);
    FlashManager = std::make_unique<CFlashingTraceManager>(WindowRef, TaskItem.get(), *DragManager);
    ResizeRegion = std::make_unique<CResizeRegion>(WindowRef, resizeCallback);
    TaskItem->AddListener(this);
    return S_OK;
}

void CBaseChartCtl::ToggleLocalPause()
{
    // Only a chart whose host runs can pause on its own.
    IQvxTask* task = TaskItem ? TaskItem->GetTask() : nullptr;
    VARIANT_BOOL running = VARIANT_FALSE;
    if (!task || FAILED(task->GetRunning(&running)) || running != VARIANT_TRUE) return;
    Running = Running ? 0 : 1;
    TaskItem->RefreshControlMode();
    InvalidateWindow();
}

void CBaseChartCtl::ReleaseChart()
{
    if (TaskItem) TaskItem->SetZoomStack(nullptr);
}

void CBaseChartCtl::DestroyChart()
{
    ResizeRegion.reset();
    FlashManager.reset();
    FragileManager.reset();
    DragManager.reset();
    CursorsRegion.reset();
    GraphRegion.reset();
    for (CChannelDataItem* channel : WatchedChannels) channel->RemoveListener(this);
    WatchedChannels.clear();
    if (TaskItem) TaskItem->RemoveListener(this);
    TaskItem.reset();
}

// --- the root region ---

void CBaseChartCtl::SetBounds(const RECT& bounds)
{
    CControlBorderHelper::CUpdate update;
    update.Appearance = Appearance;
    update.BorderStyle = BorderStyle;
    update.OuterRect = bounds;
    Border.Update(CControlBorderHelper::LayoutUpdate, update);
    CChartRegionBase::SetBounds(Border.GetInnerRect());
}

void CBaseChartCtl::Draw(CChartDrawInfo& info)
{
    if (ControlModeStale) ApplyControlMode();
    if (DirtyBits != 0) Recalculate(info);
    {
        // The plot that the graph keeps covers its rectangle by itself.
        const CSavedDC saved(info.hdcOut);
        RECT plot{};
        if (GraphRegion && GraphRegion->CoversPlot(info, plot))
            ExcludeClipRect(info.hdcOut, plot.left, plot.top, plot.right + 1, plot.bottom + 1);
        FillRect(info.hdcOut, &Bounds, info.BackBrush);
    }
    CControlBorderHelper::CUpdate update;
    update.Window = WindowRef ? *WindowRef : nullptr;
    update.Colour = GetBorderPaintColour();
    Border.Update(CControlBorderHelper::PaintUpdate, update);
    Border.DrawBorder(info.hdcOut);
    if (GraphRegion) GraphRegion->Draw(info);
    // The panel and the divider lie beside the plot. The graph's layer may still hold the plot's
    // pixels (CPlotLayer::Flush): whatever comes to paint over the plot copies them first.
    if (ShowCursorValues && CursorsRegion) CursorsRegion->Draw(info);
    // Last, so that the divider lies on top of both.
    if (ResizeRegion) ResizeRegion->Draw(info);
}

void CBaseChartCtl::OnDataItemChanged(CDataItemBase* item, DWORD flags)
{
    CChartRegionBase::OnDataItemChanged(item, flags);
    if (item && item == TaskItem.get()) {
        // A new active trace, channel or selection is part of the layout to save.
        if (flags & TaskActiveStale) SetRequiresSave();
        if (flags & TaskOrderChanged) WatchChannels();
        // The mode is read at the next paint: the task chooses it after telling of the change, and
        // reading it here would make it twice.
        if (flags & TaskControlModeStale) ControlModeStale = true;
        return;
    }
    // A change that may change the panel's width: traces, range, unit, decimals or name.
    if ((flags & (ChannelTracesStale | ChannelRangeStale | ChannelUnitStale | ChannelDecimalsStale |
                  ChannelNameStale)) &&
        WatchedChannels.count(static_cast<CChannelDataItem*>(item)))
        DirtyBits = DirtyAll;
}

void CBaseChartCtl::OnDataItemRemoved(CDataItemBase* item)
{
    CChartRegionBase::OnDataItemRemoved(item);
    WatchedChannels.erase(static_cast<CChannelDataItem*>(item));
}

void CBaseChartCtl::WatchChannels()
{
    // Out of the old set first, so that no change reaches the root while the set is rebuilt.
    for (CChannelDataItem* channel : WatchedChannels) channel->RemoveListener(this);
    WatchedChannels.clear();
    CChannelOrdering* ordering = TaskItem ? TaskItem->GetOrdering() : nullptr;
    if (!ordering) return;
    for (CChannelDataItem* channel : ordering->GetItems())
        if (WatchedChannels.insert(channel).second) channel->AddListener(this);
}

void CBaseChartCtl::ApplyControlMode()
{
    ControlModeStale = false;
    if (!TaskItem || !GraphRegion) return;
    CRTCTaskDataItem::CControlMode& mode = TaskItem->GetMode();
    const BOOL scrollBars = mode.HasScrollBars() ? TRUE : FALSE;
    for (CScrollbarRegion* bar : {GraphRegion->HorizontalScrollbar.get(), GraphRegion->VerticalScrollbar.get()}) {
        if (!bar || bar->Enabled == scrollBars) continue;
        bar->Enabled = scrollBars;
        bar->Invalidate();
    }
    const BOOL cursors = mode.HasCursors() ? TRUE : FALSE;
    if (GraphRegion->ShowCursors != cursors) {
        GraphRegion->ShowCursors = cursors;
        GraphRegion->Invalidate();
    }
}

void CBaseChartCtl::Recalculate(CChartDrawInfo& info)
{
    if (GraphRegion && CursorsRegion && ResizeRegion) {
        std::optional<int> contentWidth;
        if (AutoSizeCursorValues && ShowCursorValues) contentWidth = CursorsRegion->GetContentWidth(info);
        Layout.Arrange(info, Bounds, ShowCursorValues != 0, contentWidth, *GraphRegion, *CursorsRegion,
                       *ResizeRegion);
    }
    DirtyBits = 0;
}

void CBaseChartCtl::InvalidateWindow()
{
    if (WindowRef && *WindowRef) InvalidateRect(*WindowRef, nullptr, FALSE);
}

COLORREF CBaseChartCtl::GetBorderPaintColour()
{
    COLORREF colour = 0;
    if (BorderColor != Unset && SUCCEEDED(OleTranslateColor(BorderColor, nullptr, &colour))) return colour;
    return GetColour(SchemeBorder);
}

// --- what the regions see of the chart ---

CFragileManager* CBaseChartCtl::GetFragileManager()
{
    return FragileManager.get();
}

CDragManager* CBaseChartCtl::GetDragManager()
{
    return DragManager.get();
}

CRTCTaskDataItem* CBaseChartCtl::GetTaskDataItem()
{
    return TaskItem.get();
}

CDataItemBase* CBaseChartCtl::GetSegmentSource()
{
    return nullptr;
}

IQvxDistanceSource* CBaseChartCtl::GetDistanceSource()
{
    return DistanceSource;
}

HRESULT CBaseChartCtl::GetSingleSelection(IQvxDataSelection** selection)
{
    if (!selection) return E_POINTER;
    *selection = nullptr;
    CComPtr<IQvxSingleDataSelectionControl> single;
    if (FAILED(QueryInterface(__uuidof(IQvxSingleDataSelectionControl), single.OutVoid())) || !single)
        return E_UNEXPECTED;
    return single->GetSelection(selection);
}

IQvxOrvid* CBaseChartCtl::GetOrvid()
{
    return GetHostRoot();
}

IQvxPropertyFactory* CBaseChartCtl::GetChannelFactory()
{
    return GetChannelFactoryObject();
}

BOOL CBaseChartCtl::GetShowCursorValues()
{
    return ShowCursorValues;
}

BOOL CBaseChartCtl::GetAutoSizeCursorValues()
{
    return AutoSizeCursorValues;
}

int CBaseChartCtl::ReservedOperation1()
{
    return 0;
}

int CBaseChartCtl::ReservedOperation2()
{
    return 0;
}

BOOL CBaseChartCtl::GetShowAlarms()
{
    return CursorsRegion ? CursorsRegion->ShowAlarms : FALSE;
}

OLE_COLOR CBaseChartCtl::GetActiveTraceGridColour()
{
    return ActiveTraceGridColour;
}

const std::set<std::wstring>& CBaseChartCtl::GetConfiguredEventNames()
{
    // TODO: the events configuration holds the set; until then nothing is configured.
    static const std::set<std::wstring> none;
    return none;
}

const CChannelNameSet& CBaseChartCtl::GetConfiguredChannelNames()
{
    // The control's channel configuration holds the set; a chart without one shows nothing.
    static const CChannelNameSet none(ChannelNameLess(nullptr));
    return none;
}

void CBaseChartCtl::ReservedOperation3()
{
}

void CBaseChartCtl::ReservedOperation4()
{
}

// --- IQvxControl2, IQvxControl3 ---

STDMETHODIMP CBaseChartCtl::GetChannelNames(IQvxDataNames** names)
{
    return GiveNames(GetConfiguredChannelNames(), names);
}

STDMETHODIMP CBaseChartCtl::GetActiveChannelName(IQvxDataNames** names)
{
    if (!names) return E_POINTER;
    *names = nullptr;
    if (!TaskItem) return E_UNEXPECTED;
    CComPtr<CDataNames> list = CDataNames::Make();
    if (!list) return E_OUTOFMEMORY;
    if (CChannelDataItem* channel = TaskItem->GetActiveChannel()) {
        const CBstr& name = channel->GetName();
        HRESULT hr = list->Append(std::wstring(name.Get() ? name.Get() : L"", SysStringLen(name.Get())));
        if (FAILED(hr)) return hr;
    }
    *names = list.Detach();
    return S_OK;
}

STDMETHODIMP CBaseChartCtl::GetEventNames(IQvxDataNames** names)
{
    return GiveNames(GetConfiguredEventNames(), names);
}

// --- attachment ---

HRESULT CBaseChartCtl::OnHostAttached()
{
    // 1. The host root's notifications.
    HRESULT hr = CQvxControlBase::OnHostAttached();
    if (FAILED(hr)) return hr;
    // 2. The host's channel defaults, event defaults and group defaults become the parents of the
    // control's channel property, event property and group factories, as the factory word says.
    ConnectFactories(GetHostRoot());
    // 4. The distance source; a host without one leaves distances unknown.
    DistanceSource = nullptr;
    GetHostRoot()->GetDistanceSource(DistanceSource.Out());
    return S_OK;
}

void CBaseChartCtl::OnHostDetached()
{
    CQvxControlBase::OnHostDetached();
    ConnectFactories(nullptr);
    DistanceSource = nullptr;
}

void CBaseChartCtl::OnTaskAttached(IQvxTask* oldTask)
{
    if (!TaskItem) return;
    IQvxTask* task = GetAttachedTask();
    // A fresh stack for the new task, so that nothing of the last task's zooms stays.
    CComPtr<IQvxZoomStack> stack;
    if (SUCCEEDED(CoCreateInstance(CLSID_QvxZoomStack, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IQvxZoomStack),
                                   stack.OutVoid()))) {
        TaskItem->SetZoomStack(nullptr);
        TaskItem->SetTask(task);
        if (IQvxZoomStack* own = TaskItem->GetOwnZoomStack()) own->SetTask(task);
        TaskItem->NotifyChange(TaskAttachStale, 1);
        TaskItem->RebuildDataSelections();
        if (oldTask) TaskItem->UndoAllZooms();
        // The stack that goes into use measures its ranges on the task, so it gets it too.
        stack->SetTask(task);
        TaskItem->SetZoomStack(stack);
    }
    TaskItem->NotifyChange(TaskAttachRangeStale, 1);
}

void CBaseChartCtl::OnGroupFactoryChanged()
{
    // The control's channel configuration resolves its groups again by name.
}

bool CBaseChartCtl::IsChannelSelected(const std::wstring& name)
{
    return GetConfiguredChannelNames().count(name) != 0;
}

bool CBaseChartCtl::IsEventSelected(const std::wstring& name)
{
    return GetConfiguredEventNames().count(name) != 0;
}

// --- the host root's notifications ---

void CBaseChartCtl::OnChannelDefaultsChanged(IQvxOrvid*, IQvxPropertyFactory* factory)
{
    SetChannelFactoryParent(factory);
}

void CBaseChartCtl::OnSelectionsChanged(IQvxOrvid*)
{
    if (!DistanceSource && GetHostRoot()) GetHostRoot()->GetDistanceSource(DistanceSource.Out());
    if (TaskItem) TaskItem->OnSelectionsChanged();
}

void CBaseChartCtl::OnGroupDefaultsChanged(IQvxOrvid*, IQvxGroupFactory* factory)
{
    SetGroupFactoryParent(factory);
    OnGroupFactoryChanged();
}

void CBaseChartCtl::OnHostGoingAway(IQvxOrvid*)
{
    // A host that goes without closing its task first: the chart lets go of both.
    if (GetAttachedTask()) SetTask(nullptr);
    OnHostDetached();
}

void CBaseChartCtl::OnTimeFormatChanged(IQvxOrvid*)
{
    if (TaskItem) TaskItem->NotifyChange(TaskTimeFormatStale, 1);
}

void CBaseChartCtl::OnEventPrioritiesChanged(IQvxOrvid*)
{
    // Unless the selections are to be rebuilt anyway, the event sets of every primary and
    // secondary selection whose event-set list is not stale read their priority again
    // (EventSetPriorityStale), once the selections hold their event sets.
}

void CBaseChartCtl::OnEventDefaultsChanged(IQvxOrvid*, IQvxEventPropertyFactory* factory)
{
    SetEventFactoryParent(factory);
}

void CBaseChartCtl::OnTimeDigitsChanged(IQvxOrvid*)
{
    if (TaskItem) TaskItem->NotifyChange(TaskTimeDigitsStale, 1);
}

// --- the task's notifications ---

void CBaseChartCtl::OnCurrentSelectionChanged(IQvxTask*)
{
    if (TaskItem) TaskItem->OnCurrentSelectionChanged();
}

void CBaseChartCtl::OnSelectionsChanged(IQvxTask*)
{
    if (!TaskItem) return;
    TaskItem->OnSelectionsChanged();
    TaskItem->NotifyChange(TaskTimeRangeStale | TaskDistanceRangeStale, 1);
}

void CBaseChartCtl::OnTaskGoingAway(IQvxTask*)
{
    SetTask(nullptr);
}

void CBaseChartCtl::OnRunningChanged(IQvxTask* task)
{
    // Running is the chart's wish to run: the host running again sets it, a pause of the host
    // leaves it, and the task item's mode says whether the chart runs now.
    VARIANT_BOOL running = VARIANT_FALSE;
    if (task && SUCCEEDED(task->GetRunning(&running)) && running == VARIANT_TRUE) Running = 1;
    if (TaskItem) TaskItem->OnRunStateChanged();
}

void CBaseChartCtl::OnCursorChanged(IQvxTask*, qvx::time time)
{
    // A cursor that the chart holds itself, running or paused locally, does not follow the
    // host's: only a chart without a task or in the host's pause takes it.
    if (TaskItem && !TaskItem->GetMode().IsLocallyHeld()) TaskItem->OnCursorChanged(time);
}
