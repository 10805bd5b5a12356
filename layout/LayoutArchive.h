#pragma once

#include "acquisition/Export.h"
#include "foundation/utility/Archive.h"
#include "layout/CameraLayoutItem.h"

namespace alidade {

/// What one layout file may hold at most. A layout takes some kilobytes; the bounds keep a file that was made
/// to do harm from taking the machine's memory. Settings are counted with their sections.
inline constexpr std::size_t kMaxLayoutBytes = 32u << 20;
inline constexpr int kMaxLayoutNodes = 1 << 18;
inline constexpr std::uint64_t kMaxLayoutSettings = 1u << 20;

enum eLAYOUT_FILE {
    LAYOUT_FILE_READ = 0,
    LAYOUT_FILE_FOREIGN = 1,       // does not begin as a layout file
    LAYOUT_FILE_OTHER_VERSION = 2, // begins as one, but of a version that is not known
};

/// What was seen while a file was read.
struct T_LAYOUT_FILE_REPORT {
    int fileVersion = 0;
    int nodes = 0;
    int cameras = 0;
    int depth = 0;    // 1: the root alone
    int oldNodes = 0; // of the older generation
    /// The first thing that was read over although it is not as it should be; empty when all is in order.
    CStringA oddity;
};

/// Reads the bytes of a layout file into a node. See CCameraLayoutItem::Load for what stays unchanged when.
/// Nodes of both generations are read. A node of an unknown version is left as it is and nothing behind its
/// version is taken for it, so what follows is read as the next node. Settings of the older generation join
/// those that the node has. Reentrant.
/// @param report  may be null
/// @throws CArchiveException when the bytes end too early or exceed the bounds above
ALIDADE_API eLAYOUT_FILE LoadLayout(CArchiveU& archive, CCameraLayoutItem& item,
                                    T_LAYOUT_FILE_REPORT* report = nullptr);

/// Writes a layout file, always of the newer generation. Each list of children is walked under its lock.
/// @throws CArchiveException when the layout exceeds the bounds above
ALIDADE_API void StoreLayout(CArchiveU& archive, const CCameraLayoutItem& item);

} // namespace alidade
