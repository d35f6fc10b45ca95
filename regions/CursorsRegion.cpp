#include "regions/CursorsRegion.h"
#include "control/ChartDrawInfo.h"

BOOL CCursorsRegion::GetWidthLimits(CChartDrawInfo& info, int& minimum, int& maximum)
{
    const TEXTMETRICW metrics = info.GetNormalMetrics();
    minimum = GetDeviceCaps(info.hdcRef, LOGPIXELSX) * 9 / 40;
    maximum = minimum + 50 * metrics.tmAveCharWidth;
    return TRUE;
}

BOOL CCursorsRegion::GetHeightLimits(CChartDrawInfo& info, int& minimum, int& maximum)
{
    minimum = GetDeviceCaps(info.hdcRef, LOGPIXELSY) * 9 / 40;
    maximum = -1;
    return TRUE;
}

int CCursorsRegion::GetContentWidth(CChartDrawInfo&)
{
    return 0;
}
