#pragma once
// What the divider asks of the control, so that it knows nothing of the regions either side of it.

class CResizeRegion;

class CResizeCallback
{
public:
    // The range of x (y for a horizontal divider) within which the divider may be dragged.
    virtual void GetResizeRange(CResizeRegion& region, int& lowest, int& highest) = 0;
    // The divider was dropped at the region's DragPosition.
    virtual void OnResizeDone(CResizeRegion& region) = 0;

protected:
    ~CResizeCallback() = default;
};
