#include "foundation/bus/transport/LocalPeer.h"

#include "foundation/bus/transport/TransportMessage.h"
#include "foundation/platform/LargeMemory.h"
#include "foundation/platform/Thread.h"
#include "foundation/platform/Ticks.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>

namespace alidade {
namespace {

constexpr std::size_t kBufferBytes = std::size_t{64} << 10;
constexpr std::size_t kHeaderBytes = 4;
constexpr std::size_t kPieces = 32;
constexpr std::size_t kLargeBytes = std::size_t{4} << 20;
constexpr std::int64_t kMillisecond = 1000000;

std::shared_ptr<std::uint8_t> Allocate(std::size_t size)
{
    if (size < kLargeBytes) {
        return {new std::uint8_t[size], [](const std::uint8_t* memory) { delete[] memory; }};
    }
    auto* memory = static_cast<std::uint8_t*>(AllocateLargeMemory(size));
    return {memory, [](std::uint8_t* block) { FreeLargeMemory(block); }};
}

/// Milliseconds until a time of GetTickNanoseconds, 0 when it is over.
DWORD Until(std::int64_t end)
{
    return static_cast<DWORD>(
        std::clamp<std::int64_t>((end - GetTickNanoseconds()) / kMillisecond, 0, 0x7fffffff));
}

} // namespace

CLocalPeer::CLocalPeer(CLocalSocket socket, const T_LOCAL_LIMITS& limits, CString name)
    : m_socket(std::move(socket)), m_limits(limits), m_name(std::move(name)), m_buffer(kBufferBytes)
{
}

CLocalPeer::~CLocalPeer()
{
    Close();
    if (m_writer.joinable()) {
        m_writer.join();
    }
}

void CLocalPeer::Send(T_TRANSPORT_FRAME&& frame)
{
    const std::size_t size = frame.GetSize();
    T_WAITING waiting{{static_cast<std::uint8_t>(size >> 24), static_cast<std::uint8_t>(size >> 16),
                       static_cast<std::uint8_t>(size >> 8), static_cast<std::uint8_t>(size)},
                      std::move(frame)};
    const std::lock_guard lock(m_mutex);
    if (m_broken) {
        return;
    }
    ++m_sent;
    if (m_queue.empty()) {
        bool failed = false;
        waiting.done = SendRest(m_socket, waiting, failed);
        if (failed) {
            Break({});
            return;
        }
        if (waiting.done == kHeaderBytes + size) {
            return;
        }
    }
    if (m_queuedBytes + size > m_limits.queueBytes) {
        Break(L"it takes too little: " + std::to_wstring(m_queuedBytes >> 20) + L" MB wait for it");
        return;
    }
    m_queuedBytes += size;
    m_queue.push_back(std::move(waiting));
    if (!m_writer.joinable()) {
        m_writer = std::thread([this] { Write(); });
    }
    m_changed.notify_all();
}

std::size_t CLocalPeer::SendRest(CLocalSocket& socket, const T_WAITING& waiting, bool& failed)
{
    std::size_t sent = waiting.done;
    for (;;) {
        std::array<T_SOCKET_PART, kPieces> parts;
        std::size_t count = 0;
        std::size_t asked = 0;
        std::size_t at = 0; // of the next piece in the whole
        const auto add = [&](const std::uint8_t* data, std::size_t size) {
            if (at + size > sent && count < kPieces) {
                const std::size_t skip = sent > at ? sent - at : 0;
                parts[count++] = {data + skip, size - skip};
                asked += size - skip;
            }
            at += size;
        };
        add(waiting.header, kHeaderBytes);
        waiting.frame.ForEachPiece(add);
        if (count == 0) {
            return sent;
        }
        const std::size_t taken = socket.Send({parts.data(), count}, failed);
        sent += taken;
        if (failed || taken < asked) {
            return sent;
        }
    }
}

/// Wants the lock.
void CLocalPeer::Break(CString problem)
{
    if (!m_broken) {
        m_broken = true;
        m_problem = std::move(problem);
        m_socket.Shutdown();
        m_changed.notify_all();
    }
}

void CLocalPeer::Close()
{
    const std::lock_guard lock(m_mutex);
    Break({});
}

CString CLocalPeer::GetProblem() const
{
    const std::lock_guard lock(m_mutex);
    return m_problem;
}

bool CLocalPeer::IsOpen() const
{
    const std::lock_guard lock(m_mutex);
    return !m_broken;
}

void CLocalPeer::NoteHandled(bool end)
{
    m_handled.store(end ? UINT64_MAX : m_handled.load(std::memory_order_relaxed) + 1);
    m_handled.notify_all();
}

void CLocalPeer::WaitHandled(std::uint64_t count) const
{
    for (std::uint64_t handled; (handled = m_handled.load()) < count;) {
        m_handled.wait(handled);
    }
}

void CLocalPeer::Drain(DWORD ms)
{
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, std::chrono::milliseconds(ms), [this] { return m_broken || m_queue.empty(); });
}

void CLocalPeer::Write()
{
    NameThisThread("bus-write");
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_broken || !m_queue.empty(); });
        if (m_broken) {
            m_queue.clear();
            return;
        }
        T_WAITING& front = m_queue.front(); // stays in its place while others are added
        lock.unlock();
        bool failed = false;
        const std::size_t before = front.done;
        front.done = SendRest(m_socket, front, failed);
        const std::size_t size = front.frame.GetSize();
        const bool whole = front.done == kHeaderBytes + size;
        const bool stalled =
            !failed && !whole && front.done == before && !m_socket.WaitWritable(m_limits.stallTime);
        lock.lock();
        if (failed || stalled) {
            Break(stalled ? L"it has taken nothing for " + std::to_wstring(m_limits.stallTime) + L" ms"
                          : CString());
        } else if (whole) {
            m_queue.pop_front();
            m_queuedBytes -= size;
            m_changed.notify_all();
        }
    }
}

CLocalPeer::eREAD CLocalPeer::Read(T_TRANSPORT_BYTES& bytes, DWORD ms, CString& error)
{
    if (m_begin == m_end) {
        m_begin = m_end = 0;
        const std::ptrdiff_t got = m_socket.Receive(m_buffer.data(), m_buffer.size(), ms);
        if (got <= 0) {
            return got == 0 ? eREAD::ENDED : eREAD::LATE;
        }
        m_end = static_cast<std::size_t>(got);
    }
    // Time is asked for only when a message does not come in one piece.
    std::int64_t end = 0;
    const auto fillTo = [&](std::size_t least) {
        if (m_end - m_begin >= least) {
            return eREAD::MESSAGE;
        }
        end = end != 0 ? end : GetTickNanoseconds() + m_limits.frameTime * kMillisecond;
        std::memmove(m_buffer.data(), m_buffer.data() + m_begin, m_end - m_begin);
        m_end -= m_begin;
        m_begin = 0;
        std::size_t got = 0;
        const eREAD result =
            Fill(m_buffer.data() + m_end, least - m_end, m_buffer.size() - m_end, got, end, error);
        m_end += got;
        return result;
    };
    if (const eREAD result = fillTo(kHeaderBytes); result != eREAD::MESSAGE) {
        return result;
    }
    const std::uint8_t* header = m_buffer.data() + m_begin;
    const std::size_t size = std::size_t{header[0]} << 24 | std::size_t{header[1]} << 16 |
                             std::size_t{header[2]} << 8 | std::size_t{header[3]};
    if (size == 0 || size > kLargestMessage) {
        error = L"a message of " + std::to_wstring(size) + L" bytes";
        return eREAD::BROKEN;
    }
    if (size > kBufferBytes - kHeaderBytes) {
        m_begin += kHeaderBytes;
        end = GetTickNanoseconds() +
              (m_limits.frameTime + static_cast<std::int64_t>(size >> 12)) * kMillisecond;
        return ReadLarge(size, bytes, end, error);
    }
    if (const eREAD result = fillTo(kHeaderBytes + size); result != eREAD::MESSAGE) {
        return result;
    }
    bytes = {m_buffer.data() + m_begin + kHeaderBytes, size, nullptr};
    m_begin += kHeaderBytes + size;
    return eREAD::MESSAGE;
}

/// Receives between `least` and `most` bytes until the time is over.
CLocalPeer::eREAD CLocalPeer::Fill(std::uint8_t* to, std::size_t least, std::size_t most, std::size_t& got,
                                   std::int64_t end, CString& error)
{
    while (got < least) {
        const std::ptrdiff_t more = m_socket.Receive(to + got, most - got, Until(end));
        if (more == 0) {
            error = L"it ended in the middle of a message";
            return eREAD::BROKEN;
        }
        got += static_cast<std::size_t>(std::max<std::ptrdiff_t>(more, 0));
        if (more < 0 || (got < least && GetTickNanoseconds() > end)) {
            error = L"a message took too long to come";
            return eREAD::BROKEN;
        }
    }
    return eREAD::MESSAGE;
}

CLocalPeer::eREAD CLocalPeer::ReadLarge(std::size_t size, T_TRANSPORT_BYTES& bytes, std::int64_t end,
                                        CString& error)
{
    std::shared_ptr<std::uint8_t> memory = Allocate(size);
    if (memory == nullptr) {
        error = L"no memory for a message of " + std::to_wstring(size) + L" bytes";
        return eREAD::BROKEN;
    }
    const std::size_t there = std::min(size, m_end - m_begin);
    std::memcpy(memory.get(), m_buffer.data() + m_begin, there);
    m_begin += there;
    std::size_t got = 0;
    const eREAD result = Fill(memory.get() + there, size - there, size - there, got, end, error);
    bytes = {memory.get(), size, std::move(memory)};
    return result;
}

} // namespace alidade
