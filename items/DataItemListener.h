#pragma once
// What a data item tells those that listen to it: the regions of the chart. Items know their
// listeners only through this, so they never depend on the drawing code.
#include <windows.h>

class CDataItemBase;

class CDataItemListener
{
public:
    // Bit 31 alone tells of a change that needs no repaint by itself.
    virtual void OnDataItemChanged(CDataItemBase* item, DWORD flags) = 0;
    // The item is going away: the listener leaves its listeners.
    virtual void OnDataItemRemoved(CDataItemBase* item) = 0;
    // The listener's picture is out of date as a whole.
    virtual void Invalidate() = 0;

protected:
    ~CDataItemListener() = default;
};
