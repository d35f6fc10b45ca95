#pragma once
// Property sets and their factories.
//
// A property set holds named values; what it does not hold it answers from its parent, the set
// of the same name in its factory's parent factory, and it passes the parent's changes on for
// the names that it does not hold itself. Every SetProperty is told to the set's sinks, also
// the one that made it. A factory makes a set on first asking and keeps it; it tells of sets
// added and removed, and of its parent changing. The event factory asks its sinks, before it
// removes a set, how many uses they still have of it, and keeps the set if any has one.
// A factory keeps its sets' own values in a storage (stream "Properties").
#include <map>
#include <memory>
#include <string>
#include <ocidl.h>
#include "com/AutomationTypes.h"
#include "sim/Notifier.h"
#include "config/PropertySetNotifications.h"
#include "sim/SimObject.h"

// Property names are compared without regard to case.
struct CNoCaseLess
{
    bool operator()(const std::wstring& a, const std::wstring& b) const { return _wcsicmp(a.c_str(), b.c_str()) < 0; }
};

class CPropertyFactory;
class CChannelTable;

class CPropertySet : public CComRoot, public IQvxPropertySet, public CNotificationsImpl
{
public:
    QVX_BEGIN_INTERFACES(CPropertySet)
        QVX_INTERFACE(CPropertySet, IQvxPropertySet),
        QVX_INTERFACE(CPropertySet, IQvxNotifications),
    QVX_END_INTERFACES()

    CPropertySet();
    void FinalRelease();
    void Init(std::wstring name, CPropertyFactory* owner);

    STDMETHODIMP GetProperty(BSTR name, VARIANT* value) override;
    STDMETHODIMP SetProperty(BSTR name, VARIANT value) override;

    // The factory's side.
    const std::wstring& Name() const noexcept { return SetName; }
    const std::map<std::wstring, CVariant, CNoCaseLess>& OwnValues() const noexcept { return Values; }
    // A value that the set holds from the start, told to nobody.
    void Preset(const wchar_t* name, const VARIANT& value);
    // Binds the set to its parent set, or to none; `tell` reports every value as changed.
    void SetParent(IQvxPropertySet* parent, bool tell);
    void NotifyGoingAway();
    // The factory lets go of the set: it keeps its values and forgets the factory.
    void Detach();

private:
    class CParentWatcher : public CPropertySetNotifications2Receiver
    {
    public:
        explicit CParentWatcher(CPropertySet* owner) : Owner(owner) {}
        void OnPropertyChanged(IQvxPropertySet* source, BSTR name) override;
        void OnPropertySetGoingAway(IQvxPropertySet* source) override;

    private:
        CPropertySet* Owner;
    };
    using CParentSink = CPropertySetNotifications2Sink<CBaseSingleSourceSink<IQvxPropertySetNotifications2>>;

    void NotifyChanged(BSTR name);

    std::wstring SetName;
    CPropertyFactory* Owner = nullptr;
    std::map<std::wstring, CVariant, CNoCaseLess> Values;
    CComPtr<IQvxPropertySet> Parent;
    CParentWatcher Watcher;
    CComPtr<CParentSink> ParentSink;
};

class CPropertyFactory : public CComRoot,
                         public IQvxEventPropertyFactory,
                         public CNotificationsImpl,
                         public IPersistStorage
{
public:
    enum class CKind { Channel, Event };
    explicit CPropertyFactory(CKind kind);
    void FinalRelease();

    // IQvxPropertyFactory
    STDMETHODIMP GetCount(long* count) override;
    STDMETHODIMP GetName(long index, BSTR* name) override;
    STDMETHODIMP SetParent(IQvxPropertyFactory* parent) override;
    STDMETHODIMP GetPropertySet(BSTR name, IQvxPropertySet** propertySet) override;
    STDMETHODIMP RemovePropertySet(BSTR name) override;
    STDMETHODIMP GetParent(IQvxPropertyFactory** parent) override;
    // IPersistStorage
    STDMETHODIMP GetClassID(CLSID* clsid) override;
    STDMETHODIMP IsDirty() override;
    STDMETHODIMP InitNew(IStorage* storage) override;
    STDMETHODIMP Load(IStorage* storage) override;
    STDMETHODIMP Save(IStorage* storage, BOOL sameAsLoad) override;
    STDMETHODIMP SaveCompleted(IStorage* storage) override;
    STDMETHODIMP HandsOffStorage() override;

    // The host's side: a factory of the host's defaults fills each new set from the recording's
    // channel or event table.
    void MakeHostDefaults() { HostDefaults = true; }
    // The channels whose defaults a channel factory of the host gives: the car's until set.
    void SetChannels(std::shared_ptr<const CChannelTable> channels) { Channels = std::move(channels); }
    void MarkDirty() noexcept { Dirty = true; }

private:
    HRESULT MakeSet(const std::wstring& name, CObjectPtr<CPropertySet>& set);
    void FillDefaults(CPropertySet& set) const;
    IQvxPropertyFactory* Self() { return static_cast<IQvxEventPropertyFactory*>(this); }

    CKind Kind;
    bool HostDefaults = false;
    std::shared_ptr<const CChannelTable> Channels;
    bool Initialised = false;
    bool Dirty = false;
    std::map<std::wstring, CObjectPtr<CPropertySet>, CNoCaseLess> Sets;
    CComPtr<IQvxPropertyFactory> Parent;
};

class CChannelPropertyFactory : public CPropertyFactory
{
public:
    QVX_BEGIN_INTERFACES(CChannelPropertyFactory)
        QVX_INTERFACE_VIA(CChannelPropertyFactory, IQvxPropertyFactory, IQvxEventPropertyFactory),
        QVX_INTERFACE(CChannelPropertyFactory, IQvxNotifications),
        QVX_INTERFACE(CChannelPropertyFactory, IPersistStorage),
        QVX_INTERFACE_VIA(CChannelPropertyFactory, IPersist, IPersistStorage),
    QVX_END_INTERFACES()

    CChannelPropertyFactory() : CPropertyFactory(CKind::Channel) {}
};

class CEventPropertyFactory : public CPropertyFactory
{
public:
    QVX_BEGIN_INTERFACES(CEventPropertyFactory)
        QVX_INTERFACE_VIA(CEventPropertyFactory, IQvxPropertyFactory, IQvxEventPropertyFactory),
        QVX_INTERFACE(CEventPropertyFactory, IQvxEventPropertyFactory),
        QVX_INTERFACE(CEventPropertyFactory, IQvxNotifications),
        QVX_INTERFACE(CEventPropertyFactory, IPersistStorage),
        QVX_INTERFACE_VIA(CEventPropertyFactory, IPersist, IPersistStorage),
    QVX_END_INTERFACES()

    CEventPropertyFactory() : CPropertyFactory(CKind::Event) {}
};
