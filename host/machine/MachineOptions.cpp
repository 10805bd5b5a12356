#include "host/machine/MachineOptions.h"

#include "foundation/config/Profile.h"
#include "host/CommandLine.h"

#include <cmath>

namespace alidade {
namespace {

/// The words of the command line, before they are understood.
struct T_WORDS {
    std::string bus;
    std::string config;
    std::vector<std::string> settings;
    std::string seed;
    std::string noise;
    std::string backlash;
    std::string lag;
    std::string cycle;
    double quitAfter = -1;
    std::string log;
};

/// Settings that have an option of their own.
struct T_SHORT_OPTION {
    const char* option;
    const wchar_t* key;
    std::string T_WORDS::*word;
    const char* unit;
    const char* description;
};
constexpr T_SHORT_OPTION kShort[] = {
    {"--seed", L"Seed", &T_WORDS::seed, "N", "Seed of the noise"},
    {"--noise", L"Noise", &T_WORDS::noise, "MM", "Standard deviation of the readings of X, Y and Z"},
    {"--backlash", L"Backlash", &T_WORDS::backlash, "MM", "Lost motion of X, Y and Z when they turn round"},
    {"--lag", L"Lag", &T_WORDS::lag, "MS", "Time constant by which the axes follow their commands"},
    {"--cycle", L"Cycle", &T_WORDS::cycle, "MS", "Time between two positions"},
};

/// An empty word is a variable that a script forgot to set, not a wish for the default.
std::string RefuseEmpty(const std::string& word)
{
    return word.empty() ? "an empty text is no value" : "";
}

void DefineOptions(CLI::App& app, T_WORDS& words)
{
    app.set_version_flag("--version", "alidade-machine " ALIDADE_VERSION);
    app.add_option("--bus", words.bus, "Bus to join: local:NAME, nats://... or tls://...")
        ->type_name("ADDRESS")
        ->check(RefuseEmpty);
    app.add_option("--config", words.config, "Settings file whose section Machine is read")
        ->type_name("FILE")
        ->check(RefuseEmpty);
    app.add_option("--set", words.settings, "A setting of the list below; may be given many times")
        ->type_name("KEY=VALUE")
        ->allow_extra_args(false);
    for (const T_SHORT_OPTION& option : kShort) {
        app.add_option(option.option, words.*option.word, option.description)
            ->type_name(option.unit)
            ->check(RefuseEmpty);
    }
    app.add_option("--quit-after", words.quitAfter, "Stop after this time (until Ctrl-C)")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, 4e6).description(""));
    app.add_option("--log", words.log, "Log file to append to")->type_name("FILE")->check(RefuseEmpty);
}

CStringA DescribeSettings()
{
    CStringA text = "\nSettings (key, default, range, meaning):\n";
    for (const T_MACHINE_SETTING& row : GetMachineSettingTable()) {
        text += Format("  %-22S %-7.10g %.10g to %.10g%s%S  %S\n", row.key, row.defaultValue, row.least,
                       row.most, *row.unit != L'\0' ? " " : "", row.unit, row.description);
    }
    return text;
}

int ReadConfig(const CString& path, T_MACHINE_SETTINGS& settings, T_HOST_FAILURE& failure)
{
    CProfile profile(path.c_str());
    if (!profile.Load()) {
        return Refuse(failure, kExitUsage, L"cannot read the settings file " + path);
    }
    if (profile.GetFirstBadLine() != 0) {
        return Refuse(failure, kExitUsage,
                      Format(L"%s: line %d is no setting", path.c_str(), profile.GetFirstBadLine()));
    }
    const CProfileSection* section = profile.FindSection(L"Machine");
    if (section == nullptr) {
        return Refuse(failure, kExitUsage, path + L" has no section [Machine]");
    }
    CString error;
    return ReadMachineSettings(*section, settings, error) ? 1
                                                          : Refuse(failure, kExitUsage, path + L": " + error);
}

int Understand(const T_WORDS& words, T_MACHINE_OPTIONS& options, T_HOST_FAILURE& failure)
{
    T_MACHINE_OPTIONS read;
    read.strBus = words.bus;
    read.strLog = ToWide(words.log);
    if (std::isnan(words.quitAfter)) { // which lies in every range
        return Refuse(failure, kExitUsage, L"--quit-after takes a number of seconds");
    }
    if (words.quitAfter >= 0) {
        read.dwQuitAfter = static_cast<DWORD>(words.quitAfter * 1000);
    }
    if (!words.config.empty() && !ReadConfig(ToWide(words.config), read.settings, failure)) {
        return 0;
    }
    CString error;
    for (const std::string& setting : words.settings) {
        const std::size_t equals = setting.find('=');
        if (equals == 0 || equals == setting.npos) {
            return Refuse(failure, kExitUsage,
                          L"--set " + ToWide(setting) + L" is not of the form KEY=VALUE");
        }
        if (!SetMachineSetting(read.settings, ToWide(setting.substr(0, equals)),
                               ToWide(setting.substr(equals + 1)), error)) {
            return Refuse(failure, kExitUsage, L"--set: " + error);
        }
    }
    for (const T_SHORT_OPTION& option : kShort) {
        const std::string& word = words.*option.word;
        if (!word.empty() && !SetMachineSetting(read.settings, option.key, ToWide(word), error)) {
            return Refuse(failure, kExitUsage, ToWide(option.option) + L": " + error);
        }
    }
    if (!CheckMachineSettings(read.settings, error)) {
        return Refuse(failure, kExitUsage, error);
    }
    options = read;
    return 1;
}

} // namespace

int ParseMachineOptions(int argc, const char* const* argv, T_MACHINE_OPTIONS& options, CStringA& text,
                        T_HOST_FAILURE& failure)
{
    T_WORDS words;
    CLI::App app("A machine to talk to: publishes its positions and obeys motion commands on the bus.",
                 "alidade-machine");
    DefineOptions(app, words);
    if (const std::optional<int> result = ParseWords(app, argc, argv, DescribeSettings(), text, failure)) {
        return *result;
    }
    return Understand(words, options, failure);
}

std::vector<CStringA> GetMachineOptionNames()
{
    T_WORDS words;
    CLI::App app;
    DefineOptions(app, words);
    return ListOptionNames(app);
}

} // namespace alidade
