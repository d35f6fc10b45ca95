// The flashing trace: the command starts and stops it, the window timer turns the trace's phase
// over and tells the trace's listeners, and the trace's or the task's end leaves nothing behind.
#include <gtest/gtest.h>
#include "tests/ChannelTestSupport.h"
#include "tests/OleTestSupport.h"
#include "interaction/DragManager.h"
#include "interaction/FlashingTraceManager.h"

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
    // Whether the manager's timer still runs; stops it if it does.
    bool TimerRan() { return KillTimer(Window.Window, reinterpret_cast<UINT_PTR>(Manager.get())) != FALSE; }
    bool WaitForTicks(int ticks) { return PumpUntil([&] { return Picture.Invalidations >= ticks; }); }

    CContainerWindow Window;
    CDragManager Drag{&Window.Window};
    std::unique_ptr<CFlashingTraceManager> Manager;
    CPictureCounter Picture;
};

TEST_F(FlashingTrace, EachPeriodTurnsThePhaseOverAndTheSecondCommandLeavesTheTraceShown)
{
    CTraceDataItem* trace = Trace(0, 0);
    ASSERT_TRUE(Manager->OnFlashCommand());
    EXPECT_TRUE(trace->HasListener(Manager.get()));
    // The flash begins shown, for a whole period.
    PumpUntil([] { return false; }, 300);
    EXPECT_EQ(0, Picture.Invalidations);
    EXPECT_TRUE(trace->FlashOn);
    ASSERT_TRUE(WaitForTicks(1));
    EXPECT_FALSE(trace->FlashOn);
    EXPECT_TRUE(trace->Visible);
    ASSERT_TRUE(WaitForTicks(2));
    EXPECT_TRUE(trace->FlashOn);
    ASSERT_TRUE(WaitForTicks(3));
    // Stopped while hidden: shown again, and its listeners told once more.
    ASSERT_TRUE(Manager->OnFlashCommand());
    EXPECT_TRUE(trace->FlashOn);
    EXPECT_EQ(4, Picture.Invalidations);
    EXPECT_FALSE(Manager->IsFlashing());
    EXPECT_FALSE(trace->HasListener(Manager.get()));
    EXPECT_FALSE(TimerRan());
}

TEST_F(FlashingTrace, TheStopEndsTheTraceThatFlashesEvenWhenAnotherIsActiveNow)
{
    ASSERT_TRUE(Manager->OnFlashCommand());
    Task->SetActiveTrace(Channel(1), Trace(0, 1));
    ASSERT_TRUE(Manager->OnFlashCommand());
    EXPECT_FALSE(Manager->IsFlashing());
    EXPECT_FALSE(Trace(0, 0)->HasListener(Manager.get()));
    EXPECT_FALSE(TimerRan());
}

TEST_F(FlashingTrace, WithoutAnActiveTraceTheCommandIsRefusedAndDuringADragItIsTakenButStartsNothing)
{
    CStillDrag still;
    ASSERT_TRUE(Drag.Start(&still));
    EXPECT_TRUE(Manager->OnFlashCommand());
    EXPECT_FALSE(Manager->IsFlashing());
    EXPECT_FALSE(TimerRan());
    Drag.Forget(&still);

    Show({});
    Task->SetActiveChannel(nullptr);
    EXPECT_FALSE(Manager->OnFlashCommand());
    EXPECT_FALSE(Manager->IsFlashing());
}

TEST_F(FlashingTrace, ARemovedTraceStopsTheTimerWithoutBeingTouched)
{
    ASSERT_TRUE(Manager->OnFlashCommand());
    ASSERT_TRUE(WaitForTicks(1));
    // The channel goes, and its traces with it.
    Show({L"RPM"});
    EXPECT_FALSE(Manager->IsFlashing());
    EXPECT_FALSE(TimerRan());
}

TEST_F(FlashingTrace, AManagerThatGoesWhileTheTraceIsHiddenShowsItAndLeavesTaskAndTrace)
{
    CTraceDataItem* trace = Trace(0, 0);
    ASSERT_TRUE(Manager->OnFlashCommand());
    ASSERT_TRUE(WaitForTicks(1));
    ASSERT_FALSE(trace->FlashOn);
    const UINT_PTR id = reinterpret_cast<UINT_PTR>(Manager.get());
    const CFlashingTraceManager* gone = Manager.get();
    Manager.reset();
    EXPECT_TRUE(trace->FlashOn);
    EXPECT_EQ(2, Picture.Invalidations);
    EXPECT_FALSE(trace->HasListener(gone));
    EXPECT_FALSE(Task->HasListener(gone));
    EXPECT_FALSE(KillTimer(Window.Window, id));
}

TEST_F(FlashingTrace, AManagerOutlivesItsTaskAndItsTrace)
{
    ASSERT_TRUE(Manager->OnFlashCommand());
    Task.reset();
    EXPECT_EQ(nullptr, Manager->FlashTask);
    EXPECT_FALSE(Manager->IsFlashing());
    EXPECT_FALSE(TimerRan());
    EXPECT_FALSE(Manager->OnFlashCommand());
}

} // namespace
