#include "host/WindowLoop.h"

#include "foundation/platform/Thread.h"
#include "host/Display.h"
#include "host/HostWindow.h"
#include "host/Screenshot.h"
#include "view/CameraView.h"

#include <QApplication>
#include <QDialog>

namespace alidade {
namespace {

constexpr int kWatchPeriod = 20; // ms
// A command's end is older than the frames that were on their way: so many are let pass before the
// screenshot.
constexpr std::uint64_t kFramesBehindCommands = 3;

std::uint64_t CountShownFrames(const ICameraView* view)
{
    const auto* camera = dynamic_cast<const CCameraView*>(view);
    const CFrameDisplay* display = camera != nullptr ? camera->GetDisplay() : nullptr;
    return display != nullptr ? display->GetCounts().shown : 0;
}

} // namespace

CWindowLoop::CWindowLoop(const T_HOST_OPTIONS& options, CIPClient& client, CHostLog& log, CEvent& stop,
                         const CDeadline& end)
    : m_options(options), m_client(client), m_log(log), m_stop(stop), m_end(end),
      m_sender(nullptr, &log, client.GetTask().c_str(), client.GetBus()),
      m_screenshotPending(!options.strScreenshot.empty())
{
}

CWindowLoop::~CWindowLoop() = default;

template <class Call>
void CWindowLoop::Post(Call call)
{
    QMetaObject::invokeMethod(&m_watch, std::move(call), Qt::QueuedConnection);
}

int CWindowLoop::Run(CHostWindow& window, T_HOST_FAILURE& failure)
{
    m_window = &window;
    QApplication::setQuitOnLastWindowClosed(false); // the commands are ended first
    std::thread commands([this] {
        NameThisThread("commands");
        T_HOST_FAILURE failed;
        const int ok = RunExecLines(m_sender, m_options.exec, m_evtEnding, failed);
        Post([this, ok, failed] {
            if (!ok) {
                m_failed = true;
                m_failure = failed;
            }
            OnCommandsDone();
        });
    });
    std::thread interrupt([this] {
        NameThisThread("interrupt");
        if (CEvent::WaitForAny({&m_evtOver, &m_stop}, INFINITE) == 1) {
            m_client.Shutdown(); // the window may be waiting for an answer
            Post([this] { End(); });
        }
    });
    QObject::connect(&m_timeIsOver, &QTimer::timeout, [this] { End(); });
    QObject::connect(&m_watch, &QTimer::timeout, [this] { WatchViews(); });
    if (m_options.dwQuitAfter != INFINITE) {
        m_timeIsOver.setSingleShot(true);
        m_timeIsOver.start(static_cast<int>(m_end.Remaining()));
    }
    m_loop.exec();
    m_timeIsOver.stop();
    m_watch.stop();
    m_evtOver.SetEvent();
    interrupt.join();
    commands.join(); // it has posted its end
    m_window = nullptr;
    if (m_failed) {
        failure = m_failure;
    }
    return m_failed ? 0 : 1;
}

void CWindowLoop::End()
{
    if (m_ending || m_window == nullptr) {
        return;
    }
    m_ending = true;
    if (m_screenshotPending) {
        TakeScreenshot(L"the screenshot was taken at the end, before every view had shown a frame");
    }
    m_evtEnding.SetEvent();
    m_sender.Shutdown();
    CloseDialogs();
    if (m_commandsDone) {
        m_loop.quit();
    }
}

/// A dialog or menu that is open has a loop of its own, which Run would not return from.
void CWindowLoop::CloseDialogs()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget* window : windows) {
        if (auto* dialog = qobject_cast<QDialog*>(window)) {
            dialog->reject();
        } else if (window->windowType() == Qt::Popup) {
            window->close();
        }
    }
}

void CWindowLoop::OnCommandsDone()
{
    m_commandsDone = true;
    if (m_ending) {
        m_loop.quit();
        return;
    }
    if (m_screenshotPending) {
        for (const ICameraView* view : m_window->GetViews()) {
            m_shown.push_back(CountShownFrames(view));
        }
        m_screenshotEnd = CDeadline(m_options.dwTimeout);
        m_watch.start(kWatchPeriod);
    }
    EndWhenDone();
}

void CWindowLoop::WatchViews()
{
    const std::vector<ICameraView*> views = m_window->GetViews();
    const std::uint64_t more = m_options.exec.empty() ? 0 : kFramesBehindCommands;
    bool all = true;
    for (std::size_t i = 0; i < views.size() && i < m_shown.size(); ++i) {
        const bool shows = views[i]->isVisible() && views[i]->GetFrameGrabber() != nullptr;
        const std::uint64_t number = CountShownFrames(views[i]);
        all = all && (!shows || (number != 0 && number >= m_shown[i] + more));
    }
    if (all || m_screenshotEnd.IsOver()) {
        m_watch.stop();
        TakeScreenshot(all ? nullptr : L"the screenshot was taken before every view had shown a frame");
        EndWhenDone();
    }
}

/// @param note  what is to be said of it; may be null
void CWindowLoop::TakeScreenshot(const wchar_t* note)
{
    m_screenshotPending = false;
    CString error;
    if (!WriteScreenshot(*m_window, m_options.strScreenshot, error)) {
        m_failed = true;
        m_failure = {kExitFailed, L"the screenshot cannot be written: " + error};
    } else if (note != nullptr) {
        m_log.WriteErrorLog(L"%s", note);
    }
}

/// Ends when nothing is left to do that was asked for, and nobody looks or wants to.
void CWindowLoop::EndWhenDone()
{
    const bool asked = !m_options.strScreenshot.empty() || (!m_options.exec.empty() && IsDisplayInMemory());
    if (asked && !m_screenshotPending && m_commandsDone && m_options.dwQuitAfter == INFINITE) {
        End();
    }
}

} // namespace alidade
