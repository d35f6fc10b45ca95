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

// Owners of one window tick apart until stopped, and restarting changes the period of that owner
// alone; an owner may stop itself in its tick; without a window there is no timer.
TEST(WindowTimer, OwnersOfOneWindowTickApartUntilStopped)
{
    CContainerWindow window;
    CTickCounter fast, slow, once;
    EXPECT_EQ(reinterpret_cast<UINT_PTR>(&fast), CTimer::Start(window.Window, fast, 10));
    ASSERT_TRUE(CTimer::Start(window.Window, slow, 60'000));
    once.OnTick = [&] { CTimer::Stop(window.Window, once); };
    ASSERT_TRUE(CTimer::Start(window.Window, once, 10));
    ASSERT_TRUE(PumpUntil([&] { return fast.Ticks >= 3; }));
    EXPECT_TRUE(slow.Ticks == 0 && once.Ticks == 1);
    ASSERT_TRUE(CTimer::Start(window.Window, slow, 10));
    CTimer::Stop(window.Window, fast);
    const int fastTicks = fast.Ticks;
    ASSERT_TRUE(PumpUntil([&] { return slow.Ticks >= 2; }));
    EXPECT_EQ(fastTicks, fast.Ticks);
    CTimer::Stop(window.Window, slow);
    const int slowTicks = slow.Ticks;
    PumpUntil([] { return false; }, 100);
    EXPECT_TRUE(slowTicks == slow.Ticks && once.Ticks == 1);
    EXPECT_EQ(0u, CTimer::Start(nullptr, slow, 10));
}

} // namespace
