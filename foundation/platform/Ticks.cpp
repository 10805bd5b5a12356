#include "foundation/platform/Ticks.h"

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace alidade {
namespace {

// Not in the object, so that a thread that reads the tick while the object goes away reads no dead memory.
std::atomic<bool> g_isManual{false};
std::atomic<DWORD> g_manualTick{0};

/// How often a sleep looks at a manual clock, in real time.
constexpr auto kManualPoll = std::chrono::microseconds(200);

} // namespace

DWORD GetTickCount()
{
    if (g_isManual.load(std::memory_order_acquire)) {
        return g_manualTick.load(std::memory_order_relaxed);
    }
    return static_cast<DWORD>(GetTickNanoseconds() / 1000000);
}

std::int64_t GetTickNanoseconds()
{
    using namespace std::chrono;
    return duration_cast<nanoseconds>(steady_clock::now().time_since_epoch()).count();
}

void Sleep(DWORD ms)
{
    if (!CManualTicks::IsInstalled() && ms != INFINITE) {
        std::this_thread::sleep_for(std::chrono::milliseconds(ms));
        return;
    }
    const CDeadline deadline(ms);
    while (!deadline.IsOver()) {
        std::this_thread::sleep_for(kManualPoll);
    }
}

CManualTicks::CManualTicks(DWORD start)
{
    if (g_isManual.load()) {
        throw std::logic_error("A manual tick source is installed already");
    }
    g_manualTick.store(start);
    g_isManual.store(true);
}

CManualTicks::~CManualTicks()
{
    g_isManual.store(false);
}

void CManualTicks::Set(DWORD tick)
{
    g_manualTick.store(tick);
}

void CManualTicks::Advance(DWORD ms)
{
    g_manualTick.fetch_add(ms);
}

DWORD CManualTicks::Now() const
{
    return g_manualTick.load();
}

bool CManualTicks::IsInstalled()
{
    return g_isManual.load(std::memory_order_acquire);
}

} // namespace alidade
