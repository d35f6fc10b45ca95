#pragma once
// One channel in the graph: its vertical band, its alarm lines and one trace region per trace,
// in the channel's order, the trace of the task's active selection drawn last so that it lies
// on top.
#include <windows.h>
#include <list>
#include <memory>
#include "control/ChartRegionBase.h"
#include "regions/TraceRegion.h"

class CChannelDataItem;
class CGraphRegion;
class CPlotScene;

class CChannelRegion : public CChartRegionBase
{
public:
    static constexpr DWORD DirtyTraceRegions = 1;
    static constexpr DWORD DirtyChannelScale = 2;
    // The colour of a trace drawn as a mask for the offset mode.
    static constexpr COLORREF MaskColour = 0xFFFFFF;

    CChannelRegion(CChannelDataItem* channel, CGraphRegion& graph);
    ~CChannelRegion() override;

    void Draw(CChartDrawInfo& info) override;
    // The alarm lines and the traces, in the order they are drawn, into the graph's scene.
    void AddToScene(CChartDrawInfo& info, CPlotScene& scene);
    void OnDataItemChanged(CDataItemBase* item, DWORD flags) override;
    void OnDataItemRemoved(CDataItemBase* item) override;
    void Recalculate(CChartDrawInfo& info) override;

    // A trace region of the graph's style and the channel's interpolation.
    virtual std::unique_ptr<CTraceRegion> CreateTraceRegion(CTraceDataItem* trace);

    // The trace of the task's active selection alone, in its own colour or in white.
    void DrawActiveSelectionTrace(CChartDrawInfo& info, BOOL ownColour);

    // Null once the channel has gone.
    CChannelDataItem* Channel;
    CGraphRegion& Graph;
    std::list<std::unique_ptr<CTraceRegion>> TraceRegions;
    // The band inside Bounds in which the channel is plotted.
    RECT PlotRect{};

protected:
    void AddAlarmLines(CPlotScene& scene);
    // The trace region of the task's active selection, or null.
    CTraceRegion* ActiveSelectionTrace();
};

// The real-time channel differs only in how its point traces search; it has none yet.
class CRTCChannelRegion : public CChannelRegion
{
public:
    using CChannelRegion::CChannelRegion;
};
