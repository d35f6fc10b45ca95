#include "regions/PlotLayer.h"
#include <algorithm>
#include "control/ChartDrawInfo.h"
#include "regions/TraceRegion.h"

void CPlotScene::AddLine(LONG x0, LONG y0, LONG x1, LONG y1, COLORREF colour, int style)
{
    Items.push_back(CPlotItem{false, CPlotLine{x0, y0, x1, y1, colour, style}, CPlotTrace{}});
}

void CPlotScene::AddTrace(const CPlotTrace& trace)
{
    Items.push_back(CPlotItem{true, CPlotLine{}, trace});
}

void CPlotScene::Paint(HDC dc, const std::vector<CColumns>& columns) const
{
    // One pen for each run of lines alike: the grid's lines are many and share two. The pen
    // outlives the saved state, which selects the old one back first.
    CPenHandle pen;
    const CSavedDC saved(dc);
    COLORREF colour = 0;
    int style = -1;
    for (const CPlotItem& item : Items) {
        if (item.IsTrace) {
            const CPlotTrace& trace = item.Trace;
            trace.Region->PaintColumns(dc, trace.Colour, trace.Width, trace.Bounds, columns);
            continue;
        }
        const CPlotLine& line = item.Line;
        if (!pen || line.Colour != colour || line.Style != style) {
            CPenHandle next(CreatePen(line.Style, 0, line.Colour));
            SelectObject(dc, next);
            pen = std::move(next);
            colour = line.Colour;
            style = line.Style;
        }
        MoveToEx(dc, line.X0, line.Y0, nullptr);
        LineTo(dc, line.X1, line.Y1);
    }
}

void CPlotLayer::Reset()
{
    FreeBuffer(Dc, Bitmap, OldBitmap);
    Valid = false;
    Origin = 0;
    PendingCopy = false;
    Painted.clear();
}

void CPlotLayer::Paint(CChartDrawInfo& info, const RECT& rect, const CPlotScene& scene)
{
    const SIZE size{rect.right - rect.left + 1, rect.bottom - rect.top + 1};
    if (size.cx < 1 || size.cy < 1) return;
    if (!Dc || size.cx != Rect.right - Rect.left + 1 || size.cy != Rect.bottom - Rect.top + 1) {
        Reset();
        if (!MakeBuffer(info.hdcOut, size, Dc, Bitmap, OldBitmap)) {
            // No room for a layer: the scene goes straight to the target, on the background
            // that the root left out for the layer.
            const RECT area{rect.left, rect.top, rect.right + 1, rect.bottom + 1};
            FillRect(info.hdcOut, &area, info.BackBrush);
            scene.Paint(info.hdcOut);
            return;
        }
    }
    Drawn.clear();
    Rows.clear();
    Shift = 0;
    const bool kept = Valid && EqualRect(&rect, &Rect) && Back == info.BackColour && FindChanges(scene, rect, Shift);
    if (!kept) {
        Shift = 0;
        Origin = 0;
        Drawn.assign(1, CColumns{rect.left, rect.right});
    }
    // The layer is a ring: a shift moves where the picture starts, not its pixels. The plot's
    // first column stands at the bitmap's column Origin, and the columns that pass the bitmap's
    // right edge go on from its left.
    Origin = (Origin + Shift) % size.cx;
    const LONG wrap = rect.left + size.cx - Origin;
    DrawPart(info, rect, scene, Origin, rect.left, wrap - 1);
    if (Origin > 0) DrawPart(info, rect, scene, Origin - size.cx, wrap, rect.right);
    PendingCopy = true;

    for (const CPlotItem& item : scene.Items)
        if (item.IsTrace) item.Trace.Region->MarkPainted();
    Painted = scene.Items;
    Rect = rect;
    Back = info.BackColour;
    Valid = true;
}

void CPlotLayer::Flush(HDC dc)
{
    if (!PendingCopy) return;
    PendingCopy = false;
    const LONG width = Rect.right - Rect.left + 1, height = Rect.bottom - Rect.top + 1;
    const LONG wrap = Rect.left + width - Origin;
    BitBlt(dc, Rect.left, Rect.top, width - Origin, height, Dc, Origin, 0, SRCCOPY);
    if (Origin > 0) BitBlt(dc, wrap, Rect.top, Origin, height, Dc, 0, 0, SRCCOPY);
}

void CPlotLayer::DrawPart(CChartDrawInfo& info, const RECT& rect, const CPlotScene& scene, LONG offset, LONG from,
                          LONG to)
{
    // Everything to draw again in one clip: each trace then pays for one pen and one clip
    // however many places it is drawn in. Clip regions are in the bitmap's own units; a part
    // with nothing in it is not painted.
    CGdiObject<HRGN> area(CreateRectRgn(0, 0, 0, 0));
    bool any = false;
    const auto add = [&](LONG left, LONG top, LONG right, LONG bottom) {
        left = std::max(left, from);
        right = std::min(right, to + 1);
        if (left >= right) return;
        const LONG dx = offset - rect.left;
        CGdiObject<HRGN> part(CreateRectRgn(left + dx, top - rect.top, right + dx, bottom - rect.top));
        CombineRgn(area, area, part, RGN_OR);
        any = true;
    };
    for (const CColumns& columns : Drawn) add(columns.From, rect.top, columns.To + 1, rect.bottom + 1);
    for (const LONG row : Rows) add(rect.left, row, rect.right + 1, row + 1);
    if (!any) return;
    const CSavedDC saved(Dc);
    SetWindowOrgEx(Dc, rect.left - offset, rect.top, nullptr);
    SelectClipRgn(Dc, area);
    const RECT all{rect.left, rect.top, rect.right + 1, rect.bottom + 1};
    FillRect(Dc, &all, info.BackBrush);
    // A dotted row crosses every column: the traces are drawn whole.
    scene.Paint(Dc, Rows.empty() ? Drawn : AllColumns);
}

bool CPlotLayer::FindChanges(const CPlotScene& scene, const RECT& rect, LONG& shift)
{
    // Everything but the vertical lines must be as it was, item for item; the traces say how far
    // their points moved, and must all say the same. The lists are kept between paints, so
    // that a paint allocates nothing once they have grown.
    Columns.clear();
    StyledRows.clear();
    After.clear();
    Before.clear();
    bool shiftKnown = false;
    int widest = 0;
    auto old = Painted.begin();
    for (const CPlotItem& item : scene.Items) {
        if (!item.IsTrace && item.Line.Vertical()) {
            After.push_back({item.Line, After.size()});
            continue;
        }
        while (old != Painted.end() && !old->IsTrace && old->Line.Vertical()) ++old;
        if (old == Painted.end() || old->IsTrace != item.IsTrace) return false;
        const CPlotItem& was = *old++;
        if (!item.IsTrace) {
            if (!(was.Line == item.Line)) return false;
            // A dotted line's dots stand where it starts: moved with the picture they are wrong,
            // and its row is drawn again.
            if (item.Line.Style != PS_SOLID) {
                if (item.Line.Y0 != item.Line.Y1) return false;
                StyledRows.push_back(item.Line.Y0);
            }
            continue;
        }
        const CLineTraceRegion& trace = *item.Trace.Region;
        if (!(was.Trace == item.Trace) || trace.RebuiltSincePaint) return false;
        if (!(trace.PaintedEmpty && trace.GetPolylines().empty())) {
            if (shiftKnown && trace.ShiftedColumns != shift) return false;
            shift = trace.ShiftedColumns;
            shiftKnown = true;
        }
        if (trace.ChangedFrom != LONG_MAX) Columns.push_back({trace.ChangedFrom, trace.ChangedTo});
        widest = std::max(widest, item.Trace.Width);
    }
    for (; old != Painted.end(); ++old)
        if (old->IsTrace || !old->Line.Vertical()) return false;
    if (shift < 0 || shift > rect.right - rect.left) return false;

    // The columns that the moved picture lacks or has wrong. Where a trace changed, as far as
    // a wide pen reaches beside it.
    const LONG reach = widest / 2 + 1;
    for (CColumns& c : Columns) {
        c.From = c.From < LONG_MIN + reach ? LONG_MIN : c.From - reach;
        c.To = c.To > LONG_MAX - reach ? LONG_MAX : c.To + reach;
    }
    if (shift > 0) {
        Rows = StyledRows;
        // Those that came in on the right; and the first ones, as the points that left the
        // picture took the ends of their wide lines with them.
        Columns.push_back({rect.right - shift + 1, rect.right});
        Columns.push_back({rect.left, rect.left + reach});
    }
    // Those whose vertical lines are not the ones that stood there, in the order drawn.
    for (const CPlotItem& item : Painted) {
        if (item.IsTrace || !item.Line.Vertical()) continue;
        CPlotLine moved = item.Line;
        moved.X0 -= shift;
        moved.X1 -= shift;
        Before.push_back({moved, Before.size()});
    }
    const auto byColumn = [](const CPlacedLine& l, const CPlacedLine& r) {
        return l.Line.X0 != r.Line.X0 ? l.Line.X0 < r.Line.X0 : l.Order < r.Order;
    };
    std::sort(Before.begin(), Before.end(), byColumn);
    std::sort(After.begin(), After.end(), byColumn);
    const auto sameLine = [](const CPlacedLine& l, const CPlacedLine& r) { return l.Line == r.Line; };
    auto b = Before.begin(), a = After.begin();
    while (b != Before.end() || a != After.end()) {
        const LONG x = b == Before.end()   ? a->Line.X0
                       : a == After.end() ? b->Line.X0
                                          : std::min(a->Line.X0, b->Line.X0);
        const auto other = [x](const CPlacedLine& l) { return l.Line.X0 != x; };
        const auto bEnd = std::find_if(b, Before.end(), other);
        const auto aEnd = std::find_if(a, After.end(), other);
        if (!std::equal(b, bEnd, a, aEnd, sameLine)) Columns.push_back({x, x});
        b = bEnd;
        a = aEnd;
    }

    // Sorted, clipped to the layer and joined where they touch.
    std::sort(Columns.begin(), Columns.end(), [](const CColumns& l, const CColumns& r) { return l.From < r.From; });
    for (CColumns c : Columns) {
        c.From = std::max(c.From, rect.left);
        c.To = std::min(c.To, rect.right);
        if (c.From > c.To) continue;
        if (!Drawn.empty() && c.From <= Drawn.back().To + 1)
            Drawn.back().To = std::max(Drawn.back().To, c.To);
        else
            Drawn.push_back(c);
    }
    return true;
}
