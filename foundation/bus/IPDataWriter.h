#pragma once

#include "foundation/bus/IPData.h"

#include <span>

namespace alidade {

/// The machine's side of a shared block: makes it, writes it, and takes it down. One writer a block.
///
/// Changes between Begin and Commit become visible together. Readers are never waited for. Bound to one
/// thread at a time.
class ALIDADE_FOUNDATION_API CIPDataWriter {
public:
    explicit CIPDataWriter(const wchar_t* family);
    /// Takes the block down.
    ~CIPDataWriter();
    CIPDataWriter(const CIPDataWriter&) = delete;
    CIPDataWriter& operator=(const CIPDataWriter&) = delete;

    /// Makes the block, all items zero or empty. A block that a dead writer left behind is taken over.
    /// Another block that this object has open is then taken down.
    /// @param items  1 to 65536; paths are different, UTF-8, 1 to 1024 bytes; texts have room for 1 byte to 1
    /// MiB;
    ///               256 MiB in all, where values count eightfold
    /// @param text   why not: a living writer has it, bad items, no memory
    /// @return 1 on success, else 0 and nothing has changed
    int Create(const char* blockName, std::span<const T_IP_DATA_ITEM> items, CString& text);
    /// Takes the block down: readers that have it open keep the last values and see that the writer is gone.
    void Close();
    int IsOpen() const;

    /// Number of an item in the order of Create, or -1.
    int FindItem(const char* path) const;

    /// Sets a value, converted to the item's type; a text is cut to its capacity between characters.
    /// Outside of Begin and Commit each is a write of its own.
    /// @param value  a text is UTF-8; null: an empty one
    /// @return 0, and nothing is set, for an unknown number, no open block, or what the item cannot hold: a
    /// text
    ///         that is no number, one that is not UTF-8, a number longer than the text item
    ///@{
    int SetInt(int item, int value);
    int SetDouble(int item, double value);
    int SetString(int item, const char* value);
    ///@}
    /// Values set between them become visible together, with the outermost Commit. Of a process that dies
    /// before, or in the middle of it, readers see none.
    ///@{
    void Begin();
    void Commit();
    ///@}

private:
    struct T_IMPLEMENTATION;
    std::unique_ptr<T_IMPLEMENTATION> m_implementation;
};

} // namespace alidade
