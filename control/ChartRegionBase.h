#pragma once
// The base of everything that is painted inside the control's one window, or that listens to
// data items. A region knows its rectangle and a word of dirty bits; a data change only sets bits
// and invalidates, and the region brings itself up to date at the next paint.
#include <windows.h>
#include "items/DataItemListener.h"

class CChartDrawInfo;
class CDataItemBase;

class CChartRegionBase : public CDataItemListener
{
public:
    // The rectangle changed: everything laid out from it is stale.
    static constexpr DWORD DirtyBounds = 0x80000000;
    // Everything is stale; what a new region starts with.
    static constexpr DWORD DirtyAll = 0xFFFFFFFF;

    explicit CChartRegionBase(const HWND* windowRef) noexcept;
    CChartRegionBase(const CChartRegionBase&) = delete;
    CChartRegionBase& operator=(const CChartRegionBase&) = delete;

    virtual ~CChartRegionBase();
    // Stores a new rectangle and marks it with DirtyBounds; an equal rectangle changes nothing.
    // Never invalidates: the caller lays out inside a paint.
    virtual void SetBounds(const RECT& bounds);
    // Invalidates Bounds, grown by the inclusive last column and row, without erasing.
    void Invalidate() override;
    // The base only brings itself up to date; overrides begin with the same test.
    virtual void Draw(CChartDrawInfo& info);
    // -1 means no limit; the result is non-zero when the class has limits.
    virtual BOOL GetWidthLimits(CChartDrawInfo& info, int& minimum, int& maximum);
    virtual BOOL GetHeightLimits(CChartDrawInfo& info, int& minimum, int& maximum);
    // Bit 31 alone tells of a change that needs no repaint by itself.
    void OnDataItemChanged(CDataItemBase* item, DWORD flags) override;
    // The item is going away: leave its listeners.
    void OnDataItemRemoved(CDataItemBase* item) override;
    virtual void Recalculate(CChartDrawInfo& info);

    // The control's cell that holds the window handle, shared by all its regions, so that a
    // region made before the window sees the handle once it exists.
    const HWND* WindowRef;
    // Right and bottom are the last column and row of the region.
    RECT Bounds;
    DWORD DirtyBits;
};
