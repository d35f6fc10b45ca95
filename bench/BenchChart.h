#pragma once
// The chart of the live benchmarks: the control as its class factory makes it, attached to the
// substitute host's live task.
#include <windows.h>
#include "control/LinnographCtl.h"
#include "items/RTCTaskDataItem.h"
#include "regions/GraphRegion.h"
#include "QvxSim.h"

class CBenchChart : public CLinnographCtl
{
public:
    CRTCTaskDataItem* Task() { return TaskItem.get(); }
    CRTCGraphRegion* Graph() { return GraphRegion.get(); }
};

// A new substitute host; false when it is not registered. It does not watch the allocator for
// its balance of arrays, which a host in use does not do either.
inline bool StartBenchHost(CComPtr<IQvxOrvid>& host, CComPtr<IQvxSimulation>& sim)
{
    return SUCCEEDED(CoCreateInstance(CLSID_QvxSimulatedHost, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IQvxOrvid),
                                      host.OutVoid()))
           && SUCCEEDED(host.As(sim)) && SUCCEEDED(sim->WatchArrays(VARIANT_FALSE));
}

// A new chart in `control`, given its layout and attached to the host's live task; null when a
// step failed.
inline CBenchChart* MakeBenchChart(IQvxOrvid* host, CComPtr<IQvxLinnographCtl4>& control)
{
    if (FAILED(CComObject<CBenchChart>::CreateInstance(control))) return nullptr;
    CComPtr<IPersistStreamInit> persist;
    CComPtr<IQvxControl> attach;
    if (FAILED(persist.QueryFrom(control, __uuidof(IPersistStreamInit))) || FAILED(persist->InitNew())
        || FAILED(attach.QueryFrom(control, __uuidof(IQvxControl))) || FAILED(attach->SetHost(host))
        || FAILED(attach->SetTaskById(1)))
        return nullptr;
    return static_cast<CBenchChart*>(control.Get());
}
