// The control's OLE surface, driven as a container drives it, and the module's exports.
#include "tests/OleTestSupport.h"
#include <shlwapi.h>
#include <cstring>
#include <initializer_list>
#include <utility>
#include <vector>

using namespace qvxtest;

namespace {

constexpr COLORREF White = 0xFFFFFF;
constexpr COLORREF Red = 0x0000FF;
constexpr COLORREF Untouched = 0x123456;

class OleControl : public testing::Test
{
protected:
    HRESULT Draw(DWORD aspect, HDC context, const RECTL* bounds, DVTARGETDEVICE* device = nullptr)
    {
        return Query<IViewObject>(Control)->Draw(aspect, -1, nullptr, device, nullptr, context, bounds, nullptr,
                                                 nullptr, 0);
    }

    COleScope Ole;
    CComPtr<IQvxLinnographCtl4> Control = CreateControl();
    CComPtr<IOleObject> Object = Query<IOleObject>(Control);
    CComPtr<IOleInPlaceObject> InPlace = Query<IOleInPlaceObject>(Control);
};

// A control on a site of a real window.
class InPlaceControl : public OleControl
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(Container.Window && Object);
        Site.Object = InPlace;
        ASSERT_EQ(S_OK, Object->SetClientSite(&Site));
        ASSERT_EQ(S_OK, InitNew(Control));
    }
    void TearDown() override
    {
        if (Object) {
            Object->Close(OLECLOSE_NOSAVE);
            Object->SetClientSite(nullptr);
        }
    }
    HRESULT Activate(LONG verb = OLEIVERB_INPLACEACTIVATE)
    {
        return Object->DoVerb(verb, nullptr, &Site, 0, Container.Window, &Site.Position);
    }
    // Where `window` is, in the container's coordinates.
    bool IsPlaced(HWND window, const RECT& expected) const
    {
        RECT placed{};
        GetWindowRect(window, &placed);
        MapWindowPoints(nullptr, Container.Window, reinterpret_cast<POINT*>(&placed), 2);
        return EqualRect(&placed, &expected) != FALSE;
    }

    CContainerWindow Container;
    CTestSite Site{Container.Window};
};

} // namespace

TEST_F(OleControl, AnswersEveryInterfaceWithOneIdentityAndAggregates)
{
    ASSERT_TRUE(Control);
    CComPtr<IUnknown> identity = Query<IUnknown>(Control);
    for (const IID* iid : {&IID_IQvxLinnographCtl, &IID_IOleWindow, &IID_IPersist, &IID_ICategorizeProperties}) {
        CComPtr<IUnknown> face;
        ASSERT_EQ(S_OK, Control->QueryInterface(*iid, face.OutVoid()));
        EXPECT_EQ(identity.Get(), Query<IUnknown>(face).Get());
    }
    CComPtr<IUnknown> none;
    EXPECT_EQ(E_NOINTERFACE, Control->QueryInterface(IID_IClassFactory, none.OutVoid()));
    // Aggregated (a test site stands for the outer object), it counts on the outer and answers for it.
    CTestSite outer(nullptr);
    IUnknown* outerIdentity = static_cast<IOleClientSite*>(&outer);
    CComPtr<IUnknown> inner;
    EXPECT_EQ(CLASS_E_NOAGGREGATION, CoCreateInstance(CLSID_LinnographCtl, outerIdentity, CLSCTX_INPROC_SERVER,
                                                      IID_IOleObject, inner.OutVoid()));
    ASSERT_EQ(S_OK, CoCreateInstance(CLSID_LinnographCtl, outerIdentity, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                     inner.OutVoid()));
    const ULONG before = outer.Refs;
    CComPtr<IOleObject> object = Query<IOleObject>(inner);
    EXPECT_EQ(before + 1, outer.Refs);
    EXPECT_EQ(outerIdentity, Query<IUnknown>(object).Get());
    object = nullptr;
    EXPECT_EQ(before, outer.Refs);
}

TEST_F(OleControl, ExtentStartsAt5080AndIsKeptInHimetricForContentOnly)
{
    SIZEL size{}, negative{-1, 10}, icon{100, 100}, wanted{1234, 4321};
    ASSERT_EQ(S_OK, Object->GetExtent(DVASPECT_CONTENT, &size));
    EXPECT_TRUE(size.cx == 5080 && size.cy == 5080);
    EXPECT_EQ(E_INVALIDARG, Object->SetExtent(DVASPECT_CONTENT, &negative));
    EXPECT_EQ(E_FAIL, Object->SetExtent(DVASPECT_ICON, &icon));
    EXPECT_EQ(E_POINTER, Object->SetExtent(DVASPECT_CONTENT, nullptr));
    ASSERT_EQ(S_OK, Object->SetExtent(DVASPECT_CONTENT, &wanted));
    CComPtr<IViewObject2> view = Query<IViewObject2>(Control);
    ASSERT_EQ(S_OK, view->GetExtent(DVASPECT_CONTENT, -1, nullptr, &size));
    EXPECT_TRUE(size.cx == 1234 && size.cy == 4321);
    EXPECT_EQ(E_FAIL, view->GetExtent(DVASPECT_THUMBNAIL, -1, nullptr, &size));
}

// The back colour fills the bounds (exactly: the chart frame's paint test); logical bounds are
// converted and the context is left as it was.
TEST_F(OleControl, DrawsItsBackgroundWithinTheBoundsWithNoWindowAndNoSite)
{
    ASSERT_EQ(S_OK, InitNew(Control));
    CDibSurface surface(60, 40, Untouched);
    const RECTL bounds{10, 5, 50, 35};
    ASSERT_EQ(S_OK, Control->put_BackColor(Red));
    ASSERT_EQ(S_OK, Draw(DVASPECT_CONTENT, surface.Dc(), &bounds));
    EXPECT_EQ(Red, surface.Pixel(20, 20));
    // Missing bounds and aspects that it does not draw are refused, and paint nothing.
    surface.Fill(Untouched);
    EXPECT_EQ(E_INVALIDARG, Draw(DVASPECT_CONTENT, surface.Dc(), nullptr));
    EXPECT_EQ(DV_E_DVASPECT, Draw(DVASPECT_ICON, surface.Dc(), &bounds));
    EXPECT_EQ(Untouched, surface.Pixel(20, 20));
    // Two logical units to a pixel, shifted by (10, 10) pixels.
    ASSERT_EQ(S_OK, Control->put_BackColor(White));
    SetMapMode(surface.Dc(), MM_ANISOTROPIC);
    SetWindowExtEx(surface.Dc(), 2, 2, nullptr);
    SetViewportExtEx(surface.Dc(), 1, 1, nullptr);
    SetViewportOrgEx(surface.Dc(), 10, 10, nullptr);
    const RECTL logical{0, 0, 40, 40};
    ASSERT_EQ(S_OK, Draw(DVASPECT_CONTENT, surface.Dc(), &logical));
    for (const auto& [x, colour] : {std::pair{10, White}, {29, White}, {30, Untouched}, {9, Untouched}})
        EXPECT_EQ(colour, surface.Pixel(x, x)) << x;
    POINT origin{};
    GetViewportOrgEx(surface.Dc(), &origin);
    EXPECT_TRUE(origin.x == 10 && GetMapMode(surface.Dc()) == MM_ANISOTROPIC);
}

// A target device is read only within its tdSize bytes: each block ends readable memory, so that a
// read past it faults; one that does not hold together leaves the drawing context as the reference.
TEST_F(OleControl, DrawReadsATargetDeviceOnlyWithinItsSize)
{
    const auto block = [](DWORD size, WORD driver, std::initializer_list<wchar_t> text) {
        std::vector<BYTE> bytes(12);
        memcpy(bytes.data(), &size, sizeof size);
        memcpy(bytes.data() + 4, &driver, sizeof driver);
        for (wchar_t c : text) bytes.insert(bytes.end(), {BYTE(c), BYTE(c >> 8)});
        bytes.resize(size);
        return bytes;
    };
    const std::pair<const char*, std::vector<BYTE>> rows[] = {
        {"a whole description", block(28, 12, {'D', 'I', 'S', 'P', 'L', 'A', 'Y', 0})},
        {"a header cut short", block(8, 0, {})},
        {"a name without its end", block(20, 12, {'D', 'I', 'S', 'P'})},
    };
    ASSERT_EQ(S_OK, InitNew(Control));
    SYSTEM_INFO system{};
    GetSystemInfo(&system);
    const SIZE_T page = system.dwPageSize;
    for (const auto& [name, bytes] : rows) {
        SCOPED_TRACE(name);
        auto* memory = static_cast<BYTE*>(VirtualAlloc(nullptr, 2 * page, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
        DWORD old = 0;
        ASSERT_TRUE(memory && VirtualProtect(memory + page, page, PAGE_NOACCESS, &old));
        BYTE* start = memory + page - bytes.size();
        memcpy(start, bytes.data(), bytes.size());
        CDibSurface surface(20, 20, Untouched);
        const RECTL bounds{0, 0, 20, 20};
        EXPECT_EQ(S_OK, Draw(DVASPECT_CONTENT, surface.Dc(), &bounds, reinterpret_cast<DVTARGETDEVICE*>(start)));
        EXPECT_EQ(White, surface.Pixel(10, 10));
        VirtualFree(memory, 0, MEM_RELEASE);
    }
}

// A view sink hears of changes until it leaves, a data sink's cookie ends with it; frozen events
// (which nest) skip the property sinks, neither asking nor telling them.
TEST_F(OleControl, SinksHearOfChangesUntilTheyLeaveAndNotWhileEventsAreFrozen)
{
    CAdviseSink view;
    CComPtr<IViewObject> viewObject = Query<IViewObject>(Control);
    ASSERT_EQ(S_OK, viewObject->SetAdvise(DVASPECT_CONTENT, 0, &view));
    Control->put_ForeColor(Red);
    Control->put_Appearance(1);
    EXPECT_EQ(1, view.ViewChanges);
    ASSERT_EQ(S_OK, viewObject->SetAdvise(DVASPECT_CONTENT, 0, nullptr));
    Control->put_ForeColor(White);
    EXPECT_TRUE(view.ViewChanges == 1 && view.Refs == 0);
    DWORD connection = CDataAdvise(Control, &view).Cookie;
    EXPECT_EQ(OLE_E_NOCONNECTION, Query<IDataObject>(Control)->DUnadvise(connection));
    CPropertySink sink;
    CConnection connected(Control, IID_IPropertyNotifySink, &sink);
    ASSERT_EQ(S_OK, connected.Result);
    CComPtr<IOleControl> control = Query<IOleControl>(Control);
    ASSERT_EQ(S_OK, control->FreezeEvents(TRUE));
    ASSERT_EQ(S_OK, control->FreezeEvents(TRUE));
    sink.EditAnswer = S_FALSE;   // not asked while frozen
    ASSERT_EQ(S_OK, Control->put_BackColor(Red));
    ASSERT_EQ(S_OK, control->FreezeEvents(FALSE));
    ASSERT_EQ(S_OK, Control->put_BackColor(White));
    EXPECT_TRUE(sink.EditRequests.empty() && sink.Changes.empty());
    OLE_COLOR colour = 0;
    ASSERT_EQ(S_OK, Control->get_BackColor(&colour));
    EXPECT_EQ(White, colour);
    ASSERT_EQ(S_OK, control->FreezeEvents(FALSE));
    EXPECT_EQ(S_FALSE, Control->put_BackColor(Red));
    EXPECT_EQ(std::vector<DISPID>{DISPID_BACKCOLOR}, sink.EditRequests);
}

// Either InitNew counts as the one initialisation and leaves the control to be saved.
TEST_F(OleControl, InitNewHappensOnceThroughEitherPersistence)
{
    CComPtr<IPersistStreamInit> stream = Query<IPersistStreamInit>(Control);
    CComPtr<IPersistStorage> storage = Query<IPersistStorage>(Control);
    CComPtr<IStorage> file;
    StgCreateDocfile(nullptr, STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE | STGM_DELETEONRELEASE, 0,
                     file.Out());
    ASSERT_TRUE(file);
    EXPECT_EQ(S_FALSE, stream->IsDirty());
    EXPECT_EQ(E_POINTER, storage->InitNew(nullptr));
    ASSERT_EQ(S_OK, storage->InitNew(file));
    EXPECT_EQ(S_OK, stream->IsDirty());
    EXPECT_EQ(E_UNEXPECTED, stream->InitNew());
    EXPECT_EQ(CO_E_ALREADYINITIALIZED, storage->InitNew(file));
}

TEST_F(OleControl, QuickActivateTakesTheSiteAndThePropertySinkAndAnswersItsStatus)
{
    CTestSite site(nullptr);
    CPropertySink notify;
    QACONTAINER given{sizeof(given), &site, nullptr, &notify};
    QACONTROL answer{sizeof(answer)}, small{8};
    CComPtr<IQuickActivate> quick = Query<IQuickActivate>(Control);
    EXPECT_EQ(E_INVALIDARG, quick->QuickActivate(&given, &small));
    ASSERT_EQ(S_OK, quick->QuickActivate(&given, &answer));
    EXPECT_NE(0u, answer.dwMiscStatus & OLEMISC_SETCLIENTSITEFIRST);
    EXPECT_EQ(DWORD(VIEWSTATUS_OPAQUE | VIEWSTATUS_SOLIDBKGND), answer.dwViewStatus);
    CComPtr<IOleClientSite> kept;
    EXPECT_TRUE(Object->GetClientSite(kept.Out()) == S_OK && kept.Get() == &site);
    ASSERT_EQ(S_OK, Control->put_GridColor(Red));
    EXPECT_EQ(std::vector<DISPID>{16}, notify.Changes);
    CComPtr<IConnectionPoint> point;
    Query<IConnectionPointContainer>(Control)->FindConnectionPoint(IID_IPropertyNotifySink, point.Out());
    EXPECT_EQ(S_OK, point->Unadvise(answer.dwPropNotifyCookie));
    Object->SetClientSite(nullptr);
}

// One child window where the site says; verbs by their contract; UI activation and focus told to the
// site and the frame; closing deactivates, saves when asked and tells the advise sinks.
TEST_F(InPlaceControl, ActivationVerbsUIActivationAndClose)
{
    CAdviseSink sink;
    DWORD connection = 0;
    ASSERT_EQ(S_OK, Object->Advise(&sink, &connection));
    EXPECT_EQ(E_NOTIMPL, Activate(OLEIVERB_OPEN));
    ASSERT_EQ(S_OK, Activate());
    EXPECT_TRUE(Site.InPlaceActivations == 1 && Site.WindowContexts == 1 && Site.UIActivations == 0);
    HWND window = FindControlWindow(Container.Window), reported = nullptr;
    ASSERT_TRUE(window);
    ASSERT_EQ(S_OK, Query<IOleWindow>(Control)->GetWindow(&reported));
    EXPECT_TRUE(window == reported && Container.Window == GetParent(window));
    EXPECT_EQ(DWORD(WS_CHILD | WS_VISIBLE | WS_CLIPSIBLINGS | WS_CLIPCHILDREN),
              DWORD(GetWindowLongPtrW(window, GWL_STYLE)));
    EXPECT_EQ(DWORD(CS_VREDRAW | CS_HREDRAW | CS_DBLCLKS), DWORD(GetClassLongPtrW(window, GCL_STYLE)));
    EXPECT_TRUE(IsPlaced(window, Site.Position));
    RECTL rect{};
    ASSERT_EQ(S_OK, Query<IViewObjectEx>(Control)->GetRect(DVASPECT_CONTENT, &rect));
    EXPECT_TRUE(Site.Position.left == rect.left && Site.Position.bottom == rect.bottom);
    ASSERT_EQ(S_OK, Activate(OLEIVERB_HIDE));
    EXPECT_FALSE(IsWindowVisible(window));
    // Activating again makes no second window.
    ASSERT_EQ(S_OK, Activate(OLEIVERB_SHOW));
    EXPECT_TRUE(IsWindowVisible(window) && Site.InPlaceActivations == 1);
    EXPECT_EQ(OLEOBJ_S_INVALIDVERB, Activate(7));   // an unknown verb UI-activates
    EXPECT_EQ(1, Site.UIActivations);
    ASSERT_EQ(std::vector<bool>{true}, Site.ActiveObjects);
    EXPECT_TRUE(SameObject(Site.LastActiveObject, Control));
    EXPECT_TRUE(window == GetFocus() && Site.FocusGained == 1);
    SetFocus(Container.Window);
    EXPECT_EQ(1, Site.FocusLost);
    ASSERT_EQ(S_OK, InPlace->UIDeactivate());
    EXPECT_EQ(1, Site.UIDeactivations);
    EXPECT_EQ((std::vector<bool>{true, false}), Site.ActiveObjects);
    ASSERT_EQ(S_OK, Object->Close(OLECLOSE_SAVEIFDIRTY));
    EXPECT_FALSE(IsWindow(window));
    EXPECT_TRUE(Site.InPlaceDeactivations == 1 && Site.Saves == 1 && sink.Saves == 1 && sink.Closes == 1);
    ASSERT_EQ(S_OK, Object->Close(OLECLOSE_NOSAVE));
    EXPECT_TRUE(Site.Saves == 1 && sink.Closes == 2);
    ASSERT_EQ(S_OK, Object->Unadvise(connection));
    EXPECT_EQ(0u, sink.Refs);
    ASSERT_EQ(S_OK, Activate());
    ASSERT_EQ(S_OK, InPlace->InPlaceDeactivate());
    EXPECT_EQ(S_OK, InPlace->InPlaceDeactivate());
    EXPECT_EQ(2, Site.InPlaceDeactivations);
    // A site that refuses gets no window; without a site there is no activation.
    Site.CanActivate = S_FALSE;
    EXPECT_EQ(E_FAIL, Activate());
    EXPECT_FALSE(FindControlWindow(Container.Window));
    ASSERT_EQ(S_OK, Object->SetClientSite(nullptr));
    EXPECT_EQ(E_UNEXPECTED, Activate());
}

// The object rectangles move and clip the window; a new extent asks the site for the position,
// once. The window paints, and forwarded messages take, the draw path; Enabled follows the window.
TEST_F(InPlaceControl, ObjectRectsAndExtentPlaceTheWindowThatPaintsThroughTheDrawPath)
{
    ASSERT_EQ(S_OK, Control->put_BackColor(Red));
    CComPtr<IOleInPlaceObjectWindowless> windowless = Query<IOleInPlaceObjectWindowless>(Control);
    LRESULT result = 7;
    EXPECT_EQ(S_FALSE, windowless->OnWindowMessage(WM_PAINT, 0, 0, &result)) << "no window yet";
    Site.FollowPositionRequests = true;
    ASSERT_EQ(S_OK, Activate());
    HWND window = FindControlWindow(Container.Window);
    CDibSurface surface(100, 50, Untouched);
    SendMessageW(window, WM_PAINT, reinterpret_cast<WPARAM>(surface.Dc()), 0);
    EXPECT_TRUE(Red == surface.Pixel(0, 0) && Red == surface.Pixel(99, 49));
    surface.Fill(Untouched);
    EXPECT_EQ(S_OK, windowless->OnWindowMessage(WM_PAINT, reinterpret_cast<WPARAM>(surface.Dc()), 0, &result));
    EXPECT_TRUE(result == 0 && Red == surface.Pixel(10, 10));
    EXPECT_EQ(S_FALSE, windowless->OnWindowMessage(WM_USER + 5, 0, 0, &result));
    EXPECT_EQ(E_POINTER, windowless->OnWindowMessage(WM_PAINT, 0, 0, nullptr));
    for (const auto& [given, enabled] : {std::pair{VARIANT_FALSE, false}, {VARIANT_TRUE, true}, {1, false}}) {
        ASSERT_EQ(S_OK, Control->put_Enabled(VARIANT_BOOL(given)));
        EXPECT_EQ(enabled, IsWindowEnabled(window) != FALSE) << given;
    }
    RECT moved{30, 40, 230, 140}, clip{0, 0, 130, 640}, visible{}, expected{0, 0, 100, 100};
    ASSERT_EQ(S_OK, InPlace->SetObjectRects(&moved, &clip));
    EXPECT_TRUE(IsPlaced(window, moved));
    ASSERT_EQ(SIMPLEREGION, GetWindowRgnBox(window, &visible));
    EXPECT_TRUE(EqualRect(&expected, &visible));
    EXPECT_EQ(E_POINTER, InPlace->SetObjectRects(nullptr, &clip));
    HDC screen = GetDC(nullptr);
    const int dpiX = GetDeviceCaps(screen, LOGPIXELSX), dpiY = GetDeviceCaps(screen, LOGPIXELSY);
    ReleaseDC(nullptr, screen);
    // Two inches by one, twice, then a hundredth of a millimetre more: the same pixels.
    SIZEL extent{5080, 2540}, nearly{5081, 2540};
    for (SIZEL* size : {&extent, &extent, &nearly}) ASSERT_EQ(S_OK, Object->SetExtent(DVASPECT_CONTENT, size));
    ASSERT_EQ(1u, Site.PositionRequests.size());
    RECT wanted{30, 40, 30 + 2 * dpiX, 40 + dpiY}, client{};
    EXPECT_TRUE(EqualRect(&wanted, &Site.PositionRequests[0]));
    GetClientRect(window, &client);
    EXPECT_EQ(2 * dpiX, client.right);
}

// The platform's own container calls InitNew before SetClientSite, then activates.
TEST_F(InPlaceControl, HostedByTheSystemsControlContainer)
{
    HMODULE atl = LoadLibraryW(L"atl.dll");
    auto init = atl ? reinterpret_cast<BOOL(WINAPI*)()>(GetProcAddress(atl, "AtlAxWinInit")) : nullptr;
    ASSERT_TRUE(init && init());
    HWND host = CreateWindowExW(0, L"AtlAxWin", L"QvxLinnograph.LinnographCtl", WS_CHILD | WS_VISIBLE, 0, 0, 200,
                                100, Container.Window, nullptr, GetModuleHandleW(nullptr), nullptr);
    HWND window = FindControlWindow(host);
    ASSERT_TRUE(host && window);
    RECT client{};
    GetClientRect(window, &client);
    EXPECT_TRUE(client.right == 200 && client.bottom == 100);
    DestroyWindow(host);
    EXPECT_FALSE(IsWindow(window));
}

namespace {

class Module : public testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(Dll && CanUnloadNow && GetClassObject); }
    CComPtr<IClassFactory> Factory()
    {
        CComPtr<IClassFactory> factory;
        EXPECT_EQ(S_OK, GetClassObject(CLSID_LinnographCtl, IID_IClassFactory, factory.OutVoid()));
        return factory;
    }

    COleScope Ole;
    // The module beside the test program, which the application's folder gives first.
    HMODULE Dll = LoadLibraryW(L"Linnograph.dll");
    HRESULT(STDAPICALLTYPE* CanUnloadNow)() =
        reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(GetProcAddress(Dll, "DllCanUnloadNow"));
    HRESULT(STDAPICALLTYPE* GetClassObject)(REFCLSID, REFIID, void**) =
        reinterpret_cast<HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**)>(GetProcAddress(Dll, "DllGetClassObject"));
};

} // namespace

TEST_F(Module, FactoriesObjectsLocksAndEnumeratorsKeepTheModuleLoaded)
{
    EXPECT_EQ(S_OK, CanUnloadNow());
    CComPtr<IClassFactory> factory = Factory();
    EXPECT_EQ(S_FALSE, CanUnloadNow());
    CComPtr<IConnectionPointContainer> control;
    ASSERT_EQ(S_OK, factory->CreateInstance(nullptr, IID_IConnectionPointContainer, control.OutVoid()));
    ASSERT_EQ(S_OK, factory->LockServer(TRUE));
    factory = nullptr;
    CComPtr<IEnumConnectionPoints> points;
    ASSERT_EQ(S_OK, control->EnumConnectionPoints(points.Out()));
    control = nullptr;
    EXPECT_EQ(S_FALSE, CanUnloadNow());
    points = nullptr;
    EXPECT_EQ(S_FALSE, CanUnloadNow()) << "still locked";
    ASSERT_EQ(S_OK, Factory()->LockServer(FALSE));
    EXPECT_EQ(S_OK, CanUnloadNow());
}

// Version 1.0 on Windows, the type library embedded with its id and the control, and the control
// modes' texts in the string table.
TEST_F(Module, DescribesItselfByVersionTypeLibraryAndStringTable)
{
    auto getVersion = reinterpret_cast<HRESULT(STDAPICALLTYPE*)(DLLVERSIONINFO*)>(GetProcAddress(Dll, "DllGetVersion"));
    ASSERT_TRUE(getVersion);
    DLLVERSIONINFO info{sizeof(info)};
    ASSERT_EQ(S_OK, getVersion(&info));
    EXPECT_TRUE(info.dwMajorVersion == 1 && info.dwMinorVersion == 0 && info.dwPlatformID == DLLVER_PLATFORM_WINDOWS);
    EXPECT_EQ(E_POINTER, getVersion(nullptr));
    CComPtr<ITypeLib> library;
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(Dll, path, MAX_PATH);
    ASSERT_EQ(S_OK, LoadTypeLibEx(path, REGKIND_NONE, library.Out()));
    TLIBATTR* attributes = nullptr;
    ASSERT_EQ(S_OK, library->GetLibAttr(&attributes));
    EXPECT_TRUE(IsEqualGUID(LIBID_QvxLinnographLib, attributes->guid));
    EXPECT_TRUE(attributes->wMajorVerNum == 1 && attributes->wMinorVerNum == 0);
    library->ReleaseTLibAttr(attributes);
    CComPtr<ITypeInfo> control;
    EXPECT_EQ(S_OK, library->GetTypeInfoOfGuid(CLSID_LinnographCtl, control.Out()));
    for (const auto& [id, expected] : {std::pair<UINT, const wchar_t*>{114, L"Elapsed Time: "},
                                       {120, L"Global Pause "}, {11018, L"Time: "}}) {
        wchar_t buffer[64] = {};
        ASSERT_GT(LoadStringW(Dll, id, buffer, 64), 0) << id;
        EXPECT_STREQ(expected, buffer) << id;
    }
}
