// Entry points of Linnograph.dll and its class table.
#include <windows.h>
#include <shlwapi.h>
#include <olectl.h>
#include "com/ComServer.h"
#include "control/LinnographCtl.h"
#include "pages/PropertyPages.h"
#include "Linnograph.h"
#include "resources/Resource.h"

namespace {

const CControlRegistration ControlRegistration = {
    IDB_PALETTE,
    // OLEMISC_RECOMPOSEONRESIZE | OLEMISC_CANTLINKINSIDE | OLEMISC_INSIDEOUT |
    // OLEMISC_ACTIVATEWHENVISIBLE | OLEMISC_SETCLIENTSITEFIRST
    131473,
    L"1.0",
};

const CClassEntry Classes[] = {
    {&CLSID_LinnographCtl, &CreateComObject<CLinnographCtl>, L"QvxLinnograph.LinnographCtl.1",
     L"QvxLinnograph.LinnographCtl", L"Morvane Real-time Linnograph Display", &ControlRegistration},
    {&CLSID_LayoutPpg, &CLayoutPpg::Create, L"Linnograph.LayoutPpg.1", L"Linnograph.LayoutPpg",
     L"Morvane Real-time Linnograph Display Layout Property Page", nullptr},
    {&CLSID_DataPpg, &CDataPpg::Create, L"Linnograph.DataPpg.1", L"Linnograph.DataPpg",
     L"Morvane Real-time Linnograph Display Data Property Page", nullptr},
};

} // namespace

CServerDescription ServerDescription()
{
    return {Classes, sizeof(Classes) / sizeof(Classes[0]), &LIBID_QvxLinnographLib};
}

#include "com/ServerExports.h"

STDAPI DllGetVersion(DLLVERSIONINFO* info)
{
    if (!info) return E_POINTER;
    if (info->cbSize < sizeof(DLLVERSIONINFO)) return E_INVALIDARG;
    info->dwMajorVersion = QVX_VERSION_MAJOR;
    info->dwMinorVersion = QVX_VERSION_MINOR;
    info->dwBuildNumber = QVX_VERSION_PATCH;
    info->dwPlatformID = DLLVER_PLATFORM_WINDOWS;
    return S_OK;
}
