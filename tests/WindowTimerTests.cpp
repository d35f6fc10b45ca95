// Window timers whose id is the owner's address: each tick reaches its own owner.
#include <gtest/gtest.h>
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
    // Pumps for a while: what ticks now ticks anyway.
    void Wait(int milliseconds = 100) { PumpUntil([] { return false; }, milliseconds); }
    CContainerWindow Window;
    CTickCounter Fast, Slow;
};

TEST_F(WindowTimer, OwnersOfOneWindowTickApartUntilStopped)
{
    EXPECT_EQ(reinterpret_cast<UINT_PTR>(&Fast), CTimer::Start(Window.Window, Fast, 10));
    ASSERT_TRUE(CTimer::Start(Window.Window, Slow, 60'000));
    ASSERT_TRUE(PumpUntil([&] { return Fast.Ticks >= 3; }));
    EXPECT_EQ(0, Slow.Ticks);
    // Restarting changes the period of that owner alone.
    ASSERT_TRUE(CTimer::Start(Window.Window, Slow, 10));
    CTimer::Stop(Window.Window, Fast);
    const int fastTicks = Fast.Ticks;
    ASSERT_TRUE(PumpUntil([&] { return Slow.Ticks >= 2; }));
    EXPECT_EQ(fastTicks, Fast.Ticks);
    CTimer::Stop(Window.Window, Slow);
    const int slowTicks = Slow.Ticks;
    Wait();
    EXPECT_EQ(slowTicks, Slow.Ticks);
}

// An owner may stop itself in its tick; without a window, or with one gone, there is no timer.
TEST_F(WindowTimer, AnOwnerMayStopItselfInItsTickAndNoWindowGivesNoTimer)
{
    Fast.OnTick = [&] { CTimer::Stop(Window.Window, Fast); };
    ASSERT_TRUE(CTimer::Start(Window.Window, Fast, 10));
    HWND gone = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 10, 10, nullptr, nullptr, nullptr, nullptr);
    ASSERT_TRUE(gone);
    DestroyWindow(gone);
    EXPECT_EQ(0u, CTimer::Start(nullptr, Slow, 10));
    EXPECT_EQ(0u, CTimer::Start(gone, Slow, 10));
    CTimer::Stop(gone, Slow);   // harmless
    ASSERT_TRUE(PumpUntil([&] { return Fast.Ticks >= 1; }));
    Wait();
    EXPECT_EQ(1, Fast.Ticks);
    EXPECT_EQ(0, Slow.Ticks);
}

} // namespace
