#pragma once

#include "foundation/platform/Types.h"

#include <filesystem>

namespace alidade {

/// Sees that files can be written to a folder, which is made when it is missing, by writing one and removing
/// it.
/// @param error  receives the reason of a failure
int CheckFolder(const std::filesystem::path& folder, CString& error);

/// Sees that a file can be written or replaced. The file itself is not touched.
int CheckFile(const std::filesystem::path& file, CString& error);

} // namespace alidade
