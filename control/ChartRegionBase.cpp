#include "control/ChartRegionBase.h"
#include "items/DataItemBase.h"

CChartRegionBase::CChartRegionBase(const HWND* windowRef) noexcept
    : WindowRef(windowRef), Bounds{}, DirtyBits(DirtyAll)
{
}

CChartRegionBase::~CChartRegionBase() = default;

void CChartRegionBase::SetBounds(const RECT& bounds)
{
    if (EqualRect(&bounds, &Bounds)) return;
    Bounds = bounds;
    DirtyBits |= DirtyBounds;
}

void CChartRegionBase::Invalidate()
{
    HWND window = WindowRef ? *WindowRef : nullptr;
    if (!window || !IsWindow(window)) return;
    RECT area = Bounds;
    ++area.right;
    ++area.bottom;
    InvalidateRect(window, &area, FALSE);
}

void CChartRegionBase::Draw(CChartDrawInfo& info)
{
    if (DirtyBits != 0) Recalculate(info);
}

BOOL CChartRegionBase::GetWidthLimits(CChartDrawInfo&, int& minimum, int& maximum)
{
    minimum = -1;
    maximum = -1;
    return FALSE;
}

BOOL CChartRegionBase::GetHeightLimits(CChartDrawInfo&, int& minimum, int& maximum)
{
    minimum = -1;
    maximum = -1;
    return FALSE;
}

void CChartRegionBase::OnDataItemChanged(CDataItemBase*, DWORD flags)
{
    if (flags & ~DirtyBounds) Invalidate();
}

void CChartRegionBase::OnDataItemRemoved(CDataItemBase* item)
{
    if (item) item->RemoveListener(this);
}

void CChartRegionBase::Recalculate(CChartDrawInfo&)
{
    DirtyBits = 0;
}
