#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Types.h"

#include <atomic>

namespace alidade {

/// A recursive lock that is handed over in the order in which threads asked for it.
///
/// Order matters here: a driver that delivers without pause lets go of the image lock for less time than
/// a client needs to wake up, and with a lock that may be overtaken the client would never see a frame.
/// A thread that waits first goes on asking for up to 150 microseconds, giving way to others, since most
/// holders are gone by then and a wake-up can take a quarter of that. Construction cannot fail. Thread-safe.
class ALIDADE_FOUNDATION_API CCriticalSection {
public:
    CCriticalSection() = default;
    CCriticalSection(const CCriticalSection&) = delete;
    CCriticalSection& operator=(const CCriticalSection&) = delete;

    void Lock();
    /// Takes the lock if nobody else holds it or waits for it.
    bool TryLock();
    /// Called by the owner only, once for each Lock.
    void Unlock();

    /// Changes whenever a thread asks for the lock. A passing value.
    std::uint32_t CountRequests() const { return m_next.load(std::memory_order_relaxed); }
    /// True while a thread waits for the lock. A passing value.
    bool HasWaiters() const { return CountRequests() - m_serving.load(std::memory_order_relaxed) > 1; }

    // Names that the standard's scoped locks call.
    void lock() { Lock(); }
    bool try_lock() { return TryLock(); }
    void unlock() { Unlock(); }

private:
    void WaitFor(std::uint32_t ticket);

    std::atomic<std::uint32_t> m_next{0};    // ticket of the next thread to ask
    std::atomic<std::uint32_t> m_serving{0}; // ticket of the owner
    std::atomic<std::uintptr_t> m_owner{0};  // identity of the owning thread, 0 for none
    std::uint32_t m_depth = 0;               // touched by the owner only
};

/// Scoped lock on a critical section that may be null.
class CS {
public:
    explicit CS(CCriticalSection* lock) : m_pLock(lock)
    {
        if (m_pLock != nullptr) {
            m_pLock->Lock();
        }
    }
    ~CS()
    {
        if (m_pLock != nullptr) {
            m_pLock->Unlock();
        }
    }
    CS(const CS&) = delete;
    CS& operator=(const CS&) = delete;

private:
    CCriticalSection* m_pLock;
};

} // namespace alidade
