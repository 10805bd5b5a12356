#include "widgets/PositionBar.h"
#include "UiHarness.h"

#include <QLineEdit>

namespace alidade {
namespace {

/// A bar that lies across a window of 400 by 300 px, at 100.
class PositionBar : public ::testing::Test {
protected:
    void Show(CPositionBar::DIRECTION direction, const QRect& range = QRect(0, 0, 400, 300))
    {
        m_direction = direction;
        m_window.resize(400, 300);
        const bool across = direction == CPositionBar::LEFT_RIGHT;
        m_bar = new CPositionBar;
        EXPECT_EQ(m_bar->Create(across ? QRect(100, 0, 6, 300) : QRect(0, 100, 400, 6), &m_window, 77), 1);
        EXPECT_EQ(m_bar->Create(QRect(), &m_window, 78), 0);
        m_bar->Init(range, direction);
        m_bar->SetMoved([this](int identifier) { m_told.emplace_back(identifier, m_bar->m_nPending); });
        ShowActive(m_window);
    }
    int At() const { return m_direction == CPositionBar::LEFT_RIGHT ? m_bar->x() : m_bar->y(); }
    void Mouse(QTest::MouseAction action, const QPoint& at, Qt::MouseButton button = Qt::LeftButton)
    {
        const QPoint here = m_bar->mapFrom(&m_window, at);
        action == QTest::MousePress  ? QTest::mousePress(m_bar, button, {}, here)
        : action == QTest::MouseMove ? QTest::mouseMove(m_bar, here)
                                     : QTest::mouseRelease(m_bar, button, {}, here);
    }

    QWidget m_window;
    CPositionBar::DIRECTION m_direction = CPositionBar::LEFT_RIGHT;
    CPositionBar* m_bar = nullptr; // the window's
    std::vector<std::pair<int, int>> m_told;
};

TEST_F(PositionBar, FollowsTheMouseWithinItsRangeAndTellsItsNumber)
{
    Show(CPositionBar::LEFT_RIGHT, QRect(50, 0, 200, 300));
    Mouse(QTest::MousePress, {104, 150});
    Mouse(QTest::MouseMove, {124, 170});
    EXPECT_EQ(m_bar->geometry(), QRect(120, 0, 6, 300)) << "held where the mouse took it";
    Mouse(QTest::MouseMove, {124, 180});
    EXPECT_EQ(m_told, (std::vector<std::pair<int, int>>{{77, 120}})) << "told once for one position";
    Mouse(QTest::MouseMove, {399, 10});
    EXPECT_EQ(At(), 244);
    Mouse(QTest::MouseMove, {-30, 10});
    EXPECT_EQ(At(), 50);
    Mouse(QTest::MouseMove, {104, 10});
    EXPECT_EQ(At(), 100) << "from outside it comes back under the mouse";
    Mouse(QTest::MouseRelease, {104, 10});
    Mouse(QTest::MouseMove, {180, 10});
    EXPECT_EQ(At(), 100);

    Mouse(QTest::MousePress, {104, 10}, Qt::RightButton);
    Mouse(QTest::MouseMove, {180, 10});
    Mouse(QTest::MouseRelease, {180, 10}, Qt::RightButton);
    EXPECT_EQ(At(), 100);
}

TEST_F(PositionBar, MovesUpAndDownByItsKeysOnly)
{
    Show(CPositionBar::UP_DOWN, QRect(0, 90, 400, 40));
    EXPECT_EQ(m_bar->cursor().shape(), Qt::SplitVCursor);
    m_bar->setFocus(Qt::TabFocusReason);
    const struct {
        Qt::Key key;
        Qt::KeyboardModifiers modifiers;
        int at;
    } steps[] = {
        {Qt::Key_Down, {}, 108}, {Qt::Key_Down, Qt::ShiftModifier, 109},
        {Qt::Key_Up, {}, 101},   {Qt::Key_Right, {}, 101},
        {Qt::Key_Up, {}, 93},    {Qt::Key_Up, {}, 90},
        {Qt::Key_Up, {}, 90},
    };
    for (const auto& step : steps) {
        Press(step.key, step.modifiers);
        EXPECT_EQ(At(), step.at);
    }
    EXPECT_EQ(m_told.size(), 5u) << "nothing is told where nothing moved";
}

TEST_F(PositionBar, StandsWhereThereIsNoRoom)
{
    Show(CPositionBar::LEFT_RIGHT, QRect(100, 0, 5, 300));
    m_bar->setFocus(Qt::TabFocusReason);
    Press(Qt::Key_Right);
    EXPECT_EQ(At(), 100);
    EXPECT_TRUE(m_told.empty());
}

TEST_F(PositionBar, ADragDoesNotTakeTheKeyboardAway)
{
    QLineEdit edit(&m_window);
    Show(CPositionBar::LEFT_RIGHT);
    edit.setFocus();
    Mouse(QTest::MousePress, {103, 150});
    Mouse(QTest::MouseMove, {150, 150});
    Mouse(QTest::MouseRelease, {150, 150});
    EXPECT_EQ(QApplication::focusWidget(), &edit);
}

TEST_F(PositionBar, MayBeDestroyedByWhomItTells)
{
    Show(CPositionBar::LEFT_RIGHT);
    m_bar->SetMoved([this](int) { delete std::exchange(m_bar, nullptr); });
    m_bar->setFocus(Qt::TabFocusReason);
    Press(Qt::Key_Right);
    EXPECT_EQ(m_bar, nullptr);
}

} // namespace
} // namespace alidade
