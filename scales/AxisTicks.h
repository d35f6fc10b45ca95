#pragma once
// The tick set that an axis calculation hands back: the x axis for times and distances, each y axis
// for its channel, and the graph's grid, which stands on the same ticks.
#include <cstdint>

struct CAxisTicks
{
    // The values at the two ends of the axis.
    double Minimum = 0.0;
    double Maximum = 0.0;
    // Labelled ticks and the unlabelled ticks between them; a series is `start + i * step`.
    double MajorStart = 0.0;
    double MajorStep = 0.0;
    double MinorStep = 0.0;
    double MinorStart = 0.0;
    // Digits after the point that the labels need.
    std::int32_t Decimals = 0;
};
