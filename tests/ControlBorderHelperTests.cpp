// The control's border helper: which parts an update takes, and the inner rectangle of each kind
// of border. What the border looks like, and its theme, are tested with the chart frame.
#include <gtest/gtest.h>
#include "tests/ChartFrameTestSupport.h"

using namespace qvxtest;

namespace {

CControlBorderHelper::CUpdate Layout(int32_t appearance, int32_t borderStyle, const RECT& outer)
{
    CControlBorderHelper::CUpdate update;
    update.Appearance = appearance;
    update.BorderStyle = borderStyle;
    update.OuterRect = outer;
    return update;
}

TEST(ControlBorderHelper, InnerRectangleOfEachKindOfBorderAndWhatAnUpdateTakes)
{
    const RECT outer{0, 0, 80, 50}, wider{0, 0, 120, 50};
    const RECT sunken = Deflated(outer, GetSystemMetrics(SM_CXEDGE), GetSystemMetrics(SM_CYEDGE));
    const struct
    {
        const char* Name;
        int32_t Appearance, BorderStyle;
        RECT Inner;
    } rows[] = {
        {"no border style, no border", 1, 0, outer},
        {"flat", 0, 1, Deflated(outer, 1, 1)},
        {"any appearance but 1 is flat", 2, 1, Deflated(outer, 1, 1)},
        {"any style but 0 is a border", 1, -1, sunken},
    };
    for (const auto& row : rows) {
        CControlBorderHelper border;
        border.Update(CControlBorderHelper::LayoutUpdate, Layout(row.Appearance, row.BorderStyle, outer));
        EXPECT_FALSE(border.HasTheme()) << row.Name;
        EXPECT_TRUE(SameRect(row.Inner, border.GetInnerRect())) << row.Name;
    }
    // A resize brings the rectangle, not the border style that came with it, and keeps the style.
    CControlBorderHelper border;
    border.Update(CControlBorderHelper::ResizeUpdate, Layout(0, 1, outer));
    EXPECT_TRUE(SameRect(outer, border.GetOuterRect()) && SameRect(outer, border.GetInnerRect()));
    border.Update(CControlBorderHelper::LayoutUpdate, Layout(0, 1, outer));
    border.Update(CControlBorderHelper::ResizeUpdate, Layout(0, 0, wider));
    EXPECT_TRUE(SameRect(Deflated(wider, 1, 1), border.GetInnerRect()));
}

} // namespace
