#include "regions/PlotLayer.h"
#include <algorithm>
#include <map>
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
    SetWindowOrgEx(Dc, rect.left, rect.top, nullptr);

    Drawn.clear();
    Rows.clear();
    Shift = 0;
    const bool kept = Valid && EqualRect(&rect, &Rect) && Back == info.BackColour && FindChanges(scene, rect, Shift);
    if (!kept) {
        Shift = 0;
        Rows.clear();
        Drawn.assign(1, CColumns{rect.left, rect.right});
    } else if (Shift > 0) {
        BitBlt(Dc, rect.left, rect.top, size.cx - Shift, size.cy, Dc, rect.left + Shift, rect.top, SRCCOPY);
    }
    // Everything to draw again in one clip: each trace then pays for one pen and one clip
    // however many places it is drawn in.
    if (!Drawn.empty() || !Rows.empty()) {
        CGdiObject<HRGN> area(CreateRectRgn(0, 0, 0, 0));
        const auto add = [&](LONG left, LONG top, LONG right, LONG bottom) {
            CGdiObject<HRGN> part(CreateRectRgn(left - rect.left, top - rect.top, right - rect.left, bottom - rect.top));
            CombineRgn(area, area, part, RGN_OR);
        };
        for (const CColumns& columns : Drawn) add(columns.From, rect.top, columns.To + 1, rect.bottom + 1);
        for (const LONG row : Rows) add(rect.left, row, rect.right + 1, row + 1);
        const CSavedDC saved(Dc);
        // Clip regions are in device units, the layer's origin at rect's top left.
        SelectClipRgn(Dc, area);
        const RECT all{rect.left, rect.top, rect.right + 1, rect.bottom + 1};
        FillRect(Dc, &all, info.BackBrush);
        // A dotted row crosses every column: the traces are drawn whole.
        scene.Paint(Dc, Rows.empty() ? Drawn : AllColumns);
    }
    BitBlt(info.hdcOut, rect.left, rect.top, size.cx, size.cy, Dc, rect.left, rect.top, SRCCOPY);

    for (const CPlotItem& item : scene.Items)
        if (item.IsTrace) item.Trace.Region->MarkPainted();
    Painted = scene.Items;
    Rect = rect;
    Back = info.BackColour;
    Valid = true;
}

bool CPlotLayer::FindChanges(const CPlotScene& scene, const RECT& rect, LONG& shift)
{
    // Everything but the vertical lines must be as it was, item for item; the traces say how far
    // their points moved, and must all say the same.
    std::map<LONG, std::vector<CPlotLine>> before, after;
    bool shiftKnown = false;
    std::vector<CColumns> columns;
    std::vector<LONG> styledRows;
    int widest = 0;
    auto old = Painted.begin();
    for (const CPlotItem& item : scene.Items) {
        if (!item.IsTrace && item.Line.Vertical()) {
            after[item.Line.X0].push_back(item.Line);
            continue;
        }
        while (old != Painted.end() && !old->IsTrace && old->Line.Vertical()) ++old;
        if (old == Painted.end() || old->IsTrace != item.IsTrace) return false;
        const CPlotItem& was = *old++;
        if (!item.IsTrace) {
            if (!(was.Line == item.Line)) return false;
            // A dotted line's dots stand where it starts: moved with the picture they are wrong,
            // and its row is drawn again.
            if (item.Line.Style != PS_SOLID) styledRows.push_back(item.Line.Y0);
            if (item.Line.Style != PS_SOLID && item.Line.Y0 != item.Line.Y1) return false;
            continue;
        }
        const CLineTraceRegion& trace = *item.Trace.Region;
        if (!(was.Trace == item.Trace) || trace.RebuiltSincePaint) return false;
        if (!(trace.PaintedEmpty && trace.GetPolylines().empty())) {
            if (shiftKnown && trace.ShiftedColumns != shift) return false;
            shift = trace.ShiftedColumns;
            shiftKnown = true;
        }
        if (trace.ChangedFrom != LONG_MAX) columns.push_back({trace.ChangedFrom, trace.ChangedTo});
        widest = std::max(widest, item.Trace.Width);
    }
    for (; old != Painted.end(); ++old)
        if (old->IsTrace || !old->Line.Vertical()) return false;
    if (shift < 0 || shift > rect.right - rect.left) return false;

    // The columns that the moved picture lacks or has wrong: those that came in on the right,
    // those right of where a trace changed (and as far left as its pen reaches), and those
    // whose vertical lines are not the ones that stood there.
    // A wide pen reaches half its width beside the columns its line changed in.
    const LONG reach = widest / 2 + 1;
    for (CColumns& c : columns) {
        c.From = c.From < LONG_MIN + reach ? LONG_MIN : c.From - reach;
        c.To = c.To > LONG_MAX - reach ? LONG_MAX : c.To + reach;
    }
    if (shift > 0) {
        Rows = styledRows;
        columns.push_back({rect.right - shift + 1, rect.right});
        // The points that left the picture took the ends of their wide lines with them.
        columns.push_back({rect.left, rect.left + reach});
    }
    for (const CPlotItem& item : Painted) {
        if (item.IsTrace || !item.Line.Vertical()) continue;
        CPlotLine moved = item.Line;
        moved.X0 -= shift;
        moved.X1 -= shift;
        before[moved.X0].push_back(moved);
    }
    for (const auto& [x, lines] : after) {
        const auto stood = before.find(x);
        if (stood == before.end() || stood->second != lines) columns.push_back({x, x});
    }
    for (const auto& [x, lines] : before)
        if (after.find(x) == after.end()) columns.push_back({x, x});

    // Sorted, clipped to the layer and joined where they touch.
    std::sort(columns.begin(), columns.end(), [](const CColumns& a, const CColumns& b) { return a.From < b.From; });
    for (CColumns c : columns) {
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
