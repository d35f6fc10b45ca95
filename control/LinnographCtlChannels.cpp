// The control's side of its channel configuration: what a change of the chosen channels does to
// the task item, the root and the host, and when groups are found again by name.
#include "control/LinnographCtl.h"
#include <new>
#include <vector>
#include "items/ItemFlags.h"
#include "items/RTCTaskDataItem.h"

void CLinnographCtl::OnHostDetached()
{
    CBaseChartCtl::OnHostDetached();
    RefreshGroups(nullptr);
}

void CLinnographCtl::OnGroupFactoryChanged()
{
    CComPtr<IQvxGroupFactory> factory;
    GetGroupFactory(factory.Out());
    RefreshGroups(factory);
}

void CLinnographCtl::OnNamesChanged()
{
    const CComPtr<IUnknown> hold = KeepAlive();
    MarkModified();
    Fire_OnChannelListChanged(this);
}

void CLinnographCtl::OnChannelSelectionChanged()
{
    const CComPtr<IUnknown> hold = KeepAlive();
    if (TaskItem) {
        if (CChannelOrdering* ordering = TaskItem->GetOrdering()) {
            try {
                std::vector<CBstr> names;
                names.reserve(GetSelectedChannels().size());
                for (const std::wstring& name : GetSelectedChannels()) names.emplace_back(name);
                ordering->SyncToNames(names);
            } catch (const std::bad_alloc&) {
                // The ordering keeps its whole list; the next change brings it in step.
            }
        }
        if (TaskItem) TaskItem->NotifyChange(TaskOrderChanged, 1);
    }
    DirtyBits = DirtyAll;
    InvalidateWindow();
    Fire_OnShownChannelsChanged(this);
    CProxyIQvxControlNotifications2::Fire_OnChannelsChanged(ControlInterface());
}

void CLinnographCtl::OnGroupDetailChanged()
{
    MarkModified();
}
