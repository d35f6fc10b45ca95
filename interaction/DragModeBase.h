#pragma once
// A gesture that owns the mouse from a press until something ends it. The region that recognises
// the press hands one of its embedded modes to the drag manager, which captures the mouse and
// routes the mouse and keys to the mode until the drag ends or is cancelled.
#include <windows.h>

// What ends or cancels a drag; a mode may change its answer while it runs.
enum : DWORD
{
    DRAG_END_ON_LBUTTONUP = 1,
    DRAG_END_ON_MBUTTONUP = 2,
    DRAG_END_ON_RBUTTONUP = 4,
    DRAG_END_ON_MBUTTONDOWN = 8,
    DRAG_CANCEL_ON_ESCAPE = 16,
    DRAG_CANCEL_ON_CONTEXTMENU = 32,
    DRAG_SWALLOW_CONTEXTMENU = 64,
};

class CDragModeBase
{
public:
    static constexpr DWORD DefaultFlags = DRAG_END_ON_LBUTTONUP | DRAG_CANCEL_ON_ESCAPE | DRAG_CANCEL_ON_CONTEXTMENU;

    // Non-zero when the drag may start; the manager's StartPoint is already set.
    virtual BOOL Begin() { return TRUE; }
    // The drag finished normally.
    virtual void End() {}
    // The drag was abandoned: undo all its effects.
    virtual void Cancel() {}
    // A client point: the press, each move, and the finishing point.
    virtual void Track(const POINT* point) = 0;
    virtual DWORD GetFlags() { return DefaultFlags; }
    // The cursor during the drag, or null to leave the cursor alone.
    virtual HCURSOR GetCursor() { return nullptr; }

protected:
    ~CDragModeBase() = default;
};
