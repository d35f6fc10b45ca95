#include "regions/ScrollbarRegion.h"
#include "control/ChartDrawInfo.h"

BOOL CScrollbarRegion::GetWidthLimits(CChartDrawInfo& info, int& minimum, int& maximum)
{
    if (Horizontal) {
        minimum = maximum = -1;
        return FALSE;
    }
    minimum = maximum = GetDeviceCaps(info.hdcRef, LOGPIXELSX) / 12 - 2;
    return TRUE;
}

BOOL CScrollbarRegion::GetHeightLimits(CChartDrawInfo& info, int& minimum, int& maximum)
{
    if (!Horizontal) {
        minimum = maximum = -1;
        return FALSE;
    }
    minimum = maximum = GetDeviceCaps(info.hdcRef, LOGPIXELSY) / 12 - 2;
    return TRUE;
}
