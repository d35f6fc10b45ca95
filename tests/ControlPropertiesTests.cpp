// The control's properties, late binding, categories, pages and connection points, through COM.
#include "tests/OleTestSupport.h"
#include <memory>

using namespace qvxtest;

namespace {

constexpr qvx::time Second = 10'000'000;
using Control4 = IQvxLinnographCtl4;

class ControlProperties : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(Control);
        ASSERT_EQ(S_OK, InitNew(Control));
    }
    COleScope Ole;
    CComPtr<Control4> Control = CreateControl();
};

CComPtr<IFontDisp> MakeFont(const wchar_t* name, LONGLONG size)
{
    FONTDESC description{sizeof(FONTDESC), const_cast<LPOLESTR>(name), {}, FW_NORMAL, 0, FALSE, FALSE, FALSE};
    description.cySize.int64 = size;
    CComPtr<IFontDisp> font;
    OleCreateFontIndirect(&description, IID_IFontDisp, font.OutVoid());
    return font;
}

LONGLONG FontSize(IFontDisp* font)
{
    CY size{};
    if (CComPtr<IFont> details = Query<IFont>(font)) details->get_Size(&size);
    return size.int64;
}

// A stock property as a test sees it: its id, a setter that changes it and a test of the change.
struct CStockProperty
{
    DISPID Id;
    std::function<HRESULT(Control4*)> Change;
    std::function<bool(Control4*)> Changed;
};

template <class T, class Put, class Get>
CStockProperty Stock(DISPID id, Put put, Get get, T value)
{
    return {id, [=](Control4* c) { return (c->*put)(value); },
            [=](Control4* c) {
                T read{};
                (c->*get)(&read);
                return read == value;
            }};
}

std::vector<CStockProperty> StockProperties()
{
    auto font = std::make_shared<CComPtr<IFontDisp>>(MakeFont(L"Courier New", 120'000));
    return {
        Stock<OLE_COLOR>(DISPID_BORDERCOLOR, &Control4::put_BorderColor, &Control4::get_BorderColor, 0x0000FF),
        Stock<OLE_COLOR>(DISPID_BACKCOLOR, &Control4::put_BackColor, &Control4::get_BackColor, 0x0000FF),
        Stock<OLE_COLOR>(DISPID_FORECOLOR, &Control4::put_ForeColor, &Control4::get_ForeColor, 0x0000FF),
        Stock<VARIANT_BOOL>(DISPID_TABSTOP, &Control4::put_TabStop, &Control4::get_TabStop, VARIANT_FALSE),
        Stock<VARIANT_BOOL>(DISPID_ENABLED, &Control4::put_Enabled, &Control4::get_Enabled, VARIANT_FALSE),
        {DISPID_CAPTION, [](Control4* c) { return c->put_Caption(CBstr(L"Pressure").Get()); },
         [](Control4* c) {
             CBstr text;
             c->get_Caption(text.Out());
             return text.View() == L"Pressure";
         }},
        {DISPID_FONT, [font](Control4* c) { return c->putref_Font(*font); },
         [font](Control4* c) {
             CComPtr<IFontDisp> kept;
             c->get_Font(kept.Out());
             return SameObject(kept, *font);
         }},
    };
}

HRESULT IsDirty(IUnknown* control)
{
    return Query<IPersistStreamInit>(control)->IsDirty();
}

} // namespace

// --- stock properties ---

// Each stock property asks the sinks first: refused, it keeps its value, tells nobody and leaves
// the control clean; accepted, it is stored, announced, and the control is modified.
TEST_F(ControlProperties, StockPropertiesAskAnnounceAndModify)
{
    for (const CStockProperty& property : StockProperties()) {
        SCOPED_TRACE(property.Id);
        CComPtr<Control4> refusedControl = CreateControl();
        CPropertySink refusing, listening;
        refusing.EditAnswer = S_FALSE;
        {
            CConnection first(refusedControl, IID_IPropertyNotifySink, &listening);
            CConnection second(refusedControl, IID_IPropertyNotifySink, &refusing);
            EXPECT_EQ(S_FALSE, property.Change(refusedControl));
        }
        EXPECT_FALSE(property.Changed(refusedControl));
        EXPECT_EQ(std::vector<DISPID>{property.Id}, refusing.EditRequests);
        EXPECT_TRUE(listening.Changes.empty());
        EXPECT_EQ(S_FALSE, IsDirty(refusedControl));

        CComPtr<Control4> control = CreateControl();
        CPropertySink sink;
        CAdviseSink data;
        CConnection connection(control, IID_IPropertyNotifySink, &sink);
        FORMATETC format{0, nullptr, DVASPECT_CONTENT, -1, TYMED_NULL};
        DWORD cookie = 0;
        ASSERT_EQ(S_OK, Query<IDataObject>(control)->DAdvise(&format, ADVF_NODATA, &data, &cookie));
        EXPECT_EQ(S_OK, property.Change(control));
        EXPECT_TRUE(property.Changed(control));
        EXPECT_EQ(std::vector<DISPID>{property.Id}, sink.EditRequests);
        EXPECT_EQ(std::vector<DISPID>{property.Id}, sink.Changes);
        EXPECT_EQ(S_OK, IsDirty(control));
        EXPECT_EQ(1, data.DataChanges);
        Query<IDataObject>(control)->DUnadvise(cookie);
    }
}

// Every getter: its value on a new control, and E_POINTER for a null pointer.
TEST_F(ControlProperties, DefaultsAndNullOutPointers)
{
    struct CRow
    {
        const char* Name;
        std::function<HRESULT(Control4*, bool)> Get;   // with false: into null
    };
    auto expect = [](auto get, auto value) {
        return [get, value](Control4* c, bool read) -> HRESULT {
            if (!read) return (c->*get)(nullptr);
            decltype(value) got{};
            HRESULT hr = (c->*get)(&got);
            EXPECT_EQ(value, got);
            return hr;
        };
    };
    const CRow rows[] = {
        {"TabStop", expect(&Control4::get_TabStop, VARIANT_BOOL(VARIANT_TRUE))},
        {"Enabled", expect(&Control4::get_Enabled, VARIANT_BOOL(VARIANT_TRUE))},
        {"BorderColor", expect(&Control4::get_BorderColor, OLE_COLOR(0xFFFFFFFF))},
        {"BackColor", expect(&Control4::get_BackColor, OLE_COLOR(0xFFFFFFFF))},
        {"ForeColor", expect(&Control4::get_ForeColor, OLE_COLOR(0xFFFFFFFF))},
        {"GridColor", expect(&Control4::get_GridColor, OLE_COLOR(0xFFFFFFFF))},
        {"ActiveTraceGridColor", expect(&Control4::get_ActiveTraceGridColor, OLE_COLOR(0xD0D0D0))},
        {"Appearance", expect(&Control4::get_Appearance, LONG(0))},
        {"BorderStyle", expect(&Control4::get_BorderStyle, LONG(0))},
        {"ShowCursorValues", expect(&Control4::get_ShowCursorValues, VARIANT_BOOL(VARIANT_TRUE))},
        {"AutoSizeCursorValues", expect(&Control4::get_AutoSizeCursorValues, VARIANT_BOOL(VARIANT_TRUE))},
        {"VerticalSplitPos", expect(&Control4::get_VerticalSplitPos, 1.25)},
        {"DataTimeSpan", expect(&Control4::get_DataTimeSpan, INT64(20 * Second))},
        {"HistoricDataTimeSpan", expect(&Control4::get_HistoricDataTimeSpan, INT64(300 * Second))},
        {"EventColorScheme", expect(&Control4::get_EventColorScheme, qvxPriorityColor)},
    };
    for (const CRow& row : rows) {
        SCOPED_TRACE(row.Name);
        EXPECT_EQ(S_OK, row.Get(Control, true));
        EXPECT_EQ(E_POINTER, row.Get(Control, false));
    }
    CBstr caption;
    ASSERT_EQ(S_OK, Control->get_Caption(caption.Out()));
    EXPECT_EQ(L"Real-time Linnograph", caption.View());
    EXPECT_EQ(E_POINTER, Control->get_Caption(nullptr));
    EXPECT_EQ(E_POINTER, Control->get_Font(nullptr));
    // Before InitNew there is neither a font nor the active grid's default.
    CComPtr<Control4> fresh = CreateControl();
    CComPtr<IFontDisp> none;
    ASSERT_EQ(S_OK, fresh->get_Font(none.Out()));
    EXPECT_FALSE(none);
    OLE_COLOR colour = 0;
    ASSERT_EQ(S_OK, fresh->get_ActiveTraceGridColor(&colour));
    EXPECT_EQ(0xFFFFFFFFu, colour);
}

TEST_F(ControlProperties, FontIsArialEightPointsAndPutKeepsACloneWhilePutrefKeepsTheObject)
{
    CComPtr<IFontDisp> font;
    ASSERT_EQ(S_OK, Control->get_Font(font.Out()));
    ASSERT_TRUE(font);
    // The system may substitute the face and round the size: compare with fonts asked for alike.
    CBstr name, expectedName;
    Query<IFont>(font)->get_Name(name.Out());
    Query<IFont>(MakeFont(L"Arial", 80'000))->get_Name(expectedName.Out());
    EXPECT_EQ(expectedName.View(), name.View());
    EXPECT_EQ(FontSize(MakeFont(L"Arial", 80'000)), FontSize(font));
    EXPECT_NE(FontSize(MakeFont(L"Arial", 120'000)), FontSize(font));

    CComPtr<IFontDisp> given = MakeFont(L"Courier New", 200'000);
    Query<IFont>(given)->put_Bold(TRUE);
    ASSERT_EQ(S_OK, Control->put_Font(given));
    CComPtr<IFontDisp> kept;
    ASSERT_EQ(S_OK, Control->get_Font(kept.Out()));
    EXPECT_FALSE(SameObject(kept, given));
    EXPECT_EQ(FontSize(given), FontSize(kept));
    Query<IFont>(given)->put_Bold(FALSE);
    BOOL bold = FALSE;
    Query<IFont>(kept)->get_Bold(&bold);
    EXPECT_TRUE(bold) << "the caller's font is not the control's";
    ASSERT_EQ(S_OK, Control->putref_Font(given));
    ASSERT_EQ(S_OK, Control->get_Font(kept.Out()));
    EXPECT_TRUE(SameObject(kept, given));
    EXPECT_EQ(E_INVALIDARG, Control->put_Font(nullptr));
    EXPECT_EQ(E_INVALIDARG, Control->putref_Font(nullptr));
    ASSERT_EQ(S_OK, Control->put_Caption(nullptr));
    CBstr caption;
    ASSERT_EQ(S_OK, Control->get_Caption(caption.Out()));
    EXPECT_EQ(0u, caption.Length());
}

// --- own properties ---

TEST_F(ControlProperties, VariantBoolIsTrueOnlyAtMinusOne)
{
    using Put = HRESULT (STDMETHODCALLTYPE Control4::*)(VARIANT_BOOL);
    using Get = HRESULT (STDMETHODCALLTYPE Control4::*)(VARIANT_BOOL*);
    const std::pair<Put, Get> flags[] = {
        {&Control4::put_TabStop, &Control4::get_TabStop},
        {&Control4::put_Enabled, &Control4::get_Enabled},
        {&Control4::put_ShowCursorValues, &Control4::get_ShowCursorValues},
        {&Control4::put_AutoSizeCursorValues, &Control4::get_AutoSizeCursorValues},
    };
    for (const auto& [put, get] : flags) {
        for (const auto& [given, read] : {std::pair{1, VARIANT_FALSE}, {VARIANT_TRUE, VARIANT_TRUE}, {2, VARIANT_FALSE}}) {
            VARIANT_BOOL value = 0;
            ASSERT_EQ(S_OK, (Control.Get()->*put)(VARIANT_BOOL(given)));
            ASSERT_EQ(S_OK, (Control.Get()->*get)(&value));
            EXPECT_EQ(read, value) << given;
        }
    }
}

// The spans take 1 to 9999 seconds, and the historic span is never below the data span.
TEST_F(ControlProperties, TimeSpansKeepTheirLimitsAndTheirOrder)
{
    struct CRow
    {
        const char* Name;
        HRESULT (STDMETHODCALLTYPE Control4::*Put)(INT64);
        INT64 Value;
        HRESULT Result;
        INT64 Data, Historic;   // the two spans after the row
    };
    const CRow rows[] = {
        {"data below a second", &Control4::put_DataTimeSpan, 9'999'999, E_INVALIDARG, 20 * Second, 300 * Second},
        {"data beyond the limit", &Control4::put_DataTimeSpan, 99'990'000'001, E_INVALIDARG, 20 * Second, 300 * Second},
        {"negative data", &Control4::put_DataTimeSpan, -Second, E_INVALIDARG, 20 * Second, 300 * Second},
        {"historic below a second", &Control4::put_HistoricDataTimeSpan, 9'999'999, E_INVALIDARG, 20 * Second, 300 * Second},
        {"historic beyond the limit", &Control4::put_HistoricDataTimeSpan, 99'990'000'001, E_INVALIDARG, 20 * Second, 300 * Second},
        {"one second", &Control4::put_DataTimeSpan, Second, S_OK, Second, 300 * Second},
        {"data above historic raises it", &Control4::put_DataTimeSpan, 400 * Second, S_OK, 400 * Second, 400 * Second},
        {"lower data leaves historic", &Control4::put_DataTimeSpan, 30 * Second, S_OK, 30 * Second, 400 * Second},
        {"historic below data stores data", &Control4::put_HistoricDataTimeSpan, 10 * Second, S_OK, 30 * Second, 30 * Second},
        {"the largest data span", &Control4::put_DataTimeSpan, 99'990'000'000, S_OK, 99'990'000'000, 99'990'000'000},
    };
    for (const CRow& row : rows) {
        EXPECT_EQ(row.Result, (Control.Get()->*row.Put)(row.Value)) << row.Name;
        INT64 data = 0, historic = 0;
        ASSERT_EQ(S_OK, Control->get_DataTimeSpan(&data));
        ASSERT_EQ(S_OK, Control->get_HistoricDataTimeSpan(&historic));
        EXPECT_EQ(row.Data, data) << row.Name;
        EXPECT_EQ(row.Historic, historic) << row.Name;
    }
}

// What each own property tells the property sinks and whether it leaves the control modified.
TEST_F(ControlProperties, OwnPropertiesAnnounceAndModifyAsTheirContractsSay)
{
    struct CRow
    {
        const char* Name;
        std::function<void(Control4*)> Change;
        std::vector<DISPID> Announced;
        HRESULT Dirty;
    };
    const CRow rows[] = {
        {"an unchanged span", [](Control4* c) { c->put_DataTimeSpan(20 * Second); }, {}, S_FALSE},
        {"the split", [](Control4* c) { c->put_VerticalSplitPos(3.5); }, {}, S_OK},
        {"an unchanged appearance", [](Control4* c) { c->put_Appearance(0); }, {}, S_OK},
        {"the grid colour twice", [](Control4* c) { c->put_GridColor(0x102030); c->put_GridColor(0x102030); }, {16}, S_OK},
        {"the active grid colour, unset, then its default",
         [](Control4* c) {
             c->put_ActiveTraceGridColor(0x00FF00);
             c->put_ActiveTraceGridColor(0xFFFFFFFF);
             OLE_COLOR colour = 0;
             c->get_ActiveTraceGridColor(&colour);
             EXPECT_EQ(0xD0D0D0u, colour) << "unset stores the default";
             c->put_ActiveTraceGridColor(0xD0D0D0);
         },
         {36, 36}, S_OK},
        {"the event colour scheme, also unchanged",
         [](Control4* c) { c->put_EventColorScheme(qvxPriorityColor); c->put_EventColorScheme(qvxEventColor); },
         {18, 18}, S_OK},
    };
    for (const CRow& row : rows) {
        SCOPED_TRACE(row.Name);
        CComPtr<Control4> control = CreateControl();
        CPropertySink sink;
        CConnection connection(control, IID_IPropertyNotifySink, &sink);
        row.Change(control);
        EXPECT_EQ(row.Announced, sink.Changes);
        EXPECT_TRUE(sink.EditRequests.empty());
        EXPECT_EQ(row.Dirty, IsDirty(control));
    }
}

// --- late binding ---

TEST_F(ControlProperties, DispatchByNameReadsWritesAndReportsRefusalsWithErrorInformation)
{
    CComPtr<IDispatch> dispatch = Query<IDispatch>(Control);

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

    // A refused value comes back as an exception, and leaves error information of the interface.
    CVariant span;
    V_VT(&span) = VT_I8;
    V_I8(&span) = 5;
    DISPPARAMS putSpan{&span, &named, 1, 1};
    EXCEPINFO exception{};
    EXPECT_EQ(DISP_E_EXCEPTION, dispatch->Invoke(50, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYPUT, &putSpan,
                                                 nullptr, &exception, nullptr));
    EXPECT_EQ(E_INVALIDARG, exception.scode);
    for (BSTR text : {exception.bstrSource, exception.bstrDescription, exception.bstrHelpFile}) SysFreeString(text);
    SetErrorInfo(0, nullptr);
    ASSERT_EQ(E_INVALIDARG, Control->put_DataTimeSpan(1));
    CComPtr<IErrorInfo> error;
    ASSERT_EQ(S_OK, GetErrorInfo(0, error.Out()));
    GUID interfaceId{};
    ASSERT_EQ(S_OK, error->GetGUID(&interfaceId));
    EXPECT_TRUE(IsEqualGUID(IID_IQvxLinnographCtl4, interfaceId));
}

// --- categories and pages ---

TEST_F(ControlProperties, PropertiesMapToNamedCategoriesAndPages)
{
    CComPtr<ICategorizeProperties> categories = Query<ICategorizeProperties>(Control);
    ASSERT_TRUE(categories);
    struct CRow
    {
        PROPCAT Category;
        const wchar_t* Name;
        std::vector<DISPID> Ids;
    };
    const CRow table[] = {
        {-5, L"Appearance", {-520, -518, -504, 30, 32, 33, 34, 35}}, {-3, L"Font", {-512}},
        {1, L"Layout", {1, 2, 3, 4, 5, 6, 8, 14, 15}}, {2, L"Drawing", {9, 10}}, {3, L"View", {7, 11, 12, 13, 31}},
        {65536, L"Color", {-513, -503, -501, 16, 36}},
    };
    for (const CRow& row : table) {
        CBstr name;
        ASSERT_EQ(S_OK, categories->GetCategoryName(row.Category, LOCALE_USER_DEFAULT, name.Out()));
        EXPECT_EQ(std::wstring_view(row.Name), name.View());
        for (DISPID id : row.Ids) {
            PROPCAT found = 0;
            ASSERT_EQ(S_OK, categories->MapPropertyToCategory(id, &found)) << id;
            EXPECT_EQ(row.Category, found) << id;
        }
    }
    PROPCAT found = 0;
    for (DISPID id : {0, 18, 19, 27, 28, 29, 50, 52, -514, -516})
        EXPECT_EQ(E_FAIL, categories->MapPropertyToCategory(id, &found)) << id;
    CBstr name;
    EXPECT_EQ(E_FAIL, categories->GetCategoryName(4, LOCALE_USER_DEFAULT, name.Out()));
    EXPECT_EQ(E_POINTER, categories->MapPropertyToCategory(1, nullptr));
    EXPECT_EQ(E_POINTER, categories->GetCategoryName(1, LOCALE_USER_DEFAULT, nullptr));

    CAUUID pages{};
    ASSERT_EQ(S_OK, Query<ISpecifyPropertyPages>(Control)->GetPages(&pages));
    const CLSID* expected[] = {&CLSID_LayoutPpg, &CLSID_DataPpg, &CLSID_QvxChannelsPage, &CLSID_QvxEventsPage,
                               &CLSID_QvxGroupsPage, &CLSID_QvxColoursPage};
    ASSERT_EQ(6u, pages.cElems);
    for (ULONG i = 0; i < 6; ++i) EXPECT_TRUE(IsEqualCLSID(*expected[i], pages.pElems[i])) << i;
    CoTaskMemFree(pages.pElems);
    // The control fires no events of its own: its event point takes no sink.
    CPropertySink notEvents;
    EXPECT_EQ(CONNECT_E_CANNOTCONNECT, CConnection(Control, DIID__IQvxLinnographCtlEvents, &notEvents).Result);
}
