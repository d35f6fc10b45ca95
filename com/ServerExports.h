#pragma once
// The entry points every server module of the project exports. Included by exactly one source
// file of a module, which also defines ServerDescription(): its class table and type library.
#include <windows.h>
#include "com/ComServer.h"

CServerDescription ServerDescription();

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH) {
        CComModule::Instance().SetHandle(instance);
        CComServer::Describe(ServerDescription());
        DisableThreadLibraryCalls(instance);
    }
    return TRUE;
}

STDAPI DllCanUnloadNow()
{
    return CComModule::Instance().CanUnloadNow();
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** out)
{
    return CComServer::GetClassObject(clsid, iid, out);
}

STDAPI DllRegisterServer()
{
    return CComServer::Register();
}

STDAPI DllUnregisterServer()
{
    return CComServer::Unregister();
}
