#include "scales/TimeTicks.h"
#include <cmath>
#include <cstdlib>

namespace {

constexpr double TicksPerSecond = 1e7;
// The digits of a tick: a label can not show more.
constexpr long TickDigits = 7;
// The host's digits when it gives none that make sense, as the time formatter reads them.
constexpr long DefaultDigits = 3;
// More labels than this make an axis hard to read, however wide it is.
constexpr std::uint64_t MostLabels = 10;

// Spans may reach nearly 2^64 ticks between the ends of the time range, and their doubled steps
// beyond: the arithmetic is exact integers, in a type that holds them all.
using Wide = __int128;

std::int64_t PowerOfTen(long exponent) noexcept
{
    std::int64_t power = 1;
    for (long i = 0; i < exponent; ++i)
        power *= 10;
    return power;
}

// The first multiple of step at or after t; the division truncates towards zero, so a negative t
// is already rounded up.
Wide FirstMultiple(Wide t, Wide step) noexcept
{
    Wide start = t / step * step;
    return start < t ? start + step : start;
}

// The first step of the series resolution times 1, 2, 5, 10, 20, 50 ... that cuts the span into
// fewer than `limit` parts, and the factor 1, 2 or 5 that made it. The series grows tenfold every
// three steps, so the walk ends within a few dozen steps for any span.
Wide NiceStep(Wide span, Wide resolution, Wide limit, int& factor) noexcept
{
    for (Wide decade = resolution;; decade *= 10) {
        for (int f : {1, 2, 5}) {
            if (span / (decade * f) < limit) {
                factor = f;
                return decade * f;
            }
        }
    }
}

double Seconds(Wide ticks) noexcept { return double(ticks) / TicksPerSecond; }

} // namespace

long TimeTickDecimals(std::int64_t t0, std::int64_t t1, std::int16_t timeDigits)
{
    double span = double(t1) / TicksPerSecond - double(t0) / TicksPerSecond;
    long exponent = span > 0.0 ? long(std::floor(std::log10(span))) : 0;
    if (exponent > 0)
        exponent = 0;
    long decimals = std::labs(exponent);
    long limit = timeDigits < 0 ? DefaultDigits : timeDigits;
    if (decimals > limit)
        decimals = limit;
    // One tick is the least step there is, however small the span seems in doubles.
    return decimals > TickDigits ? TickDigits : decimals;
}

bool ChooseTimeTicks(std::int64_t t0, std::int64_t t1, long pixels, std::int16_t timeDigits,
                     const TimeLabelWidth& labelWidth, CAxisTicks& ticks)
{
    if (t0 >= t1)
        return false;
    const long decimals = TimeTickDecimals(t0, t1, timeDigits);
    // The least step that the labels can show.
    const Wide resolution = PowerOfTen(TickDigits - decimals);
    long greatest = labelWidth(t0, decimals);
    long last = labelWidth(t1, decimals);
    if (last > greatest)
        greatest = last;
    // Half a label's width again on each side keeps neighbours apart.
    const long width = long(greatest * 1.5);
    if (width <= 0)
        return false;

    const Wide span = Wide(t1) - Wide(t0);
    const std::uint64_t maxLabels = pixels > 0 ? std::uint64_t(pixels) / (std::uint64_t(width) * 2) : 0;
    Wide majorStep, minorStep;
    if (maxLabels == 0) {
        // No room for two labels: a single tick at the left edge.
        majorStep = minorStep = 2 * span;
    } else if (resolution >= span) {
        majorStep = minorStep = resolution;
    } else {
        int factor = 1;
        majorStep = NiceStep(span, resolution, Wide(maxLabels < MostLabels ? maxLabels : MostLabels) + 1, factor);
        // Four parts for a step of 2, five for 1 and 5; a step that does not part evenly has
        // no minor ticks between its majors.
        const Wide parts = factor == 2 ? 4 : 5;
        minorStep = majorStep % parts == 0 ? majorStep / parts : majorStep;
    }

    ticks.Minimum = double(t0) / TicksPerSecond;
    ticks.Maximum = double(t1) / TicksPerSecond;
    ticks.MajorStart = Seconds(maxLabels == 0 ? t0 : FirstMultiple(t0, majorStep));
    ticks.MinorStart = Seconds(maxLabels == 0 ? t0 : FirstMultiple(t0, minorStep));
    ticks.MajorStep = Seconds(majorStep);
    ticks.MinorStep = Seconds(minorStep);
    ticks.Decimals = std::int32_t(decimals);
    return true;
}

std::int64_t SecondsToTicks(double seconds)
{
    const double ticks = seconds * TicksPerSecond;
    // 2^63 as a double: the first value that no 64-bit tick count holds.
    constexpr double Limit = 9223372036854775808.0;
    if (!(ticks > -Limit))
        return ticks < 0.0 ? INT64_MIN : 0;
    if (ticks >= Limit)
        return INT64_MAX;
    return std::int64_t(ticks < 0.0 ? ticks - 0.5 : ticks + 0.5);
}

LabelAlignment AlignLabel(long x, long width, long left, long right)
{
    const long half = width / 2;
    if (x - half <= left)
        return LabelAlignment::Left;
    if (x + half < right)
        return LabelAlignment::Centre;
    return LabelAlignment::Right;
}
