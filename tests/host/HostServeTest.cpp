// The host as a member of the bus: commands, a simulated machine and a simulated camera.

#include "HostProcess.h"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <sstream>

namespace alidade {
namespace {

using nlohmann::json;

class HostServe : public testing::Test {
protected:
    // The machine's shared blocks and the local bus are the computer's: one name a test process.
    HostServe() { ::setenv("ALIDADE_INSTANCE", m_name.c_str(), 1); }

    static std::vector<json> Lines(const std::string& text)
    {
        std::vector<json> lines;
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) {
            lines.push_back(json::parse(line));
        }
        return lines;
    }

    const std::string m_name = "host-test-" + std::to_string(::getpid());
    CTempFolder m_folder;
};

TEST_F(HostServe, RunsCommandsInOrderAndPrintsALineEach)
{
    CHostProcess host({"--headless", "--machine", "simulated", "--grabber", "Dummy", "--set",
                       "Dummy.resolution=64x48", "--unit", "Camera1", "--exec",
                       "\"\" Stage StageMovePos TargetX=1.5 TargetY=-2", "--exec", "\"\" Stage GetPosition",
                       "--exec", "Camera1 Image Grab", "--exec", "\"\" Stage StageMovePos TargetX=1e9",
                       "--exec", "Camera2 Image Grab"});
    EXPECT_EQ(host.Wait(), 1);
    const std::vector<json> lines = Lines(host.Output());
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[1]["result"]["X"], 1.5);
    EXPECT_EQ(lines[1]["result"]["Y"], -2.0);
    EXPECT_EQ(lines[2]["result"]["Image"]["cols"], 64);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i]["ok"], i < 3) << lines[i];
        EXPECT_EQ(lines[i].contains("error"), i >= 3) << lines[i];
    }
    EXPECT_EQ(lines[4]["unit"], "Camera2");
    EXPECT_NE(host.Errors().find("2 of 5 commands failed"), std::string::npos) << host.Errors();
}

TEST_F(HostServe, TheTimeEndsTheCommandThatIsUnderWayAndBeginsNoOther)
{
    CHostProcess host({"--machine", "simulated", "--quit-after", "0.5", "--exec",
                       "\"\" Stage StageMovePos TargetX=300 Speed=0.1", "--exec", "\"\" Stage GetPosition"});
    const int status = host.Wait(); // long before the move's 50 minutes
    const std::vector<json> lines = Lines(host.Output());
    EXPECT_EQ(status, lines.empty() ? 0 : 1); // on a slow machine the time is over before the first has begun
    EXPECT_LE(lines.size(), 1u);
}

TEST_F(HostServe, WhatMakesNoSenseIsRefusedBeforeAnythingStarts)
{
    const std::vector<std::vector<std::string>> rows = {
        {"--headless", "--frames", "3"},
        {"--bus", "local:x", "--save", "%d.png"},
        {"--machine", "real"},
        {"--quit-after", "-1"},
        {"--exec", "OnlyAUnit"},
        {"--exec", "Unit Group Name key=@" + (m_folder / "none.png").string()},
        {"--headless", "--screenshot", "a.txt"},
        {"--headless", "--set", "Scene.Widht=640"},
        {"--demo-stage", (m_folder / "stage.png").string()},
        {"--headless", "--grabber", "Nobody"},
    };
    for (const std::vector<std::string>& row : rows) {
        CHostProcess host(row);
        EXPECT_EQ(host.Wait(), 2) << row[0];
        EXPECT_EQ(host.Output(), "");
        EXPECT_FALSE(host.Errors().empty());
    }
}

TEST_F(HostServe, HostsCommandEachOtherAcrossTheBus)
{
    const std::string bus = "local:" + m_name;
    CHostProcess camera({"--bus", bus, "--machine", "simulated", "--grabber", "Scene", "--set",
                         "Scene.Width=320", "--set", "Scene.Height=240", "--unit", "Camera1", "--quit-after",
                         "600"});
    // The other host may come before the first has opened its camera.
    json line;
    const CDeadline deadline(120000);
    do {
        CHostProcess host({"--bus", bus, "--exec", "Camera1 Image Grab"});
        host.Wait();
        const std::vector<json> lines = Lines(host.Output());
        line = lines.empty() ? json::object() : lines[0]; // none while the two meet on the bus
    } while (line.value("ok", false) == false && !deadline.IsOver());
    EXPECT_EQ(line["ok"], true) << line;
    EXPECT_EQ(line["result"]["Image"]["cols"], 320);
    camera.Interrupt();
    EXPECT_EQ(camera.Wait(), 0) << camera.Errors();
}

TEST_F(HostServe, TheSheetOfTheStageDemonstrationShowsWhatLiesAtEachStop)
{
    // Twelve tiles of the stops' pitch, each of its own grey.
    cv::Mat piece(3 * 90, 4 * 120, CV_8UC1);
    for (int i = 0; i < 12; ++i) {
        piece(cv::Rect(i % 4 * 120, i / 4 * 90, 120, 90)).setTo(cv::Scalar(20 + 18 * i));
    }
    ASSERT_TRUE(cv::imwrite((m_folder / "piece.png").string(), piece));
    const std::string file = (m_folder / "stage.png").string();
    CHostProcess host({"--machine",    "simulated",
                       "--grabber",    "Scene",
                       "--set",        "Scene.Width=640",
                       "--set",        "Scene.Height=480",
                       "--set",        "Scene.MmPerPixel=0.02",
                       "--set",        "Scene.WorkPiece=Picture",
                       "--set",        "Scene.PictureMmPerPixel=0.1",
                       "--set",        "Scene.Picture=" + (m_folder / "piece.png").string(),
                       "--set",        "Scene.Noise=0",
                       "--set",        "Scene.Vignetting=0",
                       "--unit",       "Camera1",
                       "--demo-stage", file});
    ASSERT_EQ(host.Wait(), 0) << host.Errors();
    const cv::Mat sheet = cv::imread(file, cv::IMREAD_GRAYSCALE);
    ASSERT_FALSE(sheet.empty());
    const cv::Size cell(sheet.cols / 4, sheet.rows / 3);
    for (int i = 0; i < 12; ++i) {
        const cv::Rect inner(i % 4 * cell.width + cell.width / 4, i / 4 * cell.height + cell.height / 4,
                             cell.width / 6, cell.height / 6);
        EXPECT_NEAR(cv::mean(sheet(inner))[0], 20 + 18 * i, 4) << i;
    }
}

} // namespace
} // namespace alidade
