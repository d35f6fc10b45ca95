// Keyed channel names and their orders, and the control's choice of channels by name and group
// over the substitute host, with the task's ordering and the host's notifications following.
#include <gtest/gtest.h>
#include <climits>
#include <string>
#include <vector>
#include "com/AutomationTypes.h"
#include "com/ComObject.h"
#include "config/ChannelKey.h"
#include "config/DataNames.h"
#include "config/NotificationSinks.h"
#include "tests/SimTestSupport.h"
#include "tests/TestSource.h"

using namespace qvxtest;

namespace {

using Names = std::vector<std::wstring>;

int Sign(int value)
{
    return (value > 0) - (value < 0);
}

std::string Narrow(const wchar_t* text)
{
    return std::string(text, text + wcslen(text));
}

Names Texts(const std::vector<CBstr>& list)
{
    Names names;
    for (const CBstr& name : list) names.emplace_back(name.View());
    return names;
}

// Names with and without keys, as the configuration reads them.
TEST(ChannelKey, ANameHasAKeyOnlyWhenItOpensWithABracketAndClosesOne)
{
    struct Row
    {
        const wchar_t* Name;
        bool Keyed;
        const wchar_t* Rest;
        long Id;
    } rows[] = {
        {L"[3]Speed", true, L"Speed", 3},  {L"Speed", false, nullptr, 0},   {L"[", false, nullptr, 0},
        {L"a[1]b", false, nullptr, 0},     {L"[x]Speed", true, L"Speed", 0}, {L"[4x]Speed", true, L"Speed", 4},
        {L"[99999999999]A", true, L"A", LONG_MAX}, {L"[7]", true, L"", 7}, {L"[2]a]b", true, L"a]b", 2},
    };
    for (const Row& row : rows) {
        const CChannelKey key(row.Name);
        SCOPED_TRACE(Narrow(row.Name));
        EXPECT_EQ(row.Keyed, key.IsKeyed());
        EXPECT_EQ(std::wstring_view(row.Name), key.GetFullName().View());
        const std::wstring_view none = L"(none)";
        EXPECT_EQ(row.Rest ? std::wstring_view(row.Rest) : none, key.GetRest().Get() ? key.GetRest().View() : none);
        EXPECT_EQ(row.Id, key.GetId());
    }
    EXPECT_EQ(nullptr, CChannelKey(nullptr).GetFullName().Get());
}

// The substitute host alone, for the orders of names and a layout read before the host attaches.
class ChannelHost : public testing::Test, protected CTestHost
{
protected:
    void SetUp() override { ASSERT_EQ(S_OK, StartHost()); }
    void TearDown() override { Sim->Shutdown(); }
};

// The host knows ids 1 to 8: 3 is "Distance", 4 "Acceleration". Only names of equal text and
// different ids are taken to the host.
TEST_F(ChannelHost, KeyedNamesOfOneTextOrderByTheHostsTextsOfTheirIds)
{
    struct Row
    {
        const wchar_t* First;
        const wchar_t* Second;
        int Shown;          // ChannelNameLess, three-way
        int Loaded;         // CompareKeysOrdinal
        long HostQueries;   // by each of the two
    } rows[] = {
        {L"[3]Speed", L"[4]Speed", 1, 1, 2},      // "Distance" after "Acceleration"
        {L"[4]Speed", L"[40]Speed", -1, -1, 2},   // only 4 known: it comes first
        {L"[50]Speed", L"[40]Speed", 1, 1, 2},    // neither known: by id
        {L"[3]Speed", L"[3]Speed", 0, 0, 0},      {L"[2]Alpha", L"[1]Beta", -1, -1, 0},
        {L"Brake", L"Speed", -1, 0, 0},           // unkeyed names all load as equals
        {L"[1]Speed", L"Brake", 1, 1, 0},         // the unkeyed first
    };
    const ChannelNameLess less;
    for (const Row& row : rows) {
        SCOPED_TRACE(Narrow(row.First) + " against " + Narrow(row.Second));
        const CChannelKey a(row.First), b(row.Second);
        ASSERT_EQ(S_OK, Sim->ResetCallCounts());
        EXPECT_EQ(row.Shown, Sign(less.Compare(a, b)));
        EXPECT_EQ(-row.Shown, Sign(less.Compare(b, a)));
        EXPECT_EQ(row.Shown < 0, less(row.First, row.Second));
        EXPECT_EQ(row.HostQueries * 3, Calls(L"GetQuantityText"));
        ASSERT_EQ(S_OK, Sim->ResetCallCounts());
        EXPECT_EQ(row.Loaded, Sign(CompareKeysOrdinal(a, b)));
        EXPECT_EQ(row.HostQueries, Calls(L"GetQuantityText"));
    }
}

TEST(DynDataNames, PositionsOutsideTheListAreRefused)
{
    CComPtr<CDynDataNames> names = CDynDataNames::Make();
    EXPECT_EQ(E_INVALIDARG, names->Add(nullptr));
    EXPECT_EQ(S_OK, names->Add(CBstr(L"Speed").Get()));
    CBstr name;
    EXPECT_EQ(DISP_E_BADINDEX, names->GetName(2, name.Out()));
    EXPECT_EQ(nullptr, name.Get());
    EXPECT_EQ(DISP_E_BADINDEX, names->RemoveAt(0));
    EXPECT_EQ(DISP_E_BADINDEX, names->RemoveAt(2));
    EXPECT_EQ(S_OK, names->RemoveAt(1));
    EXPECT_EQ(DISP_E_BADINDEX, names->GetName(1, name.Out()));
}

// What a host hears of the configuration, from its point and from the control's.
class CConfigRecorder : public CComRoot, public IQvx1DChannelConfigNotifications, public IQvxControlNotifications
{
public:
    QVX_BEGIN_INTERFACES(CConfigRecorder)
        QVX_INTERFACE(CConfigRecorder, IQvx1DChannelConfigNotifications),
        QVX_INTERFACE(CConfigRecorder, IQvxControlNotifications),
    QVX_END_INTERFACES()
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override = 0;
    STDMETHODIMP_(ULONG) AddRef() override = 0;
    STDMETHODIMP_(ULONG) Release() override = 0;

    STDMETHODIMP OnChannelListChanged(IQvx1DChannelConfig*) override { return Hear(L"list"); }
    STDMETHODIMP OnShownChannelsChanged(IQvx1DChannelConfig*) override { return Hear(L"shown"); }
    STDMETHODIMP OnTaskChanged(IQvxControl*, IQvxTask*) override { return S_OK; }
    STDMETHODIMP OnHostAttached(IQvxControl*, IUnknown*) override { return S_OK; }
    STDMETHODIMP OnChannelsChanged(IQvxControl*) override { return Hear(L"channels"); }
    STDMETHODIMP OnActiveChanged(IQvxControl*) override { return S_OK; }
    HRESULT Hear(const wchar_t* what) { return Heard.emplace_back(what), S_OK; }

    Names Heard;
};

// A chart on the host's task 1, with a recorder advised on both of its points.
class ChannelConfig : public ChannelHost
{
protected:
    void SetUp() override
    {
        ChannelHost::SetUp();
        Chart = CreateTestChart(Owner);
        ASSERT_EQ(S_OK, Query<IPersistStreamInit>(Owner)->InitNew());
        ASSERT_EQ(S_OK, Owner.As(Control));
        ASSERT_EQ(S_OK, Control->SetHost(Host));
        ASSERT_EQ(S_OK, Control->SetTaskById(1));
        ASSERT_EQ(S_OK, Owner.As(Config));
        ASSERT_EQ(S_OK, Config->GetChannelNames(NamedList.Out()));
        ASSERT_EQ(S_OK, Config->GetChannelGroups(Groups.Out()));
        ASSERT_EQ(S_OK, Host->GetGroupDefaults(Defaults.Out()));
        Recorder = MakeObject<CConfigRecorder, IQvx1DChannelConfigNotifications>();
        IUnknown* sink = static_cast<IQvx1DChannelConfigNotifications*>(Recorder.Get());
        ULONG cookie = 0;
        ASSERT_EQ(S_OK, AdviseNotifications(Owner, IID_IQvx1DChannelConfigNotifications, sink, &cookie));
        ASSERT_EQ(S_OK, AdviseNotifications(Owner, IID_IQvxControlNotifications, sink, &cookie));
    }
    void TearDown() override
    {
        Recorder = nullptr, Groups = nullptr, NamedList = nullptr, Config = nullptr, Control = nullptr;
        Owner = nullptr, Defaults = nullptr;
        ChannelHost::TearDown();
    }

    CComPtr<IQvxGroup> DefaultGroup(const wchar_t* name)
    {
        CComPtr<IQvxGroup> group;
        EXPECT_EQ(S_OK, Defaults->GetGroup(CBstr(name).Get(), group.Out()));
        return group;
    }
    // The chart's channels as the task's ordering holds them, sorted as the configuration is.
    Names Ordered()
    {
        CChannelNameSet set;
        for (CChannelDataItem* item : Chart->TaskItem->GetOrdering()->GetItems()) set.emplace(item->GetName().View());
        return Names(set.begin(), set.end());
    }
    Names Shown()
    {
        const CChannelNameSet& shown = Chart->GetConfiguredChannelNames();
        long count = -1;
        EXPECT_EQ(S_OK, Config->GetChannelCount(&count));
        EXPECT_EQ(long(shown.size()), count);
        return Names(shown.begin(), shown.end());
    }
    // Shown as the host reads them, and the same in the task's ordering.
    void ExpectShown(const Names& names)
    {
        EXPECT_EQ(names, Shown());
        EXPECT_EQ(names, Ordered());
    }
    // "shown", "waiting" (a candidate beyond the limit), "off", or "selected only".
    std::string Status(const wchar_t* name)
    {
        VARIANT_BOOL selected = VARIANT_FALSE, available = VARIANT_FALSE;
        EXPECT_EQ(S_OK, Config->IsChannelSelected(CBstr(name).Get(), &selected));
        EXPECT_EQ(S_OK, Config->IsChannelAvailable(CBstr(name).Get(), &available));
        return selected ? (available ? "shown" : "selected only") : (available ? "waiting" : "off");
    }
    HRESULT AddName(const wchar_t* name) { return NamedList->Add(CBstr(name).Get()); }
    long Count(IQvxGroups* groups = nullptr)
    {
        long count = -1;
        EXPECT_EQ(S_OK, groups ? groups->GetCount(&count) : NamedList->GetCount(&count));
        return count;
    }

    CComPtr<IQvxGroupFactory> Defaults;
    CComPtr<IQvxLinnographCtl4> Owner;
    CTestChartCtl* Chart = nullptr;
    CComPtr<IQvxControl3> Control;
    CComPtr<IQvx1DChannelConfig2> Config;
    CComPtr<IQvxDynDataNames> NamedList;
    CComPtr<IQvxGroups> Groups;
    CComPtr<CConfigRecorder> Recorder;
};

TEST_F(ChannelConfig, NamedChannelsAreShownInOrderWithTheOrderingAndTheHostTold)
{
    EXPECT_EQ(S_OK, AddName(L"Throttle"));
    EXPECT_EQ(S_OK, AddName(L"[1]Speed"));
    EXPECT_EQ((Names{L"shown", L"channels", L"list", L"shown", L"channels", L"list"}), Recorder->Heard);
    ExpectShown({L"[1]Speed", L"Throttle"});
    // The keyed name reaches the host's channel of that quantity.
    EXPECT_EQ(L"Speed", Chart->TaskItem->GetOrdering()->GetItems().at(0)->GetDisplayName().View());
    // One text under two keys is two channels, ordered by the host's texts of the keys
    // ("Acceleration", "Distance", "Speed"), unknown keys last; a key that is no number is a channel all the same.
    for (const wchar_t* name : {L"[3]Speed", L"[4]Speed", L"[99999999999]Speed"}) EXPECT_EQ(S_OK, AddName(name));
    ExpectShown({L"[4]Speed", L"[3]Speed", L"[1]Speed", L"[99999999999]Speed", L"Throttle"});
    Recorder->Heard.clear();
    EXPECT_EQ(E_INVALIDARG, AddName(L"Throttle"));
    EXPECT_EQ(E_INVALIDARG, AddName(L""));
    EXPECT_TRUE(Recorder->Heard.empty());
    EXPECT_EQ(E_POINTER, Config->GetChannelCount(nullptr));
}

TEST_F(ChannelConfig, AGroupsMembersComeAndGoWithItAndNamesOfferedElsewhereStay)
{
    ASSERT_EQ(S_OK, AddName(L"Brake"));
    CComPtr<IQvxGroup> dashboard = DefaultGroup(L"Dashboard");
    ASSERT_EQ(S_OK, Groups->Add(dashboard));
    EXPECT_EQ(S_OK, Groups->Add(dashboard));
    EXPECT_EQ(1, Count(Groups));
    ExpectShown({L"Brake", L"RPM", L"[1]Speed", L"Throttle"});
    // Where groups form a head, a group's member is no named channel.
    EXPECT_EQ(0, Count());
    ASSERT_EQ(S_OK, AddName(L"Gear"));
    ASSERT_EQ(S_OK, Groups->Add(DefaultGroup(L"Driver")));   // Throttle, Brake, Gear
    EXPECT_EQ(S_OK, dashboard->AddMember(CBstr(L"Lateral G").Get()));
    EXPECT_EQ(S_OK, dashboard->RemoveMember(CBstr(L"Throttle").Get()));   // Driver still has it
    EXPECT_EQ(S_OK, dashboard->RemoveMember(CBstr(L"RPM").Get()));
    EXPECT_EQ((Names{L"Brake", L"Gear", L"Lateral G", L"[1]Speed", L"Throttle"}), Shown());
    EXPECT_EQ(S_OK, Groups->RemoveAt(2));
    ExpectShown({L"Brake", L"Lateral G", L"[1]Speed"});
    EXPECT_EQ(DISP_E_BADINDEX, Groups->RemoveAt(2));
    // The host may not remove a group that the chart shows.
    EXPECT_EQ(S_FALSE, Defaults->RemoveGroup(CBstr(L"Dashboard").Get()));
    // In grouped mode one a named member stays named; back in mode 0 the group takes it over.
    CComPtr<IQvxGroupedOrdering> grouped;
    ASSERT_EQ(S_OK, CComPtr<IQvxOrdering>(Chart->TaskItem->GetOrdering()).As(grouped));
    ASSERT_EQ(S_OK, grouped->SetMode(1));
    ASSERT_EQ(S_OK, AddName(L"Brake"));
    ASSERT_EQ(S_OK, AddName(L"Gear"));
    EXPECT_EQ(2, Count());
    ASSERT_EQ(S_OK, grouped->SetMode(0));
    EXPECT_EQ(1, Count());
    EXPECT_EQ(4u, Shown().size());
}

// At most 32 are shown; a deleted one lets the next candidate on and stays off until added again.
TEST_F(ChannelConfig, AtMost32AreShownAndADeletedOneLetsTheNextCandidateOn)
{
    CComPtr<IQvxGroup> hundred;
    ASSERT_EQ(S_OK, Defaults->CreateGroup(CBstr(L"Hundred").Get(), hundred.Out()));
    Names members;
    for (int i = 0; i < 100; ++i) {
        members.push_back(L"C" + std::to_wstring(100 + i));
        ASSERT_EQ(S_OK, hundred->AddMember(CBstr(members.back()).Get()));
    }
    ASSERT_EQ(S_OK, Groups->Add(hundred));
    ExpectShown(Names(members.begin(), members.begin() + 32));
    EXPECT_EQ("waiting", Status(L"C199"));
    long max = 0;
    EXPECT_EQ(S_OK, Config->GetMaxChannels(&max));
    EXPECT_EQ(32, max);
    Recorder->Heard.clear();
    EXPECT_EQ(S_OK, Config->DeleteChannel(CBstr(L"C105").Get()));
    EXPECT_EQ((Names{L"shown", L"channels", L"list"}), Recorder->Heard);
    EXPECT_EQ("shown", Status(L"C132"));
    EXPECT_EQ("off", Status(L"C105"));
    // Unknown and empty names change nothing and are no error.
    EXPECT_EQ(S_OK, Config->DeleteChannel(CBstr(L"No such channel").Get()));
    EXPECT_EQ(S_OK, Config->DeleteChannel(nullptr));
    EXPECT_EQ(32u, Shown().size());
    // A name added beyond the limit waits among the candidates; without the group it moves up.
    ASSERT_EQ(S_OK, AddName(L"Speed"));
    EXPECT_EQ("waiting", Status(L"Speed"));
    EXPECT_EQ(Shown(), Ordered());
    ASSERT_EQ(S_OK, Groups->RemoveAt(1));
    ExpectShown({L"Speed"});
    ASSERT_EQ(S_OK, AddName(L"C105"));
    EXPECT_EQ("shown", Status(L"C105"));
}

TEST_F(ChannelConfig, GroupsAreFoundAgainByNameWhenTheHostsDefaultsChange)
{
    ASSERT_EQ(S_OK, Groups->Add(DefaultGroup(L"Dashboard")));
    ASSERT_EQ(S_OK, Groups->Add(DefaultGroup(L"Engine")));
    CComPtr<IQvxGroup> before, after;
    ASSERT_EQ(S_OK, Groups->GetItem(1, before.Out()));
    const Names shown = Shown();
    Recorder->Heard.clear();
    ASSERT_EQ(S_OK, Sim->ReplaceGroupDefaults());
    // The same channels come back: the host hears of no change.
    EXPECT_TRUE(Recorder->Heard.empty());
    ASSERT_EQ(S_OK, Groups->GetItem(1, after.Out()));
    EXPECT_FALSE(SameObject(before, after));
    EXPECT_EQ(shown, Shown());
    // A layout stores the groups by name, and of the channels only those behind their head.
    ASSERT_EQ(S_OK, AddName(L"Gear"));
    const CChannelConfigState state = Chart->SaveState();
    EXPECT_EQ(Names{L"Gear"}, Texts(state.ChannelNames));
    EXPECT_EQ((Names{L"Dashboard", L"Engine"}), Texts(state.GroupNames));
}

TEST_F(ChannelConfig, GroupsReorderThroughTheirOrderingAndAGroupThatGoesAwayTakesItsChannels)
{
    ASSERT_EQ(S_OK, Groups->Add(DefaultGroup(L"Dashboard")));
    CComPtr<IQvxGroupFactory> own;
    ASSERT_EQ(S_OK, Control->GetGroupFactory(own.Out()));
    CComPtr<IQvxGroup> mine;
    ASSERT_EQ(S_OK, own->CreateGroup(CBstr(L"Mine").Get(), mine.Out()));
    ASSERT_EQ(S_OK, mine->AddMember(CBstr(L"Gear").Get()));
    ASSERT_EQ(S_OK, mine->AddMember(CBstr(L"RPM").Get()));
    ASSERT_EQ(S_OK, Groups->Add(mine));
    EXPECT_EQ("shown", Status(L"Gear"));
    CComPtr<IQvxOrdering> order = Query<IQvxOrdering>(Groups);
    EXPECT_EQ(DISP_E_BADINDEX, order->MoveItem(CBstr(L"Mine").Get(), 3));
    EXPECT_EQ(E_INVALIDARG, order->MoveItem(CBstr(L"Nobody").Get(), 1));
    EXPECT_EQ(S_FALSE, order->MoveItem(CBstr(L"Mine").Get(), 2));
    Recorder->Heard.clear();
    EXPECT_EQ(S_OK, order->MoveItem(CBstr(L"Mine").Get(), 1));
    EXPECT_FALSE(Recorder->Heard.empty());
    // The factory loads an empty list: its groups go away, with them what only they offered.
    CComPtr<IQvxGroupFactory> empty;
    CoCreateInstance(CLSID_QvxGroupFactory, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IQvxGroupFactory), empty.OutVoid());
    CComPtr<IStream> stream;
    ASSERT_EQ(S_OK, CreateStreamOnHGlobal(nullptr, TRUE, stream.Out()));
    ASSERT_EQ(S_OK, Query<IPersistStreamInit>(empty)->Save(stream, TRUE));
    ASSERT_EQ(S_OK, stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr));
    ASSERT_EQ(S_OK, Query<IPersistStreamInit>(own)->Load(stream));
    EXPECT_EQ(1, Count(Groups));
    EXPECT_EQ("off", Status(L"Gear"));
    EXPECT_EQ("shown", Status(L"RPM"));
    EXPECT_EQ(Shown(), Ordered());
}

// A layout read before the control has a group factory keeps the groups by name, writes them
// back unchanged, and resolves them once the host attaches.
TEST_F(ChannelHost, GroupNamesWaitForAFactoryAndOnlyShownNamedChannelsAreStored)
{
    CComPtr<IQvxLinnographCtl4> owner;
    CTestChartCtl* chart = CreateTestChart(owner);
    chart->SetMaxChannelCount(2);
    CChannelConfigState state;
    state.DeletedNames.emplace_back(L"Gear");
    for (const wchar_t* name : {L"[1]Speed", L"Throttle", L"Brake"}) state.ChannelNames.emplace_back(name);
    for (const wchar_t* name : {L"Engine", L"Dashboard"}) state.GroupNames.emplace_back(name);
    chart->LoadState(state, true, nullptr);
    // Sorted on load: unkeyed names keep their order before keyed ones; two are shown.
    const auto& selected = chart->GetSelectedChannels();
    EXPECT_EQ((Names{L"Brake", L"Throttle"}), Names(selected.begin(), selected.end()));
    const CChannelConfigState saved = chart->SaveState();
    EXPECT_EQ(Names{L"Gear"}, Texts(saved.DeletedNames));
    // In the display order of the task's ordering, which kept the order of the layout.
    EXPECT_EQ((Names{L"Throttle", L"Brake"}), Texts(saved.ChannelNames));
    EXPECT_EQ((Names{L"Dashboard", L"Engine"}), Texts(saved.GroupNames));
    chart->SetMaxChannelCount(32);
    Query<IPersistStreamInit>(owner)->InitNew();
    Query<IQvxControl>(owner)->SetHost(Host);
    EXPECT_TRUE(chart->GetSelectedChannels().count(L"RPM")) << "a member of the groups";
    EXPECT_FALSE(chart->GetSelectedChannels().count(L"Gear"));
}

} // namespace
