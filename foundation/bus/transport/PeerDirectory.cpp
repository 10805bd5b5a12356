#include "foundation/bus/transport/PeerDirectory.h"

#include <algorithm>

namespace alidade {
namespace {

std::size_t Hash(std::string_view group, std::string_view name)
{
    const std::hash<std::string_view> hash;
    return hash(group) * 31 + hash(name);
}

} // namespace

void CPeerDirectory::Set(const std::shared_ptr<IPeerLink>& peer, std::uint64_t change,
                         std::vector<T_IP_COMMAND_RECORD>&& records)
{
    const std::lock_guard lock(m_mutex);
    auto at = std::find_if(m_peers.begin(), m_peers.end(), [&](const T_PEER& p) { return p.link == peer; });
    if (at == m_peers.end()) {
        at = m_peers.insert(at, {peer, 0, {}});
    } else if (at->change > change) {
        return;
    }
    at->change = change;
    at->records = std::move(records);
    Index();
}

std::uint64_t CPeerDirectory::GetChange(const IPeerLink* peer) const
{
    const std::lock_guard lock(m_mutex);
    for (const T_PEER& entry : m_peers) {
        if (entry.link.get() == peer) {
            return entry.change;
        }
    }
    return 0;
}

void CPeerDirectory::Remove(const IPeerLink* peer)
{
    const std::lock_guard lock(m_mutex);
    if (std::erase_if(m_peers, [&](const T_PEER& p) { return p.link.get() == peer; }) > 0) {
        Index();
    }
}

std::shared_ptr<IPeerLink> CPeerDirectory::Find(const T_IP_REQUEST& request) const
{
    const std::lock_guard lock(m_mutex);
    const auto at = m_places.find(Hash(request.group, request.name));
    if (at == m_places.end()) {
        return nullptr;
    }
    for (const T_PLACE& place : at->second) {
        const T_PEER& peer = m_peers[place.peer];
        const T_IP_COMMAND_RECORD& record = peer.records[place.record];
        if (record.group == request.group && record.name == request.name &&
            (request.unit.empty() || record.unit == request.unit) &&
            (request.task.empty() || record.task == request.task)) {
            return peer.link;
        }
    }
    return nullptr;
}

std::vector<T_IP_COMMAND_RECORD> CPeerDirectory::List() const
{
    const std::lock_guard lock(m_mutex);
    std::vector<T_IP_COMMAND_RECORD> all;
    for (const T_PEER& peer : m_peers) {
        all.insert(all.end(), peer.records.begin(), peer.records.end());
    }
    return all;
}

std::vector<std::shared_ptr<IPeerLink>> CPeerDirectory::GetPeers() const
{
    const std::lock_guard lock(m_mutex);
    std::vector<std::shared_ptr<IPeerLink>> links;
    for (const T_PEER& peer : m_peers) {
        links.push_back(peer.link);
    }
    return links;
}

bool CPeerDirectory::HasPeers() const
{
    const std::lock_guard lock(m_mutex);
    return !m_peers.empty();
}

void CPeerDirectory::Index()
{
    m_places.clear();
    for (std::size_t peer = 0; peer < m_peers.size(); ++peer) {
        const auto& records = m_peers[peer].records;
        for (std::size_t i = 0; i < records.size(); ++i) {
            m_places[Hash(records[i].group, records[i].name)].push_back({peer, i});
        }
    }
}

} // namespace alidade
