#pragma once

#include "GObject.h"
#include "GenICamSettings.h"

namespace alidade {

/// What the camera will send once the settings are applied.
struct T_CAMERA_GEOMETRY {
    const T_PIXEL_FORMAT* pFormat = nullptr;
    int nWidth = 0;           // px
    int nHeight = 0;          // px
    std::size_t nPayload = 0; // bytes of a stream buffer
    double dFrameRate = 0;    // Hz when the camera runs freely and says so, otherwise 0
};

/// Applies all settings that the camera holds, then reads back what it will send.
/// @param message  on failure names the setting, its value and what the camera allows
bool ApplySettings(ArvCamera* camera, const T_GENICAM_SETTINGS& settings, T_CAMERA_GEOMETRY& geometry,
                   CStringA& message);

} // namespace alidade
