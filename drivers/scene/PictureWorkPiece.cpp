#include "PictureWorkPiece.h"

#include "foundation/platform/FileReplace.h"
#include "foundation/platform/Text.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

namespace alidade {
namespace {

constexpr int kLargestSide = 32766; // of a picture that can be sampled
constexpr int kSmallestSide = 8;    // of the coarsest resolution

} // namespace

int CPictureWorkPiece::Open(const T_SCENE_SETTINGS& settings, CString& message)
{
    const wchar_t* path = settings.strPicture.c_str();
    std::string bytes;
    CString reason;
    if (!ReadWholeFile(ToPath(settings.strPicture), bytes, &reason)) {
        message = Format(L"Scene: the picture %s cannot be read: %s", path, reason.c_str());
        return 0;
    }
    cv::Mat picture;
    try {
        if (!bytes.empty()) {
            const cv::Mat encoded(1, static_cast<int>(bytes.size()), CV_8U, bytes.data());
            picture = cv::imdecode(encoded, settings.bColor ? cv::IMREAD_COLOR : cv::IMREAD_GRAYSCALE);
        }
    } catch (const cv::Exception&) {
        picture.release(); // damaged, or larger than the library's limits
    }
    if (picture.empty()) {
        message = Format(L"Scene: %s is no picture that can be read", path);
        return 0;
    }
    if (picture.cols > kLargestSide || picture.rows > kLargestSide) {
        message = Format(L"Scene: the picture %s has more than %d pixels on a side", path, kLargestSide);
        return 0;
    }
    m_dMmPerPixel = settings.dPictureMmPerPixel;
    m_size = cv::Size2d(picture.size()) * m_dMmPerPixel;
    m_levels = {picture};
    while (std::min(m_levels.back().cols, m_levels.back().rows) >= 2 * kSmallestSide) {
        cv::Mat half;
        cv::pyrDown(m_levels.back(), half); // the centre of the first texel stays where it is
        m_levels.push_back(half);
    }
    return 1;
}

const T_SCENE_TEXTURE& CPictureWorkPiece::Prepare(const cv::Rect2d& region, double mmPerPixel)
{
    std::size_t level = 0;
    double texel = m_dMmPerPixel;
    while (level + 1 < m_levels.size() && 2 * texel <= mmPerPixel) {
        ++level;
        texel *= 2;
    }
    const cv::Rect2d all(-m_size.width / 2, -m_size.height / 2, m_size.width, m_size.height);
    if ((region & all).empty()) {
        m_texture.image.release();
        return m_texture;
    }
    m_texture.image = m_levels[level];
    // The centre of the first pixel, at the left and at the far end of Y.
    const double left = all.x + m_dMmPerPixel / 2, top = all.br().y - m_dMmPerPixel / 2;
    m_texture.texelFromWorkPiece = {1 / texel, 0, -left / texel, 0, -1 / texel, top / texel};
    return m_texture;
}

CString CPictureWorkPiece::Describe() const
{
    return Format(L"picture of %g x %g mm", m_size.width, m_size.height);
}

} // namespace alidade
