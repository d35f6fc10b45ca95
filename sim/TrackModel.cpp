#include "sim/TrackModel.h"
#include <algorithm>
#include <cmath>

namespace {

struct CCorner
{
    double At;        // lap distance of the apex, metres
    double Depth;     // speed lost at the apex, m/s
    double Width;     // metres
    double Turn;      // curvature at the apex, 1/m, signed: positive to the left
};

constexpr double TopSpeed = 78.0;
const CCorner Corners[] = {
    {350.0, 42.0, 70.0, 1.0 / 55.0},
    {900.0, 25.0, 90.0, -1.0 / 140.0},
    {1500.0, 50.0, 55.0, 1.0 / 40.0},
    {2100.0, 18.0, 120.0, -1.0 / 220.0},
    {2650.0, 35.0, 75.0, 1.0 / 80.0},
};
constexpr double TableStep = 0.001;   // seconds
// Upper speed of each gear, m/s, and the engine revolutions per metre in each gear.
constexpr double GearTop[CTrackModel::GearCount] = {14.0, 24.0, 34.0, 45.0, 57.0, 1e9};
constexpr double RevsPerMetre[CTrackModel::GearCount] = {14.5, 8.6, 6.1, 4.7, 3.8, 3.2};

// Signed distance from the apex along the lap, taking the shorter way round.
double FromApex(double lapDistance, double apex)
{
    double d = std::fmod(lapDistance - apex, CTrackModel::LapLength);
    if (d > CTrackModel::LapLength / 2) d -= CTrackModel::LapLength;
    if (d < -CTrackModel::LapLength / 2) d += CTrackModel::LapLength;
    return d;
}

uint64_t Mix(uint64_t x)
{
    x += 0x9E3779B97F4A7C15ull;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
    return x ^ (x >> 31);
}

} // namespace

CTrackModel::CTrackModel(uint32_t seed) : SeedValue(seed)
{
    // Drive the reference lap once, in millisecond steps (second-order Runge-Kutta).
    double s = 0.0;
    LapTable.push_back(0.0);
    while (s < LapLength) {
        double k1 = ProfileSpeed(s);
        double k2 = ProfileSpeed(s + k1 * TableStep);
        double next = s + (k1 + k2) * 0.5 * TableStep;
        if (next >= LapLength) {
            ReferenceLapSeconds = (LapTable.size() - 1 + (LapLength - s) / (next - s)) * TableStep;
        }
        s = next;
        LapTable.push_back(s);
    }
    LapStarts.push_back(0.0);

    int gear = GearFor(ProfileSpeed(0.0));
    for (double d = 0.0; d < LapLength; d += 1.0) {
        int now = GearFor(ProfileSpeed(d));
        if (now != gear) GearShifts.push_back({d, gear, now});
        gear = now;
    }
}

double CTrackModel::ProfileSpeed(double lapDistance) const
{
    double v = TopSpeed;
    for (const CCorner& c : Corners) {
        double x = FromApex(lapDistance, c.At) / c.Width;
        v -= c.Depth * std::exp(-x * x);
    }
    return v;
}

double CTrackModel::ProfileSlope(double lapDistance) const
{
    double slope = 0.0;
    for (const CCorner& c : Corners) {
        double x = FromApex(lapDistance, c.At) / c.Width;
        slope += c.Depth * 2.0 * x / c.Width * std::exp(-x * x);
    }
    return slope;
}

double CTrackModel::ProfileCurvature(double lapDistance) const
{
    double k = 0.0;
    for (const CCorner& c : Corners) {
        double x = FromApex(lapDistance, c.At) / c.Width;
        k += c.Turn * std::exp(-x * x);
    }
    return k;
}

double CTrackModel::Noise(uint64_t key) const
{
    uint64_t x = Mix(key ^ (uint64_t(SeedValue) << 32 | SeedValue));
    return double(x >> 11) / double(1ull << 52) - 1.0;
}

double CTrackModel::LapScale(int lap) const
{
    return 1.0 + 0.015 * Noise(0x4C41500000000000ull + uint64_t(lap));
}

double CTrackModel::LapStart(int lap) const
{
    while (int(LapStarts.size()) <= lap) {
        int k = int(LapStarts.size()) - 1;
        LapStarts.push_back(LapStarts.back() + ReferenceLapSeconds * LapScale(k));
    }
    return LapStarts[size_t(std::max(lap, 0))];
}

double CTrackModel::LapDistanceAt(double seconds) const
{
    double position = seconds / TableStep;
    size_t i = size_t(position);
    if (i + 1 >= LapTable.size()) return LapLength;
    double f = position - double(i);
    return std::min(LapLength, LapTable[i] + (LapTable[i + 1] - LapTable[i]) * f);
}

double CTrackModel::TimeIntoLap(int lap, double lapDistance) const
{
    auto it = std::lower_bound(LapTable.begin(), LapTable.end(), lapDistance);
    if (it == LapTable.begin()) return 0.0;
    if (it == LapTable.end()) return ReferenceLapSeconds * LapScale(lap);
    size_t i = size_t(it - LapTable.begin());
    double f = (lapDistance - LapTable[i - 1]) / (LapTable[i] - LapTable[i - 1]);
    return ((double(i) - 1.0 + f) * TableStep) * LapScale(lap);
}

int CTrackModel::GearFor(double speed)
{
    int gear = 1;
    while (gear < GearCount && speed > GearTop[gear - 1]) ++gear;
    return gear;
}

CTrackModel::CState CTrackModel::StateAt(double seconds) const
{
    seconds = std::max(seconds, 0.0);
    // Lap starts are made as far as needed, then searched.
    while (LapStarts.back() <= seconds) LapStart(int(LapStarts.size()));
    int lap = int(std::upper_bound(LapStarts.begin(), LapStarts.end(), seconds) - LapStarts.begin()) - 1;
    double scale = LapScale(lap);
    double s = LapDistanceAt((seconds - LapStart(lap)) / scale);

    CState state{};
    state.Lap = lap;
    state.LapDistance = s;
    state.Distance = lap * LapLength + s;
    double profile = ProfileSpeed(s);
    state.Speed = profile / scale;
    state.Acceleration = ProfileSlope(s) * profile / (scale * scale);
    state.Lateral = state.Speed * state.Speed * ProfileCurvature(s);
    state.Gear = GearFor(profile);
    state.EngineSpeed = std::clamp(state.Speed * RevsPerMetre[state.Gear - 1] * 60.0, 3500.0, 12800.0);
    state.Throttle = state.Acceleration >= 0.0 ? std::clamp(0.55 + state.Acceleration / 8.0, 0.0, 1.0)
                                               : std::clamp(0.25 + state.Acceleration / 4.0, 0.0, 1.0);
    state.BrakePressure = state.Acceleration < -3.0 ? std::min(-state.Acceleration - 3.0, 20.0) * 4.0e5 : 0.0;
    return state;
}
