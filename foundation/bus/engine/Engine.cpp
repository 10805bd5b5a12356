#include "foundation/bus/engine/Engine.h"

#include "foundation/bus/engine/CommandPool.h"
#include "foundation/bus/engine/RunningStack.h"
#include "foundation/platform/Spin.h"
#include "foundation/platform/Text.h"
#include "foundation/platform/Ticks.h"

#include <algorithm>

namespace alidade {
namespace {

bool IsSet(const char* text)
{
    return text != nullptr && *text != 0;
}

} // namespace

CString T_IP_ADDRESS::Describe() const
{
    CString text = L"\"" + ToWide(OrEmpty(group)) + L"\" \"" + ToWide(OrEmpty(name)) + L"\"";
    text += IsSet(unit) ? L" of unit \"" + ToWide(unit) + L"\"" : CString(L" of any unit");
    if (IsSet(task)) {
        text += L" in task \"" + ToWide(task) + L"\"";
    }
    return text;
}

CIPDeferred::~CIPDeferred()
{
    Run();
}

void CIPDeferred::Run()
{
    while (!IsEmpty()) {
        auto replies = std::exchange(m_replies, {});
        auto garbage = std::exchange(m_garbage, {});
        auto abandoned = std::exchange(m_abandoned, {});
        auto lines = std::exchange(m_lines, {});
        for (auto& [target, line] : lines) {
            if (target->client != nullptr && target->client->GetLog() != nullptr) {
                target->client->GetLog()->WriteErrorLog(L"%ls", line.c_str());
            }
            std::lock_guard lock(m_engine.m_mutex);
            m_engine.Unpin(*target);
        }
        for (auto& [handler, reply] : replies) {
            handler(std::move(reply));
        }
        for (const std::uint64_t number : abandoned) {
            m_engine.AbandonRemote(number);
        }
    }
}

CIPEngine::~CIPEngine() = default;

// Receivers

int CIPEngine::Register(const std::shared_ptr<CIPTargetState>& target)
{
    std::lock_guard lock(m_mutex);
    if (m_stopped || target->registered || target->closed || target->client->IsShutDown()) {
        return 0;
    }
    target->registered = true;
    m_targets.push_back(target);
    AnnounceSoon();
    return 1;
}

void CIPEngine::Close(const std::shared_ptr<CIPTargetState>& target)
{
    std::lock_guard lock(m_mutex);
    target->closed = true;
    if (std::erase(m_targets, target) != 0) {
        AnnounceSoon();
    }
}

void CIPEngine::EndCommandsOf(const CIPTargetState& target, const wchar_t* reason)
{
    CIPDeferred deferred(*this);
    std::lock_guard lock(m_mutex);
    std::vector<std::shared_ptr<CRunningCommand>> commands;
    for (const auto& [pointer, command] : m_live) {
        if (command->target.get() == &target && command->state != CRunningCommand::eSTATE::RUNNING) {
            commands.push_back(command);
        }
    }
    for (const auto& command : commands) {
        Fail(command, deferred, reason);
    }
}

void CIPEngine::WaitUntilLeft(CIPTargetState& target)
{
    std::shared_ptr<CIPThreadQueue> queue; // its end, outside of the lock
    std::condition_variable left;
    CIPDeferred deferred(*this);
    Lock lock(m_mutex);
    const int own = RunningStack::CountFramesOf(target);
    if (target.pins <= own) {
        return;
    }
    if (own == 0) {
        target.leaving = true;
        GiveUpAll([&target](const T_IP_CALL& call) { return call.sender == &target; },
                  L"The receiver is gone.", deferred);
        lock.unlock();
        deferred.Run();
        lock.lock();
    }
    queue = FindThreadQueue();
    m_leavers.push_back(queue != nullptr ? &queue->changed : &left);
    while (target.pins > own) {
        if (queue != nullptr && !queue->items.empty()) {
            ServeDirectly(*queue, lock); // what runs may be waiting for one of this thread's windows
        } else {
            (queue != nullptr ? queue->changed : left).wait(lock);
        }
    }
    m_leavers.erase(std::ranges::find(m_leavers, queue != nullptr ? &queue->changed : &left));
}

void CIPEngine::Unpin(CIPTargetState& target)
{
    --target.pins;
    for (std::condition_variable* leaver : m_leavers) {
        leaver->notify_all();
    }
}

void CIPEngine::SetUnit(CIPTargetState& target, const char* unit)
{
    std::lock_guard lock(m_mutex);
    target.unit = OrEmpty(unit);
    if (target.registered && !target.closed) {
        AnnounceSoon();
    }
}

CStringA CIPEngine::GetUnit(const CIPTargetState& target) const
{
    std::lock_guard lock(m_mutex);
    return target.unit;
}

CIPClient* CIPEngine::GetClient(const CIPTargetState& target) const
{
    std::lock_guard lock(m_mutex);
    return target.closed ? nullptr : target.client;
}

void CIPEngine::CloseClient(const CIPClient& client)
{
    std::vector<std::shared_ptr<CIPTargetState>> targets;
    {
        CIPDeferred deferred(*this);
        std::lock_guard lock(m_mutex);
        std::copy_if(m_targets.begin(), m_targets.end(), std::back_inserter(targets),
                     [&](const auto& target) { return target->client == &client; });
        for (const auto& target : targets) {
            target->closed = true;
            std::erase(m_targets, target);
        }
        if (!targets.empty()) {
            AnnounceSoon();
        }
        GiveUpAll([&client](const T_IP_CALL& call) { return call.client == &client; },
                  L"The sender's client is shut down.", deferred);
    }
    for (const auto& target : targets) {
        EndCommandsOf(*target, L"The receiver's client is shut down.");
        WaitUntilLeft(*target);
        std::lock_guard lock(m_mutex);
        target->client = nullptr;
    }
}

CIPEngine::TargetAndEntry CIPEngine::Find(const T_IP_ADDRESS& address) const
{
    if (!IsSet(address.group) || !IsSet(address.name)) {
        return {};
    }
    const bool anyTask = !IsSet(address.task);
    const auto find = [&](bool own) -> TargetAndEntry {
        for (const auto& target : m_targets) {
            if (!target->answers || (anyTask && (target->task == address.ownTask) != own) ||
                (!anyTask && target->task != address.task) ||
                ((address.exactUnit || IsSet(address.unit)) && target->unit != OrEmpty(address.unit))) {
                continue;
            }
            const IP_COMMAND_TARGET* table = target->owner->GetIPCommandTargetStatic();
            const IP_COMMAND_TARGET_ENTRY* entry =
                table != nullptr ? table->Find(address.group, address.name) : nullptr;
            if (entry != nullptr) {
                return {target, entry};
            }
        }
        return {};
    };
    TargetAndEntry found = find(true);
    return found.first != nullptr || !anyTask ? found : find(false);
}

std::vector<T_IP_COMMAND_RECORD> CIPEngine::GetOwnCommands() const
{
    std::lock_guard lock(m_mutex);
    std::vector<T_IP_COMMAND_RECORD> records;
    for (const auto& target : m_targets) {
        if (!target->answers) {
            continue;
        }
        for (const IP_COMMAND_TARGET* table = target->owner->GetIPCommandTargetStatic(); table != nullptr;
             table = table->parent) {
            for (const auto* entry = table->entries; entry != nullptr && entry->group != nullptr; ++entry) {
                records.push_back({target->task, target->unit, entry->group, entry->name, entry->flag});
            }
        }
    }
    return records;
}

std::vector<T_IP_COMMAND_RECORD> CIPEngine::ListCommands() const
{
    std::vector<T_IP_COMMAND_RECORD> records = GetOwnCommands();
    std::shared_lock use(m_transportMutex);
    if (m_transport != nullptr) {
        const std::vector<T_IP_COMMAND_RECORD> others = m_transport->ListCommands();
        records.insert(records.end(), others.begin(), others.end());
    }
    return records;
}

// Senders

int CIPEngine::Post(const CIPClient* client, const T_IP_ADDRESS& address, const CIPVariable& in,
                    CString& error)
{
    auto call = std::make_shared<T_IP_CALL>();
    call->client = client;
    return Start(address, in, call, INFINITE, error);
}

int CIPEngine::Send(const CIPClient* client, const T_IP_ADDRESS& address, const CIPVariable& in,
                    CIPVariable* out, DWORD timeout, DWORD flags, CString& error)
{
    std::shared_ptr<CIPThreadQueue> queue;
    {
        std::lock_guard lock(m_mutex);
        queue = FindThreadQueue();
    }
    std::condition_variable own;
    auto call = std::make_shared<T_IP_CALL>();
    call->client = client;
    call->waiter = queue != nullptr ? &queue->changed : &own;
    if (const CRunningCommand* running = RunningStack::Top(this)) {
        call->sender = running->target.get();
    }
    call->abortWithSender = (flags & IPSEND_ABORT_WITH_SENDER) != 0;
    call->bringsReply = queue == nullptr; // a thread with windows goes on serving them
    if (Start(address, in, call, timeout, error) == 0) {
        return 0;
    }
    if (call->bringsReply) {
        ServeReply(*call);
    }
    WaitForAnswer(*call, queue.get());
    if (out != nullptr && (call->reply.ok || !call->reply.result.IsEmpty())) {
        *out = std::move(call->reply.result);
    }
    error = std::move(call->reply.error);
    return call->reply.ok ? 1 : 0;
}

void CIPEngine::WaitForAnswer(T_IP_CALL& call, CIPThreadQueue* queue)
{
    SpinUntil([&call] { return call.done.load(std::memory_order_relaxed); });
    Lock lock(m_mutex); // also sees that who completed it has let go of the waiter
    while (!call.done.load(std::memory_order_relaxed)) {
        if (queue != nullptr && !queue->items.empty()) {
            ServeDirectly(*queue, lock);
        } else {
            call.waiter->wait(lock);
        }
    }
}

int CIPEngine::SendChild(const CIPClient* client, CIPCommand* parent, const T_IP_ADDRESS& address,
                         const CIPVariable& in, DWORD timeout, CString& error)
{
    if (parent == nullptr || parent != GetRunning()) {
        error = L"A child command needs a parent that this thread is running.";
        return 0;
    }
    auto call = std::make_shared<T_IP_CALL>();
    call->client = client;
    call->unit = OrEmpty(address.unit);
    call->group = OrEmpty(address.group);
    call->name = OrEmpty(address.name);
    call->isChild = true;
    call->abortWithSender = true; // an aborted parent takes its children with it
    {
        std::lock_guard lock(m_mutex);
        const auto live = m_live.find(parent);
        if (live == m_live.end()) {
            error = L"The parent command has ended.";
            return 0;
        }
        call->parent = live->second;
        ++live->second->children;
        std::erase_if(live->second->childCalls, [](const auto& child) { return child.expired(); });
        live->second->childCalls.push_back(call);
    }
    if (Start(address, in, call, timeout, error) == 0) {
        std::lock_guard lock(m_mutex);
        Withdraw(call);
        return 0;
    }
    return 1;
}

/// Why nothing can be sent, or null.
const wchar_t* CIPEngine::GetRefusal(const T_IP_CALL& call) const
{
    if (m_stopped) {
        return L"The bus is shut down.";
    }
    if (call.client != nullptr && call.client->IsShutDown()) {
        return L"The client is shut down.";
    }
    return call.sender != nullptr && call.sender->leaving ? L"The receiver is gone." : nullptr;
}

int CIPEngine::Start(const T_IP_ADDRESS& address, const CIPVariable& in,
                     const std::shared_ptr<T_IP_CALL>& call, DWORD timeout, CString& error)
{
    std::shared_ptr<CIPTargetState> target;
    std::shared_ptr<CRunningCommand> command;
    const IP_COMMAND_TARGET_ENTRY* entry = nullptr;
    {
        std::lock_guard lock(m_mutex);
        if (const wchar_t* refusal = GetRefusal(*call)) {
            error = refusal;
            return 0;
        }
        std::tie(target, entry) = Find(address);
        if (target != nullptr) {
            if (call->waiter != nullptr && target->thread == nullptr &&
                RunningStack::CountFramesOf(*target) > 0) {
                error = L"The command " + address.Describe() + L" would wait for its own sender.";
                return 0;
            }
            command = MakeCommand(target, *entry, in);
            command->call = call;
            call->command = command;
            ++target->pins;
            OpenCall(call, timeout);
        }
    }
    if (target == nullptr) {
        return StartRemote(address, in, call, timeout, error);
    }
    const eIP_COMMAND_MESSAGE_RESULT result = target->owner->DispatchIPCommand(HIPCOMMAND(command), entry);
    CIPDeferred deferred(*this);
    std::lock_guard lock(m_mutex);
    Unpin(*target);
    if (result == IPMSG_REFUSED) {
        Fail(command, deferred, L"The receiver is going.");
    }
    return 1;
}

void CIPEngine::OpenCall(const std::shared_ptr<T_IP_CALL>& call, DWORD timeout)
{
    call->timeout = timeout;
    const bool awaited = call->waiter != nullptr || call->isChild;
    if (awaited || call->handler) {
        m_calls.insert(call);
    }
    if (awaited && timeout != INFINITE) {
        call->timer = SetTimer(timeout, {nullptr, call});
    }
}

void CIPEngine::Withdraw(const std::shared_ptr<T_IP_CALL>& call)
{
    if (!call->open) {
        return; // its time was over before it was known that nobody answers
    }
    call->open = false;
    CancelTimer(call->timer);
    m_calls.erase(call);
    if (const auto parent = call->parent.lock()) {
        --parent->children;
    }
}

void CIPEngine::Complete(const std::shared_ptr<T_IP_CALL>& call, T_IP_REPLY&& reply, CIPDeferred& deferred)
{
    if (!call->open) {
        return;
    }
    call->open = false;
    CancelTimer(call->timer);
    m_calls.erase(call);
    if (call->waiter != nullptr) {
        call->reply = std::move(reply);
        call->done.store(true, std::memory_order_release);
        call->waiter->notify_all();
    } else if (const auto parent = call->parent.lock()) {
        parent->childFailed = parent->childFailed || !reply.ok;
        call->reply = std::move(reply);
        parent->endedChildren.push_back(call);
        --parent->children;
        TryResume(parent);
    } else if (call->handler) {
        deferred.Reply(std::exchange(call->handler, nullptr), std::move(reply));
    }
}

void CIPEngine::GiveUp(const std::shared_ptr<T_IP_CALL>& call, CString&& reason, CIPDeferred& deferred)
{
    if (!call->open) {
        return;
    }
    const auto command = call->command.lock();
    // A child goes on alone; only an abort of its parent takes it along.
    if (call->remote != 0 && !call->isChild) {
        deferred.Abandon(call->remote);
    }
    Complete(call, {false, {}, std::move(reason)}, deferred);
    if (command != nullptr && call->abortWithSender && !call->isChild) {
        Abort(command, deferred);
    }
}

void CIPEngine::GiveUpAll(const std::function<bool(const T_IP_CALL&)>& which, const wchar_t* reason,
                          CIPDeferred& deferred)
{
    std::vector<std::shared_ptr<T_IP_CALL>> calls;
    std::copy_if(m_calls.begin(), m_calls.end(), std::back_inserter(calls),
                 [&which](const auto& call) { return which(*call); });
    for (const auto& call : calls) {
        GiveUp(call, reason, deferred);
    }
}

} // namespace alidade
