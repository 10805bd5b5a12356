#pragma once

#include "foundation/platform/Types.h"

#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace alidade {

/// Runs the operations of a driver one at a time on a thread of its own, so that one that stalls is noticed.
/// Bound to the thread that made it.
class CDeadlineRunner {
public:
    explicit CDeadlineRunner(DWORD deadlineMs);
    /// A thread that has stalled is left behind.
    ~CDeadlineRunner();
    CDeadlineRunner(const CDeadlineRunner&) = delete;
    CDeadlineRunner& operator=(const CDeadlineRunner&) = delete;

    /// Runs an operation to its end. What it refers to must outlive a stall.
    /// @param what  name of the operation, for the reason
    /// @throws CCheckFailed when an exception escapes from it; CCheckStalled when it does not return in time,
    ///         and for every operation after that
    void Run(const std::string& what, std::function<void()> operation);

    bool IsStalled() const { return m_stalled; }
    DWORD GetDeadline() const { return m_dwDeadline; }
    /// "10 s" or "1500 ms".
    std::string GetDeadlineText() const;
    std::thread::id GetThreadId() const { return m_thread.get_id(); }

private:
    struct State;

    DWORD m_dwDeadline;
    bool m_stalled = false;
    std::shared_ptr<State> m_pState; // shared with the thread, which may outlive this object
    std::thread m_thread;
};

} // namespace alidade
