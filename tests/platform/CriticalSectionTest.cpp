#include "foundation/platform/CriticalSection.h"
#include "tests/support/LockProbe.h"

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using namespace alidade;

TEST(CriticalSection, IsRecursiveAndFreeOnlyWhenEveryLockIsGivenBack)
{
    CCriticalSection lock;
    EXPECT_TRUE(IsFreeForOthers(lock));
    lock.Lock();
    EXPECT_TRUE(lock.TryLock());
    {
        CS nested(&lock);
        EXPECT_FALSE(IsFreeForOthers(lock));
    }
    lock.Unlock();
    EXPECT_FALSE(IsFreeForOthers(lock));
    lock.Unlock();
    EXPECT_TRUE(IsFreeForOthers(lock));
    CS none(nullptr); // a list without a lock
}

TEST(CriticalSection, OnlyOneThreadIsInside)
{
    CCriticalSection lock;
    int count = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 20000; ++i) {
                std::scoped_lock outer(lock);
                CS inner(&lock);
                ++count;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(count, 4 * 20000);
}

TEST(CriticalSection, AThreadThatLocksAgainAtOnceDoesNotOvertakeTheOneThatWaits)
{
    constexpr int kRounds = 200;
    CCriticalSection lock;
    std::atomic<int> served{0};
    std::atomic<int> finished{0};
    std::thread waiter([&] {
        for (int round = 1; round <= kRounds; ++round) {
            lock.Lock();
            served = round;
            lock.Unlock();
            while (finished < round) {
                std::this_thread::yield();
            }
        }
    });
    int inOrder = 0;
    for (int round = 1; round <= kRounds; ++round) {
        lock.Lock();
        // It may have been served before this thread came: then it does not ask any more in this round.
        while (!lock.HasWaiters() && served < round) {
            std::this_thread::yield();
        }
        lock.Unlock();
        lock.Lock();
        inOrder += served == round;
        lock.Unlock();
        while (served < round) {
            std::this_thread::yield();
        }
        finished = round;
    }
    waiter.join();
    EXPECT_EQ(inOrder, kRounds);
}
