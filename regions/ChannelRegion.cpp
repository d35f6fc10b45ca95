#include "regions/ChannelRegion.h"
#include "control/BaseChartCtl.h"
#include "control/GdiHandle.h"
#include "items/ChannelDataItem.h"
#include "items/ItemFlags.h"
#include "items/TaskDataItem.h"
#include "items/TraceDataItem.h"
#include "regions/GraphRegion.h"
#include "regions/PlotLayer.h"

namespace {

// "Interpolation" that joins samples with straight lines; any other value holds them.
constexpr int32_t LinearInterpolation = 2;

} // namespace

CChannelRegion::CChannelRegion(CChannelDataItem* channel, CGraphRegion& graph)
    : CChartRegionBase(graph.WindowRef), Channel(channel), Graph(graph)
{
    if (Channel) Channel->AddListener(this);
}

CChannelRegion::~CChannelRegion()
{
    TraceRegions.clear();
    if (Channel) Channel->RemoveListener(this);
}

std::unique_ptr<CTraceRegion> CChannelRegion::CreateTraceRegion(CTraceDataItem* trace)
{
    // Points come with their own region; until then a trace in points style draws nothing.
    if (Graph.TraceStyle != qvxLines) return std::make_unique<CTraceRegion>(WindowRef, trace);
    if (Channel && Channel->GetInterpolation() == LinearInterpolation)
        return std::make_unique<CLinearLineTraceRegion>(WindowRef, trace);
    return std::make_unique<CHoldLineTraceRegion>(WindowRef, trace);
}

void CChannelRegion::OnDataItemChanged(CDataItemBase*, DWORD flags)
{
    if (flags & 0x7FFFFFFF) Invalidate();
    // The interpolation decides the class of the trace regions.
    if (flags & (ChannelTracesStale | ChannelInterpolationStale)) DirtyBits |= DirtyTraceRegions;
    if (flags & ChannelYPercentStale) DirtyBits |= DirtyChannelScale;
    if (flags & (ChannelRangeStale | ChannelUnitStale | ChannelDecimalsStale | ChannelAuxiliaryAxisStale)) {
        // The y axes may have changed their width.
        Graph.DirtyBits |= DirtyBounds | CGraphRegion::DirtyYAxes;
        HWND window = WindowRef ? *WindowRef : nullptr;
        if (window && IsWindow(window)) {
            RECT area = Graph.Bounds;
            ++area.right;
            ++area.bottom;
            InvalidateRect(window, &area, FALSE);
        }
    }
}

void CChannelRegion::OnDataItemRemoved(CDataItemBase* item)
{
    CChartRegionBase::OnDataItemRemoved(item);
    if (item == Channel) Channel = nullptr;
}

void CChannelRegion::Recalculate(CChartDrawInfo&)
{
    if ((DirtyBits & DirtyTraceRegions) && Channel) {
        TraceRegions.clear();
        for (CTraceDataItem* trace : Channel->GetTraces()) {
            TraceRegions.push_back(CreateTraceRegion(trace));
            TraceRegions.back()->SetBounds(Bounds);
        }
    }
    PlotRect = Bounds;
    if (!Graph.Tiled && Channel) {
        const double height = Bounds.bottom - Bounds.top;
        PlotRect.top = LONG(height * ((100.0 - Channel->GetYPercentMaximum()) / 100.0) + Bounds.top);
        PlotRect.bottom = LONG(height * ((100.0 - Channel->GetYPercentMinimum()) / 100.0) + Bounds.top);
    }
    if ((DirtyBits & DirtyChannelScale) && Channel) Channel->NotifyChannelChange(ChannelRangeStale);
    for (auto& trace : TraceRegions) trace->SetBounds(PlotRect);
    DirtyBits = 0;
}

CTraceRegion* CChannelRegion::ActiveSelectionTrace()
{
    CTaskDataItem* task = Channel ? Channel->GetTask() : nullptr;
    CDataSelectionDataItem* active = task ? task->GetActiveSelection() : nullptr;
    for (auto& trace : TraceRegions)
        if (active && trace->Selection == active) return trace.get();
    return nullptr;
}

void CChannelRegion::Draw(CChartDrawInfo& info)
{
    CPlotScene scene;
    AddToScene(info, scene);
    scene.Paint(info.hdcOut);
}

void CChannelRegion::AddToScene(CChartDrawInfo& info, CPlotScene& scene)
{
    if (DirtyBits != 0) Recalculate(info);
    AddAlarmLines(scene);
    CTraceRegion* active = ActiveSelectionTrace();
    for (auto& trace : TraceRegions)
        if (trace.get() != active) trace->AddToScene(info, CTraceRegion::TraceOwnColour, scene);
    if (!active) return;
    // While the offset mode drags the active trace as a bitmap it is left out here.
    const int state = Graph.GetOffsetState();
    const bool held = (state & 4) ? Graph.GetActiveChannelRegion() == this : state != 1;
    if (!held) active->AddToScene(info, CTraceRegion::TraceOwnColour, scene);
}

void CChannelRegion::DrawActiveSelectionTrace(CChartDrawInfo& info, BOOL ownColour)
{
    if (DirtyBits != 0) Recalculate(info);
    if (CTraceRegion* active = ActiveSelectionTrace())
        active->DrawWithColour(info, ownColour ? CTraceRegion::TraceOwnColour : MaskColour);
}

void CChannelRegion::AddAlarmLines(CPlotScene& scene)
{
    if (!Channel || !Graph.Owner.GetShowAlarms()) return;
    const int type = Graph.AlarmConditionsType;
    if (type != acAllTraceConditions && !(type == acActiveTraceConditions && Graph.GetActiveChannelRegion() == this)) return;
    int32_t condition = 0;
    double limits[2] = {0.0, 0.0};
    Channel->GetAlarm(condition, limits[0], limits[1]);
    if (condition == 0) return;
    const double lo = Channel->GetScaleMinimum(1), hi = Channel->GetScaleMaximum(1);
    if (lo == hi) return;
    CTaskDataItem* task = Channel->GetTask();
    IQvxUnitConverter* converter = task ? task->GetUnitConverter() : nullptr;
    // Bit 1 the minimum, bit 2 the maximum; the minimum first.
    for (int which = 0; which < 2; ++which) {
        if (!(condition & (1 << which))) continue;
        double limit = limits[which];
        // The limits are in the channel's unit, the scale in the quantity's base unit.
        double converted = limit;
        if (converter && SUCCEEDED(converter->Convert(limit, Channel->GetQuantity(), Channel->GetUnit(), 0, &converted)))
            limit = converted;
        const LONG y = LONG(PlotRect.bottom - (PlotRect.bottom - PlotRect.top) * (limit - lo) / (hi - lo));
        if (y < PlotRect.top || y > PlotRect.bottom) continue;
        scene.AddLine(PlotRect.left, y, PlotRect.right, y, Channel->GetAlarmColor(), PS_DOT);
    }
}
