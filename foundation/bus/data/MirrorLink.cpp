#include "foundation/bus/data/MirrorLink.h"

#include "foundation/bus/transport/NatsAddress.h"
#include "foundation/platform/Text.h"
#include "foundation/platform/Ticks.h"

#include <nats/nats.h>
#include <vector>

namespace alidade {

struct CMirrorLink::T_HANDLES {
    natsOptions* options = nullptr;
    natsConnection* connection = nullptr;
    natsSubscription* subscription = nullptr;

    ~T_HANDLES()
    {
        natsSubscription_Destroy(subscription);
        if (connection != nullptr) {
            natsConnection_Close(connection);
        }
        natsConnection_Destroy(connection);
        natsOptions_Destroy(options);
    }
};

namespace {

constexpr std::int64_t kConnectMs = 2000;
constexpr std::int64_t kReconnectMs = 250;
constexpr std::int64_t kWriteMs = 2000; // for a server that takes nothing; then the connection is made again
constexpr int kPendingMessages = 64; // a receiver that lags so far behind loses messages, and gets newer ones
constexpr int kPendingBytes = 64 << 20;

/// So that the client library does not write to the error stream, as it does without one: a message lost to a
/// slow receiver is followed by a newer one.
void IgnoreError(natsConnection*, natsSubscription*, natsStatus, void*)
{
}

} // namespace

CMirrorLink::CMirrorLink() = default;
CMirrorLink::~CMirrorLink() = default;

bool CMirrorLink::Open(const T_NATS_ADDRESS& address, const char* subscribe, CString& text)
{
    auto handles = std::make_unique<T_HANDLES>();
    std::vector<const char*> servers;
    for (const CStringA& server : address.servers) {
        servers.push_back(server.c_str());
    }
    natsStatus status = natsOptions_Create(&handles->options);
    const auto then = [&status](auto&& operation) {
        if (status == NATS_OK) {
            status = operation();
        }
    };
    natsOptions* options = handles->options;
    then([&] { return natsOptions_SetServers(options, servers.data(), static_cast<int>(servers.size())); });
    then([&] { return natsOptions_SetTimeout(options, kConnectMs); });
    then([&] { return natsOptions_SetMaxReconnect(options, -1); });
    then([&] { return natsOptions_SetReconnectWait(options, kReconnectMs); });
    then([&] { return natsOptions_SetReconnectBufSize(options, 1); }); // nothing is kept for later
    then([&] { return natsOptions_SetSendAsap(options, true); });
    then([&] { return natsOptions_SetWriteDeadline(options, kWriteMs); });
    then([&] { return natsOptions_SetErrorHandler(options, IgnoreError, nullptr); });
    if (!address.user.empty()) {
        then(
            [&] { return natsOptions_SetUserInfo(options, address.user.c_str(), address.password.c_str()); });
    }
    if (!address.token.empty()) {
        then([&] { return natsOptions_SetToken(options, address.token.c_str()); });
    }
    if (address.tls || !address.caFile.empty()) {
        then([&] { return natsOptions_SetSecure(options, true); });
    }
    if (!address.caFile.empty()) {
        then([&] { return natsOptions_LoadCATrustedCertificates(options, address.caFile.c_str()); });
    }
    then([&] { return natsConnection_Connect(&handles->connection, options); });
    then(
        [&] { return natsConnection_SubscribeSync(&handles->subscription, handles->connection, subscribe); });
    then([&] {
        return natsSubscription_SetPendingLimits(handles->subscription, kPendingMessages, kPendingBytes);
    });
    if (status != NATS_OK) {
        text = Format(L"Cannot join the NATS server: %S", natsStatus_GetText(status));
        return false;
    }
    m_handles = std::move(handles);
    return true;
}

void CMirrorLink::Close()
{
    m_handles.reset();
}

bool CMirrorLink::IsOpen() const
{
    return m_handles != nullptr && !natsConnection_IsClosed(m_handles->connection);
}

bool CMirrorLink::IsConnected() const
{
    return m_handles != nullptr && natsConnection_Status(m_handles->connection) == NATS_CONN_STATUS_CONNECTED;
}

bool CMirrorLink::Publish(const char* subject, std::string_view message, CString& text)
{
    if (!IsConnected()) {
        text = L"The NATS server is away";
        return false;
    }
    const std::int64_t most = natsConnection_GetMaxPayload(m_handles->connection);
    if (static_cast<std::int64_t>(message.size()) > most) {
        text = Format(L"The block does not fit into a message: it takes %lld bytes, the server allows %lld",
                      static_cast<long long>(message.size()), static_cast<long long>(most));
        return false;
    }
    const natsStatus status = natsConnection_Publish(m_handles->connection, subject, message.data(),
                                                     static_cast<int>(message.size()));
    if (status != NATS_OK) {
        text = Format(L"The NATS server cannot be sent to: %S", natsStatus_GetText(status));
    }
    return status == NATS_OK;
}

bool CMirrorLink::Receive(std::string& message, DWORD ms)
{
    if (m_handles == nullptr) {
        return false;
    }
    natsMsg* received = nullptr;
    // A status other than "here is one" is nothing to act on: the connection's state is asked for on its own.
    if (natsSubscription_NextMsg(&received, m_handles->subscription, ms) != NATS_OK) {
        return false;
    }
    message.assign(natsMsg_GetData(received), static_cast<std::size_t>(natsMsg_GetDataLength(received)));
    natsMsg_Destroy(received);
    return true;
}

} // namespace alidade
