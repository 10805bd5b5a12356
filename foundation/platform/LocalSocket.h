#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Types.h"

#include <filesystem>
#include <span>

namespace alidade {

/// One piece of what is sent.
struct T_SOCKET_PART {
    const void* data = nullptr;
    std::size_t size = 0;
};

/// A connected stream socket between two processes of one machine, or none. One thread may receive while
/// others send, one at a time; Shutdown is thread-safe and ends every wait on the socket. Times are real
/// ones.
class ALIDADE_FOUNDATION_API CLocalSocket {
public:
    CLocalSocket() = default;
    explicit CLocalSocket(std::intptr_t handle) : m_handle(handle) {}
    ~CLocalSocket();
    CLocalSocket(CLocalSocket&& other) noexcept;
    CLocalSocket& operator=(CLocalSocket&& other) noexcept;

    /// Connects to a listener; an empty socket when that fails. Does not wait for the listener to accept.
    /// @param gone  set when nobody listens there any more; may be null
    static CLocalSocket Connect(const std::filesystem::path& path, CString& error, bool* gone = nullptr);

    bool IsOpen() const { return m_handle != kNone; }

    /// Sends what the system takes at once.
    /// @param failed  set when the connection is gone
    /// @return bytes taken, from the first part on
    std::size_t Send(std::span<const T_SOCKET_PART> parts, bool& failed);
    /// Waits until Send would take something or the connection is gone. False after `ms` (INFINITE: no
    /// limit).
    bool WaitWritable(DWORD ms);
    /// Waits for bytes, up to `ms` milliseconds (INFINITE: no limit).
    /// @return bytes received; 0: the connection has ended; -1: nothing came in time
    std::ptrdiff_t Receive(void* to, std::size_t most, DWORD ms);
    /// Takes what has come already; as Receive with 0 ms, in one call of the system.
    std::ptrdiff_t ReceiveNow(void* to, std::size_t most);
    /// Ends the connection in both directions.
    void Shutdown();

    /// The number of the user that runs the process at the other end.
    /// @return false where the system does not tell; the access rights of the folder then decide alone
    bool GetPeerUser(std::uint64_t& user) const;
    /// The number of the process at the other end; 0 where the system does not tell.
    std::uint64_t GetPeerProcess() const;
    /// The number of the user that runs this process, as GetPeerUser counts.
    static std::uint64_t GetThisUser();

private:
    friend class CLocalListener;
    static constexpr std::intptr_t kNone = -1;

    std::intptr_t m_handle = kNone;
};

/// A local socket that waits for connections under a path. Accept is for one thread, Stop for any.
class ALIDADE_FOUNDATION_API CLocalListener {
public:
    CLocalListener() = default;
    /// Closes, and removes the path.
    ~CLocalListener();
    CLocalListener(const CLocalListener&) = delete;
    CLocalListener& operator=(const CLocalListener&) = delete;

    /// Most bytes of a path's text.
    static constexpr std::size_t kLongestPath = 100;

    /// Makes the path; others can connect from then on.
    /// @return 0 and the reason when there is such a path already, or it is too long
    int Listen(const std::filesystem::path& path, CString& error);
    /// The next connection; an empty socket when none comes within `ms`, or once it is stopped.
    CLocalSocket Accept(DWORD ms);
    /// Accept gives nothing from now on.
    void Stop();

private:
    std::filesystem::path m_path;
    CLocalSocket m_socket;
};

} // namespace alidade
