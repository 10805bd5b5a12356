// alidade-driver-check: judges a camera driver plug-in by the driver contract.

#include "DriverCheck.h"

#include "foundation/platform/Text.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>

namespace {

using namespace alidade;

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

/// The result lines on standard output. Each is flushed, so that a driver that crashes leaves them.
class CPrinter {
public:
    void Print(const T_CHECK_RESULT& result)
    {
        static constexpr const char* words[] = {"ok  ", "FAIL", "skip"};
        const auto outcome = static_cast<int>(result.outcome);
        ++m_counts[outcome];
        m_current.clear();
        std::printf("%s %s%s%s\n", words[outcome], result.name.c_str(), result.reason.empty() ? "" : ": ",
                    result.reason.c_str());
        std::fflush(stdout);
    }
    void PrintSummary() const
    {
        std::printf("%d passed, %d failed, %d skipped\n", m_counts[0], m_counts[1], m_counts[2]);
        std::fflush(stdout);
    }
    void Begin(const char* check) { m_current = check; }
    const std::string& GetCurrent() const { return m_current; }
    bool HasFailures() const { return m_counts[1] > 0; }

private:
    int m_counts[3] = {};
    std::string m_current; // the check that runs
};

CPrinter g_printer;

/// An exception that leaves a thread of the driver ends the process: say during which check.
[[noreturn]] void OnTerminate()
{
    const std::string check = g_printer.GetCurrent();
    std::string reason = "the driver ended the process";
    if (const std::exception_ptr escaped = std::current_exception()) {
        reason = "an exception left a thread or the destructor of the driver";
        try {
            std::rethrow_exception(escaped);
        } catch (const std::exception& error) {
            reason += std::string(": ") + error.what();
        } catch (...) {
        }
    }
    g_printer.Print({check.empty() ? "process" : check, eCHECK_OUTCOME::kFail, reason});
    g_printer.PrintSummary();
    std::_Exit(kExitFailed);
}

int Complain(const std::string& text)
{
    std::fprintf(stderr, "alidade-driver-check: %s\n", text.c_str());
    return kExitUsage;
}

void PrintTable()
{
    for (const T_DRIVER_CHECK& check : CDriverCheck::GetTable()) {
        std::printf("%-18s %s\n", check.name, check.description);
    }
}

struct T_ARGUMENTS {
    std::string plugin;
    std::vector<std::string> settings;
    double dDeadline = 10;
    T_CHECK_OPTIONS options;
    bool list = false;
    bool verbose = false;
};

void Describe(CLI::App& app, T_ARGUMENTS& arguments)
{
    app.footer(
        "Prints a line for each check (ok, FAIL or skip, the check, the reason), then the counts. The exit\n"
        "status is 0 when no check failed, 1 when one did, 2 for wrong use. A driver that crashes takes the\n"
        "program with it: the check behind the last line printed is then the one that failed.");
    app.add_option("plugin", arguments.plugin, "plug-in file, or Dummy for the built-in driver");
    app.add_option("settings", arguments.settings, "settings of the driver, each as key=value");
    app.add_option("--deadline", arguments.dDeadline, "seconds for each operation, and for frames to come")
        ->check(CLI::Range(0.1, 3600.0))
        ->capture_default_str();
    app.add_option("--watch", arguments.options.dwWatch, "milliseconds without a frame that count as silence")
        ->check(CLI::Range(10, 60000))
        ->capture_default_str();
    app.add_option("--frames", arguments.options.nFrames, "frames to look at closely")
        ->check(CLI::Range(2, 100000))
        ->capture_default_str();
    app.add_flag("--list", arguments.list, "print the checks and what each asks of a driver");
    app.add_flag("-v,--verbose", arguments.verbose, "announce each check on standard error before it runs");
}

int Check(const T_ARGUMENTS& arguments)
{
    CProfileSection settings;
    for (const std::string& text : arguments.settings) {
        const std::size_t split = text.find('=');
        if (split == 0 || split == text.npos) {
            return Complain("\"" + text + "\" is not of the form key=value");
        }
        settings.SetItemValue(ToWide(text.substr(0, split)).c_str(), ToWide(text.substr(split + 1)).c_str());
    }
    const bool builtIn = arguments.plugin == "Dummy";
    std::error_code failed;
    const std::filesystem::path path = ToPath(ToWide(arguments.plugin));
    if (!builtIn && !std::filesystem::is_regular_file(path, failed)) {
        return Complain("there is no plug-in file \"" + arguments.plugin + "\"");
    }

    CDriverCheck check(builtIn ? CDriverPlugin::BuiltIn() : CDriverPlugin(path), std::move(settings),
                       arguments.options);
    std::set_terminate(OnTerminate);
    check.Run([](const T_CHECK_RESULT& result) { g_printer.Print(result); },
              [&](const T_DRIVER_CHECK& next) {
                  g_printer.Begin(next.name);
                  if (arguments.verbose) {
                      std::fprintf(stderr, "%s ...\n", next.name);
                  }
              });
    g_printer.PrintSummary();
    if (g_printer.HasFailures()) {
        // A thread may still run in the driver; what it uses must not be taken down.
        std::_Exit(kExitFailed);
    }
    return 0;
}

} // namespace

int main(int argc, char* argv[])
{
    T_ARGUMENTS arguments;
    CLI::App app{"Checks a camera driver plug-in against the driver contract."};
    Describe(app, arguments);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return error.get_exit_code() == 0 ? app.exit(error) : Complain(error.what());
    }
    if (arguments.list) {
        PrintTable();
        return 0;
    }
    if (arguments.plugin.empty()) {
        return Complain("name a plug-in file, or Dummy; --help tells more");
    }
    arguments.options.dwDeadline = static_cast<DWORD>(arguments.dDeadline * 1000.0 + 0.5);
    if (arguments.options.dwWatch >= arguments.options.dwDeadline) {
        return Complain("--watch must be shorter than --deadline");
    }
    return Check(arguments);
}
