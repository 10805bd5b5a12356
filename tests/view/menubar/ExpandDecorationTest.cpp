#include "MenuBarHarness.h"
#include "view/menubar/ExpandFade.h"

#include <functional>

namespace alidade {
namespace {

/// How far the middle row of the decoration's place is from the picture: 0 when nothing shows.
int Strength(CBarView& view)
{
    const QImage image = view.grab(view.m_bar->GetDlgItem(MENU_BAR_HIDE)->geometry()).toImage();
    int most = 0;
    for (int x = 0; x < image.width(); ++x) {
        most = std::max(most, std::abs(image.pixelColor(x, image.height() / 2).green() - 128));
    }
    return most;
}

/// Lets the fade's timer tick until something holds. False when that does not come.
bool FadeUntil(QTimer& timer, const std::function<bool()>& holds)
{
    for (int tick = 0; !holds(); ++tick) {
        if (tick == 200 || !timer.isActive()) {
            return false;
        }
        QTimerEvent event(timer.timerId());
        QCoreApplication::sendEvent(&timer, &event);
    }
    return true;
}

TEST(ExpandFade, CountsInAndOut)
{
    CExpandFade fade;
    EXPECT_TRUE(fade.Count());
    EXPECT_FALSE(fade.IsRunning());
    fade.Leave();
    EXPECT_EQ(fade.GetCounter(), 0);
    fade.Rise();
    EXPECT_EQ(fade.GetCounter(), 1);
    EXPECT_EQ(fade.GetAlpha(), 5);
    for (int i = 0; i < 24; ++i) {
        EXPECT_TRUE(fade.Count());
    }
    EXPECT_EQ(fade.GetAlpha(), 127);
    fade.Rise();
    EXPECT_EQ(fade.GetCounter(), 25) << "the mouse moved on it";
    fade.Leave();
    EXPECT_EQ(fade.GetCounter(), -50);
    EXPECT_EQ(fade.GetAlpha(), 255);
    fade.Leave();
    for (int i = 0; i < 20; ++i) {
        fade.Count();
    }
    EXPECT_EQ(fade.GetCounter(), -30);
    fade.Rise();
    EXPECT_EQ(fade.GetCounter(), 30);
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(fade.Count());
    }
    EXPECT_FALSE(fade.Count()) << "now the mouse is looked for";
    EXPECT_EQ(fade.GetCounter(), 50);
    fade.Leave();
    for (int i = 0; i < 60; ++i) {
        fade.Count();
    }
    EXPECT_EQ(fade.GetCounter(), 0);
}

TEST(ExpandDecoration, ShowsUnderTheMouseAndGoesWithIt)
{
    CBarView view;
    ShowActive(view);
    const QPoint on = view.m_bar->GetDlgItem(MENU_BAR_HIDE)->geometry().center();
    const QPoint off(view.width() / 2, view.height() / 2);
    EXPECT_EQ(view.m_bar->HitExpandButton(on), 0) << "the bar is there";
    view.Click(MENU_BAR_HIDE);
    EXPECT_EQ(view.m_shown, 1);
    EXPECT_FALSE(view.m_bar->IsToolMenuVisible());
    EXPECT_EQ(view.m_bar->GetCoveredHeight(), 0);
    EXPECT_GT(Strength(view), 40) << "it is there at once";
    auto* timer = view.m_bar->findChild<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
    ASSERT_NE(timer, nullptr);
    EXPECT_EQ(timer->interval(), 10);
    QCursor::setPos(view.mapToGlobal(off));
    EXPECT_TRUE(FadeUntil(*timer, [&] { return Strength(view) == 0; }));
    EXPECT_TRUE(FadeUntil(*timer, [&] { return !timer->isActive(); })) << "nobody wakes up for nothing";

    EXPECT_EQ(view.m_bar->HitExpandButton(on), 1);
    EXPECT_EQ(view.m_bar->HitExpandButton(off), 0);
    EXPECT_EQ(Strength(view), 0) << "a look is no mouse move";
    QCursor::setPos(view.mapToGlobal(on));
    QTest::mouseMove(&view, on);
    EXPECT_TRUE(FadeUntil(*timer, [&] { return Strength(view) > 40; }));
    view.m_bar->SetToolMenuVisible(true);
    EXPECT_EQ(view.m_shown, 1) << "the view does that itself";
    view.m_bar->SetToolMenuVisible(false);
    EXPECT_EQ(Strength(view), 0) << "it was forgotten";
}

} // namespace
} // namespace alidade
