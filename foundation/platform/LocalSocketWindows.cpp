#ifdef _WIN32

#include "foundation/platform/LocalSocket.h"

#include "foundation/platform/SystemError.h"
#include "foundation/platform/Text.h"

#include <winsock2.h>

#include <afunix.h>
#include <algorithm>
#include <cstring>
#include <utility>

namespace alidade {
namespace {

constexpr std::size_t kMostParts = 64;

/// Keeps the system's socket library loaded for the life of the process.
bool LoadSockets()
{
    static const bool loaded = [] {
        WSADATA data;
        return ::WSAStartup(MAKEWORD(2, 2), &data) == 0;
    }();
    return loaded;
}

SOCKET Native(std::intptr_t handle)
{
    return static_cast<SOCKET>(handle);
}

bool WaitFor(std::intptr_t handle, short events, DWORD ms)
{
    WSAPOLLFD fd{Native(handle), events, 0};
    const int time = ms == INFINITE ? -1 : static_cast<int>(std::min<DWORD>(ms, 0x7fffffff));
    return ::WSAPoll(&fd, 1, time) != 0;
}

bool MakeAddress(const std::filesystem::path& path, sockaddr_un& address, CString& error)
{
    const std::string text = ToNarrow(path.wstring());
    if (text.size() > CLocalListener::kLongestPath) {
        error = L"The path " + FromPath(path) + L" is too long for a local socket";
        return false;
    }
    std::memset(&address, 0, sizeof(address));
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, text.c_str(), text.size());
    return true;
}

/// Never blocks: every wait here is a poll.
std::intptr_t MakeUnblocking(SOCKET socket)
{
    if (socket != INVALID_SOCKET) {
        u_long on = 1;
        ::ioctlsocket(socket, FIONBIO, &on);
    }
    return static_cast<std::intptr_t>(socket);
}

CString Describe(const wchar_t* what, const std::filesystem::path& path, int code)
{
    return CString(what) + L" " + FromPath(path) + L": " + SystemErrorText(code);
}

} // namespace

CLocalSocket::~CLocalSocket()
{
    if (IsOpen()) {
        ::closesocket(Native(m_handle));
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
    if (!LoadSockets() || !MakeAddress(path, address, error)) {
        return {};
    }
    const SOCKET plain = ::socket(AF_UNIX, SOCK_STREAM, 0);
    CLocalSocket socket(static_cast<std::intptr_t>(plain));
    if (plain == INVALID_SOCKET ||
        ::connect(plain, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        const int code = ::WSAGetLastError();
        error = Describe(L"Cannot connect to", path, code);
        if (gone != nullptr) {
            *gone = code == WSAECONNREFUSED || code == WSAENETDOWN || code == WSAEINVAL;
        }
        return {};
    }
    MakeUnblocking(plain);
    return socket;
}

std::size_t CLocalSocket::Send(std::span<const T_SOCKET_PART> parts, bool& failed)
{
    WSABUF pieces[kMostParts];
    const std::size_t count = std::min(parts.size(), kMostParts);
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t size = std::min<std::size_t>(parts[i].size, 1u << 30);
        pieces[i] = {static_cast<ULONG>(size), static_cast<CHAR*>(const_cast<void*>(parts[i].data))};
    }
    ::DWORD sent = 0;
    if (::WSASend(Native(m_handle), pieces, static_cast<::DWORD>(count), &sent, 0, nullptr, nullptr) != 0) {
        failed = ::WSAGetLastError() != WSAEWOULDBLOCK;
        return 0;
    }
    return sent;
}

bool CLocalSocket::WaitWritable(DWORD ms)
{
    return WaitFor(m_handle, POLLWRNORM, ms);
}

std::ptrdiff_t CLocalSocket::Receive(void* to, std::size_t most, DWORD ms)
{
    for (;;) {
        if (!WaitFor(m_handle, POLLRDNORM, ms)) {
            return -1;
        }
        const std::ptrdiff_t got = ReceiveNow(to, most);
        if (got >= 0) {
            return got;
        }
    }
}

std::ptrdiff_t CLocalSocket::ReceiveNow(void* to, std::size_t most)
{
    const int got = ::recv(Native(m_handle), static_cast<char*>(to),
                           static_cast<int>(std::min<std::size_t>(most, 1u << 30)), 0);
    if (got < 0) {
        return ::WSAGetLastError() == WSAEWOULDBLOCK ? -1 : 0;
    }
    return got;
}

void CLocalSocket::Shutdown()
{
    if (IsOpen()) {
        ::shutdown(Native(m_handle), SD_BOTH);
    }
}

bool CLocalSocket::GetPeerUser(std::uint64_t&) const
{
    return false;
}

std::uint64_t CLocalSocket::GetPeerProcess() const
{
    return 0;
}

std::uint64_t CLocalSocket::GetThisUser()
{
    return 0;
}

CLocalListener::~CLocalListener()
{
    if (m_socket.IsOpen()) {
        m_socket = CLocalSocket();
        ::DeleteFileW(m_path.c_str());
    }
}

int CLocalListener::Listen(const std::filesystem::path& path, CString& error)
{
    sockaddr_un address;
    if (!LoadSockets() || !MakeAddress(path, address, error)) {
        return 0;
    }
    const SOCKET plain = ::socket(AF_UNIX, SOCK_STREAM, 0);
    CLocalSocket socket(MakeUnblocking(plain));
    if (plain == INVALID_SOCKET ||
        ::bind(plain, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        ::listen(plain, SOMAXCONN) != 0) {
        error = Describe(L"Cannot make the local socket", path, ::WSAGetLastError());
        return 0;
    }
    m_path = path;
    m_socket = std::move(socket);
    return 1;
}

CLocalSocket CLocalListener::Accept(DWORD ms)
{
    // A listener cannot be shut down here, so that Stop is noticed by the short wait.
    if (!WaitFor(m_socket.m_handle, POLLRDNORM, std::min<DWORD>(ms, 200))) {
        return {};
    }
    return CLocalSocket(MakeUnblocking(::accept(Native(m_socket.m_handle), nullptr, nullptr)));
}

void CLocalListener::Stop()
{
    m_socket.Shutdown();
}

} // namespace alidade

#endif
