// The substitute host's objects: delivery of notifications, the fault switch and counters,
// tasks and selections, the zoom stack, property sets and factories, groups, units.
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>
#include <olectl.h>
#include "config/ChannelProxyNotifications.h"
#include "config/DataNotifications.h"
#include "config/DataSelectionNotifications.h"
#include "config/GroupNotifications.h"
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

std::vector<std::string> Heard;

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

    void Advise(IUnknown* source)
    {
        Source = source;
        EXPECT_TRUE(Sink->Advise(source));
    }
    void OnDataChanged(IUnknown*, qvx::time* from, qvx::time* to) override
    {
        Heard.push_back(Label);
        From = *from;
        To = *to;
        if (TakeOff) TakeOff->Sink->Unadvise(TakeOff->Source);
    }
    void OnDataGoingAway(IUnknown*) override { Heard.push_back(Label + " going"); }

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
    void OnStackGoingAway(IQvxZoomStack*) override { Heard.push_back("stack going"); }
    void OnLevelsChanged(IQvxZoomStack*) override { Heard.push_back("levels"); }
    void OnOtherChange(IQvxZoomStack*) override { Heard.push_back("other"); }

    CComPtr<IUnknown> Stack;
    CComPtr<CSink> Sink;
};

class CPropertyListener : public CPropertySetNotifications2Receiver
{
public:
    using CSink = CPropertySetNotifications2Sink<CBaseSingleSourceSink<IQvxPropertySetNotifications2>>;
    explicit CPropertyListener(IQvxPropertySet* set) : Set(set), Sink(CreateSink<CSink>(this)) { EXPECT_TRUE(Sink->Advise(set)); }
    ~CPropertyListener() { CloseSink(Sink, Set); }
    void OnPropertyChanged(IQvxPropertySet*, BSTR name) override
    {
        std::wstring text = name ? name : L"(all)";
        Heard.push_back("changed " + std::string(text.begin(), text.end()));
    }
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
    CBstr text(name);
    EXPECT_EQ(S_OK, set->GetProperty(text.Get(), v.Out()));
    EXPECT_EQ(S_OK, VariantChangeType(&v, &v, 0, VT_R8));
    return v.dblVal;
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
};

} // namespace

// --- delivery ---

TEST_F(SimHost, NotificationsGoInTheOrderOfAdviseAndASinkMayTakeItselfOrAnotherOff)
{
    auto host = MakeHost();
    CComPtr<IUnknown> proxy = ChannelOf(SelectionOf(TaskById(host, 1), 1), L"RPM");
    CDataListener a("a"), b("b"), c("c"), d("d");
    for (CDataListener* listener : {&b, &a, &c, &d}) listener->Advise(proxy);
    host->Advance(Second);
    EXPECT_EQ((std::vector<std::string>{"b", "a", "c", "d"}), Heard);
    Heard.clear();
    a.TakeOff = &c;   // a takes c off before c's turn
    b.TakeOff = &b;   // b takes itself off
    host->Advance(Second);
    EXPECT_EQ((std::vector<std::string>{"b", "a", "d"}), Heard);
    Heard.clear();
    a.TakeOff = nullptr;
    host->Advance(Second);
    EXPECT_EQ((std::vector<std::string>{"a", "d"}), Heard);
}

TEST_F(SimHost, AdviseChecksTheInterfaceAndUnadviseTheCookie)
{
    auto host = MakeHost();
    CComPtr<IQvxNotifications> notifications;
    ASSERT_EQ(S_OK, host->QueryInterface(__uuidof(IQvxNotifications), notifications.OutVoid()));
    CDataListener listener("x");
    ULONG cookie = 9;
    // The root sends no data notifications, and the sink answers no root notifications.
    EXPECT_EQ(E_NOINTERFACE, notifications->Advise(__uuidof(IQvxDataNotifications), listener.Sink->Unknown(), &cookie));
    EXPECT_EQ(0u, cookie);
    EXPECT_EQ(E_NOINTERFACE, notifications->Advise(__uuidof(IQvxOrvidNotifications4), listener.Sink->Unknown(), &cookie));
    EXPECT_EQ(E_POINTER, notifications->Advise(__uuidof(IQvxOrvidNotifications4), nullptr, &cookie));
    EXPECT_EQ(CONNECT_E_NOCONNECTION, notifications->Unadvise(12345));
}

// --- fault switch and counters ---

TEST_F(SimHost, FaultsAndCountsGoByFullOrOperationNameAndLeaveTheSubstitutesOwnCallsOut)
{
    auto host = MakeHost();
    auto selection = SelectionOf(TaskById(host, 1), 2);
    auto data = DataOf(ChannelOf(selection, L"Speed"));
    CBstr full(L"IQvxDataRecords.GetCount"), bare(L"GetCount"), cursorTime(L"GetCursorTime");
    CComPtr<IQvxDataRecords> records;
    ASSERT_EQ(S_OK, data->GetRecords(records.Out()));
    host->ResetCallCounts();
    long count = 0, calls = 0;
    ASSERT_EQ(S_OK, host->SetFault(full.Get(), E_ACCESSDENIED));
    EXPECT_EQ(E_ACCESSDENIED, records->GetCount(&count));   // a failed call counts too
    ASSERT_EQ(S_OK, host->SetFault(full.Get(), S_OK));
    EXPECT_EQ(S_OK, records->GetCount(&count));
    EXPECT_EQ(E_INVALIDARG, host->SetFault(full.Get(), S_FALSE));
    CComPtr<IUnknown> lapsObject;
    CComPtr<IQvxLaps> laps;
    selection->GetLaps(lapsObject.Out());
    lapsObject.As(laps);
    laps->GetCount(&count);
    host->GetCallCount(full.Get(), &calls);
    EXPECT_EQ(2, calls);
    host->GetCallCount(bare.Get(), &calls);
    EXPECT_EQ(3, calls);
    host->ResetCallCounts();
    host->GetCallCount(full.Get(), &calls);
    EXPECT_EQ(0, calls);
    // An operation's name alone fails it on every interface, and leaves the outs alone.
    host->SetFault(cursorTime.Get(), E_UNEXPECTED);
    qvx::time cursor = 77;
    EXPECT_EQ(E_UNEXPECTED, TaskById(host, 1)->GetCursorTime(&cursor));
    EXPECT_EQ(77, cursor);
    host->ClearFaults();
    EXPECT_EQ(S_OK, TaskById(host, 1)->GetCursorTime(&cursor));

    // A local set answered by its parent set: one call, from outside.
    CComPtr<IQvxPropertyFactory> defaults;
    host->GetChannelDefaults(defaults.Out());
    CObjectPtr<CChannelPropertyFactory> local;
    ASSERT_EQ(S_OK, (CreateObject<CChannelPropertyFactory, IQvxPropertyFactory>(local)));
    local->SetParent(defaults);
    CComPtr<IQvxPropertySet> set;
    CBstr speed(L"Speed");
    local->GetPropertySet(speed.Get(), set.Out());
    CHostCalls::ResetCounts();
    EXPECT_EQ(1.0, ReadReal(set, L"Quantity"));
    EXPECT_EQ(1, CHostCalls::CallCount(L"IQvxPropertySet.GetProperty"));
}

// --- tasks and selections ---

TEST_F(SimHost, SelectionChangesReachTheirVersionsOfSinks)
{
    auto host = MakeHost();
    auto selection = SelectionOf(TaskById(host, 1), 2);
    class CListener : public CDataSelectionNotifications3Receiver
    {
    public:
        void OnColorChanged(IQvxDataSelection*) override { Heard.push_back(Name + " colour"); }
        void OnTimesChanged(IQvxDataSelection*) override { Heard.push_back(Name + " times"); }
        void OnChannelsChanged(IQvxDataSelection*) override { Heard.push_back(Name + " channels"); }
        void OnSelectionTextChanged(IQvxDataSelection*) override { Heard.push_back(Name + " text"); }
        std::string Name;
    } one, three;
    one.Name = "v1";
    three.Name = "v3";
    using CSink1 = CDataSelectionNotificationsSink<CBaseSingleSourceSink<IQvxDataSelectionNotifications>>;
    using CSink3 = CDataSelectionNotifications3Sink<CBaseSingleSourceSink<IQvxDataSelectionNotifications3>>;
    auto sink1 = CreateSink<CSink1>(&one);
    auto sink3 = CreateSink<CSink3>(&three);
    ASSERT_TRUE(sink1->Advise(selection));
    ASSERT_TRUE(sink3->Advise(selection));
    host->SetSelectionColor(1, 2, 0x123456);
    host->SetSelectionSecondary(1, 2, VARIANT_TRUE);
    CBstr text(L"Qualifying");
    host->SetSelectionText(1, 2, text.Get());
    EXPECT_EQ(S_OK, selection->SetTimeOffset(5 * Second));
    EXPECT_EQ((std::vector<std::string>{"v1 colour", "v3 colour", "v3 channels", "v3 text", "v1 times", "v3 times"}), Heard);
    OLE_COLOR colour = 0;
    selection->GetColor(&colour);
    EXPECT_EQ(0x123456u, colour);
    CloseSink(sink1, selection);
    CloseSink(sink3, selection);
}

TEST_F(SimHost, ChannelProxyCountsUsesAndSubscriptions)
{
    auto host = MakeHost();
    auto live = SelectionOf(TaskById(host, 1), 1);
    CComPtr<IUnknown> channel = ChannelOf(live, L"Throttle");
    EXPECT_EQ(channel.Get(), ChannelOf(live, L"Throttle").Get());
    CBstr name(L"Throttle");
    CComPtr<IQvxChannelUse> use;
    CComPtr<IQvxChannelProxyClients> clients;
    CComPtr<IQvxChannelOffset> offset;
    ASSERT_EQ(S_OK, channel.As(use));
    ASSERT_EQ(S_OK, channel.As(clients));
    ASSERT_EQ(S_OK, channel.As(offset));
    use->AddUse();
    use->AddUse();
    ULONG cookie = 0;
    ASSERT_EQ(S_OK, clients->Subscribe(nullptr, &cookie));
    long uses = 0, subscribers = 0;
    host->GetChannelUse(1, 1, name.Get(), &uses, &subscribers);
    EXPECT_EQ(2, uses);
    EXPECT_EQ(1, subscribers);
    CComPtr<IQvxData> forMe;
    EXPECT_EQ(S_OK, clients->GetDataFor(cookie, forMe.Out()));
    EXPECT_EQ(E_INVALIDARG, clients->GetDataFor(cookie + 1, forMe.Out()));
    EXPECT_EQ(S_OK, clients->Unsubscribe(cookie));
    EXPECT_EQ(E_INVALIDARG, clients->Unsubscribe(cookie));
    use->ReleaseUse();
    use->ReleaseUse();
    EXPECT_EQ(E_UNEXPECTED, use->ReleaseUse());
    // The offset is echoed to the channel's sinks.
    class COffset : public CChannelProxyNotificationsReceiver
    {
    public:
        void OnValueOffsetChanged(IUnknown*) override { Heard.push_back("offset"); }
    } receiver;
    using CSink = CChannelProxyNotificationsSink<CBaseSingleSourceSink<IQvxChannelProxyNotifications>>;
    auto sink = CreateSink<CSink>(&receiver);
    ASSERT_TRUE(sink->Advise(channel));
    offset->SetValueOffset(2.5);
    double value = 0;
    offset->GetValueOffset(&value);
    EXPECT_EQ(2.5, value);
    EXPECT_EQ(std::vector<std::string>{"offset"}, Heard);
    CloseSink(sink, channel);
}

TEST_F(SimHost, EventSetsOfASelection)
{
    auto host = MakeHost();
    auto session = SelectionOf(TaskById(host, 1), 2);
    CComPtr<IQvxDataSelectionEvents> events;
    ASSERT_EQ(S_OK, session.As(events));
    CComPtr<IQvxDataNames> names;
    events->GetEventSetNames(names.Out());
    long count = 0;
    names->GetCount(&count);
    ASSERT_GE(count, 2);
    CBstr name;
    names->GetName(1, name.Out());
    EXPECT_EQ(L"Gear shifts", name.View());
    CComPtr<IQvxEventData> data;
    ASSERT_EQ(S_OK, events->GetEventSet(name.Get(), data.Out()));
    CComPtr<IQvxEvents> list;
    CComPtr<IQvxEventList> all;
    data->GetEvents(list.Out());
    list->GetEventList(all.Out());
    long total = 0;
    all->GetCount(&total);
    ASSERT_GT(total, 3);
    CComPtr<IQvxEvent> second;
    all->GetEvent(2, second.Out());
    qvx::time at = 0;
    second->GetTime(&at);
    long index = 0;
    EXPECT_EQ(S_OK, list->LocateEvent(at, 2, 1, &index));
    EXPECT_EQ(2, index);
    EXPECT_EQ(S_OK, list->LocateEvent(at, 0, 1, &index));
    EXPECT_EQ(3, index);
    EXPECT_EQ(S_OK, list->LocateEvent(at, 1, 1, &index));
    EXPECT_EQ(1, index);
    EXPECT_EQ(S_FALSE, list->LocateEvent(0, 1, 1, &index));
}

// --- zoom stack ---

CObjectPtr<CZoomStack> StackOver(IQvxDataSelection* selection)
{
    CObjectPtr<CZoomStack> stack;
    EXPECT_EQ(S_OK, (CreateObject<CZoomStack, IQvxZoomStack>(stack)));
    stack->SetReferenceSelection(selection);
    return stack;
}

std::pair<qvx::time, qvx::time> RangeOf(CZoomStack* stack)
{
    qvx::time low = -1, high = -1;
    stack->GetTimeMinimum(&low);
    stack->GetTimeMaximum(&high);
    return {low, high};
}

TEST_F(SimHost, ZoomStackOffersItsSelectionAndItsLevels)
{
    auto host = MakeHost();
    auto stack = StackOver(nullptr);
    CZoomListener listener(static_cast<IQvxZoomStack*>(stack.Get()));
    stack->SetReferenceSelection(SelectionOf(TaskById(host, 1), 2));
    qvx::time full = -1, span = 60 * Second;
    stack->GetFullTimeSpan(&full);
    EXPECT_EQ(RangeOf(stack), std::make_pair(qvx::time(0), 200 * Second));
    EXPECT_EQ(200 * Second, full);
    stack->SetFixedTimeSpan(VARIANT_TRUE, &span);
    EXPECT_EQ(60 * Second, RangeOf(stack).second);
    EXPECT_EQ((std::vector<std::string>{"range", "range"}), Heard);
    Heard.clear();

    EXPECT_EQ(E_INVALIDARG, stack->PushTimeZoom(10, 10));
    stack->PushTimeZoom(10 * Second, 20 * Second);
    stack->PushTimeZoom(12 * Second, 14 * Second);
    EXPECT_EQ(12 * Second, RangeOf(stack).first);
    stack->Pop();
    stack->Pop();
    EXPECT_EQ(S_FALSE, stack->Pop());
    EXPECT_EQ(S_FALSE, stack->PopAll());
    EXPECT_EQ((std::vector<std::string>{"range", "levels", "range", "range", "range", "levels"}), Heard);
}

TEST_F(SimHost, ZoomStackKeepsAReplacedRangeInsideTheData)
{
    auto host = MakeHost();
    auto stack = StackOver(SelectionOf(TaskById(host, 1), 2));
    EXPECT_EQ(S_OK, stack->SetTimeZoom(50 * Second, 60 * Second, 1));
    VARIANT_BOOL zoomed = 0;
    stack->GetIsZoomed(&zoomed);
    EXPECT_EQ(VARIANT_BOOL(-1), zoomed);
    // Moved back inside, width kept, or cut to the data; S_FALSE.
    const struct
    {
        qvx::time From, To;
        long Mode;
        std::pair<qvx::time, qvx::time> Range;
    } rows[] = {{195 * Second, 205 * Second, 1, {190 * Second, 200 * Second}},
                {-3 * Second, 7 * Second, 1, {0, 10 * Second}},
                {-50 * Second, 500 * Second, 0, {0, 200 * Second}}};
    for (const auto& row : rows) {
        EXPECT_EQ(S_FALSE, stack->SetTimeZoom(row.From, row.To, row.Mode)) << row.From;
        EXPECT_EQ(row.Range, RangeOf(stack)) << row.From;
    }
    long depth = 0;
    stack->GetDepth(&depth);
    EXPECT_EQ(1, depth);
}

TEST_F(SimHost, ZoomStackFollowsLiveDataUntilFrozen)
{
    auto host = MakeHost();
    auto stack = StackOver(SelectionOf(TaskById(host, 1), 1));
    CZoomListener listener(static_cast<IQvxZoomStack*>(stack.Get()));
    host->Advance(Second);
    qvx::time full = 0;
    stack->GetFullTimeSpan(&full);
    EXPECT_EQ(Second, full);
    EXPECT_EQ(std::vector<std::string>{"range"}, Heard);
    stack->SetFrozenRange(0, 5 * Second);
    stack->SetFreeze(VARIANT_TRUE);
    Heard.clear();
    host->Advance(Second);
    stack->GetFullTimeSpan(&full);
    EXPECT_EQ(5 * Second, full);
    EXPECT_TRUE(Heard.empty());
    stack->SetFreeze(VARIANT_FALSE);
    stack->GetFullTimeSpan(&full);
    EXPECT_EQ(2 * Second, full);
}

// --- property sets and factories ---

TEST_F(SimHost, ALocalSetAnswersFromItsParentUntilItHoldsItsOwnValue)
{
    auto host = MakeHost();
    CComPtr<IQvxPropertyFactory> defaults;
    host->GetChannelDefaults(defaults.Out());
    CObjectPtr<CChannelPropertyFactory> local;
    ASSERT_EQ(S_OK, (CreateObject<CChannelPropertyFactory, IQvxPropertyFactory>(local)));
    CComPtr<IQvxPropertySet> set, parentSet;
    CBstr channel(L"RPM"), maximum(L"Display maximum"), minimum(L"Display minimum");
    ASSERT_EQ(S_OK, local->GetPropertySet(channel.Get(), set.Out()));
    CPropertyListener listener(set);
    CVariant v;
    EXPECT_EQ(DISP_E_UNKNOWNNAME, set->GetProperty(maximum.Get(), v.Out()));
    // Given a parent, the set tells that everything may have changed.
    local->SetParent(defaults);
    EXPECT_EQ(13000.0, ReadReal(set, L"Display maximum"));
    defaults->GetPropertySet(channel.Get(), parentSet.Out());
    set->SetProperty(maximum.Get(), Real(9000.0));
    parentSet->SetProperty(maximum.Get(), Real(14000.0));
    parentSet->SetProperty(minimum.Get(), Real(100.0));
    EXPECT_EQ(9000.0, ReadReal(set, L"Display maximum"));
    EXPECT_EQ(100.0, ReadReal(set, L"Display minimum"));
    EXPECT_EQ((std::vector<std::string>{"changed (all)", "changed Display maximum", "changed Display minimum"}), Heard);
}

TEST_F(SimHost, TheEventFactoryKeepsASetThatIsStillUsed)
{
    CObjectPtr<CEventPropertyFactory> factory;
    ASSERT_EQ(S_OK, (CreateObject<CEventPropertyFactory, IQvxEventPropertyFactory>(factory)));
    class CUser : public CEventPropertyFactoryNotificationsReceiver
    {
    public:
        void QueryPropertySetUses(IQvxPropertyFactory*, BSTR, long* uses) override { *uses = Uses; }
        void OnPropertySetRemoved(IQvxPropertyFactory*, BSTR name) override
        {
            std::wstring text = name;
            Heard.push_back("removed " + std::string(text.begin(), text.end()));
        }
        long Uses = 1;
    } user;
    using CSink = CEventPropertyFactoryNotificationsSink<CBaseSingleSourceSink<IQvxEventPropertyFactoryNotifications>>;
    auto sink = CreateSink<CSink>(&user);
    ASSERT_TRUE(sink->Advise(static_cast<IQvxEventPropertyFactory*>(factory.Get())));
    CComPtr<IQvxPropertySet> set;
    CBstr name(L"Warnings");
    factory->GetPropertySet(name.Get(), set.Out());
    CPropertyListener listener(set);
    EXPECT_EQ(S_FALSE, factory->RemovePropertySet(name.Get()));
    user.Uses = 0;
    EXPECT_EQ(S_OK, factory->RemovePropertySet(name.Get()));
    EXPECT_EQ((std::vector<std::string>{"set going", "removed Warnings"}), Heard);
    CloseSink(sink, static_cast<IQvxEventPropertyFactory*>(factory.Get()));
}

// --- groups ---

TEST_F(SimHost, GroupMembersAreToldByVersion)
{
    auto host = MakeHost();
    CComPtr<IQvxGroupFactory> defaults;
    host->GetGroupDefaults(defaults.Out());
    CComPtr<IQvxGroup> engine;
    CBstr name(L"Engine"), member(L"Oil pressure");
    ASSERT_EQ(S_OK, defaults->GetGroup(name.Get(), engine.Out()));
    long count = 0;
    engine->GetMemberCount(&count);
    EXPECT_EQ(4, count);
    class CListener : public CGroupNotifications2Receiver
    {
    public:
        void OnGroupContentsChanged(IQvxGroup*) override { Heard.push_back(Name + " contents"); }
        void OnMemberAdded(IQvxGroup*, BSTR) override { Heard.push_back(Name + " added"); }
        void OnMemberRemoved(IQvxGroup*, BSTR) override { Heard.push_back(Name + " removed"); }
        bool QueryGroupRemoval(IQvxGroup*) override { return Allow; }
        void OnGroupGoingAway(IQvxGroup*) override { Heard.push_back(Name + " going"); }
        std::string Name;
        bool Allow = false;
    } one, two;
    one.Name = "v1";
    two.Name = "v2";
    using CSink1 = CGroupNotificationsSink<CBaseMultiSourceSink<IQvxGroupNotifications>>;
    using CSink2 = CGroupNotifications2Sink<CBaseMultiSourceSink<IQvxGroupNotifications2>>;
    auto sink1 = CreateSink<CSink1>(&one);
    auto sink2 = CreateSink<CSink2>(&two);
    ASSERT_TRUE(sink1->Add(engine));
    ASSERT_TRUE(sink2->Add(engine));
    engine->AddMember(member.Get());
    engine->RemoveMember(member.Get());
    EXPECT_EQ((std::vector<std::string>{"v2 added", "v1 contents", "v2 removed", "v1 contents"}), Heard);
    Heard.clear();
    EXPECT_EQ(S_FALSE, defaults->RemoveGroup(name.Get()));
    two.Allow = true;
    EXPECT_EQ(S_FALSE, defaults->RemoveGroup(name.Get()));
    one.Allow = true;
    EXPECT_EQ(S_OK, defaults->RemoveGroup(name.Get()));
    EXPECT_EQ((std::vector<std::string>{"v1 going", "v2 going"}), Heard);
    CloseSink(sink1);
    CloseSink(sink2);
}

// --- units ---

TEST_F(SimHost, UnitsConvertThroughTheBaseUnit)
{
    struct CRow
    {
        double Value;
        long Quantity, From, To;
        double Expected;
    };
    // Speed: m/s, km/h, mph; temperature: K, degrees C, degrees F.
    const CRow rows[] = {{10.0, 1, 0, 1, 36.0}, {100.0, 1, 1, 2, 62.137}, {100.0, 6, 1, 2, 212.0}, {300.0, 6, 0, 1, 26.85}};
    CObjectPtr<CUnitConverter> units;
    ASSERT_EQ(S_OK, (CreateObject<CUnitConverter, IQvxUnitConverter>(units)));
    for (const CRow& row : rows) {
        double v = 0;
        EXPECT_EQ(S_OK, units->Convert(row.Value, row.Quantity, row.From, row.To, &v));
        EXPECT_NEAR(row.Expected, v, 1e-3) << row.Value << " of quantity " << row.Quantity;
    }
    double v = 0;
    EXPECT_EQ(E_INVALIDARG, units->Convert(1.0, 1, 0, 9, &v));
    CBstr text;
    EXPECT_EQ(S_OK, units->GetUnitText(1, 1, text.Out()));
    EXPECT_EQ(L"km/h", text.View());
    EXPECT_EQ(S_OK, units->GetQuantityText(1, text.Out()));
    EXPECT_EQ(L"Speed", text.View());
    EXPECT_EQ(E_INVALIDARG, units->GetQuantityText(99, text.Out()));
}

// --- generated channels ---

namespace {

std::vector<std::wstring> ChannelNames(IQvxDataSelection* selection)
{
    CComPtr<IQvxDataSelectionChannels> channels;
    CComPtr<IQvxDataNames> names;
    std::vector<std::wstring> list;
    EXPECT_EQ(S_OK, selection->QueryInterface(__uuidof(IQvxDataSelectionChannels), channels.OutVoid()));
    EXPECT_EQ(S_OK, channels->GetChannelNames(names.Out()));
    long count = 0;
    names->GetCount(&count);
    for (long i = 1; i <= count; ++i) {
        CBstr name;
        names->GetName(i, name.Out());
        list.emplace_back(name.View());
    }
    return list;
}

const size_t CarChannels = CChannelTable::Car()->Size();

} // namespace

TEST_F(SimHost, GeneratedChannelsAreInEveryRecordingAndBehaveAsTheCarsDo)
{
    auto host = MakeHost();
    ASSERT_EQ(S_OK, host->AddGeneratedChannels(2, 100));
    ASSERT_EQ(S_OK, host->AddGeneratedChannels(1, 1000));
    ASSERT_EQ(S_OK, host->AddDataSelection(2, 7, 10 * Second, VARIANT_FALSE));
    for (auto [task, index] : {std::pair{1L, 1L}, {1L, 3L}, {2L, 2L}}) {
        auto names = ChannelNames(SelectionOf(TaskById(host, task), index));
        ASSERT_EQ(CarChannels + 3, names.size());
        EXPECT_EQ((std::vector<std::wstring>{L"Generated 1", L"Generated 2", L"Generated 3"}),
                  std::vector<std::wstring>(names.begin() + CarChannels, names.end()));
    }
    CComPtr<IQvxPropertyFactory> defaults;
    CComPtr<IQvxPropertySet> first, third;
    host->GetChannelDefaults(defaults.Out());
    defaults->GetPropertySet(CBstr(L"Generated 1").Get(), first.Out());
    defaults->GetPropertySet(CBstr(L"Generated 3").Get(), third.Out());
    EXPECT_EQ(-1.2, ReadReal(third, L"Display minimum"));
    EXPECT_EQ(1.2, ReadReal(third, L"Display maximum"));
    EXPECT_NE(ReadReal(first, L"Color"), ReadReal(third, L"Color"));

    // Live, the newest one is told of and read as any channel is.
    qvx::time start = 0;
    host->GetRecordingStart(&start);
    CComPtr<IUnknown> channel = ChannelOf(SelectionOf(TaskById(host, 1), 1), L"Generated 3");
    CComPtr<IQvxChannelUse> use;
    ASSERT_EQ(S_OK, channel.As(use));
    use->AddUse();
    long uses = 0, subscribers = 0;
    EXPECT_EQ(S_OK, host->GetChannelUse(1, 1, CBstr(L"Generated 3").Get(), &uses, &subscribers));
    EXPECT_EQ(1, uses);
    CDataListener listener("g");
    listener.Advise(channel);
    host->ResetCallCounts();
    host->Advance(9 * Second);
    EXPECT_EQ(std::vector<std::string>{"g"}, Heard);
    EXPECT_EQ(start + Second / 1000, listener.From);
    EXPECT_EQ(start + 9 * Second, listener.To);
    auto data = DataOf(channel);
    CComPtr<IQvxDataRecords> records;
    ASSERT_EQ(S_OK, data->GetRecords(records.Out()));
    long count = 0;
    records->GetCount(&count);
    ASSERT_EQ(2, count);
    CComPtr<IQvxDataRecord> last;
    CSafeArray values;
    ASSERT_EQ(S_OK, records->GetRecord(2, last.Out()));
    ASSERT_EQ(S_OK, last->GetValues(values.Out()));
    CSafeArrayAccess<double> access(values.Get());
    ASSERT_EQ(9001u - CChannelData::RecordLength, access.Size());
    double latest = 0;
    EXPECT_EQ(S_OK, data->GetValueAt(start + 9 * Second, 2, 0, &latest));
    EXPECT_EQ(latest, access[access.Size() - 1]);
    EXPECT_EQ(1, CHostCalls::CallCount(L"IQvxDataRecord.GetValues"));
}

TEST_F(SimHost, RefusedGeneratedChannelsLeaveTheHostAsItWas)
{
    enum CBefore { Nothing, Many, Seen, Ran };
    const struct
    {
        const char* Name;
        CBefore Before;
        long Count, Rate;
        HRESULT Status;
    } rows[] = {
        {"no channel", Nothing, 0, 1000, E_INVALIDARG},      {"no rate", Nothing, 1, 0, E_INVALIDARG},
        {"above 100 kHz", Nothing, 1, 100001, E_INVALIDARG}, {"at 100 kHz", Nothing, 1, 100000, S_OK},
        {"the thousandth", Many, 1, 1, S_OK},                {"beyond a thousand", Many, 2, 1, E_INVALIDARG},
        {"after the tasks were seen", Seen, 1, 1, E_UNEXPECTED},
        {"after the clock ran", Ran, 1, 1, E_UNEXPECTED},
    };
    for (const auto& row : rows) {
        auto host = MakeHost();
        if (row.Before == Many) ASSERT_EQ(S_OK, host->AddGeneratedChannels(999, 1));
        if (row.Before == Seen) TaskById(host, 1);
        if (row.Before == Ran) host->Advance(Second);
        EXPECT_EQ(row.Status, host->AddGeneratedChannels(row.Count, row.Rate)) << row.Name;
        const size_t before = CarChannels + (row.Before == Many ? 999 : 0);
        auto names = ChannelNames(SelectionOf(TaskById(host, 1), 1));
        EXPECT_EQ(before + (row.Status == S_OK ? size_t(row.Count) : 0), names.size()) << row.Name;
        EXPECT_EQ(row.Before == Many ? L"Generated 999" : L"Fuel flow", names[before - 1]) << row.Name;
    }
}
