#include "foundation/bus/IPBus.h"

#include "foundation/bus/engine/Engine.h"

namespace alidade {

CIPBus::CIPBus() : m_engine(std::make_shared<CIPEngine>())
{
}

CIPBus::~CIPBus()
{
    m_engine->Stop();
}

std::shared_ptr<CIPBus> CIPBus::GetProcessBus()
{
    static std::mutex mutex;
    static std::weak_ptr<CIPBus> shared;
    std::lock_guard lock(mutex);
    std::shared_ptr<CIPBus> bus = shared.lock();
    if (bus == nullptr) {
        shared = bus = std::make_shared<CIPBus>();
    }
    return bus;
}

int CIPBus::Join(const char* address, CString& error, CSimpleLog* log, bool joinOnly)
{
    if (address == nullptr || *address == 0) {
        error = L"A bus address is wanted: local:NAME, nats://HOST:PORT or tls://HOST:PORT.";
        return 0;
    }
    return m_engine->Join(address, joinOnly, log, error);
}

void CIPBus::Leave()
{
    m_engine->Leave();
}

} // namespace alidade
