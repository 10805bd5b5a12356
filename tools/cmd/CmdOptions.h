#pragma once

#include "foundation/platform/Types.h"

#include <string>
#include <utility>
#include <vector>

namespace alidade {

/// How alidade-cmd ends.
enum eCMD_EXIT : int {
    CMD_DONE = 0,
    CMD_FAILED = 1, // the command failed, or a file could not be written
    CMD_WRONG_USE = 2,
    CMD_NOBODY = 3, // no such unit, no bus, no block, or a time-out
};

/// What alidade-cmd is to do.
struct T_CMD_OPTIONS {
    enum class eWHAT { SEND, LIST, WATCH };
    eWHAT what = eWHAT::SEND;

    std::string bus;
    std::string task;
    DWORD timeout = 10000;
    bool abort = false; // with this program
    std::string unit;
    std::string group;
    std::string name;
    std::vector<std::string> values;                        // key=value
    std::vector<std::pair<std::string, std::string>> saved; // child of the result, picture file

    bool json = false;
    std::string block;
    std::string family = "Tavro";
    std::uint64_t count = 0; // lines of a watched block; 0: until Ctrl-C
};

/// Reads the command line and, for the bus, the environment.
/// @param text  what to print: help, or the version; empty when there is something to do
/// @param error  one sentence, on 0
int ParseCmdOptions(int argc, const char* const* argv, T_CMD_OPTIONS& options, std::string& text,
                    CString& error);

} // namespace alidade
