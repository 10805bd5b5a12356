#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Types.h"

#include <cstddef>
#include <memory>
#include <utility>

namespace alidade {

/// The mapped memory of one shared block, with the writer's claim on it. Reentrant.
class ALIDADE_FOUNDATION_API CBlockMemory {
public:
    CBlockMemory();
    ~CBlockMemory();
    CBlockMemory(CBlockMemory&&) noexcept;
    CBlockMemory& operator=(CBlockMemory&&) noexcept;

    /// Makes the block and claims it; what a dead writer left behind under the name is removed first.
    /// @return false with `text` set when a living writer has it or the system refuses
    bool Create(const CStringA& mapName, std::uint64_t size, CString& text);
    /// Maps an existing block for reading only.
    bool Open(const CStringA& mapName, CString& text);
    /// Takes the name away, when this object made the block, and unmaps it.
    void Close();

    bool IsOpen() const { return m_data != nullptr; }
    std::byte* GetData() const { return m_data; }
    std::size_t GetSize() const { return m_size; }
    /// True while some writer has a claim on the block that is open here.
    bool HasWriter() const;

private:
    struct T_MAPPING;

    std::unique_ptr<T_MAPPING> m_mapping;
    CStringA m_madeName; // of the block that this object made
    std::byte* m_data = nullptr;
    std::size_t m_size = 0;
};

} // namespace alidade
