#pragma once

#include "foundation/bus/data/IPDataMirror.h"
#include "foundation/bus/data/MirrorLink.h"
#include "foundation/bus/transport/NatsAddress.h"
#include "foundation/platform/CriticalSection.h"
#include "foundation/platform/Event.h"

#include <thread>

namespace alidade {

/// The thread of a mirror or a replica, and what both do alike: join the server, and join again.
class CMirrorWorker {
public:
    virtual ~CMirrorWorker() = default;

    /// Checks the settings and starts the thread.
    int Start(const T_IP_DATA_MIRROR& settings, const char* threadName, CString& text);
    /// Called by the destructor of each derived class: the thread calls its operations.
    void Stop();
    T_IP_DATA_MIRROR_STATUS GetStatus() const;

protected:
    /// Does what there is to do, whether the link is open or not, and waits a little: for `m_stop`, or for
    /// messages.
    virtual void DoStep() = 0;
    /// What this end listens to.
    virtual const CStringA& GetInbox() const = 0;

    void SetStatus(const CString& text, bool isBlockOpen);
    void Count(std::uint64_t T_IP_DATA_MIRROR_STATUS::*counter);

    T_IP_DATA_MIRROR m_settings;
    CStringA m_mapName;
    CStringA m_dataSubject; // definition, values, gone
    CStringA m_askSubject;
    CMirrorLink m_link;
    CEvent m_stop{false, true};

private:
    void Run(const char* threadName);

    T_NATS_ADDRESS m_address;
    mutable CCriticalSection m_lock; // guards the status
    T_IP_DATA_MIRROR_STATUS m_status;
    std::thread m_thread;
};

} // namespace alidade
