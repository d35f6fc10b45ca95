#include "regions/LapMarkersRegion.h"
#include "items/DataSelectionDataItem.h"
#include "items/LapMarkersDataItem.h"

CLapMarkersRegion::CLapMarkersRegion(const HWND* windowRef, CDataSelectionDataItem* selection,
                                     CLapMarkersDataItem* markers)
    : CChartRegionBase(windowRef), Selection(selection), LapMarkers(markers)
{
    if (Selection) Selection->AddListener(this);
    if (LapMarkers) LapMarkers->AddListener(this);
}

CLapMarkersRegion::~CLapMarkersRegion()
{
    if (LapMarkers) LapMarkers->RemoveListener(this);
    if (Selection) Selection->RemoveListener(this);
}

void CLapMarkersRegion::OnDataItemRemoved(CDataItemBase* item)
{
    CChartRegionBase::OnDataItemRemoved(item);
    if (item == LapMarkers) LapMarkers = nullptr;
    if (item == Selection) Selection = nullptr;
}
