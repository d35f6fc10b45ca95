// Ticks and numbers of the scales: the choice of steps over ranges from tiny to huge, the text of
// a number in its three forms, and the decimals that a label needs.
#include <gtest/gtest.h>
#include <cmath>
#include <limits>
#include <string>
#include <tuple>
#include "scales/NiceTicks.h"

namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Inf = std::numeric_limits<double>::infinity();

// Equal within a relative 1e-9: steps of huge and tiny scales are products of many roundings.
void ExpectClose(double expected, double actual, const char* what)
{
    EXPECT_LE(std::fabs(actual - expected), 1e-9 * std::fabs(expected) + 1e-300) << what;
}

// Steps of one, two and five times a power of ten; a scale that cannot be ticked is refused and
// leaves the ticks untouched.
TEST(NiceTicks, ChoosesStepsOfOneTwoAndFiveTimesAPowerOfTenOrRefuses)
{
    const struct
    {
        const char* Name;
        double Minimum, Maximum, Resolution;
        int LabelHeight, Pixels;
        double MajorStart, MajorStep, MinorStart, MinorStep;   // no major step: refused
    } rows[] = {
        // 300 / (2 * 24) = 6 labels: 20 is the first step below 7 intervals; a step of 2 is cut in four.
        {"a hundred on three hundred pixels", 0, 100, 0.1, 24, 300, 0, 20, 0, 5},
        {"a start below the minimum moves up a step", -3.2, 7.7, 0.1, 24, 300, -2, 2, -3, 0.5},
        {"a step of five is cut in five", 0, 30, 1, 24, 300, 0, 5, 0, 1},
        {"at most ten intervals however tall", 0, 100, 1, 1, 1000, 0, 10, 0, 2},
        {"eleven intervals take the next step", 0, 110, 1, 1, 1000, 0, 20, 0, 5},
        {"a span below the resolution ticks at the resolution", 1.00, 1.004, 0.01, 24, 300, 1.00, 0.01, 1.00, 0.01},
        {"no room for a second label", 5, 9, 0.1, 24, 40, 5, 8, 5, 8},
        {"a tiny range at a tiny resolution", 0, 1e-300, 1e-310, 24, 300, 0, 2e-301, 0, 5e-302},
        {"a huge range about zero", -0.95e300, 1e300, 1e-9, 24, 300, -5e299, 5e299, -9e299, 1e299},
        {"equal ends", 4, 4, 0.1, 24, 300}, {"ends reversed", 5, 4, 0.1, 24, 300},
        {"infinite maximum", 0, Inf, 0.1, 24, 300}, {"a span that overflows", -1e308, 1e308, 0.1, 24, 300},
        {"zero resolution", 0, 4, 0, 24, 300}, {"NaN resolution", 0, 4, NaN, 24, 300},
        {"zero label height", 0, 4, 0.1, 0, 300},
        {"one tick whose step overflows", 0, 1e308, 0.1, 24, 10},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.Name);
        CAxisTicks ticks;
        ticks.MajorStep = 42;
        ASSERT_EQ(row.MajorStep != 0,
                  GetNiceTicks(row.Minimum, row.Maximum, row.Resolution, row.LabelHeight, row.Pixels, ticks));
        if (row.MajorStep == 0) {
            EXPECT_EQ(42, ticks.MajorStep);
            continue;
        }
        EXPECT_EQ(std::make_pair(row.Minimum, row.Maximum), std::make_pair(ticks.Minimum, ticks.Maximum));
        ExpectClose(row.MajorStart, ticks.MajorStart, "major start");
        ExpectClose(row.MajorStep, ticks.MajorStep, "major step");
        ExpectClose(row.MinorStart, ticks.MinorStart, "minor start");
        ExpectClose(row.MinorStep, ticks.MinorStep, "minor step");
    }
}

TEST(NiceTicks, ScaleTicksCarryTheDecimalsThatTheMajorLabelsNeed)
{
    // Minimum, maximum, decimals; the major step and the decimals of its labels.
    const std::tuple<const char*, double, double, int, double, int> rows[] = {
        {"whole labels at one decimal", 0, 100, 1, 20, 0}, {"tenths at two decimals", 0, 1, 2, 0.2, 1},
        {"negative decimals tick in thousands", 0, 5000, -3, 1000, 0},
        {"a span below the resolution", 1.0, 1.004, 2, 0.01, 0},
    };
    for (const auto& [name, minimum, maximum, decimals, majorStep, labelDecimals] : rows) {
        CAxisTicks ticks;
        ASSERT_TRUE(GetScaleTicks(minimum, maximum, decimals, 24, 300, ticks)) << name;
        ExpectClose(majorStep, ticks.MajorStep, name);
        EXPECT_EQ(labelDecimals, ticks.Decimals) << name;
    }
    CAxisTicks ticks;
    EXPECT_FALSE(GetScaleTicks(0, 1, -400, 24, 300, ticks));
}

TEST(NiceTicks, FormatsNumbersFixedGeneralOrExponential)
{
    // The value, its decimals, a plus, the general form, and the text.
    const std::tuple<const char*, double, int, bool, bool, const wchar_t*> rows[] = {
        {"fixed", 2.5, 1, false, true, L"2.5"}, {"fixed with plus", 2.5, 1, true, true, L"+2.5"},
        {"zero with plus", 0, 1, true, true, L"+0.0"}, {"no plus on a negative", -2.5, 1, true, true, L"-2.5"},
        {"past the limit of six decimals", 1234567.0, 6, false, true, L"1234567.000"},
        {"past the limit without general", 1234567.0, 6, false, false, L"1.2346e+06"},
        {"general drops a closing point", 1234567890.0, 2, false, true, L"1234567890"},
        {"exponential with plus", 12345678901.0, 0, true, true, L"+1.2346e+10"},
        {"tiny", 1e-300, 2, false, true, L"0.00"},
        {"negative decimals read as none", 12.7, -3, false, true, L"13"},
    };
    for (const auto& [name, value, decimals, plus, general, expected] : rows) {
        const std::wstring text = FormatNumber(value, decimals, plus, general);
        EXPECT_EQ(expected, text) << name;
        EXPECT_LE(text.size(), 14u) << name;
    }
    for (double value : {NaN, Inf, -Inf}) {
        const size_t length = std::wstring(FormatNumber(value, 2, true, true)).size();
        EXPECT_TRUE(length > 0 && length <= 14u) << value;
    }
}

TEST(NiceTicks, CountsTheDecimalsThatALabelNeeds)
{
    // The value, the most decimals, and the decimals needed.
    const std::tuple<const char*, double, int, int> rows[] = {
        {"trailing zeros go", 2.5, 3, 1}, {"a whole number", 100, 1, 0}, {"every digit needed", 0.125, 3, 3},
        {"rounded to the most", 0.126, 2, 2}, {"negative decimals", 2.5, -2, 0},
        {"a point more than ten characters in", 12345678901.5, 1, 0},
        {"eleven characters without the zeros", 123456789.5, 3, 1},
        {"past eleven characters gives the most", 12345678.125, 4, 4}, {"NaN", NaN, 3, 0},
    };
    for (const auto& [name, value, most, expected] : rows) EXPECT_EQ(expected, LabelDecimals(value, most)) << name;
}

} // namespace
