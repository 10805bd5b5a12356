#pragma once

#include "foundation/bus/transport/PeerLink.h"
#include "foundation/bus/transport/Transport.h"

#include <mutex>
#include <string_view>
#include <unordered_map>

namespace alidade {

/// What the other processes answer, in the order in which they came. Thread-safe.
class CPeerDirectory {
public:
    /// Enters what a peer answers in place of what was entered before, unless that was of a later change.
    void Set(const std::shared_ptr<IPeerLink>& peer, std::uint64_t change,
             std::vector<T_IP_COMMAND_RECORD>&& records);
    /// The number of the change that is entered for the peer; 0: it is not known.
    std::uint64_t GetChange(const IPeerLink* peer) const;
    void Remove(const IPeerLink* peer);
    /// The first peer that answers the command; null: none.
    std::shared_ptr<IPeerLink> Find(const T_IP_REQUEST& request) const;
    std::vector<T_IP_COMMAND_RECORD> List() const;
    std::vector<std::shared_ptr<IPeerLink>> GetPeers() const;
    bool HasPeers() const;

private:
    struct T_PEER {
        std::shared_ptr<IPeerLink> link;
        std::uint64_t change = 0;
        std::vector<T_IP_COMMAND_RECORD> records;
    };
    struct T_PLACE {
        std::size_t peer;
        std::size_t record;
    };
    void Index();

    mutable std::mutex m_mutex;
    std::vector<T_PEER> m_peers;
    std::unordered_map<std::size_t, std::vector<T_PLACE>> m_places; // by the hash of group and name
};

} // namespace alidade
