#pragma once

#include "stage/StageInterface.h"
#include "view/ICameraView.h"
#include "view/ViewSettings.h"
#include "view/display/FrameDisplay.h"
#include "view/display/ScreenPicture.h"
#include "view/display/StatusButton.h"
#include "view/menubar/MenuBar.h"
#include "view/trackwindow/TrackWnd.h"
#include "view/transforms/ViewTransforms.h"

#include <QBasicTimer>
#include <memory>
#include <mutex>

namespace alidade {

/// The view of class "CameraView": joins a grabber to the screen. It holds together what is built elsewhere:
/// transforms, display, menu bar, settings, stage link.
class ALIDADE_API CCameraView : public ICameraView, private IMenuBarOwner {
public:
    class CDYNAMIC_CREATE_CHILD final : public CDYNAMIC_CREATE {
    public:
        CDYNAMIC_CREATE_CHILD() : CDYNAMIC_CREATE(L"CameraView") {}
        ICameraView* NewObject() override;
    };

    /// The view that shows the active frame; null: none. Window's thread.
    static CCameraView* s_pActiveView;

    /// Without InitVision before it, a message box says so, and the view works without the bus.
    CCameraView();
    ~CCameraView() override;

    const wchar_t* GetViewClassName() const override { return L"CameraView"; }
    int SetFrameGrabber(const char* unitName, TRefPointer<CFrameGrabber, int, int>& grabber) override;
    int InitFrameGrabber(const char* unitName, const wchar_t* grabberName,
                         const CProfileSection& settings) override;
    int LoadSettings(int reloadFile) override;
    int SaveSettings() override;
    int SyncSettings(int store, CProfileSection& section) override;
    int GetImage(cv::Mat& image, bool checkTimeout = true, DWORD waitMs = 3000) override;
    int GetNewImage(cv::Mat& image, DWORD waitMs) override;
    void RedrawImage(int newFrame) override;
    int CheckUILock() override;
    int ShowToolMenu(int show) override;
    int IsToolMenuVisible() override;
    int GetDisplayGeometry(const cv::Size& image, cv::Rect& source, cv::Size& buffer,
                           cv::Size& target) override;
    int SetCTCameraToStage(const CCoordTrans& stageFromImage, int lens) override;
    TPoint2<double> ConvCameraToStage(const TPoint2<double>& pt, int lens) override;
    TPoint2<double> ConvStageToCamera(const TPoint2<double>& pt, int lens) override;
    CCoordTrans GetCTCameraToStage(int lens) override;
    void UpdateStatus() override;
    int PopupView() override { return 1; }
    int DockView() override { return 1; }
    void DrawView(QPainter& dc, const QRect& rect) override;

    /// Works out the transforms by what is on the screen now.
    void UpdateTransforms();
    /// Makes this the active view, and brings it to the front in its panes.
    void Activate();

    CViewTransforms& GetTransforms() { return m_transforms; }
    /// @name Null before Create
    ///@{
    CMenuBar* GetMenuBar() { return m_menuBar; }
    CTrackWnd* GetTrackWnd() { return m_trackWnd; }
    const CFrameDisplay* GetDisplay() const { return m_display.get(); }
    ///@}
    const T_VIEW_SETTINGS& GetSettings() const { return m_settings; }
    /// Null while nothing is attached.
    const CStageInterface* GetStage() const { return m_pStage.Get(); }

protected:
    int OnCreate() override;
    bool event(QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    void OnZoomChanged() override;
    void OnFrameRateButton() override;
    void OnToolMenuShown() override;
    T_MENU_ITEM_STATE GetMenuItemState(int identifier) override;
    void OnMenuItem(int identifier) override;

    void Detach();
    void Attach(const TRefPointer<CFrameGrabber>& grabber);
    TRefPointer<CFrameGrabber> GetGrabberHandle() const;
    void EditStageSettings();
    CString FormatStatus() const;

    CProfileSection& GetSection(const wchar_t* name) const;
    /// Device px of the client area and of the part below a visible bar.
    ///@{
    QRect GetClientArea() const;
    QRect GetPictureArea() const;
    ///@}
    TPoint2<double> ToScreen(const QPointF& logical) const;
    void UpdateArea();
    void UpdateShown();
    void UpdateCursorPosition();
    void OnMouseMoved(const QPointF& logical);

    /// What the mouse points at.
    struct T_MOUSE {
        TPoint2<int> pixel{-1, -1}; // of the picture on the screen; (-1, -1): none
        TPoint2<double> current;    // stage mm
    };

    CViewTransforms m_transforms{this};
    CMenuBar* m_menuBar = nullptr;   // a child
    CTrackWnd* m_trackWnd = nullptr; // a child
    CScreenPicture m_picture;        // the frame being painted
    T_VIEW_SETTINGS m_settings;
    T_MOUSE m_mouse;
    CStatusButton m_statusButton;
    TRefPointer<CStageInterface> m_pStage;
    mutable std::mutex m_grabberLock; // guards the handle, for other threads that ask for images
    QBasicTimer m_transformTimer, m_statusTimer;
    bool m_isShown = false; // by show and hide events
    std::atomic<bool> m_repaintPosted{false};
    std::unique_ptr<CFrameDisplay> m_display; // made with the window
};

} // namespace alidade
