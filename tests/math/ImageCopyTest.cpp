#include "foundation/math/ImageCopy.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

TEST(ImageCopy, CopiesWhatCopyToCopies)
{
    const cv::Mat large(3000, 2500, CV_8UC3); // above the size that is copied by several threads
    cv::randu(large, 0, 255);
    const cv::Mat sources[] = {cv::Mat(), cv::Mat(1, 1, CV_16UC1, cv::Scalar(7)), large,
                               large(cv::Rect(3, 5, 2400, 2900)), large.row(2)};
    cv::Mat target; // reused, so that each case meets the memory of the one before
    for (const cv::Mat& source : sources) {
        CopyImage(source, target);
        ASSERT_EQ(target.size(), source.size());
        ASSERT_EQ(target.empty(), source.empty());
        if (!source.empty()) {
            ASSERT_EQ(target.type(), source.type());
            EXPECT_NE(target.data, source.data);
            EXPECT_EQ(cv::norm(source.reshape(1), target.reshape(1), cv::NORM_INF), 0.0);
        }
    }
}

TEST(ImageCopy, KeepsATargetThatFits)
{
    const cv::Mat source(3000, 2500, CV_8UC3, cv::Scalar(1, 2, 3));
    cv::Mat target(3000, 2500, CV_8UC3);
    const uchar* memory = target.data;
    CopyImage(source, target);
    EXPECT_EQ(target.data, memory);
    CopyImage(target, target); // onto itself: nothing to do, nothing lost
    EXPECT_EQ(target.at<cv::Vec3b>(2999, 2499), cv::Vec3b(1, 2, 3));
}

} // namespace
} // namespace alidade
