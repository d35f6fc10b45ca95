// The channel ordering as hosts and the channel configuration use it, over channels whose
// property sets come from the substitute host's channel property factory: moves in and out of
// the grouped head, the sort of newcomers in both directions, replacing and synchronising the
// names, the active channel, and the notifications of each change through the ordering's points.
#include <gtest/gtest.h>
#include <functional>
#include <string>
#include <vector>
#include "com/AutomationTypes.h"
#include "items/ChannelDataItem.h"
#include "config/ChannelOrdering.h"
#include "com/ComObject.h"
#include "items/ItemFlags.h"
#include "QvxSim.h"
#include "items/RTCTaskDataItem.h"

namespace {

// The chart as the ordering reaches it through the task.
struct CTestChart
{
    void MarkModified() { ++Modified; }
    void FireActiveChanged() { ++ActiveChanges; }
    int Modified = 0;
    int ActiveChanges = 0;
};

// The task as the ordering needs it: it makes real-time channels on a property factory.
class CTestTask
{
public:
    CChannelDataItem* CreateChannel(const CBstr& name) { return new CRTCChannelDataItem(nullptr, name, Factory); }
    CChannelDataItem* GetActiveChannel() const { return ActiveChannel; }
    void SetActiveChannel(CChannelDataItem* channel) { ActiveChannel = channel; }
    void NotifyOrderChanged(bool activeToo) { Changes.push_back(TaskOrderChanged | (activeToo ? TaskActiveStale : 0)); }
    void NotifyActiveChanged() { Changes.push_back(TaskActiveStale); }
    void MarkModified() { Owner->MarkModified(); }
    void FireActiveChanged() { Owner->FireActiveChanged(); }

    CChannelDataItem* ActiveChannel = nullptr;
    CTestChart* Owner = nullptr;
    IQvxPropertyFactory* Factory = nullptr;
    std::vector<DWORD> Changes;
};

using COrderingUnderTest = CChannelOrderingOf<CTestTask>;

std::vector<std::string> Heard;

// A host's advisor on the ordering's three points; it may act inside a call.
class CAdvisor : public CComRoot,
                 public IQvxOrderingNotifications,
                 public IQvxDefaultOrderingNotifications,
                 public IQvxGroupedOrderingNotifications
{
public:
    QVX_BEGIN_INTERFACES(CAdvisor)
        QVX_INTERFACE(CAdvisor, IQvxOrderingNotifications),
        QVX_INTERFACE(CAdvisor, IQvxDefaultOrderingNotifications),
        QVX_INTERFACE(CAdvisor, IQvxGroupedOrderingNotifications),
    QVX_END_INTERFACES()
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override = 0;
    STDMETHODIMP_(ULONG) AddRef() override = 0;
    STDMETHODIMP_(ULONG) Release() override = 0;

    STDMETHODIMP OnOrderingChanged(IQvxOrdering* ordering) override
    {
        Heard.push_back("order");
        Seen = ordering;
        if (During) During();
        return S_OK;
    }
    STDMETHODIMP OnDefaultOrderingChanged(IQvxDefaultOrdering*) override
    {
        Heard.push_back("default");
        return S_OK;
    }
    STDMETHODIMP OnGroupedOrderingChanged(IQvxGroupedOrdering*) override
    {
        Heard.push_back("grouped");
        return S_OK;
    }

    IUnknown* Seen = nullptr;
    std::function<void()> During;
};

std::vector<CBstr> Keys(std::initializer_list<const wchar_t*> names)
{
    std::vector<CBstr> keys;
    for (const wchar_t* name : names) keys.emplace_back(name);
    return keys;
}

class ChannelOrdering : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(S_OK, CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
        Heard.clear();
        ASSERT_EQ(S_OK, CoCreateInstance(CLSID_QvxChannelPropertyFactory, nullptr, CLSCTX_INPROC_SERVER,
                                         __uuidof(IQvxPropertyFactory), Factory.OutVoid()));
        ASSERT_EQ(S_OK, CoCreateInstance(CLSID_QvxGroupFactory, nullptr, CLSCTX_INPROC_SERVER,
                                         __uuidof(IQvxGroupFactory), GroupFactory.OutVoid()));
        ASSERT_EQ(S_OK, CoCreateInstance(CLSID_QvxSimulatedHost, nullptr, CLSCTX_INPROC_SERVER,
                                         __uuidof(IQvxSimulation), Simulation.OutVoid()));
        Task.Owner = &Chart;
        Task.Factory = Factory;
        ASSERT_EQ(S_OK, CComObject<COrderingUnderTest>::CreateInstance(Ordering));
        Object = static_cast<COrderingUnderTest*>(Ordering.Get());
        Object->SetTask(&Task);
        ASSERT_EQ(S_OK, Ordering.As(DefaultOrdering));
        ASSERT_EQ(S_OK, Ordering.As(GroupedOrdering));
        ASSERT_EQ(S_OK, CComObject<CGroups>::CreateInstance(Groups));
    }
    void TearDown() override
    {
        if (Object) Object->Close();
        Object = nullptr;
        Ordering = nullptr;
        DefaultOrdering = nullptr;
        GroupedOrdering = nullptr;
        Advisor = nullptr;
        Groups = nullptr;
        Simulation = nullptr;
        GroupFactory = nullptr;
        Factory = nullptr;
        CoUninitialize();
    }

    void SetDisplayName(const wchar_t* channel, const wchar_t* displayName)
    {
        CComPtr<IQvxPropertySet> set;
        CBstr name(channel);
        ASSERT_EQ(S_OK, Factory->GetPropertySet(name.Get(), set.Out()));
        CVariant value;
        value.vt = VT_BSTR;
        value.bstrVal = SysAllocString(displayName);
        CBstr property(L"Display name");
        ASSERT_EQ(S_OK, set->SetProperty(property.Get(), value));
    }

    void SetDisplayNames(std::initializer_list<std::pair<const wchar_t*, const wchar_t*>> names)
    {
        for (const auto& [channel, displayName] : names) SetDisplayName(channel, displayName);
    }

    // A group of the host with its members, added to the chart's groups.
    void AddGroup(const wchar_t* groupName, std::initializer_list<const wchar_t*> members)
    {
        CComPtr<IQvxGroup> group;
        CBstr name(groupName);
        ASSERT_TRUE(SUCCEEDED(GroupFactory->CreateGroup(name.Get(), group.Out())));
        for (const wchar_t* member : members) {
            CBstr memberName(member);
            ASSERT_EQ(S_OK, group->AddMember(memberName.Get()));
        }
        ASSERT_EQ(S_OK, Groups->Add(group));
    }
    void UseGroups() { Object->SetGroups(static_cast<CGroups*>(Groups.Get())); }

    void Advise()
    {
        CComPtr<IUnknown> advisor;
        ASSERT_EQ(S_OK, CComObject<CAdvisor>::CreateInstance(advisor));
        Advisor = static_cast<CAdvisor*>(static_cast<IQvxOrderingNotifications*>(advisor.Get()));
        CComPtr<IQvxNotifications> notifications;
        ASSERT_EQ(S_OK, Ordering.As(notifications));
        const IID* points[] = {&IID_IQvxOrderingNotifications, &IID_IQvxDefaultOrderingNotifications,
                               &IID_IQvxGroupedOrderingNotifications};
        for (ULONG point = 1; point <= 3; ++point) {
            ULONG cookie = 0;
            ASSERT_EQ(S_OK, notifications->Advise(*points[point - 1], advisor, &cookie));
            EXPECT_EQ((1u << 16) | point, cookie);
        }
        Heard.clear();
    }

    // The names in the order, as a host reads them.
    std::vector<std::wstring> Names()
    {
        std::vector<std::wstring> names;
        long count = 0;
        EXPECT_EQ(S_OK, Ordering->GetCount(&count));
        for (long i = 1; i <= count; ++i) {
            CBstr name;
            EXPECT_EQ(S_OK, Ordering->GetName(i, name.Out()));
            names.emplace_back(name.View());
        }
        return names;
    }
    CChannelDataItem* Item(long position) { return Object->GetItems().at(size_t(position - 1)); }
    HRESULT Move(const wchar_t* name, long position)
    {
        CBstr key(name);
        return Ordering->MoveItem(key.Get(), position);
    }
    long Sinks()
    {
        long count = 0;
        EXPECT_EQ(S_OK, Simulation->GetSinkCount(&count));
        return count;
    }
    void Forget()
    {
        Heard.clear();
        Task.Changes.clear();
        Chart = {};
    }

    CComPtr<IQvxPropertyFactory> Factory;
    CComPtr<IQvxGroupFactory> GroupFactory;
    CComPtr<IQvxSimulation> Simulation;
    CTestChart Chart;
    CTestTask Task;
    CComPtr<IQvxOrdering> Ordering;
    CComPtr<IQvxDefaultOrdering> DefaultOrdering;
    CComPtr<IQvxGroupedOrdering> GroupedOrdering;
    COrderingUnderTest* Object = nullptr;
    CComPtr<IQvxGroups> Groups;
    CComPtr<CAdvisor> Advisor;
};

using NameList = std::vector<std::wstring>;
using Flags = std::vector<DWORD>;

TEST_F(ChannelOrdering, SetNamesMakesTheChannelsInTheirOrderAndLeavesTheLastActive)
{
    Advise();
    Object->SetNames(Keys({L"Speed", L"Gear", L"RPM", L"Gear"}));
    EXPECT_EQ((NameList{L"Speed", L"Gear", L"RPM"}), Names());
    EXPECT_EQ(Item(3), Task.ActiveChannel);
    // Each new channel became active in turn; then the order was told once.
    EXPECT_EQ((Flags{TaskActiveStale, TaskActiveStale, TaskActiveStale, TaskOrderChanged}), Task.Changes);
    EXPECT_EQ(3, Chart.ActiveChanges);
    EXPECT_EQ(4, Chart.Modified);
    EXPECT_EQ(std::vector<std::string>{"order"}, Heard);
    EXPECT_EQ(static_cast<IUnknown*>(Ordering.Get()), Advisor->Seen);
}

TEST_F(ChannelOrdering, SetNamesReplacesEveryChannel)
{
    Object->SetNames(Keys({L"Speed", L"Gear"}));
    Advise();
    Forget();
    Object->SetNames(Keys({L"Gear", L"Throttle"}));
    EXPECT_EQ((NameList{L"Gear", L"Throttle"}), Names());
    // Emptying tells the order once with no active channel, filling tells it again.
    EXPECT_EQ((Flags{TaskOrderChanged | TaskActiveStale, TaskActiveStale, TaskActiveStale, TaskOrderChanged}),
              Task.Changes);
    EXPECT_EQ((std::vector<std::string>{"order", "order"}), Heard);
    EXPECT_EQ(Item(2), Task.ActiveChannel);
}

TEST_F(ChannelOrdering, AChannelReadsQuantityAndListensToItsPropertySet)
{
    CComPtr<IQvxPropertySet> set;
    CBstr name(L"Speed");
    ASSERT_EQ(S_OK, Factory->GetPropertySet(name.Get(), set.Out()));
    CVariant quantity;
    quantity.vt = VT_I4;
    quantity.lVal = 12;
    CBstr property(L"Quantity");
    ASSERT_EQ(S_OK, set->SetProperty(property.Get(), quantity));
    Object->SetNames(Keys({L"Speed"}));
    CChannelDataItem* speed = Item(1);
    EXPECT_EQ(12, speed->GetQuantity());
    EXPECT_EQ(L"", std::wstring(speed->GetDisplayName().View()));

    speed->Flags = 0;
    CVariant colour;
    colour.vt = VT_I4;
    colour.lVal = 0xFF;
    CBstr colourName(L"COLOR");
    ASSERT_EQ(S_OK, set->SetProperty(colourName.Get(), colour));
    EXPECT_EQ(ChannelColorStale, speed->Flags);
    speed->Flags = 0;
    CBstr unread(L"Tag name");
    ASSERT_EQ(S_OK, set->SetProperty(unread.Get(), colour));
    EXPECT_EQ(0u, speed->Flags);
    SetDisplayName(L"Speed", L"Vehicle speed");
    EXPECT_EQ(ChannelNameStale, speed->Flags);
    EXPECT_EQ(L"Vehicle speed", std::wstring(speed->GetDisplayName().View()));
    EXPECT_EQ(0u, speed->Flags);
}

TEST_F(ChannelOrdering, ADeletedChannelLetsGoOfItsPropertySet)
{
    const long before = Sinks();
    Object->SetNames(Keys({L"Speed", L"Gear"}));
    Object->SyncToNames(Keys({L"Gear"}));
    EXPECT_EQ(before + 1, Sinks());
    Object->Close();
    EXPECT_EQ(before, Sinks());
    long count = -1;
    EXPECT_EQ(S_OK, Ordering->GetCount(&count));
    EXPECT_EQ(0, count);
}

TEST_F(ChannelOrdering, GetCountAndGetNameCheckTheirArguments)
{
    Object->SetNames(Keys({L"Speed"}));
    EXPECT_EQ(E_POINTER, Ordering->GetCount(nullptr));
    BSTR name = reinterpret_cast<BSTR>(1);
    EXPECT_EQ(E_UNEXPECTED, Ordering->GetName(0, &name));
    EXPECT_EQ(nullptr, name);
    EXPECT_EQ(E_UNEXPECTED, Ordering->GetName(2, &name));
    EXPECT_EQ(E_POINTER, Ordering->GetName(1, nullptr));
    long mode = -1;
    EXPECT_EQ(E_POINTER, DefaultOrdering->GetMode(nullptr));
    EXPECT_EQ(E_POINTER, GroupedOrdering->GetMode(nullptr));
    EXPECT_EQ(S_OK, DefaultOrdering->GetMode(&mode));
    EXPECT_EQ(0, mode);
    EXPECT_EQ(S_OK, GroupedOrdering->GetMode(&mode));
    EXPECT_EQ(0, mode);
}

TEST_F(ChannelOrdering, MoveItemMovesOneChannelAndTellsTheChange)
{
    Object->SetNames(Keys({L"A", L"B", L"C", L"D"}));
    Advise();
    Forget();
    EXPECT_EQ(S_OK, Move(L"A", 3));
    EXPECT_EQ((NameList{L"B", L"C", L"A", L"D"}), Names());
    EXPECT_EQ(S_OK, Move(L"D", 1));
    EXPECT_EQ((NameList{L"D", L"B", L"C", L"A"}), Names());
    EXPECT_EQ(S_OK, Move(L"D", 4));
    EXPECT_EQ((NameList{L"B", L"C", L"A", L"D"}), Names());
    EXPECT_EQ((std::vector<std::string>{"order", "order", "order"}), Heard);
    // The active channel is still on the chart.
    EXPECT_EQ((Flags{TaskOrderChanged, TaskOrderChanged, TaskOrderChanged}), Task.Changes);
    EXPECT_EQ(0, Chart.ActiveChanges);
}

TEST_F(ChannelOrdering, MoveItemRefusesUnknownNamesAndPositionsOutsideAndSkipsTheSamePlace)
{
    Object->SetNames(Keys({L"Speed", L"Gear"}));
    Advise();
    Forget();
    EXPECT_EQ(E_INVALIDARG, Move(L"Throttle", 1));
    EXPECT_EQ(E_INVALIDARG, Move(L"Speed", 0));
    EXPECT_EQ(E_INVALIDARG, Move(L"Speed", 3));
    EXPECT_EQ(E_INVALIDARG, Ordering->MoveItem(nullptr, 1));
    EXPECT_EQ(S_FALSE, Move(L"Gear", 2));
    EXPECT_EQ((NameList{L"Speed", L"Gear"}), Names());
    EXPECT_TRUE(Heard.empty());
    EXPECT_TRUE(Task.Changes.empty());
}

TEST_F(ChannelOrdering, KeysCompareExactly)
{
    Object->SetNames(Keys({L"Speed", L"speed", L"Spee"}));
    EXPECT_EQ((NameList{L"Speed", L"speed", L"Spee"}), Names());
    EXPECT_EQ(1, Object->IndexOf(L"Speed"));
    EXPECT_EQ(2, Object->IndexOf(L"speed"));
    EXPECT_EQ(3, Object->IndexOf(L"Spee"));
    EXPECT_EQ(0, Object->IndexOf(L"Speeds"));
    EXPECT_EQ(0, Object->IndexOf(L"SPEED"));
    EXPECT_EQ(E_INVALIDARG, Move(L"SPEED", 1));
}

TEST_F(ChannelOrdering, GroupedChannelsFormAHeadInGroupOrder)
{
    AddGroup(L"Engine", {L"RPM", L"Oil", L"Throttle"});
    AddGroup(L"Drive", {L"Gear", L"RPM"});
    UseGroups();
    Object->SetNames(Keys({L"Speed", L"Gear", L"Throttle", L"RPM", L"Brake"}));
    // "Oil" is no channel of the chart, and "RPM" stands where its first group put it.
    EXPECT_EQ((NameList{L"RPM", L"Throttle", L"Gear", L"Speed", L"Brake"}), Names());
    EXPECT_EQ(3, Object->GetGroupedCount());
}

TEST_F(ChannelOrdering, NothingMovesIntoOutOfOrWithinTheHeadUnlessForced)
{
    AddGroup(L"Engine", {L"RPM", L"Throttle"});
    UseGroups();
    Object->SetNames(Keys({L"Speed", L"Throttle", L"RPM", L"Gear"}));
    ASSERT_EQ((NameList{L"RPM", L"Throttle", L"Speed", L"Gear"}), Names());
    Advise();
    EXPECT_EQ(E_ACCESSDENIED, Move(L"RPM", 2));
    EXPECT_EQ(E_ACCESSDENIED, Move(L"Throttle", 4));
    EXPECT_EQ(E_ACCESSDENIED, Move(L"Speed", 2));
    EXPECT_EQ(E_ACCESSDENIED, Move(L"Gear", 1));
    // The position check comes first.
    EXPECT_EQ(E_INVALIDARG, Move(L"RPM", 5));
    EXPECT_TRUE(Heard.empty());
    EXPECT_EQ(S_OK, Move(L"Gear", 3));
    EXPECT_EQ(S_OK, Object->MoveItem(L"Speed", 1, true, true));
    EXPECT_EQ((NameList{L"Speed", L"RPM", L"Throttle", L"Gear"}), Names());
    EXPECT_EQ(S_OK, Object->MoveItem(L"Speed", 4, true, false));
    EXPECT_EQ((NameList{L"RPM", L"Throttle", L"Gear", L"Speed"}), Names());
    EXPECT_EQ((std::vector<std::string>{"order", "order"}), Heard);
}

TEST_F(ChannelOrdering, NewcomersSortAscendingIntoTheTail)
{
    SetDisplayNames({{L"c1", L"Charlie"}, {L"c2", L"Alpha"}, {L"c3", L"Bravo"}, {L"c4", L"Delta"}});
    Object->SyncToNames(Keys({L"c1", L"c2"}));
    EXPECT_EQ((NameList{L"c2", L"c1"}), Names());
    Advise();
    Forget();
    Object->SyncToNames(Keys({L"c1", L"c2", L"c3", L"c4"}));
    EXPECT_EQ((NameList{L"c2", L"c3", L"c1", L"c4"}), Names());
    EXPECT_EQ(Item(4), Task.ActiveChannel);
    EXPECT_EQ((Flags{TaskActiveStale, TaskActiveStale, TaskOrderChanged}), Task.Changes);
    EXPECT_EQ(std::vector<std::string>{"order"}, Heard);
}

TEST_F(ChannelOrdering, NewcomersSortDescendingIntoTheTailAfterTheModeChanged)
{
    SetDisplayNames({{L"c1", L"Charlie"}, {L"c2", L"Alpha"}, {L"c3", L"Bravo"}, {L"c4", L"Delta"}});
    Object->SyncToNames(Keys({L"c1", L"c2"}));
    EXPECT_EQ(S_OK, DefaultOrdering->SetMode(1));
    EXPECT_EQ((NameList{L"c1", L"c2"}), Names());
    Object->SyncToNames(Keys({L"c1", L"c2", L"c3", L"c4"}));
    EXPECT_EQ((NameList{L"c4", L"c1", L"c3", L"c2"}), Names());
}

TEST_F(ChannelOrdering, AHandOrderedChartGetsANewcomerAtTheFirstPlaceWhereItSorts)
{
    SetDisplayNames({{L"c1", L"Charlie"}, {L"c2", L"Alpha"}, {L"c3", L"Echo"}, {L"c4", L"Bravo"}});
    Object->SetNames(Keys({L"c3", L"c1", L"c2"}));
    Object->SyncToNames(Keys({L"c3", L"c1", L"c2", L"c4"}));
    EXPECT_EQ((NameList{L"c4", L"c3", L"c1", L"c2"}), Names());
}

TEST_F(ChannelOrdering, ANewcomerNeverSortsIntoTheHead)
{
    AddGroup(L"Engine", {L"Zulu"});
    UseGroups();
    SetDisplayNames({{L"Zulu", L"Zulu"}, {L"Alpha", L"Alpha"}, {L"Mike", L"Mike"}});
    Object->SyncToNames(Keys({L"Zulu", L"Mike"}));
    EXPECT_EQ((NameList{L"Zulu", L"Mike"}), Names());
    Object->SyncToNames(Keys({L"Zulu", L"Mike", L"Alpha"}));
    EXPECT_EQ((NameList{L"Zulu", L"Alpha", L"Mike"}), Names());
    EXPECT_EQ(1, Object->GetGroupedCount());
}

TEST_F(ChannelOrdering, TheSortFollowsADisplayNameChangedByTheHost)
{
    SetDisplayNames({{L"c1", L"Alpha"}, {L"c2", L"Bravo"}});
    Object->SyncToNames(Keys({L"c1", L"c2"}));
    ASSERT_EQ((NameList{L"c1", L"c2"}), Names());
    SetDisplayName(L"c1", L"Yankee");
    EXPECT_EQ(S_FALSE, DefaultOrdering->SetMode(0));
    EXPECT_EQ((NameList{L"c2", L"c1"}), Names());
}

TEST_F(ChannelOrdering, SyncToNamesKeepsWhatItCanAndTellsOnlyAChange)
{
    Object->SetNames(Keys({L"A", L"B", L"C"}));
    CChannelDataItem* a = Item(1);
    CChannelDataItem* c = Item(3);
    Advise();
    Forget();
    Object->SyncToNames(Keys({L"C", L"A", L"B"}));
    EXPECT_EQ((NameList{L"A", L"B", L"C"}), Names());
    EXPECT_TRUE(Heard.empty());
    EXPECT_TRUE(Task.Changes.empty());
    Object->SyncToNames(Keys({L"C", L"A"}));
    EXPECT_EQ((NameList{L"A", L"C"}), Names());
    EXPECT_EQ(a, Item(1));
    EXPECT_EQ(c, Item(2));
    EXPECT_EQ(std::vector<std::string>{"order"}, Heard);
}

TEST_F(ChannelOrdering, RemovingTheActiveChannelActivatesTheNextOrTheOneBefore)
{
    Object->SetNames(Keys({L"A", L"B", L"C"}));
    CChannelDataItem* a = Item(1);
    CChannelDataItem* b = Item(2);
    CChannelDataItem* c = Item(3);
    Task.ActiveChannel = b;
    Forget();
    Object->SyncToNames(Keys({L"A", L"C"}));
    EXPECT_EQ(c, Task.ActiveChannel);
    EXPECT_EQ((Flags{TaskActiveStale, TaskOrderChanged}), Task.Changes);
    EXPECT_EQ(1, Chart.ActiveChanges);
    Object->SyncToNames(Keys({L"A"}));
    EXPECT_EQ(a, Task.ActiveChannel);
    Forget();
    Object->SyncToNames({});
    EXPECT_EQ(nullptr, Task.ActiveChannel);
    EXPECT_EQ((Flags{TaskActiveStale, TaskOrderChanged | TaskActiveStale}), Task.Changes);
    EXPECT_EQ(2, Chart.ActiveChanges);
}

TEST_F(ChannelOrdering, ADeletedGroupMemberShrinksTheHeadByOne)
{
    AddGroup(L"Engine", {L"RPM", L"Oil", L"Throttle"});
    UseGroups();
    Object->SetNames(Keys({L"Speed", L"Oil", L"Throttle", L"RPM"}));
    ASSERT_EQ((NameList{L"RPM", L"Oil", L"Throttle", L"Speed"}), Names());
    ASSERT_EQ(3, Object->GetGroupedCount());
    Object->SyncToNames(Keys({L"Speed", L"Throttle", L"RPM"}));
    EXPECT_EQ((NameList{L"RPM", L"Throttle", L"Speed"}), Names());
    EXPECT_EQ(2, Object->GetGroupedCount());
    EXPECT_EQ(E_ACCESSDENIED, Move(L"Speed", 2));
}

TEST_F(ChannelOrdering, ChangingTheSortModeResortsTheTailAtOnceButNeverTheHead)
{
    AddGroup(L"Engine", {L"Zulu", L"Alpha"});
    UseGroups();
    SetDisplayNames({{L"Zulu", L"Zulu"}, {L"Alpha", L"Alpha"}, {L"Mike", L"Mike"}, {L"Bravo", L"Bravo"}});
    Object->SetNames(Keys({L"Mike", L"Bravo", L"Alpha", L"Zulu"}));
    ASSERT_EQ((NameList{L"Zulu", L"Alpha", L"Mike", L"Bravo"}), Names());
    Advise();
    Forget();
    EXPECT_EQ(S_FALSE, DefaultOrdering->SetMode(0));
    EXPECT_EQ((NameList{L"Zulu", L"Alpha", L"Bravo", L"Mike"}), Names());
    EXPECT_EQ(std::vector<std::string>{"order"}, Heard);
    Heard.clear();
    EXPECT_EQ(S_OK, DefaultOrdering->SetMode(1));
    EXPECT_EQ((NameList{L"Zulu", L"Alpha", L"Mike", L"Bravo"}), Names());
    EXPECT_EQ((std::vector<std::string>{"default", "order"}), Heard);
    long mode = -1;
    EXPECT_EQ(S_OK, DefaultOrdering->GetMode(&mode));
    EXPECT_EQ(1, mode);
    Heard.clear();
    EXPECT_EQ(E_INVALIDARG, DefaultOrdering->SetMode(2));
    EXPECT_EQ(E_INVALIDARG, DefaultOrdering->SetMode(-1));
    EXPECT_TRUE(Heard.empty());
    EXPECT_EQ(S_OK, DefaultOrdering->GetMode(&mode));
    EXPECT_EQ(1, mode);
}

TEST_F(ChannelOrdering, GroupedModeOneDissolvesTheHeadAndZeroRebuildsIt)
{
    AddGroup(L"Engine", {L"RPM"});
    UseGroups();
    Object->SetNames(Keys({L"Speed", L"RPM", L"Gear"}));
    ASSERT_EQ((NameList{L"RPM", L"Speed", L"Gear"}), Names());
    Advise();
    Forget();
    EXPECT_EQ(S_FALSE, GroupedOrdering->SetMode(0));
    EXPECT_EQ(E_INVALIDARG, GroupedOrdering->SetMode(2));
    EXPECT_TRUE(Heard.empty());
    EXPECT_EQ(S_OK, GroupedOrdering->SetMode(1));
    EXPECT_EQ(0, Object->GetGroupedCount());
    EXPECT_EQ(std::vector<std::string>{"grouped"}, Heard);
    EXPECT_EQ(1, Chart.Modified);
    long mode = -1;
    EXPECT_EQ(S_OK, GroupedOrdering->GetMode(&mode));
    EXPECT_EQ(1, mode);
    EXPECT_EQ(S_FALSE, GroupedOrdering->SetMode(1));
    // Every position is free now.
    EXPECT_EQ(S_OK, Move(L"RPM", 3));
    EXPECT_EQ((NameList{L"Speed", L"Gear", L"RPM"}), Names());
    Heard.clear();
    EXPECT_EQ(S_OK, GroupedOrdering->SetMode(0));
    EXPECT_EQ((NameList{L"RPM", L"Speed", L"Gear"}), Names());
    EXPECT_EQ(1, Object->GetGroupedCount());
    EXPECT_EQ((std::vector<std::string>{"order", "grouped"}), Heard);
    // Without a move the head comes back silently.
    EXPECT_EQ(S_OK, GroupedOrdering->SetMode(1));
    Heard.clear();
    EXPECT_EQ(S_OK, GroupedOrdering->SetMode(0));
    EXPECT_EQ(std::vector<std::string>{"grouped"}, Heard);
    EXPECT_EQ(1, Object->GetGroupedCount());
}

TEST_F(ChannelOrdering, AnAdvisorThatLeftHearsNothing)
{
    Advise();
    CComPtr<IQvxNotifications> notifications;
    ASSERT_EQ(S_OK, Ordering.As(notifications));
    EXPECT_EQ(E_FAIL, notifications->Unadvise((1u << 16) | 4));
    EXPECT_EQ(S_OK, notifications->Unadvise((1u << 16) | 1));
    Object->SetNames(Keys({L"Speed"}));
    EXPECT_TRUE(Heard.empty());
}

TEST_F(ChannelOrdering, AnAdvisorMayCallBackAndLeaveDuringANotification)
{
    Object->SetNames(Keys({L"A", L"B", L"C"}));
    Advise();
    CComPtr<IQvxNotifications> notifications;
    ASSERT_EQ(S_OK, Ordering.As(notifications));
    int calls = 0;
    Advisor->During = [&] {
        if (++calls == 1) {
            EXPECT_EQ(S_OK, Move(L"A", 3));
            EXPECT_EQ(S_OK, notifications->Unadvise((1u << 16) | 1));
        }
    };
    EXPECT_EQ(S_OK, Move(L"C", 1));
    EXPECT_EQ((NameList{L"C", L"B", L"A"}), Names());
    EXPECT_EQ((std::vector<std::string>{"order", "order"}), Heard);
    Heard.clear();
    EXPECT_EQ(S_OK, Move(L"C", 2));
    EXPECT_TRUE(Heard.empty());
}

TEST_F(ChannelOrdering, AnOrderingClosedByItsTaskReachesNeitherTaskNorGroups)
{
    AddGroup(L"Engine", {L"RPM"});
    UseGroups();
    Object->SetNames(Keys({L"Speed", L"RPM"}));
    Object->Close();
    Object = nullptr;
    // Neither the task nor the groups are reached any more.
    EXPECT_EQ(S_OK, GroupedOrdering->SetMode(1));
    EXPECT_EQ(S_OK, GroupedOrdering->SetMode(0));
    EXPECT_EQ(S_FALSE, DefaultOrdering->SetMode(0));
}

TEST_F(ChannelOrdering, TheConfigurationHoldsTheOrderingByItsBase)
{
    CComPtr<C1DOrderingBase> held(Object);
    AddGroup(L"Engine", {L"RPM"});
    held->SetGroups(static_cast<CGroups*>(Groups.Get()));
    held->SetNames(Keys({L"Speed", L"RPM"}));
    EXPECT_EQ(1, held->GetGroupedCount());
    EXPECT_EQ(S_OK, held->SetGroupedMode(1));
    EXPECT_EQ(0, held->GetGroupedCount());
    CComPtr<IQvxOrdering> ordering;
    EXPECT_EQ(S_OK, held->QueryInterface(__uuidof(IQvxOrdering), ordering.OutVoid()));
    EXPECT_TRUE(SameObject(ordering, Ordering));
}

TEST_F(ChannelOrdering, WithoutATaskNoChannelIsMade)
{
    Object->SetTask(nullptr);
    Object->SetNames(Keys({L"Speed"}));
    Object->SyncToNames(Keys({L"Speed"}));
    long count = -1;
    EXPECT_EQ(S_OK, Ordering->GetCount(&count));
    EXPECT_EQ(0, count);
}

TEST_F(ChannelOrdering, GroupsAddEachGroupOnceAndLetAGroupThatGoesAwayLeave)
{
    CComPtr<IQvxGroup> group;
    CBstr name(L"Engine");
    ASSERT_EQ(S_OK, GroupFactory->CreateGroup(name.Get(), group.Out()));
    const long before = Sinks();
    EXPECT_EQ(S_OK, Groups->Add(group));
    EXPECT_EQ(S_OK, Groups->Add(group));
    EXPECT_EQ(S_OK, Groups->Add(nullptr));
    long count = 0;
    EXPECT_EQ(S_OK, Groups->GetCount(&count));
    EXPECT_EQ(1, count);
    EXPECT_EQ(before + 1, Sinks());
    CComPtr<IQvxGroup> item;
    EXPECT_EQ(DISP_E_BADINDEX, Groups->GetItem(2, item.Out()));
    EXPECT_EQ(S_OK, Groups->GetItem(1, item.Out()));
    EXPECT_TRUE(SameObject(item, group));
    EXPECT_EQ(S_OK, GroupFactory->RemoveGroup(name.Get()));
    EXPECT_EQ(S_OK, Groups->GetCount(&count));
    EXPECT_EQ(0, count);
    EXPECT_EQ(DISP_E_BADINDEX, Groups->RemoveAt(1));
}

TEST(ChartChannelOrdering, TheTaskItemOwnsTheOrderingAndItsChannels)
{
    CComPtr<IQvxOrdering> kept;
    {
        CRTCTaskDataItem task(nullptr, 100'000'000);
        CChannelOrdering* ordering = task.GetOrdering();
        ASSERT_NE(nullptr, ordering);
        ordering->SetNames(Keys({L"Speed", L"Gear"}));
        ASSERT_EQ(2u, ordering->GetItems().size());
        EXPECT_EQ(ordering->GetItems()[1], task.GetActiveChannel());
        EXPECT_EQ(L"Gear", std::wstring(task.GetActiveChannel()->GetName().View()));
        EXPECT_TRUE(task.Flags & TaskOrderChanged);
        kept = ordering;
        EXPECT_EQ(S_OK, kept->MoveItem(CBstr(L"Gear").Get(), 1));
        EXPECT_EQ(ordering->GetItems()[0], task.GetActiveChannel());
    }
    // The channels went with the task; the host's reference keeps an empty list.
    long count = -1;
    EXPECT_EQ(S_OK, kept->GetCount(&count));
    EXPECT_EQ(0, count);
    EXPECT_EQ(E_INVALIDARG, kept->MoveItem(CBstr(L"Gear").Get(), 1));
}

} // namespace
