// The chart following live data: the control attached to the substitute host's live task with
// four channels shown (up to 1 kHz), the host's clock advanced in 40 ms steps for ten minutes of
// data. For each step: what the notifications cost (the lap object's report moving the window,
// each trace's data change) and what they asked the host; then what a reader costs, every half
// second, that takes each trace's range as the axes do.
#include <windows.h>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>
#include "bench/BenchChart.h"
#include "items/ChannelDataItem.h"
#include "items/DataSelectionDataItem.h"
#include "control/LinnographCtl.h"
#include "QvxSim.h"
#include "items/RTCTaskDataItem.h"
#include "items/TraceDataItem.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr qvx::time Second = 10'000'000;
constexpr qvx::time Step = 400'000;   // 40 ms

double Microseconds(Clock::duration d) { return std::chrono::duration<double, std::micro>(d).count(); }

long Calls(IQvxSimulation* sim, const wchar_t* operation)
{
    long count = 0;
    sim->GetCallCount(CBstr(operation).Get(), &count);
    return count;
}

// Host reads of samples: the records and their arrays.
long SampleReads(IQvxSimulation* sim)
{
    return Calls(sim, L"IQvxData.GetRecords") + Calls(sim, L"IQvxDataRecords.GetRecord")
           + Calls(sim, L"IQvxDataRecord.GetValues") + Calls(sim, L"IQvxDataRecord.GetTimes");
}

int Run()
{
    CComPtr<IQvxOrvid> host;
    CComPtr<IQvxSimulation> sim;
    if (!StartBenchHost(host, sim)) {
        std::printf("live chart: the substitute host is not registered\n");
        return 1;
    }
    CComPtr<IQvxLinnographCtl4> control;
    CBenchChart* chart = MakeBenchChart(host, control);
    if (!chart) return 1;
    control->put_DataTimeSpan(60 * Second);
    control->put_HistoricDataTimeSpan(120 * Second);
    CRTCTaskDataItem* task = chart->Task();
    task->SetPlotWidth(1200);
    task->GetOrdering()->SetNames({CBstr(L"Speed"), CBstr(L"RPM"), CBstr(L"Throttle"), CBstr(L"Lateral G")});
    std::vector<CTraceDataItem*> traces;
    for (CChannelDataItem* channel : task->GetOrdering()->GetItems())
        for (CTraceDataItem* trace : channel->GetTraces()) traces.push_back(trace);
    std::printf("live chart: %zu traces on the live selection, 60 s window of 1200 px, 40 ms steps\n", traces.size());

    Clock::duration notified{}, read{};
    long steps = 0, readsAtNotification = 0, readsByReaders = 0, windowMoves = 0, offColumns = 0;
    constexpr qvx::time Column = 60 * Second / 1200;
    qvx::time lastStart = 0;
    for (qvx::time elapsed = 0; elapsed < 600 * Second; elapsed += Step, ++steps) {
        sim->ResetCallCounts();
        const Clock::time_point start = Clock::now();
        sim->Advance(Step);
        notified += Clock::now() - start;
        readsAtNotification += SampleReads(sim);
        CDataSelectionDataItem* shown = task->GetSelections().empty() ? nullptr : task->GetSelections().front();
        if (shown && shown->GetStartTime() != lastStart) {
            if (lastStart != 0 && (shown->GetStartTime() - lastStart) % Column != 0) ++offColumns;
            ++windowMoves;
            lastStart = shown->GetStartTime();
        }
        if ((elapsed + Step) % (Second / 2) != 0) continue;
        sim->ResetCallCounts();
        const Clock::time_point before = Clock::now();
        for (CChannelDataItem* channel : task->GetOrdering()->GetItems()) channel->GetScaleMaximum(1);
        for (CTraceDataItem* trace : traces) {
            double minimum = 0.0, maximum = 0.0;
            trace->GetRange(minimum, maximum);
        }
        read += Clock::now() - before;
        readsByReaders += SampleReads(sim);
    }
    const long reads = long(600 * Second / (Second / 2));
    std::printf("  notifications: %.1f us per 40 ms step (host, lap report, window, %zu data changes)\n",
                Microseconds(notified) / double(steps), traces.size());
    std::printf("  sample reads at notification time: %ld in %ld steps\n", readsAtNotification, steps);
    std::printf("  window moves: %ld in %ld steps, %ld of them not by whole 50 ms columns\n", windowMoves, steps,
                offColumns);
    std::printf("  readers every half second: %.1f us, %.1f host sample reads per read of %zu ranges\n",
                Microseconds(read) / double(reads), double(readsByReaders) / double(reads), traces.size());
    sim->Shutdown();
    return 0;
}

} // namespace

// The line traces' figures (LiveTraceBench.cpp); `only` names one run, or is empty for all.
int RunTraceFrames(const std::string& only);

// "--history" runs the long-history comparison alone, "--heaviest" the 32 x 10 kHz run alone,
// "--odd-width" that run's live chart on a plot of 1183 columns.
int main(int argc, char** argv)
{
    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 1;
    const std::string only = argc > 1 ? argv[1] : "";
    int result = only.empty() ? Run() : 0;
    if (result == 0) result = RunTraceFrames(only);
    CoUninitialize();
    return result;
}
