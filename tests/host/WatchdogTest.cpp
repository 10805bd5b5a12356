#include "host/Watchdog.h"

#include "foundation/platform/Ticks.h"
#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>

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
    EXPECT_TRUE(WaitUntil([&] {
        ticks.Advance(1000);
        return expired.Wait(0);
    }));
}

} // namespace
} // namespace alidade
