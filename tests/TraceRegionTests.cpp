// Line trace regions over the substitute host: a long live run drawn incrementally against the
// same run rebuilt before every paint, and the columns that a known series draws.
#include <gtest/gtest.h>
#include <cstring>
#include <functional>
#include <memory>
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

// A line trace of either table that checks that it never reads a sample twice, which also
// shows that it never rebuilt.
template <class Base>
class CCountingTrace : public Base
{
public:
    using Base::Base;
    void AddSample(qvx::time time, double x, double y) override
    {
        if (time <= Last) ++ReadAgain;
        Last = time;
        ++Read;
        Base::AddSample(time, x, y);
    }
    qvx::time Last = INT64_MIN;
    long long Read = 0;
    long ReadAgain = 0;
};

std::unique_ptr<CLineTraceRegion> MakeTrace(const HWND* window, CTraceDataItem* trace, bool hold)
{
    if (hold) return std::make_unique<CCountingTrace<CHoldLineTraceRegion>>(window, trace);
    return std::make_unique<CCountingTrace<CLinearLineTraceRegion>>(window, trace);
}

long ReadAgain(CLineTraceRegion& trace, bool hold)
{
    return hold ? static_cast<CCountingTrace<CHoldLineTraceRegion>&>(trace).ReadAgain
                : static_cast<CCountingTrace<CLinearLineTraceRegion>&>(trace).ReadAgain;
}

using Stroke = std::vector<TracePoint>;

// The lines that the records draw right of `edge`: records that go on are joined, and each line
// starts on its last point at or left of `edge`, from which it enters the picture.
std::vector<Stroke> Drawn(const std::vector<TracePolyline>& records, LONG edge)
{
    std::vector<Stroke> strokes;
    const TracePolyline* before = nullptr;
    for (const TracePolyline& record : records) {
        Stroke visible(record.Points.begin() + record.FirstVisible, record.Points.end());
        const bool goesOn = before && before->Points.size() == size_t(CColumnFolder::RecordPoints)
                            && !visible.empty() && visible.front() == before->Points.back();
        if (goesOn)
            strokes.back().insert(strokes.back().end(), visible.begin() + 1, visible.end());
        else
            strokes.push_back(visible);
        before = &record;
    }
    std::vector<Stroke> cut;
    for (Stroke& stroke : strokes) {
        size_t from = 0;
        for (size_t i = 0; i < stroke.size(); ++i)
            if (stroke[i].X <= edge) from = i;
        if (stroke.empty() || stroke.back().X <= edge) continue;
        cut.emplace_back(stroke.begin() + from, stroke.end());
    }
    return cut;
}

class LiveTraces : public LiveChartTest
{
protected:
    static constexpr RECT Plot{0, 0, 1000, 199};

    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(LiveChartTest::SetUp());
        // The chart's own property factories, which give the channels their scales.
        CComPtr<IPersistStreamInit> persist;
        ASSERT_EQ(S_OK, persist.QueryFrom(Owner, __uuidof(IPersistStreamInit)));
        ASSERT_EQ(S_OK, persist->InitNew());
        // The window moves by whole columns of 20 ms; the axis by half seconds.
        ASSERT_EQ(S_OK, Owner->put_DataTimeSpan(20 * Second));
        ASSERT_EQ(S_OK, Owner->put_HistoricDataTimeSpan(30 * Second));
        Attach(SessionTask);
        Advance(Second);
        Task().GetOrdering()->SetNames({CBstr(L"Speed"), CBstr(L"Gear"), CBstr(L"Tyre pressure FL"), CBstr(L"GPS speed")});
        const double scales[][2] = {{0.0, 300.0}, {0.0, 7.0}, {1.0, 2.5}, {0.0, 300.0}};
        for (CChannelDataItem* channel : Task().GetOrdering()->GetItems()) {
            const double* scale = scales[Holds.size()];
            ASSERT_TRUE(channel->GetProperties());
            for (auto [name, value] : {std::pair{L"Display minimum", scale[0]}, std::pair{L"Display maximum", scale[1]}}) {
                CVariant variant;
                variant.vt = VT_R8;
                variant.dblVal = value;
                ASSERT_EQ(S_OK, channel->GetProperties()->SetProperty(CBstr(name).Get(), variant));
            }
            for (CTraceDataItem* trace : channel->GetTraces()) {
                const bool hold = channel->GetInterpolation() != 2;
                Holds.push_back(hold);
                Incremental.push_back(MakeTrace(&NoWindow, trace, hold));
                Rebuilt.push_back(MakeTrace(&NoWindow, trace, hold));
            }
        }
        for (auto* list : {&Incremental, &Rebuilt})
            for (auto& trace : *list) trace->SetBounds(Plot);
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
        const auto set = [&](CChannelDataItem* channel, const wchar_t* name, VARTYPE type, double value) {
            CVariant variant;
            variant.vt = VT_R8;
            variant.dblVal = value;
            ASSERT_EQ(S_OK, VariantChangeType(&variant, &variant, 0, type));
            ASSERT_EQ(S_OK, channel->GetProperties()->SetProperty(CBstr(name).Get(), variant));
        };
        CChannelDataItem* speed = Task().GetOrdering()->GetItems().front();
        set(speed, L"Alarm condition", VT_I4, 3);
        set(speed, L"Alarm minimum", VT_R8, 75.0);
        set(speed, L"Alarm maximum", VT_R8, 225.0);
        set(speed, L"Alarm color", VT_I4, colour);
        Chart->CursorsRegion->ShowAlarms = TRUE;
    }
    void Paint(std::vector<std::unique_ptr<CLineTraceRegion>>& traces, CDibSurface& canvas)
    {
        CChartDrawInfo info(canvas.Dc(), canvas.Dc(), DrawOwner, 0);
        for (auto& trace : traces) trace->DrawWithColour(info, CTraceRegion::TraceOwnColour);
    }

    HWND NoWindow = nullptr;
    CTestDrawOwner DrawOwner;
    std::vector<bool> Holds;
    std::vector<std::unique_ptr<CLineTraceRegion>> Incremental;
    std::vector<std::unique_ptr<CLineTraceRegion>> Rebuilt;
};

} // namespace

TEST_F(LiveTraces, ALongLiveRunDrawnIncrementallyStoresAndPaintsWhatRebuildingEveryFrameDoes)
{
    CDibSurface incremental(Plot.right + 1, Plot.bottom + 1, 0xFFFFFF), rebuilt(Plot.right + 1, Plot.bottom + 1, 0xFFFFFF);
    // Filling the window, then moving with a growing historic span, then the full span; frames
    // of a third of a second are no whole number of columns.
    for (int frame = 0; frame < 150; ++frame) {
        Advance(Second / 3);
        incremental.Fill(0xFFFFFF);
        rebuilt.Fill(0xFFFFFF);
        for (auto& trace : Rebuilt) trace->ClearPoints();
        Paint(Incremental, incremental);
        Paint(Rebuilt, rebuilt);
        for (size_t i = 0; i < Incremental.size(); ++i) {
            ASSERT_EQ(Drawn(Incremental[i]->GetPolylines(), Plot.left - 1), Drawn(Rebuilt[i]->GetPolylines(), Plot.left - 1))
                << "frame " << frame << ", trace " << i;
            ASSERT_EQ(ReadAgain(*Incremental[i], Holds[i]), 0) << "frame " << frame << ", trace " << i;
        }
        ASSERT_EQ(0, std::memcmp(incremental.Data(), rebuilt.Data(), size_t(incremental.Width()) * incremental.Height() * 4))
            << "frame " << frame;
    }
    EXPECT_GT(Shown()->GetStartTime(), RecordingStart) << "the window moved";
    for (auto& trace : Incremental) EXPECT_FALSE(trace->GetPolylines().empty());
}

TEST_F(LiveTraces, APlotWhoseColumnsTheWindowDoesNotStepByStillShiftsOnItsGridAndReadsNothingAgain)
{
    // The window steps by a thousandth of its span, no whole number of 999 columns; on the grid of
    // columns from time 0 every step still moves the points by whole columns.
    const RECT narrower{0, 0, 999, 199};
    for (auto* list : {&Incremental, &Rebuilt})
        for (auto& trace : *list) trace->SetBounds(narrower);
    Advance(25 * Second);
    CDibSurface incremental(Plot.right + 1, Plot.bottom + 1), rebuilt(Plot.right + 1, Plot.bottom + 1);
    LONG shifted = 0;
    for (int frame = 0; frame < 10; ++frame) {
        Advance(Second / 3);
        incremental.Fill(0xFFFFFF);
        rebuilt.Fill(0xFFFFFF);
        for (auto& trace : Rebuilt) trace->ClearPoints();
        Paint(Incremental, incremental);
        Paint(Rebuilt, rebuilt);
        for (size_t i = 0; i < Incremental.size(); ++i) {
            ASSERT_EQ(Drawn(Incremental[i]->GetPolylines(), narrower.left - 1),
                      Drawn(Rebuilt[i]->GetPolylines(), narrower.left - 1))
                << "frame " << frame << ", trace " << i;
            ASSERT_EQ(0, ReadAgain(*Incremental[i], Holds[i])) << "frame " << frame << ", trace " << i;
        }
        ASSERT_EQ(0, std::memcmp(incremental.Data(), rebuilt.Data(), size_t(incremental.Width()) * incremental.Height() * 4))
            << "frame " << frame;
        shifted = std::max(shifted, Incremental[0]->ShiftedColumns);
    }
    EXPECT_GT(shifted, 0) << "the window moved";
}

namespace {

// A line trace whose records a test writes, painted on its own.
class CPaintedTrace : public CLinearLineTraceRegion
{
public:
    CPaintedTrace() : CLinearLineTraceRegion(nullptr, nullptr) {}
    CColumnFolder& Records() { return Folder; }
};

// The count of pixels of `colour` in column x.
int InColumn(const CDibSurface& canvas, int x, COLORREF colour)
{
    int count = 0;
    for (int y = 0; y < canvas.Height(); ++y) count += canvas.Pixel(x, y) == colour;
    return count;
}

} // namespace

TEST(LineTracePaint, RecordsDrawTheirColumnsAsTheyStand)
{
    constexpr COLORREF Red = 0x0000FF;
    struct CRow
    {
        const char* Name;
        std::vector<std::vector<TracePoint>> Records;
        int FirstVisible;
        short PointSize;
        LONG DataRight;
        // Per column 0 to 9, the red pixels expected.
        std::vector<int> Columns;
    };
    const CRow rows[] = {
        {"one point is one pixel", {{{4, 5}}}, 0, 0, 32767, {0, 0, 0, 0, 1, 0, 0, 0, 0, 0}},
        {"a folded column is a vertical line, the line into it ends where it enters", {{{2, 10}, {3, 10}, {3, 2}, {3, 14}, {3, 6}, {5, 6}}},
         0, 0, 32767, {0, 0, 1, 13, 1, 0, 0, 0, 0, 0}},
        {"points that scrolled off are not drawn", {{{1, 3}, {2, 3}, {6, 3}, {8, 3}}}, 2, 0, 32767, {0, 0, 0, 0, 0, 0, 1, 1, 0, 0}},
        {"painting stops right of the newest sample", {{{0, 3}, {9, 3}}}, 0, 0, 4, {1, 1, 1, 1, 1, 0, 0, 0, 0, 0}},
        {"a break leaves a gap", {{{0, 3}, {2, 3}}, {{5, 3}, {7, 3}}}, 0, 0, 32767, {1, 1, 0, 0, 0, 1, 1, 0, 0, 0}},
        {"60 tenths of a point at 96 dots an inch are 8 pixels wide", {{{0, 10}, {9, 10}}}, 0, 60, 32767,
         {8, 8, 8, 8, 8, 8, 8, 8, 8, 8}},
    };
    CTestDrawOwner owner;
    for (const CRow& row : rows) {
        CDibSurface canvas(10, 20, 0xFFFFFF);
        CPaintedTrace trace;
        trace.SetBounds({0, 0, 9, 19});
        trace.DirtyBits = 0;
        trace.Colour = Red;
        trace.DataRight = row.DataRight;
        for (const auto& points : row.Records) {
            TracePolyline record;
            record.Points = points;
            trace.Records().Polylines.push_back(record);
        }
        trace.Records().Polylines[0].FirstVisible = row.FirstVisible;
        CChartDrawInfo info(canvas.Dc(), canvas.Dc(), owner, row.PointSize);
        ASSERT_EQ(GetDeviceCaps(canvas.Dc(), LOGPIXELSY), 96);
        trace.PaintPolylines(info);
        std::vector<int> columns;
        for (int x = 0; x < 10; ++x) columns.push_back(InColumn(canvas, x, Red));
        EXPECT_EQ(columns, row.Columns) << row.Name;
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
    for (auto& channel : graph.ChannelRegions) {
        ASSERT_EQ(channel->TraceRegions.size(), 1u);
        CTraceRegion* trace = channel->TraceRegions.front().get();
        const bool linear = dynamic_cast<CLinearLineTraceRegion*>(trace) != nullptr;
        EXPECT_EQ(linear, !Holds[place]) << "channel " << place;
        EXPECT_TRUE(EqualRect(&trace->Bounds, &channel->PlotRect)) << "channel " << place;
        const auto* line = dynamic_cast<CLineTraceRegion*>(trace);
        ASSERT_TRUE(line);
        EXPECT_FALSE(line->GetPolylines().empty()) << "channel " << place;
        // The points of the newest record show in the trace's colour, but where the line ends.
        const auto& points = line->GetPolylines().back().Points;
        for (size_t i = 0; i < points.size(); ++i) {
            if (PtInRect(&trace->Bounds, {points[i].X, points[i].Y}) && !(points[i] == points.back())) {
                EXPECT_EQ(canvas.Pixel(points[i].X, points[i].Y), trace->Colour) << "channel " << place << ", point " << i;
            }
        }
        ++place;
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

namespace {

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

TEST_F(RetainedPlot, ShowsWhatAFullPaintDoesAndDrawsOnlyWhatChanged)
{
    struct CRow
    {
        const char* Name;
        BOOL FixedGrid, MinorLines, Tiled;
        short PointSize;
    };
    const CRow rows[] = {
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
    for (const CRow& row : rows) {
        CGraphRegion& graph = *Chart->GraphRegion;
        graph.FixedGrid = row.FixedGrid;
        graph.ShowXAxisGridMinorLines = graph.ShowYAxisGridMinorLines = row.MinorLines;
        graph.SetTiled(row.Tiled);
        graph.PointSize = row.PointSize;
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
            ASSERT_TRUE(PaintBoth()) << row.Name << ", frame " << frame;
            if (DrewWhole()) continue;
            ++partial;
            for (const CColumns& c : graph.PlotLayer.Drawn) columns += c.To - c.From + 1;
        }
        // Beyond the first frame and the long steps, frames draw a few columns each.
        EXPECT_GT(partial, 65) << row.Name;
        EXPECT_LT(columns / std::max(partial, 1L), 40) << row.Name;
    }
}

TEST_F(RetainedPlot, ShowsAtOnceWhatChangedBesideTheData)
{
    CGraphRegion& graph = *Chart->GraphRegion;
    CChannelDataItem* channel = Task().GetOrdering()->GetItems().front();
    CTraceDataItem* speed = channel->GetTraces().front();
    const auto scale = [&](double maximum) {
        CVariant value;
        value.vt = VT_R8;
        value.dblVal = maximum;
        ASSERT_EQ(S_OK, channel->GetProperties()->SetProperty(CBstr(L"Display maximum").Get(), value));
    };
    const auto activate = [&](CChannelDataItem* which) { Task().SetActiveTrace(which, which->GetTraces().front()); };
    const struct
    {
        const char* Name;
        std::function<void()> Change;
    } rows[] = {
        {"a trace flashes", [&] { speed->FlashOn = !speed->FlashOn; }},
        {"a trace hides", [&] { speed->Visible = FALSE; }},
        {"a trace shows again", [&] { speed->Visible = TRUE; }},
        {"the pen widens", [&] { graph.PointSize = 20; }},
        {"the scale changes", [&] { scale(400.0); }},
        {"another channel becomes active", [&] { activate(Task().GetOrdering()->GetItems().back()); }},
        {"the grid follows the time ticks", [&] { graph.FixedGrid = FALSE; }},
        {"the grid goes", [&] { graph.ShowGrid = FALSE; }},
        {"the chart turns tiled", [&] { graph.SetTiled(TRUE); }},
    };
    Advance(Second);
    ASSERT_TRUE(PaintBoth());
    for (const auto& row : rows) {
        row.Change();
        // The change shows in the next paint, and in the one after new samples.
        ASSERT_TRUE(PaintBoth()) << row.Name;
        Advance(Second / 60);
        ASSERT_TRUE(PaintBoth()) << row.Name << ", then new samples";
        EXPECT_FALSE(DrewWhole()) << row.Name << ", then new samples";
    }
}
