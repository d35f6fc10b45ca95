#pragma once
// Placeholder of the strip above the graph that holds the segments, splits and markers bars. The
// graph keeps its place closed; it takes no message and paints nothing until the bars exist.
// TODO: the segments, splits and markers bars.
#include <windows.h>
#include "control/ChartRegionBase.h"
#include "control/MessageMap.h"

class CSegmentsSplitsRegion : public CChartRegionBase, public CMessageMap
{
public:
    explicit CSegmentsSplitsRegion(const HWND* windowRef) noexcept : CChartRegionBase(windowRef) {}

    bool ProcessWindowMessage(HWND, UINT, WPARAM, LPARAM, LRESULT&, DWORD) override { return false; }

    // Whether the splits bar shows, and the segments bar its names; both closed for now.
    BOOL ShowSplits = 0;
    BOOL ShowSegmentNames = 0;
};
