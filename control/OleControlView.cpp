#include "control/OleControl.h"
#include "control/GdiHandle.h"
#include <cstddef>
#include <cstring>
#include <optional>

// The control's pictures outside its window: IViewObject drawing into any context (a metafile,
// a printer, a container's bitmap) and the data object.

namespace {

// Restores a context's state saved with SaveDC.
class CSavedContextState
{
public:
    explicit CSavedContextState(HDC context) : Context(context), Saved(SaveDC(context)) {}
    CSavedContextState(const CSavedContextState&) = delete;
    CSavedContextState& operator=(const CSavedContextState&) = delete;
    ~CSavedContextState() { if (Saved) RestoreDC(Context, Saved); }

private:
    HDC Context;
    int Saved;
};

bool IsMetafile(HDC context)
{
    DWORD type = GetObjectType(context);
    return type == OBJ_METADC || type == OBJ_ENHMETADC;
}

// A container's target device description is a block of tdSize bytes, and nothing of it may be
// read outside that block.
class CTargetDeviceBlock
{
public:
    explicit CTargetDeviceBlock(const DVTARGETDEVICE* device) noexcept
        : Bytes(reinterpret_cast<const BYTE*>(device)), Size(device->tdSize)
    {
    }
    bool HasHeader() const noexcept { return Size >= offsetof(DVTARGETDEVICE, tdData); }
    // The string at `offset`, null for offset 0; false when it does not end inside the block.
    bool Text(WORD offset, const wchar_t*& text) const noexcept
    {
        text = nullptr;
        if (offset == 0) return true;
        if (!Inside(offset, sizeof(wchar_t))) return false;
        for (DWORD at = offset; at + sizeof(wchar_t) <= Size; at += sizeof(wchar_t)) {
            wchar_t c;
            memcpy(&c, Bytes + at, sizeof c);
            if (c == L'\0') {
                text = reinterpret_cast<const wchar_t*>(Bytes + offset);
                return true;
            }
        }
        return false;
    }
    // The device mode at `offset`, null for offset 0; false when it, with its driver's extra
    // bytes, does not lie inside the block.
    bool Mode(WORD offset, const DEVMODEW*& mode) const noexcept
    {
        mode = nullptr;
        if (offset == 0) return true;
        constexpr DWORD sizes = offsetof(DEVMODEW, dmDriverExtra) + sizeof(WORD);
        if (!Inside(offset, sizes)) return false;
        WORD size = 0, extra = 0;
        memcpy(&size, Bytes + offset + offsetof(DEVMODEW, dmSize), sizeof size);
        memcpy(&extra, Bytes + offset + offsetof(DEVMODEW, dmDriverExtra), sizeof extra);
        if (size < sizes || !Inside(offset, DWORD(size) + extra)) return false;
        mode = reinterpret_cast<const DEVMODEW*>(Bytes + offset);
        return true;
    }

private:
    bool Inside(DWORD offset, DWORD length) const noexcept
    {
        return offset >= offsetof(DVTARGETDEVICE, tdData) && offset <= Size && length <= Size - offset;
    }
    const BYTE* Bytes;
    DWORD Size;
};

// A context for the device that a target device description names; null for a description
// that does not hold together, so that the drawing context serves as the reference.
HDC CreateTargetContext(const DVTARGETDEVICE* device)
{
    const CTargetDeviceBlock block(device);
    if (!block.HasHeader()) return nullptr;
    const wchar_t *driver, *name, *port;
    const DEVMODEW* mode;
    if (!block.Text(device->tdDriverNameOffset, driver) || !block.Text(device->tdDeviceNameOffset, name) ||
        !block.Text(device->tdPortNameOffset, port) || !block.Mode(device->tdExtDevmodeOffset, mode))
        return nullptr;
    return CreateDCW(driver, name, port, mode);
}

bool IsDrawableAspect(DWORD aspect)
{
    return aspect == DVASPECT_CONTENT || aspect == DVASPECT_OPAQUE || aspect == DVASPECT_TRANSPARENT;
}

} // namespace

// --- drawing ---

HRESULT COleControl::DrawAdvanced(DrawDescription draw)
{
    if (!draw.Bounds || !draw.DrawingContext) return E_INVALIDARG;
    HDC context = draw.DrawingContext;
    bool metafile = IsMetafile(context);
    CDeviceContext madeReference;
    if (!draw.ReferenceContext) {
        if (draw.TargetDevice) madeReference.Reset(CreateTargetContext(draw.TargetDevice));
        else if (metafile) madeReference.Reset(CreateDCW(L"DISPLAY", nullptr, nullptr, nullptr));
        draw.ReferenceContext = madeReference.Get() ? madeReference.Get() : context;
    }

    RECTL bounds = *draw.Bounds;
    std::optional<CSavedContextState> saved;
    if (!metafile) {
        POINT corners[2] = {{bounds.left, bounds.top}, {bounds.right, bounds.bottom}};
        LPtoDP(context, corners, 2);
        bounds = {std::min(corners[0].x, corners[1].x), std::min(corners[0].y, corners[1].y),
                  std::max(corners[0].x, corners[1].x), std::max(corners[0].y, corners[1].y)};
        saved.emplace(context);
        SetMapMode(context, MM_TEXT);
        SetWindowOrgEx(context, 0, 0, nullptr);
        SetViewportOrgEx(context, 0, 0, nullptr);
    }
    draw.Bounds = &bounds;

    // The drawn size against the natural one.
    HDC reference = draw.ReferenceContext;
    int dpiX = std::max(1, GetDeviceCaps(reference, LOGPIXELSX));
    int dpiY = std::max(1, GetDeviceCaps(reference, LOGPIXELSY));
    draw.ZoomNumerator = {MulDiv(bounds.right - bounds.left, HimetricPerInch, dpiX),
                          MulDiv(bounds.bottom - bounds.top, HimetricPerInch, dpiY)};
    draw.ZoomDenominator = Extent;
    draw.Zoomed = draw.ZoomNumerator.cx != Extent.cx || draw.ZoomNumerator.cy != Extent.cy;
    return OnDraw(draw);
}

STDMETHODIMP COleControl::Draw(DWORD aspect, LONG index, void* aspectInfo, DVTARGETDEVICE* targetDevice,
                               HDC referenceContext, HDC drawingContext, LPCRECTL bounds, LPCRECTL windowBounds,
                               BOOL(STDMETHODCALLTYPE*)(ULONG_PTR), ULONG_PTR)
{
    if (!bounds || !drawingContext) return E_INVALIDARG;
    if (!IsDrawableAspect(aspect)) return DV_E_DVASPECT;
    DrawDescription draw;
    draw.Aspect = aspect;
    draw.Index = index;
    draw.TargetDevice = targetDevice;
    draw.ReferenceContext = referenceContext;
    draw.DrawingContext = drawingContext;
    draw.Bounds = bounds;
    draw.WindowBounds = windowBounds;
    draw.Optimize = aspectInfo && (static_cast<const DVASPECTINFO*>(aspectInfo)->dwFlags & DVASPECTINFOFLAG_CANOPTIMIZE);
    try {
        return DrawAdvanced(draw);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

STDMETHODIMP COleControl::GetColorSet(DWORD, LONG, void*, DVTARGETDEVICE*, HDC, LOGPALETTE** colours)
{
    if (colours) *colours = nullptr;
    return E_NOTIMPL;
}

STDMETHODIMP COleControl::Freeze(DWORD, LONG, void*, DWORD* freeze)
{
    if (freeze) *freeze = 0;
    return E_NOTIMPL;
}

STDMETHODIMP COleControl::Unfreeze(DWORD)
{
    return E_NOTIMPL;
}

STDMETHODIMP COleControl::SetAdvise(DWORD aspects, DWORD flags, IAdviseSink* sink)
{
    ViewAdviseSink = sink;
    ViewAdviseAspects = aspects;
    ViewAdviseFlags = flags;
    if (sink && (flags & ADVF_PRIMEFIRST)) sink->OnViewChange(DVASPECT_CONTENT, -1);
    return S_OK;
}

STDMETHODIMP COleControl::GetAdvise(DWORD* aspects, DWORD* flags, IAdviseSink** sink)
{
    if (aspects) *aspects = ViewAdviseAspects;
    if (flags) *flags = ViewAdviseFlags;
    if (sink) ViewAdviseSink.CopyTo(sink);
    return S_OK;
}

STDMETHODIMP COleControl::GetExtent(DWORD aspect, LONG index, DVTARGETDEVICE*, LPSIZEL size)
{
    if (!size) return E_POINTER;
    if (aspect != DVASPECT_CONTENT || (index != -1 && index != 0)) return E_FAIL;
    *size = Extent;
    return S_OK;
}

STDMETHODIMP COleControl::GetRect(DWORD aspect, LPRECTL rect)
{
    if (!rect) return E_POINTER;
    if (aspect != DVASPECT_CONTENT && aspect != DVASPECT_OPAQUE) return DV_E_DVASPECT;
    *rect = {PosRect.left, PosRect.top, PosRect.right, PosRect.bottom};
    return S_OK;
}

STDMETHODIMP COleControl::GetViewStatus(DWORD* status)
{
    if (!status) return E_POINTER;
    *status = ViewStatus;
    return S_OK;
}

STDMETHODIMP COleControl::QueryHitPoint(DWORD aspect, LPCRECT bounds, POINT location, LONG, DWORD* hit)
{
    if (!bounds || !hit) return E_POINTER;
    if (aspect != DVASPECT_CONTENT) return E_FAIL;
    *hit = PtInRect(bounds, location) ? HITRESULT_HIT : HITRESULT_OUTSIDE;
    return S_OK;
}

STDMETHODIMP COleControl::QueryHitRect(DWORD aspect, LPCRECT bounds, LPCRECT location, LONG, DWORD* hit)
{
    if (!bounds || !location || !hit) return E_POINTER;
    if (aspect != DVASPECT_CONTENT) return E_FAIL;
    RECT overlap{};
    *hit = IntersectRect(&overlap, bounds, location) ? HITRESULT_HIT : HITRESULT_OUTSIDE;
    return S_OK;
}

STDMETHODIMP COleControl::GetNaturalExtent(DWORD aspect, LONG, DVTARGETDEVICE*, HDC, DVEXTENTINFO* info, LPSIZEL size)
{
    if (!info || !size) return E_POINTER;
    if (aspect != DVASPECT_CONTENT || info->dwExtentMode != DVEXTENT_CONTENT) return E_NOTIMPL;
    *size = Extent;
    return S_OK;
}

// --- data object ---

STDMETHODIMP COleControl::GetData(FORMATETC*, STGMEDIUM*)
{
    return E_NOTIMPL;
}

STDMETHODIMP COleControl::GetDataHere(FORMATETC*, STGMEDIUM*)
{
    return E_NOTIMPL;
}

STDMETHODIMP COleControl::QueryGetData(FORMATETC*)
{
    return E_NOTIMPL;
}

STDMETHODIMP COleControl::GetCanonicalFormatEtc(FORMATETC*, FORMATETC* out)
{
    if (out) out->ptd = nullptr;
    return E_NOTIMPL;
}

STDMETHODIMP COleControl::SetData(FORMATETC*, STGMEDIUM*, BOOL)
{
    return E_NOTIMPL;
}

STDMETHODIMP COleControl::EnumFormatEtc(DWORD, IEnumFORMATETC** formats)
{
    if (formats) *formats = nullptr;
    return E_NOTIMPL;
}

STDMETHODIMP COleControl::DAdvise(FORMATETC* format, DWORD flags, IAdviseSink* sink, DWORD* connection)
{
    if (connection) *connection = 0;
    if (!format || !sink || !connection) return E_POINTER;
    HRESULT hr = MakeAdviseHolders();
    return FAILED(hr) ? hr : DataAdviseHolder->Advise(this, format, flags, sink, connection);
}

STDMETHODIMP COleControl::DUnadvise(DWORD connection)
{
    return DataAdviseHolder ? DataAdviseHolder->Unadvise(connection) : OLE_E_NOCONNECTION;
}

STDMETHODIMP COleControl::EnumDAdvise(IEnumSTATDATA** advises)
{
    if (!advises) return E_POINTER;
    *advises = nullptr;
    HRESULT hr = MakeAdviseHolders();
    return FAILED(hr) ? hr : DataAdviseHolder->EnumAdvise(advises);
}
