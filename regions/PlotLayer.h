#pragma once
// What the graph paints inside GraphRect, laid out before anything is painted: the grid's lines,
// then every channel's alarm lines and traces, in the order they are drawn (the scene). Paper
// and metafiles get the scene painted as it stands. The screen keeps it in a retained layer, of
// which a paint draws again only the columns that changed: a view that moved by whole columns
// moves the layer's pixels with it, and new samples draw the columns right of the old end of the
// line. Whatever else changed draws the whole layer again, so the picture is always the one a
// full paint gives.
#include <windows.h>
#include <climits>
#include <vector>
#include "control/GdiHandle.h"

class CChartDrawInfo;
class CLineTraceRegion;

// Inclusive pixel columns.
struct CColumns
{
    LONG From, To;
};

// Every column there is.
inline const std::vector<CColumns> AllColumns{{LONG_MIN, LONG_MAX}};

// A line of a one-pixel pen from (X0, Y0) up to, not including, (X1, Y1).
struct CPlotLine
{
    LONG X0, Y0, X1, Y1;
    COLORREF Colour;
    int Style;

    bool operator==(const CPlotLine&) const = default;
    bool Vertical() const noexcept { return X0 == X1; }
};

// A line trace as it is painted: its colour, the width of its pen and the band it is clipped to.
// Where its data end the trace itself knows.
struct CPlotTrace
{
    CLineTraceRegion* Region;
    COLORREF Colour;
    int Width;
    RECT Bounds;

    bool operator==(const CPlotTrace& other) const noexcept
    {
        return Region == other.Region && Colour == other.Colour && Width == other.Width &&
               EqualRect(&Bounds, &other.Bounds);
    }
};

struct CPlotItem
{
    bool IsTrace;
    CPlotLine Line;
    CPlotTrace Trace;
};

class CPlotScene
{
public:
    void AddLine(LONG x0, LONG y0, LONG x1, LONG y1, COLORREF colour, int style = PS_SOLID);
    void AddTrace(const CPlotTrace& trace);
    // Paints every item: the lines whole, the traces as far as they reach `columns` (in column
    // order); the caller's clip keeps the rest out.
    void Paint(HDC dc, const std::vector<CColumns>& columns = AllColumns) const;

    std::vector<CPlotItem> Items;
};

class CPlotLayer
{
public:
    // Brings the layer up to `scene` over `rect` (right and bottom inclusive), drawing again only
    // what changed since the last Paint. Its pixels are then pending: Flush copies them.
    void Paint(CChartDrawInfo& info, const RECT& rect, const CPlotScene& scene);
    // Copies the pending pixels to `dc`, in the coordinates that Paint was given.
    void Flush(HDC dc);
    bool Pending() const noexcept { return PendingCopy; }
    // The rectangle that the last Paint was given, right and bottom inclusive.
    const RECT& Area() const noexcept { return Rect; }
    // Forgets the picture: the next Paint draws everything.
    void Reset();

    // What the last Paint drew again, in columns, left to right, and in rows; the shift it moved
    // the old pixels left by first.
    std::vector<CColumns> Drawn;
    std::vector<LONG> Rows;
    LONG Shift = 0;

private:
    // The columns that differ from the kept picture once it has moved left by `shift`; false
    // when the whole layer has to be drawn.
    bool FindChanges(const CPlotScene& scene, const RECT& rect, LONG& shift);
    // Draws again what Drawn and Rows name between the plot's columns `from` and `to`, which
    // stand in the bitmap `offset` columns right of where they stand in the plot.
    void DrawPart(CChartDrawInfo& info, const RECT& rect, const CPlotScene& scene, LONG offset, LONG from, LONG to);

    CDeviceContext Dc;
    CBitmapHandle Bitmap;
    HGDIOBJ OldBitmap = nullptr;
    RECT Rect{};
    // The bitmap's column that holds the plot's first one.
    LONG Origin = 0;
    bool PendingCopy = false;
    COLORREF Back = 0;
    bool Valid = false;
    // The scene the layer holds.
    std::vector<CPlotItem> Painted;
    // FindChanges' working lists.
    std::vector<CColumns> Columns;
    std::vector<LONG> StyledRows;
    // A vertical line and its place in the drawing order.
    struct CPlacedLine
    {
        CPlotLine Line;
        std::size_t Order;
    };
    std::vector<CPlacedLine> Before;
    std::vector<CPlacedLine> After;
};
