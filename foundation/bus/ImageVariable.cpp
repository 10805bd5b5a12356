#include "foundation/bus/ImageVariable.h"

#include "foundation/math/FrameAllocator.h"
#include "foundation/math/ImageCopy.h"

#include <algorithm>
#include <limits>
#include <new>

namespace alidade {
namespace {

constexpr int kTypeMask = 0xfff;
// No image of this system comes near it: a document of some bytes cannot make a reader allocate more.
constexpr std::uint64_t kMostBytes = 1ull << 30;

} // namespace

int ConvertMatToVar(CIPVariable& variable, const cv::Mat& image)
{
    // The image is copied before the children go: it may lie in one of them.
    std::shared_ptr<const void> block;
    const bool ok = !image.empty() && image.dims == 2 &&
                    image.total() * image.elemSize() <= std::numeric_limits<unsigned>::max();
    if (ok) {
        // A copy without gaps between its rows. The memory goes round among images, as that of frames does.
        const auto packed = std::make_shared<cv::Mat>();
        packed->allocator = GetFrameAllocator();
        CopyImage(image, *packed);
        block = std::shared_ptr<const void>(packed, packed->data);
    }
    if (variable.IsTypeMat() != 0) {
        variable.DeleteAllChildItems();
    } else {
        variable = CIPVariable(IPVAR_TREE, variable.GetName(), 0, variable.GetFlags());
    }
    if (!ok) {
        return 0;
    }
    const int rows = image.rows;
    const int cols = image.cols;
    variable.SetChildItem("rows", rows);
    variable.SetChildItem("cols", cols);
    variable.SetChildItem("type", image.type() & kTypeMask);
    variable.SetChildItemEmpty("data", IPVAR_RAW)
        .SetShared(std::move(block), static_cast<unsigned>(image.total() * image.elemSize()));
    return 1;
}

int ConvertVarToMat(const CIPVariable& variable, cv::Mat& image)
{
    image.release();
    const int rows = variable("rows", 0);
    const int cols = variable("cols", 0);
    const int type = variable("type", 0);
    if (variable.IsTypeMat() == 0 || rows < 1 || cols < 1 || type < 0 || type > kTypeMask) {
        return 0;
    }
    const std::uint64_t rowBytes = static_cast<std::uint64_t>(cols) * CV_ELEM_SIZE(type);
    if (rowBytes > kMostBytes / static_cast<std::uint64_t>(rows)) {
        return 0;
    }
    try {
        image.create(rows, cols, type);
    } catch (const cv::Exception&) {
        image.release();
        return 0;
    } catch (const std::bad_alloc&) {
        image.release();
        return 0;
    }
    const CIPVariable& data = variable("data");
    const std::uint64_t there = data.GetType() == IPVAR_RAW ? data.GetSize() : 0;
    const auto* from = static_cast<const unsigned char*>(data.GetRawData());
    const std::uint64_t whole = rowBytes * static_cast<std::uint64_t>(rows);
    if (there >= whole) {
        // The header only reads.
        CopyImage(cv::Mat(rows, cols, type, const_cast<unsigned char*>(from)), image);
        return 1;
    }
    for (int row = 0; row < rows; ++row) {
        const std::uint64_t at = rowBytes * static_cast<std::uint64_t>(row);
        const std::size_t take = at < there ? static_cast<std::size_t>(std::min(there - at, rowBytes)) : 0;
        if (take != 0) {
            std::memcpy(image.ptr(row), from + at, take);
        }
        if (take < rowBytes) {
            std::memset(image.ptr(row) + take, 0, static_cast<std::size_t>(rowBytes) - take);
        }
    }
    return 1;
}

} // namespace alidade
