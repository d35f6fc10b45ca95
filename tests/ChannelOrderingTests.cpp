// The channel ordering over the substitute host's property sets and groups: the grouped head,
// moves, sorts, replacing and synchronising names, the active channel, and the notifications.
#include <gtest/gtest.h>
#include <functional>
#include <string>
#include <vector>
#include "com/AutomationTypes.h"
#include "items/ChannelDataItem.h"
#include "config/ChannelOrdering.h"
#include "com/ComObject.h"
#include "items/ItemFlags.h"
#include "tests/SimTestSupport.h"
#include "items/RTCTaskDataItem.h"

namespace {

// The task as the ordering needs it: it makes real-time channels on a property factory, and
// notes what it would pass on to the chart.
class CTestTask
{
public:
    CChannelDataItem* CreateChannel(const CBstr& name) { return new CRTCChannelDataItem(nullptr, name, Factory); }
    CChannelDataItem* GetActiveChannel() const { return ActiveChannel; }
    void SetActiveChannel(CChannelDataItem* channel) { ActiveChannel = channel; }
    void NotifyOrderChanged(bool activeToo) { Told += activeToo ? "OA " : "O "; }
    void NotifyActiveChanged() { Told += "A "; }
    void MarkModified() { ++Modified; }
    void FireActiveChanged() { ++ActiveChanges; }

    CChannelDataItem* ActiveChannel = nullptr;
    IQvxPropertyFactory* Factory = nullptr;
    std::string Told;
    int Modified = 0;
    int ActiveChanges = 0;
};

using COrderingUnderTest = CChannelOrderingOf<CTestTask>;

std::string Heard;

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
        Seen = ordering;
        Heard += "order ";
        if (During) During();
        return S_OK;
    }
    STDMETHODIMP OnDefaultOrderingChanged(IQvxDefaultOrdering*) override { return Heard += "default ", S_OK; }
    STDMETHODIMP OnGroupedOrderingChanged(IQvxGroupedOrdering*) override { return Heard += "grouped ", S_OK; }

    IUnknown* Seen = nullptr;
    std::function<void()> During;
};

std::vector<CBstr> Keys(std::initializer_list<const wchar_t*> names)
{
    std::vector<CBstr> keys;
    for (const wchar_t* name : names) keys.emplace_back(name);
    return keys;
}

class ChannelOrdering : public testing::Test, protected qvxtest::CTestHost
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(S_OK, StartHost());
        Heard.clear();
        ASSERT_EQ(S_OK, CoCreateInstance(CLSID_QvxChannelPropertyFactory, nullptr, CLSCTX_INPROC_SERVER,
                                         __uuidof(IQvxPropertyFactory), Factory.OutVoid()));
        ASSERT_EQ(S_OK, CoCreateInstance(CLSID_QvxGroupFactory, nullptr, CLSCTX_INPROC_SERVER,
                                         __uuidof(IQvxGroupFactory), GroupFactory.OutVoid()));
        Task.Factory = Factory;
        ASSERT_EQ(S_OK, CComObject<COrderingUnderTest>::CreateInstance(Ordering));
        Object = static_cast<COrderingUnderTest*>(Ordering.Get());
        Object->SetTask(&Task);
        DefaultOrdering = qvxtest::Query<IQvxDefaultOrdering>(Ordering);
        GroupedOrdering = qvxtest::Query<IQvxGroupedOrdering>(Ordering);
        Notifications = qvxtest::Query<IQvxNotifications>(Ordering);
        ASSERT_EQ(S_OK, CComObject<CGroups>::CreateInstance(Groups));
    }
    void TearDown() override { Object->Close(); }

    // Sets a property of `channel` to a number, or to a text when `text` is given.
    void SetProperty(const wchar_t* channel, const wchar_t* property, long number, const wchar_t* text = nullptr)
    {
        CVariant value;
        value.vt = text ? VT_BSTR : VT_I4;
        if (text) value.bstrVal = SysAllocString(text);
        else value.lVal = number;
        CComPtr<IQvxPropertySet> set;
        ASSERT_EQ(S_OK, Factory->GetPropertySet(CBstr(channel).Get(), set.Out()));
        ASSERT_EQ(S_OK, set->SetProperty(CBstr(property).Get(), value));
    }
    void SetDisplayName(const wchar_t* channel, const wchar_t* name) { SetProperty(channel, L"Display name", 0, name); }
    // A group of the host with its members, added to the chart's groups, which the ordering uses.
    void AddGroup(const wchar_t* groupName, std::initializer_list<const wchar_t*> members)
    {
        CComPtr<IQvxGroup> group;
        ASSERT_TRUE(SUCCEEDED(GroupFactory->CreateGroup(CBstr(groupName).Get(), group.Out())));
        for (const wchar_t* member : members) ASSERT_EQ(S_OK, group->AddMember(CBstr(member).Get()));
        ASSERT_EQ(S_OK, Groups->Add(group));
        Object->SetGroups(static_cast<CGroups*>(Groups.Get()));
    }
    void Advise()
    {
        CComPtr<IUnknown> advisor;
        ASSERT_EQ(S_OK, CComObject<CAdvisor>::CreateInstance(advisor));
        Advisor = static_cast<CAdvisor*>(static_cast<IQvxOrderingNotifications*>(advisor.Get()));
        ULONG cookie = 0;
        for (const IID* iid : {&IID_IQvxOrderingNotifications, &IID_IQvxDefaultOrderingNotifications,
                               &IID_IQvxGroupedOrderingNotifications})
            ASSERT_EQ(S_OK, Notifications->Advise(*iid, advisor, &cookie));
        Told();
    }
    // The names in the order, as a host reads them, space separated.
    std::wstring Order()
    {
        std::wstring names;
        long count = 0;
        EXPECT_EQ(S_OK, Ordering->GetCount(&count));
        for (long i = 1; i <= count; ++i) {
            CBstr name;
            EXPECT_EQ(S_OK, Ordering->GetName(i, name.Out()));
            names += (i > 1 ? L" " : L"") + std::wstring(name.View());
        }
        return names;
    }
    // What the task (O order, A active, OA both; active changes, modifications) and the advisor
    // were told since the last look.
    std::string Told()
    {
        std::string told = Task.Told + std::to_string(Task.ActiveChanges) + "/" + std::to_string(Task.Modified) + " "
                           + Heard;
        Task.Told.clear();
        Heard.clear();
        Task.Modified = Task.ActiveChanges = 0;
        return told;
    }
    // One step as a host sees it: the call's result, the order after it, and what was told.
    void Step(HRESULT result, HRESULT expected, const wchar_t* order, const std::string& told)
    {
        EXPECT_EQ(expected, result) << told;
        EXPECT_EQ(order, Order()) << told;
        EXPECT_EQ(told, Told());
    }
    CChannelDataItem* Item(long position) { return Object->GetItems().at(size_t(position - 1)); }
    HRESULT Move(const wchar_t* name, long position) { return Ordering->MoveItem(CBstr(name).Get(), position); }

    CComPtr<IQvxPropertyFactory> Factory;
    CComPtr<IQvxGroupFactory> GroupFactory;
    CTestTask Task;
    CComPtr<IQvxOrdering> Ordering;
    CComPtr<IQvxDefaultOrdering> DefaultOrdering;
    CComPtr<IQvxGroupedOrdering> GroupedOrdering;
    CComPtr<IQvxNotifications> Notifications;
    COrderingUnderTest* Object = nullptr;
    CComPtr<IQvxGroups> Groups;
    CComPtr<CAdvisor> Advisor;
};

// Each new channel becomes active in turn, then the order is told once; emptying tells the order
// with no active channel. Keys compare exactly.
TEST_F(ChannelOrdering, SetNamesReplacesEveryChannelAndLeavesTheLastActive)
{
    Advise();
    const auto set = [&](std::initializer_list<const wchar_t*> names) {
        Object->SetNames(Keys(names));
        return S_OK;
    };
    Step(set({L"Speed", L"Gear", L"RPM", L"Gear"}), S_OK, L"Speed Gear RPM", "A A A O 3/4 order ");
    EXPECT_EQ(Item(3), Task.ActiveChannel);
    EXPECT_EQ(static_cast<IUnknown*>(Ordering.Get()), Advisor->Seen);
    Step(set({L"Gear", L"Throttle"}), S_OK, L"Gear Throttle", "OA A A O 3/4 order order ");
    Object->SetNames(Keys({L"Speed", L"speed"}));
    EXPECT_EQ(2, Object->IndexOf(L"speed"));
    EXPECT_EQ(0, Object->IndexOf(L"SPEED"));
}

TEST_F(ChannelOrdering, AChannelHearsOnlyThePropertiesItReadsAndLetsGoOfItsSetWhenDeleted)
{
    SetProperty(L"Speed", L"Quantity", 12);
    const long before = SinkCount();
    Object->SetNames(Keys({L"Speed", L"Gear"}));
    CChannelDataItem* speed = Item(1);
    EXPECT_EQ(12, speed->GetQuantity());
    for (const auto& [property, flags] : {std::pair{L"COLOR", ChannelColorStale}, {L"Tag name", DWORD(0)}}) {
        speed->Flags = 0;
        SetProperty(L"Speed", property, 12);
        EXPECT_EQ(flags, speed->Flags);
    }
    SetDisplayName(L"Speed", L"Vehicle speed");
    EXPECT_EQ(ChannelNameStale, speed->Flags);
    EXPECT_EQ(L"Vehicle speed", std::wstring(speed->GetDisplayName().View()));
    Object->SyncToNames(Keys({L"Gear"}));
    EXPECT_EQ(before + 1, SinkCount());
    Object->Close();
    EXPECT_EQ(before, SinkCount());
}

// Outside the grouped head one channel moves; the active channel stays on the chart. Forced, a
// channel moves into and out of the head.
TEST_F(ChannelOrdering, MoveItemMovesOneChannelOutsideTheGroupedHead)
{
    const struct
    {
        const char* Name;
        const wchar_t* Channel;
        long Position;
        HRESULT Result;
        const wchar_t* After;
    } rows[] = {
        {"forward", L"A", 4, S_OK, L"RPM Throttle B A C"}, {"to the head's end", L"C", 3, S_OK, L"RPM Throttle C A B"},
        {"the same place", L"B", 4, S_FALSE, nullptr},      {"unknown", L"Brake", 3, E_INVALIDARG, nullptr},
        {"before the first", L"A", 0, E_INVALIDARG, nullptr}, {"after the last", L"A", 6, E_INVALIDARG, nullptr},
        {"the position checked first", L"RPM", 6, E_INVALIDARG, nullptr},
        {"within the head", L"RPM", 2, E_ACCESSDENIED, nullptr},
        {"out of the head", L"Throttle", 4, E_ACCESSDENIED, nullptr},
        {"into the head", L"A", 2, E_ACCESSDENIED, nullptr},
    };
    AddGroup(L"Engine", {L"RPM", L"Throttle"});
    Advise();
    for (const auto& row : rows) {
        Object->SetNames(Keys({L"A", L"Throttle", L"B", L"RPM", L"C"}));
        ASSERT_EQ(L"RPM Throttle A B C", Order());
        Told();
        SCOPED_TRACE(row.Name);
        Step(Move(row.Channel, row.Position), row.Result, row.After ? row.After : L"RPM Throttle A B C",
             row.Result == S_OK ? "O 0/1 order " : "0/0 ");
    }
    Step(Object->MoveItem(L"A", 1, true, true), S_OK, L"A RPM Throttle B C", "O 0/1 order ");
    Step(Object->MoveItem(L"A", 5, true, false), S_OK, L"RPM Throttle B C A", "0/0 ");
}

// "Oil" is no channel of the chart, and "RPM" stands where its first group put it.
TEST_F(ChannelOrdering, GroupedChannelsFormAHeadInGroupOrderThatShrinksWithADeletedMember)
{
    AddGroup(L"Engine", {L"RPM", L"Oil", L"Throttle"});
    AddGroup(L"Drive", {L"Gear", L"RPM"});
    Object->SetNames(Keys({L"Speed", L"Gear", L"Throttle", L"RPM", L"Brake"}));
    EXPECT_EQ(L"RPM Throttle Gear Speed Brake", Order());
    EXPECT_EQ(3, Object->GetGroupedCount());
    Object->SyncToNames(Keys({L"Speed", L"Throttle", L"RPM", L"Brake"}));
    EXPECT_EQ(L"RPM Throttle Speed Brake", Order());
    EXPECT_EQ(2, Object->GetGroupedCount());
    EXPECT_EQ(E_ACCESSDENIED, Move(L"Brake", 2));
}

// The keys sort against their display names: b Alpha, c Charlie, d Bravo, e Delta.
TEST_F(ChannelOrdering, NewcomersSortIntoTheTailByDisplayName)
{
    const struct
    {
        const char* Name;
        bool HandOrdered;
        bool Grouped;
        const wchar_t* Before;
        const wchar_t* After;
    } rows[] = {
        {"ascending", false, false, L"b c", L"b d c e"},
        {"hand ordered: at the first place where it sorts", true, false, L"c b", L"d c b e"},
        {"never into the head", false, true, L"c b", L"c b d e"},
    };
    Advise();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.Name);
        for (const auto& [key, name] : {std::pair{L"b", L"Alpha"}, {L"c", L"Charlie"}, {L"d", L"Bravo"}, {L"e", L"Delta"}})
            SetDisplayName(key, name);
        if (row.Grouped) AddGroup(L"Engine", {L"c"});
        if (row.HandOrdered) Object->SetNames(Keys({L"c", L"b"}));
        else Object->SyncToNames(Keys({L"c", L"b"}));
        EXPECT_EQ(row.Before, Order());
        Told();
        Object->SyncToNames(Keys({L"c", L"b", L"d", L"e"}));
        EXPECT_EQ(row.After, Order());
        EXPECT_EQ("A A O 2/3 order ", Told());
        Object->SyncToNames({});
    }
}

// The next channel becomes active, or the one before when the last goes.
TEST_F(ChannelOrdering, SyncToNamesKeepsWhatItCanAndActivatesTheNextOrTheOneBefore)
{
    Object->SetNames(Keys({L"A", L"B", L"C"}));
    CChannelDataItem* a = Item(1);
    CChannelDataItem* c = Item(3);
    Task.ActiveChannel = Item(2);
    Advise();
    const auto sync = [&](std::initializer_list<const wchar_t*> names) {
        Object->SyncToNames(Keys(names));
        return S_OK;
    };
    Step(sync({L"C", L"A", L"B"}), S_OK, L"A B C", "0/0 ");
    Step(sync({L"A", L"C"}), S_OK, L"A C", "A O 1/2 order ");
    EXPECT_TRUE(a == Item(1) && c == Item(2) && c == Task.ActiveChannel);
    Step(sync({L"A"}), S_OK, L"A", "A O 1/2 order ");
    EXPECT_EQ(a, Task.ActiveChannel);
    Step(sync({}), S_OK, L"", "A OA 2/2 order ");
    EXPECT_EQ(nullptr, Task.ActiveChannel);
}

// The sort mode sorts the tail at once, never the head; a display name changed by the host counts
// at the next sort. Grouped mode 1 dissolves the head, 0 builds it again, silently without a move.
TEST_F(ChannelOrdering, TheModesSortTheTailAtOnceAndDissolveOrRebuildTheHead)
{
    AddGroup(L"Engine", {L"Zulu", L"Alpha"});
    for (const wchar_t* name : {L"Zulu", L"Alpha", L"Mike", L"Bravo"}) SetDisplayName(name, name);
    Object->SetNames(Keys({L"Mike", L"Bravo", L"Alpha", L"Zulu"}));
    ASSERT_EQ(L"Zulu Alpha Mike Bravo", Order());
    Advise();
    Step(DefaultOrdering->SetMode(0), S_FALSE, L"Zulu Alpha Bravo Mike", "O 0/1 order ");
    Step(DefaultOrdering->SetMode(1), S_OK, L"Zulu Alpha Mike Bravo", "O 0/1 default order ");
    Step(DefaultOrdering->SetMode(2), E_INVALIDARG, L"Zulu Alpha Mike Bravo", "0/0 ");
    Step(DefaultOrdering->SetMode(-1), E_INVALIDARG, L"Zulu Alpha Mike Bravo", "0/0 ");
    SetDisplayName(L"Mike", L"Alpha");
    Step(DefaultOrdering->SetMode(0), S_OK, L"Zulu Alpha Mike Bravo", "O 0/1 default order ");
    Step(GroupedOrdering->SetMode(0), S_FALSE, L"Zulu Alpha Mike Bravo", "0/0 ");
    Step(GroupedOrdering->SetMode(2), E_INVALIDARG, L"Zulu Alpha Mike Bravo", "0/0 ");
    Step(GroupedOrdering->SetMode(1), S_OK, L"Zulu Alpha Mike Bravo", "0/1 grouped ");
    EXPECT_EQ(0, Object->GetGroupedCount());
    Step(Move(L"Zulu", 4), S_OK, L"Alpha Mike Bravo Zulu", "O 0/1 order ");
    Step(GroupedOrdering->SetMode(0), S_OK, L"Zulu Alpha Mike Bravo", "O 0/2 order grouped ");
    EXPECT_EQ(2, Object->GetGroupedCount());
    Step(GroupedOrdering->SetMode(1), S_OK, L"Zulu Alpha Mike Bravo", "0/1 grouped ");
    Step(GroupedOrdering->SetMode(0), S_OK, L"Zulu Alpha Mike Bravo", "0/1 grouped ");
}

// The nested move is told inside the first one's notification.
TEST_F(ChannelOrdering, AnAdvisorMayMoveAChannelInsideANotification)
{
    Object->SetNames(Keys({L"A", L"B", L"C"}));
    Advise();
    int calls = 0;
    Advisor->During = [&] { if (++calls == 1) Move(L"A", 3); };
    Step(Move(L"C", 1), S_OK, L"C B A", "O O 0/2 order order ");
}

TEST_F(ChannelOrdering, WithoutATaskNoChannelIsMade)
{
    Object->SetTask(nullptr);
    Object->SetNames(Keys({L"Speed"}));
    Object->SyncToNames(Keys({L"Speed"}));
    EXPECT_EQ(L"", Order());
}

// The channels go with the task; the host's reference keeps an empty list.
TEST(ChartChannelOrdering, TheTaskItemOwnsTheOrderingAndItsChannels)
{
    CComPtr<IQvxOrdering> kept;
    {
        CRTCTaskDataItem task(nullptr, 100'000'000);
        CChannelOrdering* ordering = task.GetOrdering();
        ordering->SetNames(Keys({L"Speed", L"Gear"}));
        EXPECT_EQ(ordering->GetItems().at(1), task.GetActiveChannel());
        kept = ordering;
        EXPECT_EQ(S_OK, kept->MoveItem(CBstr(L"Gear").Get(), 1));
        EXPECT_EQ(ordering->GetItems()[0], task.GetActiveChannel());
    }
    EXPECT_EQ(E_INVALIDARG, kept->MoveItem(CBstr(L"Gear").Get(), 1)) << "an empty list";
}

} // namespace
