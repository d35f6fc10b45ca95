// The notification sinks: forwarding by operation place, answers, identity, lifetime after the
// receiver has gone, and advising on one or many sources.
#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <vector>
#include "com/AutomationTypes.h"
#include "config/ChannelProxyNotifications.h"
#include "config/DataFactoryNotifications.h"
#include "config/DataNotifications.h"
#include "config/DataSelectionNotifications.h"
#include "config/GroupNotifications.h"
#include "config/GroupedOrderingNotifications.h"
#include "config/LapMarkersNotifications.h"
#include "config/OrvidNotifications.h"
#include "config/PropertyFactoryNotifications.h"
#include "config/PropertySetNotifications.h"
#include "config/SharedStateNotifications.h"
#include "config/TaskNotifications.h"
#include "tests/TestSource.h"
#include "config/TransactionNotifications.h"
#include "config/ZoomStackNotifications.h"

namespace {

// Calls operation `slot` (from 0, behind IUnknown) of a COM interface through its table, as a
// host that knows only the slot order does.
template <class... Args>
HRESULT CallSlot(IUnknown* object, int slot, Args... args)
{
    using Operation = HRESULT(STDMETHODCALLTYPE*)(IUnknown*, Args...);
    Operation* table = *reinterpret_cast<Operation**>(object);
    return table[3 + slot](object, args...);
}

// Calls each of `slots`, operations whose one argument is the notifying object, with null.
void CallSlots(IUnknown* object, std::initializer_list<int> slots)
{
    for (int slot : slots) EXPECT_EQ(S_OK, CallSlot(object, slot, static_cast<void*>(nullptr))) << "slot " << slot;
}

using Names = std::vector<std::string>;
Names Calls;

#define QVX_RECORD(name, ...) void name(__VA_ARGS__) override { Calls.push_back(#name); }

// A notifying source that lets go of a sink when the sink is taken off.
class CTestSourceObject : public CComRoot, public qvxtest::CTestSource
{
public:
    QVX_BEGIN_INTERFACES(CTestSourceObject)
        QVX_INTERFACE(CTestSourceObject, IQvxNotifications),
    QVX_END_INTERFACES()
};

// An object with no notifications at all.
class CSilentObject : public CComRoot, public IPersist
{
public:
    QVX_BEGIN_INTERFACES(CSilentObject)
        QVX_INTERFACE(CSilentObject, IPersist),
    QVX_END_INTERFACES()
    STDMETHODIMP GetClassID(CLSID*) override { return E_NOTIMPL; }
};

qvxtest::CTestSource* MakeSource(CComPtr<IUnknown>& holder)
{
    EXPECT_EQ(S_OK, CComObject<CTestSourceObject>::Create(nullptr, IID_IUnknown, holder.OutVoid()));
    return static_cast<CTestSourceObject*>(reinterpret_cast<IQvxNotifications*>(holder.Get()));
}

CComPtr<IUnknown> MakeSilent()
{
    CComPtr<IUnknown> silent;
    EXPECT_EQ(S_OK, CComObject<CSilentObject>::Create(nullptr, IID_IUnknown, silent.OutVoid()));
    return silent;
}

class CTaskRecorder : public CTaskNotifications6Receiver
{
public:
    QVX_RECORD(OnCurrentSelectionChanged, IQvxTask*)
    QVX_RECORD(Reserved1, IQvxTask*)
    QVX_RECORD(OnSelectionsChanged, IQvxTask*)
    QVX_RECORD(Reserved3, IQvxTask*)
    QVX_RECORD(Reserved4, IQvxTask*)
    QVX_RECORD(Reserved5, IQvxTask*)
    QVX_RECORD(OnTaskGoingAway, IQvxTask*)
    QVX_RECORD(Reserved6, IQvxTask*)
    QVX_RECORD(OnRunningChanged, IQvxTask*)
    void OnCursorChanged(IQvxTask*, qvx::time time) override { Calls.push_back("OnCursorChanged"); Cursor = time; }
    QVX_RECORD(Reserved10, IQvxTask*)
    QVX_RECORD(Reserved14, IQvxTask*)
    qvx::time Cursor = 0;
};

using CTask6Sink = CTaskNotifications6Sink<CBaseSingleSourceSink<IQvxTaskNotifications6>>;
using CTaskSink = CTaskNotificationsSink<CBaseSingleSourceSink<IQvxTaskNotifications>>;

class NotificationSinks : public ::testing::Test
{
protected:
    void SetUp() override { Calls.clear(); }
    CTaskRecorder Task;
};

TEST_F(NotificationSinks, TaskOperationsReachTheirReceiverPlacesInEveryVersion)
{
    CComPtr<CTask6Sink> sink = CreateSink<CTask6Sink>(&Task);
    ASSERT_TRUE(sink);
    CallSlots(sink->Unknown(), {0, 2, 6, 7, 8, 10, 14});
    EXPECT_EQ(S_OK, CallSlot(sink->Unknown(), 9, static_cast<IQvxTask*>(nullptr), qvx::time(123456789012345)));
    // Interface operations 6, 7 and 8 reach receiver places 7, 8 and 6.
    EXPECT_EQ((Names{"OnCurrentSelectionChanged", "OnSelectionsChanged", "Reserved6", "OnRunningChanged",
                     "OnTaskGoingAway", "Reserved10", "Reserved14", "OnCursorChanged"}), Calls);
    EXPECT_EQ(123456789012345, Task.Cursor);
    Calls.clear();
    CComPtr<CTaskSink> first = CreateSink<CTaskSink>(&Task);
    ASSERT_TRUE(first);
    CallSlots(first->Unknown(), {6, 7, 8});
    EXPECT_EQ((Names{"Reserved6", "OnRunningChanged", "OnTaskGoingAway"}), Calls);
}

TEST_F(NotificationSinks, ASinkHasOneInterfaceAndOnceCutOffCallsNothingAndAnswersOk)
{
    const LONG before = CComModule::Instance().ObjectCount();
    CComPtr<CTask6Sink> sink = CreateSink<CTask6Sink>(&Task);
    ASSERT_TRUE(sink);
    for (const IID& other : {__uuidof(IQvxTaskNotifications), __uuidof(IQvxTaskNotifications5)}) {
        void* out = reinterpret_cast<void*>(1);
        EXPECT_EQ(E_NOINTERFACE, sink->QueryInterface(other, &out));
        EXPECT_EQ(nullptr, out);
    }
    EXPECT_EQ(E_POINTER, sink->QueryInterface(IID_IUnknown, nullptr));
    CComPtr<IUnknown> identity;
    CComPtr<IQvxTaskNotifications6> hostHeld;
    ASSERT_EQ(S_OK, sink->QueryInterface(IID_IUnknown, identity.OutVoid()));
    ASSERT_EQ(S_OK, sink->QueryInterface(__uuidof(IQvxTaskNotifications6), hostHeld.OutVoid()));
    EXPECT_EQ(identity.Get(), static_cast<IUnknown*>(hostHeld.Get()));
    identity = nullptr;
    // The owner cuts the sink off and lets go; the host still holds it.
    CloseSink(sink, nullptr);
    EXPECT_TRUE(hostHeld->OnRunningChanged(nullptr) == S_OK && hostHeld->OnCursorChanged(nullptr, 5) == S_OK
                && hostHeld->Reserved14(nullptr) == S_OK && Calls.empty());
    // The host's last release destroys it.
    EXPECT_EQ(before + 1, CComModule::Instance().ObjectCount());
    hostHeld = nullptr;
    EXPECT_EQ(before, CComModule::Instance().ObjectCount());
}

// Orvid and group operations swap pairs of places; the group's removal query answers.
TEST_F(NotificationSinks, OrvidAndGroupOperationsSwapPairsOfPlacesAndTheQueryAnswers)
{
    class CRecorder : public COrvidNotifications4Receiver
    {
    public:
        QVX_RECORD(Reserved1, IQvxOrvid*)
        QVX_RECORD(OnChannelDefaultsChanged, IQvxOrvid*, IQvxPropertyFactory*)
        QVX_RECORD(OnSelectionsChanged, IQvxOrvid*)
        QVX_RECORD(OnGroupDefaultsChanged, IQvxOrvid*, IQvxGroupFactory*)
        QVX_RECORD(OnHostGoingAway, IQvxOrvid*)
        QVX_RECORD(OnTimeFormatChanged, IQvxOrvid*)
        QVX_RECORD(Reserved7, IQvxOrvid*)
        QVX_RECORD(OnEventPrioritiesChanged, IQvxOrvid*)
        QVX_RECORD(OnEventDefaultsChanged, IQvxOrvid*, IQvxEventPropertyFactory*)
        QVX_RECORD(OnTimeDigitsChanged, IQvxOrvid*)
        QVX_RECORD(Reserved16, IQvxOrvid*)
    } receiver;
    using CSink = COrvidNotifications4Sink<CBaseSingleSourceSink<IQvxOrvidNotifications4>>;
    CComPtr<CSink> sink = CreateSink<CSink>(&receiver);
    ASSERT_TRUE(sink);
    void* none = nullptr;
    EXPECT_EQ(S_OK, CallSlot(sink->Unknown(), 0, none, none));
    CallSlots(sink->Unknown(), {1, 2});
    EXPECT_EQ(S_OK, CallSlot(sink->Unknown(), 3, none, none));
    CallSlots(sink->Unknown(), {6, 7, 8, 9});
    EXPECT_EQ(S_OK, CallSlot(sink->Unknown(), 12, none, none));
    CallSlots(sink->Unknown(), {13, 16});
    EXPECT_EQ((Names{"OnChannelDefaultsChanged", "Reserved1", "OnSelectionsChanged", "OnGroupDefaultsChanged",
                     "OnHostGoingAway", "Reserved7", "OnTimeFormatChanged", "OnEventPrioritiesChanged",
                     "OnEventDefaultsChanged", "OnTimeDigitsChanged", "Reserved16"}), Calls);
    Calls.clear();
    class CGroupRecorder : public CGroupNotifications2Receiver
    {
    public:
        QVX_RECORD(OnGroupChanged, IQvxGroup*)
        QVX_RECORD(OnGroupContentsChanged, IQvxGroup*)
        QVX_RECORD(OnGroupGoingAway, IQvxGroup*)
        bool QueryGroupRemoval(IQvxGroup*) override { Calls.push_back("QueryGroupRemoval"); return Answer; }
        QVX_RECORD(OnMemberAdded, IQvxGroup*, BSTR)
        QVX_RECORD(OnMemberRemoved, IQvxGroup*, BSTR)
        bool Answer = false;
    } group;
    using CGroupSink = CGroupNotifications2Sink<CBaseMultiSourceSink<IQvxGroupNotifications2>>;
    CComPtr<CGroupSink> groupSink = CreateSink<CGroupSink>(&group);
    ASSERT_TRUE(groupSink);
    IUnknown* host = groupSink->Unknown();
    CBstr name(L"Speed");
    CallSlots(host, {0, 1});
    EXPECT_EQ(S_FALSE, CallSlot(host, 2, none));
    group.Answer = true;
    CallSlots(host, {2, 3});
    EXPECT_EQ(S_OK, CallSlot(host, 4, none, name.Get()));
    EXPECT_EQ(S_OK, CallSlot(host, 5, none, name.Get()));
    EXPECT_EQ((Names{"OnGroupContentsChanged", "OnGroupChanged", "QueryGroupRemoval", "QueryGroupRemoval",
                     "OnGroupGoingAway", "OnMemberRemoved", "OnMemberAdded"}), Calls);
    // With the receiver gone the query lets the group go.
    groupSink->Disconnect();
    EXPECT_EQ(S_OK, CallSlot(host, 2, none));
    EXPECT_EQ(7u, Calls.size());
}

TEST_F(NotificationSinks, ArgumentsReachTheReceiverAndTimesComeAsCopies)
{
    class CRecorder : public CTransactionNotificationsReceiver,
                      public CDataNotificationsReceiver,
                      public CLapMarkersNotificationsReceiver
    {
    public:
        QVX_RECORD(OnTransactionProgress, IUnknown*, long)
        void OnTransactionFailed(IUnknown*, BSTR message) override { Calls.push_back("OnTransactionFailed"); Message = message; }
        void OnDataChanged(IUnknown*, qvx::time* from, qvx::time* to) override
        {
            From = *from;
            To = *to;
            *from = 0;   // a receiver may use the copies as it likes
        }
        void OnTimeRangeChanged(IUnknown*, qvx::time* from, qvx::time* to) override { From = *from; To = *to; }
        std::wstring Message;
        qvx::time From = 0, To = 0;
    } r;
    using CTransactionSink = CTransactionNotificationsSink<CBaseSingleSourceSink<IQvxTransactionNotifications>>;
    using CDataSink = CDataNotificationsSink<CBaseSingleSourceSink<IQvxDataNotifications>>;
    using CLapSink = CLapMarkersNotificationsSink<CBaseSingleSourceSink<IQvxLapMarkersNotifications>>;
    auto transaction = CreateSink<CTransactionSink>(&r);
    auto data = CreateSink<CDataSink>(&r);
    auto laps = CreateSink<CLapSink>(&r);
    ASSERT_TRUE(transaction && data && laps);
    IUnknown* none = nullptr;
    CBstr message(L"disk full");
    CallSlot(transaction->Unknown(), 2, none, 50L);
    CallSlot(transaction->Unknown(), 3, none, message.Get());
    EXPECT_EQ((Names{"OnTransactionProgress", "OnTransactionFailed"}), Calls);
    EXPECT_EQ(L"disk full", r.Message);
    const qvx::time from = 0x7000000000000001, to = 0x7000000000000002;
    EXPECT_EQ(S_OK, CallSlot(data->Unknown(), 0, none, from, to));
    EXPECT_TRUE(r.From == from && r.To == to);
    EXPECT_EQ(S_OK, CallSlot(laps->Unknown(), 1, none, qvx::time(-5), qvx::time(9)));
    EXPECT_TRUE(r.From == -5 && r.To == 9);
}

TEST_F(NotificationSinks, EveryOtherFamilyForwardsInOrder)
{
    class CRecorder : public CDataSelectionNotifications3Receiver,
                      public CZoomStackNotifications3Receiver,
                      public CPropertySetNotifications2Receiver,
                      public CChannelProxyNotificationsReceiver,
                      public CSharedStateNotificationsReceiver,
                      public CGroupedOrderingNotificationsReceiver,
                      public CDataFactoryNotificationsReceiver,
                      public CChannelPropertyFactoryNotifications2Receiver,
                      public CGroupFactoryNotificationsReceiver,
                      public CEventPropertyFactoryNotificationsReceiver
    {
    public:
        QVX_RECORD(OnColorChanged, IQvxDataSelection*)
        QVX_RECORD(OnRealTimeChanged, IQvxDataSelection*)
        QVX_RECORD(OnChannelsChanged, IQvxDataSelection*)
        QVX_RECORD(OnSelectionTextChanged, IQvxDataSelection*)
        QVX_RECORD(OnRangeChanged, IQvxZoomStack*)
        QVX_RECORD(OnOtherChange, IQvxZoomStack*)
        QVX_RECORD(OnPropertySetGoingAway, IQvxPropertySet*)
        QVX_RECORD(OnValueOffsetChanged, IUnknown*)
        QVX_RECORD(OnSharedStateGoingAway, IUnknown*)
        QVX_RECORD(OnGroupedOrderingChanged, IQvxGroupedOrdering*)
        QVX_RECORD(OnItemRemoved, IUnknown*, long, BSTR)
        QVX_RECORD(OnParentChanged, IQvxPropertyFactory*)
        QVX_RECORD(OnGroupsChanged, IQvxGroupFactory*)
        void QueryPropertySetUses(IQvxPropertyFactory*, BSTR, long* uses) override
        {
            Calls.push_back("QueryPropertySetUses");
            *uses = 0;
        }
    } r;
    // Each family's sink over the recorder's part for it, its operations called at once.
    auto call = [](auto sink, std::initializer_list<int> slots) { CallSlots(sink->Unknown(), slots); };
    call(CreateSink<CDataSelectionNotifications3Sink<CBaseSingleSourceSink<IQvxDataSelectionNotifications3>>>(&r),
         {0, 5, 8, 9});
    call(CreateSink<CZoomStackNotifications3Sink<CBaseSingleSourceSink<IQvxZoomStackNotifications3>>>(&r), {0, 3});
    call(CreateSink<CPropertySetNotifications2Sink<CBaseMultiSourceSink<IQvxPropertySetNotifications2>>>(&r), {1});
    call(CreateSink<CChannelProxyNotificationsSink<CBaseSingleSourceSink<IQvxChannelProxyNotifications>>>(&r), {0});
    call(CreateSink<CSharedStateNotificationsSink<CBaseSingleSourceSink<IQvxSharedStateNotifications>>>(&r), {1});
    call(CreateSink<CGroupedOrderingNotificationsSink<CBaseSingleSourceSink<IQvxGroupedOrderingNotifications>>>(&r),
         {0});
    void* none = nullptr;
    CBstr name(L"x");
    long uses = 3;
    auto factory = CreateSink<CDataFactoryNotificationsSink<CBaseMultiSourceSink<IQvxDataFactoryNotifications>>>(&r);
    CallSlot(factory->Unknown(), 2, none, 1L, name.Get());
    call(CreateSink<CChannelPropertyFactoryNotifications2Sink<
             CBaseSingleSourceSink<IQvxChannelPropertyFactoryNotifications2>>>(&r),
         {3});
    call(CreateSink<CGroupFactoryNotificationsSink<CBaseSingleSourceSink<IQvxGroupFactoryNotifications>>>(&r), {2});
    auto events = CreateSink<
        CEventPropertyFactoryNotificationsSink<CBaseSingleSourceSink<IQvxEventPropertyFactoryNotifications>>>(&r);
    CallSlot(events->Unknown(), 3, none, name.Get(), &uses);
    EXPECT_EQ((Names{"OnColorChanged", "OnRealTimeChanged", "OnChannelsChanged", "OnSelectionTextChanged",
                     "OnRangeChanged", "OnOtherChange", "OnPropertySetGoingAway", "OnValueOffsetChanged",
                     "OnSharedStateGoingAway", "OnGroupedOrderingChanged", "OnItemRemoved", "OnParentChanged",
                     "OnGroupsChanged", "QueryPropertySetUses"}), Calls);
    EXPECT_EQ(0, uses);
}

TEST_F(NotificationSinks, SingleSourceAdvisesOnceAndForgetsItsCookieEvenWhenUnadviseFails)
{
    CComPtr<CTaskSink> sink = CreateSink<CTaskSink>(&Task);
    CComPtr<IUnknown> holder;
    auto* source = MakeSource(holder);
    EXPECT_FALSE(sink->Advise(MakeSilent()));
    source->FailAdvise = true;
    EXPECT_FALSE(sink->Advise(holder) || sink->IsAdvised());
    source->FailAdvise = false;
    ASSERT_TRUE(sink->Advise(holder));
    EXPECT_TRUE(sink->Advise(holder));
    EXPECT_EQ(2, source->Advises);
    EXPECT_TRUE(IsEqualIID(__uuidof(IQvxTaskNotifications), source->Iid));
    const ULONG first = sink->GetCookie();
    source->FailUnadvise = true;
    sink->Unadvise(holder);
    EXPECT_EQ(0u, sink->GetCookie());
    sink->Unadvise(holder);   // without a cookie: nothing is called
    EXPECT_EQ(std::vector<ULONG>{first}, source->Unadvised);
    // The same sink is advised on the next source.
    source->FailUnadvise = false;
    EXPECT_TRUE(sink->Advise(holder));
    const ULONG second = sink->GetCookie();
    CloseSink(sink, holder);
    EXPECT_EQ((std::vector<ULONG>{first, second}), source->Unadvised);
}

TEST_F(NotificationSinks, MultiSourceAddsEachSourceOnceAndHoldsItUntilRemoved)
{
    class CRecorder : public CDataSelectionNotificationsReceiver
    {
    public:
        void OnSelectionGoingAway(IQvxDataSelection* s) override { Sources.push_back(s); }
        std::vector<IQvxDataSelection*> Sources;
    } receiver;
    using CSink = CDataSelectionNotificationsSink<CBaseMultiSourceSink<IQvxDataSelectionNotifications>>;
    CComPtr<CSink> sink = CreateSink<CSink>(&receiver);
    CComPtr<IUnknown> first, second;
    auto* a = MakeSource(first);
    auto* b = MakeSource(second);
    CComPtr<IQvxNotifications> firstAgain;
    ASSERT_EQ(S_OK, firstAgain.QueryFrom(first, __uuidof(IQvxNotifications)));
    EXPECT_TRUE(sink->Add(first));
    EXPECT_FALSE(sink->Add(firstAgain));   // the same identity through another pointer
    EXPECT_EQ(1, a->Advises);
    EXPECT_FALSE(sink->Add(MakeSilent()));
    EXPECT_EQ(1u, sink->Count());
    EXPECT_FALSE(sink->Remove(second));
    EXPECT_TRUE(b->Unadvised.empty());
    EXPECT_TRUE(sink->Add(second) && sink->Contains(second));

    // Both sources reach the one receiver, each naming itself.
    auto* s1 = reinterpret_cast<IQvxDataSelection*>(1);
    auto* s2 = reinterpret_cast<IQvxDataSelection*>(2);
    reinterpret_cast<IQvxDataSelectionNotifications*>(a->Sink.Get())->OnSelectionGoingAway(s1);
    reinterpret_cast<IQvxDataSelectionNotifications*>(b->Sink.Get())->OnSelectionGoingAway(s2);
    EXPECT_EQ((std::vector<IQvxDataSelection*>{s1, s2}), receiver.Sources);

    EXPECT_TRUE(sink->Remove(first) && a->Unadvised.size() == 1 && !sink->Remove(first));
    // The map holds the source that nobody else holds, until the sink lets go.
    const LONG objects = CComModule::Instance().ObjectCount();
    second = nullptr;
    b = nullptr;
    EXPECT_EQ(objects, CComModule::Instance().ObjectCount());
    sink->Clear();
    EXPECT_EQ(objects - 1, CComModule::Instance().ObjectCount());
    CloseSink(sink);
}

} // namespace
