#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Types.h"

#include <filesystem>
#include <string_view>

namespace alidade {

/// Replaces a file by `bytes` so that a power cut, a full disk or a crash leaves the old file or the new
/// one: a temporary file beside it is written, flushed to the disk and renamed over it. A link is followed.
/// The old file's mode and, where the process may, its owner are kept; on Windows the new file has the
/// access rights that its folder gives. A device or a pipe has no old content and is written to directly.
/// @param error  receives the reason on failure; may be null
/// @return 1, or 0 with the old file whole and no temporary file left
ALIDADE_FOUNDATION_API int ReplaceFileWith(const std::filesystem::path& path, std::string_view bytes,
                                           CString* error = nullptr);

/// Reads a whole file of at most `most` bytes.
/// @param error  receives the reason on failure; may be null
/// @return 1, or 0 with `bytes` untouched
ALIDADE_FOUNDATION_API int ReadWholeFile(const std::filesystem::path& path, std::string& bytes,
                                         CString* error = nullptr, std::uint64_t most = 1ull << 30);

} // namespace alidade
