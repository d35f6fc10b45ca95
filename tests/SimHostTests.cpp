// The substitute host's objects, where no chart test already checks them through the chart:
// delivery of notifications, selections and their events, generated channels, zoom levels,
// property sets and factories, units; its series and the simulated recording behind them.
#include <gtest/gtest.h>
#include <algorithm>
#include <functional>
#include <limits>
#include <sstream>
#include <string>
#include <utility>
#include <vector>
#include "config/DataNotifications.h"
#include "config/DataSelectionNotifications.h"
#include "config/PropertyFactoryNotifications.h"
#include "config/PropertySetNotifications.h"
#include "config/ZoomStackNotifications.h"
#include "sim/HostArrays.h"
#include "sim/HostCalls.h"
#include "sim/Recording.h"
#include "sim/Series.h"
#include "sim/SimulatedHost.h"
#include "sim/UnitConverter.h"
#include "sim/ZoomStack.h"
#include "tests/HostPaths.h"

using namespace qvxtest;

namespace {

constexpr qvx::time Second = 10'000'000;
constexpr qvx::time Min = std::numeric_limits<qvx::time>::min();
constexpr qvx::time Max = std::numeric_limits<qvx::time>::max();
const double Unchanged = -1.0;
const size_t CarChannels = CChannelTable::Car()->Size();

std::vector<std::string> Heard;
using CList = std::vector<std::string>;

std::string Narrow(const wchar_t* text) { return text ? std::string(text, text + wcslen(text)) : "(all)"; }

CObjectPtr<CSimulatedHost> MakeHost()
{
    CObjectPtr<CSimulatedHost> host;
    EXPECT_EQ(S_OK, (CreateObject<CSimulatedHost, IQvxOrvid>(host)));
    return host;
}

// Receiver `R` whose sink for `I` listens to one source for as long as it lives.
template <class R, template <class> class SinkOf, class I>
class CListening : public R
{
public:
    using CSink = SinkOf<CBaseSingleSourceSink<I>>;
    template <class... A>
    explicit CListening(IUnknown* source, A... args) : R(args...), Source(source)
    {
        EXPECT_TRUE(Sink->Advise(source));
    }
    ~CListening() { CloseSink(Sink, Source); }

    CComPtr<CSink> Sink = CreateSink<CSink>(static_cast<R*>(this));
    CComPtr<IUnknown> Source;
};

// Hears data notifications under a label; can take a sink off during a call.
class CDataReceiver : public CDataNotificationsReceiver
{
public:
    explicit CDataReceiver(std::string label) : Label(std::move(label)) {}
    void OnDataChanged(IUnknown*, qvx::time*, qvx::time*) override
    {
        Heard.push_back(Label);
        if (TakeOff) TakeOff();
    }

    std::string Label;
    std::function<void()> TakeOff;
};
using CDataListener = CListening<CDataReceiver, CDataNotificationsSink, IQvxDataNotifications>;

class CZoomReceiver : public CZoomStackNotifications3Receiver
{
public:
    void OnRangeChanged(IQvxZoomStack*) override { Heard.push_back("range"); }
    void OnLevelsChanged(IQvxZoomStack*) override { Heard.push_back("levels"); }
};
using CZoomListener = CListening<CZoomReceiver, CZoomStackNotifications3Sink, IQvxZoomStackNotifications3>;

class CPropertyReceiver : public CPropertySetNotifications2Receiver
{
public:
    void OnPropertyChanged(IQvxPropertySet*, BSTR name) override { Heard.push_back("changed " + Narrow(name)); }
    void OnPropertySetGoingAway(IQvxPropertySet*) override { Heard.push_back("set going"); }
};
using CPropertyListener = CListening<CPropertyReceiver, CPropertySetNotifications2Sink, IQvxPropertySetNotifications2>;

double ReadReal(IQvxPropertySet* set, const wchar_t* name)
{
    CVariant v;
    EXPECT_EQ(S_OK, set->GetProperty(CBstr(name).Get(), v.Out()));
    EXPECT_EQ(S_OK, VariantChangeType(&v, &v, 0, VT_R8));
    return v.dblVal;
}

template <class I>
CComPtr<I> QueryFor(IUnknown* from)
{
    CComPtr<I> to;
    EXPECT_EQ(S_OK, from->QueryInterface(__uuidof(I), to.OutVoid()));
    return to;
}

std::vector<std::wstring> ChannelNames(IQvxDataSelection* selection)
{
    CComPtr<IQvxDataNames> names;
    EXPECT_EQ(S_OK, QueryFor<IQvxDataSelectionChannels>(selection)->GetChannelNames(names.Out()));
    long count = 0;
    names->GetCount(&count);
    std::vector<std::wstring> list;
    for (CBstr name; long(list.size()) < count && SUCCEEDED(names->GetName(long(list.size()) + 1, name.Out()));)
        list.emplace_back(name.View());
    return list;
}

// Samples at 1000..1400 (values 0..40), a gap, then 2000..2200 (values 100..120).
std::shared_ptr<CChannelData> GappedData()
{
    auto data = std::make_shared<CChannelData>();
    for (int i = 0; i < 5; ++i) data->Append(1000 + i * 100, i * 10.0, true, 100, false);
    for (int i = 0; i < 3; ++i) data->Append(2000 + i * 100, 100.0 + i * 10.0, true, 100, i == 0);
    return data;
}

CObjectPtr<CSeries> SeriesOver(std::shared_ptr<CChannelData> data)
{
    CObjectPtr<CSeries> series;
    EXPECT_EQ(S_OK, (CreateObject<CSeries, IQvxData2>(series)));
    series->Init(std::move(data));
    return series;
}

CComPtr<IQvxDataRecord> RecordOf(IQvxData* data, long number)
{
    CComPtr<IQvxDataRecords> records;
    CComPtr<IQvxDataRecord> record;
    EXPECT_EQ(S_OK, data->GetRecords(records.Out()));
    EXPECT_EQ(S_OK, records->GetRecord(number, record.Out()));
    return record;
}

// A record as text: whether it continues the one before, the lower bound of its values' array,
// its values and its times. How the chart reads a record's kind, start and period is its own check.
std::string Describe(IQvxDataRecord* record)
{
    VARIANT_BOOL continuous = -1;
    CSafeArray values, times;
    LONG lower = -1;
    record->GetIsContinuous(&continuous);
    record->GetValues(values.Out());
    record->GetTimes(times.Out());
    SafeArrayGetLBound(values.Get(), 1, &lower);
    CSafeArrayAccess<double> v(values.Get());
    CSafeArrayAccess<qvx::time> t(times.Get());
    std::ostringstream text;
    text << (continuous ? "continues, " : "new, ") << "values from " << lower << ':';
    for (ULONG i = 0; i < v.Size(); ++i) text << ' ' << v[i];
    text << "; times";
    for (ULONG i = 0; i < t.Size(); ++i) text << ' ' << t[i];
    return text.str();
}

class SimHost : public ::testing::Test
{
protected:
    void SetUp() override
    {
        Heard.clear();
        CHostCalls::ClearFaults();
        CHostCalls::ResetCounts();
    }
    CComPtr<IQvxDataSelection> Selection(long task, long index) { return SelectionOf(TaskById(Host, task), index); }

    CObjectPtr<CSimulatedHost> Host = MakeHost();
};

} // namespace

TEST_F(SimHost, NotificationsGoInTheOrderOfAdviseAndASinkMayTakeItselfOrAnotherOff)
{
    CComPtr<IUnknown> proxy = ChannelOf(Selection(1, 1), L"RPM");
    CDataListener b(proxy, "b"), a(proxy, "a"), c(proxy, "c"), d(proxy, "d");
    const auto step = [&](std::function<void()> aTakesOff, std::function<void()> bTakesOff, CList expected) {
        a.TakeOff = aTakesOff, b.TakeOff = bTakesOff;
        Heard.clear();
        Host->Advance(Second);
        EXPECT_EQ(expected, Heard);
    };
    step(nullptr, nullptr, {"b", "a", "c", "d"});
    // a takes c off before c's turn, b itself.
    step([&] { c.Sink->Unadvise(c.Source); }, [&] { b.Sink->Unadvise(b.Source); }, {"b", "a", "d"});
    step(nullptr, nullptr, {"a", "d"});
}

TEST_F(SimHost, ASelectionTellsItsChangesToEachVersionOfSinkAndLocatesItsEventsByTimeAndDirection)
{
    auto selection = Selection(1, 2);
    class CReceiver : public CDataSelectionNotifications3Receiver
    {
    public:
        explicit CReceiver(std::string name) : Name(std::move(name)) {}
        void OnColorChanged(IQvxDataSelection*) override { Heard.push_back(Name + " colour"); }
        void OnTimesChanged(IQvxDataSelection*) override { Heard.push_back(Name + " times"); }
        void OnChannelsChanged(IQvxDataSelection*) override { Heard.push_back(Name + " channels"); }
        void OnSelectionTextChanged(IQvxDataSelection*) override { Heard.push_back(Name + " text"); }
        std::string Name;
    };
    CListening<CReceiver, CDataSelectionNotificationsSink, IQvxDataSelectionNotifications> one(selection, "v1");
    CListening<CReceiver, CDataSelectionNotifications3Sink, IQvxDataSelectionNotifications3> three(selection, "v3");
    Host->SetSelectionColor(1, 2, 0x123456);
    Host->SetSelectionSecondary(1, 2, VARIANT_TRUE);
    Host->SetSelectionText(1, 2, CBstr(L"Qualifying").Get());
    EXPECT_EQ(S_OK, selection->SetTimeOffset(5 * Second));
    EXPECT_EQ((CList{"v1 colour", "v3 colour", "v3 channels", "v3 text", "v1 times", "v3 times"}), Heard);

    CComPtr<IQvxEventData> data;
    CComPtr<IQvxEvents> list;
    CComPtr<IQvxEventList> all;
    CComPtr<IQvxEvent> second;
    auto events = QueryFor<IQvxDataSelectionEvents>(selection);
    ASSERT_EQ(S_OK, events->GetEventSet(CBstr(L"Gear shifts").Get(), data.Out()));
    data->GetEvents(list.Out());
    list->GetEventList(all.Out());
    ASSERT_EQ(S_OK, all->GetEvent(2, second.Out()));
    qvx::time at = 0;
    second->GetTime(&at);
    // At the time: the event itself, the one after it, the one before it; and none before the first.
    const struct { qvx::time Time; long Direction; HRESULT Status; long Index; } rows[] = {
        {at, 2, S_OK, 2}, {at, 0, S_OK, 3}, {at, 1, S_OK, 1}, {0, 1, S_FALSE, -1}};
    for (const auto& row : rows) {
        long index = -1;
        const HRESULT status = list->LocateEvent(row.Time, row.Direction, 1, &index);
        EXPECT_EQ(std::make_pair(row.Status, row.Index), std::make_pair(status, index)) << row.Direction;
    }
}

TEST_F(SimHost, GeneratedChannelsAreInEveryRecordingWithTheirOwnDefaults)
{
    ASSERT_EQ(S_OK, Host->AddGeneratedChannels(2, 100));
    ASSERT_EQ(S_OK, Host->AddGeneratedChannels(1, 1000));
    ASSERT_EQ(S_OK, Host->AddDataSelection(2, 7, 10 * Second, VARIANT_FALSE));
    for (auto [task, index] : {std::pair{1L, 1L}, {1L, 3L}, {2L, 2L}}) {
        auto names = ChannelNames(Selection(task, index));
        ASSERT_EQ(CarChannels + 3, names.size());
        EXPECT_EQ((std::vector<std::wstring>{L"Generated 1", L"Generated 2", L"Generated 3"}),
                  std::vector<std::wstring>(names.begin() + CarChannels, names.end()));
    }
    CComPtr<IQvxPropertyFactory> defaults;
    CComPtr<IQvxPropertySet> first, third;
    Host->GetChannelDefaults(defaults.Out());
    defaults->GetPropertySet(CBstr(L"Generated 1").Get(), first.Out());
    defaults->GetPropertySet(CBstr(L"Generated 3").Get(), third.Out());
    EXPECT_EQ(-1.2, ReadReal(third, L"Display minimum"));
    EXPECT_EQ(1.2, ReadReal(third, L"Display maximum"));
    EXPECT_NE(ReadReal(first, L"Color"), ReadReal(third, L"Color"));

    // Its object is one for all who ask, and takes back no more uses than it was given.
    CComPtr<IUnknown> channel = ChannelOf(Selection(1, 1), L"Generated 3");
    EXPECT_EQ(channel.Get(), ChannelOf(Selection(1, 1), L"Generated 3").Get());
    auto use = QueryFor<IQvxChannelUse>(channel);
    use->AddUse();
    for (HRESULT expected : {S_OK, E_UNEXPECTED}) EXPECT_EQ(expected, use->ReleaseUse());
}

TEST_F(SimHost, RefusedGeneratedChannelsLeaveTheHostAsItWas)
{
    enum CBefore { Nothing, Many, Ran };
    const struct { const char* Name; CBefore Before; long Count, Rate; HRESULT Status; } rows[] = {
        {"no channel", Nothing, 0, 1000, E_INVALIDARG},      {"above 100 kHz", Nothing, 1, 100001, E_INVALIDARG},
        {"at 100 kHz", Nothing, 1, 100000, S_OK},            {"the thousandth", Many, 1, 1, S_OK},
        {"beyond a thousand", Many, 2, 1, E_INVALIDARG},      {"after the clock ran", Ran, 1, 1, E_UNEXPECTED},
    };
    for (const auto& row : rows) {
        auto host = MakeHost();
        if (row.Before == Many) { ASSERT_EQ(S_OK, host->AddGeneratedChannels(999, 1)); }
        if (row.Before == Ran) host->Advance(Second);
        EXPECT_EQ(row.Status, host->AddGeneratedChannels(row.Count, row.Rate)) << row.Name;
        const size_t before = CarChannels + (row.Before == Many ? 999 : 0);
        auto names = ChannelNames(SelectionOf(TaskById(host, 1), 1));
        EXPECT_EQ(before + (row.Status == S_OK ? size_t(row.Count) : 0), names.size()) << row.Name;
        EXPECT_EQ(row.Before == Many ? L"Generated 999" : L"Fuel flow", names[before - 1]) << row.Name;
    }
}

// Following live data and freezing are the chart's control-mode checks; the levels' news are not.
TEST_F(SimHost, ZoomLevelsAreToldWhenTheFirstIsPushedAndTheLastPopped)
{
    CObjectPtr<CZoomStack> stack;
    ASSERT_EQ(S_OK, (CreateObject<CZoomStack, IQvxZoomStack>(stack)));
    stack->SetReferenceSelection(Selection(1, 2));
    CZoomListener listener(static_cast<IQvxZoomStack*>(stack.Get()));
    stack->PushTimeZoom(10 * Second, 20 * Second);
    stack->PushTimeZoom(12 * Second, 14 * Second);
    for (HRESULT expected : {S_OK, S_OK, S_FALSE}) EXPECT_EQ(expected, stack->Pop());
    EXPECT_EQ(S_FALSE, stack->PopAll());
    EXPECT_EQ((CList{"range", "levels", "range", "range", "range", "levels"}), Heard);
}

// How a local set answers from its parent is the chart's channel tests' check.
TEST_F(SimHost, ALocalSetGivenAParentSaysEverythingMayHaveChangedAndTheEventFactoryKeepsASetThatIsUsed)
{
    CComPtr<IQvxPropertyFactory> defaults;
    Host->GetChannelDefaults(defaults.Out());
    CObjectPtr<CChannelPropertyFactory> local;
    ASSERT_EQ(S_OK, (CreateObject<CChannelPropertyFactory, IQvxPropertyFactory>(local)));
    CComPtr<IQvxPropertySet> set;
    local->GetPropertySet(CBstr(L"RPM").Get(), set.Out());
    CPropertyListener listener(set);
    local->SetParent(defaults);
    EXPECT_EQ(CList{"changed (all)"}, Heard);
    // Only the test's call is counted: the set's own call to its parent is the substitute's.
    CHostCalls::ResetCounts();
    EXPECT_EQ(13000.0, ReadReal(set, L"Display maximum"));
    EXPECT_EQ(1, CHostCalls::CallCount(L"IQvxPropertySet.GetProperty"));

    Heard.clear();
    CObjectPtr<CEventPropertyFactory> factory;
    ASSERT_EQ(S_OK, (CreateObject<CEventPropertyFactory, IQvxEventPropertyFactory>(factory)));
    class CUser : public CEventPropertyFactoryNotificationsReceiver
    {
    public:
        void QueryPropertySetUses(IQvxPropertyFactory*, BSTR, long* uses) override { *uses = Uses; }
        void OnPropertySetRemoved(IQvxPropertyFactory*, BSTR set) override { Heard.push_back("gone " + Narrow(set)); }
        long Uses = 1;
    };
    CListening<CUser, CEventPropertyFactoryNotificationsSink, IQvxEventPropertyFactoryNotifications> user(
        static_cast<IQvxEventPropertyFactory*>(factory.Get()));
    CComPtr<IQvxPropertySet> warnings;
    CBstr name(L"Warnings");
    factory->GetPropertySet(name.Get(), warnings.Out());
    CPropertyListener warningsListener(warnings);
    EXPECT_EQ(S_FALSE, factory->RemovePropertySet(name.Get()));
    user.Uses = 0;
    EXPECT_EQ(S_OK, factory->RemovePropertySet(name.Get()));
    EXPECT_EQ((CList{"set going", "gone Warnings"}), Heard);
}

// Speed's factors are the chart's own scale checks; temperature's offsets are not.
TEST_F(SimHost, UnitsConvertThroughTheBaseUnitWithTheirOffsets)
{
    // Temperature: K, degrees C, degrees F.
    const struct { double Value; long From, To; double Expected; } rows[] = {{100, 1, 2, 212.0}, {300, 0, 1, 26.85}};
    CObjectPtr<CUnitConverter> units;
    ASSERT_EQ(S_OK, (CreateObject<CUnitConverter, IQvxUnitConverter>(units)));
    double v = 0;
    for (const auto& row : rows) {
        EXPECT_EQ(S_OK, units->Convert(row.Value, 6, row.From, row.To, &v));
        EXPECT_NEAR(row.Expected, v, 1e-3) << row.Value;
    }
    EXPECT_EQ(E_INVALIDARG, units->Convert(1.0, 1, 0, 9, &v));
    CBstr text;
    EXPECT_EQ(E_INVALIDARG, units->GetQuantityText(99, text.Out()));
}

TEST(SimSeries, SearchesAreStrictOrNearestAndLeaveTheirOutsWhenNothingIsFound)
{
    const struct { const char* Name; qvx::time Time; long Direction; HRESULT Status; long Record, Index; } rows[] = {
        {"after a sample skips it", 1100, 0, S_OK, 1, 2},     {"before a sample skips it", 1100, 1, S_OK, 1, 0},
        {"after, across the gap", 1400, 0, S_OK, 2, 0},       {"before, back across the gap", 2000, 1, S_OK, 1, 4},
        {"nothing before the first", 1000, 1, S_FALSE, -9, -9}, {"nothing after the last", 2200, 0, S_FALSE, -9, -9},
        {"after the smallest time", Min, 0, S_OK, 1, 0},      {"before the largest time", Max, 1, S_OK, 2, 2},
        {"nothing after the largest", Max, 0, S_FALSE, -9, -9}, {"no such direction", 1100, 3, E_INVALIDARG, -9, -9},
    };
    auto series = SeriesOver(GappedData());
    for (const auto& row : rows) {
        long record = -9, index = -9;
        EXPECT_EQ(row.Status, series->LocateSample(row.Time, row.Direction, 0, &record, &index)) << row.Name;
        EXPECT_EQ(std::make_pair(row.Record, row.Index), std::make_pair(record, index)) << row.Name;
    }
    // Nearest counts a sample at the time, and takes the earlier one on a tie.
    const struct { qvx::time Time; long Direction; HRESULT Status; qvx::time Found; } nearest[] = {
        {1200, 2, S_OK, 1200}, {1150, 2, S_OK, 1100}, {1151, 2, S_OK, 1200}, {-5, 2, S_OK, 1000},
        {9999, 2, S_OK, 2200}, {2200, 0, E_FAIL, 42}};
    for (const auto& row : nearest) {
        qvx::time found = 42, sampleTime = 42;
        double value = Unchanged;
        EXPECT_EQ(row.Status, series->FindSample(row.Time, row.Direction, 0, &found, &value)) << row.Time;
        EXPECT_EQ(row.Status, series->GetSampleTime(row.Time, row.Direction, 0, &sampleTime)) << row.Time;
        EXPECT_EQ(row.Found, found) << row.Time;
        EXPECT_EQ(row.Found, sampleTime) << row.Time;
        if (row.Status != S_OK) { EXPECT_EQ(Unchanged, value) << row.Time; }
    }
    auto empty = SeriesOver(std::make_shared<CChannelData>());
    qvx::time t = 0;
    double v = Unchanged;
    EXPECT_EQ(E_FAIL, empty->FindSample(0, 2, 0, &t, &v));
    EXPECT_EQ(E_FAIL, empty->GetLatestValue(&v));
    EXPECT_EQ(Unchanged, v);
}

TEST(SimSeries, ValueAtIsExactAtSamplesInterpolatedOrHeldBetweenAndFailsOutsideOrInAGap)
{
    const struct { qvx::time Time; long Mode; HRESULT Status; double Value; } rows[] = {
        {1100, 2, S_OK, 10.0},  {1125, 2, S_FALSE, 12.5}, {1125, 1, S_FALSE, 10.0}, {1125, 0, S_FALSE, 20.0},
        {1000, 2, S_OK, 0.0},   {2200, 2, S_OK, 120.0},   {2000, 2, S_OK, 100.0},   {999, 2, E_FAIL, Unchanged},
        {2201, 1, E_FAIL, Unchanged}, {1700, 2, E_FAIL, Unchanged}};   // the last inside the gap
    auto series = SeriesOver(GappedData());
    for (const auto& row : rows) {
        double value = Unchanged;
        EXPECT_EQ(row.Status, series->GetValueAt(row.Time, row.Mode, 0, &value)) << row.Time << " mode " << row.Mode;
        EXPECT_DOUBLE_EQ(row.Value, value) << row.Time << " mode " << row.Mode;
    }
}

TEST(SimSeries, RecordsShowGapsAndTimesAndTheirArraysStartAtAlternatingBounds)
{
    auto series = SeriesOver(GappedData());
    CComPtr<IQvxDataRecords> records;
    CComPtr<IQvxDataRecord> none;
    long count = 0;
    ASSERT_EQ(S_OK, series->GetRecords(records.Out()));
    records->GetCount(&count);
    EXPECT_EQ(2, count);
    EXPECT_EQ(E_INVALIDARG, records->GetRecord(3, none.Out()));
    EXPECT_EQ(RecordOf(series, 2).Get(), RecordOf(series, 2).Get());   // a record keeps its identity
    EXPECT_EQ("new, values from 1: 0 10 20 30 40; times 1000 1100 1200 1300 1400", Describe(RecordOf(series, 1)));
    EXPECT_EQ("new, values from 0: 100 110 120; times 2000 2100 2200", Describe(RecordOf(series, 2)));
    auto data = std::make_shared<CChannelData>();
    for (qvx::time t : {10, 25, 45}) data->Append(t, double(t), false, 0, false);
    auto aperiodic = SeriesOver(data);
    EXPECT_EQ("new, values from 1: 10 25 45; times 10 25 45", Describe(RecordOf(aperiodic, 1)));
    long record = 0, index = 0;
    aperiodic->LocateSample(25, 0, 0, &record, &index);
    EXPECT_EQ(2, index);
    double v = 0;
    EXPECT_EQ(S_FALSE, aperiodic->GetValueAt(35, 2, 0, &v));
    EXPECT_DOUBLE_EQ(35.0, v);
}

// Each test runs in a process of its own, where no array has been made yet.
TEST(SimSeries, AHostThatDoesNotWatchTheAllocatorHandsOutArraysButCannotTellTheirBalance)
{
    CObjectPtr<CSimulatedHost> host = MakeHost();
    ASSERT_EQ(S_OK, host->WatchArrays(VARIANT_FALSE));
    CComPtr<IQvxDataRecord> record = RecordOf(SeriesOver(GappedData()), 1);
    const auto handOut = [&] {
        CHostArrays::Reset();
        CSafeArray values;
        EXPECT_EQ(S_OK, record->GetValues(values.Out()));
        values = CSafeArray();
        return CHostArrays::Balance();
    };
    const CArrayBalance unwatched = handOut();
    EXPECT_TRUE(unwatched.HandedOut == 1 && !unwatched.Watching && !unwatched.Balanced());
    // Wanted again, the watch stands from the next array on, for good.
    ASSERT_EQ(S_OK, host->WatchArrays(VARIANT_TRUE));
    EXPECT_TRUE(handOut().Balanced());
    EXPECT_EQ(E_UNEXPECTED, host->WatchArrays(VARIANT_FALSE));
    EXPECT_EQ(S_OK, host->WatchArrays(VARIANT_TRUE));
}

TEST(SimSeries, TimeOfAValueOnAMonotonicSeries)
{
    const struct { double Value; long Mode, Flag; HRESULT Status; qvx::time Time; } rows[] = {
        {15.0, 2, 0, S_OK, 150},  {15.0, 6, 0, S_OK, 200},    {10.0, 2, 0, S_OK, 100}, {-1.0, 2, 0, E_FAIL, -1},
        {-1.0, 2, 1, S_FALSE, 0}, {25.0, 2, 1, S_FALSE, 200}, {5.0, 3, 0, E_INVALIDARG, -1}};
    auto data = std::make_shared<CChannelData>();
    for (int i = 0; i < 3; ++i) data->Append(i * 100, i * 10.0, true, 100, false);
    auto series = SeriesOver(data);
    for (const auto& row : rows) {
        qvx::time t = -1;
        EXPECT_EQ(row.Status, series->FindTimeOfValue(row.Value, row.Mode, row.Flag, &t)) << row.Value;
        EXPECT_EQ(row.Time, t) << row.Value << " mode " << row.Mode;
    }
}

// The car's own channels are drawn by every chart test; the generated ones only by the benchmark.
TEST(SimRecording, GeneratedChannelsLieOnTheirPeriodInContinuingRecordsAndRepeatForASeed)
{
    const auto& car = *CChannelTable::Car();
    // Generated in two steps, numbered on; the last one faster.
    auto table = std::make_shared<const CChannelTable>(CChannelTable(car, 2, 1000), 1, 10000);
    ASSERT_EQ(car.Size() + 2, size_t(table->Find(L"generated 3")));
    const qvx::time start = 1'000'000'000;
    CRecording a(5, start, 10 * Second, false, table), b(5, start, 10 * Second, false, table),
        c(6, start, 10 * Second, false, table);
    for (size_t i = car.Size(); i < table->Size(); ++i) {
        const auto& records = a.Channel(i)->Records();
        const qvx::time period = i + 1 < table->Size() ? Second / 1000 : Second / 10000;
        EXPECT_EQ(size_t(10 * Second / period + 1), a.Channel(i)->SampleCount()) << i;
        EXPECT_EQ(std::make_pair(start, period), std::make_pair(records[0].Start, records[0].Period)) << i;
        EXPECT_EQ(records[0].Values, b.Channel(i)->Records()[0].Values) << i;
        EXPECT_NE(records[0].Values, c.Channel(i)->Records()[0].Values) << i;
        // Records of the host's own length, continuing; a waveform that swings within -1..1.
        EXPECT_EQ(CChannelData::RecordLength, records[0].Count());
        EXPECT_TRUE(records[1].Continuous);
        double low = 0, high = 0;
        for (const auto& record : records) {
            for (double v : record.Values) low = std::min(low, v), high = std::max(high, v);
        }
        EXPECT_TRUE(low < -0.5 && high > 0.5 && low >= -1.0 && high <= 1.0) << i << ' ' << low << ' ' << high;
    }
    EXPECT_NE(a.Channel(car.Size())->Records()[0].Values, a.Channel(car.Size() + 1)->Records()[0].Values);
}

TEST(SimRecording, LapsFallWhereTheDistancePassesEachLapLength)
{
    CRecording recording(3, 0, 200 * Second, false);
    ASSERT_GE(recording.LapCount(), 2);
    auto distance = SeriesOver(recording.Channel(size_t(CChannelTable::Car()->Find(L"Distance"))));
    for (long lap = 1; lap <= recording.LapCount(); ++lap) {
        double at = 0;
        distance->GetValueAt(recording.LapTime(lap), 2, 0, &at);
        EXPECT_NEAR(lap * CTrackModel::LapLength, at, 1.0) << lap;   // within one sample at top speed
    }
}

TEST(SimRecording, WarningsAreOfferedLiveFromTheirFirst)
{
    CRecording recording(1, 500, 0, true);
    const size_t warnings = 2;
    ASSERT_STREQ(L"Warnings", EventDefinitions()[warnings].Name);
    EXPECT_TRUE(recording.IsEventSetOffered(0));
    EXPECT_FALSE(recording.IsEventSetOffered(warnings));
    bool offered = false;
    for (int i = 0; i < 600 && !offered; ++i) {
        for (size_t set : recording.Advance(Second).OfferedSets) offered |= set == warnings;
    }
    ASSERT_TRUE(offered);
    const auto& events = recording.EventSet(warnings)->Events();
    ASSERT_FALSE(events.empty());
    EXPECT_LE(events.back().Time, recording.End());
}
