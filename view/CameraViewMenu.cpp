// What a camera view shows in its menu bar, and what its menu does.
#include "acquisition/InitVision.h"
#include "foundation/config/Profile.h"
#include "foundation/platform/Text.h"
#include "stage/StageInterfaceDlg.h"
#include "view/CameraView.h"
#include "view/display/StatusLine.h"

#include <QPointer>

namespace alidade {
namespace {

// Items of the menu that act here; those that toggle a setting stand in the table of the settings.
constexpr int kItemFocusValue = 32775;
constexpr int kItemStageSetting = 32848;
constexpr int kItemSlitSize = 32842;
constexpr int kItemSlitCalibration = 32845;

} // namespace

void CCameraView::UpdateStatus()
{
    const TRefPointer<CFrameGrabber> grabber = GetGrabberHandle();
    if (!isVisible() || !IsToolMenuVisible() || !grabber) {
        return;
    }
    const CFrameGrabber::T_FRAME_COUNT& count = grabber->GetFrameCounter();
    const T_STATUS_BUTTON_CHANGE change = m_statusButton.Update(
        {grabber->IsLive() != 0, grabber->IsFreezed() != 0, count.dFrameRate, count.dwLast - count.dwStart});
    if (change.logFreezed) {
        WriteErrorLog(L"Freezed - %ls", ToWide(GetUnitName()).c_str());
    }
    if (change.logUnFreezed) {
        WriteLog(0, L"UnFreezed - %ls", ToWide(GetUnitName()).c_str());
    }
    if (change.text) {
        m_menuBar->SetFrameRateText(change.text->c_str());
    }
    m_menuBar->SetFrameRatePressed(change.pressed);
    if (change.state) {
        m_menuBar->SetFrameRateState(static_cast<eFRAME_RATE_STATE>(*change.state));
    }
    m_menuBar->SetStatusText(FormatStatus().c_str());
}

CString CCameraView::FormatStatus() const
{
    const CCoordTrans stageFromImage = m_transforms.GetStageFromImage();
    T_STATUS status;
    if (m_settings.bDisplayFocusValue != 0) {
        status.focus = m_display->GetFocus();
    }
    status.position = m_mouse.current;
    status.frame = m_picture.IsEmpty() ? nullptr : &m_picture.GetFrame();
    status.pixel = m_mouse.pixel;
    status.stageFromImage = &stageFromImage;
    return FormatStatusLine(status);
}

void CCameraView::OnZoomChanged()
{
    if (m_display) {
        m_display->Redraw(); // a camera that delivers rarely shows the new zoom at once, too
    }
    RedrawImage(1);
}

void CCameraView::OnFrameRateButton()
{
    const TRefPointer<CFrameGrabber> grabber = GetGrabberHandle();
    if (grabber && !grabber->IsLive()) {
        grabber->StartCapture();
        grabber->SetLive(grabber->GetFrameGrabberInterface() != nullptr ? 1 : 0);
    }
    UpdateStatus();
}

T_MENU_ITEM_STATE CCameraView::GetMenuItemState(int identifier)
{
    const bool slit = m_pStage && m_pStage->CanMoveSlitXY();
    T_MENU_ITEM_STATE state;
    state.present = slit || (identifier != kItemSlitSize && identifier != kItemSlitCalibration);
    state.enabled = identifier == kItemFocusValue || identifier == kItemStageSetting;
    if (const int* toggle = FindViewToggle(m_settings, identifier)) {
        state.checked = *toggle != 0 && (identifier != kItemSlitSize || slit);
    }
    return state;
}

void CCameraView::OnMenuItem(int identifier)
{
    if (int* toggle = FindViewToggle(m_settings, identifier)) {
        *toggle = *toggle == 0 ? 1 : 0;
        SaveSettings();
        if (m_display) {
            m_display->SetFocusMeasured(m_settings.bDisplayFocusValue != 0);
        }
        RedrawImage(1);
    } else if (identifier == kItemStageSetting) {
        const QPointer<CCameraView> view(this); // the operator may close it instead of giving the password
        if (CheckUILock() && view) {
            EditStageSettings();
        }
    }
}

void CCameraView::EditStageSettings()
{
    // The view may go while the dialog is open, and takes it along.
    const QPointer<CStageInterfaceDlg> dialog = new CStageInterfaceDlg(GetSection(L"StageSettings"), this);
    const bool accepted = dialog->exec() == QDialog::Accepted;
    if (!dialog) {
        return;
    }
    dialog->deleteLater();
    if (!accepted) {
        return;
    }
    CProfileSection& section = GetSection(L"StageSettings");
    const CString name = section.GetName();
    section = dialog->GetSection();
    section.SetName(name.c_str());
    if (CProfile* profile = GetVisionProfile()) {
        profile->Save();
    }
    if (m_pStage) {
        // A new link: other threads may be reading the old one.
        TRefPointer<CStageInterface> stage(new CStageInterface);
        stage->Init(section);
        m_pStage = stage;
        m_transforms.SetStage(m_pStage);
    }
}

} // namespace alidade
