// The flashing trace: the command starts and stops it, the window timer turns the trace's phase
// over and tells the trace's listeners, and the trace's or the task's end leaves nothing behind.
#include <gtest/gtest.h>
#include "tests/ChannelTestSupport.h"
#include "tests/OleTestSupport.h"
#include "interaction/DragManager.h"
#include "interaction/FlashingTraceManager.h"
#include "interaction/FragileManager.h"
#include "items/RTCTaskDataItem.h"
#include "tests/LiveInPlaceSupport.h"

using namespace qvxtest;

namespace {

class CPictureCounter : public CDataItemListener
{
public:
    void OnDataItemChanged(CDataItemBase*, DWORD) override {}
    void OnDataItemRemoved(CDataItemBase* item) override { item->RemoveListener(this); }
    void Invalidate() override { ++Invalidations; }
    int Invalidations = 0;
};

class CStillDrag : public CDragModeBase
{
public:
    void Track(const POINT*) override {}
};

class FlashingTrace : public ChannelItemTest
{
protected:
    void SetUp() override
    {
        ChannelItemTest::SetUp();
        Attach(SessionTask);
        Show({L"Speed", L"RPM"});
        Task->SetActiveTrace(Channel(0), Trace(0, 0));
        ASSERT_EQ(Trace(0, 0), Task->GetActiveTrace());
        Manager = std::make_unique<CFlashingTraceManager>(&Window.Window, Task.get(), Drag);
        Trace(0, 0)->AddListener(&Picture);
    }
    void TearDown() override
    {
        Manager.reset();
        ChannelItemTest::TearDown();
    }
    // Nothing flashes, and no timer runs (stopped if it did).
    bool Stopped()
    {
        return !Manager->IsFlashing() && !KillTimer(Window.Window, reinterpret_cast<UINT_PTR>(Manager.get()));
    }
    bool WaitForTicks(int ticks) { return PumpUntil([&] { return Picture.Invalidations >= ticks; }); }
    CContainerWindow Window;
    CDragManager Drag{&Window.Window};
    std::unique_ptr<CFlashingTraceManager> Manager;
    CPictureCounter Picture;
};

// Each period turns the phase over; the second command, or the manager's end, leaves the trace
// shown and its listeners told once more.
TEST_F(FlashingTrace, EachPeriodTurnsThePhaseOverAndAStopLeavesTheTraceShown)
{
    CTraceDataItem* trace = Trace(0, 0);
    ASSERT_TRUE(Manager->OnFlashCommand());
    EXPECT_TRUE(trace->HasListener(Manager.get()));
    // The flash begins shown, for a whole period.
    PumpUntil([] { return false; }, 300);
    EXPECT_TRUE(trace->FlashOn && Picture.Invalidations == 0);
    ASSERT_TRUE(WaitForTicks(1));
    EXPECT_TRUE(!trace->FlashOn && trace->Visible);
    ASSERT_TRUE(WaitForTicks(2));
    EXPECT_TRUE(trace->FlashOn);
    ASSERT_TRUE(WaitForTicks(3));
    ASSERT_TRUE(Manager->OnFlashCommand());
    EXPECT_TRUE(trace->FlashOn && Picture.Invalidations == 4);
    EXPECT_TRUE(Stopped() && !trace->HasListener(Manager.get()));
    ASSERT_TRUE(Manager->OnFlashCommand());
    ASSERT_TRUE(WaitForTicks(5));
    ASSERT_FALSE(trace->FlashOn);
    const UINT_PTR id = reinterpret_cast<UINT_PTR>(Manager.get());
    const CFlashingTraceManager* gone = Manager.get();
    Manager.reset();
    EXPECT_TRUE(trace->FlashOn && Picture.Invalidations == 6);
    EXPECT_FALSE(trace->HasListener(gone) || Task->HasListener(gone) || KillTimer(Window.Window, id));
}

// A drag takes the command and starts nothing; the stop ends the trace that flashes, whichever is
// active; its removal or the task's stops the timer; with neither the command is refused.
TEST_F(FlashingTrace, TheCommandInADragWithAnotherActiveTraceAndAfterTheTraceOrTheTaskWent)
{
    CStillDrag still;
    ASSERT_TRUE(Drag.Start(&still));
    EXPECT_TRUE(Manager->OnFlashCommand() && Stopped());
    Drag.Forget(&still);
    ASSERT_TRUE(Manager->OnFlashCommand());
    Task->SetActiveTrace(Channel(1), Trace(0, 1));
    ASSERT_TRUE(Manager->OnFlashCommand());
    EXPECT_TRUE(Stopped() && !Trace(0, 0)->HasListener(Manager.get()));
    Task->SetActiveTrace(Channel(0), Trace(0, 0));
    ASSERT_TRUE(Manager->OnFlashCommand());
    ASSERT_TRUE(WaitForTicks(1));
    // The channel goes, and its traces with it.
    Show({L"RPM"});
    EXPECT_TRUE(Stopped());
    Show({});
    Task->SetActiveChannel(nullptr);
    EXPECT_FALSE(Manager->OnFlashCommand() || Manager->IsFlashing());
    Show({L"Speed"});
    Task->SetActiveTrace(Channel(0), Trace(0, 0));
    ASSERT_TRUE(Manager->OnFlashCommand());
    Task.reset();
    EXPECT_TRUE(Manager->FlashTask == nullptr && Stopped());
    EXPECT_FALSE(Manager->OnFlashCommand());
}

class CKeyTaker : public CFragileModeBase
{
public:
    BOOL Begin() override { return TRUE; }
    void End() override { Ended = true; }
    void OnKeyDown(UINT, BOOL& handled) override { handled = ++Keys != 0; }
    void OnCommand(WORD, BOOL&) override {}
    DWORD GetFlags() override { return FRAGILE_TAKES_KEYS; }
    int Keys = 0;
    bool Ended = false;
};

// In the chart's chain the fragile manager hears first, then the drag manager, then the flash
// command, which is the F key; without an active trace the key goes to the container.
TEST_F(LiveChartInPlace, TheFragileManagerHearsFirstThenTheDragManagerThenTheFlashCommand)
{
    Advance(30 * Second);
    Task().GetOrdering()->SetNames({CBstr(L"Speed")});
    CChannelDataItem* speed = Task().GetOrdering()->GetItems().at(0);
    Task().SetActiveTrace(speed, speed->GetTraces().at(0));
    ASSERT_TRUE(Task().GetActiveTrace());
    CFlashingTraceManager* flash = Chart->FlashManager.get();
    const auto send = [&](UINT message, WPARAM wParam) {
        LRESULT result = 0;
        return Chart->ProcessWindowMessage(nullptr, message, wParam, 0, result, 0);
    };
    CDragManager* drag = Chart->GetDragManager();
    CFragileManager* fragile = Chart->GetFragileManager();
    ASSERT_TRUE(drag && fragile && drag == &fragile->DragManager);
    CKeyTaker keys;
    CStillDrag still;
    ASSERT_TRUE(fragile->Start(&keys));
    ASSERT_TRUE(drag->Start(&still));
    // Both run: the key reaches the fragile mode before the drag could swallow it.
    EXPECT_TRUE(send(WM_KEYDOWN, VK_ADD));
    EXPECT_EQ(1, keys.Keys);
    // The command breaks the fragile mode, and the drag swallows it: nothing flashes.
    EXPECT_TRUE(send(WM_COMMAND, CFlashingTraceManager::FlashCommand));
    EXPECT_TRUE(keys.Ended && !flash->IsFlashing());
    drag->Forget(&still);
    // The F key is the command: the active trace flashes, and the next F stops it.
    CComPtr<IOleInPlaceActiveObject> active = Query<IOleInPlaceActiveObject>(Owner);
    MSG key{Window, WM_KEYDOWN, 'F', 0, 0, {}};
    EXPECT_EQ(S_OK, active->TranslateAccelerator(&key));
    EXPECT_EQ(Task().GetActiveTrace(), flash->FlashingTrace);
    EXPECT_EQ(S_OK, active->TranslateAccelerator(&key));
    EXPECT_FALSE(flash->IsFlashing());
    // Without an active trace the command goes on unhandled: no region takes the key, and the
    // test's site declines it.
    Task().GetOrdering()->SetNames(std::vector<CBstr>{});
    Task().SetActiveChannel(nullptr);
    ASSERT_EQ(nullptr, Task().GetActiveTrace());
    EXPECT_FALSE(send(WM_COMMAND, CFlashingTraceManager::FlashCommand));
    EXPECT_EQ(S_FALSE, active->TranslateAccelerator(&key));
}

} // namespace
