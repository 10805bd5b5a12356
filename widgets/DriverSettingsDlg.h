#pragma once

#include "acquisition/Export.h"
#include "foundation/config/ProfileSection.h"
#include "widgets/MDialogEx.h"
#include "widgets/PropertyGridCtrl2.h"

namespace alidade {

/// Shows and edits the settings of one camera driver, as the driver describes them. A setting that is made
/// empty is taken out of the section, so that the driver's own default holds; one that the section has as an
/// empty text, and other keys of the section, stay as they are.
class ALIDADE_API CDriverSettingsDlg : public CMDialogEx {
public:
    /// @param driver    its name as CFrameGrabber::GetFrameGrabberList gives it; an unknown one has no rows
    /// @param settings  what a grabber of this driver is made with; copied
    CDriverSettingsDlg(const wchar_t* driver, const CProfileSection& settings, QWidget* parent = nullptr);
    ~CDriverSettingsDlg() override;

    int SyncData(int store) override;
    /// As edited, after "OK".
    const CProfileSection& GetSettings() const { return m_settings; }
    CMFCPropertyGridCtrl2& GetGrid() { return *m_grid; }
    TList<CMFCPropertyGridProperty, int, int>& GetProperties() { return m_properties; }

    /// Shows the dialog and waits for its end. 1 on "OK", and `settings` is then what was edited.
    static int Edit(const wchar_t* driver, CProfileSection& settings, QWidget* parent = nullptr);

private:
    CProfileSection m_settings;
    TList<CMFCPropertyGridProperty, int, int> m_properties;
    CMFCPropertyGridCtrl2* m_grid;
};

} // namespace alidade
