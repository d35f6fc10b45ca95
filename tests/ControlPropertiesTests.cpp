// The control's properties, late binding, categories, pages and connection points, through COM.
#include "tests/OleTestSupport.h"
#include <memory>

using namespace qvxtest;

namespace {

constexpr qvx::time Second = 10'000'000;

class ControlProperties : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(Control);
        ASSERT_EQ(S_OK, InitNew(Control));
    }
    COleScope Ole;
    CComPtr<IQvxLinnographCtl4> Control = CreateControl();
};

CComPtr<IFontDisp> MakeFont(const wchar_t* name, LONGLONG size)
{
    FONTDESC description{sizeof(FONTDESC), const_cast<LPOLESTR>(name), {}, FW_NORMAL, 0, FALSE, FALSE, FALSE};
    description.cySize.int64 = size;
    CComPtr<IFontDisp> font;
    OleCreateFontIndirect(&description, IID_IFontDisp, font.OutVoid());
    return font;
}

// What a font turns out to be once the system has chosen a face for it.
struct CFontLook
{
    explicit CFontLook(IFontDisp* font)
    {
        CComPtr<IFont> details = Query<IFont>(font);
        if (!details) return;
        details->get_Name(Name.Out());
        details->get_Size(&Size);
        details->get_Weight(&Weight);
        details->get_Italic(&Italic);
        details->get_Underline(&Underline);
    }
    CBstr Name;
    CY Size{};
    SHORT Weight = 0;
    BOOL Italic = TRUE, Underline = TRUE;
};

// A stock property as a test sees it: its id and a setter that changes it.
struct CStockProperty
{
    DISPID Id;
    std::function<HRESULT(IQvxLinnographCtl4*)> Change;
    std::function<bool(IQvxLinnographCtl4*)> Changed;
};

std::vector<CStockProperty> StockProperties()
{
    auto colour = [](auto put, auto get) {
        return CStockProperty{0, [put](IQvxLinnographCtl4* c) { return (c->*put)(0x0000FF); },
                              [get](IQvxLinnographCtl4* c) {
                                  OLE_COLOR value = 0;
                                  (c->*get)(&value);
                                  return value == 0x0000FF;
                              }};
    };
    auto flag = [](auto put, auto get) {
        return CStockProperty{0, [put](IQvxLinnographCtl4* c) { return (c->*put)(VARIANT_FALSE); },
                              [get](IQvxLinnographCtl4* c) {
                                  VARIANT_BOOL value = VARIANT_TRUE;
                                  (c->*get)(&value);
                                  return value == VARIANT_FALSE;
                              }};
    };
    std::vector<CStockProperty> all;
    all.push_back(colour(&IQvxLinnographCtl4::put_BorderColor, &IQvxLinnographCtl4::get_BorderColor));
    all.back().Id = DISPID_BORDERCOLOR;
    all.push_back(colour(&IQvxLinnographCtl4::put_BackColor, &IQvxLinnographCtl4::get_BackColor));
    all.back().Id = DISPID_BACKCOLOR;
    all.push_back(colour(&IQvxLinnographCtl4::put_ForeColor, &IQvxLinnographCtl4::get_ForeColor));
    all.back().Id = DISPID_FORECOLOR;
    all.push_back(flag(&IQvxLinnographCtl4::put_TabStop, &IQvxLinnographCtl4::get_TabStop));
    all.back().Id = DISPID_TABSTOP;
    all.push_back(flag(&IQvxLinnographCtl4::put_Enabled, &IQvxLinnographCtl4::get_Enabled));
    all.back().Id = DISPID_ENABLED;
    all.push_back({DISPID_CAPTION,
                   [](IQvxLinnographCtl4* c) {
                       CBstr text(L"Pressure");
                       return c->put_Caption(text.Get());
                   },
                   [](IQvxLinnographCtl4* c) {
                       CBstr text;
                       c->get_Caption(text.Out());
                       return text.View() == L"Pressure";
                   }});
    auto font = std::make_shared<CComPtr<IFontDisp>>(MakeFont(L"Courier New", 120'000));
    all.push_back({DISPID_FONT, [font](IQvxLinnographCtl4* c) { return c->putref_Font(*font); },
                   [font](IQvxLinnographCtl4* c) {
                       CComPtr<IFontDisp> kept;
                       c->get_Font(kept.Out());
                       return SameObject(kept, *font);
                   }});
    return all;
}

HRESULT IsDirty(IUnknown* control)
{
    return Query<IPersistStreamInit>(control)->IsDirty();
}

// A fresh control that is not dirty: before InitNew.
CComPtr<IQvxLinnographCtl4> CleanControl()
{
    return CreateControl();
}

} // namespace

// --- stock properties ---

TEST_F(ControlProperties, StockPropertyRefusedByASinkKeepsItsValue)
{
    for (const CStockProperty& property : StockProperties()) {
        CComPtr<IQvxLinnographCtl4> control = CleanControl();
        CPropertySink refusing, listening;
        refusing.EditAnswer = S_FALSE;
        CConnection first(control, IID_IPropertyNotifySink, &listening);
        CConnection second(control, IID_IPropertyNotifySink, &refusing);
        EXPECT_EQ(S_FALSE, property.Change(control)) << property.Id;
        EXPECT_FALSE(property.Changed(control)) << property.Id;
        EXPECT_EQ(std::vector<DISPID>{property.Id}, refusing.EditRequests);
        EXPECT_TRUE(listening.Changes.empty());
        EXPECT_EQ(S_FALSE, IsDirty(control)) << property.Id;
    }
}

TEST_F(ControlProperties, StockPropertyAcceptedIsStoredAndAnnounced)
{
    for (const CStockProperty& property : StockProperties()) {
        CComPtr<IQvxLinnographCtl4> control = CleanControl();
        CPropertySink sink;
        CAdviseSink data;
        CConnection connection(control, IID_IPropertyNotifySink, &sink);
        FORMATETC format{0, nullptr, DVASPECT_CONTENT, -1, TYMED_NULL};
        DWORD cookie = 0;
        ASSERT_EQ(S_OK, Query<IDataObject>(control)->DAdvise(&format, ADVF_NODATA, &data, &cookie));
        EXPECT_EQ(S_OK, property.Change(control)) << property.Id;
        EXPECT_TRUE(property.Changed(control)) << property.Id;
        EXPECT_EQ(std::vector<DISPID>{property.Id}, sink.EditRequests);
        EXPECT_EQ(std::vector<DISPID>{property.Id}, sink.Changes);
        EXPECT_EQ(S_OK, IsDirty(control)) << property.Id;
        EXPECT_EQ(1, data.DataChanges) << property.Id;
        Query<IDataObject>(control)->DUnadvise(cookie);
    }
}

TEST_F(ControlProperties, StockDefaults)
{
    CBstr caption;
    ASSERT_EQ(S_OK, Control->get_Caption(caption.Out()));
    EXPECT_EQ(L"Real-time Linnograph", caption.View());
    VARIANT_BOOL flag = 0;
    ASSERT_EQ(S_OK, Control->get_TabStop(&flag));
    EXPECT_EQ(VARIANT_TRUE, flag);
    ASSERT_EQ(S_OK, Control->get_Enabled(&flag));
    EXPECT_EQ(VARIANT_TRUE, flag);
    OLE_COLOR colour = 0;
    for (auto get : {&IQvxLinnographCtl4::get_BorderColor, &IQvxLinnographCtl4::get_BackColor,
                     &IQvxLinnographCtl4::get_ForeColor, &IQvxLinnographCtl4::get_GridColor}) {
        ASSERT_EQ(S_OK, (Control.Get()->*get)(&colour));
        EXPECT_EQ(0xFFFFFFFFu, colour);
    }
    LONG number = 5;
    ASSERT_EQ(S_OK, Control->get_Appearance(&number));
    EXPECT_EQ(0, number);
    ASSERT_EQ(S_OK, Control->get_BorderStyle(&number));
    EXPECT_EQ(0, number);
}

TEST_F(ControlProperties, FontIsArialEightPointsAfterInitNew)
{
    CComPtr<IQvxLinnographCtl4> fresh = CleanControl();
    CComPtr<IFontDisp> none;
    ASSERT_EQ(S_OK, fresh->get_Font(none.Out()));
    EXPECT_FALSE(none);

    CComPtr<IFontDisp> font;
    ASSERT_EQ(S_OK, Control->get_Font(font.Out()));
    ASSERT_TRUE(font);
    // The system may substitute the face and round the size: compare with a font asked for in
    // the same words, and with one asked for larger.
    CFontLook look(font), expected(MakeFont(L"Arial", 80'000)), larger(MakeFont(L"Arial", 120'000));
    EXPECT_EQ(expected.Name.View(), look.Name.View());
    EXPECT_EQ(expected.Size.int64, look.Size.int64);
    EXPECT_NE(larger.Size.int64, look.Size.int64);
    EXPECT_EQ(400, look.Weight);
    EXPECT_FALSE(look.Italic);
    EXPECT_FALSE(look.Underline);
}

TEST_F(ControlProperties, FontPutKeepsACloneAndPutByReferenceTheObject)
{
    CComPtr<IFontDisp> given = MakeFont(L"Courier New", 200'000);
    ASSERT_TRUE(given);
    Query<IFont>(given)->put_Bold(TRUE);

    ASSERT_EQ(S_OK, Control->put_Font(given));
    CComPtr<IFontDisp> kept;
    ASSERT_EQ(S_OK, Control->get_Font(kept.Out()));
    EXPECT_FALSE(SameObject(kept, given));
    EXPECT_EQ(CFontLook(given).Size.int64, CFontLook(kept).Size.int64);
    // Changing the caller's font leaves the control's alone.
    Query<IFont>(given)->put_Bold(FALSE);
    BOOL bold = FALSE;
    Query<IFont>(kept)->get_Bold(&bold);
    EXPECT_TRUE(bold);

    ASSERT_EQ(S_OK, Control->putref_Font(given));
    ASSERT_EQ(S_OK, Control->get_Font(kept.Out()));
    EXPECT_TRUE(SameObject(kept, given));

    EXPECT_EQ(E_INVALIDARG, Control->put_Font(nullptr));
    EXPECT_EQ(E_INVALIDARG, Control->putref_Font(nullptr));
}

TEST_F(ControlProperties, CaptionAcceptsTheEmptyString)
{
    ASSERT_EQ(S_OK, Control->put_Caption(nullptr));
    CBstr caption;
    ASSERT_EQ(S_OK, Control->get_Caption(caption.Out()));
    EXPECT_EQ(0u, caption.Length());
}

// --- own properties ---

TEST_F(ControlProperties, OwnDefaults)
{
    VARIANT_BOOL flag = 0;
    ASSERT_EQ(S_OK, Control->get_ShowCursorValues(&flag));
    EXPECT_EQ(VARIANT_TRUE, flag);
    ASSERT_EQ(S_OK, Control->get_AutoSizeCursorValues(&flag));
    EXPECT_EQ(VARIANT_TRUE, flag);
    double inches = 0;
    ASSERT_EQ(S_OK, Control->get_VerticalSplitPos(&inches));
    EXPECT_EQ(1.25, inches);
    INT64 span = 0;
    ASSERT_EQ(S_OK, Control->get_DataTimeSpan(&span));
    EXPECT_EQ(20 * Second, span);
    ASSERT_EQ(S_OK, Control->get_HistoricDataTimeSpan(&span));
    EXPECT_EQ(300 * Second, span);
    EventColorScheme scheme = qvxEventColor;
    ASSERT_EQ(S_OK, Control->get_EventColorScheme(&scheme));
    EXPECT_EQ(qvxPriorityColor, scheme);
    OLE_COLOR colour = 0;
    ASSERT_EQ(S_OK, Control->get_ActiveTraceGridColor(&colour));
    EXPECT_EQ(0xD0D0D0u, colour);
    ASSERT_EQ(S_OK, CleanControl()->get_ActiveTraceGridColor(&colour));
    EXPECT_EQ(0xFFFFFFFFu, colour);
}

TEST_F(ControlProperties, VariantBoolIsTrueOnlyAtMinusOne)
{
    using Put = HRESULT (STDMETHODCALLTYPE IQvxLinnographCtl4::*)(VARIANT_BOOL);
    using Get = HRESULT (STDMETHODCALLTYPE IQvxLinnographCtl4::*)(VARIANT_BOOL*);
    const std::pair<Put, Get> flags[] = {
        {&IQvxLinnographCtl4::put_TabStop, &IQvxLinnographCtl4::get_TabStop},
        {&IQvxLinnographCtl4::put_Enabled, &IQvxLinnographCtl4::get_Enabled},
        {&IQvxLinnographCtl4::put_ShowCursorValues, &IQvxLinnographCtl4::get_ShowCursorValues},
        {&IQvxLinnographCtl4::put_AutoSizeCursorValues, &IQvxLinnographCtl4::get_AutoSizeCursorValues},
    };
    for (const auto& [put, get] : flags) {
        VARIANT_BOOL value = 0;
        ASSERT_EQ(S_OK, (Control.Get()->*put)(1));
        ASSERT_EQ(S_OK, (Control.Get()->*get)(&value));
        EXPECT_EQ(VARIANT_FALSE, value);
        ASSERT_EQ(S_OK, (Control.Get()->*put)(VARIANT_TRUE));
        ASSERT_EQ(S_OK, (Control.Get()->*get)(&value));
        EXPECT_EQ(VARIANT_TRUE, value);
        ASSERT_EQ(S_OK, (Control.Get()->*put)(2));
        ASSERT_EQ(S_OK, (Control.Get()->*get)(&value));
        EXPECT_EQ(VARIANT_FALSE, value);
    }
}

TEST_F(ControlProperties, NullOutPointersGiveEPointer)
{
    IQvxLinnographCtl4* c = Control;
    EXPECT_EQ(E_POINTER, c->get_Appearance(nullptr));
    EXPECT_EQ(E_POINTER, c->get_BorderStyle(nullptr));
    EXPECT_EQ(E_POINTER, c->get_BorderColor(nullptr));
    EXPECT_EQ(E_POINTER, c->get_TabStop(nullptr));
    EXPECT_EQ(E_POINTER, c->get_Caption(nullptr));
    EXPECT_EQ(E_POINTER, c->get_Enabled(nullptr));
    EXPECT_EQ(E_POINTER, c->get_BackColor(nullptr));
    EXPECT_EQ(E_POINTER, c->get_ForeColor(nullptr));
    EXPECT_EQ(E_POINTER, c->get_Font(nullptr));
    EXPECT_EQ(E_POINTER, c->get_GridColor(nullptr));
    EXPECT_EQ(E_POINTER, c->get_ShowCursorValues(nullptr));
    EXPECT_EQ(E_POINTER, c->get_AutoSizeCursorValues(nullptr));
    EXPECT_EQ(E_POINTER, c->get_VerticalSplitPos(nullptr));
    EXPECT_EQ(E_POINTER, c->get_DataTimeSpan(nullptr));
    EXPECT_EQ(E_POINTER, c->get_EventColorScheme(nullptr));
    EXPECT_EQ(E_POINTER, c->get_ActiveTraceGridColor(nullptr));
    EXPECT_EQ(E_POINTER, c->get_HistoricDataTimeSpan(nullptr));
}

TEST_F(ControlProperties, DataTimeSpanAcceptsOneToNineThousandNineHundredNinetyNineSeconds)
{
    INT64 span = 0;
    EXPECT_EQ(E_INVALIDARG, Control->put_DataTimeSpan(9'999'999));
    EXPECT_EQ(E_INVALIDARG, Control->put_DataTimeSpan(99'990'000'001));
    EXPECT_EQ(E_INVALIDARG, Control->put_DataTimeSpan(-Second));
    ASSERT_EQ(S_OK, Control->get_DataTimeSpan(&span));
    EXPECT_EQ(20 * Second, span);
    EXPECT_EQ(S_OK, Control->put_DataTimeSpan(10'000'000));
    ASSERT_EQ(S_OK, Control->get_DataTimeSpan(&span));
    EXPECT_EQ(10'000'000, span);
    EXPECT_EQ(S_OK, Control->put_DataTimeSpan(99'990'000'000));
    ASSERT_EQ(S_OK, Control->get_DataTimeSpan(&span));
    EXPECT_EQ(99'990'000'000, span);

    EXPECT_EQ(E_INVALIDARG, Control->put_HistoricDataTimeSpan(9'999'999));
    EXPECT_EQ(E_INVALIDARG, Control->put_HistoricDataTimeSpan(99'990'000'001));
    EXPECT_EQ(S_OK, Control->put_HistoricDataTimeSpan(99'990'000'000));
}

TEST_F(ControlProperties, HistoricSpanIsNeverBelowTheDataSpan)
{
    INT64 historic = 0;
    // Raising the data span above the historic one raises that too.
    ASSERT_EQ(S_OK, Control->put_DataTimeSpan(400 * Second));
    ASSERT_EQ(S_OK, Control->get_HistoricDataTimeSpan(&historic));
    EXPECT_EQ(400 * Second, historic);
    // Lowering it leaves the historic span alone.
    ASSERT_EQ(S_OK, Control->put_DataTimeSpan(30 * Second));
    ASSERT_EQ(S_OK, Control->get_HistoricDataTimeSpan(&historic));
    EXPECT_EQ(400 * Second, historic);
    // A historic span below the data span stores the data span.
    ASSERT_EQ(S_OK, Control->put_HistoricDataTimeSpan(10 * Second));
    ASSERT_EQ(S_OK, Control->get_HistoricDataTimeSpan(&historic));
    EXPECT_EQ(30 * Second, historic);
    ASSERT_EQ(S_OK, Control->put_HistoricDataTimeSpan(600 * Second));
    ASSERT_EQ(S_OK, Control->get_HistoricDataTimeSpan(&historic));
    EXPECT_EQ(600 * Second, historic);
}

TEST_F(ControlProperties, OwnPropertiesMarkTheControlModified)
{
    CComPtr<IQvxLinnographCtl4> control = CleanControl();
    ASSERT_EQ(S_FALSE, IsDirty(control));
    ASSERT_EQ(S_OK, control->put_DataTimeSpan(20 * Second));   // unchanged
    EXPECT_EQ(S_FALSE, IsDirty(control));
    ASSERT_EQ(S_OK, control->put_VerticalSplitPos(3.5));
    EXPECT_EQ(S_OK, IsDirty(control));
    double inches = 0;
    ASSERT_EQ(S_OK, control->get_VerticalSplitPos(&inches));
    EXPECT_EQ(3.5, inches);

    control = CleanControl();
    ASSERT_EQ(S_OK, control->put_Appearance(0));   // no comparison: modified all the same
    EXPECT_EQ(S_OK, IsDirty(control));
}

TEST_F(ControlProperties, ActiveTraceGridColourUnsetStoresTheDefault)
{
    CPropertySink sink;
    CConnection connection(Control, IID_IPropertyNotifySink, &sink);
    OLE_COLOR colour = 0;
    ASSERT_EQ(S_OK, Control->put_ActiveTraceGridColor(0x00FF00));
    ASSERT_EQ(S_OK, Control->get_ActiveTraceGridColor(&colour));
    EXPECT_EQ(0x00FF00u, colour);
    ASSERT_EQ(S_OK, Control->put_ActiveTraceGridColor(0xFFFFFFFF));
    ASSERT_EQ(S_OK, Control->get_ActiveTraceGridColor(&colour));
    EXPECT_EQ(0xD0D0D0u, colour);
    ASSERT_EQ(S_OK, Control->put_ActiveTraceGridColor(0xD0D0D0));   // unchanged: not announced
    EXPECT_EQ((std::vector<DISPID>{36, 36}), sink.Changes);
    EXPECT_TRUE(sink.EditRequests.empty());
}

TEST_F(ControlProperties, GridColourIsAnnouncedWhenItChanges)
{
    CPropertySink sink;
    CConnection connection(Control, IID_IPropertyNotifySink, &sink);
    ASSERT_EQ(S_OK, Control->put_GridColor(0x102030));
    ASSERT_EQ(S_OK, Control->put_GridColor(0x102030));
    OLE_COLOR colour = 0;
    ASSERT_EQ(S_OK, Control->get_GridColor(&colour));
    EXPECT_EQ(0x102030u, colour);
    EXPECT_EQ(std::vector<DISPID>{16}, sink.Changes);
}

TEST_F(ControlProperties, EventColourSchemeIsAnnouncedAlsoWhenUnchanged)
{
    CComPtr<IQvxLinnographCtl4> control = CleanControl();
    CPropertySink sink;
    CConnection connection(control, IID_IPropertyNotifySink, &sink);
    ASSERT_EQ(S_OK, control->put_EventColorScheme(qvxPriorityColor));
    EXPECT_EQ(S_OK, IsDirty(control));
    ASSERT_EQ(S_OK, control->put_EventColorScheme(qvxEventColor));
    EventColorScheme scheme = qvxPriorityColor;
    ASSERT_EQ(S_OK, control->get_EventColorScheme(&scheme));
    EXPECT_EQ(qvxEventColor, scheme);
    EXPECT_EQ((std::vector<DISPID>{18, 18}), sink.Changes);
}

TEST_F(ControlProperties, PropertiesOfTheRegionsAreNotAvailableYet)
{
    IQvxLinnographCtl4* c = Control;
    VARIANT_BOOL flag = 0;
    EXPECT_EQ(E_NOTIMPL, c->put_ShowGrid(VARIANT_TRUE));
    EXPECT_EQ(E_NOTIMPL, c->get_ShowGrid(&flag));
    QvxTraceStyle style{};
    EXPECT_EQ(E_NOTIMPL, c->put_TraceStyle(qvxLines));
    EXPECT_EQ(E_NOTIMPL, c->get_TraceStyle(&style));
    short points = 0;
    EXPECT_EQ(E_NOTIMPL, c->put_PointSize(10));
    EXPECT_EQ(E_NOTIMPL, c->get_PointSize(&points));
    EXPECT_EQ(E_NOTIMPL, c->put_Tiled(VARIANT_TRUE));
    EXPECT_EQ(E_NOTIMPL, c->get_Tiled(&flag));
    CursorValueWidth width{};
    EXPECT_EQ(E_NOTIMPL, c->put_CursorValuesWidth(qvx16bits));
    EXPECT_EQ(E_NOTIMPL, c->get_CursorValuesWidth(&width));
    CursorValueBase base{};
    EXPECT_EQ(E_NOTIMPL, c->put_CursorValuesBase(qvxHexadecimal));
    EXPECT_EQ(E_NOTIMPL, c->get_CursorValuesBase(&base));
    EXPECT_EQ(E_NOTIMPL, c->put_ShowActiveYAxis(VARIANT_TRUE));
    EXPECT_EQ(E_NOTIMPL, c->get_ShowActiveYAxis(&flag));
    EXPECT_EQ(E_NOTIMPL, c->put_ShowAlarms(VARIANT_TRUE));
    EXPECT_EQ(E_NOTIMPL, c->get_ShowAlarms(&flag));
    AlarmConditionsType alarms{};
    EXPECT_EQ(E_NOTIMPL, c->put_AlarmConditionsType(acNoConditions));
    EXPECT_EQ(E_NOTIMPL, c->get_AlarmConditionsType(&alarms));
    using Put = HRESULT (STDMETHODCALLTYPE IQvxLinnographCtl4::*)(VARIANT_BOOL);
    using Get = HRESULT (STDMETHODCALLTYPE IQvxLinnographCtl4::*)(VARIANT_BOOL*);
    const std::pair<Put, Get> flags[] = {
        {&IQvxLinnographCtl4::put_FixedGrid, &IQvxLinnographCtl4::get_FixedGrid},
        {&IQvxLinnographCtl4::put_ShowYAxisMarksWhenTiled, &IQvxLinnographCtl4::get_ShowYAxisMarksWhenTiled},
        {&IQvxLinnographCtl4::put_ShowGridActiveTraceOnly, &IQvxLinnographCtl4::get_ShowGridActiveTraceOnly},
        {&IQvxLinnographCtl4::put_ShowYAxisGrid, &IQvxLinnographCtl4::get_ShowYAxisGrid},
        {&IQvxLinnographCtl4::put_ShowYAxisGridMinorLines, &IQvxLinnographCtl4::get_ShowYAxisGridMinorLines},
        {&IQvxLinnographCtl4::put_ShowXAxisGrid, &IQvxLinnographCtl4::get_ShowXAxisGrid},
        {&IQvxLinnographCtl4::put_ShowXAxisGridMinorLines, &IQvxLinnographCtl4::get_ShowXAxisGridMinorLines},
    };
    for (const auto& [put, get] : flags) {
        EXPECT_EQ(E_NOTIMPL, (c->*put)(VARIANT_TRUE));
        EXPECT_EQ(E_NOTIMPL, (c->*get)(&flag));
    }
}

// --- late binding ---

TEST_F(ControlProperties, DispatchByNameReadsAndWritesProperties)
{
    CComPtr<IDispatch> dispatch = Query<IDispatch>(Control);
    UINT count = 0;
    ASSERT_EQ(S_OK, dispatch->GetTypeInfoCount(&count));
    EXPECT_EQ(1u, count);
    LPOLESTR name = const_cast<LPOLESTR>(L"caption");
    DISPID id = 0;
    ASSERT_EQ(S_OK, dispatch->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id));
    EXPECT_EQ(DISPID_CAPTION, id);

    DISPPARAMS none{};
    CVariant result;
    ASSERT_EQ(S_OK, dispatch->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, result.Out(),
                                     nullptr, nullptr));
    ASSERT_EQ(VT_BSTR, V_VT(&result));
    EXPECT_STREQ(L"Real-time Linnograph", V_BSTR(&result));

    CVariant value;
    V_VT(&value) = VT_BSTR;
    V_BSTR(&value) = SysAllocString(L"Flow");
    DISPID named = DISPID_PROPERTYPUT;
    DISPPARAMS put{&value, &named, 1, 1};
    ASSERT_EQ(S_OK, dispatch->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYPUT, &put, nullptr, nullptr,
                                     nullptr));
    CBstr caption;
    ASSERT_EQ(S_OK, Control->get_Caption(caption.Out()));
    EXPECT_EQ(L"Flow", caption.View());

    LPOLESTR unknown = const_cast<LPOLESTR>(L"NoSuchProperty");
    EXPECT_EQ(DISP_E_UNKNOWNNAME, dispatch->GetIDsOfNames(IID_NULL, &unknown, 1, LOCALE_USER_DEFAULT, &id));
    EXPECT_EQ(DISP_E_UNKNOWNINTERFACE, dispatch->Invoke(DISPID_CAPTION, IID_IUnknown, LOCALE_USER_DEFAULT,
                                                        DISPATCH_PROPERTYGET, &none, result.Out(), nullptr, nullptr));
}

TEST_F(ControlProperties, DispatchReportsARefusedValueAsAnException)
{
    CComPtr<IDispatch> dispatch = Query<IDispatch>(Control);
    CVariant value;
    V_VT(&value) = VT_I8;
    V_I8(&value) = 5;
    DISPID named = DISPID_PROPERTYPUT;
    DISPPARAMS put{&value, &named, 1, 1};
    EXCEPINFO exception{};
    HRESULT hr = dispatch->Invoke(50, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYPUT, &put, nullptr, &exception,
                                  nullptr);
    EXPECT_EQ(DISP_E_EXCEPTION, hr);
    EXPECT_EQ(E_INVALIDARG, exception.scode);
    SysFreeString(exception.bstrSource);
    SysFreeString(exception.bstrDescription);
    SysFreeString(exception.bstrHelpFile);
}

TEST_F(ControlProperties, DispatchTypeInformationDescribesTheLatestInterface)
{
    CComPtr<IDispatch> dispatch = Query<IDispatch>(Control);
    CComPtr<ITypeInfo> type;
    EXPECT_EQ(DISP_E_BADINDEX, dispatch->GetTypeInfo(1, 0, type.Out()));
    ASSERT_EQ(S_OK, dispatch->GetTypeInfo(0, 0, type.Out()));
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(S_OK, type->GetTypeAttr(&attributes));
    EXPECT_TRUE(IsEqualGUID(IID_IQvxLinnographCtl4, attributes->guid));
    type->ReleaseTypeAttr(attributes);
}

TEST_F(ControlProperties, FailuresLeaveErrorInformation)
{
    CComPtr<ISupportErrorInfo> support = Query<ISupportErrorInfo>(Control);
    for (const IID* iid : {&IID_IQvxLinnographCtl, &IID_IQvxLinnographCtl2, &IID_IQvxLinnographCtl3,
                           &IID_IQvxLinnographCtl4})
        EXPECT_EQ(S_OK, support->InterfaceSupportsErrorInfo(*iid));
    EXPECT_EQ(S_FALSE, support->InterfaceSupportsErrorInfo(IID_IOleObject));

    SetErrorInfo(0, nullptr);
    ASSERT_EQ(E_INVALIDARG, Control->put_DataTimeSpan(1));
    CComPtr<IErrorInfo> error;
    ASSERT_EQ(S_OK, GetErrorInfo(0, error.Out()));
    GUID interfaceId{};
    ASSERT_EQ(S_OK, error->GetGUID(&interfaceId));
    EXPECT_TRUE(IsEqualGUID(IID_IQvxLinnographCtl4, interfaceId));
}

// --- categories and pages ---

TEST_F(ControlProperties, PropertiesMapToTheirCategories)
{
    CComPtr<ICategorizeProperties> categories = Query<ICategorizeProperties>(Control);
    ASSERT_TRUE(categories);
    const std::pair<PROPCAT, std::vector<DISPID>> table[] = {
        {-5, {-520, -518, -504, 30, 32, 33, 34, 35}},
        {-3, {-512}},
        {1, {1, 2, 3, 4, 5, 6, 8, 14, 15}},
        {2, {9, 10}},
        {3, {7, 11, 12, 13, 31}},
        {65536, {-513, -503, -501, 16, 36}},
    };
    for (const auto& [category, ids] : table) {
        for (DISPID id : ids) {
            PROPCAT found = 0;
            ASSERT_EQ(S_OK, categories->MapPropertyToCategory(id, &found)) << id;
            EXPECT_EQ(category, found) << id;
        }
    }
    PROPCAT found = 0;
    for (DISPID id : {0, 18, 19, 27, 28, 29, 50, 52, -514, -516})
        EXPECT_EQ(E_FAIL, categories->MapPropertyToCategory(id, &found)) << id;
    EXPECT_EQ(E_POINTER, categories->MapPropertyToCategory(1, nullptr));
}

TEST_F(ControlProperties, CategoriesHaveTheirNames)
{
    CComPtr<ICategorizeProperties> categories = Query<ICategorizeProperties>(Control);
    const std::pair<PROPCAT, const wchar_t*> names[] = {
        {-5, L"Appearance"}, {-3, L"Font"}, {1, L"Layout"}, {2, L"Drawing"}, {3, L"View"}, {65536, L"Color"},
    };
    for (const auto& [category, expected] : names) {
        CBstr name;
        ASSERT_EQ(S_OK, categories->GetCategoryName(category, LOCALE_USER_DEFAULT, name.Out()));
        EXPECT_EQ(std::wstring_view(expected), name.View());
    }
    CBstr name;
    EXPECT_EQ(E_FAIL, categories->GetCategoryName(4, LOCALE_USER_DEFAULT, name.Out()));
    EXPECT_EQ(E_FAIL, categories->GetCategoryName(-1, LOCALE_USER_DEFAULT, name.Out()));
    EXPECT_EQ(E_POINTER, categories->GetCategoryName(1, LOCALE_USER_DEFAULT, nullptr));
}

TEST_F(ControlProperties, SixPropertyPagesInOrder)
{
    CComPtr<ISpecifyPropertyPages> specify = Query<ISpecifyPropertyPages>(Control);
    CAUUID pages{};
    ASSERT_EQ(S_OK, specify->GetPages(&pages));
    ASSERT_EQ(6u, pages.cElems);
    const CLSID* expected[] = {&CLSID_LayoutPpg, &CLSID_DataPpg, &CLSID_QvxChannelsPage, &CLSID_QvxEventsPage,
                               &CLSID_QvxGroupsPage, &CLSID_QvxColoursPage};
    for (ULONG i = 0; i < 6; ++i) EXPECT_TRUE(IsEqualCLSID(*expected[i], pages.pElems[i])) << i;
    CoTaskMemFree(pages.pElems);
    EXPECT_EQ(E_POINTER, specify->GetPages(nullptr));
}

// --- connection points ---

TEST_F(ControlProperties, TwoConnectionPoints)
{
    CComPtr<IConnectionPointContainer> container = Query<IConnectionPointContainer>(Control);
    CComPtr<IEnumConnectionPoints> points;
    ASSERT_EQ(S_OK, container->EnumConnectionPoints(points.Out()));
    IConnectionPoint* found[3] = {};
    ULONG fetched = 0;
    EXPECT_EQ(S_FALSE, points->Next(3, found, &fetched));
    ASSERT_EQ(2u, fetched);
    IID iids[2]{};
    for (ULONG i = 0; i < fetched; ++i) {
        found[i]->GetConnectionInterface(&iids[i]);
        CComPtr<IConnectionPointContainer> back;
        found[i]->GetConnectionPointContainer(back.Out());
        EXPECT_TRUE(SameObject(back, Control));
        found[i]->Release();
    }
    EXPECT_TRUE(IsEqualIID(DIID__IQvxLinnographCtlEvents, iids[0]));
    EXPECT_TRUE(IsEqualIID(IID_IPropertyNotifySink, iids[1]));
    CComPtr<IConnectionPoint> none;
    EXPECT_EQ(CONNECT_E_NOCONNECTION, container->FindConnectionPoint(IID_IDispatch, none.Out()));
    // A sink that does not speak the event interface is not connected.
    CPropertySink notEvents;
    CConnection events(Control, DIID__IQvxLinnographCtlEvents, &notEvents);
    EXPECT_EQ(CONNECT_E_CANNOTCONNECT, events.Result);
}

TEST_F(ControlProperties, SinksMayUnadviseDuringANotification)
{
    CPropertySink first, second, third;
    CConnection a(Control, IID_IPropertyNotifySink, &first);
    CConnection b(Control, IID_IPropertyNotifySink, &second);
    CConnection c(Control, IID_IPropertyNotifySink, &third);
    first.OnChange = [&](DISPID) {
        a.Point->Unadvise(a.Cookie);
        b.Point->Unadvise(b.Cookie);
        a.Cookie = b.Cookie = 0;
    };
    ASSERT_EQ(S_OK, Control->put_GridColor(0x010203));
    EXPECT_EQ(1u, first.Changes.size());
    EXPECT_TRUE(second.Changes.empty());
    EXPECT_EQ(1u, third.Changes.size());
    EXPECT_EQ(0u, first.Refs);
    EXPECT_EQ(0u, second.Refs);

    CComPtr<IEnumConnections> connections;
    ASSERT_EQ(S_OK, c.Point->EnumConnections(connections.Out()));
    CONNECTDATA data[2]{};
    ULONG fetched = 0;
    connections->Next(2, data, &fetched);
    ASSERT_EQ(1u, fetched);
    EXPECT_EQ(c.Cookie, data[0].dwCookie);
    data[0].pUnk->Release();
}
