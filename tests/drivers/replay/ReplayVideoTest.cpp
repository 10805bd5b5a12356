#include "ReplayHarness.h"

#include <gtest/gtest.h>
#include <opencv2/videoio.hpp>

namespace alidade {
namespace {

constexpr int kFrames = 8;
constexpr int kStep = 30; // grey levels from frame to frame: more than the compression changes

class ReplayVideo : public testing::Test {
protected:
    void SetUp() override
    {
        cv::VideoWriter writer((m_folder / "clip07.avi").string(), cv::CAP_OPENCV_MJPEG,
                               cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 10, cv::Size(64, 48));
        ASSERT_TRUE(writer.isOpened());
        for (int i = 0; i < kFrames; ++i) {
            writer.write(cv::Mat(48, 64, CV_8UC3, cv::Scalar::all(i * kStep)));
        }
        writer.release();
        m_driver->SetLog(&m_log);
    }

    void Play(const CProfileSection& settings)
    {
        CString message;
        ASSERT_EQ(m_driver->InitFrameGrabber(settings, message), 1) << ToNarrow(message);
        EXPECT_EQ(message.find(L"Replay: video, 64 x 48, 8-bit"), 0u) << ToNarrow(message);
        m_driver->StartCapture();
    }

    void ExpectOrder() const
    {
        const std::vector<int> numbers = m_frames.Numbers();
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            EXPECT_NEAR(numbers[i], static_cast<int>(i % kFrames) * kStep, 8) << "frame " << i;
        }
    }

    void TearDown() override { m_driver->CloseFrameGrabber(); }

    CTempFolder m_folder;
    CLogLines m_log;
    std::unique_ptr<IFrameGrabberInterface> m_driver = MakeReplay();
    CFrameCollector m_frames{*m_driver};
};

TEST_F(ReplayVideo, PlaysToItsEnd)
{
    Play(ReplaySettings(m_folder / "clip07.avi"));
    ASSERT_TRUE(m_log.WaitFor("end of the source"));
    EXPECT_EQ(m_frames.Count(), static_cast<std::size_t>(kFrames));
    ExpectOrder();
    EXPECT_EQ(m_frames.LastFrame().type(), CV_8UC3);
}

TEST_F(ReplayVideo, LoopsInGrey)
{
    CProfileSection settings = ReplaySettings(m_folder / "clip07.avi", true);
    settings.SetItemValue(L"Replay.Color", L"Gray");
    Play(settings);
    ASSERT_TRUE(m_frames.WaitFor(2 * kFrames + 3));
    m_driver->CloseFrameGrabber();
    ExpectOrder();
    EXPECT_EQ(m_frames.LastFrame().type(), CV_8UC1);
}

TEST_F(ReplayVideo, AVideoThatBreaksOffEndsThere)
{
    const std::string whole = m_folder.Read("clip07.avi");
    m_folder.Write("cut.avi", std::string_view(whole).substr(0, whole.size() / 2));
    Play(ReplaySettings(m_folder / "cut.avi"));
    ASSERT_TRUE(m_log.WaitFor("end of the source"));
    EXPECT_GT(m_frames.Count(), 0u);
    EXPECT_LT(m_frames.Count(), static_cast<std::size_t>(kFrames));
    ExpectOrder();
}

} // namespace
} // namespace alidade
