#pragma once

#include "foundation/platform/Ticks.h"

#include <chrono>
#include <thread>

namespace alidade {

/// Polls, in real time whatever clock a test has set, until the condition holds; false after a minute, which
/// only a fault reaches. For what another thread or process does and tells by no event.
template <class CONDITION>
bool WaitUntil(CONDITION&& condition)
{
    constexpr std::int64_t kGivingWay = 1'000'000; // ns; what is about to happen is seen at once
    constexpr std::int64_t kLimit = 60'000'000'000;
    const std::int64_t start = GetTickNanoseconds();
    while (!condition()) {
        const std::int64_t passed = GetTickNanoseconds() - start;
        if (passed > kLimit) {
            return false;
        }
        if (passed < kGivingWay) {
            std::this_thread::yield();
        } else {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }
    return true;
}

} // namespace alidade
