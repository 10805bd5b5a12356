#pragma once

#include "foundation/bus/transport/NatsAddress.h"
#include "foundation/bus/transport/PeerLink.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <nats/nats.h>
#include <vector>

namespace alidade {

/// One message that has come from the server.
struct T_NATS_MESSAGE {
    std::string_view subject;
    std::string_view reply; // subject for the answer; empty: none
    T_TRANSPORT_BYTES bytes;
    bool noResponders = false; // nobody was there for what was sent
};

/// The connection to a NATS server, which the client library makes again when it is lost. Sends without
/// delay. Publish is thread-safe and works (in that it fails) on one that is closed.
class CNatsConnection {
public:
    /// All are called on the library's threads, until Close has returned.
    struct T_EVENTS {
        std::function<void(T_NATS_MESSAGE&& message)> message;
        std::function<void()> lost;
        std::function<void()> back;
        std::function<void(const CString& text)> problem;
        std::function<void()> ended; // it was closed, and is not made again
    };

    explicit CNatsConnection(T_EVENTS events) : m_events(std::move(events)) {}
    ~CNatsConnection();
    CNatsConnection(const CNatsConnection&) = delete;
    CNatsConnection& operator=(const CNatsConnection&) = delete;

    /// Connects, once.
    int Connect(const T_NATS_ADDRESS& address, const CString& name, CString& error);
    /// Each subscription's messages come on a thread of its own.
    int Subscribe(const CStringA& subject, CString& error);
    /// Waits until the server has seen all that was sent.
    int Flush(DWORD ms, CString& error);
    /// @param reply  null: none
    bool Publish(const char* subject, const char* reply, const std::uint8_t* data, std::size_t size);
    /// Bytes that a message may have.
    std::size_t GetMaxPayload() const;
    /// Sends what is left, and waits until no event is being called or will be. Not on the library's threads.
    void Close();

private:
    static void OnMessage(natsConnection*, natsSubscription*, natsMsg* message, void* closure);
    static void OnLost(natsConnection*, void* closure);
    static void OnBack(natsConnection*, void* closure);
    static void OnClosed(natsConnection*, void* closure);
    static void OnProblem(natsConnection*, natsSubscription*, natsStatus status, void* closure);
    static void OnSubscriptionEnd(void* closure);

    const T_EVENTS m_events;
    natsConnection* m_connection = nullptr;
    std::mutex m_mutex; // guards what follows
    std::condition_variable m_changed;
    std::vector<natsSubscription*> m_subscriptions;
    std::size_t m_running = 0; // subscriptions that may still call
    bool m_open = false;       // until the library has made its last call
};

} // namespace alidade
