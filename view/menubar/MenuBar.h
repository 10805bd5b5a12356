#pragma once

#include "view/display/ZoomState.h"
#include "view/menubar/ExpandFade.h"
#include "view/menubar/MenuBarOwner.h"
#include "widgets/MDialogEx.h"

#include <QTimer>

class QMenu;
class QPainter;

namespace alidade {

class CBarButton;
class CStatusLabel;
class CZoomBox;

/// The numbers of the bar's controls.
enum eMENU_BAR_CONTROL {
    MENU_BAR_ZOOM = 1001, // box
    MENU_BAR_ZOOM_TOGGLE = 1004,
    MENU_BAR_HIDE = 1012,
    MENU_BAR_STATUS = 1065,
    MENU_BAR_FRAME_RATE = 1078,
    MENU_BAR_MENU = 1079
};

/// What the frame rate button says.
enum eFRAME_RATE_STATE { FRAME_RATE_NORMAL, FRAME_RATE_FROZEN, FRAME_RATE_PAUSED };

/// The bar at the top of a camera view: hide button, menu, zoom, frame rate, status line. Hidden, it leaves a
/// decoration that fades in under the mouse and brings it back. It owns the zoom. docs/menu-bar.md.
///
/// Positions and sizes are logical px. Bound to the window's thread, but for the zoom state.
class ALIDADE_API CMenuBar : public CMDialogEx {
public:
    /// Shown at first.
    /// @param owner  outlives the bar
    /// @param view   the parent, at whose top the bar lies
    CMenuBar(IMenuBarOwner& owner, QWidget* view);
    ~CMenuBar() override;

    /// Lives as long as the bar.
    const T_ZOOM_STATE& GetZoomState() const;

    /// Shown or not, whether the view itself is on the screen or not.
    bool IsToolMenuVisible() const;
    /// Without telling the owner.
    void SetToolMenuVisible(bool visible);
    /// Lays the bar over the view's whole width; below 100 px it stays as it is.
    void FitWidth(int width);
    /// Height of the strip that the visible bar covers, px of the view; 0 when hidden.
    int GetCoveredHeight() const;

    /// Opens the popup menu below "Menu", or where that would be. F10 and the Menu key do it, too, while the
    /// keyboard is in the view or the bar. What is chosen reaches the owner from the event loop, after the
    /// menu has closed.
    void OpenMenu();
    QMenu* GetMenu() { return m_menu; }

    /// @name The expand decoration. Points are client px of the view.
    ///@{
    int HitExpandButton(const QPoint& pt);
    /// Makes the decoration appear when the mouse is on it.
    void OnMouseMoved(const QPoint& pt);
    void DrawExpandButton(QPainter& dc);
    ///@}

    /// @name What the view shows in the bar; nothing flickers when it is the same as before
    ///@{
    void SetFrameRateText(const wchar_t* text);
    void SetFrameRatePressed(bool pressed);
    void SetFrameRateState(eFRAME_RATE_STATE state);
    /// The tooltip holds the text while it does not fit.
    void SetStatusText(const wchar_t* text);
    ///@}

    void setVisible(bool visible) override;

protected:
    // A part of the view and no dialog of its own: no key closes it.
    void OnOK() override {}
    void OnCancel() override {}
    void changeEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void MakeControls();
    void MakeShortcuts();
    void LayControls();
    void OnHideButton();
    void LeaveToView();
    QRect GetExpandRect() const;
    void OnFade();
    void OnFadeChanged();

    IMenuBarOwner& m_owner;
    QWidget* const m_view;
    CBarButton* m_hide = nullptr;
    CBarButton* m_menuButton = nullptr;
    CBarButton* m_zoomButton = nullptr;
    CZoomBox* m_zoomBox = nullptr;
    CBarButton* m_frameRate = nullptr;
    CStatusLabel* m_status = nullptr;
    QMenu* m_menu = nullptr;
    CExpandFade m_fade;
    QTimer m_fadeTimer{this}; // only while the decoration changes, or is there
};

} // namespace alidade
