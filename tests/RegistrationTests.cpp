// DllUnregisterServer and DllRegisterServer of Linnograph.dll: every key goes, and comes back
// exactly. The test changes the prefix's registry, so it runs alone and re-registers at the end.
#include <gtest/gtest.h>
#include <windows.h>
#include <objbase.h>
#include <optional>
#include <string>
#include "Linnograph.h"

namespace {

std::wstring GuidText(REFGUID guid)
{
    wchar_t text[40] = {};
    StringFromGUID2(guid, text, 40);
    return text;
}

bool KeyExists(const std::wstring& path)
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
    RegCloseKey(key);
    return true;
}

std::optional<std::wstring> Value(const std::wstring& path, const wchar_t* name = nullptr)
{
    wchar_t text[1024] = {};
    DWORD size = sizeof(text);
    DWORD type = 0;
    if (RegGetValueW(HKEY_CLASSES_ROOT, path.c_str(), name, RRF_RT_REG_SZ, &type, text, &size) != ERROR_SUCCESS)
        return std::nullopt;
    return std::wstring(text);
}

struct CRegisteredClass
{
    const CLSID* Clsid;
    const wchar_t* ProgId;
    const wchar_t* VersionIndependentProgId;
    const wchar_t* DisplayName;
    bool Control;
};

const CRegisteredClass Classes[] = {
    {&CLSID_LinnographCtl, L"QvxLinnograph.LinnographCtl.1", L"QvxLinnograph.LinnographCtl",
     L"Morvane Real-time Linnograph Display", true},
    {&CLSID_LayoutPpg, L"Linnograph.LayoutPpg.1", L"Linnograph.LayoutPpg",
     L"Morvane Real-time Linnograph Display Layout Property Page", false},
    {&CLSID_DataPpg, L"Linnograph.DataPpg.1", L"Linnograph.DataPpg",
     L"Morvane Real-time Linnograph Display Data Property Page", false},
};

class Registration : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(Dll);
        wchar_t path[MAX_PATH] = {};
        GetModuleFileNameW(Dll, path, MAX_PATH);
        Path = path;
        Register = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(GetProcAddress(Dll, "DllRegisterServer"));
        Unregister = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(GetProcAddress(Dll, "DllUnregisterServer"));
        ASSERT_TRUE(Register && Unregister);
    }
    // Whatever happened, the prefix is left with the server registered.
    void TearDown() override
    {
        if (Register) Register();
    }

    std::wstring ModuleFolderDll() const
    {
        wchar_t path[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, path, MAX_PATH);
        std::wstring folder(path);
        return folder.substr(0, folder.find_last_of(L'\\') + 1) + L"Linnograph.dll";
    }

    HMODULE Dll = LoadLibraryW(ModuleFolderDll().c_str());
    std::wstring Path;
    HRESULT(STDAPICALLTYPE* Register)() = nullptr;
    HRESULT(STDAPICALLTYPE* Unregister)() = nullptr;
};

} // namespace

TEST_F(Registration, UnregisterRemovesEveryKeyAndRegisterPutsThemBackExactly)
{
    const std::wstring library = L"TypeLib\\" + GuidText(LIBID_QvxLinnographLib);
    ASSERT_EQ(S_OK, Unregister());
    for (const CRegisteredClass& entry : Classes) {
        EXPECT_FALSE(KeyExists(L"CLSID\\" + GuidText(*entry.Clsid))) << entry.ProgId;
        EXPECT_FALSE(KeyExists(entry.ProgId));
        EXPECT_FALSE(KeyExists(entry.VersionIndependentProgId));
    }
    EXPECT_FALSE(KeyExists(library));
    // Unregistering what is not registered is no failure.
    EXPECT_EQ(S_OK, Unregister());

    ASSERT_EQ(S_OK, Register());
    for (const CRegisteredClass& entry : Classes) {
        SCOPED_TRACE(testing::Message() << "class " << std::string(entry.ProgId, entry.ProgId + wcslen(entry.ProgId)));
        const std::wstring clsid = GuidText(*entry.Clsid);
        const std::wstring key = L"CLSID\\" + clsid;
        EXPECT_EQ(entry.DisplayName, Value(key));
        EXPECT_EQ(entry.ProgId, Value(key + L"\\ProgID"));
        EXPECT_EQ(entry.VersionIndependentProgId, Value(key + L"\\VersionIndependentProgID"));
        EXPECT_TRUE(KeyExists(key + L"\\Programmable"));
        EXPECT_EQ(Path, Value(key + L"\\InprocServer32"));
        EXPECT_EQ(L"Apartment", Value(key + L"\\InprocServer32", L"ThreadingModel"));

        EXPECT_EQ(entry.DisplayName, Value(entry.ProgId));
        EXPECT_EQ(clsid, Value(std::wstring(entry.ProgId) + L"\\CLSID"));
        EXPECT_EQ(entry.DisplayName, Value(entry.VersionIndependentProgId));
        EXPECT_EQ(clsid, Value(std::wstring(entry.VersionIndependentProgId) + L"\\CLSID"));
        EXPECT_EQ(entry.ProgId, Value(std::wstring(entry.VersionIndependentProgId) + L"\\CurVer"));

        EXPECT_EQ(entry.Control, KeyExists(key + L"\\Control"));
        EXPECT_EQ(entry.Control, KeyExists(key + L"\\Insertable"));
        if (!entry.Control) {
            EXPECT_FALSE(KeyExists(key + L"\\MiscStatus"));
            EXPECT_FALSE(KeyExists(key + L"\\TypeLib"));
            continue;
        }
        EXPECT_EQ(Path + L", 101", Value(key + L"\\ToolboxBitmap32"));
        EXPECT_EQ(L"0", Value(key + L"\\MiscStatus"));
        EXPECT_EQ(L"131473", Value(key + L"\\MiscStatus\\1"));
        EXPECT_EQ(L"1.0", Value(key + L"\\Version"));
        EXPECT_EQ(GuidText(LIBID_QvxLinnographLib), Value(key + L"\\TypeLib"));
    }
    EXPECT_EQ(Path, Value(library + L"\\1.0\\0\\win64"));
}
