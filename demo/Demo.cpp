// The demo: the chart control hosted by ProgID in a real OLE container window (the system's
// ATL host window class), shown in a top-level window or, headless, rendered to PNG frames.
//
//   LinnographDemo.exe <output folder> [--headless] [--seconds N]
#include <windows.h>
#include <ole2.h>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>
#include "com/AutomationTypes.h"
#include "com/ComPtr.h"
#include "Interfaces.h"
#include "demo/PngWriter.h"
#include "QvxSim.h"

namespace {

const wchar_t ProgId[] = L"QvxLinnograph.LinnographCtl";
const int ClientWidth = 960;
const int ClientHeight = 480;

using AtlAxWinInitFn = BOOL(WINAPI*)();
using AtlAxGetControlFn = HRESULT(WINAPI*)(HWND, IUnknown**);

struct CDemoOptions
{
    std::wstring Output = L".";
    bool Headless = false;
    double Seconds = 3.0;
};

CDemoOptions ParseOptions()
{
    CDemoOptions options;
    int argc = 0;
    LPWSTR* argv = CommandLineToArgvW(GetCommandLineW(), &argc);
    for (int i = 1; argv && i < argc; ++i) {
        std::wstring a = argv[i];
        if (a == L"--headless") options.Headless = true;
        else if (a == L"--seconds" && i + 1 < argc) options.Seconds = _wtof(argv[++i]);
        else options.Output = a;
    }
    LocalFree(argv);
    return options;
}

LRESULT CALLBACK FrameProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case WM_SIZE:
        if (HWND child = GetWindow(window, GW_CHILD))
            MoveWindow(child, 0, 0, LOWORD(lParam), HIWORD(lParam), TRUE);
        return 0;
    case WM_DESTROY:
        PostQuitMessage(0);
        return 0;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

// Pumps messages until `seconds` have gone by or the window closes; false when it closed.
bool PumpFor(double seconds)
{
    auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    MSG msg;
    while (std::chrono::steady_clock::now() < end) {
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
            if (msg.message == WM_QUIT) return false;
            TranslateMessage(&msg);
            DispatchMessageW(&msg);
        }
        MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
    }
    return true;
}

// Renders the control through its view object into a DIB and writes it as a PNG. Returns the
// time the control took to draw, in milliseconds, or a negative value on failure.
double RenderFrame(IUnknown* control, const std::wstring& path)
{
    CComPtr<IViewObject> view;
    if (FAILED(control->QueryInterface(IID_IViewObject, view.OutVoid()))) return -1;
    CDibSurface surface(ClientWidth, ClientHeight);
    if (!surface.Valid()) return -1;
    RECTL bounds = {0, 0, ClientWidth, ClientHeight};
    auto start = std::chrono::steady_clock::now();
    HRESULT hr = view->Draw(DVASPECT_CONTENT, -1, nullptr, nullptr, nullptr, surface.Dc(), &bounds,
                            nullptr, nullptr, 0);
    double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    if (FAILED(hr)) return -1;
    if (FAILED(surface.Save(path.c_str()))) return -1;
    return ms;
}

// Sets a property of the control by name, as a script would.
void SetProperty(IUnknown* control, const wchar_t* name, long value)
{
    CComPtr<IDispatch> dispatch;
    if (FAILED(control->QueryInterface(IID_IDispatch, dispatch.OutVoid()))) return;
    LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
    DISPID id = DISPID_UNKNOWN;
    if (FAILED(dispatch->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id))) return;
    VARIANT argument;
    VariantInit(&argument);
    argument.vt = VT_I4;
    argument.lVal = value;
    DISPID named = DISPID_PROPERTYPUT;
    DISPPARAMS parameters = {&argument, &named, 1, 1};
    dispatch->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYPUT, &parameters, nullptr, nullptr, nullptr);
}

// The simulated host's live recording, attached to the chart as a host application would.
class CLiveHost
{
public:
    HRESULT Attach(IUnknown* control)
    {
        HRESULT hr = CoCreateInstance(CLSID_QvxSimulatedHost, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                      Root.OutVoid());
        if (SUCCEEDED(hr)) hr = Simulation.QueryFrom(Root, __uuidof(IQvxSimulation));
        CComPtr<IQvxControl> chart;
        if (SUCCEEDED(hr)) hr = chart.QueryFrom(control, __uuidof(IQvxControl));
        if (SUCCEEDED(hr)) hr = chart->SetHost(Root);
        if (SUCCEEDED(hr)) hr = chart->SetTaskById(LiveTask);
        return hr;
    }
    // Chooses the chart's channels as a host application does: the host's "Dashboard" group
    // (Speed, RPM, Throttle, Brake) and one channel by name.
    HRESULT ChooseChannels(IUnknown* control)
    {
        CComPtr<IQvx1DChannelConfig2> config;
        CComPtr<IQvxOrvid> root;
        CComPtr<IQvxGroupFactory> defaults;
        CComPtr<IQvxGroups> groups;
        CComPtr<IQvxDynDataNames> names;
        HRESULT hr = config.QueryFrom(control, __uuidof(IQvx1DChannelConfig2));
        if (SUCCEEDED(hr)) hr = root.QueryFrom(Root, __uuidof(IQvxOrvid));
        if (SUCCEEDED(hr)) hr = root->GetGroupDefaults(defaults.Out());
        if (SUCCEEDED(hr)) hr = defaults->GetGroup(CBstr(L"Dashboard").Get(), Dashboard.Out());
        if (SUCCEEDED(hr)) hr = config->GetChannelGroups(groups.Out());
        if (SUCCEEDED(hr)) hr = groups->Add(Dashboard);
        if (SUCCEEDED(hr)) hr = config->GetChannelNames(names.Out());
        if (SUCCEEDED(hr)) hr = names->Add(CBstr(L"Lateral G").Get());
        return hr;
    }
    // The host's user changes the group: the chart follows.
    void AddToGroup(const wchar_t* channel)
    {
        if (Dashboard) Dashboard->AddMember(CBstr(channel).Get());
    }
    // Moves the recording on by `seconds` of live time.
    void Advance(double seconds)
    {
        if (Simulation) Simulation->Advance(qvx::time(seconds * 10'000'000));
    }
    double ClockSeconds() const
    {
        qvx::time now = 0, start = 0;
        if (!Simulation || FAILED(Simulation->GetClock(&now)) || FAILED(Simulation->GetRecordingStart(&start)))
            return 0;
        return double(now - start) / 1e7;
    }
    void Close()
    {
        Dashboard = nullptr;
        if (Simulation) Simulation->Shutdown();
        Simulation = nullptr;
        Root = nullptr;
    }

private:
    static constexpr long LiveTask = 1;
    CComPtr<IUnknown> Root;
    CComPtr<IQvxSimulation> Simulation;
    CComPtr<IQvxGroup> Dashboard;
};

// The channels that the chart shows, as the host reads them.
void PrintChannels(IUnknown* control)
{
    CComPtr<IQvxControl2> chart;
    CComPtr<IQvxDataNames> names;
    long count = 0;
    if (FAILED(chart.QueryFrom(control, __uuidof(IQvxControl2))) || FAILED(chart->GetChannelNames(names.Out())) ||
        FAILED(names->GetCount(&count)))
        return;
    std::printf("demo: %ld channels:", count);
    for (long i = 1; i <= count; ++i) {
        CBstr name;
        if (SUCCEEDED(names->GetName(i, name.Out()))) std::printf(" \"%ls\"", name.c_str());
    }
    std::printf("\n");
}

} // namespace

int wmain()
{
    CDemoOptions options = ParseOptions();
    if (FAILED(OleInitialize(nullptr))) return 2;

    HMODULE atl = LoadLibraryW(L"atl.dll");
    auto axInit = atl ? reinterpret_cast<AtlAxWinInitFn>(GetProcAddress(atl, "AtlAxWinInit")) : nullptr;
    auto axGetControl = atl ? reinterpret_cast<AtlAxGetControlFn>(GetProcAddress(atl, "AtlAxGetControl")) : nullptr;
    if (!axInit || !axGetControl || !axInit()) {
        std::fprintf(stderr, "demo: the OLE container window class is not available\n");
        return 3;
    }

    WNDCLASSW frameClass = {};
    frameClass.lpfnWndProc = FrameProc;
    frameClass.hInstance = GetModuleHandleW(nullptr);
    frameClass.hCursor = LoadCursor(nullptr, IDC_ARROW);
    frameClass.lpszClassName = L"Qvx_DemoFrame";
    RegisterClassW(&frameClass);
    RECT r = {0, 0, ClientWidth, ClientHeight};
    AdjustWindowRect(&r, WS_OVERLAPPEDWINDOW, FALSE);
    HWND frame = CreateWindowExW(0, frameClass.lpszClassName, L"Linnograph demo", WS_OVERLAPPEDWINDOW,
                                 CW_USEDEFAULT, CW_USEDEFAULT, r.right - r.left, r.bottom - r.top,
                                 nullptr, nullptr, frameClass.hInstance, nullptr);
    HWND host = frame ? CreateWindowExW(0, L"AtlAxWin", ProgId, WS_CHILD | WS_VISIBLE, 0, 0,
                                        ClientWidth, ClientHeight, frame, nullptr,
                                        frameClass.hInstance, nullptr) : nullptr;
    CComPtr<IUnknown> control;
    if (!host || FAILED(axGetControl(host, control.Out())) || !control) {
        std::fprintf(stderr, "demo: could not host %ls (is it registered?)\n", ProgId);
        return 4;
    }
    std::printf("demo: hosting %ls in the container window\n", ProgId);
    CLiveHost live;
    if (FAILED(live.Attach(control))) {
        std::fprintf(stderr, "demo: could not attach the simulated host\n");
        return 6;
    }
    std::printf("demo: attached to the simulated host's live task\n");
    if (FAILED(live.ChooseChannels(control))) {
        std::fprintf(stderr, "demo: could not choose the chart's channels\n");
        return 7;
    }
    PrintChannels(control);
    // The chart in a three-dimensional border, as a host would set it up.
    SetProperty(control, L"Appearance", 1);
    SetProperty(control, L"BorderStyle", 1);
    // One strip for each channel, so that the group's channels stand apart.
    SetProperty(control, L"Tiled", -1);

    int status = 0;
    if (options.Headless) {
        // No display: run the chart for a while and keep frames of it, on past the first window
        // so that the frames show it moving with the live end.
        std::vector<double> frameTimes;
        const int frames = 8;
        for (int i = 0; i < frames; ++i) {
            if (i == frames / 2) {
                live.AddToGroup(L"Gear");
                PrintChannels(control);
            }
            live.Advance(4.25);
            if (!PumpFor(options.Seconds / frames)) break;
            wchar_t name[32];
            swprintf(name, 32, L"\\frame-%03d.png", i);
            double ms = RenderFrame(control, options.Output + name);
            if (ms < 0) { status = 5; break; }
            frameTimes.push_back(ms);
            std::printf("frame %d at %.1f s of live data\n", i, live.ClockSeconds());
        }
        if (status == 0 && RenderFrame(control, options.Output + L"\\demo.png") < 0) status = 5;
        std::wstring figures = options.Output + L"\\frame-times.txt";
        if (FILE* f = _wfopen(figures.c_str(), L"w")) {
            for (size_t i = 0; i < frameTimes.size(); ++i) std::fprintf(f, "frame %zu: %.3f ms\n", i, frameTimes[i]);
            std::fclose(f);
        }
        for (size_t i = 0; i < frameTimes.size(); ++i) std::printf("frame %zu drawn in %.3f ms\n", i, frameTimes[i]);
        std::printf(status == 0 ? "demo: wrote demo.png and %zu frames\n" : "demo: rendering failed\n",
                    frameTimes.size());
    } else {
        ShowWindow(frame, SW_SHOWNORMAL);
        UpdateWindow(frame);
        // Live time follows the wall clock, a tenth of a second at a time.
        auto last = std::chrono::steady_clock::now();
        while (PumpFor(0.1)) {
            auto now = std::chrono::steady_clock::now();
            live.Advance(std::chrono::duration<double>(now - last).count());
            last = now;
        }
    }
    live.Close();
    control = nullptr;
    if (IsWindow(frame)) DestroyWindow(frame);
    OleUninitialize();
    return status;
}
