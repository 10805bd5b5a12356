#include "foundation/platform/CriticalSection.h"

#include "foundation/platform/Ticks.h"

#include <thread>

#ifdef _WIN32
#include <windows.h>
#endif

namespace alidade {
namespace {

constexpr std::int64_t kSpinNanoseconds = 150000;

/// An address that differs between live threads.
std::uintptr_t ThreadIdentity()
{
    static thread_local char marker;
    return reinterpret_cast<std::uintptr_t>(&marker);
}

#ifdef _WIN32

// The system's own wait on an address: some libraries' atomic wait can miss a wake-up on Windows.
void WaitWhile(std::atomic<std::uint32_t>& value, std::uint32_t old)
{
    static_assert(sizeof(value) == sizeof(old));
    ::WaitOnAddress(&value, &old, sizeof(old), INFINITE);
}

void WakeAll(std::atomic<std::uint32_t>& value)
{
    ::WakeByAddressAll(&value);
}

#else

void WaitWhile(std::atomic<std::uint32_t>& value, std::uint32_t old)
{
    value.wait(old, std::memory_order_acquire);
}

void WakeAll(std::atomic<std::uint32_t>& value)
{
    value.notify_all();
}

#endif

} // namespace

void CCriticalSection::Lock()
{
    const std::uintptr_t self = ThreadIdentity();
    if (m_owner.load(std::memory_order_relaxed) == self) {
        ++m_depth;
        return;
    }
    const std::uint32_t ticket = m_next.fetch_add(1, std::memory_order_relaxed);
    if (m_serving.load(std::memory_order_acquire) != ticket) {
        WaitFor(ticket);
    }
    m_owner.store(self, std::memory_order_relaxed);
    m_depth = 1;
}

void CCriticalSection::WaitFor(std::uint32_t ticket)
{
    const std::int64_t start = GetTickNanoseconds();
    std::uint32_t now = m_serving.load(std::memory_order_acquire);
    while (now != ticket) {
        if (GetTickNanoseconds() - start < kSpinNanoseconds) {
            std::this_thread::yield();
        } else {
            WaitWhile(m_serving, now);
        }
        now = m_serving.load(std::memory_order_acquire);
    }
}

bool CCriticalSection::TryLock()
{
    const std::uintptr_t self = ThreadIdentity();
    if (m_owner.load(std::memory_order_relaxed) == self) {
        ++m_depth;
        return true;
    }
    std::uint32_t ticket = m_serving.load(std::memory_order_acquire);
    if (!m_next.compare_exchange_strong(ticket, ticket + 1, std::memory_order_relaxed)) {
        return false;
    }
    m_owner.store(self, std::memory_order_relaxed);
    m_depth = 1;
    return true;
}

void CCriticalSection::Unlock()
{
    if (--m_depth > 0) {
        return;
    }
    m_owner.store(0, std::memory_order_relaxed);
    m_serving.fetch_add(1);
    WakeAll(m_serving);
}

} // namespace alidade
