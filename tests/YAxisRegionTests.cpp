// The y axes of a chart in place over the substitute host: the width, the band that cuts the axis,
// the band drag written to the host's properties and followed by the order of the channels.
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>
#include "control/ChartDrawInfo.h"
#include "config/Groups.h"
#include "interaction/DragManager.h"
#include "items/ChannelDataItem.h"
#include "items/TraceDataItem.h"
#include "regions/ChannelRegion.h"
#include "regions/YAxisRegion.h"
#include "scales/AxisTicks.h"
#include "tests/ChartTestSupport.h"
#include "tests/LiveInPlaceSupport.h"
#include "QvxSim.h"

namespace {

using namespace qvxtest;

class YAxis : public LiveChartInPlace
{
protected:
    YAxis()
    {
        NewLayout = true;
        Position = RECT{0, 0, 480, 320};
    }
    // The chart shows these channels, each with an axis on the left and a band (maximum, minimum)
    // from `bands` when one is given; then it paints.
    void Show(std::vector<const wchar_t*> names, std::vector<std::pair<double, double>> bands = {})
    {
        Task().GetOrdering()->SetNames(std::vector<CBstr>(names.begin(), names.end()));
        for (size_t i = 0; i < names.size(); ++i) {
            SetProperty(Channel(i), L"Auxiliary axis", 1, VT_I4);
            if (i < bands.size()) Band(Channel(i), true, bands[i].first, bands[i].second);
        }
        Paint();
    }
    void Band(CChannelDataItem* channel, bool enabled, double maximum, double minimum)
    {
        SetProperty(channel, L"Y-axis % enabled", enabled, VT_BOOL);
        SetProperty(channel, L"Y-axis % maximum", maximum);
        SetProperty(channel, L"Y-axis % minimum", minimum);
    }
    void Paint() { ASSERT_TRUE(Repaint()); }
    // The band's two ends as the host holds them, within `tolerance`.
    void ExpectBand(IQvxPropertySet* properties, double maximum, double minimum, double tolerance = 0.0)
    {
        for (const auto& [name, value] : {std::pair{L"Y-axis % maximum", maximum}, {L"Y-axis % minimum", minimum}}) {
            CVariant read;
            properties->GetProperty(CBstr(name).Get(), &read);
            EXPECT_NEAR(value, read.dblVal, tolerance) << name;
        }
    }
    CChannelDataItem* Channel(size_t place) { return Task().GetOrdering()->GetItems().at(place); }
    std::vector<std::wstring> Names()
    {
        std::vector<std::wstring> names;
        for (CChannelDataItem* channel : Task().GetOrdering()->GetItems())
            names.emplace_back(channel->GetName().View());
        return names;
    }
    CYAxisRegion& Axis(size_t place) { return **std::next(Chart->GraphRegion->YAxes.begin(), place); }
    // Where an edge of the axis is taken: just inside the top or bottom, or the middle.
    POINT On(CYAxisRegion& axis, int edge)
    {
        const RECT& band = axis.AxisRect;
        const int y = edge == CYAxisRegion::EdgeTop      ? band.top + 1
                      : edge == CYAxisRegion::EdgeBottom ? band.bottom - 1
                                                         : (band.top + band.bottom) / 2;
        return POINT{(band.left + band.right) / 2, y};
    }
    // The pointer at a client point; the cursor that the chart shows there.
    HCURSOR PointAt(POINT point)
    {
        POINT screen = point;
        ClientToScreen(Window, &screen);
        SetCursorPos(screen.x, screen.y);
        SendMessageW(Window, WM_SETCURSOR, reinterpret_cast<WPARAM>(Window), MAKELPARAM(HTCLIENT, WM_MOUSEMOVE));
        return GetCursor();
    }
    // A press there, posted and handled as the user's would be.
    void Press(POINT point)
    {
        PointAt(point);
        PostMessageW(Window, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(point.x, point.y));
        PumpUntil([] { return false; }, 50);
    }
    // A message handed to the chart's drag manager; whether it took it.
    bool Drag(UINT message, POINT point)
    {
        LRESULT result = 0;
        return Manager().ProcessWindowMessage(Window, message, 0, MAKELPARAM(point.x, point.y), result, 0);
    }
    CDragManager& Manager() { return *Chart->GetDragManager(); }
};

TEST_F(YAxis, TheWidthMakesRoomForTheWidestNumberAndTheTitleForItsDots)
{
    // The scale, its decimals, and the two ends as text (null: two average characters).
    const std::tuple<const char*, double, double, int, const wchar_t*, const wchar_t*> rows[] = {
        {"negative and decimals", -12345.6, 100, 1, L"-12345.6", L"100.0"},
        {"a huge maximum in exponential form", 0, 1e300, 2, L"0.00", L"1.0000e+300"},
        {"no scale", 5, 1, 0, nullptr, nullptr},
    };
    Show({L"Speed"});
    CWindowDC screen(nullptr);
    CChartDrawInfo info(screen, screen, *Chart, 0);
    SelectObject(screen, info.hFontNormal);
    TEXTMETRICW metrics{};
    GetTextMetricsW(screen, &metrics);
    const int dpiX = GetDeviceCaps(screen, LOGPIXELSX);
    for (const auto& [name, minimum, maximum, decimals, low, high] : rows) {
        SetProperty(Channel(0), L"Autoscale", 0, VT_BOOL);
        SetProperty(Channel(0), L"Display minimum", minimum);
        SetProperty(Channel(0), L"Display maximum", maximum);
        SetProperty(Channel(0), L"Decimal places", decimals, VT_I4);
        int digits = 2 * metrics.tmAveCharWidth;
        for (const wchar_t* text : {low, high}) {
            SIZE size{};
            if (text && GetTextExtentPoint32W(screen, text, lstrlenW(text), &size))
                digits = std::max<int>(digits, size.cx);
        }
        EXPECT_EQ(dpiX * 6 / 72 + metrics.tmHeight + dpiX / 16 + digits,
                  CYAxisRegion::YAxisWidth(info, *Chart->GraphRegion->ChannelRegions.front()))
            << name;
    }
    const std::wstring full = Axis(0).FitTitle(screen, 10000);
    EXPECT_EQ(0u, full.find(std::wstring(Channel(0)->GetDisplayName().View())));
    SIZE size{};
    GetTextExtentPoint32W(screen, full.c_str(), static_cast<int>(full.size()), &size);
    for (int room : {size.cx * 2 / 3, size.cx / 3}) {
        const std::wstring cut = Axis(0).FitTitle(screen, room);
        ASSERT_GT(cut.size(), 3u);
        EXPECT_EQ(full.substr(0, cut.size() - 3) + L"...", cut) << room;
        GetTextExtentPoint32W(screen, cut.c_str(), static_cast<int>(cut.size()), &size);
        EXPECT_LE(size.cx, room);
    }
    EXPECT_EQ(full.substr(0, 1) + L"...", Axis(0).FitTitle(screen, 1));
}

// The band cuts the axis, rounding; a point on it tells what a drag would move: its top and bottom
// quarters the ends, the rest the band.
TEST_F(YAxis, TheBandCutsTheAxisAndItsQuartersAreTheHandles)
{
    // Whether the band is on, tiled, the band (maximum, minimum), and the rows it cuts.
    const std::tuple<const char*, bool, bool, double, double, LONG, LONG> rows[] = {
        {"a band of 300 pixels", true, false, 60, 20, 220, 340},
        {"rounded, not truncated", true, false, 90.1, 10.1, 130, 370},
        {"percentages off", false, false, 60, 20, 100, 400},
        {"tiled", true, true, 60, 20, 100, 400},
    };
    Show({L"Speed"});
    CYAxisRegion& axis = Axis(0);
    CWindowDC screen(nullptr);
    CChartDrawInfo info(screen, screen, *Chart, 0);
    axis.SetBounds(RECT{10, 100, 60, 400});
    for (const auto& [name, enabled, tiled, maximum, minimum, top, bottom] : rows) {
        SCOPED_TRACE(name);
        axis.Recalculate(info);
        Band(Channel(0), enabled, maximum, minimum);
        Chart->GraphRegion->Tiled = tiled;
        // The channel's news marks the band, which the next paint cuts again.
        EXPECT_TRUE(axis.DirtyBits & CYAxisRegion::DirtyBand);
        axis.Recalculate(info);
        EXPECT_EQ(RectText({10, top, 60, bottom}), RectText(axis.AxisRect));
        const int quarter = (bottom - top) / 4;
        const std::pair<LONG, int> hits[] = {
            {top - 1, CYAxisRegion::EdgeNone},         {top, CYAxisRegion::EdgeTop},
            {top + quarter - 1, CYAxisRegion::EdgeTop}, {top + quarter, CYAxisRegion::EdgeBand},
            {bottom - quarter, CYAxisRegion::EdgeBottom}, {bottom, CYAxisRegion::EdgeBottom},
            {bottom + 1, CYAxisRegion::EdgeNone}};
        for (const auto& [y, edge] : hits)
            EXPECT_EQ(enabled ? edge : CYAxisRegion::EdgeNone, axis.HitTest(POINT{30, y})) << y;
        EXPECT_EQ(CYAxisRegion::EdgeNone, axis.HitTest(POINT{61, (top + bottom) / 2}));
    }
    // An axis without a side is never painted, and no handle.
    axis.Side = CGraphRegion::SideNone;
    EXPECT_EQ(CYAxisRegion::EdgeNone, axis.HitTest(POINT{30, 250}));
}

// The spine stands on the graph's side, over the band alone; ticks point away from the graph, minor
// ones shorter. A drag paints the axis at once, with no paint of the chart.
TEST_F(YAxis, TheSpineAndTicksStandOnTheBandAndFollowTheDrag)
{
    Show({L"Speed", L"RPM"}, {{80, 10}});
    SetProperty(Channel(0), L"Autoscale", 0, VT_BOOL);
    SetProperty(Channel(0), L"Display minimum", 0);
    SetProperty(Channel(0), L"Display maximum", 100);
    // The active axis follows the active channel.
    for (size_t place : {1u, 0u}) {
        Task().SetActiveTrace(Channel(place), Channel(place)->GetTraces().front());
        Paint();
        const CYAxisRegion* active = Chart->GraphRegion->ActiveYAxis.get();
        EXPECT_TRUE(active && active->Channel == Channel(place) && active->Trace == Task().GetActiveTrace()) << place;
    }
    CYAxisRegion& axis = Axis(0);
    ASSERT_TRUE(axis.Trace);
    const COLORREF colour = axis.Trace->GetColor();
    const RECT band = axis.AxisRect;
    const int spine = band.right;
    const int minor = GetDeviceCaps(CWindowDC(Window), LOGPIXELSX) * 3 / 72;
    CAxisTicks ticks;
    CWindowDC screen(nullptr);
    CChartDrawInfo info(screen, screen, *Chart, 0);
    ASSERT_EQ(S_OK, axis.GetYTicks(info, ticks, FALSE));
    EXPECT_EQ(0, ticks.Decimals);
    // The first minor tick that is no major one.
    const double value = ticks.MinorStart + ticks.MinorStep;
    const int y = static_cast<int>(band.bottom - (band.bottom - band.top) * value / 100.0);
    auto shown = CaptureWindow(Window);
    EXPECT_EQ("110010", Inked(*shown, colour,
                              {{spine, (band.top + band.bottom) / 2}, {spine, band.top}, {spine, band.top - 2},
                               {spine, band.bottom + 2}, {spine - minor, y}, {spine - minor - 1, y}}));
    POINT point = On(axis, CYAxisRegion::EdgeTop);
    Press(point);
    point.y -= 1000;
    Drag(WM_MOUSEMOVE, point);
    EXPECT_FALSE(GetUpdateRect(Window, nullptr, FALSE));
    EXPECT_EQ(colour, CaptureWindow(Window)->Pixel(spine, axis.Bounds.top));
    Drag(WM_LBUTTONUP, point);
    // Tiled, the axis shows only the ticks at its two ends.
    ASSERT_EQ(S_OK, Owner->put_Tiled(VARIANT_TRUE));
    Paint();
    CYAxisRegion& tiled = Axis(0);
    ASSERT_TRUE(tiled.HideMarks);
    const RECT strip = tiled.AxisRect;
    shown = CaptureWindow(Window);
    EXPECT_EQ("11", Inked(*shown, colour, {{strip.right - minor, strip.top}, {strip.right - minor, strip.bottom}}));
    for (int row = strip.top + 1; row < strip.bottom; row += 3)
        EXPECT_NE(colour, shown->Pixel(strip.right - minor, row)) << row;
    // No ticks for the active channel when there is none; without a scale, no ticks and no ends.
    Task().SetActiveChannel(nullptr);
    EXPECT_EQ(E_FAIL, tiled.GetYTicks(info, ticks, TRUE));
    SetProperty(Channel(0), L"Display maximum", -1);
    EXPECT_EQ(E_FAIL, tiled.GetYTicks(info, ticks, FALSE));
    Paint();
    EXPECT_NE(colour, CaptureWindow(Window)->Pixel(Axis(0).AxisRect.right - minor, Axis(0).AxisRect.top));
}

// A drag far above or below writes the edges that moved, within a pixel, keeping a tenth of the
// height; posted to the window, the drop orders the channels by their bands.
TEST_F(YAxis, TheDropWritesTheBandThatTheDragLeftAndOrdersTheChannels)
{
    // The edge taken, how far it goes, and the band (maximum, minimum) written.
    const std::tuple<const char*, int, int, double, double> rows[] = {
        {"top up past the top", CYAxisRegion::EdgeTop, -1000, 100, 20},
        {"top down past the bottom", CYAxisRegion::EdgeTop, 1000, 30, 20},
        {"bottom down past the bottom", CYAxisRegion::EdgeBottom, 1000, 60, 0},
        {"bottom up past the top", CYAxisRegion::EdgeBottom, -1000, 60, 50},
        {"band up past the top", CYAxisRegion::EdgeBand, -1000, 100, 60},
        {"band down past the bottom", CYAxisRegion::EdgeBand, 1000, 40, 0},
    };
    for (const auto& [name, edge, dy, maximum, minimum] : rows) {
        SCOPED_TRACE(name);
        Show({L"Speed"}, {{60, 20}});
        CYAxisRegion& axis = Axis(0);
        POINT point = On(axis, edge);
        Press(point);
        ASSERT_EQ(&axis, static_cast<CYAxisRegion*>(Manager().ActiveMode));
        point.y += dy;
        EXPECT_TRUE(Drag(WM_MOUSEMOVE, point) && Drag(WM_LBUTTONUP, point) && !Manager().ActiveMode);
        ExpectBand(Channel(0)->GetProperties(), maximum, minimum, 100.0 / (axis.Bounds.bottom - axis.Bounds.top));
    }
    Show({L"Speed", L"RPM", L"Throttle"}, {{100, 70}, {65, 35}, {30, 0}});
    const double pixel = 100.0 / (Axis(2).Bounds.bottom - Axis(2).Bounds.top);
    POINT point = On(Axis(2), CYAxisRegion::EdgeBand);
    Press(point);
    point.y -= 1000;
    PostMessageW(Window, WM_MOUSEMOVE, MK_LBUTTON, MAKELPARAM(point.x, point.y));
    PostMessageW(Window, WM_LBUTTONUP, 0, MAKELPARAM(point.x, point.y));
    PumpUntil([] { return false; }, 100);
    EXPECT_FALSE(Manager().ActiveMode);
    ASSERT_EQ((std::vector<std::wstring>{L"Speed", L"Throttle", L"RPM"}), Names());
    ExpectBand(Channel(1)->GetProperties(), 100, 70, pixel);
}

// A channel that must move into or out of the grouped head dissolves the head first.
TEST_F(YAxis, OrderingByBandDissolvesTheGroupedHead)
{
    CComPtr<IQvxGroupFactory> factory;
    ASSERT_EQ(S_OK, CoCreateInstance(CLSID_QvxGroupFactory, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IQvxGroupFactory),
                                     factory.OutVoid()));
    CComPtr<IQvxGroup> group;
    ASSERT_TRUE(SUCCEEDED(factory->CreateGroup(CBstr(L"Engine").Get(), group.Out())));
    ASSERT_EQ(S_OK, group->AddMember(CBstr(L"Throttle").Get()));
    CComPtr<IQvxGroups> groups;
    ASSERT_EQ(S_OK, CComObject<CGroups>::CreateInstance(groups));
    ASSERT_EQ(S_OK, groups->Add(group));
    Task().GetOrdering()->SetGroups(static_cast<CGroups*>(groups.Get()));
    // The head comes first: Throttle, Speed, RPM.
    Show({L"Speed", L"RPM", L"Throttle"}, {{30, 0}, {100, 70}, {65, 35}});
    ASSERT_EQ((std::vector<std::wstring>{L"Throttle", L"Speed", L"RPM"}), Names());
    ASSERT_EQ(1, Task().GetOrdering()->GetGroupedCount());
    POINT point = On(Axis(2), CYAxisRegion::EdgeTop);
    Press(point);
    ASSERT_TRUE(Manager().ActiveMode);
    point.y -= 5;
    Drag(WM_LBUTTONUP, point);
    EXPECT_EQ(0, Task().GetOrdering()->GetGroupedCount());
    EXPECT_EQ((std::vector<std::wstring>{L"Speed", L"RPM", L"Throttle"}), Names());
    Task().GetOrdering()->SetGroups(nullptr);
}

// Over the axis the pointer shows what a drag would move, locked (and a press starts nothing) under
// a vertical zoom or for a band that fills the axis. Escape, or the channel's removal, ends the drag
// without writing the band.
TEST_F(YAxis, TheCursorShowsTheHandleAndAZoomOrAnEscapeLocksIt)
{
    // Zoomed, a band that fills the axis, the edge pointed at, and the cursor shown.
    const std::tuple<const char*, bool, bool, int, HCURSOR CYAxisRegion::*> rows[] = {
        {"top", false, false, CYAxisRegion::EdgeTop, &CYAxisRegion::CursorTop},
        {"top zoomed", true, false, CYAxisRegion::EdgeTop, &CYAxisRegion::CursorTopLocked},
        {"bottom zoomed", true, false, CYAxisRegion::EdgeBottom, &CYAxisRegion::CursorBottomLocked},
        {"band filling the axis", false, true, CYAxisRegion::EdgeBand, &CYAxisRegion::CursorBandLocked},
    };
    for (const auto& [name, zoomed, wholeBand, edge, cursor] : rows) {
        SCOPED_TRACE(name);
        Show({L"Speed", L"RPM"}, {wholeBand ? std::pair{100.0, 0.0} : std::pair{60.0, 20.0}});
        Task().ClearYZoom();
        if (zoomed) Task().PushYZoom(CYZoom{0.2, 0.8});
        CYAxisRegion& axis = Axis(0);
        EXPECT_EQ(axis.*cursor, PointAt(On(axis, edge)));
        Press(On(axis, edge));
        EXPECT_EQ(zoomed ? nullptr : &axis, static_cast<CYAxisRegion*>(Manager().ActiveMode));
        Drag(WM_LBUTTONUP, On(axis, edge));
    }
    // The channel without a band is no handle: the window's own cursor, and no drag.
    const HCURSOR own = reinterpret_cast<HCURSOR>(GetClassLongPtrW(Window, GCLP_HCURSOR));
    EXPECT_EQ(own, PointAt(On(Axis(1), CYAxisRegion::EdgeBand)));
    Press(On(Axis(1), CYAxisRegion::EdgeBand));
    EXPECT_FALSE(Manager().ActiveMode);
    Task().ClearYZoom();
    Show({L"Speed", L"RPM"}, {{60, 20}});
    POINT point = On(Axis(0), CYAxisRegion::EdgeTop);
    const RECT before = Axis(0).AxisRect;
    Press(point);
    point.y -= 30;
    Drag(WM_MOUSEMOVE, point);
    EXPECT_NE(before.top, Axis(0).AxisRect.top);
    LRESULT result = 0;
    EXPECT_TRUE(Manager().ProcessWindowMessage(Window, WM_KEYDOWN, VK_ESCAPE, 0, result, 0) && !Manager().ActiveMode);
    EXPECT_EQ(RectText(before), RectText(Axis(0).AxisRect));
    ExpectBand(Channel(0)->GetProperties(), 60, 20);
    // The channel goes during a drag, and its axis with the next paint: the drag ends with it.
    CComPtr<IQvxPropertySet> properties = Channel(0)->GetProperties();
    Press(On(Axis(0), CYAxisRegion::EdgeTop));
    ASSERT_TRUE(Manager().ActiveMode);
    Task().GetOrdering()->SetNames({CBstr(L"RPM")});
    Paint();
    EXPECT_FALSE(Manager().ActiveMode);
    EXPECT_FALSE(Drag(WM_LBUTTONUP, point));
    ExpectBand(properties, 60, 20);
}

} // namespace
