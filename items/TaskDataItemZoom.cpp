#include "items/TaskDataItem.h"
#include <cmath>
#include "items/ChannelDataItem.h"
#include "items/TraceDataItem.h"

// The task item's vertical zoom: the chart's own stack of zooms, the host's zoom stack of the
// horizontal range, and the zoom that follows the active value.

namespace {

const CYZoom Unzoomed{0.0, 1.0};

// A NaN or an infinity in the vertical zoom would make every zoomed scale NaN.
bool IsFinite(const CYZoom& zoom)
{
    return std::isfinite(zoom.Low) && std::isfinite(zoom.High);
}

} // namespace

// --- zooms ---

bool CTaskDataItem::StackIsZoomed()
{
    VARIANT_BOOL zoomed = VARIANT_FALSE;
    return ZoomStack && SUCCEEDED(ZoomStack->GetIsZoomed(&zoomed)) && zoomed == VARIANT_TRUE;
}

void CTaskDataItem::PushDistanceZoom(const double& from, const double& to)
{
    if (ZoomStack && SUCCEEDED(ZoomStack->PushDistanceZoom(from, to))) MarkModified();
}

void CTaskDataItem::PushTimeZoom(const qvx::time& from, const qvx::time& to)
{
    if (ZoomStack && SUCCEEDED(ZoomStack->PushTimeZoom(from, to))) MarkModified();
}

void CTaskDataItem::UndoZoom()
{
    if (!StackIsZoomed()) return;
    ZoomStack->Pop();
    MarkModified();
}

void CTaskDataItem::UndoAllZooms()
{
    if (!StackIsZoomed()) return;
    ZoomStack->PopAll();
    MarkModified();
}

const CYZoom& CTaskDataItem::GetYZoom()
{
    return YZoomStack.empty() ? Unzoomed : YZoomStack.back();
}

bool CTaskDataItem::IsZoomed()
{
    return IsXZoomed() || !(GetYZoom() == Unzoomed);
}

bool CTaskDataItem::IsXZoomed()
{
    return StackIsZoomed();
}

void CTaskDataItem::PushYZoom(const CYZoom& zoom)
{
    if (!IsFinite(zoom)) return;
    YZoomStack.push_back(zoom);
    MarkModified();
    NotifyChange(TaskYZoomChanged, 1);
}

void CTaskDataItem::ReplaceYZoom(const CYZoom& zoom, int modified)
{
    if (YZoomStack.empty() || !IsFinite(zoom)) return;
    YZoomStack.back() = zoom;
    if (modified) MarkModified();
    NotifyChange(TaskYZoomChanged, 1);
}

HRESULT CTaskDataItem::ReplaceDistanceZoom(const double& from, const double& to, int modified)
{
    if (!(from < to) || !ZoomStack) return E_FAIL;
    const HRESULT hr = ZoomStack->SetDistanceZoom(from, to, VARIANT_TRUE);
    if (SUCCEEDED(hr) && modified) MarkModified();
    return hr;
}

HRESULT CTaskDataItem::ReplaceTimeZoom(const qvx::time& from, const qvx::time& to, int modified)
{
    if (!(from < to) || !ZoomStack) return E_FAIL;
    const HRESULT hr = ZoomStack->SetTimeZoom(from, to, VARIANT_TRUE);
    if (SUCCEEDED(hr) && modified) MarkModified();
    return hr;
}

HRESULT CTaskDataItem::ScrollX(long percent)
{
    if (percent == 0 || !StackIsZoomed()) return E_FAIL;
    if (DistanceMode) {
        double minimum = 0.0, maximum = 0.0;
        GetDistanceRange(minimum, maximum);
        const double width = maximum - minimum;
        const double newMaximum = maximum + width * percent / 100.0;
        return ReplaceDistanceZoom(newMaximum - width, newMaximum, 1);
    }
    qvx::time minimum = 0, maximum = 0;
    GetTimeRange(minimum, maximum);
    const qvx::time width = maximum - minimum;
    const qvx::time newMaximum = maximum + width * percent / 100;
    return ReplaceTimeZoom(newMaximum - width, newMaximum, 1);
}

void CTaskDataItem::ScrollY(long percent)
{
    if (YZoomStack.empty() || percent == 0) return;
    const CYZoom top = YZoomStack.back();
    const double width = top.High - top.Low;
    CYZoom zoom;
    zoom.High = top.High + percent * width / 100.0;
    zoom.Low = zoom.High - width;
    if (zoom.High > 1.0) zoom = {1.0 - width, 1.0};
    else if (zoom.Low < 0.0) zoom = {0.0, width};
    ReplaceYZoom(zoom, 1);
}

void CTaskDataItem::ClearYZoom()
{
    if (YZoomStack.empty()) return;
    YZoomStack.clear();
    NotifyChange(TaskYZoomChanged, 1);
    MarkModified();
}

void CTaskDataItem::UndoZoomBothAxes()
{
    UndoZoom();
    if (YZoomStack.empty()) return;
    YZoomStack.pop_back();
    NotifyChange(TaskYZoomChanged, 1);
    MarkModified();
}

HRESULT CTaskDataItem::SetZoomStack(IUnknown* stack)
{
    CComPtr<IQvxZoomStack> taken;
    if (stack) {
        const HRESULT hr = taken.QueryFrom(stack, __uuidof(IQvxZoomStack));
        if (FAILED(hr)) return hr;
    } else {
        taken = OwnZoomStack;
    }
    if (ZoomSink) ZoomSink->Unadvise(ZoomStack);
    ZoomStack = std::move(taken);
    if (ZoomSink) ZoomSink->Advise(ZoomStack);
    NotifyChange(TaskTimeRangeStale | TaskDistanceRangeStale | TaskZoomStackChanged, 1);
    return S_OK;
}

void CTaskDataItem::EnsureActiveValueVisible()
{
    const CYZoom zoom = GetYZoom();
    if (zoom == Unzoomed) return;
    CTraceDataItem* trace = GetActiveTrace();
    if (!trace) return;
    double minimum = 0.0, maximum = 0.0, value = 0.0;
    if (!trace->GetRange(minimum, maximum)) return;
    // A channel may hold NaN where it has no value: there is nothing to bring into view.
    if (FAILED(trace->GetValueAtCursor(value)) || !std::isfinite(value)) return;
    CChannelDataItem* channel = trace->GetChannel();
    if (channel->GetScaleMinimum(1) <= value && value <= channel->GetScaleMaximum(1)) return;
    // Centre the vertical zoom on the value, keeping its height and staying within the scale.
    const double low = channel->GetScaleMinimum(0);
    const double high = channel->GetScaleMaximum(0);
    if (high == low) return;
    const double centre = (value - low) / (high - low);
    const double height = zoom.High - zoom.Low;
    CYZoom centred{centre - height * 0.5, centre + height * 0.5};
    if (centred.Low < 0.0)
        centred = {0.0, height};
    else if (centred.High > 1.0)
        centred = {1.0 - height, 1.0};
    if (!IsFinite(centred)) return;
    YZoomStack.back() = centred;
    MarkModified();
    NotifyChange(TaskYZoomChanged, 1);
    NotifyChange(TaskYZoomChanged, 1);
}

// --- the zoom stack's notifications ---

void CTaskDataItem::OnRangeChanged(IQvxZoomStack*)
{
    if (DistanceMode) RefreshDistanceRange();
    else RefreshTimeRange();
}

void CTaskDataItem::OnStackGoingAway(IQvxZoomStack* stack)
{
    if (OwnZoomStack && SameObject(stack, OwnZoomStack)) OwnZoomStack = nullptr;
    if (ZoomSink) ZoomSink->Unadvise(ZoomStack);
    ZoomStack = OwnZoomStack;
    if (ZoomSink) ZoomSink->Advise(ZoomStack);
    NotifyChange(TaskTimeRangeStale | TaskDistanceRangeStale | TaskZoomStackChanged, 1);
}

void CTaskDataItem::OnLevelsChanged(IQvxZoomStack*)
{
    VARIANT_BOOL kept = VARIANT_TRUE;
    if (ZoomStack && SUCCEEDED(ZoomStack->GetIsYZoomKept(&kept)) && kept != VARIANT_TRUE) ClearYZoom();
}

void CTaskDataItem::OnOtherChange(IQvxZoomStack*)
{
    NotifyChange(TaskZoomStackChanged, 1);
}
