#pragma once

#include "foundation/bus/transport/PeerDirectory.h"
#include "foundation/bus/transport/RequestBook.h"
#include "foundation/bus/transport/TransportMessage.h"

#include <atomic>

namespace alidade {

/// What all transports have in common: who answers what, the requests under way, and the messages about them.
/// Shared, because the reply to a command may come after the transport has left. Thread-safe.
class CTransportCore : public std::enable_shared_from_this<CTransportCore> {
public:
    explicit CTransportCore(IIPTransportHost& host);

    /// A random name of this process on the bus, and one for people.
    const CStringA& GetId() const { return m_id; }
    const CString& GetName() const { return m_name; }

    /// @name For IIPTransport
    ///@{
    std::uint64_t Send(T_IP_REQUEST&& request, IP_REPLY_HANDLER reply);
    /// To a given peer by a given way, which may be a connection of its own.
    /// @param after  messages on the peer's own connection that come before it; 0: it goes there itself
    std::uint64_t SendBy(const std::shared_ptr<IPeerLink>& peer, IPeerLink& way, std::uint64_t after,
                         T_IP_REQUEST&& request, IP_REPLY_HANDLER reply);
    bool IsOpen(std::uint64_t number) const { return m_book.IsOpen(number); }
    /// Fails one request, if it is open.
    void FailOne(std::uint64_t number, const CString& why);
    void Abandon(std::uint64_t number);
    /// Tells every peer.
    void TellCommands();
    std::vector<T_IP_COMMAND_RECORD> ListCommands() const { return m_directory.List(); }
    ///@}

    /// HELLO of this process as it stands.
    T_TRANSPORT_FRAME MakeHello(bool wantsAnswer, bool channels);
    std::uint64_t GetChange() const { return m_change.load(); }

    CPeerDirectory& Directory() { return m_directory; }
    /// Handles COMMANDS, REQUEST, REPLY and GIVE_UP from a peer, and HELLO as far as its commands go; the
    /// rest is the transport's.
    void OnMessage(const std::shared_ptr<IPeerLink>& peer, T_TRANSPORT_MESSAGE&& message);
    /// Handles REQUEST of a peer; the reply goes by the given way.
    void OnRequest(const std::shared_ptr<IPeerLink>& peer, const std::shared_ptr<IPeerLink>& way,
                   T_TRANSPORT_MESSAGE&& message);
    /// A message of the peer was not understood. A request is answered and the peer kept.
    /// @return false when the link is to be closed
    bool OnBadMessage(const std::shared_ptr<IPeerLink>& peer, const T_TRANSPORT_MESSAGE& message,
                      const CString& error);
    /// A peer is gone: fails what it owed and aborts what was to end with it.
    /// @param why  one sentence
    void LosePeer(const std::shared_ptr<IPeerLink>& peer, const CString& why);
    /// Fails what other processes owe.
    void FailSent(const CString& why);
    /// Fails everything; the host is not called after this.
    void Close();

    void WriteLog(DWORD level, const CString& line) { m_host.WriteLog(level, line); }

private:
    void Finish(CRequestBook::T_LOST&& lost, const CString& why);

    IIPTransportHost& m_host;
    const CStringA m_id;
    const CString m_name;
    CPeerDirectory m_directory;
    CRequestBook m_book;
    std::atomic<std::uint64_t> m_change{1};
};

} // namespace alidade
