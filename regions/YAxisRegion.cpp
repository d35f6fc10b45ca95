#include "regions/YAxisRegion.h"
#include "control/ChartDrawInfo.h"
#include "items/ChannelDataItem.h"
#include "items/TaskDataItem.h"
#include "regions/GraphRegion.h"

CYAxisRegion::CYAxisRegion(const HWND* windowRef, BOOL hideMarks, int side, CTaskDataItem* task,
                           CChannelDataItem* channel, CGraphRegion& graph)
    : CChartRegionBase(windowRef), Task(task), Channel(channel), Graph(graph), HideMarks(hideMarks), Side(side),
      FollowsActive(channel == nullptr)
{
    if (Task) Task->AddListener(this);
    if (Channel) Channel->AddListener(this);
}

CYAxisRegion::~CYAxisRegion()
{
    if (Channel) Channel->RemoveListener(this);
    if (Task) Task->RemoveListener(this);
}

void CYAxisRegion::OnDataItemRemoved(CDataItemBase* item)
{
    CChartRegionBase::OnDataItemRemoved(item);
    if (item == Channel) Channel = nullptr;
    if (item == Task) Task = nullptr;
}

bool CYAxisRegion::ProcessWindowMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result,
                                        DWORD mapId)
{
    return mapId == 0 && NextAxisChain.CallChain(CGraphRegion::NextAxisId, window, message, wParam, lParam, result);
}

int CYAxisRegion::YAxisWidth(CChartDrawInfo& info, CChannelRegion&)
{
    const HGDIOBJ old = SelectObject(info.hdcRef, info.hFontNormal);
    TEXTMETRICW metrics{};
    GetTextMetricsW(info.hdcRef, &metrics);
    SelectObject(info.hdcRef, old);
    const int dpiX = GetDeviceCaps(info.hdcRef, LOGPIXELSX);
    return dpiX * 6 / 72 + metrics.tmHeight + dpiX / 16 + 2 * metrics.tmAveCharWidth;
}
