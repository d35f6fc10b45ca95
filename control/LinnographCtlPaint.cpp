#include "control/LinnographCtl.h"
#include <algorithm>
#include <iterator>
#include "interaction/DragManager.h"
#include "interaction/FlashingTraceManager.h"
#include "interaction/FragileManager.h"
#include "items/RTCTaskDataItem.h"
#include "regions/CursorsRegion.h"
#include "regions/GraphRegion.h"
#include "regions/ResizeRegion.h"

// The control's window: its messages, in the order that the regions and the control take them,
// and the paint path through the back buffer.

namespace {

// Control messages that a parent reflects back to the control, at this offset.
constexpr UINT ReflectedBase = OCM__BASE;
const UINT ReflectedMessages[] = {
    OCM_COMMAND,        OCM_CTLCOLORBTN,     OCM_CTLCOLOREDIT,    OCM_CTLCOLORDLG,  OCM_CTLCOLORLISTBOX,
    OCM_CTLCOLORMSGBOX, OCM_CTLCOLORSCROLLBAR, OCM_CTLCOLORSTATIC, OCM_DRAWITEM,     OCM_MEASUREITEM,
    OCM_DELETEITEM,     OCM_VKEYTOITEM,      OCM_CHARTOITEM,      OCM_COMPAREITEM,  OCM_HSCROLL,
    OCM_VSCROLL,        OCM_PARENTNOTIFY,    OCM_NOTIFY,
};

// The buffer of a nested paint, freed when that paint ends.
struct CNestedBuffer
{
    CDeviceContext Dc;
    CBitmapHandle Bitmap;
    HGDIOBJ OldBitmap = nullptr;
    ~CNestedBuffer() { FreeBuffer(Dc, Bitmap, OldBitmap); }
};

class CPaintNesting
{
public:
    explicit CPaintNesting(int& depth) noexcept : Depth(depth) { ++Depth; }
    ~CPaintNesting() { --Depth; }
    CPaintNesting(const CPaintNesting&) = delete;
    CPaintNesting& operator=(const CPaintNesting&) = delete;
    bool Nested() const noexcept { return Depth > 1; }

private:
    int& Depth;
};

bool IsReflected(UINT message)
{
    return std::find(std::begin(ReflectedMessages), std::end(ReflectedMessages), message) !=
           std::end(ReflectedMessages);
}

} // namespace

// --- window ---

bool CLinnographCtl::ProcessWindowMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result,
                                          DWORD mapId)
{
    // 1. The frame's own map: paint, focus and mouse activation.
    if (COleControl::ProcessWindowMessage(window, message, wParam, lParam, result, mapId)) return true;
    // 2, 3. The managers see everything before any region: a running mode may break or swallow it.
    if (FragileManager && FragileManager->ProcessWindowMessage(window, message, wParam, lParam, result, mapId))
        return true;
    if (DragManager && DragManager->ProcessWindowMessage(window, message, wParam, lParam, result, mapId))
        return true;
    // 4 to 6. The divider, the graph and the cursor values panel.
    if (ResizeRegion && ResizeRegion->ProcessWindowMessage(window, message, wParam, lParam, result, mapId))
        return true;
    if (GraphRegion && GraphRegion->ProcessWindowMessage(window, message, wParam, lParam, result, mapId))
        return true;
    if (CursorsRegion && CursorsRegion->ProcessWindowMessage(window, message, wParam, lParam, result, mapId))
        return true;
    switch (message) {
    case WM_ERASEBKGND:
        // The paint covers every pixel.
        result = 1;
        return true;
    case WM_SIZE: {
        ClientRect.right = LOWORD(lParam);
        ClientRect.bottom = HIWORD(lParam);
        CControlBorderHelper::CUpdate update;
        update.OuterRect = ClientRect;
        Border.Update(CControlBorderHelper::ResizeUpdate, update);
        result = 0;
        return true;
    }
    case WM_COMMAND:
        // TODO: the rest of the command table, and WM_CONTEXTMENU to the context menu.
        if (LOWORD(wParam) == CFlashingTraceManager::FlashCommand && FlashManager && FlashManager->OnFlashCommand()) {
            result = 0;
            return true;
        }
        break;
    case WM_THEMECHANGED:
        Border.OnThemeChanged();
        result = 0;
        return true;
    // TODO: WM_DRAWITEM and WM_MEASUREITEM of the owner-drawn menu.
    default:
        break;
    }
    // A key's command that no handler took, and a key that no region took, go on to the container.
    const bool fromKey = (message == WM_COMMAND && HIWORD(wParam) == 1) || (message == WM_SYSCOMMAND && HIWORD(lParam) == 0);
    if (fromKey) AcceleratorHandled = FALSE;
    if (fromKey || message == WM_KEYDOWN || message == WM_KEYUP) {
        result = 1;
        return true;
    }
    if (IsReflected(message)) {
        result = DefWindowProcW(window, message - ReflectedBase, wParam, lParam);
        return true;
    }
    return false;
}

HACCEL CLinnographCtl::CreateAccelerators()
{
    // The brackets are keys by their character, wherever the keyboard has them.
    const auto key = [](wchar_t character) { return static_cast<WORD>(LOBYTE(VkKeyScanW(character))); };
    constexpr BYTE Control = FVIRTKEY | FCONTROL;
    constexpr BYTE Alt = FVIRTKEY | FALT;
    ACCEL keys[] = {
        {FVIRTKEY, 'F', CFlashingTraceManager::FlashCommand},
        {FVIRTKEY, 'H', 32778},
        {FVIRTKEY, 'P', 32768},
        {FVIRTKEY, 'T', 32776},
        {FVIRTKEY, VK_BACK, 32773},
        {Control, VK_BACK, 32774},
        {FVIRTKEY, VK_DELETE, 32783},
        {FVIRTKEY, key(L'['), 32797},
        {FVIRTKEY, key(L']'), 32798},
        {Alt, VK_RETURN, 32775},
        {FVIRTKEY, 'Y', 32784},
        {FVIRTKEY, 'Z', 32793},
    };
    return CreateAcceleratorTableW(keys, static_cast<int>(std::size(keys)));
}

STDMETHODIMP CLinnographCtl::TranslateAccelerator(LPMSG message)
{
    if (!message) return E_POINTER;
    // The command runs within TranslateAcceleratorW; a handler that refuses it clears the flag.
    AcceleratorHandled = TRUE;
    if (Accelerators && ::TranslateAcceleratorW(message->hwnd, Accelerators, message) && AcceleratorHandled) return S_OK;
    if ((message->message == WM_KEYDOWN || message->message == WM_KEYUP) &&
        SendMessageW(message->hwnd, message->message, message->wParam, message->lParam) == 0)
        return S_OK;
    CComPtr<IOleControlSite> site;
    if (!ClientSite || FAILED(ClientSite.As(site))) return S_FALSE;
    const DWORD modifiers = (GetKeyState(VK_SHIFT) < 0 ? 1 : 0) | (GetKeyState(VK_CONTROL) < 0 ? 2 : 0) |
                            (GetKeyState(VK_MENU) < 0 ? 4 : 0);
    return site->TranslateAccelerator(message, modifiers) == S_OK ? S_OK : S_FALSE;
}

void CLinnographCtl::OnWindowCreated()
{
    if (!Enabled) EnableWindow(Window, FALSE);
    // The border takes the window, and with it the window's theme.
    CControlBorderHelper::CUpdate update;
    update.Window = Window;
    Border.Update(CControlBorderHelper::WindowPart, update);
}

// --- the paint path ---

HRESULT CLinnographCtl::OnDraw(const DrawDescription& draw)
{
    // The screen's layout, to come back to after a paint for another target.
    const RECT kept = Border.GetOuterRect();
    const RECT bounds{draw.Bounds->left, draw.Bounds->top, draw.Bounds->right, draw.Bounds->bottom};
    SetBounds(bounds);

    // Paper and metafiles are painted directly: a printer needs no double buffer, and a metafile
    // has to record the drawing itself. An old-style metafile counts as one too.
    HDC target = draw.DrawingContext;
    HDC reference = draw.ReferenceContext;
    const DWORD targetType = GetObjectType(target);
    const bool metafile = targetType == OBJ_ENHMETADC || targetType == OBJ_METADC;
    const bool direct = metafile || IsPrinting(reference);
    const CPaintNesting nesting(PaintDepth);
    CNestedBuffer nestedBuffer;
    HDC surface = target;
    if (!direct && !nesting.Nested()) {
        surface = PrepareBackBuffer(target, bounds);
    } else if (!direct) {
        const SIZE size{bounds.right - bounds.left, bounds.bottom - bounds.top};
        surface = MakeBuffer(target, size, nestedBuffer.Dc, nestedBuffer.Bitmap, nestedBuffer.OldBitmap)
                      ? nestedBuffer.Dc.Get()
                      : nullptr;
        if (surface) SetWindowOrgEx(surface, bounds.left, bounds.top, nullptr);
    }
    if (surface) {
        const int pointSize = GraphRegion ? GraphRegion->PointSize : 0;
        CChartDrawInfo info(surface, reference, *this, pointSize);
        info.RetainedPlot = surface == BackBufferDC.Get();
        CBaseChartCtl::Draw(info);
    }
    if (!direct && surface) {
        // The graph's layer goes to the target itself, when nothing was painted over it: the
        // back buffer brings the rest.
        CPlotLayer* layer = GraphRegion && GraphRegion->PlotLayer.Pending() ? &GraphRegion->PlotLayer : nullptr;
        {
            const CSavedDC saved(target);
            if (layer) {
                const RECT& plot = layer->Area();
                ExcludeClipRect(target, plot.left, plot.top, plot.right + 1, plot.bottom + 1);
            }
            BitBlt(target, bounds.left, bounds.top, bounds.right - bounds.left + 1, bounds.bottom - bounds.top + 1,
                   surface, bounds.left, bounds.top, SRCCOPY);
        }
        if (layer) layer->Flush(target);
    }

    const RECT& outer = Border.GetOuterRect();
    if (EqualRect(&kept, &outer) && !metafile) return S_OK;
    if (metafile && !IsWindow(Window)) return S_OK;
    // Back to the window's layout; the window paints itself again in its own size.
    SetBounds(kept);
    Invalidate();
    return S_OK;
}

HDC CLinnographCtl::PrepareBackBuffer(HDC target, const RECT& bounds)
{
    const SIZE size{bounds.right - bounds.left, bounds.bottom - bounds.top};
    if (size.cx != BackBufferSize.cx || size.cy != BackBufferSize.cy) DestroyBackBuffer();
    if (!BackBufferDC) {
        if (!MakeBuffer(target, size, BackBufferDC, BackBufferBitmap, BackBufferOldBitmap)) return nullptr;
        BackBufferSize = size;
    }
    // The regions paint in the target's coordinates.
    SetWindowOrgEx(BackBufferDC, bounds.left, bounds.top, nullptr);
    return BackBufferDC;
}

void CLinnographCtl::DestroyBackBuffer()
{
    FreeBuffer(BackBufferDC, BackBufferBitmap, BackBufferOldBitmap);
    BackBufferSize = SIZE{};
}
