#pragma once

#include "foundation/platform/Ticks.h"

#include <cmath>

namespace alidade {

/// When the next frame is due. The average rate is exact: a period that is no whole number of milliseconds
/// does not drift. A frame that is late by more than a period starts the schedule anew, so that no burst
/// follows a hold-up.
class CFramePacer {
public:
    /// @param rate  frames per second, not above 1000; 0: every frame is due at once
    explicit CFramePacer(double rate) : m_dPeriod(rate > 0 ? 1000.0 / rate : 0) {}

    /// The next frame is due now.
    void Restart(DWORD now)
    {
        m_dwDue = now;
        m_dFraction = 0;
    }
    /// Milliseconds until the next frame is due.
    DWORD Remaining(DWORD now) const
    {
        const auto left = static_cast<std::int32_t>(m_dwDue - now);
        return m_dPeriod == 0 || left < 0 ? 0 : static_cast<DWORD>(left);
    }
    /// A frame went out: the following one is due a period later.
    void Advance(DWORD now)
    {
        const double step = m_dFraction + m_dPeriod;
        m_dFraction = step - std::floor(step);
        m_dwDue += static_cast<DWORD>(step);
        if (static_cast<std::int32_t>(now - m_dwDue) > 0) {
            Restart(now);
        }
    }

private:
    double m_dPeriod;       // ms
    double m_dFraction = 0; // what the due tick leaves out, below 1 ms
    DWORD m_dwDue = 0;
};

} // namespace alidade
