#pragma once
// A notifying host object of the tests' own, for a test object to derive from next to CComRoot and
// its other interfaces.
#include <windows.h>
#include <vector>
#include "com/ComPtr.h"
#include "Interfaces.h"

namespace qvxtest {

// Notes every advise and every cookie taken off; either can be made to fail. A host may keep the
// sink that it held after the sink was taken off: `KeepsSink` says whether this one does.
class CTestSource : public IQvxNotifications
{
public:
    STDMETHODIMP AdviseByName(BSTR, IUnknown*, ULONG*) override { return E_NOTIMPL; }
    STDMETHODIMP Advise(REFIID iid, IUnknown* sink, ULONG* cookie) override
    {
        ++Advises;
        if (!sink || !cookie) return E_POINTER;
        if (FailAdvise) return E_FAIL;
        Iid = iid;
        Sink = sink;
        *cookie = NextCookie++;
        return S_OK;
    }
    STDMETHODIMP Unadvise(ULONG cookie) override
    {
        Unadvised.push_back(cookie);
        if (!KeepsSink) Sink = nullptr;
        return FailUnadvise ? E_FAIL : S_OK;
    }

    int Advises = 0;
    bool FailAdvise = false;
    bool FailUnadvise = false;
    bool KeepsSink = false;
    ULONG NextCookie = 7;
    IID Iid = IID_NULL;
    CComPtr<IUnknown> Sink;
    std::vector<ULONG> Unadvised;
};

} // namespace qvxtest
