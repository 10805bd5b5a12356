#pragma once

#include "foundation/bus/IPClient.h"
#include "foundation/platform/Event.h"
#include "foundation/platform/Ticks.h"
#include "host/HostLog.h"
#include "host/HostOptions.h"

#include <QEventLoop>
#include <QTimer>
#include <thread>

namespace alidade {

class CHostWindow;

/// Serves the host's window while commands run on a thread of their own, takes the screenshot, and knows when
/// to end. Bound to the window's thread.
class CWindowLoop {
public:
    CWindowLoop(const T_HOST_OPTIONS& options, CIPClient& client, CHostLog& log, CEvent& stop,
                const CDeadline& end);
    ~CWindowLoop();
    CWindowLoop(const CWindowLoop&) = delete;
    CWindowLoop& operator=(const CWindowLoop&) = delete;

    /// Serves the window until all is done, the time is over, the event is set, or End is called.
    /// @return 1; 0 with `failure` set when a command or the screenshot failed
    int Run(CHostWindow& window, T_HOST_FAILURE& failure);
    /// Aborts the commands that run, and lets Run return when they have ended.
    void End();

private:
    /// Calls `call` on the window's thread, from any.
    template <class Call>
    void Post(Call call);
    void OnCommandsDone();
    void WatchViews();
    void TakeScreenshot(const wchar_t* note);
    void EndWhenDone();
    void CloseDialogs();

    const T_HOST_OPTIONS& m_options;
    CIPClient& m_client;
    CHostLog& m_log;
    CEvent& m_stop;
    const CDeadline& m_end;
    CHostWindow* m_window = nullptr; // while it runs

    QEventLoop m_loop;
    QTimer m_timeIsOver;
    QTimer m_watch;
    CIPClient m_sender; // of the commands
    CEvent m_evtEnding{false, true};
    CEvent m_evtOver{false, true};
    T_HOST_FAILURE m_failure;
    bool m_failed = false;
    bool m_commandsDone = false;
    bool m_ending = false;
    bool m_screenshotPending;
    std::vector<std::uint64_t> m_shown; // by view: number of the frame when the commands were done
    CDeadline m_screenshotEnd{INFINITE};
};

} // namespace alidade
