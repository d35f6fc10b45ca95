// The colour-scheme lookup: the container's ambient answer, else the fallback table.
#include <gtest/gtest.h>
#include <map>
#include <string>
#include "com/AutomationTypes.h"
#include "control/ControlColors.h"

namespace {

// An ambient dispatch that answers some indices and records how it was last asked.
class CAmbient : public IDispatch
{
public:
    std::map<DISPID, CVariant> Answers;
    std::string Asked;

    STDMETHODIMP QueryInterface(REFIID, void** out) override { *out = nullptr; return E_NOINTERFACE; }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP GetTypeInfoCount(UINT* count) override { *count = 0; return S_OK; }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    STDMETHODIMP Invoke(DISPID id, REFIID iid, LCID locale, WORD flags, DISPPARAMS* parameters, VARIANT* result,
                        EXCEPINFO*, UINT*) override
    {
        Asked = std::to_string(id) + (flags == DISPATCH_PROPERTYGET ? " get" : " other")
                + (locale == LOCALE_USER_DEFAULT ? " user" : " other") + (IsEqualIID(iid, IID_NULL) ? " null " : " iid ")
                + std::to_string(parameters ? int(parameters->cArgs) : -1);
        auto found = Answers.find(id);
        return found == Answers.end() ? DISP_E_MEMBERNOTFOUND : VariantCopy(result, &found->second);
    }
    void Answer(DISPID id, VARTYPE type, LONG value)
    {
        V_VT(&Answers[id]) = type;
        V_I4(&Answers[id]) = value;
    }
};

// A number from the container wins, a system colour translated; a member that is missing, not a
// number or not a valid colour leaves the fallback table's entry, and index 14 is no colour. The
// container is asked for a property, without arguments.
TEST(ControlColors, TheContainersAnswerElseTheFallbackTable)
{
    CAmbient ambient;
    ambient.Answer(11, VT_I4, 0x202020);
    ambient.Answer(4, VT_I4, LONG(0x80000000 | COLOR_WINDOWTEXT));
    ambient.Answer(12, VT_UI4, 0x00ABCDEF);
    ambient.Answer(13, VT_I4, 0x7F000000);
    V_VT(&ambient.Answers[9]) = VT_BSTR;
    V_BSTR(&ambient.Answers[9]) = SysAllocString(L"blue");
    const struct
    {
        int Index;
        COLORREF Fallback, Answered;
    } rows[] = {
        {2, 0xD77800, 0xD77800}, {3, 0xFFFFFF, 0xFFFFFF}, {11, 0xFFFFFF, 0x202020},
        {4, 0xD0D0D0, GetSysColor(COLOR_WINDOWTEXT)}, {13, 0xD0D0D0, 0xD0D0D0}, {5, 0xA0A0A0, 0xA0A0A0},
        {7, 0xA0A0A0, 0xA0A0A0}, {6, 0x696969, 0x696969}, {8, 0xC8C8C8, 0xC8C8C8}, {9, 0xF0F0F0, 0xF0F0F0},
        {10, 0xFFE8CC, 0xFFE8CC}, {12, 0, 0xABCDEF}, {-701, 0xFFFFFF, 0xFFFFFF}, {-704, 0, 0}, {1, 0, 0},
        {15, 0, 0}, {-500, 0, 0}, {14, CLR_INVALID, CLR_INVALID},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.Fallback, CControlColors::LookUpColour(nullptr, row.Index)) << row.Index;
        EXPECT_EQ(row.Answered, CControlColors::LookUpColour(&ambient, row.Index)) << row.Index;
    }
    CControlColors::LookUpColour(&ambient, 11);
    EXPECT_EQ("11 get user null 0", ambient.Asked);
}

} // namespace
