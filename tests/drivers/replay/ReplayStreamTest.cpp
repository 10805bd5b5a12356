// The stream of frames: loop, end, pause, closing. The conformance kit judges the contract of each frame.

#include "ReplayHarness.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace alidade {
namespace {

constexpr int kPictures = 5;

class ReplayStream : public testing::Test {
protected:
    ReplayStream()
    {
        for (int i = 0; i < kPictures; ++i) {
            WritePicture(m_folder / (std::to_string(i) + ".png"), NumberedPicture(i));
        }
        m_driver->SetLog(&m_log);
    }

    void Open(bool loop, double rate = 0)
    {
        CProfileSection settings = ReplaySettings(m_folder.Path(), loop);
        settings.SetItemValue(L"Replay.FrameRate", rate);
        CString message;
        ASSERT_EQ(m_driver->InitFrameGrabber(settings, message), 1) << ToNarrow(message);
    }

    /// The numbers of `count` frames from `first` on, as they come in a loop.
    static std::vector<int> Cycle(std::size_t count, int first = 0)
    {
        std::vector<int> numbers;
        for (std::size_t i = 0; i < count; ++i) {
            numbers.push_back((first + static_cast<int>(i)) % kPictures);
        }
        return numbers;
    }

    void TearDown() override { m_driver->CloseFrameGrabber(); }

    CTempFolder m_folder;
    CLogLines m_log;
    std::unique_ptr<IFrameGrabberInterface> m_driver = MakeReplay();
    CFrameCollector m_frames{*m_driver};
};

TEST_F(ReplayStream, ALoopBeginsAgainAfterTheLastPicture)
{
    Open(true);
    m_driver->StartCapture();
    ASSERT_TRUE(m_frames.WaitFor(3 * kPictures));
    m_driver->CloseFrameGrabber();
    EXPECT_EQ(m_frames.Numbers(), Cycle(m_frames.Count()));
}

TEST_F(ReplayStream, AfterTheEndTheStreamCeasesUntilCaptureStartsAgain)
{
    Open(false);
    m_driver->StartCapture();
    ASSERT_TRUE(m_log.WaitFor("end of the source"));
    EXPECT_EQ(m_frames.Numbers(), Cycle(kPictures));
    m_driver->StopCapture();
    m_driver->StartCapture();
    ASSERT_TRUE(m_log.WaitFor("end of the source", 2));
    EXPECT_EQ(m_frames.Numbers(), Cycle(2 * kPictures)) << "from the first picture again";
}

TEST_F(ReplayStream, APauseLosesNoPictureAndLetsNoneThrough)
{
    Open(true);
    std::size_t before = 0;
    for (int i = 0; i < 100; ++i) {
        m_frames.ForbidFrames(false);
        m_driver->StartCapture();
        ASSERT_TRUE(m_frames.WaitFor(before + 1));
        m_driver->StopCapture();
        m_frames.ForbidFrames();
        before = m_frames.Count();
    }
    m_driver->CloseFrameGrabber();
    EXPECT_EQ(m_frames.CountForbidden(), 0);
    EXPECT_EQ(m_frames.Numbers(), Cycle(before));
}

TEST_F(ReplayStream, CaptureMayBeStoppedFromTheCallback)
{
    m_frames.m_onFrame = [this](int index) {
        if (index == 2) {
            m_driver->StopCapture();
        }
    };
    Open(true);
    m_driver->StartCapture();
    ASSERT_TRUE(m_log.WaitFor("stopped; 3 delivered"));
    m_driver->StartCapture();
    ASSERT_TRUE(m_frames.WaitFor(10));
    m_driver->CloseFrameGrabber();
    EXPECT_EQ(m_frames.Numbers(), Cycle(m_frames.Count()));
}

TEST_F(ReplayStream, NoFrameComesAfterClose)
{
    EXPECT_EQ(m_driver->CloseFrameGrabber(), 1) << "nothing is open";
    for (int i = 0; i < 30; ++i) {
        m_frames.ForbidFrames(false);
        const std::size_t before = m_frames.Count();
        Open(true);
        m_driver->StartCapture();
        ASSERT_TRUE(m_frames.WaitFor(before + 3));
        m_driver->CloseFrameGrabber();
        m_frames.ForbidFrames();
        EXPECT_EQ(m_driver->StartCapture(), 0);
    }
    EXPECT_EQ(m_frames.CountForbidden(), 0);
}

TEST_F(ReplayStream, OpeningAgainWhileFramesFlowStartsAnew)
{
    Open(true);
    m_driver->StartCapture();
    ASSERT_TRUE(m_frames.WaitFor(3));
    Open(false);
    const std::size_t before = m_frames.Count();
    m_driver->StartCapture();
    ASSERT_TRUE(m_log.WaitFor("end of the source"));
    const std::vector<int> numbers = m_frames.Numbers();
    EXPECT_EQ(std::vector(numbers.begin() + static_cast<std::ptrdiff_t>(before), numbers.end()),
              Cycle(kPictures));
}

TEST_F(ReplayStream, AnExceptionOfTheCallbackLosesThatFrameOnly)
{
    m_frames.m_onFrame = [thrown = false](int index) mutable {
        if (index == 2 && !thrown) {
            thrown = true;
            throw std::runtime_error("no room");
        }
    };
    Open(true);
    m_driver->StartCapture();
    ASSERT_TRUE(m_frames.WaitFor(4));
    m_driver->CloseFrameGrabber();
    const std::vector<int> numbers = m_frames.Numbers();
    EXPECT_EQ(std::vector(numbers.begin(), numbers.begin() + 4), (std::vector{0, 1, 3, 4}));
    EXPECT_EQ(m_log.Count("a frame failed: no room"), 1);
    EXPECT_EQ(m_log.Count(", 1 failed"), 1);
}

TEST_F(ReplayStream, FramesComeWhenTheyAreDue)
{
    CManualTicks ticks(0xFFFFFFF0u); // the tick wraps on the way
    const DWORD start = ticks.Now();
    Open(true, 10);
    m_driver->StartCapture();
    for (std::size_t i = 1; i <= 4; ++i) {
        ASSERT_TRUE(m_frames.WaitFor(i));
        ticks.Advance(50);
        ticks.Advance(50);
    }
    m_driver->CloseFrameGrabber();
    const std::vector<DWORD> stamps = m_frames.Ticks();
    ASSERT_GE(stamps.size(), 4u);
    for (DWORD i = 1; i < 4; ++i) {
        // The second step of the clock may come before the frame that the first one made due is stamped.
        EXPECT_GE(stamps[i] - start, i * 100);
    }
    EXPECT_EQ(m_frames.Numbers(), Cycle(m_frames.Count()));
}

TEST_F(ReplayStream, ALoopSurvivesThatItsPicturesVanishForAWhile)
{
    Open(true);
    m_driver->StartCapture();
    ASSERT_TRUE(m_frames.WaitFor(kPictures));
    std::filesystem::rename(m_folder.Path(), m_folder.Path().string() + ".away");
    ASSERT_TRUE(m_log.WaitFor("cannot be read", kPictures));
    std::filesystem::rename(m_folder.Path().string() + ".away", m_folder.Path());
    EXPECT_TRUE(m_frames.WaitFor(m_frames.Count() + kPictures));
}

} // namespace
} // namespace alidade
