#pragma once

#include "foundation/bus/engine/EngineTypes.h"
#include "foundation/bus/transport/Transport.h"
#include "foundation/platform/Event.h"

#include <deque>
#include <list>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <thread>
#include <unordered_map>
#include <unordered_set>

namespace alidade {

/// Where a command is to go, as seen by its sender.
struct T_IP_ADDRESS {
    const char* task = nullptr; // null or empty: the own first, then any
    const char* unit = nullptr; // null or empty: any, unless exactUnit
    const char* group = nullptr;
    const char* name = nullptr;
    bool exactUnit = false;
    CStringA ownTask{};

    CString Describe() const;
};

/// What to do once the engine's lock is off: nothing foreign runs under it.
class CIPDeferred {
public:
    explicit CIPDeferred(CIPEngine& engine) : m_engine(engine) {}
    ~CIPDeferred();
    CIPDeferred(const CIPDeferred&) = delete;
    CIPDeferred& operator=(const CIPDeferred&) = delete;

    bool IsEmpty() const
    {
        return m_replies.empty() && m_garbage.empty() && m_abandoned.empty() && m_lines.empty();
    }
    void Run();
    void Reply(IP_REPLY_HANDLER handler, T_IP_REPLY reply)
    {
        m_replies.emplace_back(std::move(handler), std::move(reply));
    }
    /// A command's records have destructors of their own.
    void Keep(std::shared_ptr<CRunningCommand> command) { m_garbage.push_back(std::move(command)); }
    void Abandon(std::uint64_t number) { m_abandoned.push_back(number); }
    /// A line for the receiver's log; the receiver is held until it is written.
    void Log(const std::shared_ptr<CIPTargetState>& target, CString line)
    {
        ++target->pins;
        m_lines.emplace_back(target, std::move(line));
    }

private:
    CIPEngine& m_engine;
    std::vector<std::pair<IP_REPLY_HANDLER, T_IP_REPLY>> m_replies;
    std::vector<std::shared_ptr<CRunningCommand>> m_garbage;
    std::vector<std::uint64_t> m_abandoned;
    std::vector<std::pair<std::shared_ptr<CIPTargetState>, CString>> m_lines;
};

/// The bus inside one process: who answers what, which commands live, and which thread runs their next step.
///
/// One lock guards all of it and is never held while a handler, a reply or a log line runs. Plain receivers
/// run on worker threads, of which there are as many as receivers were ever busy at once; window receivers on
/// their window's thread, by events of its loop or while it waits in Call. Delays and time-outs end on a
/// timer thread, which measures by GetTickCount. Thread-safe.
class ALIDADE_FOUNDATION_API CIPEngine final : public IIPTransportHost,
                                               public std::enable_shared_from_this<CIPEngine> {
public:
    CIPEngine() = default;
    ~CIPEngine() override;

    /// Fails everything in flight and joins the threads. Afterwards all operations fail.
    void Stop();

    // Receivers
    int Register(const std::shared_ptr<CIPTargetState>& target);
    void Close(const std::shared_ptr<CIPTargetState>& target);
    /// Ends the receiver's commands; see IIPCommandTarget::ResetSequences.
    void EndCommandsOf(const CIPTargetState& target, const wchar_t* reason);
    /// Waits until no handler of the closed receiver runs on another thread. What these wait for in Send is
    /// given up, for it may be without end.
    void WaitUntilLeft(CIPTargetState& target);
    /// Lets go of the closed receiver's client and of its part in its thread's deliveries; on that thread.
    void Forget(CIPTargetState& target);
    void SetUnit(CIPTargetState& target, const char* unit);
    CStringA GetUnit(const CIPTargetState& target) const;
    CIPClient* GetClient(const CIPTargetState& target) const;
    std::shared_ptr<CIPThreadQueue> GetThreadQueue();
    void CloseClient(const CIPClient& client);

    // Senders. `error` is one sentence.
    int Post(const CIPClient* client, const T_IP_ADDRESS& address, const CIPVariable& in, CString& error);
    int Send(const CIPClient* client, const T_IP_ADDRESS& address, const CIPVariable& in, CIPVariable* out,
             DWORD timeout, DWORD flags, CString& error);
    int SendChild(const CIPClient* client, CIPCommand* parent, const T_IP_ADDRESS& address,
                  const CIPVariable& in, DWORD timeout, CString& error);
    /// The command that the calling thread is running on this engine, or null.
    CIPCommand* GetRunning() const;

    // Commands
    eIP_COMMAND_MESSAGE_RESULT Enqueue(const HIPCOMMAND& command, const IP_COMMAND_TARGET_ENTRY* entry,
                                       CIPTargetState& target);
    int IsLive(const CIPCommand* command, const std::uint64_t* generation) const;
    int Continue(const CIPCommand* command, DWORD word, CString& error);
    int ResumeByName(const CIPTargetState& target, const char* group, const char* name, DWORD word,
                     CString& error);
    /// The next delivery to a window of the calling thread, or null, and whether there are more.
    std::pair<std::shared_ptr<CRunningCommand>, bool> TakeDelivery(CIPThreadQueue& queue);
    /// Gives a delivery to its window, which calls RunDelivered.
    void RunThroughWindow(const std::shared_ptr<CRunningCommand>& command);
    /// Runs the next step of a delivered command of a window, on its thread.
    void RunDelivered(const std::shared_ptr<CRunningCommand>& command);

    std::vector<T_IP_COMMAND_RECORD> ListCommands() const;
    int Join(const char* address, bool joinOnly, CSimpleLog* log, CString& error);
    void Leave();

    // IIPTransportHost
    std::uint64_t StartRequest(T_IP_REQUEST&& request, IP_REPLY_HANDLER reply) override;
    void AbortRequest(std::uint64_t number) override;
    std::vector<T_IP_COMMAND_RECORD> GetOwnCommands() const override;
    void WriteLog(DWORD level, const CString& line) override;

private:
    friend class CIPDeferred;
    using Lock = std::unique_lock<std::mutex>;
    using TargetAndEntry = std::pair<std::shared_ptr<CIPTargetState>, const IP_COMMAND_TARGET_ENTRY*>;

    // All of these want the lock.
    TargetAndEntry Find(const T_IP_ADDRESS& address) const;
    const wchar_t* GetRefusal(const T_IP_CALL& call) const;
    std::shared_ptr<CRunningCommand> MakeCommand(const std::shared_ptr<CIPTargetState>& target,
                                                 const IP_COMMAND_TARGET_ENTRY& entry, CIPVariable in);
    void Deliver(const std::shared_ptr<CRunningCommand>& command);
    bool MakeReady(const std::shared_ptr<CIPTargetState>& target);
    static void SetLending(bool lending);
    void RunFront(const std::shared_ptr<CIPTargetState>& target, Lock& lock, CIPDeferred& deferred);
    void RunHere(const std::shared_ptr<CIPTargetState>& target, Lock& lock, CIPDeferred& deferred);
    void ScheduleTarget(const std::shared_ptr<CIPTargetState>& target);
    void RunStep(const std::shared_ptr<CRunningCommand>& command, Lock& lock, CIPDeferred& deferred);
    void AfterStep(const std::shared_ptr<CRunningCommand>& command, bool ok, CIPDeferred& deferred);
    void TryResume(const std::shared_ptr<CRunningCommand>& command);
    void Fail(const std::shared_ptr<CRunningCommand>& command, CIPDeferred& deferred, const wchar_t* reason);
    void Abort(const std::shared_ptr<CRunningCommand>& command, CIPDeferred& deferred);
    void AbortChildren(const CRunningCommand& command, CIPDeferred& deferred);
    void End(const std::shared_ptr<CRunningCommand>& command, bool ok, CIPDeferred& deferred);
    void EndPause(CRunningCommand& command);
    void OpenCall(const std::shared_ptr<T_IP_CALL>& call, DWORD timeout);
    void Withdraw(const std::shared_ptr<T_IP_CALL>& call);
    void Complete(const std::shared_ptr<T_IP_CALL>& call, T_IP_REPLY&& reply, CIPDeferred& deferred);
    void GiveUp(const std::shared_ptr<T_IP_CALL>& call, CString&& reason, CIPDeferred& deferred);
    void GiveUpAll(const std::function<bool(const T_IP_CALL&)>& which, const wchar_t* reason,
                   CIPDeferred& deferred);
    void Unpin(CIPTargetState& target);
    int ContinueLive(const std::shared_ptr<CRunningCommand>& command, DWORD word, CIPDeferred& deferred);
    std::shared_ptr<CIPThreadQueue> FindThreadQueue() const;
    void ServeDirectly(CIPThreadQueue& queue, Lock& lock);
    std::uint64_t Now();
    T_IP_TIMER SetTimer(DWORD ms, T_IP_TIMER_ACTION action);
    void StartTimerThread();
    void CancelTimer(T_IP_TIMER& timer);
    void AnnounceSoon();

    // Not under the lock.
    int Start(const T_IP_ADDRESS& address, const CIPVariable& in, const std::shared_ptr<T_IP_CALL>& call,
              DWORD timeout, CString& error);
    void ServeReply(const T_IP_CALL& call);
    int StartRemote(const T_IP_ADDRESS& address, const CIPVariable& in,
                    const std::shared_ptr<T_IP_CALL>& call, DWORD timeout, CString& error);
    void CompleteRemote(const std::shared_ptr<T_IP_CALL>& call, T_IP_REPLY&& reply);
    void WaitForAnswer(T_IP_CALL& call, CIPThreadQueue* queue);
    void AbandonRemote(std::uint64_t number);
    void ServeWhile(const std::function<void()>& operation);
    void RunWorker();
    void LookForWork(Lock& lock);
    void RunTimer();

    mutable std::mutex m_mutex;
    bool m_stopped = false;
    std::vector<std::shared_ptr<CIPTargetState>> m_targets; // in the order of registration
    std::unordered_map<const CIPCommand*, std::shared_ptr<CRunningCommand>> m_live;
    std::unordered_set<std::shared_ptr<T_IP_CALL>> m_calls; // those still open
    std::unordered_map<std::uint64_t, std::weak_ptr<CRunningCommand>> m_requests;
    std::uint64_t m_lastRequest = 0;
    std::unordered_map<std::thread::id, std::weak_ptr<CIPThreadQueue>> m_threadQueues;
    std::vector<std::condition_variable*> m_leavers; // of the threads in WaitUntilLeft

    std::deque<std::shared_ptr<CIPTargetState>> m_ready;
    std::condition_variable m_work;
    std::atomic<std::size_t> m_readyCount{0}; // of m_ready, for a worker that looks without the lock
    std::size_t m_idleWorkers = 0;
    bool m_workerLooks = false; // one of the idle workers needs no waking
    std::vector<std::thread> m_workers;

    std::map<T_IP_TIMER, T_IP_TIMER_ACTION> m_timers;
    std::uint64_t m_lastTimer = 0;
    std::uint64_t m_now = 0; // milliseconds, does not wrap
    DWORD m_lastTick = 0;
    std::uint64_t m_timerWaitsUntil = ~std::uint64_t{0};
    bool m_announce = false;
    CEvent m_timerEvent;
    std::thread m_timerThread;

    mutable std::shared_mutex m_transportMutex; // guards the pointer; shared while it is used
    std::shared_ptr<IIPTransport> m_transport;
    std::atomic<int> m_servers{0}; // threads in ServeReply
    std::atomic<CSimpleLog*> m_log{nullptr};
};

} // namespace alidade
