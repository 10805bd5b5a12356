#pragma once

#include "foundation/platform/Event.h"

#include <functional>
#include <thread>

namespace alidade {

/// Bounds a call that may never return, such as one into a driver: when the object lives longer than its
/// time, `expired` runs on a thread of its own. Since the call cannot be taken back, all that is left to it
/// is to end the process.
class CWatchdog {
public:
    CWatchdog(DWORD ms, std::function<void()> expired);
    ~CWatchdog();
    CWatchdog(const CWatchdog&) = delete;
    CWatchdog& operator=(const CWatchdog&) = delete;

private:
    CEvent m_evtDone{false, true};
    std::thread m_thread;
};

} // namespace alidade
