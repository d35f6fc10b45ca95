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

    CGraphRegion& Graph;
};

class CRTCEventsRegion : public CEventsRegion
{
public:
    using CEventsRegion::CEventsRegion;
};
