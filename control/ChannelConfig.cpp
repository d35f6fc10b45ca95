#include "control/ChannelConfig.h"
#include <algorithm>
#include <iterator>

namespace {

std::wstring ToString(BSTR name)
{
    return std::wstring(name ? name : L"", SysStringLen(name));
}

std::wstring_view ToView(BSTR name)
{
    return std::wstring_view(name ? name : L"", SysStringLen(name));
}

} // namespace

bool IQvx1DChannelConfigImpl::CHostNameLess::operator()(const CBstr& a, const CBstr& b) const
{
    return VarBstrCmp(a.Get(), b.Get(), LOCALE_USER_DEFAULT, 0) == VARCMP_LT;
}

// --- setup and teardown ---

HRESULT IQvx1DChannelConfigImpl::AttachOrdering(C1DOrderingBase* ordering)
{
    Names = CDynDataNames::Make();
    CComPtr<IQvxGroups> groups;
    if (!Names || FAILED(CComObject<CGroups>::CreateInstance(groups))) return E_OUTOFMEMORY;
    GroupsObj = static_cast<CGroups*>(groups.Get());
    Names->SetNotifyParent(this);
    GroupsObj->SetParent(this);
    Ordering = ordering;
    if (!Ordering) return S_OK;
    Ordering->SetGroups(GroupsObj);
    // Without the sink the configuration works all the same; it only misses changes of mode.
    GroupedOrderingSink = CreateSink<CGroupedOrderingSink>(static_cast<CGroupedOrderingNotificationsReceiver*>(this));
    if (GroupedOrderingSink) {
        GroupedOrderingSink->HoldDuringCalls(static_cast<IQvx1DChannelConfig2*>(this));
        GroupedOrderingSink->Advise(static_cast<IQvxOrdering*>(Ordering.Get()));
    }
    return S_OK;
}

void IQvx1DChannelConfigImpl::DetachOrdering()
{
    if (Ordering) {
        CloseSink(GroupedOrderingSink, static_cast<IQvxOrdering*>(Ordering.Get()));
        Ordering->SetGroups(nullptr);
        Ordering = nullptr;
    }
    if (Names) Names->SetNotifyParent(nullptr);
    if (GroupsObj) {
        GroupsObj->SetParent(nullptr);
        GroupsObj->Clear();
    }
    Names = nullptr;
    GroupsObj = nullptr;
}

// --- IQvx1DChannelConfig2 ---

STDMETHODIMP IQvx1DChannelConfigImpl::GetChannelCount(long* count)
{
    if (!count) return E_POINTER;
    *count = long(SelectedChannels.size());
    return S_OK;
}

STDMETHODIMP IQvx1DChannelConfigImpl::GetMaxChannels(long* count)
{
    if (!count) return E_POINTER;
    *count = long(MaxChannels);
    return S_OK;
}

STDMETHODIMP IQvx1DChannelConfigImpl::GetChannelGroups(IQvxGroups** groups)
{
    if (!groups) return E_POINTER;
    *groups = GroupsObj;
    if (*groups) (*groups)->AddRef();
    return *groups ? S_OK : E_UNEXPECTED;
}

STDMETHODIMP IQvx1DChannelConfigImpl::GetChannelNames(IQvxDynDataNames** names)
{
    if (!names) return E_POINTER;
    *names = Names;
    if (*names) (*names)->AddRef();
    return *names ? S_OK : E_UNEXPECTED;
}

STDMETHODIMP IQvx1DChannelConfigImpl::IsChannelSelected(BSTR name, VARIANT_BOOL* selected)
{
    if (!selected) return E_POINTER;
    *selected = SelectedChannels.count(ToString(name)) ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

STDMETHODIMP IQvx1DChannelConfigImpl::IsChannelAvailable(BSTR name, VARIANT_BOOL* available)
{
    if (!available) return E_POINTER;
    *available = !IsDeleted(name) && IsCandidate(ToView(name)) ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

STDMETHODIMP IQvx1DChannelConfigImpl::DeleteChannel(BSTR name)
{
    // A name that is empty names no channel.
    if (SysStringLen(name) == 0 || !Names) return S_OK;
    const CComPtr<IUnknown> hold = Hold();
    Names->Erase(name);
    return CallGuarded([&] { OnNameRemoved(name); });
}

// --- the recalculations ---

void IQvx1DChannelConfigImpl::Rebuild()
{
    Candidates.clear();
    if (Names) {
        for (const CBstr& name : Names->GetNames()) {
            if (!IsCandidate(name.View())) Candidates.emplace_back(name.View());
        }
    }
    for (const CComPtr<IQvxGroup>& group : GroupsNow()) {
        for (const CBstr& member : MembersOf(group)) {
            if (!IsDeleted(member.Get()) && !IsCandidate(member.View())) Candidates.emplace_back(member.View());
        }
    }
    Reselect();
}

void IQvx1DChannelConfigImpl::Reselect()
{
    CChannelNameSet chosen(SelectedChannels.key_comp());
    for (const std::wstring& name : Candidates) {
        if (chosen.size() >= MaxChannels) break;
        chosen.insert(name);
    }
    if (chosen.size() == SelectedChannels.size() &&
        std::equal(chosen.begin(), chosen.end(), SelectedChannels.begin()))
        return;
    SelectedChannels = std::move(chosen);
    OnChannelSelectionChanged();
}

void IQvx1DChannelConfigImpl::OnNameAdded(BSTR name)
{
    const CComPtr<IUnknown> hold = Hold();
    // Where groups form a head, a name that a group offers is the group's, not a named one.
    if (GetGroupedMode() == 0 && Names && Names->Contains(name)) {
        for (const CComPtr<IQvxGroup>& group : GroupsNow()) {
            const std::vector<CBstr> members = MembersOf(group);
            if (std::any_of(members.begin(), members.end(), [&](const CBstr& m) { return m.View() == ToView(name); })) {
                Names->Erase(name);
                break;
            }
        }
    }
    DeletedNames.erase(CBstr(ToView(name)));
    if (!IsCandidate(ToView(name))) {
        Candidates.emplace_back(ToView(name));
        if (SelectedChannels.size() < MaxChannels) SelectedChannels.insert(ToString(name));
    }
    OnChannelSelectionChanged();
    OnNamesChanged();
}

void IQvx1DChannelConfigImpl::OnNameRemoved(BSTR name)
{
    const CComPtr<IUnknown> hold = Hold();
    if (DeletedNames.insert(CBstr(ToView(name))).second) {
        EraseCandidate(ToView(name));
        if (SelectedChannels.size() < MaxChannels) {
            if (SelectedChannels.erase(ToString(name))) OnChannelSelectionChanged();
        } else {
            // The next candidate moves up.
            Reselect();
        }
    }
    OnNamesChanged();
}

void IQvx1DChannelConfigImpl::AddGroupMembers(IQvxGroup* group)
{
    const long mode = GetGroupedMode();
    CChannelNameSet members(SelectedChannels.key_comp());
    for (const CBstr& member : MembersOf(group)) {
        if (mode == 0 && Names) Names->Erase(member.Get());
        DeletedNames.erase(member);
        members.emplace(member.View());
    }
    const size_t oldCount = Candidates.size();
    for (const std::wstring& name : members) {
        if (IsCandidate(name)) continue;
        Candidates.push_back(name);
        if (oldCount < MaxChannels) SelectedChannels.insert(name);
    }
    if (SelectedChannels.size() > MaxChannels) Reselect();
    else OnChannelSelectionChanged();
    OnNamesChanged();
}

void IQvx1DChannelConfigImpl::DropGroup(IQvxGroup* group)
{
    // What this group alone offered.
    CChannelNameSet only(SelectedChannels.key_comp());
    for (const CBstr& member : MembersOf(group)) {
        if (!IsDeleted(member.Get())) only.emplace(member.View());
    }
    for (auto it = only.begin(); it != only.end();) {
        if (Names && Names->Contains(CBstr(*it).Get())) it = only.erase(it);
        else ++it;
    }
    for (const CComPtr<IQvxGroup>& other : GroupsNow()) {
        if (only.empty()) break;
        for (const CBstr& member : MembersOf(other)) only.erase(std::wstring(member.View()));
    }
    const size_t oldCount = Candidates.size();
    for (const std::wstring& name : only) {
        EraseCandidate(name);
        if (oldCount <= MaxChannels) SelectedChannels.erase(name);
    }
    if (oldCount > MaxChannels) Reselect();
    else OnChannelSelectionChanged();
    OnNamesChanged();
}

void IQvx1DChannelConfigImpl::DropGroupMember(IQvxGroup* group, BSTR name)
{
    const std::wstring_view wanted = ToView(name);
    if (Names && Names->ContainsExactly(wanted)) return;
    for (const CComPtr<IQvxGroup>& other : GroupsNow()) {
        if (SameObject(other, group)) continue;
        const std::vector<CBstr> members = MembersOf(other);
        if (std::any_of(members.begin(), members.end(), [&](const CBstr& m) { return m.View() == wanted; })) return;
    }
    const size_t oldCount = Candidates.size();
    EraseCandidate(wanted);
    if (oldCount <= MaxChannels) {
        SelectedChannels.erase(ToString(name));
        OnChannelSelectionChanged();
    } else {
        Reselect();
    }
    OnNamesChanged();
}

// --- groups by name ---

bool IQvx1DChannelConfigImpl::SnapshotGroupNames()
{
    const std::vector<CComPtr<IQvxGroup>> groups = GroupsNow();
    if (groups.empty()) return false;
    for (const CComPtr<IQvxGroup>& group : groups) {
        CBstr name;
        if (SUCCEEDED(group->GetName(name.Out()))) GroupNames.push_back(std::move(name));
    }
    return true;
}

void IQvx1DChannelConfigImpl::ResolveGroups(IQvxGroupFactory* factory)
{
    Loading = 1;
    CComPtr<IQvxGroupList> list;
    list.QueryFrom(factory, __uuidof(IQvxGroupList));
    // The host's list stays as it is while the lock is held.
    CComPtr<IUnknown> lock;
    if (list) list->LockList(lock.Out());
    const std::vector<CBstr> names = std::move(GroupNames);
    GroupNames.clear();
    for (const CBstr& name : names) {
        CComPtr<IQvxGroup> found;
        if (list) {
            long count = 0;
            for (long i = 1; SUCCEEDED(list->GetCount(&count)) && i <= count && !found; ++i) {
                CComPtr<IQvxGroup> group;
                CBstr groupName;
                if (SUCCEEDED(list->GetItem(i, group.Out())) && group && SUCCEEDED(group->GetName(groupName.Out())) &&
                    groupName.View() == name.View())
                    found = group;
            }
        } else if (factory) {
            factory->GetGroup(name.Get(), found.Out());
        }
        if (found && GroupsObj) GroupsObj->Add(found);
    }
    lock = nullptr;
    OnGroupedOrderingChanged(nullptr);
    Loading = 0;
}

void IQvx1DChannelConfigImpl::RefreshGroups(IQvxGroupFactory* factory)
{
    if (!GroupsObj) return;
    const CComPtr<IUnknown> hold = Hold();
    SnapshotGroupNames();
    if (GroupsObj) GroupsObj->Clear();
    if (factory) ResolveGroups(factory);
    Rebuild();
}

// --- the layout ---

void IQvx1DChannelConfigImpl::LoadState(CChannelConfigState state, bool sortOnLoad, IQvxGroupFactory* factory)
{
    if (!Names || !GroupsObj) return;
    const CComPtr<IUnknown> hold = Hold();
    Names->Clear();
    GroupsObj->Clear();
    DeletedNames.clear();
    GroupNames = std::move(state.GroupNames);
    for (CBstr& name : state.DeletedNames) DeletedNames.insert(std::move(name));
    for (CBstr& name : state.ChannelNames) {
        if (name.Length() != 0 && !Names->Contains(name.Get())) Names->Append(std::move(name));
    }
    if (sortOnLoad) {
        std::vector<CBstr> names = Names->GetNames();
        std::stable_sort(names.begin(), names.end(), [](const CBstr& a, const CBstr& b) {
            return CompareKeysOrdinal(CChannelKey(a.Get(), a.Length()), CChannelKey(b.Get(), b.Length())) < 0;
        });
        Names->Clear();
        for (CBstr& name : names) Names->Append(std::move(name));
        std::sort(GroupNames.begin(), GroupNames.end(),
                  [](const CBstr& a, const CBstr& b) { return a.View() < b.View(); });
    }
    if (factory) ResolveGroups(factory);
    if (Ordering) Ordering->SetNames(Names->GetNames());
    Rebuild();
}

CChannelConfigState IQvx1DChannelConfigImpl::SaveState()
{
    CChannelConfigState state;
    state.DeletedNames.assign(DeletedNames.begin(), DeletedNames.end());
    if (Ordering) {
        long count = 0;
        Ordering->GetCount(&count);
        for (long i = Ordering->GetGroupedCount() + 1; i <= count; ++i) {
            CBstr name;
            if (SUCCEEDED(Ordering->GetName(i, name.Out()))) state.ChannelNames.push_back(std::move(name));
        }
    } else if (Names) {
        state.ChannelNames = Names->GetNames();
    }
    const bool snapshot = SnapshotGroupNames();
    state.GroupNames = GroupNames;
    if (snapshot) GroupNames.clear();
    return state;
}

// --- what the lists and the ordering tell ---

void IQvx1DChannelConfigImpl::OnGroupChanged(IQvxGroup*)
{
    const CComPtr<IUnknown> hold = Hold();
    OnGroupDetailChanged();
}

void IQvx1DChannelConfigImpl::OnGroupContentsChanged(IQvxGroup*)
{
    const CComPtr<IUnknown> hold = Hold();
    OnChannelSelectionChanged();
}

void IQvx1DChannelConfigImpl::OnGroupGoingAway(IQvxGroup* group)
{
    const CComPtr<IUnknown> hold = Hold();
    DropGroup(group);
}

bool IQvx1DChannelConfigImpl::QueryGroup(IQvxGroup*)
{
    // A group that the chart shows is not to be removed under it.
    return false;
}

void IQvx1DChannelConfigImpl::OnGroupMemberAdded(IQvxGroup*, BSTR name)
{
    OnNameAdded(name);
}

void IQvx1DChannelConfigImpl::OnGroupMemberRemoved(IQvxGroup* group, BSTR name)
{
    const CComPtr<IUnknown> hold = Hold();
    DropGroupMember(group, name);
}

void IQvx1DChannelConfigImpl::OnGroupAdded(IQvxGroup* group)
{
    if (Loading) return;
    const CComPtr<IUnknown> hold = Hold();
    AddGroupMembers(group);
}

void IQvx1DChannelConfigImpl::OnGroupRemoved(IQvxGroup* group)
{
    const CComPtr<IUnknown> hold = Hold();
    DropGroup(group);
}

void IQvx1DChannelConfigImpl::OnGroupsReordered()
{
    if (Loading) return;
    const CComPtr<IUnknown> hold = Hold();
    OnChannelSelectionChanged();
    OnNamesChanged();
}

void IQvx1DChannelConfigImpl::OnDynNameAdded(BSTR name)
{
    OnNameAdded(name);
}

void IQvx1DChannelConfigImpl::OnDynNameRemoved(BSTR name)
{
    OnNameRemoved(name);
}

void IQvx1DChannelConfigImpl::OnGroupedOrderingChanged(IQvxGroupedOrdering*)
{
    if (GetGroupedMode() != 0 || !Names) return;
    const CComPtr<IUnknown> hold = Hold();
    bool erased = false;
    for (const CComPtr<IQvxGroup>& group : GroupsNow()) {
        for (const CBstr& member : MembersOf(group)) erased |= Names->Erase(member.Get());
    }
    if (erased) OnNamesChanged();
}

// --- helpers ---

long IQvx1DChannelConfigImpl::GetGroupedMode()
{
    long mode = 0;
    if (Ordering && FAILED(Ordering->GetGroupedMode(&mode))) mode = 0;
    return mode;
}

bool IQvx1DChannelConfigImpl::IsCandidate(std::wstring_view name) const
{
    return std::find(Candidates.begin(), Candidates.end(), name) != Candidates.end();
}

void IQvx1DChannelConfigImpl::EraseCandidate(std::wstring_view name)
{
    const auto it = std::find(Candidates.begin(), Candidates.end(), name);
    if (it != Candidates.end()) Candidates.erase(it);
}

bool IQvx1DChannelConfigImpl::IsDeleted(BSTR name) const
{
    return DeletedNames.count(CBstr(ToView(name))) != 0;
}

std::vector<CComPtr<IQvxGroup>> IQvx1DChannelConfigImpl::GroupsNow() const
{
    return GroupsObj ? GroupsObj->GetItems() : std::vector<CComPtr<IQvxGroup>>();
}

std::vector<CBstr> IQvx1DChannelConfigImpl::MembersOf(IQvxGroup* group)
{
    std::vector<CBstr> members;
    long count = 0;
    if (!group || FAILED(group->GetMemberCount(&count))) return members;
    for (long i = 1; i <= count; ++i) {
        CBstr name;
        if (SUCCEEDED(group->GetMember(i, name.Out())) && name.Get()) members.push_back(std::move(name));
    }
    return members;
}
