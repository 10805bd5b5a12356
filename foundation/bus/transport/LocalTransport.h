#pragma once

#include "foundation/bus/transport/LocalPeer.h"
#include "foundation/bus/transport/TransportCore.h"
#include "foundation/platform/Event.h"

#include <filesystem>
#include <list>
#include <map>
#include <unordered_map>

namespace alidade {

/// Joins the processes of one user on one machine.
///
/// Every process listens on a local socket of its own in a folder that stands for the bus, and is connected
/// to every other one, so that there is no server whose end would part the rest. Who joins connects to those
/// that are there. Who has the later name of two also looks in the folder now and then for processes that it
/// has lost, and connects again.
class ALIDADE_FOUNDATION_API CLocalTransport final : public IIPTransport {
public:
    /// @param name  letters, digits, dots, dashes and underscores, not beginning with a dot; up to 32
    /// @return null and the reason when it cannot join
    static std::unique_ptr<CLocalTransport> Join(const CStringA& name, bool joinOnly, IIPTransportHost& host,
                                                 CString& error, const T_LOCAL_LIMITS& limits = {});
    ~CLocalTransport() override;

    std::uint64_t Send(T_IP_REQUEST&& request, IP_REPLY_HANDLER reply) override;
    void Abandon(std::uint64_t number) override;
    void ServeReply(std::uint64_t number) override;
    void Close() override;
    void OnOwnCommandsChanged() override;
    std::vector<T_IP_COMMAND_RECORD> ListCommands() const override;

    static bool CheckName(const CStringA& name, CString& error);
    /// The folder of a bus.
    static std::filesystem::path GetFolder(const CStringA& name);

private:
    struct T_CONNECTION {
        std::shared_ptr<CLocalPeer> peer;
        bool dialled = false;         // by this process
        std::uint64_t change = 0;     // that HELLO of this process told, when it dialled
        CStringA id;                  // of the other process; when dialled at once, else by its HELLO
        bool channel = false;         // for requests of another connection's process
        bool channels = false;        // its process takes some
        std::size_t channelCount = 0; // of this process to it
        std::vector<std::shared_ptr<CLocalPeer>> idle; // those of them that nobody uses
        bool met = false;                              // HELLO has come
        bool over = false;                             // its thread ends
        std::thread thread;
    };
    /// A request whose sender brings the reply itself.
    struct T_CALL {
        std::shared_ptr<CLocalPeer> channel;
        std::shared_ptr<IPeerLink> peer;
    };
    struct T_RETRY {
        std::int64_t next = 0; // of GetTickNanoseconds
        std::int64_t wait = 0;
    };

    CLocalTransport(std::filesystem::path folder, IIPTransportHost& host, const T_LOCAL_LIMITS& limits);
    int Start(bool joinOnly, CString& error);
    std::vector<CStringA> ListOthers() const;
    std::filesystem::path GetSocketPath(const CStringA& id) const;
    bool Dial(const CStringA& id);
    void RemoveStale(const CStringA& id);
    bool IsOwnUser(const CLocalSocket& socket);
    bool Connect(CLocalSocket socket, bool dialled, const CStringA& id);
    void RunAccept();
    void LookForLost();
    void JoinEnded(bool all);
    void Serve(T_CONNECTION& connection);
    CString ServeMessages(T_CONNECTION& connection);
    bool Meet(T_CONNECTION& connection, const T_TRANSPORT_MESSAGE& hello);
    CString ServeChannel(T_CONNECTION& connection, const CStringA& id);
    std::shared_ptr<CLocalPeer> TakeChannel(const IPeerLink* peer);
    void PutChannel(const T_CALL& call, std::uint64_t number, bool usable);

    const std::filesystem::path m_folder;
    const T_LOCAL_LIMITS m_limits;
    const std::shared_ptr<CTransportCore> m_core;
    CLocalListener m_listener;
    std::atomic<bool> m_stop{false};
    std::thread m_acceptThread;

    std::mutex m_mutex; // guards what follows, but for what is set before a connection's thread runs
    std::condition_variable m_changed;
    std::list<T_CONNECTION> m_connections;
    std::map<CStringA, T_RETRY> m_retries;
    std::unordered_map<std::uint64_t, T_CALL> m_calls;
};

} // namespace alidade
