#pragma once
// Placeholder of the offset mode, in which the user drags a picture of the traces to set time and
// value offsets. It keeps the state the graph asks for and the graph's rectangle; it takes no
// message and paints nothing until the offset editing exists.
// TODO: the offset editing (bitmap of the traces, offset drag mode, offset label).
#include <windows.h>
#include "control/ChartRegionBase.h"
#include "control/MessageMap.h"

class COffsetMode : public CChartRegionBase, public CMessageMap
{
public:
    explicit COffsetMode(const HWND* windowRef) noexcept : CChartRegionBase(windowRef) {}

    bool ProcessWindowMessage(HWND, UINT, WPARAM, LPARAM, LRESULT&, DWORD) override { return false; }

    // 1 while no offset is being edited.
    int OffsetState = 1;
    // The graph's trace rectangle, copied at each layout.
    RECT GraphRect{};
};
