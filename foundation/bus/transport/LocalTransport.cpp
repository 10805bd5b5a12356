#include "foundation/bus/transport/LocalTransport.h"

#include "foundation/config/SimpleLog.h"
#include "foundation/platform/PrivateFolder.h"
#include "foundation/platform/Text.h"
#include "foundation/platform/Thread.h"
#include "foundation/platform/Ticks.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace alidade {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLongestName = 32;
constexpr DWORD kLockTime = 2000;
constexpr auto kMeetTime = std::chrono::seconds(5); // that Join waits for others to tell what they answer
constexpr DWORD kDrainTime = 1000;
constexpr DWORD kLookPeriod = 1000;
constexpr std::int64_t kSecond = 1000000000;
constexpr std::int64_t kLongestRetry = 30 * kSecond;
constexpr std::size_t kMostChannels = 16; // of this process to one other
constexpr const char* kLockFile = ".lock";
constexpr const char* kExtension = ".sock";

} // namespace

std::unique_ptr<CLocalTransport> CLocalTransport::Join(const CStringA& name, bool joinOnly,
                                                       IIPTransportHost& host, CString& error,
                                                       const T_LOCAL_LIMITS& limits)
{
    if (!CheckName(name, error)) {
        return nullptr;
    }
    std::unique_ptr<CLocalTransport> transport(new CLocalTransport(GetFolder(name), host, limits));
    if (!transport->Start(joinOnly, error)) {
        return nullptr;
    }
    return transport;
}

bool CLocalTransport::CheckName(const CStringA& name, CString& error)
{
    constexpr const char* kAllowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789.-_";
    if (name.empty() || name.size() > kLongestName || name[0] == '.' ||
        name.find_first_not_of(kAllowed) != name.npos) {
        error = L"\"" + ToWide(name) +
                L"\" is no name of a local bus: 1 to 32 letters, digits, dots, dashes and underscores, not "
                L"beginning with a dot";
        return false;
    }
    return true;
}

fs::path CLocalTransport::GetFolder(const CStringA& name)
{
    return GetUserRuntimeFolder() / name;
}

CLocalTransport::CLocalTransport(fs::path folder, IIPTransportHost& host, const T_LOCAL_LIMITS& limits)
    : m_folder(std::move(folder)), m_limits(limits), m_core(std::make_shared<CTransportCore>(host))
{
}

int CLocalTransport::Start(bool joinOnly, CString& error)
{
    if (!MakePrivateFolder(m_folder.parent_path(), error) || !MakePrivateFolder(m_folder, error)) {
        return 0;
    }
    std::vector<CStringA> others;
    {
        // Of two that join at a time the second one sees the first.
        CFileLock lock;
        if (!lock.Lock(m_folder / kLockFile, kLockTime, error) ||
            !m_listener.Listen(GetSocketPath(m_core->GetId()), error)) {
            return 0;
        }
        others = ListOthers();
    }
    m_acceptThread = std::thread([this] { RunAccept(); });
    for (const CStringA& id : others) {
        Dial(id);
    }
    std::unique_lock lock(m_mutex);
    const auto settled = [this] {
        return std::all_of(m_connections.begin(), m_connections.end(),
                           [](const T_CONNECTION& c) { return c.met || c.over || !c.dialled; });
    };
    if (!m_changed.wait_for(lock, kMeetTime, settled)) {
        m_core->WriteLog(kLogError,
                         L"Bus: not every process on it has answered; what they serve may come later");
    }
    const bool alone = std::none_of(m_connections.begin(), m_connections.end(),
                                    [](const T_CONNECTION& c) { return c.met && !c.over; });
    if (joinOnly && alone) {
        error = L"Nobody is on the bus local:" + FromPath(m_folder.filename());
        return 0;
    }
    return 1;
}

CLocalTransport::~CLocalTransport()
{
    Close();
    if (m_acceptThread.joinable()) {
        m_acceptThread.join();
    }
    JoinEnded(true);
}

void CLocalTransport::Close()
{
    if (m_stop.exchange(true)) {
        return;
    }
    m_listener.Stop();
    m_core->Close();
    std::vector<std::shared_ptr<CLocalPeer>> peers;
    {
        const std::lock_guard lock(m_mutex);
        for (const T_CONNECTION& connection : m_connections) {
            peers.push_back(connection.peer);
        }
        for (const auto& [number, call] : m_calls) {
            peers.push_back(call.channel);
        }
    }
    const std::int64_t end = GetTickNanoseconds() + kDrainTime * (kSecond / 1000);
    for (const auto& peer : peers) {
        const std::int64_t left = (end - GetTickNanoseconds()) / (kSecond / 1000);
        peer->Drain(static_cast<DWORD>(std::max<std::int64_t>(left, 0)));
        peer->Close();
    }
}

std::uint64_t CLocalTransport::Send(T_IP_REQUEST&& request, IP_REPLY_HANDLER reply)
{
    if (!request.senderWaits || !request.wantsReply) {
        return m_core->Send(std::move(request), std::move(reply));
    }
    const std::shared_ptr<IPeerLink> peer = m_core->Directory().Find(request);
    if (peer == nullptr) {
        return 0;
    }
    const std::shared_ptr<CLocalPeer> channel = TakeChannel(peer.get());
    if (channel == nullptr) {
        return m_core->SendBy(peer, *peer, 0, std::move(request), std::move(reply));
    }
    // What this process has sent before arrives before.
    const std::uint64_t after = static_cast<const CLocalPeer&>(*peer).CountSent();
    const std::uint64_t number = m_core->SendBy(peer, *channel, after, std::move(request), std::move(reply));
    if (number == 0) {
        PutChannel({channel, peer}, 0, false);
    } else {
        const std::lock_guard lock(m_mutex);
        m_calls[number] = {channel, peer};
    }
    return number;
}

void CLocalTransport::ServeReply(std::uint64_t number)
{
    T_CALL call;
    {
        const std::lock_guard lock(m_mutex);
        const auto at = m_calls.find(number);
        if (at == m_calls.end()) {
            return;
        }
        call = at->second;
    }
    bool usable = true;
    while (usable && m_core->IsOpen(number)) {
        T_TRANSPORT_BYTES bytes;
        T_TRANSPORT_MESSAGE message;
        CString error = L"its connection has ended";
        usable = call.channel->Read(bytes, INFINITE, error) == CLocalPeer::eREAD::MESSAGE &&
                 DecodeTransportMessage(bytes, message, error) && message.kind == TRANSPORT_REPLY;
        if (usable) {
            const bool done = message.number == number;
            m_core->OnMessage(call.peer, std::move(message));
            if (done) {
                break;
            }
        } else {
            m_core->FailOne(number, L"The command was lost with " + call.peer->GetName() + L": " + error);
        }
    }
    PutChannel(call, number, usable);
}

void CLocalTransport::Abandon(std::uint64_t number)
{
    m_core->Abandon(number);
    const std::lock_guard lock(m_mutex);
    const auto at = m_calls.find(number);
    if (at != m_calls.end()) {
        at->second.channel->Close();
    }
}

/// A connection for one request at a time; null when the peer takes none, or enough are in use.
std::shared_ptr<CLocalPeer> CLocalTransport::TakeChannel(const IPeerLink* peer)
{
    CStringA id;
    {
        const std::lock_guard lock(m_mutex);
        const auto at = std::find_if(m_connections.begin(), m_connections.end(),
                                     [&](const T_CONNECTION& c) { return c.peer.get() == peer; });
        if (at == m_connections.end() || !at->channels || at->over || m_stop) {
            return nullptr;
        }
        while (!at->idle.empty()) {
            const std::shared_ptr<CLocalPeer> channel = std::move(at->idle.back());
            at->idle.pop_back();
            if (channel->IsOpen()) {
                return channel;
            }
            --at->channelCount;
        }
        if (at->channelCount >= kMostChannels) {
            return nullptr;
        }
        ++at->channelCount;
        id = at->id;
    }
    CString error;
    CLocalSocket socket = CLocalSocket::Connect(GetSocketPath(id), error);
    if (!socket.IsOpen() || !IsOwnUser(socket)) {
        const std::lock_guard lock(m_mutex);
        for (T_CONNECTION& connection : m_connections) {
            connection.channelCount -= connection.peer.get() == peer ? 1 : 0;
        }
        return nullptr;
    }
    auto channel = std::make_shared<CLocalPeer>(std::move(socket), m_limits, peer->GetName());
    channel->Send(EncodeChannel(m_core->GetId()));
    return channel;
}

/// Ends the use of a channel.
void CLocalTransport::PutChannel(const T_CALL& call, std::uint64_t number, bool usable)
{
    const std::lock_guard lock(m_mutex);
    m_calls.erase(number);
    for (T_CONNECTION& connection : m_connections) {
        if (connection.peer != call.peer) {
            continue;
        }
        if (usable && !connection.over && !m_stop && call.channel->IsOpen()) {
            connection.idle.push_back(call.channel);
        } else {
            --connection.channelCount;
        }
    }
}

void CLocalTransport::OnOwnCommandsChanged()
{
    m_core->TellCommands();
}

std::vector<T_IP_COMMAND_RECORD> CLocalTransport::ListCommands() const
{
    return m_core->ListCommands();
}

fs::path CLocalTransport::GetSocketPath(const CStringA& id) const
{
    return m_folder / (id + kExtension);
}

std::vector<CStringA> CLocalTransport::ListOthers() const
{
    std::vector<CStringA> ids;
    std::error_code failed;
    for (fs::directory_iterator at(m_folder, failed), end; !failed && at != end; at.increment(failed)) {
        const CStringA id = at->path().stem().string();
        if (at->path().extension() == kExtension && id != m_core->GetId()) {
            ids.push_back(id);
        }
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

bool CLocalTransport::Dial(const CStringA& id)
{
    CString error;
    bool gone = false;
    CLocalSocket socket = CLocalSocket::Connect(GetSocketPath(id), error, &gone);
    if (gone) {
        RemoveStale(id);
    }
    return socket.IsOpen() && IsOwnUser(socket) && Connect(std::move(socket), true, id);
}

/// Removes what a process left that has died. The lock keeps off one that is just about to listen.
void CLocalTransport::RemoveStale(const CStringA& id)
{
    CFileLock lock;
    CString error;
    bool gone = false;
    if (lock.Lock(m_folder / kLockFile, kLockTime, error) &&
        !CLocalSocket::Connect(GetSocketPath(id), error, &gone).IsOpen() && gone) {
        std::error_code ignored;
        fs::remove(GetSocketPath(id), ignored);
    }
}

bool CLocalTransport::IsOwnUser(const CLocalSocket& socket)
{
    std::uint64_t user = 0;
    if (!socket.GetPeerUser(user) || user == CLocalSocket::GetThisUser()) {
        return true;
    }
    m_core->WriteLog(kLogError,
                     L"Bus: refused a connection of another user, number " + std::to_wstring(user));
    return false;
}

/// Enters a connection and starts its thread.
bool CLocalTransport::Connect(CLocalSocket socket, bool dialled, const CStringA& id)
{
    JoinEnded(false);
    const std::uint64_t process = socket.GetPeerProcess();
    const CString name = process != 0 ? L"process " + std::to_wstring(process) : CString(L"a process");
    auto peer = std::make_shared<CLocalPeer>(std::move(socket), m_limits, name);
    std::uint64_t change = 0;
    if (dialled) {
        change = m_core->GetChange();
        peer->Send(m_core->MakeHello(true, true));
    }
    const std::lock_guard lock(m_mutex);
    if (m_stop) {
        return false; // Close has told those that it found here to end, and would wait for this one for ever
    }
    if (m_connections.size() >= m_limits.mostPeers) {
        m_core->WriteLog(kLogError, L"Bus: refused a connection, there are " +
                                        std::to_wstring(m_connections.size()) + L" already");
        return false;
    }
    T_CONNECTION& connection = m_connections.emplace_back();
    connection.peer = std::move(peer);
    connection.dialled = dialled;
    connection.change = change;
    connection.id = id;
    connection.thread = std::thread([this, &connection] { Serve(connection); });
    return true;
}

void CLocalTransport::RunAccept()
{
    NameThisThread("bus-accept");
    std::int64_t next = GetTickNanoseconds() + kSecond;
    while (!m_stop) {
        CLocalSocket socket = m_listener.Accept(kLookPeriod);
        if (socket.IsOpen() && IsOwnUser(socket)) {
            Connect(std::move(socket), false, {});
        }
        if (!m_stop && GetTickNanoseconds() >= next) {
            LookForLost();
            next = GetTickNanoseconds() + kSecond;
        }
    }
}

void CLocalTransport::LookForLost()
{
    const std::int64_t now = GetTickNanoseconds();
    std::vector<CStringA> lost;
    const std::vector<CStringA> others = ListOthers();
    {
        const std::lock_guard lock(m_mutex);
        std::erase_if(m_retries, [&](const auto& retry) {
            return std::find(others.begin(), others.end(), retry.first) == others.end();
        });
        for (const CStringA& id : others) {
            const bool there = std::any_of(m_connections.begin(), m_connections.end(),
                                           [&](const T_CONNECTION& c) { return c.id == id && !c.over; });
            if (there) {
                // Kept while the connection is young, so that one that breaks at once is tried more seldom.
                if (m_retries.contains(id) && now > m_retries[id].next + kLongestRetry) {
                    m_retries.erase(id);
                }
                continue;
            }
            T_RETRY& retry = m_retries[id];
            if (m_core->GetId() < id || now < retry.next) {
                continue;
            }
            // The first look only notes it: it may be about to connect by itself.
            if (retry.wait != 0) {
                lost.push_back(id);
            }
            retry.wait = std::clamp(2 * retry.wait, kSecond, kLongestRetry);
            retry.next = now + retry.wait;
        }
    }
    for (const CStringA& id : lost) {
        Dial(id);
    }
    JoinEnded(false);
}

void CLocalTransport::JoinEnded(bool all)
{
    std::list<T_CONNECTION> ended;
    {
        std::unique_lock lock(m_mutex);
        for (auto at = m_connections.begin(); at != m_connections.end();) {
            const auto next = std::next(at);
            if (all || at->over) {
                ended.splice(ended.end(), m_connections, at);
            }
            at = next;
        }
    }
    for (T_CONNECTION& connection : ended) {
        connection.thread.join();
    }
}

void CLocalTransport::Serve(T_CONNECTION& connection)
{
    NameThisThread("bus-peer");
    CString problem;
    try {
        problem = ServeMessages(connection);
    } catch (const std::exception& failure) {
        problem = ToWide(failure.what());
    }
    const std::shared_ptr<CLocalPeer> peer = connection.peer;
    if (problem.empty()) {
        problem = peer->GetProblem();
    }
    peer->Close();
    if (!problem.empty() && !m_stop) {
        m_core->WriteLog(kLogError, L"Bus: closed the connection to " + peer->GetName() + L": " + problem);
    }
    m_core->LosePeer(peer, L"The connection to " + peer->GetName() + L", which had the command, is lost");
    peer->NoteHandled(true);
    std::vector<std::shared_ptr<CLocalPeer>> idle;
    const std::lock_guard lock(m_mutex);
    connection.over = true;
    idle.swap(connection.idle); // closed when nobody holds the lock
    for (const auto& [number, call] : m_calls) {
        if (call.peer == peer) {
            call.channel->Close();
        }
    }
    m_changed.notify_all();
}

/// Runs until the connection ends.
/// @return what was wrong; empty when the other process has just left
CString CLocalTransport::ServeMessages(T_CONNECTION& connection)
{
    const std::shared_ptr<CLocalPeer>& peer = connection.peer;
    bool met = false;
    for (;;) {
        T_TRANSPORT_BYTES bytes;
        CString error;
        switch (peer->Read(bytes, met ? INFINITE : m_limits.helloTime, error)) {
        case CLocalPeer::eREAD::ENDED:
            return {};
        case CLocalPeer::eREAD::LATE:
            return L"it did not say who it is";
        case CLocalPeer::eREAD::BROKEN:
            peer->Send(EncodeProblem(error));
            return error;
        case CLocalPeer::eREAD::MESSAGE:
            break;
        }
        T_TRANSPORT_MESSAGE message;
        if (!DecodeTransportMessage(bytes, message, error)) {
            if (!m_core->OnBadMessage(peer, message, error)) {
                return error;
            }
            peer->NoteHandled();
            continue;
        }
        const bool hello = message.kind == TRANSPORT_HELLO;
        if (message.kind == TRANSPORT_CHANNEL && !met && !connection.dialled) {
            return ServeChannel(connection, message.id);
        }
        // One that was dialled knows this process already and may send anything before its HELLO.
        if (!met && !hello && !connection.dialled) {
            error = L"its first message does not say who it is";
            peer->Send(EncodeProblem(error));
            return error;
        }
        if (hello && !met && !Meet(connection, message)) {
            return {};
        }
        m_core->OnMessage(peer, std::move(message));
        peer->NoteHandled();
        if (hello && !met) {
            met = true;
            if (!connection.dialled) {
                peer->Send(m_core->MakeHello(false, true));
            } else if (m_core->GetChange() != connection.change) {
                m_core->TellCommands();
            }
            const std::lock_guard lock(m_mutex);
            connection.met = true;
            m_changed.notify_all();
        }
    }
}

/// Serves a connection on which a process sends its requests one at a time, each once the one before has its
/// reply: so nothing waits for this thread.
CString CLocalTransport::ServeChannel(T_CONNECTION& connection, const CStringA& id)
{
    const std::shared_ptr<CLocalPeer>& channel = connection.peer;
    std::shared_ptr<CLocalPeer> main;
    {
        const std::lock_guard lock(m_mutex);
        connection.channel = true;
        for (const T_CONNECTION& other : m_connections) {
            main = !other.channel && !other.over && other.id == id ? other.peer : main;
        }
    }
    CString error = L"it belongs to no process that is there";
    while (main != nullptr) {
        T_TRANSPORT_BYTES bytes;
        const CLocalPeer::eREAD result = channel->Read(bytes, INFINITE, error);
        if (result == CLocalPeer::eREAD::ENDED) {
            return {};
        }
        if (result != CLocalPeer::eREAD::MESSAGE) {
            break;
        }
        T_TRANSPORT_MESSAGE message;
        if (!DecodeTransportMessage(bytes, message, error)) {
            if (!m_core->OnBadMessage(channel, message, error)) {
                return error;
            }
            continue;
        }
        if (message.kind != TRANSPORT_REQUEST) {
            error = L"there is something else than a request";
            break;
        }
        main->WaitHandled(message.after);
        message.request.threadIsFree = true;
        m_core->OnRequest(main, channel, std::move(message));
    }
    channel->Send(EncodeProblem(error));
    return error;
}

/// Of two connections to one process only one stays.
/// @return false when this one goes
bool CLocalTransport::Meet(T_CONNECTION& connection, const T_TRANSPORT_MESSAGE& hello)
{
    const std::lock_guard lock(m_mutex);
    connection.id = hello.id;
    connection.channels = hello.channels;
    for (T_CONNECTION& other : m_connections) {
        if (&other == &connection || other.over || other.channel || other.id != hello.id) {
            continue;
        }
        // Both sides decide alike: the one that the later name has dialled stays, of two such the newer.
        const bool laterDialled = connection.dialled == (m_core->GetId() > hello.id);
        if (other.dialled != connection.dialled && !laterDialled) {
            return false;
        }
        other.peer->Close();
    }
    return true;
}

} // namespace alidade
