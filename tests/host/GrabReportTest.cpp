#include "host/GrabReport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace alidade {
namespace {

TEST(GrabReport, HoldsEveryKeyInAStableOrder)
{
    T_GRAB_REPORT report;
    report.strDriver = L"Replay";
    report.strMessage = L"Replay: \"\u00e9\"\n";
    report.settings.SetItemValue(L"Image.Rotate", 1);
    report.clip = cv::Rect(1, 2, 30, 40);
    report.size = {40, 30};
    report.nType = CV_16UC1;
    report.nBuffers = 8;
    report.nFramesAsked = 5;
    report.nFrames = 4;
    report.counters.nDelivered = 5;
    report.counters.nRecorded = 4;
    report.counters.nDropped = 1;
    report.counters.dFirstFrame = 12.3456;
    report.counters.dSeconds = 0.8;
    for (const int interval : {100, 100, 100, 500}) {
        report.counters.intervals.Add(interval * 1000000LL);
    }
    report.counters.sourceSize = {640, 480};
    report.strFirstFile = L"out/1.png";
    report.strLastFile = L"out/4.png";
    report.ended = L"failed";
    report.strError = L"disk full";

    const auto json = nlohmann::ordered_json::parse(FormatReport(report));
    const auto expected = nlohmann::ordered_json::parse(R"({
        "driver": "Replay", "message": "Replay: \"é\"\n", "settings": {"Image.Rotate": "1"},
        "clip": {"x": 1, "y": 2, "width": 30, "height": 40},
        "source_size": {"width": 640, "height": 480}, "size": {"width": 40, "height": 30}, "type": "CV_16UC1",
        "frames_asked": 5, "frames": 4, "delivered": 5, "drops": 1, "buffers": 8,
        "frame_rate": 5.0, "gaps": 1, "median_interval_ms": 0, "longest_interval_ms": 500.0,
        "time_to_first_frame_ms": 12.346,
        "first_file": "out/1.png", "last_file": "out/4.png", "ended": "failed", "error": "disk full"})");
    for (auto it = expected.begin(), at = json.begin(); it != expected.end(); ++it, ++at) {
        ASSERT_NE(at, json.end());
        EXPECT_EQ(at.key(), it.key());
        if (it.key() == "median_interval_ms") {
            EXPECT_NEAR(at.value().get<double>(), 100, 1);
        } else {
            EXPECT_EQ(at.value(), it.value()) << it.key();
        }
    }
    EXPECT_EQ(json.size(), expected.size());
}

TEST(GrabReport, WhatCouldNotBeMeasuredIsNull)
{
    const T_GRAB_REPORT none;
    const auto json = nlohmann::json::parse(FormatReport(none));
    for (const char* key :
         {"clip", "source_size", "size", "type", "frame_rate", "median_interval_ms", "longest_interval_ms",
          "time_to_first_frame_ms", "first_file", "last_file", "error"}) {
        EXPECT_TRUE(json.at(key).is_null()) << key;
    }
    EXPECT_EQ(json.at("frames"), 0);
}

} // namespace
} // namespace alidade
