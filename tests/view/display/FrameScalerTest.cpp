#include "view/display/FrameScaler.h"

#include <gtest/gtest.h>
#include <limits>
#include <opencv2/imgproc.hpp>
#include <set>

namespace alidade {
namespace {

/// The whole frame at the size `buffer`.
T_DISPLAY_GEOMETRY Whole(const cv::Mat& frame, cv::Size buffer)
{
    return {cv::Rect({0, 0}, frame.size()), buffer, buffer};
}

bool IsEqual(const cv::Mat& a, const cv::Mat& b)
{
    return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0.0;
}

cv::Mat MakeRandom(cv::Size size, int type)
{
    cv::Mat frame(size, type);
    cv::theRNG().state = 7;
    cv::randu(frame, 0, 256);
    return frame;
}

TEST(FrameScaler, CutsOutAndScalesGreyAndColour)
{
    for (const int type : {CV_8UC1, CV_8UC3, CV_8UC4}) {
        const cv::Mat frame = MakeRandom({101, 83}, type);
        const T_DISPLAY_GEOMETRY geometry{{11, 5, 80, 60}, {160, 90}, {160, 90}};
        CFrameScaler scaler;
        T_DISPLAY_FRAME result;
        ASSERT_EQ(scaler.Scale(frame, geometry, result), 1);
        cv::Mat expected;
        cv::resize(frame(geometry.source), expected, geometry.buffer, 0, 0, cv::INTER_LINEAR);
        if (type == CV_8UC4) {
            cv::cvtColor(expected, expected, cv::COLOR_BGRA2BGR);
        }
        EXPECT_TRUE(IsEqual(result.picture, expected));
        EXPECT_TRUE(result.deep.empty());
        EXPECT_EQ(result.geometry.source, geometry.source);
        EXPECT_EQ(result.image, frame.size());
    }
}

TEST(FrameScaler, UnscaledPicturesAreCopiesOfTheirPart)
{
    cv::Mat frame = MakeRandom({101, 83}, CV_8UC3);
    const cv::Rect part(20, 30, 50, 40);
    const cv::Mat before = frame(part).clone();
    CFrameScaler scaler;
    T_DISPLAY_FRAME result;
    ASSERT_EQ(scaler.Scale(frame, {part, part.size(), part.size()}, result), 1);
    frame.setTo(0); // the grabber's copy is written again
    EXPECT_TRUE(IsEqual(result.picture, before));
}

TEST(FrameScaler, DeepFramesShowTheirRange)
{
    const double inf = std::numeric_limits<double>::infinity(), none = std::nan("");
    const struct {
        const char* what;
        int depth;
        std::vector<double> values; // three pixels of one channel, or one of three
        double low, high;
        std::vector<int> shown;
    } cases[] = {
        {"12 bits", CV_16U, {100, 2147, 4195}, 100, 4195, {0, 127, 255}},
        {"the whole range", CV_16U, {0, 65535, 257}, 0, 65535, {0, 255, 1}},
        {"flat", CV_16U, {1000, 1000, 1000}, 1000, 1000, {0, 0, 0}},
        {"signed", CV_16S, {-32768, 32767, 0}, -32768, 32767, {0, 255, 128}},
        {"floating", CV_32F, {-0.5, 0.5, 0.0}, -0.5, 0.5, {0, 255, 128}},
        {"what is not finite is left out", CV_32F, {inf, 1.0, 2.0}, 1, 2, {0, 0, 255}},
        {"no number is finite", CV_32F, {none, inf, -inf}, 0, 0, {0, 0, 0}},
        {"a range beyond all numbers", CV_64F, {-1.7e308, 1.7e308, 0}, -1.7e308, 1.7e308, {0, 0, 0}},
    };
    for (const auto& c : cases) {
        for (const int channels : {1, 3}) {
            cv::Mat values(1, 3, CV_64F, const_cast<double*>(c.values.data()));
            cv::Mat frame;
            values.convertTo(frame, c.depth);
            frame = frame.reshape(channels);
            CFrameScaler scaler;
            T_DISPLAY_FRAME result;
            ASSERT_EQ(scaler.Scale(frame, Whole(frame, frame.size()), result), 1) << c.what;
            EXPECT_EQ(result.low, c.low) << c.what;
            EXPECT_EQ(result.high, c.high) << c.what;
            ASSERT_EQ(result.picture.type(), CV_8UC(channels)) << c.what;
            EXPECT_EQ(result.deep.type(), frame.type()) << c.what;
            const cv::Mat shown = result.picture.reshape(1);
            for (int i = 0; i < 3; ++i) {
                EXPECT_EQ(shown.at<uchar>(0, i), c.shown[static_cast<std::size_t>(i)]) << c.what << " " << i;
            }
        }
    }
}

TEST(FrameScaler, TheRangeIsThatOfTheShownPartWithoutAlpha)
{
    cv::Mat frame(40, 40, CV_16UC4, cv::Scalar(500, 580, 700, 65535));
    frame.at<cv::Vec4w>(0, 0) = {9, 9, 9, 9};
    CFrameScaler scaler;
    T_DISPLAY_FRAME result;
    ASSERT_EQ(scaler.Scale(frame, {{10, 10, 20, 20}, {24, 24}, {24, 24}}, result), 1);
    EXPECT_EQ(result.low, 500);
    EXPECT_EQ(result.high, 700);
    EXPECT_EQ(result.deep.type(), CV_16UC3);
    EXPECT_EQ(result.picture.at<cv::Vec3b>(3, 3), (cv::Vec3b{0, 102, 255}));
}

TEST(FrameScaler, WhatCannotBeShownChangesNothing)
{
    const struct {
        const char* what;
        int type;
        cv::Rect source;
    } cases[] = {
        {"two channels", CV_8UC2, {0, 0, 40, 30}},
        {"five channels", CV_8UC(5), {0, 0, 40, 30}},
        {"whole numbers of 32 bits", CV_32SC1, {0, 0, 40, 30}},
        {"part beyond the frame", CV_8UC1, {1, 0, 40, 30}},
        {"part of a negative corner", CV_8UC1, {0, -1, 40, 30}},
        {"part so far out that its end wraps", CV_8UC1, {std::numeric_limits<int>::max() - 5, 0, 40, 30}},
        {"no part", CV_8UC1, {4, 4, 0, 0}},
    };
    CFrameScaler scaler;
    T_DISPLAY_FRAME result;
    result.picture = cv::Mat(2, 2, CV_8UC1);
    const uchar* const before = result.picture.data;
    for (const auto& c : cases) {
        EXPECT_EQ(scaler.Scale(cv::Mat(30, 40, c.type), {c.source, {40, 30}, {40, 30}}, result), 0) << c.what;
        EXPECT_EQ(result.picture.data, before) << c.what;
    }
    EXPECT_EQ(scaler.Scale(cv::Mat(), Whole(cv::Mat(), {40, 30}), result), 0);
}

TEST(FrameScaler, MemoryGoesRoundAndIsNeverWrittenWhileSomebodyHoldsIt)
{
    for (const int type : {CV_8UC3, CV_16UC1, CV_8UC4}) {
        CFrameScaler scaler;
        std::set<const uchar*> memory;
        T_DISPLAY_FRAME painted, handedOver; // as the window and the display hold them
        for (int i = 0; i < 50; ++i) {
            const cv::Mat frame(60, 80, type, cv::Scalar::all(i + 1));
            T_DISPLAY_FRAME made;
            ASSERT_EQ(scaler.Scale(frame, Whole(frame, {40, 30}), made), 1);
            if (i % 3 == 0) {
                painted = handedOver;
            }
            handedOver = made;
            memory.insert(made.picture.data);
        }
        EXPECT_EQ(memory.size(), 3U);
        if (type == CV_8UC3) {
            EXPECT_EQ(handedOver.picture.at<uchar>(0, 0), 50);
            EXPECT_EQ(painted.picture.at<uchar>(0, 0), 48);
        }
    }
    // One who keeps many frames has them all, unchanged.
    CFrameScaler scaler;
    std::vector<T_DISPLAY_FRAME> kept(10);
    for (int i = 0; i < 10; ++i) {
        const cv::Mat frame(60, 80, CV_8UC1, cv::Scalar::all(i));
        scaler.Scale(frame, Whole(frame, {40, 30}), kept[static_cast<std::size_t>(i)]);
    }
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(kept[static_cast<std::size_t>(i)].picture.at<uchar>(29, 39), i);
    }
}

TEST(FocusMeasure, IsTheMeanDifferenceToThePictureOnePixelOn)
{
    for (const int type : {CV_8UC1, CV_8UC3}) {
        for (const cv::Size size : {cv::Size(3, 3), {12, 9}, {201, 4}, {203, 202}, {640, 481}}) {
            const cv::Mat picture = MakeRandom(size, type);
            const int w = std::min(size.width - 2, 200), h = std::min(size.height - 2, 200);
            const int left = size.width / 2 - w / 2, top = size.height / 2 - h / 2;
            double sum = 0.0;
            for (int y = top; y < top + h; ++y) {
                for (int i = left * picture.channels(); i < (left + w) * picture.channels(); ++i) {
                    sum += std::abs(picture.ptr(y)[i] - picture.ptr(y + 1)[i + picture.channels()]);
                }
            }
            EXPECT_DOUBLE_EQ(MeasureFocus(picture), sum / (w * h) / picture.channels()) << size;
        }
    }
}

TEST(FocusMeasure, IsZeroForFlatAndForTooSmallPictures)
{
    EXPECT_EQ(MeasureFocus(cv::Mat(300, 300, CV_8UC3, cv::Scalar(9, 8, 7))), 0.0);
    EXPECT_EQ(MeasureFocus(cv::Mat()), 0.0);
    for (const cv::Size size : {cv::Size(1, 50), {2, 2}, {50, 2}}) {
        EXPECT_EQ(MeasureFocus(MakeRandom(size, CV_8UC1)), 0.0) << size;
    }
}

} // namespace
} // namespace alidade
