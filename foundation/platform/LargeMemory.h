#pragma once

#include "foundation/Export.h"

#include <cstddef>

namespace alidade {

/// Memory for large images: aligned to 2 MB, and held in large pages where the system has them, which saves
/// most of the address look-ups of an access that jumps from row to row.
/// @return null when no memory can be had. Give it back by FreeLargeMemory
ALIDADE_FOUNDATION_API void* AllocateLargeMemory(std::size_t bytes);
ALIDADE_FOUNDATION_API void FreeLargeMemory(void* memory);

} // namespace alidade
