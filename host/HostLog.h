#pragma once

#include "foundation/config/SimpleLog.h"
#include "foundation/platform/CriticalSection.h"
#include "foundation/platform/Text.h"

namespace alidade {

/// The host's log; it remembers the last error, which often tells why no frame comes.
class CHostLog : public CSimpleLog {
public:
    using CSimpleLog::CSimpleLog;

    CString GetLastError() const
    {
        CS lock(&m_lock);
        return m_strLastError;
    }

protected:
    int Write(DWORD level, const CStringA& text) override
    {
        if ((level & kLogError) != 0) {
            CS lock(&m_lock);
            m_strLastError = ToWide(text);
        }
        return CSimpleLog::Write(level, text);
    }

private:
    mutable CCriticalSection m_lock;
    CString m_strLastError;
};

} // namespace alidade
