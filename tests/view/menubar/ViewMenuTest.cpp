#include "view/menubar/ViewMenu.h"
#include "MenuBarHarness.h"

#include <algorithm>

namespace alidade {
namespace {

/// The menu as lines "Display/Show Grid", separators left out.
void Collect(const QMenu* menu, const QString& path, std::vector<std::pair<QString, const QAction*>>& lines)
{
    for (const QAction* action : menu->actions()) {
        if (action->menu() != nullptr) {
            Collect(action->menu(), path + action->text() + "/", lines);
        } else if (!action->isSeparator()) {
            lines.emplace_back(path + action->text(), action);
        }
    }
}

std::vector<std::pair<QString, const QAction*>> Collect(const QMenu* menu)
{
    std::vector<std::pair<QString, const QAction*>> lines;
    Collect(menu, "", lines);
    return lines;
}

const QAction* Find(const QMenu* menu, int identifier)
{
    for (const auto& [path, action] : Collect(menu)) {
        if (action->data().toInt() == identifier) {
            return action;
        }
    }
    return nullptr;
}

void Reopen(CBarView& view)
{
    view.m_bar->OpenMenu();
    ASSERT_TRUE(view.m_bar->GetMenu()->isVisible());
    view.m_bar->GetMenu()->close();
}

TEST(ViewMenu, HoldsEveryItemOfTheTableInOrder)
{
    CBarView view;
    const auto lines = Collect(view.m_bar->GetMenu());
    const auto table = GetViewMenuTable();
    ASSERT_EQ(lines.size(), table.size());
    std::set<int> identifiers;
    for (std::size_t i = 0; i < table.size(); ++i) {
        EXPECT_EQ(lines[i].first, QString::fromStdWString(CString(table[i].path) + L"/" + table[i].text));
        EXPECT_EQ(lines[i].second->data().toInt(), table[i].identifier);
        EXPECT_EQ(lines[i].second->isCheckable(), table[i].checkable);
        EXPECT_EQ(lines[i].second->objectName(), QString("item%1").arg(table[i].identifier));
        EXPECT_FALSE(lines[i].first.contains('&'));
        identifiers.insert(table[i].identifier);
    }
    EXPECT_EQ(identifiers.size(), table.size());
}

TEST(ViewMenu, EachOpeningAsksForEveryItem)
{
    CBarView view;
    ShowActive(view);
    view.m_states[32804] = {true, true, true};
    view.m_states[32803] = {true, false, false};
    view.m_states[32848] = {true, true, true}; // cannot be ticked
    Reopen(view);
    EXPECT_EQ(view.m_asked.size(), GetViewMenuTable().size());
    const QMenu* menu = view.m_bar->GetMenu();
    EXPECT_TRUE(Find(menu, 32804)->isChecked());
    EXPECT_FALSE(Find(menu, 32803)->isEnabled());
    EXPECT_FALSE(Find(menu, 32848)->isChecked());
    view.m_states.clear();
    Reopen(view);
    EXPECT_FALSE(Find(menu, 32804)->isChecked());
    EXPECT_TRUE(Find(menu, 32803)->isEnabled());
}

TEST(ViewMenu, AnItemThatIsNotPresentIsGoneForEver)
{
    CBarView view;
    ShowActive(view);
    view.m_states[32842].present = view.m_states[32845].present = false;
    Reopen(view);
    const QMenu* menu = view.m_bar->GetMenu();
    EXPECT_EQ(Collect(menu).size(), GetViewMenuTable().size() - 2);
    view.m_states.clear();
    Reopen(view);
    EXPECT_EQ(Find(menu, 32842), nullptr);
    EXPECT_EQ(Find(menu, 32845), nullptr);
}

TEST(ViewMenu, OpensBelowItsControlAndKeysReachAnItem)
{
    CBarView view;
    ShowActive(view);
    view.setFocus();
    QMenu* menu = view.m_bar->GetMenu();
    QTest::mousePress(view.m_bar->GetDlgItem(MENU_BAR_MENU), Qt::LeftButton);
    ASSERT_TRUE(menu->isVisible());
    QWidget* control = view.m_bar->GetDlgItem(MENU_BAR_MENU);
    EXPECT_EQ(menu->pos(), control->mapToGlobal(QPoint(0, control->height())));
    QTest::keyClick(menu, Qt::Key_Escape);
    EXPECT_FALSE(menu->isVisible());
    QTest::mouseRelease(control, Qt::LeftButton);

    view.setFocus();
    Press(Qt::Key_F10);
    ASSERT_TRUE(menu->isVisible());
    const auto press = [](Qt::Key key) { QTest::keyClick(QApplication::activePopupWidget(), key); };
    press(Qt::Key_Down); // Image
    press(Qt::Key_Down); // Display
    press(Qt::Key_Right);
    ASSERT_TRUE(QTest::qWaitFor([&] { return QApplication::activePopupWidget() != menu; }, 20000));
    press(Qt::Key_Down);
    press(Qt::Key_Return);
    EXPECT_TRUE(view.m_chosen.empty()) << "it comes from the event loop";
    ASSERT_TRUE(QTest::qWaitFor([&] { return !view.m_chosen.empty(); }, 20000));
    EXPECT_EQ(view.m_chosen, std::vector<int>{32806});
    EXPECT_FALSE(view.m_menuWasOpen);
}

TEST(ViewMenu, TheKeyOpensItWhereverTheBarOrTheViewHasTheKeyboardAndAlsoWhenTheBarIsHidden)
{
    CBarView view;
    ShowActive(view);
    QMenu* menu = view.m_bar->GetMenu();
    view.m_bar->GetDlgItem(MENU_BAR_FRAME_RATE)->setFocus();
    Press(Qt::Key_Menu);
    EXPECT_TRUE(menu->isVisible());
    menu->close();
    view.m_bar->SetToolMenuVisible(false);
    view.setFocus();
    Press(Qt::Key_F10);
    EXPECT_TRUE(menu->isVisible());
    menu->close();
}

TEST(ViewMenu, AChosenItemMayTakeTheViewAway)
{
    class CGoingView : public CBarView {
    public:
        void OnMenuItem(int) override { delete this; }
    };
    QPointer<CGoingView> view(new CGoingView);
    ShowActive(*view);
    view->m_bar->OpenMenu();
    QTest::keyClick(view->m_bar->GetMenu(), Qt::Key_Down);
    QTest::keyClick(view->m_bar->GetMenu(), Qt::Key_Right);
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return QApplication::activePopupWidget() != view->m_bar->GetMenu(); }, 20000));
    QTest::keyClick(QApplication::activePopupWidget(), Qt::Key_Up);
    QTest::keyClick(QApplication::activePopupWidget(), Qt::Key_Return);
    EXPECT_TRUE(QTest::qWaitFor([&] { return view.isNull(); }, 20000));
}

} // namespace
} // namespace alidade
