#pragma once

#include "foundation/platform/Text.h"

namespace alidade {

/// Exit statuses of the host.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailed = 1; // a camera, a file or a folder did not do what was asked
inline constexpr int kExitUsage = 2;  // what was asked makes no sense

/// Why the host gives up.
struct T_HOST_FAILURE {
    int status = kExitFailed;
    CString text;
};

/// The failure as one line for standard error, without a line break.
inline CStringA FormatFailure(const T_HOST_FAILURE& failure, const char* program = "alidade-host")
{
    CStringA line = CStringA(program) + ": " + ToNarrow(failure.text);
    std::erase(line, '\r');
    while (line.back() == '\n') {
        line.pop_back();
    }
    for (char& c : line) {
        if (static_cast<unsigned char>(c) < 0x20) {
            c = ' ';
        }
    }
    return line;
}

/// Sets a failure; always 0, so that a failing operation can return it.
inline int Refuse(T_HOST_FAILURE& failure, int status, CString text)
{
    failure = {status, std::move(text)};
    return 0;
}

} // namespace alidade
