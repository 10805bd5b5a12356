#pragma once

#include "foundation/bus/transport/NatsPeer.h"
#include "foundation/bus/transport/TransportCore.h"
#include "foundation/platform/Event.h"

#include <atomic>
#include <map>
#include <thread>

namespace alidade {

/// Joins the processes that are on one bus of a NATS server; docs/bus-transports.md has the subjects and
/// messages. A process that leaves says so; one that dies is noticed when something is sent to it, or when it
/// has been silent for kGoneTime.
class CNatsTransport final : public IIPTransport {
public:
    static constexpr DWORD kAlivePeriod = 2000;
    static constexpr DWORD kGoneTime = 7000;

    /// @return null and the reason when the server cannot be joined
    static std::unique_ptr<CNatsTransport> Join(const T_NATS_ADDRESS& address, IIPTransportHost& host,
                                                CString& error);
    ~CNatsTransport() override;

    std::uint64_t Send(T_IP_REQUEST&& request, IP_REPLY_HANDLER reply) override;
    void Abandon(std::uint64_t number) override { m_core->Abandon(number); }
    void OnOwnCommandsChanged() override { m_core->TellCommands(); }
    std::vector<T_IP_COMMAND_RECORD> ListCommands() const override { return m_core->ListCommands(); }

private:
    CNatsTransport(const T_NATS_ADDRESS& address, IIPTransportHost& host);
    int Start(const T_NATS_ADDRESS& address, CString& error);
    void Collect(std::int64_t roundTrip);
    void Publish(const CStringA& subject, const T_TRANSPORT_FRAME& frame);
    std::shared_ptr<CNatsPeer> FindPeer(std::string_view id);
    std::shared_ptr<CNatsPeer> MakePeer(const CStringA& id, const CString& name);
    void LosePeer(const std::shared_ptr<CNatsPeer>& peer, const CString& why);

    // On the library's threads.
    void OnReceived(T_NATS_MESSAGE&& received);
    void OnUndelivered(std::string_view token);
    void OnMessage(T_NATS_MESSAGE&& received, std::string_view from);
    void OnHello(T_TRANSPORT_MESSAGE&& message);
    void OnAlive(const T_TRANSPORT_MESSAGE& message);
    void OnLost();
    void OnBack();

    void RunAlive();

    const std::shared_ptr<CTransportCore> m_core;
    const CStringA m_prefix; // "<bus>."
    const CStringA m_all;    // subject that all receive
    const CStringA m_toMe;   // "<bus>.to.<id>."
    std::shared_ptr<CNatsConnection> m_connection;
    std::atomic<bool> m_connected{false};
    std::atomic<unsigned> m_losses{0}; // of the connection
    std::atomic<bool> m_stopping{false};
    std::atomic<std::int64_t> m_lastHello{0};

    std::mutex m_mutex; // guards the peers
    std::map<CStringA, std::shared_ptr<CNatsPeer>, std::less<>> m_peers;

    // Outlives the transport with a reply that is still to come.
    const std::shared_ptr<CEvent> m_look = std::make_shared<CEvent>();
    CEvent m_stop{false, true};
    std::thread m_aliveThread;
};

} // namespace alidade
