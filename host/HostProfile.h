#pragma once

#include "foundation/config/Profile.h"

namespace alidade {

/// The settings file that is used when none is named: the user's own.
CString GetDefaultProfilePath();

/// Reads the settings and sees whether they can be kept; a file that is not there yet is an empty one. What
/// is wrong is told in the log, one line each, and nothing else comes of it: the host then goes on with what
/// it has.
void LoadHostProfile(CProfile& profile, CSimpleLog& log);

} // namespace alidade
