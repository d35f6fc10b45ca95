#pragma once
// A second, smaller IUnknown for objects that answer one interface and are never aggregated:
// the notification sinks. Counted like every object of the module, so the module stays loaded
// while the host holds one.
#include <windows.h>
#include <atomic>
#include "com/ComObject.h"

// IUnknown of a sink: its own count, and answers to IUnknown and to I alone, so that a sink of
// a later version is not taken for one of an earlier version.
template <class I>
class CSimpleUnknownImpl : public I
{
public:
    CSimpleUnknownImpl() noexcept { CComModule::Instance().AddObject(); }
    CSimpleUnknownImpl(const CSimpleUnknownImpl&) = delete;
    CSimpleUnknownImpl& operator=(const CSimpleUnknownImpl&) = delete;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override
    {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (!IsEqualIID(iid, IID_IUnknown) && !IsEqualIID(iid, __uuidof(I))) return E_NOINTERFACE;
        *out = static_cast<I*>(this);
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ULONG(++RefCount); }
    STDMETHODIMP_(ULONG) Release() override
    {
        LONG n = --RefCount;
        if (n == 0) delete this;
        return ULONG(n);
    }

    // The sink as the host sees it.
    IUnknown* Unknown() noexcept { return static_cast<I*>(this); }

    virtual ~CSimpleUnknownImpl() { CComModule::Instance().RemoveObject(); }

private:
    std::atomic<LONG> RefCount{1};
};
