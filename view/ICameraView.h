#pragma once

#include "acquisition/FrameGrabber.h"
#include "foundation/bus/IPVariable.h"
#include "foundation/bus/WndIPCommandTarget.h"
#include "foundation/config/SimpleLogInterface.h"
#include "foundation/math/CoordTrans.h"

#include <QWidget>
#include <vector>

class QPainter;

namespace alidade {

/// The window that shows one camera, as panes, tools and the host see it. Made by class name, then given a
/// window by Create, then a camera by InitFrameGrabber.
///
/// Bound to the user interface's thread; operations marked thread-safe may be called from any. Results are 1
/// for success and 0 for failure unless said otherwise. Sizes on the screen are device pixels of the view's
/// client area, whatever scale factor the desktop has (docs/view.md).
class ALIDADE_API ICameraView : public QWidget, public CSimpleLogInterface, public IWNDIPCommandTarget {
public:
    /// Makes views of one class.
    class CDYNAMIC_CREATE {
    public:
        explicit CDYNAMIC_CREATE(const wchar_t* className) : m_strClassName(className) {}
        /// A new view without a window; the caller owns it.
        virtual ICameraView* NewObject() = 0;
        virtual ~CDYNAMIC_CREATE() = default;
        const CString& GetClassName() const { return m_strClassName; }

    private:
        CString m_strClassName;
    };

    /// The registered classes; a later one is found first. Creators are not owned.
    static std::vector<CDYNAMIC_CREATE*> s_DYNAMIC_CREATE;
    /// The system version is 6.1 or above; true where there is no such version.
    static const bool s_bWindows7OrGreater;

    /// A new view of the class, by its exact name; null and no message when there is none.
    static ICameraView* DYNAMIC_CREATE_NewObject(const wchar_t* className);
    static void DYNAMIC_CREATE_AddClass(CDYNAMIC_CREATE* creator);

    explicit ICameraView(CIPClient* client);
    ~ICameraView() override;

    /// Makes the window: a child of `parent`, visible as its parent is. It gets the keyboard, unless it lies
    /// in a part of the host's window that is hidden, as a tab behind another.
    /// @param rect        px of the parent
    /// @param identifier  see widgets/WindowId.h
    /// @return 1; 0 when there is one already
    virtual int Create(const wchar_t* text, const QRect& rect, QWidget* parent, int identifier);
    /// The window has been made and not destroyed.
    bool HasWindow() const { return m_hWnd != nullptr; }

    virtual const wchar_t* GetViewClassName() const = 0;
    /// Takes a grabber in place of the one that was there, which is stopped and closed, and starts it.
    /// @param unitName  the view's name on the bus and in the settings; empty: it keeps the one it has
    /// @return 1, also for an empty grabber; 0 without a window
    virtual int SetFrameGrabber(const char* unitName, TRefPointer<CFrameGrabber, int, int>& grabber) = 0;
    /// Opens a driver and takes it. What fails stands in the log; the view then stays as it is.
    virtual int InitFrameGrabber(const char* unitName, const wchar_t* grabberName,
                                 const CProfileSection& settings) = 0;
    /// Null when there is none.
    virtual CFrameGrabber* GetFrameGrabber();
    virtual const CFrameGrabber* GetFrameGrabber() const;
    /// From the profile, after reading its file again if asked to; 0 without a profile.
    virtual int LoadSettings(int reloadFile) = 0;
    /// To the profile and its file; 0 without a profile or when the file cannot be written.
    virtual int SaveSettings() = 0;
    /// Reads or, with `store` non-zero, writes all settings of the view in a section. Always 1.
    virtual int SyncSettings(int store, CProfileSection& section) = 0;
    /// The grabber's operations of these names; 0 without one. Thread-safe while the grabber is not
    /// exchanged.
    ///@{
    virtual int GetImage(cv::Mat& image, bool checkTimeout = true, DWORD waitMs = 3000) = 0;
    virtual int GetNewImage(cv::Mat& image, DWORD waitMs) = 0;
    ///@}
    /// Asks for a repaint, and for a static picture to be fetched again if `newFrame` is not 0. Thread-safe.
    virtual void RedrawImage(int newFrame);
    /// 1 when there is no password or the operator gave it. Opens a dialog and waits.
    virtual int CheckUILock() = 0;
    virtual int ShowToolMenu(int show) = 0;
    virtual int IsToolMenuVisible() = 0;
    /// How a frame of that size fits the picture area; see view/display/DisplayGeometry.h.
    virtual int GetDisplayGeometry(const cv::Size& image, cv::Rect& source, cv::Size& buffer,
                                   cv::Size& target) = 0;
    virtual int SetCTCameraToStage(const CCoordTrans& stageFromImage, int lens) = 0;
    /// Thread-safe; see CViewTransforms.
    ///@{
    virtual TPoint2<double> ConvCameraToStage(const TPoint2<double>& pt, int lens) = 0;
    virtual TPoint2<double> ConvStageToCamera(const TPoint2<double>& pt, int lens) = 0;
    virtual CCoordTrans GetCTCameraToStage(int lens) = 0;
    ///@}
    /// Refreshes what the tool menu bar shows.
    virtual void UpdateStatus() = 0;
    /// Do nothing until a host takes views out of their panes; 1.
    ///@{
    virtual int PopupView() = 0;
    virtual int DockView() = 0;
    ///@}
    /// Draws everything within the picture area `rect`, in device px.
    virtual void DrawView(QPainter& dc, const QRect& rect) = 0;

    static const IP_COMMAND_TARGET* GetIPCommandTargetTable();
    const IP_COMMAND_TARGET* GetIPCommandTargetStatic() const override;

protected:
    /// The window was made; 0 undoes it.
    virtual int OnCreate() = 0;
    /// Commands of the bus first, then the window's own events.
    bool event(QEvent* event) override;

    HWND m_hWnd = nullptr;
    TRefPointer<CFrameGrabber, int, int> m_pFrameGrabber;
};

} // namespace alidade
