#include "acquisition/FGComm.h"

#include <algorithm>
#include <climits>

namespace alidade {

CFGComm::~CFGComm()
{
    m_comm.Close();
}

int CFGComm::IsOpen()
{
    return m_comm.IsOpen();
}

int CFGComm::Open(const wchar_t* port, DWORD baud, BYTE byteSize, BYTE parity, BYTE stopBits,
                  BYTE flowControl)
{
    if (!m_comm.Open(port, baud, 1, byteSize, parity, stopBits, 0, 0, flowControl)) {
        return 0;
    }
    Purge(CXComm::PURGE_ALL);
    return 1;
}

int CFGComm::Close()
{
    return m_comm.Close();
}

int CFGComm::Write(const void* data, DWORD size, DWORD timeoutMs)
{
    return m_comm.Write(data, size, timeoutMs) == size;
}

int CFGComm::ReadByte(void* byte, DWORD timeoutMs)
{
    return IsOpen() && m_comm.Read(byte, 1, timeoutMs) == 1;
}

int CFGComm::Read(void* buffer, DWORD size, const char* terminator, DWORD timeoutMs)
{
    if (!IsOpen()) {
        return 0;
    }
    if (terminator != nullptr && *terminator != '\0') {
        return ReadUntil(static_cast<char*>(buffer), static_cast<int>(std::min<DWORD>(size, INT_MAX)),
                         terminator, timeoutMs);
    }
    return static_cast<int>(m_comm.Read(buffer, size, timeoutMs));
}

int CFGComm::Purge(DWORD flags)
{
    return IsOpen() ? m_comm.Purge(flags) : 0;
}

} // namespace alidade
