#include "control/LinnographCtl.h"
#include <algorithm>
#include <new>
#include <string_view>
#include "regions/CursorsRegion.h"
#include "regions/GraphRegion.h"
#include "items/ItemFlags.h"
#include "regions/ResizeRegion.h"
#include "items/RTCTaskDataItem.h"

namespace {

const COleControlClass LinnographControlClass = {
    &CLSID_LinnographCtl,
    &DIID__IQvxLinnographCtlEvents,
    L"Qvx_LinnographCtl",
};

const wchar_t ErrorSource[] = L"QvxLinnograph.LinnographCtl";

// Property categories for a property browser.
constexpr PROPCAT CategoryAppearance = -5;
constexpr PROPCAT CategoryFont = -3;
constexpr PROPCAT CategoryLayout = 1;
constexpr PROPCAT CategoryDrawing = 2;
constexpr PROPCAT CategoryView = 3;
constexpr PROPCAT CategoryColour = 65536;

struct CCategoryName
{
    PROPCAT Category;
    const wchar_t* Name;
};

const CCategoryName CategoryNames[] = {
    {CategoryAppearance, L"Appearance"}, {CategoryFont, L"Font"}, {CategoryLayout, L"Layout"},
    {CategoryDrawing, L"Drawing"},       {CategoryView, L"View"}, {CategoryColour, L"Color"},
};

struct CPropertyCategory
{
    DISPID Id;
    PROPCAT Category;
};

const CPropertyCategory PropertyCategories[] = {
    {-520, CategoryAppearance}, {-518, CategoryAppearance}, {-504, CategoryAppearance}, {30, CategoryAppearance},
    {32, CategoryAppearance},   {33, CategoryAppearance},   {34, CategoryAppearance},   {35, CategoryAppearance},
    {-512, CategoryFont},
    {1, CategoryLayout},        {2, CategoryLayout},        {3, CategoryLayout},        {4, CategoryLayout},
    {5, CategoryLayout},        {6, CategoryLayout},        {8, CategoryLayout},        {14, CategoryLayout},
    {15, CategoryLayout},
    {9, CategoryDrawing},       {10, CategoryDrawing},
    {7, CategoryView},          {11, CategoryView},         {12, CategoryView},         {13, CategoryView},
    {31, CategoryView},
    {-513, CategoryColour},     {-503, CategoryColour},     {-501, CategoryColour},     {16, CategoryColour},
    {36, CategoryColour},
};

// The control's two pages, then the host's four.
const CLSID* const PropertyPages[] = {
    &CLSID_LayoutPpg, &CLSID_DataPpg, &CLSID_QvxChannelsPage, &CLSID_QvxEventsPage, &CLSID_QvxGroupsPage,
    &CLSID_QvxColoursPage,
};

} // namespace

CLinnographCtl::CLinnographCtl()
    : COleControl(LinnographControlClass), CBaseChartCtl(&Window, static_cast<CControlBorderHelper&>(*this))
{
}

CLinnographCtl::~CLinnographCtl()
{
    DestroyChart();
    DestroyBackBuffer();
}

HRESULT CLinnographCtl::FinalConstruct()
{
    Caption = CBstr(L"Real-time Linnograph");
    if (!Caption.Get()) return E_OUTOFMEMORY;
    HRESULT hr = E_FAIL;
    try {
        hr = CreateChart({&DataTimeSpan, &HistoricDataTimeSpan, &Running}, *this);
    } catch (const std::bad_alloc&) {
        hr = E_OUTOFMEMORY;
    }
    if (FAILED(hr)) return hr;
    // The host-attachment part: the list of page names and the sinks of the task and the host
    // root; the factories' sinks join them once the control makes its factories.
    hr = InitialiseControlBase(this, this, this, this, this);
    if (FAILED(hr)) return hr;
    hr = AttachOrdering(TaskItem->GetOrdering());
    if (FAILED(hr)) return hr;
    SetMaxChannelCount(DefaultMaxChannels);
    hr = AddConfigurationPage(L"QvxConfigurationPages.ChannelSelect");
    if (FAILED(hr)) return hr;
    hr = CreateSelectionSinks();
    if (FAILED(hr)) return hr;
    // TODO: the events configuration.
    return AddConfigurationPage(L"QvxConfigurationPages.EventSelect");
}

void CLinnographCtl::FinalRelease()
{
    DetachOrdering();
    ReleaseChart();
    // TODO: the events configuration lets go of its task.
    OnHostDetached();
    CloseSelectionSinks();
    COleControl::FinalRelease();
}

void CLinnographCtl::MarkModified()
{
    RequiresSave = true;
    SendOnDataChange();
}

void CLinnographCtl::SetRequiresSave()
{
    RequiresSave = true;
}

void CLinnographCtl::FireActiveChanged()
{
    CProxyIQvxControlNotifications2::Fire_OnActiveChanged(ControlInterface());
}

HRESULT CLinnographCtl::OnHostAttached()
{
    HRESULT hr = CBaseChartCtl::OnHostAttached();
    if (FAILED(hr)) return hr;
    OnGroupFactoryChanged();
    InvalidateWindow();
    CProxyIQvxControlNotifications2::Fire_OnHostAttached(ControlInterface(), GetHostRoot());
    return S_OK;
}

void CLinnographCtl::OnTaskAttached(IQvxTask* oldTask)
{
    // The chosen selection belonged to the old task.
    SetSelection(nullptr);
    CBaseChartCtl::OnTaskAttached(oldTask);
    // TODO: the events configuration takes the task.
    InvalidateWindow();
    CProxyIQvxControlNotifications2::Fire_OnTaskChanged(ControlInterface(), GetAttachedTask());
}

void CLinnographCtl::OnSelectionChanged()
{
    if (TaskItem) {
        TaskItem->OnSelectionsChanged();
        TaskItem->NotifyChange(TaskTimeRangeStale | TaskDistanceRangeStale, 1);
    }
    CProxyIQvxSingleDataSelectionControlNotifications::Fire_OnSelectionChanged(ControlInterface());
}

HRESULT CLinnographCtl::GetSelectionTask(IQvxTask** task)
{
    if (!task) return E_POINTER;
    *task = GetAttachedTask();
    if (*task) (*task)->AddRef();
    return *task ? S_OK : E_FAIL;
}

void CLinnographCtl::RelayoutChart()
{
    DirtyBits = DirtyAll;
    Invalidate();
}

HRESULT CLinnographCtl::Fail(HRESULT hr)
{
    return ReportError(hr, IID_IQvxLinnographCtl4, ErrorSource);
}

HRESULT CLinnographCtl::GetFlag(uint32_t field, VARIANT_BOOL* value)
{
    if (!value) return Fail(E_POINTER);
    *value = field ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

HRESULT CLinnographCtl::GetColourProperty(OLE_COLOR field, OLE_COLOR* value)
{
    if (!value) return Fail(E_POINTER);
    *value = field;
    return S_OK;
}

// --- persistence ---

HRESULT CLinnographCtl::InitialiseNew()
{
    FONTDESC description{};
    description.cbSizeofstruct = sizeof(description);
    description.lpstrName = const_cast<LPOLESTR>(L"Arial");
    description.cySize.int64 = 80'000;   // 8 points
    description.sWeight = FW_NORMAL;
    CComPtr<IFontDisp> font;
    HRESULT hr = OleCreateFontIndirect(&description, IID_IFontDisp, font.OutVoid());
    if (FAILED(hr)) return hr;

    RequiresSave = true;
    // The channel property, event property and group factories of the host library.
    if (FAILED(CreateFactories())) return E_UNEXPECTED;
    // A host attached before the layout: its defaults are the new factories' parents at once.
    if (GetHostRoot()) ConnectFactories(GetHostRoot());
    Initialised = 1;
    // The group factory then goes to the events configuration, which is refreshed.
    ActiveTraceGridColour = DefaultActiveTraceGridColour;
    BorderColor = BackColor = ForeColor = GridColor = Unset;
    Font = std::move(font);
    return S_OK;
}

STDMETHODIMP CLinnographCtl::InitNew()
{
    if (Initialised) return E_UNEXPECTED;
    return InitialiseNew();
}

STDMETHODIMP CLinnographCtl::InitNew(IStorage* storage)
{
    if (!storage) return E_POINTER;
    if (Initialised) return CO_E_ALREADYINITIALIZED;
    return InitialiseNew();
}

// TODO: the persisted layout; until then nothing is read or written.

STDMETHODIMP CLinnographCtl::Load(IStream*)
{
    return E_NOTIMPL;
}

STDMETHODIMP CLinnographCtl::Save(IStream*, BOOL)
{
    return E_NOTIMPL;
}

STDMETHODIMP CLinnographCtl::GetSizeMax(ULARGE_INTEGER* size)
{
    if (!size) return E_POINTER;
    return E_NOTIMPL;
}

STDMETHODIMP CLinnographCtl::Load(IStorage*)
{
    return E_NOTIMPL;
}

STDMETHODIMP CLinnographCtl::Save(IStorage*, BOOL)
{
    return E_NOTIMPL;
}

// --- ambient properties ---

STDMETHODIMP CLinnographCtl::OnAmbientPropertyChange(DISPID id)
{
    DISPID printAllAxes = DISPID_UNKNOWN;
    if (FAILED(GetPrintAllAxesId(printAllAxes)) || printAllAxes != id) return S_OK;
    // The graph lays out its axes anew.
    if (GraphRegion) GraphRegion->DirtyBits = DirtyAll;
    if (Window) InvalidateRect(Window, nullptr, FALSE);
    return S_OK;
}

HRESULT CLinnographCtl::GetPrintAllAxesId(DISPID& id)
{
    id = DISPID_UNKNOWN;
    if (!AmbientDispatch) return E_FAIL;
    LPOLESTR name = const_cast<LPOLESTR>(L"PrintAllAxes");
    return AmbientDispatch->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id);
}

BOOL CLinnographCtl::GetPrintAllAxes()
{
    // A container that does not know the name prints the active axis only.
    DISPID id = DISPID_UNKNOWN;
    CVariant value;
    if (FAILED(GetPrintAllAxesId(id)) || FAILED(GetAmbientProperty(id, value))) return FALSE;
    return V_VT(&value) == VT_BOOL && V_BOOL(&value) == VARIANT_TRUE;
}

IUnknown* CLinnographCtl::GetFontObject()
{
    return Font;
}

COLORREF CLinnographCtl::GetColour(int index)
{
    return LookUpColour(AmbientDispatch, index);
}

// --- categories and pages ---

STDMETHODIMP CLinnographCtl::MapPropertyToCategory(DISPID id, PROPCAT* category)
{
    if (!category) return E_POINTER;
    for (const CPropertyCategory& row : PropertyCategories) {
        if (row.Id == id) {
            *category = row.Category;
            return S_OK;
        }
    }
    return E_FAIL;
}

STDMETHODIMP CLinnographCtl::GetCategoryName(PROPCAT category, LCID, BSTR* name)
{
    if (!name) return E_POINTER;
    *name = nullptr;
    for (const CCategoryName& row : CategoryNames) {
        if (row.Category == category) {
            *name = SysAllocString(row.Name);
            return *name ? S_OK : E_OUTOFMEMORY;
        }
    }
    return E_FAIL;
}

STDMETHODIMP CLinnographCtl::GetPages(CAUUID* pages)
{
    if (!pages) return E_POINTER;
    constexpr ULONG count = sizeof(PropertyPages) / sizeof(PropertyPages[0]);
    pages->cElems = 0;
    pages->pElems = static_cast<GUID*>(CoTaskMemAlloc(count * sizeof(GUID)));
    if (!pages->pElems) return E_OUTOFMEMORY;
    for (ULONG i = 0; i < count; ++i) pages->pElems[i] = *PropertyPages[i];
    pages->cElems = count;
    return S_OK;
}

// --- the divider ---

void CLinnographCtl::GetResizeRange(CResizeRegion& region, int& lowest, int& highest)
{
    lowest = highest = region.DragPosition;
    if (!GraphRegion || !CursorsRegion) return;
    CWindowDC context(Window);
    CChartDrawInfo info(context, context, *this, 0);
    CRootLayout::GetResizeRange(info, Bounds, *GraphRegion, *CursorsRegion, region.DragPosition, lowest, highest);
}

void CLinnographCtl::OnResizeDone(CResizeRegion& region)
{
    CWindowDC context(Window);
    AutoSizeCursorValues = 0;
    Layout.ResizeDone(Bounds, region.DragPosition, GetDeviceCaps(context, LOGPIXELSX));
    MarkModified();
    RelayoutChart();
}
