#include "stage/StageInterfaceDlg.h"

#include "stage/StageSettings.h"

#include <QDialogButtonBox>
#include <QPushButton>
#include <QVBoxLayout>

namespace alidade {
namespace {

constexpr double kNameColumn = 2.0 / 5.0;

bool IsEmpty(const CProfileSection& section)
{
    return section.m_items.Count() == 0 && section.m_sections.Count() == 0;
}

} // namespace

CStageInterfaceDlg::CStageInterfaceDlg(const CProfileSection& section, QWidget* parent)
    : CMDialogEx(parent), m_section(section), m_grid(this)
{
    setWindowTitle("Stage Interface");
    auto* buttons = new QDialogButtonBox(this);
    connect(buttons->addButton("OK", QDialogButtonBox::AcceptRole), &QPushButton::clicked, this,
            &QDialog::accept);
    connect(buttons->addButton("Cancel", QDialogButtonBox::RejectRole), &QPushButton::clicked, this,
            &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(&m_grid, 1);
    layout->addWidget(buttons);
    resize(600, 680);

    std::uintptr_t number = 0;
    for (const T_STAGE_GROUP& group : GetStageSettingTable()) {
        auto* heading = new CPropertyGridGroup(group.name);
        m_groups.Insert(heading);
        for (const T_STAGE_SETTING& setting : group.rows) {
            auto* row = new CPropertyGridRow(setting.name, setting.defaultValue, setting.description);
            row->AddOptions(setting.options);
            row->AllowEdit(setting.allowEdit);
            row->SetData(number++);
            heading->GetRows().Insert(row);
        }
    }
}

CStageInterfaceDlg::~CStageInterfaceDlg()
{
    m_grid.RemoveAll();
}

void CStageInterfaceDlg::OnInitDialog()
{
    for (CPropertyGridGroup* group : m_groups) {
        m_grid.AddGroup(*group);
    }
    SyncData(0);
    m_grid.SetNameColumn(kNameColumn);
    m_grid.Select(nullptr);
    m_grid.setFocus();
}

int CStageInterfaceDlg::SyncData(int store)
{
    if (store != 0) {
        m_grid.EndEdit();
    } else if (IsEmpty(m_section)) {
        return 1;
    }
    for (CPropertyGridGroup* group : m_groups) {
        CProfileSection& section = m_section.GetSubSection(group->GetName().c_str());
        for (CPropertyGridRow* row : group->GetRows()) {
            const wchar_t* key = row->GetName().c_str();
            if (IsSeparator(*row)) {
                continue;
            }
            if (store != 0) {
                section.SetItemValue(key, row->GetValue().c_str());
            } else {
                row->SetValue(section.GetItemValue(key, row->GetValue().c_str()));
            }
        }
    }
    if (store == 0) {
        m_grid.Redraw();
    }
    return 1;
}

CPropertyGridRow* CStageInterfaceDlg::FindRow(const wchar_t* group, const wchar_t* name) const
{
    for (CPropertyGridGroup* heading : m_groups) {
        for (CPropertyGridRow* row : heading->GetRows()) {
            if (heading->GetName() == group && row->GetName() == name) {
                return row;
            }
        }
    }
    return nullptr;
}

} // namespace alidade
