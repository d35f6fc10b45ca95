// The chart frame, linked: construction, the paint path, the repaint contract and the divider.
#include <gtest/gtest.h>
#include <cstring>
#include <functional>
#include <utility>
#include "tests/ChartFrameTestSupport.h"
#include "tests/ChartTestSupport.h"
#include "tests/SimTestSupport.h"
#include "interaction/FlashingTraceManager.h"
#include "items/ItemFlags.h"
#include "items/RTCTaskDataItem.h"

using namespace qvxtest;

namespace {

constexpr COLORREF Untouched = RGB(1, 2, 3);
constexpr COLORREF Teal = RGB(0x33, 0x99, 0x99);
constexpr COLORREF Red = RGB(0xFF, 0, 0);
constexpr DWORD DirtyAll = CChartRegionBase::DirtyAll;

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

// The chart in place in a container's window, 240 by 120 pixels, painted once.
class ChartInPlace : public ChartFrame
{
protected:
    void SetUp() override
    {
        Site.Position = Client;
        ChartFrame::SetUp();
        ASSERT_EQ(S_OK, Query<IOleObject>(Control)->SetClientSite(&Site));
        ASSERT_EQ(S_OK, Control->put_BackColor(Teal));
        ASSERT_EQ(S_OK, Control->put_BorderStyle(1));
        ASSERT_EQ(S_OK, Query<IOleObject>(Control)->DoVerb(OLEIVERB_INPLACEACTIVATE, nullptr, &Site, 0,
                                                            Container.Window, &Site.Position));
        Window = Chart->Window;
        ASSERT_TRUE(Window);
        ASSERT_TRUE(PumpUntilPainted(Window));
        Root = Chart->Bounds;
        ASSERT_TRUE(SameRect(Root, Deflated(Client, 1, 1)));
    }
    void TearDown() override
    {
        if (CComPtr<IOleObject> object = Query<IOleObject>(Control)) {
            object->Close(OLECLOSE_NOSAVE);
            object->SetClientSite(nullptr);
        }
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
    RECT RootArea() const { return RECT{Root.left, Root.top, Root.right + 1, Root.bottom + 1}; }
    const RECT Client{0, 0, 240, 120};

    CContainerWindow Container;
    CTestSite Site{Container.Window};
    HWND Window = nullptr;
    RECT Root{};
};

} // namespace

TEST_F(ChartFrame, ConstructionBuildsTheTreeUnderTheRoot)
{
    CRTCTaskDataItem* task = Chart->GetTaskDataItem();
    ASSERT_TRUE(task);
    EXPECT_EQ(task->GetOwner(), static_cast<CBaseChartCtl*>(Chart));
    // The graph and its x axis listen first, then the flashing-trace manager, the root last.
    ASSERT_EQ(task->Listeners.size(), 4u);
    EXPECT_EQ(task->Listeners[0], static_cast<CChartRegionBase*>(Chart->GraphRegion.get()));
    EXPECT_EQ(task->Listeners[2], static_cast<CChartRegionBase*>(Chart->FlashManager.get()));
    EXPECT_EQ(task->Listeners[3], static_cast<CChartRegionBase*>(Chart));
    // Release lets the zoom stack go: only this test's reference is left.
    CComPtr<IQvxZoomStack> stack = task->GetZoomStack();
    Chart = nullptr;
    Control = nullptr;
    EXPECT_EQ(0u, stack.Detach()->Release());
}

// A zoom stack that cannot be made fails the creation with E_FAIL (not the stack's error), but for a
// lack of memory. A new chart has nothing to save: the root listens from construction's last step.
TEST(ChartFrameCreation, FailsCleanlyWithoutAZoomStackAndStartsClean)
{
    COleScope ole;
    const std::pair<HRESULT, HRESULT> rows[] = {{E_ACCESSDENIED, E_FAIL}, {E_OUTOFMEMORY, E_OUTOFMEMORY}};
    CRefusingFactory factory;
    DWORD cookie = 0;
    ASSERT_EQ(S_OK, CoRegisterClassObject(CLSID_QvxZoomStack, &factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                                          &cookie));
    const LONG objects = CComModule::Instance().ObjectCount();
    for (const auto& [answer, expected] : rows) {
        SCOPED_TRACE(answer);
        factory.Answer = answer;
        CComPtr<IQvxLinnographCtl4> refused;
        HRESULT hr = S_OK;
        EXPECT_EQ(nullptr, CreateTestChart(refused, &hr));
        EXPECT_EQ(expected, hr);
        EXPECT_FALSE(refused);
        EXPECT_EQ(objects, CComModule::Instance().ObjectCount());
    }
    ASSERT_EQ(S_OK, CoRevokeClassObject(cookie));
    CComPtr<IQvxLinnographCtl4> made;
    CTestChartCtl* chart = CreateTestChart(made);
    ASSERT_TRUE(chart);
    CComPtr<IPersistStreamInit> persist = Query<IPersistStreamInit>(made);
    EXPECT_EQ(S_FALSE, persist->IsDirty());
    CAdviseSink sink;
    CDataAdvise advise(made, &sink);
    ASSERT_EQ(S_OK, advise.Result);
    chart->TaskItem->NotifyChange(TaskTimeRangeStale | TaskOrderChanged, 1);
    EXPECT_EQ(S_FALSE, persist->IsDirty());
    chart->TaskItem->NotifyChange(TaskActiveStale, 1);
    EXPECT_EQ(S_OK, persist->IsDirty());
    EXPECT_EQ(0, sink.DataChanges);
}

// The back buffer is kept while the size holds; bounds away from the origin lay the regions out
// where the target has them; paper is painted directly, with the panel in inches.
TEST_F(ChartFrame, PaintsThroughAKeptBackBufferAndPaperDirectly)
{
    ASSERT_EQ(S_OK, Control->put_BackColor(Teal));
    CDibSurface surface(200, 100, Untouched);
    ASSERT_EQ(S_OK, Paint(surface.Dc(), RECTL{0, 0, 200, 100}));
    EXPECT_EQ("111", Inked(surface, Teal, {{0, 0}, {199, 99}, {100, 50}}));
    const HBITMAP first = Chart->BackBufferBitmap;
    const HDC firstContext = Chart->BackBufferDC;
    EXPECT_TRUE(first && Chart->BackBufferSize.cx == 200 && Chart->BackBufferSize.cy == 100);
    ASSERT_EQ(S_OK, Paint(surface.Dc(), RECTL{0, 0, 200, 100}));
    EXPECT_TRUE(first == Chart->BackBufferBitmap.Get() && firstContext == Chart->BackBufferDC.Get());
    surface.Fill(Untouched);
    ASSERT_EQ(S_OK, Paint(surface.Dc(), RECTL{0, 0, 150, 80}));
    BITMAP made{};
    ASSERT_TRUE(GetObjectW(Chart->BackBufferBitmap, sizeof made, &made));
    EXPECT_TRUE(first != Chart->BackBufferBitmap.Get() && made.bmWidth == 150 && made.bmHeight == 80);
    EXPECT_EQ("100", Inked(surface, Teal, {{149, 79}, {150, 40}, {75, 80}}));
    // The panel is the 1.25 inches at the right (auto-sizing would give it its minimum without groups).
    ASSERT_EQ(S_OK, Control->put_AutoSizeCursorValues(VARIANT_FALSE));
    CDibSurface wide(300, 200, Untouched);
    ASSERT_EQ(S_OK, Paint(wide.Dc(), RECTL{40, 30, 240, 130}));
    EXPECT_TRUE(SameRect(Chart->GraphRegion->Bounds, RECT{40, 30, 240 - 120, 130}));
    EXPECT_EQ(240 - 120 + 1, Chart->CursorsRegion->Bounds.left);
    EXPECT_EQ("11000", Inked(wide, Teal, {{40, 30}, {239, 129}, {39, 30}, {240, 129}, {239, 130}}));
    // Without a window the root goes back to the window's rectangle, which is none.
    EXPECT_TRUE(IsRectEmpty(&Chart->Bounds));
    // Paper: the printer is the reference, the pixels land in a surface that the test can read.
    CDeviceContext printer = CreateTestPrinterDC();
    ASSERT_TRUE(printer) << "no printer in this prefix";
    CDibSurface paper(1200, 600, Untouched);
    RECTL bounds{0, 0, 1200, 600};
    ASSERT_EQ(S_OK, Query<IViewObject>(Control)->Draw(DVASPECT_CONTENT, -1, nullptr, nullptr, printer, paper.Dc(),
                                                      &bounds, nullptr, nullptr, 0));
    EXPECT_EQ(200, Chart->BackBufferSize.cx) << "no back buffer for paper";
    EXPECT_EQ(1200 - GetDeviceCaps(printer, LOGPIXELSX) * 5 / 4 + 1, Chart->CursorsRegion->Bounds.left);
    EXPECT_TRUE(SameRect(Chart->BorderHelper().GetOuterRect(), RECT{}));
    // The next screen paint lays out for the screen again.
    CDibSurface screen(1200, 600, Untouched);
    ASSERT_EQ(S_OK, Paint(screen.Dc(), bounds));
    EXPECT_EQ(1200 - 120 + 1, Chart->CursorsRegion->Bounds.left);
}

TEST(ControlBorderHelper, InnerRectangleOfEachKindOfBorderAndWhatAnUpdateTakes)
{
    const RECT outer{0, 0, 80, 50}, wider{0, 0, 120, 50};
    const struct
    {
        const char* Name;
        int32_t Appearance, BorderStyle;
        RECT Inner;
    } rows[] = {
        {"any appearance but 1 is flat", 2, 1, Deflated(outer, 1, 1)},
        {"any style but 0 is a border", 1, -1, Deflated(outer, GetSystemMetrics(SM_CXEDGE), GetSystemMetrics(SM_CYEDGE))},
    };
    for (const auto& row : rows) {
        CControlBorderHelper border;
        border.Update(CControlBorderHelper::LayoutUpdate, {nullptr, row.Appearance, row.BorderStyle, 0, outer});
        EXPECT_FALSE(border.HasTheme()) << row.Name;
        EXPECT_TRUE(SameRect(row.Inner, border.GetInnerRect())) << row.Name;
    }
    // A resize brings the rectangle, not the border style that came with it, and keeps the style.
    CControlBorderHelper border;
    border.Update(CControlBorderHelper::ResizeUpdate, {nullptr, 0, 1, 0, outer});
    EXPECT_TRUE(SameRect(outer, border.GetOuterRect()) && SameRect(outer, border.GetInnerRect()));
    border.Update(CControlBorderHelper::LayoutUpdate, {nullptr, 0, 1, 0, outer});
    border.Update(CControlBorderHelper::ResizeUpdate, {nullptr, 0, 0, 0, wider});
    EXPECT_TRUE(SameRect(Deflated(wider, 1, 1), border.GetInnerRect()));
}

// A metafile is drawn directly and leaves the window to be painted in its own size; a paint for
// another target that makes the window paint itself half way leaves the outer paint whole.
TEST_F(ChartInPlace, PaintsForOtherTargetsLeaveTheWindowsBufferAndLayout)
{
    const HBITMAP buffer = Chart->BackBufferBitmap;
    ASSERT_TRUE(buffer);
    auto picture = DrawPicture(Control, 400, 300, Untouched);
    ASSERT_TRUE(picture);
    EXPECT_EQ(Teal, picture->Pixel(200, 150));
    EXPECT_TRUE(SameRect(Chart->Bounds, Root));
    EXPECT_TRUE(UpdateAreaIs(RootArea()));
    EXPECT_TRUE(buffer == Chart->BackBufferBitmap.Get() && Chart->BackBufferSize.cx == 240);
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

// A task change repaints the root at the next paint, the cursor's bit alone asks for none, and a
// task attached repaints the whole window; layout properties dirty the root and invalidate it.
TEST_F(ChartInPlace, TaskChangesAndLayoutPropertiesRepaintTheRoot)
{
    CRecordingRegion listener(&Chart->Window);
    Chart->TaskItem->AddListener(&listener);
    // A colour changed behind the chart's back shows only once something repaints.
    Chart->BackColor = Red;
    Chart->TaskItem->NotifyChange(TaskTimeRangeStale, 1);
    EXPECT_EQ(std::vector<DWORD>{TaskTimeRangeStale}, listener.Heard);
    EXPECT_TRUE(UpdateAreaIs(RootArea()));
    EXPECT_EQ(Teal, CaptureWindow(Window)->Pixel(120, 60));
    ASSERT_TRUE(PumpUntilPainted(Window));
    EXPECT_EQ("11", Inked(*CaptureWindow(Window), Red, {{120, 60}, {Root.left, Root.top}}));
    Chart->TaskItem->NotifyChange(TaskCursorStale, 1);
    EXPECT_TRUE(UpdateAreaIs(RECT{}));
    Chart->TaskItem->RemoveListener(&listener);
    Chart->OnTaskAttached(nullptr);
    EXPECT_TRUE(UpdateAreaIs(Client));
    ASSERT_TRUE(PumpUntilPainted(Window));
    ASSERT_EQ(S_OK, Control->put_ShowCursorValues(VARIANT_FALSE));
    EXPECT_EQ(DirtyAll, Chart->DirtyBits);
    EXPECT_TRUE(UpdateAreaIs(RootArea()));
    ASSERT_TRUE(PumpUntilPainted(Window));
    EXPECT_TRUE(SameRect(Chart->GraphRegion->Bounds, Root)) << "without the panel the graph has the whole root";
    ASSERT_EQ(S_OK, Control->put_ShowCursorValues(VARIANT_TRUE));
    ASSERT_EQ(S_OK, Control->put_AutoSizeCursorValues(VARIANT_FALSE));
    ASSERT_EQ(S_OK, Control->put_VerticalSplitPos(1.0));
    EXPECT_EQ(DirtyAll, Chart->DirtyBits);
    ASSERT_TRUE(PumpUntilPainted(Window));
    EXPECT_TRUE(SameRect(Chart->ResizeRegion->Bounds, RECT{Root.right - 98, Root.top, Root.right - 94, Root.bottom}));
    Chart->CursorsRegion->DirtyBits = 0;
    ASSERT_EQ(S_OK, Control->putref_Font(CreateChartFont()));
    EXPECT_EQ(DirtyAll, Chart->CursorsRegion->DirtyBits);
}

// The split stays within the panel's limits. A span flags the task item without the event bit; a
// shorter data span keeps the zooms, a longer one undoes them.
TEST_F(ChartFrame, TheSplitKeepsThePanelsLimitsAndTheSpansFlagTheTaskItem)
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
    CRecordingRegion listener(&Chart->Window);
    Chart->TaskItem->AddListener(&listener);
    Chart->TaskItem->Flags = 0;
    ASSERT_EQ(S_OK, Control->put_HistoricDataTimeSpan(400'000'000));
    EXPECT_EQ(std::vector<DWORD>{0x2003u}, listener.Heard);
    EXPECT_EQ(0x3u, Chart->TaskItem->Flags);
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

TEST_F(ChartInPlace, TheMessageChainTakesWhatTheFrameHandlesAndTheDividerDropsInches)
{
    // A paint of the window's own size is no reason to lay out again, nor to paint again.
    const DWORD before = Chart->GraphRegion->DirtyBits;
    InvalidateRect(Window, nullptr, FALSE);
    ASSERT_TRUE(PumpUntilPainted(Window));
    EXPECT_TRUE(before == Chart->GraphRegion->DirtyBits && 0u == Chart->DirtyBits && UpdateAreaIs(RECT{}));
    // Nothing is erased: the paint covers every pixel. A reflected control message gets the
    // system's answer to the message that it reflects.
    HDC context = GetDC(Window);
    const auto send = [&](UINT message) {
        return SendMessageW(Window, message, reinterpret_cast<WPARAM>(context), reinterpret_cast<LPARAM>(Window));
    };
    EXPECT_EQ(1, send(WM_ERASEBKGND));
    const LRESULT reflected = send(OCM_CTLCOLORSTATIC);
    EXPECT_TRUE(reflected != 0 && reflected == DefWindowProcW(Window, WM_CTLCOLORSTATIC,
                                                              reinterpret_cast<WPARAM>(context),
                                                              reinterpret_cast<LPARAM>(Window)));
    ReleaseDC(Window, context);
    CResizeRegion& divider = *Chart->ResizeRegion;
    CAdviseSink sink;
    CDataAdvise advise(Control, &sink);
    divider.DragPosition = Root.right - 48;
    Chart->OnResizeDone(divider);
    EXPECT_EQ(1, sink.DataChanges) << "the layout is modified";
    double inches = 0;
    VARIANT_BOOL autoSize = VARIANT_TRUE;
    ASSERT_EQ(S_OK, Control->get_VerticalSplitPos(&inches));
    ASSERT_EQ(S_OK, Control->get_AutoSizeCursorValues(&autoSize));
    EXPECT_TRUE(inches == 0.5 && autoSize == VARIANT_FALSE && Chart->DirtyBits == DirtyAll);
    ASSERT_TRUE(PumpUntilPainted(Window));
    EXPECT_EQ(Root.right - 48 + 1, Chart->CursorsRegion->Bounds.left);
    // A new size reaches the border's outer rectangle.
    SetWindowPos(Window, nullptr, 0, 0, 200, 90, SWP_NOZORDER | SWP_NOMOVE | SWP_NOACTIVATE);
    EXPECT_TRUE(SameRect(Chart->BorderHelper().GetOuterRect(), RECT{0, 0, 200, 90}));
    ASSERT_TRUE(PumpUntilPainted(Window));
    EXPECT_TRUE(SameRect(Chart->Bounds, Deflated(RECT{0, 0, 200, 90}, 1, 1)));
}
