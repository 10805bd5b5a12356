#include "foundation/config/SimpleLogInterface.h"

namespace alidade {

CSimpleLogInterface::~CSimpleLogInterface() = default;

int CSimpleLogInterface::WriteLogV(DWORD level, const wchar_t* format, va_list args, int count)
{
    return m_pLog != nullptr ? m_pLog->WriteLogV(level, format, args, count) : 0;
}

int CSimpleLogInterface::WriteLogV(DWORD level, const char* format, va_list args, int count)
{
    return m_pLog != nullptr ? m_pLog->WriteLogV(level, format, args, count) : 0;
}

int CSimpleLogInterface::WriteLog(DWORD level, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    const int result = WriteLogV(level, format, args, -1);
    va_end(args);
    return result;
}

int CSimpleLogInterface::WriteLog(DWORD level, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    const int result = WriteLogV(level, format, args, -1);
    va_end(args);
    return result;
}

int CSimpleLogInterface::WriteErrorLog(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    const int result = WriteLogV(kLogError, format, args, -1);
    va_end(args);
    return result;
}

} // namespace alidade
