#pragma once
// The simulated car: a car lapping a track, and what its sensors read at any time of a
// recording. Everything follows from the seed; nothing depends on the wall clock.
//
// Each lap follows one speed profile over the lap distance, with corners where the car slows
// and turns. Lap k is driven a little faster or slower than the reference lap (by a factor from
// the seed), so lap times differ while the car stays on the same line.
#include <cstdint>
#include <vector>

class CTrackModel
{
public:
    static constexpr double LapLength = 3000.0;   // metres
    static constexpr int GearCount = 6;

    explicit CTrackModel(uint32_t seed);

    struct CState
    {
        int Lap;               // from 0
        double LapDistance;    // metres into the lap
        double Distance;       // metres since the start, never decreasing
        double Speed;          // m/s
        double Acceleration;   // m/s^2 along the track
        double Lateral;        // m/s^2 across the track
        int Gear;
        double EngineSpeed;    // rpm
        double Throttle;       // 0 to 1
        double BrakePressure;  // Pa
    };
    // The car at a time in seconds from the start of the recording (negative times count as 0).
    CState StateAt(double seconds) const;

    // Start of lap k (from 0) in seconds; lap 0 starts at 0.
    double LapStart(int lap) const;
    // Seconds from the start of the lap at which the car reaches a lap distance.
    double TimeIntoLap(int lap, double lapDistance) const;
    // Where the gear changes within a lap, as lap distances with the gear after the change.
    struct CShift { double LapDistance; int From; int To; };
    const std::vector<CShift>& Shifts() const noexcept { return GearShifts; }

    // A deterministic value in [-1, 1) for a key; the seed takes part.
    double Noise(uint64_t key) const;
    uint32_t Seed() const noexcept { return SeedValue; }

private:
    double ProfileSpeed(double lapDistance) const;
    double ProfileSlope(double lapDistance) const;
    double ProfileCurvature(double lapDistance) const;
    double LapScale(int lap) const;
    double LapDistanceAt(double secondsIntoReferenceLap) const;
    static int GearFor(double speed);

    uint32_t SeedValue;
    // Lap distance at each millisecond of the reference lap.
    std::vector<double> LapTable;
    double ReferenceLapSeconds = 0.0;
    mutable std::vector<double> LapStarts;
    std::vector<CShift> GearShifts;
};
