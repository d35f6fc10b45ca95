// The generic COM object base: reference counts, QueryInterface tables, aggregation.
#include <gtest/gtest.h>
#include <ocidl.h>
#include <oleidl.h>
#include "com/ComObject.h"

namespace {

class CSample : public CComRoot, public IPersistStreamInit, public IOleWindow
{
public:
    QVX_BEGIN_INTERFACES(CSample)
        QVX_INTERFACE_VIA(CSample, IPersist, IPersistStreamInit),
        QVX_INTERFACE(CSample, IPersistStreamInit),
        QVX_INTERFACE(CSample, IOleWindow),
    QVX_END_INTERFACES()

    static inline int Constructed = 0;
    static inline int Released = 0;
    HRESULT FinalConstruct() { ++Constructed; return S_OK; }
    void FinalRelease() { ++Released; }

    STDMETHODIMP GetClassID(CLSID* clsid) override { *clsid = CLSID_NULL; return S_OK; }
    STDMETHODIMP IsDirty() override { return S_FALSE; }
    STDMETHODIMP Load(IStream*) override { return E_NOTIMPL; }
    STDMETHODIMP Save(IStream*, BOOL) override { return E_NOTIMPL; }
    STDMETHODIMP GetSizeMax(ULARGE_INTEGER*) override { return E_NOTIMPL; }
    STDMETHODIMP InitNew() override { return S_OK; }
    STDMETHODIMP GetWindow(HWND*) override { return E_NOTIMPL; }
    STDMETHODIMP ContextSensitiveHelp(BOOL) override { return E_NOTIMPL; }
};

class CFailing : public CComRoot, public IPersist
{
public:
    QVX_BEGIN_INTERFACES(CFailing)
        QVX_INTERFACE(CFailing, IPersist),
    QVX_END_INTERFACES()
    HRESULT FinalConstruct() { return E_UNEXPECTED; }
    STDMETHODIMP GetClassID(CLSID*) override { return E_NOTIMPL; }
};

// A minimal outer object that keeps the inner unknown of an aggregate.
class COuter : public IUnknown
{
public:
    ULONG Refs = 1;
    CComPtr<IUnknown> Inner;
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override
    {
        if (IsEqualIID(iid, IID_IUnknown)) { *out = this; AddRef(); return S_OK; }
        return Inner->QueryInterface(iid, out);
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++Refs; }
    STDMETHODIMP_(ULONG) Release() override { return --Refs; }
};

} // namespace

TEST(ComObject, CountsReferencesAndReleasesOnce)
{
    CSample::Released = 0;
    LONG before = CComModule::Instance().ObjectCount();
    CComPtr<IPersistStreamInit> object;
    ASSERT_EQ(S_OK, CComObject<CSample>::CreateInstance(object));
    EXPECT_EQ(before + 1, CComModule::Instance().ObjectCount());
    EXPECT_EQ(S_FALSE, CComModule::Instance().CanUnloadNow());
    CComPtr<IPersist> persist;
    ASSERT_EQ(S_OK, object.As(persist));
    object = nullptr;
    EXPECT_EQ(0, CSample::Released);
    persist = nullptr;
    EXPECT_EQ(1, CSample::Released);
    EXPECT_EQ(before, CComModule::Instance().ObjectCount());
}

TEST(ComObject, QueryInterfaceKeepsIdentityAndRefusesUnknownInterfaces)
{
    CComPtr<IPersistStreamInit> object;
    ASSERT_EQ(S_OK, CComObject<CSample>::CreateInstance(object));
    CComPtr<IUnknown> a, b;
    ASSERT_EQ(S_OK, object->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(a.Out())));
    CComPtr<IPersist> persist;
    ASSERT_EQ(S_OK, object.As(persist));
    ASSERT_EQ(S_OK, persist->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(b.Out())));
    EXPECT_EQ(a.Get(), b.Get());
    // The first row of the table answers IUnknown.
    EXPECT_EQ(static_cast<void*>(persist.Get()), static_cast<void*>(a.Get()));
    void* none = reinterpret_cast<void*>(1);
    EXPECT_EQ(E_NOINTERFACE, object->QueryInterface(IID_IStream, &none));
    EXPECT_EQ(nullptr, none);
    EXPECT_EQ(E_POINTER, object->QueryInterface(IID_IPersist, nullptr));
}

TEST(ComObject, FailedFinalConstructLeavesNothingBehind)
{
    LONG before = CComModule::Instance().ObjectCount();
    CComPtr<IPersist> object;
    EXPECT_EQ(E_UNEXPECTED, CComObject<CFailing>::CreateInstance(object));
    EXPECT_FALSE(object);
    EXPECT_EQ(before, CComModule::Instance().ObjectCount());
}

TEST(ComObject, AggregateDelegatesToTheOuterCount)
{
    COuter outer;
    void* inner = nullptr;
    // An aggregate must be asked for IUnknown first.
    EXPECT_EQ(CLASS_E_NOAGGREGATION, CComObject<CSample>::Create(&outer, IID_IPersist, &inner));
    ASSERT_EQ(S_OK, CComObject<CSample>::Create(&outer, IID_IUnknown, &inner));
    outer.Inner = CComPtr<IUnknown>::Adopt(static_cast<IUnknown*>(inner));

    CComPtr<IPersist> persist;
    ASSERT_EQ(S_OK, outer.QueryInterface(IID_IPersist, reinterpret_cast<void**>(persist.Out())));
    EXPECT_EQ(2u, outer.Refs);   // the interface's reference went to the outer object
    CComPtr<IUnknown> identity;
    ASSERT_EQ(S_OK, persist->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(identity.Out())));
    EXPECT_EQ(static_cast<IUnknown*>(&outer), identity.Get());
    identity = nullptr;
    persist = nullptr;
    EXPECT_EQ(1u, outer.Refs);
    CSample::Released = 0;
    outer.Inner = nullptr;
    EXPECT_EQ(1, CSample::Released);
}

TEST(ComObject, ControllingUnknownIsTheIdentityQueryInterfaceGives)
{
    CComPtr<IPersistStreamInit> object;
    ASSERT_EQ(S_OK, CComObject<CSample>::CreateInstance(object));
    CComPtr<IUnknown> identity;
    ASSERT_EQ(S_OK, object->QueryInterface(IID_IUnknown, identity.OutVoid()));
    auto* root = static_cast<CSample*>(object.Get());
    EXPECT_EQ(identity.Get(), root->ControllingUnknown());
}
