#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Types.h"

#include <memory>

namespace alidade {

/// A serial port, or a pseudo-terminal that stands for one. Bound to one thread at a time; every wait has its
/// time-out, and ends when the device goes away.
class ALIDADE_FOUNDATION_API CXComm {
public:
    enum ePURGE : DWORD {
        PURGE_TXABORT = 1,
        PURGE_RXABORT = 2,
        PURGE_TXCLEAR = 4,
        PURGE_RXCLEAR = 8,
        PURGE_ALL = 15
    };
    enum ePARITY : BYTE {
        PARITY_NONE = 0,
        PARITY_ODD = 1,
        PARITY_EVEN = 2,
        PARITY_MARK = 3,
        PARITY_SPACE = 4
    };
    enum eSTOPBITS : BYTE { STOPBITS_1 = 0, STOPBITS_1_5 = 1, STOPBITS_2 = 2 };
    enum eFLOW : BYTE { FLOW_NONE = 0, FLOW_RTSCTS = 1, FLOW_XONXOFF = 2, FLOW_DTRDSR = 3 };

    CXComm();
    ~CXComm();
    CXComm(const CXComm&) = delete;
    CXComm& operator=(const CXComm&) = delete;

    /// Opens and sets up a port; an open one is closed first. Zero stands for 9600 baud and 8 bits.
    /// @param port  the system's name, as "COM3" or "/dev/ttyUSB0"; a leading "\\.\" is taken
    /// @param exclusive  non-zero: fails when another has opened the port so
    /// @param stopBits  STOPBITS_1 or STOPBITS_2; 1.5 is refused
    /// @param reserved1, reserved2  0
    /// @return 1, or 0 with the port closed and the reason in GetError
    int Open(const wchar_t* port, DWORD baud, int exclusive, BYTE byteSize, BYTE parity, BYTE stopBits,
             int reserved1, int reserved2, BYTE flowControl);
    int Close();
    int IsOpen() const;
    /// @param timeoutMs  0 takes what there is at once; INFINITE has no limit
    /// @return number of bytes moved; fewer than asked means that the time was over or that the line failed,
    ///         which GetError then tells
    DWORD Read(void* buffer, DWORD size, DWORD timeoutMs);
    DWORD Write(const void* data, DWORD size, DWORD timeoutMs);
    /// Drops what waits in the directions of `flags` (ePURGE). 1 on success.
    int Purge(DWORD flags);
    /// Why the last operation that failed did so; Open clears it.
    const CString& GetError() const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_pImpl;
};

} // namespace alidade
