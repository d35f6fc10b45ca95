#include "config/Groups.h"
#include <new>
#include <utility>

HRESULT CGroups::FinalConstruct()
{
    GroupSink = CreateSink<CGroupSink>(static_cast<CGroupNotifications2Receiver*>(this));
    return GroupSink ? S_OK : E_OUTOFMEMORY;
}

void CGroups::FinalRelease()
{
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

STDMETHODIMP CGroups::Add(IQvxGroup* group)
{
    if (!group || GroupSink->Contains(group)) return S_OK;
    try {
        Items.reserve(Items.size() + 1);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    if (GroupSink->Add(group)) Items.emplace_back(group);
    return S_OK;
}

STDMETHODIMP CGroups::RemoveAt(long index)
{
    if (index < 1 || size_t(index) > Items.size()) return DISP_E_BADINDEX;
    Remove(size_t(index - 1));
    return S_OK;
}

void CGroups::Clear()
{
    if (GroupSink) GroupSink->Clear();
    // The groups are released once the list is empty: a release may call back.
    std::vector<CComPtr<IQvxGroup>> groups = std::move(Items);
    Items.clear();
}

void CGroups::OnGroupGoingAway(IQvxGroup* group)
{
    for (size_t i = 0; i < Items.size(); ++i) {
        if (SameObject(Items[i], group)) {
            Remove(i);
            return;
        }
    }
}

void CGroups::Remove(size_t index)
{
    CComPtr<IQvxGroup> group = Items[index];
    GroupSink->Remove(group);
    // Unadvising reaches the host, which may have changed the list meanwhile.
    for (size_t i = 0; i < Items.size(); ++i) {
        if (Items[i].Get() == group.Get()) {
            Items.erase(Items.begin() + i);
            break;
        }
    }
}
