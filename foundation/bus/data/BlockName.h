#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Types.h"

#include <string_view>

namespace alidade {

/// A name as a part of a map name or of a message subject: letters, digits and "_" stay, any other byte
/// becomes %XX. A long name is cut and ends in "~" and its hash.
ALIDADE_FOUNDATION_API CStringA EncodeNamePart(std::string_view name);

/// "alidade-INSTANCE-FAMILY-BLOCK". Different names give different map names.
ALIDADE_FOUNDATION_API CStringA MakeBlockMapName(std::string_view instance, std::wstring_view family,
                                                 std::string_view blockName);

/// The environment variable ALIDADE_INSTANCE, or nothing.
ALIDADE_FOUNDATION_API CStringA GetBlockInstance();

} // namespace alidade
