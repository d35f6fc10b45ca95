#pragma once
// A read-only list of names for the host: the configuration pages of the control, the names of
// its configured channels and events, the active channel. Positions count from 1.
#include <windows.h>
#include <new>
#include <string>
#include <string_view>
#include <vector>
#include "com/AutomationTypes.h"
#include "com/ComObject.h"
#include "Interfaces.h"

// Runs a change that may run out of memory on the way, for a caller that must not throw: the
// host hears E_OUTOFMEMORY.
template <class Change>
HRESULT CallGuarded(Change&& change) noexcept
{
    try {
        change();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

class CDataNames : public CComRoot, public IQvxDataNames
{
public:
    QVX_BEGIN_INTERFACES(CDataNames)
        QVX_INTERFACE(CDataNames, IQvxDataNames),
    QVX_END_INTERFACES()

    // A new empty list with one reference; null when out of memory.
    static CComPtr<CDataNames> Make();

    // E_OUTOFMEMORY, and the list as it was, when the name cannot be kept.
    HRESULT Append(const std::wstring& name);

    // --- IQvxDataNames ---
    STDMETHODIMP GetCount(long* count) override;
    // E_INVALIDARG for a position outside 1 to the count.
    STDMETHODIMP GetName(long index, BSTR* name) override;

private:
    std::vector<std::wstring> Names;
};

// What the owner of a CDynDataNames hears, after each change made through IQvxDynDataNames.
class CDynDataNamesParent
{
public:
    virtual void OnDynNameAdded(BSTR name) = 0;
    virtual void OnDynNameRemoved(BSTR name) = 0;

protected:
    ~CDynDataNamesParent() = default;
};

// A list of names that the host edits: channels named one by one. Names are equal as the host's
// lists compare them, in the user's locale; a name is held once. The owner clears the parent
// before its last release, so that a host that still holds the list tells nobody.
class CDynDataNames : public CComRoot, public IQvxDynDataNames
{
public:
    QVX_BEGIN_INTERFACES(CDynDataNames)
        QVX_INTERFACE_VIA(CDynDataNames, IQvxDataNames, IQvxDynDataNames),
        QVX_INTERFACE(CDynDataNames, IQvxDynDataNames),
    QVX_END_INTERFACES()

    static CComPtr<CDynDataNames> Make();

    void SetNotifyParent(CDynDataNamesParent* parent) noexcept { NotifyParent = parent; }
    const std::vector<CBstr>& GetNames() const noexcept { return Names; }
    // Equal in the host's compare.
    bool Contains(BSTR name) const;
    // Code unit by code unit.
    bool ContainsExactly(std::wstring_view name) const;
    // The owner's own changes, which the parent does not hear of. Erase gives whether the name
    // was there.
    bool Erase(BSTR name);
    void Clear() noexcept { Names.clear(); }
    // Throws std::bad_alloc.
    void Append(CBstr name) { Names.push_back(std::move(name)); }

    // --- IQvxDataNames ---
    STDMETHODIMP GetCount(long* count) override;
    // DISP_E_BADINDEX outside 1 to the count.
    STDMETHODIMP GetName(long index, BSTR* name) override;
    // --- IQvxDynDataNames ---
    // E_INVALIDARG for an empty name or one that is there already.
    STDMETHODIMP Add(BSTR name) override;
    STDMETHODIMP RemoveAt(long index) override;

private:
    std::vector<CBstr>::const_iterator Find(BSTR name) const;

    std::vector<CBstr> Names;
    CDynDataNamesParent* NotifyParent = nullptr;
};
