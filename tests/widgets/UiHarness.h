#pragma once

#include "widgets/PropertyGridCtrl2.h"

#include <QApplication>
#include <QTest>
#include <gtest/gtest.h>

namespace alidade {

/// The application, for the length of all tests of a program.
class CUiEnvironment : public ::testing::Environment {
public:
    void SetUp() override { m_application = std::make_unique<QApplication>(m_count, m_arguments); }
    void TearDown() override { m_application.reset(); }

private:
    int m_count = 1;
    char m_name[8] = "tests";
    char* m_arguments[2] = {m_name, nullptr};
    std::unique_ptr<QApplication> m_application;
};

/// Shows a window and waits until it has the keyboard.
inline void ShowActive(QWidget& window)
{
    window.show();
    QApplication::setActiveWindow(&window);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
}

/// Presses a key where the keyboard is, and lets what it queued happen.
inline void Press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    QWidget* target = QApplication::activePopupWidget();
    if (target != nullptr && target->focusWidget() != nullptr) {
        target = target->focusWidget();
    } else if (target == nullptr) {
        target = QApplication::focusWidget();
    }
    ASSERT_NE(target, nullptr);
    QTest::keyClick(target, key, modifiers);
    QCoreApplication::processEvents();
}

inline void Type(const char* text)
{
    ASSERT_NE(QApplication::focusWidget(), nullptr);
    for (; *text != '\0'; ++text) { // the first key may move the focus into an editor
        QTest::keyClick(QApplication::focusWidget(), *text);
    }
}

inline void ClickValue(CMFCPropertyGridCtrl2& grid, const CMFCPropertyGridProperty* row)
{
    QTest::mouseClick(grid.GetCells(), Qt::LeftButton, {}, grid.GetValueRect(row).center());
    QCoreApplication::processEvents();
}

} // namespace alidade
