#include "TaskDataItem.h"
#include "BaseChartCtl.h"
#include "ItemFlags.h"

CRTCTaskDataItem::CRTCTaskDataItem(ChartOwner* owner, qvx::time dataTimeSpan) noexcept
    : Owner(owner), DataTimeSpan(dataTimeSpan)
{
    CComPtr<IQvxOrdering> ordering;
    if (SUCCEEDED(CComObject<CChannelOrdering>::Create(nullptr, __uuidof(IQvxOrdering), ordering.OutVoid()))) {
        Ordering = static_cast<CChannelOrdering*>(ordering.Get());
        Ordering->SetTask(this);
    }
}

CRTCTaskDataItem::~CRTCTaskDataItem()
{
    if (Ordering) Ordering->Close();
}

CChannelDataItem* CRTCTaskDataItem::CreateChannel(const CBstr& name)
{
    return new CRTCChannelDataItem(this, name, nullptr);
}

void CRTCTaskDataItem::MarkModified()
{
    if (Owner) Owner->MarkModified();
}

void CRTCTaskDataItem::FireActiveChanged()
{
    if (Owner) Owner->FireActiveChanged();
}

HRESULT CRTCTaskDataItem::SetZoomStack(IUnknown* stack)
{
    CComPtr<IQvxZoomStack> taken;
    if (stack) {
        HRESULT hr = stack->QueryInterface(__uuidof(IQvxZoomStack), taken.OutVoid());
        if (FAILED(hr)) return hr;
    }
    ZoomStack = std::move(taken);
    NotifyChange(TaskTimeRangeStale | TaskDistanceRangeStale | TaskZoomStackChanged, 1);
    return S_OK;
}

void CRTCTaskDataItem::UndoAllZooms()
{
    VARIANT_BOOL zoomed = VARIANT_FALSE;
    if (!ZoomStack || FAILED(ZoomStack->GetIsZoomed(&zoomed)) || zoomed != VARIANT_TRUE) return;
    ZoomStack->PopAll();
    if (Owner) Owner->MarkModified();
}
