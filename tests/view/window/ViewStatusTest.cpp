#include "tests/stage/StageHarness.h"
#include "tests/view/window/ViewHarness.h"
#include "tests/view/window/ViewMenu.h"

#include <QAbstractButton>
#include <QCursor>

namespace alidade {
namespace {

constexpr QColor kRed(255, 0, 0);
constexpr QColor kYellow(255, 255, 0);

class ViewStatus : public ::testing::Test {
protected:
    void SetStage(const StageValues& changes = {})
    {
        CProfileSection& stage = m_vision.m_profile.GetSection(L"StageSettings").GetSubSection(L"Cam1");
        stage = MakeStageSettings(changes);
        stage.SetName(L"Cam1");
    }

    CVision m_vision;
};

TEST_F(ViewStatus, TheButtonTellsOfLostPausedAndReturningFrames)
{
    CManualTicks ticks;
    CViewUnderTest view;
    auto& camera = view.Attach(new CHandDriver, "Cam1");
    const auto hasRate = [&] {
        for (int frame = 0; frame < 8; ++frame) {
            ticks.Advance(100);
            camera.Deliver(Uniform({64, 48}, CV_8UC1, 100));
        }
        return ServeUntil([&] { return view.FrameRate() == L"10.0 fps"; });
    };
    EXPECT_TRUE(hasRate()) << ToNarrow(view.FrameRate());
    const QColor face = view.ColourOf(MENU_BAR_FRAME_RATE);
    EXPECT_NE(face, kRed);
    EXPECT_NE(face, kYellow);
    EXPECT_EQ(m_vision.m_log.Lines(), std::vector<CStringA>{"UnFreezed - Cam1"});
    EXPECT_TRUE(view.WaitForMiddle({100, 100, 100}));

    ticks.Advance(500);
    EXPECT_TRUE(ServeUntil([&] { return view.FrameRate() == L"Freezed"; }));
    EXPECT_EQ(view.ColourOf(MENU_BAR_FRAME_RATE), kRed);
    EXPECT_EQ(m_vision.m_log.Count("Freezed - Cam1"), 2); // one of them of the UnFreezed line
    EXPECT_EQ(m_vision.m_log.CountErrors(), 1);
    EXPECT_TRUE(view.WaitForMiddle({100, 100, 100})); // the last picture stays

    EXPECT_TRUE(hasRate()) << ToNarrow(view.FrameRate());
    EXPECT_EQ(view.ColourOf(MENU_BAR_FRAME_RATE), face);
    EXPECT_EQ(m_vision.m_log.Count("UnFreezed - Cam1"), 2);
    EXPECT_EQ(m_vision.m_log.CountErrors(), 1);

    auto* button = qobject_cast<QAbstractButton*>(view.Bar().GetDlgItem(MENU_BAR_FRAME_RATE));
    ASSERT_NE(button, nullptr);
    QTest::mouseClick(button, Qt::LeftButton); // of a live camera: does nothing
    EXPECT_TRUE(view->GetFrameGrabber()->IsLive());
    view->GetFrameGrabber()->SetLive(0);
    EXPECT_TRUE(ServeUntil([&] { return view.FrameRate() == L"Paused"; }));
    EXPECT_EQ(view.ColourOf(MENU_BAR_FRAME_RATE).hue(), kYellow.hue()); // pressed, so a little darker
    EXPECT_TRUE(button->isDown() || button->isChecked());
    const int started = camera.m_started;
    QTest::mouseClick(button, Qt::LeftButton);
    EXPECT_TRUE(view->GetFrameGrabber()->IsLive());
    EXPECT_EQ(camera.m_started, started + 1);
    EXPECT_EQ(view.FrameRate(), L"calc...");
    EXPECT_TRUE(hasRate()) << ToNarrow(view.FrameRate());
    EXPECT_FALSE(button->isDown() || button->isChecked());
    EXPECT_EQ(view.ColourOf(MENU_BAR_FRAME_RATE), face);
}

TEST_F(ViewStatus, APausedViewShowsThePictureThatIsSet)
{
    CViewUnderTest view;
    auto& camera = view.Attach(new CHandDriver);
    ASSERT_TRUE(view.ShowGrey(camera, 100));
    cv::Mat still = Uniform({30, 30}, CV_8UC3, cv::Scalar(3, 2, 200));
    ASSERT_EQ(view->GetFrameGrabber()->SetStaticImage(still), 1);
    EXPECT_TRUE(view.WaitForMiddle({200, 2, 3}));
    camera.Deliver(Uniform({64, 48}, CV_8UC1, 50)); // unseen
    still.setTo(cv::Scalar(9, 150, 9));
    ASSERT_EQ(view->GetFrameGrabber()->SetStaticImage(still), 1);
    EXPECT_TRUE(view.WaitForMiddle({9, 150, 9}));
}

/// A window in which the frame of 400 by 300 is shown at its own size, and the mouse over it.
class CPointedView : public CViewUnderTest {
public:
    CPointedView() : CViewUnderTest({400, 300}) { Resize({400, 300 + Bar().GetCoveredHeight()}); }
    void PointAt(int imageX, int imageY)
    {
        QCursor::setPos(m_view->mapToGlobal(QPoint(imageX, imageY + Bar().GetCoveredHeight())));
    }
    testing::AssertionResult Shows(const CString& status) const
    {
        return ServeUntil([&] { return Status() == status; })
                   ? testing::AssertionSuccess()
                   : testing::AssertionFailure() << "\"" << ToNarrow(Status()) << "\"";
    }
};

CString Line(double x, double y, const wchar_t* rest)
{
    return Format(L"(%8.3f, %8.3f%ls)", x, y, rest);
}

TEST_F(ViewStatus, TheLineFollowsMouseAndStage)
{
    CPublishedBlocks blocks; // X at 1.25, Y at 2.25, lens 4
    SetStage();
    CPointedView view;
    auto& camera = view.Attach(new CHandDriver, "Cam1");
    CCoordTrans calibration;
    calibration.Set(0.01, 1, 0, 0, -1, 0, 0, 0, 0);
    ASSERT_EQ(view->SetCTCameraToStage(calibration, 4), 1);
    cv::Mat frame = Uniform({400, 300}, CV_8UC3, cv::Scalar(10, 20, 30));
    frame.at<cv::Vec3b>(100, 50) = {7, 8, 9};
    ASSERT_TRUE(view.Show(camera, frame, {30, 20, 10}));
    view.PointAt(200, 150);
    // The frame's centre lies where the stage is.
    EXPECT_TRUE(view.Shows(Line(1.25, 2.25, L", 030'020'010")));
    view.PointAt(50, 100);
    EXPECT_TRUE(view.Shows(Line(1.25 - 1.5, 2.25 + 0.5, L", 009'008'007")));
    blocks.Publish(5.0); // the mouse rests, the stage moves
    EXPECT_TRUE(view.Shows(Line(5.0 - 1.5, 6.0 + 0.5, L", 009'008'007")));
    // The next frame under a resting mouse.
    frame.at<cv::Vec3b>(100, 50) = {1, 2, 3};
    EXPECT_TRUE(ServeUntil([&] {
        camera.Deliver(frame);
        return view.Status() == Line(5.0 - 1.5, 6.0 + 0.5, L", 003'002'001");
    })) << ToNarrow(view.Status());
    // Off the picture the line tells where the stage is.
    QCursor::setPos(view->mapToGlobal(QPoint(-50, -50)));
    EXPECT_TRUE(ServeUntil([&] { return view.Status().starts_with(L"(   5.000,    6.000"); }))
        << ToNarrow(view.Status());
}

TEST_F(ViewStatus, ThePixelIsTheOneThatIsDrawnUnderTheMouse)
{
    CPointedView view;
    auto& camera = view.Attach(new CHandDriver);
    cv::Mat frame(600, 798, CV_8UC1); // drawn 399 px wide, right of one px of ground; scaled to 400
    for (int column = 0; column < frame.cols; ++column) {
        frame.col(column).setTo(column / 2);
    }
    ASSERT_TRUE(view.Show(camera, frame, {198, 198, 198}));
    for (const auto& [x, value] : {std::pair{3, L", 002)"}, {1, L", 000)"}}) {
        view.PointAt(x, 150);
        EXPECT_TRUE(ServeUntil([&] { return view.Status().ends_with(value); })) << ToNarrow(view.Status());
    }
    view.PointAt(0, 150); // no pixel: there is only the comma between X and Y
    EXPECT_TRUE(ServeUntil([&] { return view.Status().find(L", ") == view.Status().rfind(L", "); }))
        << ToNarrow(view.Status());
}

TEST_F(ViewStatus, AStageThatCannotMoveIsWhereTheCalibrationSays)
{
    SetStage({{L"StageXY", L"CanMoveStageX", L"FALSE"}});
    CPointedView view;
    auto& camera = view.Attach(new CHandDriver, "Cam1");
    CCoordTrans calibration;
    calibration.Set(0.01, 1, 0, 0, 1, 0, 0, 100, 200);
    ASSERT_EQ(view->SetCTCameraToStage(calibration, 0), 1);
    ASSERT_TRUE(view.ShowGrey(camera, 123, {400, 300}));
    view.PointAt(50, 100);
    EXPECT_TRUE(view.Shows(Line(100.5, 201.0, L", 123")));
    EXPECT_EQ(view->GetStage()->GetStagePosition(), (TPoint2<double>{100, 200}));
}

TEST_F(ViewStatus, TheFocusValueComesAndGoesWithItsMenuItem)
{
    using namespace std::chrono_literals;
    cv::Mat stripes(300, 400, CV_8UC1, cv::Scalar(0));
    for (int column = 0; column < stripes.cols; column += 2) {
        stripes.col(column).setTo(80);
    }
    CPointedView view;
    view.Attach(new CStreamDriver({stripes}, 10ms), "Cam1");
    EXPECT_TRUE(ServeUntil([&] { return view.Status().starts_with(L"("); }));
    TriggerMenuItem(view, "Show Focus Value");
    EXPECT_TRUE(ServeUntil([&] { return view.Status().starts_with(L"focus(80.000)("); }))
        << ToNarrow(view.Status());
    TriggerMenuItem(view, "Show Focus Value");
    EXPECT_TRUE(ServeUntil([&] { return view.Status().starts_with(L"("); }));
}

} // namespace
} // namespace alidade
