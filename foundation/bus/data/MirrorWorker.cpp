#include "foundation/bus/data/MirrorWorker.h"

#include "foundation/bus/data/BlockName.h"
#include "foundation/platform/Text.h"
#include "foundation/platform/Thread.h"
#include "foundation/platform/Ticks.h"

#include <utility>

namespace alidade {

int CMirrorWorker::Start(const T_IP_DATA_MIRROR& settings, const char* threadName, CString& text)
{
    if (ParseNatsAddress(settings.address, m_address, text) == 0) {
        return 0;
    }
    if (settings.blockName.empty()) {
        text = L"A shared block needs a name.";
        return 0;
    }
    if (!(settings.rate >= 0.1 && settings.rate <= 1000.0)) {
        text = Format(L"A rate of %g values a second is not within 0.1 to 1000.", settings.rate);
        return 0;
    }
    if (settings.silence < 100 || settings.silence > 600000) {
        text = Format(L"A silence of %u ms is not within 100 to 600000.", settings.silence);
        return 0;
    }
    m_settings = settings;
    m_mapName = MakeBlockMapName(settings.instance.empty() ? GetBlockInstance() : settings.instance,
                                 settings.family, settings.blockName);
    m_dataSubject = m_address.bus + ".data." + EncodeNamePart(ToNarrow(settings.family)) + "-" +
                    EncodeNamePart(settings.blockName); // one token, also without a family
    m_askSubject = m_dataSubject + ".ask";
    SetStatus(L"Joining the NATS server", false);
    m_thread = std::thread([this, threadName] { Run(threadName); });
    return 1;
}

void CMirrorWorker::Stop()
{
    m_stop.SetEvent();
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void CMirrorWorker::Run(const char* threadName)
{
    NameThisThread(threadName);
    CDeadline nextAttempt(0);
    while (!m_stop.Wait(0)) {
        if (!m_link.IsOpen() && nextAttempt.IsOver()) {
            CString text;
            if (!m_link.Open(m_address, GetInbox().c_str(), text)) {
                SetStatus(text, GetStatus().isBlockOpen);
            }
            nextAttempt = CDeadline(500);
        }
        {
            CS lock(&m_lock);
            const bool wasConnected = std::exchange(m_status.isConnected, m_link.IsConnected());
            if (wasConnected && !m_status.isConnected) {
                m_status.text = L"The NATS server is away";
            }
        }
        DoStep();
    }
    m_link.Close();
}

void CMirrorWorker::SetStatus(const CString& text, bool isBlockOpen)
{
    CS lock(&m_lock);
    m_status.text = text;
    m_status.isBlockOpen = isBlockOpen;
}

void CMirrorWorker::Count(std::uint64_t T_IP_DATA_MIRROR_STATUS::*counter)
{
    CS lock(&m_lock);
    ++(m_status.*counter);
}

T_IP_DATA_MIRROR_STATUS CMirrorWorker::GetStatus() const
{
    CS lock(&m_lock);
    return m_status;
}

} // namespace alidade
