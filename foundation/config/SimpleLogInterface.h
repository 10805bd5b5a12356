#pragma once

#include "foundation/Export.h"
#include "foundation/config/SimpleLog.h"

namespace alidade {

/// Mix-in for a class that writes to a log it is given. Without a log nothing is written and the result
/// is 0. Driver plug-ins derive from it: the order of the virtual operations and the single data member are
/// part of the driver layout.
class ALIDADE_FOUNDATION_API CSimpleLogInterface {
public:
    virtual ~CSimpleLogInterface();
    virtual int WriteLogV(DWORD level, const wchar_t* format, va_list args, int count);
    virtual int WriteLogV(DWORD level, const char* format, va_list args, int count);

    /// The log, not owned; null: none. Set before other threads write.
    void SetLog(CSimpleLog* log) { m_pLog = log; }
    CSimpleLog* GetLog() const { return m_pLog; }

    int WriteLog(DWORD level, const wchar_t* format, ...);
    int WriteLog(DWORD level, const char* format, ...);
    int WriteErrorLog(const wchar_t* format, ...);

protected:
    CSimpleLogInterface() = default;
    explicit CSimpleLogInterface(CSimpleLog* log) : m_pLog(log) {}

    CSimpleLog* m_pLog = nullptr;
};

} // namespace alidade
