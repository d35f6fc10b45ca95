#include "config/DataNames.h"

namespace {

std::wstring_view ViewOf(const std::wstring& name) { return name; }
std::wstring_view ViewOf(const CBstr& name) { return name.View(); }

template <class List>
HRESULT CountOf(const List& names, long* count)
{
    if (!count) return E_POINTER;
    *count = long(names.size());
    return S_OK;
}

// A copy of the name at the 1-based `index`; `outside` for an index beyond the list.
template <class List>
HRESULT NameAt(const List& names, long index, BSTR* name, HRESULT outside)
{
    if (!name) return E_POINTER;
    *name = nullptr;
    if (index < 1 || size_t(index) > names.size()) return outside;
    const std::wstring_view text = ViewOf(names[size_t(index - 1)]);
    *name = SysAllocStringLen(text.data(), UINT(text.size()));
    return *name ? S_OK : E_OUTOFMEMORY;
}

} // namespace

CComPtr<CDataNames> CDataNames::Make()
{
    CComPtr<IQvxDataNames> names;
    if (FAILED(CComObject<CDataNames>::CreateInstance(names))) return nullptr;
    return static_cast<CDataNames*>(names.Get());
}

HRESULT CDataNames::Append(const std::wstring& name)
{
    try {
        Names.push_back(name);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

STDMETHODIMP CDataNames::GetCount(long* count)
{
    return CountOf(Names, count);
}

STDMETHODIMP CDataNames::GetName(long index, BSTR* name)
{
    return NameAt(Names, index, name, E_INVALIDARG);
}

// --- CDynDataNames ---

CComPtr<CDynDataNames> CDynDataNames::Make()
{
    CComPtr<IQvxDynDataNames> names;
    if (FAILED(CComObject<CDynDataNames>::CreateInstance(names))) return nullptr;
    return static_cast<CDynDataNames*>(names.Get());
}

std::vector<CBstr>::const_iterator CDynDataNames::Find(BSTR name) const
{
    for (auto it = Names.begin(); it != Names.end(); ++it) {
        if (VarBstrCmp(it->Get(), name, LOCALE_USER_DEFAULT, 0) == VARCMP_EQ) return it;
    }
    return Names.end();
}

bool CDynDataNames::Contains(BSTR name) const
{
    return Find(name) != Names.end();
}

bool CDynDataNames::ContainsExactly(std::wstring_view name) const
{
    for (const CBstr& held : Names) {
        if (held.View() == name) return true;
    }
    return false;
}

bool CDynDataNames::Erase(BSTR name)
{
    const auto it = Find(name);
    if (it == Names.end()) return false;
    Names.erase(it);
    return true;
}

STDMETHODIMP CDynDataNames::GetCount(long* count)
{
    return CountOf(Names, count);
}

STDMETHODIMP CDynDataNames::GetName(long index, BSTR* name)
{
    return NameAt(Names, index, name, DISP_E_BADINDEX);
}

STDMETHODIMP CDynDataNames::Add(BSTR name)
{
    if (SysStringLen(name) == 0 || Contains(name)) return E_INVALIDARG;
    CBstr copy(std::wstring_view(name, SysStringLen(name)));
    if (!copy.Get()) return E_OUTOFMEMORY;
    try {
        Names.push_back(copy);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    // The parent may reach the host, which may let the list go.
    const CComPtr<IUnknown> self(static_cast<IQvxDynDataNames*>(this));
    if (!NotifyParent) return S_OK;
    return CallGuarded([&] { NotifyParent->OnDynNameAdded(copy.Get()); });
}

STDMETHODIMP CDynDataNames::RemoveAt(long index)
{
    if (index < 1 || size_t(index) > Names.size()) return DISP_E_BADINDEX;
    const CBstr removed = std::move(Names[size_t(index - 1)]);
    Names.erase(Names.begin() + (index - 1));
    const CComPtr<IUnknown> self(static_cast<IQvxDynDataNames*>(this));
    if (!NotifyParent) return S_OK;
    return CallGuarded([&] { NotifyParent->OnDynNameRemoved(removed.Get()); });
}
