#include "regions/GraphRegion.h"
#include <algorithm>
#include "control/BaseChartCtl.h"
#include "control/ChartDrawInfo.h"
#include "items/ChannelDataItem.h"
#include "items/DataSelectionDataItem.h"
#include "items/ItemFlags.h"
#include "items/RTCTaskDataItem.h"
#include "regions/ChannelRegion.h"
#include "regions/EventsRegion.h"
#include "regions/LapMarkersRegion.h"
#include "regions/ScrollbarRegion.h"
#include "regions/XAxisRegion.h"
#include "regions/YAxisRegion.h"

namespace {

// The channels of the task's ordering, in order; none without a task.
std::vector<CChannelDataItem*> OrderedChannels(CTaskDataItem* task)
{
    CChannelOrdering* ordering = task ? task->GetOrdering() : nullptr;
    return ordering ? ordering->GetItems() : std::vector<CChannelDataItem*>{};
}

} // namespace

CGraphRegion::CGraphRegion(CBaseChartCtl& owner, CTaskDataItem* task)
    : CChartRegionBase(owner.WindowRef), CursorDrag(*this), ZoomDrag(*this), ScrollDrag(*this),
      MouseAutoScroll(*this), KeyboardAutoScroll(*this), SegmentsSplits(owner.WindowRef), Task(task), Owner(owner),
      OffsetMode(owner.WindowRef)
{
    DirtyBits = DirtyAll;
    EditCursor = LoadCursorW(nullptr, IDC_SIZEALL);
    if (Task) Task->AddListener(this);
    CreateChildren();
}

CGraphRegion::~CGraphRegion()
{
    // The children leave their items before the graph leaves the task.
    DeleteYAxes();
    ChannelRegions.clear();
    LapMarkerRegions.clear();
    XAxis.reset();
    Events.reset();
    HorizontalScrollbar.reset();
    VerticalScrollbar.reset();
    if (Task) Task->RemoveListener(this);
}

void CGraphRegion::CreateChildren()
{
    XAxis = CreateXAxisRegion();
    Events = CreateEventsRegion();
    HorizontalScrollbar = CreateScrollbarRegion(TRUE);
    VerticalScrollbar = CreateScrollbarRegion(FALSE);
}

BOOL CGraphRegion::GetWidthLimits(CChartDrawInfo& info, int& minimum, int& maximum)
{
    minimum = GetDeviceCaps(info.hdcRef, LOGPIXELSX) / 8;
    maximum = -1;
    return TRUE;
}

// --- what the graph makes ---

std::unique_ptr<CChannelRegion> CGraphRegion::CreateChannelRegion(CChannelDataItem* channel)
{
    return std::make_unique<CChannelRegion>(channel, *this);
}

std::unique_ptr<CYAxisRegion> CGraphRegion::CreateYAxisRegion(BOOL hideMarks, int side, CChannelDataItem* channel)
{
    return std::make_unique<CYAxisRegion>(WindowRef, hideMarks, side, Task, channel, *this);
}

std::unique_ptr<CLapMarkersRegion> CGraphRegion::CreateLapMarkersRegion(CDataSelectionDataItem* selection)
{
    return std::make_unique<CLapMarkersRegion>(WindowRef, selection, selection ? selection->GetLapMarkers() : nullptr);
}

std::unique_ptr<CScrollbarRegion> CGraphRegion::CreateScrollbarRegion(BOOL horizontal)
{
    return std::make_unique<CScrollbarRegion>(WindowRef, *this, horizontal);
}

std::unique_ptr<CXAxisRegion> CGraphRegion::CreateXAxisRegion()
{
    return std::make_unique<CXAxisRegion>(*this, Task);
}

std::unique_ptr<CEventsRegion> CGraphRegion::CreateEventsRegion()
{
    return std::make_unique<CEventsRegion>(WindowRef, *this);
}

// --- changes ---

void CGraphRegion::OnDataItemChanged(CDataItemBase* item, DWORD flags)
{
    if (flags & 0x7FFFFFFF) Invalidate();
    if ((flags & TaskCursorStale) && Task && item == Task) {
        // With a centred cursor the whole picture moves, and a full paint comes anyway, unless
        // the view stands at the start or the end of the data.
        bool atEdge = true;
        if (Task->IsCursorCentred()) {
            if (Task->IsDistanceMode()) {
                double minimum = 0.0, maximum = 0.0;
                Task->GetDistanceRange(minimum, maximum);
                atEdge = minimum == 0.0 || maximum == Task->GetFullDistanceSpan();
            } else {
                qvx::time minimum = 0, maximum = 0;
                Task->GetTimeRange(minimum, maximum);
                atEdge = minimum == 0 || maximum == Task->GetFullTimeSpan();
            }
        }
        if (atEdge) RedrawCursors();
    }
    if (flags & TaskOrderChanged) DirtyBits |= DirtyChannelRegions | DirtyYAxes;
    // A vertical zoom maps every value anew: the traces are built again. A moved view keeps what a
    // shift by whole pixel columns fits, and the traces rebuild only when the mapping changed.
    if (flags & (TaskTimeRangeStale | TaskDistanceRangeStale | TaskYZoomChanged))
        for (auto& channel : ChannelRegions)
            for (auto& trace : channel->TraceRegions) {
                if (flags & TaskYZoomChanged) trace->ClearPoints();
                else trace->OnViewChanged();
            }
    if (flags & TaskSelectionsStale) DirtyBits |= DirtyLapMarkerRegions;
}

void CGraphRegion::OnDataItemRemoved(CDataItemBase* item)
{
    CChartRegionBase::OnDataItemRemoved(item);
    if (item == Task) Task = nullptr;
}

// --- rebuilding ---

void CGraphRegion::RebuildChannelRegions()
{
    ChannelRegions.clear();
    for (CChannelDataItem* channel : OrderedChannels(Task)) ChannelRegions.push_back(CreateChannelRegion(channel));
}

void CGraphRegion::RebuildLapMarkerRegions()
{
    LapMarkerRegions.clear();
    if (!Task) return;
    for (CDataSelectionDataItem* selection : Task->GetSelections())
        LapMarkerRegions.push_back(CreateLapMarkersRegion(selection));
}

void CGraphRegion::DeleteYAxes()
{
    // Each axis holds the next in its chain: the chain goes first, then the axes.
    MessageChain.RemoveChainEntry(FirstAxisId);
    ActiveYAxis.reset();
    YAxes.clear();
}

bool CGraphRegion::PrintsAllAxes(CChartDrawInfo& info)
{
    return IsPrinting(info.hdcRef) && Owner.GetPrintAllAxes();
}

void CGraphRegion::RebuildYAxes(bool printAll)
{
    DeleteYAxes();
    CMessageMap* last = nullptr;
    const auto enter = [&](CYAxisRegion& axis) {
        if (last) static_cast<CYAxisRegion*>(last)->NextAxisChain.SetChainEntry(NextAxisId, &axis);
        else MessageChain.SetChainEntry(FirstAxisId, &axis);
        last = &axis;
    };
    const std::vector<CChannelDataItem*> channels = OrderedChannels(Task);
    if (!Tiled) {
        if (ShowActiveYAxis && !printAll) {
            ActiveYAxis = CreateYAxisRegion(FALSE, SideLeft, nullptr);
            ActiveYAxis->Invalidate();
            enter(*ActiveYAxis);
        }
        for (CChannelDataItem* channel : channels) {
            const int position = printAll ? 1 : channel->GetAuxiliaryAxis();
            const int side = position == 1 ? SideLeft : position == 2 ? SideRight : SideNone;
            YAxes.push_back(CreateYAxisRegion(FALSE, side, channel));
            enter(*YAxes.back());
        }
    } else {
        for (CChannelDataItem* channel : channels) {
            YAxes.push_back(CreateYAxisRegion(!ShowYAxisMarksWhenTiled, ShowActiveYAxis ? SideLeft : SideNone, channel));
            enter(*YAxes.back());
        }
    }
}

// --- layout ---

void CGraphRegion::Recalculate(CChartDrawInfo& info)
{
    const bool printAll = PrintsAllAxes(info);
    if (DirtyBits & DirtyChannelRegions) RebuildChannelRegions();
    if (DirtyBits & DirtyYAxes) RebuildYAxes(printAll);
    if (DirtyBits & DirtyLapMarkerRegions) RebuildLapMarkerRegions();

    const TEXTMETRICW metrics = info.GetNormalMetrics();
    const int dpiX = GetDeviceCaps(info.hdcRef, LOGPIXELSX);
    const int dpiY = GetDeviceCaps(info.hdcRef, LOGPIXELSY);
    const int tmH = metrics.tmHeight;

    GraphRect = Bounds;
    const int margin = dpiY / 16;
    GraphRect.top += margin;
    GraphRect.right -= margin;
    GraphRect.left += margin;

    RECT xAxisRect = GraphRect;
    xAxisRect.top = xAxisRect.bottom - (2 * tmH + dpiY * 6 / 72);
    GraphRect.bottom = xAxisRect.top - 1;

    int barHeight = 0, barWidth = 0, unused = 0;
    HorizontalScrollbar->GetHeightLimits(info, barHeight, unused);
    VerticalScrollbar->GetWidthLimits(info, barWidth, unused);
    RECT verticalBar = GraphRect;
    verticalBar.left = verticalBar.right - barWidth;
    RECT horizontalBar = GraphRect;
    horizontalBar.bottom = std::min<LONG>(horizontalBar.top + barHeight, xAxisRect.top - 1);
    GraphRect.top = horizontalBar.bottom + 1;
    GraphRect.right = verticalBar.left - 1;
    verticalBar.top = GraphRect.top;
    horizontalBar.right = GraphRect.right;

    RECT strip = GraphRect;
    if (ShowSegmentsBars) {
        GraphRect.top += 3 * dpiY / 20 + 2;
        if (SegmentsSplits.ShowSegmentNames) GraphRect.top += tmH;
        if (SegmentsSplits.ShowSplits) GraphRect.top += dpiY / 10;
        strip.bottom = GraphRect.top - 1;
    }

    // The column of each channel's axis, and the widest, which the active axis takes.
    std::vector<int> widths;
    int widest = tmH + dpiX / 16 + dpiX * 6 / 72 + 2 * metrics.tmAveCharWidth;
    for (auto& region : ChannelRegions) {
        widths.push_back(CYAxisRegion::YAxisWidth(info, *region));
        widest = std::max(widest, widths.back());
    }
    const auto positionOf = [&](CChannelRegion& region) {
        if (printAll) return 1;
        return region.Channel ? static_cast<int>(region.Channel->GetAuxiliaryAxis()) : 0;
    };

    const int firstLeft = GraphRect.left;
    int left = GraphRect.left;
    int right = GraphRect.right;
    const int outerRight = right;
    const bool activeAxis = ShowActiveYAxis && (Tiled || !printAll);
    if (!Tiled) {
        size_t i = 0;
        for (auto& region : ChannelRegions) {
            const int position = positionOf(*region);
            if (position == 1) left += widths[i] + 1;
            else if (position == 2) right -= widths[i] + 1;
            ++i;
        }
    }
    if (activeAxis) left += widest + 1;
    GraphRect.left = left + 1;
    GraphRect.right = right;
    // Too narrow: the axes' column ends at the graph's right and starts no later.
    if (left > right) left = right;
    xAxisRect.left = horizontalBar.left = strip.left = GraphRect.left;
    xAxisRect.right = horizontalBar.right = strip.right = GraphRect.right;

    XAxis->SetBounds(xAxisRect);
    Events->SetBounds(xAxisRect);
    OffsetMode.SetBounds(Bounds);
    OffsetMode.GraphRect = GraphRect;
    SegmentsSplits.SetBounds(ShowSegmentsBars ? strip : RECT{});
    HorizontalScrollbar->SetBounds(horizontalBar);
    VerticalScrollbar->SetBounds(verticalBar);
    for (auto& region : LapMarkerRegions) region->SetBounds(GraphRect);

    if (Task) Task->SetPlotWidth(GraphRect.right - GraphRect.left);

    if (!Tiled) {
        // From the inside out: the active axis next to the graph, then the channels' axes from
        // the last to the first, each side on its own.
        int leftEdge = left;
        int rightEdge = outerRight;
        const auto column = [&](int rightSide, int width) {
            return RECT{rightSide - width, GraphRect.top, rightSide, GraphRect.bottom};
        };
        if (ActiveYAxis) {
            const RECT box = column(leftEdge, widest);
            ActiveYAxis->SetBounds(box);
            ActiveYAxis->TextClip = box;
            leftEdge = box.left - 1;
        }
        auto axis = YAxes.rbegin();
        size_t i = ChannelRegions.size();
        for (auto region = ChannelRegions.rbegin(); region != ChannelRegions.rend(); ++region) {
            --i;
            if (axis == YAxes.rend()) break;
            CYAxisRegion& y = **axis++;
            const int position = positionOf(**region);
            if (position == 1) {
                const RECT box = column(leftEdge, widths[i]);
                y.SetBounds(box);
                y.TextClip = box;
                leftEdge = box.left - 1;
            } else if (position == 2) {
                const RECT box{rightEdge - widths[i], GraphRect.top, rightEdge, GraphRect.bottom};
                y.SetBounds(box);
                y.TextClip = box;
                rightEdge = box.left - 1;
            } else {
                // Not painted, but it has a place for what it is asked.
                y.SetBounds(column(leftEdge, widths[i]));
                y.TextClip = RECT{};
            }
        }
        for (auto& region : ChannelRegions) region->SetBounds(GraphRect);
    } else {
        const size_t count = ChannelRegions.size();
        const double height = GraphRect.bottom - GraphRect.top;
        int top = GraphRect.top;
        size_t i = 1;
        auto axis = YAxes.begin();
        for (auto& region : ChannelRegions) {
            const int bottom = static_cast<int>(static_cast<double>(i) / count * height + GraphRect.top);
            region->SetBounds(RECT{GraphRect.left, top, GraphRect.right, bottom});
            if (axis != YAxes.end()) {
                CYAxisRegion& y = **axis++;
                y.SetBounds(RECT{firstLeft, top, left, bottom});
                y.TextClip = RECT{firstLeft, GraphRect.top, left, GraphRect.bottom};
            }
            top = bottom + 1;
            ++i;
        }
    }
    DirtyBits = 0;
}

// --- what the others use ---

CChannelRegion* CGraphRegion::GetActiveChannelRegion()
{
    if (!Task) return nullptr;
    if (DirtyBits & DirtyChannelRegions) {
        RebuildChannelRegions();
        DirtyBits &= ~DirtyChannelRegions;
    }
    CChannelDataItem* active = Task->GetActiveChannel();
    for (auto& region : ChannelRegions)
        if (active && region->Channel == active) return region.get();
    return nullptr;
}

qvx::time CGraphRegion::PixelToTime(int x)
{
    qvx::time minimum = 0, maximum = 0;
    if (Task) Task->GetTimeRange(minimum, maximum);
    const qvx::time width = GraphRect.right - GraphRect.left;
    if (width == 0) return minimum;
    return minimum + (x - GraphRect.left) * (maximum - minimum) / width;
}

double CGraphRegion::PixelToDistance(int x)
{
    if (!Task || !Task->GetActiveSelection()) return 0.0;
    double minimum = 0.0, maximum = 0.0;
    Task->GetDistanceRange(minimum, maximum);
    if (GraphRect.right == GraphRect.left) return minimum;
    return static_cast<double>(x - GraphRect.left) * (maximum - minimum) / (GraphRect.right - GraphRect.left) + minimum;
}

void CGraphRegion::ZoomToRectangle(const RECT& rect)
{
    if (!Task) return;
    const CYZoom zoom = Task->GetYZoom();
    const double height = GraphRect.bottom - GraphRect.top;
    if (height > 0) {
        const double high = ((GraphRect.bottom - rect.top) / height) * (zoom.High - zoom.Low) + zoom.Low;
        const double low = ((GraphRect.bottom - rect.bottom) / height) * (zoom.High - zoom.Low) + zoom.Low;
        // Pushing raises the task's vertical zoom change.
        if (high > low) Task->PushYZoom(CYZoom{low, high});
    }
    if (Task->IsDistanceMode()) Task->PushDistanceZoom(PixelToDistance(rect.left), PixelToDistance(rect.right));
    else Task->PushTimeZoom(PixelToTime(rect.left), PixelToTime(rect.right));
}

void CGraphRegion::ZoomInAtCursor()
{
    if (!Task) return;
    const int middle = (GraphRect.right - GraphRect.left) * 50 / 100 + GraphRect.left;
    if (Task->IsDistanceMode()) {
        // TODO: the cursor's distance shifts the pair once selections know their distance channel.
        Task->PushDistanceZoom(PixelToDistance(GraphRect.left), PixelToDistance(middle));
    } else {
        const qvx::time a = PixelToTime(GraphRect.left);
        const qvx::time b = PixelToTime(middle);
        const qvx::time shift = (a + b) / 2 - Task->GetCursorTime();
        Task->PushTimeZoom(a - shift, b - shift);
    }
    static_cast<CChartOwner&>(Owner).MarkModified();
}

void CGraphRegion::DrawTracesForOffset(HDC dc, BOOL normalColour, BOOL activeChannelOnly)
{
    POINT origin{};
    OffsetWindowOrgEx(dc, GraphRect.left, GraphRect.top, &origin);
    {
        CChartDrawInfo info(dc, dc, Owner, PointSize);
        if (activeChannelOnly) {
            if (CChannelRegion* active = GetActiveChannelRegion()) active->DrawActiveSelectionTrace(info, normalColour);
        } else {
            for (auto& region : ChannelRegions) region->DrawActiveSelectionTrace(info, normalColour);
        }
    }
    SetWindowOrgEx(dc, origin.x, origin.y, nullptr);
}

void CGraphRegion::SetTiled(BOOL tiled)
{
    tiled = tiled ? TRUE : FALSE;
    if (tiled == Tiled) return;
    Tiled = tiled;
    if (Tiled && Task && !(Task->GetYZoom() == CYZoom{0.0, 1.0})) {
        Task->ClearYZoom();
        Task->UndoAllZooms();
    }
    // Tiling ignores the bands: every channel tells its scale again.
    for (auto& region : ChannelRegions) region->DirtyBits |= CChannelRegion::DirtyChannelScale;
    DirtyBits |= DirtyYAxes;
    Invalidate();
}

void CGraphRegion::SetTraceStyle(int style)
{
    if (style == TraceStyle) return;
    TraceStyle = style;
    for (auto& region : ChannelRegions) region->DirtyBits |= CChannelRegion::DirtyTraceRegions;
    Invalidate();
}

// --- the real-time graph ---

CRTCGraphRegion::CRTCGraphRegion(CBaseChartCtl& owner, CTaskDataItem* task) : CGraphRegion(owner, task)
{
    // The base constructor made the base kinds; the real-time graph shows its own.
    CreateChildren();
}

std::unique_ptr<CChannelRegion> CRTCGraphRegion::CreateChannelRegion(CChannelDataItem* channel)
{
    return std::make_unique<CRTCChannelRegion>(channel, *this);
}

std::unique_ptr<CXAxisRegion> CRTCGraphRegion::CreateXAxisRegion()
{
    return std::make_unique<CRTCXAxisRegion>(*this, Task);
}

std::unique_ptr<CEventsRegion> CRTCGraphRegion::CreateEventsRegion()
{
    return std::make_unique<CRTCEventsRegion>(WindowRef, *this);
}
