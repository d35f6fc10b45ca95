// The notification sinks: forwarding by operation place, answers, identity, lifetime after the
// receiver has gone, and advising on one or many sources.
#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <vector>
#include "com/AutomationTypes.h"
#include "config/DataNotifications.h"
#include "config/DataSelectionNotifications.h"
#include "config/GroupNotifications.h"
#include "config/PropertyFactoryNotifications.h"
#include "config/TaskNotifications.h"
#include "tests/TestSource.h"

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

qvxtest::CTestSource* MakeSource(CComPtr<IUnknown>& holder)
{
    EXPECT_EQ(S_OK, CComObject<CTestSourceObject>::Create(nullptr, IID_IUnknown, holder.OutVoid()));
    return static_cast<CTestSourceObject*>(reinterpret_cast<IQvxNotifications*>(holder.Get()));
}

class CTaskRecorder : public CTaskNotifications6Receiver
{
public:
    QVX_RECORD(OnCurrentSelectionChanged, IQvxTask*)
    QVX_RECORD(OnTaskGoingAway, IQvxTask*)
    QVX_RECORD(Reserved6, IQvxTask*)
    QVX_RECORD(OnRunningChanged, IQvxTask*)
    void OnCursorChanged(IQvxTask*, qvx::time time) override { Calls.push_back("OnCursorChanged"); Cursor = time; }
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

// Interface operations 6, 7 and 8 reach receiver places 7, 8 and 6, in the first version as in the last.
TEST_F(NotificationSinks, TaskOperationsReachTheirReceiverPlacesInEveryVersion)
{
    CComPtr<CTask6Sink> sink = CreateSink<CTask6Sink>(&Task);
    CComPtr<CTaskSink> first = CreateSink<CTaskSink>(&Task);
    CallSlots(sink->Unknown(), {0, 6, 7, 8});
    EXPECT_EQ(S_OK, CallSlot(sink->Unknown(), 9, static_cast<IQvxTask*>(nullptr), qvx::time(123456789012345)));
    CallSlots(first->Unknown(), {6, 7, 8});
    EXPECT_EQ((Names{"OnCurrentSelectionChanged", "Reserved6", "OnRunningChanged", "OnTaskGoingAway", "OnCursorChanged",
                     "Reserved6", "OnRunningChanged", "OnTaskGoingAway"}), Calls);
    EXPECT_EQ(123456789012345, Task.Cursor);
}

TEST_F(NotificationSinks, ASinkHasOneInterfaceAndOnceCutOffCallsNothingAndAnswersOk)
{
    const LONG before = CComModule::Instance().ObjectCount();
    CComPtr<CTask6Sink> sink = CreateSink<CTask6Sink>(&Task);
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
    EXPECT_TRUE(hostHeld->OnRunningChanged(nullptr) == S_OK && hostHeld->OnCursorChanged(nullptr, 5) == S_OK);
    EXPECT_TRUE(Calls.empty());
    // The host's last release destroys it.
    EXPECT_EQ(before + 1, CComModule::Instance().ObjectCount());
    hostHeld = nullptr;
    EXPECT_EQ(before, CComModule::Instance().ObjectCount());
}

// The group's removal query gives the receiver's answer, and lets the group go once the receiver
// is gone.
TEST_F(NotificationSinks, TheGroupsRemovalQueryAnswersUntilTheReceiverIsGone)
{
    class CGroupRecorder : public CGroupNotifications2Receiver
    {
    public:
        bool QueryGroupRemoval(IQvxGroup*) override { return false; }
    } group;
    using CGroupSink = CGroupNotifications2Sink<CBaseMultiSourceSink<IQvxGroupNotifications2>>;
    CComPtr<CGroupSink> sink = CreateSink<CGroupSink>(&group);
    void* none = nullptr;
    EXPECT_EQ(S_FALSE, CallSlot(sink->Unknown(), 2, none));
    sink->Disconnect();
    EXPECT_EQ(S_OK, CallSlot(sink->Unknown(), 2, none));
}

// Times reach the receiver whole, as copies that it may change.
TEST_F(NotificationSinks, TimesReachTheReceiverAsCopies)
{
    class CRecorder : public CDataNotificationsReceiver
    {
    public:
        void OnDataChanged(IUnknown*, qvx::time* from, qvx::time* to) override
        {
            From = *from;
            To = *to;
            *from = 0;
        }
        qvx::time From = 0, To = 0;
    } r;
    auto data = CreateSink<CDataNotificationsSink<CBaseSingleSourceSink<IQvxDataNotifications>>>(&r);
    const qvx::time from = 0x7000000000000001, to = 0x7000000000000002;
    EXPECT_EQ(S_OK, CallSlot(data->Unknown(), 0, static_cast<IUnknown*>(nullptr), from, to));
    EXPECT_TRUE(r.From == from && r.To == to);
}

// The later versions of a family forward behind the first; an answer of the receiver's own comes back.
TEST_F(NotificationSinks, LaterVersionsAndAnswersOfTheReceiverForwardInOrder)
{
    class CRecorder : public CDataSelectionNotifications3Receiver, public CEventPropertyFactoryNotificationsReceiver
    {
    public:
        QVX_RECORD(OnColorChanged, IQvxDataSelection*)
        QVX_RECORD(OnChannelsChanged, IQvxDataSelection*)
        QVX_RECORD(OnSelectionTextChanged, IQvxDataSelection*)
        void QueryPropertySetUses(IQvxPropertyFactory*, BSTR, long* uses) override
        {
            Calls.push_back("QueryPropertySetUses");
            *uses = 0;
        }
    } r;
    auto selection =
        CreateSink<CDataSelectionNotifications3Sink<CBaseSingleSourceSink<IQvxDataSelectionNotifications3>>>(&r);
    CallSlots(selection->Unknown(), {0, 8, 9});
    void* none = nullptr;
    CBstr name(L"x");
    long uses = 3;
    auto events = CreateSink<
        CEventPropertyFactoryNotificationsSink<CBaseSingleSourceSink<IQvxEventPropertyFactoryNotifications>>>(&r);
    CallSlot(events->Unknown(), 3, none, name.Get(), &uses);
    EXPECT_EQ((Names{"OnColorChanged", "OnChannelsChanged", "OnSelectionTextChanged", "QueryPropertySetUses"}), Calls);
    EXPECT_EQ(0, uses);
}

TEST_F(NotificationSinks, SingleSourceAdvisesOnceAndForgetsItsCookieEvenWhenUnadviseFails)
{
    CComPtr<CTaskSink> sink = CreateSink<CTaskSink>(&Task);
    CComPtr<IUnknown> holder;
    auto* source = MakeSource(holder);
    EXPECT_FALSE(sink->Advise(CreateSink<CTaskSink>(&Task)->Unknown())) << "a sink is no source";
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
    class CRecorder : public CDataSelectionNotificationsReceiver {} receiver;
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
    EXPECT_FALSE(sink->Add(CreateSink<CTaskSink>(&Task)->Unknown())) << "a sink is no source";
    EXPECT_EQ(1u, sink->Count());
    EXPECT_FALSE(sink->Remove(second));
    EXPECT_TRUE(b->Unadvised.empty());
    EXPECT_TRUE(sink->Add(second) && sink->Contains(second));
    EXPECT_TRUE(sink->Remove(first) && a->Unadvised.size() == 1 && !sink->Remove(first));
    // The map holds the source that nobody else holds, until the sink lets go.
    const LONG objects = CComModule::Instance().ObjectCount();
    second = nullptr;
    EXPECT_EQ(objects, CComModule::Instance().ObjectCount());
    sink->Clear();
    EXPECT_EQ(objects - 1, CComModule::Instance().ObjectCount());
    CloseSink(sink);
}

} // namespace
