#include "foundation/utility/Comm.h"

#include "foundation/platform/Text.h"
#include "foundation/utility/SerialLine.h"

#include <climits>

namespace alidade {

struct CXComm::Impl {
    std::unique_ptr<ISerialLine> line;
    CString error;

    int Fail(CString reason)
    {
        error = std::move(reason);
        return 0;
    }
};

CXComm::CXComm() : m_pImpl(std::make_unique<Impl>())
{
}

CXComm::~CXComm() = default;

int CXComm::Open(const wchar_t* port, DWORD baud, int exclusive, BYTE byteSize, BYTE parity, BYTE stopBits,
                 int, int, BYTE flowControl)
{
    Impl& impl = *m_pImpl;
    Close();
    impl.error.clear();
    CString name = port != nullptr ? port : L"";
    if (name.starts_with(L"\\\\.\\")) {
        name.erase(0, 4);
    }
    T_SERIAL_SETTINGS settings;
    settings.baud = baud == 0 ? settings.baud : baud;
    settings.bits = byteSize == 0 ? settings.bits : byteSize;
    settings.parity = parity;
    settings.twoStopBits = stopBits == STOPBITS_2;
    settings.flowControl = flowControl;
    settings.exclusive = exclusive != 0;
    if (name.empty()) {
        return impl.Fail(L"no port is named");
    }
    if (settings.baud > INT_MAX) {
        return impl.Fail(Format(L"a baud rate of %u is too high", baud));
    }
    if (settings.bits < 5 || settings.bits > 8) {
        return impl.Fail(Format(L"%d bits a byte is not within 5 to 8", settings.bits));
    }
    if (parity > PARITY_SPACE) {
        return impl.Fail(Format(L"parity %d is none of 0 to 4", parity));
    }
    if (stopBits != STOPBITS_1 && stopBits != STOPBITS_2) {
        return impl.Fail(Format(L"stop bits %d is neither 0 (one) nor 2 (two)", stopBits));
    }
    if (flowControl > FLOW_DTRDSR) {
        return impl.Fail(Format(L"flow control %d is none of 0 to 3", flowControl));
    }
    CString error;
    impl.line = OpenSerialPort(name, settings, error);
    if (impl.line == nullptr) {
        impl.line = OpenTerminal(name, settings, error);
    }
    return impl.line != nullptr ? 1 : impl.Fail(name + L": " + error);
}

int CXComm::Close()
{
    const bool wasOpen = m_pImpl->line != nullptr;
    m_pImpl->line.reset();
    return wasOpen ? 1 : 0;
}

int CXComm::IsOpen() const
{
    return m_pImpl->line != nullptr ? 1 : 0;
}

DWORD CXComm::Read(void* buffer, DWORD size, DWORD timeoutMs)
{
    Impl& impl = *m_pImpl;
    return impl.line != nullptr && buffer != nullptr && size > 0
               ? impl.line->Read(buffer, size, timeoutMs, impl.error)
               : 0;
}

DWORD CXComm::Write(const void* data, DWORD size, DWORD timeoutMs)
{
    Impl& impl = *m_pImpl;
    return impl.line != nullptr && data != nullptr && size > 0
               ? impl.line->Write(data, size, timeoutMs, impl.error)
               : 0;
}

int CXComm::Purge(DWORD flags)
{
    Impl& impl = *m_pImpl;
    const bool input = (flags & (PURGE_RXABORT | PURGE_RXCLEAR)) != 0;
    const bool output = (flags & (PURGE_TXABORT | PURGE_TXCLEAR)) != 0;
    if (impl.line == nullptr) {
        return 0;
    }
    return (!input && !output) || impl.line->Purge(input, output, impl.error) ? 1 : 0;
}

const CString& CXComm::GetError() const
{
    return m_pImpl->error;
}

} // namespace alidade
