// Line trace regions over the substitute host: a long live run drawn incrementally against the
// same run rebuilt before every paint, the columns that known records draw, and the chart's plot
// kept between paints against a full paint.
#include <gtest/gtest.h>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <tuple>
#include <vector>
#include "items/ChannelDataItem.h"
#include "items/RTCTaskDataItem.h"
#include "items/TraceDataItem.h"
#include "regions/ChannelRegion.h"
#include "regions/GraphRegion.h"
#include "regions/TraceRegion.h"
#include "tests/ChartTestSupport.h"
#include "tests/LiveInPlaceSupport.h"
#include "tests/OleTestSupport.h"
#include "tests/SimTestSupport.h"

using namespace qvxtest;

namespace {

// A line trace of either table that counts the samples it reads a second time: one that never
// does never rebuilt.
template <class Base>
class CCountingTrace : public Base
{
public:
    CCountingTrace(CTraceDataItem* trace, long& readAgain) : Base(&NoWindow, trace), ReadAgain(readAgain) {}
    void AddSample(qvx::time time, double x, double y) override
    {
        ReadAgain += time <= Last;
        Last = time;
        Base::AddSample(time, x, y);
    }
    static inline HWND NoWindow = nullptr;
    qvx::time Last = INT64_MIN;
    long& ReadAgain;
};

class LiveTraces : public LiveChartTest
{
protected:
    static constexpr RECT Plot{0, 0, 1000, 199};
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(LiveChartTest::SetUp());
        // The chart's own property factories, which give the channels their scales.
        ASSERT_EQ(S_OK, InitNew(Owner));
        // The window moves by whole columns of 20 ms; the axis by half seconds.
        Owner->put_DataTimeSpan(20 * Second);
        Owner->put_HistoricDataTimeSpan(30 * Second);
        Attach(SessionTask);
        Advance(Second);
        Task().GetOrdering()->SetNames(
            {CBstr(L"Speed"), CBstr(L"Gear"), CBstr(L"Tyre pressure FL"), CBstr(L"GPS speed")});
        const double scales[][2] = {{0.0, 300.0}, {0.0, 7.0}, {1.0, 2.5}, {0.0, 300.0}};
        for (CChannelDataItem* channel : Task().GetOrdering()->GetItems()) {
            SetProperty(channel, L"Display minimum", scales[Holds.size()][0]);
            SetProperty(channel, L"Display maximum", scales[Holds.size()][1]);
            for (CTraceDataItem* trace : channel->GetTraces()) {
                Holds.push_back(channel->GetInterpolation() != 2);
                for (auto* list : {&Incremental, &Rebuilt}) {
                    long& again = ReadAgain.emplace_back(0);
                    if (Holds.back())
                        list->push_back(std::make_unique<CCountingTrace<CHoldLineTraceRegion>>(trace, again));
                    else
                        list->push_back(std::make_unique<CCountingTrace<CLinearLineTraceRegion>>(trace, again));
                }
            }
        }
    }
    void TearDown() override
    {
        Incremental.clear();
        Rebuilt.clear();
        LiveChartTest::TearDown();
    }
    // Alarm lines on Speed at a quarter and three quarters of its scale.
    void SetSpeedAlarms(COLORREF colour)
    {
        CChannelDataItem* speed = Task().GetOrdering()->GetItems().front();
        SetProperty(speed, L"Alarm condition", 3, VT_I4);
        SetProperty(speed, L"Alarm minimum", 75.0);
        SetProperty(speed, L"Alarm maximum", 225.0);
        SetProperty(speed, L"Alarm color", colour, VT_I4);
        Chart->CursorsRegion->ShowAlarms = TRUE;
    }
    void Paint(std::vector<std::unique_ptr<CLineTraceRegion>>& traces, CDibSurface& canvas)
    {
        canvas.Fill(0xFFFFFF);
        CChartDrawInfo info(canvas.Dc(), canvas.Dc(), DrawOwner, 0);
        for (auto& trace : traces) trace->DrawWithColour(info, CTraceRegion::TraceOwnColour);
    }
    // `frames` frames of a third of a second, no whole number of columns, each painted by the
    // traces that go on and by traces rebuilt: the same pixels, and no sample read twice.
    // Shifted: the most columns that the points moved by.
    void ExpectFramesAsRebuilt(const RECT& plot, int frames)
    {
        for (auto* list : {&Incremental, &Rebuilt})
            for (auto& trace : *list) trace->SetBounds(plot);
        CDibSurface incremental(Plot.right + 1, Plot.bottom + 1), rebuilt(Plot.right + 1, Plot.bottom + 1);
        for (int frame = 0; frame < frames; ++frame) {
            Advance(Second / 3);
            for (auto& trace : Rebuilt) trace->ClearPoints();
            Paint(Incremental, incremental);
            Paint(Rebuilt, rebuilt);
            for (size_t i = 0; i < Incremental.size(); ++i)
                ASSERT_EQ(0, ReadAgain[2 * i]) << "frame " << frame << ", trace " << i;
            const size_t bytes = size_t(incremental.Width()) * incremental.Height() * 4;
            ASSERT_EQ(0, std::memcmp(incremental.Data(), rebuilt.Data(), bytes)) << "frame " << frame;
            Shifted = std::max(Shifted, Incremental[0]->ShiftedColumns);
        }
    }
    CTestDrawOwner DrawOwner;
    LONG Shifted = 0;
    std::vector<bool> Holds;
    // Per trace, the incremental one's count and then the rebuilt one's.
    std::deque<long> ReadAgain;
    std::vector<std::unique_ptr<CLineTraceRegion>> Incremental;
    std::vector<std::unique_ptr<CLineTraceRegion>> Rebuilt;
};

// A line trace whose records a test writes, painted on its own.
class CPaintedTrace : public CLinearLineTraceRegion
{
public:
    CPaintedTrace() : CLinearLineTraceRegion(nullptr, nullptr) {}
    CColumnFolder& Records() { return Folder; }
};

// The live chart in place in a window, as a host shows it. Each paint goes through the
// control's back buffer, which keeps the plot, and the same chart is then painted straight onto
// a second surface: the two must be the same to the byte.
class RetainedPlot : public LiveTraces
{
protected:
    static constexpr int Width = 700, Height = 400;
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(LiveTraces::SetUp());
        ASSERT_TRUE(InPlace.Activate(Owner, RECT{0, 0, Width, Height}));
    }
    void TearDown() override
    {
        InPlace.Close(Owner);
        LiveTraces::TearDown();
    }
    // Paints both ways; true when both are the same.
    bool PaintBoth()
    {
        if (DrawInto(Owner, Retained.Dc(), RECTL{0, 0, Width, Height}) != S_OK) return false;
        PaintDirect();
        return std::memcmp(Retained.Data(), Direct.Data(), size_t(Width) * Height * 4) == 0;
    }
    // A paint of the chart that does not go through the layer, as printing or a picture does.
    void PaintDirect()
    {
        CChartDrawInfo info(Direct.Dc(), Direct.Dc(), *Chart, Chart->GraphRegion->PointSize);
        Chart->CBaseChartCtl::Draw(info);
    }
    // The layer drew every column of the plot again.
    bool DrewWhole()
    {
        const CGraphRegion& graph = *Chart->GraphRegion;
        const auto& drawn = graph.PlotLayer.Drawn;
        return drawn.size() == 1 && drawn[0].From == graph.GraphRect.left && drawn[0].To == graph.GraphRect.right;
    }
    CInPlaceContainer InPlace;
    CDibSurface Retained{Width, Height};
    CDibSurface Direct{Width, Height};
};

} // namespace

// Filling the window, then moving with a growing historic span, then the full span.
TEST_F(LiveTraces, ALongLiveRunDrawnIncrementallyPaintsWhatRebuildingEveryFrameDoes)
{
    ExpectFramesAsRebuilt(Plot, 150);
    EXPECT_GT(Shown()->GetStartTime(), RecordingStart) << "the window moved";
    for (auto& trace : Incremental) EXPECT_FALSE(trace->GetPolylines().empty());
}

// The window steps by a thousandth of its span, no whole number of 999 columns; on the grid of
// columns from time 0 every step still moves the points by whole columns.
TEST_F(LiveTraces, APlotWhoseColumnsTheWindowDoesNotStepByStillShiftsOnItsGridAndReadsNothingAgain)
{
    Advance(25 * Second);
    ExpectFramesAsRebuilt(RECT{0, 0, 999, 199}, 10);
    EXPECT_GT(Shifted, 0) << "the window moved";
}

TEST(LineTracePaint, RecordsDrawTheirColumnsAsTheyStand)
{
    constexpr COLORREF Red = 0x0000FF;
    // The records, the first visible point, the pen in tenths of a point, the last column of data,
    // and the red pixels expected in each column.
    using Records = std::vector<std::vector<TracePoint>>;
    const std::tuple<const char*, Records, int, short, LONG, std::vector<int>> rows[] = {
        {"one point is one pixel", {{{4, 5}}}, 0, 0, 32767, {0, 0, 0, 0, 1, 0, 0, 0, 0, 0}},
        {"a folded column is a vertical line, the line into it ends where it enters",
         {{{2, 10}, {3, 10}, {3, 2}, {3, 14}, {3, 6}, {5, 6}}}, 0, 0, 32767, {0, 0, 1, 13, 1, 0, 0, 0, 0, 0}},
        {"points that scrolled off are not drawn", {{{1, 3}, {2, 3}, {6, 3}, {8, 3}}}, 2, 0, 32767,
         {0, 0, 0, 0, 0, 0, 1, 1, 0, 0}},
        {"painting stops right of the newest sample", {{{0, 3}, {9, 3}}}, 0, 0, 4, {1, 1, 1, 1, 1, 0, 0, 0, 0, 0}},
        {"a break leaves a gap", {{{0, 3}, {2, 3}}, {{5, 3}, {7, 3}}}, 0, 0, 32767, {1, 1, 0, 0, 0, 1, 1, 0, 0, 0}},
        {"60 tenths of a point at 96 dots an inch are 8 pixels wide", {{{0, 10}, {9, 10}}}, 0, 60, 32767,
         {8, 8, 8, 8, 8, 8, 8, 8, 8, 8}},
    };
    CTestDrawOwner owner;
    for (const auto& [name, records, firstVisible, pointSize, dataRight, expected] : rows) {
        CDibSurface canvas(10, 20, 0xFFFFFF);
        CPaintedTrace trace;
        trace.SetBounds({0, 0, 9, 19});
        trace.DirtyBits = 0;
        trace.Colour = Red;
        trace.DataRight = dataRight;
        for (const auto& points : records) trace.Records().Polylines.push_back(TracePolyline{0, points});
        trace.Records().Polylines[0].FirstVisible = firstVisible;
        CChartDrawInfo info(canvas.Dc(), canvas.Dc(), owner, pointSize);
        ASSERT_EQ(GetDeviceCaps(canvas.Dc(), LOGPIXELSY), 96);
        trace.PaintPolylines(info);
        std::vector<int> columns(10);
        for (int x = 0; x < 10; ++x)
            for (int y = 0; y < canvas.Height(); ++y) columns[x] += canvas.Pixel(x, y) == Red;
        EXPECT_EQ(columns, expected) << name;
    }
}

TEST_F(LiveTraces, TheChartDrawsEachChannelAsTracesOfItsInterpolationUnderItsAlarmLines)
{
    constexpr COLORREF AlarmColour = 0x00FF00;
    ASSERT_NO_FATAL_FAILURE(SetSpeedAlarms(AlarmColour));
    // Tiled, no trace draws over another.
    Chart->GraphRegion->SetTiled(TRUE);
    Advance(10 * Second);
    CDibSurface canvas(800, 500, 0xFFFFFF);
    ASSERT_EQ(S_OK, DrawInto(Owner, canvas.Dc(), RECTL{0, 0, 800, 500}));
    CGraphRegion& graph = *Chart->GraphRegion;
    ASSERT_EQ(graph.ChannelRegions.size(), 4u);
    size_t place = 0;
    for (auto& region : graph.ChannelRegions) {
        SCOPED_TRACE(testing::Message() << "channel " << place);
        CChannelRegion& channel = *region;
        ASSERT_EQ(channel.TraceRegions.size(), 1u);
        CTraceRegion* trace = channel.TraceRegions.front().get();
        EXPECT_EQ(!Holds[place++], dynamic_cast<CLinearLineTraceRegion*>(trace) != nullptr);
        EXPECT_TRUE(EqualRect(&trace->Bounds, &channel.PlotRect));
        const auto* line = dynamic_cast<CLineTraceRegion*>(trace);
        ASSERT_TRUE(line && !line->GetPolylines().empty());
        // The points of the newest record show in the trace's colour, but where the line ends.
        const auto& points = line->GetPolylines().back().Points;
        for (const TracePoint& p : points)
            EXPECT_TRUE(!PtInRect(&trace->Bounds, {p.X, p.Y}) || p == points.back()
                        || canvas.Pixel(p.X, p.Y) == trace->Colour) << p.X << "," << p.Y;
    }
    // Speed's scale is 0 to 300: the limits stand at a quarter and three quarters of its band.
    const RECT band = graph.ChannelRegions.front()->PlotRect;
    for (double share : {0.25, 0.75}) {
        const int y = int(band.bottom - (band.bottom - band.top) * share);
        int dots = 0;
        for (int x = band.left; x <= band.right; ++x) dots += canvas.Pixel(x, y) == AlarmColour;
        EXPECT_GT(dots, (band.right - band.left) / 4) << "the alarm line at " << share;
    }
}

TEST_F(RetainedPlot, ShowsWhatAFullPaintDoesAndDrawsOnlyWhatChanged)
{
    // The fixed grid, minor lines, tiling and the pen.
    const std::tuple<const char*, BOOL, BOOL, BOOL, short> rows[] = {
        {"a fixed grid that stands while the data move", TRUE, FALSE, FALSE, 0},
        {"a grid on the time ticks with minor lines, moving with the data", FALSE, TRUE, FALSE, 0},
        {"tiled strips", FALSE, FALSE, TRUE, 0},
        {"a pen 3 points wide", TRUE, FALSE, FALSE, 30},
    };
    ASSERT_NO_FATAL_FAILURE(SetSpeedAlarms(0x00C000));
    Advance(5 * Second);
    // A column of 50 ms, of which the window's half-second steps are ten.
    ASSERT_TRUE(PaintBoth());
    const RECT& plot = Chart->GraphRegion->GraphRect;
    ASSERT_EQ(S_OK, Owner->put_DataTimeSpan((plot.right - plot.left) * (Second / 20)));
    for (const auto& [name, fixedGrid, minorLines, tiled, pointSize] : rows) {
        CGraphRegion& graph = *Chart->GraphRegion;
        graph.FixedGrid = fixedGrid;
        graph.ShowXAxisGridMinorLines = graph.ShowYAxisGridMinorLines = minorLines;
        graph.SetTiled(tiled);
        graph.PointSize = pointSize;
        long partial = 0, columns = 0;
        for (int frame = 0; frame < 90; ++frame) {
            // Mostly frames of a sixtieth of a second, filling the window and then moving it;
            // now and then a longer step.
            Advance(frame % 30 == 29 ? 2 * Second : Second / 60);
            // Now and then a picture is taken between two screen paints: the traces build for it,
            // and the layer still learns what changed since it drew.
            if (frame % 7 == 3 || frame % 30 == 28) {
                PaintDirect();
                continue;
            }
            ASSERT_TRUE(PaintBoth()) << name << ", frame " << frame;
            if (DrewWhole()) continue;
            ++partial;
            for (const CColumns& c : graph.PlotLayer.Drawn) columns += c.To - c.From + 1;
        }
        // Beyond the first frame and the long steps, frames draw a few columns each.
        EXPECT_GT(partial, 65) << name;
        EXPECT_LT(columns / std::max(partial, 1L), 40) << name;
    }
}

TEST_F(RetainedPlot, ShowsAtOnceWhatChangedBesideTheData)
{
    CGraphRegion& graph = *Chart->GraphRegion;
    CChannelDataItem* channel = Task().GetOrdering()->GetItems().front();
    CTraceDataItem* speed = channel->GetTraces().front();
    const auto activate = [&](CChannelDataItem* which) { Task().SetActiveTrace(which, which->GetTraces().front()); };
    const std::pair<const char*, std::function<void()>> rows[] = {
        {"a trace flashes", [&] { speed->FlashOn = !speed->FlashOn; }},
        {"a trace hides", [&] { speed->Visible = FALSE; }},
        {"a trace shows again", [&] { speed->Visible = TRUE; }},
        {"the pen widens", [&] { graph.PointSize = 20; }},
        {"the scale changes", [&] { SetProperty(channel, L"Display maximum", 400.0); }},
        {"another channel becomes active", [&] { activate(Task().GetOrdering()->GetItems().back()); }},
        {"the grid follows the time ticks", [&] { graph.FixedGrid = FALSE; }},
        {"the chart turns tiled", [&] { graph.SetTiled(TRUE); }},
    };
    Advance(Second);
    ASSERT_TRUE(PaintBoth());
    for (const auto& [name, change] : rows) {
        change();
        // The change shows in the next paint, and in the one after new samples.
        ASSERT_TRUE(PaintBoth()) << name;
        Advance(Second / 60);
        ASSERT_TRUE(PaintBoth()) << name << ", then new samples";
        EXPECT_FALSE(DrewWhole()) << name << ", then new samples";
    }
}
