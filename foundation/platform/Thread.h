#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Types.h"

namespace alidade {

/// Names the calling thread for debuggers and logs; longer names are cut to 15 bytes where the system
/// allows no more.
ALIDADE_FOUNDATION_API void NameThisThread(const char* name);

/// Number of the calling thread as the system's own tools show it.
ALIDADE_FOUNDATION_API std::uint64_t GetThisThreadNumber();

} // namespace alidade
