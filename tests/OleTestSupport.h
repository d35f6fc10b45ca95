#pragma once
// A minimal OLE container on a real window for tests, and sinks that record what they hear. Test
// objects live on the test's stack: their counts are kept but they are never freed by Release.
#include <gtest/gtest.h>
#include <windows.h>
#include <ole2.h>
#include <ocidl.h>
#include <olectl.h>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>
#include "com/AutomationTypes.h"
#include "com/ComPtr.h"
#include "Linnograph.h"
#include "demo/PngWriter.h"

namespace qvxtest {

inline const wchar_t ControlWindowClass[] = L"Qvx_LinnographCtl";

// QueryInterface of a test object that serves IUnknown and one interface `I`.
template <class I>
HRESULT QueryOne(I* self, REFIID iid, void** out)
{
    if (!out) return E_POINTER;
    *out = IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, __uuidof(I)) ? self : nullptr;
    if (!*out) return E_NOINTERFACE;
    self->AddRef();
    return S_OK;
}

// OLE for the length of one test.
class COleScope
{
public:
    COleScope() { Result = OleInitialize(nullptr); }
    ~COleScope() { if (SUCCEEDED(Result)) OleUninitialize(); }
    HRESULT Result;
};

template <class I>
CComPtr<I> Query(IUnknown* from)
{
    CComPtr<I> result;
    if (from) from->QueryInterface(__uuidof(I), result.OutVoid());
    return result;
}

inline CComPtr<IQvxLinnographCtl4> CreateControl()
{
    CComPtr<IQvxLinnographCtl4> control;
    CoCreateInstance(CLSID_LinnographCtl, nullptr, CLSCTX_INPROC_SERVER, IID_IQvxLinnographCtl4, control.OutVoid());
    return control;
}

inline HRESULT InitNew(IUnknown* control)
{
    CComPtr<IPersistStreamInit> persist = Query<IPersistStreamInit>(control);
    return persist ? persist->InitNew() : E_NOINTERFACE;
}

// The top-level window that stands for the container's document.
class CContainerWindow
{
public:
    CContainerWindow()
    {
        WNDCLASSW windowClass{};
        windowClass.lpfnWndProc = DefWindowProcW;
        windowClass.hInstance = GetModuleHandleW(nullptr);
        windowClass.lpszClassName = L"QvxTestContainer";
        RegisterClassW(&windowClass);
        Window = CreateWindowExW(0, L"QvxTestContainer", L"Test container", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0,
                                 640, 480, nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
    }
    ~CContainerWindow() { if (Window) DestroyWindow(Window); }
    HWND Window = nullptr;
};

inline HWND FindControlWindow(HWND parent)
{
    return FindWindowExW(parent, nullptr, ControlWindowClass, nullptr);
}

class CTestSite : public IOleClientSite,
                  public IOleInPlaceSite,
                  public IOleInPlaceFrame,
                  public IOleControlSite,
                  public IDispatch
{
public:
    explicit CTestSite(HWND parent) : Parent(parent) {}

    // What the site answers.
    HWND Parent;
    RECT Position{10, 20, 110, 70};
    RECT Clip{0, 0, 640, 480};
    HRESULT CanActivate = S_OK;
    bool FollowPositionRequests = false;
    IOleInPlaceObject* Object = nullptr;       // for FollowPositionRequests
    std::map<DISPID, CVariant> Ambients;

    // What the site heard.
    ULONG Refs = 0;
    int InPlaceActivations = 0, InPlaceDeactivations = 0, UIActivations = 0, UIDeactivations = 0;
    int WindowContexts = 0, Saves = 0, FocusGained = 0, FocusLost = 0;
    std::vector<RECT> PositionRequests;
    std::vector<bool> ActiveObjects;   // SetActiveObject calls: true for a non-null object
    IOleInPlaceActiveObject* LastActiveObject = nullptr;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override
    {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IOleClientSite)) *out = static_cast<IOleClientSite*>(this);
        else if (IsEqualIID(iid, IID_IOleInPlaceSite) || IsEqualIID(iid, IID_IOleWindow)) *out = static_cast<IOleInPlaceSite*>(this);
        else if (IsEqualIID(iid, IID_IOleInPlaceFrame) || IsEqualIID(iid, IID_IOleInPlaceUIWindow)) *out = static_cast<IOleInPlaceFrame*>(this);
        else if (IsEqualIID(iid, IID_IOleControlSite)) *out = static_cast<IOleControlSite*>(this);
        else if (IsEqualIID(iid, IID_IDispatch)) *out = static_cast<IDispatch*>(this);
        else return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++Refs; }
    STDMETHODIMP_(ULONG) Release() override { return --Refs; }
    STDMETHODIMP SaveObject() override { ++Saves; return S_OK; }
    STDMETHODIMP GetMoniker(DWORD, DWORD, IMoniker** moniker) override { *moniker = nullptr; return E_NOTIMPL; }
    STDMETHODIMP GetContainer(IOleContainer** container) override { *container = nullptr; return E_NOINTERFACE; }
    STDMETHODIMP ShowObject() override { return S_OK; }
    STDMETHODIMP OnShowWindow(BOOL) override { return S_OK; }
    STDMETHODIMP RequestNewObjectLayout() override { return E_NOTIMPL; }
    STDMETHODIMP GetWindow(HWND* window) override { *window = Parent; return S_OK; }
    STDMETHODIMP ContextSensitiveHelp(BOOL) override { return E_NOTIMPL; }
    STDMETHODIMP CanInPlaceActivate() override { return CanActivate; }
    STDMETHODIMP OnInPlaceActivate() override { ++InPlaceActivations; return S_OK; }
    STDMETHODIMP OnUIActivate() override { ++UIActivations; return S_OK; }
    STDMETHODIMP GetWindowContext(IOleInPlaceFrame** frame, IOleInPlaceUIWindow** document, LPRECT position,
                                  LPRECT clip, LPOLEINPLACEFRAMEINFO info) override
    {
        ++WindowContexts;
        *frame = static_cast<IOleInPlaceFrame*>(this);
        AddRef();
        *document = nullptr;
        *position = Position;
        *clip = Clip;
        *info = OLEINPLACEFRAMEINFO{info->cb, FALSE, Parent, nullptr, 0};
        return S_OK;
    }
    STDMETHODIMP Scroll(SIZE) override { return E_NOTIMPL; }
    STDMETHODIMP OnUIDeactivate(BOOL) override { ++UIDeactivations; return S_OK; }
    STDMETHODIMP OnInPlaceDeactivate() override { ++InPlaceDeactivations; return S_OK; }
    STDMETHODIMP DiscardUndoState() override { return S_OK; }
    STDMETHODIMP DeactivateAndUndo() override { return S_OK; }
    STDMETHODIMP OnPosRectChange(LPCRECT position) override
    {
        PositionRequests.push_back(*position);
        if (FollowPositionRequests && Object) {
            Position = *position;
            Object->SetObjectRects(&Position, &Clip);
        }
        return S_OK;
    }
    STDMETHODIMP GetBorder(LPRECT) override { return E_NOTIMPL; }
    STDMETHODIMP RequestBorderSpace(LPCBORDERWIDTHS) override { return E_NOTIMPL; }
    STDMETHODIMP SetBorderSpace(LPCBORDERWIDTHS) override { return S_OK; }
    STDMETHODIMP SetActiveObject(IOleInPlaceActiveObject* object, LPCOLESTR) override
    {
        ActiveObjects.push_back(object != nullptr);
        LastActiveObject = object;
        return S_OK;
    }
    STDMETHODIMP InsertMenus(HMENU, LPOLEMENUGROUPWIDTHS) override { return E_NOTIMPL; }
    STDMETHODIMP SetMenu(HMENU, HOLEMENU, HWND) override { return S_OK; }
    STDMETHODIMP RemoveMenus(HMENU) override { return S_OK; }
    STDMETHODIMP SetStatusText(LPCOLESTR) override { return S_OK; }
    STDMETHODIMP EnableModeless(BOOL) override { return S_OK; }
    STDMETHODIMP TranslateAccelerator(LPMSG, WORD) override { return S_FALSE; }
    STDMETHODIMP OnControlInfoChanged() override { return S_OK; }
    STDMETHODIMP LockInPlaceActive(BOOL) override { return S_OK; }
    STDMETHODIMP GetExtendedControl(IDispatch** control) override { *control = nullptr; return E_NOTIMPL; }
    STDMETHODIMP TransformCoords(POINTL*, POINTF*, DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP TranslateAccelerator(MSG*, DWORD) override { return S_FALSE; }
    STDMETHODIMP OnFocus(BOOL gained) override { ++(gained ? FocusGained : FocusLost); return S_OK; }
    STDMETHODIMP ShowPropertyFrame() override { return E_NOTIMPL; }

    // The ambient properties, through IDispatch.
    STDMETHODIMP GetTypeInfoCount(UINT* count) override { *count = 0; return S_OK; }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo** info) override { *info = nullptr; return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT count, LCID, DISPID* ids) override
    {
        for (UINT i = 0; i < count; ++i) ids[i] = DISPID_UNKNOWN;
        return DISP_E_UNKNOWNNAME;
    }
    STDMETHODIMP Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS*, VARIANT* result, EXCEPINFO*, UINT*) override
    {
        auto found = Ambients.find(id);
        if (!(flags & DISPATCH_PROPERTYGET) || found == Ambients.end() || !result) return DISP_E_MEMBERNOTFOUND;
        return VariantCopy(result, &found->second);
    }
};

class CPropertySink : public IPropertyNotifySink
{
public:
    ULONG Refs = 0;
    HRESULT EditAnswer = S_OK;
    std::vector<DISPID> EditRequests;
    std::vector<DISPID> Changes;
    std::function<void(DISPID)> OnChange;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override { return QueryOne<IPropertyNotifySink>(this, iid, out); }
    STDMETHODIMP_(ULONG) AddRef() override { return ++Refs; }
    STDMETHODIMP_(ULONG) Release() override { return --Refs; }
    STDMETHODIMP OnChanged(DISPID id) override
    {
        Changes.push_back(id);
        if (OnChange) OnChange(id);
        return S_OK;
    }
    STDMETHODIMP OnRequestEdit(DISPID id) override { EditRequests.push_back(id); return EditAnswer; }
};

// Connects a sink to a point of `control` for the length of a scope.
class CConnection
{
public:
    CConnection(IUnknown* control, REFIID iid, IUnknown* sink)
    {
        CComPtr<IConnectionPointContainer> container = Query<IConnectionPointContainer>(control);
        if (container) container->FindConnectionPoint(iid, Point.Out());
        if (Point) Result = Point->Advise(sink, &Cookie);
    }
    ~CConnection() { if (Point && Cookie) Point->Unadvise(Cookie); }
    CComPtr<IConnectionPoint> Point;
    DWORD Cookie = 0;
    HRESULT Result = E_FAIL;
};

class CAdviseSink : public IAdviseSink
{
public:
    ULONG Refs = 0;
    int ViewChanges = 0, DataChanges = 0, Closes = 0, Saves = 0;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override { return QueryOne<IAdviseSink>(this, iid, out); }
    STDMETHODIMP_(ULONG) AddRef() override { return ++Refs; }
    STDMETHODIMP_(ULONG) Release() override { return --Refs; }
    STDMETHODIMP_(void) OnDataChange(FORMATETC*, STGMEDIUM*) override { ++DataChanges; }
    STDMETHODIMP_(void) OnViewChange(DWORD, LONG) override { ++ViewChanges; }
    STDMETHODIMP_(void) OnRename(IMoniker*) override {}
    STDMETHODIMP_(void) OnSave() override { ++Saves; }
    STDMETHODIMP_(void) OnClose() override { ++Closes; }
};

// Advises a data sink on `control` for the length of a scope, without data.
class CDataAdvise
{
public:
    CDataAdvise(IUnknown* control, IAdviseSink* sink) : Data(Query<IDataObject>(control))
    {
        FORMATETC format{0, nullptr, DVASPECT_CONTENT, -1, TYMED_NULL};
        if (Data) Result = Data->DAdvise(&format, ADVF_NODATA, sink, &Cookie);
    }
    ~CDataAdvise() { if (Data && Cookie) Data->DUnadvise(Cookie); }
    CComPtr<IDataObject> Data;
    DWORD Cookie = 0;
    HRESULT Result = E_FAIL;
};

// Draws the control's content into `context` within `bounds`.
inline HRESULT DrawInto(IUnknown* control, HDC context, const RECTL& bounds)
{
    CComPtr<IViewObject> view = Query<IViewObject>(control);
    if (!view) return E_NOINTERFACE;
    return view->Draw(DVASPECT_CONTENT, -1, nullptr, nullptr, nullptr, context, &bounds, nullptr, nullptr, 0);
}

// Records the control's content into an enhanced metafile of `width` by `height` and plays the
// picture back into a surface filled with `background` first; null when the control refused.
inline std::unique_ptr<CDibSurface> DrawPicture(IUnknown* control, int width, int height, COLORREF background)
{
    HDC recorder = CreateEnhMetaFileW(nullptr, nullptr, nullptr, nullptr);
    if (!recorder) return nullptr;
    const HRESULT drawn = DrawInto(control, recorder, RECTL{0, 0, width, height});
    HENHMETAFILE picture = CloseEnhMetaFile(recorder);
    if (FAILED(drawn) && picture) DeleteEnhMetaFile(picture);
    if (FAILED(drawn) || !picture) return nullptr;
    auto played = std::make_unique<CDibSurface>(width, height, background);
    RECT all{0, 0, width, height};
    PlayEnhMetaFile(played->Dc(), picture, &all);
    DeleteEnhMetaFile(picture);
    return played;
}

// A class factory that makes nothing: registered for a class in the process, it stands for a
// class that cannot be made.
class CRefusingFactory : public IClassFactory
{
public:
    HRESULT Answer = CLASS_E_CLASSNOTAVAILABLE;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override { return QueryOne<IClassFactory>(this, iid, out); }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP CreateInstance(IUnknown*, REFIID, void** out) override { *out = nullptr; return Answer; }
    STDMETHODIMP LockServer(BOOL) override { return S_OK; }
};

// Dispatches the thread's messages until `done` says so or `milliseconds` have gone by; gives
// what `done` said last.
inline bool PumpUntil(const std::function<bool()>& done, int milliseconds = 2000)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    for (;;) {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
        if (done()) return true;
        if (std::chrono::steady_clock::now() >= end) return false;
        MsgWaitForMultipleObjects(0, nullptr, FALSE, 5, QS_ALLINPUT);
    }
}

// Pumps until `window` has nothing left to paint.
inline bool PumpUntilPainted(HWND window)
{
    return PumpUntil([window] { return !GetUpdateRect(window, nullptr, FALSE); });
}

// What the screen shows of a window's client area, read back from the window's context.
inline std::unique_ptr<CDibSurface> CaptureWindow(HWND window)
{
    RECT client{};
    GetClientRect(window, &client);
    auto copy = std::make_unique<CDibSurface>(client.right, client.bottom);
    HDC context = GetDC(window);
    BitBlt(copy->Dc(), 0, 0, client.right, client.bottom, context, 0, 0, SRCCOPY);
    ReleaseDC(window, context);
    return copy;
}

} // namespace qvxtest
