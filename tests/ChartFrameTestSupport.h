#pragma once
// The chart control linked into a test with its frame's state open, and rectangle helpers.
#include <windows.h>
#include <gtest/gtest.h>
#include <uxtheme.h>
#include "regions/CursorsRegion.h"
#include "regions/GraphRegion.h"
#include "control/LinnographCtl.h"
#include "tests/OleTestSupport.h"
#include "regions/ResizeRegion.h"
#include "items/RTCTaskDataItem.h"

namespace qvxtest {

class CTestChartCtl : public CLinnographCtl
{
public:
    using CBaseChartCtl::CursorsRegion;
    using CBaseChartCtl::FlashManager;
    using CBaseChartCtl::GraphRegion;
    using CBaseChartCtl::ResizeRegion;
    using CBaseChartCtl::TaskItem;
    using CLinnographCtl::BackBufferBitmap;
    using CLinnographCtl::BackBufferDC;
    using CLinnographCtl::BackBufferSize;
    using CLinnographCtl::Window;

    CControlBorderHelper& BorderHelper() { return *this; }
};

// A chart as its class factory makes it, held by `control`; null when the creation failed.
inline CTestChartCtl* CreateTestChart(CComPtr<IQvxLinnographCtl4>& control, HRESULT* result = nullptr)
{
    HRESULT hr = CComObject<CTestChartCtl>::CreateInstance(control);
    if (result) *result = hr;
    return SUCCEEDED(hr) ? static_cast<CTestChartCtl*>(control.Get()) : nullptr;
}

inline bool SameRect(const RECT& a, const RECT& b)
{
    return EqualRect(&a, &b) != FALSE;
}

inline RECT Deflated(RECT rect, int dx, int dy)
{
    InflateRect(&rect, -dx, -dy);
    return rect;
}

// The host's task of the given id, through its task list.
inline CComPtr<IQvxTask> TaskOfHost(IQvxOrvid* host, long id)
{
    CComPtr<IQvxTaskList> tasks;
    CComPtr<IQvxTask> task;
    EXPECT_EQ(S_OK, host->GetTaskList(tasks.Out()));
    if (tasks) {
        EXPECT_EQ(S_OK, tasks->GetItem(id, task.Out()));
    }
    return task;
}

} // namespace qvxtest
