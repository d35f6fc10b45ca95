#include "control/ControlBorderHelper.h"
#include "control/GdiHandle.h"

namespace {

template <class Function>
void Resolve(HMODULE module, const char* name, Function& entry)
{
    entry = module ? reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name))) : nullptr;
}

} // namespace

CControlBorderHelper::CThemeApi::CThemeApi() : Module(LoadLibraryW(L"uxtheme.dll"))
{
    Resolve(Module, "OpenThemeData", OpenThemeData);
    Resolve(Module, "CloseThemeData", CloseThemeData);
    Resolve(Module, "DrawThemeBackground", DrawThemeBackground);
    Resolve(Module, "GetThemeBackgroundContentRect", GetThemeBackgroundContentRect);
    Resolve(Module, "DrawThemeText", DrawThemeText);
    Resolve(Module, "DrawThemeEdge", DrawThemeEdge);
    Resolve(Module, "DrawThemeIcon", DrawThemeIcon);
    Resolve(Module, "EnableThemeDialogTexture", EnableThemeDialogTexture);
    Resolve(Module, "GetThemeSysColor", GetThemeSysColor);
    Resolve(Module, "GetThemeSysColorBrush", GetThemeSysColorBrush);
    Resolve(Module, "DrawThemeParentBackground", DrawThemeParentBackground);
    Resolve(Module, "GetThemeColor", GetThemeColor);
    Resolve(Module, "IsThemeActive", IsThemeActive);
    Resolve(Module, "IsAppThemed", IsAppThemed);
}

CControlBorderHelper::CThemeApi::~CThemeApi()
{
    if (Module) FreeLibrary(Module);
}

bool CControlBorderHelper::CThemeApi::CanTheme() const
{
    return OpenThemeData && CloseThemeData && DrawThemeBackground && GetThemeBackgroundContentRect &&
           IsThemeActive && IsAppThemed;
}

CControlBorderHelper::CControlBorderHelper() = default;

CControlBorderHelper::~CControlBorderHelper()
{
    CloseTheme();
}

void CControlBorderHelper::Update(DWORD mask, const CUpdate& update)
{
    if ((mask & WindowPart) && update.Window != Window) {
        Window = update.Window;
        // A theme belongs to a window: a picture drawn without one has the plain border.
        if (Window) OnThemeChanged();
        else CloseTheme();
    }
    if (mask & AppearancePart) Appearance = update.Appearance;
    if (mask & BorderStylePart) BorderStyle = update.BorderStyle;
    if (mask & ColourPart) Colour = update.Colour;
    if (mask & OuterRectPart) OuterRect = update.OuterRect;
    CalculateInnerRect();
}

void CControlBorderHelper::OnThemeChanged()
{
    CloseTheme();
    if (Api.CanTheme() && Api.IsThemeActive() && Api.IsAppThemed()) Theme = Api.OpenThemeData(Window, L"EDIT");
    CalculateInnerRect();
}

void CControlBorderHelper::CloseTheme()
{
    if (Theme && Api.CloseThemeData) Api.CloseThemeData(Theme);
    Theme = nullptr;
}

void CControlBorderHelper::CalculateInnerRect()
{
    InnerRect = OuterRect;
    if (!BorderStyle) return;
    if (Appearance != 1) {
        InflateRect(&InnerRect, -1, -1);
        return;
    }
    if (Theme && SUCCEEDED(Api.GetThemeBackgroundContentRect(Theme, nullptr, EditPart, EditState, &OuterRect,
                                                             &InnerRect)))
        return;
    InnerRect = OuterRect;
    InflateRect(&InnerRect, -GetSystemMetrics(SM_CXEDGE), -GetSystemMetrics(SM_CYEDGE));
}

void CControlBorderHelper::DrawBorder(HDC dc) const
{
    if (!BorderStyle) return;
    RECT outer = OuterRect;
    if (Appearance != 1) {
        CBrushHandle brush(CreateSolidBrush(Colour));
        if (brush) FrameRect(dc, &outer, brush);
    } else if (Theme) {
        // An edit field's background fills its inside too; the chart's own background stays.
        const int saved = SaveDC(dc);
        ExcludeClipRect(dc, InnerRect.left, InnerRect.top, InnerRect.right, InnerRect.bottom);
        Api.DrawThemeBackground(Theme, dc, EditPart, EditState, &outer, nullptr);
        RestoreDC(dc, saved);
    } else {
        DrawEdge(dc, &outer, EDGE_SUNKEN, BF_RECT);
    }
}
