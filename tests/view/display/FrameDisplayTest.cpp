#include "view/display/FrameDisplay.h"

#include "tests/support/FrameGrabberTestAccess.h"
#include "tests/support/WaitUntil.h"
#include "view/transforms/ViewTransforms.h"

#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

namespace alidade {
namespace {

using Access = CFrameGrabberTestAccess;
using namespace std::chrono_literals;

class FrameDisplay : public testing::Test {
protected:
    FrameDisplay()
    {
        m_grabber->InitFrameGrabber(CProfileSection(), m_message);
        m_grabber->SetGrabTimeout(INFINITE); // however far the clock is moved while the display thread sleeps
        m_display.SetArea({320, 240});
        m_ticks.Advance(1000);
    }

    void Deliver(int value, cv::Size size = {640, 480}, int type = CV_8UC1)
    {
        cv::Mat frame(size, type);
        if (!frame.empty()) {
            frame.reshape(1).setTo(value);
        }
        m_driver->Deliver(frame);
    }
    void SetStatic(int value)
    {
        cv::Mat image(480, 640, CV_8UC1, cv::Scalar::all(value));
        m_grabber->SetStaticImage(image);
    }
    bool WaitForShown(std::uint64_t count)
    {
        return WaitUntil([&] { return m_display.GetCounts().shown >= count; });
    }
    /// Lets time pass until so many were shown. The thread works out how long to wait, then waits: the clock
    /// may be moved in between, so no fixed step is certain to be enough.
    bool PassUntilShown(std::uint64_t count)
    {
        return WaitUntil([&] {
            m_ticks.Advance(1);
            return m_display.GetCounts().shown >= count;
        });
    }
    /// The value that the newest picture has all over; -1 without one.
    int GetShownValue() const
    {
        const cv::Mat picture = m_display.GetFrame().picture;
        return picture.empty() ? -1 : picture.at<uchar>(picture.rows / 2, picture.cols / 2);
    }
    /// How often the image lock was asked for,
    std::uint32_t CountRequests() const { return m_driver->m_imageLock.CountRequests(); }
    /// and how often a frame asks for it that nobody fetches.
    std::uint32_t CountRequestsOfAFrame()
    {
        Deliver(1);
        const std::uint32_t start = CountRequests();
        Deliver(1);
        return CountRequests() - start;
    }
    /// A frame after the least interval, shown.
    void Show(int value)
    {
        const std::uint64_t shown = m_display.GetCounts().shown;
        m_ticks.Advance(33);
        Deliver(value);
        ASSERT_TRUE(WaitForShown(shown + 1));
    }

    CManualTicks m_ticks;
    CHandDriver* m_driver = new CHandDriver;
    TRefPointer<CFrameGrabber> m_grabber = Access::Make(m_driver);
    CString m_message;
    T_ZOOM_STATE m_zoom;
    CViewTransforms m_transforms;
    std::vector<DWORD> m_repaints; // when they were asked for; of the display thread
    CFrameDisplay m_display{m_zoom, m_transforms, [this] { m_repaints.push_back(GetTickCount()); }};
};

TEST_F(FrameDisplay, HandsOverTheFrameScaledToTheArea)
{
    EXPECT_EQ(m_display.GetFrame().number, 0U);
    ASSERT_EQ(m_display.Start(m_grabber), 1);
    const std::int64_t before = GetTickNanoseconds();
    Show(7);
    const T_DISPLAY_FRAME frame = m_display.GetFrame();
    EXPECT_EQ(frame.number, 1U);
    EXPECT_EQ(frame.picture.size(), cv::Size(320, 240));
    EXPECT_EQ(frame.picture.type(), CV_8UC1);
    EXPECT_EQ(frame.image, cv::Size(640, 480));
    EXPECT_EQ(frame.geometry.source, cv::Rect(0, 0, 640, 480));
    EXPECT_GT(frame.fetched, before);
    EXPECT_EQ(GetShownValue(), 7);
    m_display.Stop();
    EXPECT_EQ(m_repaints.size(), 1U);
}

TEST_F(FrameDisplay, ShowsThePartThatZoomAndPanSay)
{
    T_VIEW_GEOMETRY geometry;
    geometry.hasPicture = true;
    geometry.client = {0, 0, 320, 240};
    geometry.imageWidth = 640;
    geometry.imageHeight = 480;
    geometry.sourceWidth = 160;
    geometry.sourceHeight = 120;
    geometry.zoomMode = ZOOM_FACTOR;
    geometry.zoom = 2.0;
    m_transforms.Update(geometry);
    m_transforms.SetScreenFromImageShift({200, 100});
    m_zoom.mode = ZOOM_FACTOR;
    m_zoom.factor = 2.0;
    m_display.Start(m_grabber);
    Show(7);
    EXPECT_EQ(m_display.GetFrame().geometry.source, cv::Rect(120, 40, 160, 120));
    EXPECT_EQ(m_display.GetFrame().picture.size(), cv::Size(320, 240));
}

TEST_F(FrameDisplay, TakesAFrameAtMostEvery33MillisecondsAndThenTheNewest)
{
    m_display.Start(m_grabber);
    Show(1);
    for (int i = 2; i < 6; ++i) {
        m_ticks.Advance(8);
        Deliver(i);
        const auto skipped = static_cast<std::uint64_t>(i - 2);
        ASSERT_TRUE(WaitUntil([&] {
            const CFrameDisplay::T_COUNTS counts = m_display.GetCounts();
            return counts.deferred == 1 && counts.skipped == skipped;
        }));
    }
    EXPECT_EQ(m_display.GetCounts().shown, 1U);
    ASSERT_TRUE(PassUntilShown(2)); // the newest one's time has come, without a further frame
    EXPECT_EQ(m_display.GetCounts().replaced, 1U) << "nobody took the first";
    EXPECT_EQ(GetShownValue(), 5);
    Show(6);
    EXPECT_EQ(m_display.GetCounts().replaced, 1U);
    EXPECT_EQ(m_display.GetFrame().number, 3U);
}

TEST_F(FrameDisplay, ARedrawWithinTheIntervalWaitsForItsEnd)
{
    m_display.Start(m_grabber);
    Show(1);
    {
        CFrameGrabberImageLock lock(m_grabber.Get());
        lock.GetImage().setTo(2); // as a picture that was changed, without a new frame
    }
    m_display.SetArea({160, 120});
    m_ticks.Advance(32);
    Deliver(3); // seen after the redraw or together with it
    ASSERT_TRUE(WaitUntil([&] {
        const CFrameDisplay::T_COUNTS counts = m_display.GetCounts();
        return counts.skipped + counts.deferred == 1;
    }));
    EXPECT_EQ(m_display.GetCounts().shown, 1U);
    ASSERT_TRUE(PassUntilShown(2));
    EXPECT_EQ(m_display.GetFrame().picture.size(), cv::Size(160, 120));
    EXPECT_EQ(GetShownValue(), 3);
}

TEST_F(FrameDisplay, AHiddenViewOrAnEmptyAreaCostsNothing)
{
    const std::uint32_t each = CountRequestsOfAFrame();
    m_display.Start(m_grabber);
    std::uint64_t skipped = 0;
    for (const bool isHidden : {true, false}) {
        m_display.SetVisible(!isHidden);
        m_display.SetArea(isHidden ? cv::Size(320, 240) : cv::Size(320, 0));
        const std::uint64_t shown = m_display.GetCounts().shown;
        const std::uint32_t before = CountRequests();
        for (int i = 0; i < 5; ++i) {
            m_ticks.Advance(40);
            Deliver(20 + i);
            ++skipped;
            ASSERT_TRUE(WaitUntil([&] { return m_display.GetCounts().skipped == skipped; }));
        }
        EXPECT_EQ(CountRequests() - before, 5 * each) << "nothing was fetched";
        EXPECT_EQ(m_display.GetCounts().shown, shown);
        // It has its frame without waiting for the next.
        m_display.SetVisible(true);
        m_display.SetArea({320, 240});
        ASSERT_TRUE(WaitForShown(shown + 1));
        EXPECT_EQ(GetShownValue(), 24);
    }
}

TEST_F(FrameDisplay, GoesOnWhenFramesChangeTheirKindOrCannotBeShown)
{
    const struct {
        const char* what;
        cv::Size size;
        int type;
        bool isShown;
    } cases[] = {
        {"colour", {640, 480}, CV_8UC3, true},
        {"smaller", {10, 8}, CV_8UC3, true},
        {"two channels", {640, 480}, CV_8UC2, false},
        {"deep", {640, 480}, CV_16UC1, true},
        {"empty", {0, 0}, CV_8UC1, false},
        {"one pixel", {1, 1}, CV_8UC1, true},
        {"five channels", {640, 480}, CV_8UC(5), false},
        {"large, with alpha", {3000, 2000}, CV_8UC4, true},
        {"whole numbers", {64, 48}, CV_32SC1, false},
        {"floating", {64, 48}, CV_32FC3, true},
    };
    m_zoom.mode = ZOOM_FACTOR;
    m_zoom.factor = 1.5; // cuts larger frames, so a stale rectangle would leave the smaller ones
    const std::uint32_t each = CountRequestsOfAFrame();
    m_display.Start(m_grabber);
    std::uint64_t shown = 0, refused = 0;
    for (const auto& c : cases) {
        const std::uint32_t before = CountRequests();
        m_ticks.Advance(40);
        Deliver(5, c.size, c.type);
        if (c.isShown) {
            ASSERT_TRUE(WaitForShown(++shown)) << c.what;
            EXPECT_EQ(m_display.GetFrame().image, c.size) << c.what;
        } else if (c.size.width != 0) {
            ++refused;
            ASSERT_TRUE(WaitUntil([&] { return m_display.GetCounts().refused == refused; })) << c.what;
        } else {
            ASSERT_TRUE(WaitUntil([&] { return CountRequests() - before > each; })) << "never fetched";
        }
        EXPECT_EQ(m_display.GetCounts().shown, shown) << c.what;
    }
}

TEST_F(FrameDisplay, WaitsForACameraThatHasStoppedButNotWithItsOwnEnd)
{
    m_grabber->SetGrabTimeout(500);
    m_display.Start(m_grabber);
    Show(1);
    m_ticks.Advance(10000);
    m_display.Redraw(); // the latest frame is too old to be fetched
    Deliver(2);
    ASSERT_TRUE(WaitForShown(2));
    EXPECT_EQ(GetShownValue(), 2);

    // It gives up, and shows the next frame all the same.
    m_ticks.Advance(10000);
    m_display.Redraw();
    for (int i = 0; i < 100; ++i) {
        m_ticks.Advance(100);
        std::this_thread::yield();
    }
    Deliver(3);
    ASSERT_TRUE(WaitForShown(3));

    m_ticks.Advance(10000);
    m_display.Redraw();
    auto stopped = std::async(std::launch::async, [&] { return m_display.Stop(); });
    // No time passes by the clock that the wait goes by.
    EXPECT_EQ(stopped.wait_for(20s), std::future_status::ready);
    for (int i = 0; stopped.wait_for(0s) != std::future_status::ready; ++i) {
        m_ticks.Advance(100);
    }
    EXPECT_EQ(GetShownValue(), 3) << "the last frame stays";
}

TEST_F(FrameDisplay, AFreezeRightAfterAFrameIsNotLost)
{
    m_display.Start(m_grabber);
    Show(1);
    SetStatic(9); // its only event comes within the interval
    ASSERT_TRUE(PassUntilShown(2));
    EXPECT_EQ(GetShownValue(), 9);
    // It is fetched again without an event, five times a second, and when the view is shown again.
    ASSERT_TRUE(PassUntilShown(5));
    m_display.SetVisible(false);
    SetStatic(10);
    m_display.SetVisible(true);
    EXPECT_TRUE(WaitUntil([&] { return m_ticks.Advance(1), GetShownValue() == 10; }));
    m_display.Stop();
    for (std::size_t i = 2; i < 5; ++i) {
        EXPECT_GE(m_repaints[i] - m_repaints[i - 1], 200U) << i;
    }
}

TEST_F(FrameDisplay, IsStartedAndStoppedAnyNumberOfTimes)
{
    EXPECT_EQ(m_display.Start(TRefPointer<CFrameGrabber>()), 0);
    EXPECT_EQ(m_display.Stop(), 1);
    EXPECT_EQ(m_display.Start(m_grabber), 1);
    EXPECT_EQ(m_display.Start(m_grabber), 0);
    EXPECT_EQ(Access::CountWaiting(*m_grabber), 1);
    Show(1);
    EXPECT_EQ(m_display.Stop(), 1);
    EXPECT_FALSE(m_display.IsRunning());
    EXPECT_EQ(Access::CountWaiting(*m_grabber), 0);

    // Another camera, frozen before the start: it is shown unasked, and its frame is told from the old one.
    auto* const driver = new CHandDriver;
    bool isDestroyed = false;
    driver->m_pDestroyed = &isDestroyed;
    TRefPointer<CFrameGrabber> other = Access::Make(driver);
    cv::Mat image(48, 64, CV_8UC1, cv::Scalar(77));
    other->SetStaticImage(image);
    ASSERT_EQ(m_display.Start(other), 1);
    ASSERT_TRUE(PassUntilShown(2));
    EXPECT_EQ(GetShownValue(), 77);
    other.Release();
    m_display.Stop();
    EXPECT_TRUE(isDestroyed) << "the grabber is forgotten";
    EXPECT_EQ(m_display.GetFrame().number, m_display.GetCounts().shown);
}

TEST_F(FrameDisplay, MeasuresFocusOnlyWhenAsked)
{
    cv::Mat board(480, 640, CV_8UC1, cv::Scalar(0));
    for (int x = 0; x < 640; x += 4) {
        board.colRange(x, x + 2).setTo(200);
    }
    m_display.Start(m_grabber);
    Show(1);
    EXPECT_EQ(m_display.GetFocus(), 0.0);
    m_display.SetFocusMeasured(true);
    m_ticks.Advance(33);
    m_driver->Deliver(board);
    ASSERT_TRUE(WaitForShown(2));
    EXPECT_DOUBLE_EQ(m_display.GetFocus(), MeasureFocus(m_display.GetFrame().picture));
    EXPECT_GT(m_display.GetFocus(), 50.0);
    m_display.SetFocusMeasured(false);
    EXPECT_EQ(m_display.GetFocus(), 0.0);
}

} // namespace
} // namespace alidade
