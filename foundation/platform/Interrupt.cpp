#include "foundation/platform/Interrupt.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <iterator>
#include <stdexcept>

#ifdef _WIN32
#include <windows.h>
#endif

namespace alidade {
namespace {

std::atomic<bool> g_installed{false};
std::atomic<int> g_requests{0};

/// Never destroyed: a handler may still run on another thread when the CInterrupt goes.
CEvent& Event()
{
    static CEvent* const event = new CEvent(false, true);
    return *event;
}

/// True when this is the first request and somebody serves it.
bool Request()
{
    if (!g_installed.load() || g_requests.fetch_add(1) > 0) {
        return false;
    }
    Event().SetEvent(); // one write to a descriptor: allowed in a signal handler
    return true;
}

#ifdef _WIN32

BOOL WINAPI OnConsole(::DWORD)
{
    return Request();
}

void Install()
{
    ::SetConsoleCtrlHandler(OnConsole, TRUE);
}

void Uninstall()
{
    ::SetConsoleCtrlHandler(OnConsole, FALSE);
}

#else

constexpr int kSignals[] = {SIGINT, SIGTERM};
struct sigaction g_oldActions[std::size(kSignals)];

extern "C" void OnSignal(int signal)
{
    const int error = errno;
    if (!Request()) {
        std::_Exit(128 + signal);
    }
    errno = error;
}

void Install()
{
    struct sigaction action = {};
    action.sa_handler = OnSignal;
    action.sa_flags = SA_RESTART;
    for (std::size_t i = 0; i < std::size(kSignals); ++i) {
        ::sigaction(kSignals[i], &action, &g_oldActions[i]);
    }
}

void Uninstall()
{
    for (std::size_t i = 0; i < std::size(kSignals); ++i) {
        ::sigaction(kSignals[i], &g_oldActions[i], nullptr);
    }
}

#endif

} // namespace

CInterrupt::CInterrupt()
{
    if (g_installed.exchange(true)) {
        throw std::logic_error("An interrupt handler is installed already");
    }
    Event().ResetEvent();
    g_requests = 0;
    Install();
}

CInterrupt::~CInterrupt()
{
    Uninstall();
    g_installed = false;
}

CEvent& CInterrupt::GetEvent()
{
    return Event();
}

} // namespace alidade
