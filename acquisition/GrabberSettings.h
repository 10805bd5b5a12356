#pragma once

#include "acquisition/Export.h"
#include "alidade/driver/SettingTable.h"

namespace alidade {

/// Rows of the grabber's own settings, by index.
enum eGRABBER_SETTING {
    GRABBER_FLIP_X,
    GRABBER_FLIP_Y,
    GRABBER_ROTATE,
    GRABBER_ROTATE_ARBITRARY,
    GRABBER_ROTATION_ANGLE,
    GRABBER_ROTATE_CLIP,
};

/// What every grabber reads from its section when it is made, whatever its driver.
ALIDADE_API std::span<const T_DRIVER_SETTING> GetGrabberSettingTable();

} // namespace alidade
