#include "tests/support/FrameGrabberTestAccess.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

using Access = CFrameGrabberTestAccess;
using Buffer = CFrameGrabber::T_IMAGE_BUFFER;

class SerialGrab : public testing::Test {
protected:
    SerialGrab()
    {
        CString message;
        m_grabber->InitFrameGrabber(CProfileSection(), message);
    }
    void Deliver(int value, cv::Size size = {8, 6}, int type = CV_8UC1)
    {
        m_ticks.Advance(10);
        m_driver->Deliver(cv::Mat(size, type, cv::Scalar::all(value)));
    }
    std::vector<int> PopValues()
    {
        TList<Buffer, int, int> buffers;
        m_grabber->PopImageBuffer(buffers);
        std::vector<int> values;
        for (const Buffer* buffer : buffers) {
            values.push_back(buffer->image.at<uchar>(0, 0));
        }
        m_grabber->ReturnImageBuffer(buffers);
        return values;
    }

    CManualTicks m_ticks;
    CHandDriver* m_driver = new CHandDriver;
    TRefPointer<CFrameGrabber> m_grabber = Access::Make(m_driver);
};

TEST_F(SerialGrab, RecordsTheFirstFramesInOrderUntilThePoolIsUsedUp)
{
    Deliver(0);
    m_grabber->StartSerialGrab(3);
    for (int value = 1; value <= 5; ++value) {
        Deliver(value);
    }
    EXPECT_EQ(PopValues(), (std::vector<int>{1, 2, 3}));
    Deliver(6); // the buffers came back
    m_grabber->StopSerialGrab();
    Deliver(7);
    EXPECT_EQ(PopValues(), (std::vector<int>{6}));
}

TEST_F(SerialGrab, NegativeCountKeepsThePoolAndDropsWhatWasNotPopped)
{
    Deliver(0);
    m_grabber->ReserveImageBuffer(5);
    m_grabber->StartSerialGrab(-1);
    Deliver(1);
    Deliver(2);
    m_grabber->StartSerialGrab(-1);
    EXPECT_EQ(Access::CountFree(*m_grabber), 5);
    EXPECT_EQ(Access::CountFilled(*m_grabber), 0);
    Deliver(3);
    EXPECT_EQ(PopValues(), std::vector<int>{3});
}

TEST_F(SerialGrab, ReserveCountsFreeBuffersOnlyAndFollowsTheImageSize)
{
    Deliver(0);
    m_grabber->StartSerialGrab(4);
    Deliver(1);
    m_grabber->ReserveImageBuffer(4);
    EXPECT_EQ(Access::CountFree(*m_grabber), 4);
    EXPECT_EQ(Access::CountFilled(*m_grabber), 1);
    m_grabber->ReserveImageBuffer(2);
    EXPECT_EQ(Access::CountFree(*m_grabber), 2);
    Deliver(2, {20, 10}, CV_8UC3); // another size than reserved is recorded all the same
    TRefPointer<Buffer, int, int> buffer;
    m_grabber->PopImageBuffer(buffer);
    m_grabber->PopImageBuffer(buffer);
    ASSERT_TRUE(buffer);
    EXPECT_EQ(buffer->image.size(), cv::Size(20, 10));
    EXPECT_EQ(buffer->image.type(), CV_8UC3);
    EXPECT_EQ(buffer->dwTick, m_ticks.Now());
    m_grabber->ReserveImageBuffer(0);
    EXPECT_EQ(Access::CountFree(*m_grabber), 0);
}

TEST_F(SerialGrab, PoppingNothingLeavesAListAndEmptiesAHandle)
{
    TList<Buffer, int, int> buffers;
    buffers.Insert(new Buffer);
    EXPECT_EQ(m_grabber->PopImageBuffer(buffers), 1);
    EXPECT_EQ(buffers.Count(), 1);
    TRefPointer<Buffer, int, int> buffer(new Buffer);
    EXPECT_EQ(m_grabber->PopImageBuffer(buffer), 1);
    EXPECT_FALSE(buffer);
    EXPECT_EQ(m_grabber->ReturnImageBuffer(buffer), 1);
    EXPECT_EQ(Access::CountFree(*m_grabber), 0);
}

TEST_F(SerialGrab, NullItemOfAReturnedListDoesNotReachTheDriver)
{
    Deliver(0);
    m_grabber->StartSerialGrab(0);
    TList<Buffer, int, int> buffers;
    buffers.Insert(nullptr);
    buffers.Insert(new Buffer);
    EXPECT_EQ(m_grabber->ReturnImageBuffer(buffers), 1);
    EXPECT_EQ(buffers.Count(), 0);
    Deliver(1);
    EXPECT_EQ(PopValues(), std::vector<int>{1});
}

TEST_F(SerialGrab, ReturnedHandleGivesTheBufferBackWhileACopyStillReachesIt)
{
    Deliver(0);
    m_grabber->StartSerialGrab(1);
    Deliver(1);
    TRefPointer<Buffer, int, int> buffer;
    m_grabber->PopImageBuffer(buffer);
    TRefPointer<Buffer, int, int> copy = buffer;
    m_grabber->ReturnImageBuffer(buffer);
    EXPECT_FALSE(buffer);
    EXPECT_TRUE(copy);
    copy.Release(); // must not destroy what is in the pool
    Deliver(2);
    EXPECT_EQ(PopValues(), std::vector<int>{2});
}

TEST_F(SerialGrab, RecordsThePreProcessedImage)
{
    Access::SetTurn(*m_grabber, 1, false, false);
    Deliver(0);
    m_grabber->StartSerialGrab(1);
    Deliver(1);
    TRefPointer<Buffer, int, int> buffer;
    m_grabber->PopImageBuffer(buffer);
    ASSERT_TRUE(buffer);
    EXPECT_EQ(buffer->image.size(), cv::Size(6, 8));
}

} // namespace
} // namespace alidade
