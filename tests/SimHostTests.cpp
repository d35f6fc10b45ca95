// The substitute host's objects: delivery of notifications, the fault switch and counters,
// tasks and selections, generated channels, the zoom stack, property sets and factories, units;
// its series (searches, values, records and their arrays) and the simulated recording behind them.
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <sstream>
#include <string>
#include <utility>
#include <vector>
#include <olectl.h>
#include "config/ChannelProxyNotifications.h"
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
    void OnDataChanged(IUnknown*, qvx::time* from, qvx::time* to) override
    {
        Heard.push_back(Label);
        From = *from, To = *to;
        if (TakeOff) TakeOff();
    }

    std::string Label;
    std::function<void()> TakeOff;
    qvx::time From = 0, To = 0;
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

CVariant Real(double value)
{
    CVariant v;
    v.vt = VT_R8, v.dblVal = value;
    return v;
}

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

// A record as text: whether it continues the one before, its kind, start and period, and its
// values and times, the values with the lower bound of their array.
std::string Describe(IQvxDataRecord* record)
{
    VARIANT_BOOL continuous = -1, periodic = -1;
    qvx::time start = -1, period = -1;
    record->GetIsContinuous(&continuous);
    record->GetIsPeriodic(&periodic);
    record->GetStartTime(&start);
    std::ostringstream text;
    text << (continuous ? "continues, " : "new, ") << (periodic ? "periodic" : "aperiodic") << " from " << start;
    if (SUCCEEDED(record->GetPeriod(&period))) text << " every " << period;
    CSafeArray values, times;
    LONG lower = -1;
    if (SUCCEEDED(record->GetValues(values.Out())) && SUCCEEDED(SafeArrayGetLBound(values.Get(), 1, &lower))) {
        CSafeArrayAccess<double> access(values.Get());
        text << "; values from " << lower << ':';
        for (ULONG i = 0; i < access.Size(); ++i) text << ' ' << access[i];
    }
    if (SUCCEEDED(record->GetTimes(times.Out()))) {
        CSafeArrayAccess<qvx::time> access(times.Get());
        text << "; times";
        for (ULONG i = 0; i < access.Size(); ++i) text << ' ' << access[i];
    }
    return text.str();
}

size_t Find(const wchar_t* name) { return size_t(CChannelTable::Car()->Find(name)); }

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

TEST_F(SimHost, NotificationsGoInTheOrderOfAdviseASinkMayTakeItselfOrAnotherOffAndAdviseIsChecked)
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

    auto notifications = QueryFor<IQvxNotifications>(Host->ControllingUnknown());
    ULONG cookie = 9;
    // The root sends no data notifications, and a data sink answers no root notifications.
    EXPECT_EQ(E_NOINTERFACE, notifications->Advise(__uuidof(IQvxDataNotifications), a.Sink->Unknown(), &cookie));
    EXPECT_EQ(0u, cookie);
    EXPECT_EQ(E_NOINTERFACE, notifications->Advise(__uuidof(IQvxOrvidNotifications4), a.Sink->Unknown(), &cookie));
    EXPECT_EQ(E_POINTER, notifications->Advise(__uuidof(IQvxOrvidNotifications4), nullptr, &cookie));
    EXPECT_EQ(CONNECT_E_NOCONNECTION, notifications->Unadvise(12345));
}

TEST_F(SimHost, FaultsAndCountsGoByFullOrOperationNameAndLeaveTheSubstitutesOwnCallsOut)
{
    auto selection = Selection(1, 2);
    CComPtr<IQvxDataRecords> records;
    ASSERT_EQ(S_OK, DataOf(ChannelOf(selection, L"Speed"))->GetRecords(records.Out()));
    const wchar_t* full = L"IQvxDataRecords.GetCount";
    Host->ResetCallCounts();
    long count = 0;
    ASSERT_EQ(S_OK, Host->SetFault(CBstr(full).Get(), E_ACCESSDENIED));
    EXPECT_EQ(E_ACCESSDENIED, records->GetCount(&count));   // a failed call counts too
    ASSERT_EQ(S_OK, CHostCalls::SetFault(full, S_OK));
    EXPECT_EQ(S_OK, records->GetCount(&count));
    EXPECT_EQ(E_INVALIDARG, CHostCalls::SetFault(full, S_FALSE));
    CComPtr<IUnknown> laps;
    selection->GetLaps(laps.Out());
    QueryFor<IQvxLaps>(laps)->GetCount(&count);
    EXPECT_EQ(std::make_pair(2L, 3L), std::make_pair(CHostCalls::CallCount(full), CHostCalls::CallCount(L"GetCount")));
    Host->ResetCallCounts();
    EXPECT_EQ(0, CHostCalls::CallCount(full));
    // An operation's name alone fails it on every interface, and leaves the outs alone.
    Host->SetFault(CBstr(L"GetCursorTime").Get(), E_UNEXPECTED);
    qvx::time cursor = 77;
    EXPECT_EQ(E_UNEXPECTED, TaskById(Host, 1)->GetCursorTime(&cursor));
    EXPECT_EQ(77, cursor);
    Host->ClearFaults();
    EXPECT_EQ(S_OK, TaskById(Host, 1)->GetCursorTime(&cursor));
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
    OLE_COLOR colour = 0;
    selection->GetColor(&colour);
    EXPECT_EQ(0x123456u, colour);

    auto events = QueryFor<IQvxDataSelectionEvents>(selection);
    CComPtr<IQvxDataNames> names;
    events->GetEventSetNames(names.Out());
    CBstr name;
    names->GetName(1, name.Out());
    EXPECT_EQ(L"Gear shifts", name.View());
    CComPtr<IQvxEventData> data;
    CComPtr<IQvxEvents> list;
    CComPtr<IQvxEventList> all;
    CComPtr<IQvxEvent> second;
    ASSERT_EQ(S_OK, events->GetEventSet(name.Get(), data.Out()));
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

TEST_F(SimHost, GeneratedChannelsAreInEveryRecordingAndTheirObjectsBehaveAsAnyChannels)
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

    // Its object counts uses and subscriptions, echoes its offset, and is told of and read in place live.
    qvx::time start = 0;
    Host->GetRecordingStart(&start);
    CComPtr<IUnknown> channel = ChannelOf(Selection(1, 1), L"Generated 3");
    EXPECT_EQ(channel.Get(), ChannelOf(Selection(1, 1), L"Generated 3").Get());
    auto use = QueryFor<IQvxChannelUse>(channel);
    auto clients = QueryFor<IQvxChannelProxyClients>(channel);
    for (int i = 0; i < 2; ++i) use->AddUse();
    ULONG cookie = 0;
    ASSERT_EQ(S_OK, clients->Subscribe(nullptr, &cookie));
    long uses = 0, subscribers = 0;
    EXPECT_EQ(S_OK, Host->GetChannelUse(1, 1, CBstr(L"Generated 3").Get(), &uses, &subscribers));
    EXPECT_EQ(std::make_pair(2L, 1L), std::make_pair(uses, subscribers));
    CComPtr<IQvxData> forMe;
    const std::vector<HRESULT> answers{clients->GetDataFor(cookie, forMe.Out()),
                                       clients->GetDataFor(cookie + 1, forMe.Out()), clients->Unsubscribe(cookie),
                                       clients->Unsubscribe(cookie)};
    EXPECT_EQ((std::vector<HRESULT>{S_OK, E_INVALIDARG, S_OK, E_INVALIDARG}), answers);
    for (HRESULT expected : {S_OK, S_OK, E_UNEXPECTED}) EXPECT_EQ(expected, use->ReleaseUse());
    class COffset : public CChannelProxyNotificationsReceiver
    {
    public:
        void OnValueOffsetChanged(IUnknown*) override { Heard.push_back("offset"); }
    };
    CListening<COffset, CChannelProxyNotificationsSink, IQvxChannelProxyNotifications> offsetListener(channel);
    auto offset = QueryFor<IQvxChannelOffset>(channel);
    offset->SetValueOffset(2.5);
    double value = 0;
    offset->GetValueOffset(&value);
    EXPECT_EQ(2.5, value);
    CDataListener listener(channel, "data");
    Host->Advance(9 * Second);
    EXPECT_EQ((CList{"offset", "data"}), Heard);
    EXPECT_EQ(std::make_pair(start + Second / 1000, start + 9 * Second), std::make_pair(listener.From, listener.To));
    auto data = DataOf(channel);
    CSafeArray values;
    ASSERT_EQ(S_OK, RecordOf(data, 2)->GetValues(values.Out()));
    CSafeArrayAccess<double> access(values.Get());
    ASSERT_EQ(9001u - CChannelData::RecordLength, access.Size());
    double latest = 0;
    EXPECT_EQ(S_OK, data->GetValueAt(start + 9 * Second, 2, 0, &latest));
    EXPECT_EQ(latest, access[access.Size() - 1]);
}

TEST_F(SimHost, RefusedGeneratedChannelsLeaveTheHostAsItWas)
{
    enum CBefore { Nothing, Many, Seen, Ran };
    const struct { const char* Name; CBefore Before; long Count, Rate; HRESULT Status; } rows[] = {
        {"no channel", Nothing, 0, 1000, E_INVALIDARG},      {"no rate", Nothing, 1, 0, E_INVALIDARG},
        {"above 100 kHz", Nothing, 1, 100001, E_INVALIDARG}, {"at 100 kHz", Nothing, 1, 100000, S_OK},
        {"the thousandth", Many, 1, 1, S_OK},                {"beyond a thousand", Many, 2, 1, E_INVALIDARG},
        {"after the tasks were seen", Seen, 1, 1, E_UNEXPECTED}, {"after the clock ran", Ran, 1, 1, E_UNEXPECTED},
    };
    for (const auto& row : rows) {
        auto host = MakeHost();
        if (row.Before == Many) { ASSERT_EQ(S_OK, host->AddGeneratedChannels(999, 1)); }
        if (row.Before == Seen) TaskById(host, 1);
        if (row.Before == Ran) host->Advance(Second);
        EXPECT_EQ(row.Status, host->AddGeneratedChannels(row.Count, row.Rate)) << row.Name;
        const size_t before = CarChannels + (row.Before == Many ? 999 : 0);
        auto names = ChannelNames(SelectionOf(TaskById(host, 1), 1));
        EXPECT_EQ(before + (row.Status == S_OK ? size_t(row.Count) : 0), names.size()) << row.Name;
        EXPECT_EQ(row.Before == Many ? L"Generated 999" : L"Fuel flow", names[before - 1]) << row.Name;
    }
}

TEST_F(SimHost, ZoomStackOffersItsSelectionAndLevelsAndFollowsLiveDataUntilFrozen)
{
    const auto stackOver = [](IQvxDataSelection* selection) {
        CObjectPtr<CZoomStack> stack;
        EXPECT_EQ(S_OK, (CreateObject<CZoomStack, IQvxZoomStack>(stack)));
        stack->SetReferenceSelection(selection);
        return stack;
    };
    const auto range = [](CZoomStack* stack) {
        qvx::time low = -1, high = -1, full = -1;
        stack->GetTimeMinimum(&low);
        stack->GetTimeMaximum(&high);
        stack->GetFullTimeSpan(&full);
        return std::make_tuple(low, high, full);
    };
    auto stack = stackOver(nullptr);
    CZoomListener listener(static_cast<IQvxZoomStack*>(stack.Get()));
    qvx::time span = 60 * Second;
    EXPECT_TRUE(FAILED(stack->GetFullTimeSpan(&span)));
    stack->SetReferenceSelection(Selection(1, 2));
    EXPECT_EQ(std::make_tuple(qvx::time(0), 200 * Second, 200 * Second), range(stack));
    span = 60 * Second;
    stack->SetFixedTimeSpan(VARIANT_TRUE, &span);
    EXPECT_EQ(60 * Second, std::get<1>(range(stack)));
    EXPECT_EQ(E_INVALIDARG, stack->PushTimeZoom(10, 10));
    stack->PushTimeZoom(10 * Second, 20 * Second);
    stack->PushTimeZoom(12 * Second, 14 * Second);
    EXPECT_EQ(12 * Second, std::get<0>(range(stack)));
    for (HRESULT expected : {S_OK, S_OK, S_FALSE}) EXPECT_EQ(expected, stack->Pop());
    EXPECT_EQ(S_FALSE, stack->PopAll());
    EXPECT_EQ((CList{"range", "range", "range", "levels", "range", "range", "range", "levels"}), Heard);

    auto live = stackOver(Selection(1, 1));
    CZoomListener liveListener(static_cast<IQvxZoomStack*>(live.Get()));
    Heard.clear();
    Host->Advance(Second);
    EXPECT_EQ(Second, std::get<2>(range(live)));
    EXPECT_EQ(CList{"range"}, Heard);
    live->SetFrozenRange(0, 5 * Second);
    live->SetFreeze(VARIANT_TRUE);
    Heard.clear();
    Host->Advance(Second);
    EXPECT_EQ(5 * Second, std::get<2>(range(live)));
    EXPECT_TRUE(Heard.empty());
    live->SetFreeze(VARIANT_FALSE);
    EXPECT_EQ(2 * Second, std::get<2>(range(live)));
}

TEST_F(SimHost, ALocalSetAnswersFromItsParentUntilItHoldsItsOwnValueAndTheEventFactoryKeepsASetThatIsUsed)
{
    CComPtr<IQvxPropertyFactory> defaults;
    Host->GetChannelDefaults(defaults.Out());
    CObjectPtr<CChannelPropertyFactory> local;
    ASSERT_EQ(S_OK, (CreateObject<CChannelPropertyFactory, IQvxPropertyFactory>(local)));
    CComPtr<IQvxPropertySet> set, parentSet;
    CBstr channel(L"RPM"), maximum(L"Display maximum"), minimum(L"Display minimum");
    ASSERT_EQ(S_OK, local->GetPropertySet(channel.Get(), set.Out()));
    CPropertyListener listener(set);
    CVariant v;
    EXPECT_EQ(DISP_E_UNKNOWNNAME, set->GetProperty(maximum.Get(), v.Out()));
    // Given a parent, the set tells that everything may have changed. Only the test's call is
    // counted: the set's own call to its parent is the substitute's.
    local->SetParent(defaults);
    CHostCalls::ResetCounts();
    EXPECT_EQ(13000.0, ReadReal(set, L"Display maximum"));
    EXPECT_EQ(1, CHostCalls::CallCount(L"IQvxPropertySet.GetProperty"));
    defaults->GetPropertySet(channel.Get(), parentSet.Out());
    set->SetProperty(maximum.Get(), Real(9000.0));
    parentSet->SetProperty(maximum.Get(), Real(14000.0));
    parentSet->SetProperty(minimum.Get(), Real(100.0));
    EXPECT_EQ(9000.0, ReadReal(set, L"Display maximum"));
    EXPECT_EQ(100.0, ReadReal(set, L"Display minimum"));
    EXPECT_EQ((CList{"changed (all)", "changed Display maximum", "changed Display minimum"}), Heard);

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

TEST_F(SimHost, UnitsConvertThroughTheBaseUnit)
{
    // Speed: m/s, km/h, mph; temperature: K, degrees C, degrees F.
    const struct { double Value; long Quantity, From, To; double Expected; } rows[] = {
        {10.0, 1, 0, 1, 36.0}, {100.0, 1, 1, 2, 62.137}, {100.0, 6, 1, 2, 212.0}, {300.0, 6, 0, 1, 26.85}};
    CObjectPtr<CUnitConverter> units;
    ASSERT_EQ(S_OK, (CreateObject<CUnitConverter, IQvxUnitConverter>(units)));
    double v = 0;
    for (const auto& row : rows) {
        EXPECT_EQ(S_OK, units->Convert(row.Value, row.Quantity, row.From, row.To, &v));
        EXPECT_NEAR(row.Expected, v, 1e-3) << row.Value << " of quantity " << row.Quantity;
    }
    EXPECT_EQ(E_INVALIDARG, units->Convert(1.0, 1, 0, 9, &v));
    CBstr text;
    EXPECT_EQ(S_OK, units->GetUnitText(1, 1, text.Out()));
    EXPECT_EQ(L"km/h", text.View());
    EXPECT_EQ(S_OK, units->GetQuantityText(1, text.Out()));
    EXPECT_EQ(L"Speed", text.View());
    EXPECT_EQ(E_INVALIDARG, units->GetQuantityText(99, text.Out()));
}

TEST(SimSeries, SearchesAreStrictOrNearestAndLeaveTheirOutsWhenNothingIsFound)
{
    const struct { const char* Name; qvx::time Time; long Direction; HRESULT Status; long Record, Index; } rows[] = {
        {"after a sample skips it", 1100, 0, S_OK, 1, 2},     {"before a sample skips it", 1100, 1, S_OK, 1, 0},
        {"after, between samples", 1150, 0, S_OK, 1, 2},      {"before, between samples", 1150, 1, S_OK, 1, 1},
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
        {1200, 2, S_OK, 1200}, {1149, 2, S_OK, 1100}, {1150, 2, S_OK, 1100}, {1151, 2, S_OK, 1200}, {-5, 2, S_OK, 1000},
        {9999, 2, S_OK, 2200}, {1200, 0, S_OK, 1300}, {1200, 1, S_OK, 1100}, {2200, 0, E_FAIL, 42},
        {1000, 1, E_FAIL, 42}};
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
        {1100, 2, S_OK, 10.0},    {1100, 1, S_OK, 10.0},    {1125, 2, S_FALSE, 12.5}, {1125, 1, S_FALSE, 10.0},
        {1125, 7, S_FALSE, 10.0}, {1125, 0, S_FALSE, 20.0}, {1000, 2, S_OK, 0.0},     {2200, 2, S_OK, 120.0},
        {2000, 2, S_OK, 100.0},   {999, 2, E_FAIL, Unchanged}, {2201, 1, E_FAIL, Unchanged},
        {1700, 2, E_FAIL, Unchanged}, {1401, 1, E_FAIL, Unchanged}};   // the last two inside the gap
    auto series = SeriesOver(GappedData());
    for (const auto& row : rows) {
        double value = Unchanged;
        EXPECT_EQ(row.Status, series->GetValueAt(row.Time, row.Mode, 0, &value)) << row.Time << " mode " << row.Mode;
        EXPECT_DOUBLE_EQ(row.Value, value) << row.Time << " mode " << row.Mode;
    }
}

TEST(SimSeries, RecordsShowGapsCutsAndTimesAndTheirArraysStartAtAlternatingBounds)
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
    EXPECT_EQ("new, periodic from 1000 every 100; values from 1: 0 10 20 30 40; times 1000 1100 1200 1300 1400",
              Describe(RecordOf(series, 1)));
    EXPECT_EQ("new, periodic from 2000 every 100; values from 0: 100 110 120; times 2000 2100 2200",
              Describe(RecordOf(series, 2)));
    auto data = std::make_shared<CChannelData>();
    for (qvx::time t : {10, 25, 45}) data->Append(t, double(t), false, 0, false);
    auto aperiodic = SeriesOver(data);
    EXPECT_EQ("new, aperiodic from 10; values from 1: 10 25 45; times 10 25 45", Describe(RecordOf(aperiodic, 1)));
    long record = 0, index = 0;
    aperiodic->LocateSample(25, 0, 0, &record, &index);
    EXPECT_EQ(2, index);
    double v = 0;
    EXPECT_EQ(S_FALSE, aperiodic->GetValueAt(35, 2, 0, &v));
    EXPECT_DOUBLE_EQ(35.0, v);

    // A long run is cut into records that continue: between them the value is interpolated.
    data = std::make_shared<CChannelData>();
    const size_t n = CChannelData::RecordLength + 3;
    for (size_t i = 0; i < n; ++i) data->Append(qvx::time(i) * 10, double(i), true, 10, false);
    auto cut = SeriesOver(data);
    VARIANT_BOOL continuous = VARIANT_FALSE;
    ASSERT_EQ(S_OK, RecordOf(cut, 2)->GetIsContinuous(&continuous));
    EXPECT_EQ(VARIANT_TRUE, continuous);
    EXPECT_EQ(S_FALSE, cut->GetValueAt(qvx::time(CChannelData::RecordLength - 1) * 10 + 5, 2, 0, &v));
    EXPECT_DOUBLE_EQ(double(CChannelData::RecordLength) - 0.5, v);
    EXPECT_EQ(S_OK, cut->GetLatestValue(&v));
    EXPECT_EQ(double(n - 1), v);
}

TEST(SimSeries, TheBalanceOfArraysSeesWhatIsLeftLockedOrNotDestroyed)
{
    CComPtr<IQvxDataRecord> record = RecordOf(SeriesOver(GappedData()), 1);
    CHostArrays::Reset();
    CSafeArray values, times;
    ASSERT_EQ(S_OK, record->GetValues(values.Out()));
    ASSERT_EQ(S_OK, record->GetTimes(times.Out()));
    ASSERT_EQ(S_OK, SafeArrayLock(values.Get()));
    EXPECT_EQ(DISP_E_ARRAYISLOCKED, SafeArrayDestroy(values.Get()));
    times = CSafeArray();
    // The figures as a test reads them from the host's call counts.
    const auto figures = [] {
        std::vector<LONG> values;
        for (const wchar_t* name : {L"Arrays.HandedOut", L"Arrays.Destroyed", L"Arrays.Outstanding", L"Arrays.Locked"})
            values.push_back(CHostCalls::CallCount(name));
        return values;
    };
    EXPECT_EQ((std::vector<LONG>{2, 1, 1, 1}), figures());
    SafeArrayUnlock(values.Get());
    values = CSafeArray();
    EXPECT_EQ((std::vector<LONG>{2, 2, 0, 0}), figures());
    EXPECT_TRUE(CHostArrays::Balance().Balanced());
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
    EXPECT_EQ(1, unwatched.HandedOut);
    EXPECT_FALSE(unwatched.Watching);
    EXPECT_FALSE(unwatched.Balanced());
    // Wanted again, the watch stands from the next array on, for good.
    ASSERT_EQ(S_OK, host->WatchArrays(VARIANT_TRUE));
    EXPECT_TRUE(handOut().Balanced());
    EXPECT_EQ(E_UNEXPECTED, host->WatchArrays(VARIANT_FALSE));
    EXPECT_EQ(S_OK, host->WatchArrays(VARIANT_TRUE));
}

TEST(SimSeries, TimeOfAValueOnAMonotonicSeries)
{
    const struct { double Value; long Mode, Flag; HRESULT Status; qvx::time Time; } rows[] = {
        {15.0, 2, 0, S_OK, 150},  {15.0, 6, 0, S_OK, 200},  {10.0, 2, 0, S_OK, 100},     {-1.0, 2, 0, E_FAIL, -1},
        {-1.0, 2, 1, S_FALSE, 0}, {25.0, 2, 1, S_FALSE, 200}, {std::nan(""), 2, 0, E_INVALIDARG, -1},
        {5.0, 3, 0, E_INVALIDARG, -1}};
    auto data = std::make_shared<CChannelData>();
    for (int i = 0; i < 3; ++i) data->Append(i * 100, i * 10.0, true, 100, false);
    auto series = SeriesOver(data);
    for (const auto& row : rows) {
        qvx::time t = -1;
        EXPECT_EQ(row.Status, series->FindTimeOfValue(row.Value, row.Mode, row.Flag, &t)) << row.Value;
        EXPECT_EQ(row.Time, t) << row.Value << " mode " << row.Mode;
    }
}

TEST(SimRecording, PeriodicChannelsGeneratedOnesTooLieOnTheirPeriodAndRepeatForASeed)
{
    const auto& car = *CChannelTable::Car();
    // Generated in two steps, numbered on; the last one faster.
    auto table = std::make_shared<const CChannelTable>(CChannelTable(car, 2, 1000), 1, 10000);
    ASSERT_EQ(car.Size() + 2, size_t(table->Find(L"generated 3")));
    const qvx::time start = 1'000'000'000;
    CRecording a(5, start, 10 * Second, false, table), b(5, start, 10 * Second, false, table),
        c(6, start, 10 * Second, false, table);
    std::vector<OLE_COLOR> colours;
    for (size_t i = 0; i < table->Size(); ++i) {
        const CChannelDefinition& d = (*table)[i];
        EXPECT_EQ(colours.end(), std::find(colours.begin(), colours.end(), d.Color)) << d.Name;
        colours.push_back(d.Color);
        if (d.Sampling != CSampling::Periodic) continue;
        const auto& records = a.Channel(i)->Records();
        EXPECT_EQ(size_t(10 * Second / d.Period + 1), a.Channel(i)->SampleCount()) << d.Name;
        EXPECT_EQ(std::make_pair(start, d.Period), std::make_pair(records[0].Start, records[0].Period)) << d.Name;
        if (i < car.Size()) continue;
        EXPECT_EQ(records[0].Values, b.Channel(i)->Records()[0].Values) << d.Name;
        EXPECT_NE(records[0].Values, c.Channel(i)->Records()[0].Values) << d.Name;
        EXPECT_EQ(i + 1 < table->Size() ? Second / 1000 : Second / 10000, d.Period) << d.Name;
        // Records of the host's own length, continuing; a waveform that swings within -1..1.
        EXPECT_EQ(CChannelData::RecordLength, records[0].Count());
        EXPECT_TRUE(records[1].Continuous);
        double low = 0, high = 0;
        for (const auto& record : records) {
            for (double v : record.Values) low = std::min(low, v), high = std::max(high, v);
        }
        EXPECT_TRUE(low < -0.5 && high > 0.5 && low >= -1.0 && high <= 1.0) << d.Name << ' ' << low << ' ' << high;
    }
    EXPECT_NE(a.Channel(car.Size())->Records()[0].Values, a.Channel(car.Size() + 1)->Records()[0].Values);
    EXPECT_EQ(a.Channel(Find(L"Speed"))->Records()[0].Values, b.Channel(Find(L"Speed"))->Records()[0].Values);
    EXPECT_NE(a.Channel(Find(L"Speed"))->Records()[0].Values, c.Channel(Find(L"Speed"))->Records()[0].Values);
}

TEST(SimRecording, DistanceGrowsAtTheSpeedAndLapsFallWhereItPassesEachLapLength)
{
    CRecording recording(3, 0, 200 * Second, false);
    auto distance = recording.Channel(Find(L"Distance"));
    CChannelData::CPosition at, next;
    ASSERT_TRUE(distance->First(at));
    for (next = at; distance->Next(next); at = next) ASSERT_LE(distance->ValueOf(at), distance->ValueOf(next));
    ASSERT_GE(recording.LapCount(), 2);
    auto series = SeriesOver(distance), speed = SeriesOver(recording.Channel(Find(L"Speed")));
    double d0 = 0, d1 = 0, v = 0;
    for (long lap = 1; lap <= recording.LapCount(); ++lap) {
        series->GetValueAt(recording.LapTime(lap), 2, 0, &d0);
        EXPECT_NEAR(lap * CTrackModel::LapLength, d0, 1.0) << lap;   // within one sample at top speed
    }
    for (qvx::time t = 5 * Second; t < 55 * Second; t += 7 * Second) {
        series->GetValueAt(t - Second / 10, 2, 0, &d0);
        series->GetValueAt(t + Second / 10, 2, 0, &d1);
        speed->GetValueAt(t, 2, 0, &v);
        EXPECT_NEAR(v, (d1 - d0) / 0.2, 1.5) << t;
    }
}

TEST(SimRecording, ChannelsOfTheirOwnKind)
{
    CRecording recording(1, 0, 70 * Second, false);
    // GPS drop-outs: records that do not continue, more than a period apart.
    const auto& gps = recording.Channel(Find(L"GPS speed"))->Records();
    ASSERT_GE(gps.size(), 3u);
    EXPECT_FALSE(gps[1].Continuous);
    EXPECT_GT(gps[1].First() - gps[0].Last(), gps[0].Period);
    // Fuel flow: NaN while the injectors are cut.
    const auto& fuel = recording.Channel(Find(L"Fuel flow"))->Records()[0].Values;
    const auto nan = std::count_if(fuel.begin(), fuel.end(), [](double v) { return std::isnan(v); });
    EXPECT_TRUE(nan > 0 && size_t(nan) < fuel.size()) << nan;
    // Tyre pressure: aperiodic, 0.2 to 1.4 s apart.
    const auto& tyre = recording.Channel(Find(L"Tyre pressure FL"))->Records()[0];
    ASSERT_FALSE(tyre.Periodic);
    ASSERT_GE(tyre.Times.size(), 40u);
    for (size_t i = 1; i < tyre.Times.size(); ++i) {
        EXPECT_GE(tyre.Times[i] - tyre.Times[i - 1], 2 * Second / 10);
        EXPECT_LE(tyre.Times[i] - tyre.Times[i - 1], 14 * Second / 10);
    }
}

TEST(SimRecording, LiveAdvanceReportsTheSpanOfNewSamplesAndOffersWarningsFromTheirFirst)
{
    CRecording recording(1, 500, 0, true);
    const size_t speed = Find(L"Speed"), warnings = 2;
    EXPECT_EQ(1u, recording.Channel(speed)->SampleCount());   // the sample at the start
    CRecording::CAdvance step = recording.Advance(Second);
    ASSERT_EQ(1u, step.Channels.size());
    const auto& span = step.Channels[0];
    EXPECT_EQ(std::make_tuple(speed, 500 + Second / 100, 500 + Second), std::tie(span.Index, span.From, span.To));
    EXPECT_EQ(101u, recording.Channel(speed)->SampleCount());
    // Channels that nobody uses are made when first asked for, complete.
    EXPECT_EQ(1001u, recording.Channel(Find(L"RPM"))->SampleCount());

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
