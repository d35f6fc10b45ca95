#include "regions/ChannelRegion.h"
#include "items/ChannelDataItem.h"
#include "regions/GraphRegion.h"

CChannelRegion::CChannelRegion(CChannelDataItem* channel, CGraphRegion& graph)
    : CChartRegionBase(graph.WindowRef), Channel(channel), Graph(graph)
{
    if (Channel) Channel->AddListener(this);
}

CChannelRegion::~CChannelRegion()
{
    TraceRegions.clear();
    if (Channel) Channel->RemoveListener(this);
}

void CChannelRegion::OnDataItemRemoved(CDataItemBase* item)
{
    CChartRegionBase::OnDataItemRemoved(item);
    if (item == Channel) Channel = nullptr;
}
