// The data item's flag word and the fan-out of a change to its listeners, including listeners
// that come and go, or delete the item, while they are being told.
#include <gtest/gtest.h>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include "control/ChartRegionBase.h"
#include "items/DataItemBase.h"
#include "items/ItemFlags.h"

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

} // namespace

TEST(DataItemBase, ListenersHearTheFlagsOfTheCallNotTheWordAndAThrowLeavesThemListening)
{
    CListenedItem t;
    CRecordingRegion& a = t.Listen("a");
    t.Listen("b");
    t.Item.Flags = 0;
    t.Item.NotifyChange(TaskYZoomChanged, 1);
    t.Item.NotifyChange(TaskOrderChanged, 1);
    t.Item.NotifyChange(TaskCursorStale, 0);   // no fan-out: the bits only
    EXPECT_EQ(t.Item.Flags, TaskYZoomChanged | TaskOrderChanged | TaskCursorStale);
    a.OnChange = [] { throw std::runtime_error("listener failed"); };
    EXPECT_THROW(t.Item.NotifyChange(1, 1), std::runtime_error);
    a.OnChange = nullptr;
    t.Item.NotifyChange(2, 1);
    EXPECT_EQ(t.Log, (Calls{"a:4", "b:4", "a:16", "b:16", "a:1", "a:2", "b:2"}));
}

// Those taken out are not told, those that joined hear the next change, the others are told once
// each, in order. Two changes go out.
TEST(DataItemBase, ListenersThatComeAndGoDuringAFanOut)
{
    const struct
    {
        const char* Name;
        std::function<void(CListenedItem&)> Arrange;
        Calls Expected;
    } rows[] = {
        {"two removed by another, one told already",
         [](CListenedItem& t) {
             CRecordingRegion &a = t.Listen("a"), &b = t.Listen("b"), &c = t.Listen("c");
             t.Listen("d");
             b.OnChange = [&] { t.Item.RemoveListener(&a), t.Item.RemoveListener(&c); };
         },
         {"a:1", "b:1", "d:1", "b:2", "d:2"}},
        {"one deleted by another, leaving in its destructor",
         [](CListenedItem& t) {
             CRecordingRegion& a = t.Listen("a");
             t.Listen("gone");
             t.Listen("c");
             a.OnChange = [&t] {
                 t.Item.RemoveListener(t.Regions[1].get());
                 t.Regions[1].reset();
             };
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
    for (const auto& row : rows) {
        CListenedItem fixture;
        row.Arrange(fixture);
        fixture.Item.NotifyChange(1, 1);
        fixture.Item.NotifyChange(2, 1);
        EXPECT_EQ(row.Expected, fixture.Log) << row.Name;
        fixture.Item.Listeners.clear();
    }
}

// Destruction tells each remaining listener once, in order, while it is still listed; it ends even
// when a listener does not leave, and skips null entries. A listener may delete the item that it
// is told about: the fan-out ends there, even when the heap hands the memory to another item.
TEST(DataItemBase, DestructionTellsEachListenerOnceAndAListenerMayDeleteTheItem)
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
    log.clear();
    alignas(CDataItemBase) unsigned char storage[sizeof(CDataItemBase)];
    CDataItemBase* item = new (storage) CDataItemBase;
    item->AddListener(&b);
    item->AddListener(&c);
    b.OnChange = [&] {
        item->~CDataItemBase();
        new (storage) CDataItemBase;
        std::launder(reinterpret_cast<CDataItemBase*>(storage))->AddListener(&c);
    };
    item->NotifyChange(TaskOrderChanged, 1);
    EXPECT_EQ(log, (Calls{"b:16", "b:removed", "c:removed"}));
    std::launder(reinterpret_cast<CDataItemBase*>(storage))->~CDataItemBase();
}
