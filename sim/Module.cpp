// Entry points of QvxHost.dll, the substitute host library, and its class table.
#include <windows.h>
#include <olectl.h>
#include "ComServer.h"
#include "Interfaces.h"

namespace {

const CClassEntry* const Classes = nullptr;

} // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH) {
        CComModule::Instance().SetHandle(instance);
        CComServer::Describe({Classes, 0, &LIBID_QvxInterfacesLib});
        DisableThreadLibraryCalls(instance);
    }
    return TRUE;
}

STDAPI DllCanUnloadNow() { return CComModule::Instance().CanUnloadNow(); }
STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) { return CComServer::GetClassObject(clsid, iid, out); }
STDAPI DllRegisterServer() { return CComServer::Register(); }
STDAPI DllUnregisterServer() { return CComServer::Unregister(); }
