// The chart frame as a container meets it, through COM alone: created, given a site, initialised
// and activated in place on a real window with no host, it paints its empty chart there.
#include <gtest/gtest.h>
#include <windows.h>
#include <uxtheme.h>
#include "control/GdiHandle.h"
#include "tests/OleTestSupport.h"

using namespace qvxtest;

namespace {

constexpr COLORREF Background = RGB(0x44, 0x88, 0xCC);
constexpr COLORREF SchemeBorderGrey = 0xD0D0D0;

class ChartFrameAcceptance : public testing::Test
{
protected:
    void TearDown() override
    {
        if (Object) {
            Object->Close(OLECLOSE_NOSAVE);
            Object->SetClientSite(nullptr);
        }
        Object = nullptr;
        Control = nullptr;
    }

    // What a container does, in its order, and the control's first paint on the screen.
    void Embed(const std::function<void(IQvxLinnographCtl4*)>& configure)
    {
        ASSERT_EQ(S_OK, CoCreateInstance(CLSID_LinnographCtl, nullptr, CLSCTX_INPROC_SERVER, IID_IQvxLinnographCtl4,
                                         Control.OutVoid()));
        Object = Query<IOleObject>(Control);
        ASSERT_TRUE(Object);
        Site.Position = RECT{0, 0, 240, 120};
        ASSERT_EQ(S_OK, Object->SetClientSite(&Site));
        ASSERT_EQ(S_OK, InitNew(Control));
        configure(Control);
        ASSERT_EQ(S_OK, Object->DoVerb(OLEIVERB_INPLACEACTIVATE, nullptr, &Site, 0, Container.Window, &Site.Position));
        Window = FindControlWindow(Container.Window);
        ASSERT_TRUE(Window);
        ASSERT_TRUE(PumpUntilPainted(Window));
        Shown = CaptureWindow(Window);
    }

    // Every pixel of the window against a picture the test drew itself.
    void ExpectWindowShows(const CDibSurface& expected)
    {
        for (int i = 0; i < 240 * 120; ++i)
            ASSERT_EQ(expected.Pixel(i % 240, i / 240), Shown->Pixel(i % 240, i / 240)) << i % 240 << "," << i / 240;
    }

    COleScope Ole;
    CContainerWindow Container;
    CTestSite Site{Container.Window};
    CComPtr<IQvxLinnographCtl4> Control;
    CComPtr<IOleObject> Object;
    HWND Window = nullptr;
    std::unique_ptr<CDibSurface> Shown;
};

} // namespace

// No border by default, and the divider draws nothing while the mouse is elsewhere: without its
// grid the window is the background colour, the property's or else the scheme's.
TEST_F(ChartFrameAcceptance, TheEmptyChartFillsTheWindowInItsBackgroundColour)
{
    Site.Ambients[11].vt = VT_I4;
    Site.Ambients[11].lVal = 0x203040;
    Embed([](IQvxLinnographCtl4* control) { control->put_ShowGrid(VARIANT_FALSE); });
    ExpectWindowShows(CDibSurface(240, 120, 0x203040));
    ASSERT_EQ(S_OK, Control->put_BackColor(Background));
    ASSERT_TRUE(PumpUntilPainted(Window));
    Shown = CaptureWindow(Window);
    ExpectWindowShows(CDibSurface(240, 120, Background));
}

// A flat border is one pixel of the border colour; a three-dimensional one is the theme's frame
// round the chart's background, or else the sunken edge.
TEST_F(ChartFrameAcceptance, BordersAreDrawnRoundTheBackground)
{
    for (long appearance : {0, 1}) {
        SCOPED_TRACE(appearance);
        TearDown();
        Embed([appearance](IQvxLinnographCtl4* control) {
            control->put_BackColor(Background);
            control->put_ShowGrid(VARIANT_FALSE);
            control->put_Appearance(appearance);
            control->put_BorderStyle(1);
        });
        CDibSurface expected(240, 120, Background);
        RECT all{0, 0, 240, 120};
        HTHEME theme = appearance && IsThemeActive() && IsAppThemed() ? OpenThemeData(Window, L"EDIT") : nullptr;
        if (!appearance) {
            CGdiObject<HBRUSH> grey(CreateSolidBrush(SchemeBorderGrey));
            FrameRect(expected.Dc(), &all, grey);
        } else if (theme) {
            RECT content{};
            ASSERT_EQ(S_OK, GetThemeBackgroundContentRect(theme, nullptr, 1, 1, &all, &content));
            ExcludeClipRect(expected.Dc(), content.left, content.top, content.right, content.bottom);
            DrawThemeBackground(theme, expected.Dc(), 1, 1, &all, nullptr);
            SelectClipRgn(expected.Dc(), nullptr);
            CloseThemeData(theme);
        } else {
            DrawEdge(expected.Dc(), &all, EDGE_SUNKEN, BF_RECT);
        }
        ExpectWindowShows(expected);
    }
}
