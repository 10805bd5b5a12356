#pragma once

#include "foundation/platform/Ticks.h"

#include <algorithm>
#include <cmath>

namespace alidade {

/// When a free-running camera exposes: from its start on at a rate that is exact on average. Exposures that
/// nobody could make in time are left out; the raster stays.
class CExposureClock {
public:
    /// @param rate  exposures per second, not above 1000
    explicit CExposureClock(double rate) : m_dPeriod(1000.0 / rate) {}

    /// The first exposure is due now.
    void Start(DWORD now)
    {
        m_dwStart = now;
        m_nNext = 0;
    }
    /// Milliseconds until the next exposure is due.
    DWORD Remaining(DWORD now) const
    {
        const double left = m_nNext * m_dPeriod - static_cast<double>(now - m_dwStart);
        return left > 0 ? static_cast<DWORD>(std::ceil(left)) : 0;
    }
    /// One was made.
    void Advance(DWORD now)
    {
        const double elapsed = static_cast<double>(now - m_dwStart);
        m_nNext = std::max(m_nNext + 1, std::floor(elapsed / m_dPeriod) + 1);
        // Long before the tick comes round.
        if (elapsed > 1e9) {
            const double shift = std::floor(elapsed / m_dPeriod);
            const double ms = shift * m_dPeriod;
            m_dwStart += static_cast<DWORD>(ms);
            m_nNext -= shift;
        }
    }

private:
    double m_dPeriod; // ms
    DWORD m_dwStart = 0;
    double m_nNext = 0; // whole
};

} // namespace alidade
