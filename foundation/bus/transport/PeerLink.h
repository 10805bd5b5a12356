#pragma once

#include "foundation/bus/wire/CborTypes.h"
#include "foundation/platform/Types.h"

#include <memory>
#include <vector>

namespace alidade {

/// An encoded message: bytes of its own with large blocks between them, which are shared and not copied.
struct T_TRANSPORT_FRAME {
    std::vector<std::uint8_t> bytes;
    std::vector<T_CBOR_BLOCK> blocks; // in order of their places in `bytes`

    std::size_t GetSize() const
    {
        std::size_t size = bytes.size();
        for (const T_CBOR_BLOCK& block : blocks) {
            size += block.size;
        }
        return size;
    }
    /// Calls with each piece in order: function(data, size).
    template <typename F>
    void ForEachPiece(F function) const
    {
        std::size_t done = 0;
        for (const T_CBOR_BLOCK& block : blocks) {
            if (block.at > done) {
                function(bytes.data() + done, block.at - done);
                done = block.at;
            }
            function(static_cast<const std::uint8_t*>(block.data.get()), block.size);
        }
        if (bytes.size() > done) {
            function(bytes.data() + done, bytes.size() - done);
        }
    }
};

/// Bytes that have come, and what keeps them alive; without an owner they are good during the call only.
struct T_TRANSPORT_BYTES {
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
    std::shared_ptr<const void> owner;
};

/// The way to one other process. Thread-safe.
class IPeerLink {
public:
    virtual ~IPeerLink() = default;

    /// Sends a message, without waiting for the peer. A message that cannot go breaks the link, which then
    /// is taken from the core.
    virtual void Send(T_TRANSPORT_FRAME&& frame) = 0;
    /// For log lines and errors, as "process 4711".
    virtual const CString& GetName() const = 0;

private:
    friend class CRequestBook;
    bool m_lost = false; // guarded by the book
};

} // namespace alidade
