#pragma once
// Placeholder of a channel's value axis: it takes the column the graph gives it, passes window
// messages down the chain of axes, and answers the room it needs; the scale, the title and the
// band drag come with the axis.
// TODO: spine, ticks, numbers, title, the band drag.
#include <windows.h>
#include "control/ChartRegionBase.h"
#include "control/MessageMap.h"
#include "interaction/DragModeBase.h"

class CChannelDataItem;
class CChannelRegion;
class CGraphRegion;
class CTaskDataItem;
struct CAxisTicks;

class CYAxisRegion : public CChartRegionBase, public CDragModeBase, public CMessageMap
{
public:
    CYAxisRegion(const HWND* windowRef, BOOL hideMarks, int side, CTaskDataItem* task, CChannelDataItem* channel,
                 CGraphRegion& graph);
    ~CYAxisRegion() override;

    void OnDataItemRemoved(CDataItemBase* item) override;
    void Track(const POINT*) override {}
    // Offers the message to the next axis.
    bool ProcessWindowMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result,
                              DWORD mapId) override;

    // The room the axis of `region`'s channel needs: the tick, the title, a gap and the numbers.
    static int YAxisWidth(CChartDrawInfo& info, CChannelRegion& region);
    // The ticks of this axis, or of the active channel's with `active`; a negative status gives none.
    HRESULT GetYTicks(CChartDrawInfo&, CAxisTicks&, BOOL) { return E_FAIL; }

    CDynamicChain NextAxisChain;
    CTaskDataItem* Task;
    CChannelDataItem* Channel;
    CGraphRegion& Graph;
    BOOL HideMarks;
    // SideLeft, SideRight or SideNone of the graph.
    int Side;
    BOOL FollowsActive;
    // Where title and numbers may be drawn; set by the graph.
    RECT TextClip{};
    RECT AxisRect{};
};
