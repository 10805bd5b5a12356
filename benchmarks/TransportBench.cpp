#include "benchmarks/Harness.h"
#include "tests/bus/transport/NatsServer.h"
#include "tests/support/TempFolder.h"

#include "foundation/bus/IPBus.h"
#include "foundation/bus/IPClient.h"
#include "foundation/platform/Text.h"

#include <cstdlib>
#include <nats/nats.h>
#include <sys/socket.h>
#include <unistd.h>

namespace alidade::bench {
namespace {

constexpr std::size_t kBytes = 200;
constexpr const char* kLocalRow = "SendIPCommand over local:, 200 bytes";
constexpr const char* kNatsRow = "SendIPCommand over NATS, 200 bytes";

/// Answers with what it got.
class CEchoReceiver : public IIPCommandTarget {
public:
    explicit CEchoReceiver(CIPClient* client) { CreateIPCommandTarget(client); }
    ~CEchoReceiver() override { DestroyIPCommandTarget(); }

    const IP_COMMAND_TARGET* GetIPCommandTargetStatic() const override
    {
        static const IP_COMMAND_TARGET_ENTRY entries[] = {
            IPCommandEntry("Bench", "Echo", &CEchoReceiver::OnIPEcho), {nullptr, nullptr, nullptr}};
        static const IP_COMMAND_TARGET table{entries, nullptr};
        return &table;
    }

private:
    int OnIPEcho(CIPCommand& command)
    {
        command.GetResult() = command.GetParameter();
        return 1;
    }
};

/// A sender and a receiver on two buses that are joined.
class CTwoBuses {
public:
    explicit CTwoBuses(const std::string& address)
    {
        Join(*m_serverBus, address);
        Join(*m_clientBus, address);
    }
    CIPVariable Send(const CIPVariable& in)
    {
        CIPVariable out;
        if (!m_client.SendIPCommand(nullptr, nullptr, "Bench", "Echo", in, out, 30000, nullptr)) {
            throw std::runtime_error("SendIPCommand failed: " + ToNarrow(CIPClient::GetLastIPError()));
        }
        return out;
    }

private:
    static void Join(CIPBus& bus, const std::string& address)
    {
        CString error;
        if (!bus.Join(address.c_str(), error)) {
            throw std::runtime_error("cannot join " + address + ": " + ToNarrow(error));
        }
    }

    std::shared_ptr<CIPBus> m_serverBus = std::make_shared<CIPBus>();
    std::shared_ptr<CIPBus> m_clientBus = std::make_shared<CIPBus>();
    CIPClient m_server{nullptr, nullptr, "Bench", m_serverBus};
    CIPClient m_client{nullptr, nullptr, "Client", m_clientBus};
    CEchoReceiver m_receiver{&m_server};
};

CIPVariable MakeBlock()
{
    CIPVariable variable;
    variable.SetChildItem("data", nullptr, static_cast<unsigned>(kBytes), 0u);
    return variable;
}

/// The bare local socket: what one thread writes another writes back.
class CSocketEcho {
public:
    CSocketEcho()
    {
        if (::socketpair(AF_UNIX, SOCK_STREAM, 0, m_files) != 0) {
            throw std::runtime_error("no local sockets");
        }
        m_thread = std::thread([file = m_files[1]] {
            char bytes[kBytes];
            for (ssize_t got; (got = ::read(file, bytes, sizeof(bytes))) > 0;) {
                for (ssize_t sent = 0; sent < got;) {
                    const ssize_t more = ::write(file, bytes + sent, static_cast<std::size_t>(got - sent));
                    if (more <= 0) {
                        return;
                    }
                    sent += more;
                }
            }
        });
    }
    ~CSocketEcho()
    {
        ::shutdown(m_files[0], SHUT_RDWR);
        m_thread.join();
        ::close(m_files[0]);
        ::close(m_files[1]);
    }
    void Run()
    {
        if (::write(m_files[0], m_bytes, kBytes) != static_cast<ssize_t>(kBytes)) {
            throw std::runtime_error("the bare echo failed");
        }
        for (std::size_t got = 0; got < kBytes;) {
            const ssize_t more = ::read(m_files[0], m_bytes, kBytes - got);
            got += more > 0 ? static_cast<std::size_t>(more) : 0;
        }
    }

private:
    int m_files[2];
    char m_bytes[kBytes] = {};
    std::thread m_thread;
};

/// The bare client library: a request and its reply, both sent at once.
class CNatsEcho {
public:
    explicit CNatsEcho(const std::string& host)
    {
        m_asking = Connect(host);
        m_answering = Connect(host);
        natsConnection_Subscribe(&m_subscription, m_answering, "bare", OnMessage, nullptr);
        natsConnection_Flush(m_answering);
    }
    ~CNatsEcho()
    {
        natsSubscription_Destroy(m_subscription);
        natsConnection_Destroy(m_asking);
        natsConnection_Destroy(m_answering);
    }
    void Run()
    {
        natsMsg* reply = nullptr;
        if (natsConnection_Request(&reply, m_asking, "bare", m_bytes, static_cast<int>(kBytes), 30000) !=
            NATS_OK) {
            throw std::runtime_error("the bare request failed");
        }
        natsMsg_Destroy(reply);
    }

private:
    static natsConnection* Connect(const std::string& host)
    {
        natsOptions* options = nullptr;
        natsConnection* connection = nullptr;
        natsOptions_Create(&options);
        natsOptions_SetURL(options, ("nats://" + host).c_str());
        natsOptions_SetSendAsap(options, true);
        const natsStatus status = natsConnection_Connect(&connection, options);
        natsOptions_Destroy(options);
        if (status != NATS_OK) {
            throw std::runtime_error("cannot connect to the NATS server");
        }
        return connection;
    }
    static void OnMessage(natsConnection* connection, natsSubscription*, natsMsg* message, void*)
    {
        natsConnection_Publish(connection, natsMsg_GetReply(message), natsMsg_GetData(message),
                               natsMsg_GetDataLength(message));
        natsMsg_Destroy(message);
    }

    natsConnection* m_asking = nullptr;
    natsConnection* m_answering = nullptr;
    natsSubscription* m_subscription = nullptr;
    char m_bytes[kBytes] = {};
};

void BenchLocal(CSuite& suite)
{
    if (!suite.IsWanted(kLocalRow)) {
        return;
    }
    const CTempFolder folder("b");
    ::setenv("XDG_RUNTIME_DIR", folder.Path().c_str(), 1);
    CTwoBuses buses("local:bench");
    CSocketEcho bare;
    const CIPVariable block = MakeBlock();
    suite.Compare(
        kLocalRow, 1.6, [&] { buses.Send(block); }, [&] { bare.Run(); });
}

void BenchNats(CSuite& suite)
{
    if (!suite.IsWanted(kNatsRow)) {
        return;
    }
    if (*ALIDADE_NATS_SERVER == '\0') {
        std::fprintf(stderr, "  %s: there is no nats-server on this machine\n", kNatsRow);
        return;
    }
    const CNatsServer server;
    CTwoBuses buses("nats://" + server.GetHost());
    CNatsEcho bare(server.GetHost());
    const CIPVariable block = MakeBlock();
    suite.Compare(
        kNatsRow, 1.3, [&] { buses.Send(block); }, [&] { bare.Run(); });
}

} // namespace

void BenchTransport(CSuite& suite)
{
    BenchLocal(suite);
    BenchNats(suite);
}

} // namespace alidade::bench
