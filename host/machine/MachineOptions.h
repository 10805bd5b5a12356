#pragma once

#include "host/HostFailure.h"
#include "host/machine/MachineSettings.h"

#include <vector>

namespace alidade {

/// What the command line of alidade-machine asks for, checked.
struct T_MACHINE_OPTIONS {
    T_MACHINE_SETTINGS settings;
    CStringA strBus;              // empty: the program's own
    CString strLog;               // empty: none
    DWORD dwQuitAfter = INFINITE; // ms
};

/// Reads the command line and the settings file that it names.
/// @param text  receives what --help and --version print; nothing is to be run then
/// @return 1, or 0 with `failure` set
int ParseMachineOptions(int argc, const char* const* argv, T_MACHINE_OPTIONS& options, CStringA& text,
                        T_HOST_FAILURE& failure);

/// Every option's name, as "--bus", for the documentation's test.
std::vector<CStringA> GetMachineOptionNames();

} // namespace alidade
