#include "foundation/bus/wire/RawBlock.h"

#include "foundation/platform/LargeMemory.h"

#include <new>

namespace alidade {
namespace {

constexpr std::size_t kLargeBytes = 4 << 20;

} // namespace

std::shared_ptr<void> AllocateRawBlock(std::size_t size)
{
    if (size < kLargeBytes) {
        // Units that align as any record does.
        constexpr std::size_t kUnit = sizeof(std::max_align_t);
        auto units = std::make_shared_for_overwrite<std::max_align_t[]>((size + kUnit - 1) / kUnit);
        void* memory = units.get();
        return {std::move(units), memory};
    }
    void* memory = AllocateLargeMemory(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return {memory, FreeLargeMemory};
}

} // namespace alidade
