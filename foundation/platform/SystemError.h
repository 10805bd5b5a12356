#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Types.h"

namespace alidade {

/// The system's text for one of its own error codes: errno, or GetLastError on Windows.
ALIDADE_FOUNDATION_API CString SystemErrorText(int code);

} // namespace alidade
