#include "control/LinnographCtl.h"
#include "items/RTCTaskDataItem.h"
#include "regions/CursorsRegion.h"
#include "regions/GraphRegion.h"

// The control's properties: the stock ones, its own, and those that the graph and cursors
// regions hold.

namespace {

// Dispatch ids of the control's own properties that it announces.
constexpr DISPID DispidGridColor = 16;
constexpr DISPID DispidEventColorScheme = 18;
constexpr DISPID DispidActiveTraceGridColor = 36;

// The accepted range of both time spans, in ticks: 1 s to 9999 s.
constexpr qvx::time ShortestSpan = 10'000'000;
constexpr qvx::time LongestSpan = 99'990'000'000;

// A VARIANT_BOOL is true only at -1.
uint32_t FlagOf(VARIANT_BOOL value)
{
    return value == VARIANT_TRUE ? 1 : 0;
}

} // namespace

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

// --- properties held by the graph region ---

HRESULT CLinnographCtl::PutGraphFlag(BOOL CGraphRegion::*field, VARIANT_BOOL value, DWORD dirtyBits)
{
    if (!GraphRegion) return Fail(E_UNEXPECTED);
    const BOOL flag = FlagOf(value);
    if (GraphRegion.get()->*field == flag) return S_OK;
    GraphRegion.get()->*field = flag;
    GraphRegion->DirtyBits |= dirtyBits;
    GraphRegion->Invalidate();
    MarkModified();
    return S_OK;
}

HRESULT CLinnographCtl::GetGraphFlag(BOOL CGraphRegion::*field, VARIANT_BOOL* value)
{
    if (!value) return Fail(E_POINTER);
    if (!GraphRegion) return Fail(E_UNEXPECTED);
    *value = GraphRegion.get()->*field ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

STDMETHODIMP CLinnographCtl::put_ShowGrid(VARIANT_BOOL show) { return PutGraphFlag(&CGraphRegion::ShowGrid, show); }
STDMETHODIMP CLinnographCtl::get_ShowGrid(VARIANT_BOOL* show) { return GetGraphFlag(&CGraphRegion::ShowGrid, show); }

STDMETHODIMP CLinnographCtl::put_TraceStyle(::QvxTraceStyle style)
{
    if (!GraphRegion) return Fail(E_UNEXPECTED);
    if (GraphRegion->TraceStyle == style) return S_OK;
    // The channel regions must exist for each to be told to make its traces again.
    GraphRegion->GetActiveChannelRegion();
    GraphRegion->SetTraceStyle(style);
    MarkModified();
    return S_OK;
}

STDMETHODIMP CLinnographCtl::get_TraceStyle(::QvxTraceStyle* style)
{
    if (!style) return Fail(E_POINTER);
    if (!GraphRegion) return Fail(E_UNEXPECTED);
    *style = ::QvxTraceStyle(GraphRegion->TraceStyle);
    return S_OK;
}

STDMETHODIMP CLinnographCtl::put_PointSize(short size)
{
    if (!GraphRegion) return Fail(E_UNEXPECTED);
    // Read as unsigned: a negative size is as far out of range as a large one.
    const unsigned short tenths = static_cast<unsigned short>(size);
    if (tenths > 60) return Fail(E_INVALIDARG);
    // Two tenths draw as a single pixel, as 0 does.
    const short stored = tenths == 2 ? 0 : static_cast<short>(tenths);
    if (GraphRegion->PointSize != stored) {
        GraphRegion->PointSize = stored;
        GraphRegion->Invalidate();
    }
    MarkModified();
    return S_OK;
}

STDMETHODIMP CLinnographCtl::get_PointSize(short* size)
{
    if (!size) return Fail(E_POINTER);
    if (!GraphRegion) return Fail(E_UNEXPECTED);
    *size = GraphRegion->PointSize;
    return S_OK;
}

STDMETHODIMP CLinnographCtl::put_Tiled(VARIANT_BOOL tiled)
{
    if (!GraphRegion) return Fail(E_UNEXPECTED);
    const BOOL flag = FlagOf(tiled);
    if (GraphRegion->Tiled == flag) return S_OK;
    GraphRegion->SetTiled(flag);
    MarkModified();
    return S_OK;
}

STDMETHODIMP CLinnographCtl::get_Tiled(VARIANT_BOOL* tiled) { return GetGraphFlag(&CGraphRegion::Tiled, tiled); }

// --- properties held by the cursors region ---
// That region does not exist yet, so its properties can neither be read nor set.

STDMETHODIMP CLinnographCtl::put_CursorValuesWidth(::CursorValueWidth) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::get_CursorValuesWidth(::CursorValueWidth*) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::put_CursorValuesBase(::CursorValueBase) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::get_CursorValuesBase(::CursorValueBase*) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::put_ShowActiveYAxis(VARIANT_BOOL show)
{
    return PutGraphFlag(&CGraphRegion::ShowActiveYAxis, show, CGraphRegion::DirtyYAxes);
}
STDMETHODIMP CLinnographCtl::get_ShowActiveYAxis(VARIANT_BOOL* show)
{
    return GetGraphFlag(&CGraphRegion::ShowActiveYAxis, show);
}
STDMETHODIMP CLinnographCtl::put_ShowAlarms(VARIANT_BOOL) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::get_ShowAlarms(VARIANT_BOOL*) { return Fail(E_NOTIMPL); }
STDMETHODIMP CLinnographCtl::put_AlarmConditionsType(::AlarmConditionsType type)
{
    if (!GraphRegion) return Fail(E_UNEXPECTED);
    if (GraphRegion->AlarmConditionsType == type) return S_OK;
    GraphRegion->AlarmConditionsType = type;
    // The conditions show only with the alarms.
    if (GetShowAlarms()) GraphRegion->Invalidate();
    MarkModified();
    return S_OK;
}
STDMETHODIMP CLinnographCtl::get_AlarmConditionsType(::AlarmConditionsType* type)
{
    if (!type) return Fail(E_POINTER);
    if (!GraphRegion) return Fail(E_UNEXPECTED);
    *type = ::AlarmConditionsType(GraphRegion->AlarmConditionsType);
    return S_OK;
}
STDMETHODIMP CLinnographCtl::put_FixedGrid(VARIANT_BOOL fixed)
{
    return PutGraphFlag(&CGraphRegion::FixedGrid, fixed);
}
STDMETHODIMP CLinnographCtl::get_FixedGrid(VARIANT_BOOL* fixed)
{
    return GetGraphFlag(&CGraphRegion::FixedGrid, fixed);
}
STDMETHODIMP CLinnographCtl::put_ShowYAxisMarksWhenTiled(VARIANT_BOOL show)
{
    return PutGraphFlag(&CGraphRegion::ShowYAxisMarksWhenTiled, show, CGraphRegion::DirtyYAxes);
}
STDMETHODIMP CLinnographCtl::get_ShowYAxisMarksWhenTiled(VARIANT_BOOL* show)
{
    return GetGraphFlag(&CGraphRegion::ShowYAxisMarksWhenTiled, show);
}
STDMETHODIMP CLinnographCtl::put_ShowGridActiveTraceOnly(VARIANT_BOOL show)
{
    return PutGraphFlag(&CGraphRegion::ShowGridActiveTraceOnly, show);
}
STDMETHODIMP CLinnographCtl::get_ShowGridActiveTraceOnly(VARIANT_BOOL* show)
{
    return GetGraphFlag(&CGraphRegion::ShowGridActiveTraceOnly, show);
}
STDMETHODIMP CLinnographCtl::put_ShowYAxisGrid(VARIANT_BOOL show)
{
    return PutGraphFlag(&CGraphRegion::ShowYAxisGrid, show);
}
STDMETHODIMP CLinnographCtl::get_ShowYAxisGrid(VARIANT_BOOL* show)
{
    return GetGraphFlag(&CGraphRegion::ShowYAxisGrid, show);
}
STDMETHODIMP CLinnographCtl::put_ShowYAxisGridMinorLines(VARIANT_BOOL show)
{
    return PutGraphFlag(&CGraphRegion::ShowYAxisGridMinorLines, show);
}
STDMETHODIMP CLinnographCtl::get_ShowYAxisGridMinorLines(VARIANT_BOOL* show)
{
    return GetGraphFlag(&CGraphRegion::ShowYAxisGridMinorLines, show);
}
STDMETHODIMP CLinnographCtl::put_ShowXAxisGrid(VARIANT_BOOL show)
{
    return PutGraphFlag(&CGraphRegion::ShowXAxisGrid, show);
}
STDMETHODIMP CLinnographCtl::get_ShowXAxisGrid(VARIANT_BOOL* show)
{
    return GetGraphFlag(&CGraphRegion::ShowXAxisGrid, show);
}
STDMETHODIMP CLinnographCtl::put_ShowXAxisGridMinorLines(VARIANT_BOOL show)
{
    return PutGraphFlag(&CGraphRegion::ShowXAxisGridMinorLines, show);
}
STDMETHODIMP CLinnographCtl::get_ShowXAxisGridMinorLines(VARIANT_BOOL* show)
{
    return GetGraphFlag(&CGraphRegion::ShowXAxisGridMinorLines, show);
}
