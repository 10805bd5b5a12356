#include "foundation/utility/Comm.h"
#include "foundation/platform/Text.h"
#include "foundation/platform/Ticks.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/ioctl.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

namespace {

bool g_hasModemLines = false;
int g_modemLineCalls = 0; // that were answered

} // namespace

/// Stands before the system's function of this name, to give pseudo-terminals the modem lines without which
/// they do not pass for serial ports.
extern "C" __attribute__((visibility("default"))) int ioctl(int handle, unsigned long request, ...) noexcept
{
    using Function = int (*)(int, unsigned long, ...);
    static const auto system = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "ioctl"));
    va_list args;
    va_start(args, request);
    void* const argument = va_arg(args, void*);
    va_end(args);
    const int result = system(handle, request, argument);
    const bool isLines =
        request == TIOCMGET || request == TIOCMSET || request == TIOCMBIS || request == TIOCMBIC;
    if (result == 0 || !isLines || !g_hasModemLines || ::isatty(handle) == 0) {
        return result;
    }
    ++g_modemLineCalls;
    if (request == TIOCMGET) {
        *static_cast<int*>(argument) = TIOCM_CTS | TIOCM_DSR | TIOCM_CAR;
    }
    return 0;
}

namespace alidade {
namespace {

constexpr DWORD kLong = 20000; // a time-out that is not meant to pass

/// The other side of a serial line: a pseudo-terminal's master.
class CLine {
public:
    CLine()
    {
        m_master = ::posix_openpt(O_RDWR | O_NOCTTY);
        if (m_master < 0 || ::grantpt(m_master) != 0 || ::unlockpt(m_master) != 0) {
            ADD_FAILURE() << "no pseudo-terminal";
            return;
        }
        std::filesystem::create_symlink(::ptsname(m_master), m_folder / "port");
        m_name = FromPath(m_folder / "port");
        m_device = ToWide(::ptsname(m_master));
    }
    ~CLine() { Close(); }

    /// A link to the device, as one to a serial port has.
    const CString& Name() const { return m_name; }
    const CString& Device() const { return m_device; }
    void Close()
    {
        if (m_master >= 0) {
            ::close(std::exchange(m_master, -1));
        }
    }
    void Send(const std::string& bytes) const
    {
        EXPECT_EQ(::write(m_master, bytes.data(), bytes.size()), ssize_t(bytes.size()));
    }
    std::string Receive(std::size_t size) const
    {
        std::string bytes;
        while (bytes.size() < size) {
            pollfd wait = {m_master, POLLIN, 0};
            char block[256];
            if (::poll(&wait, 1, int(kLong)) != 1) {
                break;
            }
            const ssize_t got = ::read(m_master, block, std::min(sizeof block, size - bytes.size()));
            if (got <= 0) {
                break;
            }
            bytes.append(block, std::size_t(got));
        }
        return bytes;
    }
    termios Settings() const
    {
        termios settings = {};
        EXPECT_EQ(::tcgetattr(m_master, &settings), 0);
        return settings;
    }

private:
    CTempFolder m_folder;
    int m_master = -1;
    CString m_name;
    CString m_device;
};

/// Each test runs on a line with modem lines, which is opened as a serial port, and on one without.
class Comm : public ::testing::TestWithParam<bool> {
protected:
    Comm()
    {
        g_hasModemLines = GetParam();
        g_modemLineCalls = 0;
    }
    void TearDown() override { EXPECT_EQ(g_modemLineCalls > 0, GetParam()) << "opened as the other kind"; }
};
INSTANTIATE_TEST_SUITE_P(, Comm, ::testing::Bool(), [](const auto& info) {
    return info.param ? std::string("SerialPort") : std::string("Terminal");
});

int OpenPlain(CXComm& port, const CString& name)
{
    return port.Open(name.c_str(), 0, 1, 0, 0, 0, 0, 0, 0);
}

TEST_P(Comm, BytesOfAllValuesGoBothWays)
{
    CLine line;
    CXComm port;
    ASSERT_EQ(OpenPlain(port, line.Name()), 1) << ToNarrow(port.GetError());
    EXPECT_EQ(port.IsOpen(), 1);
    std::string all;
    for (int i = 0; i < 256; ++i) {
        all += char(i);
    }
    EXPECT_EQ(port.Write(all.data(), DWORD(all.size()), kLong), all.size());
    EXPECT_EQ(line.Receive(all.size()), all);
    line.Send(all);
    std::string read(all.size(), '?');
    EXPECT_EQ(port.Read(read.data(), DWORD(read.size()), kLong), read.size());
    EXPECT_EQ(read, all);
    EXPECT_EQ(port.Close(), 1);
    EXPECT_EQ(port.IsOpen(), 0);
    EXPECT_EQ(port.Close(), 0);
}

TEST_P(Comm, SettingsReachThePort)
{
    CLine line;
    CXComm port;
    ASSERT_EQ(port.Open(line.Name().c_str(), 115200, 1, 7, CXComm::PARITY_EVEN, CXComm::STOPBITS_2, 0, 0,
                        CXComm::FLOW_XONXOFF),
              1)
        << ToNarrow(port.GetError());
    termios settings = line.Settings();
    EXPECT_EQ(::cfgetospeed(&settings), speed_t(B115200));
    EXPECT_TRUE(settings.c_cflag & CSTOPB);
    EXPECT_EQ(settings.c_iflag & (IXON | IXOFF), unsigned(IXON | IXOFF));
    EXPECT_FALSE(settings.c_lflag & (ECHO | ICANON));
    ASSERT_EQ(OpenPlain(port, line.Name()), 1) << "an open port is closed and opened anew";
    settings = line.Settings();
    EXPECT_EQ(::cfgetospeed(&settings), speed_t(B9600));
    EXPECT_FALSE(settings.c_cflag & CSTOPB);
    EXPECT_FALSE(settings.c_iflag & (IXON | IXOFF));
}

TEST_P(Comm, ADevicePrefixIsDroppedAndAPseudoTerminalIsTakenByItsOwnName)
{
    CLine line;
    CXComm port;
    EXPECT_EQ(OpenPlain(port, L"\\\\.\\" + line.Name()), 1) << ToNarrow(port.GetError());
    if (!GetParam()) {
        EXPECT_EQ(OpenPlain(port, line.Device()), 1) << ToNarrow(port.GetError());
    }
}

TEST_P(Comm, ReadingEndsWithTheTimeAndGivesWhatCame)
{
    CLine line;
    CXComm port;
    ASSERT_EQ(OpenPlain(port, line.Name()), 1);
    char buffer[8] = {};
    EXPECT_EQ(port.Read(buffer, 8, 0), 0u) << "no waiting at all";
    EXPECT_EQ(port.Read(buffer, 8, 20), 0u);
    line.Send("abc");
    EXPECT_EQ(port.Read(buffer, 1, kLong), 1u); // the rest has come too, then
    EXPECT_EQ(port.Read(buffer + 1, 7, 20), 2u) << "a part counts";
    EXPECT_EQ(std::string(buffer, 3), "abc");
    EXPECT_EQ(port.GetError(), L"") << "a time-out is no error";
    std::thread late([&] { line.Send("late"); });
    EXPECT_EQ(port.Read(buffer, 4, INFINITE), 4u);
    late.join();
}

TEST_P(Comm, WritingToALineThatNobodyReadsEndsWithTheTime)
{
    CLine line;
    CXComm port;
    ASSERT_EQ(OpenPlain(port, line.Name()), 1);
    const std::string much(1 << 20, 'x');
    const DWORD written = port.Write(much.data(), DWORD(much.size()), 100);
    EXPECT_GT(written, 0u);
    EXPECT_LT(written, much.size());
}

TEST_P(Comm, PurgingDropsWhatWaits)
{
    CLine line;
    CXComm port;
    ASSERT_EQ(OpenPlain(port, line.Name()), 1);
    char byte = 0;
    line.Send("first");
    ASSERT_EQ(port.Read(&byte, 1, kLong), 1u); // the rest has come too, then
    EXPECT_EQ(port.Purge(CXComm::PURGE_TXCLEAR), 1);
    ASSERT_EQ(port.Read(&byte, 1, kLong), 1u);
    EXPECT_EQ(byte, 'i') << "the other direction is left alone";
    EXPECT_EQ(port.Purge(CXComm::PURGE_ALL), 1);
    line.Send("2");
    ASSERT_EQ(port.Read(&byte, 1, kLong), 1u);
    EXPECT_EQ(byte, '2');
}

TEST_P(Comm, ALineThatTheOtherSideClosesEndsReadingAndWriting)
{
    CLine line;
    CXComm port;
    ASSERT_EQ(OpenPlain(port, line.Name()), 1);
    line.Close();
    char buffer[4];
    EXPECT_EQ(port.Read(buffer, 4, kLong), 0u);
    EXPECT_NE(port.GetError(), L"");
    EXPECT_EQ(port.Read(buffer, 4, INFINITE), 0u) << "without a limit too";
    EXPECT_EQ(port.Write("x", 1, kLong), 0u);
    EXPECT_EQ(port.Close(), 1);
}

TEST_P(Comm, APortIsHadByOneAtATime)
{
    CLine line;
    CXComm port;
    ASSERT_EQ(OpenPlain(port, line.Name()), 1);
    CXComm other;
    EXPECT_EQ(OpenPlain(other, line.Name()), 0);
    EXPECT_NE(other.GetError().find(L"in use"), CString::npos);
    EXPECT_EQ(port.Write("x", 1, kLong), 1u) << "the one that has it is not disturbed";
    EXPECT_EQ(line.Receive(1), "x");
    port.Close();
    EXPECT_EQ(OpenPlain(other, line.Name()), 1);
    EXPECT_EQ(port.Open(line.Name().c_str(), 0, 0, 0, 0, 0, 0, 0, 0), 1)
        << "who does not ask for it shares it";
}

TEST_P(Comm, WhatCannotBeOpenedSaysWhy)
{
    CLine line;
    const struct {
        const char* what;
        CString port;
        DWORD baud;
        int bits;
        int parity;
        int stopBits;
        int flow;
    } rows[] = {
        {"no port", L"/dev/no-such-port", 9600, 8, 0, 0, 0}, {"no name", L"", 9600, 8, 0, 0, 0},
        {"only the prefix", L"\\\\.\\", 9600, 8, 0, 0, 0},   {"no terminal", L"/dev/null", 9600, 8, 0, 0, 0},
        {"baud", line.Name(), 0xFFFFFFFF, 8, 0, 0, 0},       {"bits", line.Name(), 9600, 9, 0, 0, 0},
        {"parity", line.Name(), 9600, 8, 5, 0, 0},           {"stop bits", line.Name(), 9600, 8, 0, 1, 0},
        {"stop bits", line.Name(), 9600, 8, 0, 3, 0},        {"flow control", line.Name(), 9600, 8, 0, 0, 4},
    };
    CXComm port;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(port.Open(row.port.c_str(), row.baud, 1, BYTE(row.bits), BYTE(row.parity),
                            BYTE(row.stopBits), 0, 0, BYTE(row.flow)),
                  0);
        EXPECT_EQ(port.IsOpen(), 0);
        EXPECT_NE(port.GetError(), L"");
    }
    EXPECT_EQ(port.Open(nullptr, 0, 1, 0, 0, 0, 0, 0, 0), 0);
    char byte = 0;
    EXPECT_EQ(port.Read(&byte, 1, kLong), 0u);
    EXPECT_EQ(port.Write(&byte, 1, kLong), 0u);
    EXPECT_EQ(port.Purge(CXComm::PURGE_ALL), 0);
    EXPECT_EQ(OpenPlain(port, line.Name()), 1) << "after a failure the port opens as ever";
}

} // namespace
} // namespace alidade
