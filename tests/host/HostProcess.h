#pragma once

#include "foundation/platform/Ticks.h"
#include "tests/support/TempFolder.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace alidade {

/// alidade-host as a process of its own, with what it prints kept apart. It never outlives the object. It has
/// no display, a user's settings of its own, and patience with a busy machine unless the test says otherwise.
class CHostProcess {
public:
    /// @param environment  further variables, as "NAME=value"
    explicit CHostProcess(std::vector<std::string> arguments, std::vector<std::string> environment = {})
    {
        if (std::find(arguments.begin(), arguments.end(), "--timeout") == arguments.end()) {
            arguments.insert(arguments.begin(), {"--timeout", "60"});
        }
        arguments.insert(arguments.begin(), ALIDADE_HOST);
        std::vector<char*> argv;
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        environment.push_back("XDG_CONFIG_HOME=" + (m_folder / "config").string());
        const std::string out = (m_folder / "out").string();
        const std::string err = (m_folder / "err").string();
        m_process = ::fork();
        if (m_process < 0) {
            throw std::runtime_error("cannot start a process");
        }
        if (m_process == 0) {
            ::dup2(::open(out.c_str(), O_WRONLY | O_CREAT, 0600), 1);
            ::dup2(::open(err.c_str(), O_WRONLY | O_CREAT, 0600), 2);
            for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
                ::unsetenv(name);
            }
            for (std::string& variable : environment) {
                ::putenv(variable.data());
            }
            ::execv(argv[0], argv.data());
            ::_exit(127);
        }
    }
    ~CHostProcess()
    {
        if (m_process > 0) {
            ::kill(m_process, SIGKILL);
            ::waitpid(m_process, nullptr, 0);
        }
    }
    CHostProcess(const CHostProcess&) = delete;
    CHostProcess& operator=(const CHostProcess&) = delete;

    /// The exit status; -1 when a signal ended it, -2 when it has not ended within three minutes.
    int Wait()
    {
        const CDeadline deadline(180000);
        int status = 0;
        while (::waitpid(m_process, &status, WNOHANG) == 0) {
            if (deadline.IsOver()) {
                return -2;
            }
            Sleep(2);
        }
        m_process = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    void Interrupt() { ::kill(m_process, SIGINT); }

    std::string Output() const { return m_folder.Read("out"); }
    std::string Errors() const { return m_folder.Read("err"); }
    /// True when standard error holds one line, with `text` in it.
    bool HasOneErrorLine(const std::string& text) const
    {
        const std::string errors = Errors();
        return std::count(errors.begin(), errors.end(), '\n') == 1 && errors.back() == '\n' &&
               errors.find("alidade-host: ") == 0 && errors.find(text) != errors.npos;
    }

private:
    CTempFolder m_folder;
    pid_t m_process = 0;
};

/// A folder of one of the drivers that are wrong in some way: loading them all takes a busy machine longer
/// than the time-outs that are waited out.
class CWrongDriver {
public:
    explicit CWrongDriver(const std::string& name)
    {
        const std::string file = "FG." + name + ".zbr.64R.dll";
        std::filesystem::copy_file(std::filesystem::path(ALIDADE_WRONG_DRIVER_DIR) / file, m_folder / file);
    }
    std::string Folder() const { return m_folder.Path().string(); }

private:
    CTempFolder m_folder;
};

/// The names of the files in a folder, sorted.
inline std::vector<std::string> ListNames(const std::filesystem::path& folder)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace alidade
