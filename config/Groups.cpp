#include "config/Groups.h"
#include "com/AutomationTypes.h"
#include "config/DataNames.h"
#include <algorithm>
#include <new>
#include <utility>

HRESULT CGroups::FinalConstruct()
{
    GroupSink = CreateSink<CGroupSink>(static_cast<CGroupNotifications2Receiver*>(this));
    if (!GroupSink) return E_OUTOFMEMORY;
    GroupSink->HoldDuringCalls(static_cast<IQvxGroups*>(this));
    return S_OK;
}

void CGroups::FinalRelease()
{
    Parent = nullptr;
    Clear();
    CloseSink(GroupSink);
}

STDMETHODIMP CGroups::GetCount(long* count)
{
    if (!count) return E_POINTER;
    *count = long(Items.size());
    return S_OK;
}

STDMETHODIMP CGroups::GetItem(long index, IQvxGroup** group)
{
    if (!group) return E_POINTER;
    *group = nullptr;
    if (index < 1 || size_t(index) > Items.size()) return DISP_E_BADINDEX;
    return Items[index - 1].CopyTo(group);
}

STDMETHODIMP CGroups::GetName(long index, BSTR* name)
{
    if (!name) return E_POINTER;
    *name = nullptr;
    if (index < 1 || size_t(index) > Items.size()) return DISP_E_BADINDEX;
    const CComPtr<IQvxGroup> group = Items[index - 1];
    return group->GetName(name);
}

STDMETHODIMP CGroups::Add(IQvxGroup* group)
{
    if (!group || GroupSink->Contains(group)) return S_OK;
    try {
        Items.reserve(Items.size() + 1);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    if (!GroupSink->Add(group)) return S_OK;
    Items.emplace_back(group);
    const CComPtr<IQvxOrdering> self(Self());
    const CComPtr<IQvxGroup> held(group);
    if (Parent) CallGuarded([&] { Parent->OnGroupAdded(group); });
    Fire_OnOrderingChanged(Self());
    return S_OK;
}

STDMETHODIMP CGroups::RemoveAt(long index)
{
    if (index < 1 || size_t(index) > Items.size()) return DISP_E_BADINDEX;
    const CComPtr<IQvxOrdering> self(Self());
    const CComPtr<IQvxGroup> group = Remove(size_t(index - 1));
    if (Parent) CallGuarded([&] { Parent->OnGroupRemoved(group); });
    Fire_OnOrderingChanged(Self());
    return S_OK;
}

STDMETHODIMP CGroups::MoveItem(BSTR name, long position)
{
    if (position < 1 || size_t(position) > Items.size()) return DISP_E_BADINDEX;
    const std::wstring_view wanted(name ? name : L"", SysStringLen(name));
    // The names come from the host, which may change the list meanwhile: a snapshot.
    const std::vector<CComPtr<IQvxGroup>> groups = Items;
    CComPtr<IQvxGroup> found;
    for (const CComPtr<IQvxGroup>& group : groups) {
        CBstr groupName;
        if (SUCCEEDED(group->GetName(groupName.Out())) && groupName.View() == wanted) {
            found = group;
            break;
        }
    }
    const auto old = std::find(Items.begin(), Items.end(), found);
    if (!found || old == Items.end() || position > long(Items.size())) return E_INVALIDARG;
    const auto to = Items.begin() + (position - 1);
    if (old == to) return S_FALSE;
    if (old < to) std::rotate(old, old + 1, to + 1);
    else std::rotate(to, old, old + 1);
    const CComPtr<IQvxOrdering> self(Self());
    if (Parent) CallGuarded([&] { Parent->OnGroupsReordered(); });
    Fire_OnOrderingChanged(Self());
    return S_OK;
}

void CGroups::Clear()
{
    if (GroupSink) GroupSink->Clear();
    // The groups are released once the list is empty: a release may call back.
    std::vector<CComPtr<IQvxGroup>> groups = std::move(Items);
    Items.clear();
}

void CGroups::OnGroupChanged(IQvxGroup* group)
{
    if (Parent) CallGuarded([&] { Parent->OnGroupChanged(group); });
}

void CGroups::OnGroupContentsChanged(IQvxGroup* group)
{
    if (Parent) CallGuarded([&] { Parent->OnGroupContentsChanged(group); });
}

void CGroups::OnGroupGoingAway(IQvxGroup* group)
{
    for (size_t i = 0; i < Items.size(); ++i) {
        if (SameObject(Items[i], group)) {
            const CComPtr<IQvxGroup> gone = Remove(i);
            if (Parent) CallGuarded([&] { Parent->OnGroupGoingAway(gone); });
            return;
        }
    }
}

bool CGroups::QueryGroupRemoval(IQvxGroup* group)
{
    return Parent ? Parent->QueryGroup(group) : true;
}

void CGroups::OnMemberAdded(IQvxGroup* group, BSTR name)
{
    if (Parent) CallGuarded([&] { Parent->OnGroupMemberAdded(group, name); });
}

void CGroups::OnMemberRemoved(IQvxGroup* group, BSTR name)
{
    if (Parent) CallGuarded([&] { Parent->OnGroupMemberRemoved(group, name); });
}

CComPtr<IQvxGroup> CGroups::Remove(size_t index)
{
    CComPtr<IQvxGroup> group = Items[index];
    GroupSink->Remove(group);
    // Unadvising reaches the host, which may have changed the list meanwhile.
    const auto at = std::find(Items.begin(), Items.end(), group);
    if (at != Items.end()) Items.erase(at);
    return group;
}
