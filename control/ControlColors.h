#pragma once
// The control's OLE colours and the colour-scheme lookup.
//
// The lookup goes out to the container first, so that a host with a dark scheme recolours the
// chart without any property being set; without an answer it falls back to a fixed table.
#include <windows.h>
#include <oaidl.h>
#include <olectl.h>
#include <cstdint>
#include "Linnograph.h"

class CControlColors
{
public:
    // An OLE colour that has not been set.
    static constexpr OLE_COLOR Unset = 0xFFFFFFFF;

    virtual ~CControlColors() = default;
    // The colour of scheme index `index` (a COLORREF), as the container answers it through its
    // ambient properties, else from the fallback table. Index 14 is not a colour: without an
    // answer it gives CLR_INVALID.
    virtual COLORREF GetColour(int index) = 0;

    OLE_COLOR BorderColor = Unset;
    OLE_COLOR BackColor = Unset;
    OLE_COLOR ForeColor = Unset;
    OLE_COLOR GridColor = Unset;
    // Only a loaded layout sets it.
    int32_t TraceGradation = 0;
    int32_t EventColorScheme = qvxPriorityColor;

    // The lookup against a container's ambient dispatch, which may be null.
    static COLORREF LookUpColour(IDispatch* ambient, int index);
    static COLORREF FallbackColour(int index);
};
