#pragma once

#include "foundation/platform/Types.h"
#include "tests/support/WaitUntil.h"

#include <arpa/inet.h>
#include <csignal>
#include <fcntl.h>
#include <netinet/in.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace alidade {

/// A NATS server of a test's own on a free port. Start it before the test has threads.
class CNatsServer {
public:
    explicit CNatsServer(std::vector<std::string> arguments = {}) : m_arguments(std::move(arguments))
    {
        m_port = FindFreePort();
        Start();
    }
    ~CNatsServer() { Stop(); }

    /// Again on the same port after Stop.
    void Start()
    {
        std::vector<std::string> words{ALIDADE_NATS_SERVER, "-a", "127.0.0.1", "-p", std::to_string(m_port)};
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
        if (!WaitUntil([this] { return IsListening(); })) {
            throw std::runtime_error("the NATS server does not start");
        }
    }
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
        const bool connected =
            ::connect(file, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
        ::close(file);
        return connected;
    }

    std::vector<std::string> m_arguments;
    int m_port = 0;
    pid_t m_process = -1;
};

} // namespace alidade
