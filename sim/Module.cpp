// Entry points of QvxHost.dll, the substitute host library, and its class table.
#include <windows.h>
#include <olectl.h>
#include "com/ComServer.h"
#include "sim/GroupFactory.h"
#include "Interfaces.h"
#include "sim/PropertyFactory.h"
#include "sim/PropertyViewState.h"
#include "sim/SimulatedHost.h"
#include "sim/UnitConverter.h"
#include "sim/ZoomStack.h"

namespace {

const CClassEntry Classes[] = {
    {&CLSID_QvxZoomStack, &CreateComObject<CZoomStack>, L"QvxHost.ZoomStack.1", L"QvxHost.ZoomStack",
     L"Qvx Zoom Stack", nullptr},
    {&CLSID_QvxUnitConverter, &CreateComObject<CUnitConverter>, L"QvxHost.UnitConverter.1",
     L"QvxHost.UnitConverter", L"Qvx Unit Converter", nullptr},
    {&CLSID_QvxChannelPropertyFactory, &CreateComObject<CChannelPropertyFactory>,
     L"QvxHost.ChannelPropertyFactory.1", L"QvxHost.ChannelPropertyFactory", L"Qvx Channel Property Factory", nullptr},
    {&CLSID_QvxEventPropertyFactory, &CreateComObject<CEventPropertyFactory>, L"QvxHost.EventPropertyFactory.1",
     L"QvxHost.EventPropertyFactory", L"Qvx Event Property Factory", nullptr},
    {&CLSID_QvxGroupFactory, &CreateComObject<CGroupFactory>, L"QvxHost.GroupFactory.1", L"QvxHost.GroupFactory",
     L"Qvx Group Factory", nullptr},
    {&CLSID_QvxPropertyViewState, &CreateComObject<CPropertyViewState>, L"QvxHost.PropertyViewState.1",
     L"QvxHost.PropertyViewState", L"Qvx Property View State", nullptr},
    {&CLSID_QvxSimulatedHost, &CreateComObject<CSimulatedHost>, L"QvxHost.SimulatedHost.1",
     L"QvxHost.SimulatedHost", L"Qvx Substitute Host", nullptr},
};

} // namespace

CServerDescription ServerDescription()
{
    return {Classes, sizeof(Classes) / sizeof(Classes[0]), &LIBID_QvxInterfacesLib};
}

#include "com/ServerExports.h"
