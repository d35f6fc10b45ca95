#include "com/DispatchImpl.h"
#include "com/ComServer.h"

HRESULT CDispatchTypeInfo::Load()
{
    if (VTable) return S_OK;
    CComPtr<ITypeInfo> description;
    HRESULT hr = CComServer::GetTypeInfo(Iid, description.Out());
    if (FAILED(hr)) return hr;
    // A dual interface is stored as a dispatch description that refers to its vtable
    // description; Invoke must call through the vtable, or it would come back here.
    CComPtr<ITypeInfo> vtable = description;
    HREFTYPE reference = 0;
    if (SUCCEEDED(description->GetRefTypeOfImplType(-1, &reference))) {
        hr = description->GetRefTypeInfo(reference, vtable.Out());
        if (FAILED(hr)) return hr;
    }
    Description = std::move(description);
    VTable = std::move(vtable);
    return S_OK;
}

HRESULT CDispatchTypeInfo::GetDescription(ITypeInfo** out)
{
    HRESULT hr = Load();
    if (FAILED(hr)) return hr;
    return Description.CopyTo(out);
}

HRESULT CDispatchTypeInfo::GetIDsOfNames(LPOLESTR* names, UINT count, DISPID* ids)
{
    if (!names || !ids) return E_POINTER;
    HRESULT hr = Load();
    if (FAILED(hr)) return hr;
    return VTable->GetIDsOfNames(names, count, ids);
}

HRESULT CDispatchTypeInfo::Invoke(void* object, DISPID id, WORD flags, DISPPARAMS* params, VARIANT* result,
                                  EXCEPINFO* exception, UINT* argumentError)
{
    HRESULT hr = Load();
    if (FAILED(hr)) return hr;
    // Clients may pass no parameter block for a call without arguments.
    DISPPARAMS none{};
    return VTable->Invoke(object, id, flags, params ? params : &none, result, exception, argumentError);
}

HRESULT ReportError(HRESULT hr, REFIID iid, const wchar_t* source)
{
    if (SUCCEEDED(hr)) return hr;
    CComPtr<ICreateErrorInfo> create;
    if (FAILED(CreateErrorInfo(create.Out()))) return hr;
    create->SetGUID(iid);
    create->SetSource(const_cast<LPOLESTR>(source));
    CComPtr<IErrorInfo> info;
    if (SUCCEEDED(create.As(info))) SetErrorInfo(0, info);
    return hr;
}
