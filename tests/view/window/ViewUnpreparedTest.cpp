// A process of its own: what InitVision was given stays for the rest of a process.
#include "tests/support/FrameGrabberTestAccess.h"
#include "tests/widgets/UiHarness.h"
#include "view/CameraView.h"

#include <QMessageBox>
#include <QPointer>

namespace alidade {
namespace {

const auto* const g_environment = ::testing::AddGlobalTestEnvironment(new CUiEnvironment);

TEST(ViewUnprepared, SaysSoAndWorksOnWithoutBusAndSettings)
{
    QWidget window;
    auto* view = new CCameraView; // comes back although the box is open
    const QPointer<QMessageBox> box = [] {
        for (QWidget* top : QApplication::topLevelWidgets()) {
            if (auto* found = qobject_cast<QMessageBox*>(top)) {
                return found;
            }
        }
        return static_cast<QMessageBox*>(nullptr);
    }();
    ASSERT_TRUE(box);
    EXPECT_TRUE(box->isVisible());
    EXPECT_EQ(box->text(), "IPClient IS NOT Initialized.\r\n\r\nCall InitVision() First.");
    box->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(QTest::qWaitFor([&] { return box.isNull(); }, 60000));

    ASSERT_EQ(view->Create(L"", {0, 0, 320, 240}, &window, 0), 1);
    window.show();
    auto* driver = new CHandDriver;
    auto grabber = CFrameGrabberTestAccess::Make(driver);
    CString message;
    grabber->InitFrameGrabber(CProfileSection(), message);
    EXPECT_EQ(view->SetFrameGrabber("Cam1", grabber), 1);
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            driver->Deliver(cv::Mat(48, 64, CV_8UC1, cv::Scalar(77)));
            return view->grab().toImage().pixelColor(160, 140) == QColor(77, 77, 77);
        },
        60000));
    EXPECT_EQ(view->LoadSettings(0), 0);
    EXPECT_EQ(view->LoadSettings(1), 0);
    EXPECT_EQ(view->SaveSettings(), 0);
    EXPECT_EQ(view->ShowToolMenu(0), 1);
    EXPECT_EQ(view->IsToolMenuVisible(), 0);
}

} // namespace
} // namespace alidade
