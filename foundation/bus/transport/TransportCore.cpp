#include "foundation/bus/transport/TransportCore.h"

#include "foundation/config/SimpleLog.h"
#include "foundation/platform/PrivateFolder.h"
#include "foundation/platform/Text.h"

#include <random>

namespace alidade {
namespace {

CStringA MakeId()
{
    std::random_device device;
    return Format("%llu-%08x%08x", static_cast<unsigned long long>(GetThisProcessNumber()), device(),
                  device());
}

T_IP_REPLY Failure(const CString& error)
{
    T_IP_REPLY reply;
    reply.error = error;
    return reply;
}

} // namespace

CTransportCore::CTransportCore(IIPTransportHost& host)
    : m_host(host), m_id(MakeId()), m_name(L"process " + std::to_wstring(GetThisProcessNumber()))
{
}

std::uint64_t CTransportCore::Send(T_IP_REQUEST&& request, IP_REPLY_HANDLER reply)
{
    const std::shared_ptr<IPeerLink> peer = m_directory.Find(request);
    return peer != nullptr ? SendBy(peer, *peer, 0, std::move(request), std::move(reply)) : 0;
}

std::uint64_t CTransportCore::SendBy(const std::shared_ptr<IPeerLink>& peer, IPeerLink& way,
                                     std::uint64_t after, T_IP_REQUEST&& request, IP_REPLY_HANDLER reply)
{
    const std::uint64_t number =
        m_book.Open({peer, request.wantsReply ? reply : nullptr, request.abortWithSender});
    if (number == 0) {
        return 0;
    }
    T_TRANSPORT_FRAME frame;
    CString error;
    const bool encoded = EncodeRequest(number, request, after, frame, error);
    if (encoded) {
        way.Send(std::move(frame));
    }
    CRequestBook::T_SENT sent;
    if ((!encoded || !request.wantsReply) && m_book.Take(number, nullptr, sent) && sent.reply) {
        sent.reply(Failure(error));
    } else if (!encoded) {
        WriteLog(kLogError, L"Bus: \"" + ToWide(request.group) + L"\" \"" + ToWide(request.name) +
                                L"\" cannot be sent to " + peer->GetName() + L": " + error);
        return 0; // nobody waits for the reason
    }
    return number;
}

void CTransportCore::FailOne(std::uint64_t number, const CString& why)
{
    CRequestBook::T_SENT sent;
    if (m_book.Take(number, nullptr, sent) && sent.reply) {
        sent.reply(Failure(why));
    }
}

void CTransportCore::Abandon(std::uint64_t number)
{
    CRequestBook::T_SENT sent;
    if (m_book.Take(number, nullptr, sent) && sent.abortWithSender) {
        sent.peer->Send(EncodeGiveUp(number));
    }
}

void CTransportCore::TellCommands()
{
    // The number is taken before the list, so that a later number always goes with a later list.
    const std::uint64_t change = ++m_change;
    const std::vector<T_IP_COMMAND_RECORD> records = m_host.GetOwnCommands();
    for (const std::shared_ptr<IPeerLink>& peer : m_directory.GetPeers()) {
        peer->Send(EncodeCommands(change, records));
    }
}

T_TRANSPORT_FRAME CTransportCore::MakeHello(bool wantsAnswer, bool channels)
{
    const std::uint64_t change = m_change.load();
    return EncodeHello(m_id, m_name, change, m_host.GetOwnCommands(), wantsAnswer, channels);
}

void CTransportCore::OnMessage(const std::shared_ptr<IPeerLink>& peer, T_TRANSPORT_MESSAGE&& message)
{
    switch (message.kind) {
    case TRANSPORT_HELLO:
    case TRANSPORT_COMMANDS:
        m_directory.Set(peer, message.change, std::move(message.records));
        break;
    case TRANSPORT_REQUEST:
        OnRequest(peer, peer, std::move(message));
        break;
    case TRANSPORT_REPLY: {
        CRequestBook::T_SENT sent;
        if (m_book.Take(message.number, peer.get(), sent) && sent.reply) {
            sent.reply(std::move(message.reply));
        }
        break;
    }
    case TRANSPORT_GIVE_UP:
        if (const std::uint64_t host = m_book.GiveUp(peer.get(), message.number)) {
            m_host.AbortRequest(host);
        }
        break;
    case TRANSPORT_PROBLEM:
        WriteLog(kLogError,
                 L"Bus: " + peer->GetName() + L" did not understand this process: " + ToWide(message.text));
        break;
    default:
        break; // of a later version
    }
}

void CTransportCore::OnRequest(const std::shared_ptr<IPeerLink>& peer, const std::shared_ptr<IPeerLink>& way,
                               T_TRANSPORT_MESSAGE&& message)
{
    const std::uint64_t number = message.number;
    const bool tied = message.request.abortWithSender;
    if (tied) {
        m_book.Begin(peer.get(), number);
    }
    IP_REPLY_HANDLER reply;
    if (message.request.wantsReply || tied) {
        reply = [core = shared_from_this(), peer, way, number, tied,
                 wanted = message.request.wantsReply](T_IP_REPLY&& answer) {
            if (tied) {
                core->m_book.End(peer.get(), number);
            }
            if (wanted) {
                way->Send(EncodeReply(number, answer));
            }
        };
    }
    message.request.wantsReply = reply != nullptr;
    const std::uint64_t host = m_host.StartRequest(std::move(message.request), std::move(reply));
    if (tied && host != 0 && !m_book.SetStarted(peer.get(), number, host)) {
        m_host.AbortRequest(host);
    }
}

bool CTransportCore::OnBadMessage(const std::shared_ptr<IPeerLink>& peer, const T_TRANSPORT_MESSAGE& message,
                                  const CString& error)
{
    WriteLog(kLogError, L"Bus: a malformed message from " + peer->GetName() + L": " + error);
    if (message.kind == TRANSPORT_REQUEST && message.number != 0) {
        peer->Send(EncodeReply(message.number, Failure(L"The request was malformed: " + error)));
        return true;
    }
    peer->Send(EncodeProblem(error));
    return false;
}

void CTransportCore::LosePeer(const std::shared_ptr<IPeerLink>& peer, const CString& why)
{
    m_directory.Remove(peer.get());
    Finish(m_book.LosePeer(peer), why);
}

void CTransportCore::FailSent(const CString& why)
{
    Finish(m_book.TakeAllSent(), why);
}

void CTransportCore::Close()
{
    Finish(m_book.Close(), L"This process has left the bus");
}

void CTransportCore::Finish(CRequestBook::T_LOST&& lost, const CString& why)
{
    for (const std::uint64_t host : lost.hostNumbers) {
        m_host.AbortRequest(host);
    }
    for (CRequestBook::T_SENT& sent : lost.sent) {
        if (sent.reply) {
            sent.reply(Failure(why));
        }
    }
}

} // namespace alidade
