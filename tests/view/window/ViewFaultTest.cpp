#include "tests/view/window/ViewHarness.h"
#include "tests/view/window/ViewMenu.h"

#include <QDialog>
#include <future>

namespace alidade {
namespace {

using namespace std::chrono_literals;

class ViewFault : public ::testing::Test {
protected:
    CVision m_vision;
};

TEST_F(ViewFault, FramesChangeSizeAndTypeInTheMiddleOfTheStream)
{
    CViewUnderTest view;
    auto& camera = view.Attach(new CHandDriver);
    // Half of a deep frame is its least value and half its largest; the middle lies in the latter.
    const auto deep = [](cv::Size size, int type, double low, double high) {
        cv::Mat frame(size, type, cv::Scalar::all(low));
        frame.colRange(size.width / 4, size.width * 3 / 4).setTo(cv::Scalar::all(high));
        return frame;
    };
    const struct {
        const char* name;
        cv::Mat frame;
        QColor middle;
    } rows[] = {
        {"grey", Uniform({640, 480}, CV_8UC1, 90), {90, 90, 90}},
        {"larger, colour", Uniform({2001, 1333}, CV_8UC3, {10, 20, 30}), {30, 20, 10}},
        {"tiny", Uniform({2, 2}, CV_8UC1, 70), {70, 70, 70}},
        {"one pixel", Uniform({1, 1}, CV_8UC1, 71), {71, 71, 71}},
        {"one row", Uniform({3000, 1}, CV_8UC1, 72), {72, 72, 72}},
        {"four channels", Uniform({333, 222}, CV_8UC4, {40, 50, 60, 0}), {60, 50, 40}},
        {"16 bits", deep({640, 480}, CV_16UC1, 100, 4000), {255, 255, 255}},
        {"floating", deep({64, 480}, CV_32FC1, -1.0, 1.0), {255, 255, 255}},
        {"grey again", Uniform({640, 480}, CV_8UC1, 91), {91, 91, 91}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_TRUE(view.Show(camera, row.frame, row.middle)) << view.ColourAt(0.5, 0.5).name().toStdString();
    }
    // Nothing to show: the picture stays, and what comes after it is seen.
    for (const cv::Mat& frame : {cv::Mat(), Uniform({64, 48}, CV_8UC2, 5), Uniform({64, 48}, CV_32SC1, 5)}) {
        const DWORD start = GetTickCount();
        EXPECT_TRUE(ServeUntil([&] {
            camera.Deliver(frame);
            return GetTickCount() - start > 100;
        }));
        EXPECT_EQ(view.ColourAt(0.5, 0.5), QColor(91, 91, 91));
    }
    EXPECT_TRUE(view.ShowGrey(camera, 33));
}

TEST_F(ViewFault, AWindowWithoutRoomShowsNothingAndComesBack)
{
    CViewUnderTest view;
    auto& camera = view.Attach(new CStreamDriver({Uniform({640, 480}, CV_8UC3, {10, 20, 30})}, 5ms));
    ASSERT_TRUE(view.WaitForMiddle({30, 20, 10}));
    for (const QSize size : {QSize(1, 1), QSize(0, 0), QSize(5, 300), QSize(300, 5), QSize(99, 60)}) {
        view.Resize(size);
        const std::uint64_t delivered = camera.CountDelivered();
        EXPECT_TRUE(ServeUntil([&] { return camera.CountDelivered() > delivered + 20; }));
        view->grab();
        view->UpdateStatus();
    }
    view.Resize({800, 600});
    EXPECT_TRUE(view.WaitForMiddle({30, 20, 10}));
}

TEST_F(ViewFault, AViewThatCannotBeSeenFetchesNothing)
{
    CViewUnderTest view({640, 480}, CViewUnderTest::NOT_SHOWN);
    auto& camera = view.Attach(new CHandDriver);
    const cv::Mat frame = Uniform({640, 480}, CV_8UC1, 40);
    const auto counts = [&] { return view->GetDisplay()->GetCounts(); };
    const auto deliverUnseen = [&](int number) {
        for (int i = 0; i < number; ++i) {
            const std::uint64_t skipped = counts().skipped;
            camera.Deliver(frame);
            ASSERT_TRUE(ServeUntil([&] { return counts().skipped > skipped; }));
        }
    };
    const auto isShownAgain = [&](std::uint64_t before) {
        return ServeUntil([&] {
            camera.Deliver(frame);
            return counts().shown > before;
        });
    };
    ASSERT_NO_FATAL_FAILURE(deliverUnseen(20));
    EXPECT_EQ(counts().shown, 0u) << "never shown";
    view.m_window.show();
    ASSERT_TRUE(isShownAgain(0));
    for (const bool minimised : {false, true}) {
        SCOPED_TRACE(minimised ? "minimised" : "hidden");
        if (minimised) {
            view.m_window.showMinimized();
            ServeTimers(); // the view looks for it by one
        } else {
            view.m_window.hide();
        }
        ASSERT_NO_FATAL_FAILURE(deliverUnseen(2)); // a round that had begun has come to its end
        const std::uint64_t before = counts().shown;
        ASSERT_NO_FATAL_FAILURE(deliverUnseen(20));
        EXPECT_EQ(counts().shown, before);
        view.m_window.showNormal();
        EXPECT_TRUE(isShownAgain(before));
    }
}

TEST_F(ViewFault, GoesInTheMiddleOfAFloodAndOfARound)
{
    for (int round = 0; round < 20; ++round) {
        bool gone = false;
        auto view = std::make_unique<CViewUnderTest>(QSize(200, 150));
        auto& camera = view->Attach(new CStreamDriver({Uniform({320, 240}, CV_8UC3, 1)}, 0ms));
        camera.m_pDestroyed = &gone;
        ASSERT_TRUE(ServeUntil([&] { return view->m_view->GetDisplay()->GetFrame().number > 0; }));
        view.reset();
        EXPECT_TRUE(gone);
    }
}

/// A camera whose frames have stopped holds nobody up who wants to leave it.
TEST_F(ViewFault, ALostCameraIsLeftAtOnce)
{
    CManualTicks ticks;
    CViewUnderTest view;
    auto& camera = view.Attach(new CHandDriver);
    for (int frame = 0; frame < 2; ++frame) {
        ticks.Advance(100);
        camera.Deliver(Uniform({320, 240}, CV_8UC1, 1));
    }
    ASSERT_TRUE(ServeUntil(
        [&] { return view->GetDisplay()->GetFrame().number > 0 && view.FrameRate() == L"calc..."; }));
    ticks.Advance(10000);
    view.Resize({300, 200}); // asks for the picture at the new size: the display thread waits for the camera
    ASSERT_TRUE(ServeUntil([&] { return view.FrameRate() == L"Freezed"; }));
    // No time passes by the clock that it waits by.
    std::promise<void> left;
    auto isInTime = std::async(std::launch::async, [&ticks, leaving = left.get_future()] {
        const bool isReady = leaving.wait_for(20s) == std::future_status::ready;
        while (leaving.wait_for(0s) != std::future_status::ready) {
            ticks.Advance(100);
        }
        return isReady;
    });
    view.Detach();
    left.set_value();
    EXPECT_TRUE(isInTime.get());
}

TEST_F(ViewFault, GoesWhileItsStageDialogIsOpen)
{
    auto view = std::make_unique<CViewUnderTest>();
    view->Attach(new CHandDriver);
    bool gone = false;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        if (QApplication::activeModalWidget() != nullptr) {
            poll.stop();
            view.reset();
            gone = true;
        }
    });
    poll.start(1);
    QTimer rescue; // of a dialog that stayed
    QObject::connect(&rescue, &QTimer::timeout, [] { QApplication::closeAllWindows(); });
    rescue.start(60000);
    TriggerMenuItem(*view, "Stage Setting");
    EXPECT_TRUE(ServeUntil([&] { return gone; }));
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
}

TEST_F(ViewFault, GoesWhileItAsksForThePassword)
{
    auto view = std::make_unique<CViewUnderTest>();
    m_vision.m_profile.GetSection(L"CameraSettings")
        .GetSubSection(L"Cam1")
        .SetItemValue(L"UILockPassword", L"secret");
    view->Attach(new CHandDriver, "Cam1");
    bool gone = false;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        if (QApplication::activeModalWidget() != nullptr) {
            poll.stop();
            view.reset();
            gone = true;
        }
    });
    poll.start(1);
    EXPECT_EQ((*view)->CheckUILock(), 0);
    EXPECT_TRUE(gone);
}

} // namespace
} // namespace alidade
