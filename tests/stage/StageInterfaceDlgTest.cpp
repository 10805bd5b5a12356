#include "stage/StageInterfaceDlg.h"
#include "foundation/platform/Text.h"
#include "stage/StageSettings.h"
#include "tests/widgets/UiHarness.h"

#include <QPushButton>

namespace alidade {
namespace {

const auto* const g_environment = ::testing::AddGlobalTestEnvironment(new CUiEnvironment);

QPushButton* FindButton(QWidget& dialog, const char* text)
{
    for (auto* button : dialog.findChildren<QPushButton*>()) {
        if (button->text() == text) {
            return button;
        }
    }
    return nullptr;
}

void ClickButton(QWidget& dialog, const char* text)
{
    QPushButton* button = FindButton(dialog, text);
    ASSERT_NE(button, nullptr);
    QTest::mouseClick(button, Qt::LeftButton);
}

TEST(StageInterfaceDlg, AnEmptySectionShowsTheDefaultsAndOkSavesThemAll)
{
    CStageInterfaceDlg dialog{CProfileSection()};
    ShowActive(dialog);
    EXPECT_EQ(dialog.windowTitle(), "Stage Interface");
    EXPECT_TRUE(dialog.GetGrid().isAncestorOf(QApplication::focusWidget()));
    EXPECT_NEAR(dialog.GetGrid().GetValueRect(dialog.FindRow(L"Lens", L"Use")).left(),
                dialog.GetGrid().GetCells()->width() * 0.4, 2.0);
    ClickButton(dialog, "OK");
    EXPECT_EQ(dialog.result(), QDialog::Accepted);

    const CProfileSection& saved = dialog.GetSection();
    EXPECT_EQ(saved.m_sections.Count(), 4);
    for (const T_STAGE_GROUP& group : GetStageSettingTable()) {
        const CProfileSection* section = saved.FindSubSection(group.name);
        ASSERT_NE(section, nullptr);
        int rows = 0;
        for (const T_STAGE_SETTING& row : group.rows) {
            if (CString(row.name) != kPropertySeparator) {
                EXPECT_STREQ(section->GetItemValue(row.name, L"?"), row.defaultValue) << ToNarrow(row.name);
                ++rows;
            }
        }
        EXPECT_EQ(section->m_items.Count(), rows); // no separators
    }
}

TEST(StageInterfaceDlg, ShowsWhatIsSavedAndKeepsWhatHasNoRow)
{
    CProfileSection section;
    section.GetSubSection(L"StageZ").SetItemValue(L"Unit", L"Head1");
    section.GetSubSection(L"StageZ").SetItemValue(L"SpeedName", L"");
    section.GetSubSection(L"Slit").SetItemValue(L"TargetAngleName", L"Theta");
    CStageInterfaceDlg dialog(section);
    ShowActive(dialog);
    EXPECT_EQ(dialog.FindRow(L"StageZ", L"Unit")->GetValue(), L"Head1");
    EXPECT_EQ(dialog.FindRow(L"StageZ", L"SpeedName")->GetValue(), L"");
    EXPECT_EQ(dialog.FindRow(L"StageXY", L"Task")->GetValue(), L"Sequence"); // the default
    ClickButton(dialog, "OK");
    CProfileSection saved = dialog.GetSection();
    EXPECT_STREQ(saved.GetSubSection(L"StageZ").GetItemValue(L"Unit", L""), L"Head1");
    EXPECT_STREQ(saved.GetSubSection(L"StageZ").GetItemValue(L"SpeedName", L"?"), L"");
    EXPECT_STREQ(saved.GetSubSection(L"Slit").GetItemValue(L"TargetAngleName", L""), L"Theta");
}

TEST(StageInterfaceDlg, SavesChoicesAndTextsAndTheEditThatIsStillOpen)
{
    for (const bool byMouse : {true, false}) {
        CStageInterfaceDlg dialog{CProfileSection()};
        ShowActive(dialog);
        CMFCPropertyGridCtrl2& grid = dialog.GetGrid();
        grid.Select(dialog.FindRow(L"StageXY", L"Individual"));
        ClickValue(grid, dialog.FindRow(L"StageXY", L"Individual"));
        Press(Qt::Key_Up);
        Press(Qt::Key_Return);
        grid.Select(dialog.FindRow(L"StageXY", L"Unit"));
        Type("Head2");
        Press(Qt::Key_Return);
        EXPECT_TRUE(dialog.isVisible()); // Enter ended the edit, not the dialog
        grid.Select(dialog.FindRow(L"StageZ", L"OptionValue"));
        Type("0.005");
        ASSERT_TRUE(grid.IsEditing());
        if (byMouse) {
            ClickButton(dialog, "OK");
        } else {
            dialog.accept();
        }
        CProfileSection saved = dialog.GetSection();
        EXPECT_STREQ(saved.GetSubSection(L"StageXY").GetItemValue(L"Individual", L""), L"TRUE");
        EXPECT_STREQ(saved.GetSubSection(L"StageXY").GetItemValue(L"Unit", L""), L"Head2");
        EXPECT_STREQ(saved.GetSubSection(L"StageZ").GetItemValue(L"OptionValue", L""), L"0.005");
    }
}

TEST(StageInterfaceDlg, CancelAndEscChangeNothing)
{
    CProfileSection section;
    section.GetSubSection(L"StageXY").SetItemValue(L"Unit", L"Head1");
    for (const bool byButton : {true, false}) {
        CStageInterfaceDlg dialog(section);
        ShowActive(dialog);
        dialog.GetGrid().Select(dialog.FindRow(L"StageXY", L"Unit"));
        Type("Head2");
        if (byButton) {
            ClickButton(dialog, "Cancel");
        } else {
            Press(Qt::Key_Escape); // the edit
            EXPECT_TRUE(dialog.isVisible());
            Press(Qt::Key_Escape);
        }
        EXPECT_FALSE(dialog.isVisible());
        EXPECT_EQ(dialog.result(), QDialog::Rejected);
        CProfileSection kept = dialog.GetSection();
        EXPECT_STREQ(kept.GetSubSection(L"StageXY").GetItemValue(L"Unit", L""), L"Head1");
    }
}

} // namespace
} // namespace alidade
