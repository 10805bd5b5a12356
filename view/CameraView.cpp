#include "view/CameraView.h"

#include "acquisition/InitVision.h"
#include "foundation/bus/IPClient.h"
#include "foundation/platform/Text.h"
#include "view/CameraPane.h"
#include "view/ViewCursor.h"
#include "view/menubar/PasswordDlg.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPainter>
#include <QTimerEvent>
#include <cmath>

namespace alidade {
namespace {

constexpr int kTransformPeriod = 10; // ms
constexpr int kStatusPeriod = 100;   // ms

const QColor kActiveFrame(0x80, 0x80, 0xff);
constexpr int kActiveFrameWidth = 5;

const QEvent::Type kRepaint = static_cast<QEvent::Type>(QEvent::registerEventType());

/// Which of `pixels` lies at a screen position, when they are drawn from `begin` on, `drawn` px long.
int GetPixelAt(double at, int begin, int drawn, int pixels)
{
    return drawn > 0 ? static_cast<int>(std::floor((std::floor(at) - begin) * pixels / drawn)) : -1;
}

} // namespace

CCameraView* CCameraView::s_pActiveView = nullptr;

ICameraView* CCameraView::CDYNAMIC_CREATE_CHILD::NewObject()
{
    return new CCameraView;
}

CCameraView::CCameraView() : ICameraView(GetVisionClient())
{
    if (GetVisionClient() == nullptr) {
        // Not waited for: the view goes on without the bus.
        auto* box =
            new QMessageBox(QMessageBox::Critical, QStringLiteral("Alidade"),
                            QStringLiteral("IPClient IS NOT Initialized.\r\n\r\nCall InitVision() First."));
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->show();
    }
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setCursor(LoadCursorFile(L"..\\icon\\vision.cur", GetCrossCursor()));
    m_transforms.SetSaveHandler([this] { SaveSettings(); });
}

CCameraView::~CCameraView()
{
    DestroyIPCommandTarget();
    m_transformTimer.stop();
    m_statusTimer.stop();
    Detach();
    m_display.reset(); // before the bar, whose zoom it reads
    if (s_pActiveView == this) {
        s_pActiveView = nullptr;
    }
}

int CCameraView::OnCreate()
{
    m_menuBar = new CMenuBar(*this, this);
    m_menuBar->SetToolMenuVisible(true);
    m_display =
        std::make_unique<CFrameDisplay>(m_menuBar->GetZoomState(), m_transforms, [this] { RedrawImage(0); });
    m_trackWnd = new CTrackWnd(this);
    m_trackWnd->move(0, m_menuBar->GetCoveredHeight());
    m_transformTimer.start(kTransformPeriod, Qt::PreciseTimer, this);
    m_statusTimer.start(kStatusPeriod, Qt::CoarseTimer, this);
    m_menuBar->FitWidth(width());
    UpdateArea();
    UpdateShown(); // in a window that is not shown yet nothing is fetched
    return 1;
}

int CCameraView::InitFrameGrabber(const char* unitName, const wchar_t* grabberName,
                                  const CProfileSection& settings)
{
    CString error;
    TRefPointer<CFrameGrabber> grabber = CFrameGrabber::GetFrameGrabber(grabberName, settings, error);
    if (!grabber) {
        WriteErrorLog(L"FrameGrabber(%ls) FAILED.\r\n%ls", grabberName != nullptr ? grabberName : L"",
                      error.c_str());
    }
    if (!error.empty()) {
        WriteLog(0, L"FrameGrabber(%ls) Initialized : %ls", grabberName != nullptr ? grabberName : L"",
                 error.c_str());
    }
    return grabber ? SetFrameGrabber(unitName, grabber) : 0;
}

int CCameraView::SetFrameGrabber(const char* unitName, TRefPointer<CFrameGrabber, int, int>& grabber)
{
    if (!HasWindow()) {
        return 0;
    }
    Detach();
    if (unitName != nullptr && *unitName != '\0') {
        SetUnitName(unitName);
    }
    LoadSettings(0);
    m_statusButton.Reset();
    m_pStage = TRefPointer<CStageInterface>(new CStageInterface);
    m_pStage->Init(GetSection(L"StageSettings"));
    m_transforms.SetStage(m_pStage);
    Attach(grabber);
    return 1;
}

void CCameraView::Attach(const TRefPointer<CFrameGrabber>& grabber)
{
    {
        std::lock_guard lock(m_grabberLock);
        m_pFrameGrabber = grabber;
    }
    if (grabber) {
        if (!m_display->Start(grabber)) {
            WriteErrorLog(L"CCameraView::SetFrameGrabber - nothing is shown: the system has no thread or "
                          L"handle left");
        }
        grabber->StartCapture();
    }
}

void CCameraView::Detach()
{
    if (m_display) {
        m_display->Stop();
    }
    const TRefPointer<CFrameGrabber> grabber = GetGrabberHandle();
    if (grabber) {
        grabber->StopCapture();
        grabber->CloseFrameGrabber();
    }
    std::lock_guard lock(m_grabberLock);
    m_pFrameGrabber.Release();
}

TRefPointer<CFrameGrabber> CCameraView::GetGrabberHandle() const
{
    std::lock_guard lock(m_grabberLock);
    return m_pFrameGrabber;
}

CProfileSection& CCameraView::GetSection(const wchar_t* name) const
{
    static CProfileSection none;
    CProfile* profile = GetVisionProfile();
    if (profile == nullptr) {
        return none;
    }
    const CString unit = ToWide(GetUnitName());
    return profile->GetSection(name).GetSubSection(unit.empty() ? L"Default" : unit.c_str());
}

int CCameraView::LoadSettings(int reloadFile)
{
    CProfile* profile = GetVisionProfile();
    if (profile == nullptr) {
        return 0;
    }
    if (reloadFile != 0) {
        profile->Load();
    }
    return SyncSettings(0, GetSection(L"CameraSettings"));
}

int CCameraView::SaveSettings()
{
    CProfile* profile = GetVisionProfile();
    if (profile == nullptr || SyncSettings(1, GetSection(L"CameraSettings")) == 0) {
        return 0;
    }
    return profile->Save() != 0 ? 1 : 0;
}

int CCameraView::SyncSettings(int store, CProfileSection& section)
{
    m_transforms.SyncSettings(store, section);
    SyncViewSettings(store, section, m_settings);
    if (m_menuBar != nullptr && store != 0) {
        section.SetItemValueBoolean(kToolMenuKey, m_menuBar->IsToolMenuVisible() ? 1 : 0);
    } else if (m_menuBar != nullptr) {
        m_menuBar->SetToolMenuVisible(section.GetItemValueBoolean(kToolMenuKey, 1) != 0);
        UpdateArea();
    }
    if (m_display) {
        m_display->SetFocusMeasured(m_settings.bDisplayFocusValue != 0);
    }
    return 1;
}

int CCameraView::GetImage(cv::Mat& image, bool checkTimeout, DWORD waitMs)
{
    const TRefPointer<CFrameGrabber> grabber = GetGrabberHandle();
    return grabber ? grabber->GetImage(image, checkTimeout, waitMs) : 0;
}

int CCameraView::GetNewImage(cv::Mat& image, DWORD waitMs)
{
    const TRefPointer<CFrameGrabber> grabber = GetGrabberHandle();
    return grabber ? grabber->GetNewImage(image, waitMs) : 0;
}

void CCameraView::RedrawImage(int newFrame)
{
    if (newFrame != 0 && m_display) {
        const TRefPointer<CFrameGrabber> grabber = GetGrabberHandle();
        if (grabber && !grabber->IsLive()) {
            m_display->Redraw();
        }
    }
    // One posted event stands for all requests until it is served.
    if (!m_repaintPosted.exchange(true)) {
        QCoreApplication::postEvent(this, new QEvent(kRepaint));
    }
}

bool CCameraView::event(QEvent* event)
{
    if (event->type() == kRepaint) {
        m_repaintPosted = false;
        const qreal ratio = devicePixelRatioF();
        const QRect area = GetPictureArea();
        update(QRectF(area.x() / ratio, area.y() / ratio, area.width() / ratio, area.height() / ratio)
                   .toAlignedRect());
        return true;
    }
    return ICameraView::event(event);
}

int CCameraView::CheckUILock()
{
    return CheckPassword(m_settings.strUILockPassword, this);
}

int CCameraView::ShowToolMenu(int show)
{
    if (m_menuBar == nullptr) {
        return 0;
    }
    if (m_menuBar->IsToolMenuVisible() != (show != 0)) {
        m_menuBar->SetToolMenuVisible(show != 0);
        OnToolMenuShown();
    }
    return 1;
}

void CCameraView::OnToolMenuShown()
{
    UpdateArea();
    SaveSettings();
    RedrawImage(1);
    update();
}

int CCameraView::IsToolMenuVisible()
{
    return m_menuBar != nullptr && m_menuBar->IsToolMenuVisible() ? 1 : 0;
}

int CCameraView::GetDisplayGeometry(const cv::Size& image, cv::Rect& source, cv::Size& buffer,
                                    cv::Size& target)
{
    if (m_menuBar == nullptr) {
        return 0;
    }
    const T_ZOOM_STATE& zoom = m_menuBar->GetZoomState();
    const QRect area = GetPictureArea();
    T_DISPLAY_GEOMETRY geometry;
    if (!alidade::GetDisplayGeometry(image, {area.width(), area.height()}, zoom.mode, zoom.factor,
                                     m_transforms.GetScreenFromImage().GetShift(), geometry)) {
        return 0;
    }
    source = geometry.source;
    buffer = geometry.buffer;
    target = geometry.target;
    return 1;
}

int CCameraView::SetCTCameraToStage(const CCoordTrans& stageFromImage, int lens)
{
    return m_transforms.SetStageFromImage(stageFromImage, lens);
}

TPoint2<double> CCameraView::ConvCameraToStage(const TPoint2<double>& pt, int lens)
{
    return m_transforms.StageFromImage(pt, lens);
}

TPoint2<double> CCameraView::ConvStageToCamera(const TPoint2<double>& pt, int lens)
{
    return m_transforms.ImageFromStage(pt, lens);
}

CCoordTrans CCameraView::GetCTCameraToStage(int lens)
{
    return m_transforms.GetStageFromImage(lens);
}

// ---- Where things are

QRect CCameraView::GetClientArea() const
{
    const qreal ratio = devicePixelRatioF();
    return {0, 0, static_cast<int>(std::lround(width() * ratio)),
            static_cast<int>(std::lround(height() * ratio))};
}

QRect CCameraView::GetPictureArea() const
{
    QRect area = GetClientArea();
    if (m_menuBar != nullptr) {
        area.setTop(static_cast<int>(std::lround(m_menuBar->GetCoveredHeight() * devicePixelRatioF())));
    }
    return area;
}

TPoint2<double> CCameraView::ToScreen(const QPointF& logical) const
{
    const qreal ratio = devicePixelRatioF();
    return {logical.x() * ratio, logical.y() * ratio};
}

void CCameraView::UpdateArea()
{
    if (m_display) {
        const QRect area = GetPictureArea();
        m_display->SetArea({std::max(0, area.width()), std::max(0, area.height())});
    }
}

void CCameraView::UpdateShown()
{
    if (m_display) {
        m_display->SetVisible(m_isShown && !window()->isMinimized());
    }
}

void CCameraView::UpdateTransforms()
{
    if (m_menuBar == nullptr) {
        return;
    }
    const T_DISPLAY_FRAME& frame = m_picture.GetFrame();
    const QRect client = GetClientArea();
    T_VIEW_GEOMETRY geometry;
    geometry.hasPicture = !m_picture.IsEmpty();
    geometry.client = {0, 0, client.width(), client.height()};
    if (m_menuBar->IsToolMenuVisible()) {
        geometry.toolBarBottom = GetPictureArea().top();
    }
    geometry.imageWidth = frame.image.width;
    geometry.imageHeight = frame.image.height;
    geometry.sourceWidth = frame.geometry.source.width;
    geometry.sourceHeight = frame.geometry.source.height;
    geometry.zoomMode = m_menuBar->GetZoomState().mode;
    geometry.zoom = m_menuBar->GetZoomState().factor;
    m_transforms.Update(geometry);
}

void CCameraView::UpdateCursorPosition()
{
    if (!m_pStage || !isVisible()) {
        return;
    }
    const TPoint2<double> at = ToScreen(mapFromGlobal(QPointF(QCursor::pos())));
    const bool inside =
        GetPictureArea().contains(static_cast<int>(std::floor(at.x)), static_cast<int>(std::floor(at.y)));
    m_mouse.current = inside ? m_transforms.StageFromScreen(at) : m_pStage->GetStagePosition();
}

// ---- Events

void CCameraView::timerEvent(QTimerEvent* event)
{
    if (event->timerId() == m_transformTimer.timerId()) {
        UpdateArea();  // the desktop's scale factor changes without an event of its own
        UpdateShown(); // not every desktop hides what is minimised
        UpdateTransforms();
        UpdateCursorPosition();
    } else if (event->timerId() == m_statusTimer.timerId()) {
        UpdateStatus();
    } else {
        ICameraView::timerEvent(event);
    }
}

void CCameraView::resizeEvent(QResizeEvent* event)
{
    ICameraView::resizeEvent(event);
    if (m_menuBar != nullptr) {
        m_menuBar->FitWidth(width());
    }
    UpdateArea();
}

void CCameraView::showEvent(QShowEvent* event)
{
    ICameraView::showEvent(event);
    m_isShown = true;
    UpdateShown();
}

void CCameraView::hideEvent(QHideEvent* event)
{
    ICameraView::hideEvent(event);
    m_isShown = false;
    UpdateShown();
}

void CCameraView::mouseMoveEvent(QMouseEvent* event)
{
    OnMouseMoved(event->position());
    ICameraView::mouseMoveEvent(event);
}

void CCameraView::OnMouseMoved(const QPointF& logical)
{
    if (m_menuBar == nullptr) {
        return;
    }
    m_menuBar->OnMouseMoved(logical.toPoint());
    const TPoint2<double> at = ToScreen(logical);
    const QRect area = GetPictureArea();
    const cv::Size picture = m_picture.GetFrame().picture.size();
    const cv::Size target = m_picture.GetFrame().geometry.target;
    const QPoint origin = GetPictureOrigin(target, area);
    m_mouse.pixel = {GetPixelAt(at.x, std::max(area.left(), origin.x()), target.width, picture.width),
                     GetPixelAt(at.y, std::max(area.top(), origin.y()), target.height, picture.height)};
    m_mouse.current = m_transforms.StageFromScreen(at);
}

void CCameraView::leaveEvent(QEvent* event)
{
    m_mouse.pixel = {-1, -1};
    ICameraView::leaveEvent(event);
}

void CCameraView::mousePressEvent(QMouseEvent* event)
{
    if (m_menuBar != nullptr && m_menuBar->HitExpandButton(event->position().toPoint())) {
        return; // its release brings the bar back
    }
    setFocus(Qt::MouseFocusReason);
}

void CCameraView::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && m_menuBar != nullptr &&
        m_menuBar->HitExpandButton(event->position().toPoint())) {
        ShowToolMenu(1);
    }
}

// ---- Paint

void CCameraView::paintEvent(QPaintEvent*)
{
    const QRect area = GetPictureArea();
    QPainter dc(this); // Qt draws into memory and shows the result as a whole
    if (area.isEmpty()) {
        return;
    }
    dc.scale(1.0 / devicePixelRatioF(), 1.0 / devicePixelRatioF());
    dc.fillRect(area, palette().color(QPalette::Window));
    DrawView(dc, area);
    dc.resetTransform();
    if (m_menuBar != nullptr) {
        m_menuBar->DrawExpandButton(dc);
    }
}

void CCameraView::DrawView(QPainter& dc, const QRect& rect)
{
    if (m_display) {
        m_picture.Set(m_display->GetFrame());
    }
    UpdateTransforms();
    if (m_picture.IsEmpty()) {
        return;
    }
    m_picture.Draw(dc, rect);
    if (s_pActiveView == this) {
        dc.save();
        dc.setPen(QPen(kActiveFrame, kActiveFrameWidth, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
        dc.setBrush(Qt::NoBrush);
        dc.drawRect(rect.adjusted(2, 2, -3, -3));
        dc.restore();
    }
}

void CCameraView::Activate()
{
    s_pActiveView = this;
    for (QWidget* parent = parentWidget(); parent != nullptr; parent = parent->parentWidget()) {
        if (auto* pane = dynamic_cast<ICameraPane*>(parent)) {
            pane->ActivateChildPane(this);
            break;
        }
    }
    RedrawImage(1);
}

} // namespace alidade
