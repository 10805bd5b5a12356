#pragma once

#include "foundation/platform/Types.h"

#include <opencv2/core.hpp>

namespace alidade {

/// What the machine does at one moment, as far as a camera sees it.
struct T_MACHINE_STATE {
    cv::Point2d position;  // stage X and Y, mm: what lies under the laser centre
    double dZ = 0;         // mm
    int nLens = 0;         // 0 to 9
    cv::Point2d slitPulse; // opening of the slit, pulses
    double dSlitAngle = 0; // degrees, from the stage's X towards its Y
    bool bSlitOn = false;
    bool bLaserOn = false;
};

/// One exposure of the camera.
struct T_SCENE_EXPOSURE {
    std::uint64_t nFrame = 0; // counted from opening; dropped frames count
    DWORD dwExposure = 0;     // tick at which the positions were taken
    DWORD dwDelivery = 0;     // tick of the delivered frame; 0 before
    T_MACHINE_STATE state;
};

} // namespace alidade
