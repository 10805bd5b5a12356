#include "foundation/platform/LargeMemory.h"

#include <cstdlib>

#ifdef _WIN32
#include <malloc.h>
#else
#include <sys/mman.h>
#endif

namespace alidade {
namespace {

constexpr std::size_t kPage = std::size_t{2} << 20;
constexpr std::size_t kMost = std::size_t{1} << 39; // no machine has room for such an image

} // namespace

void* AllocateLargeMemory(std::size_t bytes)
{
    if (bytes > kMost) {
        return nullptr;
    }
    const std::size_t whole = (bytes + kPage - 1) / kPage * kPage;
#ifdef _WIN32
    return ::_aligned_malloc(whole, kPage); // large pages need a privilege there that operators do not have
#else
    void* memory = std::aligned_alloc(kPage, whole);
#ifdef MADV_HUGEPAGE
    if (memory != nullptr) {
        ::madvise(memory, whole, MADV_HUGEPAGE); // a wish: without it everything works, only slower
    }
#endif
    return memory;
#endif
}

void FreeLargeMemory(void* memory)
{
#ifdef _WIN32
    ::_aligned_free(memory);
#else
    std::free(memory);
#endif
}

} // namespace alidade
