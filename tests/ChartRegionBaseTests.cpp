// The region base and the repaint contract: a data change sets dirty bits and invalidates the
// region's rectangle, grown by its inclusive last column and row, without erasing; it never paints.
#include <gtest/gtest.h>
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
        Handle = CreateWindowExW(0, windowClass.lpszClassName, L"", WS_POPUP | WS_VISIBLE, 0, 0, 200, 150,
                                 nullptr, nullptr, windowClass.hInstance, nullptr);
        SetWindowLongPtrW(Handle, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
        ValidateRect(Handle, nullptr);
    }
    ~CTestWindow()
    {
        if (IsWindow(Handle)) DestroyWindow(Handle);
    }

    // The update area as one box; empty when nothing is invalid.
    RECT UpdateBox() const
    {
        RECT box{};
        GetUpdateRect(Handle, &box, FALSE);
        return box;
    }
    // The update area's complexity (NULLREGION, SIMPLEREGION or COMPLEXREGION).
    int UpdateKind() const
    {
        CGdiObject<HRGN> region(CreateRectRgn(0, 0, 0, 0));
        return GetUpdateRgn(Handle, region, FALSE);
    }

    HWND Handle = nullptr;
    int Paints = 0;
    int Erases = 0;

private:
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
    {
        auto* self = reinterpret_cast<CTestWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        if (self && message == WM_ERASEBKGND) ++self->Erases;
        if (self && message == WM_PAINT) {
            ++self->Paints;
            PAINTSTRUCT paint;
            BeginPaint(window, &paint);
            EndPaint(window, &paint);
            return 0;
        }
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
    void Recalculate(CChartDrawInfo& info) override
    {
        ++Recalculations;
        CChartRegionBase::Recalculate(info);
    }
    int Recalculations = 0;
};

bool SameRect(const RECT& a, const RECT& b)
{
    return EqualRect(&a, &b) != FALSE;
}

class ChartRegionBaseTest : public testing::Test
{
protected:
    ChartRegionBaseTest() { Region.SetBounds(RECT{10, 20, 30, 40}); }
    ~ChartRegionBaseTest() override { Item.RemoveListener(&Region); }

    CTestWindow Window;
    HWND Cell = Window.Handle;
    CListeningRegion Region{&Cell};
    CDataItemBase Item;
};

} // namespace

TEST(ChartRegionBase, StartsDirtyWithEmptyBounds)
{
    HWND cell = nullptr;
    CChartRegionBase region(&cell);
    EXPECT_EQ(region.DirtyBits, CChartRegionBase::DirtyAll);
    EXPECT_TRUE(IsRectEmpty(&region.Bounds));
    EXPECT_EQ(region.WindowRef, &cell);
}

TEST_F(ChartRegionBaseTest, NewBoundsMarkDirtyBoundsWithoutInvalidating)
{
    Region.DirtyBits = 0;
    Region.SetBounds(RECT{10, 20, 30, 40});
    EXPECT_EQ(Region.DirtyBits, 0u);

    Region.SetBounds(RECT{11, 20, 30, 40});
    EXPECT_EQ(Region.DirtyBits, CChartRegionBase::DirtyBounds);
    EXPECT_TRUE(SameRect(Region.Bounds, RECT{11, 20, 30, 40}));
    EXPECT_EQ(Window.UpdateKind(), NULLREGION);
}

TEST_F(ChartRegionBaseTest, InvalidateCoversTheLastColumnAndRow)
{
    Region.Invalidate();
    EXPECT_EQ(Window.UpdateKind(), SIMPLEREGION);
    EXPECT_TRUE(SameRect(Window.UpdateBox(), RECT{10, 20, 31, 41}));
}

TEST_F(ChartRegionBaseTest, InvalidateDoesNotErase)
{
    Region.Invalidate();
    UpdateWindow(Window.Handle);
    EXPECT_EQ(Window.Paints, 1);
    EXPECT_EQ(Window.Erases, 0);

    // The count would see an erase: a region invalidated with erasing gets one.
    InvalidateRect(Window.Handle, nullptr, TRUE);
    UpdateWindow(Window.Handle);
    EXPECT_EQ(Window.Erases, 1);
}

TEST_F(ChartRegionBaseTest, AChangeSetsDirtyBitsAndInvalidatesOnly)
{
    Item.AddListener(&Region);
    Region.DirtyBits = 0;
    Item.NotifyChange(0x1, 1);

    EXPECT_EQ(Region.DirtyBits, CListeningRegion::DirtyData);
    EXPECT_TRUE(SameRect(Window.UpdateBox(), RECT{10, 20, 31, 41}));
    EXPECT_EQ(Window.Paints, 0);
    EXPECT_EQ(Region.Recalculations, 0);
}

TEST_F(ChartRegionBaseTest, BitThirtyOneAloneDoesNotInvalidate)
{
    Item.AddListener(&Region);
    Item.NotifyChange(0x80000000, 1);
    EXPECT_EQ(Window.UpdateKind(), NULLREGION);

    Item.NotifyChange(0x80000001, 1);
    EXPECT_TRUE(SameRect(Window.UpdateBox(), RECT{10, 20, 31, 41}));
}

TEST_F(ChartRegionBaseTest, ChangesMergeIntoOneUpdateArea)
{
    CListeningRegion other(&Cell);
    other.SetBounds(RECT{100, 50, 119, 59});
    Item.AddListener(&Region);
    Item.AddListener(&other);
    for (int i = 0; i < 5; ++i) Item.NotifyChange(0x1, 1);
    Item.RemoveListener(&other);

    EXPECT_TRUE(SameRect(Window.UpdateBox(), RECT{10, 20, 120, 60}));
    UpdateWindow(Window.Handle);
    EXPECT_EQ(Window.Paints, 1);
}

TEST(ChartRegionBase, InvalidateWithoutAWindowDoesNothing)
{
    HWND cell = nullptr;
    CChartRegionBase region(&cell);
    region.SetBounds(RECT{0, 0, 10, 10});
    region.Invalidate();

    CChartRegionBase detached(nullptr);
    detached.Invalidate();
}

TEST(ChartRegionBase, SeesTheWindowMadeAfterIt)
{
    HWND cell = nullptr;
    CChartRegionBase region(&cell);
    region.SetBounds(RECT{5, 5, 9, 9});
    region.Invalidate();

    CTestWindow window;
    cell = window.Handle;
    region.Invalidate();
    EXPECT_TRUE(SameRect(window.UpdateBox(), RECT{5, 5, 10, 10}));

    DestroyWindow(window.Handle);
    region.Invalidate();
}

TEST_F(ChartRegionBaseTest, DrawRecalculatesOnlyWhenDirty)
{
    qvxtest::CTestDrawOwner owner;
    CDibSurface canvas(8, 8);
    CChartDrawInfo info(canvas.Dc(), canvas.Dc(), owner, 0);
    Region.Draw(info);
    EXPECT_EQ(Region.Recalculations, 1);
    EXPECT_EQ(Region.DirtyBits, 0u);

    Region.Draw(info);
    EXPECT_EQ(Region.Recalculations, 1);
}

TEST_F(ChartRegionBaseTest, HasNoSizeLimitsOfItsOwn)
{
    qvxtest::CTestDrawOwner owner;
    CDibSurface canvas(8, 8);
    CChartDrawInfo info(canvas.Dc(), canvas.Dc(), owner, 0);
    CChartRegionBase plain(&Cell);
    int minimum = 0, maximum = 0;
    EXPECT_FALSE(plain.GetWidthLimits(info, minimum, maximum));
    EXPECT_EQ(minimum, -1);
    EXPECT_EQ(maximum, -1);
    minimum = maximum = 0;
    EXPECT_FALSE(plain.GetHeightLimits(info, minimum, maximum));
    EXPECT_EQ(minimum, -1);
    EXPECT_EQ(maximum, -1);
}

TEST_F(ChartRegionBaseTest, RemovalTakesOutTheFirstEntryAndKeepsTheOrder)
{
    CChartRegionBase a(&Cell), b(&Cell);
    Item.AddListener(&a);
    Item.AddListener(&Region);
    Item.AddListener(&b);
    Item.AddListener(&Region);
    Region.OnDataItemRemoved(&Item);

    EXPECT_EQ(Item.Listeners, (std::vector<CDataItemListener*>{&a, &b, &Region}));
    CDataItemBase stranger;
    stranger.AddListener(&a);
    Region.OnDataItemRemoved(&stranger);
    EXPECT_EQ(stranger.Listeners, (std::vector<CDataItemListener*>{&a}));
    stranger.Listeners.clear();
    Region.OnDataItemRemoved(nullptr);
    Item.Listeners.clear();
}
