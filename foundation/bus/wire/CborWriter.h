#pragma once

#include "foundation/Export.h"
#include "foundation/bus/wire/CborTypes.h"

#include <string_view>
#include <vector>

namespace alidade {

/// Appends CBOR items to bytes. The same calls always give the same bytes: the shortest head, doubles of 8
/// bytes, definite lengths. That as many items follow an array or a map as it announces is the caller's.
/// Reentrant.
class ALIDADE_FOUNDATION_API CCborWriter {
public:
    /// @param out     appended to; not owned
    /// @param blocks  null: everything goes into `out`. Otherwise shared byte strings of kCborSharedBytes and
    /// more are
    ///                entered here instead, after their head, and not copied; not owned
    explicit CCborWriter(std::vector<std::uint8_t>& out, std::vector<T_CBOR_BLOCK>* blocks = nullptr)
        : m_out(out), m_blocks(blocks)
    {
    }

    void WriteUnsigned(std::uint64_t value) { WriteHead(0, value); }
    void WriteInt(std::int64_t value);
    void WriteDouble(double value);
    void WriteBool(bool value) { m_out.push_back(value ? 0xF5 : 0xF4); }
    void WriteNull() { m_out.push_back(0xF6); }
    /// A malformed byte of the UTF-8 becomes U+FFFD.
    void WriteText(std::string_view utf8);
    void WriteBytes(const void* data, std::size_t size);
    void WriteShared(std::shared_ptr<const void> data, std::size_t size);
    /// `count` items follow.
    void BeginArray(std::uint64_t count) { WriteHead(4, count); }
    /// `count` pairs of a key and a value follow.
    void BeginMap(std::uint64_t count) { WriteHead(5, count); }

    /// Makes room for so many more bytes, at least doubling what there was.
    void Reserve(std::size_t bytes);

private:
    void WriteHead(unsigned major, std::uint64_t argument);
    void Append(const void* data, std::size_t size);

    std::vector<std::uint8_t>& m_out;
    std::vector<T_CBOR_BLOCK>* m_blocks;
};

} // namespace alidade
