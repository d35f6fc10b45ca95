// The graph: its layout overlaid and tiled on two devices, its grids, the mode text, its
// properties, and its window messages posted to a chart in place over the substitute host.
#include <gtest/gtest.h>
#include <functional>
#include <string>
#include <tuple>
#include <windowsx.h>
#include "tests/LiveInPlaceSupport.h"
#include "tests/ChartTestSupport.h"
#include "control/ChartDrawInfo.h"
#include "items/ChannelDataItem.h"
#include "items/ItemFlags.h"
#include "items/RTCTaskDataItem.h"
#include "interaction/DragManager.h"
#include "interaction/FragileManager.h"
#include "regions/ChannelRegion.h"
#include "regions/GraphRegion.h"
#include "regions/ScrollbarRegion.h"
#include "regions/XAxisRegion.h"
#include "regions/YAxisRegion.h"
#include "scales/AxisTicks.h"
#include "scales/ValueToPixel.h"

using namespace qvxtest;

namespace {

int Width(const RECT& rect) { return rect.right - rect.left; }
bool Empty(const RECT& rect) { return rect.right <= rect.left || rect.bottom <= rect.top; }

class GraphTest : public LiveChartInPlace
{
protected:
    GraphTest()
    {
        NewLayout = true;
        Position = RECT{0, 0, 800, 400};
    }
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(LiveChartInPlace::SetUp());
        Advance(30 * Second);
    }
    CRTCGraphRegion& Graph() { return *Chart->GraphRegion; }
    // The chart shows `count` channels: the names the host knows first, then names it does not know.
    void Choose(size_t count)
    {
        static const wchar_t* const known[] = {L"Speed", L"RPM", L"Throttle", L"Brake", L"Gear", L"Lateral g"};
        std::vector<CBstr> names;
        for (size_t i = 0; i < count; ++i)
            names.push_back(i < std::size(known) ? CBstr(known[i]) : CBstr(L"Extra " + std::to_wstring(i)));
        Task().GetOrdering()->SetNames(names);
    }
    // The graph laid out on `bounds`, measured on `ref`.
    void Lay(const RECT& bounds, HDC ref)
    {
        CChartDrawInfo info(Screen, ref, *Chart, 0);
        Graph().SetBounds(bounds);
        Graph().Recalculate(info);
        const HGDIOBJ old = SelectObject(ref, info.hFontNormal);
        GetTextMetricsW(ref, &Metrics);
        SelectObject(ref, old);
        Widths.clear();
        for (auto& region : Graph().ChannelRegions) Widths.push_back(CYAxisRegion::YAxisWidth(info, *region));
    }
    // The graph drawn on a white surface.
    std::unique_ptr<CDibSurface> Draw(int width, int height)
    {
        auto surface = std::make_unique<CDibSurface>(width, height, 0xFFFFFF);
        CChartDrawInfo info(surface->Dc(), Screen, *Chart, 0);
        Graph().Draw(info);
        return surface;
    }
    CDeviceContext Screen{CreateCompatibleDC(nullptr)};
    TEXTMETRICW Metrics{};
    std::vector<int> Widths;
};

// The graph's window messages, posted to the chart in its window.
class GraphMessages : public GraphTest
{
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(GraphTest::SetUp());
        Choose(4);
        ASSERT_TRUE(Repaint());
        const RECT& graph = Graph().GraphRect;
        Middle = MAKELPARAM((graph.left + graph.right) / 2, (graph.top + graph.bottom) / 2);
    }
    // The keys that GetKeyState sees held.
    static void SetKeys(const std::vector<int>& keys)
    {
        BYTE state[256] = {};
        for (int key : keys) state[key] = 0x80;
        SetKeyboardState(state);
    }
    // Posted with `held` keys down, and taken.
    void Post(UINT message, WPARAM wParam, LPARAM lParam, const std::vector<int>& held = {})
    {
        SetKeys(held);
        PostMessageW(Window, message, wParam, lParam);
        PumpUntil([] { return false; }, 30);
        SetKeys({});
    }
    LPARAM Middle = 0;
};

} // namespace

// Overlaid and tiled, for 0 to 32 channels, on the screen and on paper, at two sizes; then the
// strips, the margin and a graph too narrow for traces.
TEST_F(GraphTest, LayoutPlacesAxesBarsAndChannelsAroundTheTraces)
{
    CDeviceContext printer = CreateTestPrinterDC();
    ASSERT_TRUE(printer);
    for (BOOL tiled : {FALSE, TRUE})
        for (size_t channels : {0u, 1u, 3u, 32u})
            for (HDC ref : {static_cast<HDC>(Screen), static_cast<HDC>(printer)})
                for (const RECT& bounds : {RECT{0, 0, 800, 500}, RECT{20, 10, 1619, 1209}}) {
                    SCOPED_TRACE(testing::Message() << "tiled " << tiled << ", " << channels << " channels, "
                                                    << (ref == Screen ? "screen, " : "paper, ") << RectText(bounds));
                    Choose(channels);
                    // Known channels stand on the left, on the right and on no side in turn.
                    int position = 0;
                    for (CChannelDataItem* channel : Task().GetOrdering()->GetItems())
                        ASSERT_TRUE(position >= 6 || channel->SetAuxiliaryAxis(++position % 3) == S_OK);
                    Graph().SetTiled(tiled);
                    Lay(bounds, ref);
                    const int dpiX = GetDeviceCaps(ref, LOGPIXELSX), dpiY = GetDeviceCaps(ref, LOGPIXELSY);
                    const RECT& graph = Graph().GraphRect;
                    const RECT& top = Graph().HorizontalScrollbar->Bounds;
                    const RECT& side = Graph().VerticalScrollbar->Bounds;
                    ASSERT_TRUE(Graph().ChannelRegions.size() == channels && Graph().YAxes.size() == channels);
                    // The x axis, two lines of text and a tick, under the graph and as wide as it; the
                    // time bar above the graph, the zoom bar at its right.
                    EXPECT_EQ(RectText({graph.left, graph.bottom + 1, graph.right, bounds.bottom}),
                              RectText(Graph().XAxis->Bounds));
                    EXPECT_EQ(2 * Metrics.tmHeight + dpiY * 6 / 72, bounds.bottom - graph.bottom - 1);
                    EXPECT_EQ(RectText({top.left, bounds.top + dpiY / 16, top.right, graph.top - 1}), RectText(top));
                    EXPECT_EQ(dpiY / 12 - 2, top.bottom - top.top);
                    EXPECT_TRUE(side.right == bounds.right - dpiY / 16 && Width(side) == dpiX / 12 - 2);
                    EXPECT_EQ(Task().GetPlotWidth(), Width(graph));
                    // The active axis takes the widest column next to the graph; then each
                    // channel's axis, from the last channel to the first, takes the next column
                    // outwards on its side, and an axis on no side takes no room.
                    int widest = Metrics.tmHeight + dpiX / 16 + dpiX * 6 / 72 + 2 * Metrics.tmAveCharWidth;
                    for (int w : Widths) widest = std::max(widest, w);
                    const int rightOut = side.left - 1;
                    if (!tiled) {
                        ASSERT_TRUE(Graph().ActiveYAxis);
                        const RECT& active = Graph().ActiveYAxis->Bounds;
                        // Axes wider than the graph: their column is cut back to end at its right.
                        const bool overflow = graph.left > graph.right;
                        EXPECT_EQ(active.right, overflow ? graph.right : graph.left - 1);
                        EXPECT_EQ(Width(active), widest);
                        int left = active.left - 1, right = rightOut;
                        size_t i = channels;
                        for (auto y = Graph().YAxes.rbegin(); y != Graph().YAxes.rend(); ++y) {
                            const int position = (*y)->Channel->GetAuxiliaryAxis();
                            const RECT& box = (*y)->Bounds;
                            EXPECT_EQ(Width(box), Widths[--i]) << i;
                            if (position == 1 || position == 2) {
                                EXPECT_EQ(box.right, position == 1 ? left : right) << i;
                                EXPECT_TRUE(EqualRect(&box, &(*y)->TextClip)) << i;
                                (position == 1 ? left : right) = box.left - 1;
                            } else {
                                EXPECT_EQ(CGraphRegion::SideNone, (*y)->Side) << i;
                                EXPECT_TRUE(Empty((*y)->TextClip)) << i;
                            }
                        }
                        EXPECT_TRUE((overflow || left == bounds.left + dpiY / 16) && right == graph.right);
                        for (auto& region : Graph().ChannelRegions) EXPECT_TRUE(EqualRect(&region->Bounds, &graph));
                    } else {
                        EXPECT_FALSE(Graph().ActiveYAxis);
                        EXPECT_TRUE(graph.left == bounds.left + dpiY / 16 + widest + 2 && graph.right == rightOut);
                        // Strips one under the other, from the graph's top to its bottom.
                        int next = graph.top;
                        auto y = Graph().YAxes.begin();
                        for (auto& region : Graph().ChannelRegions) {
                            const RECT& box = (*y++)->Bounds;
                            EXPECT_EQ(region->Bounds.top, next);
                            EXPECT_EQ(RectText({box.left, region->Bounds.top, graph.left - 1, region->Bounds.bottom}),
                                      RectText(box));
                            next = region->Bounds.bottom + 1;
                        }
                        EXPECT_TRUE(!channels || next == graph.bottom + 1);
                    }
                }
    // Three tiled channels on rows 100 to 400 end at 200, 300 and 400.
    Choose(3);
    Graph().SetTiled(TRUE);
    Lay(RECT{0, 0, 900, 600}, Screen);
    // Shift the graph so that its rows are 100 to 400.
    Lay(RECT{0, 100 - Graph().GraphRect.top, 900, 600 + (400 - Graph().GraphRect.bottom)}, Screen);
    ASSERT_EQ(RectText({Graph().GraphRect.left, 100, Graph().GraphRect.right, 400}), RectText(Graph().GraphRect));
    std::vector<std::pair<LONG, LONG>> strips;
    for (auto& region : Graph().ChannelRegions) strips.emplace_back(region->Bounds.top, region->Bounds.bottom);
    EXPECT_EQ((std::vector<std::pair<LONG, LONG>>{{100, 200}, {201, 300}, {301, 400}}), strips);
    Graph().SetTiled(FALSE);
    Graph().ShowActiveYAxis = FALSE;
    for (CChannelDataItem* channel : Task().GetOrdering()->GetItems()) ASSERT_EQ(S_OK, channel->SetAuxiliaryAxis(0));
    Graph().DirtyBits |= CGraphRegion::DirtyYAxes;
    Lay(RECT{0, 0, 900, 600}, Screen);
    EXPECT_EQ(Graph().GraphRect.left, GetDeviceCaps(Screen, LOGPIXELSY) / 16 + 1);
    EXPECT_TRUE(Empty(Graph().SegmentsSplits.Bounds));
    // Narrower than the active axis: no room for traces, and a paint that draws what fits.
    Graph().ShowActiveYAxis = TRUE;
    Graph().DirtyBits |= CGraphRegion::DirtyYAxes;
    for (const RECT& tiny : {RECT{0, 0, 30, 20}, RECT{0, 0, 0, 0}, RECT{5, 5, 5, 400}}) {
        Lay(tiny, Screen);
        EXPECT_GE(Graph().GraphRect.left, Graph().GraphRect.right);
        Draw(60, 60);
    }
}

// A fixed grid on a graph 995 pixels wide stands at tenths rounded to the nearest pixel; otherwise
// on the time axis's ticks, major or minor; without a grid there are none.
TEST_F(GraphTest, TheGridStandsOnRoundedTenthsOrOnTheTimeAxisTicks)
{
    Lay(RECT{0, 0, 1200, 400}, Screen);
    Graph().GraphRect = RECT{10, 50, 1005, 350};
    Graph().ShowYAxisGrid = FALSE;
    // The cursor would stand on the first line.
    Graph().ShowCursors = FALSE;
    auto surface = Draw(1200, 400);
    const COLORREF grid = CChartDrawInfo(surface->Dc(), Screen, *Chart, 0).GetGridPaintColour();
    ASSERT_NE(grid, 0xFFFFFFu);
    std::vector<int> lines;
    for (int x = 10; x <= 1005; ++x)
        if (surface->Pixel(x, 120) == grid) lines.push_back(x - 10);
    EXPECT_EQ((std::vector<int>{0, 100, 199, 299, 398, 498, 597, 697, 796, 896, 995}), lines);
    // The border lines just outside the traces' rectangle.
    EXPECT_EQ("11", Inked(*surface, grid, {{9, 120}, {1006, 120}}));
    Graph().ShowGrid = FALSE;
    EXPECT_EQ(0xFFFFFFu, Draw(1200, 400)->Pixel(110, 120));
    Graph().ShowGrid = TRUE;
    Lay(RECT{0, 0, 900, 400}, Screen);
    Graph().FixedGrid = FALSE;
    for (BOOL minor : {FALSE, TRUE}) {
        SCOPED_TRACE(minor ? "minor" : "major");
        Graph().ShowXAxisGridMinorLines = minor;
        surface = Draw(900, 400);
        CChartDrawInfo info(surface->Dc(), Screen, *Chart, 0);
        CAxisTicks ticks;
        ASSERT_EQ(S_OK, Graph().XAxis->GetTimeTicks(info, ticks));
        const RECT& graph = Graph().GraphRect;
        std::vector<int> expected, drawn;
        WalkSeries(minor ? ticks.MinorStart : ticks.MajorStart, minor ? ticks.MinorStep : ticks.MajorStep,
                   ticks.Minimum, ticks.Maximum, [&](double value) {
                       expected.push_back(MapToPixel(graph.left, graph.right, ticks.Minimum, ticks.Maximum, value,
                                                     true, false));
                   });
        ASSERT_GT(expected.size(), 2u);
        const int row = (graph.top + graph.bottom) / 2 + 3;
        for (int x = graph.left; x <= graph.right; ++x)
            if (surface->Pixel(x, row) != 0xFFFFFFu) drawn.push_back(x);
        EXPECT_EQ(expected, drawn);
    }
}

// The mode text in the corner: what the control mode says, drawn at the x axis's last line, and
// nothing with no task.
TEST_F(GraphTest, ModeTextTellsTheControlMode)
{
    ASSERT_EQ(S_OK, Owner->put_ShowGrid(VARIANT_FALSE));
    Lay(RECT{0, 0, 600, 300}, Screen);
    const std::tuple<const char*, std::function<void()>, const wchar_t*> rows[] = {
        {"local pause", [&] { LocalPause(); }, L"Local Pause "},
        {"no task", [&] { Task().SetTask(nullptr), Task().RefreshControlMode(); }, L""},
    };
    for (const auto& [name, enter, text] : rows) {
        enter();
        Graph().SetBounds(RECT{0, 0, 600, 300});
        auto surface = Draw(600, 300);
        EXPECT_EQ(text, std::wstring(Graph().ModeText.Get() ? Graph().ModeText.Get() : L"")) << name;
        // Whether anything but the background shows in the corner where the text stands.
        bool inked = false;
        const RECT& axis = Graph().XAxis->Bounds;
        for (int y = axis.bottom - Metrics.tmHeight; y < axis.bottom; ++y)
            for (int x = 1; x < 40; ++x) inked |= surface->Pixel(x, y) != 0xFFFFFFu;
        EXPECT_EQ(*text != 0, inked) << name;
    }
}

TEST_F(GraphTest, PropertiesReachTheGraphWithTheirLimits)
{
    using Put = HRESULT (STDMETHODCALLTYPE IQvxLinnographCtl4::*)(VARIANT_BOOL);
    using Get = HRESULT (STDMETHODCALLTYPE IQvxLinnographCtl4::*)(VARIANT_BOOL*);
    using I = IQvxLinnographCtl4;
    using G = CGraphRegion;
    // The control's setter and getter, the graph's field, and the layout work that a change marks.
    const std::tuple<const char*, Put, Get, BOOL CGraphRegion::*, DWORD> flags[] = {
        {"ShowGrid", &I::put_ShowGrid, &I::get_ShowGrid, &G::ShowGrid, 0},
        {"ShowActiveYAxis", &I::put_ShowActiveYAxis, &I::get_ShowActiveYAxis, &G::ShowActiveYAxis, G::DirtyYAxes},
        {"ShowGridActiveTraceOnly", &I::put_ShowGridActiveTraceOnly, &I::get_ShowGridActiveTraceOnly,
         &G::ShowGridActiveTraceOnly, 0},
    };
    Lay(RECT{0, 0, 600, 300}, Screen);
    I* control = Owner.Get();
    for (const auto& [name, setter, getter, field, dirty] : flags) {
        const BOOL was = Graph().*field;
        Graph().DirtyBits = 0;
        ASSERT_EQ(S_OK, (control->*setter)(was ? VARIANT_FALSE : VARIANT_TRUE)) << name;
        EXPECT_TRUE(Graph().*field == !was && Graph().DirtyBits == dirty) << name;
        VARIANT_BOOL read = 1;
        EXPECT_TRUE((control->*getter)(&read) == S_OK && read == (was ? VARIANT_FALSE : VARIANT_TRUE)) << name;
        EXPECT_EQ(E_POINTER, (control->*getter)(nullptr)) << name;
        // Anything but VARIANT_TRUE is false.
        (control->*setter)(1);
        EXPECT_EQ(FALSE, Graph().*field) << name;
    }
    // A point size of two tenths reads back as 0; above 60 is refused and keeps the size.
    const std::tuple<short, HRESULT, short> sizes[] = {
        {30, S_OK, 30}, {2, S_OK, 0}, {60, S_OK, 60}, {61, E_INVALIDARG, 60}, {-1, E_INVALIDARG, 60}};
    for (const auto& [given, answer, stored] : sizes) {
        EXPECT_EQ(answer, Owner->put_PointSize(given)) << given;
        short read = -5;
        ASSERT_EQ(S_OK, Owner->get_PointSize(&read));
        EXPECT_EQ(stored, read) << given;
    }
    // Tiling gives up a vertical zoom; a trace style makes every channel's traces again.
    Choose(2);
    Lay(RECT{0, 0, 600, 300}, Screen);
    Task().PushYZoom(CYZoom{0.2, 0.4});
    ASSERT_EQ(S_OK, Owner->put_Tiled(VARIANT_TRUE));
    EXPECT_TRUE(Graph().Tiled && Task().GetYZoom() == (CYZoom{0.0, 1.0}));
    EXPECT_TRUE(Graph().DirtyBits & CGraphRegion::DirtyYAxes);
    ASSERT_EQ(S_OK, Owner->put_TraceStyle(qvxPoints));
    for (auto& region : Graph().ChannelRegions) EXPECT_TRUE(region->DirtyBits & CChannelRegion::DirtyTraceRegions);
    ::QvxTraceStyle style = qvxLines;
    EXPECT_TRUE(Owner->get_TraceStyle(&style) == S_OK && style == qvxPoints);
}

// The root hears the ordered channels; the bars and cursors follow the mode from the next paint; a
// graph never laid out takes no message that needs the traces' rectangle.
TEST_F(GraphTest, TheRootWatchesTheOrderedChannelsAndFollowsTheMode)
{
    Choose(3);
    Choose(2);
    const std::vector<CChannelDataItem*>& channels = Task().GetOrdering()->GetItems();
    ASSERT_EQ(2u, channels.size());
    for (CChannelDataItem* channel : channels) EXPECT_TRUE(channel->HasListener(Chart)) << channel;
    for (DWORD flag : {ChannelTracesStale, ChannelNameStale, DWORD(0x2), DWORD(0x20)}) {
        Chart->DirtyBits = 0;
        channels.front()->NotifyChange(flag, 1);
        EXPECT_EQ((flag & 0x9D) ? CChartRegionBase::DirtyAll : 0u, Chart->DirtyBits) << flag;
    }
    CDibSurface surface(600, 300);
    for (bool paused : {false, true}) {
        if (paused) LocalPause();
        ASSERT_EQ(S_OK, DrawInto(Owner, surface.Dc(), RECTL{0, 0, 600, 300}));
        EXPECT_TRUE(paused == !!Graph().HorizontalScrollbar->Enabled && paused == !!Graph().VerticalScrollbar->Enabled
                    && paused == !!Graph().ShowCursors) << paused;
    }
    CComPtr<IQvxLinnographCtl4> fresh;
    CTestChartCtl* chart = CreateTestChart(fresh);
    ASSERT_TRUE(chart);
    const std::tuple<UINT, WPARAM, bool> rows[] = {
        {WM_LBUTTONDOWN, MK_LBUTTON, false}, {WM_MBUTTONDOWN, MK_MBUTTON, false}, {WM_KEYDOWN, VK_NEXT, true},
        {WM_SETCURSOR, 0, false}};
    for (const auto& [message, wParam, taken] : rows) {
        LRESULT result = 0;
        EXPECT_EQ(taken, chart->GraphRegion->ProcessWindowMessage(nullptr, message, wParam, 0, result, 0)) << message;
    }
}

TEST_F(GraphMessages, EachRowReachesItsTaskOperation)
{
    const auto wheel = [](short delta, WORD keys) { return MAKEWPARAM(keys, static_cast<WORD>(delta)); };
    const auto cursor = [&] { return std::to_wstring(Task().GetCursorTime()); };
    const auto active = [&] { return std::to_wstring(reinterpret_cast<uintptr_t>(Task().GetActiveChannel())); };
    const auto view = [&] {
        qvx::time minimum = 0, maximum = 0;
        Task().GetTimeRange(minimum, maximum);
        return std::to_wstring(minimum) + L".." + std::to_wstring(maximum);
    };
    // The keys held, the message, what comes before it, and what the row changes: the row passes
    // when that reads differently afterwards.
    using Row = std::tuple<const char*, std::vector<int>, UINT, WPARAM, std::function<void()>,
                           std::function<std::wstring()>>;
    const Row rows[] = {
        {"Home goes to the first sample", {}, WM_KEYDOWN, VK_HOME, {}, cursor},
        {"Shift wheel activates the previous trace", {}, WM_MOUSEWHEEL, wheel(120, MK_SHIFT), {}, active},
        {"Ctrl wheel zooms in at the cursor", {}, WM_MOUSEWHEEL, wheel(120, MK_CONTROL), {}, view},
        {"Alt Right scrolls on by 10 percent", {VK_MENU}, WM_SYSKEYDOWN, VK_RIGHT, {}, view},
        {"the wheel scrolls a vertical zoom", {}, WM_MOUSEWHEEL, wheel(120, 0),
         [&] { Task().PushYZoom(CYZoom{0.25, 0.5}); }, [&] { return std::to_wstring(Task().GetYZoom().Low); }},
        {"Ctrl wheel back undoes both zooms", {}, WM_MOUSEWHEEL, wheel(-120, MK_CONTROL), {},
         [&] { return std::to_wstring(Task().GetYZoomLevels().size()); }},
    };
    // The chart pauses on the host's pause, so that its cursor and view may move.
    Advance(300 * Second);
    HostRuns(false);
    ASSERT_TRUE(PumpUntilPainted(Window));
    Task().SetCursor(50 * Second, 0);
    ASSERT_TRUE(Task().GetActiveChannel());
    for (const auto& [name, held, message, wParam, before, read] : rows) {
        if (before) before();
        const std::wstring was = read();
        Post(message, wParam, Middle, held);
        EXPECT_NE(was, read()) << name;
    }
}

// A press on the traces of a running chart pauses it; on a paused one presses and the keypad's plus
// start the graph's modes. Alt shows the edit cursor over a paused, zoomed chart only.
TEST_F(GraphMessages, PressesPauseTheChartAndHandTheirModesToTheManagers)
{
    CDragManager& drag = *Chart->GetDragManager();
    CFragileManager& fragile = *Chart->GetFragileManager();
    POINT screen{GET_X_LPARAM(Middle), GET_Y_LPARAM(Middle)};
    ClientToScreen(Window, &screen);
    SetCursorPos(screen.x, screen.y);
    SetKeys({VK_MENU});
    EXPECT_FALSE(Graph().OnSetCursor(screen));
    SetKeys({});
    ASSERT_TRUE(Task().GetMode().IsRunning());
    Post(WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(2, 2));
    EXPECT_TRUE(Task().GetMode().IsRunning());
    // Running, only the plain press is taken.
    Post(WM_LBUTTONDOWN, MK_LBUTTON | MK_CONTROL, Middle, {VK_CONTROL});
    EXPECT_EQ(nullptr, drag.ActiveMode);
    Post(WM_LBUTTONDOWN, MK_LBUTTON, Middle);
    Post(WM_LBUTTONUP, 0, Middle);
    EXPECT_TRUE(!Task().GetMode().IsRunning() && Task().GetMode().IsLocallyHeld() && Chart->Running == 0u);
    HostRuns(false);
    ASSERT_TRUE(PumpUntilPainted(Window));
    ASSERT_TRUE(Task().IsZoomed());
    SetKeys({VK_MENU});
    EXPECT_TRUE(Graph().OnSetCursor(screen) && GetCursor() == Graph().EditCursor);
    SetKeys({VK_MENU, VK_CONTROL});
    EXPECT_FALSE(Graph().OnSetCursor(screen));
    SetKeys({});
    // The keys held, the press and its keys, the mode that it starts, and the message that ends it.
    const std::tuple<const char*, std::vector<int>, UINT, WPARAM, CDragModeBase*, UINT> rows[] = {
        {"Ctrl zooms", {VK_CONTROL}, WM_LBUTTONDOWN, MK_LBUTTON | MK_CONTROL, &Graph().ZoomDrag, WM_LBUTTONUP},
        {"Alt scrolls", {VK_MENU}, WM_LBUTTONDOWN, MK_LBUTTON, &Graph().ScrollDrag, WM_LBUTTONUP},
        {"a plain press drags the cursor", {}, WM_LBUTTONDOWN, MK_LBUTTON, &Graph().CursorDrag, WM_LBUTTONUP},
        {"the middle button scrolls by itself", {}, WM_MBUTTONDOWN, MK_MBUTTON, &Graph().MouseAutoScroll,
         WM_MBUTTONDOWN},
    };
    for (const auto& [name, held, press, keys, mode, release] : rows) {
        Post(press, keys, Middle, held);
        EXPECT_EQ(mode, drag.ActiveMode) << name;
        Post(release, 0, Middle);
        EXPECT_EQ(nullptr, drag.ActiveMode) << name;
    }
    Post(WM_KEYDOWN, VK_ADD, 0);
    EXPECT_TRUE(fragile.ActiveMode == &Graph().KeyboardAutoScroll && Graph().KeyboardAutoScroll.Direction == 1);
    // A press breaks it and still places the cursor.
    Post(WM_LBUTTONDOWN, MK_LBUTTON, Middle);
    EXPECT_TRUE(fragile.ActiveMode == nullptr && drag.ActiveMode == &Graph().CursorDrag);
    Post(WM_LBUTTONUP, 0, Middle);
}
