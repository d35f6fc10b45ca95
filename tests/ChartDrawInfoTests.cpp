// The draw context: colours, the paper rule, pens, brushes and fonts of one paint, and what it
// leaves behind on the contexts it was given.
#include <gtest/gtest.h>
#include <cstdlib>
#include <cwchar>
#include <tuple>
#include <utility>
#include <vector>
#include "control/ChartDrawInfo.h"
#include "tests/ChartTestSupport.h"

using qvxtest::CTestDrawOwner;

namespace {

constexpr OLE_COLOR SystemColour(int index) { return 0x80000000u | index; }

// Paints with each brush and pen of the context, and expects each pixel in the colour it stands
// for; the context's text and background colours too.
void ExpectPaints(CChartDrawInfo& info, const CDibSurface& canvas, COLORREF back, COLORREF fore, COLORREF grid,
                  COLORREF activeGrid)
{
    HDC dc = info.hdcOut;
    EXPECT_EQ(GetBkColor(dc), back);
    EXPECT_EQ(GetTextColor(dc), fore);
    EXPECT_EQ(info.GetGridPaintColour(), grid);
    int x = 0, y = 20;
    for (const auto& [brush, colour] : {std::pair{HBRUSH(info.BackBrush), back}, {info.ForeBrush, fore}, {info.GridBrush, grid}}) {
        const RECT area{x, 0, x + 10, 10};
        FillRect(dc, &area, brush);
        EXPECT_EQ(canvas.Pixel(x + 5, 5), colour) << "brush at " << x;
        x += 10;
    }
    for (const auto& [pen, colour] : {std::pair{HPEN(info.GridPen), grid}, {info.ActiveGridPen, activeGrid}, {info.ForePen, fore}}) {
        SelectObject(dc, pen);
        MoveToEx(dc, 0, y, nullptr);
        LineTo(dc, 30, y);
        EXPECT_EQ(canvas.Pixel(5, y), colour) << "pen at " << y;
        y += 2;
    }
}

LOGFONTW FontOf(HFONT font)
{
    LOGFONTW result{};
    EXPECT_NE(GetObjectW(font, sizeof result, &result), 0);
    return result;
}

int SaveLevel(HDC dc)
{
    const int level = SaveDC(dc);
    RestoreDC(dc, level);
    return level - 1;
}

class ChartDrawInfoTest : public testing::Test
{
protected:
    void SetUp() override { OleInitialize(nullptr); }
    void TearDown() override { OleUninitialize(); }
    CDibSurface Canvas{64, 64};
    CTestDrawOwner Owner;
};

} // namespace

// The colours that paint, from the owner's properties, the scheme for those unset (or no
// colour at all), and the paper rule of white paper, black ink and a light grid.
TEST_F(ChartDrawInfoTest, PaintsInTheColoursThatTheOwnerAndTheTargetGive)
{
    CDeviceContext printer = qvxtest::CreateTestPrinterDC();
    ASSERT_TRUE(printer) << "no printer context in this prefix";
    ASSERT_EQ(GetDeviceCaps(printer, TECHNOLOGY), DT_RASPRINTER);
    struct CRow
    {
        const char* Name;
        OLE_COLOR Back, Fore, Grid, ActiveGrid;
        bool Paper;
        COLORREF PaintBack, PaintFore, PaintGrid, PaintActiveGrid;
        std::vector<int> SchemeAsked;
    };
    const COLORREF window = GetSysColor(COLOR_WINDOW), text = GetSysColor(COLOR_WINDOWTEXT),
                   shadow = GetSysColor(COLOR_BTNSHADOW), highlight = GetSysColor(COLOR_HIGHLIGHT);
    const CRow rows[] = {
        {"system colours", SystemColour(COLOR_WINDOW), SystemColour(COLOR_WINDOWTEXT), SystemColour(COLOR_BTNSHADOW),
         SystemColour(COLOR_HIGHLIGHT), false, window, text, shadow, highlight, {}},
        {"the owner's", 0x123456, 0x0A0B0C, 0x00FF00, 0x0000FF, false, 0x123456, 0x0A0B0C, 0x00FF00, 0x0000FF, {}},
        {"unset from the scheme", 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xD0D0D0, false, 0x102030, 0x405060, 0x708090,
         0xD0D0D0, {11, 12, 13}},
        {"no colour counts as unset, and the active grid follows the grid", SystemColour(0xFF), 0x7F000000, 0xFFFFFFFF,
         0xFFFFFFFF, false, 0x102030, 0x405060, 0x708090, 0x708090, {11, 12, 13}},
        {"paper", 0x000000, 0xFFFFFF, 0x404040, 0x0000FF, true, 0xFFFFFF, 0x000000, 0xD0D0D0, 0xD0D0D0, {}},
    };
    for (const CRow& row : rows) {
        SCOPED_TRACE(row.Name);
        CTestDrawOwner owner;
        owner.Scheme = {{11, 0x102030}, {12, 0x405060}, {13, 0x708090}};
        std::tie(owner.BackColor, owner.ForeColor, owner.GridColor, owner.ActiveTraceGridColour) =
            std::tie(row.Back, row.Fore, row.Grid, row.ActiveGrid);
        CDibSurface canvas(64, 64);
        CChartDrawInfo info(canvas.Dc(), row.Paper ? printer.Get() : canvas.Dc(), owner, 7);
        EXPECT_EQ(info.PointSize, 7);
        EXPECT_EQ(owner.SchemeAsked, row.SchemeAsked);
        ExpectPaints(info, canvas, row.PaintBack, row.PaintFore, row.PaintGrid, row.PaintActiveGrid);
    }
}

// Without a font object, or with an object that is no font, the normal font is null and the
// derived ones are made all the same from an unset height.
TEST_F(ChartDrawInfoTest, DerivedFontsFollowTheNormalFont)
{
    CComPtr<IFontDisp> font = qvxtest::CreateChartFont();
    ASSERT_TRUE(font);
    Owner.FontObject = font.Get();
    CChartDrawInfo info(Canvas.Dc(), Canvas.Dc(), Owner, 0);
    ASSERT_TRUE(info.Font);
    ASSERT_NE(info.hFontNormal, nullptr);
    const LOGFONTW normal = FontOf(info.hFontNormal);
    EXPECT_STREQ(normal.lfFaceName, L"Arial");
    struct CRow
    {
        HFONT Font;
        const wchar_t* Face;
        LONG Angle;
    };
    for (const CRow& row : {CRow{info.hFontRotate90, L"Arial", 900}, CRow{info.hFontRotate270, L"Arial", 2700},
                            CRow{info.hFontSymbol, L"Symbol", 0}, CRow{info.hFontSymbolRotate90, L"Symbol", 900}}) {
        const LOGFONTW derived = FontOf(row.Font);
        EXPECT_STREQ(derived.lfFaceName, row.Face);
        EXPECT_TRUE(derived.lfEscapement == row.Angle && derived.lfOrientation == row.Angle) << row.Angle;
        EXPECT_EQ(derived.lfHeight, normal.lfHeight);
    }
    EXPECT_EQ(FontOf(info.hFontSymbol).lfCharSet, SYMBOL_CHARSET);

    CComPtr<IStream> notAFont;
    ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, notAFont.Out()), S_OK);
    for (IUnknown* object : {static_cast<IUnknown*>(nullptr), static_cast<IUnknown*>(notAFont.Get())}) {
        Owner.FontObject = object;
        CChartDrawInfo fontless(Canvas.Dc(), Canvas.Dc(), Owner, 0);
        EXPECT_FALSE(fontless.Font);
        EXPECT_EQ(fontless.hFontNormal, nullptr);
        EXPECT_EQ(GetObjectType(fontless.hFontRotate90), static_cast<DWORD>(OBJ_FONT));
    }
}

// Teardown puts both contexts back, deletes everything it made, and leaves the normal font to
// the font object, which lets it go only when it changes.
TEST_F(ChartDrawInfoTest, TeardownPutsBothContextsBackAndDeletesWhatItMade)
{
    CDeviceContext printer = qvxtest::CreateTestPrinterDC();
    ASSERT_TRUE(printer);
    HDC out = Canvas.Dc();
    const HGDIOBJ pen = GetCurrentObject(out, OBJ_PEN), brush = GetCurrentObject(out, OBJ_BRUSH),
                  font = GetCurrentObject(out, OBJ_FONT), refFont = GetCurrentObject(printer, OBJ_FONT);
    SetBkMode(out, OPAQUE);
    const int outLevel = SaveLevel(out), refLevel = SaveLevel(printer);
    CComPtr<IFontDisp> chartFont = qvxtest::CreateChartFont();
    Owner.FontObject = chartFont.Get();
    chartFont->AddRef();
    const ULONG references = chartFont->Release();
    std::vector<HGDIOBJ> owned;
    HFONT normal = nullptr;
    {
        CChartDrawInfo info(out, printer, Owner, 0);
        EXPECT_EQ(GetCurrentObject(out, OBJ_PEN), info.ForePen.Get());
        EXPECT_EQ(SaveLevel(out), outLevel + 1);
        EXPECT_EQ(SaveLevel(printer), refLevel + 1);
        owned = {info.ForeBrush.Get(), info.BackBrush.Get(), info.GridBrush.Get(), info.ForePen.Get(),
                 info.GridPen.Get(), info.ActiveGridPen.Get(), info.hFontRotate90.Get(),
                 info.hFontRotate270.Get(), info.hFontSymbol.Get(), info.hFontSymbolRotate90.Get()};
        normal = info.hFontNormal;
        for (HGDIOBJ object : owned) EXPECT_NE(GetObjectType(object), 0u);
        // What a region does in its Draw and does not undo.
        SelectObject(out, info.GridBrush);
        SelectObject(out, info.hFontRotate90);
        SelectObject(printer, info.hFontSymbol);
        SetBkMode(out, TRANSPARENT);
    }
    EXPECT_EQ(GetCurrentObject(out, OBJ_PEN), pen);
    EXPECT_EQ(GetCurrentObject(out, OBJ_BRUSH), brush);
    EXPECT_EQ(GetCurrentObject(out, OBJ_FONT), font);
    EXPECT_EQ(GetCurrentObject(printer, OBJ_FONT), refFont);
    EXPECT_EQ(GetBkMode(out), OPAQUE);
    EXPECT_EQ(SaveLevel(out), outLevel);
    EXPECT_EQ(SaveLevel(printer), refLevel);
    for (HGDIOBJ object : owned) EXPECT_EQ(GetObjectType(object), 0u) << object;
    EXPECT_EQ(GetObjectType(normal), static_cast<DWORD>(OBJ_FONT));
    chartFont->AddRef();
    EXPECT_EQ(chartFont->Release(), references);
    // One context for both is saved once.
    {
        CChartDrawInfo info(out, out, Owner, 0);
        EXPECT_EQ(SaveLevel(out), outLevel + 1);
    }
    EXPECT_EQ(SaveLevel(out), outLevel);
}

// The font keeps its physical size on paper, and text is measured on the reference context.
TEST_F(ChartDrawInfoTest, FontSizeAndTextFollowTheReferenceContext)
{
    CDeviceContext printer = qvxtest::CreateTestPrinterDC();
    ASSERT_TRUE(printer);
    CComPtr<IFontDisp> font = qvxtest::CreateChartFont();
    Owner.FontObject = font.Get();
    int screenHeight = 0;
    {
        CChartDrawInfo info(Canvas.Dc(), Canvas.Dc(), Owner, 0);
        screenHeight = std::abs(FontOf(info.hFontNormal).lfHeight);
    }
    // A tiny font on the output context, the chart's on the reference: only the latter counts.
    CFontHandle tiny(CreateFontW(-6, 0, 0, 0, FW_NORMAL, 0, 0, 0, ANSI_CHARSET, 0, 0, 0, 0, L"Arial"));
    CChartDrawInfo info(Canvas.Dc(), printer, Owner, 0);
    SelectObject(info.hdcOut, tiny);
    SelectObject(info.hdcRef, info.hFontNormal);
    // The ratio is that of the truncated HIMETRIC-per-pixel steps: 26 at 96 dpi, 8 at 300 dpi.
    const double ratio = static_cast<double>(2540 / 96) / (2540 / GetDeviceCaps(printer, LOGPIXELSY));
    EXPECT_NEAR(std::abs(FontOf(info.hFontNormal).lfHeight) / double(screenHeight), ratio, 0.25);

    const wchar_t text[] = L"Time: 12.5";
    SIZE measured{}, onReference{}, onOutput{};
    EXPECT_TRUE(info.GetTextExtent(text, measured));
    GetTextExtentPoint32W(printer, text, static_cast<int>(wcslen(text)), &onReference);
    GetTextExtentPoint32W(Canvas.Dc(), text, static_cast<int>(wcslen(text)), &onOutput);
    EXPECT_TRUE(measured.cx == onReference.cx && measured.cy == onReference.cy);
    EXPECT_NE(measured.cx, onOutput.cx);

    EXPECT_FALSE(info.GetTextExtent(nullptr, measured));
    EXPECT_EQ(measured.cx, 0);
}
