// The choice of time ticks: steps and starts over ranges and widths, the digits the labels show,
// labels that keep apart when measured in a real font, and ranges that give no ticks.
#include <gtest/gtest.h>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>
#include <windows.h>
#include "scales/TimeText.h"
#include "scales/TimeTicks.h"

namespace {

constexpr std::int64_t Second = 10'000'000;
constexpr std::int64_t Minute = 60 * Second;
constexpr std::int64_t Hour = 60 * Minute;

// Labels that are all as wide as `width`.
TimeLabelWidth Fixed(long width)
{
    return [width](std::int64_t, long) { return width; };
}

// Labels 8 pixels a character, in the compact form of `format` that the axis measures.
TimeLabelWidth Characters(long format)
{
    return [format](std::int64_t time, long decimals) {
        return long(8 * wcslen(FormatTimeText(time, format, decimals, true, false, false, false, L".")));
    };
}

struct CStepRow
{
    const char* Name;
    std::int64_t T0, T1;
    long Pixels;
    std::int16_t TimeDigits;
    long LabelWidth;
    double MajorStart, MajorStep, MinorStart, MinorStep;   // seconds
    int Decimals;
};

const CStepRow StepRows[] = {
    // 60 pixels a label, 6 labels: 1, 2, 5 and 10 s cut 100 s into too many parts, 20 s into 5.
    {"a hundred seconds on 800 pixels", 0, 100 * Second, 800, 3, 40, 0, 20, 0, 5, 0},
    {"room for one label takes a whole decade", 0, 10 * Second, 200, 3, 40, 0, 10, 0, 2, 0},
    {"ten labels at most however wide", 0, 100 * Second, 100000, 3, 10, 0, 10, 0, 2, 0},
    {"the factor 2 parts in four", 0, 10 * Second, 800, 3, 40, 0, 2, 0, 0.5, 0},
    {"the factor 5 parts in five", 0, 20 * Second, 800, 3, 40, 0, 5, 0, 1, 0},
    {"starts are the first multiples in view", 3'300'000, 103'300'000, 800, 3, 40, 2, 2, 0.5, 0.5, 0},
    {"negative starts round towards zero", -73'000'000, 127'000'000, 800, 3, 40, -5, 5, -7, 1, 0},
    {"a fiftieth of a second shows two digits", 0, 200'000, 800, 3, 40, 0, 0.01, 0, 0.002, 2},
    {"the host's digits limit the labels", 50'300'000, 50'500'000, 800, 1, 40, 5.1, 0.1, 5.1, 0.1, 1},
    {"negative digits read as three", 0, 5'000, 800, -1, 40, 0, 0.001, 0, 0.001, 3},
    {"a step of one tick has no minor ticks", 0, 5, 800, 7, 40, 0, 1e-7, 0, 1e-7, 7},
    {"a step of two ticks has no minor ticks", 0, 9, 800, 7, 40, 0, 2e-7, 0, 2e-7, 7},
    // No room for two labels: one tick, at the left edge.
    {"too narrow for two labels", 7 * Second, 107 * Second, 100, 3, 40, 7, 200, 7, 200, 0},
    {"no pixels at all", 7 * Second, 107 * Second, 0, 3, 40, 7, 200, 7, 200, 0},
    {"negative pixels", 7 * Second, 107 * Second, -50, 3, 40, 7, 200, 7, 200, 0},
};

TEST(TimeTicks, EachRangeGetsItsStepsAndStarts)
{
    for (const CStepRow& row : StepRows) {
        AxisTicks ticks;
        ASSERT_TRUE(ChooseTimeTicks(row.T0, row.T1, row.Pixels, row.TimeDigits, Fixed(row.LabelWidth), ticks)) << row.Name;
        EXPECT_DOUBLE_EQ(double(row.T0) / Second, ticks.Minimum) << row.Name;
        EXPECT_DOUBLE_EQ(double(row.T1) / Second, ticks.Maximum) << row.Name;
        EXPECT_DOUBLE_EQ(row.MajorStart, ticks.MajorStart) << row.Name;
        EXPECT_DOUBLE_EQ(row.MajorStep, ticks.MajorStep) << row.Name;
        EXPECT_DOUBLE_EQ(row.MinorStart, ticks.MinorStart) << row.Name;
        EXPECT_DOUBLE_EQ(row.MinorStep, ticks.MinorStep) << row.Name;
        EXPECT_EQ(row.Decimals, ticks.Decimals) << row.Name;
    }
}

// The major ticks in view, as the axis walks them.
std::vector<double> Majors(const AxisTicks& ticks)
{
    std::vector<double> values;
    for (int i = 0; i < 1000; ++i) {
        double value = ticks.MajorStart + i * ticks.MajorStep;
        if (value > ticks.Maximum || value < ticks.Minimum)
            break;
        values.push_back(value);
    }
    return values;
}

std::vector<std::wstring> Labels(const AxisTicks& ticks, long format)
{
    std::vector<std::wstring> labels;
    for (double value : Majors(ticks))
        labels.push_back(FormatTimeText(SecondsToTicks(value), format, ticks.Decimals, true, true, false, false, L"."));
    return labels;
}

struct CFormatRow
{
    const char* Name;
    std::int64_t T0, T1;
    long Format;
    long Pixels;
    std::vector<std::wstring> Labels;
};

TEST(TimeTicks, LabelsCrossTheMinuteAndTheHourInEachFormat)
{
    // 8 pixels a character: the wider labels of minutes and hours leave room for fewer.
    const CFormatRow rows[] = {
        {"seconds past the minute", 55 * Second, 65 * Second, 0, 400, {L"56", L"58", L"60", L"62", L"64"}},
        {"minutes at the minute, narrow", 55 * Second, 65 * Second, 1, 400, {L"55", L"1:00", L"1:05"}},
        {"minutes at the minute", 55 * Second, 65 * Second, 1, 800, {L"56", L"58", L"1:00", L"1:02", L"1:04"}},
        {"hours at the minute", 55 * Second, 65 * Second, 2, 800, {L"56", L"58", L"1:00", L"1:02", L"1:04"}},
        {"minutes at the hour", Hour - 5 * Second, Hour + 5 * Second, 1, 800, {L"59:56", L"59:58", L"60:00", L"60:02", L"60:04"}},
        {"hours at the hour", Hour - 5 * Second, Hour + 5 * Second, 2, 800, {L"59:55", L"1:00:00", L"1:00:05"}},
        {"tenths about the minute", Minute - Second / 10, Minute + Second / 10, 1, 800, {L"59.9", L"1:00", L"1:00.1"}},
        {"negative minutes", -65 * Second, -55 * Second, 1, 800, {L"-1:04", L"-1:02", L"-1:00", L"-58", L"-56"}},
    };
    for (const CFormatRow& row : rows) {
        AxisTicks ticks;
        ASSERT_TRUE(ChooseTimeTicks(row.T0, row.T1, row.Pixels, 3, Characters(row.Format), ticks)) << row.Name;
        EXPECT_EQ(row.Labels, Labels(ticks, row.Format)) << row.Name;
    }
}

// A memory context with a proportional font, for measuring labels as the axis does.
class CMeasure
{
public:
    CMeasure()
    {
        Dc = CreateCompatibleDC(nullptr);
        Font = CreateFontW(-13, 0, 0, 0, FW_NORMAL, 0, 0, 0, DEFAULT_CHARSET, 0, 0, 0, 0, L"Tahoma");
        Old = SelectObject(Dc, Font);
    }
    ~CMeasure()
    {
        SelectObject(Dc, Old);
        DeleteObject(Font);
        DeleteDC(Dc);
    }
    long Width(const wchar_t* text) const
    {
        SIZE size{};
        GetTextExtentPoint32W(Dc, text, int(wcslen(text)), &size);
        return size.cx;
    }

private:
    HDC Dc;
    HFONT Font;
    HGDIOBJ Old;
};

struct CSpacingRow
{
    const char* Name;
    std::int64_t T0, T1;
    long Format;
};

TEST(TimeTicks, MeasuredLabelsNeitherOverlapNorOverhang)
{
    const CSpacingRow rows[] = {
        {"seconds", 0, 100 * Second, 0},
        {"fractions", 12'345'678, 12'545'678, 0},
        {"across zero", -7 * Second, 13 * Second, 0},
        {"minutes", 50 * Second, 9 * Minute, 1},
        {"an hour in minutes", 0, Hour + Minute, 1},
        {"hours", 30 * Minute, 5 * Hour, 2},
        {"negative hours", -5 * Hour, -Hour, 2},
        {"a long run", 0, 1000 * Hour, 2},
        {"the whole time range", INT64_MIN, INT64_MAX, 2},
    };
    const long widths[] = {60, 150, 400, 1000, 3000};
    const CMeasure measure;
    for (const CSpacingRow& row : rows) {
        for (long pixels : widths) {
            SCOPED_TRACE(std::string(row.Name) + ", " + std::to_string(pixels) + " pixels");
            TimeLabelWidth width = [&](std::int64_t time, long decimals) {
                return measure.Width(FormatTimeText(time, row.Format, decimals, true, false, false, false, L"."));
            };
            AxisTicks ticks;
            ASSERT_TRUE(ChooseTimeTicks(row.T0, row.T1, pixels, 3, width, ticks));
            const std::vector<double> majors = Majors(ticks);
            ASSERT_LE(majors.size(), 11u);
            long previousRight = LONG_MIN;
            for (double value : majors) {
                const long x = long((value - ticks.Minimum) / (ticks.Maximum - ticks.Minimum) * pixels);
                const long w = measure.Width(
                    FormatTimeText(SecondsToTicks(value), row.Format, ticks.Decimals, true, true, false, false, L"."));
                const LabelAlignment alignment = AlignLabel(x, w, 0, pixels);
                const long left = alignment == LabelAlignment::Left ? x : alignment == LabelAlignment::Centre ? x - w / 2 : x - w;
                EXPECT_GE(left, previousRight) << "label at " << value;
                // A single label on a narrow axis may be wider than the axis; others stay inside.
                if (majors.size() > 1) {
                    EXPECT_GE(left, 0) << "label at " << value;
                    EXPECT_LE(left + w, pixels) << "label at " << value;
                }
                previousRight = left + w;
            }
        }
    }
}

TEST(TimeTicks, EmptyRangesAndLabelsWithoutWidthGiveNoTicks)
{
    const struct
    {
        const char* Name;
        std::int64_t T0, T1;
        long LabelWidth;
    } rows[] = {
        {"empty range", 5 * Second, 5 * Second, 40},
        {"inverted range", 6 * Second, 5 * Second, 40},
        {"inverted across the whole range", INT64_MAX, INT64_MIN, 40},
        {"labels of no width", 0, 100 * Second, 0},
        {"labels of negative width", 0, 100 * Second, -3},
    };
    for (const auto& row : rows) {
        AxisTicks ticks;
        ticks.MajorStep = -1;
        EXPECT_FALSE(ChooseTimeTicks(row.T0, row.T1, 800, 3, Fixed(row.LabelWidth), ticks)) << row.Name;
        EXPECT_EQ(-1, ticks.MajorStep) << row.Name;
    }
}

TEST(TimeTicks, RangesAtTheEndsOfTimeGiveFewTicksInView)
{
    const struct
    {
        const char* Name;
        std::int64_t T0, T1;
        long Pixels;
    } rows[] = {
        {"the whole range", INT64_MIN, INT64_MAX, 1000},
        {"the whole range, narrow", INT64_MIN, INT64_MAX, 10},
        {"the top tick", INT64_MAX - 1, INT64_MAX, 1000},
        {"the bottom tick", INT64_MIN, INT64_MIN + 1, 1000},
        {"a second below the top", INT64_MAX - Second, INT64_MAX, 1000},
    };
    for (const auto& row : rows) {
        AxisTicks ticks;
        ASSERT_TRUE(ChooseTimeTicks(row.T0, row.T1, row.Pixels, 7, Fixed(20), ticks)) << row.Name;
        EXPECT_GT(ticks.MajorStep, 0.0) << row.Name;
        EXPECT_GT(ticks.MinorStep, 0.0) << row.Name;
        EXPECT_GE(ticks.MajorStart, ticks.Minimum) << row.Name;
        EXPECT_LE(Majors(ticks).size(), 11u) << row.Name;
    }
}

TEST(TimeTicks, SecondsBackToTicksRoundAwayFromZeroAndStayInRange)
{
    const struct
    {
        double Seconds;
        std::int64_t Ticks;
    } rows[] = {
        {1.23456785, 12'345'679},
        {-1.23456785, -12'345'679},
        {0.0, 0},
        {1e300, INT64_MAX},
        {-1e300, INT64_MIN},
        {INFINITY, INT64_MAX},
        {-INFINITY, INT64_MIN},
        {NAN, 0},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.Ticks, SecondsToTicks(row.Seconds)) << row.Seconds;
}

TEST(TimeTicks, LabelsStandFlushWithTheEndsThatTheyWouldReach)
{
    // An axis from 100 to 500, labels 40 wide: half a label is 20.
    const struct
    {
        long X;
        LabelAlignment Alignment;
    } rows[] = {
        {100, LabelAlignment::Left},
        {120, LabelAlignment::Left},
        {121, LabelAlignment::Centre},
        {479, LabelAlignment::Centre},
        {480, LabelAlignment::Right},
        {500, LabelAlignment::Right},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.Alignment, AlignLabel(row.X, 40, 100, 500)) << row.X;
}

} // namespace
