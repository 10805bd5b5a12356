#include "view/display/ScreenPicture.h"

#include <QPainter>
#include <cstdint>
#include <opencv2/imgproc.hpp>

namespace alidade {
namespace {

bool CanDraw(const cv::Mat& image, const cv::Size& target)
{
    const int channels = image.channels();
    return !image.empty() && image.dims == 2 && image.depth() == CV_8U &&
           (channels == 1 || channels == 3 || channels == 4) && target.width > 0 && target.height > 0;
}

/// Writes the image at the size `target` in the screen's own form. False when the memory cannot be had.
bool MakeScreenImage(const cv::Mat& image, const cv::Size& target, cv::Mat& scaled, QImage& made)
{
    if (made.width() != target.width || made.height() != target.height) {
        made = QImage(target.width, target.height, QImage::Format_RGB32);
    }
    uchar* const bits = made.bits();
    if (bits == nullptr) {
        return false;
    }
    if (image.size() != target) {
        cv::resize(image, scaled, target, 0, 0, cv::INTER_LINEAR);
    }
    const cv::Mat& source = image.size() == target ? image : scaled;
    cv::Mat screen(target, CV_8UC4, bits, static_cast<std::size_t>(made.bytesPerLine()));
    if (source.channels() == 4) {
        source.copyTo(screen);
        cv::bitwise_or(screen, cv::Scalar(0, 0, 0, 255), screen);
    } else {
        cv::cvtColor(source, screen, source.channels() == 1 ? cv::COLOR_GRAY2BGRA : cv::COLOR_BGR2BGRA);
    }
    return true;
}

/// Makes what the mask does not select transparent. The mask covers the image, whatever their sizes.
QImage CutByMask(const QImage& image, const QImage& mask)
{
    const bool isLowFirst = mask.format() == QImage::Format_MonoLSB;
    QImage cut = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < cut.height(); ++y) {
        auto* const line = reinterpret_cast<QRgb*>(cut.scanLine(y));
        const uchar* const bits =
            mask.constScanLine(static_cast<int>(std::int64_t{y} * mask.height() / cut.height()));
        for (int x = 0; x < cut.width(); ++x) {
            const int at = static_cast<int>(std::int64_t{x} * mask.width() / cut.width());
            const int bit = isLowFirst ? 1 << (at & 7) : 0x80 >> (at & 7);
            if ((bits[at >> 3] & bit) == 0) {
                line[x] = 0;
            }
        }
    }
    return cut;
}

} // namespace

QPoint GetPictureOrigin(const cv::Size& target, const QRect& area)
{
    return {area.left() + area.width() / 2 - target.width / 2,
            area.top() + area.height() / 2 - target.height / 2};
}

void CScreenPicture::Set(const T_DISPLAY_FRAME& frame)
{
    if (frame.number == m_frame.number && frame.picture.data == m_frame.picture.data) {
        return;
    }
    m_frame = frame;
    m_isMade = false;
}

void CScreenPicture::Draw(QPainter& dc, const QRect& area)
{
    const cv::Size& target = m_frame.geometry.target;
    if (!CanDraw(m_frame.picture, target)) {
        return;
    }
    if (!m_isMade && !MakeScreenImage(m_frame.picture, target, m_scaled, m_image)) {
        return;
    }
    m_isMade = true;
    dc.drawImage(GetPictureOrigin(target, area), m_image);
}

int MatToDC(const cv::Mat& image, const cv::Size& target, QPainter& dc, const QRect& rect, const QImage& mask)
{
    const bool isMasked = !mask.isNull();
    if (!CanDraw(image, target) ||
        (isMasked && (mask.depth() != 1 || mask.width() != image.cols || mask.height() != image.rows))) {
        return 0;
    }
    cv::Mat scaled;
    QImage made;
    if (!MakeScreenImage(image, target, scaled, made)) {
        return 0;
    }
    dc.drawImage(GetPictureOrigin(target, rect), isMasked ? CutByMask(made, mask) : made);
    return 1;
}

} // namespace alidade
