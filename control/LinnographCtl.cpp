#include "LinnographCtl.h"
#include <algorithm>
#include <new>
#include <string_view>
#include "CursorsRegion.h"
#include "GraphRegion.h"
#include "ItemFlags.h"
#include "ResizeRegion.h"
#include "TaskDataItem.h"

namespace {

const COleControlClass LinnographControlClass = {
    &CLSID_LinnographCtl,
    &DIID__IQvxLinnographCtlEvents,
    L"Qvx_LinnographCtl",
};

const wchar_t ErrorSource[] = L"QvxLinnograph.LinnographCtl";

// Dispatch ids of the control's own properties that it announces.
constexpr DISPID DispidGridColor = 16;
constexpr DISPID DispidEventColorScheme = 18;
constexpr DISPID DispidActiveTraceGridColor = 36;

// The accepted range of both time spans, in ticks: 1 s to 9999 s.
constexpr qvx::time ShortestSpan = 10'000'000;
constexpr qvx::time LongestSpan = 99'990'000'000;

constexpr OLE_COLOR DefaultActiveTraceGridColour = 0xD0D0D0;

// Control messages that a parent reflects back to the control, at this offset.
constexpr UINT ReflectedBase = OCM__BASE;
const UINT ReflectedMessages[] = {
    OCM_COMMAND,        OCM_CTLCOLORBTN,     OCM_CTLCOLOREDIT,    OCM_CTLCOLORDLG,  OCM_CTLCOLORLISTBOX,
    OCM_CTLCOLORMSGBOX, OCM_CTLCOLORSCROLLBAR, OCM_CTLCOLORSTATIC, OCM_DRAWITEM,     OCM_MEASUREITEM,
    OCM_DELETEITEM,     OCM_VKEYTOITEM,      OCM_CHARTOITEM,      OCM_COMPAREITEM,  OCM_HSCROLL,
    OCM_VSCROLL,        OCM_PARENTNOTIFY,    OCM_NOTIFY,
};

bool IsReflected(UINT message)
{
    return std::find(std::begin(ReflectedMessages), std::end(ReflectedMessages), message) !=
           std::end(ReflectedMessages);
}

// A VARIANT_BOOL is true only at -1.
uint32_t FlagOf(VARIANT_BOOL value)
{
    return value == VARIANT_TRUE ? 1 : 0;
}

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
    // The channel configuration on the task's channel list, with at most 32 channels, comes here.
    hr = AddConfigurationPage(L"QvxConfigurationPages.ChannelSelect");
    if (FAILED(hr)) return hr;
    hr = CreateSelectionSinks();
    if (FAILED(hr)) return hr;
    // The events configuration comes here.
    return AddConfigurationPage(L"QvxConfigurationPages.EventSelect");
}

void CLinnographCtl::FinalRelease()
{
    ReleaseChart();
    // The events configuration lets go of its task here, once it exists.
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
    // The channel configuration keeps its group names, clears its groups, resolves them again by
    // name when there is a group factory and refreshes itself here, once it exists.
    InvalidateWindow();
    CProxyIQvxControlNotifications2::Fire_OnHostAttached(ControlInterface(), GetHostRoot());
    return S_OK;
}

void CLinnographCtl::OnTaskAttached(IQvxTask* oldTask)
{
    // The chosen selection belonged to the old task.
    SetSelection(nullptr);
    CBaseChartCtl::OnTaskAttached(oldTask);
    // The events configuration takes the task here, once it exists.
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

// --- stock properties ---

STDMETHODIMP CLinnographCtl::put_BorderColor(OLE_COLOR colour)
{
    return PutStockProperty(DISPID_BORDERCOLOR, [&] { BorderColor = colour; });
}

STDMETHODIMP CLinnographCtl::get_BorderColor(OLE_COLOR* colour)
{
    return GetColourProperty(BorderColor, colour);
}

STDMETHODIMP CLinnographCtl::put_TabStop(VARIANT_BOOL tabStop)
{
    return PutStockProperty(DISPID_TABSTOP, [&] { TabStop = FlagOf(tabStop); });
}

STDMETHODIMP CLinnographCtl::get_TabStop(VARIANT_BOOL* tabStop)
{
    return GetFlag(TabStop, tabStop);
}

STDMETHODIMP CLinnographCtl::put_Caption(BSTR caption)
{
    CBstr copy(std::wstring_view(caption ? caption : L"", SysStringLen(caption)));
    if (!copy.Get()) return Fail(E_OUTOFMEMORY);
    return PutStockProperty(DISPID_CAPTION, [&] { Caption = std::move(copy); });
}

STDMETHODIMP CLinnographCtl::get_Caption(BSTR* caption)
{
    if (!caption) return Fail(E_POINTER);
    return Fail(Caption.CopyTo(caption));
}

STDMETHODIMP CLinnographCtl::put_Enabled(VARIANT_BOOL enabled)
{
    HRESULT hr = PutStockProperty(DISPID_ENABLED, [&] { Enabled = FlagOf(enabled); });
    if (hr == S_OK && Window) EnableWindow(Window, Enabled ? TRUE : FALSE);
    return hr;
}

STDMETHODIMP CLinnographCtl::get_Enabled(VARIANT_BOOL* enabled)
{
    return GetFlag(Enabled, enabled);
}

STDMETHODIMP CLinnographCtl::put_BackColor(OLE_COLOR colour)
{
    return PutStockProperty(DISPID_BACKCOLOR, [&] { BackColor = colour; });
}

STDMETHODIMP CLinnographCtl::get_BackColor(OLE_COLOR* colour)
{
    return GetColourProperty(BackColor, colour);
}

STDMETHODIMP CLinnographCtl::put_ForeColor(OLE_COLOR colour)
{
    return PutStockProperty(DISPID_FORECOLOR, [&] { ForeColor = colour; });
}

STDMETHODIMP CLinnographCtl::get_ForeColor(OLE_COLOR* colour)
{
    return GetColourProperty(ForeColor, colour);
}

STDMETHODIMP CLinnographCtl::put_Font(IFontDisp* font)
{
    return PutFont(font, false);
}

STDMETHODIMP CLinnographCtl::putref_Font(IFontDisp* font)
{
    return PutFont(font, true);
}

HRESULT CLinnographCtl::PutFont(IFontDisp* font, bool byReference)
{
    if (!font) return Fail(E_INVALIDARG);
    CComPtr<IFontDisp> kept = font;
    if (!byReference) {
        // The control keeps its own copy, which the caller cannot change behind its back.
        CComPtr<IFont> given, copy;
        if (FAILED(font->QueryInterface(IID_IFont, given.OutVoid()))) return Fail(E_INVALIDARG);
        HRESULT hr = given->Clone(copy.Out());
        if (SUCCEEDED(hr)) hr = copy.As(kept);
        if (FAILED(hr)) return Fail(hr);
    }
    HRESULT hr = PutStockProperty(DISPID_FONT, [&] { Font = std::move(kept); });
    // The whole layout follows the font.
    if (hr == S_OK) {
        if (CursorsRegion) CursorsRegion->DirtyBits = DirtyAll;
        RelayoutChart();
    }
    return hr;
}

STDMETHODIMP CLinnographCtl::get_Font(IFontDisp** font)
{
    if (!font) return Fail(E_POINTER);
    return Font.CopyTo(font);
}

// --- the control's own properties ---

STDMETHODIMP CLinnographCtl::put_Appearance(LONG appearance)
{
    // The border follows at the next layout.
    Appearance = appearance;
    MarkModified();
    return S_OK;
}

STDMETHODIMP CLinnographCtl::get_Appearance(LONG* appearance)
{
    if (!appearance) return Fail(E_POINTER);
    *appearance = Appearance;
    return S_OK;
}

STDMETHODIMP CLinnographCtl::put_BorderStyle(LONG style)
{
    BorderStyle = style;
    MarkModified();
    return S_OK;
}

STDMETHODIMP CLinnographCtl::get_BorderStyle(LONG* style)
{
    if (!style) return Fail(E_POINTER);
    *style = BorderStyle;
    return S_OK;
}

HRESULT CLinnographCtl::PutOwnColour(OLE_COLOR& field, OLE_COLOR colour, DISPID id)
{
    if (field == colour) return S_OK;
    field = colour;
    Invalidate();
    FireOnChanged(id);
    MarkModified();
    return S_OK;
}

STDMETHODIMP CLinnographCtl::put_GridColor(OLE_COLOR colour)
{
    return PutOwnColour(GridColor, colour, DispidGridColor);
}

STDMETHODIMP CLinnographCtl::get_GridColor(OLE_COLOR* colour)
{
    return GetColourProperty(GridColor, colour);
}

STDMETHODIMP CLinnographCtl::put_ActiveTraceGridColor(OLE_COLOR colour)
{
    return PutOwnColour(ActiveTraceGridColour, colour == Unset ? DefaultActiveTraceGridColour : colour,
                        DispidActiveTraceGridColor);
}

STDMETHODIMP CLinnographCtl::get_ActiveTraceGridColor(OLE_COLOR* colour)
{
    return GetColourProperty(ActiveTraceGridColour, colour);
}

STDMETHODIMP CLinnographCtl::put_ShowCursorValues(VARIANT_BOOL show)
{
    const uint32_t flag = FlagOf(show);
    if (ShowCursorValues == flag) return S_OK;
    ShowCursorValues = flag;
    RelayoutChart();
    MarkModified();
    return S_OK;
}

STDMETHODIMP CLinnographCtl::get_ShowCursorValues(VARIANT_BOOL* show)
{
    return GetFlag(ShowCursorValues, show);
}

STDMETHODIMP CLinnographCtl::put_AutoSizeCursorValues(VARIANT_BOOL autoSize)
{
    const uint32_t flag = FlagOf(autoSize);
    if (AutoSizeCursorValues == flag) return S_OK;
    AutoSizeCursorValues = flag;
    if (CursorsRegion) CursorsRegion->DirtyBits = DirtyAll;
    RelayoutChart();
    MarkModified();
    return S_OK;
}

STDMETHODIMP CLinnographCtl::get_AutoSizeCursorValues(VARIANT_BOOL* autoSize)
{
    return GetFlag(AutoSizeCursorValues, autoSize);
}

STDMETHODIMP CLinnographCtl::put_VerticalSplitPos(double inches)
{
    if (inches == Layout.VerticalSplitInches) return S_OK;
    // The panel's width limits on the screen: a width beyond them is stored as the limit.
    CWindowDC screen(nullptr);
    const int dpi = std::max(1, GetDeviceCaps(screen, LOGPIXELSX));
    int minimum = -1, maximum = -1;
    if (CursorsRegion) {
        CChartDrawInfo info(screen, screen, *this, 0);
        CursorsRegion->GetWidthLimits(info, minimum, maximum);
    }
    const double pixels = dpi * inches;
    if (minimum >= 0 && pixels < minimum) inches = static_cast<double>(minimum) / dpi;
    else if (maximum >= 0 && pixels > maximum) inches = static_cast<double>(maximum) / dpi;
    Layout.VerticalSplitInches = inches;
    RelayoutChart();
    MarkModified();
    return S_OK;
}

STDMETHODIMP CLinnographCtl::get_VerticalSplitPos(double* inches)
{
    if (!inches) return Fail(E_POINTER);
    *inches = Layout.VerticalSplitInches;
    return S_OK;
}

STDMETHODIMP CLinnographCtl::put_DataTimeSpan(INT64 ticks)
{
    if (ticks < ShortestSpan || ticks > LongestSpan) return Fail(E_INVALIDARG);
    if (ticks == DataTimeSpan) return S_OK;
    if (ticks > DataTimeSpan && TaskItem) TaskItem->UndoAllZooms();
    DataTimeSpan = ticks;
    if (HistoricDataTimeSpan < DataTimeSpan) {
        HistoricDataTimeSpan = DataTimeSpan;
        if (TaskItem) TaskItem->UpdateRetainedSpan();
    }
    NotifyTimeSpanChanged();
    MarkModified();
    Invalidate();
    return S_OK;
}

STDMETHODIMP CLinnographCtl::get_DataTimeSpan(INT64* ticks)
{
    if (!ticks) return Fail(E_POINTER);
    *ticks = DataTimeSpan;
    return S_OK;
}

STDMETHODIMP CLinnographCtl::put_HistoricDataTimeSpan(INT64 ticks)
{
    if (ticks < ShortestSpan || ticks > LongestSpan) return Fail(E_INVALIDARG);
    qvx::time span = std::max<qvx::time>(ticks, DataTimeSpan);
    if (span == HistoricDataTimeSpan) return S_OK;
    HistoricDataTimeSpan = span;
    NotifyTimeSpanChanged();
    if (TaskItem) TaskItem->UpdateRetainedSpan();
    MarkModified();
    Invalidate();
    return S_OK;
}

void CLinnographCtl::NotifyTimeSpanChanged()
{
    if (!TaskItem) return;
    TaskItem->NotifyChange(TaskTimeSpanChanged | TaskDistanceRangeStale | TaskTimeRangeStale, 1);
    TaskItem->Flags &= ~TaskTimeSpanChanged;
    // The live window has a new width and a new column step.
    TaskItem->RefreshWindows();
}

STDMETHODIMP CLinnographCtl::get_HistoricDataTimeSpan(INT64* ticks)
{
    if (!ticks) return Fail(E_POINTER);
    *ticks = HistoricDataTimeSpan;
    return S_OK;
}

STDMETHODIMP CLinnographCtl::put_EventColorScheme(::EventColorScheme scheme)
{
    if (CControlColors::EventColorScheme != scheme) {
        CControlColors::EventColorScheme = scheme;
        // Every event-set data item of every data selection is flagged with 8 here, once the
        // task item has them.
    }
    // Told also when unchanged.
    MarkModified();
    FireOnChanged(DispidEventColorScheme);
    return S_OK;
}

STDMETHODIMP CLinnographCtl::get_EventColorScheme(::EventColorScheme* scheme)
{
    if (!scheme) return Fail(E_POINTER);
    *scheme = ::EventColorScheme(CControlColors::EventColorScheme);
    return S_OK;
}

// --- properties held by the graph region and the cursors region ---
// Those regions do not exist yet, so their properties can neither be read nor set.

STDMETHODIMP CLinnographCtl::put_ShowGrid(VARIANT_BOOL) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::get_ShowGrid(VARIANT_BOOL*) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::put_TraceStyle(::QvxTraceStyle) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::get_TraceStyle(::QvxTraceStyle*) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::put_PointSize(short) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::get_PointSize(short*) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::put_Tiled(VARIANT_BOOL) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::get_Tiled(VARIANT_BOOL*) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::put_CursorValuesWidth(::CursorValueWidth) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::get_CursorValuesWidth(::CursorValueWidth*) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::put_CursorValuesBase(::CursorValueBase) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::get_CursorValuesBase(::CursorValueBase*) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::put_ShowActiveYAxis(VARIANT_BOOL) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::get_ShowActiveYAxis(VARIANT_BOOL*) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::put_ShowAlarms(VARIANT_BOOL) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::get_ShowAlarms(VARIANT_BOOL*) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::put_AlarmConditionsType(::AlarmConditionsType) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::get_AlarmConditionsType(::AlarmConditionsType*) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::put_FixedGrid(VARIANT_BOOL) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::get_FixedGrid(VARIANT_BOOL*) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::put_ShowYAxisMarksWhenTiled(VARIANT_BOOL) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::get_ShowYAxisMarksWhenTiled(VARIANT_BOOL*) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::put_ShowGridActiveTraceOnly(VARIANT_BOOL) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::get_ShowGridActiveTraceOnly(VARIANT_BOOL*) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::put_ShowYAxisGrid(VARIANT_BOOL) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::get_ShowYAxisGrid(VARIANT_BOOL*) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::put_ShowYAxisGridMinorLines(VARIANT_BOOL) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::get_ShowYAxisGridMinorLines(VARIANT_BOOL*) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::put_ShowXAxisGrid(VARIANT_BOOL) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::get_ShowXAxisGrid(VARIANT_BOOL*) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::put_ShowXAxisGridMinorLines(VARIANT_BOOL) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::get_ShowXAxisGridMinorLines(VARIANT_BOOL*) { return Fail(E_NOTIMPL); }

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

// The persisted layout comes with its own work; until then nothing is read or written.

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

// --- window ---

bool CLinnographCtl::ProcessWindowMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result,
                                          DWORD mapId)
{
    // 1. The frame's own map: paint, focus and mouse activation.
    if (COleControl::ProcessWindowMessage(window, message, wParam, lParam, result, mapId)) return true;
    // 2, 3. The fragile manager and the drag manager come here, once they exist.
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
    // WM_COMMAND and WM_CONTEXTMENU go to the commands and the context menu here, once they exist.
    case WM_THEMECHANGED:
        Border.OnThemeChanged();
        result = 0;
        return true;
    // WM_DRAWITEM and WM_MEASUREITEM of the owner-drawn menu, and the accelerator tail of
    // WM_COMMAND, WM_SYSCOMMAND, WM_KEYDOWN and WM_KEYUP, come here with the commands.
    default:
        break;
    }
    if (IsReflected(message)) {
        result = DefWindowProcW(window, message - ReflectedBase, wParam, lParam);
        return true;
    }
    return false;
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
    HDC surface = direct ? target : PrepareBackBuffer(target, bounds);
    if (surface) {
        const int pointSize = GraphRegion ? GraphRegion->PointSize : 0;
        CChartDrawInfo info(surface, reference, *this, pointSize);
        CBaseChartCtl::Draw(info);
    }
    if (!direct && surface) {
        BitBlt(target, bounds.left, bounds.top, bounds.right - bounds.left + 1, bounds.bottom - bounds.top + 1,
               surface, bounds.left, bounds.top, SRCCOPY);
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
        CDeviceContext context(CreateCompatibleDC(target));
        CBitmapHandle bitmap(context ? CreateCompatibleBitmap(target, size.cx, size.cy) : nullptr);
        if (!bitmap) return nullptr;
        BackBufferOldBitmap = SelectObject(context, bitmap);
        BackBufferDC = std::move(context);
        BackBufferBitmap = std::move(bitmap);
        BackBufferSize = size;
    }
    // The regions paint in the target's coordinates.
    SetWindowOrgEx(BackBufferDC, bounds.left, bounds.top, nullptr);
    return BackBufferDC;
}

void CLinnographCtl::DestroyBackBuffer()
{
    if (BackBufferDC && BackBufferOldBitmap) SelectObject(BackBufferDC, BackBufferOldBitmap);
    BackBufferOldBitmap = nullptr;
    BackBufferBitmap.Reset();
    BackBufferDC.Reset();
    BackBufferSize = SIZE{};
}
