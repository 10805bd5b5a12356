#include "foundation/bus/transport/NatsTransport.h"

#include "foundation/config/SimpleLog.h"
#include "foundation/platform/Text.h"
#include "foundation/platform/Thread.h"
#include "foundation/platform/Ticks.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace alidade {
namespace {

constexpr std::int64_t kMillisecond = 1000000;
constexpr DWORD kFlushTime = 10000;
constexpr std::int64_t kLeastQuiet = 100 * kMillisecond; // without a further answer to HELLO: all have come
constexpr std::int64_t kMostCollect = 2000 * kMillisecond;
constexpr DWORD kProbeTime = CNatsTransport::kAlivePeriod + 500;
constexpr std::string_view kUndelivered = "none-";
constexpr const wchar_t* kLost = L"The connection to the NATS server was lost";

} // namespace

std::unique_ptr<CNatsTransport> CNatsTransport::Join(const T_NATS_ADDRESS& address, IIPTransportHost& host,
                                                     CString& error)
{
    std::unique_ptr<CNatsTransport> transport(new CNatsTransport(address, host));
    if (!transport->Start(address, error)) {
        return nullptr;
    }
    return transport;
}

CNatsTransport::CNatsTransport(const T_NATS_ADDRESS& address, IIPTransportHost& host)
    : m_core(std::make_shared<CTransportCore>(host)), m_prefix(address.bus + "."), m_all(m_prefix + "all"),
      m_toMe(m_prefix + "to." + m_core->GetId() + "."),
      m_connection(std::make_shared<CNatsConnection>(CNatsConnection::T_EVENTS{
          [this](T_NATS_MESSAGE&& message) { OnReceived(std::move(message)); },
          [this] { OnLost(); },
          [this] { OnBack(); },
          [this](const CString& text) { m_core->WriteLog(kLogError, L"Bus: NATS: " + text); },
          [this] {
              m_connected = false;
              if (!m_stopping) {
                  m_core->WriteLog(kLogError, L"Bus: the connection to the NATS server has ended for good");
              }
          },
      }))
{
}

int CNatsTransport::Start(const T_NATS_ADDRESS& address, CString& error)
{
    if (!m_connection->Connect(address, L"alidade " + m_core->GetName(), error) ||
        !m_connection->Subscribe(m_toMe + "*", error) || !m_connection->Subscribe(m_all, error) ||
        !m_connection->Flush(kFlushTime, error)) {
        return 0;
    }
    m_connected = true;
    const std::int64_t start = GetTickNanoseconds();
    Publish(m_all, m_core->MakeHello(true, false));
    if (!m_connection->Flush(kFlushTime, error)) {
        return 0;
    }
    Collect(GetTickNanoseconds() - start);
    m_aliveThread = std::thread([this] { RunAlive(); });
    return 1;
}

/// Waits until the others have told what they answer: none has for a few round trips.
void CNatsTransport::Collect(std::int64_t roundTrip)
{
    const std::int64_t start = GetTickNanoseconds();
    const std::int64_t quiet = std::max(kLeastQuiet, 5 * roundTrip);
    for (;;) {
        const std::int64_t now = GetTickNanoseconds();
        const std::int64_t wait =
            std::min(std::max(start, m_lastHello.load()) + quiet, start + kMostCollect) - now;
        if (wait <= 0) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::nanoseconds(wait));
    }
}

CNatsTransport::~CNatsTransport()
{
    m_stopping = true;
    m_stop.SetEvent();
    if (m_aliveThread.joinable()) {
        m_aliveThread.join();
    }
    if (m_connected) {
        Publish(m_all, EncodeLeave(m_core->GetId()));
    }
    m_core->Close();
    m_connection->Close();
}

std::uint64_t CNatsTransport::Send(T_IP_REQUEST&& request, IP_REPLY_HANDLER reply)
{
    const unsigned losses = m_losses;
    if (m_connected) {
        const std::uint64_t number = m_core->Send(std::move(request), std::move(reply));
        if (m_losses != losses && number != 0) {
            m_core->FailOne(number, kLost); // it may have come too late to fail with the others
        }
        return number;
    }
    if (m_core->Directory().Find(request) == nullptr || !request.wantsReply || !reply) {
        return 0; // also for one that nobody waits for: it would be lost without a word
    }
    T_IP_REPLY failure;
    failure.error = L"The connection to the NATS server is lost at present";
    reply(std::move(failure));
    return ~std::uint64_t{0};
}

/// For short messages: large ones go by way of a peer.
void CNatsTransport::Publish(const CStringA& subject, const T_TRANSPORT_FRAME& frame)
{
    m_connection->Publish(subject.c_str(), nullptr, frame.bytes.data(), frame.bytes.size());
}

std::shared_ptr<CNatsPeer> CNatsTransport::FindPeer(std::string_view id)
{
    const std::lock_guard lock(m_mutex);
    const auto at = m_peers.find(id);
    return at == m_peers.end() ? nullptr : at->second;
}

std::shared_ptr<CNatsPeer> CNatsTransport::MakePeer(const CStringA& id, const CString& name)
{
    const std::lock_guard lock(m_mutex);
    std::shared_ptr<CNatsPeer>& peer = m_peers[id];
    if (peer == nullptr) {
        const auto hasProblem = [look = m_look] { look->SetEvent(); };
        peer =
            std::make_shared<CNatsPeer>(m_connection, id, name, m_prefix + "to." + id + "." + m_core->GetId(),
                                        m_toMe + CStringA(kUndelivered) + id, hasProblem);
    }
    return peer;
}

void CNatsTransport::LosePeer(const std::shared_ptr<CNatsPeer>& peer, const CString& why)
{
    {
        const std::lock_guard lock(m_mutex);
        const auto at = m_peers.find(peer->GetId());
        if (at != m_peers.end() && at->second == peer) {
            m_peers.erase(at);
        }
    }
    peer->Reset();
    m_core->LosePeer(peer, L"The command was lost with " + peer->GetName() + L": " + why);
}

void CNatsTransport::OnReceived(T_NATS_MESSAGE&& received)
{
    try {
        const std::string_view token = received.subject.substr(received.subject.rfind('.') + 1);
        if (received.noResponders || token.starts_with(kUndelivered)) {
            OnUndelivered(token);
        } else {
            OnMessage(std::move(received), received.subject == m_all ? std::string_view() : token);
        }
    } catch (const std::exception& failure) {
        m_core->WriteLog(kLogError, L"Bus: a message was lost: " + ToWide(failure.what()));
    }
}

/// The server has nobody who takes what was sent to a peer.
void CNatsTransport::OnUndelivered(std::string_view token)
{
    if (!token.starts_with(kUndelivered)) {
        return;
    }
    token.remove_prefix(kUndelivered.size());
    if (const std::shared_ptr<CNatsPeer> peer = FindPeer(token)) {
        m_core->WriteLog(kLogNormal, L"Bus: " + peer->GetName() + L" is no longer there");
        LosePeer(peer, L"it is no longer there");
    }
}

void CNatsTransport::OnMessage(T_NATS_MESSAGE&& received, std::string_view from)
{
    std::shared_ptr<CNatsPeer> peer = from.empty() ? nullptr : FindPeer(from);
    if (peer == nullptr && !from.empty()) {
        // A client that has not said HELLO: its answers go where it wants them, and never in parts.
        const bool answered = !received.reply.empty();
        peer = std::make_shared<CNatsPeer>(m_connection, CStringA(from), L"a client",
                                           answered ? CStringA(received.reply) : m_prefix + "nobody",
                                           CStringA(), [] {});
    }
    if (peer != nullptr) {
        peer->Touch();
    }
    T_TRANSPORT_MESSAGE message;
    CString error;
    bool good = DecodeTransportMessage(received.bytes, message, error);
    if (good && message.kind == TRANSPORT_PART && peer != nullptr) {
        T_TRANSPORT_BYTES whole;
        good = peer->OnPart(message, whole);
        error = L"a part that does not fit what came before it";
        if (good && whole.data == nullptr) {
            return;
        }
        message = {};
        good = good && DecodeTransportMessage(whole, message, error);
    }
    if (!good) {
        if (peer != nullptr) {
            m_core->OnBadMessage(peer, message, error);
        } else {
            m_core->WriteLog(kLogError, L"Bus: a malformed message to all: " + error);
        }
        return;
    }
    switch (message.kind) {
    case TRANSPORT_HELLO:
        OnHello(std::move(message));
        break;
    case TRANSPORT_ALIVE:
        OnAlive(message);
        break;
    case TRANSPORT_LEAVE:
        if (const std::shared_ptr<CNatsPeer> leaver = FindPeer(message.id)) {
            LosePeer(leaver, L"it has left the bus");
        }
        break;
    case TRANSPORT_TAKEN:
        if (peer != nullptr) {
            peer->OnTaken(message);
        }
        break;
    case TRANSPORT_COMMANDS:
    case TRANSPORT_REPLY:
    case TRANSPORT_GIVE_UP:
        // Only of one that is known: another has no place in the directory, and goes with this message.
        if (FindPeer(from) != peer) {
            break;
        }
        [[fallthrough]];
    default:
        if (peer != nullptr) {
            m_core->OnMessage(peer, std::move(message));
        }
    }
}

void CNatsTransport::OnHello(T_TRANSPORT_MESSAGE&& message)
{
    if (message.id == m_core->GetId() || !IsTransportId(message.id)) {
        return;
    }
    const std::shared_ptr<CNatsPeer> peer = MakePeer(message.id, ToWide(message.text));
    peer->Touch();
    const bool wantsAnswer = message.wantsAnswer;
    m_core->OnMessage(peer, std::move(message));
    if (wantsAnswer) {
        peer->Send(m_core->MakeHello(false, false));
    }
    m_lastHello = GetTickNanoseconds();
}

void CNatsTransport::OnAlive(const T_TRANSPORT_MESSAGE& message)
{
    if (message.id == m_core->GetId() || !IsTransportId(message.id)) {
        return;
    }
    const std::shared_ptr<CNatsPeer> peer = FindPeer(message.id);
    if (peer != nullptr) {
        peer->Touch();
    }
    if (peer == nullptr || m_core->Directory().GetChange(peer.get()) < message.change) {
        // Something was missed: it tells again when it is asked.
        const T_TRANSPORT_FRAME hello = m_core->MakeHello(true, false);
        MakePeer(message.id, L"process " + ToWide(message.id))->Send(T_TRANSPORT_FRAME(hello));
    }
}

void CNatsTransport::OnLost()
{
    m_connected = false;
    ++m_losses;
    if (m_stopping) {
        return;
    }
    m_core->WriteLog(kLogError, L"Bus: the connection to the NATS server is lost");
    std::vector<std::shared_ptr<CNatsPeer>> peers;
    {
        const std::lock_guard lock(m_mutex);
        for (const auto& [id, peer] : m_peers) {
            peers.push_back(peer);
        }
    }
    for (const auto& peer : peers) {
        peer->Reset();
    }
    m_core->FailSent(kLost);
}

void CNatsTransport::OnBack()
{
    {
        const std::lock_guard lock(m_mutex);
        for (const auto& [id, peer] : m_peers) {
            peer->Touch();
        }
    }
    m_connected = true;
    m_core->WriteLog(kLogNormal, L"Bus: the connection to the NATS server is back");
    Publish(m_all, m_core->MakeHello(true, false));
}

void CNatsTransport::RunAlive()
{
    NameThisThread("bus-alive");
    const auto start = std::chrono::steady_clock::now();
    auto next = start + std::chrono::milliseconds(kAlivePeriod);
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(next - std::chrono::steady_clock::now())
                .count();
        const int which =
            CEvent::WaitForAny({&m_stop, m_look.get()}, left > 0 ? static_cast<DWORD>(left) : 0);
        if (which == 0) {
            return;
        }
        std::vector<std::shared_ptr<CNatsPeer>> peers;
        {
            const std::lock_guard lock(m_mutex);
            for (const auto& [id, peer] : m_peers) {
                peers.push_back(peer);
            }
        }
        for (const auto& peer : peers) {
            CString problem = peer->GetProblem();
            if (problem.empty() && m_connected && peer->GetSilence() > kGoneTime) {
                problem = L"it has been silent for " + std::to_wstring(kGoneTime / 1000) + L" s";
            }
            if (!problem.empty()) {
                m_core->WriteLog(kLogError, L"Bus: gave up " + peer->GetName() + L": " + problem);
                LosePeer(peer, problem);
            } else if (m_connected && peer->GetSilence() > kProbeTime) {
                // The server says at once when nobody is there to take it.
                peer->Send(EncodeAlive(m_core->GetId(), m_core->GetChange()));
            }
        }
        if (std::chrono::steady_clock::now() >= next) {
            if (m_connected) {
                Publish(m_all, EncodeAlive(m_core->GetId(), m_core->GetChange()));
            }
            next = std::chrono::steady_clock::now() + std::chrono::milliseconds(kAlivePeriod);
        }
    }
}

} // namespace alidade
