#include "tests/support/FrameGrabberTestAccess.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

using Access = CFrameGrabberTestAccess;

class StaticImage : public testing::Test {
protected:
    StaticImage()
    {
        CString message;
        m_grabber->InitFrameGrabber(CProfileSection(), message);
        m_grabber->InsertWaitingQueue(m_event);
    }
    void Deliver(int value, int type = CV_8UC1)
    {
        m_driver->Deliver(cv::Mat(4, 4, type, cv::Scalar::all(value)));
        m_event->Wait(0);
    }
    int Shown()
    {
        cv::Mat image;
        EXPECT_EQ(m_grabber->GetImage(image, true, 0), 1);
        return image.at<uchar>(0, 0);
    }

    CManualTicks m_ticks;
    CHandDriver* m_driver = new CHandDriver;
    TRefPointer<CFrameGrabber> m_grabber = Access::Make(m_driver);
    TRefPointer<CEvent, int, int> m_event{new CEvent};
};

TEST_F(StaticImage, FreezingKeepsThePictureWhileFramesGoOn)
{
    Deliver(1);
    EXPECT_EQ(m_grabber->SetLive(0), 0);
    EXPECT_TRUE(m_event->Wait(0)); // the change wakes the clients ...
    m_driver->Deliver(cv::Mat(4, 4, CV_8UC1, cv::Scalar(2)));
    EXPECT_FALSE(m_event->Wait(0)); // ... and frames do not, any more
    EXPECT_EQ(Shown(), 1);
    EXPECT_EQ(m_grabber->SetLive(0), 0); // again: not refreshed
    EXPECT_EQ(Shown(), 1);
    EXPECT_EQ(m_grabber->IsFreezed(), 0);
    m_ticks.Advance(1000000); // a dead driver does not matter
    EXPECT_EQ(Shown(), 1);
    cv::Mat image;
    CFrameGrabberImageLock lock(m_grabber.Get());
    EXPECT_EQ(lock.GetImage().at<uchar>(0, 0), 2);
    EXPECT_EQ(m_grabber->SetLive(1), 1);
}

TEST_F(StaticImage, FreezingIsRefusedWithoutAnEightBitPicture)
{
    EXPECT_EQ(m_grabber->SetLive(0), 1);
    Deliver(1, CV_16UC1);
    EXPECT_EQ(m_grabber->SetLive(0), 1);
    EXPECT_EQ(m_grabber->IsLive(), 1);
    EXPECT_FALSE(m_event->Wait(0));
}

TEST_F(StaticImage, LoadedPictureReplacesTheCamera)
{
    Deliver(1);
    for (cv::Mat refused : {cv::Mat(), cv::Mat(2, 2, CV_16UC1), cv::Mat(2, 2, CV_32FC3)}) {
        EXPECT_EQ(m_grabber->SetStaticImage(refused), 0);
        EXPECT_EQ(m_grabber->IsLive(), 1);
    }
    cv::Mat picture(5, 5, CV_8UC3, cv::Scalar::all(77));
    EXPECT_EQ(m_grabber->SetStaticImage(picture), 1);
    EXPECT_TRUE(m_event->Wait(0));
    picture.setTo(0);
    EXPECT_EQ(m_grabber->IsLive(), 0);
    EXPECT_EQ(Shown(), 77);
}

TEST_F(StaticImage, SerialGrabWakesClientsOfAFrozenGrabber)
{
    Deliver(1);
    m_grabber->SetLive(0);
    m_event->Wait(0);
    m_grabber->StartSerialGrab(0);
    m_driver->Deliver(cv::Mat(4, 4, CV_8UC1, cv::Scalar(2)));
    EXPECT_TRUE(m_event->Wait(0));
    EXPECT_EQ(Access::CountFilled(*m_grabber), 0);
}

} // namespace
} // namespace alidade
