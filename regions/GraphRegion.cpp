#include "regions/GraphRegion.h"
#include "control/ChartDrawInfo.h"

BOOL CGraphRegion::GetWidthLimits(CChartDrawInfo& info, int& minimum, int& maximum)
{
    minimum = GetDeviceCaps(info.hdcRef, LOGPIXELSX) / 8;
    maximum = -1;
    return TRUE;
}
