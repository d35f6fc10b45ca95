#include "sim/PropertyFactory.h"
#include <vector>
#include "sim/Recording.h"
#include "sim/StreamIO.h"

namespace {

const wchar_t StreamName[] = L"Properties";
constexpr ULONG StreamVersion = 1;

CVariant Long(long value)
{
    CVariant v;
    v.vt = VT_I4;
    v.lVal = value;
    return v;
}

CVariant Real(double value)
{
    CVariant v;
    v.vt = VT_R8;
    v.dblVal = value;
    return v;
}

CVariant Flag(bool value)
{
    CVariant v;
    v.vt = VT_BOOL;
    v.boolVal = ToVariantBool(value);
    return v;
}

CVariant Text(const wchar_t* value)
{
    CVariant v;
    v.bstrVal = SysAllocString(value);
    if (v.bstrVal) v.vt = VT_BSTR;
    return v;
}

} // namespace

// --- CPropertySet ---

CPropertySet::CPropertySet()
    : CNotificationsImpl({__uuidof(IQvxPropertySetNotifications), __uuidof(IQvxPropertySetNotifications2)}),
      Watcher(this)
{
}

void CPropertySet::FinalRelease()
{
    SetParent(nullptr, false);
}

void CPropertySet::Init(std::wstring name, CPropertyFactory* owner)
{
    SetName = std::move(name);
    Owner = owner;
}

STDMETHODIMP CPropertySet::GetProperty(BSTR name, VARIANT* value)
{
    QVX_HOST_CALL("IQvxPropertySet.GetProperty");
    if (!value) return E_POINTER;
    VariantInit(value);
    if (!name) return E_INVALIDARG;
    auto entry = Values.find(name);
    if (entry != Values.end()) return VariantCopy(value, &entry->second);
    if (Parent) {
        CInternalHostCalls internal;
        return Parent->GetProperty(name, value);
    }
    return DISP_E_UNKNOWNNAME;
}

STDMETHODIMP CPropertySet::SetProperty(BSTR name, VARIANT value)
{
    QVX_HOST_CALL("IQvxPropertySet.SetProperty");
    if (!name || !*name) return E_INVALIDARG;
    CVariant copy;
    HRESULT hr = VariantCopy(&copy, &value);
    if (FAILED(hr)) return hr;
    Values[name] = copy;
    if (Owner) Owner->MarkDirty();
    CComPtr<IUnknown> self(ControllingUnknown());
    NotifyChanged(name);
    return S_OK;
}

void CPropertySet::Preset(const wchar_t* name, const VARIANT& value)
{
    CVariant copy;
    if (SUCCEEDED(VariantCopy(&copy, const_cast<VARIANT*>(&value)))) Values[name] = copy;
}

void CPropertySet::NotifyChanged(BSTR name)
{
    Notifier.Fire<IQvxPropertySetNotifications>(
        {__uuidof(IQvxPropertySetNotifications), __uuidof(IQvxPropertySetNotifications2)},
        [&](IQvxPropertySetNotifications* sink) { sink->OnPropertyChanged(this, name); });
}

void CPropertySet::SetParent(IQvxPropertySet* parent, bool tell)
{
    CInternalHostCalls internal;
    CloseSink(ParentSink, Parent);
    Parent = parent;
    if (Parent) {
        ParentSink = CreateSink<CParentSink>(&Watcher);
        if (ParentSink) ParentSink->Advise(Parent);
    }
    if (tell) NotifyChanged(nullptr);
}

void CPropertySet::NotifyGoingAway()
{
    Notifier.Fire<IQvxPropertySetNotifications2>({__uuidof(IQvxPropertySetNotifications2)},
        [&](IQvxPropertySetNotifications2* sink) { sink->OnPropertySetGoingAway(this); });
}

void CPropertySet::Detach()
{
    Owner = nullptr;
    SetParent(nullptr, false);
}

void CPropertySet::CParentWatcher::OnPropertyChanged(IQvxPropertySet*, BSTR name)
{
    // A value of the set's own hides the parent's.
    if (name && Owner->Values.count(name)) return;
    Owner->NotifyChanged(name);
}

void CPropertySet::CParentWatcher::OnPropertySetGoingAway(IQvxPropertySet*)
{
    Owner->SetParent(nullptr, true);
}

// --- CPropertyFactory ---

CPropertyFactory::CPropertyFactory(CKind kind)
    : CNotificationsImpl(kind == CKind::Channel
                             ? std::initializer_list<IID>{__uuidof(IQvxChannelPropertyFactoryNotifications),
                                                          __uuidof(IQvxChannelPropertyFactoryNotifications2)}
                             : std::initializer_list<IID>{__uuidof(IQvxEventPropertyFactoryNotifications)}),
      Kind(kind), Channels(CChannelTable::Car())
{
}

void CPropertyFactory::FinalRelease()
{
    for (auto& [name, set] : Sets) set->Detach();
    Sets.clear();
}

STDMETHODIMP CPropertyFactory::GetCount(long* count)
{
    QVX_HOST_CALL("IQvxPropertyFactory.GetCount");
    if (!count) return E_POINTER;
    *count = long(Sets.size());
    return S_OK;
}

STDMETHODIMP CPropertyFactory::GetName(long index, BSTR* name)
{
    QVX_HOST_CALL("IQvxPropertyFactory.GetName");
    if (!name) return E_POINTER;
    *name = nullptr;
    if (index < 1 || size_t(index) > Sets.size()) return E_INVALIDARG;
    auto entry = Sets.begin();
    std::advance(entry, index - 1);
    *name = SysAllocString(entry->first.c_str());
    return *name ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CPropertyFactory::SetParent(IQvxPropertyFactory* parent)
{
    QVX_HOST_CALL("IQvxPropertyFactory.SetParent");
    if (SameObject(parent, Parent)) return S_OK;
    CComPtr<IUnknown> self(ControllingUnknown());
    Parent = parent;
    for (auto& [name, set] : Sets) {
        CComPtr<IQvxPropertySet> parentSet;
        if (Parent) {
            CInternalHostCalls internal;
            CBstr setName(name.c_str());
            Parent->GetPropertySet(setName.Get(), parentSet.Out());
        }
        set->SetParent(parentSet, true);
    }
    if (Kind == CKind::Channel) {
        Notifier.Fire<IQvxChannelPropertyFactoryNotifications2>({__uuidof(IQvxChannelPropertyFactoryNotifications2)},
            [&](IQvxChannelPropertyFactoryNotifications2* sink) { sink->OnParentChanged(Self()); });
    } else {
        Notifier.Fire<IQvxEventPropertyFactoryNotifications>({__uuidof(IQvxEventPropertyFactoryNotifications)},
            [&](IQvxEventPropertyFactoryNotifications* sink) { sink->OnFactoryChanged(Self()); });
    }
    return S_OK;
}

STDMETHODIMP CPropertyFactory::GetParent(IQvxPropertyFactory** parent)
{
    QVX_HOST_CALL("IQvxPropertyFactory.GetParent");
    if (!parent) return E_POINTER;
    return Parent.CopyTo(parent);
}

HRESULT CPropertyFactory::MakeSet(const std::wstring& name, CObjectPtr<CPropertySet>& set)
{
    HRESULT hr = CreateObject<CPropertySet, IQvxPropertySet>(set);
    if (FAILED(hr)) return hr;
    set->Init(name, this);
    if (HostDefaults) FillDefaults(*set);
    if (Parent) {
        CInternalHostCalls internal;
        CComPtr<IQvxPropertySet> parentSet;
        CBstr setName(name.c_str());
        if (SUCCEEDED(Parent->GetPropertySet(setName.Get(), parentSet.Out()))) set->SetParent(parentSet, false);
    }
    Sets[name] = set;
    return S_OK;
}

STDMETHODIMP CPropertyFactory::GetPropertySet(BSTR name, IQvxPropertySet** propertySet)
{
    QVX_HOST_CALL("IQvxPropertyFactory.GetPropertySet");
    if (!propertySet) return E_POINTER;
    *propertySet = nullptr;
    if (!name || !*name) return E_INVALIDARG;
    auto entry = Sets.find(name);
    if (entry != Sets.end()) return GiveOut(entry->second, propertySet);
    CObjectPtr<CPropertySet> set;
    HRESULT hr = MakeSet(name, set);
    if (FAILED(hr)) return hr;
    Dirty = true;
    hr = GiveOut(set, propertySet);
    auto tell = [&](auto* sink) { sink->OnPropertySetAdded(Self(), name); };
    if (Kind == CKind::Channel) {
        Notifier.Fire<IQvxChannelPropertyFactoryNotifications>(
            {__uuidof(IQvxChannelPropertyFactoryNotifications), __uuidof(IQvxChannelPropertyFactoryNotifications2)}, tell);
    } else {
        Notifier.Fire<IQvxEventPropertyFactoryNotifications>({__uuidof(IQvxEventPropertyFactoryNotifications)}, tell);
    }
    return hr;
}

STDMETHODIMP CPropertyFactory::RemovePropertySet(BSTR name)
{
    QVX_HOST_CALL("IQvxPropertyFactory.RemovePropertySet");
    if (!name) return E_INVALIDARG;
    auto entry = Sets.find(name);
    if (entry == Sets.end()) return E_INVALIDARG;
    CComPtr<IUnknown> self(ControllingUnknown());
    if (Kind == CKind::Event) {
        long uses = 0;
        Notifier.Fire<IQvxEventPropertyFactoryNotifications>({__uuidof(IQvxEventPropertyFactoryNotifications)},
            [&](IQvxEventPropertyFactoryNotifications* sink) {
                long more = 0;
                sink->QueryPropertySetUses(Self(), name, &more);
                uses += more;
            });
        if (uses > 0) return S_FALSE;
        entry = Sets.find(name);
        if (entry == Sets.end()) return S_OK;
    }
    CObjectPtr<CPropertySet> set = entry->second;
    Sets.erase(entry);
    Dirty = true;
    set->NotifyGoingAway();
    set->Detach();
    CBstr removed(set->Name().c_str());
    auto tell = [&](auto* sink) { sink->OnPropertySetRemoved(Self(), removed.Get()); };
    if (Kind == CKind::Channel) {
        Notifier.Fire<IQvxChannelPropertyFactoryNotifications>(
            {__uuidof(IQvxChannelPropertyFactoryNotifications), __uuidof(IQvxChannelPropertyFactoryNotifications2)}, tell);
    } else {
        Notifier.Fire<IQvxEventPropertyFactoryNotifications>({__uuidof(IQvxEventPropertyFactoryNotifications)}, tell);
    }
    return S_OK;
}

void CPropertyFactory::FillDefaults(CPropertySet& set) const
{
    set.Preset(L"Display name", Text(Kind == CKind::Event ? set.Name().c_str() : ChannelText(set.Name().c_str(), nullptr)));
    if (Kind == CKind::Event) {
        for (const CEventDefinition& definition : EventDefinitions()) {
            if (_wcsicmp(definition.Name, set.Name().c_str()) != 0) continue;
            set.Preset(L"Priority", Long(definition.Priority));
            set.Preset(L"Color", Long(long(definition.Color)));
        }
        return;
    }
    const CChannelTable& channels = *Channels;
    int index = channels.Find(set.Name().c_str());
    if (index < 0) {
        set.Preset(L"Quantity", Long(0));
        return;
    }
    const CChannelDefinition& d = channels[size_t(index)];
    std::wstring tag = d.Name;
    for (wchar_t& c : tag) if (c == L' ') c = L'_';
    const struct { const wchar_t* Name; CVariant Value; } values[] = {
        {L"Color", Long(long(d.Color))},
        {L"Autoscale", Flag(_wcsicmp(d.Name.c_str(), L"Distance") == 0)},
        {L"Display maximum", Real(d.DisplayMaximum)},
        {L"Display minimum", Real(d.DisplayMinimum)},
        {L"Unit", Long(d.Unit)},
        {L"User type", Text(d.UserType)},
        {L"Decimal places", Long(d.DecimalPlaces)},
        {L"Y-axis % maximum", Real(100.0)},
        {L"Y-axis % minimum", Real(0.0)},
        {L"Y-axis % enabled", Flag(false)},
        {L"Interpolation", Long(d.Interpolation)},
        {L"Auxiliary axis", Long(0)},
        {L"Alarm condition", Long(_wcsicmp(d.Name.c_str(), L"RPM") == 0 ? 2 : 0)},
        {L"Alarm maximum", Real(_wcsicmp(d.Name.c_str(), L"RPM") == 0 ? 12500.0 : 0.0)},
        {L"Alarm minimum", Real(0.0)},
        {L"Alarm color", Long(0x000045FF)},
        {L"Quantity", Long(d.Quantity)},
        {L"Tag name", Text(tag.c_str())},
        {L"Remote name", Text(L"")},
        {L"Filter enabled", Flag(false)},
        {L"Filter", Long(0)},
        {L"Color gradation", Long(0)},
        {L"Use default color", Flag(true)},
    };
    for (const auto& value : values) set.Preset(value.Name, value.Value);
}

STDMETHODIMP CPropertyFactory::GetClassID(CLSID* clsid)
{
    if (!clsid) return E_POINTER;
    *clsid = Kind == CKind::Channel ? __uuidof(QvxChannelPropertyFactory) : __uuidof(QvxEventPropertyFactory);
    return S_OK;
}

STDMETHODIMP CPropertyFactory::IsDirty()
{
    QVX_HOST_CALL("IPersistStorage.IsDirty");
    return Dirty ? S_OK : S_FALSE;
}

STDMETHODIMP CPropertyFactory::InitNew(IStorage* storage)
{
    QVX_HOST_CALL("IPersistStorage.InitNew");
    if (!storage) return E_POINTER;
    if (Initialised) return CO_E_ALREADYINITIALIZED;
    Initialised = true;
    Dirty = false;
    return S_OK;
}

STDMETHODIMP CPropertyFactory::Load(IStorage* storage)
{
    QVX_HOST_CALL("IPersistStorage.Load");
    if (!storage) return E_POINTER;
    if (Initialised) return CO_E_ALREADYINITIALIZED;
    CComPtr<IStream> stream;
    HRESULT hr = storage->OpenStream(StreamName, nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, 0, stream.Out());
    if (FAILED(hr)) return hr;
    ULONG version = 0, count = 0;
    hr = ReadValue(stream.Get(), version);
    if (SUCCEEDED(hr) && version != StreamVersion) hr = STG_E_OLDFORMAT;
    if (SUCCEEDED(hr)) hr = ReadValue(stream.Get(), count);
    for (ULONG i = 0; SUCCEEDED(hr) && i < count; ++i) {
        std::wstring name;
        ULONG values = 0;
        hr = ReadString(stream.Get(), name);
        if (SUCCEEDED(hr)) hr = ReadValue(stream.Get(), values);
        CObjectPtr<CPropertySet> set;
        if (SUCCEEDED(hr)) hr = Sets.count(name) ? S_OK : MakeSet(name, set);
        if (SUCCEEDED(hr) && !set) set = Sets[name];
        for (ULONG j = 0; SUCCEEDED(hr) && j < values; ++j) {
            std::wstring property;
            CVariant value;
            hr = ReadString(stream.Get(), property);
            if (SUCCEEDED(hr)) hr = ReadVariant(stream.Get(), value);
            if (SUCCEEDED(hr)) set->Preset(property.c_str(), value);
        }
    }
    if (FAILED(hr)) return hr;
    Initialised = true;
    Dirty = false;
    return S_OK;
}

STDMETHODIMP CPropertyFactory::Save(IStorage* storage, BOOL)
{
    QVX_HOST_CALL("IPersistStorage.Save");
    if (!storage) return E_POINTER;
    CComPtr<IStream> stream;
    HRESULT hr = storage->CreateStream(StreamName, STGM_CREATE | STGM_WRITE | STGM_SHARE_EXCLUSIVE, 0, 0, stream.Out());
    if (FAILED(hr)) return hr;
    hr = WriteValue(stream.Get(), StreamVersion);
    if (SUCCEEDED(hr)) hr = WriteValue(stream.Get(), ULONG(Sets.size()));
    for (auto& [name, set] : Sets) {
        if (SUCCEEDED(hr)) hr = WriteString(stream.Get(), name);
        if (SUCCEEDED(hr)) hr = WriteValue(stream.Get(), ULONG(set->OwnValues().size()));
        for (auto& [property, value] : set->OwnValues()) {
            if (SUCCEEDED(hr)) hr = WriteString(stream.Get(), property);
            if (SUCCEEDED(hr)) hr = WriteVariant(stream.Get(), value);
        }
    }
    if (SUCCEEDED(hr)) Dirty = false;
    return hr;
}

STDMETHODIMP CPropertyFactory::SaveCompleted(IStorage*)
{
    return S_OK;
}

STDMETHODIMP CPropertyFactory::HandsOffStorage()
{
    return S_OK;
}
