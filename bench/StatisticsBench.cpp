// The statistics calculators on a 10 kHz series: what a Calculate costs after k new samples at
// several lengths of history, what it reads from the host, and how fast a cold read folds
// samples compared with a plain loop that keeps the extremes of the same arrays.
#include <windows.h>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <vector>
#include "com/AutomationTypes.h"
#include "statistics/StatisticsCalculator.h"
#include "tests/TestSeries.h"

using namespace qvxtest;

namespace {

using Clock = std::chrono::steady_clock;
using CRangeCalculator = CStatisticsCalculator<qvx::time, CMinMaxStatsBin, false>;
using CLinearCalculator = CStatisticsCalculator<qvx::time, CLinearStatsBin<qvx::time>, true>;

constexpr qvx::time Period = 1000;          // 10 kHz in 100 ns ticks
constexpr qvx::time Second = 10000000;
constexpr size_t SamplesPerSecond = 10000;
constexpr size_t RecordSize = 250;          // the host delivers 25 ms blocks
constexpr LONG BinSize = 1000;              // as a real-time trace sets it

double Seconds(Clock::duration d) { return std::chrono::duration<double>(d).count(); }

// A waveform with noise, the same on every run.
std::vector<double> Waveform(size_t count, size_t offset = 0)
{
    std::vector<double> values(count);
    unsigned state = 12345u + unsigned(offset);
    for (size_t i = 0; i < count; ++i) {
        state = state * 1664525u + 1013904223u;
        values[i] = 100.0 * std::sin(double(i + offset) * 1e-4) + double(state >> 20) * 1e-3;
    }
    return values;
}

qvx::time LastTime(const CTestSeries& series)
{
    return series.TimeOf({series.Records.size() - 1, series.Records.back().Size() - 1});
}

// The baseline: every record through the host, each array read once for its extremes.
double PlainMinMax(IQvxData2* data, double& minimum, double& maximum)
{
    const auto start = Clock::now();
    minimum = HUGE_VAL;
    maximum = -HUGE_VAL;
    CComPtr<IQvxDataRecords> records;
    LONG count = 0;
    data->GetRecords(records.Out());
    records->GetCount(&count);
    for (LONG n = 1; n <= count; ++n) {
        CComPtr<IQvxDataRecord> record;
        CSafeArray values;
        records->GetRecord(n, record.Out());
        record->GetValues(values.Out());
        const CSafeArrayAccess<double> access(values.Get());
        const double* v = access.Get();
        for (ULONG i = 0; i < access.Size(); ++i) {
            minimum = std::min(minimum, v[i]);
            maximum = std::max(maximum, v[i]);
        }
    }
    return Seconds(Clock::now() - start);
}

// The same loop over the series' own memory, with no host call at all.
double InMemoryMinMax(const CTestSeries& series, double& minimum, double& maximum)
{
    const auto start = Clock::now();
    minimum = HUGE_VAL;
    maximum = -HUGE_VAL;
    for (const CSeriesRecord& record : series.Records) {
        for (double v : record.Values) {
            minimum = std::min(minimum, v);
            maximum = std::max(maximum, v);
        }
    }
    return Seconds(Clock::now() - start);
}

template <class Calculator>
double ColdCalculate(IQvxData2* data, qvx::time to, double& minimum, double& maximum, size_t& bins)
{
    Calculator calculator(BinSize);
    const auto start = Clock::now();
    calculator.Calculate(data, 0, to);
    const double seconds = Seconds(Clock::now() - start);
    minimum = calculator.Minimum;
    maximum = calculator.Maximum;
    bins = calculator.Bins.size();
    return seconds;
}

void ColdRead()
{
    constexpr size_t count = 10000000;
    auto series = CTestSeries::Create();
    const std::vector<double> values = Waveform(count);
    series->Append(values.data(), values.size(), Period, RecordSize);
    const qvx::time to = LastTime(*series);

    std::printf("Cold read of %zu samples (%zu records of %zu, bins of %ld)\n", count, series->Records.size(),
                RecordSize, long(BinSize));
    double best[4] = {HUGE_VAL, HUGE_VAL, HUGE_VAL, HUGE_VAL};
    double minimum = 0, maximum = 0, plainMinimum = 0, plainMaximum = 0, memoryMinimum = 0, memoryMaximum = 0;
    size_t bins = 0, linearBins = 0;
    for (int run = 0; run < 3; ++run) {
        best[0] = std::min(best[0], ColdCalculate<CRangeCalculator>(series, to, minimum, maximum, bins));
        double lMin = 0, lMax = 0;
        best[1] = std::min(best[1], ColdCalculate<CLinearCalculator>(series, to, lMin, lMax, linearBins));
        best[2] = std::min(best[2], PlainMinMax(series, plainMinimum, plainMaximum));
        best[3] = std::min(best[3], InMemoryMinMax(*series, memoryMinimum, memoryMaximum));
    }
    const bool agree = minimum == plainMinimum && maximum == plainMaximum && minimum == memoryMinimum
                       && maximum == memoryMaximum;
    std::printf("  %-44s %8.1f ms  %7.1f M samples/s  (%zu bins)\n", "range calculator (min/max, finite only)",
                best[0] * 1e3, count / best[0] * 1e-6, bins);
    std::printf("  %-44s %8.1f ms  %7.1f M samples/s  (%zu bins)\n", "linear calculator (min/max/mean)",
                best[1] * 1e3, count / best[1] * 1e-6, linearBins);
    std::printf("  %-44s %8.1f ms  %7.1f M samples/s\n", "plain min/max loop over the host's arrays", best[2] * 1e3,
                count / best[2] * 1e-6);
    std::printf("  %-44s %8.1f ms  %7.1f M samples/s\n", "plain min/max loop in memory (no host)", best[3] * 1e3,
                count / best[3] * 1e-6);
    std::printf("  range calculator / plain loop over the host's arrays: %.2fx the time; extremes %s\n\n",
                best[0] / best[2], agree ? "agree" : "DIFFER");
}

struct CLiveFigures
{
    double MeanMicroseconds = 0;
    double MedianMicroseconds = 0;
    double MeanValuesRead = 0;
    long long MaxValuesRead = 0;
    double MeanPointQueries = 0;
    size_t Bins = 0;
};

// A live series with `history` seconds of data; a first Calculate over the selection, then
// `steps` times: k new samples arrive, the trace invalidates their span, and Calculate runs again.
// `sliding`: the selection keeps its length and its start moves with the data.
CLiveFigures Live(size_t historySeconds, size_t selectionSeconds, size_t k, bool sliding, int steps)
{
    auto series = CTestSeries::Create();
    const size_t history = historySeconds * SamplesPerSecond;
    const std::vector<double> values = Waveform(history);
    series->Append(values.data(), values.size(), Period, RecordSize);
    CRangeCalculator calculator(BinSize);
    qvx::time to = LastTime(*series);
    qvx::time from = std::max<qvx::time>(0, to - qvx::time(selectionSeconds) * Second);
    calculator.Calculate(series, from, to);

    std::vector<double> micros;
    CLiveFigures figures;
    long long valuesRead = 0, pointQueries = 0;
    for (int step = 0; step < steps; ++step) {
        const std::vector<double> more = Waveform(k, history + size_t(step) * k);
        const qvx::time firstNew = to + Period;
        series->Append(more.data(), more.size(), Period, RecordSize);
        const qvx::time newTo = LastTime(*series);
        calculator.Invalidate(firstNew, newTo);
        if (sliding) from += newTo - to;
        to = newTo;
        series->ResetCounts();
        const auto start = Clock::now();
        calculator.Calculate(series, from, to);
        micros.push_back(Seconds(Clock::now() - start) * 1e6);
        valuesRead += series->ValuesHandedOut;
        pointQueries += series->ValueQueries;
        figures.MaxValuesRead = std::max(figures.MaxValuesRead, series->ValuesHandedOut);
    }
    double sum = 0;
    for (double m : micros) sum += m;
    figures.MeanMicroseconds = sum / double(micros.size());
    std::sort(micros.begin(), micros.end());
    figures.MedianMicroseconds = micros[micros.size() / 2];
    figures.MeanValuesRead = double(valuesRead) / steps;
    figures.MeanPointQueries = double(pointQueries) / steps;
    figures.Bins = calculator.Bins.size();
    return figures;
}

void LiveRead()
{
    constexpr size_t k = 1000;
    constexpr int steps = 300;
    std::printf("Live series at 10 kHz: Calculate after each %zu new samples (%d steps), records of %zu, bins of %ld\n",
                k, steps, RecordSize, long(BinSize));
    std::printf("  %-36s %9s %9s %12s %10s %10s %8s\n", "selection", "mean us", "median us", "values read", "max read",
                "GetValueAt", "bins");
    const size_t lengths[] = {20, 300, 3000};
    for (bool sliding : {false, true}) {
        for (size_t seconds : lengths) {
            const CLiveFigures f = Live(seconds, seconds, k, sliding, steps);
            char label[64];
            std::snprintf(label, sizeof label, "%s, %zu s of history", sliding ? "sliding window" : "whole history",
                          seconds);
            std::printf("  %-36s %9.1f %9.1f %12.1f %10lld %10.1f %8zu\n", label, f.MeanMicroseconds,
                        f.MedianMicroseconds, f.MeanValuesRead, f.MaxValuesRead, f.MeanPointQueries, f.Bins);
        }
    }
    // The case of the road of new samples: a 300 s selection over a longer recording.
    const CLiveFigures f = Live(3000, 300, k, true, steps);
    std::printf("  %-36s %9.1f %9.1f %12.1f %10lld %10.1f %8zu\n", "sliding 300 s of 3000 s recorded",
                f.MeanMicroseconds, f.MedianMicroseconds, f.MeanValuesRead, f.MaxValuesRead, f.MeanPointQueries,
                f.Bins);
    std::printf("  (values read: samples in the value arrays handed out, whole records of %zu; the sliding window\n"
                "   also reads its first gap afresh, up to one bin, when its start moves past a bin)\n\n",
                RecordSize);
}

void UnchangedRead()
{
    auto series = CTestSeries::Create();
    const std::vector<double> values = Waveform(300 * SamplesPerSecond);
    series->Append(values.data(), values.size(), Period, RecordSize);
    CRangeCalculator calculator(BinSize);
    const qvx::time to = LastTime(*series);
    calculator.Calculate(series, 0, to);
    series->ResetCounts();
    constexpr int repeats = 1000;
    const auto start = Clock::now();
    for (int i = 0; i < repeats; ++i) calculator.Calculate(series, 0, to);
    const double micros = Seconds(Clock::now() - start) * 1e6 / repeats;
    std::printf("Calculate with no new data, 300 s at 10 kHz (%zu bins): %.2f us, per call %.1f values read, "
                "%.1f GetSampleTime, %.1f GetValueAt\n",
                calculator.Bins.size(), micros, double(series->ValuesHandedOut) / repeats,
                double(series->SampleTimeQueries) / repeats, double(series->ValueQueries) / repeats);
}

} // namespace

int main()
{
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    ColdRead();
    LiveRead();
    UnchangedRead();
    CoUninitialize();
    return 0;
}
