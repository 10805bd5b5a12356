#pragma once

#include "foundation/platform/Types.h"

#include <memory>
#include <string>
#include <string_view>

namespace alidade {

struct T_NATS_ADDRESS;

/// A connection to a NATS server for messages of which only the newest count. Bound to one thread.
/// Once made it comes back by itself when the server does; what is sent meanwhile is dropped.
class CMirrorLink {
public:
    CMirrorLink();
    ~CMirrorLink();
    CMirrorLink(const CMirrorLink&) = delete;
    CMirrorLink& operator=(const CMirrorLink&) = delete;

    /// Connects within two seconds, or not.
    bool Open(const T_NATS_ADDRESS& address, const char* subscribe, CString& text);
    void Close();
    /// False before Open, and when the server will not have this client back.
    bool IsOpen() const;
    /// True while the server is there.
    bool IsConnected() const;
    /// @return false with `text` set when it was not sent: it is too long, or the server is away
    bool Publish(const char* subject, std::string_view message, CString& text);
    /// The next message that has come, waiting for it for up to `ms`.
    bool Receive(std::string& message, DWORD ms);

private:
    struct T_HANDLES;
    std::unique_ptr<T_HANDLES> m_handles;
};

} // namespace alidade
