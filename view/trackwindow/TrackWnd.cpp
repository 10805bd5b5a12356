#include "view/trackwindow/TrackWnd.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <algorithm>

namespace alidade {
namespace {

constexpr int kInitialSize = 10; // px
constexpr int kBand = 10;        // of the hollow frame
constexpr int kLeastHollow = 21; // a smaller one is solid
constexpr int kEdge = 5;         // thickness of what sizes it
constexpr int kCorner = 12;      // length of a corner along the edges
constexpr int kLeastSize = 4;    // by mouse and keys
constexpr int kReach = 20;       // of this much at least stays on the parent

} // namespace

CTrackWnd::CTrackWnd(QWidget* parent) : QWidget(parent)
{
    setAttribute(Qt::WA_NoMousePropagation);
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setObjectName("trackWindow");
    setAccessibleName("Region frame");
    setAccessibleDescription("Arrow keys move it, with Shift they change its size");
    hide();
    resize(kInitialSize, kInitialSize);
    if (parent != nullptr) {
        parent->installEventFilter(this);
    }
}

Qt::Edges CTrackWnd::GetEdges(const QPoint& at) const
{
    // A third at least is left to move it by.
    const int edgeX = std::min(kEdge, width() / 3), edgeY = std::min(kEdge, height() / 3);
    const int cornerX = std::min(kCorner, width() / 3), cornerY = std::min(kCorner, height() / 3);
    const int right = width() - 1 - at.x(), bottom = height() - 1 - at.y();
    const bool onX = at.x() < edgeX || right < edgeX;
    const bool onY = at.y() < edgeY || bottom < edgeY;
    Qt::Edges edges;
    if (at.x() < (onY ? cornerX : edgeX)) {
        edges |= Qt::LeftEdge;
    } else if (right < (onY ? cornerX : edgeX)) {
        edges |= Qt::RightEdge;
    }
    if (at.y() < (onX ? cornerY : edgeY)) {
        edges |= Qt::TopEdge;
    } else if (bottom < (onX ? cornerY : edgeY)) {
        edges |= Qt::BottomEdge;
    }
    return edges;
}

void CTrackWnd::ShowCursor(Qt::Edges edges)
{
    Qt::CursorShape shape = Qt::SizeAllCursor;
    if (edges == (Qt::LeftEdge | Qt::TopEdge) || edges == (Qt::RightEdge | Qt::BottomEdge)) {
        shape = Qt::SizeFDiagCursor;
    } else if (edges == (Qt::RightEdge | Qt::TopEdge) || edges == (Qt::LeftEdge | Qt::BottomEdge)) {
        shape = Qt::SizeBDiagCursor;
    } else if (edges & (Qt::LeftEdge | Qt::RightEdge)) {
        shape = Qt::SizeHorCursor;
    } else if (edges) {
        shape = Qt::SizeVerCursor;
    }
    if (cursor().shape() != shape) {
        setCursor(shape);
    }
}

void CTrackWnd::Change(const QRect& from, Qt::Edges edges, const QPoint& by)
{
    QRect frame = from;
    if (!edges) {
        frame.translate(by);
    }
    if (edges & Qt::LeftEdge) {
        frame.setLeft(std::min(from.left() + by.x(), from.right() - kLeastSize + 1));
    }
    if (edges & Qt::RightEdge) {
        frame.setRight(std::max(from.right() + by.x(), from.left() + kLeastSize - 1));
    }
    if (edges & Qt::TopEdge) {
        frame.setTop(std::min(from.top() + by.y(), from.bottom() - kLeastSize + 1));
    }
    if (edges & Qt::BottomEdge) {
        frame.setBottom(std::max(from.bottom() + by.y(), from.top() + kLeastSize - 1));
    }
    if (parentWidget() != nullptr && edges) {
        // Sizing ends at the parent's edges; what was beyond them stays there.
        const QRect limit = parentWidget()->rect().united(from);
        frame &= limit;
    }
    setGeometry(frame);
    KeepReachable();
}

void CTrackWnd::KeepReachable()
{
    if (parentWidget() == nullptr) {
        return;
    }
    const auto kept = [](int position, int size, int room) {
        const int reach = std::min({kReach, size, room});
        return std::clamp(position, reach - size, room - reach);
    };
    const QPoint to(kept(x(), width(), parentWidget()->width()),
                    kept(y(), height(), parentWidget()->height()));
    if (to != pos()) {
        move(to);
    }
}

bool CTrackWnd::eventFilter(QObject* object, QEvent* event)
{
    if (object == parentWidget() && event->type() == QEvent::Resize && !isHidden()) {
        KeepReachable();
    }
    return QWidget::eventFilter(object, event);
}

void CTrackWnd::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) {
        m_dragging = true;
        m_edges = GetEdges(event->position().toPoint());
        m_pressed = mapToParent(event->position().toPoint());
        m_pressedFrame = geometry();
    }
}

void CTrackWnd::mouseMoveEvent(QMouseEvent* event)
{
    if ((event->buttons() & Qt::LeftButton) == 0) {
        m_dragging = false; // the release went elsewhere
    }
    if (m_dragging) {
        Change(m_pressedFrame, m_edges, mapToParent(event->position().toPoint()) - m_pressed);
    } else {
        ShowCursor(GetEdges(event->position().toPoint()));
    }
}

void CTrackWnd::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) {
        m_dragging = false;
    }
}

void CTrackWnd::hideEvent(QHideEvent* event)
{
    m_dragging = false;
    QWidget::hideEvent(event);
}

void CTrackWnd::keyPressEvent(QKeyEvent* event)
{
    QPoint by;
    switch (event->key()) {
    case Qt::Key_Left:
        by.setX(-1);
        break;
    case Qt::Key_Right:
        by.setX(1);
        break;
    case Qt::Key_Up:
        by.setY(-1);
        break;
    case Qt::Key_Down:
        by.setY(1);
        break;
    default:
        QWidget::keyPressEvent(event);
        return;
    }
    const bool size = (event->modifiers() & Qt::ShiftModifier) != 0;
    Change(geometry(), size ? Qt::RightEdge | Qt::BottomEdge : Qt::Edges(), by);
}

void CTrackWnd::moveEvent(QMoveEvent* event)
{
    QWidget::moveEvent(event);
    if (parentWidget() != nullptr) {
        parentWidget()->update();
    }
}

void CTrackWnd::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    if (width() < kLeastHollow || height() < kLeastHollow) {
        clearMask();
    } else {
        setMask(QRegion(rect()) - QRegion(rect().adjusted(kBand, kBand, -kBand, -kBand)));
        if (parentWidget() != nullptr) {
            parentWidget()->update();
        }
    }
    update();
}

void CTrackWnd::paintEvent(QPaintEvent*)
{
    // Dark beside light beside dark: one of them stands out on any picture.
    const QColor core = hasFocus() ? palette().color(QPalette::Highlight).lighter(140) : QColor(Qt::white);
    QPainter dc(this);
    const auto frame = [&](int from, int to, const QColor& color) {
        const QRect outer = rect().adjusted(from, from, -from, -from);
        const QRect inner = rect().adjusted(to, to, -to, -to);
        for (const QRect& bar : QRegion(outer) - QRegion(inner)) {
            dc.fillRect(bar, color);
        }
    };
    frame(0, 1, Qt::black);
    frame(1, kEdge - 1, core);
    frame(kEdge - 1, kEdge, Qt::black);
}

} // namespace alidade
