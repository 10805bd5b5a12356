#include "foundation/math/Orient.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace alidade {
namespace {

constexpr int kBlock = 64;                                // pixels: a block's rows stay in the first-level cache
constexpr std::size_t kParallelBytes = std::size_t{1} << 20; // below, handing over costs more than it gains

template <std::size_t SIZE>
struct Pixel {
    std::array<std::uint8_t, SIZE> bytes;
};

/// Turns the target rows [first, last): each target row is a source column.
template <class T>
void TransposeRows(const cv::Mat& source, cv::Mat& target, bool flipRows, bool flipColumns, int first, int last)
{
    const std::ptrdiff_t sourceStep = static_cast<std::ptrdiff_t>(source.step);
    for (int blockRow = first; blockRow < last; blockRow += kBlock) {
        const int rowEnd = std::min(blockRow + kBlock, last);
        for (int blockColumn = 0; blockColumn < target.cols; blockColumn += kBlock) {
            const int columns = std::min(kBlock, target.cols - blockColumn);
            for (int row = blockRow; row < rowEnd; ++row) {
                const int sourceColumn = flipRows ? source.cols - 1 - row : row;
                const int sourceRow = flipColumns ? source.rows - 1 - blockColumn : blockColumn;
                const std::uint8_t* from = source.ptr(sourceRow) + static_cast<std::size_t>(sourceColumn) * sizeof(T);
                const std::ptrdiff_t step = flipColumns ? -sourceStep : sourceStep;
                std::uint8_t* to = target.ptr(row) + static_cast<std::size_t>(blockColumn) * sizeof(T);
                for (int i = 0; i < columns; ++i, from += step, to += sizeof(T)) {
                    std::memcpy(to, from, sizeof(T));
                }
            }
        }
    }
}

template <class T>
void MirrorRows(const cv::Mat& source, cv::Mat& target, bool flipRows, bool flipColumns, int first, int last)
{
    for (int row = first; row < last; ++row) {
        const auto* from = reinterpret_cast<const T*>(source.ptr(flipRows ? source.rows - 1 - row : row));
        auto* to = reinterpret_cast<T*>(target.ptr(row));
        if (flipColumns) {
            std::reverse_copy(from, from + source.cols, to);
        } else {
            std::memcpy(to, from, static_cast<std::size_t>(source.cols) * sizeof(T));
        }
    }
}

using RowFunction = void (*)(const cv::Mat&, cv::Mat&, bool, bool, int, int);

template <std::size_t SIZE>
RowFunction Select(bool transpose)
{
    return transpose ? TransposeRows<Pixel<SIZE>> : MirrorRows<Pixel<SIZE>>;
}

RowFunction Select(std::size_t elemSize, bool transpose)
{
    switch (elemSize) {
    case 1: return Select<1>(transpose);
    case 2: return Select<2>(transpose);
    case 3: return Select<3>(transpose);
    case 4: return Select<4>(transpose);
    case 6: return Select<6>(transpose);
    case 8: return Select<8>(transpose);
    case 12: return Select<12>(transpose);
    case 16: return Select<16>(transpose);
    case 24: return Select<24>(transpose);
    case 32: return Select<32>(transpose);
    default: return nullptr;
    }
}

} // namespace

void OrientImage(const cv::Mat& source, cv::Mat& target, const T_ORIENTATION& orientation)
{
    const RowFunction rows = Select(source.elemSize(), orientation.transpose);
    CV_Assert(source.dims <= 2 && rows != nullptr);
    if (orientation.transpose) {
        target.create(source.cols, source.rows, source.type());
    } else {
        target.create(source.rows, source.cols, source.type());
    }
    CV_Assert(target.empty() || target.data != source.data);
    const std::size_t bytes = source.total() * source.elemSize();
    if (bytes < kParallelBytes) {
        rows(source, target, orientation.flipRows, orientation.flipColumns, 0, target.rows);
        return;
    }
    // Stripes of whole blocks, so that no two threads write into one block of the target.
    const int stripes = (target.rows + kBlock - 1) / kBlock;
    cv::parallel_for_(cv::Range(0, stripes), [&](const cv::Range& range) {
        rows(source, target, orientation.flipRows, orientation.flipColumns, range.start * kBlock,
             std::min(range.end * kBlock, target.rows));
    });
}

} // namespace alidade
