#pragma once
// A scroll bar drawn by the chart, below the graph for the time axis and at its right for the y
// zoom. Until the bars move the view it answers its layout size and paints nothing.
// TODO: the thumb, paging, the thumb drag and the enabled state by control mode.
#include <windows.h>
#include "control/ChartRegionBase.h"
#include "control/MessageMap.h"
#include "interaction/DragModeBase.h"

class CGraphRegion;

class CScrollbarRegion : public CChartRegionBase, public CMessageMap, public CDragModeBase
{
public:
    CScrollbarRegion(const HWND* windowRef, CGraphRegion& graph, BOOL horizontal) noexcept
        : CChartRegionBase(windowRef), Graph(graph), Horizontal(horizontal)
    {
    }

    // The vertical bar is a twelfth of an inch less two pixels wide; no limits the other way.
    BOOL GetWidthLimits(CChartDrawInfo& info, int& minimum, int& maximum) override;
    // The horizontal bar likewise high.
    BOOL GetHeightLimits(CChartDrawInfo& info, int& minimum, int& maximum) override;

    bool ProcessWindowMessage(HWND, UINT, WPARAM, LPARAM, LRESULT&, DWORD) override { return false; }
    void Track(const POINT*) override {}
    DWORD GetFlags() override { return DRAG_END_ON_LBUTTONUP | DRAG_SWALLOW_CONTEXTMENU; }

    CGraphRegion& Graph;
    BOOL Horizontal;
    // Off while the chart runs.
    BOOL Enabled = 1;
};
