#include "foundation/platform/Text.h"
#include "foundation/utility/Comm.h"
#include "foundation/utility/SerialLine.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>

namespace alidade {
namespace {

using Clock = std::chrono::steady_clock;

CString TextOf(int code)
{
    return ToWide(std::system_category().message(code));
}

bool SpeedOf(DWORD baud, speed_t& speed)
{
    static constexpr struct {
        DWORD baud;
        speed_t speed;
    } kSpeeds[] = {
        {300, B300},     {600, B600},       {1200, B1200},     {2400, B2400},
        {4800, B4800},   {9600, B9600},     {19200, B19200},   {38400, B38400},
        {57600, B57600}, {115200, B115200}, {230400, B230400},
    };
    for (const auto& known : kSpeeds) {
        if (known.baud == baud) {
            speed = known.speed;
            return true;
        }
    }
    return false;
}

class CTerminal final : public ISerialLine {
public:
    explicit CTerminal(int handle) : m_handle(handle) {}
    ~CTerminal() override { ::close(m_handle); }

    bool Configure(const T_SERIAL_SETTINGS& settings, CString& error) const
    {
        speed_t speed = B9600;
        if (!SpeedOf(settings.baud, speed) || settings.flowControl == CXComm::FLOW_DTRDSR) {
            error = L"not supported by the port";
            return false;
        }
        static constexpr tcflag_t kBits[] = {CS5, CS6, CS7, CS8};
        static constexpr tcflag_t kParities[] = {0, PARENB | PARODD, PARENB, PARENB | PARODD | CMSPAR,
                                                 PARENB | CMSPAR};
        termios mode = {};
        if (::tcgetattr(m_handle, &mode) != 0) {
            error = TextOf(errno);
            return false;
        }
        ::cfmakeraw(&mode);
        mode.c_cflag &= ~tcflag_t(CSIZE | PARENB | PARODD | CMSPAR | CSTOPB | CRTSCTS);
        mode.c_cflag |= CLOCAL | CREAD | kBits[settings.bits - 5] | kParities[settings.parity];
        mode.c_cflag |= settings.twoStopBits ? CSTOPB : 0;
        mode.c_cflag |= settings.flowControl == CXComm::FLOW_RTSCTS ? CRTSCTS : 0;
        mode.c_iflag &= ~tcflag_t(IXON | IXOFF | IXANY);
        mode.c_iflag |= settings.flowControl == CXComm::FLOW_XONXOFF ? IXON | IXOFF : 0;
        mode.c_cc[VMIN] = 0;
        mode.c_cc[VTIME] = 0;
        ::cfsetispeed(&mode, speed);
        ::cfsetospeed(&mode, speed);
        if (::tcsetattr(m_handle, TCSANOW, &mode) != 0 || ::tcflush(m_handle, TCIFLUSH) != 0) {
            error = TextOf(errno);
            return false;
        }
        return true;
    }

    DWORD Read(void* buffer, DWORD size, DWORD timeoutMs, CString& error) override
    {
        auto* at = static_cast<char*>(buffer);
        return Move(size, timeoutMs, POLLIN, error,
                    [this, at](DWORD done, DWORD left) { return ::read(m_handle, at + done, left); });
    }

    DWORD Write(const void* data, DWORD size, DWORD timeoutMs, CString& error) override
    {
        const auto* at = static_cast<const char*>(data);
        return Move(size, timeoutMs, POLLOUT, error,
                    [this, at](DWORD done, DWORD left) { return ::write(m_handle, at + done, left); });
    }

    bool Purge(bool input, bool output, CString& error) override
    {
        const bool ok = ::tcflush(m_handle, input && output ? TCIOFLUSH : input ? TCIFLUSH : TCOFLUSH) == 0;
        if (!ok) {
            error = TextOf(errno);
        }
        return ok;
    }

private:
    /// Moves bytes by `transfer` as the device lets it, until all are moved or the time is over.
    template <class Transfer>
    DWORD Move(DWORD size, DWORD timeoutMs, short event, CString& error, Transfer transfer)
    {
        const Clock::time_point start = Clock::now();
        DWORD done = 0;
        bool hungUp = false;
        while (done < size) {
            const ssize_t moved = transfer(done, size - done);
            if (moved > 0) {
                done += static_cast<DWORD>(moved);
                continue;
            }
            if (moved < 0 && errno != EAGAIN && errno != EINTR) {
                error = TextOf(errno);
                return done;
            }
            if (hungUp) {
                error = L"the other side has closed the line";
                return done;
            }
            const auto elapsed =
                std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
            if (timeoutMs != INFINITE && elapsed >= timeoutMs) {
                return done;
            }
            const bool isLong = timeoutMs == INFINITE || timeoutMs - elapsed > kLongest;
            pollfd wait = {m_handle, event, 0};
            ::poll(&wait, 1, isLong ? kLongest : static_cast<int>(timeoutMs - elapsed));
            // A line whose other side has gone is ready for ever; what it still holds is taken first.
            hungUp = (wait.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
        }
        return done;
    }

    static constexpr int kLongest = 60000; // ms of one wait

    int m_handle;
};

} // namespace

std::unique_ptr<ISerialLine> OpenTerminal(const CString& name, const T_SERIAL_SETTINGS& settings,
                                          CString& error)
{
    const int handle = ::open(ToPath(name).c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (handle < 0) {
        return nullptr;
    }
    auto terminal = std::make_unique<CTerminal>(handle);
    int lines = 0;
    if (::isatty(handle) == 0 || ::ioctl(handle, TIOCMGET, &lines) == 0) {
        return nullptr;
    }
    const bool ok =
        (!settings.exclusive || ClaimDevice(handle, error)) && terminal->Configure(settings, error);
    return ok ? std::move(terminal) : nullptr;
}

bool ClaimDevice(std::intptr_t handle, CString& error)
{
    // The lock is kept with the open file and heeded by the usual terminal programs.
    if (::flock(static_cast<int>(handle), LOCK_EX | LOCK_NB) == 0) {
        return true;
    }
    error = errno == EWOULDBLOCK ? L"in use" : TextOf(errno);
    return false;
}

} // namespace alidade
