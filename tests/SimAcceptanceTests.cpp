// The substitute host as another module sees it, through COM alone, from its registration: a live
// recording whose notifications arrive through the chart's sinks in order, and agree with a twin.
#include <gtest/gtest.h>
#include <cmath>
#include <map>
#include <string>
#include <vector>
#include "com/AutomationTypes.h"
#include "config/DataNotifications.h"
#include "config/DataSelectionNotifications.h"
#include "config/LapMarkersNotifications.h"
#include "QvxSim.h"
#include "tests/HostPaths.h"

using namespace qvxtest;

namespace {

constexpr qvx::time Second = 10'000'000;
constexpr qvx::time Centisecond = Second / 100;

// What the listener heard, each notification closed by "; ".
std::string Heard;
std::string Span(qvx::time from, qvx::time to) { return std::to_string(from) + ".." + std::to_string(to); }

// Listens to two channels, the laps and the selection, as a chart's items do.
class CListener : public CDataNotificationsReceiver,
                  public CLapMarkersNotificationsReceiver,
                  public CDataSelectionNotifications3Receiver
{
public:
    void OnDataChanged(IUnknown* source, qvx::time* from, qvx::time* to) override
    {
        Heard += (source == Speed.Get() ? "speed " : "distance ") + Span(*from, *to) + "; ";
    }
    void OnMarkersChanged(IUnknown*) override { Heard += "markers; "; }
    void OnTimeRangeChanged(IUnknown*, qvx::time* from, qvx::time* to) override
    {
        Heard += "range " + Span(*from, *to) + "; ";
    }
    void OnTimesChanged(IQvxDataSelection*) override { Heard += "times; "; }

    CComPtr<IUnknown> Speed;
};

CComPtr<IQvxOrvid> MakeHost()
{
    CComPtr<IQvxOrvid> host;
    EXPECT_EQ(S_OK, CoCreateInstance(CLSID_QvxSimulatedHost, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IQvxOrvid),
                                     host.OutVoid()));
    return host;
}

CComPtr<IQvxDataSelection> LiveSelection(IQvxOrvid* host) { return SelectionOf(TaskById(host, 1), 1); }

double ValueAt(IQvxData* data, qvx::time time)
{
    double value = std::nan("");
    EXPECT_TRUE(SUCCEEDED(data->GetValueAt(time, 2, 0, &value))) << time;
    return value;
}

// COM for the length of one test; the host's pointers, declared after it, go first.
struct CComScope
{
    CComScope() { EXPECT_EQ(S_OK, CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)); }
    ~CComScope() { CoUninitialize(); }
};

class SimAcceptance : public ::testing::Test
{
protected:
    void SetUp() override
    {
        Heard.clear();
        Host = MakeHost();
        ASSERT_EQ(S_OK, Host.As(Simulation));
    }

    CComScope Com;
    CComPtr<IQvxOrvid> Host;
    CComPtr<IQvxSimulation> Simulation;
};

} // namespace

TEST_F(SimAcceptance, LiveDataAndLapsArriveThroughSinksInOrder)
{
    qvx::time start = 0;
    Simulation->GetRecordingStart(&start);
    CComPtr<IQvxDataSelection> live = LiveSelection(Host);
    CComPtr<IUnknown> laps;
    ASSERT_EQ(S_OK, live->GetLaps(laps.Out()));
    CListener listener;
    // Distance is asked for first: notifications still come in the order of the channels.
    CComPtr<IUnknown> distance = ChannelOf(live, L"Distance");
    listener.Speed = ChannelOf(live, L"Speed");
    using CDataSink = CDataNotificationsSink<CBaseSingleSourceSink<IQvxDataNotifications>>;
    using CLapSink = CLapMarkersNotificationsSink<CBaseSingleSourceSink<IQvxLapMarkersNotifications>>;
    using CSelectionSink = CDataSelectionNotifications3Sink<CBaseSingleSourceSink<IQvxDataSelectionNotifications3>>;
    auto speedSink = CreateSink<CDataSink>(static_cast<CDataNotificationsReceiver*>(&listener));
    auto distanceSink = CreateSink<CDataSink>(static_cast<CDataNotificationsReceiver*>(&listener));
    auto lapSink = CreateSink<CLapSink>(static_cast<CLapMarkersNotificationsReceiver*>(&listener));
    auto selectionSink = CreateSink<CSelectionSink>(static_cast<CDataSelectionNotifications3Receiver*>(&listener));
    ASSERT_TRUE(distanceSink->Advise(distance) && speedSink->Advise(listener.Speed) && lapSink->Advise(laps) &&
                selectionSink->Advise(live));

    qvx::time end = start;
    long markers = 0;
    for (int step = 0; step < 130; ++step) {
        Heard.clear();
        ASSERT_EQ(S_OK, Simulation->Advance(Second));
        qvx::time clock = 0;
        Simulation->GetClock(&clock);
        ASSERT_EQ(end + Second, clock);
        const bool marker = Heard.rfind("markers; ", 0) == 0;
        markers += marker;
        // The samples between the last end and the new one, at 100 a second.
        const std::string samples = Span(end + Centisecond, clock);
        ASSERT_EQ("range " + Span(start, clock) + "; times; speed " + samples + "; distance " + samples + "; ",
                  Heard.substr(marker ? 9 : 0)) << step;
        end = clock;
    }
    long count = 0;
    CComPtr<IQvxLaps> lapList;
    ASSERT_EQ(S_OK, laps.As(lapList));
    lapList->GetCount(&count);
    EXPECT_EQ(markers, count);
    ASSERT_GE(count, 2);

    // A second host of the same seed, advanced at once, holds the same samples.
    CComPtr<IQvxOrvid> twin = MakeHost();
    CComPtr<IQvxSimulation> twinSimulation;
    ASSERT_EQ(S_OK, twin.As(twinSimulation));
    twinSimulation->Advance(end - start);
    CComPtr<IQvxData> speedData = DataOf(listener.Speed), twinSpeed = DataOf(ChannelOf(LiveSelection(twin), L"Speed"));
    for (qvx::time t = start; t <= end; t += 7 * Second + 3 * Centisecond)
        EXPECT_EQ(ValueAt(speedData, t), ValueAt(twinSpeed, t));

    CloseSink(speedSink, listener.Speed);
    CloseSink(distanceSink, distance);
    CloseSink(lapSink, laps);
    CloseSink(selectionSink, live);
    long sinks = -1;
    Simulation->GetSinkCount(&sinks);
    EXPECT_EQ(0, sinks);
}

TEST_F(SimAcceptance, CreatableClassesAreRegisteredByIdAndByName)
{
    // The chart makes the other classes itself in every test; nothing of it makes the view state.
    for (const CLSID* clsid : {&CLSID_QvxZoomStack, &CLSID_QvxPropertyViewState}) {
        CComPtr<IUnknown> object;
        EXPECT_EQ(S_OK, CoCreateInstance(*clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, object.OutVoid()));
    }
    CLSID byName{};
    ASSERT_EQ(S_OK, CLSIDFromProgID(L"QvxHost.ZoomStack", &byName));
    EXPECT_TRUE(IsEqualCLSID(CLSID_QvxZoomStack, byName));
}

TEST_F(SimAcceptance, TheRegisteredLibraryKeepsTheOperationsInTheirSlots)
{
    CComPtr<ITypeLib> library;
    ASSERT_EQ(S_OK, LoadRegTypeLib(LIBID_QvxInterfacesLib, 1, 0, 0, library.Out()));
    const std::pair<const IID*, std::vector<std::pair<const wchar_t*, int>>> table[] = {
        {&__uuidof(IQvxOrvid), {{L"GetChannelDefaults", 0}, {L"GetTimeDigits", 27}}},
        {&__uuidof(IQvxTaskNotifications6), {{L"Reserved14", 14}}},
        {&__uuidof(IQvxDataSelectionNotifications3), {{L"OnSelectionTextChanged", 9}}},
    };
    for (const auto& [iid, operations] : table) {
        CComPtr<ITypeInfo> info;
        TYPEATTR* attributes = nullptr;
        ASSERT_EQ(S_OK, library->GetTypeInfoOfGuid(*iid, info.Out()));
        ASSERT_EQ(S_OK, info->GetTypeAttr(&attributes));
        std::map<std::wstring, int> found;
        for (UINT i = 0; i < attributes->cFuncs; ++i) {
            FUNCDESC* function = nullptr;
            info->GetFuncDesc(i, &function);
            CBstr name;
            UINT names = 0;
            info->GetNames(function->memid, name.Out(), 1, &names);
            found[std::wstring(name.View())] = int(function->oVft / sizeof(void*)) - 3;
            info->ReleaseFuncDesc(function);
        }
        info->ReleaseTypeAttr(attributes);
        for (const auto& [operation, slot] : operations) {
            const auto at = found.find(operation);
            EXPECT_EQ(slot, at == found.end() ? -1 : at->second) << operation;
        }
    }
}
