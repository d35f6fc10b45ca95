#pragma once
// The control's one drag manager: it starts a drag mode at a press, captures the mouse, and routes
// the mouse and keys to the running mode until the mode ends or is cancelled. Modes are embedded
// in the regions that offer them; the manager only points at the running one.
#include <windows.h>
#include "control/MessageMap.h"
#include "interaction/DragModeBase.h"

class CDragManager : public CMessageMap
{
public:
    // `windowRef` is the control's cell of the window handle.
    explicit CDragManager(const HWND* windowRef) noexcept : WindowRef(windowRef) {}
    CDragManager(const CDragManager&) = delete;
    CDragManager& operator=(const CDragManager&) = delete;

    // Called from a press handler. Non-zero when a drag now runs; zero while another runs, or when
    // the mode refuses, which then leaves no capture and no cursor change.
    BOOL Start(CDragModeBase* mode);
    // A non-zero map id declines at once; the result is always 0.
    bool ProcessWindowMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result,
                              DWORD mapId) override;
    // The region that embeds `mode` is going away: a running drag of it is cancelled, so that
    // ActiveMode never dangles.
    void Forget(CDragModeBase* mode);

    const HWND* WindowRef;
    // The running mode, or null; non-null means that a drag runs.
    CDragModeBase* ActiveMode = nullptr;
    // Client points of the press and of the latest mouse move.
    POINT StartPoint{};
    POINT CurrentPoint{};
    // The cursor before the drag, or null when the mode shows none of its own.
    HCURSOR SavedCursor = nullptr;
};
