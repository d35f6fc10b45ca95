// The choice of time ticks: steps, starts and digits over ranges and widths, labels across the
// minute and the hour, and ranges with no ticks.
#include <gtest/gtest.h>
#include <climits>
#include <cmath>
#include <cwchar>
#include <string>
#include <tuple>
#include <vector>
#include "scales/TimeText.h"
#include "scales/TimeTicks.h"

namespace {

constexpr std::int64_t Second = 10'000'000;
constexpr std::int64_t Hour = 3600 * Second;

TimeLabelWidth Fixed(long width)
{
    return [width](std::int64_t, long) { return width; };
}

std::vector<double> Majors(const CAxisTicks& ticks)
{
    // Walked as the axis walks them: start plus a multiple of the step.
    std::vector<double> values;
    for (int i = 0; i < 100 && ticks.MajorStart + i * ticks.MajorStep <= ticks.Maximum; ++i)
        values.push_back(ticks.MajorStart + i * ticks.MajorStep);
    return values;
}

const wchar_t* Label(double value, long format, long decimals, bool strip)
{
    return FormatTimeText(SecondsToTicks(value), format, decimals, true, strip, false, false, L".");
}

TEST(TimeTicks, EachRangeGetsItsStepsStartsAndDigits)
{
    // The range in ticks, the pixels and the host's digits; major start and step, minor start and
    // step in seconds; the decimals of the labels.
    const std::tuple<const char*, std::int64_t, std::int64_t, long, std::int16_t, double, double, double, double, int>
        rows[] = {
        // Labels 40 wide take 60 and leave room for 6: 1, 2, 5 and 10 s give too many parts.
        {"a hundred seconds on 800 pixels", 0, 100 * Second, 800, 3, 0, 20, 0, 5, 0},
        {"the factor 2 parts in four", 0, 10 * Second, 800, 3, 0, 2, 0, 0.5, 0},
        {"the factor 5 parts in five", 0, 20 * Second, 800, 3, 0, 5, 0, 1, 0},
        {"room for one label takes a decade", 0, 10 * Second, 200, 3, 0, 10, 0, 2, 0},
        {"ten labels at most", 0, 100 * Second, 100000, 3, 0, 10, 0, 2, 0},
        {"starts are the first multiples in view", 3'300'000, 103'300'000, 800, 3, 2, 2, 0.5, 0.5, 0},
        {"negative starts round towards zero", -73'000'000, 127'000'000, 800, 3, -5, 5, -7, 1, 0},
        {"a fiftieth of a second shows two digits", 0, 200'000, 800, 3, 0, 0.01, 0, 0.002, 2},
        {"the host's digits limit the step", 50'300'000, 50'500'000, 800, 1, 5.1, 0.1, 5.1, 0.1, 1},
        {"negative digits read as three", 0, 5'000, 800, -1, 0, 0.001, 0, 0.001, 3},
        {"a step of one tick has no minor ticks", 0, 5, 800, 7, 0, 1e-7, 0, 1e-7, 7},
        {"too narrow for two labels: one tick", 7 * Second, 107 * Second, 100, 3, 7, 200, 7, 200, 0},
    };
    for (const auto& [name, t0, t1, pixels, digits, majorStart, majorStep, minorStart, minorStep, decimals] : rows) {
        CAxisTicks ticks;
        ASSERT_TRUE(ChooseTimeTicks(t0, t1, pixels, digits, Fixed(40), ticks)) << name;
        EXPECT_DOUBLE_EQ(double(t0) / Second, ticks.Minimum) << name;
        EXPECT_DOUBLE_EQ(double(t1) / Second, ticks.Maximum) << name;
        EXPECT_DOUBLE_EQ(majorStart, ticks.MajorStart) << name;
        EXPECT_DOUBLE_EQ(majorStep, ticks.MajorStep) << name;
        EXPECT_DOUBLE_EQ(minorStart, ticks.MinorStart) << name;
        EXPECT_DOUBLE_EQ(minorStep, ticks.MinorStep) << name;
        EXPECT_EQ(decimals, ticks.Decimals) << name;
    }
}

TEST(TimeTicks, LabelsCrossTheMinuteAndTheHourInEachFormat)
{
    // 8 pixels a character: the wider labels of minutes and hours leave room for fewer.
    // The range, the host's format, the pixels, and the labels.
    const std::tuple<const char*, std::int64_t, std::int64_t, long, long, std::vector<std::wstring>> rows[] = {
        {"seconds past the minute", 55 * Second, 65 * Second, 0, 400, {L"56", L"58", L"60", L"62", L"64"}},
        {"minutes at the minute, narrow", 55 * Second, 65 * Second, 1, 400, {L"55", L"1:00", L"1:05"}},
        {"minutes at the hour", Hour - 5 * Second, Hour + 5 * Second, 1, 800,
         {L"59:56", L"59:58", L"60:00", L"60:02", L"60:04"}},
        {"hours at the hour", Hour - 5 * Second, Hour + 5 * Second, 2, 800, {L"59:55", L"1:00:00", L"1:00:05"}},
        {"tenths about the minute", 599'000'000, 601'000'000, 1, 800, {L"59.9", L"1:00", L"1:00.1"}},
        {"negative minutes", -65 * Second, -55 * Second, 1, 800, {L"-1:04", L"-1:02", L"-1:00", L"-58", L"-56"}},
    };
    for (const auto& [name, t0, t1, format, pixels, expected] : rows) {
        const TimeLabelWidth width = [&, format = format](std::int64_t time, long decimals) {
            return long(8 * wcslen(Label(double(time) / Second, format, decimals, false)));
        };
        CAxisTicks ticks;
        ASSERT_TRUE(ChooseTimeTicks(t0, t1, pixels, 3, width, ticks)) << name;
        std::vector<std::wstring> labels;
        for (double value : Majors(ticks)) labels.push_back(Label(value, format, ticks.Decimals, true));
        EXPECT_EQ(expected, labels) << name;
    }
}

TEST(TimeTicks, BadRangesAndLabelsGiveNoTicksOrFewAndNeverLoop)
{
    // The range, the width of every label, and whether there are ticks.
    const std::tuple<const char*, std::int64_t, std::int64_t, long, bool> rows[] = {
        {"empty range", 5 * Second, 5 * Second, 40, false}, {"inverted range", INT64_MAX, INT64_MIN, 40, false},
        {"labels of no width", 0, 100 * Second, 0, false}, {"labels of negative width", 0, 100 * Second, -3, false},
        {"the whole time range", INT64_MIN, INT64_MAX, 20, true}, {"the top tick", INT64_MAX - 1, INT64_MAX, 20, true},
        {"a second above the bottom", INT64_MIN, INT64_MIN + Second, 20, true},
    };
    for (const auto& [name, t0, t1, labelWidth, ticked] : rows) {
        CAxisTicks ticks;
        ticks.MajorStep = -1;
        ASSERT_EQ(ticked, ChooseTimeTicks(t0, t1, 1000, 7, Fixed(labelWidth), ticks)) << name;
        if (!ticked)
            EXPECT_EQ(-1, ticks.MajorStep) << name << ": the ticks stay untouched";
        else
            EXPECT_TRUE(ticks.MinorStep > 0 && ticks.MajorStart >= ticks.Minimum && Majors(ticks).size() <= 11) << name;
    }
    // Seconds back to ticks round half away from zero and stay in the range.
    EXPECT_EQ(12'345'679, SecondsToTicks(1.23456785));
    EXPECT_EQ(-12'345'679, SecondsToTicks(-1.23456785));
    EXPECT_EQ(INT64_MAX, SecondsToTicks(1e300));
    EXPECT_EQ(INT64_MIN, SecondsToTicks(-INFINITY));
    EXPECT_EQ(0, SecondsToTicks(NAN));
}

} // namespace
