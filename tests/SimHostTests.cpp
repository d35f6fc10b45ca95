// The substitute host's objects: delivery of notifications, the fault switch and counters,
// tasks and selections, generated channels, the zoom stack, property sets and factories, units.
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>
#include <olectl.h>
#include "config/ChannelProxyNotifications.h"
#include "config/DataNotifications.h"
#include "config/DataSelectionNotifications.h"
#include "config/PropertyFactoryNotifications.h"
#include "config/PropertySetNotifications.h"
#include "sim/SimulatedHost.h"
#include "sim/UnitConverter.h"
#include "sim/ZoomStack.h"
#include "tests/HostPaths.h"
#include "config/ZoomStackNotifications.h"

using namespace qvxtest;

namespace {

constexpr qvx::time Second = 10'000'000;
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

// Hears data notifications under a label; can take a sink off during a call.
class CDataListener : public CDataNotificationsReceiver
{
public:
    using CSink = CDataNotificationsSink<CBaseSingleSourceSink<IQvxDataNotifications>>;
    explicit CDataListener(std::string label) : Label(std::move(label)), Sink(CreateSink<CSink>(this)) {}
    ~CDataListener() { CloseSink(Sink, Source); }
    void Advise(IUnknown* source) { EXPECT_TRUE(Sink->Advise(Source = source)); }
    void OnDataChanged(IUnknown*, qvx::time* from, qvx::time* to) override
    {
        Heard.push_back(Label);
        From = *from, To = *to;
        if (TakeOff) TakeOff->Sink->Unadvise(TakeOff->Source);
    }

    std::string Label;
    CComPtr<CSink> Sink;
    CComPtr<IUnknown> Source;
    CDataListener* TakeOff = nullptr;
    qvx::time From = 0, To = 0;
};

class CZoomListener : public CZoomStackNotifications3Receiver
{
public:
    using CSink = CZoomStackNotifications3Sink<CBaseSingleSourceSink<IQvxZoomStackNotifications3>>;
    explicit CZoomListener(IUnknown* stack) : Stack(stack), Sink(CreateSink<CSink>(this)) { EXPECT_TRUE(Sink->Advise(stack)); }
    ~CZoomListener() { CloseSink(Sink, Stack); }
    void OnRangeChanged(IQvxZoomStack*) override { Heard.push_back("range"); }
    void OnLevelsChanged(IQvxZoomStack*) override { Heard.push_back("levels"); }

    CComPtr<IUnknown> Stack;
    CComPtr<CSink> Sink;
};

class CPropertyListener : public CPropertySetNotifications2Receiver
{
public:
    using CSink = CPropertySetNotifications2Sink<CBaseSingleSourceSink<IQvxPropertySetNotifications2>>;
    explicit CPropertyListener(IQvxPropertySet* set) : Set(set), Sink(CreateSink<CSink>(this)) { EXPECT_TRUE(Sink->Advise(set)); }
    ~CPropertyListener() { CloseSink(Sink, Set); }
    void OnPropertyChanged(IQvxPropertySet*, BSTR name) override { Heard.push_back("changed " + Narrow(name)); }
    void OnPropertySetGoingAway(IQvxPropertySet*) override { Heard.push_back("set going"); }

    CComPtr<IQvxPropertySet> Set;
    CComPtr<CSink> Sink;
};

CVariant Real(double value)
{
    CVariant v;
    v.vt = VT_R8;
    v.dblVal = value;
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
    std::vector<std::wstring> list(size_t(std::max(count, 0L)));
    for (long i = 1; i <= count; ++i) {
        CBstr name;
        names->GetName(i, name.Out());
        list[size_t(i - 1)] = name.View();
    }
    return list;
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

// --- delivery, faults and counts ---

TEST_F(SimHost, NotificationsGoInTheOrderOfAdviseAndASinkMayTakeItselfOrAnotherOff)
{
    CComPtr<IUnknown> proxy = ChannelOf(Selection(1, 1), L"RPM");
    CDataListener a("a"), b("b"), c("c"), d("d");
    for (CDataListener* listener : {&b, &a, &c, &d}) listener->Advise(proxy);
    const auto step = [&](CDataListener* aTakesOff, CDataListener* bTakesOff, CList expected) {
        a.TakeOff = aTakesOff, b.TakeOff = bTakesOff;
        Heard.clear();
        Host->Advance(Second);
        EXPECT_EQ(expected, Heard);
    };
    step(nullptr, nullptr, {"b", "a", "c", "d"});
    step(&c, &b, {"b", "a", "d"});   // a takes c off before c's turn, b itself
    step(nullptr, nullptr, {"a", "d"});
}

TEST_F(SimHost, AdviseChecksTheInterfaceAndUnadviseTheCookie)
{
    CComPtr<IQvxNotifications> notifications;
    ASSERT_EQ(S_OK, Host->QueryInterface(__uuidof(IQvxNotifications), notifications.OutVoid()));
    CDataListener listener("x");
    ULONG cookie = 9;
    // The root sends no data notifications, and the sink answers no root notifications.
    EXPECT_EQ(E_NOINTERFACE, notifications->Advise(__uuidof(IQvxDataNotifications), listener.Sink->Unknown(), &cookie));
    EXPECT_EQ(0u, cookie);
    EXPECT_EQ(E_NOINTERFACE, notifications->Advise(__uuidof(IQvxOrvidNotifications4), listener.Sink->Unknown(), &cookie));
    EXPECT_EQ(E_POINTER, notifications->Advise(__uuidof(IQvxOrvidNotifications4), nullptr, &cookie));
    EXPECT_EQ(CONNECT_E_NOCONNECTION, notifications->Unadvise(12345));
}

TEST_F(SimHost, FaultsAndCountsGoByFullOrOperationNameAndLeaveTheSubstitutesOwnCallsOut)
{
    auto selection = Selection(1, 2);
    CComPtr<IQvxDataRecords> records;
    ASSERT_EQ(S_OK, DataOf(ChannelOf(selection, L"Speed"))->GetRecords(records.Out()));
    CBstr full(L"IQvxDataRecords.GetCount"), bare(L"GetCount");
    const auto calls = [&](BSTR name) {
        long count = -1;
        Host->GetCallCount(name, &count);
        return count;
    };
    Host->ResetCallCounts();
    long count = 0;
    ASSERT_EQ(S_OK, Host->SetFault(full.Get(), E_ACCESSDENIED));
    EXPECT_EQ(E_ACCESSDENIED, records->GetCount(&count));   // a failed call counts too
    ASSERT_EQ(S_OK, Host->SetFault(full.Get(), S_OK));
    EXPECT_EQ(S_OK, records->GetCount(&count));
    EXPECT_EQ(E_INVALIDARG, Host->SetFault(full.Get(), S_FALSE));
    CComPtr<IUnknown> laps;
    selection->GetLaps(laps.Out());
    QueryFor<IQvxLaps>(laps)->GetCount(&count);
    EXPECT_EQ(2, calls(full.Get()));
    EXPECT_EQ(3, calls(bare.Get()));
    Host->ResetCallCounts();
    EXPECT_EQ(0, calls(full.Get()));
    // An operation's name alone fails it on every interface, and leaves the outs alone.
    Host->SetFault(CBstr(L"GetCursorTime").Get(), E_UNEXPECTED);
    qvx::time cursor = 77;
    EXPECT_EQ(E_UNEXPECTED, TaskById(Host, 1)->GetCursorTime(&cursor));
    EXPECT_EQ(77, cursor);
    Host->ClearFaults();
    EXPECT_EQ(S_OK, TaskById(Host, 1)->GetCursorTime(&cursor));
}

// --- tasks, selections and channels ---

TEST_F(SimHost, SelectionChangesReachTheirVersionsOfSinks)
{
    auto selection = Selection(1, 2);
    class CListener : public CDataSelectionNotifications3Receiver
    {
    public:
        explicit CListener(std::string name) : Name(std::move(name)) {}
        void OnColorChanged(IQvxDataSelection*) override { Heard.push_back(Name + " colour"); }
        void OnTimesChanged(IQvxDataSelection*) override { Heard.push_back(Name + " times"); }
        void OnChannelsChanged(IQvxDataSelection*) override { Heard.push_back(Name + " channels"); }
        void OnSelectionTextChanged(IQvxDataSelection*) override { Heard.push_back(Name + " text"); }
        std::string Name;
    } one("v1"), three("v3");
    auto sink1 = CreateSink<CDataSelectionNotificationsSink<CBaseSingleSourceSink<IQvxDataSelectionNotifications>>>(&one);
    auto sink3 = CreateSink<CDataSelectionNotifications3Sink<CBaseSingleSourceSink<IQvxDataSelectionNotifications3>>>(&three);
    ASSERT_TRUE(sink1->Advise(selection));
    ASSERT_TRUE(sink3->Advise(selection));
    Host->SetSelectionColor(1, 2, 0x123456);
    Host->SetSelectionSecondary(1, 2, VARIANT_TRUE);
    Host->SetSelectionText(1, 2, CBstr(L"Qualifying").Get());
    EXPECT_EQ(S_OK, selection->SetTimeOffset(5 * Second));
    EXPECT_EQ((CList{"v1 colour", "v3 colour", "v3 channels", "v3 text", "v1 times", "v3 times"}), Heard);
    OLE_COLOR colour = 0;
    selection->GetColor(&colour);
    EXPECT_EQ(0x123456u, colour);
    CloseSink(sink1, selection);
    CloseSink(sink3, selection);
}

TEST_F(SimHost, EventSetsOfASelectionAreLocatedByTimeAndDirection)
{
    auto events = QueryFor<IQvxDataSelectionEvents>(Selection(1, 2));
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
    // At the time: the event itself, the one after it, the one before it.
    for (auto [direction, expected] : {std::pair{2L, 2L}, {0L, 3L}, {1L, 1L}}) {
        long index = 0;
        EXPECT_EQ(S_OK, list->LocateEvent(at, direction, 1, &index));
        EXPECT_EQ(expected, index) << direction;
    }
    long index = 0;
    EXPECT_EQ(S_FALSE, list->LocateEvent(0, 1, 1, &index));
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
    use->AddUse();
    use->AddUse();
    ULONG cookie = 0;
    ASSERT_EQ(S_OK, clients->Subscribe(nullptr, &cookie));
    long uses = 0, subscribers = 0;
    EXPECT_EQ(S_OK, Host->GetChannelUse(1, 1, CBstr(L"Generated 3").Get(), &uses, &subscribers));
    EXPECT_EQ(std::make_pair(2L, 1L), std::make_pair(uses, subscribers));
    CComPtr<IQvxData> forMe;
    EXPECT_EQ(S_OK, clients->GetDataFor(cookie, forMe.Out()));
    EXPECT_EQ(E_INVALIDARG, clients->GetDataFor(cookie + 1, forMe.Out()));
    EXPECT_EQ(S_OK, clients->Unsubscribe(cookie));
    EXPECT_EQ(E_INVALIDARG, clients->Unsubscribe(cookie));
    use->ReleaseUse();
    use->ReleaseUse();
    EXPECT_EQ(E_UNEXPECTED, use->ReleaseUse());
    class COffset : public CChannelProxyNotificationsReceiver
    {
    public:
        void OnValueOffsetChanged(IUnknown*) override { Heard.push_back("offset"); }
    } receiver;
    auto sink = CreateSink<CChannelProxyNotificationsSink<CBaseSingleSourceSink<IQvxChannelProxyNotifications>>>(&receiver);
    ASSERT_TRUE(sink->Advise(channel));
    auto offset = QueryFor<IQvxChannelOffset>(channel);
    offset->SetValueOffset(2.5);
    double value = 0;
    offset->GetValueOffset(&value);
    EXPECT_EQ(2.5, value);
    CloseSink(sink, channel);
    CDataListener listener("data");
    listener.Advise(channel);
    Host->Advance(9 * Second);
    EXPECT_EQ((CList{"offset", "data"}), Heard);
    EXPECT_EQ(std::make_pair(start + Second / 1000, start + 9 * Second), std::make_pair(listener.From, listener.To));
    auto data = DataOf(channel);
    CComPtr<IQvxDataRecords> records;
    CComPtr<IQvxDataRecord> last;
    CSafeArray values;
    ASSERT_EQ(S_OK, data->GetRecords(records.Out()));
    ASSERT_EQ(S_OK, records->GetRecord(2, last.Out()));
    ASSERT_EQ(S_OK, last->GetValues(values.Out()));
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

// --- zoom stack ---

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
    stack->Pop();
    stack->Pop();
    EXPECT_EQ(S_FALSE, stack->Pop());
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

// --- property sets and factories, units ---

TEST_F(SimHost, ALocalSetAnswersFromItsParentUntilItHoldsItsOwnValue)
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
}

TEST_F(SimHost, TheEventFactoryKeepsASetThatIsStillUsed)
{
    CObjectPtr<CEventPropertyFactory> factory;
    ASSERT_EQ(S_OK, (CreateObject<CEventPropertyFactory, IQvxEventPropertyFactory>(factory)));
    class CUser : public CEventPropertyFactoryNotificationsReceiver
    {
    public:
        void QueryPropertySetUses(IQvxPropertyFactory*, BSTR, long* uses) override { *uses = Uses; }
        void OnPropertySetRemoved(IQvxPropertyFactory*, BSTR name) override { Heard.push_back("removed " + Narrow(name)); }
        long Uses = 1;
    } user;
    using CSink = CEventPropertyFactoryNotificationsSink<CBaseSingleSourceSink<IQvxEventPropertyFactoryNotifications>>;
    auto sink = CreateSink<CSink>(&user);
    IQvxEventPropertyFactory* source = factory.Get();
    ASSERT_TRUE(sink->Advise(source));
    CComPtr<IQvxPropertySet> set;
    CBstr name(L"Warnings");
    factory->GetPropertySet(name.Get(), set.Out());
    CPropertyListener listener(set);
    EXPECT_EQ(S_FALSE, factory->RemovePropertySet(name.Get()));
    user.Uses = 0;
    EXPECT_EQ(S_OK, factory->RemovePropertySet(name.Get()));
    EXPECT_EQ((CList{"set going", "removed Warnings"}), Heard);
    CloseSink(sink, source);
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
