#pragma once

#include "foundation/platform/Types.h"

#include <vector>

namespace alidade {

/// The names of the drivers that are loaded, sorted.
std::vector<CString> GetDriverNames();

/// Every driver with its settings: key, description and the values offered.
CStringA FormatDriverList();

} // namespace alidade
