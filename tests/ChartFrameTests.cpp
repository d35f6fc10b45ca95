// The chart frame, linked: the tree that construction builds, the paint path with its kept back
// buffer, paper and metafiles, the border, the repaint contract through a live window, the
// properties that lay the root out again, the message chain and the teardown.
#include <gtest/gtest.h>
#include <cstring>
#include <functional>
#include <tuple>
#include <utility>
#include "tests/ChartFrameTestSupport.h"
#include "tests/ChartTestSupport.h"
#include "interaction/FlashingTraceManager.h"
#include "items/ItemFlags.h"
#include "items/RTCTaskDataItem.h"

using namespace qvxtest;

namespace {

constexpr COLORREF Untouched = RGB(1, 2, 3);
constexpr COLORREF Teal = RGB(0x33, 0x99, 0x99);
constexpr COLORREF Red = RGB(0xFF, 0, 0);
constexpr COLORREF SchemeBorderGrey = 0xD0D0D0;

// A region that listens to an item and keeps a dirty bit of its own for each change.
class CRecordingRegion : public CChartRegionBase
{
public:
    static constexpr DWORD DirtyData = 0x4;
    using CChartRegionBase::CChartRegionBase;
    void OnDataItemChanged(CDataItemBase* item, DWORD flags) override
    {
        Heard.push_back(flags);
        DirtyBits |= DirtyData;
        CChartRegionBase::OnDataItemChanged(item, flags);
    }
    std::vector<DWORD> Heard;
};

// A chart in which a test may run an action in the middle of a paint, where a lazy read would.
class CNestingChart : public CTestChartCtl
{
public:
    std::function<void()> DuringPaint;
    COLORREF GetColour(int index) override
    {
        if (std::function<void()> action = std::exchange(DuringPaint, nullptr)) action();
        return CTestChartCtl::GetColour(index);
    }
};

class ChartFrame : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(S_OK, CComObject<CNestingChart>::CreateInstance(Control));
        Chart = static_cast<CNestingChart*>(Control.Get());
        ASSERT_EQ(S_OK, InitNew(Control));
    }
    HRESULT Paint(HDC context, const RECTL& bounds) { return DrawInto(Control, context, bounds); }

    COleScope Ole;
    CComPtr<IQvxLinnographCtl4> Control;
    CNestingChart* Chart = nullptr;
};

// The chart in place in a container's window, 240 by 120 pixels.
class ChartInPlace : public ChartFrame
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(Container.Window);
        Site.Position = RECT{0, 0, 240, 120};
        ChartFrame::SetUp();
        ASSERT_EQ(S_OK, Query<IOleObject>(Control)->SetClientSite(&Site));
    }
    void TearDown() override
    {
        if (CComPtr<IOleObject> object = Query<IOleObject>(Control)) {
            object->Close(OLECLOSE_NOSAVE);
            object->SetClientSite(nullptr);
        }
    }
    // In-place activation, and the first paint.
    void Activate()
    {
        ASSERT_EQ(S_OK, Query<IOleObject>(Control)->DoVerb(OLEIVERB_INPLACEACTIVATE, nullptr, &Site, 0,
                                                            Container.Window, &Site.Position));
        Window = Chart->Window;
        ASSERT_TRUE(Window);
        ASSERT_TRUE(PumpUntilPainted(Window));
    }
    // Whether the window's update area is exactly `rect`; an empty `rect` asks for none at all.
    bool UpdateAreaIs(const RECT& rect) const
    {
        CGdiObject<HRGN> update(CreateRectRgn(0, 0, 0, 0));
        const int kind = GetUpdateRgn(Window, update, FALSE);
        RECT box{};
        GetRgnBox(update, &box);
        return IsRectEmpty(&rect) ? kind == NULLREGION : kind == SIMPLEREGION && SameRect(box, rect);
    }
    // The root's rectangle, one column and one row larger: what a repaint of the root invalidates.
    RECT RootArea() const
    {
        const RECT& root = Chart->Bounds;
        return RECT{root.left, root.top, root.right + 1, root.bottom + 1};
    }
    RECT Client() const
    {
        RECT client{};
        GetClientRect(Window, &client);
        return client;
    }

    CContainerWindow Container;
    CTestSite Site{Container.Window};
    HWND Window = nullptr;
};

} // namespace

// --- construction and teardown ---

TEST_F(ChartFrame, ConstructionBuildsTheTreeUnderTheRoot)
{
    CRTCTaskDataItem* task = Chart->GetTaskDataItem();
    ASSERT_TRUE(task);
    EXPECT_EQ(task, Chart->TaskItem.get());
    EXPECT_EQ(task->GetOwner(), static_cast<CBaseChartCtl*>(Chart));
    EXPECT_EQ(task->GetDataTimeSpan(), 200'000'000);
    // The graph and its x axis listen first, then the flashing-trace manager, the root last.
    ASSERT_EQ(task->Listeners.size(), 4u);
    EXPECT_EQ(task->Listeners[0], static_cast<CChartRegionBase*>(Chart->GraphRegion.get()));
    EXPECT_EQ(task->Listeners[2], static_cast<CChartRegionBase*>(Chart->FlashManager.get()));
    EXPECT_EQ(task->Listeners[3], static_cast<CChartRegionBase*>(Chart));

    // The three children share the control's window cell.
    for (CChartRegionBase* child : {static_cast<CChartRegionBase*>(Chart->GraphRegion.get()),
                                    static_cast<CChartRegionBase*>(Chart->CursorsRegion.get()),
                                    static_cast<CChartRegionBase*>(Chart->ResizeRegion.get())})
        EXPECT_TRUE(child && child->WindowRef == &Chart->Window);
    CComPtr<IFontDisp> font;
    ASSERT_EQ(S_OK, Control->get_Font(font.Out()));
    EXPECT_TRUE(SameObject(Chart->GetFontObject(), font));

    // Release lets the zoom stack go: only this test's reference is left.
    CComPtr<IQvxZoomStack> stack = task->GetZoomStack();
    ASSERT_TRUE(stack);
    Chart = nullptr;
    Control = nullptr;
    EXPECT_EQ(0u, stack.Detach()->Release());
}

// A control that has not been initialised has nothing to save: construction's own change of the
// task reaches no listener, since the root listens only from its last step.
TEST(ChartFrameCreation, TheActiveChangeOfTheTaskNeedsSavingAndTellsNoSink)
{
    COleScope ole;
    CComPtr<IQvxLinnographCtl4> fresh;
    CTestChartCtl* chart = CreateTestChart(fresh);
    ASSERT_TRUE(chart);
    CComPtr<IPersistStreamInit> persist = Query<IPersistStreamInit>(fresh);
    EXPECT_EQ(S_FALSE, persist->IsDirty());
    CAdviseSink sink;
    CDataAdvise advise(fresh, &sink);
    ASSERT_EQ(S_OK, advise.Result);
    chart->TaskItem->NotifyChange(TaskTimeRangeStale | TaskOrderChanged, 1);
    EXPECT_EQ(S_FALSE, persist->IsDirty());
    chart->TaskItem->NotifyChange(TaskActiveStale, 1);
    EXPECT_EQ(S_OK, persist->IsDirty());
    EXPECT_EQ(0, sink.DataChanges);
}

// A zoom stack that cannot be made fails the creation with E_FAIL, whatever the stack's class
// answered (a host would take its error for the control's own), and leaves nothing alive; only
// a lack of memory is told as such.
TEST(ChartFrameCreation, FailsCleanlyWithoutAZoomStack)
{
    COleScope ole;
    const std::pair<HRESULT, HRESULT> rows[] = {{E_ACCESSDENIED, E_FAIL}, {E_NOINTERFACE, E_FAIL},
        {REGDB_E_CLASSNOTREG, E_FAIL}, {CLASS_E_CLASSNOTAVAILABLE, E_FAIL}, {E_OUTOFMEMORY, E_OUTOFMEMORY}};
    CRefusingFactory factory;
    DWORD cookie = 0;
    ASSERT_EQ(S_OK, CoRegisterClassObject(CLSID_QvxZoomStack, &factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                                          &cookie));
    const LONG objects = CComModule::Instance().ObjectCount();
    for (const auto& [answer, expected] : rows) {
        SCOPED_TRACE(answer);
        factory.Answer = answer;
        factory.Requests = 0;
        CComPtr<IQvxLinnographCtl4> refused;
        HRESULT hr = S_OK;
        EXPECT_EQ(nullptr, CreateTestChart(refused, &hr));
        EXPECT_EQ(expected, hr);
        EXPECT_FALSE(refused);
        // The task item's own stack, which it does without, then the chart's, which it cannot.
        EXPECT_EQ(2, factory.Requests);
        EXPECT_EQ(objects, CComModule::Instance().ObjectCount());
    }
    ASSERT_EQ(S_OK, CoRevokeClassObject(cookie));
    CComPtr<IQvxLinnographCtl4> made;
    EXPECT_NE(nullptr, CreateTestChart(made));
}

// --- the paint path ---

TEST_F(ChartFrame, PaintsTheEmptyChartThroughAKeptBackBuffer)
{
    ASSERT_EQ(S_OK, Control->put_BackColor(Teal));
    CDibSurface surface(200, 100, Untouched);
    ASSERT_EQ(S_OK, Paint(surface.Dc(), RECTL{0, 0, 200, 100}));
    EXPECT_TRUE(Teal == surface.Pixel(0, 0) && Teal == surface.Pixel(199, 99) && Teal == surface.Pixel(100, 50));
    const HBITMAP first = Chart->BackBufferBitmap;
    const HDC firstContext = Chart->BackBufferDC;
    EXPECT_TRUE(first && Chart->BackBufferSize.cx == 200 && Chart->BackBufferSize.cy == 100);
    // The same size again: the same buffer.
    ASSERT_EQ(S_OK, Paint(surface.Dc(), RECTL{0, 0, 200, 100}));
    EXPECT_TRUE(first == Chart->BackBufferBitmap.Get() && firstContext == Chart->BackBufferDC.Get());

    // Another size: a new buffer of that size.
    surface.Fill(Untouched);
    ASSERT_EQ(S_OK, Paint(surface.Dc(), RECTL{0, 0, 150, 80}));
    EXPECT_NE(first, Chart->BackBufferBitmap.Get());
    BITMAP made{};
    ASSERT_TRUE(GetObjectW(Chart->BackBufferBitmap, sizeof made, &made));
    EXPECT_TRUE(made.bmWidth == 150 && made.bmHeight == 80);
    for (const auto& [x, y, colour] : {std::tuple{149, 79, Teal}, {150, 40, Untouched}, {75, 80, Untouched}})
        EXPECT_EQ(colour, surface.Pixel(x, y)) << x << "," << y;

    // Bounds away from the origin: the regions are laid out where the target has them. The panel
    // is the 1.25 inches at the right (auto-sizing would give it its minimum without groups).
    ASSERT_EQ(S_OK, Control->put_AutoSizeCursorValues(VARIANT_FALSE));
    CDibSurface wide(300, 200, Untouched);
    ASSERT_EQ(S_OK, Paint(wide.Dc(), RECTL{40, 30, 240, 130}));
    EXPECT_TRUE(SameRect(Chart->GraphRegion->Bounds, RECT{40, 30, 240 - 120, 130}));
    EXPECT_EQ(240 - 120 + 1, Chart->CursorsRegion->Bounds.left);
    EXPECT_TRUE(SameRect(Chart->ResizeRegion->Bounds, RECT{118, 30, 122, 130}));
    for (const auto& [x, y, colour] : {std::tuple{40, 30, Teal}, {239, 129, Teal}, {39, 30, Untouched},
                                       {240, 129, Untouched}, {239, 130, Untouched}})
        EXPECT_EQ(colour, wide.Pixel(x, y)) << x << "," << y;
    // Without a window the root goes back to the window's rectangle, which is none.
    EXPECT_TRUE(IsRectEmpty(&Chart->Bounds));
}

// The root is what the border leaves of the control; without the panel the graph is laid out on
// the whole root, which shows what the root was during the paint. A flat border is one pixel in
// the scheme's border colour or the property's; without a window there is no theme.
TEST_F(ChartFrame, BordersFollowAppearanceAndBorderStyle)
{
    ASSERT_EQ(S_OK, Control->put_BackColor(Teal));
    ASSERT_EQ(S_OK, Control->put_ShowCursorValues(VARIANT_FALSE));
    CDibSurface edge(4, 4, Teal);
    RECT edgeRect{0, 0, 4, 4};
    DrawEdge(edge.Dc(), &edgeRect, EDGE_SUNKEN, BF_RECT);
    const struct
    {
        long Appearance, Style;
        int Dx, Dy;
        COLORREF Corner;
    } rows[] = {{0, 0, 0, 0, Teal}, {0, 1, 1, 1, SchemeBorderGrey},
                {1, 1, GetSystemMetrics(SM_CXEDGE), GetSystemMetrics(SM_CYEDGE), edge.Pixel(0, 0)}, {0, 1, 1, 1, Red}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.Appearance * 2 + row.Style);
        CDibSurface surface(100, 60, Untouched);
        ASSERT_EQ(S_OK, Control->put_Appearance(row.Appearance));
        ASSERT_EQ(S_OK, Control->put_BorderStyle(row.Style));
        if (row.Corner == Red) {
            ASSERT_EQ(S_OK, Control->put_BorderColor(Red));
        }
        ASSERT_EQ(S_OK, Paint(surface.Dc(), RECTL{0, 0, 100, 60}));
        EXPECT_TRUE(SameRect(Chart->GraphRegion->Bounds, Deflated(RECT{0, 0, 100, 60}, row.Dx, row.Dy)));
        EXPECT_EQ(row.Corner, surface.Pixel(0, 0));
        EXPECT_EQ(row.Corner, surface.Pixel(0, 30));
        EXPECT_EQ(Teal, surface.Pixel(row.Dx, row.Dy));
        EXPECT_EQ(Teal, surface.Pixel(99 - row.Dx, 59 - row.Dy));
    }
    EXPECT_FALSE(Chart->BorderHelper().HasTheme());
}

TEST_F(ChartFrame, PaperIsPaintedDirectlyWithThePanelInInches)
{
    CDeviceContext printer = CreateTestPrinterDC();
    ASSERT_TRUE(printer) << "no printer in this prefix";
    const int printerDpi = GetDeviceCaps(printer, LOGPIXELSX);
    ASSERT_EQ(S_OK, Control->put_BackColor(0));
    ASSERT_EQ(S_OK, Control->put_AutoSizeCursorValues(VARIANT_FALSE));

    // The printer is the reference; the pixels land in a surface that the test can read.
    CDibSurface paper(1200, 600, Untouched);
    RECTL bounds{0, 0, 1200, 600};
    ASSERT_EQ(S_OK, Query<IViewObject>(Control)->Draw(DVASPECT_CONTENT, -1, nullptr, nullptr, printer, paper.Dc(),
                                                      &bounds, nullptr, nullptr, 0));
    EXPECT_FALSE(Chart->BackBufferBitmap) << "no back buffer for paper";
    // A black chart prints on white paper.
    EXPECT_TRUE(RGB(255, 255, 255) == paper.Pixel(600, 300) && RGB(255, 255, 255) == paper.Pixel(1199, 599));
    // The panel keeps its 1.25 inches at the printer's resolution.
    EXPECT_EQ(1200 - printerDpi * 5 / 4 + 1, Chart->CursorsRegion->Bounds.left);
    // The root is back on the screen's rectangle, which is none without a window.
    EXPECT_TRUE(SameRect(Chart->BorderHelper().GetOuterRect(), RECT{}));

    // The next screen paint lays out for the screen again.
    CDibSurface screen(1200, 600, Untouched);
    ASSERT_EQ(S_OK, Paint(screen.Dc(), bounds));
    EXPECT_EQ(RGB(0, 0, 0), screen.Pixel(600, 300));
    EXPECT_EQ(1200 - 120 + 1, Chart->CursorsRegion->Bounds.left);
    EXPECT_TRUE(SameRect(Chart->ResizeRegion->Bounds, RECT{1078, 0, 1082, 600}));
    EXPECT_TRUE(Chart->BackBufferBitmap);
}

TEST_F(ChartInPlace, AMetafilePaintLeavesTheWindowInvalidated)
{
    ASSERT_EQ(S_OK, Control->put_BackColor(Teal));
    ASSERT_EQ(S_OK, Control->put_BorderStyle(1));
    Activate();
    const RECT root = Chart->Bounds;
    ASSERT_TRUE(SameRect(root, Deflated(Client(), 1, 1)));
    const HBITMAP buffer = Chart->BackBufferBitmap;
    ASSERT_TRUE(buffer);
    auto picture = DrawPicture(Control, 400, 300, Untouched);
    ASSERT_TRUE(picture);
    EXPECT_EQ(Teal, picture->Pixel(200, 150));
    // The layout is the window's again, and the window is to be painted in its own size; the
    // picture was drawn directly, so the window's buffer is as it was.
    EXPECT_TRUE(SameRect(Chart->Bounds, root));
    EXPECT_TRUE(UpdateAreaIs(RootArea()));
    EXPECT_TRUE(buffer == Chart->BackBufferBitmap.Get() && Chart->BackBufferSize.cx == 240);
}

// A paint for another target that makes the window paint itself half way: the window's paint
// must not take away the surface that the outer paint still draws into.
TEST_F(ChartInPlace, AWindowPaintInsideAPaintOfAnotherSizeLeavesTheOuterPaintWhole)
{
    ASSERT_EQ(S_OK, Control->put_BackColor(Teal));
    Activate();
    CDibSurface expected(300, 150, Untouched), surface(300, 150, Untouched);
    ASSERT_EQ(S_OK, Paint(expected.Dc(), RECTL{0, 0, 300, 150}));
    bool nested = false;
    Chart->DuringPaint = [&] {
        InvalidateRect(Window, nullptr, FALSE);
        UpdateWindow(Window);
        nested = true;
    };
    ASSERT_EQ(S_OK, Paint(surface.Dc(), RECTL{0, 0, 300, 150}));
    ASSERT_TRUE(nested);
    EXPECT_EQ(0, memcmp(expected.Data(), surface.Data(), 300 * 150 * sizeof(DWORD)));
}

// --- the repaint contract ---

TEST_F(ChartInPlace, ATaskChangeRepaintsTheRootAtTheNextPaint)
{
    ASSERT_EQ(S_OK, Control->put_BackColor(Teal));
    ASSERT_EQ(S_OK, Control->put_BorderStyle(1));
    Activate();
    const RECT root = Chart->Bounds;
    CRecordingRegion listener(&Chart->Window);
    listener.SetBounds(RECT{10, 10, 40, 30});
    listener.DirtyBits = 0;
    Chart->TaskItem->AddListener(&listener);

    // A colour changed behind the chart's back shows only once something repaints.
    Chart->BackColor = Red;
    Chart->TaskItem->NotifyChange(TaskTimeRangeStale, 1);
    EXPECT_EQ(CRecordingRegion::DirtyData, listener.DirtyBits);
    EXPECT_TRUE(UpdateAreaIs(RootArea()));
    EXPECT_EQ(Teal, CaptureWindow(Window)->Pixel(120, 60));
    ASSERT_TRUE(PumpUntilPainted(Window));
    auto shown = CaptureWindow(Window);
    EXPECT_TRUE(Red == shown->Pixel(120, 60) && Red == shown->Pixel(root.left, root.top));
    EXPECT_EQ(SchemeBorderGrey, shown->Pixel(0, 0));

    // The cursor's bit alone asks for no paint.
    Chart->TaskItem->NotifyChange(TaskCursorStale, 1);
    EXPECT_TRUE(UpdateAreaIs(RECT{}));
    Chart->TaskItem->RemoveListener(&listener);
    // A task attached or cleared repaints the whole window, border and all.
    Chart->OnTaskAttached(nullptr);
    EXPECT_TRUE(UpdateAreaIs(Client()));
}

// --- properties that lay the root out again ---

TEST_F(ChartInPlace, LayoutPropertiesDirtyTheRootAndInvalidateIt)
{
    ASSERT_EQ(S_OK, Control->put_BorderStyle(1));
    Activate();
    const RECT root = Chart->Bounds;
    ASSERT_EQ(S_OK, Control->put_ShowCursorValues(VARIANT_FALSE));
    EXPECT_EQ(CChartRegionBase::DirtyAll, Chart->DirtyBits);
    EXPECT_TRUE(UpdateAreaIs(RootArea()));
    ASSERT_TRUE(PumpUntilPainted(Window));
    EXPECT_TRUE(SameRect(Chart->GraphRegion->Bounds, root)) << "without the panel the graph has the whole root";

    ASSERT_EQ(S_OK, Control->put_ShowCursorValues(VARIANT_TRUE));
    ASSERT_EQ(S_OK, Control->put_AutoSizeCursorValues(VARIANT_FALSE));
    EXPECT_EQ(CChartRegionBase::DirtyAll, Chart->CursorsRegion->DirtyBits);
    ASSERT_TRUE(PumpUntilPainted(Window));
    ASSERT_EQ(S_OK, Control->put_VerticalSplitPos(1.0));
    EXPECT_EQ(CChartRegionBase::DirtyAll, Chart->DirtyBits);
    EXPECT_TRUE(UpdateAreaIs(RootArea()));
    ASSERT_TRUE(PumpUntilPainted(Window));
    EXPECT_EQ(root.right - 96, Chart->GraphRegion->Bounds.right);
    EXPECT_TRUE(SameRect(Chart->ResizeRegion->Bounds, RECT{root.right - 98, root.top, root.right - 94, root.bottom}));

    Chart->CursorsRegion->DirtyBits = 0;
    Chart->DirtyBits = 0;
    ASSERT_EQ(S_OK, Control->putref_Font(CreateChartFont()));
    EXPECT_EQ(CChartRegionBase::DirtyAll, Chart->DirtyBits);
    EXPECT_EQ(CChartRegionBase::DirtyAll, Chart->CursorsRegion->DirtyBits);
}

TEST_F(ChartFrame, VerticalSplitPosStaysWithinThePanelsLimits)
{
    CWindowDC screen(nullptr);
    const double dpi = GetDeviceCaps(screen, LOGPIXELSX);
    int minimum = 0, maximum = 0;
    {
        CChartDrawInfo info(screen, screen, *Chart, 0);
        Chart->CursorsRegion->GetWidthLimits(info, minimum, maximum);
    }
    for (const auto& [given, kept] : {std::pair{2.0, 2.0}, {100.0, maximum / dpi}, {0.01, minimum / dpi}}) {
        double inches = 0;
        ASSERT_EQ(S_OK, Control->put_VerticalSplitPos(given));
        ASSERT_EQ(S_OK, Control->get_VerticalSplitPos(&inches));
        EXPECT_DOUBLE_EQ(kept, inches) << given;
    }
}

// Either span flags the task item without the event bit; a shorter data span keeps the zooms, a
// longer one undoes them.
TEST_F(ChartFrame, TimeSpansFlagTheTaskItemAndALongerDataSpanUndoesTheZooms)
{
    CRecordingRegion listener(&Chart->Window);
    Chart->TaskItem->AddListener(&listener);
    using Put = HRESULT (STDMETHODCALLTYPE IQvxLinnographCtl4::*)(INT64);
    for (Put put : {Put(&IQvxLinnographCtl4::put_DataTimeSpan), Put(&IQvxLinnographCtl4::put_HistoricDataTimeSpan)}) {
        Chart->TaskItem->Flags = 0;
        listener.Heard.clear();
        ASSERT_EQ(S_OK, (Control.Get()->*put)(400'000'000));
        EXPECT_EQ(std::vector<DWORD>{0x2003u}, listener.Heard);
        EXPECT_EQ(0x3u, Chart->TaskItem->Flags);
    }
    Chart->TaskItem->RemoveListener(&listener);
    IQvxZoomStack* stack = Chart->TaskItem->GetZoomStack();
    ASSERT_EQ(S_OK, stack->PushTimeZoom(0, 10'000'000));
    for (const auto& [span, zoomed] : {std::pair{100'000'000, VARIANT_TRUE}, {300'000'000, VARIANT_FALSE}}) {
        VARIANT_BOOL read = 0;
        ASSERT_EQ(S_OK, Control->put_DataTimeSpan(span));
        ASSERT_EQ(S_OK, stack->GetIsZoomed(&read));
        EXPECT_EQ(zoomed, read) << span;
    }
}

// --- the message chain ---

TEST_F(ChartInPlace, TheMessageChainTakesWhatTheFrameHandles)
{
    Activate();
    // A paint of the window's own size is no reason to lay out again, nor to paint again.
    const DWORD before = Chart->GraphRegion->DirtyBits;
    InvalidateRect(Window, nullptr, FALSE);
    ASSERT_TRUE(PumpUntilPainted(Window));
    EXPECT_EQ(before, Chart->GraphRegion->DirtyBits);
    EXPECT_EQ(0u, Chart->DirtyBits);
    EXPECT_TRUE(UpdateAreaIs(RECT{}));
    // Nothing is erased: the paint covers every pixel.
    HDC context = GetDC(Window);
    EXPECT_EQ(1, SendMessageW(Window, WM_ERASEBKGND, reinterpret_cast<WPARAM>(context), 0));
    // A reflected control message gets the system's answer to the message that it reflects.
    const auto colour = [&](UINT message) {
        return SendMessageW(Window, message, reinterpret_cast<WPARAM>(context), reinterpret_cast<LPARAM>(Window));
    };
    const LRESULT reflected = colour(OCM_CTLCOLORSTATIC);
    EXPECT_EQ(DefWindowProcW(Window, WM_CTLCOLORSTATIC, reinterpret_cast<WPARAM>(context),
                             reinterpret_cast<LPARAM>(Window)),
              reflected);
    EXPECT_NE(0, reflected);
    ReleaseDC(Window, context);

    // A new size reaches the border's outer rectangle.
    SetWindowPos(Window, nullptr, 0, 0, 200, 90, SWP_NOZORDER | SWP_NOMOVE | SWP_NOACTIVATE);
    EXPECT_TRUE(SameRect(Chart->ClientRect, RECT{0, 0, 200, 90}));
    EXPECT_TRUE(SameRect(Chart->BorderHelper().GetOuterRect(), RECT{0, 0, 200, 90}));
    ASSERT_TRUE(PumpUntilPainted(Window));
    EXPECT_TRUE(SameRect(Chart->Bounds, RECT{0, 0, 200, 90}));
}

// --- the divider ---

TEST_F(ChartInPlace, TheDividerDropsThePanelWidthInInches)
{
    Activate();
    const RECT root = Chart->Bounds;
    CResizeRegion& divider = *Chart->ResizeRegion;
    int lowest = 0, highest = 0;
    Chart->GetResizeRange(divider, lowest, highest);
    EXPECT_TRUE(lowest < root.right - 48 && root.right - 48 < highest);
    CAdviseSink sink;
    CDataAdvise advise(Control, &sink);
    divider.DragPosition = root.right - 48;
    Chart->OnResizeDone(divider);
    EXPECT_EQ(1, sink.DataChanges) << "the layout is modified";
    double inches = 0;
    VARIANT_BOOL autoSize = VARIANT_TRUE;
    ASSERT_EQ(S_OK, Control->get_VerticalSplitPos(&inches));
    ASSERT_EQ(S_OK, Control->get_AutoSizeCursorValues(&autoSize));
    EXPECT_DOUBLE_EQ(0.5, inches);
    EXPECT_EQ(VARIANT_FALSE, autoSize);
    EXPECT_EQ(CChartRegionBase::DirtyAll, Chart->DirtyBits);
    ASSERT_TRUE(PumpUntilPainted(Window));
    EXPECT_EQ(root.right - 48 + 1, Chart->CursorsRegion->Bounds.left);
}
