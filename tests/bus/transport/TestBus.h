#pragma once

#include "tests/bus/transport/FakeHost.h"
#include "tests/bus/transport/NatsServer.h"
#include "tests/support/TempFolder.h"

#include <atomic>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>

namespace alidade {

/// A bus of a test's own: where local sockets lie is a folder that goes with it.
class CTestBus {
public:
    explicit CTestBus(const std::string& kind = "local")
    {
        static std::atomic<int> counter{0};
        m_name = "t" + std::to_string(++counter);
        ::setenv("XDG_RUNTIME_DIR", m_folder.Path().c_str(), 1);
        if (kind == "nats") {
            m_server = std::make_unique<CNatsServer>();
        }
        m_address = m_server ? "nats://" + m_server->GetHost() : "local:" + m_name;
    }
    std::unique_ptr<IIPTransport> Join(CFakeHost& host, bool joinOnly = false) const
    {
        CString error;
        auto transport = JoinTransport(m_address.c_str(), joinOnly, host, error);
        EXPECT_NE(transport, nullptr) << std::string(error.begin(), error.end());
        return transport;
    }
    /// Joins and waits until it knows so many commands of others: on a busy machine they may take longer to
    /// tell than joining waits for.
    std::unique_ptr<IIPTransport> JoinAndFind(CFakeHost& host, std::size_t commands = 1) const
    {
        auto transport = Join(host);
        EXPECT_TRUE(WaitUntil([&] { return transport->ListCommands().size() >= commands; }));
        return transport;
    }
    const std::string& GetName() const { return m_name; }
    const std::string& GetAddress() const { return m_address; }
    CNatsServer& GetServer() { return *m_server; }

private:
    CTempFolder m_folder{"t"};
    std::string m_name;
    std::unique_ptr<CNatsServer> m_server;
    std::string m_address;
};

/// Skips what needs a server that this machine does not have.
#define ALIDADE_NEEDS_NATS_SERVER(kind)                                                                      \
    if (std::string(kind) == "nats" && *ALIDADE_NATS_SERVER == '\0') {                                       \
        GTEST_SKIP() << "there is no nats-server on this machine";                                           \
    }

} // namespace alidade
