#pragma once

#include "foundation/bus/data/BlockLayout.h"

#include <span>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace alidade {

/// Where everything lies in a block: checked once, and in memory of one's own, so that nothing that the
/// block's memory says later is followed.
class ALIDADE_FOUNDATION_API CBlockDirectory {
public:
    CBlockDirectory() = default;
    CBlockDirectory(CBlockDirectory&&) =
        default; // the index points into the items, which stay where they are
    CBlockDirectory& operator=(CBlockDirectory&&) = default;

    /// Where the value of an item lies in each copy.
    struct T_PLACE {
        std::uint64_t word = 0; // in words of 8 bytes
        std::uint32_t type = 0;
        std::uint32_t capacity = 0;
    };

    /// The directory of a new block.
    /// @return false with `text` set when the items cannot make a block
    bool Plan(std::span<const T_IP_DATA_ITEM> items, CString& text);
    /// The directory of a block in `size` bytes of memory, aligned to 8.
    /// @return false with `text` set, and nothing changed, when any of it is not as it must be
    bool Read(const std::byte* data, std::size_t size, CString& text);
    /// Writes header, entries and names to zeroed memory of GetBlockSize() bytes; the magic number last.
    void Write(std::byte* data) const;

    const T_BLOCK_HEADER& GetHeader() const { return m_header; }
    std::uint64_t GetBlockSize() const { return m_header.blockSize; }
    std::uint64_t GetWordsPerCopy() const { return m_header.valuesSize / 8; }
    const std::vector<T_IP_DATA_ITEM>& GetItems() const { return m_items; }
    const std::vector<T_PLACE>& GetPlaces() const { return m_places; }
    /// Number of an item, or -1.
    int Find(std::string_view path) const;

private:
    bool ReadEntries(const std::byte* data, CString& text);
    bool IndexPaths(CString& text);

    T_BLOCK_HEADER m_header = {};
    std::vector<T_IP_DATA_ITEM> m_items;
    std::vector<T_PLACE> m_places;
    std::unordered_map<std::string_view, int> m_index; // of the paths in m_items
};

} // namespace alidade
