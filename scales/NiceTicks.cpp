#include "scales/NiceTicks.h"
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iterator>
#include "scales/ValueToPixel.h"

namespace {

constexpr int MostDecimals = 9;

// `value` on the grid of `step`, rounded half away from zero, and then the first grid value that
// is not below `value`.
double FirstOnGrid(double value, double step)
{
    const double start = std::trunc(value / step + (value <= 0.0 ? -0.5 : 0.5)) * step;
    return start < value ? start + step : start;
}

int ClampDecimals(int decimals)
{
    return std::clamp(decimals, 0, MostDecimals);
}

} // namespace

bool GetNiceTicks(double minimum, double maximum, double resolution, int labelHeight, int pixels,
                  CAxisTicks& ticks)
{
    const double span = maximum - minimum;
    // NaN fails every comparison, so each test is written to let it through to false.
    if (!(maximum > minimum) || !std::isfinite(span) || !(resolution > 0.0) || !std::isfinite(resolution) ||
        labelHeight <= 0)
        return false;
    const unsigned maxLabels = pixels > 0 ? static_cast<unsigned>(pixels) / (2u * labelHeight) : 0u;

    double majorStep = 0.0;
    double minorStep = 0.0;
    double majorStart = 0.0;
    double minorStart = 0.0;
    if (maxLabels == 0) {
        // No room for a second label: one tick at the start.
        majorStart = minorStart = minimum;
        majorStep = minorStep = 2.0 * span;
    } else if (span <= resolution) {
        majorStart = minorStart = FirstOnGrid(minimum, resolution);
        majorStep = minorStep = resolution;
    } else {
        static constexpr int Factors[] = {1, 2, 5};
        const unsigned intervals = std::min(maxLabels, 10u);
        // `unit` is resolution times a power of ten, kept as one number so that the power itself
        // cannot overflow on a fine resolution and a huge span.
        int factor = 1;
        for (double unit = resolution; majorStep == 0.0; unit *= 10.0) {
            for (int f : Factors) {
                if (span / (f * unit) < intervals + 1.0) {
                    factor = f;
                    majorStep = f * unit;
                    break;
                }
            }
        }
        const int parts = factor == 2 ? 4 : 5;
        minorStep = majorStep / parts;
        if (minorStep * parts < majorStep) minorStep = majorStep;
        majorStart = FirstOnGrid(minimum, majorStep);
        minorStart = FirstOnGrid(minimum, minorStep);
    }
    if (!std::isfinite(majorStep) || !std::isfinite(majorStart) || !std::isfinite(minorStart)) return false;

    ticks.Minimum = minimum;
    ticks.Maximum = maximum;
    ticks.MajorStart = majorStart;
    ticks.MajorStep = majorStep;
    ticks.MinorStep = minorStep;
    ticks.MinorStart = minorStart;
    return true;
}

bool GetScaleTicks(double minimum, double maximum, int decimals, int labelHeight, int pixels, CAxisTicks& ticks)
{
    if (!GetNiceTicks(minimum, maximum, std::pow(10.0, -decimals), labelHeight, pixels, ticks)) return false;
    int needed = 0;
    WalkSeries(ticks.MajorStart, ticks.MajorStep, minimum, maximum,
              [&](double value) { needed = std::max(needed, LabelDecimals(value, decimals)); });
    ticks.Decimals = needed;
    return true;
}

const wchar_t* FormatNumber(double value, int decimals, bool showPlus, bool general)
{
    static wchar_t Text[32];
    const int d = ClampDecimals(decimals);
    const double limit = std::pow(10.0, 10 - d) - 5.0 * std::pow(10.0, -d - 1);
    const double generalLimit = 1e10 - 0.5;
    char text[32];
    if (value > -limit && value < limit) {
        std::snprintf(text, sizeof text, showPlus ? "%+.*f" : "%.*f", d, value);
    } else if (general && value > -generalLimit && value < generalLimit) {
        std::snprintf(text, sizeof text, showPlus ? "%#+.*g" : "%#.*g", 10, value);
        const std::size_t length = std::strlen(text);
        if (length > 0 && text[length - 1] == '.') text[length - 1] = '\0';
    } else {
        std::snprintf(text, sizeof text, showPlus ? "%+#.*e" : "%#.*e", 4, value);
    }
    std::size_t i = 0;
    for (; text[i] && i + 1 < std::size(Text); ++i) Text[i] = static_cast<wchar_t>(text[i]);
    Text[i] = L'\0';
    return Text;
}

int LabelDecimals(double value, int mostDecimals)
{
    const int d = ClampDecimals(mostDecimals);
    if (d == 0) return 0;
    // Wide enough for the largest double in full.
    char text[400];
    std::snprintf(text, sizeof text, "%.*f", d, value);
    const char* point = std::strchr(text, '.');
    if (!point || point - text > 10) return 0;
    std::size_t end = std::strlen(text);
    while (end > 0 && text[end - 1] == '0') --end;
    if (end > 11) return d;
    return static_cast<int>(end - (point - text) - 1);
}
