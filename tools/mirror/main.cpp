// alidade-mirror: sends shared blocks to other machines through a NATS server, or makes them here.

#include "foundation/bus/data/IPDataReplica.h"
#include "foundation/platform/Interrupt.h"
#include "foundation/platform/Text.h"
#include "foundation/platform/Ticks.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace alidade;

constexpr int kExitUsage = 2;
constexpr DWORD kStatusMs = 250;

struct T_OPTIONS {
    std::vector<std::string> blocks;
    std::string family = "Tavro";
    T_IP_DATA_MIRROR settings;
    double quitAfter = 0.0; // seconds; 0: never
};

/// One end for each block, and a line whenever what it does changes.
template <class End>
int Run(const T_OPTIONS& options)
{
    CInterrupt interrupt;
    std::vector<std::unique_ptr<End>> ends;
    for (const std::string& block : options.blocks) {
        T_IP_DATA_MIRROR settings = options.settings;
        settings.family = ToWide(options.family);
        settings.blockName = block;
        CString text;
        ends.push_back(std::make_unique<End>());
        if (ends.back()->Start(settings, text) == 0) {
            std::fprintf(stderr, "alidade-mirror: %s: %s\n", block.c_str(), ToNarrow(text).c_str());
            return kExitUsage;
        }
    }
    std::vector<CString> said(ends.size());
    const CDeadline end(options.quitAfter > 0.0 ? static_cast<DWORD>(options.quitAfter * 1000.0) : INFINITE);
    do {
        for (std::size_t i = 0; i < ends.size(); ++i) {
            const CString text = ends[i]->GetStatus().text;
            if (text != said[i]) {
                said[i] = text;
                std::printf("%s: %s\n", options.blocks[i].c_str(), ToNarrow(text).c_str());
                std::fflush(stdout);
            }
        }
    } while (!interrupt.GetEvent().Wait(std::min(kStatusMs, end.Remaining())) && !end.IsOver());
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app("Sends shared blocks to other machines through a NATS server, or makes them on this one");
    T_OPTIONS options;
    CLI::App* send = app.add_subcommand("send", "Send blocks of this machine as they change");
    CLI::App* receive =
        app.add_subcommand("receive", "Make blocks of another machine as blocks of the same name here");
    app.require_subcommand(1);
    for (CLI::App* command : {send, receive}) {
        command->add_option("block", options.blocks, "Names of the blocks")->required();
        command
            ->add_option("--nats", options.settings.address,
                         "Server: nats://[user:password@]host[:port][?ca=FILE], or tls://...")
            ->required();
        command->add_option("--family", options.family, "Family of the blocks")->capture_default_str();
        command->add_option("--instance", options.settings.instance, "In place of ALIDADE_INSTANCE");
        command->add_option("--quit-after", options.quitAfter, "End after so many seconds")
            ->check(CLI::Range(0.0, 4e6));
    }
    send->add_option("--rate", options.settings.rate, "Values a second at most; the newest win")
        ->check(CLI::Range(0.1, 1000.0))
        ->capture_default_str();
    receive
        ->add_option("--silence", options.settings.silence,
                     "Take a block down when nothing was heard for so many milliseconds")
        ->check(CLI::Range(100, 600000))
        ->capture_default_str();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : kExitUsage;
    }
    try {
        return send->parsed() ? Run<CIPDataMirror>(options) : Run<CIPDataReplica>(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "alidade-mirror: %s\n", error.what());
        return 1;
    }
}
