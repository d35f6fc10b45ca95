// The chart following live data as a host shows it: C generated channels of the substitute host,
// overlaid, each periodic at R Hz, a 60 s window on a plot of 1200 x 600, 60 frames a second of
// the host's time. Each frame the host advances (its notifications reach the chart) and the
// control paints itself into a DIB through IViewObject. Figures per frame, by phase: the window
// filling (0-60 s), moving while the held history grows (60-300 s), and with the full history
// (300-360 s): time (median and 95th percentile), the mean CPU time of this thread, samples read
// from the host, vertices stored, columns drawn, and the share of one core that 60 frames a
// second take. A second run over the same timeline leaves the paint out, for the host's own
// share; a third has, beside the live chart, one that rebuilds every trace and paints everything
// once a second, as a chart that rebuilds at every change of the time range would. A last run
// compares frames at 20 s, 70 s and 3000 s of history held, in the 60 s window and in one of 10 s.
#include <windows.h>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>
#include "bench/BenchChart.h"
#include "demo/PngWriter.h"
#include "items/ChannelDataItem.h"
#include "items/RTCTaskDataItem.h"
#include "regions/ChannelRegion.h"
#include "regions/GraphRegion.h"
#include "regions/TraceRegion.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr qvx::time Second = 10'000'000;
constexpr int FramesPerSecond = 60;
constexpr LONG PlotHeight = 600;
// 1200 columns part every span of whole seconds into whole ticks; --odd-width asks for 1183.
LONG PlotWidth = 1200;

double Micros(Clock::duration d) { return std::chrono::duration<double, std::micro>(d).count(); }

// The CPU time of this thread so far, in microseconds.
double ThreadMicros()
{
    FILETIME created, exited, kernel, user;
    if (!GetThreadTimes(GetCurrentThread(), &created, &exited, &kernel, &user)) return 0.0;
    const auto value = [](const FILETIME& t) { return double((ULONGLONG(t.dwHighDateTime) << 32) | t.dwLowDateTime); };
    return (value(kernel) + value(user)) / 10.0;
}

// One chart on the host, in a DIB of the size that gives its plot 1200 x 600.
class CMeasuredChart
{
public:
    bool Make(IQvxOrvid* host, int channels, qvx::time history, qvx::time window)
    {
        Chart = MakeBenchChart(host, Control);
        if (!Chart || FAILED(View.QueryFrom(Control, __uuidof(IViewObject)))) return false;
        Control->put_DataTimeSpan(window);
        Control->put_HistoricDataTimeSpan(history);
        std::vector<CBstr> names;
        for (int i = 1; i <= channels; ++i) names.emplace_back((L"Generated " + std::to_wstring(i)).c_str());
        Chart->Task()->GetOrdering()->SetNames(names);
        // The axes stand beside the plot: the picture grows until the plot has its size.
        Size = SIZE{PlotWidth + 100, PlotHeight + 60};
        for (int tries = 0; tries < 3; ++tries) {
            Canvas = std::make_unique<CDibSurface>(Size.cx, Size.cy, 0xFFFFFF);
            Paint();
            const RECT& plot = Chart->Graph()->GraphRect;
            Size.cx += PlotWidth - (plot.right - plot.left);
            Size.cy += PlotHeight - (plot.bottom - plot.top);
        }
        Canvas = std::make_unique<CDibSurface>(Size.cx, Size.cy, 0xFFFFFF);
        return true;
    }
    void Paint()
    {
        const RECTL bounds{0, 0, Size.cx, Size.cy};
        View->Draw(DVASPECT_CONTENT, -1, nullptr, nullptr, nullptr, Canvas->Dc(), &bounds, nullptr, nullptr, 0);
    }
    template <class F>
    void ForEachTrace(F f)
    {
        for (auto& channel : Chart->Graph()->ChannelRegions)
            for (auto& trace : channel->TraceRegions)
                if (auto* line = dynamic_cast<CLineTraceRegion*>(trace.get())) f(*line);
    }
    long long SamplesRead()
    {
        long long count = 0;
        ForEachTrace([&](CLineTraceRegion& t) { count += t.SamplesRead; });
        return count;
    }
    long long Vertices()
    {
        long long count = 0;
        ForEachTrace([&](CLineTraceRegion& t) {
            for (const TracePolyline& record : t.GetPolylines()) count += std::int64_t(record.Points.size()) - record.FirstVisible;
        });
        return count;
    }
    // The plot's columns that the last paint drew again.
    long ColumnsDrawn()
    {
        long columns = 0;
        for (const CColumns& c : Chart->Graph()->PlotLayer.Drawn) columns += c.To - c.From + 1;
        return columns;
    }
    // The plot was drawn whole, not only where it changed.
    bool DrewWhole()
    {
        const CGraphRegion& graph = *Chart->Graph();
        const auto& drawn = graph.PlotLayer.Drawn;
        return drawn.size() == 1 && drawn[0].From == graph.GraphRect.left && drawn[0].To == graph.GraphRect.right;
    }
    // What a chart that rebuilds at every change of the time range does each frame.
    void RebuildEverything()
    {
        ForEachTrace([](CLineTraceRegion& t) { t.ClearPoints(); });
        Chart->Graph()->PlotLayer.Reset();
    }

    CComPtr<IQvxLinnographCtl4> Control;
    CComPtr<IViewObject> View;
    CBenchChart* Chart = nullptr;
    SIZE Size{};
    std::unique_ptr<CDibSurface> Canvas;
};

struct CFrames
{
    std::vector<double> Micros;
    std::vector<double> Host;
    // This thread's CPU time before the phase's first frame and after its last. The thread's
    // clock ticks in 10 ms steps: read around each frame it would only sample, so the phase is
    // read as a whole, the few counts between frames with it.
    double CpuFirst = 0.0;
    double CpuLast = 0.0;
    long long Read = 0;
    long long Vertices = 0;
    long long Columns = 0;
    long Frames = 0;
    long Whole = 0;

    static double Percentile(std::vector<double>& values, double p)
    {
        if (values.empty()) return 0.0;
        std::sort(values.begin(), values.end());
        return values[std::min(values.size() - 1, size_t(p * double(values.size())))];
    }
    double Percentile(double p) { return Percentile(Micros, p); }
    double Cpu() const { return Frames ? (CpuLast - CpuFirst) / double(Frames) : 0.0; }
};

// A phase of the run, measured over its last `Measured` ticks before `To`.
struct CPhase
{
    const char* Name;
    qvx::time Measured, To;
};

// What a run measures: the live chart; beside it a second chart on the same host that rebuilds
// and paints everything once a second, as a chart that rebuilds at every change of the time
// range would (its paints would spoil the live chart's CPU time, which is read a phase at a
// time); or the host's advance alone, the live chart hearing the news but not painting.
enum class CMeasure
{
    Live,
    Rebuilding,
    Advance,
};

// One run of `count` generated channels at `rate` Hz in a window of `window` ticks, the host
// advanced to `length`, with its figures for each phase; `kept` gives those of the live chart's
// run to compare with.
bool Run(int count, int rate, qvx::time window, qvx::time history, qvx::time length, const std::vector<CPhase>& phases,
         std::vector<CFrames>& incremental, CMeasure measure = CMeasure::Live,
         const std::vector<CFrames>* kept = nullptr)
{
    const bool rebuilding = measure == CMeasure::Rebuilding;
    CComPtr<IQvxOrvid> host;
    CComPtr<IQvxSimulation> sim;
    if (!StartBenchHost(host, sim) || FAILED(sim->AddGeneratedChannels(count, rate))) return false;
    CMeasuredChart live, rebuilt;
    if (!live.Make(host, count, history, window) || (rebuilding && !rebuilt.Make(host, count, history, window)))
        return false;

    incremental.assign(phases.size(), CFrames());
    std::vector<CFrames> everyFrame(phases.size());
    qvx::time elapsed = 0;
    for (long frame = 1; elapsed < length; ++frame) {
        // Frames of 1/60 s in the measured stretches; between them the host runs on by up to a
        // second at a time, and the chart keeps up as it would.
        size_t p = 0;
        while (p < phases.size() && !(phases[p].To - phases[p].Measured <= elapsed && elapsed < phases[p].To)) ++p;
        qvx::time step = Second / FramesPerSecond;
        if (p == phases.size()) {
            step = std::min(Second, length - elapsed);
            for (const CPhase& phase : phases)
                if (phase.To - phase.Measured > elapsed) step = std::min(step, phase.To - phase.Measured - elapsed);
        }
        CFrames* f = p == phases.size() ? nullptr : &incremental[p];
        if (f && f->Frames == 0) f->CpuFirst = ThreadMicros();
        const long long readBefore = live.SamplesRead();
        const Clock::time_point start = Clock::now();
        sim->Advance(step);
        const double host = Micros(Clock::now() - start);
        if (measure != CMeasure::Advance || !f) live.Paint();
        const double micros = Micros(Clock::now() - start);
        elapsed += step;
        if (!f) {
            if (rebuilding) rebuilt.Paint();
            continue;
        }
        f->Micros.push_back(micros);
        f->Host.push_back(host);
        f->Read += live.SamplesRead() - readBefore;
        f->Vertices += live.Vertices();
        f->Whole += live.DrewWhole() ? 1 : 0;
        f->Columns += live.ColumnsDrawn();
        ++f->Frames;
        f->CpuLast = ThreadMicros();
        if (rebuilding && frame % FramesPerSecond == 0) {
            rebuilt.RebuildEverything();
            const long long was = rebuilt.SamplesRead();
            const Clock::time_point before = Clock::now();
            rebuilt.Paint();
            CFrames& d = everyFrame[p];
            d.Micros.push_back(Micros(Clock::now() - before));
            d.Read += rebuilt.SamplesRead() - was;
            ++d.Frames;
        }
    }
    const double appended = double(count) * rate / FramesPerSecond;
    for (size_t p = 0; p < phases.size(); ++p) {
        if (measure == CMeasure::Advance && kept) {
            const CFrames& f = (*kept)[p];
            const CFrames& a = incremental[p];
            if (f.Frames == 0 || a.Frames == 0) continue;
            std::printf("    %-36s the host's advance alone: %5.0f us CPU a frame, which leaves the chart %5.1f%% of a "
                        "core\n",
                        phases[p].Name, a.Cpu(), (f.Cpu() - a.Cpu()) * FramesPerSecond / 1e4);
            continue;
        }
        if (rebuilding && kept) {
            CFrames f = (*kept)[p];
            CFrames& d = everyFrame[p];
            if (f.Frames == 0 || d.Frames == 0) continue;
            const double median = f.Percentile(0.5), full = d.Percentile(0.5);
            std::printf("    %-36s rebuilt and painted whole: %8.0f us median, %9.0f samples read a frame; the kept "
                        "picture wins %.0fx in time, %.0fx in samples\n",
                        phases[p].Name, full, double(d.Read) / double(d.Frames), full / std::max(median, 1.0),
                        double(d.Read) / double(d.Frames) / std::max(double(f.Read) / double(f.Frames), 1.0));
            continue;
        }
        CFrames& f = incremental[p];
        if (f.Frames == 0) continue;
        std::printf("    %-36s %7.0f us median %7.0f p95 (host's advance %5.0f), %7.0f us CPU | %7.0f samples read "
                    "(%.0f appended), %7.0f vertices a frame, %4.1f columns drawn a frame, %ld of %ld frames "
                    "drawn whole | %5.1f%% of a core at 60 frames/s\n",
                    phases[p].Name, f.Percentile(0.5), f.Percentile(0.95), CFrames::Percentile(f.Host, 0.5), f.Cpu(),
                    double(f.Read) / double(f.Frames), appended, double(f.Vertices) / double(f.Frames),
                    double(f.Columns) / double(f.Frames), f.Whole, f.Frames, f.Cpu() * FramesPerSecond / 1e4);
    }
    if (measure == CMeasure::Live) {
        // What a paint costs when nothing is new: the axes, the fills and the copies around the plot.
        std::printf("    %-36s %ld x %ld\n", "the whole picture", live.Size.cx, live.Size.cy);
        CFrames still;
        for (int i = 0; i < FramesPerSecond; ++i) {
            const Clock::time_point start = Clock::now();
            live.Paint();
            still.Micros.push_back(Micros(Clock::now() - start));
        }
        std::printf("    %-36s %7.0f us median\n", "a paint with nothing new", still.Percentile(0.5));
    }
    sim->Shutdown();
    return true;
}

} // namespace

// The trace figures of the live chart benchmark.
int RunTraceFrames(const std::string& only)
{
    const std::vector<CPhase> phases = {{"window filling (0-60 s)", 5 * Second, 60 * Second},
                                        {"moving, history growing (60-300 s)", 5 * Second, 300 * Second},
                                        {"full history (300-360 s)", 5 * Second, 360 * Second}};
    for (int count : {4, 32}) {
        for (int rate : {1000, 10000}) {
            const bool heaviest = count == 32 && rate == 10000;
            if (!only.empty() && !((only == "--heaviest" || only == "--odd-width") && heaviest)) continue;
            if (only == "--odd-width") PlotWidth = 1183;
            std::printf("  control: %d channels x %d Hz overlaid, 60 s on a %ld x 600 plot, 300 s of history\n", count,
                        rate, PlotWidth);
            std::vector<CFrames> kept, unused;
            const qvx::time window = 60 * Second, history = 300 * Second, length = 360 * Second;
            bool made = Run(count, rate, window, history, length, phases, kept);
            if (made && only != "--odd-width")
                made = Run(count, rate, window, history, length, phases, unused, CMeasure::Advance, &kept) &&
                       Run(count, rate, window, history, length, phases, unused, CMeasure::Rebuilding, &kept);
            if (!made) std::printf("    the run could not be set up\n");
        }
    }
    if (!only.empty() && only != "--history") return 0;
    // 32 x 1 kHz: 3000 s of 32 x 10 kHz would be more samples than the substitute host holds.
    // Ten seconds of frames each. The 60 s window fills until 60 s and moves after, so its like
    // for like comparison of history is the moving window at 70 s against the one at 3000 s; a
    // 10 s window moves at 20 s already.
    const auto change = [](double now, double was) { return 100.0 * (now / std::max(was, 1.0) - 1.0); };
    for (qvx::time window : {60 * Second, 10 * Second}) {
        std::printf("  control: 32 channels x 1000 Hz in a %lld s window, with 3000 s of history held\n",
                    window / Second);
        std::vector<CFrames> f;
        if (!Run(32, 1000, window, 3000 * Second, 3000 * Second,
                 {{"10-20 s of history", 10 * Second, 20 * Second},
                  {"60-70 s of history", 10 * Second, 70 * Second},
                  {"2990-3000 s of history", 10 * Second, 3000 * Second}},
                 f)) {
            std::printf("    the run could not be set up\n");
            continue;
        }
        std::printf("    %-36s median %+.0f%%, CPU %+.0f%% against 70 s; median %+.0f%%, CPU %+.0f%% against 20 s\n",
                    "at 3000 s", change(f[2].Percentile(0.5), f[1].Percentile(0.5)), change(f[2].Cpu(), f[1].Cpu()),
                    change(f[2].Percentile(0.5), f[0].Percentile(0.5)), change(f[2].Cpu(), f[0].Cpu()));
    }
    return 0;
}
