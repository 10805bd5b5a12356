#pragma once

#include "foundation/platform/Text.h"
#include "host/HostFailure.h"

#include <CLI/CLI.hpp>
#include <optional>
#include <vector>

namespace alidade {

/// Takes a command line apart by the options that were defined.
/// @param appendix  printed below the help
/// @return what the caller returns at once: 1 with help or version in `text`, or 0 with `failure`; nothing
/// when
///         the words stand where the options want them
inline std::optional<int> ParseWords(CLI::App& app, int argc, const char* const* argv,
                                     const CStringA& appendix, CStringA& text, T_HOST_FAILURE& failure)
{
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        text = app.help() + appendix;
        return 1;
    } catch (const CLI::CallForVersion& version) {
        text = std::string(version.what()) + "\n";
        return 1;
    } catch (const CLI::ParseError& error) {
        return Refuse(failure, kExitUsage, ToWide(error.what()) + L" (see --help)");
    }
    return std::nullopt;
}

/// "--name" of every option that was defined.
inline std::vector<CStringA> ListOptionNames(const CLI::App& app)
{
    std::vector<CStringA> names;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
    }
    return names;
}

} // namespace alidade
