#pragma once
// The ordering of the chart's channel items: the generic ordering of names, made for channel
// items, which it creates through its task and owns.
#include "config/ChannelOrdering.h"
#include "items/ChannelDataItem.h"

class CTaskDataItem;

// An ordering of channel items, owned by the task that makes them. The chart's is
// CChannelOrdering, on its task item.
template <class TTask>
class CChannelOrderingOf : public CComRoot, public C1DOrdering<TTask, CChannelDataItem*>
{
public:
    QVX_BEGIN_INTERFACES(CChannelOrderingOf)
        QVX_INTERFACE(CChannelOrderingOf, IQvxOrdering),
        QVX_INTERFACE(CChannelOrderingOf, IQvxDefaultOrdering),
        QVX_INTERFACE(CChannelOrderingOf, IQvxGroupedOrdering),
        QVX_INTERFACE(CChannelOrderingOf, IQvxNotifications),
    QVX_END_INTERFACES()

    // Channels that the task did not have deleted go with the ordering.
    void FinalRelease() { this->DeleteItems(); }

    // The channel's name.
    const CBstr& GetItemKey(CChannelDataItem* item) override { return item->GetName(); }
    // By "Display name", in an ordinal compare.
    bool ItemLess(CChannelDataItem* first, CChannelDataItem* second) override
    {
        return first->GetDisplayName().View() < second->GetDisplayName().View();
    }
    CChannelDataItem* CreateItem(const CBstr& key) override
    {
        TTask* task = this->GetTask();
        return task ? task->CreateChannel(key) : nullptr;
    }
    void DestroyItem(CChannelDataItem* item) override { delete item; }
};

using CChannelOrdering = CChannelOrderingOf<CTaskDataItem>;
