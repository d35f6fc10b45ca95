// The time formatter: fields by format, sign, compact form, rounding, cutting, stripping, units,
// and the decimal separator, the user's or a given one.
#include <gtest/gtest.h>
#include <climits>
#include <string>
#include <windows.h>
#include "Interfaces.h"
#include "scales/TimeText.h"

namespace {

enum Flags { Compact = 1, Strip = 2, Unit = 4, Plus = 8 };

constexpr qvx::time Second = 10'000'000;
constexpr qvx::time Minute = 60 * Second;
constexpr qvx::time Hour = 60 * Minute;
constexpr qvx::time ThreeHours = 3 * Hour + 2 * Minute + 52'500'000;   // 3 h 2 min 5.25 s
constexpr const wchar_t* UserSeparator = L"user";

struct CRow
{
    const char* Name;
    qvx::time Time;
    long Format;   // 0 seconds, 1 minutes and seconds, 2 hours, minutes and seconds
    long Decimals;
    int Flags;
    const wchar_t* Expected;   // "." stands for the separator; null for no text
    const wchar_t* Separator = UserSeparator;
};

const CRow Rows[] = {
    {"seconds", 123'456'789, 0, 3, 0, L"12.346"}, {"negative seconds", -123'456'789, 0, 3, 0, L"-12.346"},
    {"seconds are not split into minutes", 754'000'000, 0, 1, 0, L"75.4"},
    {"minutes", 123'456'789, 1, 3, 0, L"00:12.346"}, {"negative minutes", -754'000'000, 1, 1, 0, L"-01:15.4"},
    {"minutes are not split into hours", ThreeHours, 1, 2, 0, L"182:05.25"},
    {"hours", 754'000'000, 2, 1, 0, L"00:01:15.4"}, {"three hours", ThreeHours, 2, 2, 0, L"03:02:05.25"},
    {"a hundred hours", 100 * Hour, 2, 1, 0, L"100:00:00.0"}, {"plus on zero", 0, 0, 3, Plus, L"+0.000"},
    {"no plus on a negative", -5'000'000, 0, 1, Plus, L"-0.5"},
    {"plus on compact hours", ThreeHours, 2, 2, Compact | Plus, L"+3:02:05.25"},
    {"compact drops zero hours", 754'000'000, 2, 1, Compact, L"1:15.4"},
    {"compact drops zero minutes", 123'456'789, 2, 3, Compact, L"12.346"},
    {"compact keeps zero minutes inside", Hour + 5 * Second, 2, 0, Compact, L"1:00:05"},
    {"compact negative minutes", -754'000'000, 2, 1, Compact, L"-1:15.4"},
    {"half rounds up", 9'995'000, 0, 3, 0, L"1.000"}, {"below half rounds down", 9'994'999, 0, 3, 0, L"0.999"},
    {"negative half rounds away from zero", -9'995'000, 0, 3, 0, L"-1.000"},
    {"rounding carries into hours", Hour - 5'000, 2, 3, Compact, L"1:00:00.000"},
    {"negative rounding carries", -(Hour - 5'000), 2, 3, 0, L"-01:00:00.000"},
    {"no decimals, no separator", 123'456'789, 0, 0, 0, L"12"},
    {"negative decimals mean three", 123'456'789, 0, -1, 0, L"12.346"},
    {"many decimals on one tick", -1, 0, 20, 0, L"-0.0000001"},
    {"the most decimals do not round", 9'999'999, 0, LONG_MAX, 0, L"0.9999999"},
    {"strip trailing zeros", 125'000'000, 0, 3, Strip, L"12.5"},
    {"strip a lone separator", 120'000'000, 0, 3, Strip, L"12"},
    {"strip keeps inner zeros", 1'002'500'000, 0, 3, Strip, L"100.25"}, {"strip zero", 0, 0, 3, Strip, L"0"},
    {"unit of hours", 754'000'000, 2, 1, Unit, L"00:01:15.4 hr:min:sec"},
    {"unit after stripping", 120'000'000, 0, 3, Strip | Unit, L"12 sec"},
    {"unknown format with a separator", 123'456'789, 3, 3, 0, nullptr, L"."},
    {"beyond 32 bits of seconds", 3'000'000'000 * Second, 0, 3, 0, L"3000000000.000"},
    {"the top of the range", LLONG_MAX, 0, 3, 0, L"922337203685.477"},
    {"the bottom of the range", LLONG_MIN, 0, 3, 0, L"-922337203685.477"},
    {"the bottom in compact hours", LLONG_MIN, 2, 1, Compact, L"-256204778:48:05.4"},
    {"a given comma", 123'456'789, 1, 3, 0, L"00:12.346", L","},
    {"the cut counts the separator", 123'456'789, 0, 1, 0, L"12.3", L"<>"},
    {"separator like the sign", -5'000'000, 0, 1, 0, nullptr, L"-"},
    {"empty separator", 5'000'000, 0, 1, 0, nullptr, L""}, {"no separator", 5'000'000, 0, 1, 0, nullptr, nullptr},
};

std::wstring UsersSeparator()
{
    wchar_t separator[4] = {};
    EXPECT_NE(GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, separator, 4), 0);
    return separator;
}

// The expected text with `separator` in place of ".".
std::wstring WithSeparator(const wchar_t* text, const std::wstring& separator)
{
    std::wstring result;
    for (const wchar_t* c = text; *c; ++c) result += *c == L'.' ? separator : std::wstring(1, *c);
    return result;
}

TEST(TimeText, EveryRowGivesItsText)
{
    for (const CRow& row : Rows) {
        const bool user = row.Separator == UserSeparator;
        const bool compact = row.Flags & Compact, strip = row.Flags & Strip, unit = row.Flags & Unit,
                   plus = row.Flags & Plus;
        const wchar_t* text = user ? FormatTimeText(row.Time, row.Format, row.Decimals, compact, strip, unit, plus)
                                   : FormatTimeText(row.Time, row.Format, row.Decimals, compact, strip, unit, plus,
                                                    row.Separator);
        const std::wstring separator = user ? UsersSeparator() : row.Separator ? row.Separator : L"";
        const std::wstring expected = row.Expected ? WithSeparator(row.Expected, separator) : L"(none)";
        EXPECT_EQ(expected, text ? text : L"(none)") << row.Name;
    }
}

} // namespace
