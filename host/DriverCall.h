#pragma once

#include "host/HostFailure.h"
#include "host/Watchdog.h"

#include <cstdio>
#include <cstdlib>

namespace alidade {

/// Calls into a driver, and ends the process with a line when the driver does not come back.
template <class Call>
auto CallDriver(DWORD ms, const wchar_t* what, Call&& call)
{
    const CWatchdog watchdog(ms, [ms, what] {
        const T_HOST_FAILURE failure{kExitFailed,
                                     Format(L"a driver did not %s within %g s", what, ms / 1000.0)};
        std::fprintf(stderr, "%s\n", FormatFailure(failure).c_str());
        std::fflush(stderr);
        std::_Exit(failure.status);
    });
    return call();
}

} // namespace alidade
