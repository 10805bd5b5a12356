#pragma once

#include "foundation/config/ProfileSection.h"

namespace alidade {

/// The section StageSettings/UNIT by which a view reads and moves the simulated machine.
void WriteMachineStageSettings(CProfileSection& section);

/// Puts what is true of a simulated camera into a view's section: for each lens the transform from image to
/// stage and the laser centre, but nothing that the section has already. Nothing is put for settings that the
/// driver refuses, or by which the grabber turns, mirrors or crops the picture.
/// @param grabber  settings of the driver "Scene"
/// @param clipped  the grabber cuts a part out
/// @param camera   the section CameraSettings/UNIT
void FillSceneCalibration(const CProfileSection& grabber, bool clipped, CProfileSection& camera);

} // namespace alidade
