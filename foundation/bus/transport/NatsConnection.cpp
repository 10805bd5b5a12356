#include "foundation/bus/transport/NatsConnection.h"

#include "foundation/platform/Text.h"

#include <chrono>

namespace alidade {
namespace {

constexpr std::int64_t kConnectTime = 10000;
constexpr std::int64_t kReconnectWait = 250;
constexpr std::int64_t kWriteTime = 10000;
constexpr auto kCloseTime = std::chrono::seconds(10);
constexpr int kPendingMessages = 1000000;
constexpr int kPendingBytes = 1 << 30;
constexpr std::size_t kOwnedBytes = std::size_t{64} << 10; // from here on a message is kept and not copied

CString Describe(natsStatus status)
{
    natsStatus last = NATS_OK;
    const char* text = nats_GetLastError(&last);
    CString description = ToWide(natsStatus_GetText(status));
    if (text != nullptr && *text != '\0' && last == status) {
        description += L" (" + ToWide(text) + L")";
    }
    return description;
}

struct T_OPTIONS {
    natsOptions* options = nullptr;
    ~T_OPTIONS() { natsOptions_Destroy(options); }
};

} // namespace

CNatsConnection::~CNatsConnection()
{
    Close();
    natsConnection_Destroy(m_connection);
}

int CNatsConnection::Connect(const T_NATS_ADDRESS& address, const CString& name, CString& error)
{
    T_OPTIONS holder;
    natsStatus status = natsOptions_Create(&holder.options);
    natsOptions* options = holder.options;
    const auto set = [&status](natsStatus result) { status = status == NATS_OK ? result : status; };
    std::vector<const char*> servers;
    for (const CStringA& server : address.servers) {
        servers.push_back(server.c_str());
    }
    set(natsOptions_SetServers(options, servers.data(), static_cast<int>(servers.size())));
    set(natsOptions_SetName(options, ToNarrow(name).c_str()));
    set(natsOptions_SetTimeout(options, kConnectTime));
    set(natsOptions_SetSendAsap(options, true));
    set(natsOptions_SetNoEcho(options, true));
    set(natsOptions_SetMaxReconnect(options, -1));
    set(natsOptions_SetReconnectWait(options, kReconnectWait));
    // A command that has failed for its sender is not to run when the server is back. The library keeps one
    // message at the least, so Publish looks first.
    set(natsOptions_SetReconnectBufSize(options, 1));
    set(natsOptions_SetWriteDeadline(options, kWriteTime));
    set(natsOptions_SetDisconnectedCB(options, OnLost, this));
    set(natsOptions_SetReconnectedCB(options, OnBack, this));
    set(natsOptions_SetClosedCB(options, OnClosed, this));
    set(natsOptions_SetErrorHandler(options, OnProblem, this));
    if (!address.user.empty()) {
        set(natsOptions_SetUserInfo(options, address.user.c_str(), address.password.c_str()));
    }
    if (!address.token.empty()) {
        set(natsOptions_SetToken(options, address.token.c_str()));
    }
    if (address.tls || !address.caFile.empty()) {
        set(natsOptions_SetSecure(options, true));
    }
    if (status == NATS_OK && !address.caFile.empty()) {
        status = natsOptions_LoadCATrustedCertificates(options, address.caFile.c_str());
        if (status != NATS_OK) {
            error = L"Cannot read the certificates in " + ToWide(address.caFile) + L": " + Describe(status);
            return 0;
        }
    }
    m_open = true;
    if (status == NATS_OK) {
        status = natsConnection_Connect(&m_connection, options);
    }
    if (status != NATS_OK) {
        m_open = false;
        error = L"Cannot connect to the NATS server " + ToWide(address.servers.front()) + L": " +
                Describe(status);
        return 0;
    }
    return 1;
}

int CNatsConnection::Subscribe(const CStringA& subject, CString& error)
{
    natsSubscription* subscription = nullptr;
    natsStatus status =
        natsConnection_Subscribe(&subscription, m_connection, subject.c_str(), OnMessage, this);
    if (status == NATS_OK) {
        const std::lock_guard lock(m_mutex);
        m_subscriptions.push_back(subscription);
        ++m_running;
        natsSubscription_SetOnCompleteCB(subscription, OnSubscriptionEnd, this);
        status = natsSubscription_SetPendingLimits(subscription, kPendingMessages, kPendingBytes);
    }
    if (status != NATS_OK) {
        error = L"Cannot subscribe to " + ToWide(subject) + L": " + Describe(status);
        return 0;
    }
    return 1;
}

int CNatsConnection::Flush(DWORD ms, CString& error)
{
    const natsStatus status = natsConnection_FlushTimeout(m_connection, ms);
    if (status != NATS_OK) {
        error = L"The NATS server does not answer: " + Describe(status);
        return 0;
    }
    return 1;
}

bool CNatsConnection::Publish(const char* subject, const char* reply, const std::uint8_t* data,
                              std::size_t size)
{
    const int count = static_cast<int>(size);
    if (natsConnection_Status(m_connection) != NATS_CONN_STATUS_CONNECTED) {
        return false;
    }
    return (reply != nullptr ? natsConnection_PublishRequest(m_connection, subject, reply, data, count)
                             : natsConnection_Publish(m_connection, subject, data, count)) == NATS_OK;
}

std::size_t CNatsConnection::GetMaxPayload() const
{
    return static_cast<std::size_t>(natsConnection_GetMaxPayload(m_connection));
}

void CNatsConnection::Close()
{
    std::vector<natsSubscription*> subscriptions;
    {
        const std::lock_guard lock(m_mutex);
        subscriptions.swap(m_subscriptions);
    }
    if (m_connection == nullptr) {
        return;
    }
    for (natsSubscription* subscription : subscriptions) {
        natsSubscription_Unsubscribe(subscription);
    }
    if (!natsConnection_IsClosed(m_connection)) {
        natsConnection_FlushTimeout(m_connection, 1000);
        natsConnection_Close(m_connection);
    }
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, kCloseTime, [this] { return m_running == 0 && !m_open; });
    }
    for (natsSubscription* subscription : subscriptions) {
        natsSubscription_Destroy(subscription);
    }
}

void CNatsConnection::OnMessage(natsConnection*, natsSubscription*, natsMsg* message, void* closure)
{
    T_NATS_MESSAGE received;
    received.subject = natsMsg_GetSubject(message);
    if (const char* reply = natsMsg_GetReply(message)) {
        received.reply = reply;
    }
    received.bytes.data = reinterpret_cast<const std::uint8_t*>(natsMsg_GetData(message));
    received.bytes.size = static_cast<std::size_t>(natsMsg_GetDataLength(message));
    received.noResponders = natsMsg_IsNoResponders(message);
    std::shared_ptr<natsMsg> owner;
    const bool keep = received.bytes.size >= kOwnedBytes;
    if (keep) {
        received.bytes.owner = std::shared_ptr<natsMsg>(message, natsMsg_Destroy);
    }
    static_cast<CNatsConnection*>(closure)->m_events.message(std::move(received));
    if (!keep) {
        natsMsg_Destroy(message);
    }
}

void CNatsConnection::OnLost(natsConnection*, void* closure)
{
    static_cast<CNatsConnection*>(closure)->m_events.lost();
}

void CNatsConnection::OnBack(natsConnection*, void* closure)
{
    static_cast<CNatsConnection*>(closure)->m_events.back();
}

void CNatsConnection::OnClosed(natsConnection*, void* closure)
{
    auto& self = *static_cast<CNatsConnection*>(closure);
    self.m_events.ended();
    const std::lock_guard lock(self.m_mutex);
    self.m_open = false;
    self.m_changed.notify_all();
}

void CNatsConnection::OnProblem(natsConnection*, natsSubscription*, natsStatus status, void* closure)
{
    static_cast<CNatsConnection*>(closure)->m_events.problem(ToWide(natsStatus_GetText(status)));
}

void CNatsConnection::OnSubscriptionEnd(void* closure)
{
    auto& self = *static_cast<CNatsConnection*>(closure);
    const std::lock_guard lock(self.m_mutex);
    --self.m_running;
    self.m_changed.notify_all();
}

} // namespace alidade
