#pragma once

#include "foundation/bus/data/BlockDirectory.h"
#include "foundation/bus/data/BlockMemory.h"

namespace alidade {

/// Makes and writes a shared block. Bound to one thread at a time.
///
/// Changes are gathered in memory of its own and stored by Commit into the copy that readers left longest
/// ago, so that a writer that dies at any point leaves the last whole write behind.
class ALIDADE_FOUNDATION_API CBlockWriter {
public:
    ~CBlockWriter();

    /// @return false with `text` set, and nothing changed
    bool Create(const CStringA& mapName, std::span<const T_IP_DATA_ITEM> items, CString& text);
    void Close();
    bool IsOpen() const { return m_memory.IsOpen(); }
    const CBlockDirectory& GetDirectory() const { return m_directory; }

    /// Set a value for the next Commit; the item is one of the block's.
    /// @return false, and nothing changed, for what the item cannot hold
    ///@{
    bool SetInt(int item, int value);
    bool SetDouble(int item, double value);
    bool SetString(int item, std::string_view text);
    ///@}
    /// Sets every item that differs; `words` are as CBlockReader::ReadAll gives them for the same directory.
    void SetWords(std::span<const std::uint64_t> words);
    /// Makes what was set visible; does nothing when nothing was.
    void Commit();

private:
    void SetWord(int item, std::uint64_t word);
    bool SetText(int item, std::string_view text);
    void Touch(int item);

    /// Items in the order of their last change, the latest first, as a list of numbers.
    struct T_CHANGE {
        int previous = -1;
        int next = -1;
        std::uint64_t write = 0; // number of the write that changed it last
    };

    CBlockMemory m_memory;
    CBlockDirectory m_directory;
    std::vector<std::uint64_t> m_words;
    std::vector<T_CHANGE> m_changes;
    int m_latest = -1;
    std::uint64_t m_writes = 0;
};

} // namespace alidade
