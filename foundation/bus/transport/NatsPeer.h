#pragma once

#include "foundation/bus/transport/NatsConnection.h"
#include "foundation/bus/transport/TransportMessage.h"

#include <deque>
#include <functional>

namespace alidade {

/// The way to one other process through a NATS server. A message that is too large for the server goes in
/// parts, of which only so many are on their way as the receiver has not yet confirmed; what comes behind
/// waits for it, so that messages arrive in their order. Thread-safe.
class CNatsPeer final : public IPeerLink {
public:
    /// @param subject  that the peer receives on, from this process
    /// @param undelivered  where the server says that the peer is gone; empty: nowhere
    /// @param hasProblem  called when GetProblem has something to tell
    CNatsPeer(std::shared_ptr<CNatsConnection> connection, CStringA id, CString name, CStringA subject,
              CStringA undelivered, std::function<void()> hasProblem);

    void Send(T_TRANSPORT_FRAME&& frame) override;
    const CString& GetName() const override { return m_name; }
    const CStringA& GetId() const { return m_id; }

    /// Something has come from the peer.
    void Touch();
    /// Real milliseconds since then.
    std::int64_t GetSilence() const;
    /// Why the peer is to be given up: it confirms nothing, or too much waits for it. Empty as a rule.
    CString GetProblem() const;
    /// Forgets what is on its way in both directions.
    void Reset();

    /// A part of a large message.
    /// @param whole  receives the message once its last part is there
    /// @return false when the part does not fit what came before
    bool OnPart(const T_TRANSPORT_MESSAGE& part, T_TRANSPORT_BYTES& whole);
    /// The peer confirms parts.
    void OnTaken(const T_TRANSPORT_MESSAGE& taken);

private:
    bool IsLarge(std::size_t size) const;
    bool Publish(const T_TRANSPORT_FRAME& frame) const;
    void Continue();
    void SendParts();

    const std::shared_ptr<CNatsConnection> m_connection;
    const CStringA m_id;
    const CString m_name;
    const CStringA m_subject;
    const CStringA m_undelivered;
    const std::function<void()> m_hasProblem;
    std::atomic<std::int64_t> m_heard;

    mutable std::mutex m_mutex;            // guards what follows
    std::deque<T_TRANSPORT_FRAME> m_queue; // its first one is a large message on its way
    std::size_t m_queuedBytes = 0;
    std::uint64_t m_number = 0; // of the large message
    std::size_t m_sent = 0;     // of its bytes
    std::size_t m_taken = 0;
    std::int64_t m_progress = 0; // when the last was taken
    bool m_overflow = false;

    // Of a large message that comes; for the thread that receives.
    std::uint64_t m_comingNumber = 0;
    std::size_t m_comingDone = 0;
    T_TRANSPORT_BYTES m_coming;
    std::shared_ptr<std::uint8_t> m_comingMemory;
};

} // namespace alidade
