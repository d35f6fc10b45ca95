// The column folder: both folding tables by example, random series with gaps against a fold
// written the slow way, builds cut into pieces against one build, and the 16-bit clip.
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
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

void Add(CColumnFolder& folder, bool hold, std::int64_t time, const CSample& s)
{
    if (hold)
        folder.AddHoldSample(time, s.X, s.Y);
    else
        folder.AddLinearSample(time, s.X, s.Y);
}

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
    for (const CSample& s : samples) Add(folder, hold, ++time, s);
    folder.Finish();
    return RecordsOf(folder);
}

// The fold the slow way: cut the samples into strokes at each gap and each stroke into runs of
// one column, give each run its vertices, then cut strokes into records of 250 points.
Records SlowFold(const std::vector<CSample>& samples, bool hold)
{
    std::vector<Points> strokes;
    std::vector<std::vector<TracePoint>> runs;
    auto endStroke = [&]() {
        Points stroke;
        for (size_t r = 0; r < runs.size(); ++r) {
            const auto& run = runs[r];
            const int x = run[0].X;
            // A hold column after another starts on the old level and folds it in; any other
            // column starts on its first sample and folds the samples from its first other row.
            const bool step = hold && r > 0;
            std::vector<int> rows;
            size_t from = 1;
            while (from < run.size() && run[from].Y == run[0].Y) ++from;
            if (step) {
                rows.push_back(runs[r - 1].back().Y);
                from = 0;
            }
            for (size_t i = from; i < run.size(); ++i) rows.push_back(run[i].Y);
            stroke.push_back(step ? TracePoint{x, rows[0]} : run[0]);
            if (from < run.size()) {
                stroke.push_back({x, *std::max_element(rows.begin(), rows.end())});
                stroke.push_back({x, *std::min_element(rows.begin(), rows.end())});
                stroke.push_back({x, run.back().Y});
            }
        }
        if (!stroke.empty()) strokes.push_back(stroke);
        runs.clear();
    };
    for (const CSample& s : samples) {
        if (std::isnan(s.Y)) {
            endStroke();
            continue;
        }
        const TracePoint p{int(s.X), int(s.Y)};
        if (runs.empty() || runs.back()[0].X != p.X)
            runs.push_back({p});
        else
            runs.back().push_back(p);
    }
    endStroke();

    Records records;
    for (const Points& stroke : strokes) {
        Points record;
        for (const TracePoint& p : stroke) {
            if (record.size() == 250) {
                records.push_back(record);
                record = {record.back()};
            }
            record.push_back(p);
        }
        records.push_back(record);
    }
    return records;
}

std::vector<CSample> RandomSeries(unsigned seed, int count)
{
    std::mt19937 random(seed);
    std::vector<CSample> samples;
    double x = 10;
    for (int i = 0; i < count; ++i) {
        x += std::uniform_int_distribution<int>(0, 9)(random) < 6 ? 0.0 : std::uniform_real_distribution<double>(0.1, 3.0)(random);
        const bool gap = std::uniform_int_distribution<int>(0, 60)(random) == 0;
        // Few rows, so that equal rows in a column occur often.
        samples.push_back({x, gap ? NaN : double(std::uniform_int_distribution<int>(100, 108)(random)) + 0.5});
    }
    return samples;
}

struct CTableRow
{
    const char* Name;
    bool Hold;
    std::vector<CSample> Samples;
    Records Expected;
};

TEST(ColumnFolder, FoldsColumnsAsTheTablesGive)
{
    Points ramp251;
    std::vector<CSample> ramp;
    for (int i = 0; i < 251; ++i) {
        ramp.push_back({double(i), double(i % 2)});
        ramp251.push_back({i, i % 2});
    }
    const std::vector<CTableRow> rows = {
        {"many rows of a column give the entry, the highest, the lowest and the last", false,
         {{4, 5}, {5, 10}, {5.5, 20}, {5.2, 15}, {5.9, 12}},
         {{{4, 5}, {5, 10}, {5, 20}, {5, 12}, {5, 12}}}},
        {"the rows of a column are truncated, and an equal row adds nothing", false,
         {{4.9, 5.9}, {4.1, 5.2}, {6.5, 7.7}},
         {{{4, 5}, {6, 7}}}},
        {"a hold step draws the old level across and steps at the flush", true,
         {{5, 10}, {9, 20}},
         {{{5, 10}, {9, 10}, {9, 20}, {9, 10}, {9, 20}}}},
        {"a hold column widens by its own rows and the old level", true,
         {{5, 10}, {9, 30}, {9.5, 4}, {9.7, 12}, {11, 12}},
         {{{5, 10}, {9, 10}, {9, 30}, {9, 4}, {9, 12}, {11, 12}, {11, 12}, {11, 12}, {11, 12}}}},
        {"a NaN breaks the line into a new record", false,
         {{1, 1}, {2, 2}, {3, NaN}, {4, 4}, {5, 5}},
         {{{1, 1}, {2, 2}}, {{4, 4}, {5, 5}}}},
        {"a NaN inside a column flushes it first", false,
         {{1, 1}, {2, 2}, {2, 7}, {2, NaN}, {2, 3}},
         {{{1, 1}, {2, 2}, {2, 7}, {2, 7}, {2, 7}}, {{2, 3}}}},
        {"251 vertices make records of 250 and 2, the second starting on a copy", false,
         ramp,
         {Points(ramp251.begin(), ramp251.begin() + 250), {ramp251[249], ramp251[250]}}},
    };
    for (const CTableRow& row : rows) EXPECT_EQ(Fold(row.Samples, row.Hold), row.Expected) << row.Name;
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

TEST(ColumnFolder, BuildsCutIntoPiecesStoreWhatOneBuildStores)
{
    for (unsigned seed = 1; seed <= 20; ++seed) {
        const auto samples = RandomSeries(seed, 2000);
        std::mt19937 random(seed);
        for (bool hold : {false, true}) {
            CColumnFolder pieces;
            pieces.Begin();
            std::int64_t time = 0;
            for (const CSample& s : samples) {
                Add(pieces, hold, ++time, s);
                if (std::uniform_int_distribution<int>(0, 20)(random) == 0) {
                    pieces.Finish();
                    ASSERT_TRUE(pieces.Resume());
                }
            }
            pieces.Finish();
            EXPECT_EQ(RecordsOf(pieces), Fold(samples, hold)) << "seed " << seed << (hold ? " hold" : " linear");
        }
    }
}

TEST(ColumnFolder, AShiftMovesThePointsThatStayAndResumesOnThem)
{
    // Columns 0 to 9, one sample each. A move by 3 of a picture that keeps points from column 1
    // on keeps those from column 4 and the one before them, which the line starts from.
    CColumnFolder folder;
    folder.Begin();
    for (int i = 0; i < 10; ++i) folder.AddLinearSample(i, i, 50 + i);
    folder.Finish();
    folder.ShiftLeft(3, 1);
    ASSERT_EQ(folder.Polylines.size(), 1u);
    const TracePolyline& record = folder.Polylines[0];
    ASSERT_EQ(record.FirstVisible, 3);
    Points visible(record.Points.begin() + record.FirstVisible, record.Points.end());
    Points expected;
    for (int i = 3; i < 10; ++i) expected.push_back({i - 3, 50 + i});
    EXPECT_EQ(visible, expected);

    // Samples after the move go on from the moved state: the last column is now 6.
    ASSERT_TRUE(folder.Resume());
    folder.AddLinearSample(10, 6.5, 70);
    folder.AddLinearSample(11, 8, 60);
    folder.Finish();
    ASSERT_EQ(folder.Polylines.size(), 1u);
    const Points tail(folder.Polylines[0].Points.end() - 5, folder.Polylines[0].Points.end());
    EXPECT_EQ(tail, (Points{{6, 59}, {6, 70}, {6, 70}, {6, 70}, {8, 60}}));

    // A move past everything leaves nothing to resume on.
    folder.ShiftLeft(100, 1);
    EXPECT_TRUE(folder.Polylines.empty());
    EXPECT_FALSE(folder.Resume());
}

struct CClipRow
{
    const char* Name;
    std::vector<std::pair<double, double>> Samples;
    Records Expected;
};

TEST(ColumnFolder, PointsStayInsideSixteenBitCoordinates)
{
    const std::vector<CClipRow> rows = {
        {"a steep segment is cut at the top", {{0, 0}, {10, 100000}}, {{{0, 0}, {4, 32767}}}},
        {"a segment far to the right is cut at the right edge", {{0, 0}, {131070, 2}}, {{{0, 0}, {32767, 1}}}},
        {"a segment from far left enters at the left edge and leaves at the top", {{-65536, 0}, {0, 32768}},
         {{{-32768, 16384}, {-2, 32767}}}},
        {"both ends above store nothing", {{0, 40000}, {10, 50000}}, {}},
        {"a line that leaves and comes back enters anew", {{0, 0}, {2, 65534}, {4, 0}},
         {{{0, 0}, {1, 32767}}, {{3, 32767}, {4, 0}}}},
    };
    for (const CClipRow& row : rows) {
        CColumnFolder folder;
        folder.Begin();
        std::int64_t time = 0;
        for (const auto& [x, y] : row.Samples) folder.AddLinearSample(++time, x, y);
        folder.Finish();
        EXPECT_EQ(RecordsOf(folder), row.Expected) << row.Name;
    }
}

} // namespace
