#pragma once
// How the root region shares its rectangle between the graph on the left, the cursor values panel
// on the right and the divider between them. The panel's width is kept in inches, so that it
// stays the same when the control is resized and on paper; the graph wins when room runs out.
#include <windows.h>
#include <optional>

class CChartDrawInfo;
class CChartRegionBase;

class CRootLayout
{
public:
    // Panel width over root width, as the last layout found it.
    double SplitFraction = 0.3;
    // Panel width in inches: the VerticalSplitPos property.
    double VerticalSplitInches = 1.25;

    // The panel's width in pixels for a root `width` pixels wide, within the panel's limits and
    // leaving the graph its minimum width; sets SplitFraction. `contentWidth` is the greatest
    // preferred width of the panel's channel groups when the panel sizes itself to its contents
    // (0 without groups), and empty otherwise.
    int UpdatePanelWidth(CChartDrawInfo& info, int width, std::optional<int> contentWidth,
                         CChartRegionBase& graph, CChartRegionBase& cursors);

    // Gives the three children their bounds inside `root`. With the panel hidden the graph and
    // the panel both get the whole rectangle; the divider is empty then and on paper.
    void Arrange(CChartDrawInfo& info, const RECT& root, bool showCursorValues, std::optional<int> contentWidth,
                 CChartRegionBase& graph, CChartRegionBase& cursors, CChartRegionBase& resize);

    // Where the divider may be dragged: the panel within its limits, the graph no narrower than
    // its minimum. When nothing fits, both ends are the divider's present `dragPosition`.
    static void GetResizeRange(CChartDrawInfo& info, const RECT& root, CChartRegionBase& graph,
                               CChartRegionBase& cursors, int dragPosition, int& lowest, int& highest);

    // The divider was dropped at `dragPosition`: the panel keeps that width, in inches.
    void ResizeDone(const RECT& root, int dragPosition, int dpiX);
};
