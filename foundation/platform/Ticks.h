#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Types.h"

namespace alidade {

/// Milliseconds of a steady clock, cut to 32 bits: it wraps after 49.7 days, so compare two ticks by
/// their unsigned difference only. Thread-safe.
ALIDADE_FOUNDATION_API DWORD GetTickCount();

/// Nanoseconds of the steady clock, for measuring rates. Never taken from a manual source.
ALIDADE_FOUNDATION_API std::int64_t GetTickNanoseconds();

/// Holds the calling thread for `ms` milliseconds of GetTickCount.
ALIDADE_FOUNDATION_API void Sleep(DWORD ms);

/// Unsigned comparison: true when at least `duration` has passed from `start` to `now`.
/// INFINITE never passes.
constexpr bool IsTimedout(DWORD start, DWORD duration, DWORD now)
{
    return duration != INFINITE && now - start >= duration;
}

/// The end of a wait: a start tick and a duration. Reentrant.
class CDeadline {
public:
    explicit CDeadline(DWORD ms) : CDeadline(GetTickCount(), ms) {}
    CDeadline(DWORD start, DWORD ms) : m_dwStart(start), m_dwDuration(ms) {}
    /// Milliseconds left, 0 when over, INFINITE when there is no limit.
    DWORD Remaining() const
    {
        if (m_dwDuration == INFINITE) {
            return INFINITE;
        }
        const DWORD elapsed = GetTickCount() - m_dwStart;
        return elapsed >= m_dwDuration ? 0 : m_dwDuration - elapsed;
    }
    bool IsOver() const { return Remaining() == 0; }

private:
    DWORD m_dwStart;
    DWORD m_dwDuration;
};

/// A clock that stands still until it is moved, for tests of time-outs and of the wrap of the tick.
///
/// While an object lives, GetTickCount gives its tick in the whole process, and Sleep and every timed
/// wait on a CEvent measure by it. One at a time. Waits under way when it comes or goes measure across
/// the jump of the tick, and so may end at once: install it before the threads that wait. Thread-safe.
class ALIDADE_FOUNDATION_API CManualTicks {
public:
    /// @throws std::logic_error when one is installed already
    explicit CManualTicks(DWORD start = 1000);
    ~CManualTicks();
    CManualTicks(const CManualTicks&) = delete;
    CManualTicks& operator=(const CManualTicks&) = delete;

    void Set(DWORD tick);
    void Advance(DWORD ms);
    DWORD Now() const;

    /// True while an object of this class lives.
    static bool IsInstalled();
};

} // namespace alidade
