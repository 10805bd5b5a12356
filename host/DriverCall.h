#pragma once

#include "host/HostFailure.h"
#include "host/Watchdog.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace alidade {

/// A watchdog that ends the process with a line on standard error.
inline CWatchdog* NewDriverWatchdog(DWORD ms, const wchar_t* what)
{
    return new CWatchdog(ms, [ms, what] {
        const T_HOST_FAILURE failure{kExitFailed,
                                     Format(L"a driver did not %s within %g s", what, ms / 1000.0)};
        std::fprintf(stderr, "%s\n", FormatFailure(failure).c_str());
        std::fflush(stderr);
        std::_Exit(failure.status);
    });
}

/// Calls into a driver, and ends the process with a line when the driver does not come back.
template <class Call>
auto CallDriver(DWORD ms, const wchar_t* what, Call&& call)
{
    const std::unique_ptr<CWatchdog> watchdog(NewDriverWatchdog(ms, what));
    return call();
}

/// Bounds the end of the process, in which the plug-ins' own objects are destroyed. Call it last. The
/// plug-ins are not unloaded before: the codec libraries that come with them do not clean up behind
/// themselves.
inline void GuardExit(DWORD ms)
{
    static CWatchdog* guard = nullptr; // never destroyed: it watches to the very end
    if (guard == nullptr) {
        guard = NewDriverWatchdog(ms, L"unload");
    }
}

} // namespace alidade
