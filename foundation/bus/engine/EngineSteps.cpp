// The life of a command: queued, running, waiting, and round again until it ends.
#include "foundation/bus/engine/CommandPool.h"
#include "foundation/bus/engine/Engine.h"
#include "foundation/bus/engine/RunningStack.h"
#include "foundation/platform/Text.h"

#include <algorithm>

namespace alidade {

using eSTATE = CRunningCommand::eSTATE;

std::vector<CRunningCommand*>& RunningStack::Frames()
{
    static thread_local std::vector<CRunningCommand*> frames;
    return frames;
}

CIPCommand* CIPEngine::GetRunning() const
{
    return RunningStack::Top(this);
}

std::shared_ptr<CRunningCommand> CIPEngine::MakeCommand(const std::shared_ptr<CIPTargetState>& target,
                                                        const IP_COMMAND_TARGET_ENTRY& entry, CIPVariable in)
{
    std::shared_ptr<CRunningCommand> command = AllocateCommand(entry.group, entry.name, std::move(in));
    command->target = target;
    command->entry = &entry;
    m_live.emplace(command.get(), command);
    return command;
}

eIP_COMMAND_MESSAGE_RESULT CIPEngine::Enqueue(const HIPCOMMAND& handle, const IP_COMMAND_TARGET_ENTRY* entry,
                                              CIPTargetState& target)
{
    std::lock_guard lock(m_mutex);
    const auto live = m_live.find(handle.Get());
    if (m_stopped || live == m_live.end() || live->second->state != eSTATE::NEW ||
        live->second->target.get() != &target || entry == nullptr || target.closed) {
        return IPMSG_REFUSED;
    }
    live->second->entry = entry;
    Deliver(live->second);
    return IPMSG_QUEUED;
}

void CIPEngine::Deliver(const std::shared_ptr<CRunningCommand>& command)
{
    command->state = eSTATE::QUEUED;
    CIPTargetState& target = *command->target;
    if (target.thread != nullptr) {
        target.thread->items.push_back(command);
        target.thread->Wake();
    } else {
        target.queue.push_back(command);
        ScheduleTarget(command->target);
    }
}

void CIPEngine::ServeDirectly(CIPThreadQueue& queue, Lock& lock)
{
    std::shared_ptr<CRunningCommand> command = std::move(queue.items.front());
    queue.items.pop_front();
    CIPDeferred deferred(*this);
    if (command->state == eSTATE::QUEUED) {
        if (*command->target->window == nullptr) {
            Fail(command, deferred, L"The receiver's window is not there.");
        } else {
            RunStep(command, lock, deferred);
        }
    }
    deferred.Keep(std::move(command)); // it may have ended, and this be the last to hold it
    lock.unlock();
    deferred.Run();
    lock.lock();
}

void CIPEngine::RunDelivered(const std::shared_ptr<CRunningCommand>& command)
{
    CIPDeferred deferred(*this);
    Lock lock(m_mutex);
    if (command->state == eSTATE::QUEUED) {
        RunStep(command, lock, deferred);
    }
}

void CIPEngine::RunStep(const std::shared_ptr<CRunningCommand>& command, Lock& lock, CIPDeferred& deferred)
{
    const std::shared_ptr<CIPTargetState> target = command->target;
    if (target->closed) {
        Fail(command, deferred, L"The receiver is gone.");
        return;
    }
    if (command->hasRun) {
        command->m_step = command->m_nextStep == IP_NEXT_STEP ? command->m_step + 1 : command->m_nextStep;
    }
    command->hasRun = true;
    command->state = eSTATE::RUNNING;
    command->continued = command->aborted = false;
    command->m_scheduled = false;
    command->m_pauseAsked = false;
    command->m_nextStep = IP_NEXT_STEP;
    command->m_delay = 0;
    command->m_errorReserved = false;
    command->m_childOk = !std::exchange(command->childFailed, false);
    for (const auto& child : std::exchange(command->endedChildren, {})) {
        command->KeepChildResult(child->unit, child->group, child->name, std::move(child->reply.result));
    }
    ++target->pins;
    lock.unlock();
    int result = 0;
    {
        RunningStack::CFrame frame(*command);
        const HIPCOMMAND handle(command);
        try {
            result = target->owner->OnPreIPCommand(handle, command->entry) != 0
                         ? target->owner->DoIPCommand(handle, command->entry)
                         : 0;
        } catch (...) { // out of a receiver's own version of these; the handler's are caught before
            command->SetErrorIfNone(L"The receiver threw outside of the handler.");
        }
    }
    lock.lock();
    AfterStep(command, result != 0, deferred);
    Unpin(*target);
}

void CIPEngine::AfterStep(const std::shared_ptr<CRunningCommand>& command, bool ok, CIPDeferred& deferred)
{
    if (command->m_errorReserved) {
        command->m_ok.store(false);
    }
    if (command->target->closed) {
        command->SetErrorIfNone(L"The receiver is gone.");
        End(command, false, deferred);
        return;
    }
    const bool goesOn = command->m_scheduled || command->children > 0 || !command->endedChildren.empty();
    if (!ok || !goesOn) {
        End(command, ok && command->IsOK() != 0, deferred);
        return;
    }
    command->state = eSTATE::WAITING;
    command->paused = command->m_pauseAsked && !command->continued;
    command->delayed = false;
    const bool timed = command->m_delay != INFINITE && (command->m_delay > 0 || command->paused);
    if (timed && (command->paused || !command->m_pauseAsked)) {
        command->delayed = !command->paused; // a pause's delay ends the pause
        command->timer = SetTimer(command->m_delay, {command, nullptr});
    }
    if (command->aborted) {
        Abort(command, deferred);
        return;
    }
    TryResume(command);
}

void CIPEngine::TryResume(const std::shared_ptr<CRunningCommand>& command)
{
    if (command->state == eSTATE::WAITING && command->children == 0 && !command->delayed &&
        !command->paused) {
        Deliver(command);
    }
}

void CIPEngine::EndPause(CRunningCommand& command)
{
    if (command.paused) {
        command.paused = false;
        CancelTimer(command.timer);
    }
}

void CIPEngine::End(const std::shared_ptr<CRunningCommand>& command, bool ok, CIPDeferred& deferred)
{
    if (command->state == eSTATE::ENDED) {
        return;
    }
    const bool running = command->state == eSTATE::RUNNING;
    command->state = eSTATE::ENDED;
    CancelTimer(command->timer);
    m_live.erase(command.get());
    if (command->request != 0) {
        m_requests.erase(command->request);
    }
    deferred.Keep(command);
    CString error;
    if (!ok) {
        command->SetErrorIfNone(command->IsOK() != 0 ? L"The command failed." : L"The command was aborted.");
        error = command->m_error;
    }
    const bool awaited = command->call != nullptr && m_calls.contains(command->call);
    if (awaited) {
        T_IP_REPLY reply{ok, {}, std::move(error)};
        if (running) {
            reply.result = std::move(command->m_result);
        } else {
            reply.result = command->m_result;
        }
        Complete(command->call, std::move(reply), deferred);
    } else if (!ok && command->target->client != nullptr) {
        deferred.Log(command->target, L"Command \"" + ToWide(command->GetGroup()) + L"\" \"" +
                                          ToWide(command->GetName()) + L"\" of unit \"" +
                                          ToWide(command->target->unit) + L"\": " + error);
    }
}

void CIPEngine::Fail(const std::shared_ptr<CRunningCommand>& command, CIPDeferred& deferred,
                     const wchar_t* reason)
{
    if (command->state == eSTATE::ENDED) {
        return;
    }
    command->m_ok.store(false);
    if (command->state == eSTATE::RUNNING) {
        return; // ends when its handler returns
    }
    command->SetErrorIfNone(reason);
    End(command, false, deferred);
}

void CIPEngine::Abort(const std::shared_ptr<CRunningCommand>& command, CIPDeferred& deferred)
{
    command->m_ok.store(false);
    if (!command->hasRun) {
        Fail(command, deferred, L"The command was aborted.");
        return;
    }
    AbortChildren(*command, deferred);
    command->aborted = true; // should its handler be just running: what it schedules is cut short
    if (command->state == eSTATE::WAITING) {
        EndPause(*command);
        if (command->delayed) {
            command->delayed = false;
            CancelTimer(command->timer);
        }
        TryResume(command);
    }
}

void CIPEngine::AbortChildren(const CRunningCommand& command, CIPDeferred& deferred)
{
    for (const auto& weak : command.childCalls) {
        const auto call = weak.lock();
        if (call == nullptr || !call->open) {
            continue;
        }
        if (const auto child = call->command.lock()) {
            Abort(child, deferred);
        } else if (call->remote != 0) {
            deferred.Abandon(call->remote);
            Complete(call, {false, {}, L"The command was aborted."}, deferred);
        }
    }
}

int CIPEngine::IsLive(const CIPCommand* command, const std::uint64_t* generation) const
{
    std::lock_guard lock(m_mutex);
    const auto live = m_live.find(command);
    return live != m_live.end() && (generation == nullptr || live->second->GetGeneration() == *generation)
               ? 1
               : 0;
}

int CIPEngine::ContinueLive(const std::shared_ptr<CRunningCommand>& command, DWORD word,
                            CIPDeferred& deferred)
{
    const bool failing = (word & IP_CONTINUE_FAILING) != 0;
    if (failing) {
        if (!command->hasRun) {
            Fail(command, deferred, L"The command was aborted.");
            return 1;
        }
        command->m_ok.store(false);
    }
    if (command->state == eSTATE::RUNNING) {
        command->continued = true;
        return 1;
    }
    if (!command->paused) {
        return failing ? 1 : 0;
    }
    EndPause(*command);
    TryResume(command);
    return 1;
}

int CIPEngine::Continue(const CIPCommand* command, DWORD word, CString& error)
{
    CIPDeferred deferred(*this);
    std::lock_guard lock(m_mutex);
    const auto live = m_live.find(command);
    if (live == m_live.end()) {
        error = L"The command has ended.";
        return 0;
    }
    const std::shared_ptr<CRunningCommand> kept = live->second;
    if (ContinueLive(kept, word, deferred) == 0) {
        error = L"The command is not paused.";
        return 0;
    }
    return 1;
}

int CIPEngine::ResumeByName(const CIPTargetState& target, const char* group, const char* name, DWORD word,
                            CString& error)
{
    CIPDeferred deferred(*this);
    std::lock_guard lock(m_mutex);
    std::vector<std::shared_ptr<CRunningCommand>> commands;
    for (const auto& [pointer, command] : m_live) {
        if (command->target.get() == &target && group != nullptr && name != nullptr &&
            command->m_group == group && command->m_name == name) {
            commands.push_back(command);
        }
    }
    int count = 0;
    for (const auto& command : commands) {
        count += ContinueLive(command, word, deferred);
    }
    if (count == 0) {
        error = L"No such command is there to be resumed.";
    }
    return count > 0 ? 1 : 0;
}

} // namespace alidade
