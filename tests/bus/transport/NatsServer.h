#pragma once

#include "foundation/platform/Types.h"
#include "tests/support/WaitUntil.h"

#include <arpa/inet.h>
#include <csignal>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace alidade {

/// A NATS server of a test's own on a free port. Another process may take the port before the server has it,
/// so the one that answers there is asked for its name. Start it before the test has threads.
class CNatsServer {
public:
    explicit CNatsServer(std::vector<std::string> arguments = {}) : m_arguments(std::move(arguments))
    {
        static int counter = 0;
        m_name = "test-" + std::to_string(::getpid()) + "-" + std::to_string(++counter);
        if (!WaitUntil([this] { return m_port = FindFreePort(), TryStart(); })) {
            throw std::runtime_error("the NATS server does not start");
        }
    }
    ~CNatsServer() { Stop(); }

    /// Again on the same port after Stop.
    void Start()
    {
        if (!WaitUntil([this] { return TryStart(); })) {
            throw std::runtime_error("the NATS server does not start again");
        }
    }
    /// Stands still, with its connections, until Stop.
    void Freeze() const { ::kill(m_process, SIGSTOP); }
    void Stop()
    {
        if (m_process > 0) {
            ::kill(m_process, SIGKILL);
            ::waitpid(m_process, nullptr, 0);
            m_process = -1;
        }
    }
    /// "127.0.0.1:PORT"
    std::string GetHost() const { return "127.0.0.1:" + std::to_string(m_port); }

private:
    /// False when the server ends at once, as it does when the port is taken.
    bool TryStart()
    {
        std::vector<std::string> words{ALIDADE_NATS_SERVER,    "-a",     "127.0.0.1", "-p",
                                       std::to_string(m_port), "--name", m_name};
        words.insert(words.end(), m_arguments.begin(), m_arguments.end());
        std::vector<char*> pointers;
        for (std::string& word : words) {
            pointers.push_back(word.data());
        }
        pointers.push_back(nullptr);
        m_process = ::fork();
        if (m_process == 0) {
            const int nowhere = ::open("/dev/null", O_RDWR);
            ::dup2(nowhere, 1);
            ::dup2(nowhere, 2);
            ::execv(pointers[0], pointers.data());
            ::_exit(127);
        }
        bool ended = false;
        const auto answers = [&] {
            ended = ::waitpid(m_process, nullptr, WNOHANG) == m_process;
            return ended || IsListening();
        };
        if (WaitUntil(answers) && !ended) {
            return true;
        }
        m_process = ended ? -1 : m_process;
        Stop();
        return false;
    }
    static sockaddr_in Address(int port)
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
        address.sin_port = ::htons(static_cast<std::uint16_t>(port));
        return address;
    }
    static int FindFreePort()
    {
        const int file = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address = Address(0);
        socklen_t size = sizeof(address);
        ::bind(file, reinterpret_cast<sockaddr*>(&address), size);
        ::getsockname(file, reinterpret_cast<sockaddr*>(&address), &size);
        ::close(file);
        return ::ntohs(address.sin_port);
    }
    bool IsListening() const
    {
        const int file = ::socket(AF_INET, SOCK_STREAM, 0);
        const sockaddr_in address = Address(m_port);
        // The first thing that a server says is who it is.
        std::string said;
        char part[1024];
        pollfd fd{file, POLLIN, 0};
        if (::connect(file, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
            while (said.find('\n') == said.npos && ::poll(&fd, 1, 10000) == 1) {
                const ssize_t size = ::recv(file, part, sizeof(part), 0);
                if (size <= 0) {
                    break;
                }
                said.append(part, static_cast<std::size_t>(size));
            }
        }
        ::close(file);
        return said.find("\"server_name\":\"" + m_name + "\"") != said.npos;
    }

    std::vector<std::string> m_arguments;
    std::string m_name;
    int m_port = 0;
    pid_t m_process = -1;
};

} // namespace alidade
