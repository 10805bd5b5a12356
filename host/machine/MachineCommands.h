#pragma once

#include <span>

namespace alidade {

/// One line of the description of the machine's commands. A command's lines follow each other; the first
/// names it, with its other names behind commas.
struct T_MACHINE_COMMAND_ROW {
    const char* command; // empty: belongs to the command above
    const char* kind;    // "in", "out", or empty where a command has neither
    const char* name;
    const char* type; // "number" and "whole" take a text too that is one
    const char* range;
    const char* meaning;
};

struct T_MACHINE_COMMAND_GROUP {
    const char* task;
    const char* group;
    std::span<const T_MACHINE_COMMAND_ROW> rows;
};

/// The commands that the machine serves: docs/commands.md has the same rows.
std::span<const T_MACHINE_COMMAND_GROUP> GetMachineCommandGroups();

} // namespace alidade
