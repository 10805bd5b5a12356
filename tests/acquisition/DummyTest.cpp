#include "acquisition/FrameGrabberDummy.h"

#include "foundation/platform/Event.h"
#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>
#include <thread>

namespace alidade {
namespace {

/// Runs the camera and collects its frames one by one.
class CDummyRun {
public:
    explicit CDummyRun(std::initializer_list<std::pair<const wchar_t*, const wchar_t*>> settings)
    {
        m_driver.SetNewImageCallback(OnImage, this);
        Init(settings);
    }
    void Init(std::initializer_list<std::pair<const wchar_t*, const wchar_t*>> settings)
    {
        CProfileSection section;
        section.SetItemValue(L"Dummy.FrameRate", L"500");
        for (const auto& [key, value] : settings) {
            section.SetItemValue(key, value);
        }
        EXPECT_EQ(m_driver.InitFrameGrabber(section, m_message), 1);
    }

    /// The next frame; empty also when none came in time.
    cv::Mat Next()
    {
        m_go.SetEvent();
        EXPECT_TRUE(m_arrived.Wait(10000));
        return m_frame;
    }
    std::vector<cv::Mat> Frames(int count)
    {
        m_driver.StartCapture();
        std::vector<cv::Mat> frames;
        for (int i = 0; i < count; ++i) {
            frames.push_back(Next().clone());
        }
        m_driver.StopCapture();
        return frames;
    }

    ~CDummyRun()
    {
        m_stopped = true;
        m_go.SetEvent();
        m_driver.CloseFrameGrabber();
    }

    CFrameGrabberDummy m_driver;
    CString m_message;

private:
    static int OnImage(void* argument)
    {
        // Holding the driver here lets a test see every frame.
        auto* run = static_cast<CDummyRun*>(argument);
        if (!run->m_stopped && run->m_go.Wait(10000)) {
            run->m_frame = run->m_driver.m_image.clone();
            run->m_arrived.SetEvent();
        }
        return 1;
    }

    CEvent m_go, m_arrived;
    cv::Mat m_frame;
    std::atomic<bool> m_stopped{false};
};

TEST(Dummy, SizeAndTypeFollowTheSettings)
{
    struct {
        const wchar_t* resolution;
        const wchar_t* color;
        cv::Size configured, delivered;
        int type;
    } const cases[] = {
        {L"320x240", L"True", {320, 240}, {320, 240}, CV_8UC3},
        {L"800,600", L"false", {800, 600}, {800, 600}, CV_8UC1},
        {L"1022x50", L"1", {1022, 50}, {1024, 50}, CV_8UC3},
        {L"large", L"1", {0, 0}, {0, 0}, 0},
        {L"640", L"1", {640, 0}, {0, 0}, 0},
        {L"", L"1", {0, 0}, {0, 0}, 0},
        {L"-5x100", L"1", {0, 5}, {0, 0}, 0},
        {L"1000000000x1000000000", L"1", {0, 0}, {0, 0}, 0},
        {L"60000x60000", L"1", {60000, 60000}, {0, 0}, 0},
        {L"99999999999999999999999x7", L"1", {0, 7}, {0, 0}, 0},
    };
    for (const auto& c : cases) {
        CDummyRun run({{L"Dummy.resolution", c.resolution}, {L"Dummy.Color", c.color}});
        EXPECT_EQ(run.m_message, L"Dummy Frame Grabber is Created");
        EXPECT_EQ(run.m_driver.m_imageSize, c.configured);
        const cv::Mat frame = run.Frames(1)[0];
        EXPECT_EQ(frame.size(), c.delivered);
        if (!frame.empty()) {
            EXPECT_EQ(frame.type(), c.type);
        }
    }
}

TEST(Dummy, BandsScrollUpByAThirdOfTheImageASecond)
{
    CDummyRun run({{L"Dummy.resolution", L"204x300"}, {L"Dummy.FrameRate", L"100"}});
    const auto frames = run.Frames(4);
    for (int frame = 0; frame < 4; ++frame) {
        const int offset = frame; // a third is 100 rows, 10 ms a frame: one row a frame
        for (int i = 0; i < 100; ++i) {
            const auto value = static_cast<uchar>(i * 255 / 100 % 255);
            EXPECT_EQ(frames[frame].at<cv::Vec3b>((i + offset) % 300, 203), cv::Vec3b(value, 0, 0));
            EXPECT_EQ(frames[frame].at<cv::Vec3b>((100 + i + offset) % 300, 203), cv::Vec3b(0, value, 0));
            EXPECT_EQ(frames[frame].at<cv::Vec3b>((200 + i + offset) % 300, 203), cv::Vec3b(0, 0, value));
        }
    }
}

TEST(Dummy, ModesPaintTheirPatterns)
{
    const auto grey = [](const wchar_t* type) {
        CDummyRun run({{L"Dummy.resolution", L"300x210"}, {L"Dummy.Color", L"0"}, {L"Dummy.Type", type}});
        return run.Frames(1)[0];
    };
    for (const wchar_t* type : {L"0", L"3", L"-1", L"0. Scroll UP"}) {
        const cv::Mat frame = grey(type);
        EXPECT_EQ(frame.at<uchar>(205, 299), 205);
    }
    for (const wchar_t* type : {L"1", L"1. Scroll Left"}) {
        const cv::Mat frame = grey(type); // a ramp in the first third, black behind it
        EXPECT_EQ(frame.at<uchar>(209, 60), 60 * 255 / 100);
        EXPECT_EQ(frame.at<uchar>(209, 150), 0);
        EXPECT_EQ(frame.at<uchar>(209, 299), 0);
    }
    EXPECT_EQ(cv::countNonZero(grey(L"2")(cv::Rect(110, 0, 190, 210))), 0);
}

TEST(Dummy, ScrollLeftMovesColourBands)
{
    CDummyRun run({{L"Dummy.resolution", L"300x210"}, {L"Dummy.Type", L"1"}, {L"Dummy.FrameRate", L"100"}});
    const auto frames = run.Frames(2);
    for (int frame = 0; frame < 2; ++frame) {
        const int x = 70 + frame;
        EXPECT_EQ(frames[frame].at<cv::Vec3b>(209, x), cv::Vec3b(70 * 255 / 100, 0, 0));
        EXPECT_EQ(frames[frame].at<cv::Vec3b>(209, x + 100), cv::Vec3b(0, 70 * 255 / 100, 0));
        EXPECT_EQ(frames[frame].at<cv::Vec3b>(209, x + 200), cv::Vec3b(0, 0, 70 * 255 / 100));
    }
}

TEST(Dummy, BrightnessRisesFallsAndJumps)
{
    CDummyRun run({{L"Dummy.resolution", L"204x4"}, {L"Dummy.Type", L"2"}, {L"Dummy.FrameRate", L"0"}});
    const auto frames = run.Frames(260);
    struct {
        int frame, level;
    } const cases[] = {{0, 0}, {109, 109}, {110, 109}, {209, 10}, {210, 210}, {255, 255}, {256, 0}, {259, 3}};
    for (const auto& c : cases) {
        EXPECT_EQ(frames[static_cast<std::size_t>(c.frame)].at<cv::Vec3b>(3, 203),
                  cv::Vec3b::all(static_cast<uchar>(c.level)))
            << c.frame;
    }
}

TEST(Dummy, MarkerPointsUpInTheTopLeftCorner)
{
    CDummyRun run({{L"Dummy.resolution", L"320x240"}});
    const cv::Mat frame = run.Frames(1)[0];
    for (const cv::Point white :
         {cv::Point(50, 0), cv::Point(50, 200), cv::Point(100, 50), cv::Point(0, 50), cv::Point(25, 25)}) {
        EXPECT_EQ(frame.at<cv::Vec3b>(white), cv::Vec3b::all(255)) << white;
    }
    EXPECT_NE(frame.at<cv::Vec3b>(75, 25), cv::Vec3b::all(255));
}

TEST(Dummy, PauseStopsTheTickAndContinuesThePattern)
{
    /// Stops capture with each frame, so that none comes unasked however the clock runs on.
    struct CPausing {
        CFrameGrabberDummy driver;
        std::atomic<int> frames{0};
        cv::Vec3b pixel;
        static int OnImage(void* argument)
        {
            auto* run = static_cast<CPausing*>(argument);
            run->driver.StopCapture();
            run->pixel = run->driver.m_image.at<cv::Vec3b>(60, 203);
            ++run->frames;
            return 1;
        }
    } run;
    CManualTicks ticks;
    run.driver.SetNewImageCallback(CPausing::OnImage, &run);
    CProfileSection settings;
    settings.SetItemValue(L"Dummy.resolution", L"204x300");
    settings.SetItemValue(L"Dummy.FrameRate", L"10");
    CString message;
    run.driver.InitFrameGrabber(settings, message);
    EXPECT_EQ(run.driver.m_dwLastGrab, 0u);
    DWORD tick = 0;
    for (int frame = 0; frame < 3; ++frame) {
        for (int i = 0; i < 20; ++i) {
            ticks.Advance(100);
            std::this_thread::yield();
        }
        EXPECT_EQ(run.frames, frame);
        EXPECT_EQ(run.driver.m_dwLastGrab, tick);
        run.driver.StartCapture();
        ASSERT_TRUE(WaitUntil([&] {
            ticks.Advance(100);
            return run.frames > frame;
        }));
        tick = run.driver.m_dwLastGrab;
        // Bands of 100 rows that move by 10 from frame to frame.
        EXPECT_EQ(run.pixel, cv::Vec3b(static_cast<uchar>((60 - 10 * frame) * 255 / 100), 0, 0)) << frame;
    }
    run.driver.CloseFrameGrabber();
}

TEST(Dummy, CanBeOpenedAgainClosedTwiceAndStartedClosed)
{
    CDummyRun run({{L"Dummy.resolution", L"320x240"}});
    run.Frames(1);
    run.Init({{L"Dummy.resolution", L"160x120"}});
    EXPECT_EQ(run.Frames(1)[0].size(), cv::Size(160, 120));
    EXPECT_EQ(run.m_driver.CloseFrameGrabber(), 1);
    EXPECT_EQ(run.m_driver.CloseFrameGrabber(), 1);
    EXPECT_EQ(run.m_driver.StartCapture(), 1);
}

TEST(Dummy, ClosesAtOnceHoweverSlowTheCamera)
{
    CFrameGrabberDummy driver;
    CProfileSection settings;
    settings.SetItemValue(L"Dummy.FrameRate", L"0.0001"); // one frame in almost three hours
    CString message;
    driver.InitFrameGrabber(settings, message);
    driver.StartCapture();
    EXPECT_EQ(driver.CloseFrameGrabber(), 1);
}

} // namespace
} // namespace alidade
