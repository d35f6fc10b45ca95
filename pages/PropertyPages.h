#pragma once
// The layout and data property pages. Their classes are registered with the control; the pages
// themselves are built on the property list widgets, so until those exist a request to make
// one is refused rather than answered with an empty page.
#include <windows.h>

struct CLayoutPpg
{
    static HRESULT Create(IUnknown*, REFIID, void** out)
    {
        if (out) *out = nullptr;
        return E_NOTIMPL;
    }
};

struct CDataPpg
{
    static HRESULT Create(IUnknown*, REFIID, void** out)
    {
        if (out) *out = nullptr;
        return E_NOTIMPL;
    }
};
