#include "tests/support/FrameGrabberTestAccess.h"

#include <cmath>
#include <gtest/gtest.h>

namespace alidade {
namespace {

using Access = CFrameGrabberTestAccess;

class FrameRate : public testing::Test {
protected:
    void Frames(int count, DWORD interval)
    {
        for (int i = 0; i < count; ++i) {
            m_ticks.Advance(interval);
            Access::NewImage(*m_grabber);
        }
    }
    const CFrameGrabber::T_FRAME_COUNT& Count() { return m_grabber->GetFrameCounter(); }

    CManualTicks m_ticks{0xFFFFFF00u}; // the tick wraps in the middle of each test
    TRefPointer<CFrameGrabber> m_grabber = Access::Make(new CHandDriver);
};

TEST_F(FrameRate, FirstFrameStartsTheMeasurementAndDoesNotCount)
{
    Frames(1, 100);
    EXPECT_EQ(Count().nFrames, 0);
    EXPECT_EQ(Count().dFrameRate, 0.0);
    Frames(10, 100);
    EXPECT_EQ(Count().nFrames, 10);
    EXPECT_DOUBLE_EQ(Count().dFrameRate, 10.0);
}

TEST_F(FrameRate, WindowSlidesInStepsOfTwoSeconds)
{
    Frames(1, 100);
    const DWORD start = Count().dwStart;
    Frames(21, 100); // 2100 ms: the mark
    EXPECT_EQ(Count().nMarkFrames, 21);
    EXPECT_EQ(Count().dwMark, start + 2100);
    Frames(20, 100); // 2000 ms behind the mark: not yet
    EXPECT_EQ(Count().nFrames, 41);
    Frames(1, 100);
    EXPECT_EQ(Count().nFrames, 21);
    EXPECT_EQ(Count().dwStart, start + 2100);
    EXPECT_EQ(Count().nMarkFrames, 0);
    // A change of the rate is seen in full once the old frames have slid out.
    Frames(30, 200);
    EXPECT_NEAR(Count().dFrameRate, 5.0, 1e-9);
}

TEST_F(FrameRate, GapRestartsTheCountAndKeepsRateAndMark)
{
    Frames(31, 100); // the mark is taken at 21 frames
    Frames(1, 500);  // a gap as long as the grab timeout
    EXPECT_EQ(Count().nFrames, 0);
    EXPECT_EQ(Count().nMarkFrames, 21);
    EXPECT_DOUBLE_EQ(Count().dFrameRate, 10.0);
    Frames(9, 200);
    EXPECT_EQ(Count().nFrames, 9);
    Frames(2, 200); // more than 2 seconds behind the gap: the old mark is subtracted from the new count
    EXPECT_EQ(Count().nFrames, 11 - 21);
    Frames(1, 200);
    EXPECT_LT(Count().dFrameRate, 0.0);
}

TEST_F(FrameRate, StartOfCaptureClearsTheCountersAndKeepsTheRate)
{
    Frames(31, 100);
    EXPECT_EQ(m_grabber->StartCapture(), 1);
    EXPECT_EQ(Count().dwStart, 0u);
    EXPECT_EQ(Count().nFrames, 0);
    EXPECT_EQ(Count().nMarkFrames, 0);
    EXPECT_DOUBLE_EQ(Count().dFrameRate, 10.0);
}

} // namespace
} // namespace alidade
