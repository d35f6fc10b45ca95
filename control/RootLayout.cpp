#include "control/RootLayout.h"
#include <algorithm>
#include <climits>
#include <cmath>
#include "control/ChartDrawInfo.h"
#include "control/ChartRegionBase.h"

namespace {

int DpiX(HDC ref)
{
    const int dpi = GetDeviceCaps(ref, LOGPIXELSX);
    return dpi > 0 ? dpi : 96;
}

// Truncates toward zero; values beyond an int saturate, and a non-number gives 0.
int TruncToInt(double value)
{
    if (std::isnan(value)) return 0;
    if (value >= static_cast<double>(INT_MAX)) return INT_MAX;
    if (value <= static_cast<double>(INT_MIN)) return INT_MIN;
    return static_cast<int>(value);
}

} // namespace

int CRootLayout::UpdatePanelWidth(CChartDrawInfo& info, int width, std::optional<int> contentWidth,
                                  CChartRegionBase& graph, CChartRegionBase& cursors)
{
    const int dpi = DpiX(info.hdcRef);
    if (VerticalSplitInches == 0) VerticalSplitInches = width * SplitFraction / dpi;
    int px = contentWidth ? *contentWidth : TruncToInt(dpi * VerticalSplitInches);

    int panelMin, panelMax, graphMin, graphMax;
    cursors.GetWidthLimits(info, panelMin, panelMax);
    graph.GetWidthLimits(info, graphMin, graphMax);
    // A negative limit is no limit.
    if (panelMin >= 0 && px < panelMin)
        px = panelMin;
    else if (panelMax >= 0 && px > panelMax)
        px = panelMax;
    if (graphMin >= 0 && static_cast<long long>(width) - px < graphMin) px = width - graphMin;
    // What is left for the panel may be nothing, never less.
    px = std::max(px, 0);

    // A root without width keeps the last fraction: there is nothing to see, and a division by
    // zero would poison the next layout.
    if (width > 0) SplitFraction = static_cast<double>(px) / width;
    return px;
}

void CRootLayout::Arrange(CChartDrawInfo& info, const RECT& root, bool showCursorValues,
                          std::optional<int> contentWidth, CChartRegionBase& graph, CChartRegionBase& cursors,
                          CChartRegionBase& resize)
{
    RECT graphBounds = root;
    RECT cursorsBounds = root;
    RECT resizeBounds{};
    const int px = UpdatePanelWidth(info, root.right - root.left, contentWidth, graph, cursors);

    if (showCursorValues) {
        // The width times SplitFraction, without the rounding of the division and product that
        // would make the panel a pixel narrower on many widths.
        const int x = root.right - px;
        graphBounds.right = x;
        cursorsBounds.left = x + 1;
        if (!IsPrinting(info.hdcRef)) resizeBounds = RECT{x - 2, root.top, x + 2, root.bottom};
    }
    graph.SetBounds(graphBounds);
    cursors.SetBounds(cursorsBounds);
    resize.SetBounds(resizeBounds);
}

void CRootLayout::GetResizeRange(CChartDrawInfo& info, const RECT& root, CChartRegionBase& graph,
                                 CChartRegionBase& cursors, int dragPosition, int& lowest, int& highest)
{
    int panelMin, panelMax, graphMin, graphMax;
    cursors.GetWidthLimits(info, panelMin, panelMax);
    graph.GetWidthLimits(info, graphMin, graphMax);
    lowest = panelMax >= 0 ? root.right - panelMax : root.left;
    highest = panelMin >= 0 ? root.right - panelMin : root.right;
    const int graphEnd = root.left + std::max(graphMin, 0);
    if (lowest < graphEnd) lowest = graphEnd;
    if (lowest > highest) lowest = highest = dragPosition;
}

void CRootLayout::ResizeDone(const RECT& root, int dragPosition, int dpiX)
{
    VerticalSplitInches = static_cast<double>(root.right - dragPosition) / (dpiX > 0 ? dpiX : 96);
}
