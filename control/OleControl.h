#pragma once
// The OLE control base: the window and the OLE interfaces of an always-windowed, in-place
// control, as containers expect them.
//
// The concrete control supplies:
// - OnDraw: one paint, with the reference and drawing contexts resolved and the bounds in
//   device units of the drawing context (window paints, IViewObject::Draw, pictures);
// - ProcessWindowMessage: its message chain; it calls this base's first, which takes the
//   control's own messages (paint, focus, mouse activation);
// - persistence (InitNew, Load, Save of both persistence interfaces) and its properties, which
//   use the stock-property sequence and the notification helpers below.
#include <windows.h>
#include <ole2.h>
#include <ocidl.h>
#include <olectl.h>
#include "com/AutomationTypes.h"
#include "com/ComObject.h"
#include "com/ConnectionPoints.h"

// The description of one paint.
struct DrawDescription
{
    UINT Size = sizeof(DrawDescription);
    DWORD Aspect = DVASPECT_CONTENT;
    LONG Index = -1;
    DVTARGETDEVICE* TargetDevice = nullptr;
    HDC ReferenceContext = nullptr;
    HDC DrawingContext = nullptr;
    const RECTL* Bounds = nullptr;
    const RECTL* WindowBounds = nullptr;
    BOOL Optimize = FALSE;
    BOOL Zoomed = FALSE;
    BOOL RectInHimetric = FALSE;
    SIZEL ZoomNumerator{};     // drawn size, HIMETRIC
    SIZEL ZoomDenominator{};   // natural size (the extent), HIMETRIC
};
static_assert(sizeof(DrawDescription) == 88);

// What a concrete control tells the base about itself.
struct COleControlClass
{
    const CLSID* ClassId;
    const IID* EventsIid;          // the default source interface
    const wchar_t* WindowClass;    // name of the window class
};

class COleControl : public CComRoot,
                    public IViewObjectEx,
                    public IOleInPlaceObjectWindowless,
                    public IOleInPlaceActiveObject,
                    public IOleControl,
                    public IOleObject,
                    public IPersistStreamInit,
                    public CConnectionPointContainerImpl,
                    public IQuickActivate,
                    public IPersistStorage,
                    public IDataObject
{
public:
    // What the view tells of itself, and the logical inch of HIMETRIC sizes.
    static constexpr DWORD ViewStatus = VIEWSTATUS_OPAQUE | VIEWSTATUS_SOLIDBKGND;
    static constexpr LONG HimetricPerInch = 2540;

    explicit COleControl(const COleControlClass& description);

    // Destroys the window while the whole object is still there.
    void FinalRelease();

    // The message entry point of the control's window: true when the message was consumed, with
    // its answer in `result`. This base consumes WM_PAINT only; focus and mouse activation are
    // acted on and passed along.
    virtual bool ProcessWindowMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result,
                                      DWORD mapId);
    // One paint. Nothing in it is reported to the caller but the result.
    virtual HRESULT OnDraw(const DrawDescription& draw) = 0;
    // After the in-place window has been made.
    virtual void OnWindowCreated() {}

    // The advanced draw: resolves the reference context, converts the bounds to device units
    // and sets MM_TEXT with zero origins (except on a metafile), then OnDraw.
    HRESULT DrawAdvanced(DrawDescription draw);

    // --- IViewObject, IViewObject2, IViewObjectEx ---
    STDMETHODIMP Draw(DWORD aspect, LONG index, void* aspectInfo, DVTARGETDEVICE* targetDevice, HDC referenceContext,
                      HDC drawingContext, LPCRECTL bounds, LPCRECTL windowBounds,
                      BOOL(STDMETHODCALLTYPE* keepGoing)(ULONG_PTR), ULONG_PTR keepGoingArgument) override;
    STDMETHODIMP GetColorSet(DWORD, LONG, void*, DVTARGETDEVICE*, HDC, LOGPALETTE** colours) override;
    STDMETHODIMP Freeze(DWORD, LONG, void*, DWORD* freeze) override;
    STDMETHODIMP Unfreeze(DWORD) override;
    STDMETHODIMP SetAdvise(DWORD aspects, DWORD flags, IAdviseSink* sink) override;
    STDMETHODIMP GetAdvise(DWORD* aspects, DWORD* flags, IAdviseSink** sink) override;
    STDMETHODIMP GetExtent(DWORD aspect, LONG index, DVTARGETDEVICE*, LPSIZEL size) override;
    STDMETHODIMP GetRect(DWORD aspect, LPRECTL rect) override;
    STDMETHODIMP GetViewStatus(DWORD* status) override;
    STDMETHODIMP QueryHitPoint(DWORD aspect, LPCRECT bounds, POINT location, LONG, DWORD* hit) override;
    STDMETHODIMP QueryHitRect(DWORD aspect, LPCRECT bounds, LPCRECT location, LONG, DWORD* hit) override;
    STDMETHODIMP GetNaturalExtent(DWORD aspect, LONG index, DVTARGETDEVICE*, HDC, DVEXTENTINFO* info,
                                  LPSIZEL size) override;

    // --- IOleWindow, IOleInPlaceObject, IOleInPlaceObjectWindowless ---
    STDMETHODIMP GetWindow(HWND* window) override;
    STDMETHODIMP ContextSensitiveHelp(BOOL) override;
    STDMETHODIMP InPlaceDeactivate() override;
    STDMETHODIMP UIDeactivate() override;
    STDMETHODIMP SetObjectRects(LPCRECT position, LPCRECT clip) override;
    STDMETHODIMP ReactivateAndUndo() override;
    STDMETHODIMP OnWindowMessage(UINT message, WPARAM wParam, LPARAM lParam, LRESULT* result) override;
    STDMETHODIMP GetDropTarget(IDropTarget** target) override;

    // --- IOleInPlaceActiveObject ---
    STDMETHODIMP TranslateAccelerator(LPMSG message) override;
    STDMETHODIMP OnFrameWindowActivate(BOOL) override;
    STDMETHODIMP OnDocWindowActivate(BOOL) override;
    STDMETHODIMP ResizeBorder(LPCRECT, IOleInPlaceUIWindow*, BOOL) override;
    STDMETHODIMP EnableModeless(BOOL) override;

    // --- IOleControl ---
    STDMETHODIMP GetControlInfo(CONTROLINFO* info) override;
    STDMETHODIMP OnMnemonic(MSG*) override;
    STDMETHODIMP OnAmbientPropertyChange(DISPID) override;
    STDMETHODIMP FreezeEvents(BOOL freeze) override;

    // --- IOleObject ---
    STDMETHODIMP SetClientSite(IOleClientSite* site) override;
    STDMETHODIMP GetClientSite(IOleClientSite** site) override;
    STDMETHODIMP SetHostNames(LPCOLESTR, LPCOLESTR) override;
    STDMETHODIMP Close(DWORD saveOption) override;
    STDMETHODIMP SetMoniker(DWORD, IMoniker*) override;
    STDMETHODIMP GetMoniker(DWORD, DWORD, IMoniker** moniker) override;
    STDMETHODIMP InitFromData(IDataObject*, BOOL, DWORD) override;
    STDMETHODIMP GetClipboardData(DWORD, IDataObject** data) override;
    STDMETHODIMP DoVerb(LONG verb, LPMSG, IOleClientSite*, LONG, HWND, LPCRECT) override;
    STDMETHODIMP EnumVerbs(IEnumOLEVERB** verbs) override;
    STDMETHODIMP Update() override;
    STDMETHODIMP IsUpToDate() override;
    STDMETHODIMP GetUserClassID(CLSID* clsid) override;
    STDMETHODIMP GetUserType(DWORD form, LPOLESTR* name) override;
    STDMETHODIMP SetExtent(DWORD aspect, SIZEL* size) override;
    STDMETHODIMP GetExtent(DWORD aspect, SIZEL* size) override;
    STDMETHODIMP Advise(IAdviseSink* sink, DWORD* connection) override;
    STDMETHODIMP Unadvise(DWORD connection) override;
    STDMETHODIMP EnumAdvise(IEnumSTATDATA** advises) override;
    STDMETHODIMP GetMiscStatus(DWORD aspect, DWORD* status) override;
    STDMETHODIMP SetColorScheme(LOGPALETTE*) override;

    // --- IPersist, and what IPersistStreamInit and IPersistStorage share ---
    STDMETHODIMP GetClassID(CLSID* clsid) override;
    STDMETHODIMP IsDirty() override;
    // --- IPersistStorage, beyond InitNew, Load and Save ---
    STDMETHODIMP SaveCompleted(IStorage*) override;
    STDMETHODIMP HandsOffStorage() override;

    // --- IQuickActivate ---
    STDMETHODIMP QuickActivate(QACONTAINER* container, QACONTROL* control) override;
    STDMETHODIMP SetContentExtent(LPSIZEL size) override;
    STDMETHODIMP GetContentExtent(LPSIZEL size) override;

    // --- IDataObject: the advises are kept here; the picture itself comes with printing ---
    STDMETHODIMP GetData(FORMATETC*, STGMEDIUM*) override;
    STDMETHODIMP GetDataHere(FORMATETC*, STGMEDIUM*) override;
    STDMETHODIMP QueryGetData(FORMATETC*) override;
    STDMETHODIMP GetCanonicalFormatEtc(FORMATETC*, FORMATETC* out) override;
    STDMETHODIMP SetData(FORMATETC*, STGMEDIUM*, BOOL) override;
    STDMETHODIMP EnumFormatEtc(DWORD, IEnumFORMATETC** formats) override;
    STDMETHODIMP DAdvise(FORMATETC* format, DWORD flags, IAdviseSink* sink, DWORD* connection) override;
    STDMETHODIMP DUnadvise(DWORD connection) override;
    STDMETHODIMP EnumDAdvise(IEnumSTATDATA** advises) override;

protected:
    std::span<CConnectionPoint* const> ConnectionPoints() override;

    // The value of ambient property `id` from the container, as a property get.
    HRESULT GetAmbientProperty(DISPID id, CVariant& value);
    bool EventsFrozen() const noexcept { return FreezeCount > 0; }

    // IPropertyNotifySink::OnRequestEdit on every sink: S_FALSE if one refuses, else S_OK.
    HRESULT RequestEdit(DISPID id);
    // IPropertyNotifySink::OnChanged on every sink.
    void FireOnChanged(DISPID id);
    // The view has changed: the window repaints when in place, else the view advise sink hears.
    void FireViewChange();
    void SendOnDataChange();

    // The sequence of a stock property: OnRequestEdit (a refusal leaves the value), requires-save
    // and `store()`, OnChanged, view change, data change. Frozen events skip the notifications.
    template <class Store>
    HRESULT PutStockProperty(DISPID id, Store&& store)
    {
        if (!EventsFrozen() && RequestEdit(id) == S_FALSE) return S_FALSE;
        RequiresSave = true;
        store();
        if (!EventsFrozen()) FireOnChanged(id);
        FireViewChange();
        SendOnDataChange();
        return S_OK;
    }

    const COleControlClass& Description;
    // The control's window, shared with whatever needs to reach it: null unless in place.
    HWND Window = nullptr;
    // The natural size, HIMETRIC.
    SIZEL Extent{5080, 5080};
    RECT PosRect{};
    bool RequiresSave = false;
    bool InPlaceActive = false;
    bool UIActive = false;
    LONG FreezeCount = 0;

    CComPtr<IOleClientSite> ClientSite;
    CComPtr<IDispatch> AmbientDispatch;
    CComPtr<IOleInPlaceSite> InPlaceSite;
    CComPtr<IOleInPlaceFrame> InPlaceFrame;
    CComPtr<IOleInPlaceUIWindow> InPlaceUIWindow;
    CComPtr<IAdviseSink> ViewAdviseSink;
    DWORD ViewAdviseAspects = 0;
    DWORD ViewAdviseFlags = 0;
    CComPtr<IOleAdviseHolder> OleAdviseHolder;
    CComPtr<IDataAdviseHolder> DataAdviseHolder;

    CConnectionPoint EventsPoint;
    CConnectionPoint PropertyNotifyPoint;

private:
    HRESULT MakeAdviseHolders();
    HRESULT ActivateInPlace(bool uiActivate);
    HRESULT CreateControlWindow();
    void DestroyControlWindow();
    HRESULT ActivateUI();
    void ApplyObjectRects(const RECT& position, const RECT& clip);
    void RequestPositionForExtent();
    bool PaintWindow(HWND window, HDC given);
    static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    CConnectionPoint* const Points[2];
};
