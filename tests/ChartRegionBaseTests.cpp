// The region base and the repaint contract: a data change sets dirty bits and invalidates the
// region's rectangle, grown by its inclusive last column and row, without erasing; it never paints.
#include <gtest/gtest.h>
#include <string>
#include "control/ChartDrawInfo.h"
#include "control/ChartRegionBase.h"
#include "tests/ChartTestSupport.h"
#include "items/DataItemBase.h"

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
        return kind == NULLREGION ? "none" : kind == SIMPLEREGION ? qvxtest::RectText(box) : "complex";
    }

    HWND Handle = nullptr;
    int Paints = 0, Erases = 0;

private:
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
    {
        auto* self = reinterpret_cast<CTestWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        if (self) (message == WM_ERASEBKGND ? self->Erases : message == WM_PAINT ? self->Paints : self->Other)++;
        return DefWindowProcW(window, message, wParam, lParam);
    }
    int Other = 0;
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
    void Recalculate(CChartDrawInfo& info) override
    {
        ++Recalculations;
        CChartRegionBase::Recalculate(info);
    }
    int Recalculations = 0;
};

class ChartRegionBaseTest : public testing::Test
{
protected:
    ChartRegionBaseTest() { Region.SetBounds(RECT{10, 20, 30, 40}); }
    ~ChartRegionBaseTest() override { Item.RemoveListener(&Region); }

    CTestWindow Window;
    HWND Cell = Window.Handle;
    CListeningRegion Region{&Cell};
    CDataItemBase Item;
    const std::string Area = qvxtest::RectText({10, 20, 31, 41});   // the bounds and their last column and row
};

} // namespace

// New bounds mark the region dirty without invalidating; a change sets the region's dirty bit and
// invalidates its rectangle with the last column and row, without erasing and without painting,
// and bit 31 alone asks for no paint.
TEST_F(ChartRegionBaseTest, BoundsAndChangesDirtyAndInvalidateOnly)
{
    for (const RECT& bounds : {RECT{10, 20, 30, 40}, RECT{11, 20, 30, 40}}) {
        Region.DirtyBits = 0;
        Region.SetBounds(bounds);
        EXPECT_EQ(bounds.left == 10 ? 0u : CChartRegionBase::DirtyBounds, Region.DirtyBits);
    }
    Region.SetBounds(RECT{10, 20, 30, 40});
    EXPECT_EQ("none", Window.Update());

    Item.AddListener(&Region);
    Region.DirtyBits = 0;
    Item.NotifyChange(0x80000000, 1);
    EXPECT_EQ("none", Window.Update());
    Item.NotifyChange(0x1, 1);
    EXPECT_EQ(Region.DirtyBits, CListeningRegion::DirtyData);
    EXPECT_EQ(Area, Window.Update());
    EXPECT_EQ(0, Window.Paints + Region.Recalculations);
    UpdateWindow(Window.Handle);
    EXPECT_EQ(1, Window.Paints);
    EXPECT_EQ(0, Window.Erases);
    Item.NotifyChange(0x80000001, 1);
    EXPECT_EQ(Area, Window.Update());
    // The count would see an erase: a window invalidated with erasing gets one.
    InvalidateRect(Window.Handle, nullptr, TRUE);
    UpdateWindow(Window.Handle);
    EXPECT_EQ(Window.Erases, 1);
}

TEST(ChartRegionBase, FollowsTheWindowCellAndDoesNothingWithoutAWindow)
{
    HWND cell = nullptr;
    CChartRegionBase region(&cell);
    EXPECT_EQ(region.DirtyBits, CChartRegionBase::DirtyAll);
    region.SetBounds(RECT{5, 5, 9, 9});
    region.Invalidate();
    CChartRegionBase(nullptr).Invalidate();
    CTestWindow window;
    cell = window.Handle;
    region.Invalidate();
    EXPECT_EQ(qvxtest::RectText({5, 5, 10, 10}), window.Update());
}

// Draw recalculates only when dirty; removal takes out the first entry and keeps the order.
TEST_F(ChartRegionBaseTest, DrawRecalculatesOnlyWhenDirtyAndRemovalTakesTheFirstEntry)
{
    qvxtest::CTestDrawOwner owner;
    CDibSurface canvas(8, 8);
    CChartDrawInfo info(canvas.Dc(), canvas.Dc(), owner, 0);
    Region.Draw(info);
    Region.Draw(info);
    EXPECT_EQ(Region.Recalculations, 1);
    EXPECT_EQ(Region.DirtyBits, 0u);

    CChartRegionBase a(&Cell), b(&Cell);
    Item.AddListener(&a);
    Item.AddListener(&Region);
    Item.AddListener(&b);
    Item.AddListener(&Region);
    Region.OnDataItemRemoved(&Item);
    EXPECT_EQ(Item.Listeners, (std::vector<CDataItemListener*>{&a, &b, &Region}));
    Region.OnDataItemRemoved(nullptr);
    Item.Listeners.clear();
}
