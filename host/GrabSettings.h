#pragma once

#include "foundation/config/ProfileSection.h"
#include "host/HostOptions.h"

namespace alidade {

class CSimpleLog;

/// The grabber's settings: its section of the settings file, if one is given, with the --set options over it.
/// @param log  receives what is wrong with the file
/// @return 1, or 0 with `failure` set
int BuildGrabSettings(const T_HOST_OPTIONS& options, CSimpleLog* log, CProfileSection& settings,
                      T_HOST_FAILURE& failure);

/// Refuses a --set key that begins like the driver's own ("Replay.") or the grabber's ("Image.") but is none
/// of them: a slip of the pen. The driver must be known.
int CheckSettingKeys(const T_HOST_OPTIONS& options, T_HOST_FAILURE& failure);

} // namespace alidade
