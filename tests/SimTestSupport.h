#pragma once
// Tests that drive the substitute host: its ticks and tasks, a region that records what the items
// it listens to tell it, and the host itself with the counts and faults it keeps for a test.
#include <gtest/gtest.h>
#include <vector>
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
        for (DWORD flags : Heard)
            if (flags & bits) return true;
        return false;
    }
    std::vector<DWORD> Heard;
    int Removed = 0;
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
    // From now on the host answers `operation` with `status`.
    void Fault(const wchar_t* operation, HRESULT status)
    {
        ASSERT_EQ(S_OK, Sim->SetFault(CBstr(operation).Get(), status));
    }
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

} // namespace qvxtest
