#pragma once

#include "GObject.h"
#include "GenICamSettings.h"

namespace alidade {

/// Sets one feature of the camera from text, or runs a command, with the text checked against the feature's
/// kind, range and access.
/// @param reason  on failure what is wrong, and what the camera allows
bool SetFeature(ArvCamera* camera, const T_FEATURE& feature, CStringA& reason);

/// The choices of an enumeration that can be had now, separated by commas.
CStringA GetEnumEntries(ArvCamera* camera, const char* feature);

} // namespace alidade
