#pragma once

#include "foundation/platform/Ticks.h"
#include "foundation/platform/Types.h"

#include <cstring>

namespace alidade {

/// A byte port to a camera's control side, as a driver may offer one. One thread at a time; every wait has
/// its time-out. Results are 1 for success and 0 for failure unless said otherwise.
class IFGComm {
public:
    virtual ~IFGComm() = default;
    virtual int IsOpen() = 0;
    virtual int Open(const wchar_t* /*port*/, DWORD /*baud*/, BYTE /*byteSize*/, BYTE /*parity*/,
                     BYTE /*stopBits*/, BYTE /*flowControl*/)
    {
        return 0;
    }
    virtual int Close() { return 0; }
    /// 1 only if all bytes went.
    virtual int Write(const void* data, DWORD size, DWORD timeoutMs) = 0;
    /// 1 if one byte came.
    virtual int ReadByte(void* byte, DWORD timeoutMs) = 0;
    /// @return number of bytes; with a terminator, as ReadUntil
    virtual int Read(void* buffer, DWORD size, const char* terminator, DWORD timeoutMs) = 0;
    /// @param flags  the sum of 1, 2 (abort writing, reading) and 4, 8 (clear writing, reading)
    virtual int Purge(DWORD flags) = 0;

    /// Reads up to a terminator, which stays in the buffer but does not count. A terminator as the very
    /// first bytes is data. The buffer is terminated by a zero byte, except after a time-out.
    /// @return number of bytes before the terminator; 0 when the time was over, whatever had come
    virtual int ReadUntil(char* buffer, int size, const char* terminator, DWORD timeoutMs)
    {
        if (buffer == nullptr || size < 1) {
            return 0;
        }
        const DWORD start = GetTickCount();
        const int length = terminator != nullptr ? static_cast<int>(std::strlen(terminator)) : 0;
        DWORD elapsed = 0;
        int count = 0;
        while (count < size - 1) {
            if (timeoutMs != INFINITE && elapsed >= timeoutMs) {
                return 0;
            }
            if (!ReadByte(buffer + count, timeoutMs == INFINITE ? INFINITE : timeoutMs - elapsed)) {
                break;
            }
            elapsed = GetTickCount() - start;
            if (length > 0 && count >= length &&
                std::memcmp(buffer + count + 1 - length, terminator, static_cast<std::size_t>(length)) == 0) {
                // The terminator's last byte is in the buffer and does not count.
                buffer[count + 1] = '\0';
                return count;
            }
            ++count;
        }
        buffer[count] = '\0';
        return count;
    }
};

} // namespace alidade
