// The control's border: which parts an update takes, the inner rectangle of each kind of border,
// the frame's pixels, and the theme, which belongs to a window.
#include <gtest/gtest.h>
#include "tests/ChartFrameTestSupport.h"

using namespace qvxtest;

namespace {

constexpr COLORREF Paper = RGB(0xF0, 0xF0, 0xE0);
constexpr COLORREF Blue = RGB(0, 0, 0xFF);
const RECT Outer{0, 0, 80, 50};

bool SameRect(const RECT& a, const RECT& b)
{
    return EqualRect(&a, &b) != FALSE;
}

RECT Deflated(RECT rect, int dx, int dy)
{
    InflateRect(&rect, -dx, -dy);
    return rect;
}

CControlBorderHelper::CUpdate Layout(int32_t appearance, int32_t borderStyle, const RECT& outer = Outer)
{
    CControlBorderHelper::CUpdate update;
    update.Appearance = appearance;
    update.BorderStyle = borderStyle;
    update.OuterRect = outer;
    return update;
}

} // namespace

TEST(ControlBorderHelper, AnUpdateTakesOnlyWhatItsMaskNames)
{
    CControlBorderHelper border;
    // A resize brings the rectangle, not the border style that came with it.
    border.Update(CControlBorderHelper::ResizeUpdate, Layout(0, 1));
    EXPECT_TRUE(SameRect(border.GetOuterRect(), Outer));
    EXPECT_TRUE(SameRect(border.GetInnerRect(), Outer));

    border.Update(CControlBorderHelper::LayoutUpdate, Layout(0, 1));
    EXPECT_TRUE(SameRect(border.GetInnerRect(), Deflated(Outer, 1, 1)));
    // A later resize keeps the style.
    const RECT wider{0, 0, 120, 50};
    border.Update(CControlBorderHelper::ResizeUpdate, Layout(0, 0, wider));
    EXPECT_TRUE(SameRect(border.GetInnerRect(), Deflated(wider, 1, 1)));
}

TEST(ControlBorderHelper, InnerRectangleOfEachKindOfBorder)
{
    CControlBorderHelper border;
    border.Update(CControlBorderHelper::LayoutUpdate, Layout(1, 0));
    EXPECT_TRUE(SameRect(border.GetInnerRect(), Outer)) << "no border style, no border";
    border.Update(CControlBorderHelper::LayoutUpdate, Layout(2, 1));
    EXPECT_TRUE(SameRect(border.GetInnerRect(), Deflated(Outer, 1, 1))) << "anything but 1 is flat";
    border.Update(CControlBorderHelper::LayoutUpdate, Layout(1, -1));
    EXPECT_FALSE(border.HasTheme());
    EXPECT_TRUE(
        SameRect(border.GetInnerRect(), Deflated(Outer, GetSystemMetrics(SM_CXEDGE), GetSystemMetrics(SM_CYEDGE))));
}

TEST(ControlBorderHelper, FlatFrameInTheBorderColour)
{
    CControlBorderHelper border;
    CDibSurface surface(80, 50, Paper);
    border.Update(CControlBorderHelper::LayoutUpdate, Layout(0, 0));
    CControlBorderHelper::CUpdate paint;
    paint.Colour = Blue;
    border.Update(CControlBorderHelper::PaintUpdate, paint);
    border.DrawBorder(surface.Dc());
    EXPECT_EQ(Paper, surface.Pixel(0, 0)) << "no border style draws nothing";

    border.Update(CControlBorderHelper::LayoutUpdate, Layout(0, 1));
    border.DrawBorder(surface.Dc());
    for (POINT p : {POINT{0, 0}, POINT{79, 0}, POINT{0, 49}, POINT{79, 49}, POINT{40, 0}, POINT{0, 25}})
        EXPECT_EQ(Blue, surface.Pixel(p.x, p.y)) << p.x << "," << p.y;
    EXPECT_EQ(Paper, surface.Pixel(1, 1));
    EXPECT_EQ(Paper, surface.Pixel(78, 48));
}

TEST(ControlBorderHelper, TheThemeBelongsToAWindow)
{
    CContainerWindow window;
    CControlBorderHelper border;
    border.Update(CControlBorderHelper::LayoutUpdate, Layout(1, 1));
    CControlBorderHelper::CUpdate update;
    update.Window = window.Window;
    border.Update(CControlBorderHelper::WindowPart, update);
    EXPECT_EQ(ThemingActive(), border.HasTheme());
    if (border.HasTheme()) {
        RECT content{};
        ASSERT_TRUE(ThemedContentRect(window.Window, Outer, content));
        EXPECT_TRUE(SameRect(border.GetInnerRect(), content));
    }

    border.CloseTheme();
    EXPECT_FALSE(border.HasTheme());
    border.OnThemeChanged();
    EXPECT_EQ(ThemingActive(), border.HasTheme());

    // Without its window the border has no theme.
    update.Window = nullptr;
    border.Update(CControlBorderHelper::WindowPart, update);
    EXPECT_FALSE(border.HasTheme());
    EXPECT_TRUE(
        SameRect(border.GetInnerRect(), Deflated(Outer, GetSystemMetrics(SM_CXEDGE), GetSystemMetrics(SM_CYEDGE))));
}
