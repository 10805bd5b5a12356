#pragma once

#include "widgets/MDialogEx.h"

namespace alidade {

/// "Input Password": asks for a password that is not shown.
class ALIDADE_API CPasswordDlg : public CMDialogEx {
public:
    static constexpr int kEdit = 2016;

    explicit CPasswordDlg(QWidget* parent = nullptr);
    int SyncData(int store) override;

    CString m_strPassword;
};

/// Asks until the password is right or the operator gives up. 1 when there is none, or it was given; 0 when
/// the operator cancelled. Opens a dialog and waits for its end.
ALIDADE_API int CheckPassword(const CString& password, QWidget* parent);

} // namespace alidade
