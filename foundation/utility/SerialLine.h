#pragma once

#include "foundation/platform/Types.h"

#include <memory>

namespace alidade {

/// How a serial line is set up. The codes are those of CXComm.
struct T_SERIAL_SETTINGS {
    DWORD baud = 9600;
    int bits = 8; // 5 to 8
    BYTE parity = 0;
    bool twoStopBits = false;
    BYTE flowControl = 0;
    bool exclusive = true; // fails when another program, or object, that asks for this too has the line
};

/// An open serial line; it is closed with the object. Bound to one thread at a time.
class ISerialLine {
public:
    virtual ~ISerialLine() = default;
    /// Each moves bytes until `size` is reached or the time is over (INFINITE: no limit).
    /// @return number of bytes; fewer with `error` written when the line fails
    virtual DWORD Read(void* buffer, DWORD size, DWORD timeoutMs, CString& error) = 0;
    virtual DWORD Write(const void* data, DWORD size, DWORD timeoutMs, CString& error) = 0;
    virtual bool Purge(bool input, bool output, CString& error) = 0;
};

/// Opens a serial port of the system.
/// @return null, with `error` written, on failure
std::unique_ptr<ISerialLine> OpenSerialPort(const CString& name, const T_SERIAL_SETTINGS& settings,
                                            CString& error);

/// Opens a terminal device that is no serial port, and so has no modem lines: the pseudo-terminals by which
/// simulated devices and servers of remote ports are reached.
/// @return null on failure, with `error` written when `name` is such a device, and untouched otherwise
std::unique_ptr<ISerialLine> OpenTerminal(const CString& name, const T_SERIAL_SETTINGS& settings,
                                          CString& error);

/// Takes an open device for this handle alone, where opening does not do so anyway.
/// @return false, with `error` written, when another has it
bool ClaimDevice(std::intptr_t handle, CString& error);

} // namespace alidade
