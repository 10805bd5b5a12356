#include "tests/support/FrameGrabberTestAccess.h"

#include <gtest/gtest.h>
#include <thread>

namespace alidade {
namespace {

using Access = CFrameGrabberTestAccess;

class FrameGrabber : public testing::Test {
protected:
    FrameGrabber() { m_grabber->InitFrameGrabber(CProfileSection(), m_message); }

    void Deliver(int value, cv::Size size = {8, 6}, int type = CV_8UC1)
    {
        m_driver->Deliver(cv::Mat(size, type, cv::Scalar::all(value)));
    }
    static int ValueOf(const cv::Mat& image) { return image.empty() ? -1 : image.at<uchar>(0, 0); }

    CManualTicks m_ticks;
    CHandDriver* m_driver = new CHandDriver;
    TRefPointer<CFrameGrabber> m_grabber = Access::Make(m_driver);
    CString m_message;
};

TEST_F(FrameGrabber, WithoutADriverEveryOperationFailsAndTouchesNothing)
{
    const auto grabber = Access::Make(nullptr);
    cv::Mat image(2, 2, CV_8UC1, cv::Scalar(9));
    CString message = L"untouched";
    EXPECT_EQ(grabber->GetImage(image, true, 10), 0);
    EXPECT_EQ(grabber->GetNewImage(image, 10), 0);
    EXPECT_EQ(grabber->InitFrameGrabber(CProfileSection(), message), 0);
    EXPECT_EQ(grabber->StartCapture() + grabber->StopCapture() + grabber->CloseFrameGrabber(), 0);
    EXPECT_EQ(Access::NewImage(*grabber), 0);
    EXPECT_EQ(grabber->GetImageSize(), cv::Size());
    EXPECT_EQ(grabber->GetImageType(), 0);
    EXPECT_EQ(grabber->SetLive(1), 0);
    EXPECT_EQ(grabber->IsLive(), 0);
    EXPECT_EQ(ValueOf(image), 9);
    EXPECT_EQ(message, L"untouched");
    CFrameGrabberImageLock lock(grabber.Get());
    EXPECT_TRUE(lock.GetImage().empty());
}

TEST_F(FrameGrabber, DestructionStopsClosesAndDeletesTheDriver)
{
    bool destroyed = false;
    m_driver->m_pDestroyed = &destroyed;
    TRefPointer<CFrameGrabber> second = m_grabber;
    m_grabber.Release();
    EXPECT_FALSE(destroyed);
    second.Release();
    EXPECT_TRUE(destroyed);
}

TEST_F(FrameGrabber, ImageIsADeepCopyOfTheCurrentOne)
{
    cv::Mat image;
    EXPECT_EQ(m_grabber->GetImage(image, false, 0), 1); // before the first frame: empty, with success
    EXPECT_TRUE(image.empty());
    Deliver(5);
    EXPECT_EQ(m_grabber->GetImage(image, false, 0), 1);
    const uchar* memory = image.data;
    Deliver(6);
    EXPECT_EQ(ValueOf(image), 5);
    m_grabber->GetImage(image, false, 0);
    EXPECT_EQ(ValueOf(image), 6);
    EXPECT_EQ(image.data, memory);
    Deliver(0, {0, 0}); // a driver may deliver nothing
    EXPECT_EQ(m_grabber->GetImage(image, false, 0), 1);
    EXPECT_TRUE(image.empty());
}

TEST_F(FrameGrabber, StalenessTestsDifferAtTheirLimit)
{
    struct {
        DWORD timeout, age;
        int getImage, isFreezed;
    } const cases[] = {
        {500, 499, 1, 0},  {500, 500, 1, 1},
        {500, 501, 0, 1},  {0, 0, 1, 1},
        {0, 100000, 1, 1}, {INFINITE, 0xFFFFFFFE, 1, 0},
        {1, 1, 1, 1},      {0xFFFFFFFE, 0xFFFFFFFD, 1, 0},
    };
    for (const auto& c : cases) {
        Deliver(1);
        m_grabber->SetGrabTimeout(c.timeout);
        m_ticks.Advance(c.age);
        cv::Mat image(1, 1, CV_8UC1);
        EXPECT_EQ(m_grabber->GetImage(image, true, 0), c.getImage) << c.timeout << " " << c.age;
        EXPECT_EQ(image.empty(), c.getImage == 0);
        EXPECT_EQ(m_grabber->IsFreezed(), c.isFreezed) << c.timeout << " " << c.age;
    }
}

TEST_F(FrameGrabber, FreshGrabberIsStale)
{
    EXPECT_EQ(m_grabber->IsFreezed(), 1);
    Deliver(1);
    EXPECT_EQ(m_grabber->IsFreezed(), 0);
}

/// Runs an operation on another thread until it stands in the queue.
class CWaitingClient {
public:
    template <class Operation>
    CWaitingClient(CFrameGrabber& grabber, Operation operation)
        : m_thread([this, operation] {
              operation();
              m_done = true;
          })
    {
        while (Access::CountWaiting(grabber) == 0) {
            std::this_thread::yield();
        }
    }
    ~CWaitingClient() { Join(); }
    /// Lets time pass until the client gives up; it may not have begun to measure when it enters the queue.
    void LetTimePass(CManualTicks& ticks)
    {
        while (!m_done) {
            ticks.Advance(500);
            std::this_thread::yield();
        }
    }
    void Join()
    {
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }

private:
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};

TEST_F(FrameGrabber, StaleClientWaitsForTheNextFrame)
{
    Deliver(1);
    m_ticks.Advance(10000);
    cv::Mat image;
    int result = -1;
    CWaitingClient client(*m_grabber, [&] { result = m_grabber->GetImage(image, true, 3000); });
    Deliver(2);
    client.Join();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(ValueOf(image), 2);
    EXPECT_EQ(Access::CountWaiting(*m_grabber), 0);
}

TEST_F(FrameGrabber, StaleClientGivesUpAfterItsTime)
{
    Deliver(1);
    m_ticks.Advance(10000);
    cv::Mat image(3, 3, CV_8UC1);
    int result = -1;
    CWaitingClient client(*m_grabber, [&] { result = m_grabber->GetImage(image, true, 3000); });
    client.LetTimePass(m_ticks);
    client.Join();
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(image.empty());
    EXPECT_EQ(Access::CountWaiting(*m_grabber), 0);
}

TEST_F(FrameGrabber, NewImageIsTheNextOneOrTheLatestIfYoung)
{
    cv::Mat image(1, 1, CV_8UC1, cv::Scalar(9));
    Deliver(1);
    EXPECT_EQ(m_grabber->GetNewImage(image, 0), 0); // no waiting, no image, whatever flows
    EXPECT_EQ(ValueOf(image), 9);
    {
        int result = -1;
        CWaitingClient client(*m_grabber, [&] { result = m_grabber->GetNewImage(image, INFINITE); });
        Deliver(2);
        client.Join();
        EXPECT_EQ(result, 1);
        EXPECT_EQ(ValueOf(image), 2);
    }
    struct {
        DWORD grabTimeout; // a latest frame younger than this will do
        int result, value;
    } const cases[] = {{0xFFFFFFF0u, 1, 3}, {1, 0, 9}};
    for (const auto& c : cases) {
        m_grabber->SetGrabTimeout(c.grabTimeout);
        Deliver(3);
        image.setTo(9);
        int result = -1;
        CWaitingClient client(*m_grabber, [&] { result = m_grabber->GetNewImage(image, 400); });
        client.LetTimePass(m_ticks);
        client.Join();
        EXPECT_EQ(result, c.result);
        EXPECT_EQ(ValueOf(image), c.value);
    }
}

TEST_F(FrameGrabber, EventStandsOnceInTheQueueAndStaysUntilDeleted)
{
    TRefPointer<CEvent, int, int> event(new CEvent);
    TRefPointer<CEvent, int, int> other(new CEvent(false, true));
    m_grabber->InsertWaitingQueue(event);
    m_grabber->InsertWaitingQueue(event);
    m_grabber->InsertWaitingQueue(other);
    EXPECT_EQ(Access::CountWaiting(*m_grabber), 2);
    for (int i = 0; i < 2; ++i) {
        Deliver(i);
        EXPECT_TRUE(event->Wait(0));
        EXPECT_TRUE(other->Wait(0));
    }
    m_grabber->DeleteWaitingQueue(event);
    m_grabber->DeleteWaitingQueue(event);
    EXPECT_EQ(Access::CountWaiting(*m_grabber), 1);
    Deliver(3);
    EXPECT_FALSE(event->Wait(0));
}

TEST_F(FrameGrabber, SizeBeforeTheFirstFrameIsTheConfiguredOneTurned)
{
    m_driver->m_imageSize = {1600, 1200};
    EXPECT_EQ(m_grabber->GetImageSize(), cv::Size(1600, 1200));
    Access::SetTurn(*m_grabber, -1, false, false);
    EXPECT_EQ(m_grabber->GetImageSize(), cv::Size(1200, 1600));
    Deliver(1, {30, 20}, CV_16UC3);
    EXPECT_EQ(m_grabber->GetImageSize(), cv::Size(20, 30));
    EXPECT_EQ(m_grabber->GetImageType(), CV_16UC3);
}

TEST_F(FrameGrabber, KeepsItsOwnCopyOfTheSettings)
{
    CProfileSection settings;
    settings.SetItemValue(L"Key", L"1");
    m_grabber->InitFrameGrabber(settings, m_message);
    settings.SetItemValue(L"Key", L"2");
    EXPECT_STREQ(m_grabber->GetSettings().GetItemValue(L"Key", L""), L"1");
}

} // namespace
} // namespace alidade
