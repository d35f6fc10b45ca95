#include "sim/NameList.h"

STDMETHODIMP CNameList::GetCount(long* count)
{
    QVX_HOST_CALL("IQvxDataNames.GetCount");
    if (!count) return E_POINTER;
    *count = long(Names.size());
    return S_OK;
}

STDMETHODIMP CNameList::GetName(long index, BSTR* name)
{
    QVX_HOST_CALL("IQvxDataNames.GetName");
    if (!name) return E_POINTER;
    *name = nullptr;
    if (index < 1 || size_t(index) > Names.size()) return DISP_E_BADINDEX;
    const std::wstring& text = Names[size_t(index - 1)];
    *name = SysAllocStringLen(text.data(), UINT(text.size()));
    return *name ? S_OK : E_OUTOFMEMORY;
}

HRESULT CNameList::Make(std::vector<std::wstring> names, IQvxDataNames** out)
{
    if (!out) return E_POINTER;
    *out = nullptr;
    CObjectPtr<CNameList> list;
    HRESULT hr = CreateObject<CNameList, IQvxDataNames>(list);
    if (FAILED(hr)) return hr;
    list->Init(std::move(names));
    return GiveOut(list, out);
}
