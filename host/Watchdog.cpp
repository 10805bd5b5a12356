#include "host/Watchdog.h"

#include "foundation/platform/Thread.h"

namespace alidade {

CWatchdog::CWatchdog(DWORD ms, std::function<void()> expired)
    : m_thread([this, ms, expired = std::move(expired)] {
          NameThisThread("watchdog");
          if (!m_evtDone.Wait(ms)) {
              expired();
          }
      })
{
}

CWatchdog::~CWatchdog()
{
    m_evtDone.SetEvent();
    m_thread.join();
}

} // namespace alidade
