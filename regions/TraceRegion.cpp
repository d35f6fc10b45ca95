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

void CTraceRegion::DrawWithColour(CChartDrawInfo& info, COLORREF colour)
{
    if (!Trace || !Trace->Visible) return;
    Colour = colour == TraceOwnColour ? Trace->GetColor() : colour;
    if (!Trace->FlashOn) Colour = ~Colour & 0xFFFFFF;
    Draw(info);
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
    Folder.Clear();
    BuiltStart = 0;
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

void CLineTraceRegion::Draw(CChartDrawInfo& info)
{
    if (DirtyBits != 0) Recalculate(info);
    if (NeedBuild) {
        BuildPolylines();
        NeedBuild = FALSE;
    }
    PaintPolylines(info);
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
    return true;
}

qvx::time CLineTraceRegion::CMapping::X(qvx::time time) const noexcept
{
    // Whole columns from the view start, rounded down: a view moved by whole columns moves
    // every x by exactly as many, so shifted and rebuilt points agree.
    const __int128 scaled = (__int128(time) - Start) * Width;
    __int128 columns = scaled / Span;
    if (scaled % Span != 0 && scaled < 0) --columns;
    columns += Left;
    return columns > INT64_MAX ? INT64_MAX : columns < INT64_MIN ? INT64_MIN : qvx::time(columns);
}

void CLineTraceRegion::FitToView(const CMapping& m)
{
    if (BuiltSpan == 0) return;
    if (m.Span != BuiltSpan) {
        ClearPoints();
        return;
    }
    const qvx::time delta = m.Start - BuiltStart;
    if (delta == 0) return;
    const __int128 scaled = __int128(delta) * m.Width;
    if (delta < 0 || scaled % m.Span != 0 || scaled / m.Span >= m.Width) {
        ClearPoints();
        return;
    }
    // The line into the left edge starts one column outside it.
    Folder.ShiftLeft(std::int32_t(scaled / m.Span), m.Left - 1);
    BuiltStart = m.Start;
}

bool CLineTraceRegion::Feed(CRecordWalker& walker, const CMapping& m, qvx::time after, qvx::time limit)
{
    return walker.WithTimes([&](auto timeOf) {
        for (LONG i = walker.First; i < walker.Count; ++i) {
            const qvx::time time = timeOf(i);
            if (time <= after) continue;
            AddSample(time, double(m.X(time)), m.A * walker.Values[i] + m.B);
            ReadTime = time;
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
        BuiltStart = m.Start;
        BuiltSpan = m.Span;
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

void CLineTraceRegion::PaintPolylines(CChartDrawInfo& info)
{
    if (Folder.Polylines.empty()) return;
    HDC dc = info.hdcOut;
    const CSavedDC saved(dc);
    IntersectClipRect(dc, Bounds.left, Bounds.top, DataRight + 1, Bounds.bottom + 1);
    // PointSize is in tenths of a point; 0 is the device's thinnest line.
    const int width = int(info.PointSize / 10.0 * GetDeviceCaps(info.hdcRef, LOGPIXELSY) / 72.0);
    CPenHandle pen(CreatePen(PS_SOLID, width, Colour));
    const CSelection selected(dc, pen);
    for (const TracePolyline& record : Folder.Polylines) {
        const auto& points = record.Points;
        if (points.size() == 1) {
            SetPixelV(dc, points[0].X, points[0].Y, Colour);
            continue;
        }
        const int count = int(points.size()) - record.FirstVisible;
        if (count >= 2) Polyline(dc, reinterpret_cast<const POINT*>(points.data() + record.FirstVisible), count);
    }
}
