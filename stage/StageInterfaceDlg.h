#pragma once

#include "acquisition/Export.h"
#include "foundation/config/ProfileSection.h"
#include "widgets/MDialogEx.h"
#include "widgets/PropertyGridCtrl2.h"

namespace alidade {

/// "Stage Interface": shows and edits the settings that CStageInterface works by, a copy. What the section
/// holds beside the rows stays in it. After "OK" the caller copies GetSection back, saves the profile and
/// calls Init.
class ALIDADE_API CStageInterfaceDlg : public CMDialogEx {
public:
    explicit CStageInterfaceDlg(const CProfileSection& section, QWidget* parent = nullptr);
    ~CStageInterfaceDlg() override;

    /// Loading leaves the defaults where the section is empty; saving ends an open edit first. Always 1.
    int SyncData(int store) override;
    const CProfileSection& GetSection() const { return m_section; }
    CMFCPropertyGridCtrl2& GetGrid() { return m_grid; }
    /// A row by the names of its group and its own, or null.
    CPropertyGridRow* FindRow(const wchar_t* group, const wchar_t* name) const;

protected:
    void OnInitDialog() override;

private:
    CProfileSection m_section;
    CMFCPropertyGridCtrl2 m_grid;
    TList<CPropertyGridGroup> m_groups;
};

} // namespace alidade
