#pragma once
// The choice of ticks for a scale of numbers and the text of those numbers, shared by the axes and
// the grid. Pure functions of numbers: the caller measures the labels and passes their height.
#include "scales/AxisTicks.h"

// Ticks from `minimum` to `maximum` for an axis `pixels` long whose labels are `labelHeight` high:
// steps of 1, 2 or 5 times a power of ten times `resolution`, labels at least two heights apart and
// at most ten intervals. Fills all of `ticks` but Decimals. False, with `ticks` untouched, when
// the range is empty or not finite, the resolution is not a positive finite number or the label
// height is not positive.
bool GetNiceTicks(double minimum, double maximum, double resolution, int labelHeight, int pixels,
                  CAxisTicks& ticks);

// GetNiceTicks at the resolution of `decimals` digits, with Decimals the most that a major label
// needs, `decimals` at most.
bool GetScaleTicks(double minimum, double maximum, int decimals, int labelHeight, int pixels, CAxisTicks& ticks);

// The text of a number on an axis, 14 characters at most: fixed with `decimals` digits while it
// fits, else (with `general`) ten significant digits, else exponential with four. `showPlus` puts a
// "+" before positive values. `decimals` is taken from 0 to 9. The point is always ".", whatever
// the locale. A static buffer, valid until the next call.
const wchar_t* FormatNumber(double value, int decimals, bool showPlus, bool general);

// The digits after the point that `value` needs when shown with `mostDecimals`: its trailing zeros
// go. 0 for no decimals and for values too long to label; `mostDecimals` when the digits that are
// left would not fit a label anyway.
int LabelDecimals(double value, int mostDecimals);
