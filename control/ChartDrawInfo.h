#pragma once
// The draw context of one paint or one measuring pass: where to paint, what to measure against,
// and the colours, pens, brushes and fonts of the chart for that device. It lives on the stack
// and frees all it made when it goes; the state of the contexts is put back as it found them.
#include <windows.h>
#include <ocidl.h>
#include <olectl.h>
#include "com/ComPtr.h"
#include "control/GdiHandle.h"

class CDIBSection;

// The chart control as a draw context sees it. The control implements it; the colours come from
// its colour properties and its colour scheme.
class CChartDrawOwner
{
public:
    // The colour properties as OLE colours; 0xFFFFFFFF means unset, and the scheme decides.
    virtual OLE_COLOR GetBackColor() = 0;
    virtual OLE_COLOR GetForeColor() = 0;
    virtual OLE_COLOR GetGridColor() = 0;
    // The colour-scheme lookup (GetColour of the control's colours): index 11 background,
    // 12 foreground, 13 grid.
    virtual COLORREF GetSchemeColour(int index) = 0;
    virtual OLE_COLOR GetActiveTraceGridColour() = 0;
    // The font property object, borrowed; null when the control has no font.
    virtual IUnknown* GetFontObject() = 0;

protected:
    ~CChartDrawOwner() = default;
};

// Whether a reference context is paper. Every region that acts differently when printing asks
// this of hdcRef.
inline bool IsPrinting(HDC hdcRef)
{
    return GetDeviceCaps(hdcRef, TECHNOLOGY) == DT_RASPRINTER;
}

class CChartDrawInfo
{
public:
    // Scheme indices of the three chart colours.
    static constexpr int BackColourIndex = 11;
    static constexpr int ForeColourIndex = 12;
    static constexpr int GridColourIndex = 13;

    CChartDrawInfo(HDC out, HDC ref, CChartDrawOwner& owner, int pointSize);
    CChartDrawInfo(const CChartDrawInfo&) = delete;
    CChartDrawInfo& operator=(const CChartDrawInfo&) = delete;
    virtual ~CChartDrawInfo();

    // The grid colour that paints: GridColour on the screen, a grey against the paper otherwise.
    COLORREF GetGridPaintColour() const { return GridPaintColour; }
    COLORREF GetActiveGridPaintColour() const { return ActiveGridPaintColour; }
    // Measures a zero-terminated string on hdcRef with the font selected there.
    BOOL GetTextExtent(const wchar_t* text, SIZE& size) const;
    // The metrics of hFontNormal on hdcRef; of the context's own font when there is none.
    TEXTMETRICW GetNormalMetrics() const;

    HDC hdcOut;
    HDC hdcRef;
    COLORREF BackColour;
    COLORREF ForeColour;
    COLORREF GridColour;
    COLORREF ActiveGridColour;
    CBrushHandle ForeBrush;
    CBrushHandle BackBrush;
    CBrushHandle GridBrush;
    CPenHandle ForePen;
    CPenHandle GridPen;
    CPenHandle ActiveGridPen;
    int PointSize;
    CComPtr<IFont> Font;
    HFONT hFontNormal;          // borrowed from Font, held by AddRefHfont
    CFontHandle hFontRotate90;  // reads upwards
    CFontHandle hFontRotate270; // reads downwards
    CFontHandle hFontSymbol;
    CFontHandle hFontSymbolRotate90;
    // Set by the graph region while its traces write straight into its DIB section.
    CDIBSection* TraceDib;
    // Painting into the control's own back buffer, which a later paint may build on: the graph
    // keeps its plot in a layer and draws again only what changed. The layer's pixels may then
    // still be in the layer alone when the paint ends (CPlotLayer::Pending): the caller copies
    // them to the target itself, rather than through the back buffer.
    bool RetainedPlot = false;

private:
    void TakeFont(CChartDrawOwner& owner);
    void TakeColours(CChartDrawOwner& owner);
    void MakeBrushesAndPens();
    void MakeFonts();
    void SaveState();

    COLORREF GridPaintColour;
    COLORREF ActiveGridPaintColour;
    bool NormalFontHeld;
    bool OutSaved;
    bool RefSaved;
};
