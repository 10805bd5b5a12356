#include "host/FrameTap.h"

#include "tests/support/FrameGrabberTestAccess.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

using CBuffer = TRefPointer<CFrameGrabber::T_IMAGE_BUFFER, int, int>;

class FrameTap : public testing::Test {
protected:
    FrameTap() { m_grabber->InitFrameGrabber(CProfileSection(), m_message); }

    void Deliver(int number) { m_driver->Deliver(cv::Mat(24, 32, CV_8UC1, cv::Scalar(number))); }

    static int NumberOf(const CBuffer& buffer) { return buffer->image.ptr()[0]; }

    CString m_message;
    CHandDriver* m_driver = new CHandDriver({32, 24});
    TRefPointer<CFrameGrabber> m_grabber = CFrameGrabberTestAccess::Make(m_driver);
};

TEST_F(FrameTap, FramesThatFindNoBufferAreCountedAsDrops)
{
    CFrameTap tap(*m_grabber, 2, 0);
    ASSERT_EQ(tap.Start(), 1);
    EXPECT_EQ(m_driver->m_started, 1);
    for (int i = 1; i <= 5; ++i) {
        Deliver(i);
    }
    T_TAP_COUNTERS counters = tap.GetCounters();
    EXPECT_EQ(counters.nDelivered, 5u);
    EXPECT_EQ(counters.nRecorded, 2u);
    EXPECT_EQ(counters.nDropped, 3u);
    EXPECT_EQ(counters.intervals.GetCount(), 4u) << "dropped frames came in time all the same";

    CBuffer buffer;
    ASSERT_TRUE(tap.Take(buffer));
    EXPECT_EQ(NumberOf(buffer), 1);
    Deliver(6);
    EXPECT_EQ(tap.GetCounters().nDropped, 4u) << "a buffer in the reader's hands is in use";
    tap.GiveBack(buffer);
    Deliver(7);
    EXPECT_EQ(tap.GetCounters().nDropped, 4u);
    for (const int expected : {2, 7}) {
        ASSERT_TRUE(tap.Take(buffer));
        EXPECT_EQ(NumberOf(buffer), expected);
        tap.GiveBack(buffer);
    }
    EXPECT_FALSE(tap.Take(buffer));
    counters = tap.GetCounters();
    EXPECT_EQ(counters.nDelivered, counters.nRecorded + counters.nDropped);
}

TEST_F(FrameTap, StopsByItselfWhenAllFramesAskedForAreRecorded)
{
    CFrameTap tap(*m_grabber, 8, 3);
    tap.Start();
    for (int i = 1; i <= 5; ++i) {
        EXPECT_EQ(tap.IsStopped(), i > 3);
        Deliver(i);
    }
    const T_TAP_COUNTERS counters = tap.GetCounters();
    EXPECT_EQ(counters.nDelivered, 3u) << "frames behind the last one wanted are nobody's loss";
    EXPECT_EQ(counters.nDropped, 0u);
    EXPECT_TRUE(tap.GetEvent().Wait(0));
    CBuffer buffer;
    for (const int expected : {1, 2, 3}) {
        ASSERT_TRUE(tap.Take(buffer));
        EXPECT_EQ(NumberOf(buffer), expected);
        tap.GiveBack(buffer);
    }
    EXPECT_FALSE(tap.Take(buffer));
}

TEST_F(FrameTap, TellsTheSizeBeforePreProcessing)
{
    CFrameGrabberTestAccess::SetTurn(*m_grabber, 1, false, false);
    m_grabber->SetClipRect({0, 0, 20, 10}, 1);
    CFrameTap tap(*m_grabber, 2, 0);
    tap.Start();
    Deliver(1);
    CBuffer buffer;
    ASSERT_TRUE(tap.Take(buffer));
    EXPECT_EQ(buffer->image.size(), cv::Size(10, 20));
    EXPECT_EQ(tap.GetCounters().sourceSize, cv::Size(32, 24));
}

TEST_F(FrameTap, LeavesTheGrabberAsItWas)
{
    const auto callback = m_driver->m_pfnNewImage;
    void* const argument = m_driver->m_pNewImageArg;
    {
        CFrameTap tap(*m_grabber, 2, 0);
        tap.Start();
        Deliver(1);
        EXPECT_GE(tap.GetCounters().dFirstFrame, 0);
        tap.Stop();
    }
    EXPECT_EQ(m_driver->m_pfnNewImage, callback);
    EXPECT_EQ(m_driver->m_pNewImageArg, argument);
    EXPECT_EQ(m_grabber->IsSerialGrab(), 0);
}

TEST_F(FrameTap, SilenceIsMeasuredFromTheStartOrTheLatestFrame)
{
    CManualTicks ticks;
    CFrameTap tap(*m_grabber, 2, 0);
    tap.Start();
    ticks.Advance(300);
    EXPECT_EQ(tap.GetSilence(), 300u);
    Deliver(1);
    EXPECT_EQ(tap.GetSilence(), 0u);
}

TEST(ChooseBufferCount, FitsTheMemoryAndTheFramesAsked)
{
    EXPECT_EQ(ChooseBufferCount({640, 480}, 0), 64);
    EXPECT_EQ(ChooseBufferCount({640, 480}, 13), 13);
    EXPECT_EQ(ChooseBufferCount({5120, 5120}, 0), 6);
    EXPECT_EQ(ChooseBufferCount({60000, 60000}, 0), 4);
    EXPECT_EQ(ChooseBufferCount({}, 100), 8);
}

} // namespace
} // namespace alidade
