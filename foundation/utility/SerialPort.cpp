#include "foundation/platform/Text.h"
#include "foundation/utility/Comm.h"
#include "foundation/utility/SerialLine.h"

#include <algorithm>
#include <chrono>
#include <libserialport.h>

namespace alidade {
namespace {

using Clock = std::chrono::steady_clock;

constexpr sp_parity kParities[] = {SP_PARITY_NONE, SP_PARITY_ODD, SP_PARITY_EVEN, SP_PARITY_MARK,
                                   SP_PARITY_SPACE};
constexpr sp_flowcontrol kFlows[] = {SP_FLOWCONTROL_NONE, SP_FLOWCONTROL_RTSCTS, SP_FLOWCONTROL_XONXOFF,
                                     SP_FLOWCONTROL_DTRDSR};

CString TextOf(sp_return result)
{
    if (result == SP_ERR_ARG) {
        return L"no such port, or a setting that it does not have";
    }
    if (result == SP_ERR_SUPP) {
        return L"not supported by the port";
    }
    if (result == SP_ERR_MEM) {
        return L"no memory";
    }
    char* message = sp_last_error_message();
    CString text = ToWide(message != nullptr ? message : "");
    sp_free_error_message(message);
    return text;
}

/// The library takes the names that /sys/class/tty lists. A link to a port, as in /dev/serial/by-id, is found
/// when its way leads past that folder.
sp_return FindPort(const CStringA& name, sp_port** port)
{
    const sp_return result = sp_get_port_by_name(name.c_str(), port);
    return result != SP_ERR_ARG || !name.starts_with('/')
               ? result
               : sp_get_port_by_name(("/dev/../../.." + name).c_str(), port);
}

class CSerialPort final : public ISerialLine {
public:
    ~CSerialPort() override
    {
        if (m_open) {
            sp_close(m_pPort);
        }
        sp_free_port(m_pPort);
    }

    bool Open(const CString& name, const T_SERIAL_SETTINGS& settings, CString& error)
    {
        sp_return result = FindPort(ToNarrow(name), &m_pPort);
        if (result == SP_OK) {
            result = sp_open(m_pPort, SP_MODE_READ_WRITE);
            m_open = result == SP_OK;
        }
        std::intptr_t handle = 0;
        if (m_open && settings.exclusive && sp_get_port_handle(m_pPort, &handle) == SP_OK &&
            !ClaimDevice(handle, error)) {
            return false;
        }
        if (m_open) {
            result = Configure(settings);
        }
        if (result != SP_OK) {
            error = TextOf(result);
        }
        return result == SP_OK;
    }

    /// Reads in short waits: the library does not tell a line that was hung up from a silent one, and would
    /// go on as long as it is let.
    DWORD Read(void* buffer, DWORD size, DWORD timeoutMs, CString& error) override
    {
        const Clock::time_point start = Clock::now();
        DWORD done = 0;
        for (;;) {
            const auto elapsed =
                std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
            const bool isOver = timeoutMs != INFINITE && elapsed >= timeoutMs;
            const auto left = timeoutMs == INFINITE ? kShortWait : std::min(kShortWait, timeoutMs - elapsed);
            char* at = static_cast<char*>(buffer) + done;
            const sp_return moved =
                isOver ? sp_nonblocking_read(m_pPort, at, size - done)
                       : sp_blocking_read(m_pPort, at, size - done, static_cast<unsigned>(left));
            const sp_return state = moved == 0 ? sp_input_waiting(m_pPort) : moved;
            if (state < 0) {
                error = TextOf(state);
                return done;
            }
            done += static_cast<DWORD>(moved);
            if (isOver || done >= size) {
                return done;
            }
        }
    }

    DWORD Write(const void* data, DWORD size, DWORD timeoutMs, CString& error) override
    {
        // The library takes a time-out of 0 as no limit.
        return Count(timeoutMs == 0
                         ? sp_nonblocking_write(m_pPort, data, size)
                         : sp_blocking_write(m_pPort, data, size, timeoutMs == INFINITE ? 0 : timeoutMs),
                     error);
    }

    bool Purge(bool input, bool output, CString& error) override
    {
        const sp_return result = sp_flush(m_pPort, input && output ? SP_BUF_BOTH
                                                   : input         ? SP_BUF_INPUT
                                                                   : SP_BUF_OUTPUT);
        Count(result, error);
        return result == SP_OK;
    }

private:
    sp_return Configure(const T_SERIAL_SETTINGS& settings)
    {
        sp_port_config* made = nullptr;
        if (const sp_return failed = sp_new_config(&made); failed != SP_OK) {
            return failed;
        }
        const std::unique_ptr<sp_port_config, void (*)(sp_port_config*)> config(made, sp_free_config);
        sp_set_config_baudrate(made, static_cast<int>(settings.baud));
        sp_set_config_bits(made, settings.bits);
        sp_set_config_parity(made, kParities[settings.parity]);
        sp_set_config_stopbits(made, settings.twoStopBits ? 2 : 1);
        sp_set_config_flowcontrol(made, kFlows[settings.flowControl]);
        return sp_set_config(m_pPort, made);
    }

    static DWORD Count(sp_return result, CString& error)
    {
        if (result < 0) {
            error = TextOf(result);
            return 0;
        }
        return static_cast<DWORD>(result);
    }

    static constexpr std::int64_t kShortWait = 50; // ms

    sp_port* m_pPort = nullptr;
    bool m_open = false;
};

} // namespace

std::unique_ptr<ISerialLine> OpenSerialPort(const CString& name, const T_SERIAL_SETTINGS& settings,
                                            CString& error)
{
    auto port = std::make_unique<CSerialPort>();
    return port->Open(name, settings, error) ? std::move(port) : nullptr;
}

} // namespace alidade
