#pragma once

#include "foundation/bus/data/BlockDirectory.h"
#include "foundation/bus/data/BlockMemory.h"

namespace alidade {

/// One item as a reader sees it, in memory of its own.
struct T_SHARED_ITEM {
    const std::uint64_t* first; // its value in copy 0
    CBlockDirectory::T_PLACE place;
};

/// A block as a reader sees it: where its parts lie, checked when it was opened.
struct T_SHARED_BLOCK {
    const std::uint64_t* sequence = nullptr;
    std::uint64_t copyMask = 0;
    std::uint64_t copyWords = 0;
    std::uint64_t grace = 0; // writes that may pass while a value is read
};

/// Reads a shared block in memory, mapped or not. Operations are thread-safe once it is open.
class ALIDADE_FOUNDATION_API CBlockReader {
public:
    /// @return false with `text` set, and nothing changed
    bool Open(const CStringA& mapName, CString& text);
    /// A block in memory that outlives this object.
    bool OpenMemory(const std::byte* data, std::size_t size, CString& text);
    void Close();

    bool IsOpen() const { return m_header != nullptr; }
    const CBlockDirectory& GetDirectory() const { return m_directory; }
    const T_SHARED_BLOCK& GetBlock() const { return m_block; }
    const T_SHARED_ITEM& GetItem(int number) const { return m_items[static_cast<std::size_t>(number)]; }
    std::uint64_t GetWriteCount() const { return LoadWord(m_block.sequence, std::memory_order_acquire); }
    bool IsWriterAlive() const;

    /// One whole copy of the values, all of one write.
    /// @return the number of that write
    /// @throws CIPException  when the writer overtakes every attempt
    std::uint64_t ReadAll(std::vector<std::uint64_t>& words) const;

private:
    void Use(const std::byte* data);

    CBlockMemory m_memory;
    CBlockDirectory m_directory;
    T_SHARED_BLOCK m_block;
    std::vector<T_SHARED_ITEM> m_items;
    const T_BLOCK_HEADER* m_header = nullptr;
};

/// The text of a text item, of one write.
/// @throws CIPException  for what is no text that the item could hold; see ReadWhole
ALIDADE_FOUNDATION_API CStringA ReadBlockText(const T_SHARED_BLOCK& block, const T_SHARED_ITEM& item);

/// @throws CIPException
[[noreturn]] ALIDADE_FOUNDATION_API void ThrowOvertaken();

/// Runs `read`, which reads from the copy at the given distance from copy 0, until no write has reached that
/// copy meanwhile. It takes its values by LoadWord with acquire order: that is what makes the second look at
/// the sequence see the write that they come from.
/// @return the number of the write that was read
/// @throws CIPException  after a thousand attempts
template <class Read>
std::uint64_t ReadWhole(const T_SHARED_BLOCK& block, Read&& read)
{
    // A reader that was stopped in the middle is overtaken once; nearly so often as this only by a writer
    // that does not stick to the rules, or that never rests while much is read.
    constexpr int kMostAttempts = 1000;
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        const std::uint64_t before = LoadWord(block.sequence, std::memory_order_acquire);
        read((before & block.copyMask) * block.copyWords);
        if (LoadWord(block.sequence) - before <= block.grace) {
            return before;
        }
    }
    ThrowOvertaken();
}

} // namespace alidade
