// The notification sinks: forwarding by operation place, the answers they give the host, their
// identity, their lifetime after the receiver has gone, and advising on one or many sources.
#include <gtest/gtest.h>
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

std::vector<std::string> Calls;

#define QVX_RECORD(name, ...) void name(__VA_ARGS__) override { Calls.push_back(#name); }

using qvxtest::CTestSource;

// A notifying source that lets go of a sink when the sink is taken off.
class CTestSourceObject : public CComRoot, public CTestSource
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

// Makes an object whose first interface is First, held by `holder`.
template <class T, class First>
T* MakeObject(CComPtr<IUnknown>& holder)
{
    EXPECT_EQ(S_OK, CComObject<T>::Create(nullptr, IID_IUnknown, holder.OutVoid()));
    return static_cast<T*>(reinterpret_cast<First*>(holder.Get()));
}

CTestSource* MakeSource(CComPtr<IUnknown>& holder) { return MakeObject<CTestSourceObject, IQvxNotifications>(holder); }
void MakeSilent(CComPtr<IUnknown>& holder) { MakeObject<CSilentObject, IPersist>(holder); }

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

} // namespace

class NotificationSinks : public ::testing::Test
{
protected:
    void SetUp() override { Calls.clear(); }
};

TEST_F(NotificationSinks, TaskOperationsReachTheirReceiverPlaces)
{
    CTaskRecorder receiver;
    CComPtr<CTask6Sink> sink = CreateSink<CTask6Sink>(&receiver);
    ASSERT_TRUE(sink);
    IUnknown* host = sink->Unknown();
    IQvxTask* task = nullptr;
    for (int slot : {0, 2, 6, 7, 8, 10, 14}) EXPECT_EQ(S_OK, CallSlot(host, slot, task));
    EXPECT_EQ(S_OK, CallSlot(host, 9, task, qvx::time(123456789012345)));
    // Interface operations 6, 7 and 8 reach receiver places 7, 8 and 6.
    std::vector<std::string> expected = {"OnCurrentSelectionChanged", "OnSelectionsChanged", "Reserved6",
                                         "OnRunningChanged", "OnTaskGoingAway", "Reserved10", "Reserved14",
                                         "OnCursorChanged"};
    EXPECT_EQ(expected, Calls);
    EXPECT_EQ(123456789012345, receiver.Cursor);
    CloseSink(sink, nullptr);
}

TEST_F(NotificationSinks, FirstTaskVersionHasTheSamePermutation)
{
    CTaskRecorder receiver;
    CComPtr<CTaskSink> sink = CreateSink<CTaskSink>(&receiver);
    ASSERT_TRUE(sink);
    for (int slot = 6; slot <= 8; ++slot) CallSlot(sink->Unknown(), slot, static_cast<IQvxTask*>(nullptr));
    EXPECT_EQ((std::vector<std::string>{"Reserved6", "OnRunningChanged", "OnTaskGoingAway"}), Calls);
}

TEST_F(NotificationSinks, LateNotificationAfterDisconnectCallsNothingAndAnswersOk)
{
    CTaskRecorder receiver;
    CComPtr<CTask6Sink> sink = CreateSink<CTask6Sink>(&receiver);
    ASSERT_TRUE(sink);
    // The host keeps its own reference; the owner cuts the sink off and lets go.
    CComPtr<IQvxTaskNotifications6> hostHeld;
    ASSERT_EQ(S_OK, sink->QueryInterface(__uuidof(IQvxTaskNotifications6), hostHeld.OutVoid()));
    CloseSink(sink, nullptr);
    EXPECT_EQ(S_OK, hostHeld->OnRunningChanged(nullptr));
    EXPECT_EQ(S_OK, hostHeld->OnCursorChanged(nullptr, 5));
    EXPECT_EQ(S_OK, hostHeld->Reserved14(nullptr));
    EXPECT_TRUE(Calls.empty());
}

TEST_F(NotificationSinks, LastReleaseDestroysTheSink)
{
    CTaskRecorder receiver;
    LONG before = CComModule::Instance().ObjectCount();
    CComPtr<CTask6Sink> sink = CreateSink<CTask6Sink>(&receiver);
    ASSERT_TRUE(sink);
    EXPECT_EQ(before + 1, CComModule::Instance().ObjectCount());
    EXPECT_EQ(2u, sink->AddRef());
    EXPECT_EQ(1u, sink->Release());
    sink = nullptr;
    EXPECT_EQ(before, CComModule::Instance().ObjectCount());
}

TEST_F(NotificationSinks, ASinkAnswersOnlyItsOwnInterface)
{
    CTaskRecorder receiver;
    CComPtr<CTask6Sink> sink = CreateSink<CTask6Sink>(&receiver);
    ASSERT_TRUE(sink);
    void* out = reinterpret_cast<void*>(1);
    EXPECT_EQ(E_NOINTERFACE, sink->QueryInterface(__uuidof(IQvxTaskNotifications), &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(E_NOINTERFACE, sink->QueryInterface(__uuidof(IQvxTaskNotifications5), &out));
    EXPECT_EQ(E_POINTER, sink->QueryInterface(IID_IUnknown, nullptr));
    CComPtr<IUnknown> a, b;
    ASSERT_EQ(S_OK, sink->QueryInterface(IID_IUnknown, a.OutVoid()));
    ASSERT_EQ(S_OK, sink->QueryInterface(__uuidof(IQvxTaskNotifications6), b.OutVoid()));
    EXPECT_EQ(a.Get(), b.Get());
}

TEST_F(NotificationSinks, OrvidOperationsSwapThePairsOfPlaces)
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
    IUnknown* host = sink->Unknown();
    void* none = nullptr;
    EXPECT_EQ(S_OK, CallSlot(host, 0, none, none));
    EXPECT_EQ(S_OK, CallSlot(host, 1, none));
    EXPECT_EQ(S_OK, CallSlot(host, 2, none));
    EXPECT_EQ(S_OK, CallSlot(host, 3, none, none));
    EXPECT_EQ(S_OK, CallSlot(host, 6, none));
    EXPECT_EQ(S_OK, CallSlot(host, 7, none));
    EXPECT_EQ(S_OK, CallSlot(host, 8, none));
    EXPECT_EQ(S_OK, CallSlot(host, 9, none));
    EXPECT_EQ(S_OK, CallSlot(host, 12, none, none));
    EXPECT_EQ(S_OK, CallSlot(host, 13, none));
    EXPECT_EQ(S_OK, CallSlot(host, 16, none));
    std::vector<std::string> expected = {"OnChannelDefaultsChanged", "Reserved1", "OnSelectionsChanged",
                                         "OnGroupDefaultsChanged", "OnHostGoingAway", "Reserved7",
                                         "OnTimeFormatChanged", "OnEventPrioritiesChanged", "OnEventDefaultsChanged",
                                         "OnTimeDigitsChanged", "Reserved16"};
    EXPECT_EQ(expected, Calls);
    // In the receiver, interface operation 1 stands at place 0 and operation 0 at place 1.
    using Place = void (COrvidNotificationsReceiver::*)(IQvxOrvid*);
    Place first = &COrvidNotificationsReceiver::Reserved1;
    (receiver.*first)(nullptr);
    EXPECT_EQ("Reserved1", Calls.back());
}

TEST_F(NotificationSinks, GroupOperationsSwapPairsAndTheQueryAnswers)
{
    class CRecorder : public CGroupNotifications2Receiver
    {
    public:
        QVX_RECORD(OnGroupChanged, IQvxGroup*)
        QVX_RECORD(OnGroupContentsChanged, IQvxGroup*)
        QVX_RECORD(OnGroupGoingAway, IQvxGroup*)
        bool QueryGroupRemoval(IQvxGroup*) override { Calls.push_back("QueryGroupRemoval"); return Answer; }
        QVX_RECORD(OnMemberAdded, IQvxGroup*, BSTR)
        QVX_RECORD(OnMemberRemoved, IQvxGroup*, BSTR)
        bool Answer = false;
    } receiver;
    using CSink = CGroupNotifications2Sink<CBaseMultiSourceSink<IQvxGroupNotifications2>>;
    CComPtr<CSink> sink = CreateSink<CSink>(&receiver);
    ASSERT_TRUE(sink);
    IUnknown* host = sink->Unknown();
    IQvxGroup* group = nullptr;
    CBstr name(L"Speed");
    EXPECT_EQ(S_OK, CallSlot(host, 0, group));
    EXPECT_EQ(S_OK, CallSlot(host, 1, group));
    EXPECT_EQ(S_FALSE, CallSlot(host, 2, group));
    receiver.Answer = true;
    EXPECT_EQ(S_OK, CallSlot(host, 2, group));
    EXPECT_EQ(S_OK, CallSlot(host, 3, group));
    EXPECT_EQ(S_OK, CallSlot(host, 4, group, name.Get()));
    EXPECT_EQ(S_OK, CallSlot(host, 5, group, name.Get()));
    std::vector<std::string> expected = {"OnGroupContentsChanged", "OnGroupChanged", "QueryGroupRemoval",
                                         "QueryGroupRemoval", "OnGroupGoingAway", "OnMemberRemoved", "OnMemberAdded"};
    EXPECT_EQ(expected, Calls);
    // With the receiver gone the query lets the group go.
    sink->Disconnect();
    EXPECT_EQ(S_OK, CallSlot(host, 2, group));
    EXPECT_EQ(7u, Calls.size());
}

TEST_F(NotificationSinks, TransactionFailureAndProgressChangePlaces)
{
    class CRecorder : public CTransactionNotificationsReceiver
    {
    public:
        QVX_RECORD(OnTransactionStarted, IUnknown*)
        QVX_RECORD(OnTransactionEnded, IUnknown*)
        void OnTransactionFailed(IUnknown*, BSTR message) override { Calls.push_back("OnTransactionFailed"); Message = message; }
        QVX_RECORD(OnTransactionProgress, IUnknown*, long)
        std::wstring Message;
    } receiver;
    using CSink = CTransactionNotificationsSink<CBaseSingleSourceSink<IQvxTransactionNotifications>>;
    CComPtr<CSink> sink = CreateSink<CSink>(&receiver);
    ASSERT_TRUE(sink);
    CBstr message(L"disk full");
    CallSlot(sink->Unknown(), 2, static_cast<IUnknown*>(nullptr), 50L);
    CallSlot(sink->Unknown(), 3, static_cast<IUnknown*>(nullptr), message.Get());
    EXPECT_EQ((std::vector<std::string>{"OnTransactionProgress", "OnTransactionFailed"}), Calls);
    EXPECT_EQ(L"disk full", receiver.Message);
}

TEST_F(NotificationSinks, TimesByValueReachTheReceiverAsCopies)
{
    class CRecorder : public CDataNotificationsReceiver, public CLapMarkersNotificationsReceiver
    {
    public:
        void OnDataChanged(IUnknown*, qvx::time* from, qvx::time* to) override
        {
            From = *from;
            To = *to;
            *from = 0;   // a receiver may use the copies as it likes
        }
        void OnTimeRangeChanged(IUnknown*, qvx::time* from, qvx::time* to) override { From = *from; To = *to; }
        qvx::time From = 0, To = 0;
    } receiver;
    using CDataSink = CDataNotificationsSink<CBaseSingleSourceSink<IQvxDataNotifications>>;
    using CLapSink = CLapMarkersNotificationsSink<CBaseSingleSourceSink<IQvxLapMarkersNotifications>>;
    CComPtr<CDataSink> data = CreateSink<CDataSink>(static_cast<CDataNotificationsReceiver*>(&receiver));
    CComPtr<CLapSink> laps = CreateSink<CLapSink>(static_cast<CLapMarkersNotificationsReceiver*>(&receiver));
    ASSERT_TRUE(data && laps);
    const qvx::time from = 0x7000000000000001, to = 0x7000000000000002;
    EXPECT_EQ(S_OK, CallSlot(data->Unknown(), 0, static_cast<IUnknown*>(nullptr), from, to));
    EXPECT_EQ(from, receiver.From);
    EXPECT_EQ(to, receiver.To);
    EXPECT_EQ(S_OK, CallSlot(laps->Unknown(), 1, static_cast<IUnknown*>(nullptr), qvx::time(-5), qvx::time(9)));
    EXPECT_EQ(-5, receiver.From);
    EXPECT_EQ(9, receiver.To);
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
    using CSelectionSink = CDataSelectionNotifications3Sink<CBaseSingleSourceSink<IQvxDataSelectionNotifications3>>;
    using CZoomSink = CZoomStackNotifications3Sink<CBaseSingleSourceSink<IQvxZoomStackNotifications3>>;
    using CPropertySink = CPropertySetNotifications2Sink<CBaseMultiSourceSink<IQvxPropertySetNotifications2>>;
    using CProxySink = CChannelProxyNotificationsSink<CBaseSingleSourceSink<IQvxChannelProxyNotifications>>;
    using CStateSink = CSharedStateNotificationsSink<CBaseSingleSourceSink<IQvxSharedStateNotifications>>;
    using COrderingSink = CGroupedOrderingNotificationsSink<CBaseSingleSourceSink<IQvxGroupedOrderingNotifications>>;
    using CFactorySink = CDataFactoryNotificationsSink<CBaseMultiSourceSink<IQvxDataFactoryNotifications>>;
    using CChannelFactorySink = CChannelPropertyFactoryNotifications2Sink<CBaseSingleSourceSink<IQvxChannelPropertyFactoryNotifications2>>;
    using CGroupFactorySink = CGroupFactoryNotificationsSink<CBaseSingleSourceSink<IQvxGroupFactoryNotifications>>;
    using CEventFactorySink = CEventPropertyFactoryNotificationsSink<CBaseSingleSourceSink<IQvxEventPropertyFactoryNotifications>>;
    auto selection = CreateSink<CSelectionSink>(static_cast<CDataSelectionNotifications3Receiver*>(&r));
    auto zoom = CreateSink<CZoomSink>(static_cast<CZoomStackNotifications3Receiver*>(&r));
    auto property = CreateSink<CPropertySink>(static_cast<CPropertySetNotifications2Receiver*>(&r));
    auto proxy = CreateSink<CProxySink>(static_cast<CChannelProxyNotificationsReceiver*>(&r));
    auto state = CreateSink<CStateSink>(static_cast<CSharedStateNotificationsReceiver*>(&r));
    auto ordering = CreateSink<COrderingSink>(static_cast<CGroupedOrderingNotificationsReceiver*>(&r));
    auto factory = CreateSink<CFactorySink>(static_cast<CDataFactoryNotificationsReceiver*>(&r));
    auto channelFactory = CreateSink<CChannelFactorySink>(static_cast<CChannelPropertyFactoryNotifications2Receiver*>(&r));
    auto groupFactory = CreateSink<CGroupFactorySink>(static_cast<CGroupFactoryNotificationsReceiver*>(&r));
    auto eventFactory = CreateSink<CEventFactorySink>(static_cast<CEventPropertyFactoryNotificationsReceiver*>(&r));
    void* none = nullptr;
    CBstr name(L"x");
    long uses = 3;
    CallSlot(selection->Unknown(), 0, none);
    CallSlot(selection->Unknown(), 5, none);
    CallSlot(selection->Unknown(), 8, none);
    CallSlot(selection->Unknown(), 9, none);
    CallSlot(zoom->Unknown(), 0, none);
    CallSlot(zoom->Unknown(), 3, none);
    CallSlot(property->Unknown(), 1, none);
    CallSlot(proxy->Unknown(), 0, none);
    CallSlot(state->Unknown(), 1, none);
    CallSlot(ordering->Unknown(), 0, none);
    CallSlot(factory->Unknown(), 2, none, 1L, name.Get());
    CallSlot(channelFactory->Unknown(), 3, none);
    CallSlot(groupFactory->Unknown(), 2, none);
    CallSlot(eventFactory->Unknown(), 3, none, name.Get(), &uses);
    std::vector<std::string> expected = {"OnColorChanged", "OnRealTimeChanged", "OnChannelsChanged",
                                         "OnSelectionTextChanged", "OnRangeChanged", "OnOtherChange",
                                         "OnPropertySetGoingAway", "OnValueOffsetChanged", "OnSharedStateGoingAway",
                                         "OnGroupedOrderingChanged", "OnItemRemoved", "OnParentChanged",
                                         "OnGroupsChanged", "QueryPropertySetUses"};
    EXPECT_EQ(expected, Calls);
    EXPECT_EQ(0, uses);
}

TEST_F(NotificationSinks, SingleSourceAdvisesOnceAndForgetsItsCookie)
{
    CTaskRecorder receiver;
    CComPtr<CTaskSink> sink = CreateSink<CTaskSink>(&receiver);
    CComPtr<IUnknown> holder;
    auto* source = MakeSource(holder);
    ASSERT_TRUE(sink->Advise(holder));
    EXPECT_TRUE(sink->Advise(holder));
    EXPECT_EQ(1, source->Advises);
    EXPECT_TRUE(IsEqualIID(__uuidof(IQvxTaskNotifications), source->Iid));
    EXPECT_EQ(7u, sink->GetCookie());
    // A failed Unadvise forgets the cookie all the same.
    source->FailUnadvise = true;
    sink->Unadvise(holder);
    EXPECT_EQ(0u, sink->GetCookie());
    EXPECT_EQ(std::vector<ULONG>{7}, source->Unadvised);
    // The same sink is advised on the next source.
    source->FailUnadvise = false;
    EXPECT_TRUE(sink->Advise(holder));
    EXPECT_EQ(8u, sink->GetCookie());
    CloseSink(sink, holder);
    EXPECT_EQ((std::vector<ULONG>{7, 8}), source->Unadvised);
}

TEST_F(NotificationSinks, FailedAdviseLeavesTheSinkUnadvisedAndTriesAgain)
{
    CTaskRecorder receiver;
    CComPtr<CTaskSink> sink = CreateSink<CTaskSink>(&receiver);
    CComPtr<IUnknown> holder, silent;
    auto* source = MakeSource(holder);
    MakeSilent(silent);
    EXPECT_FALSE(sink->Advise(silent));
    source->FailAdvise = true;
    EXPECT_FALSE(sink->Advise(holder));
    EXPECT_FALSE(sink->IsAdvised());
    source->FailAdvise = false;
    EXPECT_TRUE(sink->Advise(holder));
    EXPECT_EQ(2, source->Advises);
    // Unadvise without a cookie calls nothing.
    CloseSink(sink, holder);
    CComPtr<CTaskSink> unused = CreateSink<CTaskSink>(&receiver);
    unused->Unadvise(holder);
    EXPECT_EQ(1u, source->Unadvised.size());
}

TEST_F(NotificationSinks, MultiSourceAddsEachSourceOnce)
{
    class CRecorder : public CDataSelectionNotificationsReceiver
    {
    public:
        void OnSelectionGoingAway(IQvxDataSelection* s) override { Sources.push_back(s); }
        std::vector<IQvxDataSelection*> Sources;
    } receiver;
    using CSink = CDataSelectionNotificationsSink<CBaseMultiSourceSink<IQvxDataSelectionNotifications>>;
    CComPtr<CSink> sink = CreateSink<CSink>(&receiver);
    CComPtr<IUnknown> first, second, silent;
    auto* a = MakeSource(first);
    auto* b = MakeSource(second);
    MakeSilent(silent);
    CComPtr<IQvxNotifications> firstAgain;
    ASSERT_EQ(S_OK, first->QueryInterface(__uuidof(IQvxNotifications), firstAgain.OutVoid()));

    EXPECT_TRUE(sink->Add(first));
    EXPECT_FALSE(sink->Add(firstAgain));   // the same identity through another pointer
    EXPECT_EQ(1, a->Advises);
    EXPECT_FALSE(sink->Add(silent));
    EXPECT_EQ(1u, sink->Count());
    EXPECT_FALSE(sink->Remove(second));
    EXPECT_TRUE(b->Unadvised.empty());
    EXPECT_TRUE(sink->Add(second));
    EXPECT_TRUE(sink->Contains(second));

    // Both sources reach the one receiver, each naming itself.
    auto* host1 = reinterpret_cast<IQvxDataSelectionNotifications*>(a->Sink.Get());
    auto* host2 = reinterpret_cast<IQvxDataSelectionNotifications*>(b->Sink.Get());
    ASSERT_TRUE(host1 && host2);
    auto* s1 = reinterpret_cast<IQvxDataSelection*>(1);
    auto* s2 = reinterpret_cast<IQvxDataSelection*>(2);
    host1->OnSelectionGoingAway(s1);
    host2->OnSelectionGoingAway(s2);
    EXPECT_EQ((std::vector<IQvxDataSelection*>{s1, s2}), receiver.Sources);

    EXPECT_TRUE(sink->Remove(first));
    EXPECT_EQ(std::vector<ULONG>{7}, a->Unadvised);
    EXPECT_FALSE(sink->Remove(first));
    CloseSink(sink);
    EXPECT_EQ(std::vector<ULONG>{7}, b->Unadvised);
}

TEST_F(NotificationSinks, MultiSourceKeysKeepSourcesAliveUntilRemoved)
{
    class CRecorder : public CPropertySetNotifications2Receiver {} receiver;
    using CSink = CPropertySetNotifications2Sink<CBaseMultiSourceSink<IQvxPropertySetNotifications2>>;
    CComPtr<CSink> sink = CreateSink<CSink>(&receiver);
    LONG before = CComModule::Instance().ObjectCount();
    {
        CComPtr<IUnknown> source;
        MakeSource(source);
        ASSERT_TRUE(sink->Add(source));
    }
    // The source lives on in the map, and with it the sink it holds.
    EXPECT_EQ(before + 1, CComModule::Instance().ObjectCount());
    sink->Clear();
    EXPECT_EQ(before, CComModule::Instance().ObjectCount());
}
