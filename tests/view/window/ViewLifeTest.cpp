#include "tests/view/window/ViewHarness.h"

namespace alidade {
namespace {

const auto* const g_environment = ::testing::AddGlobalTestEnvironment(new CUiEnvironment);

class ViewLife : public ::testing::Test {
protected:
    CVision m_vision;
};

class COtherView : public CCameraView {};

TEST_F(ViewLife, IsMadeByItsExactNameAndTheLastClassOfANameWins)
{
    const std::unique_ptr<ICameraView> view(ICameraView::DYNAMIC_CREATE_NewObject(L"CameraView"));
    ASSERT_TRUE(view);
    EXPECT_STREQ(view->GetViewClassName(), L"CameraView");
    EXPECT_FALSE(view->HasWindow());
    for (const wchar_t* name : {L"cameraview", L"", L"CameraView2"}) {
        EXPECT_EQ(ICameraView::DYNAMIC_CREATE_NewObject(name), nullptr);
    }
    EXPECT_EQ(ICameraView::DYNAMIC_CREATE_NewObject(nullptr), nullptr);
    EXPECT_TRUE(m_vision.m_log.Lines().empty());

    class COtherCreator : public ICameraView::CDYNAMIC_CREATE {
    public:
        COtherCreator() : CDYNAMIC_CREATE(L"CameraView") {}
        ICameraView* NewObject() override { return new COtherView; }
    } creator;
    ICameraView::DYNAMIC_CREATE_AddClass(&creator);
    const std::unique_ptr<ICameraView> other(ICameraView::DYNAMIC_CREATE_NewObject(L"CameraView"));
    ICameraView::s_DYNAMIC_CREATE.pop_back();
    EXPECT_NE(dynamic_cast<COtherView*>(other.get()), nullptr);
}

TEST_F(ViewLife, WithoutAWindowNothingIsAttachedAndNothingBreaks)
{
    CCameraView view;
    auto* driver = new CHandDriver;
    auto grabber = CFrameGrabberTestAccess::Make(driver);
    EXPECT_EQ(view.SetFrameGrabber("Cam1", grabber), 0);
    EXPECT_EQ(driver->m_started, 0);
    cv::Mat image;
    cv::Rect source;
    cv::Size buffer, target;
    EXPECT_EQ(view.GetImage(image), 0);
    EXPECT_EQ(view.GetNewImage(image, 10), 0);
    EXPECT_EQ(view.GetDisplayGeometry({640, 480}, source, buffer, target), 0);
    EXPECT_EQ(view.ShowToolMenu(1), 0);
    EXPECT_EQ(view.IsToolMenuVisible(), 0);
    view.RedrawImage(1);
    view.UpdateStatus();
    view.UpdateTransforms();

    QWidget window;
    ASSERT_EQ(view.Create(L"view", {0, 0, 100, 100}, &window, 7), 1);
    EXPECT_EQ(view.Create(L"again", {0, 0, 100, 100}, &window, 7), 0);
    EXPECT_EQ(view.windowTitle(), "view");
    view.setParent(nullptr);
}

TEST_F(ViewLife, TheKeyboardIsInTheViewMadeLastThatCanBeSeen)
{
    QWidget window;
    QWidget behind(&window); // as a tab behind another
    behind.hide();
    const auto make = [](QWidget& parent) {
        auto* view = new CCameraView;
        EXPECT_EQ(view->Create(L"view", {0, 0, 300, 200}, &parent, 0), 1);
        return view;
    };
    CCameraView* const first = make(window);
    make(behind);
    ShowActive(window);
    EXPECT_EQ(QApplication::focusWidget(), first);
    CCameraView* const second = make(window);
    EXPECT_EQ(QApplication::focusWidget(), second);
    make(behind);
    EXPECT_EQ(QApplication::focusWidget(), second);
}

TEST_F(ViewLife, TheBuiltInCameraMovesOnTheScreen)
{
    CViewUnderTest view;
    CProfileSection settings;
    settings.SetItemValue(L"Dummy.resolution", L"640x480");
    ASSERT_EQ(view->InitFrameGrabber("Cam1", L"Dummy", settings), 1);
    EXPECT_EQ(view->GetUnitName(), "Cam1");
    const QImage empty = view.Screen();
    QImage first;
    ASSERT_TRUE(ServeUntil(
        [&] { return (first = view.Screen()) != empty && view->GetDisplay()->GetFrame().number; }));
    EXPECT_TRUE(ServeUntil([&] { return view.Screen() != first; }));
    cv::Mat image;
    EXPECT_EQ(view->GetImage(image), 1);
    EXPECT_EQ(image.size(), cv::Size(640, 480));
    EXPECT_EQ(view->GetNewImage(image, 60000), 1);
}

/// Four colours and none of them twice: a mirrored, turned or recoloured picture is seen.
TEST_F(ViewLife, EveryPixelComesWhereItBelongs)
{
    CViewUnderTest view({800, 500});
    CHandDriver& driver = view.Attach(new CHandDriver);
    cv::Mat frame(240, 320, CV_8UC3);
    frame(cv::Rect(0, 0, 160, 120)).setTo(cv::Scalar(10, 20, 200));
    frame(cv::Rect(160, 0, 160, 120)).setTo(cv::Scalar(10, 200, 20));
    frame(cv::Rect(0, 120, 160, 120)).setTo(cv::Scalar(200, 10, 20));
    frame(cv::Rect(160, 120, 160, 120)).setTo(cv::Scalar(200, 180, 160));
    ASSERT_TRUE(ServeUntil([&] {
        driver.Deliver(frame);
        return CViewUnderTest::IsLike(view.ColourAt(0.4, 0.3), {200, 20, 10});
    }));
    EXPECT_EQ(view.ColourAt(0.6, 0.3), QColor(20, 200, 10));
    EXPECT_EQ(view.ColourAt(0.4, 0.7), QColor(20, 10, 200));
    EXPECT_EQ(view.ColourAt(0.6, 0.7), QColor(160, 180, 200));
    // The picture is narrower than the window: beside it is the window's own colour.
    EXPECT_EQ(view.ColourAt(0.01, 0.5), view->palette().color(QPalette::Window));
    EXPECT_EQ(view.ColourAt(0.99, 0.5), view->palette().color(QPalette::Window));
}

TEST_F(ViewLife, ANewGrabberTakesThePlaceOfTheOld)
{
    CViewUnderTest view;
    bool gone = false;
    CHandDriver& first = view.Attach(new CHandDriver, "Cam1");
    first.m_pDestroyed = &gone;
    ASSERT_TRUE(view.ShowGrey(first, 50));
    auto held = CFrameGrabberTestAccess::Make(new CHandDriver);
    CString message;
    ASSERT_EQ(held->InitFrameGrabber(CProfileSection(), message), 1);
    ASSERT_EQ(view->SetFrameGrabber("", held), 1);
    EXPECT_TRUE(gone);
    EXPECT_EQ(view->GetUnitName(), "Cam1"); // an empty name keeps the old
    EXPECT_EQ(view->GetFrameGrabber(), held.Get());
    auto& second = static_cast<CHandDriver&>(*held->GetFrameGrabberInterface());
    EXPECT_EQ(second.m_started, 1);
    EXPECT_TRUE(view.ShowGrey(second, 90));

    TRefPointer<CFrameGrabber> none;
    EXPECT_EQ(view->SetFrameGrabber("", none), 1);
    EXPECT_EQ(view->GetFrameGrabber(), nullptr);
    EXPECT_EQ(second.m_stopped, 1);
    EXPECT_EQ(second.m_closed, 1);
    EXPECT_FALSE(view->GetDisplay()->IsRunning());
    EXPECT_TRUE(view.WaitForMiddle({90, 90, 90})); // the last picture stays
    cv::Mat image;
    EXPECT_EQ(view->GetImage(image), 0);
}

TEST_F(ViewLife, ADriverThatIsMissingOrFailsStandsInTheLog)
{
    CViewUnderTest view;
    EXPECT_EQ(view->InitFrameGrabber("Cam1", L"Nowhere", CProfileSection()), 0);
    EXPECT_EQ(m_vision.m_log.Lines(), std::vector<CStringA>{"FrameGrabber(Nowhere) FAILED.\r\n"});
    EXPECT_EQ(m_vision.m_log.CountErrors(), 1);
    EXPECT_EQ(view->InitFrameGrabber("Cam1", L"InitFails", CProfileSection()), 0);
    const std::vector<CStringA> lines = m_vision.m_log.Lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[1], "FrameGrabber(InitFails) FAILED.\r\nno camera answers");
    EXPECT_EQ(lines[2], "FrameGrabber(InitFails) Initialized : no camera answers");
    EXPECT_EQ(m_vision.m_log.CountErrors(), 2);
    EXPECT_EQ(view->InitFrameGrabber("Cam1", nullptr, CProfileSection()), 0);
    EXPECT_EQ(view->GetFrameGrabber(), nullptr);
    EXPECT_FALSE(view->GetDisplay()->IsRunning());
}

TEST_F(ViewLife, HangsOutOfTheBusWhenItGoes)
{
    auto* view = new CViewUnderTest;
    (*view)->SetUnitName("Cam1");
    EXPECT_EQ((*view)->GetIPClient(), &m_vision.m_client);
    (*view)->Activate();
    EXPECT_EQ(CCameraView::s_pActiveView, (*view)->GetMenuBar()->parent());
    delete view;
    EXPECT_EQ(CCameraView::s_pActiveView, nullptr);
}

} // namespace
} // namespace alidade
