// Several clients and a driver at once; the thread sanitizer watches.

#include "tests/support/FrameGrabberTestAccess.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace alidade {
namespace {

using Access = CFrameGrabberTestAccess;

/// Delivers frames without pause, each with its number in all of its pixels' first row and last row.
class CNumberDriver : public CHandDriver {
public:
    ~CNumberDriver() override { CNumberDriver::CloseFrameGrabber(); }
    int InitFrameGrabber(const CProfileSection&, CString&) override
    {
        CloseFrameGrabber();
        m_stop = false;
        m_thread = std::thread([this] {
            cv::Mat frame(48, 64, CV_8UC1);
            for (int number = 1; !m_stop; ++number) {
                if (m_capture) {
                    frame.setTo(number % 250 + 1);
                    Deliver(frame);
                } else {
                    std::this_thread::yield();
                }
            }
        });
        return 1;
    }
    int CloseFrameGrabber() override
    {
        m_stop = true;
        if (m_thread.joinable()) {
            m_thread.join();
        }
        return 1;
    }
    int StartCapture() override { return m_capture = true, 1; }
    int StopCapture() override { return m_capture = false, 1; }

private:
    std::thread m_thread;
    std::atomic<bool> m_stop{false};
    std::atomic<bool> m_capture{false};
};

bool IsWhole(const cv::Mat& image)
{
    double least = 0.0;
    double most = 0.0;
    cv::minMaxLoc(image, &least, &most);
    return least == most;
}

TEST(Threads, ClientsFreezingClosingAndReopeningWhileFramesFlow)
{
    constexpr int kRounds = 150;
    const auto grabber = Access::Make(new CNumberDriver);
    CString message;
    grabber->InitFrameGrabber(CProfileSection(), message);
    grabber->StartCapture();
    std::atomic<int> torn{0};
    std::vector<std::thread> clients;
    const auto client = [&](auto operation) {
        clients.emplace_back([&torn, operation] {
            cv::Mat image;
            for (int i = 0; i < kRounds; ++i) {
                if (operation(image, i) && !image.empty() && !IsWhole(image)) {
                    ++torn;
                }
            }
        });
    };
    client([&](cv::Mat& image, int) { return grabber->GetImage(image, true, 20); });
    client([&](cv::Mat& image, int) { return grabber->GetNewImage(image, 20); });
    client([&](cv::Mat& image, int) {
        CFrameGrabberImageLock lock(grabber.Get());
        image = lock.GetImage().clone();
        return 1;
    });
    client([&](cv::Mat& image, int i) {
        cv::Mat picture(4, 4, CV_8UC1, cv::Scalar(i));
        i % 3 == 0   ? grabber->SetLive(0)
        : i % 3 == 1 ? grabber->SetStaticImage(picture)
                     : grabber->SetLive(1);
        grabber->SetClipRect(cv::Rect(i % 20, i % 20, 20, 20), i % 2);
        return grabber->GetImage(image, false, 0);
    });
    client([&](cv::Mat&, int i) {
        TRefPointer<CFrameGrabber::T_IMAGE_BUFFER, int, int> buffer;
        i % 10 == 0 ? grabber->StartSerialGrab(3) : grabber->PopImageBuffer(buffer);
        if (buffer && !IsWhole(buffer->image)) {
            ++torn;
        }
        grabber->ReturnImageBuffer(buffer);
        return 0;
    });
    client([&](cv::Mat&, int i) {
        CString text;
        if (i % 15 == 0) {
            grabber->StopCapture();
            grabber->CloseFrameGrabber();
            grabber->InitFrameGrabber(CProfileSection(), text);
            grabber->StartCapture();
        }
        grabber->IsFreezed();
        grabber->GetImageSize();
        return static_cast<int>(grabber->GetFrameCounter().dFrameRate < -1e9);
    });
    for (std::thread& thread : clients) {
        thread.join();
    }
    EXPECT_EQ(torn, 0);
    EXPECT_EQ(Access::CountWaiting(*grabber), 0);
}

TEST(Threads, OneClientTakesEveryFrameOfAFlood)
{
    const auto grabber = Access::Make(new CNumberDriver);
    CString message;
    grabber->InitFrameGrabber(CProfileSection(), message);
    grabber->StartCapture();
    cv::Mat image;
    for (int i = 0; i < 500; ++i) {
        ASSERT_EQ(grabber->GetNewImage(image, 5000), 1);
        ASSERT_TRUE(IsWhole(image));
    }
}

TEST(Threads, GrabbersAreMadeAndDroppedWhileTheListIsRead)
{
    CFrameGrabber::LoadFrameGrabberDll(L"", nullptr);
    std::vector<std::thread> threads;
    std::atomic<int> missing{0};
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&missing] {
            CProfileSection settings;
            settings.SetItemValue(L"Dummy.resolution", L"64x48");
            settings.SetItemValue(L"Dummy.FrameRate", L"1000");
            for (int i = 0; i < 10; ++i) {
                CString message;
                const auto grabber = CFrameGrabber::GetFrameGrabber(L"Dummy", settings, message);
                grabber->StartCapture();
                cv::Mat image;
                missing += !grabber->GetNewImage(image, 5000);
                TList<CString, int, int> names;
                CFrameGrabber::GetFrameGrabberList(names);
                TList<CMFCPropertyGridProperty, int, int> properties;
                CFrameGrabber::GetFrameGrabberProperties(L"Dummy", properties);
                missing += names.Count() == 0 || properties.Count() != 4;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(missing, 0);
    CFrameGrabber::UnloadFrameGrabberDll();
}

} // namespace
} // namespace alidade
