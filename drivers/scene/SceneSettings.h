#pragma once

#include "MachineState.h"
#include "alidade/driver/SettingTable.h"
#include "foundation/config/ProfileSection.h"

#include <array>

namespace alidade {

/// One objective lens as it really is.
struct T_SCENE_LENS {
    double dMmPerPixel = 0.005;
    double dRotation = 0;     // degrees, of the image against the stage, from X towards Y
    bool bMirrorX = false;    // image columns run against the stage's X
    bool bMirrorY = true;     // image rows run against the stage's Y
    cv::Point2d centerOffset; // from the frame's centre to the laser centre, mm in stage axes
    double dDefocus = 0.1;    // standard deviation of the blur, mm for each mm out of focus
    double dFocusZ = 0;       // Z in focus on a surface of height 0, mm
};

/// Height of the work piece's surface over the stage, mm. Positions in stage mm.
struct T_SCENE_SURFACE {
    double dZ = 0;
    double dTiltX = 0, dTiltY = 0; // mm for each m
    double dBumpHeight = 0;        // of a bell-shaped bump
    double dBumpX = 0, dBumpY = 0;
    double dBumpSize = 5; // standard deviation
    double dWaveHeight = 0;
    double dWavePeriod = 10;
};

/// Whether a light is on: as the machine says, or forced.
enum class eSCENE_LIGHT { MACHINE, ON, OFF };

/// The driver's settings, checked.
struct T_SCENE_SETTINGS {
    int nWidth = 1600, nHeight = 1200;
    bool bColor = false;
    double dFrameRate = 25;
    int nDelay = 30; // ms from exposure to delivery
    double dExposure = 10, dGain = 1;
    double dNoise = 0; // grey levels, standard deviation
    double dVignetting = 0;
    int nSeed = 1;

    static constexpr int kLenses = 10;
    std::array<T_SCENE_LENS, kLenses> lenses;
    T_SCENE_SURFACE surface;

    CString strMachine; // family of the machine's shared blocks; empty: the fixed state
    T_MACHINE_STATE fixed;
    eSCENE_LIGHT eSlit = eSCENE_LIGHT::MACHINE;
    eSCENE_LIGHT eLaser = eSCENE_LIGHT::MACHINE;
    double dSlitMmPerPulseX = 0.001, dSlitMmPerPulseY = 0.001;
    double dLaserSize = 0.05; // diameter at 1/e^2, mm

    double dDropProbability = 0;
    int nDropEvery = 0;
    int nUnplugAfter = 0; // frames
    int nUnplugAt = 0;    // ms
    int nUnplugFor = 0;   // ms

    bool bPicture = false; // otherwise a wafer
    CString strPicture;
    double dPictureMmPerPixel = 0.01;
    cv::Point2d workPiece;      // its centre on the stage, mm
    double dWorkPieceAngle = 0; // degrees, from X towards Y
    double dWaferDiameter = 50;
    cv::Size2d diePitch{4, 3};
    double dStreet = 0.2;
    CString strTruthFile;

    /// Factor of brightness that exposure and gain make.
    double GetBrightness() const { return dGain * dExposure / 10.0; }
    cv::Size GetFrameSize() const { return {nWidth, nHeight}; }
};

/// One row per setting: the home of keys, defaults and descriptions.
std::span<const T_DRIVER_SETTING> GetSceneSettingTable();

/// Reads and checks the settings.
/// @param message  receives the reason of a refusal, for the operator
/// @return 1, or 0 with `out` unchanged
int ReadSceneSettings(const CProfileSection& settings, T_SCENE_SETTINGS& out, CString& message);

/// A machine's state with the settings' switches applied to it, and a lens that exists.
T_MACHINE_STATE ApplySwitches(const T_SCENE_SETTINGS& settings, T_MACHINE_STATE state);

} // namespace alidade
