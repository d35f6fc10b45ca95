#include "regions/XAxisRegion.h"
#include "items/TaskDataItem.h"
#include "regions/GraphRegion.h"

CXAxisRegion::CXAxisRegion(CGraphRegion& graph, CTaskDataItem* task)
    : CChartRegionBase(graph.WindowRef), Graph(graph), Task(task)
{
    if (Task) Task->AddListener(this);
}

CXAxisRegion::~CXAxisRegion()
{
    if (Task) Task->RemoveListener(this);
}

void CXAxisRegion::OnDataItemRemoved(CDataItemBase* item)
{
    CChartRegionBase::OnDataItemRemoved(item);
    if (item == Task) Task = nullptr;
}
