#include "foundation/math/Orient.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

namespace alidade {
namespace {

cv::Mat RandomImage(int rows, int cols, int type)
{
    cv::Mat image(rows, cols, type);
    cv::randu(image, 0, 255);
    return image;
}

bool SamePixels(const cv::Mat& a, const cv::Mat& b)
{
    return a.size() == b.size() && a.type() == b.type() &&
           cv::norm(a.reshape(1), b.reshape(1), cv::NORM_INF) == 0.0;
}

TEST(Orient, MirrorsThenTurnsAsPlainOperationsDo)
{
    struct {
        int turn;
        bool mirrorX, mirrorY;
    } const cases[] = {{0, 0, 0}, {0, 1, 0}, {0, 0, 1},  {0, 1, 1},  {1, 0, 0},  {1, 1, 0},
                       {1, 0, 1}, {1, 1, 1}, {-1, 0, 0}, {-1, 1, 0}, {-1, 0, 1}, {-1, 1, 1}};
    // Sizes around the block, one pixel, one row, and one large enough for several threads.
    const cv::Size sizes[] = {{1, 1}, {1, 7}, {64, 1}, {63, 65}, {130, 67}, {1500, 1100}};
    for (const int type : {CV_8UC1, CV_8UC3, CV_16UC1, CV_16UC3, CV_64FC3}) {
        for (const cv::Size& size : sizes) {
            const cv::Mat source = RandomImage(size.height, size.width, type);
            for (const auto& c : cases) {
                cv::Mat expected = source.clone();
                if (c.mirrorX) {
                    cv::flip(expected.clone(), expected, 1);
                }
                if (c.mirrorY) {
                    cv::flip(expected.clone(), expected, 0);
                }
                if (c.turn != 0) {
                    cv::rotate(expected.clone(), expected,
                               c.turn > 0 ? cv::ROTATE_90_COUNTERCLOCKWISE : cv::ROTATE_90_CLOCKWISE);
                }
                cv::Mat turned;
                OrientImage(source, turned, T_ORIENTATION::FromMirrorAndTurn(c.mirrorX, c.mirrorY, c.turn));
                ASSERT_TRUE(SamePixels(turned, expected))
                    << "type " << type << " size " << size << " turn " << c.turn << c.mirrorX << c.mirrorY;
            }
        }
    }
}

TEST(Orient, TurnsLargeImagesWhateverTheirAlignment)
{
    for (const cv::Size size : {cv::Size(2560, 2304), cv::Size(2501, 2403)}) {
        const cv::Mat source = RandomImage(size.height, size.width, CV_8UC3);
        for (const int turn : {1, -1}) {
            for (const bool mirror : {false, true}) {
                cv::Mat mirrored, turned, wanted;
                if (mirror) {
                    cv::flip(source, mirrored, 1);
                } else {
                    mirrored = source;
                }
                cv::rotate(mirrored, wanted,
                           turn > 0 ? cv::ROTATE_90_COUNTERCLOCKWISE : cv::ROTATE_90_CLOCKWISE);
                OrientImage(source, turned, T_ORIENTATION::FromMirrorAndTurn(mirror, false, turn));
                EXPECT_TRUE(SamePixels(turned, wanted)) << size << turn << mirror;
            }
        }
    }
}

TEST(Orient, TakesViewsAndKeepsAFittingTarget)
{
    const cv::Mat whole = RandomImage(200, 300, CV_8UC3);
    const cv::Mat view = whole(cv::Rect(17, 31, 101, 77));
    cv::Mat expected;
    cv::rotate(view, expected, cv::ROTATE_90_CLOCKWISE);
    cv::Mat target(101, 77, CV_8UC3);
    const uchar* memory = target.data;
    OrientImage(view, target, T_ORIENTATION::FromMirrorAndTurn(false, false, -1));
    EXPECT_TRUE(SamePixels(target, expected));
    EXPECT_EQ(target.data, memory);
}

TEST(Orient, RefusesToWorkInPlace)
{
    cv::Mat image = RandomImage(32, 32, CV_8UC1);
    EXPECT_THROW(OrientImage(image, image, T_ORIENTATION::FromMirrorAndTurn(false, false, 1)), cv::Exception);
}

} // namespace
} // namespace alidade
