// The root's split between the graph, the cursor values panel and the divider: a panel that keeps
// its width in inches, within its limits, and a graph that keeps its minimum when room runs out.
#include <gtest/gtest.h>
#include <cmath>
#include "control/ChartDrawInfo.h"
#include "tests/ChartTestSupport.h"
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
    // The panel's width limits as the cursors region gives them on the screen.
    std::pair<int, int> PanelLimits()
    {
        CChartDrawInfo info(Screen, Screen, Owner, 0);
        int minimum, maximum;
        Cursors.GetWidthLimits(info, minimum, maximum);
        return {minimum, maximum};
    }

    CDeviceContext Screen{CreateCompatibleDC(nullptr)};
    CComPtr<IFontDisp> Font = qvxtest::CreateChartFont();
    qvxtest::CTestDrawOwner Owner;
    HWND Cell = nullptr;
    CNoResize Callback;
    CRTCGraphRegion Graph{&Cell};
    CRTCCursorsRegion Cursors{&Cell};
    CResizeRegion Resize{&Cell, Callback};
    CRootLayout Layout;
};

bool SameRect(const RECT& a, const RECT& b)
{
    return EqualRect(&a, &b) != FALSE;
}

} // namespace

TEST_F(RootLayoutTest, StartsWithTheDefaults)
{
    EXPECT_EQ(Layout.SplitFraction, 0.3);
    EXPECT_EQ(Layout.VerticalSplitInches, 1.25);
}

TEST_F(RootLayoutTest, PanelIsAnInchAndAQuarterWideOnWideAndNarrowControls)
{
    Arrange(1000);
    EXPECT_TRUE(SameRect(Graph.Bounds, RECT{0, 0, 880, 300}));
    EXPECT_TRUE(SameRect(Cursors.Bounds, RECT{881, 0, 1000, 300}));
    EXPECT_TRUE(SameRect(Resize.Bounds, RECT{878, 0, 882, 300}));
    EXPECT_DOUBLE_EQ(Layout.SplitFraction, 0.12);

    Arrange(400);
    EXPECT_TRUE(SameRect(Graph.Bounds, RECT{0, 0, 280, 300}));
    EXPECT_TRUE(SameRect(Cursors.Bounds, RECT{281, 0, 400, 300}));
    EXPECT_TRUE(SameRect(Resize.Bounds, RECT{278, 0, 282, 300}));
    EXPECT_EQ(Layout.VerticalSplitInches, 1.25);

    // Widths on which the fraction, taken back, would round the panel down by a pixel.
    for (int width : {201, 205, 214, 235, 1917}) {
        Arrange(width);
        EXPECT_EQ(Graph.Bounds.right, width - 120) << width;
    }
}

TEST_F(RootLayoutTest, TheGraphKeepsItsMinimumOnANarrowControl)
{
    // The graph needs an eighth of an inch, 12 pixels; the panel gets the rest.
    for (int width : {43, 100}) {
        Arrange(width);
        EXPECT_EQ(Graph.Bounds.right, 12) << width;
        EXPECT_EQ(Cursors.Bounds.left, 13) << width;
    }

    // Narrower than the panel's minimum (21) and the graph's together.
    Arrange(30);
    EXPECT_EQ(Graph.Bounds.right, 12);
    EXPECT_EQ(Cursors.Bounds.right - Cursors.Bounds.left + 1, 18);

    // Narrower than the graph alone: the panel has nothing, and is no wider than nothing.
    Arrange(5);
    EXPECT_EQ(Graph.Bounds.right, 5);
    EXPECT_EQ(Cursors.Bounds.left, 6);
    EXPECT_EQ(Layout.SplitFraction, 0.0);
}

TEST_F(RootLayoutTest, AZeroWidthControlGivesSaneBoundsAndKeepsTheFraction)
{
    Arrange(400);
    const double fraction = Layout.SplitFraction;
    Arrange(0);
    EXPECT_EQ(Layout.SplitFraction, fraction);
    EXPECT_EQ(Graph.Bounds.right, 0);
    EXPECT_EQ(Cursors.Bounds.left, 1);

    Layout.VerticalSplitInches = 0;
    Arrange(0);
    EXPECT_TRUE(std::isfinite(Layout.SplitFraction));
    EXPECT_EQ(Graph.Bounds.right, 0);

    // The next real width lays out as usual.
    Layout.VerticalSplitInches = 1.25;
    Arrange(1000);
    EXPECT_EQ(Graph.Bounds.right, 880);
}

TEST_F(RootLayoutTest, NoInchesTakeTheFractionOfTheWidth)
{
    Layout.VerticalSplitInches = 0;
    Layout.SplitFraction = 0.25;
    Arrange(800);
    EXPECT_DOUBLE_EQ(Layout.VerticalSplitInches, 200.0 / 96);
    EXPECT_EQ(Graph.Bounds.right, 600);
}

TEST_F(RootLayoutTest, ThePanelStaysWithinItsLimits)
{
    const auto [minimum, maximum] = PanelLimits();
    ASSERT_EQ(minimum, 21);
    ASSERT_GT(maximum, 120);

    Layout.VerticalSplitInches = 10;
    Arrange(2000);
    EXPECT_EQ(Graph.Bounds.right, 2000 - maximum);

    Layout.VerticalSplitInches = 0.1;
    Arrange(2000);
    EXPECT_EQ(Graph.Bounds.right, 2000 - minimum);
}

TEST_F(RootLayoutTest, AutoSizingTakesTheContentWidthWithinTheLimits)
{
    const auto [minimum, maximum] = PanelLimits();
    Arrange(1000, true, 150);
    EXPECT_EQ(Graph.Bounds.right, 850);
    // Auto-sizing leaves the width in inches alone.
    EXPECT_EQ(Layout.VerticalSplitInches, 1.25);

    Arrange(1000, true, 0);
    EXPECT_EQ(Graph.Bounds.right, 1000 - minimum);
    Arrange(1000, true, 5000);
    EXPECT_EQ(Graph.Bounds.right, 1000 - maximum);
}

TEST_F(RootLayoutTest, AHiddenPanelLeavesTheWholeRootToTheGraph)
{
    Arrange(1000, false);
    EXPECT_TRUE(SameRect(Graph.Bounds, RECT{0, 0, 1000, 300}));
    EXPECT_TRUE(SameRect(Cursors.Bounds, RECT{0, 0, 1000, 300}));
    EXPECT_TRUE(IsRectEmpty(&Resize.Bounds));
}

TEST_F(RootLayoutTest, OnPaperThePanelKeepsItsInchesAndTheDividerGoes)
{
    CDeviceContext printer = qvxtest::CreateTestPrinterDC();
    ASSERT_TRUE(printer);
    const int dpi = GetDeviceCaps(printer, LOGPIXELSX);
    Arrange(3000, true, std::nullopt, printer);
    EXPECT_EQ(Graph.Bounds.right, 3000 - dpi * 5 / 4);
    EXPECT_TRUE(IsRectEmpty(&Resize.Bounds));
}

TEST_F(RootLayoutTest, AnUnchangedLayoutLeavesTheChildrenClean)
{
    Arrange(1000);
    Graph.DirtyBits = Cursors.DirtyBits = Resize.DirtyBits = 0;
    Arrange(1000);
    EXPECT_EQ(Graph.DirtyBits | Cursors.DirtyBits | Resize.DirtyBits, 0u);

    Arrange(1001);
    EXPECT_EQ(Graph.DirtyBits, CChartRegionBase::DirtyBounds);
    EXPECT_EQ(Cursors.DirtyBits, CChartRegionBase::DirtyBounds);
    EXPECT_EQ(Resize.DirtyBits, CChartRegionBase::DirtyBounds);
}

TEST_F(RootLayoutTest, TheDividerMovesWithinThePanelsLimits)
{
    const auto [minimum, maximum] = PanelLimits();
    CChartDrawInfo info(Screen, Screen, Owner, 0);
    int lowest = 0, highest = 0;
    CRootLayout::GetResizeRange(info, RECT{0, 0, 1000, 300}, Graph, Cursors, 880, lowest, highest);
    EXPECT_EQ(lowest, 1000 - maximum);
    EXPECT_EQ(highest, 1000 - minimum);

    // The graph's minimum raises the low end.
    CRootLayout::GetResizeRange(info, RECT{0, 0, 200, 300}, Graph, Cursors, 150, lowest, highest);
    EXPECT_EQ(lowest, 12);
    EXPECT_EQ(highest, 200 - minimum);

    // No room for both: the divider stays where it is.
    CRootLayout::GetResizeRange(info, RECT{0, 0, 30, 300}, Graph, Cursors, 17, lowest, highest);
    EXPECT_EQ(lowest, 17);
    EXPECT_EQ(highest, 17);
}

TEST_F(RootLayoutTest, ADroppedDividerKeepsThePanelInInches)
{
    Layout.ResizeDone(RECT{0, 0, 1000, 300}, 760, 96);
    EXPECT_DOUBLE_EQ(Layout.VerticalSplitInches, 2.5);
    Arrange(600);
    EXPECT_EQ(Graph.Bounds.right, 360);

    Layout.ResizeDone(RECT{0, 0, 1000, 300}, 904, 0);
    EXPECT_DOUBLE_EQ(Layout.VerticalSplitInches, 1.0);
}
