#pragma once
// A notifying host object of the tests' own, for a test object to derive from next to CComRoot and
// its other interfaces.
#include <gtest/gtest.h>
#include <windows.h>
#include <vector>
#include "com/ComObject.h"
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

// A test object of class `T` made as its class factory makes it, through interface `I`.
template <class T, class I>
CComPtr<T> MakeObject()
{
    CComPtr<I> object;
    EXPECT_EQ(S_OK, CComObject<T>::CreateInstance(object));
    return CComPtr<T>(static_cast<T*>(object.Get()));
}

// A notifying host object with nothing else to it, that keeps its sink after it was taken off.
class CKeepingSourceObject : public CComRoot, public CTestSource
{
public:
    QVX_BEGIN_INTERFACES(CKeepingSourceObject)
        QVX_INTERFACE(CKeepingSourceObject, IQvxNotifications),
    QVX_END_INTERFACES()
    CKeepingSourceObject() { KeepsSink = true, NextCookie = 41; }

    // The sink it holds, as interface `I`.
    template <class I>
    CComPtr<I> Held()
    {
        CComPtr<I> held;
        if (Sink) held.QueryFrom(Sink, __uuidof(I));
        return held;
    }
};

} // namespace qvxtest
