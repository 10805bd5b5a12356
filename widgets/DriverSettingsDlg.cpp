#include "widgets/DriverSettingsDlg.h"

#include "acquisition/FrameGrabber.h"

#include <QDialogButtonBox>
#include <QPushButton>
#include <QVBoxLayout>

namespace alidade {

CDriverSettingsDlg::CDriverSettingsDlg(const wchar_t* driver, const CProfileSection& settings,
                                       QWidget* parent)
    : CMDialogEx(parent), m_settings(settings), m_grid(new CMFCPropertyGridCtrl2(this))
{
    setWindowTitle(QString::fromWCharArray(driver) + " settings");
    auto* buttons = new QDialogButtonBox(this);
    connect(buttons->addButton("OK", QDialogButtonBox::AcceptRole), &QPushButton::clicked, this,
            &QDialog::accept);
    connect(buttons->addButton("Cancel", QDialogButtonBox::RejectRole), &QPushButton::clicked, this,
            &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_grid, 1);
    layout->addWidget(buttons);
    resize(520, 420);

    CFrameGrabber::GetFrameGrabberProperties(driver, m_properties);
    m_grid->SetEmptyText(L"(default)");
    m_grid->SetNameColumn(0.4);
    m_grid->AddProperties(m_properties);
    m_grid->setFocus();
}

CDriverSettingsDlg::~CDriverSettingsDlg()
{
    m_grid->RemoveAll();
}

int CDriverSettingsDlg::SyncData(int store)
{
    if (store != 0) {
        m_grid->EndEdit();
    }
    for (CMFCPropertyGridProperty* row : m_properties) {
        const wchar_t* key = row->GetName().c_str();
        if (IsSeparator(*row)) {
            continue;
        }
        if (store == 0) {
            row->SetValue(m_settings.GetItemValue(key, row->GetValue().c_str()));
        } else if (row->GetValue() == m_settings.GetItemValue(key, L"")) {
            continue; // a text that was set empty is not the default
        } else if (row->GetValue().empty()) {
            m_settings.DeleteItem(key);
        } else {
            m_settings.SetItemValue(key, row->GetValue().c_str());
        }
    }
    if (store == 0) {
        m_grid->Redraw();
        m_grid->Select(nullptr);
    }
    return 1;
}

int CDriverSettingsDlg::Edit(const wchar_t* driver, CProfileSection& settings, QWidget* parent)
{
    CDriverSettingsDlg dialog(driver, settings, parent);
    if (dialog.exec() != QDialog::Accepted) {
        return 0;
    }
    settings = dialog.GetSettings();
    return 1;
}

} // namespace alidade
