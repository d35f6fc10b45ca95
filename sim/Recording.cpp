#include "sim/Recording.h"
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <cwchar>

namespace {

constexpr double Pi = 3.14159265358979323846;
constexpr qvx::time TicksPerSecond = 10'000'000;

double Seconds(qvx::time ticks) { return double(ticks) / double(TicksPerSecond); }

// The readings. Noise keys differ by channel, so that channels do not share their noise.
// Readings that do not depend on where the car is spare working that out.
CTrackModel::CState CarAt(const CTrackModel& m, qvx::time t) { return m.StateAt(Seconds(t)); }

double ReadSpeed(const CTrackModel& m, qvx::time t, uint64_t key)
{
    return CarAt(m, t).Speed + 0.15 * m.Noise(key);
}
double ReadEngineSpeed(const CTrackModel& m, qvx::time t, uint64_t key)
{
    return CarAt(m, t).EngineSpeed + 25.0 * m.Noise(key);
}
double ReadThrottle(const CTrackModel& m, qvx::time t, uint64_t key)
{
    return std::clamp(CarAt(m, t).Throttle + 0.01 * m.Noise(key), 0.0, 1.0);
}
double ReadBrake(const CTrackModel& m, qvx::time t, uint64_t key)
{
    double pressure = CarAt(m, t).BrakePressure;
    return pressure > 0.0 ? std::max(0.0, pressure + 2.0e4 * m.Noise(key)) : 0.0;
}
double ReadGear(const CTrackModel& m, qvx::time t, uint64_t)
{
    return double(CarAt(m, t).Gear);
}
double ReadLateral(const CTrackModel& m, qvx::time t, uint64_t key)
{
    return CarAt(m, t).Lateral + 0.3 * m.Noise(key);
}
double ReadDistance(const CTrackModel& m, qvx::time t, uint64_t)
{
    return CarAt(m, t).Distance;
}
double ReadLapDistance(const CTrackModel& m, qvx::time t, uint64_t)
{
    return CarAt(m, t).LapDistance;
}
double ReadWaterTemperature(const CTrackModel& m, qvx::time t, uint64_t key)
{
    return 273.15 + 88.0 + 4.0 * std::sin(2.0 * Pi * Seconds(t) / 300.0) + 0.1 * m.Noise(key);
}
double ReadDamper(const CTrackModel& m, qvx::time t, uint64_t key)
{
    return 0.030 + 0.004 * std::sin(2.0 * Pi * 2.3 * Seconds(t)) + 0.002 * CarAt(m, t).Lateral / 9.80665 +
           0.0005 * m.Noise(key);
}
double ReadVibration(const CTrackModel& m, qvx::time t, uint64_t key)
{
    return 6.0 * std::sin(2.0 * Pi * 180.0 * Seconds(t)) + 2.0 * m.Noise(key);
}
double ReadTyrePressure(const CTrackModel& m, qvx::time t, uint64_t key)
{
    return 1.0e5 * (1.75 + 0.1 * (1.0 - std::exp(-Seconds(t) / 200.0)) + 0.01 * m.Noise(key));
}
double ReadGpsSpeed(const CTrackModel& m, qvx::time t, uint64_t key)
{
    return CarAt(m, t).Speed + 0.3 * m.Noise(key);
}
// No reading while the injectors are cut.
double ReadFuelFlow(const CTrackModel& m, qvx::time t, uint64_t key)
{
    CTrackModel::CState car = CarAt(m, t);
    if (car.Throttle < 0.05) return std::numeric_limits<double>::quiet_NaN();
    return car.Throttle * car.EngineSpeed / 100.0 + 0.5 * m.Noise(key);
}

constexpr qvx::time Hz(int rate) { return TicksPerSecond / rate; }

// A generated channel's colour: hues a golden angle apart, moved on where the table has it.
OLE_COLOR GeneratedColour(long number, const std::vector<CChannelDefinition>& taken)
{
    const double hue = std::fmod(double(number) * 0.6180339887498949, 1.0) * 6.0;
    const double fall = hue - std::floor(hue);
    const double high = 230.0, low = 40.0;
    const double rise = low + (high - low) * fall, drop = high - (high - low) * fall;
    const double rgb[6][3] = {{high, rise, low}, {drop, high, low}, {low, high, rise},
                              {low, drop, high}, {rise, low, high}, {high, low, drop}};
    const double* c = rgb[int(hue) % 6];
    OLE_COLOR colour = RGB(BYTE(c[0]), BYTE(c[1]), BYTE(c[2]));
    while (std::any_of(taken.begin(), taken.end(), [&](const CChannelDefinition& d) { return d.Color == colour; }))
        colour = (colour + 0x010101) & 0x00FFFFFF;
    return colour;
}

// The sine of an angle given in turns, from a table: a generated channel reads two for each of
// the hundreds of thousands of samples a second that a load test asks for, where std::sin is slow.
double SineOfTurns(double turns)
{
    constexpr int Steps = 1024;
    static const std::vector<double> table = [] {
        std::vector<double> values(Steps + 1);
        for (int i = 0; i <= Steps; ++i) values[size_t(i)] = std::sin(2.0 * Pi * i / Steps);
        return values;
    }();
    double within = turns - double(int64_t(turns));
    if (within < 0.0) within += 1.0;
    const double at = within * Steps;
    const int below = std::min(int(at), Steps - 1);
    return table[size_t(below)] + (table[size_t(below) + 1] - table[size_t(below)]) * (at - below);
}

// Two sines and noise, 0.6 + 0.3 + 0.05 at most: within -1..1 whatever the number.
CChannelDefinition GeneratedChannel(long number, qvx::time period, const std::vector<CChannelDefinition>& taken)
{
    const double slow = 1.0 / (1.5 + 0.37 * double(number % 11));    // turns a second
    const double fast = 1.0 / (0.04 + 0.011 * double(number % 17));
    const double phase = 0.11 * double(number);
    auto read = [slow, fast, phase](const CTrackModel& m, qvx::time t, uint64_t key) {
        const double s = Seconds(t);
        return 0.6 * SineOfTurns(slow * s + phase) + 0.3 * SineOfTurns(fast * s - phase) + 0.05 * m.Noise(key);
    };
    return {L"Generated " + std::to_wstring(number), CSampling::Periodic, period, 0, 0, L"", -1.2, 1.2, 3, 2,
            GeneratedColour(number, taken), read};
}

} // namespace

std::shared_ptr<const CChannelTable> CChannelTable::Car()
{
    static const std::shared_ptr<const CChannelTable> car(new CChannelTable({
        {L"Speed", CSampling::Periodic, Hz(100), 1, 1, L"", 0.0, 300.0, 1, 2, 0x000000FF, ReadSpeed},
        {L"RPM", CSampling::Periodic, Hz(1000), 2, 0, L"", 0.0, 13000.0, 0, 2, 0x0000A5FF, ReadEngineSpeed},
        {L"Throttle", CSampling::Periodic, Hz(100), 7, 1, L"", 0.0, 100.0, 0, 2, 0x0000C000, ReadThrottle},
        {L"Brake", CSampling::Periodic, Hz(100), 5, 1, L"", 0.0, 100.0, 1, 2, 0x00800080, ReadBrake},
        {L"Gear", CSampling::Periodic, Hz(10), 0, 0, L"", 0.0, 7.0, 0, 1, 0x00808080, ReadGear},
        {L"Lateral G", CSampling::Periodic, Hz(200), 4, 1, L"", -4.0, 4.0, 2, 2, 0x00FF8000, ReadLateral},
        {L"Distance", CSampling::Periodic, Hz(100), 3, 1, L"", 0.0, 50.0, 3, 2, 0x00404040, ReadDistance},
        {L"Lap distance", CSampling::Periodic, Hz(100), 3, 0, L"", 0.0, 3000.0, 0, 2, 0x00606060, ReadLapDistance},
        {L"Water temperature", CSampling::Periodic, Hz(10), 6, 1, L"", 60.0, 120.0, 1, 2, 0x00A00000, ReadWaterTemperature},
        {L"Damper FL", CSampling::Periodic, Hz(500), 3, 3, L"", 0.0, 80.0, 1, 2, 0x00008080, ReadDamper},
        {L"Vibration", CSampling::Periodic, Hz(10000), 4, 0, L"", -20.0, 20.0, 2, 2, 0x00C0C000, ReadVibration},
        {L"Tyre pressure FL", CSampling::Aperiodic, 0, 5, 1, L"", 1.0, 2.5, 2, 1, 0x000080C0, ReadTyrePressure},
        {L"GPS speed", CSampling::Gapped, Hz(20), 1, 1, L"", 0.0, 300.0, 1, 2, 0x00C000C0, ReadGpsSpeed},
        {L"Fuel flow", CSampling::Periodic, Hz(50), 0, 0, L"l/h", 0.0, 150.0, 1, 2, 0x00008000, ReadFuelFlow},
    }));
    return car;
}

CChannelTable::CChannelTable(const CChannelTable& base, long count, long rate)
    : Definitions(base.Definitions), Generated(base.Generated)
{
    Definitions.reserve(Definitions.size() + size_t(std::max(count, 0L)));
    for (long i = 0; i < count; ++i) Definitions.push_back(GeneratedChannel(++Generated, Hz(int(rate)), Definitions));
}

const wchar_t* ChannelText(const wchar_t* name, long* quantity)
{
    if (quantity) *quantity = -1;
    if (!name || name[0] != L'[') return name;
    const wchar_t* close = wcschr(name, L']');
    if (!close) return name;
    // Only a key of digits that fits names a quantity; any other key names none.
    long id = 0;
    const wchar_t* digit = name + 1;
    for (; digit < close && *digit >= L'0' && *digit <= L'9' && id < 100000; ++digit) id = id * 10 + (*digit - L'0');
    if (quantity) *quantity = (digit == close && close > name + 1) ? id : -2;
    return close + 1;
}

int CChannelTable::Find(const wchar_t* name) const
{
    long quantity = -1;
    const wchar_t* text = ChannelText(name, &quantity);
    if (!text) return -1;
    for (size_t i = 0; i < Definitions.size(); ++i) {
        if (_wcsicmp(Definitions[i].Name.c_str(), text) != 0) continue;
        return quantity == -1 || quantity == Definitions[i].Quantity ? int(i) : -1;
    }
    return -1;
}

const std::vector<CEventDefinition>& EventDefinitions()
{
    static const std::vector<CEventDefinition> definitions = {
        {L"Gear shifts", 3, 0x00C08000},
        {L"Sector times", 2, 0x0000C0C0},
        {L"Warnings", 1, 0x000000FF},
    };
    return definitions;
}

namespace {

enum EventSet : size_t { GearShifts = 0, SectorTimes = 1, Warnings = 2 };

const wchar_t* const WarningTexts[] = {L"Track limits", L"Oil pressure low", L"Yellow flag", L"Tyre temperature high"};

} // namespace

CRecording::CRecording(uint32_t seed, qvx::time start, qvx::time length, bool live,
                       std::shared_ptr<const CChannelTable> channels)
    : Car(std::make_shared<CTrackModel>(seed)), Table(std::move(channels)), StartTime(start),
      Elapsed(live ? 0 : std::max<qvx::time>(length, 0)), Live(live), Channels(Table->Size()), ChannelStates(Table->Size()),
      EventSets(EventDefinitions().size()), EventStates(EventDefinitions().size())
{
}

qvx::time CRecording::Ticks(double seconds) const
{
    return StartTime + qvx::time(std::llround(seconds * double(TicksPerSecond)));
}

std::shared_ptr<CChannelData> CRecording::Channel(size_t index)
{
    if (index >= Channels.size()) return nullptr;
    if (!Channels[index]) {
        Channels[index] = std::make_shared<CChannelData>();
        qvx::time from = 0, to = 0;
        ExtendChannel(index, from, to);
    }
    return Channels[index];
}

// A GPS drop-out once in every 20 seconds, at a place and of a length that the seed decides.
bool CRecording::InDropOut(qvx::time sinceStart) const
{
    constexpr qvx::time Window = 20 * TicksPerSecond;
    qvx::time window = sinceStart / Window;
    qvx::time into = sinceStart % Window;
    double begin = 10.0 + 4.0 * std::fabs(Car->Noise(0x4750530000000000ull + uint64_t(window)));
    double length = 0.8 + 0.6 * (Car->Noise(0x4750534C00000000ull + uint64_t(window)) + 1.0);
    return into >= qvx::time(begin * TicksPerSecond) && into < qvx::time((begin + length) * TicksPerSecond);
}

bool CRecording::ExtendChannel(size_t index, qvx::time& from, qvx::time& to)
{
    const CChannelDefinition& definition = (*Table)[index];
    CChannelData& data = *Channels[index];
    CChannelState& state = ChannelStates[index];
    const uint64_t channelKey = uint64_t(index + 1) << 56;
    bool any = false;
    auto add = [&](qvx::time sinceStart, bool periodic, bool afterGap) {
        double value = definition.Read(*Car, sinceStart, channelKey ^ uint64_t(sinceStart));
        qvx::time time = StartTime + sinceStart;
        data.Append(time, value, periodic, definition.Period, afterGap);
        if (!any) from = time;
        to = time;
        any = true;
    };

    if (definition.Sampling == CSampling::Aperiodic) {
        while (state.NextTime <= Elapsed) {
            add(state.NextTime, false, false);
            // Between 0.2 and 1.4 seconds to the next reading.
            double gap = 0.8 + 0.6 * Car->Noise(channelKey ^ 0x00A0000000000000ull ^ uint64_t(state.NextTime));
            state.NextTime += qvx::time(gap * TicksPerSecond);
        }
        return any;
    }
    for (;;) {
        qvx::time sinceStart = qvx::time(state.NextSlot) * definition.Period;
        if (sinceStart > Elapsed) break;
        ++state.NextSlot;
        if (definition.Sampling == CSampling::Gapped && InDropOut(sinceStart)) {
            state.AfterGap = data.SampleCount() > 0;
            continue;
        }
        add(sinceStart, true, state.AfterGap);
        state.AfterGap = false;
    }
    return any;
}

bool CRecording::IsEventSetOffered(size_t index) const
{
    if (index != Warnings) return index < EventSets.size();
    // Warnings are on offer from the first one on.
    for (int lap = 1; Car->LapStart(lap) <= Seconds(Elapsed); ++lap) {
        std::vector<CTimedEvent> events;
        EventsOfLap(index, lap, events);
        if (!events.empty() && events.front().Time <= End()) return true;
    }
    return false;
}

std::shared_ptr<CEventSetData> CRecording::EventSet(size_t index)
{
    if (index >= EventSets.size()) return nullptr;
    if (!EventSets[index]) {
        EventSets[index] = std::make_shared<CEventSetData>();
        qvx::time from = 0, to = 0;
        ExtendEvents(index, from, to);
    }
    return EventSets[index];
}

void CRecording::EventsOfLap(size_t index, int lap, std::vector<CTimedEvent>& out) const
{
    const CTrackModel& car = *Car;
    double lapStart = car.LapStart(lap);
    wchar_t text[64];
    switch (index) {
    case GearShifts:
        for (const CTrackModel::CShift& shift : car.Shifts()) {
            swprintf(text, 64, L"%ls %d to %d", shift.To > shift.From ? L"Up" : L"Down", shift.From, shift.To);
            out.push_back({Ticks(lapStart + car.TimeIntoLap(lap, shift.LapDistance)), text});
        }
        break;
    case SectorTimes: {
        double boundaries[] = {lapStart, lapStart + car.TimeIntoLap(lap, 1000.0),
                               lapStart + car.TimeIntoLap(lap, 2000.0), car.LapStart(lap + 1)};
        for (int sector = 1; sector <= 3; ++sector) {
            swprintf(text, 64, L"Sector %d: %.3f s", sector, boundaries[sector] - boundaries[sector - 1]);
            out.push_back({Ticks(boundaries[sector]), text});
        }
        break;
    }
    case Warnings:
        // Not in the first lap; in a later one now and then.
        if (lap > 0 && car.Noise(0x5741524E00000000ull + uint64_t(lap)) > 0.2) {
            double into = 0.3 + 0.25 * (car.Noise(0x5741524F00000000ull + uint64_t(lap)) + 1.0);
            size_t which = size_t((car.Noise(0x5741525000000000ull + uint64_t(lap)) + 1.0) * 2.0) % 4;
            out.push_back({Ticks(lapStart + into * (car.LapStart(lap + 1) - lapStart)), WarningTexts[which]});
        }
        break;
    default:
        break;
    }
}

bool CRecording::ExtendEvents(size_t index, qvx::time& from, qvx::time& to)
{
    CEventSetData& set = *EventSets[index];
    CEventState& state = EventStates[index];
    bool any = false;
    for (;;) {
        while (!state.Pending.empty() && state.Pending.front().Time <= End()) {
            if (!any) from = state.Pending.front().Time;
            to = state.Pending.front().Time;
            any = true;
            set.Append(std::move(state.Pending.front()));
            state.Pending.erase(state.Pending.begin());
        }
        if (!state.Pending.empty() || Ticks(Car->LapStart(state.NextLap)) > End()) break;
        EventsOfLap(index, state.NextLap++, state.Pending);
    }
    return any;
}

long CRecording::LapCount() const
{
    long count = 0;
    while (Ticks(Car->LapStart(count + 1)) <= End()) ++count;
    return count;
}

qvx::time CRecording::LapTime(long number) const
{
    return Ticks(Car->LapStart(number));
}

CRecording::CAdvance CRecording::Advance(qvx::time ticks)
{
    CAdvance result;
    if (!Live || ticks <= 0) return result;
    result.LapsBefore = LapCount();
    std::vector<bool> offeredBefore(EventSets.size());
    for (size_t i = 0; i < EventSets.size(); ++i) offeredBefore[i] = IsEventSetOffered(i);

    Elapsed += ticks;

    for (size_t i = 0; i < Channels.size(); ++i) {
        CSpan span{i, 0, 0};
        if (Channels[i] && ExtendChannel(i, span.From, span.To)) result.Channels.push_back(span);
    }
    for (size_t i = 0; i < EventSets.size(); ++i) {
        CSpan span{i, 0, 0};
        if (EventSets[i] && ExtendEvents(i, span.From, span.To)) result.EventSets.push_back(span);
        if (!offeredBefore[i] && IsEventSetOffered(i)) result.OfferedSets.push_back(i);
    }
    result.LapsAfter = LapCount();
    return result;
}
