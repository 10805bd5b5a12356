#pragma once

#include "foundation/bus/IPClient.h"
#include "foundation/bus/transport/Transport.h"

#include <condition_variable>
#include <deque>
#include <thread>

namespace alidade {

class CIPEngine;
class CIPTargetState;
class CRunningCommand;
class CIPThreadQueue;

inline const char* OrEmpty(const char* text)
{
    return text != nullptr ? text : "";
}

/// Due time and number of a timer; number 0: none.
struct T_IP_TIMER {
    std::uint64_t due = 0;
    std::uint64_t number = 0;
    auto operator<=>(const T_IP_TIMER&) const = default;
};

/// A command as its sender waits for it. Guarded by the engine's lock, but for `done`.
struct T_IP_CALL {
    // One of these takes the answer; none: nobody waits.
    std::condition_variable* waiter = nullptr;
    std::weak_ptr<CRunningCommand> parent;
    IP_REPLY_HANDLER handler;

    const CIPClient* client = nullptr;
    const CIPTargetState* sender = nullptr; // whose handler waits
    bool isChild = false;
    CStringA unit; // of a child, for GetChildResult
    CStringA group;
    CStringA name;
    bool abortWithSender = false;
    bool bringsReply = false; // the waiting thread serves the transport for it

    bool open = true;
    std::atomic<bool> done{false}; // the waiter may read `reply`
    T_IP_REPLY reply;
    T_IP_TIMER timer;
    DWORD timeout = INFINITE;
    std::weak_ptr<CRunningCommand> command; // in this process
    std::uint64_t remote = 0;               // number at the transport
};

/// What happens at the end of a delay: a command goes on, or the wait for one is over.
struct T_IP_TIMER_ACTION {
    std::shared_ptr<CRunningCommand> command;
    std::shared_ptr<T_IP_CALL> call;
};

/// The bus's side of a receiver. Guarded by the engine's lock, but for `engine` and `owner`, which stay.
class CIPTargetState {
public:
    std::shared_ptr<CIPEngine> engine;
    IIPCommandTarget* owner = nullptr;
    CIPClient* client = nullptr;
    CStringA task;
    CStringA unit;
    bool answers = true;
    bool registered = false;
    bool closed = false;
    bool leaving = false; // another thread waits for its handlers: they wait for nothing any more
    int pins = 0;         // calls into the owner that are going on

    // A plain receiver.
    std::deque<std::shared_ptr<CRunningCommand>> queue;
    bool busy = false;
    bool ready = false; // stands in the engine's list

    // A window receiver.
    HWND* window = nullptr;
    std::shared_ptr<CIPThreadQueue> thread;
};

/// The engine's part of a command. Guarded by the engine's lock.
class CRunningCommand final : public CIPCommand {
public:
    enum class eSTATE { NEW, QUEUED, RUNNING, WAITING, ENDED };

    CRunningCommand(const char* group, const char* name, CIPVariable parameter)
        : CIPCommand(group, name, std::move(parameter))
    {
    }

    std::shared_ptr<CIPTargetState> target;
    const IP_COMMAND_TARGET_ENTRY* entry = nullptr;
    std::shared_ptr<T_IP_CALL> call; // null: nobody wants an answer
    eSTATE state = eSTATE::NEW;
    bool hasRun = false;
    int children = 0; // outstanding
    std::vector<std::weak_ptr<T_IP_CALL>> childCalls;
    bool childFailed = false;
    std::vector<std::shared_ptr<T_IP_CALL>> endedChildren; // not yet shown to the handler
    bool delayed = false;
    bool paused = false;
    bool continued = false; // while it was still running
    bool aborted = false;   // since its handler was last called
    T_IP_TIMER timer;
    std::uint64_t request = 0; // number of a command from outside
};

/// Deliveries to the windows of one thread. Guarded by the engine's lock.
class CIPThreadQueue {
public:
    /// Made on the thread.
    explicit CIPThreadQueue(CIPEngine& engine);
    ~CIPThreadQueue();

    /// Makes the thread look, whether it is in its event loop or waits in the bus.
    void Wake();

    const std::thread::id thread = std::this_thread::get_id();
    std::deque<std::shared_ptr<CRunningCommand>> items;
    std::condition_variable changed;

private:
    class CDispatcher;
    CDispatcher* m_dispatcher; // belongs to the thread
};

} // namespace alidade
