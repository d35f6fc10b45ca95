// The graph's cursors: where they stand, and drawing them so that a move needs no paint. Each
// paint keeps copies of what lies under the cursors; a move puts those back and draws the cursors
// again on the window, without painting the traces.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include "control/BaseChartCtl.h"
#include "control/ChartDrawInfo.h"
#include "items/ChannelDataItem.h"
#include "items/TaskDataItem.h"
#include "items/TraceDataItem.h"
#include "regions/ChannelRegion.h"
#include "regions/EventsRegion.h"
#include "regions/GraphRegion.h"

namespace {

// The second cursor, its arrowhead and the shading between the two.
constexpr COLORREF SecondCursorColour = 0x0045FF;
constexpr BYTE BetweenAlpha = 75;

// Where the cursors and their marks lie, for the primary at x1 and the second at x2.
struct CCursorLayout
{
    RECT Primary{}, Second{}, Between{}, ArrowA{}, ArrowB{};
    BOOL ArrowPointsLeftA = 0, ArrowPointsLeftB = 0;
};

// A column as tall as the graph plus h above and below, 2h wide about x; outside the graph it
// shrinks to no width on the nearer edge.
RECT CursorColumn(const RECT& graph, int h, int x)
{
    RECT column{x - h, graph.top - h, x + h, graph.bottom + h};
    if (x < graph.left) column.left = column.right = graph.left;
    if (x > graph.right) column.left = column.right = graph.right;
    return column;
}

CCursorLayout LayOutCursors(const RECT& graph, int h, int x1, int x2, bool twoCursors)
{
    CCursorLayout layout;
    layout.Primary = CursorColumn(graph, h, x1);
    if (!twoCursors) return layout;
    layout.Second = CursorColumn(graph, h, x2);
    const int lo = std::min(x1, x2);
    const int hi = std::max(x1, x2);
    layout.Between = RECT{lo, graph.top, hi, graph.bottom};
    // Both arrows stand inside the span: B at the primary, A at the second cursor.
    const RECT low{lo + 1, graph.top, lo + h + 1, graph.top + h};
    const RECT high{hi - h - 1, graph.top, hi - 1, graph.top + h};
    layout.ArrowB = x1 <= x2 ? low : high;
    layout.ArrowA = x1 <= x2 ? high : low;
    layout.ArrowPointsLeftA = x1 < x2;
    layout.ArrowPointsLeftB = !(x1 < x2);
    if (x2 < graph.left) layout.ArrowPointsLeftB = 1;
    if (x2 > graph.right) layout.ArrowPointsLeftB = 0;
    if (x1 < graph.left) layout.ArrowPointsLeftA = 1;
    if (x1 > graph.right) layout.ArrowPointsLeftA = 0;
    if ((x1 < graph.left && x2 > graph.right) || (x2 < graph.left && x1 > graph.right))
        std::swap(layout.ArrowA, layout.ArrowB);
    for (RECT* arrow : {&layout.ArrowA, &layout.ArrowB}) {
        if (arrow->left < graph.left) OffsetRect(arrow, graph.left - arrow->left, 0);
        if (arrow->right > graph.right) OffsetRect(arrow, graph.right - arrow->right, 0);
    }
    if (layout.Between.right - layout.Between.left <= h) {
        SetRectEmpty(&layout.ArrowA);
        SetRectEmpty(&layout.ArrowB);
    }
    const auto withinA = [&](int x) { return x >= layout.ArrowA.left && x <= layout.ArrowA.right; };
    if (withinA(layout.ArrowB.left) || withinA(layout.ArrowB.right))
        OffsetRect(&layout.ArrowB, 0, layout.ArrowB.bottom - layout.ArrowB.top + 1);
    IntersectRect(&layout.Between, &layout.Between, &graph);
    return layout;
}

// Keeps what lies under `rect`, one column and one row more.
void SaveUnder(HDC dc, const RECT& rect, CBitmapHandle& under)
{
    const int width = rect.right - rect.left + 1;
    const int height = rect.bottom - rect.top + 1;
    under.Reset(CreateCompatibleBitmap(dc, width, height));
    if (!under) return;
    CDeviceContext memory(CreateCompatibleDC(dc));
    const CSelection selected(memory, under);
    BitBlt(memory, 0, 0, width, height, dc, rect.left, rect.top, SRCCOPY);
}

void RestoreUnder(HDC dc, const RECT& rect, const CBitmapHandle& under)
{
    if (!under) return;
    CDeviceContext memory(CreateCompatibleDC(dc));
    const CSelection selected(memory, under);
    BitBlt(dc, rect.left, rect.top, rect.right - rect.left + 1, rect.bottom - rect.top + 1, memory, 0, 0, SRCCOPY);
}

void Line(HDC dc, int x0, int y0, int x1, int y1)
{
    MoveToEx(dc, x0, y0, nullptr);
    LineTo(dc, x1, y1);
}

// The second cursor's colour laid over `rect`, faintly.
void Shade(HDC dc, const RECT& rect)
{
    const int width = rect.right - rect.left;
    const int height = rect.bottom - rect.top;
    if (width <= 0 || height <= 0) return;
    CBitmapHandle colour(CreateCompatibleBitmap(dc, width, height));
    if (!colour) return;
    CDeviceContext memory(CreateCompatibleDC(dc));
    const CSelection selected(memory, colour);
    const RECT all{0, 0, width, height};
    CBrushHandle brush(CreateSolidBrush(SecondCursorColour));
    FillRect(memory, &all, brush);
    const BLENDFUNCTION blend{AC_SRC_OVER, 0, BetweenAlpha, 0};
    AlphaBlend(dc, rect.left, rect.top, width, height, memory, 0, 0, width, height, blend);
}

// A triangle of one colour through three points, stroked and filled.
void Triangle(HDC dc, COLORREF colour, const POINT (&corners)[3], bool stroke)
{
    CPenHandle pen(CreatePen(PS_SOLID, 0, colour));
    CBrushHandle brush(CreateSolidBrush(colour));
    const CSelection penSelected(dc, pen), brushSelected(dc, brush);
    BeginPath(dc);
    MoveToEx(dc, corners[0].x, corners[0].y, nullptr);
    LineTo(dc, corners[1].x, corners[1].y);
    LineTo(dc, corners[2].x, corners[2].y);
    CloseFigure(dc);
    EndPath(dc);
    if (stroke) {
        StrokeAndFillPath(dc);
    } else {
        FillPath(dc);
    }
}

// A triangle in `rect` with its flat side left or right and its tip at the other side's middle.
void FlatTriangle(HDC dc, COLORREF colour, const RECT& rect, bool flatLeft)
{
    const int flat = flatLeft ? rect.left : rect.right;
    const int tip = flatLeft ? rect.right : rect.left;
    Triangle(dc, colour, {{flat, rect.top}, {flat, rect.bottom}, {tip, (rect.top + rect.bottom) / 2}}, true);
}

// A shaft along the middle of `rect` from the tail to the tip, and a head from the rectangle's
// vertical centre line to the tip.
void Arrowhead(HDC dc, COLORREF colour, const RECT& rect, bool pointsLeft)
{
    if (IsRectEmpty(&rect)) return;
    const int middle = (rect.top + rect.bottom) / 2;
    const int centre = (rect.left + rect.right) / 2;
    const int tip = pointsLeft ? rect.left : rect.right;
    const int tail = pointsLeft ? rect.right : rect.left;
    {
        CPenHandle pen(CreatePen(PS_SOLID, 0, colour));
        const CSelection selected(dc, pen);
        Line(dc, tail, middle, tip, middle);
    }
    Triangle(dc, colour, {{centre, rect.top}, {centre, rect.bottom}, {tip, middle}}, false);
}

bool Saves(CChartDrawInfo& info)
{
    const DWORD type = GetObjectType(info.hdcOut);
    return !IsPrinting(info.hdcRef) && type != OBJ_ENHMETADC && type != OBJ_METADC;
}

// An X on the primary cursor at the active trace's value there, when it lies on the plot.
void DrawActiveValueMark(CGraphRegion& graph, CChartDrawInfo& info, int x1, int h)
{
    CTraceDataItem* trace = graph.Task->GetActiveTrace();
    CChannelDataItem* channel = graph.Task->GetActiveChannel();
    CChannelRegion* region = graph.GetActiveChannelRegion();
    double value = 0.0;
    if (!trace || !channel || !region || FAILED(trace->GetValueAtCursor(value))) return;
    const double minimum = channel->GetScaleMinimum(1);
    const double maximum = channel->GetScaleMaximum(1);
    const RECT& plot = region->PlotRect;
    const double exact = plot.bottom - (plot.bottom - plot.top) * (value - minimum) / (maximum - minimum);
    if (!std::isfinite(exact) || std::fabs(exact) > 1e9) return;
    const int y = static_cast<int>(exact);
    if (y < plot.top || y > plot.bottom) return;
    Line(info.hdcOut, x1 - h, y - h, x1 + h + 1, y + h + 1);
    Line(info.hdcOut, x1 - h, y + h, x1 + h + 1, y - h - 1);
}

// What the last drawing of the cursors kept goes back, the overlay first.
void RestoreUnderCursors(CGraphRegion& graph, HDC dc)
{
    if (graph.Events) graph.Events->RestoreOverlay(dc);
    RestoreUnder(dc, graph.PrimaryCursorRect, graph.UnderPrimaryCursor);
    RestoreUnder(dc, graph.ArrowRectA, graph.UnderArrowA);
    RestoreUnder(dc, graph.ArrowRectB, graph.UnderArrowB);
    RestoreUnder(dc, graph.BetweenRect, graph.UnderBetween);
}

} // namespace

int CGraphRegion::CursorToPixel(BOOL secondCursor)
{
    if (!Task) return -1;
    const qvx::time time = secondCursor ? Task->GetSecondCursorTime() : Task->GetCursorTime();
    if (Task->IsDistanceMode()) {
        // TODO: the active selection's time-to-distance map, which comes with the distance items.
        return 0;
    }
    qvx::time minimum = 0, maximum = 0;
    Task->GetTimeRange(minimum, maximum);
    if (minimum >= maximum) return -1;
    // In integers, so that the cursor of a long recording still lands on its exact column.
    const int64_t width = static_cast<int64_t>(GraphRect.right) - GraphRect.left;
    const int64_t x = GraphRect.left + width * (time - minimum) / (maximum - minimum);
    // Far off the graph only the side matters.
    return static_cast<int>(std::clamp<int64_t>(x, INT32_MIN, INT32_MAX));
}

void CGraphRegion::DrawCursors(CChartDrawInfo& info, BOOL repaint)
{
    UnderPrimaryCursor.Reset();
    UnderBetween.Reset();
    UnderArrowB.Reset();
    UnderArrowA.Reset();
    if (Events) Events->PrepareOverlay(info, repaint);
    if (!ShowCursors || !Task || !Task->GetActiveSelection()) return;

    const bool two = Task->HasTwoCursors();
    const int x1 = CursorToPixel(FALSE);
    const int x2 = two ? CursorToPixel(TRUE) : 0;
    const bool graphShown = !IsRectEmpty(&GraphRect);
    const auto onGraph = [&](int x) { return graphShown && x >= GraphRect.left && x <= GraphRect.right; };
    const bool primaryVisible = onGraph(x1);
    const bool secondVisible = two && onGraph(x2);
    if (!primaryVisible && !two) return;
    PlotLayer.Flush(info.hdcOut);

    const int h = GetDeviceCaps(info.hdcRef, LOGPIXELSX) / 16;
    const CCursorLayout layout = LayOutCursors(GraphRect, h, x1, x2, two);
    PrimaryCursorRect = layout.Primary;
    SecondCursorRect = layout.Second;
    BetweenRect = layout.Between;
    ArrowRectA = layout.ArrowA;
    ArrowRectB = layout.ArrowB;
    ArrowPointsLeftA = layout.ArrowPointsLeftA;
    ArrowPointsLeftB = layout.ArrowPointsLeftB;

    HDC dc = info.hdcOut;
    const bool saves = Saves(info);
    if (two && saves) {
        SaveUnder(dc, ArrowRectB, UnderArrowB);
        SaveUnder(dc, BetweenRect, UnderBetween);
    }
    if (two && !IsPrinting(info.hdcRef)) Shade(dc, BetweenRect);
    if (secondVisible) {
        CPenHandle dash(CreatePen(PS_DASH, 0, SecondCursorColour));
        const CSelection selected(dc, dash);
        // The gaps of the dashes take the foreground.
        const COLORREF oldBack = SetBkColor(dc, info.ForeColour);
        Line(dc, x2, SecondCursorRect.top + h, x2, SecondCursorRect.bottom - h + 1);
        SetBkColor(dc, oldBack);
    }
    if (saves) {
        SaveUnder(dc, PrimaryCursorRect, UnderPrimaryCursor);
        SaveUnder(dc, ArrowRectA, UnderArrowA);
    }

    if (primaryVisible) {
        const CSelection selected(dc, info.ForePen);
        Line(dc, x1, PrimaryCursorRect.top + h, x1, PrimaryCursorRect.bottom - h + 1);
        DrawActiveValueMark(*this, info, x1, h);
        if (Task->IsCursorCentred()) {
            const int bottom = PrimaryCursorRect.bottom;
            FlatTriangle(dc, info.ForeColour, RECT{PrimaryCursorRect.left, bottom - 2 * h - 1, x1 - 1, bottom - h - 1},
                         true);
            FlatTriangle(dc, info.ForeColour, RECT{x1 + 1, bottom - 2 * h - 1, PrimaryCursorRect.right, bottom - h - 1},
                         false);
        }
    }
    if (two && graphShown) {
        Arrowhead(dc, info.ForeColour, ArrowRectA, ArrowPointsLeftA != 0);
        Arrowhead(dc, SecondCursorColour, ArrowRectB, ArrowPointsLeftB != 0);
    }
    if (primaryVisible && Events) Events->DrawOverlay(info);
}

void CGraphRegion::RedrawCursors()
{
    const HWND window = WindowRef ? *WindowRef : nullptr;
    if (!window || !IsWindowVisible(window)) return;
    const CWindowDC screen(window);
    if (!screen.Get()) return;
    const CSavedDC saved(screen);
    // As in the paint, nothing of the cursors reaches beyond the graph.
    IntersectClipRect(screen, Bounds.left, Bounds.top, Bounds.right + 1, Bounds.bottom + 1);
    if (Task && Task->HasTwoCursors()) {
        // Through a bitmap of the graph and a margin, so that the shading does not flicker.
        const int marginX = GetDeviceCaps(screen, LOGPIXELSX) / 16;
        const int marginY = GetDeviceCaps(screen, LOGPIXELSY) / 16;
        const RECT area{GraphRect.left - marginX, GraphRect.top - marginY, GraphRect.right + marginX + 1,
                        GraphRect.bottom + marginY + 1};
        const int width = area.right - area.left;
        const int height = area.bottom - area.top;
        CBitmapHandle bitmap(CreateCompatibleBitmap(screen, width, height));
        if (bitmap) {
            CDeviceContext memory(CreateCompatibleDC(screen));
            const CSelection selected(memory, bitmap);
            SetWindowOrgEx(memory, area.left, area.top, nullptr);
            BitBlt(memory, area.left, area.top, width, height, screen, area.left, area.top, SRCCOPY);
            {
                CChartDrawInfo info(memory, screen, Owner, PointSize);
                RestoreUnderCursors(*this, memory);
                DrawCursors(info, TRUE);
            }
            BitBlt(screen, area.left, area.top, width, height, memory, area.left, area.top, SRCCOPY);
        }
    } else {
        CChartDrawInfo info(screen, screen, Owner, PointSize);
        RestoreUnderCursors(*this, screen);
        DrawCursors(info, TRUE);
    }
}
