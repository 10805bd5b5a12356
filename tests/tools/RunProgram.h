#pragma once

#include <cstdio>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <vector>

namespace alidade {

struct T_PROGRAM_RUN {
    int status = -1;    // exit status; -1 when a signal ended it
    std::string output; // standard output and standard error
};

/// Runs a program to its end. Arguments may hold any characters but a single quote.
inline T_PROGRAM_RUN RunProgram(const std::string& program, const std::vector<std::string>& arguments)
{
    std::string line = "'" + program + "'";
    for (const std::string& argument : arguments) {
        line += " '" + argument + "'";
    }
    std::FILE* pipe = ::popen((line + " 2>&1").c_str(), "r");
    if (pipe == nullptr) {
        throw std::runtime_error("cannot run " + line);
    }
    T_PROGRAM_RUN run;
    char part[4096];
    for (std::size_t size; (size = std::fread(part, 1, sizeof(part), pipe)) > 0;) {
        run.output.append(part, size);
    }
    const int status = ::pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

} // namespace alidade
