#include "drivers/replay/FramePacer.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

/// Plays `count` frames, each taken as soon as it is due, and returns the tick of the last.
DWORD PlayOnTime(CFramePacer& pacer, DWORD now, int count)
{
    for (int i = 0; i < count; ++i) {
        now += pacer.Remaining(now);
        pacer.Advance(now);
    }
    return now;
}

TEST(ReplayPacer, KeepsTheAverageRateAcrossTheWrapOfTheTick)
{
    // 30 frames a second is no whole number of milliseconds.
    const DWORD start = 0xFFFFFF00u;
    CFramePacer pacer(30);
    pacer.Restart(start);
    EXPECT_EQ(pacer.Remaining(start), 0u) << "the first frame is due at once";
    EXPECT_NEAR(PlayOnTime(pacer, start, 30001) - start, 1000000u, 1);
}

TEST(ReplayPacer, CatchesUpAShortDelayButStartsAnewAfterALongOne)
{
    CFramePacer pacer(100);
    pacer.Restart(1000);
    pacer.Advance(1006); // late by less than a period
    EXPECT_EQ(pacer.Remaining(1006), 4u);
    pacer.Advance(1075); // late by several periods
    EXPECT_EQ(pacer.Remaining(1075), 0u);
    pacer.Advance(1075);
    EXPECT_EQ(pacer.Remaining(1075), 10u) << "no burst follows";
}

TEST(ReplayPacer, RateZeroNeverWaits)
{
    CFramePacer pacer(0);
    pacer.Restart(0);
    EXPECT_EQ(PlayOnTime(pacer, 0, 100), 0u);
    EXPECT_EQ(pacer.Remaining(0x90000000u), 0u);
}

} // namespace
} // namespace alidade
