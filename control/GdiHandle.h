#pragma once
// Owners of GDI handles: every pen, brush, font, bitmap and context the chart makes is freed by
// the object that holds it, also when a paint is left early.
#include <windows.h>
#include <utility>

// Owns one handle and frees it with `Free` when it goes or is replaced.
template <class H, class Free>
class CGdiHandle
{
public:
    CGdiHandle() noexcept = default;
    explicit CGdiHandle(H handle) noexcept : Handle(handle) {}
    CGdiHandle(CGdiHandle&& other) noexcept : Handle(std::exchange(other.Handle, nullptr)) {}
    CGdiHandle& operator=(CGdiHandle&& other) noexcept
    {
        if (this != &other) Reset(std::exchange(other.Handle, nullptr));
        return *this;
    }
    CGdiHandle(const CGdiHandle&) = delete;
    CGdiHandle& operator=(const CGdiHandle&) = delete;
    ~CGdiHandle() { Reset(); }

    H Get() const noexcept { return Handle; }
    operator H() const noexcept { return Handle; }
    explicit operator bool() const noexcept { return Handle != nullptr; }

    // Frees the present handle and takes `handle`.
    void Reset(H handle = nullptr) noexcept
    {
        if (H old = std::exchange(Handle, handle)) Free{}(old);
    }
    H Detach() noexcept { return std::exchange(Handle, nullptr); }

private:
    H Handle = nullptr;
};

struct CDeleteGdiObject
{
    void operator()(HGDIOBJ object) const noexcept { DeleteObject(object); }
};
struct CDeleteDC
{
    void operator()(HDC dc) const noexcept { DeleteDC(dc); }
};

// A pen, brush, font, bitmap or region.
template <class H>
using CGdiObject = CGdiHandle<H, CDeleteGdiObject>;
using CPenHandle = CGdiObject<HPEN>;
using CBrushHandle = CGdiObject<HBRUSH>;
using CFontHandle = CGdiObject<HFONT>;
using CBitmapHandle = CGdiObject<HBITMAP>;

// A context made by CreateCompatibleDC, CreateDC or CreateIC.
using CDeviceContext = CGdiHandle<HDC, CDeleteDC>;

// An object selected into a context for the length of a scope; what was selected before goes
// back when the scope ends. A null object selects nothing.
class CSelection
{
public:
    CSelection(HDC dc, HGDIOBJ object) noexcept : Dc(dc), Old(object ? SelectObject(dc, object) : nullptr) {}
    CSelection(const CSelection&) = delete;
    CSelection& operator=(const CSelection&) = delete;
    ~CSelection()
    {
        if (Old) SelectObject(Dc, Old);
    }

private:
    HDC Dc;
    HGDIOBJ Old;
};

// The whole state of a context (selections, clipping, colours, alignment, modes), put back when
// the scope ends.
class CSavedDC
{
public:
    explicit CSavedDC(HDC dc) noexcept : Dc(dc), Saved(SaveDC(dc)) {}
    CSavedDC(const CSavedDC&) = delete;
    CSavedDC& operator=(const CSavedDC&) = delete;
    ~CSavedDC()
    {
        if (Saved) RestoreDC(Dc, Saved);
    }

private:
    HDC Dc;
    int Saved;
};

// The context of a window (or of the screen for a null window), given back with ReleaseDC.
class CWindowDC
{
public:
    explicit CWindowDC(HWND window) noexcept : Window(window), Dc(GetDC(window)) {}
    CWindowDC(const CWindowDC&) = delete;
    CWindowDC& operator=(const CWindowDC&) = delete;
    ~CWindowDC()
    {
        if (Dc) ReleaseDC(Window, Dc);
    }

    HDC Get() const noexcept { return Dc; }
    operator HDC() const noexcept { return Dc; }

private:
    HWND Window;
    HDC Dc;
};

// A memory context with a bitmap of `size` compatible with `target` selected into it; false, and
// nothing made, when either cannot be made.
inline bool MakeBuffer(HDC target, SIZE size, CDeviceContext& dc, CBitmapHandle& bitmap, HGDIOBJ& oldBitmap)
{
    CDeviceContext context(CreateCompatibleDC(target));
    CBitmapHandle made(context ? CreateCompatibleBitmap(target, size.cx, size.cy) : nullptr);
    if (!made) return false;
    oldBitmap = SelectObject(context, made);
    dc = std::move(context);
    bitmap = std::move(made);
    return true;
}

inline void FreeBuffer(CDeviceContext& dc, CBitmapHandle& bitmap, HGDIOBJ& oldBitmap)
{
    if (dc && oldBitmap) SelectObject(dc, oldBitmap);
    oldBitmap = nullptr;
    bitmap.Reset();
    dc.Reset();
}
