#pragma once

#include "foundation/platform/Ticks.h"

#include <algorithm>

#if defined(_MSC_VER) && (defined(_M_X64) || defined(_M_IX86))
#include <intrin.h>
#endif

namespace alidade {

/// Tells the processor that this is a loop that waits.
inline void PauseProcessor()
{
#if defined(_MSC_VER) && (defined(_M_X64) || defined(_M_IX86))
    _mm_pause();
#elif defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

/// Looks for the condition for a while before its caller sleeps: waking up a thread takes 20 to 60
/// microseconds when its core has gone idle, and most answers are there sooner. It does not give way, for
/// then a busy machine would give the core to somebody else for milliseconds. A thread that looked in vain
/// looks less often from then on, so that one that waits for rare things, or for a thread of its own core,
/// burns nothing.
/// @return whether it came true
template <class Condition>
bool SpinUntil(Condition&& condition)
{
    constexpr std::int64_t most = 30'000; // nanoseconds
    static thread_local int skip = 0;     // waits that are passed over
    static thread_local int penalty = 0;
    if (skip > 0) {
        --skip;
        return condition();
    }
    const std::int64_t end = GetTickNanoseconds() + most;
    while (!condition()) {
        if (GetTickNanoseconds() >= end) {
            skip = penalty = std::min(2 * penalty + 1, 63);
            return false;
        }
        PauseProcessor();
    }
    penalty = 0;
    return true;
}

} // namespace alidade
