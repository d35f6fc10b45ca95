#pragma once
// The value axis of one channel, in the channel's colour: the spine, the ticks and their numbers,
// and the title on its side with the channel's name and unit. The graph makes one per channel
// beside the traces, and one more that follows the task's active channel.
//
// When the channel's "Y-axis % enabled" is on, the axis is also the handle of the channel's band,
// the part of the graph's height in which the channel is drawn: a drag on the axis moves the band's
// top edge, its bottom edge or the whole band, and the drop writes the band to the host and puts
// the channels in the order of their bands.
#include <windows.h>
#include <string>
#include "control/ChartRegionBase.h"
#include "control/MessageMap.h"
#include "interaction/DragModeBase.h"

class CChannelDataItem;
class CChannelRegion;
class CDragManager;
class CGraphRegion;
class CTaskDataItem;
class CTraceDataItem;
struct CAxisTicks;

class CYAxisRegion : public CChartRegionBase, public CDragModeBase, public CMessageMap
{
public:
    // Work that Recalculate does, beside DirtyBounds.
    static constexpr DWORD DirtyAxisItems = 1;   // find the channel and the trace again
    static constexpr DWORD DirtyBand = 2;        // cut AxisRect to the channel's band again
    // What a band drag moves; EdgeNone where the axis is no handle.
    enum : int { EdgeTop = 0, EdgeBand = 1, EdgeBottom = 2, EdgeNone = 3 };

    // `channel` null makes the axis that follows the task's active channel. Listens to the task
    // and the channel.
    CYAxisRegion(const HWND* windowRef, BOOL hideMarks, int side, CTaskDataItem* task, CChannelDataItem* channel,
                 CGraphRegion& graph);
    // Leaves the items and the chain; a band drag of this axis that still runs is cancelled.
    ~CYAxisRegion() override;

    // --- CChartRegionBase ---
    // The title column too, which reaches beyond Bounds.
    void Invalidate() override;
    void Draw(CChartDrawInfo& info) override;
    void OnDataItemChanged(CDataItemBase* item, DWORD flags) override;
    void OnDataItemRemoved(CDataItemBase* item) override;
    void Recalculate(CChartDrawInfo& info) override;
    // The channel's name and unit along the axis.
    virtual void DrawTitle(CChartDrawInfo& info);

    // --- CDragModeBase: the band drag ---
    // Refuses under a vertical zoom and where the press is on no handle.
    BOOL Begin() override;
    // Writes the moved edges to the host's "Y-axis %" properties and orders the channels.
    void End() override;
    void Cancel() override;
    // Moves the dragged edges and paints the axis at once, without a repaint of the chart.
    void Track(const POINT* point) override;

    // --- CMessageMap: a press starts the band drag, the pointer gets the band's cursors; every
    // message not taken goes on to the next axis ---
    bool ProcessWindowMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result,
                              DWORD mapId) override;

    // The room that the axis of `region`'s channel needs: the tick, the title, a gap and the
    // numbers of the scale without zoom, so that axes keep their width during a zoom.
    static int YAxisWidth(CChartDrawInfo& info, CChannelRegion& region);
    // The ticks of this axis, or with `active` those of the task's active channel, over the
    // height of AxisRect. E_FAIL without a channel or a scale.
    HRESULT GetYTicks(CChartDrawInfo& info, CAxisTicks& ticks, BOOL active);
    // What a drag from the client point `point` would move; EdgeNone unless the point lies on
    // the axis of a channel whose band may be dragged.
    int HitTest(const POINT& point);
    // Hands this axis to `manager`; non-zero when the band drag runs.
    BOOL BeginBandDrag(CDragManager& manager);
    // The title, "name (unit)", cut to end in "..." when it is longer than `room` pixels in the
    // font selected on `dc`.
    std::wstring FitTitle(HDC dc, int room);
    // Puts the channels in the order of their bands on the screen, highest first.
    void OrderChannelsByBand();

    // The next y axis, entered with the graph's NextAxisId.
    CDynamicChain NextAxisChain;
    // Null once gone.
    CTaskDataItem* Task;
    // Null for an axis that follows the active channel while there is none, or once gone.
    CChannelDataItem* Channel;
    // The trace that gives the axis its colour, or null.
    CTraceDataItem* Trace = nullptr;
    CGraphRegion& Graph;
    // Only the two ends of the scale are drawn.
    BOOL HideMarks;
    // SideLeft, SideRight or SideNone of the graph.
    int Side;
    // Made with no channel: the channel follows the task's active channel.
    BOOL FollowsActive;
    // The column in which title and numbers may be drawn; set by the graph.
    RECT TextClip{};
    // AxisRect at the press.
    RECT BandAtDragStart{};
    // The span of the scale: Bounds cut to the channel's band.
    RECT AxisRect{};
    int DragEdge = EdgeNone;
    // Shared by all axes; never freed, as cursors of a module's resources are not.
    HCURSOR CursorTop;
    HCURSOR CursorBottom;
    HCURSOR CursorBand;
    // Shown while a vertical zoom forbids the drag.
    HCURSOR CursorTopLocked;
    HCURSOR CursorBottomLocked;
    HCURSOR CursorBandLocked;

private:
    HWND Window() const noexcept { return WindowRef ? *WindowRef : nullptr; }
    // The channel's scale in its display unit, zoomed.
    bool GetDisplayRange(CChannelDataItem* channel, double& low, double& high);
    void DrawTicks(CChartDrawInfo& info, const TEXTMETRICW& metrics, double low, double high);
    void DrawEnds(CChartDrawInfo& info, const TEXTMETRICW& metrics, double low, double high);
    // A tick of `length` pixels at `y`, from the spine outwards.
    void DrawTick(HDC dc, int y, int length);
    // A number beside the spine; `align` holds the vertical alignment.
    void DrawLabel(HDC dc, int x, int y, UINT align, const wchar_t* text);
    // The band cursor, the locked one or the window's under the pointer, when it lies on the
    // axis; false when it does not.
    bool SetAxisCursor();
    // Cuts the dragged edge back so that the band keeps a tenth of the height.
    void KeepGap();
    // Paints the axis straight onto the window through a memory bitmap.
    void PaintNow();
    CDragManager* DragManager = nullptr;
};
