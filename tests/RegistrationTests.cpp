// Registration of Linnograph.dll; it changes the prefix's registry, so it runs alone.
#include <gtest/gtest.h>
#include <windows.h>
#include <objbase.h>
#include <optional>
#include <string>
#include <utility>
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
    const std::wstring control = L"CLSID\\" + GuidText(CLSID_LinnographCtl);
    const std::wstring page = L"CLSID\\" + GuidText(CLSID_DataPpg);
    const std::wstring library = L"TypeLib\\" + GuidText(LIBID_QvxLinnographLib);
    const std::wstring progId = L"QvxLinnograph.LinnographCtl.1", independent = L"QvxLinnograph.LinnographCtl";
    ASSERT_EQ(S_OK, Unregister());
    for (const std::wstring& key : {control, page, progId, independent, library})
        EXPECT_FALSE(KeyExists(key)) << std::string(key.begin(), key.end());
    EXPECT_EQ(S_OK, Unregister()) << "unregistering what is not registered is no failure";
    ASSERT_EQ(S_OK, Register());
    // The control's keys, and those of the last page, which stands for the other classes.
    const std::pair<std::wstring, std::optional<std::wstring>> values[] = {
        {control, L"Morvane Real-time Linnograph Display"}, {control + L"\\InprocServer32", Path},
        {control + L"\\InprocServer32|ThreadingModel", L"Apartment"},
        {progId + L"\\CLSID", GuidText(CLSID_LinnographCtl)}, {independent + L"\\CurVer", progId},
        {control + L"\\ToolboxBitmap32", Path + L", 101"}, {control + L"\\MiscStatus\\1", L"131473"},
        {control + L"\\Version", L"1.0"}, {page, L"Morvane Real-time Linnograph Display Data Property Page"},
        {page + L"\\InprocServer32", Path}, {library + L"\\1.0\\0\\win64", Path},
    };
    for (const auto& [path, expected] : values)
        EXPECT_EQ(expected, Value(path)) << std::string(path.begin(), path.end());
    for (const auto& [key, exists] : {std::pair{control + L"\\Control", true}, {control + L"\\Insertable", true},
                                      {page + L"\\Programmable", true}, {page + L"\\Control", false}})
        EXPECT_EQ(exists, KeyExists(key)) << std::string(key.begin(), key.end());
}

} // namespace
