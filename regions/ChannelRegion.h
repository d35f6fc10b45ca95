#pragma once
// Placeholder of one channel in the graph and of its traces: the channel region listens to its
// channel and takes its rectangle; the trace regions, which fold samples into pixel columns, come
// with the traces.
// TODO: the channel's band, alarm lines and line traces.
#include <windows.h>
#include <list>
#include <memory>
#include "control/ChartRegionBase.h"

class CChannelDataItem;
class CGraphRegion;

class CTraceRegion : public CChartRegionBase
{
public:
    using CChartRegionBase::CChartRegionBase;
    // Throws the stored points away; they are built again at the next paint.
    virtual void ClearPoints() {}
};

class CChannelRegion : public CChartRegionBase
{
public:
    static constexpr DWORD DirtyTraceRegions = 1;
    static constexpr DWORD DirtyChannelScale = 2;

    CChannelRegion(CChannelDataItem* channel, CGraphRegion& graph);
    ~CChannelRegion() override;

    void OnDataItemRemoved(CDataItemBase* item) override;
    // The trace of the task's active selection alone, in its own colour or in white.
    void DrawActiveSelectionTrace(CChartDrawInfo&, BOOL) {}

    // Null once the channel has gone.
    CChannelDataItem* Channel;
    CGraphRegion& Graph;
    std::list<std::unique_ptr<CTraceRegion>> TraceRegions;
    RECT PlotRect{};
};

class CRTCChannelRegion : public CChannelRegion
{
public:
    using CChannelRegion::CChannelRegion;
};
