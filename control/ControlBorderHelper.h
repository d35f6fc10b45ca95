#pragma once
// The control's border: the outer rectangle (the whole control), the inner rectangle that is left
// for the chart, and the drawing of the frame between them, flat, sunken or in the system's visual
// style. The theme services are loaded at run time: a system without them, or without one of their
// entry points, simply has no theme.
#include <windows.h>
#include <uxtheme.h>
#include <cstdint>

class CControlBorderHelper
{
public:
    // The parts that an update carries, one bit each.
    static constexpr DWORD WindowPart = 1;
    static constexpr DWORD AppearancePart = 2;
    static constexpr DWORD BorderStylePart = 4;
    static constexpr DWORD ColourPart = 8;
    static constexpr DWORD OuterRectPart = 16;
    // A resize of the window changes the outer rectangle alone (16); a layout brings the stock
    // properties with it (22); a paint brings the window and the border colour.
    static constexpr DWORD ResizeUpdate = OuterRectPart;
    static constexpr DWORD LayoutUpdate = OuterRectPart | BorderStylePart | AppearancePart;
    static constexpr DWORD PaintUpdate = WindowPart | ColourPart;

    // The values of an update; only those named by its mask are taken.
    struct CUpdate
    {
        HWND Window = nullptr;
        int32_t Appearance = 0;
        int32_t BorderStyle = 0;
        COLORREF Colour = 0;
        RECT OuterRect{};
    };

    // The theme's part and state of an edit field's background.
    static constexpr int EditPart = 1;
    static constexpr int EditState = 1;

    CControlBorderHelper();
    CControlBorderHelper(const CControlBorderHelper&) = delete;
    CControlBorderHelper& operator=(const CControlBorderHelper&) = delete;
    ~CControlBorderHelper();

    // Takes the parts named by `mask` and works out the inner rectangle again. A new window closes
    // the theme of the old one and opens its own, as a change of theme does.
    void Update(DWORD mask, const CUpdate& update);
    // The system's visual style changed: the theme is closed, and opened again for class "EDIT"
    // while the system and the application are themed.
    void OnThemeChanged();
    void CloseTheme();
    // The frame between the outer and the inner rectangle; nothing without a border style.
    void DrawBorder(HDC dc) const;

    bool HasTheme() const { return Theme != nullptr; }
    const RECT& GetOuterRect() const { return OuterRect; }
    const RECT& GetInnerRect() const { return InnerRect; }

private:
    // The entry points of the theme services, by name; a null entry is a facility that is absent.
    struct CThemeApi
    {
        CThemeApi();
        CThemeApi(const CThemeApi&) = delete;
        CThemeApi& operator=(const CThemeApi&) = delete;
        ~CThemeApi();
        // What a themed border needs.
        bool CanTheme() const;

        HMODULE Module;
        decltype(&::OpenThemeData) OpenThemeData;
        decltype(&::CloseThemeData) CloseThemeData;
        decltype(&::DrawThemeBackground) DrawThemeBackground;
        decltype(&::GetThemeBackgroundContentRect) GetThemeBackgroundContentRect;
        decltype(&::DrawThemeText) DrawThemeText;
        decltype(&::DrawThemeEdge) DrawThemeEdge;
        decltype(&::DrawThemeIcon) DrawThemeIcon;
        decltype(&::EnableThemeDialogTexture) EnableThemeDialogTexture;
        decltype(&::GetThemeSysColor) GetThemeSysColor;
        decltype(&::GetThemeSysColorBrush) GetThemeSysColorBrush;
        decltype(&::DrawThemeParentBackground) DrawThemeParentBackground;
        decltype(&::GetThemeColor) GetThemeColor;
        decltype(&::IsThemeActive) IsThemeActive;
        decltype(&::IsAppThemed) IsAppThemed;
    };

    void CalculateInnerRect();

    HWND Window = nullptr;
    HTHEME Theme = nullptr;
    // 1 is three-dimensional, anything else flat.
    int32_t Appearance = 0;
    // Non-zero: a border is drawn.
    int32_t BorderStyle = 0;
    COLORREF Colour = 0;
    RECT OuterRect{};
    RECT InnerRect{};
    CThemeApi Api;
};
