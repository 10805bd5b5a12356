#pragma once

#include "acquisition/Export.h"
#include "foundation/platform/Types.h"

#include <QDialog>
#include <QPointer>
#include <map>

namespace alidade {

/// Base of the system's dialogs: its data go into the controls when it opens and come back on "OK", and
/// controls are reached by a number.
///
/// A control is a QLineEdit, QLabel, QComboBox or QAbstractButton where its text is meant; numbers that stand
/// for no control, or for another kind, do nothing and read as empty. Bound to the user interface's thread.
class ALIDADE_API CMDialogEx : public QDialog {
public:
    explicit CMDialogEx(QWidget* parent = nullptr);
    ~CMDialogEx() override;

    /// Gives a control its number, in place of another's; null takes it away. The control stays its parent's.
    void SetDlgItem(int number, QWidget* control);
    QWidget* GetDlgItem(int number) const;

    void SetDlgItemText(int number, const wchar_t* text);
    CString GetDlgItemText(int number) const;
    /// Writes a text only where another one stands, so that nothing flickers. 1 when it was written.
    int CheckAndSetDlgItemText(int number, const wchar_t* text);
    /// By the printf format, or without one as the shortest text that reads back the same.
    void SetDlgItemDouble(int number, double value, const wchar_t* format = nullptr);
    /// Decimal point whatever the locale. The default where there is no finite number.
    double GetDlgItemDouble(int number, double defaultValue = 0.0) const;

    /// With `store` non-zero takes the data out of the controls, otherwise shows them. 1 on success.
    virtual int SyncData(int store);

    /// Both go to OnOK and OnCancel, whatever closes the dialog.
    ///@{
    void accept() override { OnOK(); }
    void reject() override { OnCancel(); }
    ///@}
    void setVisible(bool visible) override;

protected:
    /// Called once, before the dialog is first shown: SyncData(0).
    virtual void OnInitDialog();
    /// SyncData(1), then closes with the result QDialog::Accepted whatever came of it.
    virtual void OnOK();
    virtual void OnCancel();

private:
    std::map<int, QPointer<QWidget>> m_items;
    bool m_initialised = false;
};

} // namespace alidade
