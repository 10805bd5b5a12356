#pragma once

#include "acquisition/Export.h"
#include "alidade/driver/FGCamera.h"

#include <vector>

namespace alidade {

/// The creators of camera controls, in the order of their registration, which happens while the library
/// loads. Bound to that; read-only afterwards.
ALIDADE_API std::vector<const IFGCamera::CDYNAMIC_CREATE*>& GetCameraCreators();

} // namespace alidade
