#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Types.h"

#include <memory>

namespace alidade {

class CIPEngine;
class CSimpleLog;

/// The bus of one process, and its connection to others. Clients share it. Thread-safe.
class ALIDADE_FOUNDATION_API CIPBus {
public:
    CIPBus();
    /// Leaves, fails what is in flight, and joins the bus's threads. Not on one of these.
    ~CIPBus();
    CIPBus(const CIPBus&) = delete;
    CIPBus& operator=(const CIPBus&) = delete;

    /// The one that all clients of the process use unless they are given another.
    static std::shared_ptr<CIPBus> GetProcessBus();

    /// Joins other processes: "local:NAME" (same user, same machine), "nats://..." or "tls://..." (a NATS
    /// server).
    /// @param error  why not
    /// @param log  for what happens on the connection; not owned, outlives the bus; may be null
    /// @param joinOnly  true: fails when nobody is there yet, instead of waiting for others ("local:")
    /// @return 1; 0 for a bad address, no connection, or when it has joined already
    int Join(const char* address, CString& error, CSimpleLog* log = nullptr, bool joinOnly = false);
    /// Fails what is in flight to and from others, and waits for handlers that run for them, serving the own
    /// thread's window receivers meanwhile. Not in a handler of a plain receiver.
    void Leave();

    const std::shared_ptr<CIPEngine>& GetEngine() const { return m_engine; }

private:
    std::shared_ptr<CIPEngine> m_engine;
};

} // namespace alidade
