#include "control/ChartDrawInfo.h"
#include <cwchar>

namespace {

constexpr OLE_COLOR UnsetColour = 0xFFFFFFFF;
constexpr COLORREF White = 0xFFFFFF;
constexpr COLORREF DarkPaperGrid = 0x555555;
constexpr COLORREF LightPaperGrid = 0xD0D0D0;

bool Translate(OLE_COLOR colour, COLORREF& result)
{
    return SUCCEEDED(OleTranslateColor(colour, nullptr, &result));
}

// A colour property, or the scheme's colour where it is unset. A property that is no colour at
// all (a bad system index) counts as unset, so that the chart never paints with garbage.
COLORREF ChartColour(CChartDrawOwner& owner, OLE_COLOR property, int schemeIndex)
{
    COLORREF colour;
    if (property == UnsetColour || !Translate(property, colour)) colour = owner.GetSchemeColour(schemeIndex);
    COLORREF translated;
    return Translate(colour, translated) ? translated : colour & 0xFFFFFF;
}

// Grid lines on paper: a grey that stands out from the paper's colour.
COLORREF PaperGridColour(COLORREF background)
{
    const int mean = (GetRValue(background) + GetGValue(background) + GetBValue(background)) / 3;
    return mean < 127 ? DarkPaperGrid : LightPaperGrid;
}

} // namespace

CChartDrawInfo::CChartDrawInfo(HDC out, HDC ref, CChartDrawOwner& owner, int pointSize)
    : hdcOut(out), hdcRef(ref), BackColour(0), ForeColour(0), GridColour(0), ActiveGridColour(0),
      PointSize(pointSize), hFontNormal(nullptr), TraceDib(nullptr), GridPaintColour(0),
      ActiveGridPaintColour(0), NormalFontHeld(false), OutSaved(false), RefSaved(false)
{
    TakeFont(owner);
    TakeColours(owner);
    MakeBrushesAndPens();
    MakeFonts();
    SaveState();
}

CChartDrawInfo::~CChartDrawInfo()
{
    if (RefSaved) RestoreDC(hdcRef, -1);
    if (OutSaved) RestoreDC(hdcOut, -1);
    ForeBrush.Reset();
    BackBrush.Reset();
    GridBrush.Reset();
    ForePen.Reset();
    GridPen.Reset();
    ActiveGridPen.Reset();
    hFontRotate90.Reset();
    hFontRotate270.Reset();
    hFontSymbol.Reset();
    hFontSymbolRotate90.Reset();
    if (NormalFontHeld) Font->ReleaseHfont(hFontNormal);
    Font.Release();
}

TEXTMETRICW CChartDrawInfo::GetNormalMetrics() const
{
    const HGDIOBJ old = hFontNormal ? SelectObject(hdcRef, hFontNormal) : nullptr;
    TEXTMETRICW metrics{};
    GetTextMetricsW(hdcRef, &metrics);
    if (old) SelectObject(hdcRef, old);
    return metrics;
}

BOOL CChartDrawInfo::GetTextExtent(const wchar_t* text, SIZE& size) const
{
    size = SIZE{};
    if (!text) return FALSE;
    return GetTextExtentPoint32W(hdcRef, text, static_cast<int>(wcslen(text)), &size);
}

void CChartDrawInfo::TakeFont(CChartDrawOwner& owner)
{
    if (IUnknown* object = owner.GetFontObject()) Font.QueryFrom(object, IID_IFont);
}

void CChartDrawInfo::TakeColours(CChartDrawOwner& owner)
{
    BackColour = ChartColour(owner, owner.GetBackColor(), BackColourIndex);
    ForeColour = ChartColour(owner, owner.GetForeColor(), ForeColourIndex);
    GridColour = ChartColour(owner, owner.GetGridColor(), GridColourIndex);
    // An active grid colour that is no colour follows the grid.
    if (!Translate(owner.GetActiveTraceGridColour(), ActiveGridColour)) ActiveGridColour = GridColour;
}

void CChartDrawInfo::MakeBrushesAndPens()
{
    // Paper is white whatever the screen shows, with the text in its complement.
    const bool printing = IsPrinting(hdcRef);
    const COLORREF background = printing ? White : BackColour;
    const COLORREF foreground = printing ? ~background & 0xFFFFFF : ForeColour;
    GridPaintColour = printing ? PaperGridColour(background) : GridColour;
    ActiveGridPaintColour = printing ? PaperGridColour(background) : ActiveGridColour;

    SetBkColor(hdcOut, background);
    SetTextColor(hdcOut, foreground);
    ForeBrush.Reset(CreateSolidBrush(foreground));
    BackBrush.Reset(CreateSolidBrush(background));
    GridBrush.Reset(CreateSolidBrush(GridPaintColour));
    ForePen.Reset(CreatePen(PS_SOLID, 0, foreground));
    GridPen.Reset(CreatePen(PS_SOLID, 0, GridPaintColour));
    ActiveGridPen.Reset(CreatePen(PS_SOLID, 0, ActiveGridPaintColour));
}

void CChartDrawInfo::MakeFonts()
{
    // The font's logical size follows the reference device, so that the same font has the same
    // physical size on paper as on the screen.
    int dpi = GetDeviceCaps(hdcRef, LOGPIXELSY);
    if (dpi == 0) dpi = 96;
    if (Font) {
        Font->SetRatio(1, 2540 / dpi);
        if (SUCCEEDED(Font->get_hFont(&hFontNormal)) && hFontNormal)
            NormalFontHeld = SUCCEEDED(Font->AddRefHfont(hFontNormal));
        else
            hFontNormal = nullptr;
    }

    LOGFONTW font{};
    GetObjectW(hFontNormal, sizeof font, &font);
    font.lfEscapement = font.lfOrientation = 900;
    hFontRotate90.Reset(CreateFontIndirectW(&font));
    font.lfEscapement = font.lfOrientation = 2700;
    hFontRotate270.Reset(CreateFontIndirectW(&font));

    hFontSymbol.Reset(CreateFontW(font.lfHeight, 0, 0, 0, FW_NORMAL, FALSE, FALSE, FALSE, SYMBOL_CHARSET,
                                  OUT_TT_ONLY_PRECIS, 0, 0, FF_DECORATIVE, L"Symbol"));
    hFontSymbolRotate90.Reset(CreateFontW(font.lfHeight, 0, 900, 900, FW_NORMAL, FALSE, FALSE, FALSE,
                                          SYMBOL_CHARSET, OUT_TT_ONLY_PRECIS, 0, 0, FF_DECORATIVE, L"Symbol"));
}

void CChartDrawInfo::SaveState()
{
    OutSaved = SaveDC(hdcOut) != 0;
    if (hdcRef != hdcOut) RefSaved = SaveDC(hdcRef) != 0;
    SelectObject(hdcOut, ForePen);
}
