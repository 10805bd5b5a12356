#pragma once

#include "tests/view/window/ViewHarness.h"

namespace alidade {

/// Looks an item up in a menu and those under it.
inline QAction* FindMenuItem(const QMenu& menu, const QString& text)
{
    for (QAction* action : menu.actions()) {
        if (action->text() == text) {
            return action;
        }
        if (QAction* found = action->menu() != nullptr ? FindMenuItem(*action->menu(), text) : nullptr) {
            return found;
        }
    }
    return nullptr;
}

/// Opens the popup by a click on "Menu" and chooses an item, by its text.
inline void TriggerMenuItem(const CViewUnderTest& view, const char* text)
{
    bool chosen = false;
    bool done = false;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        if (menu == nullptr) {
            return;
        }
        poll.stop();
        QAction* item = FindMenuItem(*menu, text);
        chosen = item != nullptr && item->isEnabled();
        // What the item does may wait for the operator: it is called when the menu has gone.
        if (chosen) {
            QObject::connect(
                item, &QAction::triggered, qApp, [&done] { done = true; }, Qt::QueuedConnection);
            QMetaObject::invokeMethod(item, &QAction::trigger, Qt::QueuedConnection);
        }
        menu->close();
    });
    poll.start(1);
    QTest::mouseClick(view.Bar().GetDlgItem(MENU_BAR_MENU), Qt::LeftButton);
    ASSERT_TRUE(ServeUntil([&] { return !poll.isActive(); })) << "no menu";
    ASSERT_TRUE(chosen) << text;
    ASSERT_TRUE(ServeUntil([&] { return done; }));
}

} // namespace alidade
