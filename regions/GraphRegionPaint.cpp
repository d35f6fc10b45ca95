// The graph's paint: its children in a fixed order, the grid under them, and in the real-time
// graph the control mode's text on top.
#include <string>
#include "control/BaseChartCtl.h"
#include "control/ChartDrawInfo.h"
#include "items/RTCTaskDataItem.h"
#include "regions/ChannelRegion.h"
#include "regions/EventsRegion.h"
#include "regions/GraphRegion.h"
#include "regions/LapMarkersRegion.h"
#include "regions/PlotLayer.h"
#include "regions/ScrollbarRegion.h"
#include "regions/XAxisRegion.h"
#include "regions/YAxisRegion.h"
#include "scales/AxisTicks.h"
#include "scales/ValueToPixel.h"

namespace {

bool IsEmpty(const RECT& rect)
{
    return rect.right <= rect.left || rect.bottom <= rect.top;
}

void Line(HDC dc, int x0, int y0, int x1, int y1)
{
    MoveToEx(dc, x0, y0, nullptr);
    LineTo(dc, x1, y1);
}

} // namespace

void CGraphRegion::Draw(CChartDrawInfo& info)
{
    const BOOL printing = IsPrinting(info.hdcRef) ? TRUE : FALSE;
    if (!Tiled && printing != WasPrinting && Owner.GetPrintAllAxes()) DirtyBits |= DirtyYAxes;
    WasPrinting = printing;
    if (DirtyBits) Recalculate(info);

    // Whatever lay under the cursors is about to be painted over.
    UnderPrimaryCursor.Reset();
    UnderBetween.Reset();
    UnderArrowB.Reset();
    UnderArrowA.Reset();

    // The screen's back buffer keeps the plot in the layer; any other target gets the grid now
    // and the channels in their turn, as the scene is laid out.
    const bool retained = info.RetainedPlot && !printing && !IsEmpty(GraphRect);
    // Laid out on the stack, as a paint may run inside another, in the storage of the last
    // paint, so that a paint allocates nothing for it.
    CPlotScene scene;
    scene.Items.swap(SceneStorage);
    scene.Items.clear();
    DrawGrid(info, scene);
    if (!retained) {
        scene.Paint(info.hdcOut);
        scene.Items.clear();
    }

    const CSavedDC saved(info.hdcOut);
    IntersectClipRect(info.hdcOut, Bounds.left, Bounds.top, Bounds.right + 1, Bounds.bottom + 1);
    HorizontalScrollbar->Draw(info);
    VerticalScrollbar->Draw(info);
    SegmentsSplits.Draw(info);

    CDataSelectionDataItem* selection = Task ? Task->GetActiveSelection() : nullptr;
    if (selection) {
        for (auto& axis : YAxes)
            if (axis->Side != SideNone) axis->Draw(info);
        if (ActiveYAxis) ActiveYAxis->Draw(info);
        XAxis->Draw(info);
        if (!IsEmpty(GraphRect)) {
            // TODO: lap marker lines join the scene when they paint, so that the layer keeps them
            // under the traces.
            if (!(DirtyBits & DirtyLapMarkerRegions))
                for (auto& region : LapMarkerRegions)
                    if (region->Selection == selection) region->Draw(info);
            // TODO: points draw into one DIB section of GraphRect on capable screens.
            CChannelRegion* active = GetActiveChannelRegion();
            for (auto& region : ChannelRegions)
                if (region.get() != active) region->AddToScene(info, scene);
            // The active channel lies on top.
            if (active) active->AddToScene(info, scene);
        }
    }
    if (retained)
        PlotLayer.Paint(info, GraphRect, scene);
    else
        scene.Paint(info.hdcOut);
    SceneStorage.swap(scene.Items);
    if (selection) {
        // What paints over the plot copies the layer under it first, as the cursors do; the
        // events and the offset mode paint nothing there yet.
        Events->Draw(info);
        if (!IsEmpty(GraphRect) && OffsetMode.OffsetState == 1) DrawCursors(info, FALSE);
        OffsetMode.Draw(info);
        // TODO: the rubber band of the zoom drag and the anchor mark of the auto-scroll.
    }
}

bool CGraphRegion::CoversPlot(const CChartDrawInfo& info, RECT& plot) const
{
    // A layout about to change, or paper, may move the plot or leave the layer out.
    if (!info.RetainedPlot || DirtyBits != 0 || WasPrinting || IsPrinting(info.hdcRef) || IsEmpty(GraphRect))
        return false;
    plot = GraphRect;
    return true;
}

void CGraphRegion::DrawGrid(CChartDrawInfo& info, CPlotScene& scene)
{
    if (!ShowGrid || IsEmpty(GraphRect)) return;
    const COLORREF colour = info.GetGridPaintColour();
    if (FixedGrid) {
        // Ten parts each way, standing still whatever the data do.
        const auto at = [](int i, int extent, int start) { return static_cast<int>(i * extent / 10.0 + 0.5) + start; };
        for (int i = 0; i <= 10; ++i) {
            if (ShowYAxisGrid) {
                const int y = at(i, GraphRect.bottom - GraphRect.top, GraphRect.top);
                scene.AddLine(GraphRect.left, y, GraphRect.right + 1, y, colour);
            }
            if (ShowXAxisGrid) {
                const int x = at(i, GraphRect.right - GraphRect.left, GraphRect.left);
                scene.AddLine(x, GraphRect.top, x, GraphRect.bottom + 1, colour);
            }
        }
    } else {
        AddTicksGrid(info, scene);
    }
    HDC dc = info.hdcOut;
    const CSelection selected(dc, info.GridPen);
    Line(dc, GraphRect.left - 1, GraphRect.top, GraphRect.left - 1, GraphRect.bottom);
    Line(dc, GraphRect.right + 1, GraphRect.top, GraphRect.right + 1, GraphRect.bottom);
}

void CGraphRegion::AddTicksGrid(CChartDrawInfo& info, CPlotScene& scene)
{
    CAxisTicks xTicks;
    bool haveX = false;
    if (ShowXAxisGrid) {
        const HRESULT status = Task && Task->IsDistanceMode() ? XAxis->GetDistanceTicks(info, xTicks)
                                                                : XAxis->GetTimeTicks(info, xTicks);
        haveX = status >= 0;
    }
    CChannelDataItem* activeChannel = Task ? Task->GetActiveChannel() : nullptr;
    for (auto& axis : YAxes) {
        const bool active = axis->Channel && axis->Channel == activeChannel;
        if (!active && (ShowGridActiveTraceOnly || axis->Side == SideNone)) continue;
        AddAxisGrid(info, scene, *axis, active, haveX ? &xTicks : nullptr);
    }
    if (ActiveYAxis) AddAxisGrid(info, scene, *ActiveYAxis, true, haveX ? &xTicks : nullptr);
}

void CGraphRegion::AddAxisGrid(CChartDrawInfo& info, CPlotScene& scene, CYAxisRegion& axis, bool active, const CAxisTicks* xTicks)
{
    const COLORREF colour = active ? info.GetActiveGridPaintColour() : info.GetGridPaintColour();
    axis.Recalculate(info);
    const RECT box = axis.Bounds;
    CAxisTicks yTicks;
    // The active axis follows the active channel, whose ticks it asks for.
    if (ShowYAxisGrid && axis.GetYTicks(info, yTicks, axis.FollowsActive) >= 0) {
        const double step = ShowYAxisGridMinorLines ? yTicks.MinorStep : yTicks.MajorStep;
        const double start = ShowYAxisGridMinorLines ? yTicks.MinorStart : yTicks.MajorStart;
        WalkSeries(start, step, yTicks.Minimum, yTicks.Maximum, [&](double value) {
            const int y = MapToPixel(box.top, box.bottom, yTicks.Minimum, yTicks.Maximum, value, true, true);
            if (y >= 0) scene.AddLine(GraphRect.left, y, GraphRect.right + 1, y, colour);
        });
    }
    if (xTicks) {
        const double step = ShowXAxisGridMinorLines ? xTicks->MinorStep : xTicks->MajorStep;
        const double start = ShowXAxisGridMinorLines ? xTicks->MinorStart : xTicks->MajorStart;
        WalkSeries(start, step, xTicks->Minimum, xTicks->Maximum, [&](double value) {
            const int x = MapToPixel(GraphRect.left, GraphRect.right, xTicks->Minimum, xTicks->Maximum, value, true, false);
            if (x >= 0) scene.AddLine(x, box.top, x, box.bottom + 1, colour);
        });
    }
}

// --- the real-time graph ---

void CRTCGraphRegion::Draw(CChartDrawInfo& info)
{
    CGraphRegion::Draw(info);
    if (!IsPrinting(info.hdcRef)) DrawModeText(info);
}

void CRTCGraphRegion::DrawModeText(CChartDrawInfo& info)
{
    auto* task = static_cast<CRTCTaskDataItem*>(Task);
    // Copied only when the mode's text changed: a paint in the same mode allocates nothing for it.
    const std::wstring_view status = task ? task->GetMode().GetStatusText().View() : std::wstring_view();
    if (ModeText.View() != status) ModeText = CBstr(status);
    const UINT length = SysStringLen(ModeText.Get());
    if (length == 0) return;

    HDC dc = info.hdcOut;
    const CSavedDC saved(dc);
    if (info.hFontNormal) SelectObject(dc, info.hFontNormal);
    const int dpiX = GetDeviceCaps(info.hdcRef, LOGPIXELSX);
    SIZE extent{};
    GetTextExtentPoint32W(dc, ModeText.Get(), static_cast<int>(length), &extent);

    RECT room{};
    room.left = Bounds.left + static_cast<int>(dpiX / 72.0);
    const RECT& label = XAxis->SelectionLabelRect;
    if (IsEmpty(label)) {
        room.top = XAxis->Bounds.bottom - extent.cy;
        room.right = XAxis->Bounds.right;
    } else {
        room.top = label.top;
        room.right = label.left;
    }
    room.bottom = room.top + extent.cy;

    SetTextColor(dc, info.ForeColour);
    SetBkMode(dc, TRANSPARENT);
    SetTextAlign(dc, TA_LEFT | TA_TOP);
    // Shortened with an ellipsis to the room there is; drawn only when it then fits.
    std::wstring text(ModeText.Get(), length);
    text.resize(length + 4);
    RECT measured = room;
    DrawTextW(dc, text.data(), static_cast<int>(length), &measured,
              DT_CALCRECT | DT_END_ELLIPSIS | DT_MODIFYSTRING | DT_SINGLELINE | DT_NOPREFIX);
    if (measured.right - measured.left <= room.right - room.left)
        TextOutW(dc, room.left, room.top, text.c_str(), static_cast<int>(wcslen(text.c_str())));
}
