#include "interaction/FragileManager.h"
#include "interaction/DragManager.h"

bool CFragileManager::ProcessWindowMessage(HWND, UINT message, WPARAM wParam, LPARAM, LRESULT& result, DWORD mapId)
{
    result = 0;
    if (mapId != 0 || !ActiveMode) return false;
    const DWORD flags = ActiveMode->GetFlags();
    switch (message) {
    case WM_KEYDOWN:
    case WM_SYSKEYDOWN: {
        if (!(flags & FRAGILE_TAKES_KEYS)) break;
        BOOL handled = FALSE;
        ActiveMode->OnKeyDown(static_cast<UINT>(wParam), handled);
        return handled != FALSE;
    }
    case WM_COMMAND: {
        if (!(flags & FRAGILE_TAKES_COMMANDS)) break;
        BOOL handled = FALSE;
        ActiveMode->OnCommand(LOWORD(wParam), handled);
        return handled != FALSE;
    }
    case WM_CONTEXTMENU:
        if (flags & FRAGILE_SURVIVES_CONTEXTMENU) return false;
        break;
    case WM_KILLFOCUS:
    case WM_LBUTTONDOWN:
    case WM_MBUTTONDOWN:
    case WM_MOUSEWHEEL:
    case WM_CANCELMODE:
    case WM_SIZE:
        break;
    default:
        return false;
    }
    // The message that broke the mode still takes its normal effect.
    Stop();
    return false;
}

BOOL CFragileManager::Start(CFragileModeBase* mode)
{
    if (ActiveMode) Stop();
    if (DragManager.ActiveMode || !mode) return FALSE;
    if (!mode->Begin()) return FALSE;
    ActiveMode = mode;
    return TRUE;
}

void CFragileManager::Stop()
{
    if (CFragileModeBase* mode = ActiveMode) {
        ActiveMode = nullptr;
        mode->End();
    }
}
