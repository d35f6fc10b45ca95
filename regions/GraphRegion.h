#pragma once
// Placeholder of the graph region: the left child of the root. It takes its place in the layout
// with the graph's minimum width and the members the control reads, and paints nothing of its
// own; the axes, traces and cursors come with the full region.
#include "control/ChartRegionBase.h"

class CGraphRegion : public CChartRegionBase
{
public:
    explicit CGraphRegion(const HWND* windowRef) noexcept : CChartRegionBase(windowRef) {}

    // At least an eighth of an inch wide; no maximum.
    BOOL GetWidthLimits(CChartDrawInfo& info, int& minimum, int& maximum) override;

    // Takes no window message yet.
    bool ProcessWindowMessage(HWND, UINT, WPARAM, LPARAM, LRESULT&, DWORD) { return false; }

    BOOL Tiled = 0;
    BOOL ShowGrid = 1;
    BOOL ShowCursors = 1;
    // Tenths of a point.
    short PointSize = 0;
};

class CRTCGraphRegion : public CGraphRegion
{
public:
    using CGraphRegion::CGraphRegion;
};
