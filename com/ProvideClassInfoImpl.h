#pragma once
// IProvideClassInfo2 of a creatable class: its co-class description from the module's type
// library and its default source interface.
#include <windows.h>
#include <ocidl.h>
#include "com/ComServer.h"

template <const CLSID* ClassId, const IID* SourceIid>
class CProvideClassInfo2Impl : public IProvideClassInfo2
{
public:
    STDMETHODIMP GetClassInfo(ITypeInfo** out) override
    {
        if (!out) return E_POINTER;
        *out = nullptr;
        return CComServer::GetTypeInfo(*ClassId, out);
    }
    STDMETHODIMP GetGUID(DWORD kind, GUID* out) override
    {
        if (!out) return E_POINTER;
        if (kind != GUIDKIND_DEFAULT_SOURCE_DISP_IID) {
            *out = GUID_NULL;
            return E_INVALIDARG;
        }
        *out = *SourceIid;
        return S_OK;
    }
};
