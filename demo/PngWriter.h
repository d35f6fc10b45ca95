#pragma once
// Writes a 32-bit top-down DIB section to a PNG file through WIC.
#include <windows.h>

// `bits` are width*height BGRX pixels, rows top to bottom. COM must be initialised.
HRESULT WritePng(const wchar_t* path, const void* bits, UINT width, UINT height);

// A 32-bit top-down DIB section with a memory context selected on it, for rendering tests and
// the headless demo.
class CDibSurface
{
public:
    CDibSurface(int width, int height);
    // A surface filled with `colour` throughout.
    CDibSurface(int width, int height, COLORREF colour);
    CDibSurface(const CDibSurface&) = delete;
    CDibSurface& operator=(const CDibSurface&) = delete;
    ~CDibSurface();

    bool Valid() const { return Bits != nullptr; }
    void Fill(COLORREF colour);
    HDC Dc() const { return MemoryDc; }
    int Width() const { return W; }
    int Height() const { return H; }
    // The pixel at (x, y) as a COLORREF (0x00BBGGRR).
    COLORREF Pixel(int x, int y) const;
    const void* Data() const { return Bits; }
    HRESULT Save(const wchar_t* path) const { return WritePng(path, Bits, UINT(W), UINT(H)); }

private:
    int W, H;
    HDC MemoryDc = nullptr;
    HBITMAP Bitmap = nullptr;
    HGDIOBJ OldBitmap = nullptr;
    DWORD* Bits = nullptr;
};
