#pragma once

#include "RunProgram.h"

#include <map>
#include <set>
#include <sstream>

namespace alidade {

struct T_LINE {
    std::string word; // "ok", "FAIL" or "skip"
    std::string reason;
};

struct T_CHECK_RUN {
    int status;
    std::string output;
    std::map<std::string, T_LINE> lines; // by check
    std::string last;                    // the summary
};

/// Runs alidade-driver-check and takes its lines apart.
inline T_CHECK_RUN RunCheck(const std::vector<std::string>& arguments)
{
    const T_PROGRAM_RUN program = RunProgram(ALIDADE_DRIVER_CHECK, arguments);
    T_CHECK_RUN run{program.status, program.output, {}, ""};
    std::istringstream lines(program.output);
    for (std::string line; std::getline(lines, line); run.last = line) {
        std::istringstream words(line);
        std::string word, name;
        words >> word >> name;
        if (word == "ok" || word == "FAIL" || word == "skip") {
            const std::size_t colon = name.find(':');
            run.lines[name.substr(0, colon)] = {word,
                                                colon == name.npos ? "" : line.substr(line.find(": ") + 2)};
        }
    }
    return run;
}

/// The checks whose lines begin with a word.
inline std::set<std::string> ChecksWith(const T_CHECK_RUN& run, const std::string& word)
{
    std::set<std::string> checks;
    for (const auto& [name, line] : run.lines) {
        if (line.word == word) {
            checks.insert(name);
        }
    }
    return checks;
}

using Names = std::set<std::string>;

} // namespace alidade
