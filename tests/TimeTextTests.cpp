// The time formatter: fields by format, sign, compact form, rounding, cutting, stripping, units.
#include <gtest/gtest.h>
#include <climits>
#include <string>
#include <windows.h>
#include "Interfaces.h"
#include "scales/TimeText.h"

namespace {

enum Flags { Compact = 1, Strip = 2, Unit = 4, Plus = 8 };

const wchar_t* Format(qvx::time time, long format, long decimals, int flags = 0)
{
    return FormatTimeText(time, format, decimals, flags & Compact, flags & Strip, flags & Unit, flags & Plus);
}

const wchar_t* FormatWith(const wchar_t* separator, qvx::time time, long format, long decimals, int flags = 0)
{
    return FormatTimeText(time, format, decimals, flags & Compact, flags & Strip, flags & Unit, flags & Plus,
                          separator);
}

// The expected text with the user's decimal separator in place of ".".
std::wstring Local(const wchar_t* text)
{
    wchar_t separator[4] = {};
    EXPECT_NE(GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, separator, 4), 0);
    std::wstring result;
    for (const wchar_t* c = text; *c; ++c) {
        if (*c == L'.')
            result += separator;
        else
            result += *c;
    }
    return result;
}

constexpr qvx::time Second = 10'000'000;
constexpr qvx::time Minute = 60 * Second;
constexpr qvx::time Hour = 60 * Minute;
// 3 h 2 min 5.25 s.
constexpr qvx::time ThreeHours = 3 * Hour + 2 * Minute + 52'500'000;

TEST(TimeText, SecondsPositiveNegativeAndZero)
{
    EXPECT_STREQ(Format(123'456'789, 0, 3), Local(L"12.346").c_str());
    EXPECT_STREQ(Format(-123'456'789, 0, 3), Local(L"-12.346").c_str());
    EXPECT_STREQ(Format(-5'000'000, 0, 1), Local(L"-0.5").c_str());
    EXPECT_STREQ(Format(0, 0, 3), Local(L"0.000").c_str());
    // Seconds alone are not split into minutes, whatever their number.
    EXPECT_STREQ(Format(754'000'000, 0, 1), Local(L"75.4").c_str());
}

TEST(TimeText, MinutesAndSecondsPositiveNegativeAndZero)
{
    EXPECT_STREQ(Format(123'456'789, 1, 3), Local(L"00:12.346").c_str());
    EXPECT_STREQ(Format(-754'000'000, 1, 1), Local(L"-01:15.4").c_str());
    EXPECT_STREQ(Format(0, 1, 3), Local(L"00:00.000").c_str());
    // Minutes are not split into hours.
    EXPECT_STREQ(Format(ThreeHours, 1, 2), Local(L"182:05.25").c_str());
}

TEST(TimeText, HoursMinutesAndSecondsPositiveNegativeAndZero)
{
    EXPECT_STREQ(Format(754'000'000, 2, 1), Local(L"00:01:15.4").c_str());
    EXPECT_STREQ(Format(ThreeHours, 2, 2), Local(L"03:02:05.25").c_str());
    EXPECT_STREQ(Format(-ThreeHours, 2, 2), Local(L"-03:02:05.25").c_str());
    EXPECT_STREQ(Format(0, 2, 3), Local(L"00:00:00.000").c_str());
    EXPECT_STREQ(Format(100 * Hour, 2, 1), Local(L"100:00:00.0").c_str());
}

TEST(TimeText, ShowPlusMarksTimesThatAreNotNegative)
{
    EXPECT_STREQ(Format(123'456'789, 0, 3, Plus), Local(L"+12.346").c_str());
    EXPECT_STREQ(Format(0, 0, 3, Plus), Local(L"+0.000").c_str());
    EXPECT_STREQ(Format(-5'000'000, 0, 1, Plus), Local(L"-0.5").c_str());
    EXPECT_STREQ(Format(123'456'789, 1, 3, Plus), Local(L"+00:12.346").c_str());
    EXPECT_STREQ(Format(754'000'000, 2, 1, Plus), Local(L"+00:01:15.4").c_str());
    EXPECT_STREQ(Format(ThreeHours, 2, 2, Compact | Plus), Local(L"+3:02:05.25").c_str());
    EXPECT_STREQ(Format(754'000'000, 2, 1, Compact | Plus), Local(L"+1:15.4").c_str());
    EXPECT_STREQ(Format(0, 2, 1, Compact | Plus), Local(L"+0.0").c_str());
}

TEST(TimeText, CompactDropsLeadingZeroFields)
{
    // Hours, minutes, neither.
    EXPECT_STREQ(Format(ThreeHours, 2, 2, Compact), Local(L"3:02:05.25").c_str());
    EXPECT_STREQ(Format(754'000'000, 2, 1, Compact), Local(L"1:15.4").c_str());
    EXPECT_STREQ(Format(123'456'789, 2, 3, Compact), Local(L"12.346").c_str());
    EXPECT_STREQ(Format(123'456'789, 1, 3, Compact), Local(L"12.346").c_str());
    EXPECT_STREQ(Format(ThreeHours, 1, 2, Compact), Local(L"182:05.25").c_str());
    // An hour with no minutes keeps its zero minutes.
    EXPECT_STREQ(Format(Hour + 5 * Second, 2, 0, Compact), Local(L"1:00:05").c_str());
}

TEST(TimeText, CompactNegativeKeepsTheSignOnTheFirstFieldOnly)
{
    EXPECT_STREQ(Format(-754'000'000, 2, 1, Compact), Local(L"-1:15.4").c_str());
    EXPECT_STREQ(Format(-754'000'000, 1, 1, Compact), Local(L"-1:15.4").c_str());
    EXPECT_STREQ(Format(-ThreeHours, 2, 2, Compact), Local(L"-3:02:05.25").c_str());
    EXPECT_STREQ(Format(-5'000'000, 2, 1, Compact), Local(L"-0.5").c_str());
}

TEST(TimeText, RoundsHalfAwayFromZeroToTheLastDigitShown)
{
    EXPECT_STREQ(Format(9'995'000, 0, 3), Local(L"1.000").c_str());
    EXPECT_STREQ(Format(9'994'999, 0, 3), Local(L"0.999").c_str());
    EXPECT_STREQ(Format(-9'995'000, 0, 3), Local(L"-1.000").c_str());
    EXPECT_STREQ(Format(-9'994'999, 0, 3), Local(L"-0.999").c_str());
    EXPECT_STREQ(Format(15'000'000, 0, 0), L"2");
    EXPECT_STREQ(Format(14'999'999, 0, 0), L"1");
    EXPECT_STREQ(Format(-15'000'000, 0, 0), L"-2");
    EXPECT_STREQ(Format(123'450'000, 0, 2), Local(L"12.35").c_str());
}

TEST(TimeText, RoundingCarriesIntoMinutesAndHours)
{
    EXPECT_STREQ(Format(Minute - 5'000, 1, 3), Local(L"01:00.000").c_str());
    EXPECT_STREQ(Format(Hour - 5'000, 2, 3, Compact), Local(L"1:00:00.000").c_str());
    EXPECT_STREQ(Format(-(Hour - 5'000), 2, 3), Local(L"-01:00:00.000").c_str());
}

TEST(TimeText, DecimalsZeroShowsNoSeparator)
{
    EXPECT_STREQ(Format(123'456'789, 0, 0), L"12");
    EXPECT_STREQ(Format(123'456'789, 1, 0), L"00:12");
    EXPECT_STREQ(Format(754'000'000, 2, 0, Compact), L"1:15");
    EXPECT_STREQ(Format(754'000'000, 2, 0, Unit), L"00:01:15 hr:min:sec");
}

TEST(TimeText, NegativeDecimalsMeanThree)
{
    EXPECT_STREQ(Format(123'456'789, 0, -1), Local(L"12.346").c_str());
    EXPECT_STREQ(Format(9'995'000, 0, -5), Local(L"1.000").c_str());
}

TEST(TimeText, DecimalsAboveSevenShowSevenAndDoNotRound)
{
    EXPECT_STREQ(Format(123'456'789, 0, 7), Local(L"12.3456789").c_str());
    EXPECT_STREQ(Format(123'456'789, 0, 8), Local(L"12.3456789").c_str());
    EXPECT_STREQ(Format(-1, 0, 20), Local(L"-0.0000001").c_str());
    EXPECT_STREQ(Format(9'999'999, 0, LONG_MAX), Local(L"0.9999999").c_str());
}

TEST(TimeText, StripZerosRemovesTrailingZerosAndALoneSeparator)
{
    EXPECT_STREQ(Format(125'000'000, 0, 3, Strip), Local(L"12.5").c_str());
    EXPECT_STREQ(Format(120'000'000, 0, 3, Strip), L"12");
    EXPECT_STREQ(Format(-5'000'000, 0, 3, Strip), Local(L"-0.5").c_str());
    EXPECT_STREQ(Format(1'002'500'000, 0, 3, Strip), Local(L"100.25").c_str());
    // Zeros of the whole seconds stay.
    EXPECT_STREQ(Format(100 * Second, 0, 3, Strip), L"100");
    EXPECT_STREQ(Format(100 * Second, 0, 0, Strip), L"100");
    EXPECT_STREQ(Format(100 * Second, 1, 2, Strip), L"01:40");
    EXPECT_STREQ(Format(0, 0, 3, Strip), L"0");
}

TEST(TimeText, UnitFollowsTheFormat)
{
    EXPECT_STREQ(Format(123'456'789, 0, 3, Unit), Local(L"12.346 sec").c_str());
    EXPECT_STREQ(Format(123'456'789, 1, 3, Unit), Local(L"00:12.346 min:sec").c_str());
    EXPECT_STREQ(Format(754'000'000, 2, 1, Unit), Local(L"00:01:15.4 hr:min:sec").c_str());
    EXPECT_STREQ(Format(120'000'000, 0, 3, Strip | Unit), L"12 sec");
    EXPECT_STREQ(Format(754'000'000, 2, 1, Compact | Unit), Local(L"1:15.4 hr:min:sec").c_str());
}

TEST(TimeText, UnknownFormatGivesNull)
{
    EXPECT_EQ(Format(123'456'789, -1, 3), nullptr);
    EXPECT_EQ(Format(123'456'789, 3, 3), nullptr);
    EXPECT_EQ(FormatWith(L".", 123'456'789, 3, 3), nullptr);
}

TEST(TimeText, TimesBeyondThirtyTwoBitsOfSeconds)
{
    EXPECT_STREQ(Format(3'000'000'000 * Second, 0, 3), Local(L"3000000000.000").c_str());
    EXPECT_STREQ(Format(50'000'000 * Minute, 1, 0), L"50000000:00");
    // The ends of the range are not rounded past them.
    EXPECT_STREQ(Format(LLONG_MAX, 0, 3), Local(L"922337203685.477").c_str());
    EXPECT_STREQ(Format(LLONG_MIN, 0, 3), Local(L"-922337203685.477").c_str());
    EXPECT_STREQ(Format(LLONG_MIN, 2, 1, Compact), Local(L"-256204778:48:05.4").c_str());
}

TEST(TimeText, GivenSeparatorOfOneOrTwoCharacters)
{
    EXPECT_STREQ(FormatWith(L",", 123'456'789, 1, 3), L"00:12,346");
    EXPECT_STREQ(FormatWith(L",", 125'000'000, 0, 3, Strip), L"12,5");
    EXPECT_STREQ(FormatWith(L",", 120'000'000, 0, 3, Strip), L"12");
    // The cut counts the separator's length.
    EXPECT_STREQ(FormatWith(L"<>", 123'456'789, 0, 3), L"12<>346");
    EXPECT_STREQ(FormatWith(L"<>", 123'456'789, 0, 1), L"12<>3");
    EXPECT_STREQ(FormatWith(L"<>", 123'456'789, 0, 0), L"12");
    EXPECT_STREQ(FormatWith(L"<>", 125'000'000, 2, 3, Strip | Unit), L"00:00:12<>5 hr:min:sec");
}

TEST(TimeText, SeparatorAtTheStartOrMissingGivesNull)
{
    EXPECT_EQ(FormatWith(L"-", -5'000'000, 0, 1), nullptr);
    EXPECT_EQ(FormatWith(L"+", 5'000'000, 0, 1, Plus), nullptr);
    EXPECT_EQ(FormatWith(L"", 5'000'000, 0, 1), nullptr);
    EXPECT_EQ(FormatWith(nullptr, 5'000'000, 0, 1), nullptr);
}

} // namespace
