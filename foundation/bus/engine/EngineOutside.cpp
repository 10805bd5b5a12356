// What leaves the process and what comes into it.
#include "foundation/bus/engine/Engine.h"
#include "foundation/bus/wire/VariableCbor.h"

namespace alidade {

int CIPEngine::StartRemote(const T_IP_ADDRESS& address, const CIPVariable& in,
                           const std::shared_ptr<T_IP_CALL>& call, DWORD timeout, CString& error)
{
    T_IP_REQUEST request{OrEmpty(address.task),
                         OrEmpty(address.unit),
                         OrEmpty(address.group),
                         OrEmpty(address.name),
                         in,
                         timeout,
                         call->abortWithSender,
                         true};
    const std::weak_ptr<CIPEngine> weak = weak_from_this();
    IP_REPLY_HANDLER reply = [weak, call](T_IP_REPLY&& answer) {
        if (const auto engine = weak.lock()) {
            engine->CompleteRemote(call, std::move(answer));
        }
    };
    request.senderWaits = call->bringsReply;
    request.wantsReply = call->waiter != nullptr || call->isChild;
    {
        std::lock_guard lock(m_mutex);
        if (const wchar_t* refusal = GetRefusal(*call)) {
            error = refusal;
            return 0;
        }
        if (request.wantsReply) {
            OpenCall(call, timeout);
        }
    }
    std::uint64_t number = 0;
    {
        std::shared_lock use(m_transportMutex);
        // An own unit without a name is nobody else's, where an empty one stands for any.
        const bool elsewhere = !address.exactUnit || !request.unit.empty();
        if (m_transport != nullptr && elsewhere) {
            number = m_transport->Send(std::move(request), std::move(reply));
        }
    }
    if (number == 0) {
        CString reason;
        error = CheckVariable(in, reason) ? L"Nobody answers " + address.Describe() + L"." : reason + L".";
        std::lock_guard lock(m_mutex);
        Withdraw(call);
        return 0;
    }
    CIPDeferred deferred(*this);
    std::lock_guard lock(m_mutex);
    call->remote = number;
    if (!call->open && !call->reply.ok && !call->isChild) {
        deferred.Abandon(number); // given up before its number was known; harmless when it was answered
    }
    return 1;
}

void CIPEngine::CompleteRemote(const std::shared_ptr<T_IP_CALL>& call, T_IP_REPLY&& reply)
{
    CIPDeferred deferred(*this);
    std::lock_guard lock(m_mutex);
    Complete(call, std::move(reply), deferred);
}

void CIPEngine::AbandonRemote(std::uint64_t number)
{
    std::shared_lock use(m_transportMutex);
    if (m_transport != nullptr) {
        m_transport->Abandon(number);
    }
}

/// Brings the reply to a command of another process on this thread, if it is one.
void CIPEngine::ServeReply(const T_IP_CALL& call)
{
    std::uint64_t number = 0;
    {
        std::lock_guard lock(m_mutex);
        number = call.remote;
    }
    if (number == 0) {
        return;
    }
    std::shared_ptr<IIPTransport> transport;
    {
        std::shared_lock use(m_transportMutex);
        transport = m_transport;
        m_servers += transport != nullptr ? 1 : 0;
    }
    if (transport != nullptr) {
        transport->ServeReply(number);
        transport.reset();
        if (--m_servers == 0) {
            m_servers.notify_all();
        }
    }
}

std::uint64_t CIPEngine::StartRequest(T_IP_REQUEST&& request, IP_REPLY_HANDLER reply)
{
    T_IP_ADDRESS address{request.task.c_str(), request.unit.c_str(), request.group.c_str(),
                         request.name.c_str()};
    std::shared_ptr<CIPTargetState> target;
    std::shared_ptr<CRunningCommand> command;
    const IP_COMMAND_TARGET_ENTRY* entry = nullptr;
    std::uint64_t number = 0;
    {
        std::lock_guard lock(m_mutex);
        if (!m_stopped) {
            std::tie(target, entry) = Find(address);
        }
        if (target != nullptr) {
            command = MakeCommand(target, *entry, std::move(request.parameter));
            auto call = std::make_shared<T_IP_CALL>();
            if (request.wantsReply) {
                call->handler = std::move(reply);
            }
            command->call = call;
            call->command = command;
            ++target->pins;
            number = command->request = ++m_lastRequest;
            m_requests.emplace(number, command);
            OpenCall(call, INFINITE);
        }
    }
    if (target == nullptr) {
        if (request.wantsReply) {
            reply({false, {}, L"Nobody answers " + address.Describe() + L"."});
        }
        return 0;
    }
    const bool lends = request.threadIsFree && target->thread == nullptr;
    SetLending(lends);
    const eIP_COMMAND_MESSAGE_RESULT result = target->owner->DispatchIPCommand(HIPCOMMAND(command), entry);
    SetLending(false);
    CIPDeferred deferred(*this);
    Lock lock(m_mutex);
    Unpin(*target);
    if (result == IPMSG_REFUSED) {
        Fail(command, deferred, L"The receiver is going.");
    }
    if (lends) {
        RunHere(target, lock, deferred);
    }
    return number;
}

void CIPEngine::AbortRequest(std::uint64_t number)
{
    CIPDeferred deferred(*this);
    std::lock_guard lock(m_mutex);
    const auto found = m_requests.find(number);
    if (found == m_requests.end()) {
        return;
    }
    if (const auto command = found->second.lock()) {
        Abort(command, deferred);
    }
}

void CIPEngine::WriteLog(DWORD level, const CString& line)
{
    if (CSimpleLog* log = m_log.load()) {
        if (level == 0) {
            log->WriteLog(level, L"%ls", line.c_str());
        } else {
            log->WriteErrorLog(L"%ls", line.c_str());
        }
    }
}

int CIPEngine::Join(const char* address, bool joinOnly, CSimpleLog* log, CString& error)
{
    {
        std::shared_lock use(m_transportMutex);
        if (m_transport != nullptr) {
            error = L"The bus has joined others already.";
            return 0;
        }
    }
    m_log.store(log);
    std::shared_ptr<IIPTransport> transport = JoinTransport(address, joinOnly, *this, error);
    if (transport == nullptr) {
        m_log.store(nullptr);
        return 0;
    }
    {
        std::unique_lock use(m_transportMutex);
        if (m_transport == nullptr) {
            m_transport.swap(transport);
        }
    }
    if (transport != nullptr) {
        error = L"The bus has joined others already.";
        return 0;
    }
    std::lock_guard lock(m_mutex);
    AnnounceSoon(); // what was registered while it joined
    return 1;
}

void CIPEngine::Leave()
{
    std::shared_ptr<IIPTransport> transport;
    {
        std::unique_lock use(m_transportMutex);
        transport.swap(m_transport);
    }
    if (transport != nullptr) {
        ServeWhile([this, &transport] {
            transport->Close();
            for (int servers = m_servers; servers != 0; servers = m_servers) {
                m_servers.wait(servers); // they return now
            }
            transport.reset(); // fails what was in flight; joins its threads
        });
    }
    m_log.store(nullptr);
}

/// Does something that waits for handlers of others, which may wait for a window of this thread.
void CIPEngine::ServeWhile(const std::function<void()>& operation)
{
    std::shared_ptr<CIPThreadQueue> queue;
    {
        std::lock_guard lock(m_mutex);
        queue = FindThreadQueue();
    }
    if (queue == nullptr) {
        operation();
        return;
    }
    bool done = false;
    std::thread thread([&] {
        operation();
        std::lock_guard lock(m_mutex);
        done = true;
        queue->changed.notify_all();
    });
    {
        Lock lock(m_mutex);
        while (!done) {
            if (!queue->items.empty()) {
                ServeDirectly(*queue, lock);
            } else {
                queue->changed.wait(lock);
            }
        }
    }
    thread.join();
}

} // namespace alidade
