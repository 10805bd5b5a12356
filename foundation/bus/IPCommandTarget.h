#pragma once

#include "foundation/bus/IPCommand.h"

namespace alidade {

class CIPClient;
class CIPTargetState;
struct IP_COMMAND_TARGET;

/// A handler: a member function of a class derived from IIPCommandTarget.
using IP_COMMAND_HANDLER = int (IIPCommandTarget::*)(CIPCommand& command);

/// Meaning of the flag word of an entry.
enum eIP_COMMAND_FLAG : DWORD {
    IPCMD_PROGRAM = 0, // ends by itself
    IPCMD_OPERATOR = 1 // addresses the operator: may open a window or wait for a choice. Told in listings
};

/// One row of a receiver class's table. A row with null group, name and handler ends the table.
struct IP_COMMAND_TARGET_ENTRY {
    const char* group;
    const char* name;
    IP_COMMAND_HANDLER handler;
    DWORD flag = IPCMD_PROGRAM;
    DWORD one = 1;
    DWORD zero = 0;
};

/// The table of one receiver class and that of its parent class, or null. One process-wide instance a class,
/// never changed. Looked up by group and name together, the own rows before the parent's.
struct IP_COMMAND_TARGET {
    const IP_COMMAND_TARGET_ENTRY* entries;
    const IP_COMMAND_TARGET* parent;

    /// The row, or null.
    ALIDADE_FOUNDATION_API const IP_COMMAND_TARGET_ENTRY* Find(const char* group, const char* name) const;
};

/// A row of a table: IPCommandEntry("Image", "Grab", &CView::OnIPImageGrab). The handler may be a member of
/// any class that derives from IIPCommandTarget without virtual inheritance.
template <typename T>
IP_COMMAND_TARGET_ENTRY IPCommandEntry(const char* group, const char* name, int (T::*handler)(CIPCommand&),
                                       DWORD flag = IPCMD_PROGRAM)
{
    return {group, name, static_cast<IP_COMMAND_HANDLER>(handler), flag, 1, 0};
}

/// What became of a command that was handed to its receiver.
enum eIP_COMMAND_MESSAGE_RESULT {
    IPMSG_QUEUED,  // it waits for the receiver's thread
    IPMSG_REFUSED, // the receiver is going, or its window is gone
};

/// Base of every receiver of commands.
///
/// A plain receiver's handlers run on the bus's threads, one command call at a time for each receiver. A
/// class whose handlers use its own members calls CreateIPCommandTarget last in its constructor and
/// DestroyIPCommandTarget first in its destructor: when that returns no handler runs and none will. The
/// destructor here calls it too, which is enough for classes without members of their own. A command of a
/// receiver that goes fails for its sender.
///
/// Operations marked thread-safe may be called from any thread while the receiver lives; all results are 1
/// for success and 0 for failure.
class ALIDADE_FOUNDATION_API IIPCommandTarget {
public:
    /// @param client  registers with it at once; null: CreateIPCommandTarget does later
    /// @param flag    1: answers commands; 0: only sends, is never searched for a command
    explicit IIPCommandTarget(CIPClient* client = nullptr, int flag = 1);
    virtual ~IIPCommandTarget();
    IIPCommandTarget(const IIPCommandTarget&) = delete;
    IIPCommandTarget& operator=(const IIPCommandTarget&) = delete;

private:
    /// Ends every command of this receiver that is not just running, as failed and without its handler.
    virtual void ResetSequences();

public:
    /// Hands a new command over for the receiver's thread. Thread-safe.
    virtual eIP_COMMAND_MESSAGE_RESULT DispatchIPCommand(HIPCOMMAND command,
                                                         const IP_COMMAND_TARGET_ENTRY* entry);
    /// Called before each call of a handler; 0 fails the command without it. Here always 1.
    virtual int OnPreIPCommand(HIPCOMMAND command, const IP_COMMAND_TARGET_ENTRY* entry);
    /// Calls the handler and gives its result. What it throws counts as 0 and is logged.
    virtual int DoIPCommand(HIPCOMMAND command, const IP_COMMAND_TARGET_ENTRY* entry);
    /// The class's table. Overridden by every receiver class.
    virtual const IP_COMMAND_TARGET* GetIPCommandTargetStatic() const;

    /// The unit name under which the receiver answers; receivers may share one. Thread-safe.
    void SetUnitName(const char* name);
    CStringA GetUnitName() const;
    /// The client it is registered with, or null.
    CIPClient* GetIPClient() const;

    /// Sends to the own unit without waiting; `timeout` is not used, since nobody waits. 0 when no receiver
    /// of the unit has such a command. Thread-safe.
    ///@{
    int PostIPCommand(const char* group, const char* name, DWORD timeout);
    int PostIPCommand(const char* group, const char* name, const CIPVariable& in, DWORD timeout);
    ///@}
    /// Sends to the own unit and waits for the end, serving the own thread's window receivers meanwhile.
    /// @param out  the result; left alone when the command failed without one
    /// @param timeout  milliseconds, INFINITE (-1): no limit. It ends the wait, not the command
    /// Fails at once when this thread is just running a handler of the plain receiver that it would wait for.
    /// Thread-safe.
    int SendIPCommand(const char* group, const char* name, const CIPVariable& in, CIPVariable& out,
                      DWORD timeout);
    /// Starts a child of the command that this thread is running, on the own unit; the parent goes on when
    /// it has ended. A child that outlasts `timeout` counts as failed, and goes on alone. 0 when no command
    /// is running on this thread or no receiver has such a command; then nothing is waited for.
    ///@{
    int SendIPStepCommand(const char* group, const char* name, DWORD timeout);
    int SendIPStepCommand(const char* group, const char* name, const CIPVariable& in, DWORD timeout);
    ///@}

protected:
    /// Registers the receiver. 0 when it is registered already or the client is shut down.
    int CreateIPCommandTarget(CIPClient* client);
    /// Leaves the bus; see above. Further calls do nothing.
    void DestroyIPCommandTarget();
    /// Sends to a unit of any task and waits.
    int SendIPCommand(const char* unit, const char* group, const char* name, const CIPVariable& in,
                      DWORD timeout);
    /// Resumes the commands of this receiver with that group and name as ContinueIPStepCommand does; a
    /// failing word also reaches one that is not paused. 0 when there is none. Thread-safe.
    int ResumeIPStepCommandByName(const char* group, const char* name, DWORD word1, DWORD word2);
    /// Continues a paused command: word 0 normally, a failing word so that its next step sees the failure.
    /// `word2` is not used. 0 when the command is gone or, for word 0, not paused. Thread-safe.
    int ContinueIPStepCommand(CIPCommand* command, DWORD word1, DWORD word2);

    /// Binds the receiver to a window: handlers then run on that window's thread. For IWNDIPCommandTarget.
    void BindToWindow(HWND& window);
    CIPTargetState& GetState() const { return *m_state; }

private:
    int CallHandler(IP_COMMAND_HANDLER handler, CIPCommand& command);

    std::shared_ptr<CIPTargetState> m_state; // shared with the bus
};

} // namespace alidade
