#include "scales/TimeText.h"
#include <windows.h>
#include <cstdarg>
#include <cwchar>

namespace {

constexpr std::int64_t TicksPerSecond = 10'000'000;
constexpr std::int64_t TicksPerMinute = 60 * TicksPerSecond;
constexpr std::int64_t TicksPerHour = 60 * TicksPerMinute;
// The fraction is written with all seven digits of a tick and cut afterwards.
constexpr long TickDigits = 7;

// Text appended piece by piece to a fixed buffer; a piece that does not fit spoils the text.
class CTextBuffer
{
public:
    CTextBuffer(wchar_t* text, size_t capacity) noexcept : Text(text), Capacity(capacity) { Text[0] = 0; }

    void Append(const wchar_t* format, ...) noexcept
    {
        if (Failed)
            return;
        va_list arguments;
        va_start(arguments, format);
        int written = vswprintf(Text + Length, Capacity - Length, format, arguments);
        va_end(arguments);
        if (written < 0 || size_t(written) >= Capacity - Length)
            Failed = true;
        else
            Length += size_t(written);
    }

    wchar_t* const Text;
    const size_t Capacity;
    size_t Length = 0;
    bool Failed = false;
};

long long Magnitude(long long value) noexcept { return value < 0 ? -value : value; }

// Half of the last digit shown, in ticks, with the sign of the time: added, it rounds half away
// from zero. Beyond seven digits it is less than a tick and nothing is added.
std::int64_t RoundToDigits(std::int64_t time, long decimals) noexcept
{
    std::int64_t digit = 1;
    for (long i = decimals; i < TickDigits; ++i)
        digit *= 10;
    std::int64_t half = time < 0 ? -(digit / 2) : digit / 2;
    std::int64_t rounded;
    // At the very ends of the range the time stays as it is rather than wrap round.
    if (__builtin_add_overflow(time, half, &rounded))
        return time;
    return rounded;
}

const wchar_t* const Units[] = {L" sec", L" min:sec", L" hr:min:sec"};

} // namespace

const wchar_t* FormatTimeText(std::int64_t time, long format, long decimals, bool compact,
                              bool stripZeros, bool showUnit, bool showPlus)
{
    // The locale gives at most three characters and the terminator.
    wchar_t separator[4] = {};
    if (GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, separator, 4) == 0 || separator[0] == 0)
        wcscpy(separator, L".");
    return FormatTimeText(time, format, decimals, compact, stripZeros, showUnit, showPlus, separator);
}

const wchar_t* FormatTimeText(std::int64_t time, long format, long decimals, bool compact,
                              bool stripZeros, bool showUnit, bool showPlus, const wchar_t* separator)
{
    if (format < 0 || format > 2 || separator == nullptr)
        return nullptr;
    if (decimals < 0)
        decimals = 3;
    const std::int64_t t = RoundToDigits(time, decimals);

    // The fields that the format needs, each truncated towards zero and signed like t.
    long long hours = 0, minutes = 0, seconds = 0;
    switch (format) {
    case 0:
        seconds = t / TicksPerSecond;
        break;
    case 1:
        minutes = t / TicksPerMinute;
        seconds = t % TicksPerMinute / TicksPerSecond;
        break;
    default:
        hours = t / TicksPerHour;
        minutes = t % TicksPerHour / TicksPerMinute;
        seconds = t % TicksPerMinute / TicksPerSecond;
        break;
    }
    const long long fraction = t % TicksPerSecond;

    static wchar_t text[128];
    CTextBuffer out(text, sizeof text / sizeof text[0]);

    // The sign stands once, before the first field; the fields follow as magnitudes.
    out.Append(t < 0 ? L"-" : showPlus ? L"+" : L"");
    // The first field shown: 0 hours, 1 minutes, 2 seconds. In full the format decides and every
    // field has two digits but seconds alone; compact drops the leading zero fields and the first
    // one left has no leading zero.
    int first = 2 - int(format);
    if (compact)
        first = hours != 0 ? 0 : minutes != 0 ? 1 : 2;
    const long long leading[] = {hours, minutes};
    for (int field = first; field < 2; ++field)
        out.Append(compact && field == first ? L"%lld:" : L"%02lld:", Magnitude(leading[field]));
    out.Append(first == 2 ? L"%lld%ls%07lld" : L"%02lld%ls%07lld", Magnitude(seconds), separator,
               Magnitude(fraction));
    if (out.Failed)
        return nullptr;

    // Cut the fraction to the digits asked for, or the separator too with none.
    const wchar_t* found = wcsstr(text, separator);
    if (found == nullptr || found == text)
        return nullptr;
    const size_t point = size_t(found - text);
    size_t end = point;
    if (decimals > 0)
        end += wcslen(separator) + size_t(decimals < TickDigits ? decimals : TickDigits);
    if (end < out.Length)
        out.Length = end;

    if (stripZeros) {
        while (out.Length > point && (text[out.Length - 1] == L'0' || text[out.Length - 1] == separator[0]))
            --out.Length;
    }
    text[out.Length] = 0;

    if (showUnit)
        out.Append(L"%ls", Units[format]);
    return out.Failed ? nullptr : text;
}
