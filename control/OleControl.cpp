#include "control/OleControl.h"
#include "control/GdiHandle.h"
#include <algorithm>
#include <new>
#include <optional>
#include <utility>

namespace {

constexpr DWORD WindowStyle = WS_CHILD | WS_VISIBLE | WS_CLIPSIBLINGS | WS_CLIPCHILDREN;
constexpr UINT WindowClassStyle = CS_VREDRAW | CS_HREDRAW | CS_DBLCLKS;

HINSTANCE ModuleInstance()
{
    HINSTANCE module = CComModule::Instance().Handle();
    return module ? module : GetModuleHandleW(nullptr);
}

// A paint of the window between BeginPaint and EndPaint.
class CWindowPaint
{
public:
    explicit CWindowPaint(HWND window) : Window(window) { Context = BeginPaint(window, &Paint); }
    CWindowPaint(const CWindowPaint&) = delete;
    CWindowPaint& operator=(const CWindowPaint&) = delete;
    ~CWindowPaint() { EndPaint(Window, &Paint); }
    HDC Get() const { return Context; }

private:
    HWND Window;
    PAINTSTRUCT Paint{};
    HDC Context = nullptr;
};

SIZE HimetricToPixels(const SIZEL& size)
{
    CWindowDC screen(nullptr);
    return {MulDiv(size.cx, GetDeviceCaps(screen, LOGPIXELSX), COleControl::HimetricPerInch),
            MulDiv(size.cy, GetDeviceCaps(screen, LOGPIXELSY), COleControl::HimetricPerInch)};
}

} // namespace

COleControl::COleControl(const COleControlClass& description)
    : Description(description),
      EventsPoint(*this, *description.EventsIid),
      PropertyNotifyPoint(*this, IID_IPropertyNotifySink),
      Points{&EventsPoint, &PropertyNotifyPoint}
{
}

void COleControl::FinalRelease()
{
    // At the end of life no container is told anything: the window just goes.
    DestroyControlWindow();
}

std::span<CConnectionPoint* const> COleControl::ConnectionPoints()
{
    return Points;
}

// --- window ---

bool COleControl::ProcessWindowMessage(HWND window, UINT message, WPARAM wParam, LPARAM, LRESULT& result, DWORD)
{
    switch (message) {
    case WM_PAINT:
        result = 0;
        return PaintWindow(window, reinterpret_cast<HDC>(wParam));
    case WM_SETFOCUS:
        if (InPlaceActive) {
            ActivateUI();
            CComPtr<IOleControlSite> site;
            if (SUCCEEDED(ClientSite.As(site))) site->OnFocus(TRUE);
        }
        return false;
    case WM_KILLFOCUS: {
        HWND gaining = reinterpret_cast<HWND>(wParam);
        bool inside = gaining && (gaining == window || IsChild(window, gaining));
        if (InPlaceActive && !inside) {
            CComPtr<IOleControlSite> site;
            if (SUCCEEDED(ClientSite.As(site))) site->OnFocus(FALSE);
        }
        return false;
    }
    case WM_MOUSEACTIVATE: {
        // A design-time container says so with UserMode false; then a click does not activate.
        CVariant userMode;
        bool designing = SUCCEEDED(GetAmbientProperty(DISPID_AMBIENT_USERMODE, userMode)) &&
                         V_VT(&userMode) == VT_BOOL && V_BOOL(&userMode) == VARIANT_FALSE;
        if (InPlaceActive && !designing) ActivateUI();
        return false;
    }
    default:
        return false;
    }
}

bool COleControl::PaintWindow(HWND window, HDC given)
{
    auto paint = [this, window](HDC context) {
        RECT client{};
        GetClientRect(window, &client);
        RECTL bounds{client.left, client.top, client.right, client.bottom};
        DrawDescription draw;
        draw.DrawingContext = context;
        draw.Bounds = &bounds;
        DrawAdvanced(draw);
    };
    if (given) {
        paint(given);
    } else {
        CWindowPaint windowPaint(window);
        paint(windowPaint.Get());
    }
    return true;
}

LRESULT CALLBACK COleControl::WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_NCCREATE) {
        auto* create = reinterpret_cast<CREATESTRUCTW*>(lParam);
        // A window of this class made by anyone but the control has no control behind it.
        auto* control = static_cast<COleControl*>(create->lpCreateParams);
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(control));
        if (control) control->Window = window;
    }
    auto* control = reinterpret_cast<COleControl*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    // A handler may call the container or fire, and the other side may let the control go.
    const CComPtr<IUnknown> keepAlive(control ? control->ControllingUnknown() : nullptr);
    LRESULT result = 0;
    bool consumed = false;
    if (control) {
        // Nothing may leave a window procedure by an exception.
        try {
            consumed = control->ProcessWindowMessage(window, message, wParam, lParam, result, 0);
        } catch (...) {
            consumed = false;
        }
        if (message == WM_NCDESTROY) {
            SetWindowLongPtrW(window, GWLP_USERDATA, 0);
            control->Window = nullptr;
        }
    }
    return consumed ? result : DefWindowProcW(window, message, wParam, lParam);
}

HRESULT COleControl::CreateControlWindow()
{
    HWND parent = nullptr;
    if (FAILED(InPlaceSite->GetWindow(&parent)) || !parent) return E_FAIL;
    RECT position{}, clip{};
    OLEINPLACEFRAMEINFO frameInfo{};
    frameInfo.cb = sizeof(frameInfo);
    HRESULT hr = InPlaceSite->GetWindowContext(InPlaceFrame.Out(), InPlaceUIWindow.Out(), &position, &clip, &frameInfo);
    if (FAILED(hr)) return hr;

    HINSTANCE instance = ModuleInstance();
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof(windowClass);
    if (!GetClassInfoExW(instance, Description.WindowClass, &windowClass)) {
        windowClass = WNDCLASSEXW{};
        windowClass.cbSize = sizeof(windowClass);
        windowClass.style = WindowClassStyle;
        windowClass.lpfnWndProc = &WindowProcedure;
        windowClass.hInstance = instance;
        windowClass.hCursor = LoadCursorW(nullptr, MAKEINTRESOURCEW(32512));   // the arrow
        windowClass.lpszClassName = Description.WindowClass;
        if (!RegisterClassExW(&windowClass)) return HRESULT_FROM_WIN32(GetLastError());
    }
    HWND window = CreateWindowExW(0, Description.WindowClass, L"", WindowStyle, position.left, position.top,
                                  position.right - position.left, position.bottom - position.top, parent, nullptr,
                                  instance, this);
    if (!window) return E_FAIL;
    ApplyObjectRects(position, clip);
    OnWindowCreated();
    return S_OK;
}

void COleControl::DestroyControlWindow()
{
    if (Window) DestroyWindow(Window);
    Window = nullptr;
}

void COleControl::ApplyObjectRects(const RECT& position, const RECT& clip)
{
    PosRect = position;
    if (!Window) return;
    // The part of the window outside the clip rectangle is cut away with a window region.
    RECT visible{};
    IntersectRect(&visible, &position, &clip);
    if (EqualRect(&visible, &position)) {
        SetWindowRgn(Window, nullptr, TRUE);
    } else {
        OffsetRect(&visible, -position.left, -position.top);
        HRGN region = CreateRectRgnIndirect(&visible);
        if (region && !SetWindowRgn(Window, region, TRUE)) DeleteObject(region);
    }
    SetWindowPos(Window, nullptr, position.left, position.top, position.right - position.left,
                 position.bottom - position.top, SWP_NOZORDER | SWP_NOACTIVATE);
}

// --- in-place object ---

STDMETHODIMP COleControl::GetWindow(HWND* window)
{
    if (!window) return E_POINTER;
    *window = Window;
    return Window ? S_OK : E_FAIL;
}

STDMETHODIMP COleControl::ContextSensitiveHelp(BOOL)
{
    return E_NOTIMPL;
}

STDMETHODIMP COleControl::InPlaceDeactivate()
{
    if (!InPlaceActive) return S_OK;
    UIDeactivate();
    InPlaceActive = false;
    DestroyControlWindow();
    // Released before the site hears, since the site may call back.
    CComPtr<IOleInPlaceSite> site = std::move(InPlaceSite);
    InPlaceFrame = nullptr;
    InPlaceUIWindow = nullptr;
    if (site) site->OnInPlaceDeactivate();
    return S_OK;
}

STDMETHODIMP COleControl::UIDeactivate()
{
    if (!UIActive) return S_OK;
    UIActive = false;
    if (InPlaceUIWindow) InPlaceUIWindow->SetActiveObject(nullptr, nullptr);
    if (InPlaceFrame) InPlaceFrame->SetActiveObject(nullptr, nullptr);
    if (InPlaceSite) InPlaceSite->OnUIDeactivate(FALSE);
    return S_OK;
}

STDMETHODIMP COleControl::SetObjectRects(LPCRECT position, LPCRECT clip)
{
    if (!position || !clip) return E_POINTER;
    ApplyObjectRects(*position, *clip);
    return S_OK;
}

STDMETHODIMP COleControl::ReactivateAndUndo()
{
    return E_NOTIMPL;
}

STDMETHODIMP COleControl::OnWindowMessage(UINT message, WPARAM wParam, LPARAM lParam, LRESULT* result)
{
    if (!result) return E_POINTER;
    *result = 0;
    // The control is always windowed: a forwarded message takes the way of the window's own,
    // and there is none to take without a window.
    if (!Window) return S_FALSE;
    try {
        return ProcessWindowMessage(Window, message, wParam, lParam, *result, 0) ? S_OK : S_FALSE;
    } catch (...) {
        return E_FAIL;
    }
}

STDMETHODIMP COleControl::GetDropTarget(IDropTarget** target)
{
    if (!target) return E_POINTER;
    *target = nullptr;
    return E_NOTIMPL;
}

// --- in-place active object ---

STDMETHODIMP COleControl::TranslateAccelerator(LPMSG)
{
    return S_FALSE;
}

STDMETHODIMP COleControl::OnFrameWindowActivate(BOOL)
{
    return S_OK;
}

STDMETHODIMP COleControl::OnDocWindowActivate(BOOL)
{
    return S_OK;
}

STDMETHODIMP COleControl::ResizeBorder(LPCRECT, IOleInPlaceUIWindow*, BOOL)
{
    return S_OK;
}

STDMETHODIMP COleControl::EnableModeless(BOOL)
{
    return S_OK;
}

// --- control ---

STDMETHODIMP COleControl::GetControlInfo(CONTROLINFO*)
{
    return E_NOTIMPL;
}

STDMETHODIMP COleControl::OnMnemonic(MSG*)
{
    return E_NOTIMPL;
}

STDMETHODIMP COleControl::OnAmbientPropertyChange(DISPID)
{
    return S_OK;
}

STDMETHODIMP COleControl::FreezeEvents(BOOL freeze)
{
    if (freeze) ++FreezeCount;
    else if (FreezeCount > 0) --FreezeCount;
    return S_OK;
}

// --- OLE object ---

STDMETHODIMP COleControl::SetClientSite(IOleClientSite* site)
{
    ClientSite = site;
    AmbientDispatch = nullptr;
    if (site) site->QueryInterface(IID_IDispatch, AmbientDispatch.OutVoid());
    return S_OK;
}

STDMETHODIMP COleControl::GetClientSite(IOleClientSite** site)
{
    if (!site) return E_POINTER;
    return ClientSite.CopyTo(site);
}

STDMETHODIMP COleControl::SetHostNames(LPCOLESTR, LPCOLESTR)
{
    // The names title an open-editing window, which an inside-out control never has.
    return S_OK;
}

STDMETHODIMP COleControl::Close(DWORD saveOption)
{
    InPlaceDeactivate();
    // No prompt is ever shown: a prompt to save is taken as a yes.
    if (RequiresSave && ClientSite && (saveOption == OLECLOSE_SAVEIFDIRTY || saveOption == OLECLOSE_PROMPTSAVE)) {
        ClientSite->SaveObject();
        if (OleAdviseHolder) OleAdviseHolder->SendOnSave();
    }
    if (OleAdviseHolder) OleAdviseHolder->SendOnClose();
    return S_OK;
}

STDMETHODIMP COleControl::SetMoniker(DWORD, IMoniker*)
{
    return E_NOTIMPL;
}

STDMETHODIMP COleControl::GetMoniker(DWORD, DWORD, IMoniker** moniker)
{
    if (moniker) *moniker = nullptr;
    return E_NOTIMPL;
}

STDMETHODIMP COleControl::InitFromData(IDataObject*, BOOL, DWORD)
{
    return E_NOTIMPL;
}

STDMETHODIMP COleControl::GetClipboardData(DWORD, IDataObject** data)
{
    if (data) *data = nullptr;
    return E_NOTIMPL;
}

STDMETHODIMP COleControl::DoVerb(LONG verb, LPMSG, IOleClientSite*, LONG, HWND, LPCRECT)
{
    switch (verb) {
    case OLEIVERB_PRIMARY:
    case OLEIVERB_UIACTIVATE:
        return ActivateInPlace(true);
    case OLEIVERB_SHOW:
    case OLEIVERB_INPLACEACTIVATE:
        return ActivateInPlace(false);
    case OLEIVERB_HIDE:
        UIDeactivate();
        if (Window) ShowWindow(Window, SW_HIDE);
        return S_OK;
    case OLEIVERB_DISCARDUNDOSTATE:
        return S_OK;
    default:
        // An unknown positive verb counts as the primary one; the control offers no other
        // negative verb (no open editing, no property frame of its own here).
        if (verb > 0) {
            HRESULT hr = ActivateInPlace(true);
            return FAILED(hr) ? hr : OLEOBJ_S_INVALIDVERB;
        }
        return E_NOTIMPL;
    }
}

HRESULT COleControl::ActivateInPlace(bool uiActivate)
{
    if (!ClientSite) return E_UNEXPECTED;
    if (!InPlaceActive) {
        CComPtr<IOleInPlaceSite> site;
        if (FAILED(ClientSite.As(site))) return E_NOINTERFACE;
        if (site->CanInPlaceActivate() != S_OK) return E_FAIL;
        HRESULT hr = site->OnInPlaceActivate();
        if (FAILED(hr)) return hr;
        InPlaceSite = site;
        InPlaceActive = true;
        hr = CreateControlWindow();
        if (FAILED(hr)) {
            InPlaceActive = false;
            DestroyControlWindow();
            InPlaceSite = nullptr;
            InPlaceFrame = nullptr;
            InPlaceUIWindow = nullptr;
            site->OnInPlaceDeactivate();
            return hr;
        }
    } else if (Window && !IsWindowVisible(Window)) {
        ShowWindow(Window, SW_SHOW);
    }
    return uiActivate ? ActivateUI() : S_OK;
}

HRESULT COleControl::ActivateUI()
{
    if (!InPlaceActive || !InPlaceSite) return E_UNEXPECTED;
    if (!UIActive) {
        UIActive = true;
        InPlaceSite->OnUIActivate();
        IOleInPlaceActiveObject* active = this;
        if (InPlaceFrame) InPlaceFrame->SetActiveObject(active, nullptr);
        if (InPlaceUIWindow) InPlaceUIWindow->SetActiveObject(active, nullptr);
        // The control puts up no tools: it takes no border space.
        if (InPlaceFrame) InPlaceFrame->SetBorderSpace(nullptr);
        if (InPlaceUIWindow) InPlaceUIWindow->SetBorderSpace(nullptr);
    }
    HWND focus = GetFocus();
    if (Window && focus != Window && !IsChild(Window, focus)) SetFocus(Window);
    return S_OK;
}

STDMETHODIMP COleControl::EnumVerbs(IEnumOLEVERB** verbs)
{
    if (!verbs) return E_POINTER;
    return OleRegEnumVerbs(*Description.ClassId, verbs);
}

STDMETHODIMP COleControl::Update()
{
    return S_OK;
}

STDMETHODIMP COleControl::IsUpToDate()
{
    return S_OK;
}

STDMETHODIMP COleControl::GetUserClassID(CLSID* clsid)
{
    if (!clsid) return E_POINTER;
    *clsid = *Description.ClassId;
    return S_OK;
}

STDMETHODIMP COleControl::GetUserType(DWORD form, LPOLESTR* name)
{
    if (!name) return E_POINTER;
    return OleRegGetUserType(*Description.ClassId, form, name);
}

STDMETHODIMP COleControl::SetExtent(DWORD aspect, SIZEL* size)
{
    if (!size) return E_POINTER;
    if (aspect != DVASPECT_CONTENT) return E_FAIL;
    if (size->cx < 0 || size->cy < 0) return E_INVALIDARG;
    if (size->cx == Extent.cx && size->cy == Extent.cy) return S_OK;
    Extent = *size;
    RequestPositionForExtent();
    // The picture is recomposed at the new size.
    SendOnDataChange();
    FireViewChange();
    return S_OK;
}

void COleControl::RequestPositionForExtent()
{
    if (!InPlaceActive || !InPlaceSite) return;
    SIZE pixels = HimetricToPixels(Extent);
    if (pixels.cx == PosRect.right - PosRect.left && pixels.cy == PosRect.bottom - PosRect.top) return;
    // The container decides, and answers with SetObjectRects.
    RECT wanted{PosRect.left, PosRect.top, PosRect.left + pixels.cx, PosRect.top + pixels.cy};
    InPlaceSite->OnPosRectChange(&wanted);
}

STDMETHODIMP COleControl::GetExtent(DWORD aspect, SIZEL* size)
{
    if (!size) return E_POINTER;
    if (aspect != DVASPECT_CONTENT) return E_FAIL;
    *size = Extent;
    return S_OK;
}

STDMETHODIMP COleControl::Advise(IAdviseSink* sink, DWORD* connection)
{
    if (connection) *connection = 0;
    if (!sink || !connection) return E_POINTER;
    HRESULT hr = MakeAdviseHolders();
    return FAILED(hr) ? hr : OleAdviseHolder->Advise(sink, connection);
}

STDMETHODIMP COleControl::Unadvise(DWORD connection)
{
    return OleAdviseHolder ? OleAdviseHolder->Unadvise(connection) : OLE_E_NOCONNECTION;
}

STDMETHODIMP COleControl::EnumAdvise(IEnumSTATDATA** advises)
{
    if (!advises) return E_POINTER;
    *advises = nullptr;
    HRESULT hr = MakeAdviseHolders();
    return FAILED(hr) ? hr : OleAdviseHolder->EnumAdvise(advises);
}

STDMETHODIMP COleControl::GetMiscStatus(DWORD aspect, DWORD* status)
{
    if (!status) return E_POINTER;
    return OleRegGetMiscStatus(*Description.ClassId, aspect, status);
}

STDMETHODIMP COleControl::SetColorScheme(LOGPALETTE*)
{
    return E_NOTIMPL;
}

// --- persistence ---

STDMETHODIMP COleControl::GetClassID(CLSID* clsid)
{
    return GetUserClassID(clsid);
}

STDMETHODIMP COleControl::IsDirty()
{
    return RequiresSave ? S_OK : S_FALSE;
}

STDMETHODIMP COleControl::SaveCompleted(IStorage*)
{
    return S_OK;
}

STDMETHODIMP COleControl::HandsOffStorage()
{
    return S_OK;
}

// --- quick activation ---

STDMETHODIMP COleControl::QuickActivate(QACONTAINER* container, QACONTROL* control)
{
    if (!container || !control) return E_POINTER;
    // The fields read here are those of every version of the structure.
    if (container->cbSize < offsetof(QACONTAINER, dwAmbientFlags) || control->cbSize < sizeof(QACONTROL))
        return E_INVALIDARG;
    SetClientSite(container->pClientSite);
    if (container->pAdviseSink) SetAdvise(DVASPECT_CONTENT, 0, container->pAdviseSink);
    DWORD notifyCookie = 0;
    DWORD eventCookie = 0;
    if (container->pPropertyNotifySink) PropertyNotifyPoint.Advise(container->pPropertyNotifySink, &notifyCookie);
    // A container's event sink may not speak the event interface; then it gets no events.
    if (container->pUnkEventSink) EventsPoint.Advise(container->pUnkEventSink, &eventCookie);

    *control = QACONTROL{};
    control->cbSize = sizeof(QACONTROL);
    GetMiscStatus(DVASPECT_CONTENT, &control->dwMiscStatus);
    control->dwViewStatus = ViewStatus;
    control->dwEventCookie = eventCookie;
    control->dwPropNotifyCookie = notifyCookie;
    control->dwPointerActivationPolicy = 0;
    return S_OK;
}

STDMETHODIMP COleControl::SetContentExtent(LPSIZEL size)
{
    return SetExtent(DVASPECT_CONTENT, size);
}

STDMETHODIMP COleControl::GetContentExtent(LPSIZEL size)
{
    return GetExtent(DVASPECT_CONTENT, size);
}

// --- notifications ---

HRESULT COleControl::MakeAdviseHolders()
{
    // Made at the first advise of either kind.
    HRESULT hr = S_OK;
    if (!OleAdviseHolder) hr = CreateOleAdviseHolder(OleAdviseHolder.Out());
    if (SUCCEEDED(hr) && !DataAdviseHolder) hr = CreateDataAdviseHolder(DataAdviseHolder.Out());
    return hr;
}

HRESULT COleControl::GetAmbientProperty(DISPID id, CVariant& value)
{
    if (!AmbientDispatch) return E_FAIL;
    DISPPARAMS none{};
    return AmbientDispatch->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, value.Out(),
                                   nullptr, nullptr);
}

HRESULT COleControl::RequestEdit(DISPID id)
{
    bool allowed = PropertyNotifyPoint.ForEachSink<IPropertyNotifySink>(
        [id](IPropertyNotifySink* sink) { return sink->OnRequestEdit(id) != S_FALSE; });
    return allowed ? S_OK : S_FALSE;
}

void COleControl::FireOnChanged(DISPID id)
{
    PropertyNotifyPoint.ForEachSink<IPropertyNotifySink>([id](IPropertyNotifySink* sink) {
        sink->OnChanged(id);
        return true;
    });
}

void COleControl::FireViewChange()
{
    // Always windowed: in place, the window itself repaints.
    if (InPlaceActive && Window) {
        InvalidateRect(Window, nullptr, TRUE);
        return;
    }
    if (!ViewAdviseSink) return;
    CComPtr<IAdviseSink> sink = ViewAdviseSink;
    if (ViewAdviseFlags & ADVF_ONLYONCE) ViewAdviseSink = nullptr;
    sink->OnViewChange(DVASPECT_CONTENT, -1);
}

void COleControl::SendOnDataChange()
{
    if (DataAdviseHolder) DataAdviseHolder->SendOnDataChange(this, 0, 0);
}
