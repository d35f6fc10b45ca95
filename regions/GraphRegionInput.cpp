// The graph's window messages: its sinks first, then its own table of presses, the wheel and keys.
#include <windowsx.h>
#include "control/BaseChartCtl.h"
#include "interaction/DragManager.h"
#include "interaction/FragileManager.h"
#include "items/RTCTaskDataItem.h"
#include "regions/EventsRegion.h"
#include "regions/GraphRegion.h"
#include "regions/ScrollbarRegion.h"

namespace {

bool KeyDown(int key)
{
    return GetKeyState(key) < 0;
}

bool Contains(const RECT& rect, POINT point)
{
    // Right and bottom belong to the rectangle.
    return point.x >= rect.left && point.x <= rect.right && point.y >= rect.top && point.y <= rect.bottom;
}

} // namespace

SHORT CGraphRegion::PlusKey()
{
    static const SHORT key = VkKeyScanW(L'=');
    return key;
}

SHORT CGraphRegion::MinusKey()
{
    static const SHORT key = VkKeyScanW(L'-');
    return key;
}

bool CGraphRegion::ProcessWindowMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result,
                                        DWORD mapId)
{
    if (mapId != 0) return false;
    CMessageMap* const sinks[] = {&OffsetMode, Events.get(), &SegmentsSplits, HorizontalScrollbar.get(),
                                  VerticalScrollbar.get()};
    for (CMessageMap* sink : sinks)
        if (sink && sink->ProcessWindowMessage(window, message, wParam, lParam, result, 0)) return true;
    if (MessageChain.CallChain(FirstAxisId, window, message, wParam, lParam, result)) return true;

    result = 0;
    CDragManager* drag = Owner.GetDragManager();
    const bool dragging = drag && drag->ActiveMode;
    switch (message) {
    case WM_LBUTTONDOWN: {
        const POINT point{GET_X_LPARAM(lParam), GET_Y_LPARAM(lParam)};
        const bool onSplits = SegmentsSplits.ShowSplits && Contains(SegmentsSplits.Bounds, point);
        if (!Contains(GraphRect, point) && !onSplits) return false;
        if (wParam & MK_CONTROL) BeginZoomDrag();
        // TODO: Shift makes the trace under the point active, with the graph's drag modes.
        else if (wParam & MK_SHIFT) return true;
        else if (KeyDown(VK_MENU)) BeginScrollDrag();
        else BeginCursorDrag();
        return true;
    }
    case WM_MBUTTONDOWN: {
        const POINT point{GET_X_LPARAM(lParam), GET_Y_LPARAM(lParam)};
        if (!Contains(GraphRect, point)) return false;
        BeginMouseAutoScroll();
        return true;
    }
    case WM_MOUSEWHEEL:
        if (dragging) return false;
        return HandleWheel(GET_WHEEL_DELTA_WPARAM(wParam), GET_KEYSTATE_WPARAM(wParam));
    case WM_KEYDOWN:
        return HandleKeyDown(window, static_cast<UINT>(wParam));
    case WM_SYSKEYDOWN:
        if (wParam == VK_MENU) {
            // Brings up the edit cursor at once.
            SendMessageW(window, WM_SETCURSOR, reinterpret_cast<WPARAM>(window), MAKELPARAM(HTCLIENT, WM_MOUSEMOVE));
            return false;
        }
        if (!Task || !KeyDown(VK_MENU)) return false;
        switch (wParam) {
        case VK_LEFT: Task->ScrollX(-10); return true;
        case VK_RIGHT: Task->ScrollX(10); return true;
        case VK_UP: Task->ScrollY(10); return true;
        case VK_DOWN: Task->ScrollY(-10); return true;
        default: return false;
        }
    case WM_KEYUP:
    case WM_SYSKEYUP:
        if (wParam == VK_MENU && !dragging)
            SendMessageW(window, WM_SETCURSOR, reinterpret_cast<WPARAM>(window), MAKELPARAM(HTCLIENT, WM_MOUSEMOVE));
        return false;
    case WM_SETCURSOR: {
        POINT point{};
        GetCursorPos(&point);
        if (!OnSetCursor(point)) return false;
        result = TRUE;
        return true;
    }
    default:
        return false;
    }
}

bool CGraphRegion::HandleWheel(short delta, WORD keys)
{
    if (!Task) return false;
    if (keys & MK_SHIFT) {
        if (delta > 0) Task->ActivatePreviousTrace();
        else Task->ActivateNextTrace();
        return true;
    }
    if (keys & MK_CONTROL) {
        if (delta > 0) ZoomInAtCursor();
        else Task->UndoZoomBothAxes();
        return true;
    }
    if (!(Task->GetYZoom() == CYZoom{0.0, 1.0})) {
        Task->ScrollY(delta * 10 / 120);
        return true;
    }
    if (Task->IsXZoomed()) {
        Task->ScrollX(delta * -10 / 120);
        return true;
    }
    return false;
}

bool CGraphRegion::HandleKeyDown(HWND, UINT key)
{
    if (!Task) return false;
    const bool plain = !KeyDown(VK_CONTROL) && !KeyDown(VK_SHIFT);
    const SHORT plus = PlusKey(), minus = MinusKey();
    if (key == VK_ADD || key == VK_SUBTRACT || (plus != -1 && key == static_cast<UINT>(plus & 0xFF)) ||
        (minus != -1 && key == static_cast<UINT>(minus & 0xFF))) {
        KeyboardAutoScroll.Direction = key == VK_ADD || (plus != -1 && key == static_cast<UINT>(plus & 0xFF)) ? 1 : -1;
        if (CFragileManager* fragile = Owner.GetFragileManager()) fragile->Start(&KeyboardAutoScroll);
        return true;
    }
    switch (key) {
    case VK_PRIOR:
    case VK_NEXT:
        if (!plain) return false;
        Task->StepCursor(key == VK_PRIOR ? -50 : 50);
        return true;
    case VK_END:
    case VK_HOME:
        if (!plain) return false;
        if (key == VK_END) Task->CursorToLastSample();
        else Task->CursorToFirstSample();
        return true;
    case VK_LEFT:
    case VK_RIGHT:
        if (KeyDown(VK_SHIFT)) Task->StepCursor(key == VK_LEFT ? -5 : 5);
        else if (key == VK_LEFT) Task->CursorToPreviousSample();
        else Task->CursorToNextSample();
        return true;
    case VK_UP:
    case VK_DOWN:
        if (!plain) return false;
        if (key == VK_UP) Task->ActivatePreviousTrace();
        else Task->ActivateNextTrace();
        return true;
    default:
        return false;
    }
}

// --- handing modes over ---

void CGraphRegion::BeginZoomDrag()
{
    if (CDragManager* drag = Owner.GetDragManager()) drag->Start(&ZoomDrag);
}

void CGraphRegion::BeginScrollDrag()
{
    if (CDragManager* drag = Owner.GetDragManager()) drag->Start(&ScrollDrag);
}

void CGraphRegion::BeginCursorDrag()
{
    if (Task && Task->IsCursorCentred()) {
        if (IQvxZoomStack* stack = Task->GetZoomStack()) stack->SetCursorCentred(VARIANT_FALSE);
        static_cast<CChartOwner&>(Owner).MarkModified();
    }
    if (CDragManager* drag = Owner.GetDragManager()) drag->Start(&CursorDrag);
}

void CGraphRegion::BeginMouseAutoScroll()
{
    if (CDragManager* drag = Owner.GetDragManager()) drag->Start(&MouseAutoScroll);
}

bool CGraphRegion::OnSetCursor(const POINT& screenPoint)
{
    if (!KeyDown(VK_MENU) || KeyDown(VK_CONTROL) || KeyDown(VK_SHIFT)) return false;
    if (!Task || !Task->IsZoomed()) return false;
    POINT point = screenPoint;
    if (const HWND window = WindowRef ? *WindowRef : nullptr) ScreenToClient(window, &point);
    if (!Contains(GraphRect, point)) return false;
    SetCursor(EditCursor);
    return true;
}

// --- the real-time graph: nothing of the sort while the chart runs ---

bool CRTCGraphRegion::MayInteract()
{
    auto* task = static_cast<CRTCTaskDataItem*>(Task);
    return task && !task->GetSelections().empty() && !task->GetMode().IsRunning();
}

void CRTCGraphRegion::BeginZoomDrag()
{
    if (MayInteract()) CGraphRegion::BeginZoomDrag();
}

void CRTCGraphRegion::BeginScrollDrag()
{
    if (MayInteract()) CGraphRegion::BeginScrollDrag();
}

void CRTCGraphRegion::BeginMouseAutoScroll()
{
    if (MayInteract()) CGraphRegion::BeginMouseAutoScroll();
}

bool CRTCGraphRegion::OnSetCursor(const POINT& screenPoint)
{
    return MayInteract() && CGraphRegion::OnSetCursor(screenPoint);
}

void CRTCGraphRegion::BeginCursorDrag()
{
    auto* task = static_cast<CRTCTaskDataItem*>(Task);
    if (!task || task->GetSelections().empty()) return;
    // A click on a running chart stops it and places the cursor in one gesture.
    if (task->GetMode().IsRunning()) Owner.ToggleLocalPause();
    CGraphRegion::BeginCursorDrag();
}
