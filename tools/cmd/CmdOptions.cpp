#include "tools/cmd/CmdOptions.h"

#include "foundation/bus/transport/Transport.h"
#include "foundation/platform/Text.h"

#include <CLI/CLI.hpp>
#include <cstdlib>

namespace alidade {
namespace {

struct T_WORDS {
    std::int64_t timeout = 10000;
    std::vector<std::string> saved;
    std::vector<std::string> words;
    bool list = false;
};

void Define(CLI::App& app, T_CMD_OPTIONS& options, T_WORDS& words)
{
    app.set_version_flag("--version", "alidade-cmd " ALIDADE_VERSION);
    app.add_option("--bus", options.bus, "Bus to join: local:NAME, nats://HOST:PORT or tls://HOST:PORT")
        ->type_name("ADDRESS")
        ->envname("ALIDADE_BUS");
    app.add_option("--task", options.task, "Task that the unit belongs to (any)")->type_name("NAME");
    app.add_option("--timeout", words.timeout, "Give up waiting after so long; -1: never (10000)")
        ->type_name("MS")
        ->check(CLI::Range(std::int64_t{-1}, std::int64_t{INFINITE} - 1).description(""));
    app.add_flag("--abort", options.abort, "Abort the command when this program gives up or ends");
    app.add_option("--save", words.saved,
                   "Write an image of the result to a picture file; may be given many times")
        ->type_name("NAME=FILE")
        ->allow_extra_args(false);
    app.add_option("--watch", options.block, "Print a shared block as it changes, one JSON line each")
        ->type_name("BLOCK");
    app.add_option("--family", options.family, "Family that the block belongs to (Tavro)")->type_name("NAME");
    app.add_option("--count", options.count, "End after so many lines of the block")->type_name("N");
    app.add_flag("--list", words.list, "List the units and commands on the bus");
    app.add_flag("--json", options.json, "List as JSON");
    app.add_option("command", words.words, "UNIT GROUP NAME key=value ...; UNIT may be \"\"")->type_name("");
}

int Refuse(CString& error, const CString& text)
{
    error = text;
    return 0;
}

int Understand(const CLI::App& app, const T_WORDS& words, T_CMD_OPTIONS& options, CString& error)
{
    const bool watch = app.count("--watch") > 0;
    if (words.list + watch + !words.words.empty() != 1) {
        return Refuse(error, L"give one of UNIT GROUP NAME, --list and --watch BLOCK (see --help)");
    }
    if (watch) {
        options.what = T_CMD_OPTIONS::eWHAT::WATCH;
        return !options.block.empty() ? 1 : Refuse(error, L"--watch wants the name of a block");
    }
    if (options.bus.empty()) {
        return Refuse(error, L"give --bus ADDRESS, or set ALIDADE_BUS");
    }
    if (!CheckBusAddress(options.bus.c_str(), error)) {
        return 0;
    }
    if (words.list) {
        options.what = T_CMD_OPTIONS::eWHAT::LIST;
        return 1;
    }
    if (words.words.size() < 3 || words.words[1].empty() || words.words[2].empty()) {
        return Refuse(error, L"a command is UNIT GROUP NAME, of which only UNIT may be empty (see --help)");
    }
    options.timeout = words.timeout < 0 ? INFINITE : static_cast<DWORD>(words.timeout);
    options.unit = words.words[0];
    options.group = words.words[1];
    options.name = words.words[2];
    options.values.assign(words.words.begin() + 3, words.words.end());
    for (const std::string& saved : words.saved) {
        const std::size_t equals = saved.find('=');
        if (equals == 0 || equals == saved.npos || equals + 1 == saved.size()) {
            return Refuse(error, L"--save " + ToWide(saved) + L" is not of the form NAME=FILE");
        }
        options.saved.emplace_back(saved.substr(0, equals), saved.substr(equals + 1));
    }
    return 1;
}

} // namespace

int ParseCmdOptions(int argc, const char* const* argv, T_CMD_OPTIONS& options, std::string& text,
                    CString& error)
{
    CLI::App app(
        "Sends a command over the bus and prints its result as JSON; lists units; watches shared data",
        "alidade-cmd");
    T_WORDS words;
    Define(app, options, words);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        text = app.help();
        return 1;
    } catch (const CLI::CallForVersion& version) {
        text = std::string(version.what()) + "\n";
        return 1;
    } catch (const CLI::ParseError& failure) {
        return Refuse(error, ToWide(failure.what()));
    }
    return Understand(app, words, options, error);
}

} // namespace alidade
