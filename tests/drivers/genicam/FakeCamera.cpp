#include "FakeCamera.h"

#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace alidade {
namespace {

constexpr const char* kProgram = "/usr/bin/arv-fake-gv-camera-0.8";
constexpr const char* kKeeper = "/usr/bin/setpriv"; // becomes the program, which then ends with this process
constexpr std::uint16_t kControlPort = 3956;

/// Tries until the condition holds; false after a minute.
template <class Condition>
bool TryUntil(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        ::poll(nullptr, 0, 10);
    }
    return true;
}

} // namespace

bool CFakeCamera::IsInstalled()
{
    return ::access(kProgram, X_OK) == 0;
}

CFakeCamera::CFakeCamera(std::vector<std::string> arguments) : m_arguments(std::move(arguments))
{
    const auto path = std::filesystem::temp_directory_path() / "alidade-fake-camera.lock";
    m_lockFile = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (m_lockFile >= 0) {
        ::flock(m_lockFile, LOCK_EX);
    }
    if (ReadRegister(kWidth, 1)) {
        throw std::runtime_error("another camera answers at 127.0.0.1 already");
    }
    Start();
}

CFakeCamera::~CFakeCamera()
{
    Kill();
    if (m_lockFile >= 0) {
        ::close(m_lockFile);
    }
}

void CFakeCamera::Start()
{
    std::vector<std::string> words{kProgram, "-i", kAddress, "-s", "ALIDADE01"};
    if (::access(kKeeper, X_OK) == 0) {
        words.insert(words.begin(), {kKeeper, "--pdeathsig", "KILL"});
    }
    words.insert(words.end(), m_arguments.begin(), m_arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    if (::posix_spawn(&m_process, argv.front(), nullptr, nullptr, argv.data(), environ) != 0) {
        m_process = 0;
        throw std::runtime_error("the simulated camera cannot be started");
    }
    if (!TryUntil([] { return ReadRegister(kWidth, 1).has_value(); })) {
        Kill();
        throw std::runtime_error("the simulated camera does not answer");
    }
}

void CFakeCamera::Kill()
{
    if (m_process > 0) {
        ::kill(m_process, SIGKILL);
        ::waitpid(m_process, nullptr, 0);
        m_process = 0;
    }
}

std::optional<DWORD> CFakeCamera::ReadRegister(DWORD address, int questions)
{
    std::optional<DWORD> answer;
    while (!answer && questions-- > 0) {
        answer = Ask(address);
    }
    return answer;
}

std::optional<DWORD> CFakeCamera::Ask(DWORD address)
{
    constexpr int kAnswerWait = 200; // ms
    const int udp = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(kControlPort);
    ::inet_pton(AF_INET, kAddress, &to.sin_addr);
    // Key and "answer me", command READREG, 4 bytes, request number 1, the register.
    const std::uint16_t head[] = {htons(0x4201), htons(0x0080), htons(4), htons(1)};
    const std::uint32_t wanted = htonl(address);
    char request[12];
    std::memcpy(request, head, sizeof head);
    std::memcpy(request + sizeof head, &wanted, sizeof wanted);
    std::uint32_t answer[3]{};
    pollfd ready{udp, POLLIN, 0};
    const bool answered = ::sendto(udp, request, sizeof request, 0, reinterpret_cast<sockaddr*>(&to),
                                   sizeof to) == static_cast<ssize_t>(sizeof request) &&
                          ::poll(&ready, 1, kAnswerWait) > 0 &&
                          ::recv(udp, answer, sizeof answer, 0) == static_cast<ssize_t>(sizeof answer);
    ::close(udp);
    return answered ? std::optional<DWORD>(ntohl(answer[2])) : std::nullopt;
}

} // namespace alidade
