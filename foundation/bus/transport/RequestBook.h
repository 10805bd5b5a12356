#pragma once

#include "foundation/bus/transport/PeerLink.h"
#include "foundation/bus/transport/Transport.h"

#include <deque>
#include <map>
#include <mutex>
#include <unordered_map>

namespace alidade {

/// The requests under way between this process and others. Calls no handler itself. Thread-safe.
class CRequestBook {
public:
    struct T_SENT {
        std::shared_ptr<IPeerLink> peer;
        IP_REPLY_HANDLER reply; // null: none is wanted
        bool abortWithSender = false;
    };

    /// @name What this process has sent
    ///@{
    /// Enters a request; 0 when the peer was lost meanwhile.
    std::uint64_t Open(T_SENT&& sent);
    /// Takes a request out. When `peer` is given it must be that peer's.
    bool Take(std::uint64_t number, const IPeerLink* peer, T_SENT& sent);
    bool IsOpen(std::uint64_t number) const;
    ///@}

    /// @name What this process runs for others, as far as it ends with its sender
    ///@{
    void Begin(const IPeerLink* peer, std::uint64_t number);
    /// Enters the host's number of a begun request.
    /// @return false when its sender has gone meanwhile: it is to be aborted
    bool SetStarted(const IPeerLink* peer, std::uint64_t number, std::uint64_t host);
    void End(const IPeerLink* peer, std::uint64_t number);
    /// The sender has given up.
    /// @return the host's number to abort, or 0
    std::uint64_t GiveUp(const IPeerLink* peer, std::uint64_t number);
    ///@}

    struct T_LOST {
        std::vector<T_SENT> sent;               // to be failed
        std::vector<std::uint64_t> hostNumbers; // to be aborted
    };
    /// Takes out what has to do with a peer, from which nothing is opened any more.
    T_LOST LosePeer(const std::shared_ptr<IPeerLink>& peer);
    /// Takes out all; nothing is opened any more.
    T_LOST Close();
    /// Takes out what this process has sent.
    T_LOST TakeAllSent();

private:
    T_LOST MoveAllSent();

    struct T_RUNNING {
        std::uint64_t host = 0; // 0: not known yet
        bool givenUp = false;
    };
    using Key = std::pair<const IPeerLink*, std::uint64_t>;

    mutable std::mutex m_mutex;
    bool m_closed = false;
    std::uint64_t m_last = 0;
    std::unordered_map<std::uint64_t, T_SENT> m_sent;
    std::map<Key, T_RUNNING> m_running;
    std::deque<Key> m_early; // given up before they came, by another connection; the last few
};

} // namespace alidade
