#pragma once
// Bins: the summary of a run of consecutive samples of a series (first and last time, extremes
// with their times, an integral), without the samples themselves.
#include <windows.h>
#include "Interfaces.h"

// The fields of every bin. T is the x coordinate (qvx::time, or double for distance); Bin is the
// derived class, which gives the integral step; with Integrates false, Integral stays 0.
template <class T, class Bin, bool Integrates>
class CBaseStatisticsBin
{
public:
    // A bin that holds one sample.
    CBaseStatisticsBin(qvx::time time, T x, double value) noexcept
        : StartTime(time), EndTime(time), MinimumTime(time), MaximumTime(time), StartX(x), EndX(x),
          Minimum(value), Maximum(value), LastValue(value)
    {
    }
    CBaseStatisticsBin(const CBaseStatisticsBin&) = default;
    CBaseStatisticsBin& operator=(const CBaseStatisticsBin&) = default;
    virtual ~CBaseStatisticsBin() = default;

    // Takes the next sample into this bin. Ties keep the earliest time of an extreme.
    void Take(qvx::time time, T x, double value) noexcept
    {
        if constexpr (Integrates) Integral += Bin::Step(double(x - EndX), value, LastValue);
        // Selections rather than branches: on a noisy series new extremes come at random.
        const bool lower = Minimum > value;
        const bool higher = !lower && value > Maximum;
        Minimum = lower ? value : Minimum;
        MinimumTime = lower ? time : MinimumTime;
        Maximum = higher ? value : Maximum;
        MaximumTime = higher ? time : MaximumTime;
        ++Count;
        LastValue = value;
        EndX = x;
        EndTime = time;
    }

    // The x extent that the bin covers.
    T Extent() const noexcept { return EndX - StartX; }

    qvx::time StartTime;
    qvx::time EndTime;
    qvx::time MinimumTime;
    qvx::time MaximumTime;
    T StartX;
    T EndX;
    double Minimum;
    double Maximum;
    double Integral = 0.0;
    double LastValue;
    // A break in the data follows this bin.
    BOOL HasGap = FALSE;
    LONG Count = 1;
};

// Values joined by straight lines: the trapezoid rule.
template <class T>
class CLinearStatsBin : public CBaseStatisticsBin<T, CLinearStatsBin<T>, true>
{
public:
    using CBaseStatisticsBin<T, CLinearStatsBin<T>, true>::CBaseStatisticsBin;
    static double Step(double dx, double value, double lastValue) noexcept
    {
        return dx * (value + lastValue) * 0.5;
    }
};

// A value held until the next sample: the rectangle rule.
template <class T>
class CHoldStatsBin : public CBaseStatisticsBin<T, CHoldStatsBin<T>, true>
{
public:
    using CBaseStatisticsBin<T, CHoldStatsBin<T>, true>::CBaseStatisticsBin;
    static double Step(double dx, double, double lastValue) noexcept { return dx * lastValue; }
};

// Extremes only, against time.
class CMinMaxStatsBin : public CBaseStatisticsBin<qvx::time, CMinMaxStatsBin, false>
{
public:
    using CBaseStatisticsBin::CBaseStatisticsBin;
};
