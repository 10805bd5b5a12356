#pragma once

#include "acquisition/Export.h"
#include "alidade/driver/FGComm.h"
#include "foundation/utility/Comm.h"

namespace alidade {

/// A camera's control port over a serial port of this machine.
class ALIDADE_API CFGComm : public IFGComm {
public:
    ~CFGComm() override;
    int IsOpen() override;
    int Open(const wchar_t* port, DWORD baud, BYTE byteSize, BYTE parity, BYTE stopBits,
             BYTE flowControl) override;
    int Close() override;
    int Write(const void* data, DWORD size, DWORD timeoutMs) override;
    int ReadByte(void* byte, DWORD timeoutMs) override;
    int Read(void* buffer, DWORD size, const char* terminator, DWORD timeoutMs) override;
    int Purge(DWORD flags) override;

private:
    CXComm m_comm;
};

} // namespace alidade
