#pragma once

#include "foundation/bus/IPClient.h"

#include <functional>

namespace alidade {

/// What a command that was sent came to.
struct T_IP_REPLY {
    bool ok = false;
    CIPVariable result;
    CString error; // one sentence when not ok
};

using IP_REPLY_HANDLER = std::function<void(T_IP_REPLY&& reply)>;

/// A command on its way to another process.
struct T_IP_REQUEST {
    CStringA task; // empty: any
    CStringA unit; // empty: any
    CStringA group;
    CStringA name;
    CIPVariable parameter;
    DWORD timeout = INFINITE;     // of the sender's wait, for the far side's information
    bool abortWithSender = false; // the command is aborted when its sender goes away or gives up
    bool wantsReply = true;
    bool senderWaits = false;  // the sender calls IIPTransport::ServeReply next; wants a reply
    bool threadIsFree = false; // of one that came: nothing else waits for the thread that calls StartRequest,
                               // which may run the command's handler itself
};

/// What the bus offers to a transport. Thread-safe; none of these calls waits for a handler.
class IIPTransportHost {
public:
    virtual ~IIPTransportHost() = default;

    /// Starts a command that came from outside. Only receivers of this process are searched.
    /// @param reply  called exactly once, from any thread, unless the request wants none; may be called
    /// before
    ///               this returns
    /// @return a number for AbortRequest, 0 when nobody answers (reply was called then)
    virtual std::uint64_t StartRequest(T_IP_REQUEST&& request, IP_REPLY_HANDLER reply) = 0;
    /// Aborts a started command: its handler sees IsOK false. Unknown numbers are ignored.
    virtual void AbortRequest(std::uint64_t number) = 0;
    /// What this process answers.
    virtual std::vector<T_IP_COMMAND_RECORD> GetOwnCommands() const = 0;
    /// Writes a line; level as in CSimpleLog. Does nothing without a log.
    virtual void WriteLog(DWORD level, const CString& line) = 0;
};

/// A way to other processes. Made joined; leaves in its destructor, which fails what is in flight.
/// All operations are thread-safe and never wait for a peer.
class IIPTransport {
public:
    virtual ~IIPTransport() = default;

    /// Sends a command. The reply handler is called exactly once from a thread of the transport or from
    /// within (an immediate failure), or never when the request wants none; a peer that is lost fails what it
    /// owed.
    /// @return a number for Abandon; 0, and no reply is called, when nobody there answers such a command or
    ///         one that wants no reply cannot go
    virtual std::uint64_t Send(T_IP_REQUEST&& request, IP_REPLY_HANDLER reply) = 0;
    /// The sender has given up: no reply is called from now on. Aborts the command if its request says so.
    virtual void Abandon(std::uint64_t number) = 0;
    /// Brings the reply to a request that was sent with senderWaits on the calling thread, which saves a
    /// hand-over between threads. Returns once its handler was called or it was abandoned; at once when there
    /// is nothing to do here, and the reply comes as any other.
    virtual void ServeReply(std::uint64_t /*number*/) {}
    /// Fails what is in flight, so that every ServeReply returns; nothing can be sent any more. Called before
    /// the destructor by who has threads in ServeReply.
    virtual void Close() {}
    /// The commands that this process answers have changed.
    virtual void OnOwnCommandsChanged() = 0;
    /// What others answer, as known by now.
    virtual std::vector<T_IP_COMMAND_RECORD> ListCommands() const = 0;
};

/// Whether a text has the form of an address; otherwise the error is a sentence that says why not.
ALIDADE_FOUNDATION_API bool CheckBusAddress(const char* address, CString& error);

/// Joins by address, see CIPBus::Join. Null and a sentence when that fails.
ALIDADE_FOUNDATION_API std::unique_ptr<IIPTransport> JoinTransport(const char* address, bool joinOnly,
                                                                   IIPTransportHost& host, CString& error);

} // namespace alidade
