// The region base and the repaint contract: a change sets dirty bits and invalidates the region's
// rectangle and its last column and row, without erasing or painting. The root's split between the
// graph, the cursor values panel and the divider, kept in inches and within the limits.
#include <gtest/gtest.h>
#include <cmath>
#include <string>
#include <tuple>
#include "control/ChartDrawInfo.h"
#include "control/ChartRegionBase.h"
#include "control/RootLayout.h"
#include "items/DataItemBase.h"
#include "tests/ChartFrameTestSupport.h"
#include "tests/ChartTestSupport.h"

using namespace qvxtest;

namespace {

// A top-level window that counts its paints and erases.
class CTestWindow
{
public:
    CTestWindow()
    {
        WNDCLASSW windowClass{};
        windowClass.lpfnWndProc = &Procedure;
        windowClass.hInstance = GetModuleHandleW(nullptr);
        windowClass.lpszClassName = L"Qvx_RegionTestWindow";
        RegisterClassW(&windowClass);
        Handle = CreateWindowExW(0, windowClass.lpszClassName, L"", WS_POPUP | WS_VISIBLE, 0, 0, 200, 150, nullptr,
                                 nullptr, windowClass.hInstance, nullptr);
        SetWindowLongPtrW(Handle, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
        ValidateRect(Handle, nullptr);
    }
    ~CTestWindow() { DestroyWindow(Handle); }
    // The update area: "none", its box when it is one rectangle, or "complex".
    std::string Update() const
    {
        CGdiObject<HRGN> region(CreateRectRgn(0, 0, 0, 0));
        RECT box{};
        GetUpdateRect(Handle, &box, FALSE);
        const int kind = GetUpdateRgn(Handle, region, FALSE);
        return kind == NULLREGION ? "none" : kind == SIMPLEREGION ? RectText(box) : "complex";
    }
    HWND Handle = nullptr;
    int Paints = 0, Erases = 0;

private:
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
    {
        auto* self = reinterpret_cast<CTestWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        if (self && message == WM_ERASEBKGND) ++self->Erases;
        if (self && message == WM_PAINT) ++self->Paints;
        return DefWindowProcW(window, message, wParam, lParam);
    }
};

// A region that keeps its own dirty bit for a change, as every listening region does.
class CListeningRegion : public CChartRegionBase
{
public:
    static constexpr DWORD DirtyData = 0x4;
    using CChartRegionBase::CChartRegionBase;
    void OnDataItemChanged(CDataItemBase* item, DWORD flags) override
    {
        DirtyBits |= DirtyData;
        CChartRegionBase::OnDataItemChanged(item, flags);
    }
};

class RootLayoutTest : public testing::Test
{
protected:
    RootLayoutTest() { Owner.FontObject = Font.Get(); }
    void SetUp() override
    {
        ASSERT_EQ(GetDeviceCaps(Screen, LOGPIXELSX), 96);
        CChartDrawInfo info(Screen, Screen, Owner, 0);
        Cursors.GetWidthLimits(info, Minimum, Maximum);
        // The panel's limits on the screen with the chart's font: 21 and its widest content.
        ASSERT_EQ(21, Minimum);
        ASSERT_GT(Maximum, 120);
    }
    // Lays the children out in a root of the given width, on `ref` (the screen by default).
    void Arrange(int width, bool show = true, std::optional<int> contentWidth = std::nullopt, HDC ref = nullptr)
    {
        CChartDrawInfo info(Screen, ref ? ref : Screen.Get(), Owner, 0);
        Layout.Arrange(info, RECT{0, 0, width, 300}, show, contentWidth, Graph, Cursors, Resize);
    }
    CDeviceContext Screen{CreateCompatibleDC(nullptr)};
    CComPtr<IFontDisp> Font = CreateChartFont();
    CTestDrawOwner Owner;
    HWND Cell = nullptr;
    // The graph of a real chart, which gives it its owner and task.
    COleScope Ole;
    CComPtr<IQvxLinnographCtl4> Control;
    CTestChartCtl* Chart = CreateTestChart(Control);
    CRTCGraphRegion& Graph = *Chart->GraphRegion;
    CRTCCursorsRegion Cursors{&Cell};
    CResizeRegion Resize{&Cell, *Chart};
    CRootLayout Layout;
    int Minimum = 0, Maximum = 0;
};

} // namespace

// New bounds only mark the region dirty; a change also invalidates its rectangle with the last
// column and row, without erasing or painting, unless bit 31 stands alone. No window, no work.
TEST(ChartRegionBase, BoundsAndChangesDirtyAndInvalidateOnly)
{
    HWND cell = nullptr;
    CListeningRegion region(&cell);
    CDataItemBase item;
    EXPECT_EQ(CChartRegionBase::DirtyAll, region.DirtyBits);
    region.SetBounds(RECT{10, 20, 30, 40});
    region.Invalidate();
    CChartRegionBase(nullptr).Invalidate();
    CTestWindow window;
    cell = window.Handle;
    for (const RECT& bounds : {RECT{10, 20, 30, 40}, RECT{11, 20, 30, 40}}) {
        region.DirtyBits = 0;
        region.SetBounds(bounds);
        EXPECT_EQ(bounds.left == 10 ? 0u : CChartRegionBase::DirtyBounds, region.DirtyBits);
    }
    region.SetBounds(RECT{10, 20, 30, 40});
    EXPECT_EQ("none", window.Update());
    region.Invalidate();
    EXPECT_EQ(RectText({10, 20, 31, 41}), window.Update());
    ValidateRect(window.Handle, nullptr);
    item.AddListener(&region);
    region.DirtyBits = 0;
    item.NotifyChange(0x80000000, 1);
    EXPECT_EQ("none", window.Update());
    item.NotifyChange(0x1, 1);
    EXPECT_EQ(region.DirtyBits, CListeningRegion::DirtyData);
    EXPECT_EQ(RectText({10, 20, 31, 41}), window.Update());
    EXPECT_EQ(0, window.Paints);
    UpdateWindow(window.Handle);
    EXPECT_TRUE(window.Paints == 1 && window.Erases == 0);
    // The item's end takes the region's first entry out and keeps the order of the rest.
    CChartRegionBase other(&cell);
    item.AddListener(&other);
    item.AddListener(&region);
    region.OnDataItemRemoved(&item);
    EXPECT_EQ(item.Listeners, (std::vector<CDataItemListener*>{&other, &region}));
    region.OnDataItemRemoved(nullptr);
    item.Listeners.clear();
}

// Where the graph ends for each width, wish in inches and content: the panel is 1.25 inches
// (120 pixels) unless its limits or the graph's eighth of an inch (12 pixels) say otherwise.
TEST_F(RootLayoutTest, TheGraphEndsWhereThePanelsWidthAndTheLimitsSay)
{
    // The root's width, the wish in inches, the content's width, and where the graph ends.
    const std::tuple<const char*, int, double, std::optional<int>, int> rows[] = {
        {"wide", 1000, 1.25, {}, 880}, {"a fraction that would round down", 201, 1.25, {}, 81},
        {"just room for the panel's minimum", 43, 1.25, {}, 12}, {"less than both minimums", 30, 1.25, {}, 12},
        {"less than the graph's minimum", 5, 1.25, {}, 5}, {"no width", 0, 1.25, {}, 0},
        {"a panel wider than its maximum", 2000, 10, {}, 2000 - Maximum},
        {"a panel narrower than its minimum", 2000, 0.1, {}, 2000 - Minimum},
        {"content that fits", 1000, 1.25, 150, 850}, {"no content", 1000, 1.25, 0, 1000 - Minimum},
        {"content beyond the maximum", 1000, 1.25, 5000, 1000 - Maximum},
    };
    for (const auto& [name, width, inches, content, graphRight] : rows) {
        Layout.VerticalSplitInches = inches;
        Arrange(width, true, content);
        EXPECT_EQ(graphRight, Graph.Bounds.right) << name;
        EXPECT_EQ(RectText({graphRight + 1, 0, width, 300}), RectText(Cursors.Bounds)) << name;
        // Auto-sizing leaves the wish in inches alone.
        EXPECT_EQ(inches, Layout.VerticalSplitInches) << name;
    }
    Layout.VerticalSplitInches = 1.25;
    Arrange(1000);
    EXPECT_DOUBLE_EQ(0.12, Layout.SplitFraction);
    EXPECT_EQ(RectText({878, 0, 882, 300}), RectText(Resize.Bounds));
    Arrange(5);
    EXPECT_EQ(0.0, Layout.SplitFraction);
}

// Without inches the fraction rules, and no width keeps it; a hidden panel or paper leave no
// divider; an unchanged layout leaves the children clean.
TEST_F(RootLayoutTest, TheFractionAHiddenPanelPaperAndAnUnchangedLayout)
{
    EXPECT_TRUE(Layout.SplitFraction == 0.3 && Layout.VerticalSplitInches == 1.25);
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
    EXPECT_TRUE(Graph.Bounds.right == 1000 && Cursors.Bounds.left == 0 && IsRectEmpty(&Resize.Bounds));
    CDeviceContext printer = CreateTestPrinterDC();
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

// The graph's minimum raises the divider's low end; with no room for both the divider stays. A drop
// measured at no resolution counts 96 dots an inch.
TEST_F(RootLayoutTest, TheDividerMovesWithinThePanelsLimitsAndDropsInInches)
{
    CChartDrawInfo info(Screen, Screen, Owner, 0);
    // The root's width, where the drag stands, and the lowest and highest place for the divider.
    const std::tuple<int, int, int, int> rows[] = {
        {1000, 880, 1000 - Maximum, 1000 - Minimum}, {200, 150, 12, 200 - Minimum}, {30, 17, 17, 17}};
    for (const auto& [width, position, low, high] : rows) {
        int lowest = 0, highest = 0;
        CRootLayout::GetResizeRange(info, RECT{0, 0, width, 300}, Graph, Cursors, position, lowest, highest);
        EXPECT_EQ(std::make_pair(low, high), std::make_pair(lowest, highest)) << width;
    }
    Layout.ResizeDone(RECT{0, 0, 1000, 300}, 904, 0);
    EXPECT_DOUBLE_EQ(1.0, Layout.VerticalSplitInches);
}
