#pragma once

#include "foundation/bus/IPData.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstring>

// The layout of a shared block, as docs/shared-data.md describes it for writers in other languages.

namespace alidade {

/// "ALSHBLK1" as the bytes lie in memory. Written last: a block without it is still being made.
constexpr std::uint64_t kBlockMagic = 0x314B4C4248534C41;
constexpr std::uint32_t kBlockVersion = 1;

/// Copies of the values that CIPDataWriter makes. A reader is overtaken only by this many writes less one.
constexpr std::uint32_t kBlockCopies = 8;
constexpr std::uint32_t kMostBlockCopies = 64;
constexpr std::uint32_t kMostBlockItems = 65536;
constexpr std::uint32_t kMostPathBytes = 1024;
constexpr std::uint32_t kMostTextBytes = 1 << 20;
constexpr std::uint64_t kMostBlockBytes = 256ull << 20;

enum eBLOCK_STATE : std::uint32_t {
    BLOCK_OPEN = 1,
    BLOCK_CLOSED = 2, // its writer has taken it down
};

/// At the beginning of the block. Offsets are in bytes from there.
struct T_BLOCK_HEADER {
    std::uint64_t magic;
    std::uint32_t version;
    std::uint32_t headerSize;
    std::uint64_t blockSize; // of the whole block
    std::uint32_t itemCount;
    std::uint32_t copies; // of the values: a power of two
    std::uint64_t directoryOffset;
    std::uint64_t namesOffset;
    std::uint64_t namesSize;
    std::uint64_t valuesOffset;
    std::uint64_t valuesSize; // of one copy
    std::uint64_t reserved[7];
    // Below: what changes. A cache line of its own.
    std::uint64_t sequence; // number of whole writes; copy number sequence % copies holds the last one
    std::uint32_t state;
    std::uint32_t padding;
    std::uint64_t unused[6];
};
static_assert(sizeof(T_BLOCK_HEADER) == 192 && offsetof(T_BLOCK_HEADER, sequence) == 128);
static_assert(offsetof(T_BLOCK_HEADER, blockSize) == 16 && offsetof(T_BLOCK_HEADER, directoryOffset) == 32);
static_assert(offsetof(T_BLOCK_HEADER, valuesSize) == 64 && offsetof(T_BLOCK_HEADER, state) == 136);

/// One item of the directory.
struct T_BLOCK_ENTRY {
    std::uint32_t type;
    std::uint32_t capacity;    // bytes of a text, 0 for a number
    std::uint32_t nameOffset;  // in the names
    std::uint32_t nameLength;  // without the zero byte that follows
    std::uint64_t valueOffset; // in each copy of the values
};
static_assert(sizeof(T_BLOCK_ENTRY) == 24);

static_assert(std::endian::native == std::endian::little, "shared blocks are little-endian");
static_assert(std::atomic_ref<std::uint64_t>::is_always_lock_free);
static_assert(std::atomic_ref<std::uint32_t>::is_always_lock_free);

/// Words of 8 bytes that an item takes: a number one, a text its length and its bytes.
constexpr std::uint64_t GetValueWords(std::uint32_t type, std::uint32_t capacity)
{
    return type == IPDATA_STRING ? 1 + (std::uint64_t{capacity} + 7) / 8 : 1;
}

/// A word of memory that others may be writing.
inline std::uint64_t LoadWord(const std::uint64_t* word, std::memory_order order = std::memory_order_relaxed)
{
    return std::atomic_ref<std::uint64_t>(*const_cast<std::uint64_t*>(word)).load(order);
}
inline std::uint32_t LoadState(const T_BLOCK_HEADER* header)
{
    return std::atomic_ref<std::uint32_t>(*const_cast<std::uint32_t*>(&header->state))
        .load(std::memory_order_acquire);
}

/// Copies a part of the block, which others may be writing, word by word. Reads up to the end of the last
/// word.
inline void LoadBytes(const void* from, void* to, std::size_t size)
{
    const auto* words = static_cast<const std::uint64_t*>(from);
    for (std::size_t at = 0; at < size; at += 8) {
        const std::uint64_t word = LoadWord(words++);
        std::memcpy(static_cast<char*>(to) + at, &word, std::min<std::size_t>(8, size - at));
    }
}

} // namespace alidade
