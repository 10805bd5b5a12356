#include "view/display/FrameScaler.h"

#include <algorithm>
#include <atomic>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

namespace alidade {
namespace {

bool CanShow(const cv::Mat& frame)
{
    const int depth = frame.depth(), channels = frame.channels();
    return frame.dims == 2 && (channels == 1 || channels == 3 || channels == 4) &&
           (depth == CV_8U || depth == CV_16U || depth == CV_16S || depth == CV_32F || depth == CV_64F);
}

bool IsUnused(const cv::Mat& image)
{
    // Acquire: what the last other owner read it for is over.
    return image.u == nullptr || std::atomic_ref<int>(image.u->refcount).load(std::memory_order_acquire) == 1;
}

/// A plain loop, which compilers turn into the instruction that there is for it.
std::uint32_t SumDifferences(const uchar* a, const uchar* b, int count)
{
    std::uint32_t sum = 0;
    for (int i = 0; i < count; ++i) {
        sum += static_cast<std::uint32_t>(std::abs(a[i] - b[i]));
    }
    return sum;
}

} // namespace

cv::Mat& CPicturePool::Take()
{
    const auto found = std::find_if(m_pictures.begin(), m_pictures.end(), IsUnused);
    if (found != m_pictures.end()) {
        return *found;
    }
    m_pictures.front().release();
    std::rotate(m_pictures.begin(), m_pictures.begin() + 1, m_pictures.end());
    return m_pictures.back();
}

int CFrameScaler::Scale(const cv::Mat& frame, const T_DISPLAY_GEOMETRY& geometry, T_DISPLAY_FRAME& result)
{
    const cv::Rect& source = geometry.source;
    if (!CanShow(frame) || source.empty() || (source & cv::Rect({0, 0}, frame.size())) != source) {
        return 0;
    }
    const bool isDeep = frame.depth() != CV_8U;
    const cv::Mat part = frame(source);
    cv::Mat& scaled = isDeep ? m_deeps.Take() : m_pictures.Take();
    cv::Mat& first = frame.channels() == 4 ? m_fourChannels : scaled;
    if (geometry.buffer == source.size()) {
        part.copyTo(first);
    } else {
        cv::resize(part, first, geometry.buffer, 0, 0, cv::INTER_LINEAR);
    }
    if (frame.channels() == 4) {
        scaled.create(geometry.buffer, CV_MAKETYPE(frame.depth(), 3));
        cv::mixChannels(first, scaled, {0, 0, 1, 1, 2, 2});
    }
    if (isDeep) {
        MapTo8Bits(scaled, result);
    } else {
        result.picture = scaled;
        result.deep.release();
        result.low = result.high = 0.0;
    }
    result.geometry = geometry;
    result.image = frame.size();
    return 1;
}

void CFrameScaler::MapTo8Bits(const cv::Mat& deep, T_DISPLAY_FRAME& result)
{
    const cv::Mat values = deep.reshape(1);
    const bool isFloating = deep.depth() == CV_32F || deep.depth() == CV_64F;
    double low = 0.0, high = 0.0;
    if (isFloating) {
        const double most = deep.depth() == CV_32F ? FLT_MAX : DBL_MAX;
        cv::inRange(values, -most, most, m_finite);
        cv::minMaxLoc(values, &low, &high, nullptr, nullptr, m_finite);
    } else {
        cv::minMaxLoc(values, &low, &high);
    }
    const double range = high - low;
    const double factor = range > 0.0 ? 255.0 / range : 0.0; // 0 for an infinite range, too
    cv::Mat& picture = m_pictures.Take();
    deep.convertTo(picture, CV_8U, factor, -low * factor);
    if (isFloating) {
        const cv::Mat bytes = picture.reshape(1);
        cv::bitwise_and(bytes, m_finite, bytes);
    }
    result.picture = picture;
    result.deep = deep;
    result.low = low;
    result.high = high;
}

double MeasureFocus(const cv::Mat& picture)
{
    const int w = std::min(picture.cols - 2, 200), h = std::min(picture.rows - 2, 200);
    if (w < 1 || h < 1) {
        return 0.0;
    }
    const cv::Rect part(picture.cols / 2 - w / 2, picture.rows / 2 - h / 2, w, h); // integer halves
    const int channels = picture.channels();
    std::uint64_t sum = 0;
    for (int y = part.y; y < part.y + h; ++y) {
        sum += SumDifferences(picture.ptr(y, part.x), picture.ptr(y + 1, part.x + 1), w * channels);
    }
    return static_cast<double>(sum) / (static_cast<double>(w) * h) / channels;
}

} // namespace alidade
