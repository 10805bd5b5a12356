#pragma once

#include "foundation/platform/CriticalSection.h"

#include <future>

namespace alidade {

/// Whether another thread gets the lock at once; it lets go of it again.
inline bool IsFreeForOthers(CCriticalSection& lock)
{
    const auto probe = [&lock] {
        const bool taken = lock.TryLock();
        if (taken) {
            lock.Unlock();
        }
        return taken;
    };
    return std::async(std::launch::async, probe).get();
}

} // namespace alidade
