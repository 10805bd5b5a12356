#include "foundation/math/FrameAllocator.h"

#include <gtest/gtest.h>
#include <set>
#include <thread>
#include <vector>

namespace alidade {
namespace {

cv::Mat Pooled(int rows, int cols, int type)
{
    cv::Mat image;
    image.allocator = GetFrameAllocator();
    image.create(rows, cols, type);
    return image;
}

TEST(FrameAllocator, MemoryOfOneSizeGoesRound)
{
    TrimFrameAllocator();
    std::set<const uchar*> blocks;
    for (int i = 0; i < 50; ++i) {
        // A frame, its clip and its turned copy, as pre-processing makes them.
        cv::Mat frame = Pooled(480, 640, CV_8UC3);
        cv::Mat turned = Pooled(640, 480, CV_8UC3);
        blocks.insert(frame.data);
        blocks.insert(turned.data);
        frame = frame(cv::Rect(10, 10, 100, 100));
        frame = turned;
    }
    EXPECT_LE(blocks.size(), 3u);
}

TEST(FrameAllocator, ImagesKeepTheirPixelsWhileOthersComeAndGo)
{
    cv::Mat kept = Pooled(100, 100, CV_8UC1);
    kept.setTo(42);
    const cv::Mat shared = kept(cv::Rect(5, 5, 20, 20));
    for (int i = 1; i < 200; ++i) {
        Pooled(100, 100, CV_8UC1).setTo(i % 40);
        Pooled(100 + i, 100, CV_16UC3).setTo(i);
    }
    EXPECT_EQ(cv::countNonZero(kept != 42), 0);
    EXPECT_EQ(cv::countNonZero(shared != 42), 0);
}

TEST(FrameAllocator, ServesSeveralThreads)
{
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&wrong, t] {
            for (int i = 0; i < 500; ++i) {
                cv::Mat image = Pooled(64, 64 + i % 3, CV_8UC1);
                image.setTo(t);
                wrong += cv::countNonZero(image != t);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

TEST(FrameAllocator, GivesAnErrorForWhatCannotBeHad)
{
    cv::Mat image;
    image.allocator = GetFrameAllocator();
    EXPECT_THROW(image.create(1 << 30, 1 << 30, CV_8UC1), cv::Exception);
    image.create(8, 8, CV_8UC1);
    EXPECT_FALSE(image.empty());
}

} // namespace
} // namespace alidade
