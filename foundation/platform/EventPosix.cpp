#ifndef _WIN32

#include "foundation/platform/Event.h"

#include "foundation/platform/Ticks.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace alidade {
namespace {

/// How long one poll may last, in real milliseconds: short while a manual clock decides; otherwise cut
/// only because poll counts in an int.
int PollStep(DWORD remaining)
{
    const DWORD most = CManualTicks::IsInstalled() ? 1 : 60000;
    return static_cast<int>(std::min(remaining, most));
}

/// Takes what the event's counter holds; false when it was clear.
bool Take(int file)
{
    std::uint64_t count = 0;
    return ::read(file, &count, sizeof(count)) == sizeof(count);
}

} // namespace

CEvent::CEvent(bool initiallySet, bool manualReset)
    : m_handle(::eventfd(initiallySet ? 1 : 0, EFD_NONBLOCK | EFD_CLOEXEC)), m_manualReset(manualReset)
{
    if (m_handle < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

CEvent::~CEvent()
{
    ::close(static_cast<int>(m_handle));
}

int CEvent::SetEvent()
{
    const std::uint64_t one = 1;
    // A full counter (EAGAIN) is an event that is set.
    return ::write(static_cast<int>(m_handle), &one, sizeof(one)) == sizeof(one) || errno == EAGAIN;
}

int CEvent::ResetEvent()
{
    return Take(static_cast<int>(m_handle)) || errno == EAGAIN;
}

int CEvent::WaitForAny(std::span<CEvent* const> events, const CDeadline& deadline)
{
    if (events.empty() || events.size() > kMostEvents) {
        throw std::invalid_argument("CEvent::WaitForAny takes 1 to 64 events");
    }
    std::array<pollfd, kMostEvents> fds;
    for (std::size_t i = 0; i < events.size(); ++i) {
        fds[i] = {static_cast<int>(events[i]->m_handle), POLLIN, 0};
    }
    for (;;) {
        const DWORD remaining = deadline.Remaining();
        const int ready = ::poll(fds.data(), static_cast<nfds_t>(events.size()), PollStep(remaining));
        if (ready < 0 && errno != EINTR && errno != EAGAIN) {
            return -1;
        }
        for (std::size_t i = 0; ready > 0 && i < events.size(); ++i) {
            // Another waiter may have been quicker to take an auto-reset event.
            if ((fds[i].revents & POLLIN) != 0 && (events[i]->m_manualReset || Take(fds[i].fd))) {
                return static_cast<int>(i);
            }
        }
        if (remaining == 0) {
            return -1;
        }
    }
}

} // namespace alidade

#endif
