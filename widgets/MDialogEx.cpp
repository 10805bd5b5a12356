#include "widgets/MDialogEx.h"

#include "foundation/platform/Text.h"
#include "foundation/utility/Strings.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <cmath>

namespace alidade {

CMDialogEx::CMDialogEx(QWidget* parent) : QDialog(parent)
{
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
}

CMDialogEx::~CMDialogEx() = default;

void CMDialogEx::SetDlgItem(int number, QWidget* control)
{
    m_items[number] = control;
}

QWidget* CMDialogEx::GetDlgItem(int number) const
{
    const auto found = m_items.find(number);
    return found != m_items.end() ? found->second.data() : nullptr;
}

void CMDialogEx::SetDlgItemText(int number, const wchar_t* text)
{
    QWidget* control = GetDlgItem(number);
    const QString shown = QString::fromWCharArray(text != nullptr ? text : L"");
    if (auto* edit = qobject_cast<QLineEdit*>(control)) {
        edit->setText(shown);
    } else if (auto* label = qobject_cast<QLabel*>(control)) {
        label->setText(shown);
    } else if (auto* box = qobject_cast<QComboBox*>(control)) {
        box->setCurrentText(shown);
    } else if (auto* button = qobject_cast<QAbstractButton*>(control)) {
        button->setText(shown);
    }
}

CString CMDialogEx::GetDlgItemText(int number) const
{
    const QWidget* control = GetDlgItem(number);
    QString text;
    if (const auto* edit = qobject_cast<const QLineEdit*>(control)) {
        text = edit->text();
    } else if (const auto* label = qobject_cast<const QLabel*>(control)) {
        text = label->text();
    } else if (const auto* box = qobject_cast<const QComboBox*>(control)) {
        text = box->currentText();
    } else if (const auto* button = qobject_cast<const QAbstractButton*>(control)) {
        text = button->text();
    }
    return text.toStdWString();
}

int CMDialogEx::CheckAndSetDlgItemText(int number, const wchar_t* text)
{
    if (GetDlgItem(number) == nullptr || GetDlgItemText(number) == (text != nullptr ? text : L"")) {
        return 0;
    }
    SetDlgItemText(number, text);
    return 1;
}

void CMDialogEx::SetDlgItemDouble(int number, double value, const wchar_t* format)
{
    SetDlgItemText(number, (format != nullptr ? Format(format, value) : DtoA(value)).c_str());
}

double CMDialogEx::GetDlgItemDouble(int number, double defaultValue) const
{
    bool isNumber = false;
    const QString text = QString::fromStdWString(GetDlgItemText(number)).trimmed();
    const double value = QLocale::c().toDouble(text, &isNumber);
    return isNumber && std::isfinite(value) ? value : defaultValue;
}

int CMDialogEx::SyncData(int)
{
    return 1;
}

void CMDialogEx::setVisible(bool visible)
{
    if (visible && !m_initialised) {
        m_initialised = true;
        OnInitDialog();
    }
    QDialog::setVisible(visible);
}

void CMDialogEx::OnInitDialog()
{
    SyncData(0);
}

void CMDialogEx::OnOK()
{
    SyncData(1);
    QDialog::accept();
}

void CMDialogEx::OnCancel()
{
    QDialog::reject();
}

} // namespace alidade
