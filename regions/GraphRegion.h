#pragma once
// The graph: the left child of the root, everything that has the time axis in common. It owns the
// x axis, the y axes, the channel regions with their traces, the two scroll bars, the lap-marker
// regions, the event strip, the segment and split strip and the offset mode; it lays them out,
// paints them in a fixed order, draws the grid and the cursors, and takes the window messages
// that fall on the chart.
//
// Overlaid, all channels share one rectangle and their axes stand side by side left and right of
// it; tiled, every channel has a strip of its own with its axis beside it.
#include <windows.h>
#include <list>
#include <memory>
#include "control/ChartRegionBase.h"
#include "control/GdiHandle.h"
#include "control/MessageMap.h"
#include "interaction/GraphDragModes.h"
#include "regions/OffsetMode.h"
#include "regions/PlotLayer.h"
#include "regions/SegmentsSplitsRegion.h"
#include "Linnograph.h"
#include "com/AutomationTypes.h"

class CBaseChartCtl;
class CChannelDataItem;
class CChannelRegion;
class CDataSelectionDataItem;
class CEventsRegion;
class CLapMarkersRegion;
class CScrollbarRegion;
class CTaskDataItem;
class CXAxisRegion;
class CYAxisRegion;
struct CAxisTicks;

class CGraphRegion : public CChartRegionBase, public CMessageMap
{
public:
    // Work that Recalculate does, beside DirtyBounds.
    static constexpr DWORD DirtyChannelRegions = 1;
    static constexpr DWORD DirtyYAxes = 2;
    static constexpr DWORD DirtyLapMarkerRegions = 8;

    // The sides of a y axis.
    enum : int { SideLeft = 0, SideRight = 1, SideNone = 2 };
    // Id of the first y axis in MessageChain; every further axis is entered in its forerunner's
    // chain with NextAxisId.
    static constexpr DWORD FirstAxisId = 1;
    static constexpr DWORD NextAxisId = 2;

    // The graph listens to `task`, which outlives it or tells it that it goes.
    CGraphRegion(CBaseChartCtl& owner, CTaskDataItem* task);
    ~CGraphRegion() override;

    // --- CChartRegionBase ---
    void Draw(CChartDrawInfo& info) override;
    // At least an eighth of an inch wide; no maximum.
    BOOL GetWidthLimits(CChartDrawInfo& info, int& minimum, int& maximum) override;
    void OnDataItemChanged(CDataItemBase* item, DWORD flags) override;
    void OnDataItemRemoved(CDataItemBase* item) override;
    void Recalculate(CChartDrawInfo& info) override;

    // --- what the graph makes; the real-time graph makes its own kinds ---
    virtual std::unique_ptr<CChannelRegion> CreateChannelRegion(CChannelDataItem* channel);
    virtual std::unique_ptr<CYAxisRegion> CreateYAxisRegion(BOOL hideMarks, int side, CChannelDataItem* channel);
    virtual std::unique_ptr<CLapMarkersRegion> CreateLapMarkersRegion(CDataSelectionDataItem* selection);
    virtual std::unique_ptr<CScrollbarRegion> CreateScrollbarRegion(BOOL horizontal);
    virtual std::unique_ptr<CXAxisRegion> CreateXAxisRegion();
    virtual std::unique_ptr<CEventsRegion> CreateEventsRegion();
    // Hand a drag mode to the control's drag manager.
    virtual void BeginZoomDrag();
    virtual void BeginScrollDrag();
    virtual void BeginCursorDrag();
    virtual void BeginMouseAutoScroll();
    // The edit cursor with Alt down over a zoomed graph; true when the cursor was set.
    virtual bool OnSetCursor(const POINT& screenPoint);

    // --- CMessageMap: the sinks first, then the graph's own table ---
    bool ProcessWindowMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result,
                              DWORD mapId) override;

    // --- what the others use ---
    // Whether this paint copies the kept plot over all of `plot` (GraphRect): the layout stands
    // and the target is the screen's back buffer.
    bool CoversPlot(const CChartDrawInfo& info, RECT& plot) const;
    // The channel region of the task's active channel, or null; rebuilds the regions first if
    // they are stale.
    CChannelRegion* GetActiveChannelRegion();
    // The x of the cursor, or of the second cursor; -1 when it is not on the graph.
    int CursorToPixel(BOOL secondCursor);
    // The time and distance at the pixel column x of GraphRect.
    qvx::time PixelToTime(int x);
    double PixelToDistance(int x);
    // Draws the cursors and keeps what lies under them; `repaint` draws them again where they stand.
    void DrawCursors(CChartDrawInfo& info, BOOL repaint);
    // Moves the drawn cursors to the task's cursor on the window, without a paint.
    void RedrawCursors();
    // Zooms both axes to a rectangle of pixels, from the rubber band.
    void ZoomToRectangle(const RECT& rect);
    // Halves the view about the cursor.
    void ZoomInAtCursor();
    // Paints the traces into a bitmap of GraphRect's size, for the offset mode.
    void DrawTracesForOffset(HDC dc, BOOL normalColour, BOOL activeChannelOnly);
    void SetTiled(BOOL tiled);
    // The traces are of another style: every channel makes its trace regions again.
    void SetTraceStyle(int style);
    // 1 while no offset is being edited.
    int GetOffsetState() const noexcept { return OffsetMode.OffsetState; }

    // Chains of further sinks: the y axes that want window messages.
    CDynamicChain MessageChain;
    CCursorDragMode CursorDrag;
    CZoomDragMode ZoomDrag;
    CScrollDragMode ScrollDrag;
    CMouseAutoScrollMode MouseAutoScroll;
    CKeyboardAutoScrollMode KeyboardAutoScroll;
    std::list<std::unique_ptr<CChannelRegion>> ChannelRegions;
    std::list<std::unique_ptr<CLapMarkersRegion>> LapMarkerRegions;
    std::unique_ptr<CXAxisRegion> XAxis;
    std::list<std::unique_ptr<CYAxisRegion>> YAxes;
    std::unique_ptr<CYAxisRegion> ActiveYAxis;
    std::unique_ptr<CEventsRegion> Events;
    CSegmentsSplitsRegion SegmentsSplits;
    // Null once the task has gone.
    CTaskDataItem* Task;
    CBaseChartCtl& Owner;
    // Where the traces lie; right and bottom inclusive.
    RECT GraphRect{};
    BOOL Tiled = 0;
    BOOL ShowGrid = 1;
    // Reserves the strip of SegmentsSplits; nothing opens it yet.
    BOOL ShowSegmentsBars = 0;
    // Follows the control mode.
    BOOL ShowCursors = 1;
    BOOL ShowActiveYAxis = 1;
    // acNoConditions, acActiveTraceConditions, acAllTraceConditions
    int AlarmConditionsType = acAllTraceConditions;
    // What lay under the drawn cursors, for moving them without a paint.
    CBitmapHandle UnderPrimaryCursor;
    CBitmapHandle UnderBetween;
    CBitmapHandle UnderArrowB;
    CBitmapHandle UnderArrowA;
    RECT PrimaryCursorRect{};
    RECT SecondCursorRect{};
    RECT BetweenRect{};
    RECT ArrowRectA{};
    RECT ArrowRectB{};
    BOOL ArrowPointsLeftB = 0;
    BOOL ArrowPointsLeftA = 0;
    COffsetMode OffsetMode;
    int TraceStyle = qvxLines;
    // Tenths of a point, 0 to 60.
    short PointSize = 0;
    HCURSOR EditCursor = nullptr;
    std::unique_ptr<CScrollbarRegion> HorizontalScrollbar;
    std::unique_ptr<CScrollbarRegion> VerticalScrollbar;
    // Whether the last Draw went to paper.
    BOOL WasPrinting = 0;
    BOOL ShowYAxisMarksWhenTiled = 0;
    BOOL FixedGrid = 1;
    BOOL ShowYAxisGrid = 1;
    BOOL ShowYAxisGridMinorLines = 0;
    BOOL ShowXAxisGrid = 1;
    BOOL ShowXAxisGridMinorLines = 0;
    BOOL ShowGridActiveTraceOnly = 0;
    // The plot as the screen last showed it, drawn again only where it changed.
    CPlotLayer PlotLayer;
    // The storage of the plot's scene, handed from paint to paint.
    std::vector<CPlotItem> SceneStorage;

protected:
    // The children the graph owns from the start; the constructor of the real-time graph calls it
    // again so that its own kinds are made.
    void CreateChildren();
    // The rebuilds of Recalculate.
    void RebuildChannelRegions();
    // With `printAll` every channel's axis stands on the left and there is no active axis.
    void RebuildYAxes(bool printAll);
    void RebuildLapMarkerRegions();
    // Whether the paper shows every axis on the left: printing, with the container's
    // "PrintAllAxes".
    bool PrintsAllAxes(CChartDrawInfo& info);
    // Removes the y axes and their message chain.
    void DeleteYAxes();
    // The grid's lines into the scene; its two border lines, outside GraphRect, are drawn.
    void DrawGrid(CChartDrawInfo& info, CPlotScene& scene);
    void AddTicksGrid(CChartDrawInfo& info, CPlotScene& scene);
    // Lines of one axis on its ticks: horizontal ones between its top and bottom, vertical ones
    // at the x ticks. `xTicks` is null when the x axis gives none.
    void AddAxisGrid(CChartDrawInfo& info, CPlotScene& scene, CYAxisRegion& axis, bool active, const CAxisTicks* xTicks);
    bool HandleKeyDown(HWND window, UINT key);
    // `keys` are the modifier flags that came with the turn.
    bool HandleWheel(short delta, WORD keys);

private:
    // Keys of "=" and "-" on the main keyboard, looked up once.
    static SHORT PlusKey();
    static SHORT MinusKey();
};

class CRTCGraphRegion : public CGraphRegion
{
public:
    CRTCGraphRegion(CBaseChartCtl& owner, CTaskDataItem* task);

    void Draw(CChartDrawInfo& info) override;
    std::unique_ptr<CChannelRegion> CreateChannelRegion(CChannelDataItem* channel) override;
    std::unique_ptr<CXAxisRegion> CreateXAxisRegion() override;
    std::unique_ptr<CEventsRegion> CreateEventsRegion() override;
    void BeginZoomDrag() override;
    void BeginScrollDrag() override;
    void BeginCursorDrag() override;
    void BeginMouseAutoScroll() override;
    bool OnSetCursor(const POINT& screenPoint) override;

    // The last text of the control mode.
    CBstr ModeText;

private:
    // The task has a selection and the chart does not run: the interaction may go on.
    bool MayInteract();
    // The mode text in the corner left of the cursor's label.
    void DrawModeText(CChartDrawInfo& info);
};
