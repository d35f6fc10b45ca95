#pragma once
// Small helpers shared by the objects of the substitute host.
#include <windows.h>
#include <oleauto.h>
#include "com/AutomationTypes.h"
#include "com/ComObject.h"
#include "sim/HostCalls.h"
#include "Interfaces.h"

// An object of the substitute held through its implementation class.
template <class T>
using CObjectPtr = CComPtr<CComObject<T>>;

// Makes an object of class T, whose interface table answers I, and gives it with one reference.
template <class T, class I>
HRESULT CreateObject(CObjectPtr<T>& out)
{
    CComPtr<I> object;
    HRESULT hr = CComObject<T>::template CreateInstance<I>(object);
    if (FAILED(hr)) return hr;
    out = static_cast<CComObject<T>*>(static_cast<T*>(object.Get()));
    return S_OK;
}

// Hands an object of the substitute out through an [out] interface pointer.
template <class I, class T>
HRESULT GiveOut(const CObjectPtr<T>& object, I** out)
{
    if (!out) return E_POINTER;
    *out = nullptr;
    if (!object) return E_FAIL;
    return object->QueryInterface(__uuidof(I), reinterpret_cast<void**>(out));
}

inline VARIANT_BOOL ToVariantBool(bool value) noexcept { return value ? VARIANT_TRUE : VARIANT_FALSE; }

// The place of an operation that no client of the host calls.
#define QVX_RESERVED(n) STDMETHODIMP Reserved##n() override { return E_NOTIMPL; }
