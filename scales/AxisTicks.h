#pragma once
// The ticks that a tick calculation hands back, for the time axis and the value axes alike: the
// values at the axis's ends, where the major and minor series start and how far apart they stand,
// and the decimals of the labels. Times are in seconds.
#include <cstdint>

struct CAxisTicks
{
    double Minimum = 0.0;
    double Maximum = 0.0;
    double MajorStart = 0.0;
    double MajorStep = 0.0;
    double MinorStep = 0.0;
    double MinorStart = 0.0;
    int32_t Decimals = 0;
};
