#include "widgets/PositionBar.h"

#include "widgets/WindowId.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <algorithm>

namespace alidade {
namespace {

constexpr int kStep = 8; // px that an arrow key moves
constexpr int kFineStep = 1;

QColor Mixed(const QColor& a, const QColor& b, int percentOfB)
{
    const auto mix = [&](int x, int y) { return (x * (100 - percentOfB) + y * percentOfB) / 100; };
    return QColor(mix(a.red(), b.red()), mix(a.green(), b.green()), mix(a.blue(), b.blue()));
}

} // namespace

CPositionBar::CPositionBar()
{
    setFocusPolicy(Qt::TabFocus); // a drag leaves the keyboard where it is
    setAttribute(Qt::WA_Hover);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAccessibleName("Position bar");
    setAccessibleDescription("Arrow keys move it, with Shift finely");
}

int CPositionBar::Create(const QRect& rect, QWidget* parent, int identifier)
{
    if (parentWidget() != nullptr || parent == nullptr) {
        return 0;
    }
    setParent(parent);
    SetDlgCtrlID(this, identifier);
    setGeometry(rect);
    show();
    return 1;
}

void CPositionBar::Init(const QRect& range, DIRECTION direction)
{
    m_rcRange = range;
    m_direction = direction;
    m_nPending = -1;
    setCursor(direction == LEFT_RIGHT ? Qt::SplitHCursor : Qt::SplitVCursor);
}

void CPositionBar::MoveTo(int position)
{
    const int nearest = Along(m_rcRange.topLeft());
    const int thickness = m_direction == LEFT_RIGHT ? width() : height();
    const int farthest =
        nearest + (m_direction == LEFT_RIGHT ? m_rcRange.width() : m_rcRange.height()) - thickness;
    if (farthest < nearest) {
        return;
    }
    position = std::clamp(position, nearest, farthest);
    if (position == Along(pos())) {
        return;
    }
    m_nPending = position;
    move(m_direction == LEFT_RIGHT ? QPoint(position, y()) : QPoint(x(), position));
    if (m_moved) {
        const auto moved = m_moved; // outlives the bar
        moved(GetDlgCtrlID(this));
    }
}

void CPositionBar::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) {
        m_dragging = true;
        m_grip = Along(event->position().toPoint());
        update();
    }
}

void CPositionBar::mouseMoveEvent(QMouseEvent* event)
{
    if (m_dragging && (event->buttons() & Qt::LeftButton) == 0) {
        m_dragging = false; // the release went elsewhere
        update();
    }
    if (m_dragging && parentWidget() != nullptr) {
        // The bar moves under the mouse, so its own coordinates are of no use.
        MoveTo(Along(parentWidget()->mapFromGlobal(event->globalPosition().toPoint())) - m_grip);
    }
}

void CPositionBar::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) {
        m_dragging = false;
        update();
    }
}

void CPositionBar::keyPressEvent(QKeyEvent* event)
{
    const int back = m_direction == LEFT_RIGHT ? Qt::Key_Left : Qt::Key_Up;
    const int forth = m_direction == LEFT_RIGHT ? Qt::Key_Right : Qt::Key_Down;
    if (event->key() != back && event->key() != forth) {
        QWidget::keyPressEvent(event);
        return;
    }
    const int step = (event->modifiers() & Qt::ShiftModifier) != 0 ? kFineStep : kStep;
    MoveTo(Along(pos()) + (event->key() == forth ? step : -step));
}

void CPositionBar::hideEvent(QHideEvent* event)
{
    m_dragging = false;
    QWidget::hideEvent(event);
}

void CPositionBar::paintEvent(QPaintEvent*)
{
    const QColor face = palette().color(QPalette::Window);
    const QColor ink = palette().color(QPalette::WindowText);
    const bool held = hasFocus() || m_dragging;
    QPainter dc(this);
    dc.fillRect(rect(), held           ? Mixed(face, palette().color(QPalette::Highlight), 70)
                        : underMouse() ? Mixed(face, ink, 15)
                                       : face);
    // Both long sides have a border; the ends go on under the neighbours.
    const QColor border = Mixed(face, ink, 25);
    if (m_direction == LEFT_RIGHT) {
        dc.fillRect(0, 0, 1, height(), border);
        dc.fillRect(width() - 1, 0, 1, height(), border);
    } else {
        dc.fillRect(0, 0, width(), 1, border);
        dc.fillRect(0, height() - 1, width(), 1, border);
    }
}

} // namespace alidade
