#pragma once

#include "foundation/platform/Event.h"
#include "tools/cmd/CmdOptions.h"

namespace alidade {

/// Does what the options say; results go to standard output, and what went wrong to standard error.
/// @param stop  ends it early
/// @return the exit status
int RunCmd(const T_CMD_OPTIONS& options, CEvent& stop);

/// As RunCmd, for --watch.
int RunWatch(const T_CMD_OPTIONS& options, CEvent& stop);

/// One line on standard error.
int FailCmd(eCMD_EXIT status, const CString& text);

} // namespace alidade
