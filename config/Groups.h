#pragma once
// The channel groups that a chart shows: host groups in order, each advised through one
// multi-source sink, so that a group that goes away leaves the list.
//
// What is here is what the channel ordering's grouped head reads: the list through IQvxGroups.
// The parent that the channel configuration is told through, the reactions to a group's
// contents, and the list's own ordering interface come with the channel configuration.
#include <vector>
#include "com/ComObject.h"
#include "config/GroupNotifications.h"
#include "Interfaces.h"

class CGroups : public CComRoot, public IQvxGroups, public CGroupNotifications2Receiver
{
public:
    QVX_BEGIN_INTERFACES(CGroups)
        QVX_INTERFACE(CGroups, IQvxGroups),
    QVX_END_INTERFACES()

    // Makes the sink; E_OUTOFMEMORY without it.
    HRESULT FinalConstruct();
    void FinalRelease();

    // --- IQvxGroups; positions count from 1 ---
    STDMETHODIMP GetCount(long* count) override;
    STDMETHODIMP GetItem(long index, IQvxGroup** group) override;
    // A group already in the list, or one that cannot be advised, is not added; S_OK all the same.
    STDMETHODIMP Add(IQvxGroup* group) override;
    STDMETHODIMP RemoveAt(long index) override;

    // Takes the sink off every group and lets them go.
    void Clear();

    // --- CGroupNotificationsReceiver ---
    void OnGroupGoingAway(IQvxGroup* group) override;

private:
    using CGroupSink = CGroupNotifications2Sink<CBaseMultiSourceSink<IQvxGroupNotifications2>>;

    // Takes the group at `index`, from 0, off the sink and out of the list.
    void Remove(size_t index);

    std::vector<CComPtr<IQvxGroup>> Items;
    CComPtr<CGroupSink> GroupSink;
};
