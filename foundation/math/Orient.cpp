#include "foundation/math/Orient.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <opencv2/core/hal/intrin.hpp>
#include <type_traits>

namespace alidade {
namespace {

constexpr std::size_t kParallelBytes = std::size_t{1} << 20; // below, handing over costs more than it gains
constexpr std::size_t kStreamBytes = std::size_t{16}
                                     << 20; // from here on an image leaves no room for itself in the cache

template <std::size_t SIZE>
struct Pixel {
    std::array<std::uint8_t, SIZE> bytes;
};

/// A block of SIDE by SIDE pixels of SIZE bytes with its rows close together. In place, rows a power of two
/// apart would fall on the same few lines of the cache.
template <std::size_t SIZE, int SIDE>
struct PackedBlock {
    static constexpr std::size_t kStep = static_cast<std::size_t>(SIDE) * SIZE + 16;

    const std::uint8_t* At(int row, int column) const
    {
        return bytes + static_cast<std::size_t>(row) * kStep + static_cast<std::size_t>(column) * SIZE;
    }

    alignas(64) std::uint8_t bytes[static_cast<std::size_t>(SIDE) * kStep + 16];
};

/// Writes one column of the block as a row of the target.
template <std::size_t SIZE, int SIDE>
void ColumnToRow(const PackedBlock<SIZE, SIDE>& block, int column, int rows, std::uint8_t* to)
{
    constexpr std::size_t step = PackedBlock<SIZE, SIDE>::kStep;
    const std::uint8_t* from = block.At(0, column);
    if constexpr (SIZE == 3 || SIZE == 6) {
        // One word a pixel: what it writes too much, the next pixel overwrites.
        using Word = std::conditional_t<SIZE == 3, std::uint32_t, std::uint64_t>;
        for (int i = 1; i < rows; ++i, from += step, to += SIZE) {
            Word word;
            std::memcpy(&word, from, sizeof(Word));
            std::memcpy(to, &word, sizeof(Word));
        }
        std::memcpy(to, from, SIZE);
    } else {
        for (int i = 0; i < rows; ++i, from += step, to += SIZE) {
            std::memcpy(to, from, SIZE);
        }
    }
}

/// Copies a row past the cache where its place allows that: the old content of the target is not fetched.
void StreamRow(const std::uint8_t* from, std::size_t bytes, std::uint8_t* to)
{
    std::size_t done = 0;
#if CV_SIMD128
    if (reinterpret_cast<std::uintptr_t>(to) % 16 == 0) {
        for (; done + 16 <= bytes; done += 16) {
            cv::v_store(to + done, cv::v_load(from + done), cv::hal::STORE_ALIGNED_NOCACHE);
        }
    }
#endif
    std::memcpy(to + done, from + done, bytes - done);
}

#if CV_SIMD128
/// A tile of 16 by 16 bytes: four rounds of zipping the first half of the rows with the second transpose it.
/// `step` of the target may be negative.
template <int SIDE>
void TransposeTile(const PackedBlock<1, SIDE>& block, int row, int column, std::uint8_t* to,
                   std::ptrdiff_t step)
{
    cv::v_uint8x16 rows[16];
    cv::v_uint8x16 zipped[16];
    for (int i = 0; i < 16; ++i) {
        rows[i] = cv::v_load(block.At(row + i, column));
    }
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 8; ++i) {
            cv::v_zip(rows[i], rows[i + 8], zipped[2 * i], zipped[2 * i + 1]);
        }
        for (int i = 0; i < 8; ++i) {
            cv::v_zip(zipped[i], zipped[i + 8], rows[2 * i], rows[2 * i + 1]);
        }
    }
    for (int i = 0; i < 16; ++i, to += step) {
        cv::v_store(to, rows[i]);
    }
}
#endif

/// Writes the block's first `columns` columns of `rows` pixels each as rows of the target, `step` bytes
/// apart.
template <std::size_t SIZE, int SIDE, bool STREAM>
void WriteTransposed(const PackedBlock<SIZE, SIDE>& block, int rows, int columns, std::uint8_t* to,
                     std::ptrdiff_t step)
{
#if CV_SIMD128
    if constexpr (SIZE == 1) {
        if (rows % 16 == 0 && columns % 16 == 0) {
            for (int column = 0; column < columns; column += 16) {
                for (int row = 0; row < rows; row += 16) {
                    TransposeTile(block, row, column, to + column * step + row, step);
                }
            }
            return;
        }
    }
#endif
    for (int column = 0; column < columns; ++column) {
        if constexpr (STREAM) {
            std::uint8_t whole[static_cast<std::size_t>(SIDE) * SIZE];
            ColumnToRow(block, column, rows, whole);
            StreamRow(whole, static_cast<std::size_t>(rows) * SIZE, to + column * step);
        } else {
            ColumnToRow(block, column, rows, to + column * step);
        }
    }
}

/// Turns the target rows [first, last): each target row is a source column.
template <std::size_t SIZE, int SIDE, bool STREAM>
void TransposeRows(const cv::Mat& source, cv::Mat& target, bool flipRows, bool flipColumns, int first,
                   int last)
{
    PackedBlock<SIZE, SIDE> block;
    const std::ptrdiff_t step = static_cast<std::ptrdiff_t>(target.step);
    for (int targetRow = first; targetRow < last; targetRow += SIDE) {
        const int columns = std::min(SIDE, last - targetRow); // of the source's block
        const int sourceColumn = flipRows ? source.cols - targetRow - columns : targetRow;
        for (int targetColumn = 0; targetColumn < target.cols; targetColumn += SIDE) {
            const int rows = std::min(SIDE, target.cols - targetColumn);
            for (int i = 0; i < rows; ++i) {
                const int sourceRow = flipColumns ? source.rows - 1 - (targetColumn + i) : targetColumn + i;
                std::memcpy(const_cast<std::uint8_t*>(block.At(i, 0)), source.ptr(sourceRow, sourceColumn),
                            static_cast<std::size_t>(columns) * SIZE);
            }
            std::uint8_t* const to = target.ptr(flipRows ? targetRow + columns - 1 : targetRow, targetColumn);
            WriteTransposed<SIZE, SIDE, STREAM>(block, rows, columns, to, flipRows ? -step : step);
        }
    }
    if constexpr (STREAM) {
        std::atomic_thread_fence(
            std::memory_order_seq_cst); // what went past the cache is there for the others
    }
}

template <std::size_t SIZE>
void MirrorRows(const cv::Mat& source, cv::Mat& target, bool flipRows, bool flipColumns, int first, int last)
{
    for (int row = first; row < last; ++row) {
        const auto* from =
            reinterpret_cast<const Pixel<SIZE>*>(source.ptr(flipRows ? source.rows - 1 - row : row));
        auto* to = reinterpret_cast<Pixel<SIZE>*>(target.ptr(row));
        if (flipColumns) {
            std::reverse_copy(from, from + source.cols, to);
        } else {
            std::memcpy(to, from, static_cast<std::size_t>(source.cols) * SIZE);
        }
    }
}

using RowFunction = void (*)(const cv::Mat&, cv::Mat&, bool, bool, int, int);

template <std::size_t SIZE>
RowFunction Select(bool transpose, bool stream)
{
    if (!transpose) {
        return MirrorRows<SIZE>;
    }
    // A block and its packed copy stay in the first-level cache; for a row that is streamed, longer is
    // better.
    constexpr int side = SIZE <= 4 ? 64 : 32;
    return stream ? TransposeRows<SIZE, 2 * side, SIZE != 1> : TransposeRows<SIZE, side, false>;
}

RowFunction Select(std::size_t elemSize, bool transpose, bool stream)
{
    switch (elemSize) {
    case 1:
        return Select<1>(transpose, stream);
    case 2:
        return Select<2>(transpose, stream);
    case 3:
        return Select<3>(transpose, stream);
    case 4:
        return Select<4>(transpose, stream);
    case 6:
        return Select<6>(transpose, stream);
    case 8:
        return Select<8>(transpose, stream);
    case 12:
        return Select<12>(transpose, stream);
    case 16:
        return Select<16>(transpose, stream);
    case 24:
        return Select<24>(transpose, stream);
    case 32:
        return Select<32>(transpose, stream);
    default:
        return nullptr;
    }
}

} // namespace

void OrientImage(const cv::Mat& source, cv::Mat& target, const T_ORIENTATION& orientation)
{
    const std::size_t bytes = source.total() * source.elemSize();
    const RowFunction rows = Select(source.elemSize(), orientation.transpose, bytes >= kStreamBytes);
    CV_Assert(source.dims <= 2 && rows != nullptr);
    if (orientation.transpose) {
        target.create(source.cols, source.rows, source.type());
    } else {
        target.create(source.rows, source.cols, source.type());
    }
    CV_Assert(target.empty() || target.data != source.data);
    if (bytes < kParallelBytes) {
        rows(source, target, orientation.flipRows, orientation.flipColumns, 0, target.rows);
        return;
    }
    // Stripes of whole blocks, so that no two threads write into one block of the target.
    constexpr int kStripe = 128;
    cv::parallel_for_(cv::Range(0, (target.rows + kStripe - 1) / kStripe), [&](const cv::Range& range) {
        rows(source, target, orientation.flipRows, orientation.flipColumns, range.start * kStripe,
             std::min(range.end * kStripe, target.rows));
    });
}

} // namespace alidade
