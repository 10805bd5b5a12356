#pragma once

#include "foundation/bus/IPCommandTarget.h"
#include "foundation/config/Profile.h"
#include "foundation/config/SimpleLog.h"

namespace alidade {

class CIPBus;

/// One unit's command as listings show it.
struct T_IP_COMMAND_RECORD {
    CStringA task;
    CStringA unit;
    CStringA group;
    CStringA name;
    DWORD flag = IPCMD_PROGRAM;
};

/// How a command is sent.
enum eIP_SEND_FLAG : DWORD {
    IPSEND_ABORT_WITH_SENDER = 1 // a sender that gives up or goes away aborts the command
};

/// The host's connection to the command bus under the name of a task, and the settings and log that go with
/// it.
///
/// Addressing. A command goes to (task, unit, group, name). An empty or null task means: the own task first,
/// then any other. An empty or null unit means: any receiver of the task that has the command. Of several
/// receivers the one registered first answers. What no receiver of this process answers goes to the transport
/// that the bus has joined, if any. A group is also called a session, and a name a command.
///
/// All operations are thread-safe, and give 1 for success and 0 for failure. A failure's reason stands in
/// GetLastIPError of the calling thread and, for commands that nobody waits for, in the log.
/// Receivers leave the bus before their client goes, or are cut off then.
class ALIDADE_FOUNDATION_API CIPClient {
public:
    /// @param profile, log  the client's own, not owned; may be null
    /// @param task  name of the task that the client's receivers belong to, UTF-8
    /// @param bus   null: the one that the whole process shares
    explicit CIPClient(CProfile* profile = nullptr, CSimpleLog* log = nullptr, const char* task = "",
                       std::shared_ptr<CIPBus> bus = nullptr);
    virtual ~CIPClient();
    CIPClient(const CIPClient&) = delete;
    CIPClient& operator=(const CIPClient&) = delete;

    CProfile* GetProfile() const { return m_pProfile; }
    CSimpleLog* GetLog() const { return m_pLog; }
    const CStringA& GetTask() const { return m_task; }
    const std::shared_ptr<CIPBus>& GetBus() const { return m_bus; }

    /// Fails what is in flight to and from this client's receivers, calls their handlers no more, and refuses
    /// further commands. Waits for handlers that run, but not for one on the calling thread.
    void Shutdown();
    bool IsShutDown() const { return m_shutDown.load(); }

    /// 1 while the pointer stands for a live command. The address of an ended command is not given to
    /// another one for at least some thousand commands; keep GetGeneration with it to be sure for ever.
    ///@{
    int IsValidCmd(const CIPCommand* command) const;
    int IsValidCmd(const CIPCommand* command, std::uint64_t generation) const;
    ///@}

    /// Continues a paused command, as IIPCommandTarget does. `target` is not used.
    int ContinueIPStepCommand(CIPCommand* command, DWORD word1, DWORD word2, IIPCommandTarget* target);

    /// Sends without waiting. 0 when nobody answers such a command; a failure later on is logged where it
    /// runs.
    /// @param target  the sending receiver, or null; not used for addressing
    int PostIPCommand(const char* task, const char* unit, const char* session, const char* command,
                      const CIPVariable& in, IIPCommandTarget* target);
    /// Sends and waits for the end, serving the own thread's window receivers meanwhile.
    /// @param out  the result, also of a command that failed; untouched when there is no answer
    /// @param timeout  milliseconds, INFINITE (-1): no limit. It ends the wait, not the command
    /// @param flags  IPSEND_... or 0
    ///@{
    int SendIPCommand(const char* task, const char* unit, const char* session, const char* command,
                      const CIPVariable& in, DWORD timeout, IIPCommandTarget* target);
    int SendIPCommand(const char* task, const char* unit, const char* session, const char* command,
                      const CIPVariable& in, CIPVariable& out, DWORD timeout, IIPCommandTarget* target,
                      DWORD flags = 0);
    ///@}
    /// Starts a child of `parent`, which goes on when the child has ended. The parent must be the command
    /// that the calling thread is running. Releases nothing: the caller's handle is its own.
    int SendIPStepCommand(HIPCOMMAND& parent, const char* task, const char* unit, const char* session,
                          const char* command, const CIPVariable& in, DWORD timeout,
                          IIPCommandTarget* target);

    /// Every command that can be reached, own process first, in the order of registration.
    std::vector<T_IP_COMMAND_RECORD> ListIPCommands() const;

    /// Why the last operation of this thread failed: one sentence, empty after a success.
    static CString GetLastIPError();

private:
    CProfile* m_pProfile;
    CSimpleLog* m_pLog;
    CStringA m_task;
    std::shared_ptr<CIPBus> m_bus;
    std::atomic<bool> m_shutDown{false};
};

} // namespace alidade
