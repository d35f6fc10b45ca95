// The task item's first form: the zoom stack that it holds and the changes that it tells of.
#include <gtest/gtest.h>
#include "ChartFrameTestSupport.h"
#include "ItemFlags.h"

using namespace qvxtest;

namespace {

class CRecordingRegion : public CChartRegionBase
{
public:
    using CChartRegionBase::CChartRegionBase;
    void OnDataItemChanged(CDataItemBase*, DWORD flags) override { Heard.push_back(flags); }
    std::vector<DWORD> Heard;
};

CComPtr<IQvxZoomStack> NewZoomStack()
{
    CComPtr<IQvxZoomStack> stack;
    CoCreateInstance(CLSID_QvxZoomStack, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IQvxZoomStack), stack.OutVoid());
    return stack;
}

class TaskDataItem : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(Chart);
        Task.AddListener(&Listener);
    }
    void TearDown() override { Task.RemoveListener(&Listener); }

    COleScope Ole;
    // The owner: a chart that has not been initialised, so nothing in it needs saving yet.
    CComPtr<IQvxLinnographCtl4> Control;
    CTestChartCtl* Chart = CreateTestChart(Control);
    CRTCTaskDataItem Task{Chart, 100'000'000};
    HWND NoWindow = nullptr;
    CRecordingRegion Listener{&NoWindow};
};

} // namespace

TEST_F(TaskDataItem, StartsStaleWithItsOwnerAndSpanAndNoStack)
{
    EXPECT_EQ(Task.Flags, 0xFFFFFFFFu);
    EXPECT_EQ(Task.GetOwner(), static_cast<CBaseChartCtl*>(Chart));
    EXPECT_EQ(Task.GetDataTimeSpan(), 100'000'000);
    EXPECT_EQ(Task.GetZoomStack(), nullptr);
}

TEST_F(TaskDataItem, ANewZoomStackIsToldAsARangeAndStackChange)
{
    CComPtr<IQvxZoomStack> stack = NewZoomStack();
    ASSERT_TRUE(stack);
    // Given as any of its interfaces, the stack is held as a zoom stack.
    CComPtr<IUnknown> identity = Query<IUnknown>(stack);
    ASSERT_EQ(S_OK, Task.SetZoomStack(identity));
    EXPECT_EQ(Task.GetZoomStack(), stack.Get());
    ASSERT_EQ(1u, Listener.Heard.size());
    EXPECT_EQ(TaskTimeRangeStale | TaskDistanceRangeStale | TaskZoomStackChanged, Listener.Heard[0]);
    EXPECT_EQ(0x203u, Listener.Heard[0]);

    // Letting go is a change of the same kind.
    ASSERT_EQ(S_OK, Task.SetZoomStack(nullptr));
    EXPECT_EQ(Task.GetZoomStack(), nullptr);
    EXPECT_EQ(2u, Listener.Heard.size());
}

TEST_F(TaskDataItem, SomethingElseThanAZoomStackIsRefused)
{
    CComPtr<IQvxZoomStack> stack = NewZoomStack();
    ASSERT_EQ(S_OK, Task.SetZoomStack(stack));
    Listener.Heard.clear();
    CAdviseSink notAStack;
    EXPECT_EQ(E_NOINTERFACE, Task.SetZoomStack(&notAStack));
    EXPECT_EQ(Task.GetZoomStack(), stack.Get());
    EXPECT_TRUE(Listener.Heard.empty());
    EXPECT_EQ(0u, notAStack.Refs);
}

TEST_F(TaskDataItem, UndoingAllZoomsPopsAZoomedStackAndMarksTheLayoutModified)
{
    CComPtr<IPersistStreamInit> persist = Query<IPersistStreamInit>(Control);
    ASSERT_EQ(S_FALSE, persist->IsDirty());
    // Nothing to undo without a stack, nor on an unzoomed one.
    Task.UndoAllZooms();
    CComPtr<IQvxZoomStack> stack = NewZoomStack();
    ASSERT_EQ(S_OK, Task.SetZoomStack(stack));
    Task.UndoAllZooms();
    EXPECT_EQ(S_FALSE, persist->IsDirty());

    ASSERT_EQ(S_OK, stack->PushTimeZoom(0, 50'000'000));
    ASSERT_EQ(S_OK, stack->PushTimeZoom(0, 20'000'000));
    Task.UndoAllZooms();
    VARIANT_BOOL zoomed = VARIANT_TRUE;
    ASSERT_EQ(S_OK, stack->GetIsZoomed(&zoomed));
    EXPECT_EQ(VARIANT_FALSE, zoomed);
    EXPECT_EQ(S_OK, persist->IsDirty());
}
