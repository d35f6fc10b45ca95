#include "regions/TraceRegion.h"
#include <algorithm>
#include <cstddef>
#include "control/ChartDrawInfo.h"
#include "control/GdiHandle.h"
#include "items/ChannelDataItem.h"
#include "items/DataSelectionDataItem.h"
#include "items/ItemFlags.h"
#include "items/TaskDataItem.h"
#include "items/TraceDataItem.h"
#include "regions/PlotLayer.h"
#include "scales/ValueToPixel.h"
#include "statistics/RecordWalker.h"

static_assert(sizeof(TracePoint) == sizeof(POINT) && offsetof(TracePoint, Y) == offsetof(POINT, y),
              "stored points go to Polyline as they are");

namespace {

// The host's search for the last sample before a time, with the option of the trace regions.
constexpr LONG LastBefore = 1;
constexpr LONG SearchOption = 0;

qvx::time TickAfter(qvx::time t) noexcept { return t == INT64_MAX ? t : t + 1; }

} // namespace

CTraceRegion::CTraceRegion(const HWND* windowRef, CTraceDataItem* trace)
    : CChartRegionBase(windowRef), Trace(trace), Channel(trace ? trace->GetChannel() : nullptr),
      Selection(trace ? trace->GetSelection() : nullptr), Task(Channel ? Channel->GetTask() : nullptr)
{
    for (CDataItemBase* item : {static_cast<CDataItemBase*>(Trace), static_cast<CDataItemBase*>(Channel),
                                static_cast<CDataItemBase*>(Selection), static_cast<CDataItemBase*>(Task)})
        if (item) item->AddListener(this);
}

CTraceRegion::~CTraceRegion()
{
    for (CDataItemBase* item : {static_cast<CDataItemBase*>(Trace), static_cast<CDataItemBase*>(Channel),
                                static_cast<CDataItemBase*>(Selection), static_cast<CDataItemBase*>(Task)})
        if (item) item->RemoveListener(this);
}

void CTraceRegion::OnDataChanged()
{
    ClearPoints();
    Invalidate();
}

void CTraceRegion::OnViewChanged()
{
    ClearPoints();
}

void CTraceRegion::OnScaleChanged()
{
    if (!Channel) return;
    const double minimum = Channel->ToDisplayUnit(Channel->GetScaleMinimum(1));
    const double maximum = Channel->ToDisplayUnit(Channel->GetScaleMaximum(1));
    if (minimum != LastScaleMinimum || maximum != LastScaleMaximum) ClearPoints();
    LastScaleMinimum = minimum;
    LastScaleMaximum = maximum;
}

bool CTraceRegion::TakeColour(COLORREF colour)
{
    if (!Trace || !Trace->Visible) return false;
    Colour = colour == TraceOwnColour ? Trace->GetColor() : colour;
    if (!Trace->FlashOn) Colour = ~Colour & 0xFFFFFF;
    return true;
}

void CTraceRegion::DrawWithColour(CChartDrawInfo& info, COLORREF colour)
{
    if (TakeColour(colour)) Draw(info);
}

void CTraceRegion::AddToScene(CChartDrawInfo& info, COLORREF colour, CPlotScene& scene)
{
    if (TakeColour(colour)) AddBuiltToScene(info, scene);
}

void CTraceRegion::OnDataItemChanged(CDataItemBase* item, DWORD flags)
{
    if (!Attached()) return;
    const bool samples = item == Trace && (flags & (TraceDataStale | TraceDistanceChanged));
    const bool liveWindow = item == Task && (flags & TaskLiveRangeStale);
    if (samples || liveWindow) {
        ViewMoved = liveWindow;
        OnDataChanged();
        return;
    }
    if (flags & 0x7FFFFFFF) Invalidate();
    if (item == Channel) {
        if (flags & ChannelRangeStale) DirtyBits |= DirtyScale;
        if (flags & ChannelUnitStale) DirtyBits |= DirtyUnit;
    }
    if (item == Selection && (flags & SelectionTimesChanged)) DirtyBits |= DirtyViewOrigin;
}

void CTraceRegion::OnDataItemRemoved(CDataItemBase* item)
{
    CChartRegionBase::OnDataItemRemoved(item);
    if (item == Trace) Trace = nullptr;
    if (item == Channel) Channel = nullptr;
    if (item == Selection) Selection = nullptr;
    if (item == Task) Task = nullptr;
}

void CTraceRegion::Recalculate(CChartDrawInfo&)
{
    if (DirtyBits & DirtyBounds) ClearPoints();
    if (DirtyBits & DirtyScale) OnScaleChanged();
    if (DirtyBits & DirtyUnit) ClearPoints();
    // The selection's start moves the view like a scroll does.
    if (DirtyBits & DirtyViewOrigin) OnViewChanged();
    // Distances come with the distance items; until then the bit waits for distance mode.
    DirtyBits &= DirtyDistanceSource;
}

CLineTraceRegion::CLineTraceRegion(const HWND* windowRef, CTraceDataItem* trace) : CTraceRegion(windowRef, trace) {}

void CLineTraceRegion::ClearPoints()
{
    RebuiltSincePaint = true;
    Folder.Clear();
    BuiltColumn = 0;
    BuiltSpan = 0;
    NeedBuild = TRUE;
}

void CLineTraceRegion::OnViewChanged()
{
    NeedBuild = TRUE;
}

void CLineTraceRegion::OnDataChanged()
{
    NeedBuild = TRUE;
    // Samples already read may have changed: they are read again.
    if (!ViewMoved && BuiltSpan != 0 && Trace && Trace->GetChangedFrom() <= ReadTime) ClearPoints();
    HWND window = WindowRef ? *WindowRef : nullptr;
    if (!window || !IsWindow(window)) return;
    // New samples repaint right of the last point; a moved view repaints everything.
    RECT area = Bounds;
    if (!ViewMoved && !Folder.Polylines.empty()) area.left = std::max<LONG>(area.left, Folder.Polylines.back().Points.back().X);
    ++area.right;
    ++area.bottom;
    InvalidateRect(window, &area, FALSE);
}

void CLineTraceRegion::Prepare(CChartDrawInfo& info)
{
    if (DirtyBits != 0) Recalculate(info);
    if (NeedBuild) {
        BuildPolylines();
        NeedBuild = FALSE;
    }
}

void CLineTraceRegion::Draw(CChartDrawInfo& info)
{
    Prepare(info);
    PaintPolylines(info);
}

void CLineTraceRegion::AddBuiltToScene(CChartDrawInfo& info, CPlotScene& scene)
{
    Prepare(info);
    scene.AddTrace(CPlotTrace{this, Colour, PenWidth(info), Bounds});
}

void CLineTraceRegion::MarkPainted()
{
    RebuiltSincePaint = false;
    ShiftedColumns = 0;
    ChangedFrom = LONG_MAX;
    ChangedTo = LONG_MIN;
    PaintedEmpty = Folder.Polylines.empty();
}

bool CLineTraceRegion::GetMapping(CMapping& m)
{
    // Traces against distance come with the distance items.
    if (!Attached() || Task->IsDistanceMode()) return false;
    qvx::time minimum = 0, maximum = 0;
    Task->GetTimeRange(minimum, maximum);
    m.Span = maximum - minimum;
    m.Width = Bounds.right - Bounds.left;
    if (m.Span < 1 || m.Width < 1) return false;
    m.Start = minimum + Selection->GetStartTime();
    m.End = maximum + Selection->GetStartTime();
    m.Left = Bounds.left;
    const double lo = Channel->GetScaleMinimum(1), hi = Channel->GetScaleMaximum(1);
    // Equal ends, or the channel's mark of no scale (an inverted pair), draw nothing.
    if (!(hi > lo)) return false;
    m.A = double(Bounds.top - Bounds.bottom) / (hi - lo);
    m.B = (double(Bounds.bottom) * hi - double(Bounds.top) * lo) / (hi - lo);
    // Rounded down, also before time 0.
    const __int128 scaled = __int128(m.Start) * m.Width;
    m.Column = FloorDivide<__int128>(scaled, m.Span);
    m.Offset = qvx::time(scaled - m.Column * m.Span);
    return true;
}

qvx::time CLineTraceRegion::CMapping::X(qvx::time time) const noexcept
{
    // The time's column on the grid from time 0, counted from the view start's, rounded down:
    // wherever the view moves, every x moves by the same whole number of columns, so shifted
    // and rebuilt points agree. Any time of a recording fits in 64 bits, which divide several
    // times faster; times far off take the wide way.
    std::int64_t delta, product, result;
    if (!__builtin_sub_overflow(time, Start, &delta) && !__builtin_mul_overflow(delta, std::int64_t(Width), &product) &&
        !__builtin_add_overflow(product, Offset, &product)) {
        if (!__builtin_add_overflow(FloorDivide<std::int64_t>(product, Span), std::int64_t(Left), &result))
            return result;
    }
    const __int128 columns = FloorDivide<__int128>((__int128(time) - Start) * Width + Offset, Span) + Left;
    return columns > INT64_MAX ? INT64_MAX : columns < INT64_MIN ? INT64_MIN : qvx::time(columns);
}

void CLineTraceRegion::FitToView(const CMapping& m)
{
    if (BuiltSpan == 0) return;
    if (m.Span != BuiltSpan) {
        ClearPoints();
        return;
    }
    const __int128 moved = m.Column - BuiltColumn;
    if (moved == 0) return;
    if (moved < 0 || moved >= m.Width) {
        ClearPoints();
        return;
    }
    // The line into the left edge starts one column outside it.
    const auto columns = std::int32_t(moved);
    Folder.ShiftLeft(columns, m.Left - 1);
    BuiltColumn = m.Column;
    ShiftedColumns += columns;
    DataRight -= columns;
    if (ChangedFrom != LONG_MAX) {
        ChangedFrom = ChangedFrom < LONG_MIN + columns ? LONG_MIN : ChangedFrom - columns;
        ChangedTo -= columns;
    }
}

bool CLineTraceRegion::Feed(CRecordWalker& walker, const CMapping& m, qvx::time after, qvx::time limit)
{
    return walker.WithTimes([&](auto timeOf) {
        for (LONG i = walker.First; i < walker.Count; ++i) {
            const qvx::time time = timeOf(i);
            if (time <= after) continue;
            AddSample(time, double(m.X(time)), m.A * walker.Values[i] + m.B);
            ReadTime = time;
            ++SamplesRead;
            // The sample past the edge is taken, so that the line runs off the picture.
            if (time > limit) return false;
        }
        return true;
    });
}

void CLineTraceRegion::BuildPolylines()
{
    CMapping m;
    if (!GetMapping(m)) {
        ClearPoints();
        return;
    }
    FitToView(m);
    const CTail before = TakeTail();
    const LONG oldDataRight = DataRight;
    Fold(m);
    NoteChanges(before, oldDataRight);
}

CLineTraceRegion::CTail CLineTraceRegion::TakeTail() const noexcept
{
    CTail tail;
    tail.Records = Folder.Polylines.size();
    if (tail.Records == 0) return tail;
    const auto& points = Folder.Polylines.back().Points;
    tail.Points = points.size();
    tail.First = tail.Points > std::size(tail.Last) ? tail.Points - std::size(tail.Last) : 0;
    std::copy(points.begin() + std::ptrdiff_t(tail.First), points.end(), tail.Last);
    return tail;
}

void CLineTraceRegion::NoteChanges(const CTail& before, LONG oldDataRight) noexcept
{
    const auto& records = Folder.Polylines;
    LONG from = LONG_MAX;
    if (records.size() < before.Records || (before.Records == 0 && !records.empty())) {
        from = LONG_MIN;
    } else if (before.Records != 0) {
        // The first point of the old last record that the build took back or changed; the line
        // into it starts one point earlier.
        const auto& points = records[before.Records - 1].Points;
        std::size_t i = before.First;
        while (i < before.Points && i < points.size() && points[i] == before.Last[i - before.First]) ++i;
        const bool grew = points.size() > before.Points || records.size() > before.Records;
        if (i < before.Points || grew) {
            if (i == 0 || (i == before.First && i < before.Points))
                from = LONG_MIN; // changed further back than the tail shows
            else
                from = points[i - 1].X;
        }
    }
    if (DataRight != oldDataRight) from = std::min({from, DataRight, oldDataRight});
    if (from == LONG_MAX) return;
    // Nothing is painted right of where the data end, before or now.
    ChangedFrom = std::min(ChangedFrom, from);
    ChangedTo = std::max({ChangedTo, DataRight, oldDataRight});
}

void CLineTraceRegion::Fold(const CMapping& m)
{
    CComPtr<IQvxData> data = Trace->GetData();
    CComPtr<IQvxDataRecords> records;
    if (!data || FAILED(data->GetRecords(records.Out())) || !records) return;

    const qvx::time dataEnd = Selection->GetEndTime();
    const qvx::time limit = std::min(dataEnd, m.End);
    DataRight = dataEnd < m.End ? LONG(std::clamp<qvx::time>(m.X(dataEnd), -32768, 32767)) : Bounds.right;

    // Go on after the last sample read, or start from scratch one column left of the view, on
    // the last sample before that column.
    const bool resumed = Folder.Resume();
    qvx::time after = INT64_MIN, search = m.Start - m.Span / m.Width;
    if (resumed) {
        if (ReadTime > limit) {
            Folder.Finish();
            return;
        }
        after = search = ReadTime;
    } else {
        Folder.Clear();
        Folder.Begin();
        BuiltColumn = m.Column;
        BuiltSpan = m.Span;
        RebuiltSincePaint = true;
    }
    LONG number = 1, index = 0;
    if (data->LocateSample(TickAfter(search), LastBefore, SearchOption, &number, &index) != S_OK || index < 0) {
        number = 1;
        index = 0;
    }
    CRecordWalker walker;
    if (walker.Begin(records, number, index)) {
        // A resumed walk starts on a sample already read, whose break was taken then.
        bool first = resumed;
        for (;;) {
            const CRecordWalker::Status status = walker.Next();
            if (status == CRecordWalker::Ended || status == CRecordWalker::Failed) break;
            if (walker.BreakBefore && !first) Folder.Break();
            first = false;
            if (status == CRecordWalker::Unreadable) continue;
            if (!Feed(walker, m, after, limit)) break;
        }
    }
    Folder.Finish();
}

int CLineTraceRegion::PenWidth(CChartDrawInfo& info)
{
    // PointSize is in tenths of a point; 0 is the device's thinnest line.
    return int(info.PointSize / 10.0 * GetDeviceCaps(info.hdcRef, LOGPIXELSY) / 72.0);
}

void CLineTraceRegion::PaintPolylines(CChartDrawInfo& info)
{
    PaintColumns(info.hdcOut, Colour, PenWidth(info), Bounds, AllColumns);
}

void CLineTraceRegion::PaintColumns(HDC dc, COLORREF colour, int width, const RECT& bounds,
                                    const std::vector<CColumns>& columns) const
{
    if (Folder.Polylines.empty() || columns.empty()) return;
    const CSavedDC saved(dc);
    IntersectClipRect(dc, bounds.left, bounds.top, DataRight + 1, bounds.bottom + 1);
    CPenHandle pen(CreatePen(PS_SOLID, width, colour));
    const CSelection selected(dc, pen);
    // The points lie in column order. A line that reaches the columns starts on the point left of
    // them and ends on the one right of them; a wide pen reaches half its width further. A
    // segment drawn twice for two places draws the same pixels.
    const LONG reach = width / 2 + 1;
    const auto byX = [](const TracePoint& point, LONG x) { return point.X < x; };
    for (const CColumns& place : columns) {
        const LONG low = place.From < LONG_MIN + reach ? LONG_MIN : place.From - reach;
        const LONG high = place.To > LONG_MAX - reach - 1 ? LONG_MAX - 1 : place.To + reach;
        for (const TracePolyline& record : Folder.Polylines) {
            const auto& points = record.Points;
            if (points.size() == 1) {
                if (points[0].X >= low && points[0].X <= high) SetPixelV(dc, points[0].X, points[0].Y, colour);
                continue;
            }
            const auto begin = points.begin() + record.FirstVisible;
            if (points.end() - begin < 2 || begin->X > high || points.back().X < low) continue;
            auto first = std::lower_bound(begin, points.end(), low, byX);
            if (first != begin) --first;
            auto last = std::lower_bound(first, points.end(), high + 1, byX);
            if (last != points.end()) ++last;
            const auto count = int(last - first);
            if (count >= 2) Polyline(dc, reinterpret_cast<const POINT*>(&*first), count);
        }
    }
}
