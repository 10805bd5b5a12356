#include "foundation/platform/Event.h"

#include "foundation/platform/Ticks.h"
#include "tests/support/WaitUntil.h"

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

using namespace alidade;

namespace {

constexpr DWORD kLong = 60000; // a bound that only a fault reaches

} // namespace

TEST(Event, AutoResetIsTakenByTheFirstWaitAndManualResetStays)
{
    CEvent automatic;
    CEvent manual(false, true);
    for (CEvent* event : {&automatic, &manual}) {
        EXPECT_FALSE(event->Wait(0));
        EXPECT_EQ(event->SetEvent(), 1);
        EXPECT_EQ(event->SetEvent(), 1); // set twice is set once
        EXPECT_TRUE(event->Wait(0));
    }
    EXPECT_FALSE(automatic.Wait(0));
    EXPECT_TRUE(manual.Wait(0));
    EXPECT_EQ(manual.ResetEvent(), 1);
    EXPECT_EQ(manual.ResetEvent(), 1); // clear already
    EXPECT_FALSE(manual.Wait(0));
    automatic.SetEvent();
    automatic.ResetEvent();
    EXPECT_FALSE(automatic.Wait(0));
    EXPECT_TRUE(CEvent(true).Wait(0));
    EXPECT_TRUE(CEvent(true, true).Wait(0));
}

TEST(Event, WaitForAnyGivesTheFirstInOrderAndClearsOnlyThat)
{
    CEvent a;
    CEvent b;
    CEvent stop(false, true);
    a.SetEvent();
    b.SetEvent();
    stop.SetEvent();
    EXPECT_EQ(CEvent::WaitForAny({&b, &a, &stop}, 0), 0);
    EXPECT_EQ(CEvent::WaitForAny({&b, &a, &stop}, 0), 1);
    EXPECT_EQ(CEvent::WaitForAny({&b, &a, &stop}, 0), 2);
    EXPECT_EQ(CEvent::WaitForAny({&b, &a, &stop}, 0), 2);
    b.SetEvent();
    EXPECT_EQ(CEvent::WaitForAny({&stop, &b}, 0), 0);
    EXPECT_TRUE(b.Wait(0));
    EXPECT_EQ(CEvent::WaitForAny({&a, &b}, 0), -1);
}

TEST(Event, WaitForAnyRefusesNoEventsAndMoreThanSixtyFour)
{
    std::vector<std::unique_ptr<CEvent>> events;
    std::vector<CEvent*> pointers;
    for (int i = 0; i < 65; ++i) {
        events.push_back(std::make_unique<CEvent>());
        pointers.push_back(events.back().get());
    }
    EXPECT_THROW(CEvent::WaitForAny(pointers, 0), std::invalid_argument);
    EXPECT_THROW(CEvent::WaitForAny({}, 0), std::invalid_argument);
    pointers.pop_back();
    pointers.back()->SetEvent();
    EXPECT_EQ(CEvent::WaitForAny(pointers, 0), 63);
}

TEST(Event, EverySetLetsExactlyOneOfSeveralWaitersThrough)
{
    constexpr int kWaiters = 4;
    CEvent event;
    std::atomic<int> through{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < kWaiters; ++i) {
        waiters.emplace_back([&] {
            if (event.Wait(kLong)) {
                ++through;
            }
        });
    }
    for (int i = 1; i <= kWaiters; ++i) {
        event.SetEvent();
        EXPECT_TRUE(WaitUntil([&] { return through == i; }));
    }
    for (std::thread& waiter : waiters) {
        waiter.join();
    }
    EXPECT_FALSE(event.Wait(0)); // had one set let two through, this one would be left over
}

TEST(Event, ATimeOutIsMeasuredByTheManualClockAcrossItsWrap)
{
    CManualTicks ticks(0xFFFFFF00);
    CEvent event;
    std::atomic<bool> done{false};
    bool wasSet = true;
    DWORD elapsed = 0;
    std::thread waiter([&] {
        wasSet = event.Wait(600000); // minutes of the manual clock
        elapsed = GetTickCount() - 0xFFFFFF00;
        done = true;
    });
    // Slowly enough that the clock does not come round before the waiter has looked at it.
    EXPECT_TRUE(WaitUntil([&] {
        ticks.Advance(1000);
        return done.load();
    }));
    event.SetEvent();
    waiter.join();
    EXPECT_FALSE(wasSet);
    EXPECT_GE(elapsed, 600000u);
}

TEST(Event, ADeadlineIsNotMovedByWhatComesBetweenItAndTheWait)
{
    CManualTicks ticks(0xFFFFFFF0u); // the tick wraps on the way
    CEvent event;
    const CDeadline deadline(100);
    const CDeadline earlier(ticks.Now() - 60, 100);
    ticks.Advance(40);
    EXPECT_FALSE(event.Wait(earlier));
    ticks.Advance(60);
    EXPECT_FALSE(event.Wait(deadline)); // with the time counted from here it would not return
    event.SetEvent();
    EXPECT_TRUE(event.Wait(deadline)) << "what is there is taken all the same";
}

TEST(Event, AWaitWithoutLimitOutlastsEveryTick)
{
    CManualTicks ticks(1);
    CEvent event;
    std::atomic<int> result{-1};
    std::thread waiter([&] { result = event.Wait(INFINITE); });
    for (int i = 0; i < 1000; ++i) {
        ticks.Advance(0x01000000); // several times round the clock
        std::this_thread::yield();
    }
    EXPECT_EQ(result, -1);
    event.SetEvent();
    waiter.join();
    EXPECT_EQ(result, 1);
}
