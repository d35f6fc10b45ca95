#pragma once
// The choice of ticks for the time axis, as arithmetic alone: the axis region measures the label
// texts and hands in the widths.
#include <cstdint>
#include <functional>
#include "scales/AxisTicks.h"

// Width in pixels of the label for `time` (100 ns ticks) shown with `decimals` digits.
using TimeLabelWidth = std::function<long(std::int64_t time, long decimals)>;

// Digits that the labels of a time axis from t0 to t1 show: those of the span's order of
// magnitude below one second, at most `timeDigits`, the host's setting.
long TimeTickDecimals(std::int64_t t0, std::int64_t t1, std::int16_t timeDigits);

// Ticks for a time axis from t0 to t1 (100 ns ticks) over `pixels` pixel columns, with labels
// that `labelWidth` measures. Steps go 1, 2, 5 times a power of ten of the least step the labels
// can show, with room for each label half its width again on both sides, and ten labels at most.
// False, and `ticks` untouched, when the range is empty or inverted or a label has no width.
bool ChooseTimeTicks(std::int64_t t0, std::int64_t t1, long pixels, std::int16_t timeDigits,
                     const TimeLabelWidth& labelWidth, CAxisTicks& ticks);

// A tick value in seconds back in 100 ns ticks, rounded half away from zero; values beyond the
// time range stay at its ends.
std::int64_t SecondsToTicks(double seconds);

// How a tick's label stands against its tick at x on an axis from left to right: centred, but
// flush with an end of the axis rather than overhanging it.
enum class LabelAlignment { Left, Centre, Right };
LabelAlignment AlignLabel(long x, long width, long left, long right);
