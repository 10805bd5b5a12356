#pragma once

#include "foundation/bus/IPClient.h"
#include "foundation/bus/text/CommandText.h"
#include "foundation/platform/Event.h"
#include "host/HostFailure.h"

namespace alidade {

/// One command that the command line asks to be sent.
struct T_EXEC_LINE {
    T_COMMAND_TEXT command;
    CIPVariable parameter;
};

/// Reads "UNIT GROUP NAME key=value ...", images included. False, with one sentence, when it is malformed.
bool ParseExecLine(std::string_view line, T_EXEC_LINE& exec, CString& error);

/// Sends the command and waits for its end.
/// @param json  receives one line without its end: "unit", "group", "name", "ok", "result", and "error" if
/// failed
/// @return 1, or 0 when the command failed
int RunExecLine(CIPClient& client, const T_EXEC_LINE& exec, DWORD timeout, CStringA& json);

/// Runs the commands one after the other, and puts the line of each on standard output when it has ended.
/// @param stop  manual reset; no further command is begun. To end the one that runs, shut the client down
/// @return 1; 0 with `failure` set when any has failed
int RunExecLines(CIPClient& client, const std::vector<T_EXEC_LINE>& lines, CEvent& stop,
                 T_HOST_FAILURE& failure);

} // namespace alidade
