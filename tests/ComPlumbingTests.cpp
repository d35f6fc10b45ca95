// The generic COM object base: reference counts and the module's object count, QueryInterface
// tables, failed construction, aggregation.
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

    static inline int Released = 0;
    static inline HRESULT Construction = S_OK;
    HRESULT FinalConstruct() { return Construction; }
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

// One identity through every interface, the first row of the table being the controlling
// unknown; the last release of any interface ends the object once, and a failed FinalConstruct
// leaves nothing behind.
TEST(ComObject, OneIdentityAndTheLastReleaseOfAnyInterfaceEndsTheObjectOnce)
{
    const LONG before = CComModule::Instance().ObjectCount();
    CComPtr<IPersistStreamInit> object;
    ASSERT_EQ(S_OK, CComObject<CSample>::CreateInstance(object));
    EXPECT_EQ(before + 1, CComModule::Instance().ObjectCount());
    EXPECT_EQ(S_FALSE, CComModule::Instance().CanUnloadNow());
    CComPtr<IUnknown> a, b;
    CComPtr<IPersist> persist;
    ASSERT_EQ(S_OK, object->QueryInterface(IID_IUnknown, a.OutVoid()));
    ASSERT_EQ(S_OK, object.As(persist));
    ASSERT_EQ(S_OK, persist->QueryInterface(IID_IUnknown, b.OutVoid()));
    EXPECT_TRUE(a.Get() == b.Get() && static_cast<void*>(persist.Get()) == static_cast<void*>(a.Get()));
    EXPECT_EQ(a.Get(), static_cast<CSample*>(object.Get())->ControllingUnknown());
    void* none = reinterpret_cast<void*>(1);
    EXPECT_EQ(E_NOINTERFACE, object->QueryInterface(IID_IStream, &none));
    EXPECT_EQ(nullptr, none);
    EXPECT_EQ(E_POINTER, object->QueryInterface(IID_IPersist, nullptr));
    a = b = nullptr;
    object = nullptr;
    EXPECT_EQ(0, CSample::Released);
    persist = nullptr;
    EXPECT_EQ(1, CSample::Released);
    EXPECT_EQ(before, CComModule::Instance().ObjectCount());

    CSample::Construction = E_UNEXPECTED;
    EXPECT_EQ(E_UNEXPECTED, CComObject<CSample>::CreateInstance(persist));
    EXPECT_FALSE(persist);
    EXPECT_EQ(before, CComModule::Instance().ObjectCount());
}

// An aggregate must be asked for IUnknown first; its interfaces count on the outer object and
// answer with the outer identity.
TEST(ComObject, AnAggregateDelegatesToTheOuterCountAndIdentity)
{
    COuter outer;
    void* inner = nullptr;
    EXPECT_EQ(CLASS_E_NOAGGREGATION, CComObject<CSample>::Create(&outer, IID_IPersist, &inner));
    ASSERT_EQ(S_OK, CComObject<CSample>::Create(&outer, IID_IUnknown, &inner));
    outer.Inner = CComPtr<IUnknown>::Adopt(static_cast<IUnknown*>(inner));
    CComPtr<IPersist> persist;
    ASSERT_EQ(S_OK, outer.QueryInterface(IID_IPersist, persist.OutVoid()));
    EXPECT_EQ(2u, outer.Refs);
    CComPtr<IUnknown> identity;
    ASSERT_EQ(S_OK, persist->QueryInterface(IID_IUnknown, identity.OutVoid()));
    EXPECT_EQ(static_cast<IUnknown*>(&outer), identity.Get());
    identity = nullptr;
    persist = nullptr;
    EXPECT_EQ(1u, outer.Refs);
    outer.Inner = nullptr;
    EXPECT_EQ(1, CSample::Released);
}

} // namespace
