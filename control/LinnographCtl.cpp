#include "LinnographCtl.h"
#include <algorithm>
#include <string_view>
#include "GdiHandle.h"

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
constexpr int SchemeChartBackground = 11;

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

CLinnographCtl::CLinnographCtl() : COleControl(LinnographControlClass)
{
}

HRESULT CLinnographCtl::FinalConstruct()
{
    Caption = CBstr(L"Real-time Linnograph");
    if (!Caption.Get()) return E_OUTOFMEMORY;
    // The chart frame makes the task item, the zoom stack, the regions, the managers and the
    // configuration objects here.
    return S_OK;
}

void CLinnographCtl::FinalRelease()
{
    COleControl::FinalRelease();
}

void CLinnographCtl::MarkModified()
{
    RequiresSave = true;
    SendOnDataChange();
}

void CLinnographCtl::InvalidateChart()
{
    // The root region's Invalidate, until the frame makes the root: the whole window, no erase.
    if (Window) InvalidateRect(Window, nullptr, FALSE);
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
    // The whole layout follows the font: the root's and the cursors region's dirty bits join
    // here with the frame.
    if (hr == S_OK) InvalidateChart();
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
    InvalidateChart();
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

HRESULT CLinnographCtl::PutOwnFlag(uint32_t& field, VARIANT_BOOL value)
{
    uint32_t flag = FlagOf(value);
    if (field == flag) return S_OK;
    field = flag;
    // The panel comes and goes or changes width: the whole layout is redone. The root's (and,
    // for the auto-size, the cursors region's) dirty bits join here with the frame.
    InvalidateChart();
    MarkModified();
    return S_OK;
}

STDMETHODIMP CLinnographCtl::put_ShowCursorValues(VARIANT_BOOL show)
{
    return PutOwnFlag(ShowCursorValues, show);
}

STDMETHODIMP CLinnographCtl::get_ShowCursorValues(VARIANT_BOOL* show)
{
    return GetFlag(ShowCursorValues, show);
}

STDMETHODIMP CLinnographCtl::put_AutoSizeCursorValues(VARIANT_BOOL autoSize)
{
    return PutOwnFlag(AutoSizeCursorValues, autoSize);
}

STDMETHODIMP CLinnographCtl::get_AutoSizeCursorValues(VARIANT_BOOL* autoSize)
{
    return GetFlag(AutoSizeCursorValues, autoSize);
}

STDMETHODIMP CLinnographCtl::put_VerticalSplitPos(double inches)
{
    // Stored as given: the clamp to the cursors region's width limits comes with that region.
    if (inches == VerticalSplitInches) return S_OK;
    VerticalSplitInches = inches;
    InvalidateChart();
    MarkModified();
    return S_OK;
}

STDMETHODIMP CLinnographCtl::get_VerticalSplitPos(double* inches)
{
    if (!inches) return Fail(E_POINTER);
    *inches = VerticalSplitInches;
    return S_OK;
}

STDMETHODIMP CLinnographCtl::put_DataTimeSpan(INT64 ticks)
{
    if (ticks < ShortestSpan || ticks > LongestSpan) return Fail(E_INVALIDARG);
    if (ticks == DataTimeSpan) return S_OK;
    // A longer span first undoes all zooms of the task item, which comes with the data items.
    DataTimeSpan = ticks;
    if (HistoricDataTimeSpan < DataTimeSpan) {
        // The task item then re-evaluates the span that it retains.
        HistoricDataTimeSpan = DataTimeSpan;
    }
    // The task item is flagged with 0x2003 here, with 0x2000 cleared at once.
    MarkModified();
    InvalidateChart();
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
    // The task item is flagged with 0x2003 here, with 0x2000 cleared at once, and re-evaluates
    // the span that it retains.
    MarkModified();
    InvalidateChart();
    return S_OK;
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
    // The channel property factory, the event property factory and the group factory, objects
    // of the host library, are made and subscribed to here, with the host attachment.
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
    if (!AmbientDispatch) return S_OK;
    LPOLESTR name = const_cast<LPOLESTR>(L"PrintAllAxes");
    DISPID printAllAxes = DISPID_UNKNOWN;
    if (FAILED(AmbientDispatch->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &printAllAxes)) ||
        printAllAxes != id)
        return S_OK;
    // The graph lays out its axes anew: its dirty bits join here with the graph region.
    if (Window) InvalidateRect(Window, nullptr, FALSE);
    return S_OK;
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

// --- drawing and window ---

HRESULT CLinnographCtl::OnDraw(const DrawDescription& draw)
{
    // Stands in for the chart frame's paint path: the chart's background only.
    COLORREF background = 0;
    if (BackColor == Unset || FAILED(OleTranslateColor(BackColor, nullptr, &background)))
        background = GetColour(SchemeChartBackground);
    CBrushHandle brush(CreateSolidBrush(background));
    RECT area{draw.Bounds->left, draw.Bounds->top, draw.Bounds->right, draw.Bounds->bottom};
    if (brush) FillRect(draw.DrawingContext, &area, brush);
    return S_OK;
}

void CLinnographCtl::OnWindowCreated()
{
    if (!Enabled) EnableWindow(Window, FALSE);
}
