#include "MenuBarHarness.h"

#include <QHelpEvent>
#include <QLabel>
#include <QToolTip>

namespace alidade {
namespace {

constexpr int kControls[] = {MENU_BAR_HIDE, MENU_BAR_MENU,       MENU_BAR_ZOOM_TOGGLE,
                             MENU_BAR_ZOOM, MENU_BAR_FRAME_RATE, MENU_BAR_STATUS};

TEST(MenuBar, ControlsStandInARowWithRoomForTheirTexts)
{
    CBarView view;
    ShowActive(view);
    const CMenuBar& bar = *view.m_bar;
    EXPECT_EQ(bar.pos(), QPoint(0, 0));
    EXPECT_EQ(bar.width(), view.width());
    EXPECT_EQ(bar.GetCoveredHeight(), bar.height());
    EXPECT_NEAR(bar.height(), 26, 6);
    int right = -1;
    for (const int number : kControls) {
        QWidget* control = bar.GetDlgItem(number);
        ASSERT_NE(control, nullptr) << number;
        EXPECT_GT(control->x(), right) << number;
        EXPECT_LT(control->geometry().bottom(), bar.height()) << number;
        EXPECT_FALSE(control->accessibleName().isEmpty()) << number;
        EXPECT_FALSE(control->accessibleDescription().isEmpty()) << number;
        const QString text = QString::fromStdWString(bar.GetDlgItemText(number));
        EXPECT_GE(control->width(), control->fontMetrics().horizontalAdvance(text)) << number;
        right = control->geometry().right();
    }
    EXPECT_EQ(right, bar.width() - 1) << "the status line takes the rest";
    EXPECT_GE(view.Get<QComboBox>(MENU_BAR_ZOOM)->lineEdit()->width(),
              view.Get<QComboBox>(MENU_BAR_ZOOM)->fontMetrics().horizontalAdvance("anisotropic"));
    EXPECT_EQ(bar.GetDlgItemText(MENU_BAR_FRAME_RATE), L"00.0 fps");

    view.m_bar->FitWidth(99);
    EXPECT_EQ(bar.width(), 800);
    view.m_bar->FitWidth(100);
    EXPECT_EQ(bar.width(), 100);
}

TEST(MenuBar, ClicksOnItAreNoneIntoThePicture)
{
    CBarView view;
    ShowActive(view);
    view.Click(MENU_BAR_STATUS);
    view.Click(MENU_BAR_FRAME_RATE);
    QTest::mouseClick(view.m_bar, Qt::LeftButton, {}, QPoint(view.m_bar->width() - 2, 2));
    EXPECT_EQ(view.m_clicks, 0);
    EXPECT_EQ(view.m_frameRates, 1);
    EXPECT_EQ(view.m_bar->cursor().shape(), Qt::ArrowCursor);
}

TEST(MenuBar, TabGoesAlongItAndEveryButtonHasItsKeys)
{
    CBarView view;
    ShowActive(view);
    view.setFocus();
    for (const int number :
         {MENU_BAR_HIDE, MENU_BAR_MENU, MENU_BAR_ZOOM_TOGGLE, MENU_BAR_ZOOM, MENU_BAR_FRAME_RATE}) {
        Press(Qt::Key_Tab);
        EXPECT_EQ(QApplication::focusWidget(), view.m_bar->GetDlgItem(number)) << number;
        Press(Qt::Key_F4); // an open list takes keys of its own, and no other control minds
        if (QWidget* popup = QApplication::activePopupWidget()) {
            popup->close();
        }
    }
    Press(Qt::Key_Space);
    Press(Qt::Key_Return);
    EXPECT_EQ(view.m_frameRates, 2);
    Press(Qt::Key_Escape);
    EXPECT_TRUE(view.m_bar->IsToolMenuVisible());
    EXPECT_GT(view.m_keys, 0) << "Esc is the view's";

    QLineEdit neighbour(&view);
    neighbour.show();
    view.Button(MENU_BAR_HIDE)->setFocus();
    Press(Qt::Key_Return);
    EXPECT_FALSE(view.m_bar->IsToolMenuVisible());
    EXPECT_EQ(view.m_shown, 1);
    EXPECT_TRUE(view.hasFocus()) << "the keyboard does not stay on a hidden control";
}

TEST(MenuBar, TheFrameRateButtonShowsItsStateLegibly)
{
    CBarView view;
    ShowActive(view);
    QAbstractButton* button = view.Button(MENU_BAR_FRAME_RATE);
    const auto count = [button](const QColor& color, int tolerance = 0) {
        const QImage image = button->grab().toImage();
        int found = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QColor pixel = image.pixelColor(x, y);
                found += std::abs(pixel.red() - color.red()) + std::abs(pixel.green() - color.green()) +
                             std::abs(pixel.blue() - color.blue()) <=
                         tolerance;
            }
        }
        return found;
    };
    const int area = button->width() * button->height();
    EXPECT_LT(count(Qt::red) + count(Qt::yellow), 1);
    view.m_bar->SetFrameRateText(L"Freezed");
    view.m_bar->SetFrameRateState(FRAME_RATE_FROZEN);
    EXPECT_GT(count(Qt::red), area / 2);
    EXPECT_GT(count(Qt::black, 120), 20) << "the text";
    view.m_bar->SetFrameRateState(FRAME_RATE_PAUSED);
    EXPECT_GT(count(Qt::yellow), area / 2);
    view.m_bar->SetFrameRatePressed(true);
    EXPECT_LT(count(Qt::yellow), area / 4) << "pressed looks pressed";
    view.Click(MENU_BAR_FRAME_RATE);
    EXPECT_TRUE(button->isChecked()) << "the view alone says what it shows";
    view.m_bar->SetFrameRatePressed(false);
    EXPECT_GT(count(Qt::yellow), area / 2);
    view.m_bar->SetFrameRateState(FRAME_RATE_NORMAL);
    EXPECT_EQ(count(Qt::yellow), 0);
}

TEST(MenuBar, TheStatusToolTipIsThereWhileTheTextDoesNotFit)
{
    CBarView view;
    ShowActive(view);
    auto* status = view.Get<QLabel>(MENU_BAR_STATUS);
    const CString text = L"X, Y = 1.000, <b>2.000</b>, 128";
    view.m_bar->SetStatusText(text.c_str());
    EXPECT_TRUE(status->toolTip().isEmpty());
    const int begin = status->x();
    const int needed = begin + status->fontMetrics().horizontalAdvance(QString::fromStdWString(text));
    view.m_bar->FitWidth(needed - 10);
    EXPECT_EQ(status->toolTip().toStdWString(), text);

    const QPoint at = status->rect().center();
    QTest::mouseMove(status, at);
    QHelpEvent help(QEvent::ToolTip, at, status->mapToGlobal(at));
    QApplication::sendEvent(status, &help);
    EXPECT_TRUE(QToolTip::isVisible());
    EXPECT_EQ(QToolTip::text(), "<p style='white-space:pre'>" + status->toolTip().toHtmlEscaped() + "</p>");
    QToolTip::hideText();

    view.m_bar->FitWidth(needed + 20);
    EXPECT_TRUE(status->toolTip().isEmpty());
    view.m_bar->SetStatusText((text + text).c_str());
    EXPECT_EQ(status->toolTip().toStdWString(), text + text);
    EXPECT_EQ(view.m_bar->GetDlgItemText(MENU_BAR_STATUS), text + text);
    view.m_bar->SetStatusText(L"");
    EXPECT_TRUE(status->toolTip().isEmpty());
}

} // namespace
} // namespace alidade
