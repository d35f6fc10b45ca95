// The data item's flag word and the fan-out of a change to its listeners, including listeners
// that come and go while they are being told.
#include <gtest/gtest.h>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include "control/ChartRegionBase.h"
#include "com/ComObject.h"
#include "items/DataItemBase.h"
#include "config/DataNotifications.h"
#include "items/ItemFlags.h"

namespace {

// A listener that records what it is told in a shared log, and runs a test's action when told.
class CRecordingRegion : public CChartRegionBase
{
public:
    CRecordingRegion(std::string name, std::vector<std::string>& log)
        : CChartRegionBase(nullptr), Name(std::move(name)), Log(log)
    {
    }
    void OnDataItemChanged(CDataItemBase* item, DWORD flags) override
    {
        Log.push_back(Name + ":" + std::to_string(flags));
        LastItem = item;
        if (OnChange) OnChange();
    }
    void OnDataItemRemoved(CDataItemBase* item) override
    {
        Log.push_back(Name + ":removed");
        if (LeavesOnRemoval) CChartRegionBase::OnDataItemRemoved(item);
    }

    std::string Name;
    std::vector<std::string>& Log;
    std::function<void()> OnChange;
    CDataItemBase* LastItem = nullptr;
    bool LeavesOnRemoval = true;
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

    std::vector<std::string> Log;
    std::vector<std::unique_ptr<CRecordingRegion>> Regions;
    CDataItemBase Item;
};

class DataItemBaseTest : public testing::Test, public CListenedItem
{
};

using Calls = std::vector<std::string>;

} // namespace

TEST_F(DataItemBaseTest, ListenersHearTheFlagsOfTheCallNotTheWord)
{
    CRecordingRegion& a = Listen("a");
    Listen("b");
    Item.Flags = 0;
    Item.NotifyChange(TaskYZoomChanged, 1);
    Item.NotifyChange(TaskOrderChanged, 1);
    Item.NotifyChange(TaskCursorStale, 0);   // no fan-out: the bits only
    EXPECT_EQ(Item.Flags, TaskYZoomChanged | TaskOrderChanged | TaskCursorStale);
    EXPECT_EQ(Log, (Calls{"a:4", "b:4", "a:16", "b:16"}));
    EXPECT_EQ(a.LastItem, &Item);
}

// Listeners that come and go while a change goes out: those that left are not told, those that
// joined hear the next change, and the others are told once each, in order. Two changes go out.
TEST_F(DataItemBaseTest, ListenersThatComeAndGoDuringAFanOut)
{
    // A region that leaves its item in its destructor, as every listening region does.
    struct CLeavingRegion : CRecordingRegion
    {
        CLeavingRegion(CDataItemBase& item, std::vector<std::string>& log) : CRecordingRegion("gone", log), Item(item)
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
             CRecordingRegion& a = t.Listen("a");
             CRecordingRegion& b = t.Listen("b");
             CRecordingRegion& c = t.Listen("c");
             t.Listen("d");
             b.OnChange = [&] {
                 t.Item.RemoveListener(&a);
                 t.Item.RemoveListener(&c);
             };
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
        {"one that joins",
         [](CListenedItem& t) {
             CRecordingRegion& a = t.Listen("a");
             t.Regions.push_back(std::make_unique<CRecordingRegion>("late", t.Log));
             CRecordingRegion* late = t.Regions.back().get();
             a.OnChange = [&t, late] {
                 if (!t.Item.HasListener(late)) t.Item.AddListener(late);
             };
         },
         {"a:1", "a:2", "late:2"}},
        {"a null entry",
         [](CListenedItem& t) {
             t.Item.AddListener(nullptr);
             t.Listen("a");
         },
         {"a:1", "a:2"}},
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

TEST_F(DataItemBaseTest, AnExceptionFromAListenerPassesOnAndLeavesTheListeners)
{
    CRecordingRegion& a = Listen("a");
    Listen("b");
    a.OnChange = [] { throw std::runtime_error("listener failed"); };
    EXPECT_THROW(Item.NotifyChange(1, 1), std::runtime_error);
    a.OnChange = nullptr;
    Item.NotifyChange(2, 1);
    EXPECT_EQ(Log, (Calls{"a:1", "a:2", "b:2"}));
}

TEST(DataItemBaseLifetime, DestructionTellsEachRemainingListenerOnce)
{
    std::vector<std::string> log;
    CRecordingRegion a("a", log), b("b", log), c("c", log);
    auto item = std::make_unique<CDataItemBase>();
    item->AddListener(&a);
    item->AddListener(&b);
    item->AddListener(&c);
    // A watcher, second in line, counts the listeners left when its turn comes.
    size_t seenByWatcher = 0;
    struct CWatcher : CRecordingRegion
    {
        using CRecordingRegion::CRecordingRegion;
        void OnDataItemRemoved(CDataItemBase* item) override
        {
            *Seen = item->Listeners.size();
            CRecordingRegion::OnDataItemRemoved(item);
        }
        size_t* Seen = nullptr;
    } watcher("w", log);
    watcher.Seen = &seenByWatcher;
    item->Listeners.insert(item->Listeners.begin() + 1, &watcher);
    item.reset();

    EXPECT_EQ(log, (Calls{"a:removed", "w:removed", "b:removed", "c:removed"}));
    EXPECT_EQ(seenByWatcher, 3u);

    // Destruction ends even when a listener does not leave, and skips null entries.
    log.clear();
    a.LeavesOnRemoval = false;
    {
        CDataItemBase other;
        other.AddListener(&a);
        other.AddListener(nullptr);
        other.AddListener(&b);
    }
    EXPECT_EQ(log, (Calls{"a:removed", "b:removed"}));
}

// A listener may delete the item that it is told about: the fan-out ends there and touches the
// item no more, even when the heap hands the memory straight to another item.
TEST(DataItemBaseLifetime, AListenerThatDeletesTheItemEndsTheFanOut)
{
    std::vector<std::string> log;
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

// A host series that keeps the sinks advised on it, as a host may after the chart let go.
class CHostSeries : public CComRoot, public IQvxNotifications
{
public:
    QVX_BEGIN_INTERFACES(CHostSeries)
        QVX_INTERFACE(CHostSeries, IQvxNotifications),
    QVX_END_INTERFACES()

    STDMETHODIMP AdviseByName(BSTR, IUnknown*, ULONG*) override { return E_NOTIMPL; }
    STDMETHODIMP Advise(REFIID iid, IUnknown* sink, ULONG* cookie) override
    {
        if (!IsEqualIID(iid, __uuidof(IQvxDataNotifications)) || !sink || !cookie) return E_INVALIDARG;
        Held.QueryFrom(sink, __uuidof(IQvxDataNotifications));
        *cookie = 7;
        return S_OK;
    }
    STDMETHODIMP Unadvise(ULONG cookie) override
    {
        Unadvised.push_back(cookie);
        return S_OK;  // but the host keeps the sink all the same
    }

    CComPtr<IQvxDataNotifications> Held;
    std::vector<ULONG> Unadvised;
};

// An item that listens to a host series through a sink of its own, and lets go in its destructor.
class CSeriesItem : public CDataItemBase, public CDataNotificationsReceiver
{
public:
    using CSink = CDataNotificationsSink<CBaseSingleSourceSink<IQvxDataNotifications>>;
    explicit CSeriesItem(IUnknown* source) : Source(source), Sink(CreateSink<CSink>(this))
    {
        Sink->Advise(Source);
    }
    ~CSeriesItem() override { CloseSink(Sink, Source); }
    void OnDataChanged(IUnknown*, qvx::time*, qvx::time*) override { NotifyChange(TraceDataStale, 1); }

    CComPtr<IUnknown> Source;
    CComPtr<CSink> Sink;
};

} // namespace

TEST(DataItemBaseSinks, ANotificationAfterTheItemWentCallsNothingAndSucceeds)
{
    CComPtr<IQvxNotifications> series;
    ASSERT_EQ(CComObject<CHostSeries>::CreateInstance(series), S_OK);
    auto* host = static_cast<CHostSeries*>(series.Get());
    std::vector<std::string> log;
    CRecordingRegion region("r", log);
    auto item = std::make_unique<CSeriesItem>(series);
    item->AddListener(&region);
    ASSERT_TRUE(host->Held);

    item->Flags = 0;
    EXPECT_EQ(host->Held->OnDataChanged(series, 0, 10), S_OK);
    EXPECT_EQ(item->Flags, TraceDataStale);
    item.reset();
    EXPECT_EQ(host->Unadvised, (std::vector<ULONG>{7}));
    EXPECT_EQ(log, (Calls{"r:1", "r:removed"}));
    EXPECT_EQ(host->Held->OnDataChanged(series, 10, 20), S_OK);
    EXPECT_EQ(host->Held->OnDataGoingAway(series), S_OK);
    EXPECT_EQ(log, (Calls{"r:1", "r:removed"}));
}
