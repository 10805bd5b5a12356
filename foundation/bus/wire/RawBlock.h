#pragma once

#include <cstddef>
#include <memory>

namespace alidade {

/// Memory for the block of a raw node, not initialised; large blocks lie in large pages.
/// @param size  bytes, above 0
/// @throws std::bad_alloc
std::shared_ptr<void> AllocateRawBlock(std::size_t size);

} // namespace alidade
