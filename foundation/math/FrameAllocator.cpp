#include "foundation/math/FrameAllocator.h"

#include "foundation/platform/LargeMemory.h"

#include <algorithm>
#include <array>
#include <memory>
#include <mutex>

namespace alidade {
namespace {

constexpr std::size_t kMostBlocks = 16;
constexpr std::size_t kMostBytes = std::size_t{1} << 30;
constexpr std::size_t kLargeBytes = std::size_t{4} << 20; // from here on in large pages

/// Frees in a fixed ring of blocks, oldest first; a block is a UMatData with its memory.
class CFrameAllocator final : public cv::MatAllocator {
public:
    cv::UMatData* allocate(int dims, const int* sizes, int type, void* data, std::size_t* step,
                           cv::AccessFlag flags, cv::UMatUsageFlags usage) const override
    {
        if (data != nullptr) {
            return cv::Mat::getStdAllocator()->allocate(dims, sizes, type, data, step, flags, usage);
        }
        std::size_t total = CV_ELEM_SIZE(type);
        for (int i = dims - 1; i >= 0; --i) {
            if (step != nullptr) {
                step[i] = total;
            }
            total *= static_cast<std::size_t>(sizes[i]);
        }
        if (cv::UMatData* kept = Take(total)) {
            return kept;
        }
        auto block = std::make_unique<cv::UMatData>(this);
        block->data = block->origdata = AllocateBytes(total);
        block->size = total;
        return block.release();
    }

    bool allocate(cv::UMatData* block, cv::AccessFlag, cv::UMatUsageFlags) const override
    {
        return block != nullptr;
    }

    void deallocate(cv::UMatData* block) const override
    {
        if (block == nullptr) {
            return;
        }
        std::array<cv::UMatData*, kMostBlocks + 1> surplus;
        std::size_t count = 0;
        {
            std::lock_guard lock(m_mutex);
            while (m_nKept > 0 && (m_nKept == kMostBlocks || m_nBytes + block->size > kMostBytes)) {
                surplus[count++] = Drop(0);
            }
            if (m_nBytes + block->size <= kMostBytes) {
                m_kept[m_nKept++] = block;
                m_nBytes += block->size;
            } else {
                surplus[count++] = block;
            }
        }
        std::for_each(surplus.begin(), surplus.begin() + static_cast<std::ptrdiff_t>(count), Free);
    }

    void Trim() const
    {
        std::array<cv::UMatData*, kMostBlocks> all;
        std::size_t count = 0;
        {
            std::lock_guard lock(m_mutex);
            count = m_nKept;
            std::copy_n(m_kept.begin(), count, all.begin());
            m_nKept = 0;
            m_nBytes = 0;
        }
        std::for_each(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(count), Free);
    }

private:
    static uchar* AllocateBytes(std::size_t bytes)
    {
        if (bytes < kLargeBytes) {
            return static_cast<uchar*>(cv::fastMalloc(bytes));
        }
        void* memory = AllocateLargeMemory(bytes);
        if (memory == nullptr) {
            CV_Error(cv::Error::StsNoMem, cv::format("No memory for an image of %zu bytes", bytes));
        }
        return static_cast<uchar*>(memory);
    }

    static void Free(cv::UMatData* block)
    {
        if (block->size < kLargeBytes) {
            cv::fastFree(block->origdata);
        } else {
            FreeLargeMemory(block->origdata);
        }
        block->origdata = nullptr;
        delete block;
    }

    cv::UMatData* Take(std::size_t size) const
    {
        std::lock_guard lock(m_mutex);
        for (std::size_t i = m_nKept; i-- > 0;) { // the block last freed is the warmest
            if (m_kept[i]->size == size) {
                return Drop(i);
            }
        }
        return nullptr;
    }

    cv::UMatData* Drop(std::size_t index) const
    {
        cv::UMatData* block = m_kept[index];
        std::copy(m_kept.begin() + static_cast<std::ptrdiff_t>(index) + 1,
                  m_kept.begin() + static_cast<std::ptrdiff_t>(m_nKept),
                  m_kept.begin() + static_cast<std::ptrdiff_t>(index));
        --m_nKept;
        m_nBytes -= block->size;
        return block;
    }

    mutable std::mutex m_mutex;
    mutable std::array<cv::UMatData*, kMostBlocks> m_kept{};
    mutable std::size_t m_nKept = 0;
    mutable std::size_t m_nBytes = 0;
};

CFrameAllocator& Instance()
{
    static auto* instance = new CFrameAllocator; // never destroyed: images may be freed at any time
    return *instance;
}

} // namespace

cv::MatAllocator* GetFrameAllocator()
{
    return &Instance();
}

void TrimFrameAllocator()
{
    Instance().Trim();
}

} // namespace alidade
