// The colour-scheme lookup: the container's ambient answer, else the fallback table.
#include <gtest/gtest.h>
#include <map>
#include "com/AutomationTypes.h"
#include "control/ControlColors.h"

namespace {

// An ambient dispatch that answers some indices and records how it was asked.
class CAmbient : public IDispatch
{
public:
    std::map<DISPID, CVariant> Answers;
    DISPID LastId = 0;
    WORD LastFlags = 0;
    LCID LastLocale = 0;
    UINT LastArguments = 99;
    bool LastIidNull = false;

    STDMETHODIMP QueryInterface(REFIID, void** out) override { *out = nullptr; return E_NOINTERFACE; }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP GetTypeInfoCount(UINT* count) override { *count = 0; return S_OK; }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    STDMETHODIMP Invoke(DISPID id, REFIID iid, LCID locale, WORD flags, DISPPARAMS* parameters, VARIANT* result,
                        EXCEPINFO*, UINT*) override
    {
        LastId = id;
        LastFlags = flags;
        LastLocale = locale;
        LastArguments = parameters ? parameters->cArgs : 99;
        LastIidNull = IsEqualIID(iid, IID_NULL);
        auto found = Answers.find(id);
        if (found == Answers.end()) return DISP_E_MEMBERNOTFOUND;
        return VariantCopy(result, &found->second);
    }

    void Answer(DISPID id, VARTYPE type, LONG value)
    {
        V_VT(&Answers[id]) = type;
        V_I4(&Answers[id]) = value;
    }
};

TEST(ControlColors, WithoutAContainerTheFallbackTableAnswers)
{
    const std::pair<int, COLORREF> table[] = {
        {2, 0xD77800},     {3, 0xFFFFFF}, {11, 0xFFFFFF}, {4, 0xD0D0D0}, {13, 0xD0D0D0}, {5, 0xA0A0A0},
        {7, 0xA0A0A0},     {6, 0x696969}, {8, 0xC8C8C8},  {9, 0xF0F0F0}, {10, 0xFFE8CC}, {12, 0},
        {-701, 0xFFFFFF},  {-704, 0},     {1, 0},         {15, 0},       {-500, 0},
        {14, CLR_INVALID},   // not a colour: no answer is a failure
    };
    for (const auto& [index, colour] : table) EXPECT_EQ(colour, CControlColors::LookUpColour(nullptr, index)) << index;
}

TEST(ControlColors, AsksTheContainerAsAPropertyGetWithoutArgumentsAndTranslatesTheAnswer)
{
    CAmbient ambient;
    ambient.Answer(11, VT_I4, 0x202020);
    EXPECT_EQ(0x202020u, CControlColors::LookUpColour(&ambient, 11));
    EXPECT_EQ(11, ambient.LastId);
    EXPECT_EQ(DISPATCH_PROPERTYGET, ambient.LastFlags);
    EXPECT_EQ(LOCALE_USER_DEFAULT, ambient.LastLocale);
    EXPECT_EQ(0u, ambient.LastArguments);
    EXPECT_TRUE(ambient.LastIidNull);
    // A system colour is translated, another number converted.
    ambient.Answer(4, VT_I4, LONG(0x80000000 | COLOR_WINDOWTEXT));
    EXPECT_EQ(GetSysColor(COLOR_WINDOWTEXT), CControlColors::LookUpColour(&ambient, 4));
    ambient.Answer(12, VT_UI4, 0x00ABCDEF);
    EXPECT_EQ(0x00ABCDEFu, CControlColors::LookUpColour(&ambient, 12));
}

TEST(ControlColors, FallsBackWhenTheContainerCannotAnswer)
{
    CAmbient ambient;
    // Not asked for: the member is missing.
    EXPECT_EQ(0xD77800u, CControlColors::LookUpColour(&ambient, 2));
    // Not a number.
    V_VT(&ambient.Answers[9]) = VT_BSTR;
    V_BSTR(&ambient.Answers[9]) = SysAllocString(L"blue");
    EXPECT_EQ(0xF0F0F0u, CControlColors::LookUpColour(&ambient, 9));
    // Not a valid colour.
    ambient.Answer(13, VT_I4, 0x7F000000);
    EXPECT_EQ(0xD0D0D0u, CControlColors::LookUpColour(&ambient, 13));
}

} // namespace
