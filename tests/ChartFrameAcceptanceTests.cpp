// The chart frame as a container meets it, through COM alone, in place on a real window.
#include <gtest/gtest.h>
#include <windows.h>
#include <uxtheme.h>
#include "control/GdiHandle.h"
#include "tests/OleTestSupport.h"

using namespace qvxtest;

namespace {

constexpr COLORREF Background = RGB(0x44, 0x88, 0xCC);
constexpr COLORREF SchemeBackground = 0x203040;

} // namespace

// Without its grid the chart is its background, the property's or the scheme's; a flat border is one
// pixel of its own colour or the scheme's grey, a 3-D one the theme's frame or else the sunken edge.
TEST(ChartFrameAcceptance, TheEmptyChartFillsTheWindowInItsBackgroundWithinItsBorder)
{
    const struct
    {
        const char* Name;
        OLE_COLOR Back;
        long Appearance, Style;
        OLE_COLOR Border = 0xFFFFFFFF;
    } rows[] = {{"the scheme's background", 0xFFFFFFFF, 0, 0}, {"the property's background", Background, 0, 0},
                {"a flat border", Background, 0, 1}, {"a flat border of its own colour", Background, 0, 1, 0x0000FF},
                {"a three-dimensional border", Background, 1, 1}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.Name);
        COleScope ole;
        CContainerWindow container;
        CTestSite site{container.Window};
        site.Ambients[11].vt = VT_I4;
        site.Ambients[11].lVal = SchemeBackground;
        site.Position = RECT{0, 0, 240, 120};
        // What a container does, in its order.
        CComPtr<IQvxLinnographCtl4> control = CreateControl();
        CComPtr<IOleObject> object = Query<IOleObject>(control);
        ASSERT_EQ(S_OK, object->SetClientSite(&site));
        ASSERT_EQ(S_OK, InitNew(control));
        control->put_ShowGrid(VARIANT_FALSE);
        control->put_Appearance(row.Appearance);
        control->put_BorderStyle(row.Style);
        control->put_BorderColor(row.Border);
        ASSERT_EQ(S_OK, object->DoVerb(OLEIVERB_INPLACEACTIVATE, nullptr, &site, 0, container.Window, &site.Position));
        HWND window = FindControlWindow(container.Window);
        ASSERT_TRUE(window && PumpUntilPainted(window));
        // A colour put in place repaints the window.
        ASSERT_EQ(S_OK, control->put_BackColor(row.Back));
        ASSERT_TRUE(PumpUntilPainted(window));
        auto shown = CaptureWindow(window);
        // The picture the test draws itself.
        CDibSurface expected(240, 120, row.Back == Background ? Background : SchemeBackground);
        RECT all{0, 0, 240, 120};
        HTHEME theme = row.Appearance && IsThemeActive() && IsAppThemed() ? OpenThemeData(window, L"EDIT") : nullptr;
        if (row.Style && !row.Appearance) {
            CGdiObject<HBRUSH> frame(CreateSolidBrush(row.Border == 0xFFFFFFFF ? 0xD0D0D0 : row.Border));
            FrameRect(expected.Dc(), &all, frame);
        } else if (theme) {
            RECT content{};
            ASSERT_EQ(S_OK, GetThemeBackgroundContentRect(theme, nullptr, 1, 1, &all, &content));
            ExcludeClipRect(expected.Dc(), content.left, content.top, content.right, content.bottom);
            DrawThemeBackground(theme, expected.Dc(), 1, 1, &all, nullptr);
            CloseThemeData(theme);
        } else if (row.Style) {
            DrawEdge(expected.Dc(), &all, EDGE_SUNKEN, BF_RECT);
        }
        for (int i = 0; i < 240 * 120; ++i)
            ASSERT_EQ(expected.Pixel(i % 240, i / 240), shown->Pixel(i % 240, i / 240)) << i % 240 << "," << i / 240;
        object->Close(OLECLOSE_NOSAVE);
        object->SetClientSite(nullptr);
    }
}
