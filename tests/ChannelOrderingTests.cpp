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
#include "tests/SimTestSupport.h"
#include "items/RTCTaskDataItem.h"

namespace {

// The task as the ordering needs it: it makes real-time channels on a property factory, and
// counts what it would pass on to the chart.
class CTestTask
{
public:
    CChannelDataItem* CreateChannel(const CBstr& name) { return new CRTCChannelDataItem(nullptr, name, Factory); }
    CChannelDataItem* GetActiveChannel() const { return ActiveChannel; }
    void SetActiveChannel(CChannelDataItem* channel) { ActiveChannel = channel; }
    void NotifyOrderChanged(bool activeToo) { Changes.push_back(TaskOrderChanged | (activeToo ? TaskActiveStale : 0)); }
    void NotifyActiveChanged() { Changes.push_back(TaskActiveStale); }
    void MarkModified() { ++Modified; }
    void FireActiveChanged() { ++ActiveChanges; }

    CChannelDataItem* ActiveChannel = nullptr;
    IQvxPropertyFactory* Factory = nullptr;
    std::vector<DWORD> Changes;
    int Modified = 0;
    int ActiveChanges = 0;
};

using COrderingUnderTest = CChannelOrderingOf<CTestTask>;
using NameList = std::vector<std::wstring>;
using Flags = std::vector<DWORD>;
using Said = std::vector<std::string>;

Said Heard;

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
        Hear("order");
        if (During) During();
        return S_OK;
    }
    STDMETHODIMP OnDefaultOrderingChanged(IQvxDefaultOrdering*) override { return Hear("default"); }
    STDMETHODIMP OnGroupedOrderingChanged(IQvxGroupedOrdering*) override { return Hear("grouped"); }

    IUnknown* Seen = nullptr;
    std::function<void()> During;

private:
    static HRESULT Hear(const char* what)
    {
        Heard.push_back(what);
        return S_OK;
    }
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
        ASSERT_EQ(S_OK, Ordering.As(DefaultOrdering));
        ASSERT_EQ(S_OK, Ordering.As(GroupedOrdering));
        ASSERT_EQ(S_OK, Ordering.As(Notifications));
        ASSERT_EQ(S_OK, CComObject<CGroups>::CreateInstance(Groups));
    }
    void TearDown() override
    {
        if (Object) Object->Close();
    }

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
        ULONG point = 0, cookie = 0;
        for (const IID* iid : {&IID_IQvxOrderingNotifications, &IID_IQvxDefaultOrderingNotifications,
                               &IID_IQvxGroupedOrderingNotifications}) {
            ASSERT_EQ(S_OK, Notifications->Advise(*iid, advisor, &cookie));
            EXPECT_EQ((1u << 16) | ++point, cookie);
        }
        Forget();
    }
    // The names in the order, as a host reads them.
    NameList Names()
    {
        NameList names;
        long count = 0;
        EXPECT_EQ(S_OK, Ordering->GetCount(&count));
        for (long i = 1; i <= count; ++i) {
            CBstr name;
            EXPECT_EQ(S_OK, Ordering->GetName(i, name.Out()));
            names.emplace_back(name.View());
        }
        return names;
    }
    // The order as a host reads it, and what the advisor heard since it last looked.
    void ExpectTold(const NameList& names, const Said& said)
    {
        EXPECT_EQ(names, Names());
        EXPECT_EQ(said, Heard);
        Heard.clear();
    }
    CChannelDataItem* Item(long position) { return Object->GetItems().at(size_t(position - 1)); }
    HRESULT Move(const wchar_t* name, long position) { return Ordering->MoveItem(CBstr(name).Get(), position); }
    void Forget()
    {
        Heard.clear();
        Task.Changes.clear();
        Task.Modified = Task.ActiveChanges = 0;
    }

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

TEST_F(ChannelOrdering, SetNamesReplacesEveryChannelAndLeavesTheLastActive)
{
    Advise();
    Object->SetNames(Keys({L"Speed", L"Gear", L"RPM", L"Gear"}));
    EXPECT_EQ((NameList{L"Speed", L"Gear", L"RPM"}), Names());
    EXPECT_EQ(Item(3), Task.ActiveChannel);
    // Each new channel became active in turn; then the order was told once.
    EXPECT_EQ((Flags{TaskActiveStale, TaskActiveStale, TaskActiveStale, TaskOrderChanged}), Task.Changes);
    EXPECT_EQ(3, Task.ActiveChanges);
    EXPECT_EQ(4, Task.Modified);
    EXPECT_EQ(Said{"order"}, Heard);
    EXPECT_EQ(static_cast<IUnknown*>(Ordering.Get()), Advisor->Seen);
    Forget();
    Object->SetNames(Keys({L"Gear", L"Throttle"}));
    EXPECT_EQ((NameList{L"Gear", L"Throttle"}), Names());
    // Emptying tells the order once with no active channel, filling tells it again.
    EXPECT_EQ((Flags{TaskOrderChanged | TaskActiveStale, TaskActiveStale, TaskActiveStale, TaskOrderChanged}),
              Task.Changes);
    EXPECT_EQ((Said{"order", "order"}), Heard);
    // Keys compare exactly.
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
    EXPECT_EQ(NameList{}, Names());
}

TEST_F(ChannelOrdering, MoveItemMovesOneChannelOutsideTheGroupedHead)
{
    const struct
    {
        const char* Name;
        const wchar_t* Channel;
        long Position;
        HRESULT Result;
        NameList After;
    } rows[] = {
        {"forward", L"A", 4, S_OK, {L"RPM", L"Throttle", L"B", L"A", L"C"}},
        {"to the head's end", L"C", 3, S_OK, {L"RPM", L"Throttle", L"C", L"A", L"B"}},
        {"the same place", L"B", 4, S_FALSE, {}}, {"unknown", L"Brake", 3, E_INVALIDARG, {}},
        {"before the first", L"A", 0, E_INVALIDARG, {}}, {"after the last", L"A", 6, E_INVALIDARG, {}},
        {"the position checked first", L"RPM", 6, E_INVALIDARG, {}}, {"within the head", L"RPM", 2, E_ACCESSDENIED, {}},
        {"out of the head", L"Throttle", 4, E_ACCESSDENIED, {}}, {"into the head", L"A", 2, E_ACCESSDENIED, {}},
        {"case differs", L"a", 4, E_INVALIDARG, {}},
    };
    AddGroup(L"Engine", {L"RPM", L"Throttle"});
    Advise();
    for (const auto& row : rows) {
        Object->SetNames(Keys({L"A", L"Throttle", L"B", L"RPM", L"C"}));
        const NameList before = Names();
        ASSERT_EQ((NameList{L"RPM", L"Throttle", L"A", L"B", L"C"}), before);
        Forget();
        SCOPED_TRACE(row.Name);
        EXPECT_EQ(row.Result, Move(row.Channel, row.Position));
        ExpectTold(row.Result == S_OK ? row.After : before, row.Result == S_OK ? Said{"order"} : Said{});
        // The active channel is still on the chart.
        EXPECT_EQ(row.Result == S_OK ? Flags{TaskOrderChanged} : Flags{}, Task.Changes);
        EXPECT_EQ(0, Task.ActiveChanges);
    }
    EXPECT_EQ(E_INVALIDARG, Ordering->MoveItem(nullptr, 1));
    // Forced, a channel moves into and out of the head.
    EXPECT_EQ(S_OK, Object->MoveItem(L"A", 1, true, true));
    EXPECT_EQ((NameList{L"A", L"RPM", L"Throttle", L"B", L"C"}), Names());
    EXPECT_EQ(S_OK, Object->MoveItem(L"A", 5, true, false));
    EXPECT_EQ((NameList{L"RPM", L"Throttle", L"B", L"C", L"A"}), Names());
}

TEST_F(ChannelOrdering, GroupedChannelsFormAHeadInGroupOrderThatShrinksWithADeletedMember)
{
    AddGroup(L"Engine", {L"RPM", L"Oil", L"Throttle"});
    AddGroup(L"Drive", {L"Gear", L"RPM"});
    Object->SetNames(Keys({L"Speed", L"Gear", L"Throttle", L"RPM", L"Brake"}));
    // "Oil" is no channel of the chart, and "RPM" stands where its first group put it.
    EXPECT_EQ((NameList{L"RPM", L"Throttle", L"Gear", L"Speed", L"Brake"}), Names());
    EXPECT_EQ(3, Object->GetGroupedCount());
    Object->SyncToNames(Keys({L"Speed", L"Throttle", L"RPM", L"Brake"}));
    EXPECT_EQ((NameList{L"RPM", L"Throttle", L"Speed", L"Brake"}), Names());
    EXPECT_EQ(2, Object->GetGroupedCount());
    EXPECT_EQ(E_ACCESSDENIED, Move(L"Brake", 2));
}

TEST_F(ChannelOrdering, NewcomersSortIntoTheTailByDisplayName)
{
    const struct
    {
        const char* Name;
        long Mode;
        bool HandOrdered;
        bool Grouped;
        NameList Before;
        NameList After;
    } rows[] = {
        {"ascending", 0, false, false, {L"b", L"c"}, {L"b", L"d", L"c", L"e"}},
        {"descending", 1, false, false, {L"c", L"b"}, {L"e", L"c", L"d", L"b"}},
        {"hand ordered: at the first place where it sorts", 0, true, false, {L"c", L"b"}, {L"d", L"c", L"b", L"e"}},
        {"never into the head", 0, false, true, {L"c", L"b"}, {L"c", L"b", L"d", L"e"}},
    };
    Advise();
    for (const auto& row : rows) {
        // The keys sort against their display names: b Alpha, c Charlie, d Bravo, e Delta.
        for (const auto& [key, name] : {std::pair{L"b", L"Alpha"}, {L"c", L"Charlie"}, {L"d", L"Bravo"}, {L"e", L"Delta"}})
            SetDisplayName(key, name);
        if (row.Grouped) AddGroup(L"Engine", {L"c"});
        DefaultOrdering->SetMode(row.Mode);
        if (row.HandOrdered) Object->SetNames(Keys({L"c", L"b"}));
        else Object->SyncToNames(Keys({L"c", L"b"}));
        EXPECT_EQ(row.Before, Names()) << row.Name;
        Forget();
        Object->SyncToNames(Keys({L"c", L"b", L"d", L"e"}));
        SCOPED_TRACE(row.Name);
        ExpectTold(row.After, {"order"});
        EXPECT_EQ((Flags{TaskActiveStale, TaskActiveStale, TaskOrderChanged}), Task.Changes);
        Object->SyncToNames({});
    }
}

TEST_F(ChannelOrdering, SyncToNamesKeepsWhatItCanAndActivatesTheNextOrTheOneBefore)
{
    Object->SetNames(Keys({L"A", L"B", L"C"}));
    CChannelDataItem* a = Item(1);
    CChannelDataItem* c = Item(3);
    Task.ActiveChannel = Item(2);
    Advise();
    Object->SyncToNames(Keys({L"C", L"A", L"B"}));
    ExpectTold({L"A", L"B", L"C"}, {});
    EXPECT_TRUE(Task.Changes.empty());
    Object->SyncToNames(Keys({L"A", L"C"}));
    EXPECT_EQ(a, Item(1));
    EXPECT_EQ(c, Item(2));
    EXPECT_EQ(c, Task.ActiveChannel);
    EXPECT_EQ((Flags{TaskActiveStale, TaskOrderChanged}), Task.Changes);
    EXPECT_EQ(1, Task.ActiveChanges);
    EXPECT_EQ(Said{"order"}, Heard);
    Object->SyncToNames(Keys({L"A"}));
    EXPECT_EQ(a, Task.ActiveChannel);
    Forget();
    Object->SyncToNames({});
    EXPECT_EQ(nullptr, Task.ActiveChannel);
    EXPECT_EQ((Flags{TaskActiveStale, TaskOrderChanged | TaskActiveStale}), Task.Changes);
}

TEST_F(ChannelOrdering, TheSortModeResortsTheTailAtOnceButNeverTheHead)
{
    AddGroup(L"Engine", {L"Zulu", L"Alpha"});
    for (const wchar_t* name : {L"Zulu", L"Alpha", L"Mike", L"Bravo"}) SetDisplayName(name, name);
    Object->SetNames(Keys({L"Mike", L"Bravo", L"Alpha", L"Zulu"}));
    ASSERT_EQ((NameList{L"Zulu", L"Alpha", L"Mike", L"Bravo"}), Names());
    Advise();
    EXPECT_EQ(S_FALSE, DefaultOrdering->SetMode(0));
    ExpectTold({L"Zulu", L"Alpha", L"Bravo", L"Mike"}, {"order"});
    EXPECT_EQ(S_OK, DefaultOrdering->SetMode(1));
    ExpectTold({L"Zulu", L"Alpha", L"Mike", L"Bravo"}, {"default", "order"});
    EXPECT_EQ(E_INVALIDARG, DefaultOrdering->SetMode(2));
    EXPECT_EQ(E_INVALIDARG, DefaultOrdering->SetMode(-1));
    EXPECT_TRUE(Heard.empty());
    // A display name changed by the host counts at the next sort.
    SetDisplayName(L"Mike", L"Alpha");
    EXPECT_EQ(S_OK, DefaultOrdering->SetMode(0));
    EXPECT_EQ((NameList{L"Zulu", L"Alpha", L"Mike", L"Bravo"}), Names());
}

TEST_F(ChannelOrdering, GroupedModeOneDissolvesTheHeadAndZeroRebuildsIt)
{
    AddGroup(L"Engine", {L"RPM"});
    Object->SetNames(Keys({L"Speed", L"RPM", L"Gear"}));
    ASSERT_EQ((NameList{L"RPM", L"Speed", L"Gear"}), Names());
    Advise();
    EXPECT_EQ(S_FALSE, GroupedOrdering->SetMode(0));
    EXPECT_EQ(E_INVALIDARG, GroupedOrdering->SetMode(2));
    EXPECT_TRUE(Heard.empty());
    EXPECT_EQ(S_OK, GroupedOrdering->SetMode(1));
    EXPECT_EQ(0, Object->GetGroupedCount());
    ExpectTold({L"RPM", L"Speed", L"Gear"}, {"grouped"});
    EXPECT_EQ(1, Task.Modified);
    EXPECT_EQ(S_FALSE, GroupedOrdering->SetMode(1));
    // Every position is free now.
    EXPECT_EQ(S_OK, Move(L"RPM", 3));
    Heard.clear();
    EXPECT_EQ(S_OK, GroupedOrdering->SetMode(0));
    EXPECT_EQ(1, Object->GetGroupedCount());
    ExpectTold({L"RPM", L"Speed", L"Gear"}, {"order", "grouped"});
    // Without a move the head comes back silently.
    EXPECT_EQ(S_OK, GroupedOrdering->SetMode(1));
    Heard.clear();
    EXPECT_EQ(S_OK, GroupedOrdering->SetMode(0));
    EXPECT_EQ(Said{"grouped"}, Heard);
}

TEST_F(ChannelOrdering, AnAdvisorMayCallBackAndLeaveDuringANotificationAndHearsNothingAfter)
{
    Object->SetNames(Keys({L"A", L"B", L"C"}));
    Advise();
    EXPECT_EQ(E_FAIL, Notifications->Unadvise((1u << 16) | 4));
    int calls = 0;
    Advisor->During = [&] {
        if (++calls > 1) return;
        EXPECT_EQ(S_OK, Move(L"A", 3));
        EXPECT_EQ(S_OK, Notifications->Unadvise((1u << 16) | 1));
    };
    EXPECT_EQ(S_OK, Move(L"C", 1));
    ExpectTold({L"C", L"B", L"A"}, {"order", "order"});
    EXPECT_EQ(S_OK, Move(L"C", 2));
    EXPECT_TRUE(Heard.empty());
}

TEST_F(ChannelOrdering, WithoutATaskNoChannelIsMadeAndAClosedOrderingReachesNeitherTaskNorGroups)
{
    AddGroup(L"Engine", {L"RPM"});
    Object->SetNames(Keys({L"Speed", L"RPM"}));
    Object->Close();
    EXPECT_EQ(S_OK, GroupedOrdering->SetMode(1));
    EXPECT_EQ(S_OK, GroupedOrdering->SetMode(0));
    EXPECT_EQ(S_FALSE, DefaultOrdering->SetMode(0));
    Object->SetTask(nullptr);
    Object->SetNames(Keys({L"Speed"}));
    Object->SyncToNames(Keys({L"Speed"}));
    EXPECT_EQ(NameList{}, Names());
    Object = nullptr;
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
