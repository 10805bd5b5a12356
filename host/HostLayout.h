#pragma once

#include "foundation/config/Profile.h"
#include "host/HostLog.h"
#include "host/HostOptions.h"
#include "layout/CameraLayoutItem.h"

namespace alidade {

/// What the window shows: the layout of the options' file, or one view with the settings that the profile and
/// --set give its grabber.
/// @return 1, or 0 with `failure` set
int MakeHostLayout(const T_HOST_OPTIONS& options, const CProfile& profile, CHostLog& log,
                   CCameraLayoutItem& layout, T_HOST_FAILURE& failure);

/// Puts what is known of the simulated machine and its cameras into the profile, in memory only, where the
/// profile has nothing: the stage of every view, and the calibration of those that look at the simulated
/// scene.
void FillSimulatedSettings(const T_HOST_OPTIONS& options, const CCameraLayoutItem& layout, CProfile& profile);

} // namespace alidade
