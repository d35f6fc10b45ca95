#pragma once
// Channels and traces over the substitute host: a chart whose channel properties come from a
// local factory with the host's defaults as parent and which counts what the task tells it, a task
// item attached to one of the host's tasks, and the helpers to set properties and count what the
// host was asked.
#include <gtest/gtest.h>
#include <string>
#include <vector>
#include "items/ChannelDataItem.h"
#include "items/DataSelectionDataItem.h"
#include "items/ItemFlags.h"
#include "tests/SimTestSupport.h"
#include "items/TraceDataItem.h"

namespace qvxtest {

class CChannelChart : public CTestChartCtl
{
public:
    IQvxOrvid* GetOrvid() override { return TestHost; }
    IQvxPropertyFactory* GetChannelFactory() override { return Factory; }
    void MarkModified() override { ++Modified; }
    void FireActiveChanged() override { ++ActiveChanges; }

    IQvxOrvid* TestHost = nullptr;
    IQvxPropertyFactory* Factory = nullptr;
    int Modified = 0;
    int ActiveChanges = 0;
};

class ChannelItemTest : public testing::Test, protected CTestHost
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(S_OK, StartHost());
        ASSERT_EQ(S_OK, Host->GetChannelDefaults(Defaults.Out()));
        ASSERT_EQ(S_OK, CoCreateInstance(CLSID_QvxChannelPropertyFactory, nullptr, CLSCTX_INPROC_SERVER,
                                         __uuidof(IQvxPropertyFactory), Factory.OutVoid()));
        ASSERT_EQ(S_OK, Factory->SetParent(Defaults));
        ASSERT_EQ(S_OK, CComObject<CChannelChart>::CreateInstance(Control));
        Chart = static_cast<CChannelChart*>(Control.Get());
        Chart->TestHost = Host;
        Chart->Factory = Factory;
        Task = std::make_unique<CTaskDataItem>(Chart);
    }
    void TearDown() override { Task.reset(); }

    // The task item takes the host's task as the control would give it.
    void Attach(long id)
    {
        Attached = TaskOfHost(Host, id);
        ASSERT_TRUE(Attached);
        Task->SetTask(Attached);
        Task->GetOwnZoomStack()->SetTask(Attached);
        Task->NotifyChange(TaskCursorStale | TaskSelectionsStale | TaskTimeRangeStale, 1);
    }
    // The chart shows these channels, each with its traces made; the task is told nothing stale.
    void Show(std::initializer_list<const wchar_t*> names)
    {
        std::vector<CBstr> keys;
        for (const wchar_t* name : names) keys.emplace_back(name);
        Task->GetOrdering()->SetNames(keys);
        for (CChannelDataItem* channel : Task->GetOrdering()->GetItems()) channel->GetTraces();
        Task->GetActiveSelection();
        Task->Flags &= ~(TaskSelectionsStale | TaskActiveStale);
    }
    CChannelDataItem* Channel(size_t place = 0) { return Task->GetOrdering()->GetItems().at(place); }
    CTraceDataItem* Trace(size_t selection = 0, size_t place = 0) { return Channel(place)->GetTraces().at(selection); }

    // Sets a property of this chart's set of `channel`, or of the host's defaults.
    void Set(const wchar_t* channel, const wchar_t* property, VARTYPE type, double value, bool defaults = false)
    {
        CComPtr<IQvxPropertySet> set;
        ASSERT_EQ(S_OK, (defaults ? Defaults : Factory)->GetPropertySet(CBstr(channel).Get(), set.Out()));
        CVariant variant;
        variant.vt = VT_R8;
        variant.dblVal = value;
        ASSERT_EQ(S_OK, VariantChangeType(&variant, &variant, 0, type));
        ASSERT_EQ(S_OK, set->SetProperty(CBstr(property).Get(), variant));
    }
    // The host's series of a trace, asked directly.
    CComPtr<IQvxData2> Series(CTraceDataItem* trace) { return Query<IQvxData2>(trace->GetData()); }
    // The host's value of the last sample of `trace` up to `time` on the chart's time axis.
    double SampleAt(CTraceDataItem* trace, qvx::time time)
    {
        __int64 at = 0;
        double value = 0.0;
        EXPECT_EQ(S_OK, Series(trace)->FindSample(trace->GetSelection()->GetStartTime() + time, 2, 1, &at, &value));
        return value;
    }

    CComPtr<IQvxPropertyFactory> Defaults;
    CComPtr<IQvxPropertyFactory> Factory;
    CComPtr<IQvxLinnographCtl4> Control;
    CChannelChart* Chart = nullptr;
    std::unique_ptr<CTaskDataItem> Task;
    CComPtr<IQvxTask> Attached;
    HWND NoWindow = nullptr;
};

} // namespace qvxtest
