#pragma once
// The channel groups that a chart shows: host groups in order, each advised through one
// multi-source sink, so that a group that goes away leaves the list. The list is also an
// ordering of its groups (IQvxOrdering), with its own notification point, and it tells its
// parent, the channel configuration, of every change of the list and of the groups' news.
#include <vector>
#include "com/ComObject.h"
#include "config/GroupNotifications.h"
#include "control/NotificationPoints.h"
#include "Interfaces.h"

// What the owner of a CGroups hears. The first six pass on the groups' own news; the last
// three are changes of the list.
class CGroupsParent
{
public:
    virtual void OnGroupChanged(IQvxGroup* group) = 0;
    virtual void OnGroupContentsChanged(IQvxGroup* group) = 0;
    // The group has left the list already.
    virtual void OnGroupGoingAway(IQvxGroup* group) = 0;
    // False keeps the host from removing a group that the chart uses.
    virtual bool QueryGroup(IQvxGroup* group) = 0;
    virtual void OnGroupMemberAdded(IQvxGroup* group, BSTR name) = 0;
    virtual void OnGroupMemberRemoved(IQvxGroup* group, BSTR name) = 0;
    virtual void OnGroupAdded(IQvxGroup* group) = 0;
    // The group has left the list already.
    virtual void OnGroupRemoved(IQvxGroup* group) = 0;
    virtual void OnGroupsReordered() = 0;

protected:
    ~CGroupsParent() = default;
};

class CGroups : public CComRoot,
                public IQvxGroups,
                public IQvxOrdering,
                public CGroupNotifications2Receiver,
                public IQvxNotificationsImpl,
                public CProxyIQvxOrderingNotifications
{
public:
    QVX_BEGIN_INTERFACES(CGroups)
        QVX_INTERFACE(CGroups, IQvxGroups),
        QVX_INTERFACE(CGroups, IQvxOrdering),
        QVX_INTERFACE(CGroups, IQvxNotifications),
    QVX_END_INTERFACES()

    // One IUnknown for all the interfaces, which the COM object gives, so that the list can be
    // held by its own type.
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override = 0;
    STDMETHODIMP_(ULONG) AddRef() override = 0;
    STDMETHODIMP_(ULONG) Release() override = 0;

    // Makes the sink; E_OUTOFMEMORY without it.
    HRESULT FinalConstruct();
    void FinalRelease();

    // Not counted; the owner clears it before its last release.
    void SetParent(CGroupsParent* parent) noexcept { Parent = parent; }
    const std::vector<CComPtr<IQvxGroup>>& GetItems() const noexcept { return Items; }

    // --- IQvxGroups and IQvxOrdering; positions count from 1 ---
    STDMETHODIMP GetCount(long* count) override;
    STDMETHODIMP GetItem(long index, IQvxGroup** group) override;
    // A group already in the list, or one that cannot be advised, is not added; S_OK all the same.
    STDMETHODIMP Add(IQvxGroup* group) override;
    STDMETHODIMP RemoveAt(long index) override;
    // The group's own name.
    STDMETHODIMP GetName(long index, BSTR* name) override;
    // DISP_E_BADINDEX for a position outside the list, E_INVALIDARG for a name that no group
    // has, S_FALSE when the group stands there already.
    STDMETHODIMP MoveItem(BSTR name, long position) override;

    // Takes the sink off every group and lets them go, telling nobody.
    void Clear();

    // --- CGroupNotifications2Receiver ---
    void OnGroupChanged(IQvxGroup* group) override;
    void OnGroupContentsChanged(IQvxGroup* group) override;
    void OnGroupGoingAway(IQvxGroup* group) override;
    bool QueryGroupRemoval(IQvxGroup* group) override;
    void OnMemberAdded(IQvxGroup* group, BSTR name) override;
    void OnMemberRemoved(IQvxGroup* group, BSTR name) override;

protected:
    std::span<QvxNotificationPointLocator* const> NotificationPoints() override { return Points; }

private:
    using CGroupSink = CGroupNotifications2Sink<CBaseMultiSourceSink<IQvxGroupNotifications2>>;

    IQvxOrdering* Self() noexcept { return this; }
    // Takes the group at `index`, from 0, off the sink and out of the list; the group, held.
    CComPtr<IQvxGroup> Remove(size_t index);

    std::vector<CComPtr<IQvxGroup>> Items;
    CGroupsParent* Parent = nullptr;
    CComPtr<CGroupSink> GroupSink;
    QvxNotificationPointLocator* Points[1] = {static_cast<CProxyIQvxOrderingNotifications*>(this)};
};
