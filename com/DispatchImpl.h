#pragma once
// IDispatch for a dual interface, served from the module's own type library, and the error
// information that goes with it.
//
// A class derives from CDispatchImpl<IMyDual> instead of IMyDual; the names, dispatch ids and
// argument conversions then come from the type library, so that late binding always agrees
// with the vtable.
#include <windows.h>
#include <oleauto.h>
#include "com/ComObject.h"

// The type information of one dual interface: its dispatch description, for clients that ask,
// and its vtable description, through which ITypeInfo::Invoke calls the object.
class CDispatchTypeInfo
{
public:
    explicit CDispatchTypeInfo(const IID& iid) : Iid(iid) {}

    HRESULT GetDescription(ITypeInfo** out);
    HRESULT GetIDsOfNames(LPOLESTR* names, UINT count, DISPID* ids);
    HRESULT Invoke(void* object, DISPID id, WORD flags, DISPPARAMS* params, VARIANT* result,
                   EXCEPINFO* exception, UINT* argumentError);

private:
    HRESULT Load();

    IID Iid;
    CComPtr<ITypeInfo> Description;
    CComPtr<ITypeInfo> VTable;
};

template <class Interface>
class CDispatchImpl : public Interface
{
public:
    STDMETHODIMP GetTypeInfoCount(UINT* count) override
    {
        if (!count) return E_POINTER;
        *count = 1;
        return S_OK;
    }
    STDMETHODIMP GetTypeInfo(UINT index, LCID, ITypeInfo** out) override
    {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (index != 0) return DISP_E_BADINDEX;
        return TypeInfo().GetDescription(out);
    }
    STDMETHODIMP GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID, DISPID* ids) override
    {
        if (!IsEqualIID(iid, IID_NULL)) return DISP_E_UNKNOWNINTERFACE;
        return TypeInfo().GetIDsOfNames(names, count, ids);
    }
    STDMETHODIMP Invoke(DISPID id, REFIID iid, LCID, WORD flags, DISPPARAMS* params, VARIANT* result,
                        EXCEPINFO* exception, UINT* argumentError) override
    {
        if (!IsEqualIID(iid, IID_NULL)) return DISP_E_UNKNOWNINTERFACE;
        return TypeInfo().Invoke(static_cast<Interface*>(this), id, flags, params, result, exception,
                                 argumentError);
    }

private:
    // One per interface and module, loaded at the first use.
    static CDispatchTypeInfo& TypeInfo()
    {
        static CDispatchTypeInfo info(__uuidof(Interface));
        return info;
    }
};

// ISupportErrorInfo for a fixed list of interfaces.
template <const IID*... Iids>
class CSupportErrorInfoImpl : public ISupportErrorInfo
{
public:
    STDMETHODIMP InterfaceSupportsErrorInfo(REFIID iid) override
    {
        return (IsEqualIID(iid, *Iids) || ...) ? S_OK : S_FALSE;
    }
};

// Leaves error information for an automation client that a call failed: which interface and
// which object, for the client to show with the code. Gives back `hr`; success passes through.
HRESULT ReportError(HRESULT hr, REFIID iid, const wchar_t* source);
