#pragma once
// What an in-process server module offers: its class table, the class factory that makes
// its objects (plain or aggregated), its registration and its embedded type library.
#include <windows.h>
#include <oleauto.h>
#include "com/ComObject.h"

// Registry details that only a control class has.
struct CControlRegistration
{
    int PaletteBitmap;          // resource number of the tool-box bitmap
    DWORD MiscStatus;           // OLEMISC bits for DVASPECT_CONTENT
    const wchar_t* Version;     // "1.0"
};

// One creatable class of the module.
struct CClassEntry
{
    const CLSID* Clsid;
    HRESULT (*Create)(IUnknown* outer, REFIID iid, void** out);
    const wchar_t* ProgId;
    const wchar_t* VersionIndependentProgId;
    const wchar_t* DisplayName;
    const CControlRegistration* Control;   // null for a class that is not a control
};

// The module's description, given once by each server.
struct CServerDescription
{
    const CClassEntry* Classes;
    size_t ClassCount;
    const GUID* TypeLibrary;     // library embedded as the module's resource 1, or null
};

class CComServer
{
public:
    static void Describe(const CServerDescription& description) { Description = description; }
    static const CServerDescription& Description_() { return Description; }

    static HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** out);
    static HRESULT Register();
    static HRESULT Unregister();

    // The module's own type library, loaded once (never through the registry, so that it
    // works before registration and inside test programs).
    static HRESULT GetTypeLib(ITypeLib** out);
    static HRESULT GetTypeInfo(REFGUID guid, ITypeInfo** out);

private:
    static inline CServerDescription Description{};
};

// The class factory of one class entry.
class CClassFactory final : public IClassFactory
{
public:
    explicit CClassFactory(const CClassEntry& entry) : Entry(entry) { CComModule::Instance().AddObject(); }
    ~CClassFactory() { CComModule::Instance().RemoveObject(); }

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override { return ++Refs; }
    STDMETHODIMP_(ULONG) Release() override;
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) override;
    STDMETHODIMP LockServer(BOOL lock) override;

private:
    const CClassEntry& Entry;
    std::atomic<ULONG> Refs{1};
};

// Creation function for a class table row.
template <class T>
HRESULT CreateComObject(IUnknown* outer, REFIID iid, void** out)
{
    return CComObject<T>::Create(outer, iid, out);
}
