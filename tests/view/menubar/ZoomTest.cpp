#include "MenuBarHarness.h"
#include "view/menubar/ZoomChoice.h"

#include <QListView>
#include <QWheelEvent>

namespace alidade {
namespace {

const auto* const g_environment = ::testing::AddGlobalTestEnvironment(new CUiEnvironment);

TEST(ZoomChoice, ATextIsANumberWithinItsLimits)
{
    const struct {
        const wchar_t* text;
        double factor;
        const wchar_t* shown;
    } rows[] = {
        {L"2000", 10.0, L"1000 %"}, {L"1000.1", 10.0, L"1000 %"},  {L"1000", 10.0, L"1000"},
        {L"0", 1.0, L"100 %"},      {L"0.99", 1.0, L"100 %"},      {L"1", 0.01, L"1"},
        {L"-50", 1.0, L"100 %"},    {L"", 1.0, L"100 %"},          {L"abc", 1.0, L"100 %"},
        {L"nan", 1.0, L"100 %"},    {L"inf", 10.0, L"1000 %"},     {L"1e999", 10.0, L"1000 %"},
        {L"1e-999", 1.0, L"100 %"}, {L" +33.3 %", 0.333, nullptr}, {L"33,3", 0.33, nullptr},
        {L"5e", 0.05, nullptr},     {L"200 %", 2.0, nullptr},      {L"\xd800", 1.0, L"100 %"},
    };
    for (const auto& row : rows) {
        CZoomChoice zoom;
        zoom.SetText(row.text);
        EXPECT_EQ(zoom.GetState().mode, ZOOM_FACTOR) << ToNarrow(row.text);
        EXPECT_DOUBLE_EQ(zoom.GetState().factor, row.factor) << ToNarrow(row.text);
        EXPECT_EQ(zoom.GetText(), row.shown != nullptr ? row.shown : row.text) << ToNarrow(row.text);
        EXPECT_EQ(zoom.GetSelection(), -1) << ToNarrow(row.text);
    }
}

TEST(ZoomChoice, ItemsAreModesOrFactorsByNumberOrName)
{
    const double factors[] = {0.0, 0.0, 0.5, 0.75, 1.0, 1.5, 2.0, 5.0, 10.0};
    ASSERT_EQ(CZoomChoice::GetItems().size(), std::size(factors));
    for (const bool byName : {false, true}) {
        for (int item = 0; item < static_cast<int>(std::size(factors)); ++item) {
            CZoomChoice zoom;
            zoom.SetText(L"30");
            byName ? zoom.SetText(CZoomChoice::GetItems()[item]) : zoom.Select(item);
            EXPECT_EQ(zoom.GetState().mode, item < 2 ? item : ZOOM_FACTOR);
            EXPECT_EQ(zoom.GetState().factor, item < 2 ? 0.3 : factors[item]) << "a mode keeps the factor";
            EXPECT_EQ(zoom.GetSelection(), item);
            EXPECT_EQ(zoom.GetText(), CZoomChoice::GetItems()[item]);
        }
    }
    CZoomChoice zoom;
    zoom.Select(9);
    zoom.Select(-1);
    EXPECT_EQ(zoom.GetText(), L"Fit");
}

TEST(ZoomChoice, ToggleGoesBackToTheLastFactorInWholePercent)
{
    CZoomChoice zoom;
    zoom.Toggle();
    EXPECT_EQ(zoom.GetText(), L"100 %");
    EXPECT_EQ(zoom.GetState().mode, ZOOM_FACTOR);
    zoom.Select(6);
    zoom.Toggle();
    EXPECT_EQ(zoom.GetText(), L"Fit");
    EXPECT_EQ(zoom.GetState().mode, ZOOM_FIT);
    zoom.Toggle();
    EXPECT_EQ(zoom.GetText(), L"200 %");
    EXPECT_EQ(zoom.GetState().factor, 2.0);

    zoom.SetText(L"33.4");
    zoom.Select(ZOOM_ANISOTROPIC);
    zoom.Toggle();
    EXPECT_EQ(zoom.GetText(), L"33 %");
    EXPECT_DOUBLE_EQ(zoom.GetState().factor, 0.33);
}

class ZoomBox : public ::testing::Test {
protected:
    void SetUp() override
    {
        ShowActive(m_view);
        m_box = m_view.Get<QComboBox>(MENU_BAR_ZOOM);
        ASSERT_NE(m_box, nullptr);
    }
    void EnterText(const char* text)
    {
        m_box->setFocus();
        m_box->lineEdit()->selectAll();
        Type(text);
    }
    CBarView m_view;
    QComboBox* m_box = nullptr;
};

TEST_F(ZoomBox, EnterTakesTheTextAndGivesTheKeyboardBack)
{
    EnterText("15"); // an item begins alike
    EXPECT_EQ(m_box->currentText(), "15");
    EXPECT_EQ(m_view.m_zooms, 0);
    Press(Qt::Key_Return);
    EXPECT_EQ(m_view.Factor(), 0.15);
    EXPECT_EQ(m_view.Mode(), ZOOM_FACTOR);
    EXPECT_EQ(m_view.m_zooms, 1);
    EXPECT_TRUE(m_view.hasFocus());
    EXPECT_TRUE(m_view.m_bar->IsToolMenuVisible());
    EXPECT_EQ(m_view.m_keys, 0) << "Enter means something to the view, too";

    EnterText("2000");
    Press(Qt::Key_Enter);
    EXPECT_EQ(m_box->currentText(), "1000 %");
    EXPECT_EQ(m_box->count(), 9);
}

TEST_F(ZoomBox, EscRestoresAndLeavingTakes)
{
    EnterText("70");
    Press(Qt::Key_Escape);
    EXPECT_EQ(m_box->currentText(), "Fit");
    EXPECT_EQ(m_view.m_zooms, 0);
    EXPECT_TRUE(m_view.m_bar->IsToolMenuVisible());
    EXPECT_EQ(m_view.m_keys, 0);
    EXPECT_TRUE(m_view.hasFocus());

    EnterText("70");
    m_view.setFocus();
    QCoreApplication::processEvents();
    EXPECT_EQ(m_view.Factor(), 0.7);
    EXPECT_EQ(m_view.m_zooms, 1);
    m_box->setFocus();
    m_view.setFocus();
    QCoreApplication::processEvents();
    EXPECT_EQ(m_view.m_zooms, 1) << "nothing was edited";
    EnterText("50 %");
    m_view.setFocus();
    QCoreApplication::processEvents();
    EXPECT_EQ(m_view.Factor(), 0.5);
    EXPECT_EQ(m_view.m_zooms, 2) << "an item that was typed";
}

TEST_F(ZoomBox, ArrowsAndTheListChooseAndTheButtonToggles)
{
    m_box->setFocus();
    Press(Qt::Key_Down);
    EXPECT_EQ(m_view.Mode(), ZOOM_ANISOTROPIC);
    Press(Qt::Key_Down);
    EXPECT_EQ(m_view.Factor(), 0.5);
    EXPECT_EQ(m_view.m_zooms, 2);

    m_box->showPopup();
    QListView* list = nullptr;
    ASSERT_TRUE(QTest::qWaitFor([] { return QApplication::activePopupWidget() != nullptr; }, 20000));
    list = qobject_cast<QListView*>(m_box->view());
    ASSERT_NE(list, nullptr);
    EXPECT_GE(list->width(), 80);
    list->setCurrentIndex(list->model()->index(6, 0));
    QTest::keyClick(list, Qt::Key_Return);
    ASSERT_TRUE(QTest::qWaitFor([this] { return m_view.Factor() == 2.0; }, 20000));

    m_view.Click(MENU_BAR_ZOOM_TOGGLE);
    EXPECT_EQ(m_box->currentText(), "Fit");
    m_view.Click(MENU_BAR_ZOOM_TOGGLE);
    EXPECT_EQ(m_box->currentText(), "200 %");
    EXPECT_EQ(m_view.Factor(), 2.0);
    EXPECT_EQ(m_view.m_zooms, 5);
}

TEST_F(ZoomBox, TheWheelTurnsItOnlyWithTheKeyboard)
{
    const auto turn = [this] {
        const QPointF at = m_box->rect().center();
        QWheelEvent wheel(at, m_box->mapToGlobal(at), {}, {0, -120}, Qt::NoButton, Qt::NoModifier,
                          Qt::NoScrollPhase, false);
        QApplication::sendEvent(m_box, &wheel);
    };
    m_view.setFocus();
    turn();
    EXPECT_EQ(m_view.m_zooms, 0);
    m_box->setFocus();
    turn();
    EXPECT_EQ(m_view.m_zooms, 1);
}

TEST(ZoomBoxEnd, AViewThatGoesInTheMiddleOfAnEditIsNotTold)
{
    for (const char* text : {"70", "50 %"}) {
        for (const bool inWindow : {false, true}) {
            QWidget window;
            auto* view = new CBarView;
            view->setParent(inWindow ? &window : nullptr);
            ShowActive(inWindow ? window : *view);
            view->show();
            auto* box = view->Get<QComboBox>(MENU_BAR_ZOOM);
            box->setFocus();
            ASSERT_TRUE(box->hasFocus());
            box->lineEdit()->selectAll();
            Type(text);
            const int before = CBarView::s_told;
            delete view;
            QCoreApplication::processEvents();
            EXPECT_EQ(CBarView::s_told, before) << text;
        }
    }
}

} // namespace
} // namespace alidade
