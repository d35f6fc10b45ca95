// The data item's flag word and the fan-out of a change to its listeners, including listeners
// that come and go while they are being told.
#include <gtest/gtest.h>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include "control/ChartRegionBase.h"
#include "config/DataNotifications.h"
#include "config/NotificationSinks.h"
#include "items/DataItemBase.h"
#include "items/ItemFlags.h"
#include "tests/TestSource.h"

namespace {

using Calls = std::vector<std::string>;

// A listener that records what it is told in a shared log, and runs a test's action when told.
class CRecordingRegion : public CChartRegionBase
{
public:
    CRecordingRegion(std::string name, Calls& log) : CChartRegionBase(nullptr), Name(std::move(name)), Log(log) {}
    void OnDataItemChanged(CDataItemBase*, DWORD flags) override
    {
        Log.push_back(Name + ":" + std::to_string(flags));
        if (OnChange) OnChange();
    }
    void OnDataItemRemoved(CDataItemBase* item) override
    {
        Log.push_back(Name + ":removed");
        ListedWhenRemoved = item->HasListener(this);
        if (LeavesOnRemoval) CChartRegionBase::OnDataItemRemoved(item);
    }

    std::string Name;
    Calls& Log;
    std::function<void()> OnChange;
    bool LeavesOnRemoval = true;
    bool ListedWhenRemoved = false;
};

// An item with the regions that listen to it and the log they share.
struct CListenedItem
{
    CRecordingRegion& Listen(const std::string& name)
    {
        Regions.push_back(std::make_unique<CRecordingRegion>(name, Log));
        Item.AddListener(Regions.back().get());
        return *Regions.back();
    }

    Calls Log;
    std::vector<std::unique_ptr<CRecordingRegion>> Regions;
    CDataItemBase Item;
};

class DataItemBaseTest : public testing::Test, public CListenedItem
{
};

} // namespace

TEST_F(DataItemBaseTest, ListenersHearTheFlagsOfTheCallNotTheWordAndAThrowLeavesThemListening)
{
    CRecordingRegion& a = Listen("a");
    Listen("b");
    Item.Flags = 0;
    Item.NotifyChange(TaskYZoomChanged, 1);
    Item.NotifyChange(TaskOrderChanged, 1);
    Item.NotifyChange(TaskCursorStale, 0);   // no fan-out: the bits only
    EXPECT_EQ(Item.Flags, TaskYZoomChanged | TaskOrderChanged | TaskCursorStale);
    a.OnChange = [] { throw std::runtime_error("listener failed"); };
    EXPECT_THROW(Item.NotifyChange(1, 1), std::runtime_error);
    a.OnChange = nullptr;
    Item.NotifyChange(2, 1);
    EXPECT_EQ(Log, (Calls{"a:4", "b:4", "a:16", "b:16", "a:1", "a:2", "b:2"}));
}

// Listeners that come and go while a change goes out: those that left are not told, those that
// joined hear the next change, and the others are told once each, in order. Two changes go out.
TEST_F(DataItemBaseTest, ListenersThatComeAndGoDuringAFanOut)
{
    // A region that leaves its item in its destructor, as every listening region does.
    struct CLeavingRegion : CRecordingRegion
    {
        CLeavingRegion(CDataItemBase& item, Calls& log) : CRecordingRegion("gone", log), Item(item)
        {
            Item.AddListener(this);
        }
        ~CLeavingRegion() override { Item.RemoveListener(this); }
        CDataItemBase& Item;
    };
    struct CRow
    {
        const char* Name;
        std::function<void(CListenedItem&)> Arrange;
        Calls Expected;
    };
    const CRow rows[] = {
        {"one that leaves while told",
         [](CListenedItem& t) {
             t.Listen("a");
             CRecordingRegion& b = t.Listen("b");
             t.Listen("c");
             b.OnChange = [&] { t.Item.RemoveListener(&b); };
         },
         {"a:1", "b:1", "c:1", "a:2", "c:2"}},
        {"two removed by another, one told already",
         [](CListenedItem& t) {
             CRecordingRegion &a = t.Listen("a"), &b = t.Listen("b"), &c = t.Listen("c");
             t.Listen("d");
             b.OnChange = [&] { t.Item.RemoveListener(&a), t.Item.RemoveListener(&c); };
         },
         {"a:1", "b:1", "d:1", "b:2", "d:2"}},
        {"one deleted by another",
         [](CListenedItem& t) {
             CRecordingRegion& a = t.Listen("a");
             auto doomed = std::make_shared<std::unique_ptr<CLeavingRegion>>(std::make_unique<CLeavingRegion>(t.Item, t.Log));
             t.Listen("c");
             a.OnChange = [doomed] { doomed->reset(); };
         },
         {"a:1", "c:1", "a:2", "c:2"}},
        {"one that joins, and a null entry",
         [](CListenedItem& t) {
             t.Item.AddListener(nullptr);
             CRecordingRegion& a = t.Listen("a");
             t.Regions.push_back(std::make_unique<CRecordingRegion>("late", t.Log));
             CRecordingRegion* late = t.Regions.back().get();
             a.OnChange = [&t, late] {
                 if (!t.Item.HasListener(late)) t.Item.AddListener(late);
             };
         },
         {"a:1", "a:2", "late:2"}},
    };
    for (const CRow& row : rows) {
        CListenedItem fixture;
        row.Arrange(fixture);
        fixture.Item.NotifyChange(1, 1);
        fixture.Item.NotifyChange(2, 1);
        EXPECT_EQ(row.Expected, fixture.Log) << row.Name;
        fixture.Item.Listeners.clear();
    }
}

// Each remaining listener is told once, in order, while it is still listed; destruction ends even
// when a listener does not leave, and skips null entries.
TEST(DataItemBaseLifetime, DestructionTellsEachRemainingListenerOnce)
{
    Calls log;
    CRecordingRegion a("a", log), b("b", log), c("c", log);
    a.LeavesOnRemoval = false;
    {
        CDataItemBase item;
        for (CRecordingRegion* region : {&a, static_cast<CRecordingRegion*>(nullptr), &b, &c}) item.AddListener(region);
    }
    EXPECT_EQ(log, (Calls{"a:removed", "b:removed", "c:removed"}));
    EXPECT_TRUE(c.ListedWhenRemoved);
}

// A listener may delete the item that it is told about: the fan-out ends there and touches the
// item no more, even when the heap hands the memory straight to another item.
TEST(DataItemBaseLifetime, AListenerThatDeletesTheItemEndsTheFanOut)
{
    Calls log;
    CRecordingRegion first("first", log), second("second", log);
    alignas(CDataItemBase) unsigned char storage[sizeof(CDataItemBase)];
    CDataItemBase* item = new (storage) CDataItemBase;
    item->AddListener(&first);
    item->AddListener(&second);
    first.OnChange = [&] {
        item->~CDataItemBase();
        new (storage) CDataItemBase;
        std::launder(reinterpret_cast<CDataItemBase*>(storage))->AddListener(&second);
    };
    item->NotifyChange(TaskOrderChanged, 1);
    EXPECT_EQ(log, (Calls{"first:16", "first:removed", "second:removed"}));
    std::launder(reinterpret_cast<CDataItemBase*>(storage))->~CDataItemBase();
}

namespace {

// An item that listens to a host series through a sink of its own, and lets go in its destructor.
class CSeriesItem : public CDataItemBase, public CDataNotificationsReceiver
{
public:
    using CSink = CDataNotificationsSink<CBaseSingleSourceSink<IQvxDataNotifications>>;
    explicit CSeriesItem(IUnknown* source) : Source(source), Sink(CreateSink<CSink>(this)) { Sink->Advise(Source); }
    ~CSeriesItem() override { CloseSink(Sink, Source); }
    void OnDataChanged(IUnknown*, qvx::time*, qvx::time*) override { NotifyChange(TraceDataStale, 1); }

    CComPtr<IUnknown> Source;
    CComPtr<CSink> Sink;
};

} // namespace

// The host series keeps the sink after it was taken off, as a host may.
TEST(DataItemBaseSinks, ANotificationAfterTheItemWentCallsNothingAndSucceeds)
{
    auto host = qvxtest::MakeObject<qvxtest::CKeepingSourceObject, IQvxNotifications>();
    CComPtr<IUnknown> series(static_cast<IQvxNotifications*>(host.Get()));
    Calls log;
    CRecordingRegion region("r", log);
    auto item = std::make_unique<CSeriesItem>(series);
    item->AddListener(&region);
    CComPtr<IQvxDataNotifications> held = host->Held<IQvxDataNotifications>();
    ASSERT_TRUE(held);
    EXPECT_TRUE(IsEqualIID(host->Iid, __uuidof(IQvxDataNotifications)));
    item->Flags = 0;
    EXPECT_EQ(held->OnDataChanged(series, 0, 10), S_OK);
    EXPECT_EQ(item->Flags, TraceDataStale);
    item.reset();
    EXPECT_EQ(host->Unadvised, (std::vector<ULONG>{41}));
    EXPECT_EQ(held->OnDataChanged(series, 10, 20), S_OK);
    EXPECT_EQ(held->OnDataGoingAway(series), S_OK);
    EXPECT_EQ(log, (Calls{"r:1", "r:removed"}));
}
