#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Ticks.h"

#include <initializer_list>
#include <span>

namespace alidade {

/// An event over the kernel's own object: one thread sets it, others wait for it, alone or for any of
/// several. An auto-reset event lets one waiter through for each time it is found set; a manual-reset one
/// stays set until it is reset. Thread-safe, except against its own destruction.
class ALIDADE_FOUNDATION_API CEvent {
public:
    /// @throws std::system_error when the system has no event left
    explicit CEvent(bool initiallySet = false, bool manualReset = false);
    ~CEvent();
    CEvent(const CEvent&) = delete;
    CEvent& operator=(const CEvent&) = delete;

    /// Sets the event; never blocks. 1 on success.
    int SetEvent();
    /// Clears the event; never blocks. 1 on success.
    int ResetEvent();

    /// Waits for up to `ms` milliseconds of GetTickCount (INFINITE: for ever).
    /// @return true when the event was set; an auto-reset event is clear then
    bool Wait(DWORD ms) { return Wait(CDeadline(ms)); }
    /// The same until a moment that was worked out before: what the caller is held up by does not add to it.
    bool Wait(const CDeadline& deadline) { return WaitForAny({this}, deadline) == 0; }

    /// Waits until one of the events is set.
    /// @param events  1 to 64 different events
    /// @return the index of the first one set, in the order given, or -1 at the deadline. Only that one is
    ///         cleared, if it is of the auto-reset kind
    /// @throws std::invalid_argument for no events or too many
    static int WaitForAny(std::span<CEvent* const> events, const CDeadline& deadline);
    static int WaitForAny(std::span<CEvent* const> events, DWORD ms)
    {
        return WaitForAny(events, CDeadline(ms));
    }
    static int WaitForAny(std::initializer_list<CEvent*> events, const CDeadline& deadline)
    {
        return WaitForAny(std::span<CEvent* const>(events.begin(), events.size()), deadline);
    }
    static int WaitForAny(std::initializer_list<CEvent*> events, DWORD ms)
    {
        return WaitForAny(events, CDeadline(ms));
    }

private:
    static constexpr std::size_t kMostEvents = 64;

    std::intptr_t m_handle; // eventfd, or the native event
    bool m_manualReset;
};

} // namespace alidade
