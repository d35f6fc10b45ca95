// The graph's cursors on a chart in place over the substitute host: a moved cursor is drawn again
// on the window without a paint, and the picture is then what a full paint would show.
#include <gtest/gtest.h>
#include <tuple>
#include "tests/ChartTestSupport.h"
#include "tests/LiveInPlaceSupport.h"
#include "items/RTCTaskDataItem.h"
#include "regions/GraphRegion.h"

using namespace qvxtest;

namespace {

class GraphCursors : public LiveChartInPlace
{
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(LiveChartInPlace::SetUp());
        Advance(150 * Second);
        Task().GetOrdering()->SetNames({CBstr(L"Speed"), CBstr(L"RPM")});
        // Paused by the host: the chart follows the host's cursor. The view is the middle half of
        // the data, so that a cursor may stand off the graph on either side.
        HostRuns(false);
        ASSERT_TRUE(Repaint());
        qvx::time minimum = 0, maximum = 0;
        Task().GetTimeRange(minimum, maximum);
        Task().PushTimeZoom(minimum + (maximum - minimum) / 4, maximum - (maximum - minimum) / 4);
        ASSERT_TRUE(Repaint());
        Graph = Chart->GraphRegion.get();
        ASSERT_FALSE(IsRectEmpty(&Graph->GraphRect));
        // How the host's times stand to the chart's.
        const qvx::time probe = HostCursor() + Second;
        ASSERT_EQ(S_OK, HostTask()->SetCursorTime(probe));
        HostOffset = probe - Task().GetCursorTime();
    }
    // The host moves its cursor to the time of `column` of the graph; the chart hears it at once.
    void MoveCursorTo(double column)
    {
        qvx::time minimum = 0, maximum = 0;
        Task().GetTimeRange(minimum, maximum);
        const RECT& graph = Graph->GraphRect;
        const double share = (column - graph.left) / (graph.right - graph.left);
        const qvx::time time = minimum + static_cast<qvx::time>(share * static_cast<double>(maximum - minimum));
        ASSERT_EQ(S_OK, HostTask()->SetCursorTime(time + HostOffset));
        ASSERT_EQ(time, Task().GetCursorTime());
    }
    CRTCGraphRegion* Graph = nullptr;
    qvx::time HostOffset = 0;
};

} // namespace

// A moved cursor paints nothing and leaves the picture of a full paint; two cursors off opposite
// sides lie on the graph's edges and shade the whole graph.
TEST_F(GraphCursors, AMovedCursorLeavesThePictureOfAFullPaintAndCursorsOffTheGraphLieOnItsEdges)
{
    // Columns of the graph, as shares of its width, from and to; whether there are two cursors.
    const std::tuple<const char*, double, double, bool> rows[] = {
        {"within the graph", 0.3, 0.6, false},
        {"to the graph's left edge", 0.5, 0.0, false},
        {"off the graph and back", 1.4, 0.2, false},
        {"with a second cursor, through the bitmap", 0.7, 0.25, true},
        {"with both cursors off opposite sides", 0.5, 1.5, true},
    };
    const RECT graph = Graph->GraphRect;
    const auto column = [&](double share) { return graph.left + share * (graph.right - graph.left); };
    for (const auto& [name, from, to, twoCursors] : rows) {
        SCOPED_TRACE(name);
        Task().SetTwoCursors(twoCursors);
        MoveCursorTo(column(from));
        ASSERT_TRUE(Repaint());
        const auto before = CaptureWindow(Window);
        MoveCursorTo(column(to));
        EXPECT_FALSE(GetUpdateRect(Window, nullptr, FALSE)) << "nothing is left for a paint";
        const auto moved = CaptureWindow(Window);
        EXPECT_GT(Differences(*before, *moved), 0);
        ASSERT_TRUE(Repaint());
        EXPECT_EQ(0, Differences(*moved, *CaptureWindow(Window)));
    }
    Task().SetTwoCursors(false);
    // The middle of the view lies on the middle column.
    qvx::time minimum = 0, maximum = 0;
    Task().GetTimeRange(minimum, maximum);
    ASSERT_EQ(S_OK, HostTask()->SetCursorTime((minimum + maximum) / 2 + HostOffset));
    EXPECT_EQ(graph.left + (graph.right - graph.left) / 2, Graph->CursorToPixel(FALSE));
    // The second cursor stands at the start, left of the view; the primary goes right of it.
    MoveCursorTo(graph.right + 30);
    Task().SetTwoCursors(true);
    ASSERT_LT(Graph->CursorToPixel(TRUE), graph.left);
    ASSERT_TRUE(Repaint());
    const auto shaded = CaptureWindow(Window);
    const auto columns = [](const RECT& rect) { return std::make_pair(rect.left, rect.right); };
    EXPECT_EQ(std::make_pair(graph.right, graph.right), columns(Graph->PrimaryCursorRect));
    EXPECT_EQ(std::make_pair(graph.left, graph.left), columns(Graph->SecondCursorRect));
    EXPECT_EQ(std::make_pair(graph.left, graph.right), columns(Graph->BetweenRect));
    Task().SetTwoCursors(false);
    ASSERT_TRUE(Repaint());
    const auto plain = CaptureWindow(Window);
    const int middle = (graph.top + graph.bottom) / 2;
    for (int x : {graph.left + 1, (graph.left + graph.right) / 2, graph.right - 1})
        EXPECT_NE(plain->Pixel(x, middle), shaded->Pixel(x, middle)) << "column " << x;
}
