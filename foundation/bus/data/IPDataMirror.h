#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Types.h"

#include <memory>

namespace alidade {

/// Which block goes to other machines, and how.
struct T_IP_DATA_MIRROR {
    CStringA
        address; // of a NATS server: "nats://[user:password@]host[:port][?ca=file&bus=name]", or "tls://"
    CString family;
    CStringA blockName;
    CStringA instance;    // in place of the environment variable ALIDADE_INSTANCE; empty: that
    double rate = 100.0;  // CIPDataMirror: values a second at most, 0.1 to 1000; the newest win
    DWORD silence = 3000; // CIPDataReplica: ms without a message until the block is taken down, 100 to 600000
};

/// What became of it so far.
struct T_IP_DATA_MIRROR_STATUS {
    CString text;               // one sentence for the operator
    bool isConnected = false;   // to the server
    bool isBlockOpen = false;   // the block that is sent, or the copy of it
    std::uint64_t messages = 0; // with values: sent, or taken over
    std::uint64_t refused = 0;  // messages that were malformed, or from another mirror while one is heard
};

/// Sends a shared block of this machine to others: its values as they change, at a bounded rate, and its
/// definition to whoever asks. Goes on for as long as it lives, whether server and writer are there or not.
/// One thread at a time.
class ALIDADE_FOUNDATION_API CIPDataMirror {
public:
    CIPDataMirror();
    ~CIPDataMirror();
    CIPDataMirror(const CIPDataMirror&) = delete;
    CIPDataMirror& operator=(const CIPDataMirror&) = delete;

    /// @param text  why not: an address or a number that is none, no block name, started already
    /// @return 1 once it works in the background, whether or not the server is there
    int Start(const T_IP_DATA_MIRROR& settings, CString& text);
    /// Returns within some seconds at most.
    void Stop();
    T_IP_DATA_MIRROR_STATUS GetStatus() const;

private:
    class CWorker;
    std::unique_ptr<CWorker> m_worker;
};

} // namespace alidade
