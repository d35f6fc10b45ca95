// DllUnregisterServer and DllRegisterServer of Linnograph.dll: every key goes, and comes back
// exactly. The test changes the prefix's registry, so it runs alone and re-registers at the end.
#include <gtest/gtest.h>
#include <windows.h>
#include <objbase.h>
#include <optional>
#include <string>
#include <utility>
#include <vector>
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

// A key's value: the default one, or the one named after a "|".
std::optional<std::wstring> Value(const std::wstring& path)
{
    const size_t bar = path.find(L'|');
    const std::wstring key = path.substr(0, bar), name = bar == std::wstring::npos ? L"" : path.substr(bar + 1);
    wchar_t text[1024] = {};
    DWORD size = sizeof(text);
    if (RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), name.empty() ? nullptr : name.c_str(), RRF_RT_REG_SZ, nullptr,
                     text, &size) != ERROR_SUCCESS)
        return std::nullopt;
    return std::wstring(text);
}

std::wstring ModulePath()
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder(path);
    return folder.substr(0, folder.find_last_of(L'\\') + 1) + L"Linnograph.dll";
}

using CEntry = HRESULT(STDAPICALLTYPE*)();

class Registration : public testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(Dll && Register && Unregister); }
    // Whatever happened, the prefix is left with the server registered.
    void TearDown() override { if (Register) Register(); }

    const std::wstring Path = ModulePath();
    HMODULE Dll = LoadLibraryW(Path.c_str());
    CEntry Register = reinterpret_cast<CEntry>(GetProcAddress(Dll, "DllRegisterServer"));
    CEntry Unregister = reinterpret_cast<CEntry>(GetProcAddress(Dll, "DllUnregisterServer"));
};

TEST_F(Registration, UnregisterRemovesEveryKeyAndRegisterPutsThemBackExactly)
{
    const struct
    {
        const CLSID* Clsid;
        std::wstring ProgId, Independent, DisplayName;
        bool Control;
    } classes[] = {
        {&CLSID_LinnographCtl, L"QvxLinnograph.LinnographCtl.1", L"QvxLinnograph.LinnographCtl",
         L"Morvane Real-time Linnograph Display", true},
        {&CLSID_LayoutPpg, L"Linnograph.LayoutPpg.1", L"Linnograph.LayoutPpg",
         L"Morvane Real-time Linnograph Display Layout Property Page", false},
        {&CLSID_DataPpg, L"Linnograph.DataPpg.1", L"Linnograph.DataPpg",
         L"Morvane Real-time Linnograph Display Data Property Page", false},
    };
    const std::wstring library = L"TypeLib\\" + GuidText(LIBID_QvxLinnographLib);
    ASSERT_EQ(S_OK, Unregister());
    for (const auto& entry : classes)
        for (const std::wstring& key : {L"CLSID\\" + GuidText(*entry.Clsid), entry.ProgId, entry.Independent})
            EXPECT_FALSE(KeyExists(key)) << std::string(key.begin(), key.end());
    EXPECT_FALSE(KeyExists(library));
    EXPECT_EQ(S_OK, Unregister()) << "unregistering what is not registered is no failure";

    ASSERT_EQ(S_OK, Register());
    for (const auto& entry : classes) {
        const std::wstring clsid = GuidText(*entry.Clsid), key = L"CLSID\\" + clsid;
        std::vector<std::pair<std::wstring, std::optional<std::wstring>>> values = {
            {key, entry.DisplayName}, {key + L"\\ProgID", entry.ProgId},
            {key + L"\\VersionIndependentProgID", entry.Independent}, {key + L"\\InprocServer32", Path},
            {key + L"\\InprocServer32|ThreadingModel", L"Apartment"}, {entry.ProgId, entry.DisplayName},
            {entry.ProgId + L"\\CLSID", clsid}, {entry.Independent, entry.DisplayName},
            {entry.Independent + L"\\CLSID", clsid}, {entry.Independent + L"\\CurVer", entry.ProgId},
        };
        if (entry.Control) {
            values.insert(values.end(), {{key + L"\\ToolboxBitmap32", Path + L", 101"}, {key + L"\\MiscStatus", L"0"},
                                         {key + L"\\MiscStatus\\1", L"131473"}, {key + L"\\Version", L"1.0"},
                                         {key + L"\\TypeLib", GuidText(LIBID_QvxLinnographLib)}});
        }
        for (const auto& [path, expected] : values)
            EXPECT_EQ(expected, Value(path)) << std::string(path.begin(), path.end());
        for (const wchar_t* flag : {L"\\Programmable", L"\\Control", L"\\Insertable", L"\\MiscStatus", L"\\TypeLib"}) {
            const bool expected = entry.Control || std::wstring(flag) == L"\\Programmable";
            EXPECT_EQ(expected, KeyExists(key + flag)) << std::string(entry.ProgId.begin(), entry.ProgId.end());
        }
    }
    EXPECT_EQ(Path, Value(library + L"\\1.0\\0\\win64"));
}

} // namespace
