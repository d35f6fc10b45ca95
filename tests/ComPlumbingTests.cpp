// The generic COM object base: counts, QueryInterface tables and failed construction.
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

// The first row is the controlling unknown; the last release of any interface ends the object once,
// and a failed FinalConstruct leaves nothing behind.
TEST(ComObject, OneIdentityAndTheLastReleaseOfAnyInterfaceEndsTheObjectOnce)
{
    const LONG before = CComModule::Instance().ObjectCount();
    CComPtr<IPersistStreamInit> object;
    ASSERT_EQ(S_OK, CComObject<CSample>::CreateInstance(object));
    EXPECT_EQ(before + 1, CComModule::Instance().ObjectCount());
    EXPECT_EQ(S_FALSE, CComModule::Instance().CanUnloadNow());
    CComPtr<IPersist> persist;
    ASSERT_EQ(S_OK, object.As(persist));
    EXPECT_EQ(static_cast<void*>(persist.Get()), static_cast<CSample*>(object.Get())->ControllingUnknown());
    void* none = reinterpret_cast<void*>(1);
    EXPECT_EQ(E_NOINTERFACE, object->QueryInterface(IID_IStream, &none));
    EXPECT_EQ(nullptr, none);
    EXPECT_EQ(E_POINTER, object->QueryInterface(IID_IPersist, nullptr));
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

} // namespace
