// Linnograph.dll as a module: version, unloading, embedded type library, string table.
#include <gtest/gtest.h>
#include <windows.h>
#include <shlwapi.h>
#include <ole2.h>
#include <string>
#include "com/ComPtr.h"
#include "Linnograph.h"

namespace {

std::wstring ModulePath()
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder(path);
    return folder.substr(0, folder.find_last_of(L'\\') + 1) + L"Linnograph.dll";
}

class Module : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(Dll && CanUnloadNow && GetClassObject);
        CoInitialize(nullptr);
    }
    void TearDown() override { CoUninitialize(); }

    CComPtr<IClassFactory> Factory()
    {
        CComPtr<IClassFactory> factory;
        EXPECT_EQ(S_OK, GetClassObject(CLSID_LinnographCtl, IID_IClassFactory, factory.OutVoid()));
        return factory;
    }

    const std::wstring Path = ModulePath();
    HMODULE Dll = LoadLibraryW(Path.c_str());
    HRESULT(STDAPICALLTYPE* CanUnloadNow)() =
        reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(GetProcAddress(Dll, "DllCanUnloadNow"));
    HRESULT(STDAPICALLTYPE* GetClassObject)(REFCLSID, REFIID, void**) =
        reinterpret_cast<HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**)>(GetProcAddress(Dll, "DllGetClassObject"));
};

TEST_F(Module, FactoriesObjectsLocksAndEnumeratorsKeepTheModuleLoaded)
{
    EXPECT_EQ(S_OK, CanUnloadNow());
    CComPtr<IClassFactory> factory = Factory();
    EXPECT_EQ(S_FALSE, CanUnloadNow());
    CComPtr<IConnectionPointContainer> control;
    ASSERT_EQ(S_OK, factory->CreateInstance(nullptr, IID_IConnectionPointContainer, control.OutVoid()));
    ASSERT_EQ(S_OK, factory->LockServer(TRUE));
    factory = nullptr;
    CComPtr<IEnumConnectionPoints> points;
    ASSERT_EQ(S_OK, control->EnumConnectionPoints(points.Out()));
    control = nullptr;
    EXPECT_EQ(S_FALSE, CanUnloadNow());
    points = nullptr;
    EXPECT_EQ(S_FALSE, CanUnloadNow());   // still locked
    ASSERT_EQ(S_OK, Factory()->LockServer(FALSE));
    EXPECT_EQ(S_OK, CanUnloadNow());
}

// Version 1.0 on Windows, the type library embedded with its id and the control, and the control
// modes' texts in the string table.
TEST_F(Module, DescribesItselfByVersionTypeLibraryAndStringTable)
{
    auto getVersion = reinterpret_cast<HRESULT(STDAPICALLTYPE*)(DLLVERSIONINFO*)>(GetProcAddress(Dll, "DllGetVersion"));
    ASSERT_TRUE(getVersion);
    DLLVERSIONINFO info{sizeof(info)};
    ASSERT_EQ(S_OK, getVersion(&info));
    EXPECT_TRUE(info.dwMajorVersion == 1 && info.dwMinorVersion == 0 && info.dwPlatformID == DLLVER_PLATFORM_WINDOWS);
    EXPECT_EQ(E_POINTER, getVersion(nullptr));

    CComPtr<ITypeLib> library;
    ASSERT_EQ(S_OK, LoadTypeLibEx(Path.c_str(), REGKIND_NONE, library.Out()));
    TLIBATTR* attributes = nullptr;
    ASSERT_EQ(S_OK, library->GetLibAttr(&attributes));
    EXPECT_TRUE(IsEqualGUID(LIBID_QvxLinnographLib, attributes->guid));
    EXPECT_TRUE(attributes->wMajorVerNum == 1 && attributes->wMinorVerNum == 0);
    library->ReleaseTLibAttr(attributes);
    CComPtr<ITypeInfo> control;
    EXPECT_EQ(S_OK, library->GetTypeInfoOfGuid(CLSID_LinnographCtl, control.Out()));

    for (const auto& [id, expected] : {std::pair<UINT, const wchar_t*>{114, L"Elapsed Time: "}, {115, L"Running "},
                                       {116, L"Local Pause "}, {120, L"Global Pause "}, {122, L"Time: "},
                                       {11018, L"Time: "}}) {
        wchar_t buffer[64] = {};
        ASSERT_GT(LoadStringW(Dll, id, buffer, 64), 0) << id;
        EXPECT_STREQ(expected, buffer) << id;
    }
}

} // namespace
