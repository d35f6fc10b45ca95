// The colour-scheme lookup: the container's ambient answer, else the fallback table.
#include <gtest/gtest.h>
#include "control/ControlColors.h"
#include "tests/OleTestSupport.h"

namespace {

// A number from the container wins, a system colour translated; a member that is missing, not a
// number or not a valid colour leaves the fallback table's entry, and index 14 is no colour.
TEST(ControlColors, TheContainersAnswerElseTheFallbackTable)
{
    qvxtest::CTestSite ambient(nullptr);
    const auto answer = [&](DISPID id, VARTYPE type, LONG value) {
        V_VT(&ambient.Ambients[id]) = type;
        V_I4(&ambient.Ambients[id]) = value;
    };
    answer(11, VT_I4, 0x202020);
    answer(4, VT_I4, LONG(0x80000000 | COLOR_WINDOWTEXT));
    answer(12, VT_UI4, 0x00ABCDEF);
    answer(13, VT_I4, 0x7F000000);
    V_VT(&ambient.Ambients[9]) = VT_BSTR;
    V_BSTR(&ambient.Ambients[9]) = SysAllocString(L"blue");
    const struct
    {
        int Index;
        COLORREF Fallback, Answered;
    } rows[] = {
        {2, 0xD77800, 0xD77800}, {11, 0xFFFFFF, 0x202020}, {4, 0xD0D0D0, GetSysColor(COLOR_WINDOWTEXT)},
        {13, 0xD0D0D0, 0xD0D0D0}, {9, 0xF0F0F0, 0xF0F0F0}, {12, 0, 0xABCDEF}, {-701, 0xFFFFFF, 0xFFFFFF},
        {15, 0, 0}, {14, CLR_INVALID, CLR_INVALID},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.Fallback, CControlColors::LookUpColour(nullptr, row.Index)) << row.Index;
        EXPECT_EQ(row.Answered, CControlColors::LookUpColour(&ambient, row.Index)) << row.Index;
    }
}

} // namespace
