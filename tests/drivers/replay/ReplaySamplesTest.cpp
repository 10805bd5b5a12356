// Photographs and a film, where they are at hand (ALIDADE_SAMPLES_DIR).

#include "ReplayHarness.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

struct SampleCase {
    const char* source;
    cv::Size size;
    std::size_t frames; // to wait for
};

class ReplaySamples : public testing::TestWithParam<SampleCase> {};

TEST_P(ReplaySamples, ArePlayedWhole)
{
    const std::filesystem::path folder = ALIDADE_SAMPLES_DIR;
    if (folder.empty() || !std::filesystem::is_directory(folder)) {
        GTEST_SKIP() << "ALIDADE_SAMPLES_DIR names no folder of sample pictures";
    }
    CLogLines log;
    auto driver = MakeReplay();
    driver->SetLog(&log);
    CFrameCollector frames(*driver);
    CString message;
    ASSERT_EQ(driver->InitFrameGrabber(ReplaySettings(folder / GetParam().source), message), 1)
        << ToNarrow(message);
    EXPECT_EQ(driver->m_imageSize, GetParam().size);
    driver->StartCapture();
    ASSERT_TRUE(frames.WaitFor(GetParam().frames));
    driver->CloseFrameGrabber();
    EXPECT_EQ(log.Count(" 0 skipped as unreadable, 0 skipped for size or type, 0 failed"), 1);
    cv::Scalar mean, deviation;
    cv::meanStdDev(frames.LastFrame(), mean, deviation);
    EXPECT_GT(deviation[0], 10) << "a picture, not a plain";
}

INSTANTIATE_TEST_SUITE_P(Samples, ReplaySamples,
                         testing::Values(SampleCase{"board.jpg", {640, 480}, 1},
                                         SampleCase{"left??.jpg", {640, 480}, 13},
                                         SampleCase{"vtest.avi", {768, 576}, 100}));

} // namespace
} // namespace alidade
