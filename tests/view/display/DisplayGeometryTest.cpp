#include "view/display/DisplayGeometry.h"

#include "view/display/ZoomState.h"

#include <cmath>
#include <gtest/gtest.h>
#include <sstream>

namespace alidade {
namespace {

/// The zoom, as a mode and a factor, with the point at the area's centre.
struct T_ZOOM {
    int mode;
    double factor;
    TPoint2<double> shift;
};

/// "source, buffer, target"
std::string Fit(cv::Size image, cv::Size area, const T_ZOOM& zoom)
{
    T_DISPLAY_GEOMETRY geometry;
    EXPECT_EQ(GetDisplayGeometry(image, area, zoom.mode, zoom.factor, zoom.shift, geometry), 1);
    const auto& [source, buffer, target] = geometry;
    std::ostringstream text;
    text << source.width << 'x' << source.height << '+' << source.x << '+' << source.y << ", " << buffer.width
         << 'x' << buffer.height << ", " << target.width << 'x' << target.height;
    return text.str();
}

TEST(DisplayGeometry, FitsTheFrameAsTheZoomSays)
{
    const cv::Size odd(1001, 801), frame(1000, 800), large(5120, 5120), screen(1280, 960);
    const T_ZOOM fit{0, 9.0, {0, 0}};
    const double none = std::nan("");
    // Factor 1 leaves odd sizes alone; otherwise the buffer's width is rounded up.
    EXPECT_EQ(Fit(odd, screen, {2, 1.0, {500, 400}}), "1001x801+0+0, 1001x801, 1001x801");
    EXPECT_EQ(Fit(odd, screen, {7, 4.0, {500, 400}}), "1001x801+0+0, 1001x801, 1001x801");
    EXPECT_EQ(Fit(odd, screen, {2, 0.5, {500, 400}}), "1001x801+0+0, 504x401, 501x401");
    EXPECT_EQ(Fit(frame, {600, 300}, fit), "1000x800+0+0, 376x300, 375x300");
    EXPECT_EQ(Fit(frame, {601, 900}, fit), "1000x800+0+0, 604x481, 601x481");
    EXPECT_EQ(Fit(odd, odd, fit), "1001x801+0+0, 1001x801, 1001x801");
    EXPECT_EQ(Fit(large, {1277, 960}, fit), "5120x5120+0+0, 960x960, 960x960");
    EXPECT_EQ(Fit(frame, {601, 900}, {1, 4.0, {0, 0}}), "1000x800+0+0, 604x900, 601x900");
    // A part of the frame, up to its borders.
    EXPECT_EQ(Fit(large, {1278, 959}, {2, 1.0, {3000, 2000}}), "1278x959+2361+1521, 1280x959, 1278x959");
    EXPECT_EQ(Fit({400, 3000}, screen, {2, 1.0, {200, 1500}}), "400x960+0+1020, 400x960, 400x960");
    EXPECT_EQ(Fit(frame, {400, 300}, {2, 3.0, {500, 400}}), "133x100+434+350, 400x300, 400x300");
    EXPECT_EQ(Fit(frame, {400, 300}, {2, 10.0, {0, 0}}), "40x30+0+0, 400x300, 400x300");
    EXPECT_EQ(Fit(frame, {402, 301}, {2, 10.0, {1000, 800}}), "40x30+960+770, 404x301, 402x301");
    // Areas and frames of a few pixels.
    EXPECT_EQ(Fit(frame, {5, 400}, fit), "1000x800+0+0, 12x9, 12x9");
    EXPECT_EQ(Fit(frame, {1, 1}, {2, 1.0, {500, 400}}), "1x1+500+400, 12x9, 12x9");
    EXPECT_EQ(Fit(frame, {4, 4}, {2, 10.0, {500, 400}}), "0x0+500+400, 12x9, 12x9");
    EXPECT_EQ(Fit({1, 1}, {300, 200}, fit), "1x1+0+0, 200x200, 200x200");
    EXPECT_EQ(Fit({20000, 1}, {1000, 800}, fit), "20000x1+0+0, 1000x9, 1000x9");
    // Of a narrow frame the factor that fits whole pixels is much less, so there is room for more than all.
    EXPECT_EQ(Fit({14, 10000}, {100, 990}, {2, 0.1, {7, 5000}}), "14x10000+0+0, 12x990, 12x990");
    EXPECT_EQ(Fit({10, 10000}, {100, 300}, {2, 0.04, {5, 5000}}), "10x10000+0+0, 12x300, 12x300");
    // Numbers that nobody meant.
    EXPECT_EQ(Fit(frame, {300, 200}, {2, none, {0, 0}}), "1000x800+0+0, 12x9, 12x9");
    EXPECT_EQ(Fit(frame, {300, 200}, {2, -1.0, {0, 0}}), "1000x800+0+0, 12x9, 12x9");
    EXPECT_EQ(Fit(frame, {100, 80}, {2, 1.0, {none, INFINITY}}), "100x80+0+720, 100x80, 100x80");
}

TEST(DisplayGeometry, NothingToShowChangesNothing)
{
    for (const auto& [image, area] : {std::pair<cv::Size, cv::Size>{{0, 800}, {300, 200}},
                                      {{1000, 0}, {300, 200}},
                                      {{1000, 800}, {0, 200}},
                                      {{1000, 800}, {300, -5}}}) {
        T_DISPLAY_GEOMETRY geometry{{1, 2, 3, 4}, {5, 6}, {7, 8}};
        EXPECT_EQ(GetDisplayGeometry(image, area, ZOOM_FIT, 1.0, {}, geometry), 0);
        EXPECT_EQ(geometry.source, cv::Rect(1, 2, 3, 4));
        EXPECT_EQ(geometry.buffer, cv::Size(5, 6));
        EXPECT_EQ(geometry.target, cv::Size(7, 8));
    }
}

TEST(DisplayGeometry, WhatIsShownAlwaysLiesInTheFrame)
{
    for (const int width : {1, 13, 1001, 5120}) {
        for (const int height : {1, 2, 500, 5120}) {
            for (const double zoom : {0.01, 0.099, 0.5, 1.0, 1.37, 10.0}) {
                for (const double at : {-50.0, 0.0, 0.5, 1.0, 2.0}) {
                    T_DISPLAY_GEOMETRY geometry;
                    GetDisplayGeometry({width, height}, {333, 222}, ZOOM_FACTOR, zoom,
                                       {width * at, height * at}, geometry);
                    ASSERT_EQ(geometry.source & cv::Rect(0, 0, width, height), geometry.source)
                        << width << " x " << height << " zoom " << zoom << " at " << at;
                    ASSERT_FALSE(geometry.source.empty());
                    ASSERT_GE(geometry.buffer.width, geometry.target.width);
                    ASSERT_LT(geometry.buffer.width, geometry.target.width + 4);
                }
            }
        }
    }
}

} // namespace
} // namespace alidade
