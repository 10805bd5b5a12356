#pragma once

#include "foundation/platform/Types.h"

namespace alidade {

/// @name What a shared block asks of the system's file behind it
/// The handle is the one that the shared memory was opened with.
///@{

/// Takes the block for its writer until the handle is closed, by the writer or by the end of its process.
/// @return false while another handle has it
bool LockBlockFile(std::intptr_t file);
/// True while a writer has the block.
bool IsBlockFileLocked(std::intptr_t file);
/// True when no name leads to it any more.
bool IsBlockFileRemoved(std::intptr_t file);
/// True when it belongs to the user that this process runs as.
bool IsBlockFileOwn(std::intptr_t file);
/// Sizes a new file and reserves the memory for it, zeroed. 0, or the system's error code.
int SizeBlockFile(std::intptr_t file, std::uint64_t size);

///@}

} // namespace alidade
