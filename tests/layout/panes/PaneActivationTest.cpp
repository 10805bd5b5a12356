#include "PaneHarness.h"

#include <QMainWindow>
#include <QMdiArea>
#include <QMdiSubWindow>

namespace alidade {
namespace {

TEST(PaneActivation, SelectsTheTabAtEachLevelTheOutermostFirst)
{
    std::vector<const QTabWidget*> order;
    const CCameraLayoutItem inner = Pane(TABBED, {Leaf(L"C"), Leaf(L"D")});
    CPaneWindow shown(Pane(TABBED, {Leaf(L"A"), Pane(SIDE_BY_SIDE, {Leaf(L"B"), inner})}), 600, 400);
    CCameraPaneWnd& tile = *ChildrenOf(shown.Child(1))[1];
    QTabWidget* outerTabs = shown.root->GetTabCtrl();
    QTabWidget* innerTabs = tile.GetTabCtrl();
    for (QTabWidget* tabs : {innerTabs, outerTabs}) {
        QObject::connect(tabs, &QTabWidget::currentChanged, [&order, tabs] { order.push_back(tabs); });
    }
    ICameraView* view = shown.root->GetCameraView("D");
    EXPECT_FALSE(view->isVisible());

    auto* pane = dynamic_cast<CCameraPaneWnd*>(view->parentWidget());
    ASSERT_NE(pane, nullptr);
    EXPECT_EQ(pane->ActivateChildPane(view), 1);
    EXPECT_EQ(order, (std::vector<const QTabWidget*>{outerTabs, innerTabs}));
    EXPECT_TRUE(view->isVisible());
    EXPECT_EQ(QApplication::focusWidget(), view);
    // A hidden tile comes back.
    shown.Child(1).hide();
    shown.root->GetTabCtrl()->setCurrentIndex(1);
    tile.hide();
    EXPECT_EQ(pane->ActivateChildPane(view), 1);
    EXPECT_TRUE(tile.isVisibleTo(&shown.Child(1)));
}

TEST(PaneActivation, RefusesWhatHasNoWindow)
{
    CPaneWindow shown(Leaf(L"A"), 300, 200);
    CCameraPaneWnd without;
    CPaneTestView unmade;
    EXPECT_EQ(shown.root->ActivateChildPane(nullptr), 0);
    EXPECT_EQ(shown.root->ActivateChildPane(&unmade), 0);
    EXPECT_EQ(shown.root->ActivateChildPane(&without), 0);
    EXPECT_EQ(without.ActivateChildPane(shown.root->GetCameraView(nullptr)), 0);
    EXPECT_EQ(shown.root->ActivateChildPane(shown.root->GetCameraView(nullptr)), 1);
}

TEST(PaneActivation, BringsItsDocumentAndTheMainWindowToTheFront)
{
    CPaneTestCreator creator;
    QMainWindow frame;
    auto* area = new QMdiArea;
    frame.setCentralWidget(area);
    const CCameraLayoutItem layout = Row(2, TABBED);
    std::vector<CCameraPaneWnd*> panes;
    for (int i = 0; i < 2; ++i) {
        panes.push_back(new CCameraPaneWnd(area));
        ASSERT_EQ(panes.back()->InitPane(&layout), 1);
        area->addSubWindow(panes.back());
    }
    const auto documents = area->subWindowList(QMdiArea::CreationOrder);
    const auto activate = [&](int pane, const char* camera) {
        ICameraView* view = panes[static_cast<std::size_t>(pane)]->GetCameraView(camera);
        return dynamic_cast<CCameraPaneWnd*>(view->parentWidget())->ActivateChildPane(view);
    };
    EXPECT_EQ(activate(0, "1"), 1);
    EXPECT_TRUE(frame.isVisible()) << "the main window was not there yet";
    ASSERT_TRUE(QTest::qWaitForWindowActive(&frame, 20000));
    EXPECT_EQ(area->activeSubWindow(), documents[0]);

    frame.showMinimized();
    // A pane alone takes no keyboard, which would bring its document along.
    EXPECT_EQ(panes[1]->ActivateChildPane(ChildrenOf(*panes[1])[0]), 1);
    EXPECT_FALSE(frame.isMinimized());
    EXPECT_TRUE(QTest::qWaitFor([&] { return area->activeSubWindow() == documents[1]; }, 20000));
    EXPECT_EQ(panes[1]->GetTabCtrl()->currentIndex(), 0);
    EXPECT_EQ(panes[0]->GetTabCtrl()->currentIndex(), 1) << "what is behind stays as it was";
}

TEST(PaneFocus, IsPassedDownToTheFirstViewOrTheTabs)
{
    CPaneWindow tiles(Pane(STACKED, {Row(2), Leaf(L"last")}), 400, 400);
    tiles.root->setFocus();
    EXPECT_EQ(QApplication::focusWidget(), tiles.root->GetCameraView("0"));

    // By the keyboard through all of it: view, bar, view, bar, view.
    Press(Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), FindChildWindow(&tiles.Child(0), CCameraPaneWnd::kFirstBar));
    Press(Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), tiles.root->GetCameraView("1"));
    Press(Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), &tiles.Bar(0));
    Press(Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), tiles.root->GetCameraView("last"));

    CPaneWindow tabs(Row(2, TABBED), 400, 400);
    tabs.root->setFocus();
    Press(Qt::Key_Right);
    EXPECT_EQ(tabs.root->GetTabCtrl()->currentIndex(), 1);
    Press(Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), tabs.root->GetCameraView("1"));
}

TEST(PaneVisibility, WhatIsInsideHidesAndComesBackWithThePane)
{
    CPaneWindow shown(Pane(SIDE_BY_SIDE, {Leaf(L"A"), Row(2, TABBED)}), 600, 300);
    shown.root->GetCameraView("A")->hide();
    shown.Child(1).hide();
    shown.root->hide();
    EXPECT_FALSE(shown.root->GetCameraView("0")->isVisible());
    shown.root->show();
    EXPECT_TRUE(shown.root->GetCameraView("A")->isVisible());
    EXPECT_TRUE(shown.root->GetCameraView("0")->isVisible());
    EXPECT_FALSE(shown.root->GetCameraView("1")->isVisible()) << "a tab behind another stays there";
}

} // namespace
} // namespace alidade
