#include "foundation/bus/transport/NatsPeer.h"

#include "foundation/platform/LargeMemory.h"
#include "foundation/platform/Ticks.h"

#include <algorithm>
#include <cstring>

namespace alidade {
namespace {

constexpr std::size_t kReserve = 256; // of the server's limit, for what stands around a part's bytes
constexpr std::size_t kWindow = 8;    // parts on their way: a server drops a receiver with 64 MB before it
constexpr std::size_t kQueueBytes = std::size_t{512} << 20;
constexpr std::int64_t kStallTime = 30000;
constexpr std::int64_t kMillisecond = 1000000;

/// Copies part of a message's bytes.
void CopyRange(const T_TRANSPORT_FRAME& frame, std::size_t from, std::span<std::uint8_t> to)
{
    std::size_t at = 0;
    frame.ForEachPiece([&](const std::uint8_t* data, std::size_t size) {
        const std::size_t begin = std::max(from, at);
        const std::size_t end = std::min(from + to.size(), at + size);
        if (begin < end) {
            std::memcpy(to.data() + (begin - from), data + (begin - at), end - begin);
        }
        at += size;
    });
}

} // namespace

CNatsPeer::CNatsPeer(std::shared_ptr<CNatsConnection> connection, CStringA id, CString name, CStringA subject,
                     CStringA undelivered, std::function<void()> hasProblem)
    : m_connection(std::move(connection)), m_id(std::move(id)), m_name(std::move(name)),
      m_subject(std::move(subject)), m_undelivered(std::move(undelivered)),
      m_hasProblem(std::move(hasProblem)), m_heard(GetTickNanoseconds())
{
}

void CNatsPeer::Touch()
{
    m_heard.store(GetTickNanoseconds(), std::memory_order_relaxed);
}

std::int64_t CNatsPeer::GetSilence() const
{
    return (GetTickNanoseconds() - m_heard.load(std::memory_order_relaxed)) / kMillisecond;
}

bool CNatsPeer::IsLarge(std::size_t size) const
{
    return size + kReserve > m_connection->GetMaxPayload();
}

void CNatsPeer::Send(T_TRANSPORT_FRAME&& frame)
{
    const std::size_t size = frame.GetSize();
    bool overflow = false;
    {
        const std::lock_guard lock(m_mutex);
        if (m_queue.empty() && !IsLarge(size)) {
            Publish(frame);
            return;
        }
        overflow = m_queuedBytes + size > kQueueBytes;
        if (!overflow) {
            m_queuedBytes += size;
            m_queue.push_back(std::move(frame));
            if (m_queue.size() == 1) {
                Continue();
            }
        }
        m_overflow = m_overflow || overflow;
    }
    if (overflow) {
        m_hasProblem();
    }
}

bool CNatsPeer::Publish(const T_TRANSPORT_FRAME& frame) const
{
    const char* reply = m_undelivered.empty() ? nullptr : m_undelivered.c_str();
    if (frame.blocks.empty()) {
        return m_connection->Publish(m_subject.c_str(), reply, frame.bytes.data(), frame.bytes.size());
    }
    std::vector<std::uint8_t> bytes(frame.GetSize());
    CopyRange(frame, 0, bytes);
    return m_connection->Publish(m_subject.c_str(), reply, bytes.data(), bytes.size());
}

/// Sends the queue as far as the first large message's parts may go. Wants the lock.
void CNatsPeer::Continue()
{
    while (!m_queue.empty()) {
        const std::size_t size = m_queue.front().GetSize();
        if (IsLarge(size)) {
            if (m_sent == 0) {
                ++m_number;
                m_progress = GetTickNanoseconds();
            }
            SendParts();
            if (m_taken < size) {
                return;
            }
        } else {
            Publish(m_queue.front());
        }
        m_queue.pop_front();
        m_queuedBytes -= size;
        m_sent = m_taken = 0;
    }
}

void CNatsPeer::SendParts()
{
    const T_TRANSPORT_FRAME& frame = m_queue.front();
    const std::size_t size = frame.GetSize();
    const std::size_t most = std::max(m_connection->GetMaxPayload(), 2 * kReserve) - kReserve;
    std::vector<std::uint8_t> bytes;
    while (m_sent < size && m_sent - m_taken < kWindow * most) {
        bytes.resize(std::min(most, size - m_sent));
        CopyRange(frame, m_sent, bytes);
        if (!Publish(EncodePart(m_number, m_sent, size, bytes))) {
            return; // the connection is lost, which ends this message too
        }
        m_sent += bytes.size();
    }
}

void CNatsPeer::OnTaken(const T_TRANSPORT_MESSAGE& taken)
{
    const std::lock_guard lock(m_mutex);
    if (!m_queue.empty() && taken.number == m_number && taken.offset > m_taken && taken.offset <= m_sent) {
        m_taken = static_cast<std::size_t>(taken.offset);
        m_progress = GetTickNanoseconds();
        Continue();
    }
}

CString CNatsPeer::GetProblem() const
{
    const std::lock_guard lock(m_mutex);
    if (m_overflow) {
        return L"it takes too little: " + std::to_wstring(m_queuedBytes >> 20) + L" MB wait for it";
    }
    if (!m_queue.empty() && (GetTickNanoseconds() - m_progress) / kMillisecond > kStallTime) {
        return L"it has confirmed nothing of a large message for " + std::to_wstring(kStallTime / 1000) +
               L" s";
    }
    return {};
}

void CNatsPeer::Reset()
{
    Touch();
    const std::lock_guard lock(m_mutex);
    m_queue.clear();
    m_queuedBytes = m_sent = m_taken = 0;
}

bool CNatsPeer::OnPart(const T_TRANSPORT_MESSAGE& part, T_TRANSPORT_BYTES& whole)
{
    if (part.offset == 0) {
        if (part.total == 0 || part.total > kLargestMessage) {
            return false;
        }
        const auto size = static_cast<std::size_t>(part.total);
        m_comingMemory = {static_cast<std::uint8_t*>(AllocateLargeMemory(size)),
                          [](std::uint8_t* block) { FreeLargeMemory(block); }};
        m_comingNumber = part.number;
        m_comingDone = 0;
        m_coming = {m_comingMemory.get(), size, m_comingMemory};
    }
    if (m_comingMemory == nullptr || part.number != m_comingNumber || part.offset != m_comingDone ||
        part.total != m_coming.size || part.part.size == 0 || part.part.size > m_coming.size - m_comingDone) {
        m_comingMemory.reset();
        m_coming = {};
        return false;
    }
    std::memcpy(m_comingMemory.get() + m_comingDone, part.part.data, part.part.size);
    m_comingDone += part.part.size;
    const T_TRANSPORT_FRAME taken = EncodeTaken(part.number, m_comingDone);
    m_connection->Publish(m_subject.c_str(), nullptr, taken.bytes.data(), taken.bytes.size());
    if (m_comingDone == m_coming.size) {
        whole = std::move(m_coming);
        m_coming = {};
        m_comingMemory.reset();
    }
    return true;
}

} // namespace alidade
