#include "host/WindowLoop.h"

#include "acquisition/InitVision.h"
#include "host/HostWindow.h"
#include "tests/widgets/UiHarness.h"

#include <QDialog>
#include <QMenu>

namespace alidade {
namespace {

const auto* const g_environment = testing::AddGlobalTestEnvironment(new CUiEnvironment);

/// A loop around a window without a camera, that would go on for ten minutes.
class WindowLoop : public testing::Test {
protected:
    WindowLoop()
    {
        InitVision(&m_client, nullptr, nullptr, L"none");
        m_options.dwQuitAfter = 600000;
        m_window.show();
    }
    int Run() { return m_loop.Run(m_window, m_failure); }

    CIPClient m_client{nullptr, nullptr, "Vision"}; // one that was shut down serves nobody again
    T_HOST_OPTIONS m_options;
    T_HOST_FAILURE m_failure;
    CHostLog m_log;
    CEvent m_stop{false, true};
    const CDeadline m_end{600000};
    CWindowLoop m_loop{m_options, m_client, m_log, m_stop, m_end};
    CHostWindow m_window{{320, 240}, [this] { m_loop.End(); }};
};

TEST_F(WindowLoop, TheOperatorEndsItByClosingTheWindow)
{
    QTimer::singleShot(0, [this] { m_window.close(); });
    EXPECT_EQ(Run(), 1);
    EXPECT_FALSE(m_window.isVisible());
}

TEST_F(WindowLoop, ADialogOrAMenuThatIsOpenDoesNotHoldIt)
{
    int dialog = -1;
    QTimer::singleShot(0, [&] {
        QDialog question(&m_window);
        QTimer::singleShot(0, &question, [&] {
            QMenu menu;
            QObject::connect(&menu, &QMenu::aboutToShow, [this] { m_stop.SetEvent(); });
            menu.addAction("entry");
            menu.exec(QPoint(10, 10));
        });
        dialog = question.exec();
    });
    EXPECT_EQ(Run(), 1);
    EXPECT_EQ(dialog, QDialog::Rejected);
}

} // namespace
} // namespace alidade
