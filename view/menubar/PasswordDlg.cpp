#include "view/menubar/PasswordDlg.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

namespace alidade {

CPasswordDlg::CPasswordDlg(QWidget* parent) : CMDialogEx(parent)
{
    setWindowTitle("Input Password");
    auto* label = new QLabel("Password : ", this);
    auto* edit = new QLineEdit(this);
    edit->setEchoMode(QLineEdit::Password);
    edit->setAccessibleName("Password");
    edit->setMinimumWidth(fontMetrics().averageCharWidth() * 28);
    label->setBuddy(edit);
    SetDlgItem(kEdit, edit);

    auto* buttons = new QDialogButtonBox(this);
    QPushButton* ok = buttons->addButton("OK", QDialogButtonBox::AcceptRole);
    ok->setDefault(true);
    connect(ok, &QPushButton::clicked, this, &QDialog::accept);
    connect(buttons->addButton("Cancel", QDialogButtonBox::RejectRole), &QPushButton::clicked, this,
            &QDialog::reject);

    auto* row = new QHBoxLayout;
    row->addWidget(label);
    row->addWidget(edit, 1);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(row);
    layout->addWidget(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
}

int CPasswordDlg::SyncData(int store)
{
    if (store != 0) {
        m_strPassword = GetDlgItemText(kEdit);
    } else {
        SetDlgItemText(kEdit, m_strPassword.c_str());
        GetDlgItem(kEdit)->setFocus();
    }
    return 1;
}

int CheckPassword(const CString& password, QWidget* parent)
{
    if (password.empty()) {
        return 1;
    }
    const CString right = password; // the caller's may go while the dialog is open, and so may the parent
    QPointer<CPasswordDlg> dialog = new CPasswordDlg(parent);
    int result = 0;
    while (result == 0) {
        dialog->m_strPassword.clear();
        dialog->SyncData(0);
        const bool accepted = dialog->exec() == QDialog::Accepted;
        if (!dialog || !accepted) {
            break;
        }
        dialog->move(dialog->pos()); // where the operator left it, the next time too
        result = dialog->m_strPassword == right ? 1 : 0;
    }
    delete dialog;
    return result;
}

} // namespace alidade
