#include "host/Watchdog.h"

#include "foundation/platform/Ticks.h"

#include <chrono>
#include <gtest/gtest.h>
#include <thread>

namespace alidade {
namespace {

TEST(Watchdog, BarksWhenTheTimeIsOverAndOnlyThen)
{
    CManualTicks ticks;
    CEvent expired;
    {
        CWatchdog watchdog(1000, [&] { expired.SetEvent(); });
        ticks.Advance(500);
    }
    EXPECT_FALSE(expired.Wait(0)) << "the call came back in time";
    CWatchdog watchdog(1000, [&] { expired.SetEvent(); });
    // The watchdog's own thread may take its start only now: go on until it has seen the time pass.
    bool barked = false;
    for (int i = 0; i < 20000 && !barked; ++i) {
        ticks.Advance(1000);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        barked = expired.Wait(0);
    }
    EXPECT_TRUE(barked);
}

} // namespace
} // namespace alidade
