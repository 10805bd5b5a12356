#include "view/menubar/MenuBar.h"

#include "view/menubar/BarButton.h"
#include "view/menubar/BarColors.h"
#include "view/menubar/StatusLabel.h"
#include "view/menubar/ViewMenu.h"
#include "view/menubar/ZoomBox.h"
#include "widgets/WindowId.h"

#include <QEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QShortcut>
#include <algorithm>

namespace alidade {
namespace {

constexpr double kFontSize = 9.0; // points
constexpr int kFadePeriod = 10;   // ms
constexpr int kLeastWidth = 100;  // px, for FitWidth

// In dialog units: a quarter of a mean character's width, an eighth of a line's height.
constexpr int kBarHeight = 15;
constexpr int kBarWidth = 496;
constexpr int kHideWidth = 15;
constexpr int kMenuWidth = 24;
constexpr int kZoomButtonWidth = 27;
constexpr int kZoomBoxWidth = 37;
constexpr int kFrameRateWidth = 32;
constexpr int kGap = 1;

/// The window's font in dialog units.
class CDialogUnits {
public:
    explicit CDialogUnits(const QFontMetrics& metrics)
        : m_width(
              (metrics.horizontalAdvance("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz") / 26 + 1) /
              2),
          m_height(metrics.height())
    {
    }
    int X(int units) const { return (units * m_width + 2) / 4; }
    int Y(int units) const { return (units * m_height + 4) / 8; }

private:
    int m_width, m_height;
};

void Name(QWidget* control, const char* object, const char* name, const char* description)
{
    control->setObjectName(object);
    control->setAccessibleName(name);
    control->setAccessibleDescription(description);
}

} // namespace

CMenuBar::CMenuBar(IMenuBarOwner& owner, QWidget* view) : CMDialogEx(view), m_owner(owner), m_view(view)
{
    setWindowFlags(Qt::Widget);
    setAttribute(Qt::WA_NoMousePropagation); // a click on the bar is none into the picture
    setAutoFillBackground(true);
    setCursor(Qt::ArrowCursor);
    QFont small = font();
    small.setPointSizeF(kFontSize);
    setFont(small);
    Name(this, "menuBar", "Camera view", "Menu, zoom, frame rate and status of the camera view");

    MakeControls();
    m_menu = MakeViewMenu(
        this, [this](int identifier) { return m_owner.GetMenuItemState(identifier); },
        [this](int identifier) { m_owner.OnMenuItem(identifier); });
    MakeShortcuts();
    m_fadeTimer.setInterval(kFadePeriod);
    connect(&m_fadeTimer, &QTimer::timeout, this, [this] { OnFade(); });

    const CDialogUnits units(fontMetrics());
    setGeometry(0, 0, units.X(kBarWidth), units.Y(kBarHeight));
    LayControls();
    FitWidth(m_view->width());
    setVisible(true);
}

CMenuBar::~CMenuBar() = default;

void CMenuBar::MakeControls()
{
    m_hide = new CBarButton(this, "", CBarButton::LOOK_ARROW);
    Name(m_hide, "hide", "Hide bar", "Hides this bar; a click on the arrow that is left brings it back");
    m_menuButton = new CBarButton(this, "Menu");
    Name(m_menuButton, "menu", "Menu", "Opens the tools of the view");
    m_zoomButton = new CBarButton(this, "Zoom");
    Name(m_zoomButton, "zoomToggle", "Zoom", "Changes between Fit and the last factor");
    m_zoomBox = new CZoomBox(
        this, [this] { m_owner.OnZoomChanged(); }, [this] { LeaveToView(); });
    Name(m_zoomBox, "zoom", "Zoom", "How the picture is shown: Fit, anisotropic, or 1 to 1000 percent");
    m_frameRate = new CBarButton(this, "00.0 fps");
    Name(m_frameRate, "frameRate", "Frame rate", "Frames per second; starts a camera that is paused");
    m_status = new CStatusLabel(this);
    Name(m_status, "status", "Status", "Position, pixel value and lengths");

    const std::pair<int, QWidget*> numbers[] = {
        {MENU_BAR_HIDE, m_hide},    {MENU_BAR_MENU, m_menuButton},      {MENU_BAR_ZOOM_TOGGLE, m_zoomButton},
        {MENU_BAR_ZOOM, m_zoomBox}, {MENU_BAR_FRAME_RATE, m_frameRate}, {MENU_BAR_STATUS, m_status}};
    for (const auto& [number, control] : numbers) {
        SetDlgItem(number, control);
        SetDlgCtrlID(control, number);
    }
    connect(m_hide, &QAbstractButton::clicked, this, [this] { OnHideButton(); });
    connect(m_menuButton, &QAbstractButton::pressed, this, [this] {
        m_menuButton->setDown(false); // the menu takes the release
        OpenMenu();
    });
    connect(m_zoomButton, &QAbstractButton::clicked, this, [this] { m_zoomBox->Toggle(); });
    connect(m_frameRate, &QAbstractButton::clicked, this, [this] { m_owner.OnFrameRateButton(); });
}

void CMenuBar::MakeShortcuts()
{
    for (const Qt::Key key : {Qt::Key_F10, Qt::Key_Menu}) {
        auto* shortcut = new QShortcut(QKeySequence(key), m_view);
        shortcut->setContext(Qt::WidgetWithChildrenShortcut);
        connect(shortcut, &QShortcut::activated, this, [this] { OpenMenu(); });
        connect(this, &QObject::destroyed, shortcut, &QObject::deleteLater);
    }
}

void CMenuBar::LayControls()
{
    const CDialogUnits units(fontMetrics());
    const int button = height() - units.Y(1);
    const auto fitting = [&](int width, std::initializer_list<const char*> texts) {
        int least = units.X(width);
        for (const char* text : texts) {
            least = std::max(least, fontMetrics().horizontalAdvance(text) + units.X(6));
        }
        return least;
    };
    int x = 0;
    const auto place = [&](QWidget* control, int width, int y, int height) {
        control->setGeometry(x, y, width, height);
        x += width;
    };
    place(m_hide, units.X(kHideWidth), 0, button);
    place(m_menuButton, fitting(kMenuWidth, {"Menu"}), 0, button);
    place(m_zoomButton, fitting(kZoomButtonWidth, {"Zoom"}), 0, button);
    place(m_zoomBox, std::max(units.X(kZoomBoxWidth), m_zoomBox->sizeHint().width()), 1, height() - 3);
    x += units.X(kGap);
    place(m_frameRate, fitting(kFrameRateWidth, {"000.0 fps", "Freezed", "Paused"}), 0, button);
    place(m_status, std::max(0, width() - x), 0, button);
}

const T_ZOOM_STATE& CMenuBar::GetZoomState() const
{
    return m_zoomBox->GetState();
}

bool CMenuBar::IsToolMenuVisible() const
{
    return !isHidden();
}

void CMenuBar::setVisible(bool visible)
{
    QWidget::setVisible(visible); // without what a dialog does to the focus of its window
}

void CMenuBar::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event); // a dialog would be centred
    LayControls();             // by the fonts that the style gave them
}

void CMenuBar::SetToolMenuVisible(bool visible)
{
    if (visible == IsToolMenuVisible()) {
        return;
    }
    if (visible) {
        m_fade.Clear();
        OnFadeChanged();
        raise();
    } else if (isAncestorOf(focusWidget())) {
        LeaveToView(); // or a neighbour of the bar gets the keyboard
    }
    setVisible(visible);
}

void CMenuBar::OnHideButton()
{
    SetToolMenuVisible(false);
    m_fade.Fill();
    OnFadeChanged();
    m_owner.OnToolMenuShown();
}

void CMenuBar::LeaveToView()
{
    m_view->setFocus();
}

void CMenuBar::FitWidth(int width)
{
    if (width >= kLeastWidth) {
        setGeometry(0, 0, width, height());
        LayControls();
    }
}

int CMenuBar::GetCoveredHeight() const
{
    return IsToolMenuVisible() ? height() : 0;
}

void CMenuBar::OpenMenu()
{
    m_menu->popup(m_view->mapToGlobal(pos() + m_menuButton->geometry().bottomLeft() + QPoint(0, 1)));
}

// ---- The expand decoration

QRect CMenuBar::GetExpandRect() const
{
    return m_hide->geometry().translated(pos());
}

int CMenuBar::HitExpandButton(const QPoint& pt)
{
    if (IsToolMenuVisible()) {
        m_fade.Clear();
        OnFadeChanged();
        return 0;
    }
    if (GetExpandRect().contains(pt)) {
        return 1;
    }
    m_fade.Leave();
    return 0;
}

void CMenuBar::OnMouseMoved(const QPoint& pt)
{
    if (HitExpandButton(pt)) {
        m_fade.Rise();
        OnFadeChanged();
    }
}

void CMenuBar::OnFade()
{
    const int before = m_fade.GetCounter();
    if (!m_fade.Count()) {
        HitExpandButton(m_view->mapFromGlobal(QCursor::pos()));
    }
    if (m_fade.GetCounter() != before) {
        OnFadeChanged();
    }
}

void CMenuBar::OnFadeChanged()
{
    if (!m_fade.IsRunning() && !m_fadeTimer.isActive()) {
        return;
    }
    if (!m_fade.IsRunning()) {
        m_fadeTimer.stop();
    } else if (!m_fadeTimer.isActive()) {
        m_fadeTimer.start();
    }
    m_view->update(GetExpandRect());
}

void CMenuBar::DrawExpandButton(QPainter& dc)
{
    if (IsToolMenuVisible() || !m_fade.IsRunning()) {
        return;
    }
    const QRectF box = QRectF(GetExpandRect()).adjusted(2, 2, -2, -2);
    const QColor face = palette().color(QPalette::Window);
    const QColor ink = palette().color(QPalette::WindowText);
    dc.save();
    dc.setOpacity(dc.opacity() * m_fade.GetAlpha() / 255.0);
    dc.setRenderHint(QPainter::Antialiasing);
    dc.setPen(QPen(MixColors(face, ink, 40), 1.0));
    dc.setBrush(face);
    dc.drawRoundedRect(box.adjusted(0.5, 0.5, -0.5, -0.5), 3.0, 3.0);
    DrawBarArrow(dc, box, false, ink);
    dc.restore();
}

// ---- What the view shows

void CMenuBar::SetFrameRateText(const wchar_t* text)
{
    CheckAndSetDlgItemText(MENU_BAR_FRAME_RATE, text);
}

void CMenuBar::SetFrameRatePressed(bool pressed)
{
    m_frameRate->SetPressed(pressed);
}

void CMenuBar::SetFrameRateState(eFRAME_RATE_STATE state)
{
    switch (state) {
    case FRAME_RATE_NORMAL:
        m_frameRate->SetFaceColor(std::nullopt);
        break;
    case FRAME_RATE_FROZEN:
        m_frameRate->SetFaceColor(0x0000ff);
        break;
    case FRAME_RATE_PAUSED:
        m_frameRate->SetFaceColor(0x00ffff);
        break;
    }
}

void CMenuBar::SetStatusText(const wchar_t* text)
{
    if (CheckAndSetDlgItemText(MENU_BAR_STATUS, text)) {
        m_status->UpdateToolTip();
    }
}

// ---- Events

void CMenuBar::changeEvent(QEvent* event)
{
    CMDialogEx::changeEvent(event);
    if (event->type() == QEvent::StyleChange && m_status != nullptr) {
        LayControls();
    }
}

void CMenuBar::keyPressEvent(QKeyEvent* event)
{
    event->ignore(); // the view's
}

void CMenuBar::paintEvent(QPaintEvent*)
{
    const QColor face = palette().color(QPalette::Window);
    QPainter(this).fillRect(0, height() - 1, width(), 1,
                            MixColors(face, palette().color(QPalette::WindowText), 25));
}

} // namespace alidade
