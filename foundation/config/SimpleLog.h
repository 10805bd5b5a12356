#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Types.h"

#include <cstdarg>
#include <memory>

namespace alidade {

inline constexpr DWORD kLogNormal = 0;
inline constexpr DWORD kLogError = 0x80000000;

/// The log sink: a rotating file and the console. A line holds date and time with milliseconds, the level,
/// the thread's number and the text; a text of several lines is indented. Thread-safe. A file that cannot
/// be written is reported once on standard error and never stops the caller.
class ALIDADE_FOUNDATION_API CSimpleLog {
public:
    struct Options {
        CString path;                          // empty: no file. Missing folders are made
        std::uint64_t maxFileBytes = 5u << 20; // a full file is renamed and a new one begun
        int keptFiles = 5;                     // older files kept beside the current one
        bool console = false;                  // lines to standard error too
    };

    CSimpleLog();
    explicit CSimpleLog(const Options& options);
    virtual ~CSimpleLog();
    CSimpleLog(const CSimpleLog&) = delete;
    CSimpleLog& operator=(const CSimpleLog&) = delete;

    /// Writes a line by a printf format; `count` is -1.
    /// @return 1, or 0 when there is nowhere to write
    virtual int WriteLogV(DWORD level, const wchar_t* format, va_list args, int count);
    virtual int WriteLogV(DWORD level, const char* format, va_list args, int count);
    int WriteLog(DWORD level, const wchar_t* format, ...);
    int WriteErrorLog(const wchar_t* format, ...);
    /// Sees that everything written is in the file.
    void Flush();

protected:
    /// One finished line; a derived sink may take it elsewhere.
    virtual int Write(DWORD level, const CStringA& text);

private:
    struct Impl;
    std::unique_ptr<Impl> m_pImpl;
};

} // namespace alidade
