#pragma once
// Placeholder of the cursor values panel at the right of the chart. It has the panel's width and
// height limits and its property members, and no channel groups yet: it paints nothing, and
// auto-sizing finds no content.
#include "control/ChartRegionBase.h"

class CCursorsRegion : public CChartRegionBase
{
public:
    explicit CCursorsRegion(const HWND* windowRef) noexcept : CChartRegionBase(windowRef) {}

    // From 9/40 inch up to that plus fifty average characters of the chart's font.
    BOOL GetWidthLimits(CChartDrawInfo& info, int& minimum, int& maximum) override;
    // At least 9/40 inch high; no maximum.
    BOOL GetHeightLimits(CChartDrawInfo& info, int& minimum, int& maximum) override;

    // The greatest preferred width among the channel groups, what auto-sizing gives the panel;
    // 0 without groups.
    int GetContentWidth(CChartDrawInfo& info);

    // Takes no window message yet.
    bool ProcessWindowMessage(HWND, UINT, WPARAM, LPARAM, LRESULT&, DWORD) { return false; }

    int ValueWidth = 2;  // qvx32bits
    int ValueBase = 1;   // qvxDecimal
    BOOL ShowAlarms = 0;
};

class CRTCCursorsRegion : public CCursorsRegion
{
public:
    using CCursorsRegion::CCursorsRegion;
};
