#pragma once
// Placeholder of the event strip on the x axis's rectangle: it takes its bounds from the graph,
// takes no message and paints nothing until the events exist.
// TODO: event triangles, tool tips, the overlay note, stepping by keys, the pause click.
#include <windows.h>
#include "control/ChartRegionBase.h"
#include "control/MessageMap.h"

class CGraphRegion;

class CEventsRegion : public CChartRegionBase, public CMessageMap
{
public:
    CEventsRegion(const HWND* windowRef, CGraphRegion& graph) noexcept : CChartRegionBase(windowRef), Graph(graph) {}

    bool ProcessWindowMessage(HWND, UINT, WPARAM, LPARAM, LRESULT&, DWORD) override { return false; }
    // The note over the selected event, which the graph's cursors draw and move: where it lies
    // and what lies under it, the note itself, and putting back what it covered.
    void PrepareOverlay(CChartDrawInfo&, BOOL) {}
    void DrawOverlay(CChartDrawInfo&) {}
    void RestoreOverlay(HDC) {}

    CGraphRegion& Graph;
};

class CRTCEventsRegion : public CEventsRegion
{
public:
    using CEventsRegion::CEventsRegion;
};
