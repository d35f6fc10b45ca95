#include "BaseChartCtl.h"
#include <optional>
#include "CursorsRegion.h"
#include "GraphRegion.h"
#include "ItemFlags.h"
#include "ResizeRegion.h"
#include "TaskDataItem.h"

namespace {

// Scheme index of the border colour.
constexpr int SchemeBorder = 4;

} // namespace

CBaseChartCtl::CBaseChartCtl(const HWND* windowRef, CControlBorderHelper& border)
    : CChartRegionBase(windowRef), Border(border)
{
}

CBaseChartCtl::~CBaseChartCtl()
{
    DestroyChart();
}

HRESULT CBaseChartCtl::CreateChart(qvx::time dataTimeSpan, CResizeCallback& resizeCallback)
{
    // 1. The data-item root, everything in it stale.
    TaskItem = std::make_unique<CRTCTaskDataItem>(this, dataTimeSpan);
    TaskItem->NotifyChange(0xFFFFFFFF, 1);

    // 2. The chart's own zoom stack, from the host's library. A new control has no task yet: the
    // stack gets one when the host gives the control its task.
    CComPtr<IQvxZoomStack> stack;
    HRESULT hr = CoCreateInstance(CLSID_QvxZoomStack, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IQvxZoomStack),
                                  stack.OutVoid());
    // 3.
    if (SUCCEEDED(hr)) hr = TaskItem->SetZoomStack(stack);
    if (FAILED(hr)) {
        DestroyChart();
        return hr;
    }

    // 4. The graph region; its scroll bars, x axis and events region come with the full region.
    GraphRegion = std::make_unique<CRTCGraphRegion>(WindowRef);
    // 5. The cursor values panel. The drag manager (on the window cell), the fragile manager (on
    // the root) and the flashing-trace manager (on the task item) are made here once they exist.
    CursorsRegion = std::make_unique<CRTCCursorsRegion>(WindowRef);
    // 6. The divider, which asks the control for its range; its drag manager comes with it.
    ResizeRegion = std::make_unique<CResizeRegion>(WindowRef, resizeCallback);
    // 7.
    TaskItem->AddListener(this);
    return S_OK;
}

void CBaseChartCtl::ReleaseChart()
{
    if (TaskItem) TaskItem->SetZoomStack(nullptr);
}

void CBaseChartCtl::DestroyChart()
{
    // The flashing-trace, fragile and drag managers go after the divider, once they exist.
    ResizeRegion.reset();
    CursorsRegion.reset();
    GraphRegion.reset();
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
    if (DirtyBits != 0) Recalculate(info);
    FillRect(info.hdcOut, &Bounds, info.BackBrush);
    CControlBorderHelper::CUpdate update;
    update.Window = WindowRef ? *WindowRef : nullptr;
    update.Colour = GetBorderPaintColour();
    Border.Update(CControlBorderHelper::PaintUpdate, update);
    Border.DrawBorder(info.hdcOut);
    if (GraphRegion) GraphRegion->Draw(info);
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
        // TaskOrderChanged rebuilds the watch on the channels of the task's ordering, and
        // TaskControlModeStale carries the control mode to the scroll bars and the graph's cursors,
        // once the task item has an ordering and modes.
    }
    // A change of a watched channel that may change the panel's width (0x9D) sets the root to
    // DirtyAll, once the root watches channels.
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

COLORREF CBaseChartCtl::GetBorderPaintColour()
{
    COLORREF colour = 0;
    if (BorderColor != Unset && SUCCEEDED(OleTranslateColor(BorderColor, nullptr, &colour))) return colour;
    return GetColour(SchemeBorder);
}

// --- what the regions see of the chart ---

CFragileManager* CBaseChartCtl::GetFragileManager()
{
    // The fragile manager does not exist yet.
    return nullptr;
}

CDragManager* CBaseChartCtl::GetDragManager()
{
    // The drag manager does not exist yet.
    return nullptr;
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
    // The events configuration holds the set once it exists; until then nothing is configured.
    static const std::set<std::wstring> none;
    return none;
}

const std::set<std::wstring>& CBaseChartCtl::GetConfiguredChannelNames()
{
    // The channel configuration holds the set once it exists; until then nothing is configured.
    static const std::set<std::wstring> none;
    return none;
}

void CBaseChartCtl::FireActiveChanged()
{
    // Goes out on both control notification points once the control has them.
}

void CBaseChartCtl::ReservedOperation3()
{
}

void CBaseChartCtl::ReservedOperation4()
{
}
