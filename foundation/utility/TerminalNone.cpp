#include "foundation/utility/SerialLine.h"

namespace alidade {

std::unique_ptr<ISerialLine> OpenTerminal(const CString&, const T_SERIAL_SETTINGS&, CString&)
{
    return nullptr;
}

bool ClaimDevice(std::intptr_t, CString&)
{
    return true;
}

} // namespace alidade
