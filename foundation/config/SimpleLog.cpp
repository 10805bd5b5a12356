#include "foundation/config/SimpleLog.h"

#include "foundation/platform/Text.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <limits>

namespace alidade {

struct CSimpleLog::Impl {
    spdlog::logger logger{"alidade"};
    std::atomic<bool> reported{false};

    /// A log that fails has nowhere to say so but here, and says it once.
    void Report(const char* reason)
    {
        if (!reported.exchange(true)) {
            std::fprintf(stderr, "CSimpleLog : the log cannot be written: %s\n", reason);
        }
    }
};

namespace {

/// Lines after the first are indented, so that no text passes for a line of its own.
CStringA Indented(std::string_view text)
{
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
        text.remove_suffix(1);
    }
    CStringA out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
            continue;
        }
        if (text[i] == '\n' || text[i] == '\r') {
            out += "\n    ";
        } else {
            out += text[i];
        }
    }
    return out;
}

} // namespace

CSimpleLog::CSimpleLog() = default;

CSimpleLog::CSimpleLog(const Options& options) : m_pImpl(std::make_unique<Impl>())
{
    Impl& impl = *m_pImpl;
    impl.logger.set_error_handler([&impl](const std::string& reason) { impl.Report(reason.c_str()); });
    if (options.console) {
        impl.logger.sinks().push_back(std::make_shared<spdlog::sinks::stderr_sink_mt>());
    }
    if (!options.path.empty()) {
        try {
            const std::uint64_t most = options.maxFileBytes == 0
                                           ? std::numeric_limits<std::uint64_t>::max() / 2
                                           : options.maxFileBytes;
            impl.logger.sinks().push_back(std::make_shared<spdlog::sinks::rotating_file_sink_mt>(
                spdlog::filename_t(ToPath(options.path).native()), static_cast<std::size_t>(most),
                static_cast<std::size_t>(std::clamp(options.keptFiles, 0, 200000))));
        } catch (const std::exception& failed) {
            impl.Report(failed.what());
        }
    }
    impl.logger.set_pattern("%Y-%m-%d %H:%M:%S.%e [%l] [%t] %v");
    impl.logger.set_level(spdlog::level::trace);
    impl.logger.flush_on(spdlog::level::trace);
}

CSimpleLog::~CSimpleLog() = default;

int CSimpleLog::WriteLogV(DWORD level, const wchar_t* format, va_list args, int)
{
    try {
        return format != nullptr ? Write(level, ToNarrow(FormatV(format, args))) : 0;
    } catch (...) {
        return 0;
    }
}

int CSimpleLog::WriteLogV(DWORD level, const char* format, va_list args, int)
{
    try {
        return format != nullptr ? Write(level, FormatV(format, args)) : 0;
    } catch (...) {
        return 0;
    }
}

int CSimpleLog::WriteLog(DWORD level, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    const int result = WriteLogV(level, format, args, -1);
    va_end(args);
    return result;
}

int CSimpleLog::WriteErrorLog(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    const int result = WriteLogV(kLogError, format, args, -1);
    va_end(args);
    return result;
}

void CSimpleLog::Flush()
{
    if (m_pImpl) {
        m_pImpl->logger.flush();
    }
}

int CSimpleLog::Write(DWORD level, const CStringA& text)
{
    if (!m_pImpl || m_pImpl->logger.sinks().empty()) {
        return 0;
    }
    const auto spdLevel = (level & kLogError) != 0 ? spdlog::level::err : spdlog::level::info;
    m_pImpl->logger.log(spdLevel, spdlog::string_view_t(Indented(text)));
    return 1;
}

} // namespace alidade
