#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Event.h"

namespace alidade {

/// Turns the user's wish to stop (Ctrl-C, a request to terminate) into an event for the life of the object.
/// One at a time in a process. A second Ctrl-C while the first is being served ends the process at once.
class ALIDADE_FOUNDATION_API CInterrupt {
public:
    /// @throws std::logic_error when one is installed already
    CInterrupt();
    ~CInterrupt();
    CInterrupt(const CInterrupt&) = delete;
    CInterrupt& operator=(const CInterrupt&) = delete;

    /// Manual reset; set once the user asked to stop.
    CEvent& GetEvent();
    bool IsRequested() { return GetEvent().Wait(0); }
};

} // namespace alidade
