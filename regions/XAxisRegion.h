#pragma once
// Placeholder of the time axis under the graph: it takes the axis's rectangle and listens to the
// task; ticks, labels and the cursor's time come with the axis.
// TODO: base line, ticks, labels, cursor label, offset label.
#include <windows.h>
#include "control/ChartRegionBase.h"

class CGraphRegion;
class CTaskDataItem;
struct CAxisTicks;

class CXAxisRegion : public CChartRegionBase
{
public:
    CXAxisRegion(CGraphRegion& graph, CTaskDataItem* task);
    ~CXAxisRegion() override;

    void OnDataItemRemoved(CDataItemBase* item) override;
    // Ticks of the time and distance axes, for the axis and the graph's vertical grid; a
    // negative status gives no ticks.
    HRESULT GetTimeTicks(CChartDrawInfo&, CAxisTicks&) { return E_FAIL; }
    HRESULT GetDistanceTicks(CChartDrawInfo&, CAxisTicks&) { return E_FAIL; }

    CGraphRegion& Graph;
    // Null once the task has gone.
    CTaskDataItem* Task;
    // Where the label of the cursor's time stands; empty until the first paint.
    RECT SelectionLabelRect{};
};

class CRTCXAxisRegion : public CXAxisRegion
{
public:
    using CXAxisRegion::CXAxisRegion;
};
