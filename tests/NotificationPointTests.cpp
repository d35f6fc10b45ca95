// The control's notification points through IQvxNotifications: cookies, refusals, reuse of
// freed entries, advising by name, and firings that survive sinks and owners leaving.
#include <gtest/gtest.h>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>
#include "com/AutomationTypes.h"
#include "com/ComObject.h"
#include "Linnograph.h"
#include "control/NotificationPoints.h"
#include "tests/OleTestSupport.h"

namespace {

// The control's six points, fired directly. Its memory is filled with a pattern rather than
// freed when it is released, so that a firing that outlives it fails at once.
class CPointOwner : public CComRoot, public CControlNotificationPoints
{
public:
    QVX_BEGIN_INTERFACES(CPointOwner)
        QVX_INTERFACE(CPointOwner, IQvxNotifications),
    QVX_END_INTERFACES()
    static void operator delete(void* memory, std::size_t size) { std::memset(memory, 0xDD, size); }
};

using Names = std::vector<std::string>;
Names Heard;

// A host's sink for every notification of the control: it records each call under its name, can
// act inside a call, and answers with Result.
class CRecorder : public CComRoot,
                  public IQvxControlNotifications2,
                  public IQvx1DChannelConfigNotifications,
                  public IQvxNavigateToPropertiesNotifications,
                  public IQvxSingleDataSelectionControlNotifications
{
public:
    QVX_BEGIN_INTERFACES(CRecorder)
        QVX_INTERFACE(CRecorder, IQvxControlNotifications2),
        QVX_INTERFACE_VIA(CRecorder, IQvxControlNotifications, IQvxControlNotifications2),
        QVX_INTERFACE(CRecorder, IQvx1DChannelConfigNotifications),
        QVX_INTERFACE(CRecorder, IQvxNavigateToPropertiesNotifications),
        QVX_INTERFACE(CRecorder, IQvxSingleDataSelectionControlNotifications),
    QVX_END_INTERFACES()
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override = 0;
    STDMETHODIMP_(ULONG) AddRef() override = 0;
    STDMETHODIMP_(ULONG) Release() override = 0;

    STDMETHODIMP OnTaskChanged(IQvxControl* control, IQvxTask*) override { return Record("task", control); }
    STDMETHODIMP OnHostAttached(IQvxControl* control, IUnknown*) override { return Record("host", control); }
    STDMETHODIMP OnChannelsChanged(IQvxControl* control) override { return Record("channels", control); }
    STDMETHODIMP OnActiveChanged(IQvxControl* control) override { return Record("active", control); }
    STDMETHODIMP OnEventSetsChanged(IQvxControl* control) override { return Record("eventsets", control); }
    STDMETHODIMP OnChannelListChanged(IQvx1DChannelConfig*) override { return Record("list", nullptr); }
    STDMETHODIMP OnShownChannelsChanged(IQvx1DChannelConfig*) override { return Record("shown", nullptr); }
    STDMETHODIMP OnNavigateToProperties(IQvxControl* control, long kind, SAFEARRAY* names) override
    {
        CSafeArrayAccess<BSTR> access(names);
        const std::wstring name = access.Valid() && access.Size() == 1 ? access[0] : L"?";
        return Record("navigate " + std::to_string(kind) + ":" + std::string(name.begin(), name.end()), control);
    }
    STDMETHODIMP OnSelectionChanged(IUnknown*) override { return Record("selection", nullptr); }

    std::string Name;
    HRESULT Result = S_OK;
    IQvxControl* SeenControl = nullptr;
    std::function<void()> During;

private:
    HRESULT Record(const std::string& what, IQvxControl* control)
    {
        Heard.push_back(Name + ":" + what);
        SeenControl = control;
        if (During) During();
        return Result;
    }
};

ULONG Cookie(ULONG entry, ULONG point) { return (entry << 16) | point; }

ULONG RefCount(IUnknown* object)
{
    object->AddRef();
    return object->Release();
}

class NotificationPoints : public testing::Test
{
protected:
    void SetUp() override
    {
        Heard.clear();
        ASSERT_EQ(S_OK, CComObject<CPointOwner>::CreateInstance(Notifications));
        Owner = static_cast<CPointOwner*>(Notifications.Get());
    }

    CComPtr<CRecorder> MakeRecorder(const std::string& name)
    {
        CComPtr<IUnknown> unknown;
        EXPECT_EQ(S_OK, CComObject<CRecorder>::CreateInstance(unknown));
        CComPtr<CRecorder> recorder(static_cast<CRecorder*>(static_cast<IQvxControlNotifications2*>(unknown.Get())));
        recorder->Name = name;
        return recorder;
    }

    ULONG AdviseOn(const IID& iid, CRecorder* recorder)
    {
        ULONG cookie = 0;
        EXPECT_EQ(S_OK, Notifications->Advise(iid, static_cast<IQvxControlNotifications2*>(recorder), &cookie));
        return cookie;
    }

    // The owner as the firings name the control: only its IUnknown part is ever called.
    IQvxControl* OwnerAsControl() const
    {
        return reinterpret_cast<IQvxControl*>(static_cast<IQvxNotifications*>(Owner));
    }

    CComPtr<IQvxNotifications> Notifications;
    CPointOwner* Owner = nullptr;
};

// A refused advise gives cookie 0, holds nothing and takes no entry; unadvise refuses cookies of
// no point (E_FAIL) or of no entry (E_INVALIDARG). The most recently freed entry is reused first,
// and entries are fired in their order, not in the order of advising.
TEST_F(NotificationPoints, AdviseUnadviseAndTheReuseOfFreedEntries)
{
    CComPtr<CRecorder> a = MakeRecorder("a"), b = MakeRecorder("b"), c = MakeRecorder("c");
    IUnknown* unknown = static_cast<IQvxControlNotifications2*>(a.Get());
    CComPtr<IUnknown> stranger;   // serves none of the notification interfaces
    ASSERT_EQ(S_OK, CComObject<CPointOwner>::CreateInstance(stranger));
    const ULONG before = RefCount(stranger);
    ULONG cookie = 99;
    EXPECT_EQ(E_FAIL, Notifications->Advise(IID_IUnknown, unknown, &cookie)) << "an interface of no point";
    EXPECT_EQ(0u, cookie);
    cookie = 99;
    EXPECT_EQ(E_NOINTERFACE, Notifications->Advise(IID_IQvxControlNotifications, stranger, &cookie));
    EXPECT_EQ(0u, cookie);
    EXPECT_EQ(E_POINTER, Notifications->Advise(IID_IQvxControlNotifications, nullptr, &cookie));
    EXPECT_EQ(E_POINTER, Notifications->Advise(IID_IQvxControlNotifications, unknown, nullptr));
    EXPECT_EQ(before, RefCount(stranger));
    cookie = AdviseOn(IID_IQvxControlNotifications, a);
    EXPECT_EQ(Cookie(1, 1), cookie);
    for (ULONG wrong : {0ul, Cookie(1, 7)}) EXPECT_EQ(E_FAIL, Notifications->Unadvise(wrong)) << wrong;
    for (ULONG wrong : {Cookie(0, 1), Cookie(2, 1), Cookie(1, 2)})
        EXPECT_EQ(E_INVALIDARG, Notifications->Unadvise(wrong)) << wrong;
    EXPECT_EQ(S_OK, Notifications->Unadvise(cookie));
    // The entry is free now: a second unadvise is refused and frees nothing twice.
    EXPECT_EQ(E_INVALIDARG, Notifications->Unadvise(cookie));
    EXPECT_EQ(Cookie(1, 1), AdviseOn(IID_IQvxControlNotifications, b));
    EXPECT_EQ(Cookie(2, 1), AdviseOn(IID_IQvxControlNotifications, c));
    const ULONG first = AdviseOn(IID_IQvx1DChannelConfigNotifications, a);
    AdviseOn(IID_IQvx1DChannelConfigNotifications, b);
    const ULONG third = AdviseOn(IID_IQvx1DChannelConfigNotifications, c);
    EXPECT_EQ(S_OK, Notifications->Unadvise(first));
    EXPECT_EQ(S_OK, Notifications->Unadvise(third));
    EXPECT_EQ(Cookie(3, 3), AdviseOn(IID_IQvx1DChannelConfigNotifications, a));
    EXPECT_EQ(Cookie(1, 3), AdviseOn(IID_IQvx1DChannelConfigNotifications, c));
    EXPECT_EQ(Cookie(4, 3), AdviseOn(IID_IQvx1DChannelConfigNotifications, b));
    Owner->Fire_OnChannelListChanged(nullptr);
    EXPECT_EQ((Names{"c:list", "b:list", "a:list", "b:list"}), Heard);
}

// Control notifications reach both control points, the first point first, and give their caller
// the last sink's result; each configuration notification reaches its own point only.
TEST_F(NotificationPoints, EachNotificationReachesItsPointsAndAnswersWithTheLastSink)
{
    CComPtr<CRecorder> one = MakeRecorder("one"), two = MakeRecorder("two");
    one->Result = E_ABORT;
    EXPECT_EQ(S_OK, Owner->Fire_OnActiveChanged(nullptr));
    AdviseOn(IID_IQvxControlNotifications2, two);
    AdviseOn(IID_IQvxControlNotifications, one);
    IQvxControl* control = OwnerAsControl();
    EXPECT_EQ(S_OK, Owner->Fire_OnTaskChanged(control, nullptr));
    two->Result = S_FALSE;
    EXPECT_EQ(S_FALSE, Owner->Fire_OnHostAttached(control, nullptr));
    Owner->Fire_OnEventSetsChanged(control);
    EXPECT_EQ((Names{"one:task", "two:task", "one:host", "two:host", "two:eventsets"}), Heard);
    EXPECT_TRUE(control == one->SeenControl && control == two->SeenControl);
    two->Result = S_OK;
    EXPECT_EQ(S_OK, Owner->Fire_OnActiveChanged(nullptr));
    Notifications->Unadvise(Cookie(1, 2));
    EXPECT_EQ(E_ABORT, Owner->Fire_OnActiveChanged(nullptr));
    Heard.clear();
    std::vector<CComPtr<CRecorder>> sinks;
    for (const auto& [name, iid] : {std::pair<const char*, const IID*>{"c", &IID_IQvx1DChannelConfigNotifications},
                                    {"n", &IID_IQvxNavigateToPropertiesNotifications},
                                    {"s", &IID_IQvxSingleDataSelectionControlNotifications}})
        AdviseOn(*iid, sinks.emplace_back(MakeRecorder(name)));
    Owner->Fire_OnShownChannelsChanged(nullptr);
    CBstr name(L"Engine speed");
    Owner->Fire_OnNavigateToProperties(nullptr, 1, name.Get());
    Owner->Fire_OnSelectionChanged(nullptr);
    EXPECT_EQ((Names{"c:shown", "n:navigate 1:Engine speed", "s:selection"}), Heard);
}

// Sinks that come and go while a notification goes out: those taken out before their turn are
// not called, those that join hear the next one, the others are told once each. Two go out.
TEST_F(NotificationPoints, SinksThatComeAndGoDuringAFiring)
{
    struct CRow
    {
        const char* Name;
        int Unadvised;   // the sink that the first takes out, from 0, or -1 for none
        bool Joins;      // whether the first advises a late sink
        std::vector<std::string> Expected;
    };
    const CRow rows[] = {
        {"the first takes itself out", 0, false, {"a:channels", "b:channels", "c:channels", "b:channels", "c:channels"}},
        {"the first takes the last out", 2, false, {"a:channels", "b:channels", "a:channels", "b:channels"}},
        {"the first advises a late one", -1, true,
         {"a:channels", "b:channels", "c:channels", "a:channels", "b:channels", "c:channels", "late:channels"}},
    };
    for (const CRow& row : rows) {
        SetUp();
        CComPtr<CRecorder> sinks[] = {MakeRecorder("a"), MakeRecorder("b"), MakeRecorder("c")};
        ULONG cookies[3] = {};
        for (int i = 0; i < 3; ++i) cookies[i] = AdviseOn(IID_IQvxControlNotifications, sinks[i]);
        CComPtr<CRecorder> late = MakeRecorder("late");
        bool once = false;
        sinks[0]->During = [&] {
            if (std::exchange(once, true)) return;
            if (row.Unadvised >= 0) Notifications->Unadvise(cookies[row.Unadvised]);
            if (row.Joins) AdviseOn(IID_IQvxControlNotifications, late);
        };
        const ULONG alone = RefCount(static_cast<IQvxControlNotifications2*>(sinks[0].Get()));
        Owner->Fire_OnChannelsChanged(nullptr);
        Owner->Fire_OnChannelsChanged(nullptr);
        EXPECT_EQ(row.Expected, Heard) << row.Name;
        // The firing's own reference on a sink is gone with the call.
        EXPECT_EQ(alone - (row.Unadvised == 0), RefCount(static_cast<IQvxControlNotifications2*>(sinks[0])));
    }
}

// A sink that drops the last reference to the object of the points: the firing holds the
// object, so every sink of both points is still told, and the object goes when it is done.
TEST_F(NotificationPoints, AnOwnerLetGoDuringAFiringLivesUntilItEnds)
{
    for (bool onePoint : {false, true}) {
        SetUp();
        CComPtr<CRecorder> a = MakeRecorder("a"), b = MakeRecorder("b");
        AdviseOn(onePoint ? IID_IQvxControlNotifications2 : IID_IQvxControlNotifications, a);
        AdviseOn(IID_IQvxControlNotifications2, b);
        const LONG objects = CComModule::Instance().ObjectCount();
        a->During = [&] { Notifications = nullptr; };
        if (onePoint) Owner->Fire_OnEventSetsChanged(OwnerAsControl());
        else Owner->Fire_OnTaskChanged(OwnerAsControl(), nullptr);
        EXPECT_EQ(onePoint ? (Names{"a:eventsets", "b:eventsets"}) : (Names{"a:task", "b:task"}), Heard);
        EXPECT_EQ(objects - 1, CComModule::Instance().ObjectCount());
    }
}

TEST_F(NotificationPoints, APointHoldsAtMost65535Sinks)
{
    CComPtr<CRecorder> sink = MakeRecorder("a");
    IUnknown* unknown = static_cast<IQvxControlNotifications2*>(sink.Get());
    ULONG cookie = 0;
    for (ULONG entry = 1; entry <= 0xFFFF; ++entry) {
        ASSERT_EQ(S_OK, Notifications->Advise(IID_IQvxSingleDataSelectionControlNotifications, unknown, &cookie));
        ASSERT_EQ(Cookie(entry, 6), cookie);
    }
    EXPECT_EQ(E_FAIL, Notifications->Advise(IID_IQvxSingleDataSelectionControlNotifications, unknown, &cookie));
    EXPECT_EQ(S_OK, Notifications->Unadvise(Cookie(70, 6)));
    EXPECT_EQ(S_OK, Notifications->Advise(IID_IQvxSingleDataSelectionControlNotifications, unknown, &cookie));
    EXPECT_EQ(Cookie(70, 6), cookie);
}

// The control made from its registration, as a host makes it.
class ControlNotificationPoints : public NotificationPoints
{
protected:
    void SetUp() override
    {
        NotificationPoints::SetUp();
        ASSERT_EQ(S_OK, CoCreateInstance(CLSID_LinnographCtl, nullptr, CLSCTX_INPROC_SERVER,
                                         __uuidof(IQvxNotifications), Control.OutVoid()));
    }
    qvxtest::COleScope Ole;
    CComPtr<IQvxNotifications> Control;
};

TEST_F(ControlNotificationPoints, TheControlOffersItsPointsAlsoByNameAndLetsGoOfItsSinksWhenItGoes)
{
    CComPtr<CRecorder> sink = MakeRecorder("a");
    IUnknown* unknown = static_cast<IQvxControlNotifications2*>(sink.Get());
    const ULONG alone = RefCount(unknown);
    ULONG cookie = 0;
    EXPECT_EQ(S_OK, Control->Advise(IID_IQvx1DChannelConfigNotifications, unknown, &cookie));
    EXPECT_EQ(Cookie(1, 3), cookie);
    CBstr name(L"{00E5799A-2BA6-4D97-AAE7-79D7678604D4}");
    EXPECT_EQ(S_OK, Control->AdviseByName(name.Get(), unknown, &cookie));
    EXPECT_EQ(Cookie(2, 3), cookie);
    CBstr garbage(L"not an interface id"), ordering(L"{5623A743-B049-45F3-BF69-67E40812ADC2}");
    EXPECT_EQ(E_FAIL, Control->AdviseByName(garbage.Get(), unknown, &cookie));
    EXPECT_EQ(0u, cookie);
    EXPECT_EQ(E_FAIL, Control->AdviseByName(ordering.Get(), unknown, &cookie));
    EXPECT_EQ(E_POINTER, Control->AdviseByName(name.Get(), nullptr, &cookie));
    EXPECT_EQ(S_OK, Control->Unadvise(Cookie(1, 3)));
    EXPECT_EQ(E_INVALIDARG, Control->Unadvise(Cookie(1, 3)));
    EXPECT_EQ(alone + 1, RefCount(unknown));
    Control = nullptr;
    EXPECT_EQ(alone, RefCount(unknown));
}

} // namespace
