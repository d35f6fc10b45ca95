// The control's border helper: which parts an update takes, and the inner rectangle of each kind
// of border. What the border looks like, and its theme, are tested with the chart frame.
#include <gtest/gtest.h>
#include "tests/ChartFrameTestSupport.h"

using namespace qvxtest;

namespace {

const RECT Outer{0, 0, 80, 50};

RECT Deflated(RECT rect, int dx, int dy)
{
    InflateRect(&rect, -dx, -dy);
    return rect;
}

const RECT Sunken = Deflated(Outer, GetSystemMetrics(SM_CXEDGE), GetSystemMetrics(SM_CYEDGE));

CControlBorderHelper::CUpdate Layout(int32_t appearance, int32_t borderStyle, const RECT& outer = Outer)
{
    CControlBorderHelper::CUpdate update;
    update.Appearance = appearance;
    update.BorderStyle = borderStyle;
    update.OuterRect = outer;
    return update;
}

bool SameRect(const RECT& a, const RECT& b)
{
    return EqualRect(&a, &b) != FALSE;
}

TEST(ControlBorderHelper, AnUpdateTakesOnlyWhatItsMaskNames)
{
    CControlBorderHelper border;
    // A resize brings the rectangle, not the border style that came with it.
    border.Update(CControlBorderHelper::ResizeUpdate, Layout(0, 1));
    EXPECT_TRUE(SameRect(Outer, border.GetOuterRect()));
    EXPECT_TRUE(SameRect(Outer, border.GetInnerRect()));
    border.Update(CControlBorderHelper::LayoutUpdate, Layout(0, 1));
    EXPECT_TRUE(SameRect(Deflated(Outer, 1, 1), border.GetInnerRect()));
    // A later resize keeps the style.
    const RECT wider{0, 0, 120, 50};
    border.Update(CControlBorderHelper::ResizeUpdate, Layout(0, 0, wider));
    EXPECT_TRUE(SameRect(Deflated(wider, 1, 1), border.GetInnerRect()));
}

TEST(ControlBorderHelper, InnerRectangleOfEachKindOfBorderWithoutAWindow)
{
    struct CRow
    {
        const char* Name;
        int32_t Appearance, BorderStyle;
        RECT Inner;
    };
    const CRow rows[] = {
        {"no border style, no border", 1, 0, Outer},
        {"flat", 0, 1, Deflated(Outer, 1, 1)},
        {"any appearance but 1 is flat", 2, 1, Deflated(Outer, 1, 1)},
        {"any style but 0 is a border", 1, -1, Sunken},
    };
    for (const CRow& row : rows) {
        CControlBorderHelper border;
        border.Update(CControlBorderHelper::LayoutUpdate, Layout(row.Appearance, row.BorderStyle));
        EXPECT_FALSE(border.HasTheme()) << row.Name;
        EXPECT_TRUE(SameRect(row.Inner, border.GetInnerRect())) << row.Name;
    }
}

} // namespace
