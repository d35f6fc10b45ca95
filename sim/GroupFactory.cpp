#include "sim/GroupFactory.h"
#include <algorithm>
#include "sim/StreamIO.h"

namespace {

constexpr ULONG StreamVersion = 1;

} // namespace

// --- CGroup ---

CGroup::CGroup() : CNotificationsImpl({__uuidof(IQvxGroupNotifications), __uuidof(IQvxGroupNotifications2)}) {}

void CGroup::Init(std::wstring name, std::vector<std::wstring> members)
{
    GroupName = std::move(name);
    MemberList = std::move(members);
}

STDMETHODIMP CGroup::GetName(BSTR* name)
{
    QVX_HOST_CALL("IQvxGroup.GetName");
    if (!name) return E_POINTER;
    *name = SysAllocString(GroupName.c_str());
    return *name ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CGroup::GetMemberCount(long* count)
{
    QVX_HOST_CALL("IQvxGroup.GetMemberCount");
    if (!count) return E_POINTER;
    *count = long(MemberList.size());
    return S_OK;
}

STDMETHODIMP CGroup::GetMember(long index, BSTR* name)
{
    QVX_HOST_CALL("IQvxGroup.GetMember");
    if (!name) return E_POINTER;
    *name = nullptr;
    if (index < 1 || size_t(index) > MemberList.size()) return DISP_E_BADINDEX;
    *name = SysAllocString(MemberList[size_t(index - 1)].c_str());
    return *name ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CGroup::AddMember(BSTR name)
{
    QVX_HOST_CALL("IQvxGroup.AddMember");
    if (!name || !*name) return E_INVALIDARG;
    if (std::find(MemberList.begin(), MemberList.end(), name) != MemberList.end()) return S_FALSE;
    MemberList.emplace_back(name);
    CComPtr<IUnknown> self(ControllingUnknown());
    Notifier.Fire<IQvxGroupNotifications2>({__uuidof(IQvxGroupNotifications2)},
        [&](IQvxGroupNotifications2* sink) { sink->OnMemberAdded(Self(), name); });
    Notifier.Fire<IQvxGroupNotifications>({__uuidof(IQvxGroupNotifications)},
        [&](IQvxGroupNotifications* sink) { sink->OnGroupContentsChanged(Self()); });
    return S_OK;
}

STDMETHODIMP CGroup::RemoveMember(BSTR name)
{
    QVX_HOST_CALL("IQvxGroup.RemoveMember");
    if (!name) return E_INVALIDARG;
    auto member = std::find(MemberList.begin(), MemberList.end(), name);
    if (member == MemberList.end()) return E_INVALIDARG;
    MemberList.erase(member);
    CComPtr<IUnknown> self(ControllingUnknown());
    Notifier.Fire<IQvxGroupNotifications2>({__uuidof(IQvxGroupNotifications2)},
        [&](IQvxGroupNotifications2* sink) { sink->OnMemberRemoved(Self(), name); });
    Notifier.Fire<IQvxGroupNotifications>({__uuidof(IQvxGroupNotifications)},
        [&](IQvxGroupNotifications* sink) { sink->OnGroupContentsChanged(Self()); });
    return S_OK;
}

STDMETHODIMP CGroup::SetName(BSTR name)
{
    QVX_HOST_CALL("IQvxGroup.SetName");
    if (!name || !*name) return E_INVALIDARG;
    GroupName = name;
    CComPtr<IUnknown> self(ControllingUnknown());
    Notifier.Fire<IQvxGroupNotifications>({__uuidof(IQvxGroupNotifications), __uuidof(IQvxGroupNotifications2)},
        [&](IQvxGroupNotifications* sink) { sink->OnGroupChanged(Self()); });
    return S_OK;
}

bool CGroup::MayRemove()
{
    bool allowed = true;
    Notifier.Fire<IQvxGroupNotifications>({__uuidof(IQvxGroupNotifications), __uuidof(IQvxGroupNotifications2)},
        [&](IQvxGroupNotifications* sink) { if (sink->QueryGroupRemoval(Self()) == S_FALSE) allowed = false; });
    return allowed;
}

void CGroup::NotifyGoingAway()
{
    Notifier.Fire<IQvxGroupNotifications>({__uuidof(IQvxGroupNotifications), __uuidof(IQvxGroupNotifications2)},
        [&](IQvxGroupNotifications* sink) { sink->OnGroupGoingAway(Self()); });
}

// --- CGroupFactory ---

CGroupFactory::CGroupFactory() : CNotificationsImpl({__uuidof(IQvxGroupFactoryNotifications)}) {}

CGroup* CGroupFactory::FindOwn(const wchar_t* name) const
{
    if (!name) return nullptr;
    for (const auto& group : Groups) {
        if (group->Name() == name) return group;
    }
    return nullptr;
}

HRESULT CGroupFactory::AddGroup(const wchar_t* name, std::vector<std::wstring> members)
{
    CObjectPtr<CGroup> group;
    HRESULT hr = CreateObject<CGroup, IQvxGroup>(group);
    if (FAILED(hr)) return hr;
    group->Init(name, std::move(members));
    Groups.push_back(group);
    Dirty = true;
    CBstr added(name);
    Notifier.Fire<IQvxGroupFactoryNotifications>({__uuidof(IQvxGroupFactoryNotifications)},
        [&](IQvxGroupFactoryNotifications* sink) { sink->OnGroupAdded(this, added.Get()); });
    return S_OK;
}

STDMETHODIMP CGroupFactory::CreateGroup(BSTR name, IQvxGroup** group)
{
    QVX_HOST_CALL("IQvxGroupFactory.CreateGroup");
    if (!group) return E_POINTER;
    *group = nullptr;
    if (!name || !*name) return E_INVALIDARG;
    if (CGroup* existing = FindOwn(name)) {
        static_cast<IQvxGroup*>(existing)->QueryInterface(__uuidof(IQvxGroup), reinterpret_cast<void**>(group));
        return S_FALSE;
    }
    if (LockCount > 0) return E_ACCESSDENIED;
    CComPtr<IUnknown> self(ControllingUnknown());
    HRESULT hr = AddGroup(name, {});
    if (FAILED(hr)) return hr;
    return GiveOut(Groups.back(), group);
}

STDMETHODIMP CGroupFactory::RemoveGroup(BSTR name)
{
    QVX_HOST_CALL("IQvxGroupFactory.RemoveGroup");
    CGroup* found = FindOwn(name);
    if (!found) return E_INVALIDARG;
    if (LockCount > 0) return E_ACCESSDENIED;
    CComPtr<IUnknown> self(ControllingUnknown());
    CObjectPtr<CGroup> group(static_cast<CComObject<CGroup>*>(found));
    if (!group->MayRemove()) return S_FALSE;
    Groups.erase(std::find(Groups.begin(), Groups.end(), group));
    Dirty = true;
    group->NotifyGoingAway();
    CBstr removed(group->Name().c_str());
    Notifier.Fire<IQvxGroupFactoryNotifications>({__uuidof(IQvxGroupFactoryNotifications)},
        [&](IQvxGroupFactoryNotifications* sink) { sink->OnGroupRemoved(this, removed.Get()); });
    return S_OK;
}

STDMETHODIMP CGroupFactory::GetGroup(BSTR name, IQvxGroup** group)
{
    QVX_HOST_CALL("IQvxGroupFactory.GetGroup");
    if (!group) return E_POINTER;
    *group = nullptr;
    if (!name) return E_INVALIDARG;
    if (CGroup* own = FindOwn(name)) return static_cast<IQvxGroup*>(own)->QueryInterface(__uuidof(IQvxGroup), reinterpret_cast<void**>(group));
    if (Parent) {
        CInternalHostCalls internal;
        return Parent->GetGroup(name, group);
    }
    return E_INVALIDARG;
}

STDMETHODIMP CGroupFactory::GetParent(IQvxGroupFactory** parent)
{
    QVX_HOST_CALL("IQvxGroupFactory.GetParent");
    if (!parent) return E_POINTER;
    return Parent.CopyTo(parent);
}

STDMETHODIMP CGroupFactory::SetParent(IQvxGroupFactory* parent)
{
    QVX_HOST_CALL("IQvxGroupFactory.SetParent");
    if (SameObject(parent, Parent)) return S_OK;
    Parent = parent;
    CComPtr<IUnknown> self(ControllingUnknown());
    Notifier.Fire<IQvxGroupFactoryNotifications>({__uuidof(IQvxGroupFactoryNotifications)},
        [&](IQvxGroupFactoryNotifications* sink) { sink->OnGroupsChanged(this); });
    return S_OK;
}

std::vector<CComPtr<IQvxGroup>> CGroupFactory::Walk()
{
    CInternalHostCalls internal;
    std::vector<CComPtr<IQvxGroup>> groups;
    for (const auto& group : Groups) groups.emplace_back(static_cast<IQvxGroup*>(group.Get()));
    CComPtr<IQvxGroupList> parentList;
    if (!Parent || FAILED(Parent.As(parentList))) return groups;
    long count = 0;
    parentList->GetCount(&count);
    for (long i = 1; i <= count; ++i) {
        CComPtr<IQvxGroup> group;
        CBstr name;
        if (FAILED(parentList->GetItem(i, group.Out())) || !group || FAILED(group->GetName(name.Out()))) continue;
        if (!FindOwn(name.Get())) groups.push_back(group);
    }
    return groups;
}

STDMETHODIMP CGroupFactory::GetCount(long* count)
{
    QVX_HOST_CALL("IQvxGroupList.GetCount");
    if (!count) return E_POINTER;
    *count = long(Walk().size());
    return S_OK;
}

STDMETHODIMP CGroupFactory::GetItem(long index, IQvxGroup** group)
{
    QVX_HOST_CALL("IQvxGroupList.GetItem");
    if (!group) return E_POINTER;
    *group = nullptr;
    auto groups = Walk();
    if (index < 1 || size_t(index) > groups.size()) return DISP_E_BADINDEX;
    return groups[size_t(index - 1)].CopyTo(group);
}

STDMETHODIMP CGroupFactory::LockList(IUnknown** lock)
{
    QVX_HOST_CALL("IQvxGroupList.LockList");
    if (!lock) return E_POINTER;
    *lock = nullptr;
    CObjectPtr<CGroupListLock> made;
    HRESULT hr = CreateObject<CGroupListLock, IUnknown>(made);
    if (FAILED(hr)) return hr;
    made->Init(static_cast<CComObject<CGroupFactory>*>(this));
    ++LockCount;
    return GiveOut(made, lock);
}

void CGroupListLock::FinalRelease()
{
    if (Factory) Factory->Unlock();
}

void CGroupFactory::GoAway()
{
    CComPtr<IUnknown> self(ControllingUnknown());
    auto groups = std::move(Groups);
    Groups.clear();
    for (auto& group : groups) group->NotifyGoingAway();
}

STDMETHODIMP CGroupFactory::GetClassID(CLSID* clsid)
{
    if (!clsid) return E_POINTER;
    *clsid = __uuidof(QvxGroupFactory);
    return S_OK;
}

STDMETHODIMP CGroupFactory::IsDirty()
{
    QVX_HOST_CALL("IPersistStreamInit.IsDirty");
    return Dirty ? S_OK : S_FALSE;
}

STDMETHODIMP CGroupFactory::InitNew()
{
    QVX_HOST_CALL("IPersistStreamInit.InitNew");
    Dirty = false;
    return S_OK;
}

STDMETHODIMP CGroupFactory::Load(IStream* stream)
{
    QVX_HOST_CALL("IPersistStreamInit.Load");
    if (!stream) return E_POINTER;
    ULONG version = 0, count = 0;
    HRESULT hr = ReadValue(stream, version);
    if (SUCCEEDED(hr) && version != StreamVersion) hr = STG_E_OLDFORMAT;
    if (SUCCEEDED(hr)) hr = ReadValue(stream, count);
    std::vector<std::pair<std::wstring, std::vector<std::wstring>>> read;
    for (ULONG i = 0; SUCCEEDED(hr) && i < count; ++i) {
        std::wstring name;
        ULONG members = 0;
        hr = ReadString(stream, name);
        if (SUCCEEDED(hr)) hr = ReadValue(stream, members);
        std::vector<std::wstring> list;
        for (ULONG j = 0; SUCCEEDED(hr) && j < members; ++j) {
            std::wstring member;
            hr = ReadString(stream, member);
            list.push_back(std::move(member));
        }
        read.emplace_back(std::move(name), std::move(list));
    }
    if (FAILED(hr)) return hr;
    CComPtr<IUnknown> self(ControllingUnknown());
    GoAway();
    for (auto& [name, members] : read) {
        CObjectPtr<CGroup> group;
        hr = CreateObject<CGroup, IQvxGroup>(group);
        if (FAILED(hr)) return hr;
        group->Init(std::move(name), std::move(members));
        Groups.push_back(group);
    }
    Dirty = false;
    Notifier.Fire<IQvxGroupFactoryNotifications>({__uuidof(IQvxGroupFactoryNotifications)},
        [&](IQvxGroupFactoryNotifications* sink) { sink->OnGroupsChanged(this); });
    return S_OK;
}

STDMETHODIMP CGroupFactory::Save(IStream* stream, BOOL clearDirty)
{
    QVX_HOST_CALL("IPersistStreamInit.Save");
    if (!stream) return E_POINTER;
    HRESULT hr = WriteValue(stream, StreamVersion);
    if (SUCCEEDED(hr)) hr = WriteValue(stream, ULONG(Groups.size()));
    for (const auto& group : Groups) {
        if (SUCCEEDED(hr)) hr = WriteString(stream, group->Name());
        if (SUCCEEDED(hr)) hr = WriteValue(stream, ULONG(group->Members().size()));
        for (const auto& member : group->Members()) {
            if (SUCCEEDED(hr)) hr = WriteString(stream, member);
        }
    }
    if (SUCCEEDED(hr) && clearDirty) Dirty = false;
    return hr;
}

STDMETHODIMP CGroupFactory::GetSizeMax(ULARGE_INTEGER* size)
{
    if (!size) return E_POINTER;
    ULONGLONG bytes = 2 * sizeof(ULONG);
    for (const auto& group : Groups) {
        bytes += 2 * sizeof(ULONG) + group->Name().size() * sizeof(wchar_t);
        for (const auto& member : group->Members()) bytes += sizeof(ULONG) + member.size() * sizeof(wchar_t);
    }
    size->QuadPart = bytes;
    return S_OK;
}
