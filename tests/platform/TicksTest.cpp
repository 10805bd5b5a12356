#include "foundation/platform/Ticks.h"

#include "foundation/platform/Thread.h"

#include <atomic>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

using namespace alidade;

TEST(Ticks, ElapsedTimeIsAnUnsignedDifferenceSoTheWrapDoesNoHarm)
{
    const struct {
        DWORD start, duration, now;
        bool over;
    } cases[] = {
        {1000, 50, 1049, false},
        {1000, 50, 1050, true},
        {0xFFFFFFF0, 0x20, 0xFFFFFFFF, false}, // before the wrap
        {0xFFFFFFF0, 0x20, 0x0000000F, false}, // behind it
        {0xFFFFFFF0, 0x20, 0x00000010, true},
        {1000, 0, 1000, true},
        {1000, INFINITE, 999, false}, // the largest difference there is
        {1000, 0xFFFFFFFE, 999, true},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(IsTimedout(c.start, c.duration, c.now), c.over)
            << c.start << " " << c.duration << " " << c.now;
    }
}

TEST(Ticks, AManualClockStandsStillAndMovesOnlyWhenTold)
{
    CManualTicks ticks(0xFFFFFFFE);
    EXPECT_EQ(GetTickCount(), 0xFFFFFFFEu);
    const CDeadline deadline(10);
    EXPECT_EQ(deadline.Remaining(), 10u);
    ticks.Advance(4);
    EXPECT_EQ(GetTickCount(), 2u);
    EXPECT_EQ(deadline.Remaining(), 6u);
    ticks.Advance(6);
    EXPECT_TRUE(deadline.IsOver());
    ticks.Set(500);
    EXPECT_EQ(ticks.Now(), 500u);
    EXPECT_EQ(deadline.Remaining(), 0u);
    EXPECT_EQ(CDeadline(INFINITE).Remaining(), DWORD(INFINITE));
}

TEST(Ticks, ASecondManualClockIsRefusedAndTheFirstGoesOn)
{
    {
        CManualTicks ticks(77);
        EXPECT_THROW(CManualTicks(99), std::logic_error);
        EXPECT_EQ(GetTickCount(), 77u);
    }
    EXPECT_FALSE(CManualTicks::IsInstalled());
    CManualTicks again(5); // the place is free again
    EXPECT_EQ(GetTickCount(), 5u);
}

TEST(Ticks, SleepMeasuresByTheManualClock)
{
    CManualTicks ticks(0xFFFFFFF0);
    std::atomic<bool> awake{false};
    DWORD woke = 0;
    std::thread sleeper([&] {
        Sleep(100);
        woke = GetTickCount();
        awake = true;
    });
    while (!awake) {
        ticks.Advance(10);
        std::this_thread::yield();
    }
    sleeper.join();
    EXPECT_GE(woke - 0xFFFFFFF0, 100u);
}

TEST(Thread, EachThreadHasItsOwnNumberAndTakesAnyName)
{
    const std::uint64_t here = GetThisThreadNumber();
    EXPECT_EQ(here, GetThisThreadNumber());
    std::uint64_t there = here;
    std::thread([&] {
        NameThisThread("a name that is longer than any system takes");
        there = GetThisThreadNumber();
    }).join();
    EXPECT_NE(here, there);
}
