#include "host/HostOptions.h"

#include "host/CommandLine.h"

#include <charconv>
#include <cmath>
#include <initializer_list>

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
    std::string bus;
    std::string machine;
    std::string unit;
    bool headless = false;
    double quitAfter = 0;
    std::vector<std::string> exec;
    std::string demo;
    std::string layout;
    std::string size;
    std::string screenshot;
};

/// Options that make the host record, join the bus, or show what it does.
///@{
constexpr std::initializer_list<const char*> kRecording = {"--frames", "--save", "--report", "--buffers"};
constexpr std::initializer_list<const char*> kBus = {"--bus", "--machine", "--exec"};
constexpr std::initializer_list<const char*> kViews = {"--layout", "--size", "--screenshot"};
constexpr std::initializer_list<const char*> kOneView = {"--grabber", "--set", "--section", "--clip",
                                                         "--unit"};
constexpr std::initializer_list<const char*> kService = {
    "--bus", "--machine", "--unit", "--headless", "--quit-after", "--exec", "--demo-stage"};
///@}

constexpr const wchar_t* kDefaultGrabber = L"Scene";
constexpr const char* kDefaultUnit = "Camera1";

/// A range check that adds nothing to the help text.
template <class T>
CLI::Validator Within(T least, T most)
{
    return CLI::Range(least, most).description("");
}

void DefineServiceOptions(CLI::App& app, T_WORDS& words)
{
    app.add_option("--bus", words.bus, "Join other processes: local:NAME or nats://HOST:PORT")
        ->type_name("ADDRESS");
    app.add_option("--machine", words.machine, "Machine to run beside: simulated")
        ->type_name("KIND")
        ->check(CLI::IsMember({"simulated"}).description(""));
    app.add_option("--unit", words.unit, "Unit that answers for the camera on the bus")->type_name("NAME");
    app.add_flag("--headless", words.headless, "The same views, but nobody sees them");
    app.add_option("--quit-after", words.quitAfter,
                   "End after so long (until closed, Ctrl-C, or what was asked for is done)")
        ->type_name("SECONDS")
        ->check(Within(0.0, 1000000.0));
    app.add_option("--exec", words.exec,
                   "Command to send: \"UNIT GROUP NAME key=value ...\"; may be given many times")
        ->type_name("COMMAND")
        ->allow_extra_args(false);
    app.add_option("--demo-stage", words.demo,
                   "Move the stage from stop to stop and write a sheet of pictures")
        ->type_name("FILE");
}

void DefineViewOptions(CLI::App& app, T_WORDS& words)
{
    app.add_option("--layout", words.layout, "Layout file that says which views there are")
        ->type_name("FILE");
    app.add_option("--size", words.size, "Size of the window in pixels (1280x960)")->type_name("WxH");
    app.add_option("--screenshot", words.screenshot,
                   "Picture of the window to write when every view shows a frame: png or jpg")
        ->type_name("FILE");
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
        app.add_option("--profile", words.profile, "Settings file (the user's own; none to record)")
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
    DefineServiceOptions(app, words);
    DefineViewOptions(app, words);
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

/// Two whole numbers with an x between them, 100 to 16384 each.
std::optional<cv::Size> ParseSize(std::string_view text)
{
    constexpr int kLeast = 100;
    constexpr int kMost = 16384;
    cv::Size size;
    const char* const end = text.data() + text.size();
    const auto [x, failed] = std::from_chars(text.data(), end, size.width);
    if (failed != std::errc() || x == end || *x != 'x') {
        return {};
    }
    const auto [stop, failedToo] = std::from_chars(x + 1, end, size.height);
    const auto within = [](int side) { return side >= kLeast && side <= kMost; };
    return failedToo == std::errc() && stop == end && within(size.width) && within(size.height)
               ? std::optional(size)
               : std::nullopt;
}

bool IsPictureName(const std::string& file)
{
    CStringA extension = std::filesystem::path(file).extension().string();
    for (char& c : extension) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return extension == ".png" || extension == ".jpg" || extension == ".jpeg";
}

/// The first of the options that was given; null: none.
const char* FirstGiven(const CLI::App& app, std::initializer_list<const char*> names)
{
    for (const char* name : names) {
        if (app.count(name) != 0) {
            return name;
        }
    }
    return nullptr;
}

/// Refuses all of these beside `with`.
int RefuseBeside(const CLI::App& app, const CString& with, std::initializer_list<const char*> names,
                 T_HOST_FAILURE& failure)
{
    const char* name = FirstGiven(app, names);
    return name == nullptr
               ? 1
               : Refuse(failure, kExitUsage, ToWide(name) + L" does not go with " + with + L" (see --help)");
}

/// Finds out what the host is to do, and refuses what does not go with it.
int ChooseJob(const CLI::App& app, const T_WORDS& words, T_HOST_OPTIONS& options, T_HOST_FAILURE& failure)
{
    if (words.list) {
        options.eJob = eHOST_JOB::LIST;
        return RefuseBeside(app, L"--list-drivers", {"--grabber"}, failure) &&
               RefuseBeside(app, L"--list-drivers", kRecording, failure) &&
               RefuseBeside(app, L"--list-drivers", kService, failure) &&
               RefuseBeside(app, L"--list-drivers", kViews, failure);
    }
    if (const char* recording = FirstGiven(app, kRecording)) {
        options.eJob = eHOST_JOB::RECORD;
        const CString with = ToWide(recording);
        if (words.grabber.empty()) {
            return Refuse(failure, kExitUsage, with + L" needs --grabber NAME (see --help)");
        }
        return RefuseBeside(app, with, kService, failure) && RefuseBeside(app, with, kViews, failure);
    }
    if (!words.demo.empty()) {
        options.eJob = eHOST_JOB::SERVE;
        if (words.machine.empty() || words.grabber.empty() || words.unit.empty()) {
            return Refuse(failure, kExitUsage, L"--demo-stage needs --machine, --grabber and --unit");
        }
        return RefuseBeside(app, L"--demo-stage", kViews, failure);
    }
    const char* bus = FirstGiven(app, kBus);
    if (bus != nullptr && words.layout.empty() && words.grabber.empty()) {
        options.eJob = eHOST_JOB::SERVE;
        const CString with = ToWide(bus) + L" without --grabber or --layout: there is no view";
        return RefuseBeside(app, with, {"--set", "--section", "--clip"}, failure) &&
               RefuseBeside(app, with, kViews, failure);
    }
    return words.layout.empty() || RefuseBeside(app, L"--layout", kOneView, failure);
}

int UnderstandService(const CLI::App& app, const T_WORDS& words, T_HOST_OPTIONS& options,
                      T_HOST_FAILURE& failure)
{
    options.strBus = words.bus;
    options.bMachine = !words.machine.empty();
    options.bHeadless = words.headless;
    if (app.count("--unit") != 0) {
        options.strUnit = words.unit;
    }
    if (app.count("--quit-after") != 0) {
        if (!std::isfinite(words.quitAfter)) {
            return Refuse(failure, kExitUsage, L"--quit-after takes a number of seconds");
        }
        options.dwQuitAfter = static_cast<DWORD>(words.quitAfter * 1000);
    }
    for (const std::string& line : words.exec) {
        CString error;
        if (!ParseExecLine(line, options.exec.emplace_back(), error)) {
            return Refuse(failure, kExitUsage, L"--exec " + ToWide(line) + L": " + error);
        }
    }
    options.strDemo = ToWide(words.demo);
    return 1;
}

/// What views there are, and their window.
int UnderstandViews(const CLI::App& app, const T_WORDS& words, T_HOST_OPTIONS& options,
                    T_HOST_FAILURE& failure)
{
    if (app.count("--size") != 0) {
        const std::optional<cv::Size> size = ParseSize(words.size);
        if (!size) {
            return Refuse(failure, kExitUsage,
                          L"--size " + ToWide(words.size) + L" is not of the form WxH, 100 to 16384 each");
        }
        options.size = *size;
    }
    if (app.count("--screenshot") != 0 && !IsPictureName(words.screenshot)) {
        return Refuse(failure, kExitUsage,
                      L"--screenshot " + ToWide(words.screenshot) + L" is no file name with .png or .jpg");
    }
    options.strScreenshot = ToWide(words.screenshot);
    options.strLayout = ToWide(words.layout);
    if (app.count("--layout") != 0 && words.layout.empty()) {
        return Refuse(failure, kExitUsage, L"--layout needs the name of a file");
    }
    if (options.eJob != eHOST_JOB::WINDOW || !options.strLayout.empty()) {
        return 1;
    }
    if (words.grabber.empty()) {
        options.strGrabber = kDefaultGrabber;
        options.bGrabberGiven = false;
        options.bMachine = true;
    }
    if (!options.strUnit) {
        options.strUnit = words.section.empty() ? kDefaultUnit : words.section;
    }
    return 1;
}

int Understand(const CLI::App& app, const T_WORDS& words, T_HOST_OPTIONS& options, T_HOST_FAILURE& failure)
{
    if (!ChooseJob(app, words, options, failure) || !UnderstandService(app, words, options, failure)) {
        return 0;
    }
    options.strGrabber = ToWide(words.grabber);
    if (!UnderstandViews(app, words, options, failure)) {
        return 0;
    }
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
    CLI::App app("Shows cameras, serves them on the command bus, or records from one to files.",
                 "alidade-host");
    DefineOptions(app, words);
    if (const std::optional<int> result = ParseWords(app, argc, argv, "", text, failure)) {
        return *result;
    }
    return Understand(app, words, options, failure);
}

std::vector<CStringA> GetHostOptionNames()
{
    T_WORDS words;
    CLI::App app;
    DefineOptions(app, words);
    return ListOptionNames(app);
}

} // namespace alidade
