#pragma once
// The graph's gestures: the cursor drag, the rubber-band zoom, the hand scroll, the middle-button
// auto-scroll and the keyboard auto-scroll. The graph embeds one of each and hands it to the drag
// or fragile manager at a press or key. Each has the flags and the cursor of its kind; what it
// does while it runs comes with the graph's drag modes.
// TODO: tracking of the cursor, zoom, scroll and auto-scroll modes; the rubber band and the anchor
// mark; the auto-scroll cursors and icons.
#include <windows.h>
#include "interaction/DragModeBase.h"
#include "interaction/FragileModeBase.h"

class CGraphRegion;

// A mode of the graph: it knows the graph it works on.
class CGraphDragMode : public CDragModeBase
{
public:
    explicit CGraphDragMode(CGraphRegion& graph) noexcept : Graph(graph) {}
    void Track(const POINT*) override {}

    CGraphRegion& Graph;
};

class CCursorDragMode : public CGraphDragMode
{
public:
    using CGraphDragMode::CGraphDragMode;
};

class CZoomDragMode : public CGraphDragMode
{
public:
    using CGraphDragMode::CGraphDragMode;
};

class CScrollDragMode : public CGraphDragMode
{
public:
    using CGraphDragMode::CGraphDragMode;
};

class CMouseAutoScrollMode : public CGraphDragMode
{
public:
    using CGraphDragMode::CGraphDragMode;
    // Ends on the middle button's release once the mouse has moved, and on its next press.
    DWORD GetFlags() override
    {
        return DefaultFlags | DRAG_END_ON_MBUTTONDOWN | (Moved ? DRAG_END_ON_MBUTTONUP : 0);
    }

    BOOL Moved = 0;
};

class CKeyboardAutoScrollMode : public CFragileModeBase
{
public:
    explicit CKeyboardAutoScrollMode(CGraphRegion& graph) noexcept : Graph(graph) {}
    BOOL Begin() override { return TRUE; }
    void End() override {}
    void OnKeyDown(UINT, BOOL&) override {}
    void OnCommand(WORD, BOOL&) override {}
    // Takes keys; a command or the context menu ends it.
    DWORD GetFlags() override { return FRAGILE_TAKES_KEYS; }

    CGraphRegion& Graph;
    // +1 or -1.
    int Direction = 1;
};
