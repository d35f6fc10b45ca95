#pragma once
// Placeholder of the lap markers over the traces of one selection. It listens to the selection
// and its lap-markers item from the start, so that their changes already reach the graph, and
// paints nothing until the markers are drawn.
// TODO: the lap marker lines and labels.
#include <windows.h>
#include "control/ChartRegionBase.h"

class CDataSelectionDataItem;
class CLapMarkersDataItem;

class CLapMarkersRegion : public CChartRegionBase
{
public:
    CLapMarkersRegion(const HWND* windowRef, CDataSelectionDataItem* selection, CLapMarkersDataItem* markers);
    ~CLapMarkersRegion() override;

    void OnDataItemRemoved(CDataItemBase* item) override;

    // Null once the item has gone.
    CDataSelectionDataItem* Selection;
    CLapMarkersDataItem* LapMarkers;
};
