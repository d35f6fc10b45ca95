#pragma once
// Placeholder of the divider between the graph and the cursor values panel. It is laid out by the
// root and keeps the position the control reads; the drag, the highlight and the bar come with
// the full region, so it paints nothing.
#include "control/ChartRegionBase.h"

class CResizeCallback;

class CResizeRegion : public CChartRegionBase
{
public:
    CResizeRegion(const HWND* windowRef, CResizeCallback& callback) noexcept
        : CChartRegionBase(windowRef), Callback(callback)
    {
    }

    // Takes no window message yet.
    bool ProcessWindowMessage(HWND, UINT, WPARAM, LPARAM, LRESULT&, DWORD) { return false; }

    BOOL Hot = 0;
    BOOL Horizontal = 0;
    BOOL Enabled = 1;
    // The bar's position during a drag.
    int DragPosition = 0;
    CResizeCallback& Callback;
};
