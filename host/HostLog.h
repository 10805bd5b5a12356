#pragma once

#include "foundation/config/SimpleLog.h"
#include "foundation/platform/CriticalSection.h"
#include "host/HostFailure.h"

#include <atomic>
#include <cstdio>

namespace alidade {

/// The host's log; it remembers the last error, which often tells why no frame comes. Thread-safe.
class CHostLog : public CSimpleLog {
public:
    using CSimpleLog::CSimpleLog;

    CString GetLastError() const
    {
        CS lock(&m_lock);
        return m_strLastError;
    }

    /// Whether errors go to standard error too, a line each.
    void SetEcho(bool echo) { m_echo = echo; }

protected:
    int Write(DWORD level, const CStringA& text) override
    {
        if ((level & kLogError) != 0) {
            const CString wide = ToWide(text);
            if (m_echo) {
                std::fprintf(stderr, "%s\n", FormatFailure({kExitFailed, wide}).c_str());
            }
            CS lock(&m_lock);
            m_strLastError = wide;
        }
        return CSimpleLog::Write(level, text);
    }

private:
    std::atomic<bool> m_echo{false};
    mutable CCriticalSection m_lock;
    CString m_strLastError;
};

} // namespace alidade
