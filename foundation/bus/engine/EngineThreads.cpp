// The engine's threads: workers of plain receivers, the timer, and what other threads lend.
#include "foundation/bus/engine/Engine.h"
#include "foundation/platform/Spin.h"
#include "foundation/platform/Text.h"
#include "foundation/platform/Thread.h"
#include "foundation/platform/Ticks.h"

#include <algorithm>

namespace alidade {
namespace {

/// The calling thread runs itself what it is about to make ready, so that no worker is woken.
thread_local bool t_lending = false;

} // namespace

void CIPEngine::SetLending(bool lending)
{
    t_lending = lending;
}

bool CIPEngine::MakeReady(const std::shared_ptr<CIPTargetState>& target)
{
    if (target->busy || target->ready || target->queue.empty() || m_stopped) {
        return false;
    }
    target->ready = true;
    m_ready.push_back(target);
    m_readyCount.store(m_ready.size(), std::memory_order_relaxed);
    return true;
}

void CIPEngine::ScheduleTarget(const std::shared_ptr<CIPTargetState>& target)
{
    if (!MakeReady(target) || t_lending) {
        return;
    }
    if (m_idleWorkers >= m_ready.size()) {
        if (!m_workerLooks || m_ready.size() > 1) {
            m_work.notify_one();
        }
    } else {
        m_workers.emplace_back([this] { RunWorker(); }); // a busy one may be waiting for this very receiver
    }
}

/// Runs the first command in a ready receiver's queue.
void CIPEngine::RunFront(const std::shared_ptr<CIPTargetState>& target, Lock& lock, CIPDeferred& deferred)
{
    std::shared_ptr<CRunningCommand> command = std::move(target->queue.front());
    target->queue.pop_front();
    if (command->state == CRunningCommand::eSTATE::QUEUED) {
        target->busy = true;
        RunStep(command, lock, deferred);
        target->busy = false;
    } else {
        deferred.Keep(std::move(command)); // ended in the queue, which may be the last to hold it
    }
}

/// Runs on this thread what it made ready while it was lending; the rest is for the workers.
void CIPEngine::RunHere(const std::shared_ptr<CIPTargetState>& target, Lock& lock, CIPDeferred& deferred)
{
    if (target->ready && std::erase(m_ready, target) > 0) {
        m_readyCount.store(m_ready.size(), std::memory_order_relaxed);
        target->ready = false;
        if (!target->queue.empty()) {
            RunFront(target, lock, deferred);
        }
    }
    ScheduleTarget(target);
}

/// Goes on looking for a while before it sleeps; one worker at a time.
void CIPEngine::LookForWork(Lock& lock)
{
    if (m_workerLooks || !m_ready.empty() || m_stopped) {
        return;
    }
    m_workerLooks = true;
    lock.unlock();
    SpinUntil([this] { return m_readyCount.load(std::memory_order_relaxed) > 0; });
    lock.lock();
    m_workerLooks = false;
}

void CIPEngine::RunWorker()
{
    NameThisThread("bus-worker");
    CIPDeferred deferred(*this);
    Lock lock(m_mutex);
    for (;;) {
        ++m_idleWorkers;
        LookForWork(lock);
        m_work.wait(lock, [&] { return m_stopped || !m_ready.empty(); });
        --m_idleWorkers;
        if (m_stopped) {
            return;
        }
        const std::shared_ptr<CIPTargetState> target = std::move(m_ready.front());
        m_ready.pop_front();
        m_readyCount.store(m_ready.size(), std::memory_order_relaxed);
        target->ready = false;
        if (target->queue.empty()) {
            continue;
        }
        RunFront(target, lock, deferred);
        if (!deferred.IsEmpty()) {
            lock.unlock();
            deferred.Run(); // may send to this receiver and wait: it is not yet left to this worker
            lock.lock();
        }
        MakeReady(target); // for this worker's next round, behind the others
    }
}

std::uint64_t CIPEngine::Now()
{
    const DWORD tick = GetTickCount();
    m_now += static_cast<DWORD>(tick - m_lastTick);
    m_lastTick = tick;
    return m_now;
}

void CIPEngine::StartTimerThread()
{
    if (!m_timerThread.joinable()) {
        m_lastTick = GetTickCount();
        m_timerThread = std::thread([this] { RunTimer(); });
    }
}

T_IP_TIMER CIPEngine::SetTimer(DWORD ms, T_IP_TIMER_ACTION action)
{
    StartTimerThread();
    const T_IP_TIMER timer{Now() + ms, ++m_lastTimer};
    m_timers.emplace(timer, std::move(action));
    if (timer.due < m_timerWaitsUntil) {
        m_timerEvent.SetEvent();
    }
    return timer;
}

void CIPEngine::CancelTimer(T_IP_TIMER& timer)
{
    if (timer.number != 0) {
        m_timers.erase(timer);
        timer = {};
    }
}

void CIPEngine::AnnounceSoon()
{
    m_announce = true;
    StartTimerThread();
    m_timerEvent.SetEvent();
}

void CIPEngine::RunTimer()
{
    NameThisThread("bus-timer");
    constexpr std::uint64_t day = 24 * 3600 * 1000; // often enough to count the tick's wraps
    for (;;) {
        DWORD wait = static_cast<DWORD>(day);
        bool announce = false;
        {
            CIPDeferred deferred(*this);
            Lock lock(m_mutex);
            if (m_stopped) {
                return;
            }
            announce = std::exchange(m_announce, false);
            const std::uint64_t now = Now();
            while (!m_timers.empty() && m_timers.begin()->first.due <= now) {
                const T_IP_TIMER_ACTION action = std::move(m_timers.begin()->second);
                m_timers.erase(m_timers.begin());
                if (action.call != nullptr) {
                    action.call->timer = {};
                    GiveUp(action.call, Format(L"No answer within %u ms.", action.call->timeout), deferred);
                } else {
                    action.command->timer = {};
                    action.command->delayed = false;
                    action.command->paused = false;
                    // It lives, so others hold it too: its records, which may wait, never end on this thread.
                    TryResume(action.command);
                }
            }
            m_timerWaitsUntil =
                m_timers.empty() ? now + day : std::min(m_timers.begin()->first.due, now + day);
            wait = static_cast<DWORD>(m_timerWaitsUntil - now);
        }
        if (announce) {
            std::shared_lock use(m_transportMutex);
            if (m_transport != nullptr) {
                m_transport->OnOwnCommandsChanged();
            }
        }
        m_timerEvent.Wait(wait);
    }
}

std::shared_ptr<CIPThreadQueue> CIPEngine::FindThreadQueue() const
{
    if (m_threadQueues.empty()) {
        return nullptr;
    }
    const auto found = m_threadQueues.find(std::this_thread::get_id());
    return found != m_threadQueues.end() ? found->second.lock() : nullptr;
}

std::shared_ptr<CIPThreadQueue> CIPEngine::GetThreadQueue()
{
    {
        std::lock_guard lock(m_mutex);
        if (std::shared_ptr<CIPThreadQueue> queue = FindThreadQueue()) {
            return queue;
        }
    }
    auto queue = std::make_shared<CIPThreadQueue>(*this);
    std::lock_guard lock(m_mutex);
    std::erase_if(m_threadQueues, [](const auto& entry) { return entry.second.expired(); });
    m_threadQueues[std::this_thread::get_id()] = queue;
    return queue;
}

void CIPEngine::Forget(CIPTargetState& target)
{
    std::shared_ptr<CIPThreadQueue> queue; // its end, outside of the lock
    std::lock_guard lock(m_mutex);
    queue.swap(target.thread);
    target.window = nullptr;
    target.client = nullptr; // may go before a handler that has taken its own receiver down returns
}

void CIPEngine::Stop()
{
    Leave();
    std::vector<std::shared_ptr<CIPTargetState>> targets;
    {
        CIPDeferred deferred(*this);
        std::lock_guard lock(m_mutex);
        targets = std::exchange(m_targets, {});
        for (const auto& target : targets) {
            target->closed = true;
        }
        const auto calls = m_calls;
        for (const auto& call : calls) {
            Complete(call, {false, {}, L"The bus is shut down."}, deferred);
        }
    }
    for (const auto& target : targets) {
        EndCommandsOf(*target, L"The bus is shut down.");
        WaitUntilLeft(*target);
    }
    std::vector<std::thread> workers;
    {
        std::lock_guard lock(m_mutex);
        m_stopped = true;
        workers.swap(m_workers);
    }
    m_work.notify_all();
    m_timerEvent.SetEvent();
    for (std::thread& worker : workers) {
        worker.join();
    }
    if (m_timerThread.joinable()) {
        m_timerThread.join();
    }
}

} // namespace alidade
