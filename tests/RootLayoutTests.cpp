// The root's split between the graph, the cursor values panel and the divider: a panel that keeps
// its width in inches, within its limits, and a graph that keeps its minimum when room runs out.
#include <gtest/gtest.h>
#include <cmath>
#include "control/ChartDrawInfo.h"
#include "tests/ChartTestSupport.h"
#include "tests/ChartFrameTestSupport.h"
#include "tests/OleTestSupport.h"
#include "regions/CursorsRegion.h"
#include "regions/GraphRegion.h"
#include "control/ResizeCallback.h"
#include "regions/ResizeRegion.h"
#include "control/RootLayout.h"

namespace {

class CNoResize : public CResizeCallback
{
public:
    void GetResizeRange(CResizeRegion&, int&, int&) override {}
    void OnResizeDone(CResizeRegion&) override {}
};

class RootLayoutTest : public testing::Test
{
protected:
    RootLayoutTest() { Owner.FontObject = Font.Get(); }
    void SetUp() override { ASSERT_EQ(GetDeviceCaps(Screen, LOGPIXELSX), 96); }

    // Lays the children out in a root of the given width, on `ref` (the screen by default).
    void Arrange(int width, bool show = true, std::optional<int> contentWidth = std::nullopt, HDC ref = nullptr)
    {
        CChartDrawInfo info(Screen, ref ? ref : Screen.Get(), Owner, 0);
        Layout.Arrange(info, RECT{0, 0, width, 300}, show, contentWidth, Graph, Cursors, Resize);
    }

    CDeviceContext Screen{CreateCompatibleDC(nullptr)};
    CComPtr<IFontDisp> Font = qvxtest::CreateChartFont();
    qvxtest::CTestDrawOwner Owner;
    HWND Cell = nullptr;
    CNoResize Callback;
    // The graph of a real chart, which gives it its owner and task.
    qvxtest::COleScope Ole;
    CComPtr<IQvxLinnographCtl4> Control;
    qvxtest::CTestChartCtl* Chart = qvxtest::CreateTestChart(Control);
    CRTCGraphRegion& Graph = *Chart->GraphRegion;
    CRTCCursorsRegion Cursors{&Cell};
    CResizeRegion Resize{&Cell, Callback};
    CRootLayout Layout;
    // The panel's width limits on the screen with the chart's font: 21 and its widest content.
    static constexpr int PanelMinimum = 21;
};

} // namespace

// Where the graph ends for each width, wish in inches and content: the panel is 1.25 inches
// (120 pixels) unless its limits or the graph's eighth of an inch (12 pixels) say otherwise.
TEST_F(RootLayoutTest, TheGraphEndsWhereThePanelsWidthAndTheLimitsSay)
{
    int minimum = 0, maximum = 0;
    CChartDrawInfo info(Screen, Screen, Owner, 0);
    Cursors.GetWidthLimits(info, minimum, maximum);
    ASSERT_EQ(PanelMinimum, minimum);
    ASSERT_GT(maximum, 120);
    const struct
    {
        const char* Name;
        int Width;
        double Inches;
        std::optional<int> Content;
        int GraphRight;
    } rows[] = {
        {"wide", 1000, 1.25, {}, 880}, {"narrow", 400, 1.25, {}, 280},
        {"a fraction that would round down (201)", 201, 1.25, {}, 81},
        {"a fraction that would round down (235)", 235, 1.25, {}, 115},
        {"a fraction that would round down (1917)", 1917, 1.25, {}, 1797},
        {"room for the graph's minimum only", 100, 1.25, {}, 12},
        {"just room for the panel's minimum", 43, 1.25, {}, 12}, {"less than both minimums", 30, 1.25, {}, 12},
        {"less than the graph's minimum", 5, 1.25, {}, 5}, {"no width", 0, 1.25, {}, 0},
        {"a panel wider than its maximum", 2000, 10, {}, 2000 - maximum},
        {"a panel narrower than its minimum", 2000, 0.1, {}, 2000 - PanelMinimum},
        {"content that fits", 1000, 1.25, 150, 850}, {"no content", 1000, 1.25, 0, 1000 - PanelMinimum},
        {"content beyond the maximum", 1000, 1.25, 5000, 1000 - maximum},
    };
    for (const auto& row : rows) {
        Layout.VerticalSplitInches = row.Inches;
        Arrange(row.Width, true, row.Content);
        EXPECT_EQ(row.GraphRight, Graph.Bounds.right) << row.Name;
        EXPECT_EQ(row.GraphRight + 1, Cursors.Bounds.left) << row.Name;
        EXPECT_EQ(row.Width, Cursors.Bounds.right) << row.Name;
        // Auto-sizing leaves the wish in inches alone.
        EXPECT_EQ(row.Inches, Layout.VerticalSplitInches) << row.Name;
    }
    Layout.VerticalSplitInches = 1.25;
    Arrange(1000);
    EXPECT_DOUBLE_EQ(0.12, Layout.SplitFraction);
    EXPECT_EQ(qvxtest::RectText({878, 0, 882, 300}), qvxtest::RectText(Resize.Bounds));
    Arrange(5);
    EXPECT_EQ(0.0, Layout.SplitFraction);
}

// Without inches the fraction rules, and no width keeps it; a hidden panel or paper leave no
// divider; an unchanged layout leaves the children clean.
TEST_F(RootLayoutTest, TheFractionAHiddenPanelPaperAndAnUnchangedLayout)
{
    EXPECT_EQ(0.3, Layout.SplitFraction);
    EXPECT_EQ(1.25, Layout.VerticalSplitInches);
    Arrange(400);
    const double fraction = Layout.SplitFraction;
    Arrange(0);
    EXPECT_EQ(fraction, Layout.SplitFraction);
    Layout.VerticalSplitInches = 0;
    Arrange(0);
    EXPECT_TRUE(std::isfinite(Layout.SplitFraction));
    Layout.SplitFraction = 0.25;
    Arrange(800);
    EXPECT_DOUBLE_EQ(200.0 / 96, Layout.VerticalSplitInches);
    EXPECT_EQ(600, Graph.Bounds.right);

    Layout.VerticalSplitInches = 1.25;
    Arrange(1000, false);
    EXPECT_EQ(1000, Graph.Bounds.right);
    EXPECT_EQ(0, Cursors.Bounds.left);
    EXPECT_TRUE(IsRectEmpty(&Resize.Bounds));
    CDeviceContext printer = qvxtest::CreateTestPrinterDC();
    ASSERT_TRUE(printer);
    Arrange(3000, true, std::nullopt, printer);
    EXPECT_EQ(3000 - GetDeviceCaps(printer, LOGPIXELSX) * 5 / 4, Graph.Bounds.right);
    EXPECT_TRUE(IsRectEmpty(&Resize.Bounds));

    Arrange(1000);
    Graph.DirtyBits = Cursors.DirtyBits = Resize.DirtyBits = 0;
    Arrange(1000);
    EXPECT_EQ(0u, Graph.DirtyBits | Cursors.DirtyBits | Resize.DirtyBits);
    Arrange(1001);
    EXPECT_EQ(std::vector<DWORD>(3, CChartRegionBase::DirtyBounds),
              (std::vector<DWORD>{Graph.DirtyBits, Cursors.DirtyBits, Resize.DirtyBits}));
}

TEST_F(RootLayoutTest, TheDividerMovesWithinThePanelsLimitsAndDropsInInches)
{
    CChartDrawInfo info(Screen, Screen, Owner, 0);
    int minimum = 0, maximum = 0;
    Cursors.GetWidthLimits(info, minimum, maximum);
    // The graph's minimum raises the low end; with no room for both the divider stays.
    const struct
    {
        int Width, Position, Lowest, Highest;
    } rows[] = {{1000, 880, 1000 - maximum, 1000 - minimum}, {200, 150, 12, 200 - minimum}, {30, 17, 17, 17}};
    for (const auto& row : rows) {
        int lowest = 0, highest = 0;
        CRootLayout::GetResizeRange(info, RECT{0, 0, row.Width, 300}, Graph, Cursors, row.Position, lowest, highest);
        EXPECT_EQ(std::make_pair(row.Lowest, row.Highest), std::make_pair(lowest, highest)) << row.Width;
    }
    Layout.ResizeDone(RECT{0, 0, 1000, 300}, 760, 96);
    EXPECT_DOUBLE_EQ(2.5, Layout.VerticalSplitInches);
    Arrange(600);
    EXPECT_EQ(360, Graph.Bounds.right);
    Layout.ResizeDone(RECT{0, 0, 1000, 300}, 904, 0);
    EXPECT_DOUBLE_EQ(1.0, Layout.VerticalSplitInches);
}
