#pragma once
// For tests that drive the substitute host: a region that records what the items it listens to
// tell it, the host with the counts and faults it keeps, and a chart attached to it.
#include <gtest/gtest.h>
#include <algorithm>
#include <vector>
#include "items/DataSelectionDataItem.h"
#include "tests/ChartFrameTestSupport.h"
#include "QvxSim.h"

namespace qvxtest {

constexpr qvx::time Second = 10'000'000;
constexpr qvx::time Hour = 3600 * Second;
// The substitute's task 1 holds the live recording (selection 1), a finished session of 200
// seconds (2) and a secondary reference lap of 70 seconds (3); its task 2 one finished selection
// of 120 seconds.
constexpr long SessionTask = 1;
constexpr long ArchiveTask = 2;

// A listener that records the flags of every change it hears and counts the items removed.
class CRecordingRegion : public CChartRegionBase
{
public:
    using CChartRegionBase::CChartRegionBase;
    void OnDataItemChanged(CDataItemBase*, DWORD flags) override { Heard.push_back(flags); }
    void OnDataItemRemoved(CDataItemBase* item) override
    {
        ++Removed;
        CChartRegionBase::OnDataItemRemoved(item);
    }
    bool HeardAny(DWORD bits) const
    {
        return std::any_of(Heard.begin(), Heard.end(), [bits](DWORD flags) { return (flags & bits) != 0; });
    }
    std::vector<DWORD> Heard;
    int Removed = 0;
};

// A recording region that listens to one item for as long as both live.
class CListeningRegion : public CRecordingRegion
{
public:
    explicit CListeningRegion(CDataItemBase* item) : CRecordingRegion(nullptr), Item(item) { Item->AddListener(this); }
    ~CListeningRegion() override { if (Item) Item->RemoveListener(this); }
    void OnDataItemRemoved(CDataItemBase* item) override
    {
        Item = nullptr;
        CRecordingRegion::OnDataItemRemoved(item);
    }
    CDataItemBase* Item;
};

// The substitute host for the length of one test, in OLE of its own: a fixture derives from it
// and starts the host in its SetUp. The host and OLE outlive every member of the fixture.
class CTestHost
{
protected:
    HRESULT StartHost()
    {
        HRESULT hr = CoCreateInstance(CLSID_QvxSimulatedHost, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IQvxOrvid),
                                      Host.OutVoid());
        if (SUCCEEDED(hr)) hr = Host.As(Sim);
        return hr;
    }

    // How often the host was asked for `operation` since the counts were last reset; -1 if unknown.
    long Calls(const wchar_t* operation)
    {
        long count = -1;
        Sim->GetCallCount(CBstr(operation).Get(), &count);
        return count;
    }
    // From now on the host answers operation `name` with `status`.
    void Fault(const wchar_t* name, HRESULT status) { ASSERT_EQ(S_OK, Sim->SetFault(CBstr(name).Get(), status)); }
    // How many notification sinks are advised on the host's objects; -1 if unknown.
    long SinkCount()
    {
        long count = -1;
        Sim->GetSinkCount(&count);
        return count;
    }

    COleScope Ole;
    CComPtr<IQvxOrvid> Host;
    CComPtr<IQvxSimulation> Sim;
};

// The chart control made as its class factory makes it and attached to the substitute host
// through COM, as a host attaches it: the host's run state and cursor reach it through the host's
// own notifications. A chart 1000 pixels wide with a window of 100 seconds over 100 seconds.
class CLiveChartCtl : public CTestChartCtl
{
public:
    using CBaseChartCtl::Running;
};

class LiveChartTest : public testing::Test, protected CTestHost
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(S_OK, StartHost());
        ASSERT_EQ(S_OK, Sim->GetRecordingStart(&RecordingStart));
        ASSERT_EQ(S_OK, CComObject<CLiveChartCtl>::CreateInstance(Owner));
        Chart = static_cast<CLiveChartCtl*>(Owner.Get());
        Control = Query<IQvxControl>(Owner);
        ASSERT_TRUE(Control);
        ASSERT_EQ(S_OK, Owner->put_DataTimeSpan(100 * Second));
        ASSERT_EQ(S_OK, Owner->put_HistoricDataTimeSpan(100 * Second));
        ASSERT_EQ(S_OK, Control->SetHost(Host));
        Chart->TaskItem->SetPlotWidth(1000);
    }
    void TearDown() override
    {
        Control = nullptr;
        Owner = nullptr;
        if (Sim) Sim->Shutdown();
    }

    void Attach(long id) { ASSERT_EQ(S_OK, Control->SetTaskById(id)); }
    CRTCTaskDataItem& Task() { return *Chart->TaskItem; }
    CComPtr<IQvxTask> HostTask() { return TaskOfHost(Host, SessionTask); }
    // The one selection item that the chart shows; null when it shows none.
    CRTCDataSelectionDataItem* Shown()
    {
        const auto& selections = Task().GetSelections();
        return selections.empty() ? nullptr : static_cast<CRTCDataSelectionDataItem*>(selections.front());
    }
    qvx::time DataEnd() { return RecordingStart + Elapsed; }
    void Advance(qvx::time ticks)
    {
        ASSERT_EQ(S_OK, Sim->Advance(ticks));
        Elapsed += ticks;
    }
    // The host runs or pauses all its views; the chart hears it from the host.
    void HostRuns(bool on) { ASSERT_EQ(S_OK, Sim->SetRunning(SessionTask, on ? VARIANT_TRUE : VARIANT_FALSE)); }
    // The local pause command: the chart's wish to run is inverted and the mode chosen again.
    void LocalPause()
    {
        Chart->Running = !Chart->Running;
        Task().RefreshControlMode();
    }
    qvx::time HostCursor()
    {
        qvx::time time = -1;
        EXPECT_EQ(S_OK, HostTask()->GetCursorTime(&time));
        return time;
    }
    // The absolute time of a chart time and of a host cursor time: the chart counts from its
    // selection item's start, the host from its selection's.
    qvx::time ChartToAbsolute(qvx::time time) { return Shown()->GetStartTime() + time; }
    qvx::time HostToAbsolute(qvx::time time)
    {
        qvx::time start = 0;
        EXPECT_EQ(S_OK, Shown()->GetSelection()->GetStartTime(&start));
        return start + time;
    }

    CComPtr<IQvxLinnographCtl4> Owner;
    CLiveChartCtl* Chart = nullptr;
    CComPtr<IQvxControl> Control;
    qvx::time RecordingStart = 0;
    qvx::time Elapsed = 0;
};

} // namespace qvxtest
