#include "benchmarks/Frames.h"
#include "benchmarks/Harness.h"
#include "tests/support/FrameGrabberTestAccess.h"

#include <opencv2/imgproc.hpp>

namespace alidade::bench {
namespace {

using Access = CFrameGrabberTestAccess;

/// A quarter turn anticlockwise with each choice of mirrors, through the grabber's own pre-processing.
void BenchTurn(CSuite& suite, const T_FRAME_SIZE& size)
{
    const cv::Mat frame = MakeFrame(size);
    cv::Mat turned, mirrored;
    for (const bool flipX : {false, true}) {
        for (const bool flipY : {false, true}) {
            auto* driver = new CHandDriver(size.size);
            const auto grabber = Access::Make(driver);
            Access::SetTurn(*grabber, 1, flipX, flipY);
            const std::string mirrors = std::string(flipX ? " mirror x" : "") + (flipY ? " mirror y" : "");
            suite.Compare(
                "quarter turn" + mirrors + ", " + size.name, size.large ? 0.3 : 0.9,
                [&] {
                    driver->m_image = frame;
                    Access::PreProcess(*grabber);
                },
                [&] {
                    cv::rotate(frame, turned, cv::ROTATE_90_COUNTERCLOCKWISE);
                    if (flipX || flipY) {
                        // Mirrors come before the turn: behind it the axes have changed places.
                        cv::flip(turned, mirrored, flipX && flipY ? -1 : flipX ? 0 : 1);
                    }
                });
        }
    }
}

void BenchRotation(CSuite& suite, const T_FRAME_SIZE& size)
{
    const cv::Mat frame = MakeFrame(size);
    auto* driver = new CHandDriver(size.size);
    const auto grabber = Access::Make(driver);
    Access::SetRotation(*grabber, 7.0, true);
    const cv::Point2f centre(static_cast<float>(size.size.width / 2),
                             static_cast<float>(size.size.height / 2));
    const cv::Mat matrix = cv::getRotationMatrix2D(centre, 7.05, 1.0);
    cv::Mat rotated;
    suite.Compare(
        "rotation by 7 degrees with crop, " + size.name, 1.05,
        [&] {
            driver->m_image = frame;
            Access::PreProcess(*grabber);
        },
        [&] { cv::warpAffine(frame, rotated, matrix, frame.size(), cv::INTER_LINEAR, cv::BORDER_CONSTANT); });
}

} // namespace

void BenchPreProcess(CSuite& suite)
{
    for (const T_FRAME_SIZE& size : FrameSizes()) {
        BenchTurn(suite, size);
        BenchRotation(suite, size);
    }
}

} // namespace alidade::bench
