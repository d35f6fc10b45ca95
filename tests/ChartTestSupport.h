#pragma once
// Drawing fixtures shared by the chart's tests: a printer reference context, and a chart owner
// whose colours and font a test sets. Surfaces whose pixels a test reads are CDibSurface.
#include <windows.h>
#include <winspool.h>
#include <olectl.h>
#include <map>
#include <string>
#include <vector>
#include "control/ChartDrawInfo.h"
#include "com/ComPtr.h"
#include "control/GdiHandle.h"
#include "demo/PngWriter.h"

namespace qvxtest {

// A context on the PostScript printer of the prefix, installed on first use with a minimal
// printer description. Its TECHNOLOGY is DT_RASPRINTER and it runs at 300 dpi.
inline CDeviceContext CreateTestPrinterDC()
{
    static const wchar_t printer[] = L"Qvx Test Printer";
    static const wchar_t driver[] = L"Wine PostScript Driver";
    if (HDC dc = CreateDCW(L"WINSPOOL", printer, nullptr, nullptr)) return CDeviceContext(dc);

    static const char description[] =
        "*PPD-Adobe: \"4.3\"\n*FormatVersion: \"4.3\"\n*FileVersion: \"1.0\"\n*LanguageVersion: English\n"
        "*LanguageEncoding: ISOLatin1\n*PCFileName: \"QVXTEST.PPD\"\n*Manufacturer: \"Qvx\"\n"
        "*Product: \"(Qvx Test)\"\n*ModelName: \"Qvx Test\"\n*NickName: \"Qvx Test\"\n"
        "*PSVersion: \"(3010.000) 0\"\n*LanguageLevel: \"3\"\n*ColorDevice: True\n*DefaultColorSpace: RGB\n"
        "*DefaultResolution: 300dpi\n*OpenUI *PageSize: PickOne\n*DefaultPageSize: A4\n"
        "*PageSize A4/A4: \"<</PageSize[595 842]>>setpagedevice\"\n*CloseUI: *PageSize\n"
        "*DefaultImageableArea: A4\n*ImageableArea A4/A4: \"18 36 577 806\"\n"
        "*DefaultPaperDimension: A4\n*PaperDimension A4/A4: \"595 842\"\n";
    wchar_t folder[MAX_PATH] = {};
    DWORD needed = 0;
    GetPrinterDriverDirectoryW(nullptr, nullptr, 1, reinterpret_cast<BYTE*>(folder), sizeof folder, &needed);
    CreateDirectoryW(folder, nullptr);
    wchar_t path[MAX_PATH];
    wsprintfW(path, L"%s\\qvxtest.ppd", folder);
    HANDLE file = CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
        DWORD written = 0;
        WriteFile(file, description, sizeof description - 1, &written, nullptr);
        CloseHandle(file);
    }

    wchar_t driverFile[] = L"wineps.drv", raw[] = L"RAW", port[] = L"FILE:", processor[] = L"WinPrint";
    DRIVER_INFO_3W driverInfo{.cVersion = 3, .pName = const_cast<wchar_t*>(driver), .pDriverPath = driverFile,
                              .pDataFile = path, .pConfigFile = driverFile, .pDefaultDataType = raw};
    AddPrinterDriverExW(nullptr, 3, reinterpret_cast<BYTE*>(&driverInfo), APD_COPY_NEW_FILES);

    PRINTER_INFO_2W printerInfo{.pPrinterName = const_cast<wchar_t*>(printer), .pPortName = port,
                                .pDriverName = const_cast<wchar_t*>(driver), .pPrintProcessor = processor,
                                .pDatatype = raw};
    if (HANDLE added = AddPrinterW(nullptr, 2, reinterpret_cast<BYTE*>(&printerInfo))) ClosePrinter(added);
    return CDeviceContext(CreateDCW(L"WINSPOOL", printer, nullptr, nullptr));
}

// The chart's font as the control makes it: Arial, 8 points, weight 400.
inline CComPtr<IFontDisp> CreateChartFont()
{
    FONTDESC description{.cbSizeofstruct = sizeof(FONTDESC), .lpstrName = const_cast<LPOLESTR>(L"Arial"),
                         .cySize = {.int64 = 80000}, .sWeight = FW_NORMAL, .sCharset = ANSI_CHARSET};
    CComPtr<IFontDisp> font;
    OleCreateFontIndirect(&description, IID_IFontDisp, font.OutVoid());
    return font;
}

// A rectangle as text, so that one comparison shows all four sides.
inline std::string RectText(const RECT& rect)
{
    return std::to_string(rect.left) + "," + std::to_string(rect.top) + " to " + std::to_string(rect.right) + "," +
           std::to_string(rect.bottom);
}

// Which of `points` on `surface` are `colour`, as a string of 1s and 0s.
inline std::string Inked(const CDibSurface& surface, COLORREF colour, std::initializer_list<POINT> points)
{
    std::string inked;
    for (const POINT& point : points) inked += surface.Pixel(point.x, point.y) == colour ? '1' : '0';
    return inked;
}

// How many pixels differ between two surfaces of one size, outside `except` when one is given.
inline int Differences(const CDibSurface& a, const CDibSurface& b, const RECT* except = nullptr)
{
    int count = 0;
    for (int y = 0; y < a.Height(); ++y)
        for (int x = 0; x < a.Width(); ++x)
            count += a.Pixel(x, y) != b.Pixel(x, y) && !(except && PtInRect(except, POINT{x, y}));
    return count;
}

// A chart owner with settable colours, a scheme that records what it was asked, and a font.
class CTestDrawOwner : public CChartDrawOwner
{
public:
    OLE_COLOR BackColor = 0xFFFFFFFF;
    OLE_COLOR ForeColor = 0xFFFFFFFF;
    OLE_COLOR GridColor = 0xFFFFFFFF;
    OLE_COLOR ActiveTraceGridColour = 0xD0D0D0;
    std::map<int, COLORREF> Scheme{{11, 0xFFFFFF}, {12, 0x000000}, {13, 0xD0D0D0}};
    std::vector<int> SchemeAsked;
    CComPtr<IUnknown> FontObject;

    OLE_COLOR GetBackColor() override { return BackColor; }
    OLE_COLOR GetForeColor() override { return ForeColor; }
    OLE_COLOR GetGridColor() override { return GridColor; }
    COLORREF GetSchemeColour(int index) override
    {
        SchemeAsked.push_back(index);
        auto found = Scheme.find(index);
        return found != Scheme.end() ? found->second : 0;
    }
    OLE_COLOR GetActiveTraceGridColour() override { return ActiveTraceGridColour; }
    IUnknown* GetFontObject() override { return FontObject; }
};

} // namespace qvxtest
