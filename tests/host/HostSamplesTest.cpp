// The demonstration on real pictures, where they are at hand (ALIDADE_SAMPLES_DIR).

#include "HostProcess.h"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

namespace alidade {
namespace {

struct SampleCase {
    const char* name;
    const char* source;
    int frames;
    cv::Size source_size;
};

class HostSamples : public testing::TestWithParam<SampleCase> {};

TEST_P(HostSamples, GoThroughTurnAndClipToFiles)
{
    const std::filesystem::path samples = ALIDADE_SAMPLES_DIR;
    if (samples.empty() || !std::filesystem::is_directory(samples)) {
        GTEST_SKIP() << "ALIDADE_SAMPLES_DIR names no folder of sample pictures";
    }
    const SampleCase& c = GetParam();
    CTempFolder folder;
    CHostProcess host({"--grabber", "Replay", "--set", "Replay.Source=" + (samples / c.source).string(),
                       "--set", "Image.Rotate=1", "--clip", "40,30,560,420", "--frames",
                       std::to_string(c.frames), "--save", (folder / "out/%04d.png").string(), "--report",
                       (folder / "report.json").string()});
    ASSERT_EQ(host.Wait(), 0) << host.Errors();
    const auto report = nlohmann::json::parse(folder.Read("report.json"));
    EXPECT_EQ(report["source_size"]["width"], c.source_size.width);
    EXPECT_EQ(report["source_size"]["height"], c.source_size.height);
    EXPECT_EQ(report["frames"], c.frames);
    const std::vector<std::string> files = ListNames(folder / "out");
    ASSERT_EQ(files.size(), static_cast<std::size_t>(c.frames));
    const cv::Mat file = cv::imread((folder / "out" / files.front()).string(), cv::IMREAD_UNCHANGED);
    ASSERT_EQ(file.size(), cv::Size(420, 560));

    // The same pixels as in the source, clipped and turned anticlockwise. (A film's first frame is no file.)
    const std::filesystem::path first =
        std::string(c.source).find('?') != std::string::npos ? "left01.jpg" : c.source;
    const cv::Mat source = cv::imread((samples / first).string());
    if (!source.empty()) {
        cv::Mat expected;
        cv::transpose(source(cv::Rect(40, 30, 560, 420)), expected);
        cv::flip(expected, expected, 0);
        EXPECT_EQ(cv::norm(file, expected, cv::NORM_INF), 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Samples, HostSamples,
                         testing::Values(SampleCase{"Board", "board.jpg", 1, {640, 480}},
                                         SampleCase{"Chessboards", "left??.jpg", 13, {640, 480}},
                                         SampleCase{"Film", "vtest.avi", 20, {768, 576}}),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace alidade
