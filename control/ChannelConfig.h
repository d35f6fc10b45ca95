#pragma once
// Which channels the chart shows. Three things combine: channels named one by one (Names),
// host groups whose members change at any time (GroupsObj), and names that the user took off
// the chart and that stay off although a group still offers them (DeletedNames). From these the
// configuration keeps every channel on offer, in order (Candidates), and the first MaxChannels
// of them, which are shown (SelectedChannels); the task's channel ordering follows the latter.
//
// Three compares are in use and do not mix: Names and DeletedNames compare as the host's lists
// do (VarBstrCmp in the user's locale), Candidates code unit by code unit, and SelectedChannels
// by ChannelNameLess.
#include <windows.h>
#include <list>
#include <set>
#include <string>
#include <vector>
#include "com/AutomationTypes.h"
#include "com/ComPtr.h"
#include "config/ChannelKey.h"
#include "config/ChannelOrdering.h"
#include "config/DataNames.h"
#include "config/GroupedOrderingNotifications.h"
#include "config/Groups.h"
#include "Interfaces.h"

// What the layout stores of the configuration.
struct CChannelConfigState
{
    std::vector<CBstr> DeletedNames;   // in name order
    std::vector<CBstr> ChannelNames;   // the named channels, in display order
    std::vector<CBstr> GroupNames;
};

class IQvx1DChannelConfigImpl : public IQvx1DChannelConfig2,
                                public CGroupsParent,
                                public CDynDataNamesParent,
                                public CGroupedOrderingNotificationsReceiver
{
public:
    static constexpr ULONG DefaultMaxChannels = 32;

    // --- IQvx1DChannelConfig ---
    STDMETHODIMP GetChannelCount(long* count) override;
    STDMETHODIMP GetMaxChannels(long* count) override;
    STDMETHODIMP GetChannelGroups(IQvxGroups** groups) override;
    STDMETHODIMP GetChannelNames(IQvxDynDataNames** names) override;
    STDMETHODIMP IsChannelSelected(BSTR name, VARIANT_BOOL* selected) override;
    // --- IQvx1DChannelConfig2 ---
    // On offer and not taken off the chart.
    STDMETHODIMP IsChannelAvailable(BSTR name, VARIANT_BOOL* available) override;
    // Takes the name off the chart, and out of the named channels; it stays off while groups
    // offer it, until it is added again. Always S_OK.
    STDMETHODIMP DeleteChannel(BSTR name) override;

    const CChannelNameSet& GetSelectedChannels() const noexcept { return SelectedChannels; }
    ULONG GetMaxChannelCount() const noexcept { return MaxChannels; }
    void SetMaxChannelCount(ULONG count) noexcept { MaxChannels = count; }

    // The full recalculation: the candidates anew from names and groups, and the first
    // MaxChannels of them shown.
    void Rebuild();
    // The groups are found again by name in `factory` (none keeps only their names, for a later
    // factory), and everything is recalculated.
    void RefreshGroups(IQvxGroupFactory* factory);

    // Replaces names, groups and deleted names by what a layout held. `sortOnLoad` sorts a layout
    // that kept no order: names by key, group names by code unit. Groups are found by name in
    // `factory`; without one only their names are kept, until a factory comes.
    void LoadState(CChannelConfigState state, bool sortOnLoad, IQvxGroupFactory* factory);
    // With the task's ordering, the channels behind its grouped head in display order stand for
    // the named ones: a named channel that is not shown is not stored.
    CChannelConfigState SaveState();

protected:
    virtual ~IQvx1DChannelConfigImpl() = default;

    // Makes the name list and the group list, and follows `ordering` (may be null), the task's
    // channel ordering. E_OUTOFMEMORY when the lists cannot be made.
    HRESULT AttachOrdering(C1DOrderingBase* ordering);
    // Part of the owner's teardown: the ordering, the lists and the sink let go of this object.
    void DetachOrdering();

    // What the owner makes of a change.
    // The channels on offer or the names changed.
    virtual void OnNamesChanged() = 0;
    // The channels shown may have changed.
    virtual void OnChannelSelectionChanged() = 0;
    // A group's name or detail changed.
    virtual void OnGroupDetailChanged() = 0;

    // --- CGroupsParent ---
    void OnGroupChanged(IQvxGroup* group) override;
    void OnGroupContentsChanged(IQvxGroup* group) override;
    void OnGroupGoingAway(IQvxGroup* group) override;
    bool QueryGroup(IQvxGroup* group) override;
    void OnGroupMemberAdded(IQvxGroup* group, BSTR name) override;
    void OnGroupMemberRemoved(IQvxGroup* group, BSTR name) override;
    void OnGroupAdded(IQvxGroup* group) override;
    void OnGroupRemoved(IQvxGroup* group) override;
    void OnGroupsReordered() override;
    // --- CDynDataNamesParent ---
    void OnDynNameAdded(BSTR name) override;
    void OnDynNameRemoved(BSTR name) override;
    // --- CGroupedOrderingNotificationsReceiver ---
    void OnGroupedOrderingChanged(IQvxGroupedOrdering* ordering) override;

private:
    // Order of DeletedNames: the host's compare.
    struct CHostNameLess
    {
        bool operator()(const CBstr& a, const CBstr& b) const;
    };
    using CGroupedOrderingSink = CGroupedOrderingNotificationsSink<CBaseSingleSourceSink<IQvxGroupedOrderingNotifications>>;

    void OnNameAdded(BSTR name);
    void OnNameRemoved(BSTR name);
    void AddGroupMembers(IQvxGroup* group);
    void DropGroup(IQvxGroup* group);
    void DropGroupMember(IQvxGroup* group, BSTR name);
    // The first MaxChannels candidates shown; the owner hears if that changed anything.
    void Reselect();
    bool SnapshotGroupNames();
    void ResolveGroups(IQvxGroupFactory* factory);

    // 0 when there is no ordering.
    long GetGroupedMode();
    bool IsCandidate(std::wstring_view name) const;
    void EraseCandidate(std::wstring_view name);
    bool IsDeleted(BSTR name) const;
    // The groups as they stand now: the host may change the list during a walk.
    std::vector<CComPtr<IQvxGroup>> GroupsNow() const;
    // The members that the group gives, from 1; a failed one is skipped.
    static std::vector<CBstr> MembersOf(IQvxGroup* group);
    // This object for the length of a reaction: the owner may be let go by whoever it tells.
    CComPtr<IUnknown> Hold() { return CComPtr<IUnknown>(static_cast<IQvx1DChannelConfig2*>(this)); }

    CChannelNameSet SelectedChannels;
    ULONG MaxChannels = DefaultMaxChannels;
    CComPtr<CDynDataNames> Names;
    CComPtr<CGroups> GroupsObj;
    BYTE Loading = 0;
    std::vector<CBstr> GroupNames;
    std::set<CBstr, CHostNameLess> DeletedNames;
    std::list<std::wstring> Candidates;
    CComPtr<C1DOrderingBase> Ordering;
    CComPtr<CGroupedOrderingSink> GroupedOrderingSink;
};
