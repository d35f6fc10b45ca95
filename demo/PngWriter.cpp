#include "demo/PngWriter.h"
#include <wincodec.h>
#include "com/ComPtr.h"
#include "control/GdiHandle.h"

HRESULT WritePng(const wchar_t* path, const void* bits, UINT width, UINT height)
{
    CComPtr<IWICImagingFactory> factory;
    HRESULT hr = CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                  IID_IWICImagingFactory, factory.OutVoid());
    CComPtr<IWICStream> stream;
    if (SUCCEEDED(hr)) hr = factory->CreateStream(stream.Out());
    if (SUCCEEDED(hr)) hr = stream->InitializeFromFilename(path, GENERIC_WRITE);
    CComPtr<IWICBitmapEncoder> encoder;
    if (SUCCEEDED(hr)) hr = factory->CreateEncoder(GUID_ContainerFormatPng, nullptr, encoder.Out());
    if (SUCCEEDED(hr)) hr = encoder->Initialize(stream, WICBitmapEncoderNoCache);
    CComPtr<IWICBitmapFrameEncode> frame;
    if (SUCCEEDED(hr)) hr = encoder->CreateNewFrame(frame.Out(), nullptr);
    if (SUCCEEDED(hr)) hr = frame->Initialize(nullptr);
    if (SUCCEEDED(hr)) hr = frame->SetSize(width, height);
    WICPixelFormatGUID format = GUID_WICPixelFormat32bppBGR;
    if (SUCCEEDED(hr)) hr = frame->SetPixelFormat(&format);
    if (SUCCEEDED(hr) && !IsEqualGUID(format, GUID_WICPixelFormat32bppBGR)) hr = E_FAIL;
    if (SUCCEEDED(hr)) {
        hr = frame->WritePixels(height, width * 4, width * height * 4,
                                static_cast<BYTE*>(const_cast<void*>(bits)));
    }
    if (SUCCEEDED(hr)) hr = frame->Commit();
    if (SUCCEEDED(hr)) hr = encoder->Commit();
    return hr;
}

CDibSurface::CDibSurface(int width, int height) : W(width), H(height)
{
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;   // top-down
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    void* bits = nullptr;
    Bitmap = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    MemoryDc = CreateCompatibleDC(nullptr);
    if (Bitmap && MemoryDc) {
        OldBitmap = SelectObject(MemoryDc, Bitmap);
        Bits = static_cast<DWORD*>(bits);
    }
}

CDibSurface::CDibSurface(int width, int height, COLORREF colour) : CDibSurface(width, height)
{
    Fill(colour);
}

CDibSurface::~CDibSurface()
{
    if (MemoryDc) {
        if (OldBitmap) SelectObject(MemoryDc, OldBitmap);
        DeleteDC(MemoryDc);
    }
    if (Bitmap) DeleteObject(Bitmap);
}

COLORREF CDibSurface::Pixel(int x, int y) const
{
    if (!Bits || x < 0 || y < 0 || x >= W || y >= H) return CLR_INVALID;
    GdiFlush();
    DWORD p = Bits[size_t(y) * size_t(W) + size_t(x)];   // 0x00RRGGBB in memory order BGRX
    return RGB((p >> 16) & 0xFF, (p >> 8) & 0xFF, p & 0xFF);
}

void CDibSurface::Fill(COLORREF colour)
{
    CBrushHandle brush(CreateSolidBrush(colour));
    if (!Bits || !brush) return;
    RECT all = {0, 0, W, H};
    FillRect(MemoryDc, &all, brush);
}
