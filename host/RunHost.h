#pragma once

#include "foundation/platform/Event.h"
#include "host/HostOptions.h"

namespace alidade {

/// Does what the command line asks for.
/// @param stop   manual reset; ends the job early with what it has
/// @param text   receives what goes to standard output
/// @return 1, or 0 with `failure` set
int RunHost(const T_HOST_OPTIONS& options, CEvent& stop, CStringA& text, T_HOST_FAILURE& failure);

} // namespace alidade
