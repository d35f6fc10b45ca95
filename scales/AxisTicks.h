#pragma once
// The ticks of one axis, as a tick calculation hands them back to the axis that draws them and
// to the graph that stands its grid lines on them.
#include <cstdint>

struct AxisTicks
{
    // The values at the two ends of the axis; times in seconds.
    double Minimum = 0.0;
    double Maximum = 0.0;
    // Major ticks stand at MajorStart + i * MajorStep, minor ones likewise, i from 0, while the
    // value lies between Minimum and Maximum.
    double MajorStart = 0.0;
    double MajorStep = 0.0;
    double MinorStep = 0.0;
    double MinorStart = 0.0;
    // Digits after the decimal separator in the labels.
    std::int32_t Decimals = 0;
};
