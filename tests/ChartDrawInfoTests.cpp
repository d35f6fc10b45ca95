// The draw context: colours, the paper rule, pens, brushes and fonts of one paint, and what it
// leaves behind on the contexts it was given.
#include <gtest/gtest.h>
#include <cstdlib>
#include <cwchar>
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
    const RECT backArea{0, 0, 10, 10}, foreArea{10, 0, 20, 10}, gridArea{20, 0, 30, 10};
    FillRect(dc, &backArea, info.BackBrush);
    FillRect(dc, &foreArea, info.ForeBrush);
    FillRect(dc, &gridArea, info.GridBrush);
    auto line = [dc](HPEN pen, int y) {
        SelectObject(dc, pen);
        MoveToEx(dc, 0, y, nullptr);
        LineTo(dc, 30, y);
    };
    line(info.GridPen, 20);
    line(info.ActiveGridPen, 22);
    line(info.ForePen, 24);
    EXPECT_EQ(canvas.Pixel(5, 5), back) << "BackBrush";
    EXPECT_EQ(canvas.Pixel(15, 5), fore) << "ForeBrush";
    EXPECT_EQ(canvas.Pixel(25, 5), grid) << "GridBrush";
    EXPECT_EQ(canvas.Pixel(5, 20), grid) << "GridPen";
    EXPECT_EQ(canvas.Pixel(5, 22), activeGrid) << "ActiveGridPen";
    EXPECT_EQ(canvas.Pixel(5, 24), fore) << "ForePen";
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

TEST_F(ChartDrawInfoTest, TranslatesSystemColourIndices)
{
    Owner.BackColor = SystemColour(COLOR_WINDOW);
    Owner.ForeColor = SystemColour(COLOR_WINDOWTEXT);
    Owner.GridColor = SystemColour(COLOR_BTNSHADOW);
    Owner.ActiveTraceGridColour = SystemColour(COLOR_HIGHLIGHT);
    CChartDrawInfo info(Canvas.Dc(), Canvas.Dc(), Owner, 0);

    EXPECT_EQ(info.BackColour, GetSysColor(COLOR_WINDOW));
    EXPECT_EQ(info.ForeColour, GetSysColor(COLOR_WINDOWTEXT));
    EXPECT_EQ(info.GridColour, GetSysColor(COLOR_BTNSHADOW));
    EXPECT_EQ(info.ActiveGridColour, GetSysColor(COLOR_HIGHLIGHT));
    EXPECT_TRUE(Owner.SchemeAsked.empty());
    ExpectPaints(info, Canvas, GetSysColor(COLOR_WINDOW), GetSysColor(COLOR_WINDOWTEXT),
                 GetSysColor(COLOR_BTNSHADOW), GetSysColor(COLOR_HIGHLIGHT));
}

TEST_F(ChartDrawInfoTest, PaintsInTheOwnersColoursOnTheScreen)
{
    Owner.BackColor = 0x123456;
    Owner.ForeColor = 0x0A0B0C;
    Owner.GridColor = 0x00FF00;
    Owner.ActiveTraceGridColour = 0x0000FF;
    CChartDrawInfo info(Canvas.Dc(), Canvas.Dc(), Owner, 7);

    EXPECT_EQ(info.PointSize, 7);
    ExpectPaints(info, Canvas, 0x123456, 0x0A0B0C, 0x00FF00, 0x0000FF);
}

TEST_F(ChartDrawInfoTest, UnsetColoursComeFromTheScheme)
{
    Owner.Scheme = {{11, 0x102030}, {12, 0x405060}, {13, 0x708090}};
    CChartDrawInfo info(Canvas.Dc(), Canvas.Dc(), Owner, 0);

    EXPECT_EQ(info.BackColour, 0x102030u);
    EXPECT_EQ(info.ForeColour, 0x405060u);
    EXPECT_EQ(info.GridColour, 0x708090u);
    EXPECT_EQ(Owner.SchemeAsked, (std::vector<int>{11, 12, 13}));
    ExpectPaints(info, Canvas, 0x102030, 0x405060, 0x708090, 0xD0D0D0);
}

TEST_F(ChartDrawInfoTest, AColourThatIsNoColourCountsAsUnset)
{
    Owner.Scheme = {{11, 0x102030}, {12, 0x405060}, {13, 0x708090}};
    Owner.BackColor = SystemColour(0xFF);  // no such system colour
    Owner.ForeColor = 0x7F000000;          // no such colour kind
    Owner.ActiveTraceGridColour = 0xFFFFFFFF;
    CChartDrawInfo info(Canvas.Dc(), Canvas.Dc(), Owner, 0);

    EXPECT_EQ(info.BackColour, 0x102030u);
    EXPECT_EQ(info.ForeColour, 0x405060u);
    // An unset active grid colour follows the grid.
    EXPECT_EQ(info.ActiveGridColour, 0x708090u);
}

TEST_F(ChartDrawInfoTest, PrinterGivesWhitePaperBlackInkAndLightGrid)
{
    CDeviceContext printer = qvxtest::CreateTestPrinterDC();
    ASSERT_TRUE(printer) << "no printer context in this prefix";
    ASSERT_EQ(GetDeviceCaps(printer, TECHNOLOGY), DT_RASPRINTER);
    Owner.BackColor = 0x000000;
    Owner.ForeColor = 0xFFFFFF;
    Owner.GridColor = 0x404040;
    Owner.ActiveTraceGridColour = 0x0000FF;
    CChartDrawInfo info(Canvas.Dc(), printer, Owner, 0);

    // The properties stay as they are; only what paints changes.
    EXPECT_EQ(info.BackColour, 0x000000u);
    EXPECT_EQ(info.ForeColour, 0xFFFFFFu);
    ExpectPaints(info, Canvas, 0xFFFFFF, 0x000000, 0xD0D0D0, 0xD0D0D0);
}

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
    EXPECT_NE(normal.lfHeight, 0);

    const LOGFONTW up = FontOf(info.hFontRotate90);
    EXPECT_EQ(up.lfEscapement, 900);
    EXPECT_EQ(up.lfOrientation, 900);
    EXPECT_EQ(up.lfHeight, normal.lfHeight);
    EXPECT_STREQ(up.lfFaceName, normal.lfFaceName);
    const LOGFONTW down = FontOf(info.hFontRotate270);
    EXPECT_EQ(down.lfEscapement, 2700);
    EXPECT_EQ(down.lfOrientation, 2700);
    EXPECT_EQ(down.lfHeight, normal.lfHeight);

    const LOGFONTW symbol = FontOf(info.hFontSymbol);
    EXPECT_STREQ(symbol.lfFaceName, L"Symbol");
    EXPECT_EQ(symbol.lfHeight, normal.lfHeight);
    EXPECT_EQ(symbol.lfCharSet, SYMBOL_CHARSET);
    EXPECT_EQ(symbol.lfWeight, FW_NORMAL);
    EXPECT_EQ(symbol.lfOutPrecision, OUT_TT_ONLY_PRECIS);
    EXPECT_EQ(symbol.lfPitchAndFamily, FF_DECORATIVE);
    EXPECT_EQ(symbol.lfEscapement, 0);
    const LOGFONTW symbolUp = FontOf(info.hFontSymbolRotate90);
    EXPECT_STREQ(symbolUp.lfFaceName, L"Symbol");
    EXPECT_EQ(symbolUp.lfEscapement, 900);
    EXPECT_EQ(symbolUp.lfOrientation, 900);
    EXPECT_EQ(symbolUp.lfHeight, normal.lfHeight);
}

TEST_F(ChartDrawInfoTest, FontKeepsItsPhysicalSizeOnPaper)
{
    CDeviceContext printer = qvxtest::CreateTestPrinterDC();
    ASSERT_TRUE(printer);
    const int printerDpi = GetDeviceCaps(printer, LOGPIXELSY);
    CComPtr<IFontDisp> font = qvxtest::CreateChartFont();
    Owner.FontObject = font.Get();
    int screenHeight, paperHeight;
    {
        CChartDrawInfo info(Canvas.Dc(), Canvas.Dc(), Owner, 0);
        screenHeight = std::abs(FontOf(info.hFontNormal).lfHeight);
    }
    {
        CChartDrawInfo info(Canvas.Dc(), printer, Owner, 0);
        paperHeight = std::abs(FontOf(info.hFontNormal).lfHeight);
    }
    // The ratio is that of the truncated HIMETRIC-per-pixel steps: 26 at 96 dpi, 8 at 300 dpi.
    const double expected = static_cast<double>(2540 / 96) / (2540 / printerDpi);
    EXPECT_NEAR(static_cast<double>(paperHeight) / screenHeight, expected, 0.25);
}

TEST_F(ChartDrawInfoTest, WithoutAFontTheNormalFontIsNull)
{
    CChartDrawInfo info(Canvas.Dc(), Canvas.Dc(), Owner, 0);

    EXPECT_FALSE(info.Font);
    EXPECT_EQ(info.hFontNormal, nullptr);
    // The others are made all the same, from an unset height.
    EXPECT_EQ(GetObjectType(info.hFontRotate90), static_cast<DWORD>(OBJ_FONT));
    EXPECT_EQ(GetObjectType(info.hFontSymbol), static_cast<DWORD>(OBJ_FONT));
}

TEST_F(ChartDrawInfoTest, AFontObjectWithoutIFontLeavesTheFontNull)
{
    CComPtr<IStream> notAFont;
    ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, notAFont.Out()), S_OK);
    Owner.FontObject = notAFont.Get();
    CChartDrawInfo info(Canvas.Dc(), Canvas.Dc(), Owner, 0);

    EXPECT_FALSE(info.Font);
    EXPECT_EQ(info.hFontNormal, nullptr);
}

TEST_F(ChartDrawInfoTest, TeardownPutsBothContextsBack)
{
    CDeviceContext printer = qvxtest::CreateTestPrinterDC();
    ASSERT_TRUE(printer);
    HDC out = Canvas.Dc();
    const HGDIOBJ pen = GetCurrentObject(out, OBJ_PEN);
    const HGDIOBJ brush = GetCurrentObject(out, OBJ_BRUSH);
    const HGDIOBJ font = GetCurrentObject(out, OBJ_FONT);
    const HGDIOBJ refFont = GetCurrentObject(printer, OBJ_FONT);
    SetBkMode(out, OPAQUE);
    const int outLevel = SaveLevel(out);
    const int refLevel = SaveLevel(printer);
    CComPtr<IFontDisp> chartFont = qvxtest::CreateChartFont();
    Owner.FontObject = chartFont.Get();
    {
        CChartDrawInfo info(out, printer, Owner, 0);
        EXPECT_EQ(GetCurrentObject(out, OBJ_PEN), info.ForePen.Get());
        EXPECT_EQ(SaveLevel(out), outLevel + 1);
        EXPECT_EQ(SaveLevel(printer), refLevel + 1);
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
}

TEST_F(ChartDrawInfoTest, OneContextForBothIsSavedOnce)
{
    HDC dc = Canvas.Dc();
    const int level = SaveLevel(dc);
    {
        CChartDrawInfo info(dc, dc, Owner, 0);
        EXPECT_EQ(SaveLevel(dc), level + 1);
    }
    EXPECT_EQ(SaveLevel(dc), level);
}

TEST_F(ChartDrawInfoTest, TeardownDeletesEverythingItMade)
{
    CComPtr<IFontDisp> font = qvxtest::CreateChartFont();
    Owner.FontObject = font.Get();
    font->AddRef();
    const ULONG references = font->Release();
    std::vector<HGDIOBJ> owned;
    HFONT normal = nullptr;
    {
        CChartDrawInfo info(Canvas.Dc(), Canvas.Dc(), Owner, 0);
        owned = {info.ForeBrush.Get(), info.BackBrush.Get(), info.GridBrush.Get(), info.ForePen.Get(),
                 info.GridPen.Get(), info.ActiveGridPen.Get(), info.hFontRotate90.Get(),
                 info.hFontRotate270.Get(), info.hFontSymbol.Get(), info.hFontSymbolRotate90.Get()};
        normal = info.hFontNormal;
        for (HGDIOBJ object : owned) EXPECT_NE(GetObjectType(object), 0u);
    }
    for (HGDIOBJ object : owned) EXPECT_EQ(GetObjectType(object), 0u) << object;
    // The normal font belongs to the font object, which lets it go only when it changes.
    EXPECT_EQ(GetObjectType(normal), static_cast<DWORD>(OBJ_FONT));
    font->AddRef();
    EXPECT_EQ(font->Release(), references);
}

TEST_F(ChartDrawInfoTest, MeasuresTextOnTheReferenceContext)
{
    CDeviceContext printer = qvxtest::CreateTestPrinterDC();
    ASSERT_TRUE(printer);
    CComPtr<IFontDisp> font = qvxtest::CreateChartFont();
    Owner.FontObject = font.Get();
    // A tiny font on the output context, the chart's on the reference: only the latter counts.
    CFontHandle tiny(CreateFontW(-6, 0, 0, 0, FW_NORMAL, 0, 0, 0, ANSI_CHARSET, 0, 0, 0, 0, L"Arial"));
    CChartDrawInfo info(Canvas.Dc(), printer, Owner, 0);
    SelectObject(info.hdcOut, tiny);
    SelectObject(info.hdcRef, info.hFontNormal);

    const wchar_t text[] = L"Time: 12.5";
    SIZE measured{}, onReference{}, onOutput{};
    EXPECT_TRUE(info.GetTextExtent(text, measured));
    GetTextExtentPoint32W(printer, text, static_cast<int>(wcslen(text)), &onReference);
    GetTextExtentPoint32W(Canvas.Dc(), text, static_cast<int>(wcslen(text)), &onOutput);
    EXPECT_EQ(measured.cx, onReference.cx);
    EXPECT_EQ(measured.cy, onReference.cy);
    EXPECT_NE(measured.cx, onOutput.cx);

    EXPECT_FALSE(info.GetTextExtent(nullptr, measured));
    EXPECT_EQ(measured.cx, 0);
}
