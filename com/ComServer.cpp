#include "com/ComServer.h"
#include <olectl.h>
#include <string>

CComModule& CComModule::Instance()
{
    static CComModule module;
    return module;
}

std::wstring CComModule::FileName() const
{
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        DWORD n = GetModuleFileNameW(Module, path.data(), DWORD(path.size()));
        if (n < path.size()) { path.resize(n); return path; }
        path.resize(path.size() * 2);
    }
}

HRESULT CComRoot::TableQueryInterface(void* self, const CInterfaceEntry* table, size_t count,
                                      REFIID iid, void** out) noexcept
{
    if (!out) return E_POINTER;
    *out = nullptr;
    if (count == 0) return E_NOINTERFACE;
    IUnknown* unknown = nullptr;
    if (IsEqualIID(iid, IID_IUnknown)) {
        unknown = static_cast<IUnknown*>(table[0].Cast(self));
    } else {
        for (size_t i = 0; i < count; ++i) {
            if (IsEqualIID(iid, *table[i].Iid)) {
                unknown = static_cast<IUnknown*>(table[i].Cast(self));
                break;
            }
        }
    }
    if (!unknown) return E_NOINTERFACE;
    unknown->AddRef();
    *out = unknown;
    return S_OK;
}

// --- class factory ---

STDMETHODIMP CClassFactory::QueryInterface(REFIID iid, void** out)
{
    if (!out) return E_POINTER;
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IClassFactory)) {
        *out = static_cast<IClassFactory*>(this);
        AddRef();
        return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CClassFactory::Release()
{
    ULONG n = --Refs;
    if (n == 0) delete this;
    return n;
}

STDMETHODIMP CClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** out)
{
    return Entry.Create(outer, iid, out);
}

STDMETHODIMP CClassFactory::LockServer(BOOL lock)
{
    if (lock) CComModule::Instance().Lock();
    else CComModule::Instance().Unlock();
    return S_OK;
}

HRESULT CComServer::GetClassObject(REFCLSID clsid, REFIID iid, void** out)
{
    if (!out) return E_POINTER;
    *out = nullptr;
    for (size_t i = 0; i < Description.ClassCount; ++i) {
        const CClassEntry& entry = Description.Classes[i];
        if (IsEqualCLSID(clsid, *entry.Clsid)) {
            // The factory starts with one reference, which this function gives away or drops.
            CComPtr<IClassFactory> factory = CComPtr<IClassFactory>::Adopt(new (std::nothrow) CClassFactory(entry));
            if (!factory) return E_OUTOFMEMORY;
            return factory->QueryInterface(iid, out);
        }
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

// --- type library ---

HRESULT CComServer::GetTypeLib(ITypeLib** out)
{
    if (!out) return E_POINTER;
    *out = nullptr;
    static CComPtr<ITypeLib> cached;
    if (!cached) {
        std::wstring path = CComModule::Instance().FileName();
        HRESULT hr = LoadTypeLibEx(path.c_str(), REGKIND_NONE, cached.Out());
        if (FAILED(hr)) return hr;
    }
    return cached.CopyTo(out);
}

HRESULT CComServer::GetTypeInfo(REFGUID guid, ITypeInfo** out)
{
    if (!out) return E_POINTER;
    *out = nullptr;
    CComPtr<ITypeLib> lib;
    HRESULT hr = GetTypeLib(lib.Out());
    if (FAILED(hr)) return hr;
    return lib->GetTypeInfoOfGuid(guid, out);
}

// --- registration ---

namespace {

std::wstring GuidText(REFGUID guid)
{
    wchar_t text[40] = {};
    StringFromGUID2(guid, text, 40);
    return text;
}

LONG SetValue(HKEY root, const std::wstring& key, const wchar_t* name, const std::wstring& value)
{
    HKEY h = nullptr;
    LONG rc = RegCreateKeyExW(root, key.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &h, nullptr);
    if (rc != ERROR_SUCCESS) return rc;
    rc = RegSetValueExW(h, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                        DWORD((value.size() + 1) * sizeof(wchar_t)));
    RegCloseKey(h);
    return rc;
}

LONG CreateKey(HKEY root, const std::wstring& key)
{
    HKEY h = nullptr;
    LONG rc = RegCreateKeyExW(root, key.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &h, nullptr);
    if (rc == ERROR_SUCCESS) RegCloseKey(h);
    return rc;
}

LONG DeleteTree(HKEY root, const std::wstring& key)
{
    LONG rc = RegDeleteTreeW(root, key.c_str());
    if (rc == ERROR_SUCCESS) rc = RegDeleteKeyW(root, key.c_str());
    return rc == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : rc;
}

HRESULT RegisterClass(const CClassEntry& entry, const std::wstring& modulePath, const GUID* typeLibrary)
{
    const std::wstring clsid = GuidText(*entry.Clsid);
    const std::wstring key = L"CLSID\\" + clsid;
    LONG rc = ERROR_SUCCESS;
    auto set = [&](const std::wstring& k, const wchar_t* name, const std::wstring& v) {
        if (rc == ERROR_SUCCESS) rc = SetValue(HKEY_CLASSES_ROOT, k, name, v);
    };
    auto create = [&](const std::wstring& k) {
        if (rc == ERROR_SUCCESS) rc = CreateKey(HKEY_CLASSES_ROOT, k);
    };

    set(entry.ProgId, nullptr, entry.DisplayName);
    set(std::wstring(entry.ProgId) + L"\\CLSID", nullptr, clsid);
    set(entry.VersionIndependentProgId, nullptr, entry.DisplayName);
    set(std::wstring(entry.VersionIndependentProgId) + L"\\CLSID", nullptr, clsid);
    set(std::wstring(entry.VersionIndependentProgId) + L"\\CurVer", nullptr, entry.ProgId);

    set(key, nullptr, entry.DisplayName);
    set(key + L"\\ProgID", nullptr, entry.ProgId);
    set(key + L"\\VersionIndependentProgID", nullptr, entry.VersionIndependentProgId);
    create(key + L"\\Programmable");
    set(key + L"\\InprocServer32", nullptr, modulePath);
    set(key + L"\\InprocServer32", L"ThreadingModel", L"Apartment");
    if (const CControlRegistration* control = entry.Control) {
        create(key + L"\\Control");
        create(key + L"\\Insertable");
        set(key + L"\\ToolboxBitmap32", nullptr, modulePath + L", " + std::to_wstring(control->PaletteBitmap));
        set(key + L"\\MiscStatus", nullptr, L"0");
        set(key + L"\\MiscStatus\\1", nullptr, std::to_wstring(control->MiscStatus));
        set(key + L"\\Version", nullptr, control->Version);
        if (typeLibrary) set(key + L"\\TypeLib", nullptr, GuidText(*typeLibrary));
    }
    return rc == ERROR_SUCCESS ? S_OK : HRESULT_FROM_WIN32(rc);
}

HRESULT UnregisterClass(const CClassEntry& entry)
{
    LONG rc = DeleteTree(HKEY_CLASSES_ROOT, L"CLSID\\" + GuidText(*entry.Clsid));
    if (rc == ERROR_SUCCESS) rc = DeleteTree(HKEY_CLASSES_ROOT, entry.ProgId);
    if (rc == ERROR_SUCCESS) rc = DeleteTree(HKEY_CLASSES_ROOT, entry.VersionIndependentProgId);
    return rc == ERROR_SUCCESS ? S_OK : HRESULT_FROM_WIN32(rc);
}

} // namespace

HRESULT CComServer::Register()
{
    const std::wstring path = CComModule::Instance().FileName();
    for (size_t i = 0; i < Description.ClassCount; ++i) {
        HRESULT hr = RegisterClass(Description.Classes[i], path, Description.TypeLibrary);
        if (FAILED(hr)) return SELFREG_E_CLASS;
    }
    if (Description.TypeLibrary) {
        // Loaded without registering, then registered with the exact path: a resource index in
        // the path is otherwise lost and references into the library fail.
        CComPtr<ITypeLib> lib;
        HRESULT hr = GetTypeLib(lib.Out());
        if (SUCCEEDED(hr)) hr = RegisterTypeLib(lib, const_cast<OLECHAR*>(path.c_str()), nullptr);
        if (FAILED(hr)) return SELFREG_E_TYPELIB;
    }
    return S_OK;
}

HRESULT CComServer::Unregister()
{
    HRESULT result = S_OK;
    for (size_t i = 0; i < Description.ClassCount; ++i) {
        if (FAILED(UnregisterClass(Description.Classes[i]))) result = SELFREG_E_CLASS;
    }
    if (Description.TypeLibrary) {
        CComPtr<ITypeLib> lib;
        TLIBATTR* attr = nullptr;
        if (SUCCEEDED(GetTypeLib(lib.Out())) && SUCCEEDED(lib->GetLibAttr(&attr))) {
            // A library that is not registered is what we want (and not every system says so
            // with the same code when asked to unregister it).
            BSTR registered = nullptr;
            bool isRegistered = SUCCEEDED(QueryPathOfRegTypeLib(attr->guid, attr->wMajorVerNum, attr->wMinorVerNum,
                                                                attr->lcid, &registered));
            SysFreeString(registered);
            HRESULT hr = isRegistered ? UnRegisterTypeLib(attr->guid, attr->wMajorVerNum, attr->wMinorVerNum,
                                                          attr->lcid, attr->syskind)
                                      : S_OK;
            lib->ReleaseTLibAttr(attr);
            if (FAILED(hr) && hr != TYPE_E_REGISTRYACCESS && hr != TYPE_E_LIBNOTREGISTERED) result = SELFREG_E_TYPELIB;
        }
    }
    return result;
}
