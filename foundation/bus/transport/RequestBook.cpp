#include "foundation/bus/transport/RequestBook.h"

namespace alidade {
namespace {

constexpr std::size_t kMostEarly = 256;

} // namespace

std::uint64_t CRequestBook::Open(T_SENT&& sent)
{
    const std::lock_guard lock(m_mutex);
    if (m_closed || sent.peer->m_lost) {
        return 0;
    }
    const std::uint64_t number = ++m_last;
    m_sent.emplace(number, std::move(sent));
    return number;
}

bool CRequestBook::Take(std::uint64_t number, const IPeerLink* peer, T_SENT& sent)
{
    const std::lock_guard lock(m_mutex);
    const auto at = m_sent.find(number);
    if (at == m_sent.end() || (peer != nullptr && at->second.peer.get() != peer)) {
        return false;
    }
    sent = std::move(at->second);
    m_sent.erase(at);
    return true;
}

bool CRequestBook::IsOpen(std::uint64_t number) const
{
    const std::lock_guard lock(m_mutex);
    return m_sent.contains(number);
}

void CRequestBook::Begin(const IPeerLink* peer, std::uint64_t number)
{
    const std::lock_guard lock(m_mutex);
    const bool early = std::erase(m_early, Key{peer, number}) > 0;
    m_running[{peer, number}] = {0, early || m_closed || peer->m_lost};
}

bool CRequestBook::SetStarted(const IPeerLink* peer, std::uint64_t number, std::uint64_t host)
{
    const std::lock_guard lock(m_mutex);
    const auto at = m_running.find({peer, number});
    if (at == m_running.end()) {
        return true; // it has ended already
    }
    if (at->second.givenUp) {
        m_running.erase(at);
        return false;
    }
    at->second.host = host;
    return true;
}

void CRequestBook::End(const IPeerLink* peer, std::uint64_t number)
{
    const std::lock_guard lock(m_mutex);
    m_running.erase({peer, number});
}

std::uint64_t CRequestBook::GiveUp(const IPeerLink* peer, std::uint64_t number)
{
    const std::lock_guard lock(m_mutex);
    const auto at = m_running.find({peer, number});
    if (at == m_running.end()) {
        // It has ended, or is still on its way.
        m_early.emplace_back(peer, number);
        if (m_early.size() > kMostEarly) {
            m_early.pop_front();
        }
        return 0;
    }
    if (at->second.host == 0) {
        at->second.givenUp = true;
        return 0;
    }
    const std::uint64_t host = at->second.host;
    m_running.erase(at);
    return host;
}

CRequestBook::T_LOST CRequestBook::LosePeer(const std::shared_ptr<IPeerLink>& peer)
{
    T_LOST lost;
    const std::lock_guard lock(m_mutex);
    peer->m_lost = true;
    std::erase_if(m_early, [&](const Key& key) { return key.first == peer.get(); });
    for (auto at = m_sent.begin(); at != m_sent.end();) {
        if (at->second.peer == peer) {
            lost.sent.push_back(std::move(at->second));
            at = m_sent.erase(at);
        } else {
            ++at;
        }
    }
    for (auto at = m_running.lower_bound({peer.get(), 0});
         at != m_running.end() && at->first.first == peer.get();) {
        if (at->second.host == 0) {
            at->second.givenUp = true;
            ++at;
        } else {
            lost.hostNumbers.push_back(at->second.host);
            at = m_running.erase(at);
        }
    }
    return lost;
}

CRequestBook::T_LOST CRequestBook::Close()
{
    const std::lock_guard lock(m_mutex);
    m_closed = true;
    T_LOST lost = MoveAllSent();
    for (const auto& [key, running] : m_running) {
        if (running.host != 0) {
            lost.hostNumbers.push_back(running.host);
        }
    }
    m_running.clear();
    return lost;
}

CRequestBook::T_LOST CRequestBook::TakeAllSent()
{
    const std::lock_guard lock(m_mutex);
    return MoveAllSent();
}

CRequestBook::T_LOST CRequestBook::MoveAllSent()
{
    T_LOST lost;
    for (auto& [number, sent] : m_sent) {
        lost.sent.push_back(std::move(sent));
    }
    m_sent.clear();
    return lost;
}

} // namespace alidade
