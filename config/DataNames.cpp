#include "config/DataNames.h"

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
    if (!count) return E_POINTER;
    *count = long(Names.size());
    return S_OK;
}

STDMETHODIMP CDataNames::GetName(long index, BSTR* name)
{
    if (!name) return E_POINTER;
    *name = nullptr;
    if (index < 1 || size_t(index) > Names.size()) return E_INVALIDARG;
    const std::wstring& text = Names[size_t(index - 1)];
    *name = SysAllocStringLen(text.data(), UINT(text.size()));
    return *name ? S_OK : E_OUTOFMEMORY;
}
