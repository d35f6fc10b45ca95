// The graph's cursors: where they stand, and drawing them so that a move needs no paint.
#include "items/TaskDataItem.h"
#include "regions/GraphRegion.h"
#include "scales/ValueToPixel.h"

int CGraphRegion::CursorToPixel(BOOL)
{
    if (!Task) return -1;
    qvx::time minimum = 0, maximum = 0;
    Task->GetTimeRange(minimum, maximum);
    return MapToPixel(GraphRect.left, GraphRect.right, static_cast<double>(minimum), static_cast<double>(maximum),
                      static_cast<double>(Task->GetCursorTime()), true, false);
}

// TODO: the cursor lines, the shading between two cursors, the arrowheads and their under-bitmaps.
void CGraphRegion::DrawCursors(CChartDrawInfo&, BOOL) {}

void CGraphRegion::RedrawCursors() {}
