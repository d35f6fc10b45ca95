// The column folder: random series with gaps, folded by both tables, against a fold written the
// slow way; a shift past everything; and the 16-bit clip.
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <vector>
#include "scales/ColumnFolder.h"

namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
using Points = std::vector<TracePoint>;
using Records = std::vector<Points>;

struct CSample
{
    double X;
    double Y;
};

Records RecordsOf(const CColumnFolder& folder)
{
    Records records;
    for (const TracePolyline& record : folder.Polylines) records.push_back(record.Points);
    return records;
}

Records Fold(const std::vector<CSample>& samples, bool hold)
{
    CColumnFolder folder;
    folder.Begin();
    std::int64_t time = 0;
    for (const CSample& s : samples) {
        if (hold)
            folder.AddHoldSample(++time, s.X, s.Y);
        else
            folder.AddLinearSample(++time, s.X, s.Y);
    }
    folder.Finish();
    return RecordsOf(folder);
}

// The fold the slow way: cut the samples into strokes at each gap and each stroke into runs of
// one column, give each run its vertices, then cut strokes into records of 250 points.
Records SlowFold(const std::vector<CSample>& samples, bool hold)
{
    Records records;
    std::vector<Points> runs;
    const auto endStroke = [&] {
        Points stroke;
        for (size_t r = 0; r < runs.size(); ++r) {
            const Points& run = runs[r];
            // A hold column after another starts on the old level and folds it in; any other
            // column starts on its first sample and folds the samples from its first other row.
            const bool step = hold && r > 0;
            size_t from = step ? 0 : 1;
            while (!step && from < run.size() && run[from].Y == run[0].Y) ++from;
            std::vector<int> rows;
            if (step) rows.push_back(runs[r - 1].back().Y);
            for (size_t i = from; i < run.size(); ++i) rows.push_back(run[i].Y);
            stroke.push_back(step ? TracePoint{run[0].X, rows[0]} : run[0]);
            if (from < run.size()) {
                stroke.push_back({run[0].X, *std::max_element(rows.begin(), rows.end())});
                stroke.push_back({run[0].X, *std::min_element(rows.begin(), rows.end())});
                stroke.push_back({run[0].X, run.back().Y});
            }
        }
        runs.clear();
        if (!stroke.empty()) records.emplace_back();
        for (const TracePoint& p : stroke) {
            if (records.back().size() == 250) records.push_back({records.back().back()});
            records.back().push_back(p);
        }
    };
    for (const CSample& s : samples) {
        if (std::isnan(s.Y))
            endStroke();
        else if (runs.empty() || runs.back()[0].X != int(s.X))
            runs.push_back({{int(s.X), int(s.Y)}});
        else
            runs.back().push_back({int(s.X), int(s.Y)});
    }
    endStroke();
    return records;
}

std::vector<CSample> RandomSeries(unsigned seed, int count)
{
    std::mt19937 random(seed);
    std::vector<CSample> samples;
    double x = 10;
    for (int i = 0; i < count; ++i) {
        // Most samples stay in the column of the one before.
        if (std::uniform_int_distribution<int>(0, 9)(random) >= 6)
            x += std::uniform_real_distribution<double>(0.1, 3.0)(random);
        const bool gap = std::uniform_int_distribution<int>(0, 60)(random) == 0;
        // Few rows, so that equal rows in a column occur often.
        samples.push_back({x, gap ? NaN : double(std::uniform_int_distribution<int>(100, 108)(random)) + 0.5});
    }
    return samples;
}

TEST(ColumnFolder, RandomSeriesFoldAsTheSlowFold)
{
    for (unsigned seed = 1; seed <= 40; ++seed) {
        const auto samples = RandomSeries(seed, 3000);
        for (bool hold : {false, true}) {
            EXPECT_EQ(Fold(samples, hold), SlowFold(samples, hold)) << "seed " << seed << (hold ? " hold" : " linear");
        }
    }
}

// A move past every point leaves no record, and nothing that later samples could go on from.
TEST(ColumnFolder, AShiftPastEveryPointLeavesNothingToResumeOn)
{
    CColumnFolder folder;
    folder.Begin();
    for (int i = 0; i < 10; ++i) folder.AddLinearSample(i, i, 50 + i);
    folder.Finish();
    folder.ShiftLeft(100, 1);
    EXPECT_TRUE(folder.Polylines.empty());
    EXPECT_FALSE(folder.Resume());
}

TEST(ColumnFolder, PointsStayInsideSixteenBitCoordinates)
{
    // The samples (x, y), and the records stored.
    const std::tuple<const char*, std::vector<std::pair<double, double>>, Records> rows[] = {
        {"a steep segment is cut at the top", {{0, 0}, {10, 100000}}, {{{0, 0}, {4, 32767}}}},
        {"a segment far to the right is cut at the right edge", {{0, 0}, {131070, 2}}, {{{0, 0}, {32767, 1}}}},
        {"a segment from far left enters at the left edge and leaves at the top", {{-65536, 0}, {0, 32768}},
         {{{-32768, 16384}, {-2, 32767}}}},
        {"both ends above store nothing", {{0, 40000}, {10, 50000}}, {}},
        {"a line that leaves and comes back enters anew", {{0, 0}, {2, 65534}, {4, 0}},
         {{{0, 0}, {1, 32767}}, {{3, 32767}, {4, 0}}}},
    };
    for (const auto& [name, samples, expected] : rows) {
        CColumnFolder folder;
        folder.Begin();
        std::int64_t time = 0;
        for (const auto& [x, y] : samples) folder.AddLinearSample(++time, x, y);
        folder.Finish();
        EXPECT_EQ(RecordsOf(folder), expected) << name;
    }
}

} // namespace
