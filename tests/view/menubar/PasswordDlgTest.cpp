#include "view/menubar/PasswordDlg.h"
#include "tests/widgets/UiHarness.h"

#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QTimer>
#include <QWindow>
#include <deque>
#include <functional>

namespace alidade {
namespace {

/// Does one thing to each dialog that opens, in turn.
class COperator {
public:
    explicit COperator(std::deque<std::function<void(CPasswordDlg&)>> acts) : m_acts(std::move(acts))
    {
        QObject::connect(&m_timer, &QTimer::timeout, [this] {
            auto* dialog = dynamic_cast<CPasswordDlg*>(QApplication::activeModalWidget());
            if (dialog != nullptr && dialog->isVisible()) {
                const auto act = m_acts.empty() ? [](CPasswordDlg& d) { d.reject(); } : m_acts.front();
                m_acts.empty() ? ++m_unexpected : (m_acts.pop_front(), ++m_done);
                act(*dialog);
            }
        });
        m_timer.start(1);
    }
    int m_done = 0, m_unexpected = 0;

private:
    std::deque<std::function<void(CPasswordDlg&)>> m_acts;
    QTimer m_timer;
};

void Enter(CPasswordDlg& dialog, const char* password)
{
    auto* edit = qobject_cast<QLineEdit*>(dialog.GetDlgItem(CPasswordDlg::kEdit));
    EXPECT_EQ(edit->text(), "") << "each round begins anew";
    EXPECT_EQ(edit->echoMode(), QLineEdit::Password);
    EXPECT_EQ(dialog.focusWidget(), edit);
    QTest::keyClicks(edit, password);
    QTest::keyClick(edit, Qt::Key_Return);
}

TEST(PasswordDlg, WithoutAPasswordNobodyIsAsked)
{
    COperator operatorAtWork({});
    EXPECT_EQ(CheckPassword(L"", nullptr), 1);
    EXPECT_EQ(operatorAtWork.m_unexpected, 0);
}

TEST(PasswordDlg, AsksUntilItIsRight)
{
    QWidget parent;
    ShowActive(parent);
    QPoint left;
    COperator operatorAtWork({[&](CPasswordDlg& dialog) {
                                  EXPECT_EQ(dialog.windowTitle(), "Input Password");
                                  EXPECT_EQ(dialog.findChild<QLabel*>()->text(), "Password : ");
                                  EXPECT_EQ(dialog.parentWidget(), &parent);
                                  const QPoint to = dialog.pos() + QPoint(37, 21);
                                  dialog.windowHandle()->setFramePosition(to); // as the desktop does it
                                  EXPECT_TRUE(QTest::qWaitFor([&] { return dialog.pos() == to; }, 20000));
                                  left = dialog.pos();
                                  Enter(dialog, "secret");
                              },
                              [&](CPasswordDlg& dialog) {
                                  EXPECT_EQ(dialog.pos(), left) << "where the operator left it";
                                  Enter(dialog, "Secret ");
                              },
                              [](CPasswordDlg& dialog) { Enter(dialog, ""); },
                              [](CPasswordDlg& dialog) { Enter(dialog, "Secret"); }});
    EXPECT_EQ(CheckPassword(L"Secret", &parent), 1);
    EXPECT_EQ(operatorAtWork.m_done, 4);
    EXPECT_EQ(operatorAtWork.m_unexpected, 0);
    EXPECT_TRUE(parent.findChildren<QDialog*>().isEmpty());
}

TEST(PasswordDlg, CancelRefuses)
{
    COperator operatorAtWork({[](CPasswordDlg& dialog) { Enter(dialog, "wrong"); },
                              [](CPasswordDlg& dialog) { QTest::keyClick(&dialog, Qt::Key_Escape); }});
    EXPECT_EQ(CheckPassword(L"Secret", nullptr), 0);
    EXPECT_EQ(operatorAtWork.m_done, 2);
}

TEST(PasswordDlg, AViewThatGoesTakesItAlong)
{
    auto parent = std::make_unique<QWidget>();
    auto password = std::make_unique<CString>(L"Secret");
    COperator operatorAtWork({[&](CPasswordDlg&) {
        parent.reset();
        password.reset();
    }});
    EXPECT_EQ(CheckPassword(*password, parent.get()), 0);
    EXPECT_EQ(operatorAtWork.m_done, 1);
}

} // namespace
} // namespace alidade
