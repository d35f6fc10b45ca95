#include "interaction/DragManager.h"
#include <windowsx.h>

namespace {

// Client coordinates of a mouse message, as signed 16-bit values.
POINT PointOf(LPARAM lParam)
{
    return POINT{GET_X_LPARAM(lParam), GET_Y_LPARAM(lParam)};
}

// The flag that lets a button message finish the drag; 0 for other messages.
DWORD FinishingFlag(UINT message)
{
    switch (message) {
    case WM_LBUTTONUP: return DRAG_END_ON_LBUTTONUP;
    case WM_MBUTTONUP: return DRAG_END_ON_MBUTTONUP;
    case WM_RBUTTONUP: return DRAG_END_ON_RBUTTONUP;
    case WM_MBUTTONDOWN: return DRAG_END_ON_MBUTTONDOWN;
    default: return 0;
    }
}

} // namespace

BOOL CDragManager::Start(CDragModeBase* mode)
{
    if (ActiveMode || !mode) return FALSE;
    // The press that started this, not where the mouse is by now.
    const DWORD position = GetMessagePos();
    POINT start{static_cast<short>(LOWORD(position)), static_cast<short>(HIWORD(position))};
    const HWND window = WindowRef ? *WindowRef : nullptr;
    if (window) ScreenToClient(window, &start);
    StartPoint = CurrentPoint = start;
    if (!mode->Begin()) return FALSE;
    ActiveMode = mode;
    if (window) SetCapture(window);
    const HCURSOR cursor = mode->GetCursor();
    SavedCursor = cursor ? SetCursor(cursor) : nullptr;
    // The first effect of a drag happens at the press.
    mode->Track(&StartPoint);
    return ActiveMode != nullptr;
}

bool CDragManager::ProcessWindowMessage(HWND, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result,
                                        DWORD mapId)
{
    result = 0;
    if (mapId != 0 || !ActiveMode) return false;
    CDragModeBase* mode = ActiveMode;
    switch (message) {
    case WM_MOUSEMOVE:
        CurrentPoint = PointOf(lParam);
        mode->Track(&CurrentPoint);
        return true;
    case WM_LBUTTONUP:
    case WM_MBUTTONUP:
    case WM_RBUTTONUP:
    case WM_MBUTTONDOWN: {
        if (!(mode->GetFlags() & FinishingFlag(message))) return false;
        POINT end = PointOf(lParam);
        mode->Track(&end);
        // Cleared before End, so that End may start something else.
        ActiveMode = nullptr;
        mode->End();
        ReleaseCapture();
        if (SavedCursor) SetCursor(SavedCursor);
        return true;
    }
    case WM_KEYDOWN:
    case WM_SYSKEYDOWN:
        // Every key is swallowed while a drag runs; Escape may cancel it.
        if ((mode->GetFlags() & DRAG_CANCEL_ON_ESCAPE) && wParam == VK_ESCAPE) Forget(mode);
        return true;
    case WM_CANCELMODE:
        Forget(mode);
        return true;
    case WM_CONTEXTMENU: {
        const DWORD flags = mode->GetFlags();
        if (flags & DRAG_CANCEL_ON_CONTEXTMENU) Forget(mode);
        return (flags & DRAG_SWALLOW_CONTEXTMENU) != 0;
    }
    case WM_COMMAND:
        return true;
    default:
        return false;
    }
}

void CDragManager::Forget(CDragModeBase* mode)
{
    if (!mode || ActiveMode != mode) return;
    // The mode is still the running one while it undoes its effects.
    mode->Cancel();
    ActiveMode = nullptr;
    ReleaseCapture();
    if (SavedCursor) SetCursor(SavedCursor);
}
