// The draw context: its colours, pens, brushes and fonts, and what it leaves on its contexts.
#include <gtest/gtest.h>
#include <cstdlib>
#include <cwchar>
#include <tuple>
#include <vector>
#include "control/ChartDrawInfo.h"
#include "tests/ChartTestSupport.h"

using qvxtest::CTestDrawOwner;

namespace {

constexpr OLE_COLOR SystemColour(int index) { return 0x80000000u | index; }

// What the context paints: its background and text colours, the grid's paint colour, then a pixel
// of each brush (back, fore, grid) and each pen (grid, active grid, fore).
std::vector<COLORREF> Painted(CChartDrawInfo& info, const CDibSurface& canvas)
{
    HDC dc = info.hdcOut;
    std::vector<COLORREF> painted{GetBkColor(dc), GetTextColor(dc), info.GetGridPaintColour()};
    int x = 0, y = 20;
    for (HBRUSH brush : {info.BackBrush.Get(), info.ForeBrush.Get(), info.GridBrush.Get()}) {
        const RECT area{x, 0, x + 10, 10};
        FillRect(dc, &area, brush);
        painted.push_back(canvas.Pixel(x + 5, 5));
        x += 10;
    }
    for (HPEN pen : {info.GridPen.Get(), info.ActiveGridPen.Get(), info.ForePen.Get()}) {
        SelectObject(dc, pen);
        MoveToEx(dc, 0, y, nullptr);
        LineTo(dc, 30, y);
        painted.push_back(canvas.Pixel(5, y));
        y += 2;
    }
    return painted;
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
        const COLORREF back = row.PaintBack, fore = row.PaintFore, grid = row.PaintGrid;
        EXPECT_EQ((std::vector<COLORREF>{back, fore, grid, back, fore, grid, grid, row.PaintActiveGrid, fore}),
                  Painted(info, canvas));
    }
}

// The derived fonts follow the normal font, and are made without a font object too; the font keeps
// its physical size on paper, and text is measured on the reference context.
TEST_F(ChartDrawInfoTest, FontsFollowTheNormalFontAndTheReferenceContext)
{
    CComPtr<IFontDisp> font = qvxtest::CreateChartFont();
    ASSERT_TRUE(font);
    Owner.FontObject = font.Get();
    int screenHeight = 0;
    {
        CChartDrawInfo info(Canvas.Dc(), Canvas.Dc(), Owner, 0);
        ASSERT_TRUE(info.Font && info.hFontNormal);
        const LOGFONTW normal = FontOf(info.hFontNormal);
        EXPECT_STREQ(normal.lfFaceName, L"Arial");
        screenHeight = std::abs(normal.lfHeight);
        for (const auto& [derived, face, angle] : {std::tuple{info.hFontRotate90.Get(), L"Arial", 900},
                                                   {info.hFontRotate270.Get(), L"Arial", 2700},
                                                   {info.hFontSymbol.Get(), L"Symbol", 0},
                                                   {info.hFontSymbolRotate90.Get(), L"Symbol", 900}}) {
            const LOGFONTW made = FontOf(derived);
            EXPECT_STREQ(made.lfFaceName, face);
            EXPECT_TRUE(made.lfEscapement == angle && made.lfOrientation == angle) << angle;
            EXPECT_EQ(made.lfHeight, normal.lfHeight);
        }
        EXPECT_EQ(FontOf(info.hFontSymbol).lfCharSet, SYMBOL_CHARSET);
    }
    // A tiny font on the output context, the chart's on the reference: only the latter counts.
    CDeviceContext printer = qvxtest::CreateTestPrinterDC();
    ASSERT_TRUE(printer);
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
    EXPECT_TRUE(measured.cx == onReference.cx && measured.cy == onReference.cy && measured.cx != onOutput.cx);
    CComPtr<IStream> notAFont;
    ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, notAFont.Out()), S_OK);
    Owner.FontObject = notAFont.Get();
    CChartDrawInfo fontless(Canvas.Dc(), Canvas.Dc(), Owner, 0);
    EXPECT_TRUE(!fontless.Font && !fontless.hFontNormal);
    EXPECT_EQ(GetObjectType(fontless.hFontRotate90), static_cast<DWORD>(OBJ_FONT));
}

// Teardown puts both contexts back, deletes everything it made, and leaves the normal font to
// the font object, which lets it go only when it changes. One context for both is saved once.
TEST_F(ChartDrawInfoTest, TeardownPutsBothContextsBackAndDeletesWhatItMade)
{
    CDeviceContext printer = qvxtest::CreateTestPrinterDC();
    ASSERT_TRUE(printer);
    HDC out = Canvas.Dc();
    SetBkMode(out, OPAQUE);
    // What a paint may change on the two contexts: selections, background mode and save levels.
    const auto state = [&] {
        return std::vector<INT_PTR>{INT_PTR(GetCurrentObject(out, OBJ_PEN)), INT_PTR(GetCurrentObject(out, OBJ_BRUSH)),
                                    INT_PTR(GetCurrentObject(out, OBJ_FONT)),
                                    INT_PTR(GetCurrentObject(printer, OBJ_FONT)), GetBkMode(out), SaveLevel(out),
                                    SaveLevel(printer)};
    };
    const std::vector<INT_PTR> before = state();
    CComPtr<IFontDisp> chartFont = qvxtest::CreateChartFont();
    Owner.FontObject = chartFont.Get();
    chartFont->AddRef();
    const ULONG references = chartFont->Release();
    std::vector<HGDIOBJ> owned;
    HFONT normal = nullptr;
    {
        CChartDrawInfo info(out, printer, Owner, 0);
        EXPECT_EQ(GetCurrentObject(out, OBJ_PEN), info.ForePen.Get());
        EXPECT_TRUE(SaveLevel(out) == before[5] + 1 && SaveLevel(printer) == before[6] + 1);
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
    EXPECT_EQ(before, state());
    for (HGDIOBJ object : owned) EXPECT_EQ(GetObjectType(object), 0u) << object;
    EXPECT_EQ(GetObjectType(normal), static_cast<DWORD>(OBJ_FONT));
    chartFont->AddRef();
    EXPECT_EQ(chartFont->Release(), references);
    {
        CChartDrawInfo info(out, out, Owner, 0);
        EXPECT_EQ(SaveLevel(out), before[5] + 1);
    }
    EXPECT_EQ(SaveLevel(out), before[5]);
}
