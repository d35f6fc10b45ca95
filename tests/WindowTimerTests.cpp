// Window timers whose id is the owner's address: each tick reaches its own owner.
#include <gtest/gtest.h>
#include <chrono>
#include <functional>
#include "tests/OleTestSupport.h"
#include "control/WindowTimer.h"

using namespace qvxtest;

namespace {

class CTickCounter
{
public:
    void OnTimer()
    {
        ++Ticks;
        if (OnTick) OnTick();
    }
    int Ticks = 0;
    std::function<void()> OnTick;
};

using CTimer = CWindowTimer<CTickCounter>;

class WindowTimer : public testing::Test
{
protected:
    CContainerWindow Window;
};

} // namespace

TEST_F(WindowTimer, TicksReachTheirOwnerUntilStopped)
{
    CTickCounter owner;
    EXPECT_EQ(reinterpret_cast<UINT_PTR>(&owner), CTimer::Start(Window.Window, owner, 10));
    ASSERT_TRUE(PumpUntil([&] { return owner.Ticks >= 3; }));

    CTimer::Stop(Window.Window, owner);
    const int ticks = owner.Ticks;
    PumpUntil([] { return false; }, 100);
    EXPECT_EQ(ticks, owner.Ticks);
}

TEST_F(WindowTimer, OwnersOfOneWindowTickApart)
{
    CTickCounter fast, slow;
    ASSERT_TRUE(CTimer::Start(Window.Window, fast, 10));
    ASSERT_TRUE(CTimer::Start(Window.Window, slow, 60'000));
    ASSERT_TRUE(PumpUntil([&] { return fast.Ticks >= 3; }));
    EXPECT_EQ(0, slow.Ticks);

    // Restarting changes the period of that owner alone.
    ASSERT_TRUE(CTimer::Start(Window.Window, slow, 10));
    CTimer::Stop(Window.Window, fast);
    const int fastTicks = fast.Ticks;
    ASSERT_TRUE(PumpUntil([&] { return slow.Ticks >= 2; }));
    EXPECT_EQ(fastTicks, fast.Ticks);
    CTimer::Stop(Window.Window, slow);
}

TEST_F(WindowTimer, AnOwnerMayStopItselfInItsTick)
{
    CTickCounter owner;
    owner.OnTick = [&] { CTimer::Stop(Window.Window, owner); };
    ASSERT_TRUE(CTimer::Start(Window.Window, owner, 10));
    ASSERT_TRUE(PumpUntil([&] { return owner.Ticks >= 1; }));
    PumpUntil([] { return false; }, 100);
    EXPECT_EQ(1, owner.Ticks);
}

TEST_F(WindowTimer, NoWindowNoTimer)
{
    CTickCounter owner;
    EXPECT_EQ(0u, CTimer::Start(nullptr, owner, 10));
    HWND gone = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 10, 10, nullptr, nullptr, nullptr, nullptr);
    ASSERT_TRUE(gone);
    DestroyWindow(gone);
    EXPECT_EQ(0u, CTimer::Start(gone, owner, 10));
    // Stopping on a window that has gone is harmless.
    CTimer::Stop(gone, owner);
    PumpUntil([] { return false; }, 50);
    EXPECT_EQ(0, owner.Ticks);
}
