#pragma once

#include "foundation/bus/transport/PeerLink.h"
#include "foundation/platform/LocalSocket.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace alidade {

/// What a process allows its peers. Times are real milliseconds.
struct T_LOCAL_LIMITS {
    DWORD helloTime = 5000;  // from the connection to its first message
    DWORD frameTime = 10000; // from a message's first byte to its last, and one more second for each 4 MB
    DWORD stallTime = 30000; // without the peer taking anything of what waits for it
    std::size_t queueBytes = std::size_t{512} << 20; // that wait for one peer
    std::size_t mostPeers = 1024;
};

/// The connection to one other process: each message is its size, four bytes with the highest first, and then
/// the message. Send and Close are thread-safe and do not wait; Read is for one thread.
class CLocalPeer final : public IPeerLink {
public:
    CLocalPeer(CLocalSocket socket, const T_LOCAL_LIMITS& limits, CString name);
    /// Not on a thread that is in Send.
    ~CLocalPeer() override;

    void Send(T_TRANSPORT_FRAME&& frame) override;
    const CString& GetName() const override { return m_name; }

    enum class eREAD { MESSAGE, ENDED, LATE, BROKEN };
    /// The next message, which stays good until the next call unless it has an owner.
    /// @param ms  how long to wait for its first byte
    /// @param error  why it is BROKEN
    eREAD Read(T_TRANSPORT_BYTES& bytes, DWORD ms, CString& error);

    bool IsOpen() const;

    /// @name Messages of this connection, so that those of another can keep their place among them
    ///@{
    std::uint64_t CountSent() const { return m_sent.load(); }
    /// For the reading thread: one more is dealt with; `end`: none will come.
    void NoteHandled(bool end = false);
    /// Waits until so many are dealt with, or none will come.
    void WaitHandled(std::uint64_t count) const;
    ///@}

    /// Ends the connection, and with it Read.
    void Close();
    /// Waits up to `ms` real milliseconds until all is sent that was to be.
    void Drain(DWORD ms);
    /// Why the sending side ended the connection; empty when it did not.
    CString GetProblem() const;

private:
    struct T_WAITING {
        std::uint8_t header[4];
        T_TRANSPORT_FRAME frame;
        std::size_t done = 0; // bytes sent, header included
    };
    static std::size_t SendRest(CLocalSocket& socket, const T_WAITING& waiting, bool& failed);
    void Break(CString problem);
    void Write();
    eREAD Fill(std::uint8_t* to, std::size_t least, std::size_t most, std::size_t& got, std::int64_t end,
               CString& error);
    eREAD ReadLarge(std::size_t size, T_TRANSPORT_BYTES& bytes, std::int64_t end, CString& error);

    CLocalSocket m_socket;
    const T_LOCAL_LIMITS m_limits;
    const CString m_name;

    // The reading thread's.
    std::vector<std::uint8_t> m_buffer;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;

    std::atomic<std::uint64_t> m_sent{0};
    std::atomic<std::uint64_t> m_handled{0};

    mutable std::mutex m_mutex; // guards what follows
    std::condition_variable m_changed;
    bool m_broken = false;
    CString m_problem;
    std::deque<T_WAITING> m_queue; // while there are any, the socket's sending side is the writer's
    std::size_t m_queuedBytes = 0;
    std::thread m_writer; // from the first time that the socket would not take all
};

} // namespace alidade
