#include "host/HostOptions.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <cmath>

namespace alidade {
namespace {

/// The words of the command line, before they are understood.
struct T_WORDS {
    bool list = false;
    std::string grabber;
    std::vector<std::string> settings;
    std::string profile;
    std::string section;
    std::uint32_t frames = 0;
    std::string save;
    std::string report;
    std::string clip;
    int buffers = 0;
    double timeout = 10;
    std::string drivers;
    std::string log;
};

/// A range check that adds nothing to the help text.
template <class T>
CLI::Validator Within(T least, T most)
{
    return CLI::Range(least, most).description("");
}

void DefineOptions(CLI::App& app, T_WORDS& words)
{
    app.set_version_flag("--version", "alidade-host " ALIDADE_VERSION);
    app.add_flag("--list-drivers", words.list, "List every driver with its settings");
    app.add_option("--grabber", words.grabber, "Driver to take frames from")->type_name("NAME");
    app.add_option("--set", words.settings, "Setting of the grabber; may be given many times")
        ->type_name("KEY=VALUE")
        ->allow_extra_args(false);
    CLI::Option* profile =
        app.add_option("--profile", words.profile, "Settings file to read the grabber's section from")
            ->type_name("FILE");
    app.add_option("--section", words.section, "Unit whose section CameraSettings/NAME is read (Default)")
        ->type_name("NAME")
        ->needs(profile);
    app.add_option("--frames", words.frames, "Number of frames to take; 0: until Ctrl-C (0)")
        ->type_name("N")
        ->check(Within(0, 1000000000));
    app.add_option("--save", words.save, "Files to write, as \"out/%04d.png\"; numbers begin with 1")
        ->type_name("PATTERN");
    app.add_option("--report", words.report, "JSON report to write")->type_name("FILE");
    app.add_option("--clip", words.clip, "Part of the driver's picture to take, in pixels")
        ->type_name("X,Y,W,H");
    app.add_option("--buffers", words.buffers, "Frames that may wait to be written (by their size)")
        ->type_name("N")
        ->check(Within(1, 10000));
    app.add_option("--timeout", words.timeout, "Give up when the driver does nothing for so long (10)")
        ->type_name("SECONDS")
        ->check(Within(0.1, 86400.0));
    app.add_option("--drivers", words.drivers, "Further folder of driver plug-ins")->type_name("FOLDER");
    app.add_option("--log", words.log, "Log file to append to")->type_name("FILE");
}

/// Four numbers with commas between them: x and y not negative, width and height above 0.
std::optional<cv::Rect> ParseClip(std::string_view text)
{
    constexpr int kMost = 1 << 24;
    int values[4] = {};
    const char* at = text.data();
    const char* end = at + text.size();
    for (int i = 0; i < 4; ++i) {
        if (i > 0 && (at == end || *at++ != ',')) {
            return {};
        }
        const auto [stop, error] = std::from_chars(at, end, values[i]);
        if (error != std::errc() || values[i] < (i < 2 ? 0 : 1) || values[i] > kMost) {
            return {};
        }
        at = stop;
    }
    return at == end ? std::optional(cv::Rect(values[0], values[1], values[2], values[3])) : std::nullopt;
}

int Understand(const T_WORDS& words, T_HOST_OPTIONS& options, T_HOST_FAILURE& failure)
{
    if (words.list == !words.grabber.empty()) {
        return Refuse(failure, kExitUsage, L"give either --list-drivers or --grabber NAME (see --help)");
    }
    options.bListDrivers = words.list;
    options.strGrabber = ToWide(words.grabber);
    for (const std::string& setting : words.settings) {
        const std::size_t equals = setting.find('=');
        if (equals == 0 || equals == setting.npos) {
            return Refuse(failure, kExitUsage,
                          L"--set " + ToWide(setting) + L" is not of the form KEY=VALUE");
        }
        options.settings.emplace_back(ToWide(setting.substr(0, equals)), ToWide(setting.substr(equals + 1)));
    }
    options.strProfile = ToWide(words.profile);
    options.strSection = ToWide(words.section);
    options.nFrames = words.frames;
    if (!words.save.empty()) {
        CString error;
        options.save.emplace();
        if (!options.save->Parse(ToWide(words.save), error)) {
            return Refuse(failure, kExitUsage, L"--save " + ToWide(words.save) + L": " + error);
        }
    }
    options.strReport = ToWide(words.report);
    if (!words.clip.empty()) {
        options.clip = ParseClip(words.clip);
        if (!options.clip) {
            return Refuse(failure, kExitUsage,
                          L"--clip " + ToWide(words.clip) + L" is not of the form X,Y,W,H");
        }
    }
    if (!std::isfinite(words.timeout)) {
        return Refuse(failure, kExitUsage, L"--timeout takes a number of seconds");
    }
    options.nBuffers = words.buffers;
    options.dwTimeout = static_cast<DWORD>(words.timeout * 1000);
    options.strDrivers = ToWide(words.drivers);
    options.strLog = ToWide(words.log);
    return 1;
}

} // namespace

int ParseHostOptions(int argc, const char* const* argv, T_HOST_OPTIONS& options, CStringA& text,
                     T_HOST_FAILURE& failure)
{
    T_WORDS words;
    CLI::App app("Takes frames from a camera driver: writes them as files and reports on the stream.",
                 "alidade-host");
    DefineOptions(app, words);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        text = app.help();
        return 1;
    } catch (const CLI::CallForVersion& version) {
        text = std::string(version.what()) + "\n";
        return 1;
    } catch (const CLI::ParseError& error) {
        return Refuse(failure, kExitUsage, ToWide(error.what()) + L" (see --help)");
    }
    return Understand(words, options, failure);
}

std::vector<CStringA> GetHostOptionNames()
{
    T_WORDS words;
    CLI::App app;
    DefineOptions(app, words);
    std::vector<CStringA> names;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
    }
    return names;
}

} // namespace alidade
