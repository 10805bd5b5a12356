#include "foundation/math/ImageCopy.h"

#include <cstring>

namespace alidade {
namespace {

constexpr std::size_t kParallelBytes = std::size_t{3} << 20;

} // namespace

void CopyImage(const cv::Mat& source, cv::Mat& target)
{
    const std::size_t rowBytes =
        source.dims == 2 ? static_cast<std::size_t>(source.cols) * source.elemSize() : 0;
    if (rowBytes * static_cast<std::size_t>(source.rows) < kParallelBytes || source.dims != 2) {
        source.copyTo(target);
        return;
    }
    target.create(source.rows, source.cols, source.type());
    if (target.data == source.data) {
        return;
    }
    const bool continuous = source.isContinuous() && target.isContinuous();
    cv::parallel_for_(cv::Range(0, source.rows), [&](const cv::Range& rows) {
        if (continuous) {
            std::memcpy(target.ptr(rows.start), source.ptr(rows.start),
                        rowBytes * static_cast<std::size_t>(rows.size()));
            return;
        }
        for (int row = rows.start; row < rows.end; ++row) {
            std::memcpy(target.ptr(row), source.ptr(row), rowBytes);
        }
    });
}

} // namespace alidade
