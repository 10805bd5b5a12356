#ifndef _WIN32

#include "foundation/platform/LocalSocket.h"

#include "foundation/platform/Spin.h"
#include "foundation/platform/SystemError.h"
#include "foundation/platform/Text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace alidade {
namespace {

constexpr std::size_t kMostParts = 64;

int PollTime(DWORD ms)
{
    return ms == INFINITE ? -1 : static_cast<int>(std::min<DWORD>(ms, 0x7fffffff));
}

/// Waits for an event on the socket; false when none came in time.
bool WaitFor(int file, short events, DWORD ms)
{
    pollfd fd{file, events, 0};
    for (;;) {
        const int ready = ::poll(&fd, 1, PollTime(ms));
        if (ready >= 0 || errno != EINTR) {
            return ready != 0;
        }
    }
}

bool MakeAddress(const std::filesystem::path& path, sockaddr_un& address, CString& error)
{
    const std::string text = path.string();
    if (text.size() > CLocalListener::kLongestPath) {
        error = L"The path " + FromPath(path) + L" is too long for a local socket";
        return false;
    }
    std::memset(&address, 0, sizeof(address));
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, text.c_str(), text.size());
    return true;
}

int MakeSocket()
{
    const int file = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (file >= 0) {
        ::fcntl(file, F_SETFD, FD_CLOEXEC);
    }
    return file;
}

CString Describe(const wchar_t* what, const std::filesystem::path& path, int code)
{
    return CString(what) + L" " + FromPath(path) + L": " + SystemErrorText(code);
}

} // namespace

CLocalSocket::~CLocalSocket()
{
    if (IsOpen()) {
        ::close(static_cast<int>(m_handle));
    }
}

CLocalSocket::CLocalSocket(CLocalSocket&& other) noexcept : m_handle(std::exchange(other.m_handle, kNone))
{
}

CLocalSocket& CLocalSocket::operator=(CLocalSocket&& other) noexcept
{
    std::swap(m_handle, other.m_handle);
    return *this;
}

CLocalSocket CLocalSocket::Connect(const std::filesystem::path& path, CString& error, bool* gone)
{
    sockaddr_un address;
    if (!MakeAddress(path, address, error)) {
        return {};
    }
    CLocalSocket socket(MakeSocket());
    // Without blocking: a listener whose queue is full would hold the caller.
    const int file = static_cast<int>(socket.m_handle);
    if (file >= 0) {
        ::fcntl(file, F_SETFL, O_NONBLOCK);
    }
    if (file < 0 || ::connect(file, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        const int code = errno;
        error = Describe(L"Cannot connect to", path, code);
        if (gone != nullptr) {
            *gone = code == ECONNREFUSED || code == ENOENT;
        }
        return {};
    }
    ::fcntl(file, F_SETFL, 0);
    return socket;
}

std::size_t CLocalSocket::Send(std::span<const T_SOCKET_PART> parts, bool& failed)
{
    iovec pieces[kMostParts];
    const std::size_t count = std::min(parts.size(), kMostParts);
    for (std::size_t i = 0; i < count; ++i) {
        pieces[i] = {const_cast<void*>(parts[i].data), parts[i].size};
    }
    msghdr message{};
    message.msg_iov = pieces;
    message.msg_iovlen = count;
    for (;;) {
        const ssize_t sent = ::sendmsg(static_cast<int>(m_handle), &message, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent >= 0) {
            return static_cast<std::size_t>(sent);
        }
        if (errno != EINTR) {
            failed = errno != EAGAIN && errno != EWOULDBLOCK && errno != ENOBUFS;
            return 0;
        }
    }
}

bool CLocalSocket::WaitWritable(DWORD ms)
{
    return WaitFor(static_cast<int>(m_handle), POLLOUT, ms);
}

std::ptrdiff_t CLocalSocket::Receive(void* to, std::size_t most, DWORD ms)
{
    std::ptrdiff_t got = -1;
    if (ms != 0 && SpinUntil([&] { return (got = ReceiveNow(to, most)) >= 0; })) {
        return got;
    }
    if (ms != INFINITE && !WaitFor(static_cast<int>(m_handle), POLLIN, ms)) {
        return -1;
    }
    for (;;) {
        got = ::recv(static_cast<int>(m_handle), to, most, 0);
        if (got >= 0) {
            return got;
        }
        if (errno != EINTR) {
            return 0;
        }
    }
}

std::ptrdiff_t CLocalSocket::ReceiveNow(void* to, std::size_t most)
{
    const ssize_t got = ::recv(static_cast<int>(m_handle), to, most, MSG_DONTWAIT);
    if (got < 0) {
        return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR ? -1 : 0;
    }
    return got;
}

void CLocalSocket::Shutdown()
{
    if (IsOpen()) {
        ::shutdown(static_cast<int>(m_handle), SHUT_RDWR);
    }
}

bool CLocalSocket::GetPeerUser(std::uint64_t& user) const
{
#ifdef SO_PEERCRED
    ucred peer{};
    socklen_t size = sizeof(peer);
    if (::getsockopt(static_cast<int>(m_handle), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
        return false;
    }
    user = peer.uid;
#else
    uid_t id = 0;
    gid_t group = 0;
    if (::getpeereid(static_cast<int>(m_handle), &id, &group) != 0) {
        return false;
    }
    user = id;
#endif
    return true;
}

std::uint64_t CLocalSocket::GetPeerProcess() const
{
#ifdef SO_PEERCRED
    ucred peer{};
    socklen_t size = sizeof(peer);
    if (::getsockopt(static_cast<int>(m_handle), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0) {
        return static_cast<std::uint64_t>(peer.pid);
    }
#endif
    return 0;
}

std::uint64_t CLocalSocket::GetThisUser()
{
    return ::geteuid();
}

CLocalListener::~CLocalListener()
{
    if (m_socket.IsOpen()) {
        ::unlink(m_path.c_str());
    }
}

int CLocalListener::Listen(const std::filesystem::path& path, CString& error)
{
    sockaddr_un address;
    if (!MakeAddress(path, address, error)) {
        return 0;
    }
    CLocalSocket socket(MakeSocket());
    const int file = static_cast<int>(socket.m_handle);
    if (file < 0 || ::bind(file, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        error = Describe(L"Cannot make the local socket", path, errno);
        return 0;
    }
    m_path = path;
    m_socket = std::move(socket);
    ::fcntl(file, F_SETFL, O_NONBLOCK); // a connection may be gone again before it is accepted
    if (::listen(file, 128) != 0) {
        error = Describe(L"Cannot listen on the local socket", path, errno);
        ::unlink(path.c_str());
        m_socket = CLocalSocket();
        return 0;
    }
    return 1;
}

CLocalSocket CLocalListener::Accept(DWORD ms)
{
    const int file = static_cast<int>(m_socket.m_handle);
    if (!WaitFor(file, POLLIN, ms)) {
        return {};
    }
    CLocalSocket socket(::accept(file, nullptr, nullptr));
    if (socket.IsOpen()) {
        ::fcntl(static_cast<int>(socket.m_handle), F_SETFD, FD_CLOEXEC);
        ::fcntl(static_cast<int>(socket.m_handle), F_SETFL, 0);
    } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
        ::poll(nullptr, 0, PollTime(std::min<DWORD>(ms, 50))); // until others have given some back
    }
    return socket;
}

void CLocalListener::Stop()
{
    m_socket.Shutdown();
}

} // namespace alidade

#endif
