#include "UiHarness.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QLineEdit>
#include <QMenu>

namespace alidade {
namespace {

const auto* const g_environment = ::testing::AddGlobalTestEnvironment(new CUiEnvironment);

/// A shown grid with every kind of row, and a button behind it in the order of Tab.
class PropertyGrid : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_choice = Add(m_first, L"Choice", L"TRUE", L"TRUE;FALSE", false);
        m_both = Add(m_first, L"Both", L"Axis", L";Axis;AxisNumber;...", true);
        Add(m_first, kPropertySeparator, L"", L"", false);
        m_free = Add(m_first, L"Free", L"old", L"", true);
        m_last = Add(m_second, L"Last", L"", L"", true);
        m_grid.AddGroup(m_first);
        m_grid.AddGroup(m_second);
        m_grid.Select(nullptr);
        m_grid.setParent(&m_window);
        m_button.setParent(&m_window);
        m_grid.setGeometry(0, 0, 400, 300);
        m_button.setGeometry(0, 310, 80, 24);
        m_window.resize(400, 340);
        ShowActive(m_window);
        m_grid.setFocus();
    }
    void TearDown() override
    {
        m_button.setParent(nullptr);
        m_grid.setParent(nullptr);
    }

    static CPropertyGridRow* Add(CPropertyGridGroup& group, const wchar_t* name, const wchar_t* value,
                                 const wchar_t* options, bool allowEdit)
    {
        auto* row = new CPropertyGridRow(name, value, CString(L"about ") + name);
        row->AddOptions(options);
        row->AllowEdit(allowEdit);
        group.GetRows().Insert(row);
        return row;
    }

    CPropertyGridGroup m_first{L"First"};
    CPropertyGridGroup m_second{L"Second"};
    CPropertyGridRow* m_choice = nullptr;
    CPropertyGridRow* m_both = nullptr;
    CPropertyGridRow* m_free = nullptr;
    CPropertyGridRow* m_last = nullptr;
    QWidget m_window;
    CMFCPropertyGridCtrl2 m_grid;
    QLineEdit m_button;
};

TEST_F(PropertyGrid, AnOptionIsChosenFromTheListByKeysAndByTheMouse)
{
    m_grid.Select(m_choice);
    Press(Qt::Key_F2);
    ASSERT_NE(QApplication::activePopupWidget(), nullptr);
    Press(Qt::Key_Down);
    Press(Qt::Key_Return);
    EXPECT_EQ(m_choice->GetValue(), L"FALSE");
    EXPECT_FALSE(m_grid.IsEditing());

    ClickValue(m_grid, m_choice);
    auto* box = m_grid.findChild<QComboBox*>();
    ASSERT_NE(box, nullptr);
    ASSERT_TRUE(box->view()->isVisible());
    QTest::mouseMove(box->view()->viewport(), box->view()->visualRect(box->model()->index(0, 0)).center());
    QTest::mouseClick(box->view()->viewport(), Qt::LeftButton, {},
                      box->view()->visualRect(box->model()->index(0, 0)).center());
    EXPECT_TRUE(
        QTest::qWaitFor([this] { return m_choice->GetValue() == L"TRUE" && !m_grid.IsEditing(); }, 5000));
}

TEST_F(PropertyGrid, ARowWithoutFreeTextRefusesTyping)
{
    m_grid.Select(m_choice);
    Type("abc");
    EXPECT_FALSE(m_grid.IsEditing());
    ClickValue(m_grid, m_choice);
    Press(Qt::Key_Escape);
    m_grid.Select(m_choice);
    m_grid.setFocus();
    Press(Qt::Key_Return);
    Press(Qt::Key_A);
    Press(Qt::Key_B);
    Press(Qt::Key_Return);
    EXPECT_EQ(m_choice->GetValue(), L"TRUE");
    EXPECT_EQ(m_grid.GetSelected(), m_choice);
}

TEST_F(PropertyGrid, TypingReplacesTheValueAsItWasTyped)
{
    m_grid.Select(m_free);
    Type("new");
    Press(Qt::Key_Up); // of no use to the text, and not a way out of it
    EXPECT_TRUE(m_grid.IsEditing());
    EXPECT_EQ(m_grid.GetSelected(), m_free);
    EXPECT_EQ(m_free->GetValue(), L"old");
    Press(Qt::Key_Return);
    EXPECT_EQ(m_free->GetValue(), L"new");
    EXPECT_FALSE(m_grid.IsEditing());

    // What an option begins with is not completed to the option.
    m_grid.Select(m_both);
    Type("AxisN");
    Press(Qt::Key_Return);
    EXPECT_EQ(m_both->GetValue(), L"AxisN");
}

TEST_F(PropertyGrid, EscLeavesTheValueWhateverWasDoneToIt)
{
    m_grid.Select(m_free);
    Type("new");
    Press(Qt::Key_Escape);
    EXPECT_EQ(m_free->GetValue(), L"old");

    m_grid.Select(m_choice);
    Press(Qt::Key_Return);
    Press(Qt::Key_Down);
    Press(Qt::Key_Escape);
    EXPECT_EQ(m_choice->GetValue(), L"TRUE");
    EXPECT_FALSE(m_grid.IsEditing());
    EXPECT_TRUE(m_window.isVisible());
}

TEST_F(PropertyGrid, TabTakesTheValueAndOpensTheNextRowPastDividersAndHeadings)
{
    m_grid.Select(m_both);
    Type("x");
    Press(Qt::Key_Tab);
    EXPECT_EQ(m_both->GetValue(), L"x");
    EXPECT_EQ(m_grid.GetSelected(), m_free);
    ASSERT_TRUE(m_grid.IsEditing());
    Type("y");
    Press(Qt::Key_Tab);
    EXPECT_EQ(m_free->GetValue(), L"y");
    EXPECT_EQ(m_grid.GetSelected(), m_last);
    Type("z");
    Press(Qt::Key_Backtab, Qt::ShiftModifier);
    EXPECT_EQ(m_last->GetValue(), L"z");
    EXPECT_EQ(m_grid.GetSelected(), m_free);
    Press(Qt::Key_Return);

    EXPECT_FALSE(m_grid.IsEditing());
    Press(Qt::Key_Tab);
    EXPECT_TRUE(m_button.hasFocus());
}

TEST_F(PropertyGrid, ArrowsAndClicksPassOverDividers)
{
    m_grid.Select(m_both);
    Press(Qt::Key_Down);
    EXPECT_EQ(m_grid.GetSelected(), m_free);
    Press(Qt::Key_Up);
    EXPECT_EQ(m_grid.GetSelected(), m_both);

    const QPoint divider = m_grid.GetValueRect(m_free).topLeft() + QPoint(10, -4);
    QTest::mouseClick(m_grid.GetCells(), Qt::LeftButton, {}, divider);
    QTest::mouseDClick(m_grid.GetCells(), Qt::LeftButton, {}, divider);
    EXPECT_FALSE(m_grid.IsEditing());
    EXPECT_EQ(m_grid.GetSelected(), m_both);
}

TEST_F(PropertyGrid, AHeadingCollapsesAndItsRowsAreNotOpened)
{
    m_grid.Select(&m_first);
    Press(Qt::Key_Return);
    EXPECT_TRUE(m_grid.GetValueRect(m_free).isEmpty());
    EXPECT_FALSE(m_grid.IsEditing());
    Press(Qt::Key_Down);
    EXPECT_EQ(m_grid.GetSelected(), &m_second);
    m_grid.Select(&m_first);
    Press(Qt::Key_Right);
    EXPECT_FALSE(m_grid.GetValueRect(m_free).isEmpty());
}

TEST_F(PropertyGrid, AnOpenEditEndsAsAskedAndWhenTheKeyboardGoesElsewhere)
{
    m_grid.Select(m_free);
    Type("one");
    m_grid.EndEdit();
    EXPECT_EQ(m_free->GetValue(), L"one");
    EXPECT_FALSE(m_grid.IsEditing());

    Type("two");
    m_grid.CancelEdit();
    EXPECT_EQ(m_free->GetValue(), L"one");

    Type("three");
    m_button.setFocus();
    EXPECT_EQ(m_free->GetValue(), L"three");
    EXPECT_FALSE(m_grid.IsEditing());

    m_grid.setFocus();
    Type("four");
    m_grid.RemoveAll();
    EXPECT_EQ(m_free->GetValue(), L"three");
    EXPECT_EQ(m_grid.GetSelected(), nullptr);
}

/// Looking at the options of a row must not lose a value that is none of them.
TEST_F(PropertyGrid, AValueFromElsewhereStaysAndStandsForItsOption)
{
    for (const wchar_t* value : {L"True", L"1", L""}) {
        m_choice->SetValue(value);
        m_grid.Redraw();
        m_grid.Select(m_choice);
        Press(Qt::Key_F2);
        ASSERT_TRUE(m_grid.IsEditing());
        m_grid.EndEdit();
        EXPECT_EQ(m_choice->GetValue(), value);
    }
    m_grid.Select(m_choice);
    Press(Qt::Key_F2);
    Press(Qt::Key_End);
    Press(Qt::Key_Return);
    EXPECT_EQ(m_choice->GetValue(), L"FALSE");
}

TEST_F(PropertyGrid, TheHintAtFurtherValuesCannotBeChosen)
{
    m_grid.Select(m_both);
    Press(Qt::Key_F2);
    Press(Qt::Key_Down, Qt::AltModifier);
    ASSERT_NE(QApplication::activePopupWidget(), nullptr);
    Press(Qt::Key_End);
    Press(Qt::Key_Return);
    EXPECT_NE(m_both->GetValue(), L"...");
}

TEST_F(PropertyGrid, TheRowsMenuTakesBackTheValueItWasAddedWith)
{
    m_free->SetValue(L"changed");
    m_grid.Redraw();
    QTest::mouseClick(m_grid.GetCells(), Qt::RightButton, {}, m_grid.GetValueRect(m_free).center());
    QContextMenuEvent event(QContextMenuEvent::Mouse, m_grid.GetValueRect(m_free).center());
    QCoreApplication::sendEvent(m_grid.GetCells(), &event);
    auto* menu = m_grid.findChild<QMenu*>();
    ASSERT_NE(menu, nullptr);
    ASSERT_EQ(menu->actions().size(), 1);
    menu->actions()[0]->trigger();
    EXPECT_EQ(m_free->GetValue(), L"old");
    menu->close();
}

TEST_F(PropertyGrid, TheNameColumnKeepsItsPartOfTheWidth)
{
    m_grid.SetNameColumn(0.25);
    m_grid.resize(320, 300);
    QCoreApplication::processEvents();
    EXPECT_NEAR(m_grid.GetValueRect(m_last).left(), m_grid.GetCells()->width() * 0.25, 2.0);
}

} // namespace
} // namespace alidade
