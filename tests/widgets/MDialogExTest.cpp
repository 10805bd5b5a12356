#include "widgets/MDialogEx.h"
#include "UiHarness.h"
#include "foundation/platform/Text.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>

namespace alidade {
namespace {

class CProbeDialog : public CMDialogEx {
public:
    int SyncData(int store) override
    {
        m_calls += store != 0 ? 's' : 'l';
        return 0;
    }
    std::string m_calls;
};

TEST(MDialogEx, LoadsWhenItOpensAndStoresOnOkAlone)
{
    CProbeDialog dialog;
    dialog.show();
    EXPECT_EQ(dialog.m_calls, "l");
    dialog.reject();
    EXPECT_EQ(dialog.m_calls, "l");
    dialog.show();
    EXPECT_EQ(dialog.m_calls, "l"); // once in its life
    dialog.accept();
    EXPECT_EQ(dialog.m_calls, "ls");
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    EXPECT_FALSE(dialog.isVisible());
}

TEST(MDialogEx, NumbersPassThroughTextWhateverTheLocale)
{
    QLocale::setDefault(QLocale(QLocale::German));
    CMDialogEx dialog;
    QLineEdit edit;
    dialog.SetDlgItem(7, &edit);
    dialog.SetDlgItemDouble(7, 0.1);
    EXPECT_EQ(dialog.GetDlgItemText(7), L"0.1");
    dialog.SetDlgItemDouble(7, 2.0 / 3.0, L"%.3f");
    EXPECT_EQ(dialog.GetDlgItemText(7), L"0.667");

    const struct {
        const wchar_t* text;
        double value;
    } rows[] = {{L"1.5", 1.5}, {L" -2e3 ", -2000.0}, {L"", 9.0},   {L"1,5", 9.0},
                {L"abc", 9.0}, {L"nan", 9.0},        {L"inf", 9.0}};
    for (const auto& row : rows) {
        dialog.SetDlgItemText(7, row.text);
        EXPECT_EQ(dialog.GetDlgItemDouble(7, 9.0), row.value) << ToNarrow(row.text);
    }
    EXPECT_EQ(dialog.GetDlgItemDouble(8, 9.0), 9.0);
    QLocale::setDefault(QLocale::c());
}

TEST(MDialogEx, ATextIsWrittenOnlyWhereAnotherStands)
{
    CMDialogEx dialog;
    QLabel label("12 frames");
    dialog.SetDlgItem(1, &label);
    EXPECT_EQ(dialog.CheckAndSetDlgItemText(1, L"12 frames"), 0);
    EXPECT_EQ(dialog.CheckAndSetDlgItemText(1, L"13 frames"), 1);
    EXPECT_EQ(label.text(), "13 frames");
    EXPECT_EQ(dialog.CheckAndSetDlgItemText(2, L"nobody"), 0);
}

TEST(MDialogEx, AControlThatIsGoneIsNoControl)
{
    CMDialogEx dialog;
    auto* edit = new QLineEdit(&dialog);
    dialog.SetDlgItem(1, edit);
    delete edit;
    EXPECT_EQ(dialog.GetDlgItem(1), nullptr);
    dialog.SetDlgItemText(1, L"text");
    EXPECT_EQ(dialog.GetDlgItemText(1), L"");
}

} // namespace
} // namespace alidade
