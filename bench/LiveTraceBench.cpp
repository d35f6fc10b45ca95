// Line traces following live data: C traces overlaid on a 1200 x 600 plot, each over a channel
// periodic at R Hz, a 60 s window, 60 frames a second of the host's time. Each frame the host
// advances and every trace builds what its notifications asked for; one frame in ten is also
// painted into a DIB, and once every five seconds the same traces are built from nothing and
// painted, as a chart that rebuilds at every change of the time range would. Figures per frame:
// time (median and 95th percentile, on this thread), samples read, vertices stored, the share of
// one core that 60 frames a second would take; by phase: the window filling (0-60 s), moving
// while the held history grows (60-300 s), and with the full history (300-360 s). A last run
// holds 3000 s of history and compares frames at 20 s, at 61 s (the first full window) and at
// 3000 s.
#include <windows.h>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <vector>
#include "bench/BenchChart.h"
#include "control/ChartDrawInfo.h"
#include "demo/PngWriter.h"
#include "items/ChannelDataItem.h"
#include "items/RTCTaskDataItem.h"
#include "regions/TraceRegion.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr qvx::time Second = 10'000'000;
constexpr int FramesPerSecond = 60;
constexpr RECT Plot{0, 0, 1200, 599};

class CPlainOwner : public CChartDrawOwner
{
public:
    OLE_COLOR GetBackColor() override { return 0xFFFFFF; }
    OLE_COLOR GetForeColor() override { return 0; }
    OLE_COLOR GetGridColor() override { return 0xD0D0D0; }
    COLORREF GetSchemeColour(int) override { return 0; }
    OLE_COLOR GetActiveTraceGridColour() override { return 0xD0D0D0; }
    IUnknown* GetFontObject() override { return nullptr; }
};

// A linear trace that counts the samples it reads.
class CCountedTrace : public CLinearLineTraceRegion
{
public:
    using CLinearLineTraceRegion::CLinearLineTraceRegion;
    void AddSample(qvx::time time, double x, double y) override
    {
        ++Read;
        CLinearLineTraceRegion::AddSample(time, x, y);
    }
    long long Vertices() const
    {
        long long count = 0;
        for (const TracePolyline& record : GetPolylines()) count += std::int64_t(record.Points.size()) - record.FirstVisible;
        return count;
    }
    long long Read = 0;
};

struct CFrames
{
    std::vector<double> Micros;
    long long Read = 0;
    long long Vertices = 0;
    long Frames = 0;

    double Percentile(double p)
    {
        if (Micros.empty()) return 0.0;
        std::sort(Micros.begin(), Micros.end());
        return Micros[std::min(Micros.size() - 1, size_t(p * double(Micros.size())))];
    }
};

double Micros(Clock::duration d) { return std::chrono::duration<double, std::micro>(d).count(); }

// Builds, and with `paint` paints, every trace; the time taken.
double Frame(std::vector<std::unique_ptr<CCountedTrace>>& traces, CChartDrawInfo* paint)
{
    const Clock::time_point start = Clock::now();
    for (auto& trace : traces) {
        if (trace->NeedBuild) {
            trace->BuildPolylines();
            trace->NeedBuild = FALSE;
        }
        if (paint) trace->PaintPolylines(*paint);
    }
    return Micros(Clock::now() - start);
}

// A phase of the run, measured over its last `Measured` ticks before `To`.
struct CPhase
{
    const char* Name;
    qvx::time Measured, To;
};

// One run: `count` traces of `channel` with the scale `low` to `high`, the host advanced to
// `length`; figures for each phase.
bool Run(IQvxOrvid* host, IQvxSimulation* sim, const wchar_t* channel, double low, double high, int count,
         qvx::time history, qvx::time length, const std::vector<CPhase>& phases, bool rebuildToo)
{
    CComPtr<IQvxLinnographCtl4> control;
    CBenchChart* chart = MakeBenchChart(host, control);
    if (!chart) return false;
    control->put_DataTimeSpan(60 * Second);
    control->put_HistoricDataTimeSpan(history);
    CRTCTaskDataItem* task = chart->Task();
    task->SetPlotWidth(Plot.right - Plot.left);
    task->GetOrdering()->SetNames({CBstr(channel)});
    CChannelDataItem* item = task->GetOrdering()->GetItems().front();
    for (auto [name, value] : {std::pair{L"Display minimum", low}, std::pair{L"Display maximum", high}}) {
        CVariant variant;
        variant.vt = VT_R8;
        variant.dblVal = value;
        item->GetProperties()->SetProperty(CBstr(name).Get(), variant);
    }
    if (item->GetTraces().empty()) return false;
    CTraceDataItem* trace = item->GetTraces().front();
    // The traces of one channel stand for as many channels of its rate: each reads and folds
    // all the samples by itself.
    HWND noWindow = nullptr;
    std::vector<std::unique_ptr<CCountedTrace>> live, rebuilt;
    for (int i = 0; i < count; ++i) {
        live.push_back(std::make_unique<CCountedTrace>(&noWindow, trace));
        rebuilt.push_back(std::make_unique<CCountedTrace>(&noWindow, trace));
    }
    for (auto* list : {&live, &rebuilt})
        for (auto& t : *list) t->SetBounds(Plot);

    CDibSurface canvas(Plot.right + 1, Plot.bottom + 1, 0xFFFFFF);
    CPlainOwner owner;
    CChartDrawInfo info(canvas.Dc(), canvas.Dc(), owner, 0);
    std::vector<CFrames> incremental(phases.size()), painted(phases.size()), everyFrame(phases.size());
    qvx::time elapsed = 0;
    for (long frame = 1; elapsed < length; ++frame) {
        // Frames of 1/60 s in the measured stretches; between them the host runs on by up to a
        // second at a time, and the traces keep up as they would.
        size_t p = 0;
        while (p < phases.size() && !(phases[p].To - phases[p].Measured <= elapsed && elapsed < phases[p].To)) ++p;
        qvx::time step = Second / FramesPerSecond;
        if (p == phases.size()) {
            step = std::min(Second, length - elapsed);
            for (const CPhase& phase : phases)
                if (phase.To - phase.Measured > elapsed) step = std::min(step, phase.To - phase.Measured - elapsed);
        }
        sim->Advance(step);
        elapsed += step;
        long long before = 0;
        for (auto& t : live) before += t->Read;
        const bool paintThis = p < phases.size() && frame % 10 == 0;
        const double micros = Frame(live, paintThis ? &info : nullptr);
        if (p == phases.size()) continue;
        CFrames& f = paintThis ? painted[p] : incremental[p];
        f.Micros.push_back(micros);
        for (auto& t : live) f.Read += t->Read, f.Vertices += t->Vertices();
        f.Read -= before;
        ++f.Frames;
        if (rebuildToo && frame % FramesPerSecond == 0) {
            long long was = 0;
            for (auto& t : rebuilt) {
                was += t->Read;
                t->ClearPoints();
            }
            CFrames& d = everyFrame[p];
            d.Micros.push_back(Frame(rebuilt, &info));
            for (auto& t : rebuilt) d.Read += t->Read;
            d.Read -= was;
            ++d.Frames;
        }
    }
    for (size_t p = 0; p < phases.size(); ++p) {
        CFrames& f = incremental[p];
        CFrames& withPaint = painted[p];
        if (f.Frames == 0) continue;
        const double buildMedian = f.Percentile(0.5), paintMedian = withPaint.Percentile(0.5);
        std::printf("    %-34s build %8.1f us median %8.1f p95 | built and painted %8.1f us median %8.1f p95 | "
                    "%7.0f samples read, %7.0f vertices a frame | %5.1f%% of a core at 60 frames/s\n",
                    phases[p].Name, buildMedian, f.Percentile(0.95), paintMedian, withPaint.Percentile(0.95),
                    double(f.Read) / double(f.Frames), double(f.Vertices) / double(f.Frames),
                    paintMedian * FramesPerSecond / 1e4);
        CFrames& d = everyFrame[p];
        if (d.Frames == 0) continue;
        const double fullMedian = d.Percentile(0.5);
        std::printf("    %-34s rebuilt every frame: %10.1f us median, %9.0f samples read a frame; incremental "
                    "wins %.0fx in time, %.0fx in samples\n",
                    "", fullMedian, double(d.Read) / double(d.Frames), fullMedian / std::max(paintMedian, 1.0),
                    double(d.Read) / double(d.Frames) / std::max(double(f.Read) / double(f.Frames), 1.0));
    }
    return true;
}

} // namespace

// The trace figures of the live chart benchmark.
int RunTraceFrames()
{
    const struct
    {
        const wchar_t* Channel;
        int Rate;
        double Low, High;
    } channels[] = {{L"RPM", 1000, 0.0, 13000.0}, {L"Vibration", 10000, -20.0, 20.0}};
    const std::vector<CPhase> phases = {{"window filling (0-60 s)", 5 * Second, 60 * Second},
                                        {"moving, history growing (60-300 s)", 5 * Second, 300 * Second},
                                        {"full history (300-360 s)", 5 * Second, 360 * Second}};
    for (int count : {4, 32}) {
        for (const auto& channel : channels) {
            CComPtr<IQvxOrvid> host;
            CComPtr<IQvxSimulation> sim;
            if (!StartBenchHost(host, sim)) return 1;
            std::printf("  traces: %d x %d Hz, 60 s on 1200 x 600, 300 s of history\n", count, channel.Rate);
            if (!Run(host, sim, channel.Channel, channel.Low, channel.High, count, 300 * Second, 360 * Second, phases,
                     true))
                std::printf("    the run could not be set up\n");
            sim->Shutdown();
        }
    }
    CComPtr<IQvxOrvid> host;
    CComPtr<IQvxSimulation> sim;
    if (!StartBenchHost(host, sim)) return 1;
    std::printf("  traces: 32 x 10000 Hz with 3000 s of history held\n");
    Run(host, sim, L"Vibration", -20.0, 20.0, 32, 3000 * Second, 3001 * Second,
        {{"at 20 s of history", Second, 21 * Second},
         {"at 61 s, the window just full", Second, 62 * Second},
         {"at 3000 s of history", Second, 3001 * Second}},
        false);
    sim->Shutdown();
    return 0;
}
