#pragma once
// A simulated recording: the channels and event sets of the car of CTrackModel, from a start
// time, either finished (a fixed length) or live (a clock that the owner moves on).
//
// Channels and event sets are made on first use, with every sample due up to the end of the
// recording; from then on a live recording extends them at each Advance and reports what it
// added.
#include <windows.h>
#include <functional>
#include <memory>
#include <string>
#include <vector>
#include "sim/ChannelData.h"
#include "sim/TrackModel.h"

enum class CSampling
{
    Periodic,     // one record after another, continuing each other
    Gapped,       // periodic, with drop-outs: a record after a drop-out does not continue
    Aperiodic,    // each sample at a time of its own
};

struct CChannelDefinition
{
    std::wstring Name;
    CSampling Sampling;
    qvx::time Period;            // of periodic and gapped channels
    // The host's properties of the channel.
    long Quantity;
    long Unit;
    const wchar_t* UserType;
    double DisplayMinimum;       // in the display unit
    double DisplayMaximum;
    long DecimalPlaces;
    long Interpolation;
    OLE_COLOR Color;
    // The reading at a time from the start, in the quantity's base unit; the key seeds its noise.
    std::function<double(const CTrackModel& model, qvx::time sinceStart, uint64_t key)> Read;
};

// The channels of a host's recordings in table order: the car's, then any generated ones, which
// give a chart as many fast channels as it should be measured with.
class CChannelTable
{
public:
    // Generated channels of a host in all, and their highest rate in Hz.
    static constexpr long MaxGenerated = 1000;
    static constexpr long MaxGeneratedRate = 100000;

    // The car's channels alone, one table for all.
    static std::shared_ptr<const CChannelTable> Car();
    // `base` with `count` generated channels more, periodic at `rate` Hz and named on from its
    // own: "Generated 1", "Generated 2"... Each has a waveform of its own within -1..1: two sines
    // whose periods and phases its number decides, and a little noise.
    CChannelTable(const CChannelTable& base, long count, long rate);

    size_t Size() const noexcept { return Definitions.size(); }
    const CChannelDefinition& operator[](size_t index) const { return Definitions[index]; }
    auto begin() const noexcept { return Definitions.begin(); }
    auto end() const noexcept { return Definitions.end(); }
    long GeneratedCount() const noexcept { return Generated; }
    // Index of a channel by name (case ignored), or -1. A keyed name, "[1]Speed", finds the
    // channel of that text only when its quantity is the key's.
    int Find(const wchar_t* name) const;

private:
    explicit CChannelTable(std::vector<CChannelDefinition> definitions) : Definitions(std::move(definitions)) {}

    std::vector<CChannelDefinition> Definitions;
    long Generated = 0;
};

// The text of a channel name behind its key, if it has one; `quantity` gets the key, -1 for
// none and -2 for a key that is no quantity.
const wchar_t* ChannelText(const wchar_t* name, long* quantity);

struct CEventDefinition
{
    const wchar_t* Name;
    long Priority;
    OLE_COLOR Color;
};

const std::vector<CEventDefinition>& EventDefinitions();

struct CTimedEvent
{
    qvx::time Time;
    std::wstring Text;
};

// The events of one set in one recording, in time order.
class CEventSetData
{
public:
    const std::vector<CTimedEvent>& Events() const noexcept { return List; }
    void Append(CTimedEvent event) { List.push_back(std::move(event)); }

private:
    std::vector<CTimedEvent> List;
};

class CRecording
{
public:
    // A finished recording of `length` ticks, or a live one (`live`) that starts empty.
    CRecording(uint32_t seed, qvx::time start, qvx::time length, bool live,
               std::shared_ptr<const CChannelTable> channels = CChannelTable::Car());

    qvx::time Start() const noexcept { return StartTime; }
    // The newest time for which the recording holds data.
    qvx::time End() const noexcept { return StartTime + Elapsed; }
    bool IsLive() const noexcept { return Live; }
    void Stop() noexcept
    {
        Stopped = Stopped || Live;
        Live = false;
    }
    bool IsStopped() const noexcept { return Stopped; }
    void Resume() noexcept
    {
        Live = Live || Stopped;
        Stopped = false;
    }
    const CTrackModel& Model() const noexcept { return *Car; }
    const CChannelTable& ChannelTable() const noexcept { return *Table; }

    // The samples of a channel, made on first use.
    std::shared_ptr<CChannelData> Channel(size_t index);
    bool HasChannel(size_t index) const { return Channels[index] != nullptr; }
    std::shared_ptr<CEventSetData> EventSet(size_t index);
    // A set is on offer once it has an event; gear shifts and sector times always are.
    bool IsEventSetOffered(size_t index) const;

    // Lap markers: each time the car crosses the line after the start.
    long LapCount() const;
    qvx::time LapTime(long number) const;   // from 1

    // What one step of the live clock added.
    struct CSpan
    {
        size_t Index;
        qvx::time From;
        qvx::time To;
    };
    struct CAdvance
    {
        std::vector<CSpan> Channels;      // channels already in use, in table order
        std::vector<CSpan> EventSets;     // sets already in use that got events
        std::vector<size_t> OfferedSets;  // sets on offer for the first time
        long LapsBefore = 0;
        long LapsAfter = 0;
    };
    // Moves a live recording's clock on.
    CAdvance Advance(qvx::time ticks);

private:
    // Generates a channel's samples up to the end; gives the span of what it added.
    bool ExtendChannel(size_t index, qvx::time& from, qvx::time& to);
    bool ExtendEvents(size_t index, qvx::time& from, qvx::time& to);
    void EventsOfLap(size_t index, int lap, std::vector<CTimedEvent>& out) const;
    qvx::time Ticks(double seconds) const;
    bool InDropOut(qvx::time sinceStart) const;

    struct CChannelState
    {
        uint64_t NextSlot = 0;        // periodic: next sample number from the start
        qvx::time NextTime = 0;       // aperiodic: next sample time from the start
        bool AfterGap = false;
    };
    struct CEventState
    {
        int NextLap = 0;
        std::vector<CTimedEvent> Pending;  // made for a lap, not yet due
    };

    std::shared_ptr<const CTrackModel> Car;
    std::shared_ptr<const CChannelTable> Table;
    qvx::time StartTime;
    qvx::time Elapsed;
    bool Live;
    bool Stopped = false;
    std::vector<std::shared_ptr<CChannelData>> Channels;
    std::vector<CChannelState> ChannelStates;
    std::vector<std::shared_ptr<CEventSetData>> EventSets;
    std::vector<CEventState> EventStates;
};
