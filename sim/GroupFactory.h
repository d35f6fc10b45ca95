#pragma once
// Groups of channels and their factories.
//
// A group tells its sinks of a member added or removed (version 2 sinks; version 1 sinks hear
// that the contents changed), of a new name (group changed), and of its going away. Before a
// factory removes a group it asks the group's sinks, and keeps the group if any objects.
// A factory finds its own groups first, then its parent's; its list (IQvxGroupList) walks both.
// While a lock from LockList is held, the list cannot change. The factory keeps its own groups
// in a stream.
#include <string>
#include <vector>
#include <ocidl.h>
#include "sim/Notifier.h"
#include "sim/SimObject.h"

class CGroup : public CComRoot, public IQvxGroup, public CNotificationsImpl
{
public:
    QVX_BEGIN_INTERFACES(CGroup)
        QVX_INTERFACE(CGroup, IQvxGroup),
        QVX_INTERFACE(CGroup, IQvxNotifications),
    QVX_END_INTERFACES()

    CGroup();
    void Init(std::wstring name, std::vector<std::wstring> members);

    STDMETHODIMP GetName(BSTR* name) override;
    QVX_RESERVED(1)
    STDMETHODIMP GetMemberCount(long* count) override;
    STDMETHODIMP GetMember(long index, BSTR* name) override;
    STDMETHODIMP AddMember(BSTR name) override;
    STDMETHODIMP RemoveMember(BSTR name) override;
    STDMETHODIMP SetName(BSTR name) override;

    // The factory's side.
    const std::wstring& Name() const noexcept { return GroupName; }
    const std::vector<std::wstring>& Members() const noexcept { return MemberList; }
    // True when every sink lets the group go.
    bool MayRemove();
    void NotifyGoingAway();

private:
    IQvxGroup* Self() { return this; }

    std::wstring GroupName;
    std::vector<std::wstring> MemberList;
};

class CGroupFactory : public CComRoot,
                      public IQvxGroupFactory,
                      public IQvxGroupList,
                      public CNotificationsImpl,
                      public IPersistStreamInit
{
public:
    QVX_BEGIN_INTERFACES(CGroupFactory)
        QVX_INTERFACE(CGroupFactory, IQvxGroupFactory),
        QVX_INTERFACE(CGroupFactory, IQvxGroupList),
        QVX_INTERFACE(CGroupFactory, IQvxNotifications),
        QVX_INTERFACE(CGroupFactory, IPersistStreamInit),
        QVX_INTERFACE_VIA(CGroupFactory, IPersist, IPersistStreamInit),
    QVX_END_INTERFACES()

    CGroupFactory();

    // IQvxGroupFactory
    STDMETHODIMP CreateGroup(BSTR name, IQvxGroup** group) override;
    STDMETHODIMP RemoveGroup(BSTR name) override;
    STDMETHODIMP GetGroup(BSTR name, IQvxGroup** group) override;
    STDMETHODIMP GetParent(IQvxGroupFactory** parent) override;
    QVX_RESERVED(4)
    STDMETHODIMP SetParent(IQvxGroupFactory* parent) override;
    // IQvxGroupList
    STDMETHODIMP GetCount(long* count) override;
    STDMETHODIMP GetItem(long index, IQvxGroup** group) override;
    QVX_RESERVED(2)
    QVX_RESERVED(3)
    QVX_RESERVED(5)
    STDMETHODIMP LockList(IUnknown** lock) override;
    // IPersistStreamInit
    STDMETHODIMP GetClassID(CLSID* clsid) override;
    STDMETHODIMP IsDirty() override;
    STDMETHODIMP Load(IStream* stream) override;
    STDMETHODIMP Save(IStream* stream, BOOL clearDirty) override;
    STDMETHODIMP GetSizeMax(ULARGE_INTEGER* size) override;
    STDMETHODIMP InitNew() override;

    // The host's side.
    HRESULT AddGroup(const wchar_t* name, std::vector<std::wstring> members);
    void GoAway();
    long Locks() const noexcept { return LockCount; }
    void Unlock() noexcept { --LockCount; }

private:
    // The groups that the list walks: the factory's own, then those of its parent that it
    // does not hide by name.
    std::vector<CComPtr<IQvxGroup>> Walk();
    CGroup* FindOwn(const wchar_t* name) const;

    std::vector<CObjectPtr<CGroup>> Groups;
    CComPtr<IQvxGroupFactory> Parent;
    long LockCount = 0;
    bool Dirty = false;
};

// Holds a group factory's list unchanged while it lives.
class CGroupListLock : public CComRoot, public IUnknown
{
public:
    QVX_BEGIN_INTERFACES(CGroupListLock)
        QVX_INTERFACE(CGroupListLock, IUnknown),
    QVX_END_INTERFACES()

    void Init(CComObject<CGroupFactory>* factory) { Factory = factory; }
    void FinalRelease();

private:
    CObjectPtr<CGroupFactory> Factory;
};
