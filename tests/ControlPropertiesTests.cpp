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

// A font's size and, when asked, its face name, as one text.
std::wstring FontText(IFontDisp* font, bool withName = false)
{
    CY size{};
    CBstr name;
    if (CComPtr<IFont> details = Query<IFont>(font)) {
        details->get_Size(&size);
        if (withName) details->get_Name(name.Out());
    }
    return std::wstring(name.View()) + L" " + std::to_wstring(size.int64);
}

HRESULT IsDirty(IUnknown* control)
{
    return Query<IPersistStreamInit>(control)->IsDirty();
}

// Reads a property of `control` through its getter, into a value of the getter's type.
template <class T, class C>
T Read(Control4* control, HRESULT (STDMETHODCALLTYPE C::*get)(T*))
{
    T value{};
    EXPECT_EQ(S_OK, (control->*get)(&value));
    return value;
}

template <class C>
CComPtr<IFontDisp> Read(Control4* control, HRESULT (STDMETHODCALLTYPE C::*get)(IFontDisp**))
{
    CComPtr<IFontDisp> font;
    EXPECT_EQ(S_OK, (control->*get)(font.Out()));
    return font;
}

} // namespace

// Each stock property asks the sinks first: refused, it keeps its value, tells nobody and leaves
// the control clean; accepted, it is stored, announced, and the control is modified.
TEST_F(ControlProperties, StockPropertiesAskAnnounceAndModify)
{
    CComPtr<IFontDisp> font = MakeFont(L"Courier New", 120'000);
    const struct
    {
        DISPID Id;
        std::function<HRESULT(Control4*)> Change;
        std::function<bool(Control4*)> Changed;
    } rows[] = {
        {DISPID_BORDERCOLOR, [](Control4* c) { return c->put_BorderColor(0xFF); },
         [](Control4* c) { return Read(c, &Control4::get_BorderColor) == 0xFF; }},
        {DISPID_TABSTOP, [](Control4* c) { return c->put_TabStop(VARIANT_FALSE); },
         [](Control4* c) { return Read(c, &Control4::get_TabStop) == VARIANT_FALSE; }},
        {DISPID_FONT, [&](Control4* c) { return c->putref_Font(font); },
         [&](Control4* c) { return SameObject(Read(c, &Control4::get_Font), font); }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.Id);
        CComPtr<Control4> refused = CreateControl(), control = CreateControl();
        CPropertySink refusing, listening, sink;
        CAdviseSink data;
        refusing.EditAnswer = S_FALSE;
        {
            CConnection first(refused, IID_IPropertyNotifySink, &listening);
            CConnection second(refused, IID_IPropertyNotifySink, &refusing);
            EXPECT_EQ(S_FALSE, row.Change(refused));
        }
        EXPECT_FALSE(row.Changed(refused));
        EXPECT_EQ(std::vector<DISPID>{row.Id}, refusing.EditRequests);
        EXPECT_TRUE(listening.Changes.empty());
        EXPECT_EQ(S_FALSE, IsDirty(refused));
        CConnection connection(control, IID_IPropertyNotifySink, &sink);
        CDataAdvise advise(control, &data);
        EXPECT_EQ(S_OK, row.Change(control));
        EXPECT_TRUE(row.Changed(control));
        EXPECT_TRUE(sink.EditRequests == std::vector<DISPID>{row.Id} && sink.Changes == std::vector<DISPID>{row.Id});
        EXPECT_EQ(S_OK, IsDirty(control));
        EXPECT_EQ(1, data.DataChanges);
    }
}

// Getters of each kind: the default and E_POINTER for a null pointer. The font is Arial of eight
// points; put keeps a clone of the caller's font, putref the object itself.
TEST_F(ControlProperties, DefaultsNullOutPointersAndTheFont)
{
    const auto expect = [](auto get, auto value) {
        return [get, value](Control4* c) {
            EXPECT_EQ(E_POINTER, (c->*get)(nullptr));
            return Read(c, get) == value;
        };
    };
    const std::pair<const char*, std::function<bool(Control4*)>> rows[] = {
        {"TabStop", expect(&Control4::get_TabStop, VARIANT_BOOL(VARIANT_TRUE))},
        {"BackColor", expect(&Control4::get_BackColor, OLE_COLOR(0xFFFFFFFF))},
        {"ActiveTraceGridColor", expect(&Control4::get_ActiveTraceGridColor, OLE_COLOR(0xD0D0D0))},
        {"Appearance", expect(&Control4::get_Appearance, LONG(0))},
        {"VerticalSplitPos", expect(&Control4::get_VerticalSplitPos, 1.25)},
        {"EventColorScheme", expect(&Control4::get_EventColorScheme, qvxPriorityColor)},
    };
    for (const auto& [name, matches] : rows) EXPECT_TRUE(matches(Control)) << name;
    CBstr caption;
    ASSERT_EQ(S_OK, Control->get_Caption(caption.Out()));
    EXPECT_EQ(L"Real-time Linnograph", caption.View());
    EXPECT_EQ(E_POINTER, Control->get_Caption(nullptr));
    EXPECT_EQ(E_POINTER, Control->get_Font(nullptr));
    // Before InitNew there is neither a font nor the active grid's default.
    CComPtr<Control4> fresh = CreateControl();
    EXPECT_FALSE(Read(fresh.Get(), &Control4::get_Font));
    EXPECT_EQ(0xFFFFFFFFu, Read(fresh.Get(), &Control4::get_ActiveTraceGridColor));
    // The system may substitute the face and round the size: compare with fonts asked for alike.
    CComPtr<IFontDisp> font = Read(Control.Get(), &Control4::get_Font);
    ASSERT_TRUE(font);
    EXPECT_EQ(FontText(MakeFont(L"Arial", 80'000), true), FontText(font, true));
    CComPtr<IFontDisp> given = MakeFont(L"Courier New", 200'000);
    Query<IFont>(given)->put_Bold(TRUE);
    ASSERT_EQ(S_OK, Control->put_Font(given));
    CComPtr<IFontDisp> kept = Read(Control.Get(), &Control4::get_Font);
    EXPECT_FALSE(SameObject(kept, given));
    EXPECT_EQ(FontText(given), FontText(kept));
    Query<IFont>(given)->put_Bold(FALSE);
    BOOL bold = FALSE;
    Query<IFont>(kept)->get_Bold(&bold);
    EXPECT_TRUE(bold) << "the caller's font is not the control's";
    ASSERT_EQ(S_OK, Control->putref_Font(given));
    EXPECT_TRUE(SameObject(Read(Control.Get(), &Control4::get_Font), given));
    EXPECT_EQ(E_INVALIDARG, Control->put_Font(nullptr));
    ASSERT_EQ(S_OK, Control->put_Caption(nullptr));
    ASSERT_EQ(S_OK, Control->get_Caption(caption.Out()));
    EXPECT_EQ(0u, caption.Length());
}

// A VARIANT_BOOL is true only at -1. The spans take 1 to 9999 seconds, and the historic span is
// never below the data span; a refusal comes with error information.
TEST_F(ControlProperties, BooleansAndTimeSpansKeepTheirRules)
{
    using PutBool = HRESULT (STDMETHODCALLTYPE Control4::*)(VARIANT_BOOL);
    using GetBool = HRESULT (STDMETHODCALLTYPE Control4::*)(VARIANT_BOOL*);
    for (const auto& [put, get] : {std::pair<PutBool, GetBool>{&Control4::put_TabStop, &Control4::get_TabStop},
                                   {&Control4::put_AutoSizeCursorValues, &Control4::get_AutoSizeCursorValues}}) {
        for (const auto& [given, read] : {std::pair{1, VARIANT_FALSE}, {VARIANT_TRUE, VARIANT_TRUE}, {2, VARIANT_FALSE}}) {
            ASSERT_EQ(S_OK, (Control.Get()->*put)(VARIANT_BOOL(given)));
            EXPECT_EQ(read, Read(Control.Get(), get)) << given;
        }
    }
    using Put = HRESULT (STDMETHODCALLTYPE Control4::*)(INT64);
    const Put data = &Control4::put_DataTimeSpan, historic = &Control4::put_HistoricDataTimeSpan;
    constexpr INT64 Longest = 99'990'000'000;
    const struct
    {
        const char* Name;
        Put Setter;
        INT64 Value;
        HRESULT Result;
        INT64 Data, Historic;   // the two spans after the row
    } rows[] = {
        {"data below a second", data, 9'999'999, E_INVALIDARG, 20 * Second, 300 * Second},
        {"data beyond the limit", data, Longest + 1, E_INVALIDARG, 20 * Second, 300 * Second},
        {"historic below a second", historic, 9'999'999, E_INVALIDARG, 20 * Second, 300 * Second},
        {"one second", data, Second, S_OK, Second, 300 * Second},
        {"data above historic raises it", data, 400 * Second, S_OK, 400 * Second, 400 * Second},
        {"lower data leaves historic", data, 30 * Second, S_OK, 30 * Second, 400 * Second},
        {"historic below data stores data", historic, 10 * Second, S_OK, 30 * Second, 30 * Second},
        {"the largest data span", data, Longest, S_OK, Longest, Longest},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.Result, (Control.Get()->*row.Setter)(row.Value)) << row.Name;
        EXPECT_EQ(row.Data, Read(Control.Get(), &Control4::get_DataTimeSpan)) << row.Name;
        EXPECT_EQ(row.Historic, Read(Control.Get(), &Control4::get_HistoricDataTimeSpan)) << row.Name;
    }
    // A refusal through the vtable leaves error information of the interface behind.
    SetErrorInfo(0, nullptr);
    ASSERT_EQ(E_INVALIDARG, Control->put_DataTimeSpan(1));
    CComPtr<IErrorInfo> error;
    GUID interfaceId{};
    ASSERT_EQ(S_OK, GetErrorInfo(0, error.Out()));
    ASSERT_EQ(S_OK, error->GetGUID(&interfaceId));
    EXPECT_TRUE(IsEqualGUID(IID_IQvxLinnographCtl4, interfaceId));
}

// What each own property tells the property sinks and whether it leaves the control modified.
TEST_F(ControlProperties, OwnPropertiesAnnounceAndModifyAsTheirContractsSay)
{
    const struct
    {
        const char* Name;
        std::function<void(Control4*)> Change;
        std::vector<DISPID> Announced;
        HRESULT Dirty;
    } rows[] = {
        {"an unchanged span", [](Control4* c) { c->put_DataTimeSpan(20 * Second); }, {}, S_FALSE},
        {"an unchanged appearance", [](Control4* c) { c->put_Appearance(0); }, {}, S_OK},
        {"the grid colour twice", [](Control4* c) { c->put_GridColor(0x102030); c->put_GridColor(0x102030); }, {16}, S_OK},
        {"the active grid colour, unset, then its default",
         [](Control4* c) {
             c->put_ActiveTraceGridColor(0x00FF00);
             c->put_ActiveTraceGridColor(0xFFFFFFFF);
             EXPECT_EQ(0xD0D0D0u, Read(c, &Control4::get_ActiveTraceGridColor)) << "unset stores the default";
             c->put_ActiveTraceGridColor(0xD0D0D0);
         },
         {36, 36}, S_OK},
        {"the event colour scheme, also unchanged",
         [](Control4* c) { c->put_EventColorScheme(qvxPriorityColor); c->put_EventColorScheme(qvxEventColor); },
         {18, 18}, S_OK},
    };
    for (const auto& row : rows) {
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

// The categories by name (the first, the control's own and the unnamed stand for the rest) and the
// pages, first and last; the control fires no events of its own, so its event point takes no sink.
TEST_F(ControlProperties, PropertiesMapToNamedCategoriesAndPages)
{
    CComPtr<ICategorizeProperties> categories = Query<ICategorizeProperties>(Control);
    ASSERT_TRUE(categories);
    const struct
    {
        PROPCAT Category;
        const wchar_t* Name;
        std::vector<DISPID> Ids;
    } rows[] = {
        {-5, L"Appearance", {-520, 35}}, {65536, L"Color", {-513, 36}}, {4, nullptr, {0, -516}},
    };
    for (const auto& row : rows) {
        CBstr name;
        EXPECT_EQ(row.Name ? S_OK : E_FAIL, categories->GetCategoryName(row.Category, LOCALE_USER_DEFAULT, name.Out()));
        EXPECT_EQ(std::wstring_view(row.Name ? row.Name : L""), name.View());
        for (DISPID id : row.Ids) {
            PROPCAT found = 0;
            EXPECT_EQ(row.Name ? S_OK : E_FAIL, categories->MapPropertyToCategory(id, &found)) << id;
            EXPECT_TRUE(!row.Name || row.Category == found) << id;
        }
    }
    EXPECT_EQ(E_POINTER, categories->MapPropertyToCategory(1, nullptr));
    CAUUID pages{};
    ASSERT_EQ(S_OK, Query<ISpecifyPropertyPages>(Control)->GetPages(&pages));
    ASSERT_EQ(6u, pages.cElems);
    EXPECT_TRUE(IsEqualCLSID(CLSID_LayoutPpg, pages.pElems[0]) && IsEqualCLSID(CLSID_QvxColoursPage, pages.pElems[5]));
    CoTaskMemFree(pages.pElems);
    CPropertySink notEvents;
    EXPECT_EQ(CONNECT_E_CANNOTCONNECT, CConnection(Control, DIID__IQvxLinnographCtlEvents, &notEvents).Result);
}
