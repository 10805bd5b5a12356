// What the driver wrote becomes what clients see: clip, quarter turn, mirror, rotation by any angle.

#include "acquisition/FrameGrabber.h"

#include "foundation/math/FrameAllocator.h"
#include "foundation/math/Orient.h"

#include <algorithm>
#include <cmath>
#include <opencv2/core/cuda.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

namespace alidade {
namespace {

/// Added to the angle at each build of the matrix; wanted.
constexpr double kAngleOffset = 0.05;

bool LiesIn(const cv::Rect& rect, const cv::Mat& image)
{
    return rect.x >= 0 && rect.y >= 0 && rect.width > 0 && rect.height > 0 && rect.x < image.cols &&
           rect.y < image.rows && rect.width <= image.cols - rect.x && rect.height <= image.rows - rect.y;
}

/// An image header whose memory goes round in the frame allocator.
cv::Mat PooledImage()
{
    cv::Mat image;
    image.allocator = GetFrameAllocator();
    return image;
}

/// A mask of the image's size with the overlap of the image and itself rotated about its centre.
cv::Mat OverlapMask(cv::Size size, cv::Point2f centre, double angle)
{
    const cv::Size2f whole(static_cast<float>(size.width), static_cast<float>(size.height));
    std::vector<cv::Point2f> corners;
    cv::rotatedRectangleIntersection(cv::RotatedRect(centre, whole, 0.0f),
                                     cv::RotatedRect(centre, whole, static_cast<float>(angle)), corners);
    std::vector<cv::Point> points;
    for (const cv::Point2f& corner : corners) {
        points.emplace_back(cvRound(corner.x), cvRound(corner.y));
    }
    // The corners come in no promised order: all triangles together fill the figure.
    cv::Mat mask(size, CV_8U, cv::Scalar(0));
    for (std::size_t i = 0; i < points.size(); ++i) {
        for (std::size_t j = i + 1; j < points.size(); ++j) {
            for (std::size_t k = i + 1; k < points.size(); ++k) {
                const cv::Point triangle[] = {points[i], points[j], points[k]};
                cv::fillConvexPoly(mask, triangle, 3, cv::Scalar(255), cv::LINE_8, 0);
            }
        }
    }
    return mask;
}

/// The largest upright rectangle, centred, that lies in a centred figure; empty when there is none.
cv::Rect InscribedRect(const cv::Mat& mask)
{
    cv::Rect best;
    double bestArea = 0.0;
    for (int i = 0; i < mask.rows / 2; ++i) {
        const uchar* row = mask.ptr(i);
        const uchar* last = row + mask.cols;
        const uchar* first = std::find_if(row, last, [](uchar value) { return value != 0; });
        if (first == last) {
            continue;
        }
        const int left = static_cast<int>(first - row);
        const int end = static_cast<int>(std::find(first, last, uchar{0}) - row);
        const int margin = std::max(left, mask.cols - end);
        const int half = mask.cols / 2 - margin;
        const double area = static_cast<double>(mask.rows / 2 - i) * half;
        if (area > bestArea) {
            bestArea = area;
            best = cv::Rect(margin, i, 2 * half, mask.rows - 2 * i);
        }
    }
    return best;
}

} // namespace

std::atomic<int> CFrameGrabber::s_bGPUChecked{0};
std::atomic<int> CFrameGrabber::s_bUseGPU{0};

int CFrameGrabber::EnableGPU(int enable)
{
    int usable = 0;
    if (enable != 0) {
        try {
            // Counting first keeps a machine without a device free of the library's error output.
            if (cv::cuda::getCudaEnabledDeviceCount() > 0) {
                const cv::Mat sample(2, 2, CV_64F, cv::Scalar(0));
                cv::cuda::GpuMat device(cv::cuda::GpuMat::defaultAllocator());
                device.upload(sample);
                device.release();
                usable = 1;
            }
        } catch (...) {
            usable = 0; // the answer; nobody asks why
        }
    }
    s_bUseGPU = usable;
    return 1;
}

int CFrameGrabber::IsGPUEnabled()
{
    return s_bUseGPU;
}

void CFrameGrabber::PreProcess()
{
    if (m_pInterface == nullptr) {
        return;
    }
    const T_ORIENTATION orientation =
        T_ORIENTATION::FromMirrorAndTurn(m_bFlipX != 0, m_bFlipY != 0, m_nRotate);
    const bool clip = m_bClip.load(std::memory_order_relaxed) != 0;
    if (!clip && orientation.IsIdentity() && (m_bRotateArbitrary == 0 || m_dRotationAngle == 0.0)) {
        return;
    }
    CS lock(&m_pInterface->m_imageLock);
    cv::Mat& image = m_pInterface->m_image;
    if (image.empty()) {
        return;
    }
    if (clip) {
        cv::Rect rect;
        int enable = 0;
        GetClipRect(rect, enable);
        if (LiesIn(rect, image)) {
            image = image(rect);
        }
    }
    if (!orientation.IsIdentity()) {
        cv::Mat turned = PooledImage();
        OrientImage(image, turned, orientation);
        image = turned;
    }
    if (m_bRotateArbitrary == 0) {
        return;
    }
    if (m_rotationMatrix.empty()) {
        BuildRotation(image.size());
    }
    cv::Mat rotated = PooledImage(); // warping in place would copy the source first
    cv::warpAffine(image, rotated, m_rotationMatrix, image.size(), cv::INTER_LINEAR, cv::BORDER_CONSTANT);
    image = rotated;
    if (m_bRotateClip != 0 && m_rotateClipRect.width >= 1 && LiesIn(m_rotateClipRect, image)) {
        image = image(m_rotateClipRect);
    }
}

/// Done once: the first frame's size governs for the grabber's life.
void CFrameGrabber::BuildRotation(cv::Size size)
{
    const cv::Point2f centre(static_cast<float>(size.width / 2), static_cast<float>(size.height / 2));
    m_dRotationAngle += kAngleOffset;
    m_rotationMatrix = cv::getRotationMatrix2D(centre, m_dRotationAngle, 1.0);
    m_rotateClipRect =
        m_bRotateClip != 0 ? InscribedRect(OverlapMask(size, centre, m_dRotationAngle)) : cv::Rect();
}

} // namespace alidade
