#ifdef _WIN32

#include "foundation/platform/Event.h"

#include "foundation/platform/Ticks.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <system_error>

#include <windows.h>

namespace alidade {
namespace {

HANDLE Handle(std::intptr_t handle)
{
    return reinterpret_cast<HANDLE>(handle);
}

} // namespace

CEvent::CEvent(bool initiallySet, bool manualReset)
    : m_handle(reinterpret_cast<std::intptr_t>(::CreateEventW(nullptr, manualReset, initiallySet, nullptr))),
      m_manualReset(manualReset)
{
    if (m_handle == 0) {
        throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(), "CreateEvent");
    }
}

CEvent::~CEvent()
{
    ::CloseHandle(Handle(m_handle));
}

int CEvent::SetEvent()
{
    return ::SetEvent(Handle(m_handle)) != 0;
}

int CEvent::ResetEvent()
{
    return ::ResetEvent(Handle(m_handle)) != 0;
}

int CEvent::WaitForAny(std::span<CEvent* const> events, const CDeadline& deadline)
{
    static_assert(MAXIMUM_WAIT_OBJECTS >= kMostEvents);
    if (events.empty() || events.size() > kMostEvents) {
        throw std::invalid_argument("CEvent::WaitForAny takes 1 to 64 events");
    }
    std::array<HANDLE, kMostEvents> handles;
    std::transform(events.begin(), events.end(), handles.begin(),
                   [](const CEvent* event) { return Handle(event->m_handle); });
    for (;;) {
        const DWORD remaining = deadline.Remaining();
        // Short steps while a manual clock decides.
        const DWORD step = std::min<DWORD>(remaining, CManualTicks::IsInstalled() ? 1 : 60000);
        const DWORD result =
            ::WaitForMultipleObjects(static_cast<::DWORD>(events.size()), handles.data(), FALSE, step);
        if (result < WAIT_OBJECT_0 + events.size()) {
            return static_cast<int>(result - WAIT_OBJECT_0);
        }
        if (result == WAIT_FAILED || remaining == 0) {
            return -1;
        }
    }
}

} // namespace alidade

#endif
