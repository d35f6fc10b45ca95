#pragma once
// What the data items use of the chart that owns them, and nothing more: the window, the host
// root, the chart's channel property factory, the distance source, the trace gradation, the
// modified flag, the active-change notification and the single-selection query. The control
// implements it; items reach it through their task. Tests may implement it alone.
#include <windows.h>
#include <cstdint>
#include "Interfaces.h"

class CChartOwner
{
public:
    // The control's cell of the window handle; the cell lives as long as the chart, and holds
    // null before the window exists and after it has gone.
    virtual const HWND* GetWindowCell() const = 0;
    // The host root and the chart's channel property factory, borrowed; null without a host and
    // before the chart has its factory.
    virtual IQvxOrvid* GetOrvid() = 0;
    virtual IQvxPropertyFactory* GetChannelFactory() = 0;
    // Borrowed; null without a host, or when the host has none.
    virtual IQvxDistanceSource* GetDistanceSource() = 0;
    // The control's "TraceGradation": how far the traces of one channel grade their colour.
    virtual int32_t GetTraceGradation() = 0;
    // The layout changed: the container hears that the control needs saving.
    virtual void MarkModified() = 0;
    // The active channel or trace may have changed: the host hears of it.
    virtual void FireActiveChanged() = 0;
    // The selection that a chart of one selection shows, AddRef'd; E_UNEXPECTED when the chart
    // has no such choice.
    virtual HRESULT GetSingleSelection(IQvxDataSelection** selection) = 0;

    // The window, or null.
    HWND GetWindow() const
    {
        const HWND* cell = GetWindowCell();
        return cell ? *cell : nullptr;
    }

protected:
    ~CChartOwner() = default;
};
