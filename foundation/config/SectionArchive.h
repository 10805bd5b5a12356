#pragma once

#include "foundation/Export.h"
#include "foundation/config/ProfileSection.h"
#include "foundation/utility/Archive.h"

namespace alidade {

/// Deepest nesting of sections that an archive may hold.
inline constexpr int kMaxArchivedSectionDepth = 1000;

/// Writes a section with all that is in it: a marker, the name, the items' keys and values, the sub-sections.
/// Comments are not stored. A section nested deeper than kMaxArchivedSectionDepth raises CArchiveException.
ALIDADE_FOUNDATION_API void StoreSection(CArchiveU& archive, const CProfileSection& section);

/// Replaces a section by what StoreSection wrote. Without the marker the section is left empty, and nothing
/// behind the marker's four bytes is read. When CArchiveException is raised, the section holds what had been
/// read so far.
ALIDADE_FOUNDATION_API void LoadSection(CArchiveU& archive, CProfileSection& section);

} // namespace alidade
