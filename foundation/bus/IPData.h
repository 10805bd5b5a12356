#pragma once

#include "foundation/bus/IPException.h"

#include <memory>
#include <span>
#include <vector>

namespace alidade {

struct T_SHARED_BLOCK;
struct T_SHARED_ITEM;

/// What an item of a shared block holds. The numbers are those in the shared memory.
enum eIP_DATA_TYPE : std::uint32_t {
    IPDATA_INT = 1, // 32 bits, signed
    IPDATA_DOUBLE = 3,
    IPDATA_STRING = 4, // UTF-8, up to a capacity
};

/// One typed item of a shared block, by its path: "MotorPosition.dMachineStageX",
/// "MotorPosition.dMachine[0]".
struct T_IP_DATA_ITEM {
    CStringA path;
    eIP_DATA_TYPE type = IPDATA_DOUBLE;
    std::uint32_t capacity = 0; // bytes of a text; not used for numbers
};

/// One item of an open block: a small value, copied freely, good as long as the CIPData that gave it is open.
/// Reads the present value without waiting for the writer, and never half of one: while a write is going on
/// it reads the values before it, also when the writer has died within. Numbers are converted. Reentrant.
class ALIDADE_FOUNDATION_API CIPDataItemIterator {
public:
    CIPDataItemIterator() = default;

    /// A block that was taken down keeps its last values.
    /// @throws CIPException  when it is clear, is a text that is no number, or the block is damaged
    int GetInt() const;
    double GetDouble() const;
    /// A number in its shortest form that gives the same number back.
    CStringA GetString() const;
    void Clear();
    bool IsUsable() const { return m_block != nullptr && m_item != nullptr; }

private:
    friend class CIPData;
    // Both belong to the CIPData.
    CIPDataItemIterator(const T_SHARED_BLOCK* block, const T_SHARED_ITEM* item) : m_block(block), m_item(item)
    {
    }

    const T_SHARED_BLOCK* m_block = nullptr;
    const T_SHARED_ITEM* m_item = nullptr;
};

/// A named block of shared memory that another task writes (CIPDataWriter), open for reading.
///
/// Blocks belong to a family; their map name is made of both, and of the environment variable
/// ALIDADE_INSTANCE where that is set, so that several machines can run on one computer. Nothing in the
/// memory is trusted: what would lie outside, overlap or not be of this version is refused when it is opened.
/// Reentrant; GetDataItem and the iterators are thread-safe while it is open.
class ALIDADE_FOUNDATION_API CIPData {
public:
    /// @param family  name of the block family, such as "Tavro"
    explicit CIPData(const wchar_t* family);
    ~CIPData();
    CIPData(const CIPData&) = delete;
    CIPData& operator=(const CIPData&) = delete;

    /// The canonical map name of a block of this family.
    CStringA MakeMapName(const char* blockName) const;
    /// True for the map name of the block that is open.
    bool operator==(const CStringA& mapName) const;

    /// Opens a block for reading. What was open before is closed, also when it cannot be opened.
    /// @param text  why not: no such block, a newer version, damaged
    /// @param family  as in the constructor; null: as given there
    /// @return 1; 0 when it cannot be opened
    int Open(const char* blockName, CString& text, const wchar_t* family = nullptr);
    void Close();
    int IsOpen() const;

    /// @throws CIPException  for an unknown variable, or when no block is open
    CIPDataItemIterator GetDataItem(const char* variableName) const;
    /// All items in the order of their definition.
    std::vector<T_IP_DATA_ITEM> ListItems() const;
    /// Reads several numbers that belong to one write: what a Begin and Commit set together is read together.
    /// @param items   of one open block; numbers
    /// @param values  receives a value for each item; what it holds after an exception is undefined
    /// @return the number of that write, see GetWriteCount
    /// @throws CIPException  for an iterator that is clear, is a text or belongs to another block; when the
    /// writer
    ///                       overtakes a thousand attempts
    static std::uint64_t ReadTogether(std::span<const CIPDataItemIterator> items, std::span<double> values);
    /// Number of whole writes so far: tells whether anything has changed.
    std::uint64_t GetWriteCount() const;
    /// 1 while the block's writer is there; 0 after it has closed the block or died. A new writer makes a new
    /// block: open it again to read that. Asks the system (a microsecond), where the reading operations do
    /// not.
    int IsWriterAlive() const;

private:
    struct T_IMPLEMENTATION;
    std::unique_ptr<T_IMPLEMENTATION> m_implementation;
};

} // namespace alidade
