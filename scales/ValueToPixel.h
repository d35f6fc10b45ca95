#pragma once
// The value-to-pixel map that the graph, the axes and the bars share, the whole columns of a time
// grid, and the walk of a tick series, all free of any device.
#include <cmath>
#include <cstdint>

// `value` between `minimum` and `maximum` onto the pixels `low` to `high`, from `high` downwards
// when `invert` is set. -1 for an empty scale, and with `rangeCheck` for a value or pixel outside.
inline int MapToPixel(int low, int high, double minimum, double maximum, double value, bool rangeCheck, bool invert)
{
    if (!(maximum > minimum)) return -1;
    if (rangeCheck && !(value >= minimum && value <= maximum)) return -1;
    const double d = (static_cast<double>(high) - low) * (value - minimum) / (maximum - minimum);
    const double pixel = invert ? high - d : low + d;
    if (!std::isfinite(pixel) || pixel < INT32_MIN || pixel > INT32_MAX) return -1;
    const int result = static_cast<int>(pixel);
    if (rangeCheck && (result < low || result > high)) return -1;
    return result;
}

// `a / b` rounded down, for b > 0: times before a grid's origin fall into the column left of it,
// as those after it do.
template <class T>
constexpr T FloorDivide(T a, T b) noexcept
{
    const T quotient = a / b;
    return a % b != 0 && a < 0 ? quotient - 1 : quotient;
}

// Calls `visit` with start + i * step for i = 0, 1, ... while the value lies within minimum to
// maximum. Multiplying instead of adding keeps rounding errors from piling up; a step that is 0
// or not finite gives no values, and `limit` ends a walk that a tiny step would make endless.
template <class Visit>
void WalkSeries(double start, double step, double minimum, double maximum, Visit visit, int limit = 10000)
{
    if (!(step > 0.0 || step < 0.0) || !std::isfinite(step) || !std::isfinite(start)) return;
    for (int i = 0; i < limit; ++i) {
        const double value = start + i * step;
        if (value > maximum || value < minimum) return;
        visit(value);
    }
}
