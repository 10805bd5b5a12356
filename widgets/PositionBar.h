#pragma once

#include "acquisition/Export.h"

#include <QWidget>
#include <functional>

namespace alidade {

/// A bar between two windows, dragged with the mouse or moved by the arrow keys across the direction in which
/// it lies: by 8 px, with Shift by 1. It moves at once and tells its parent, which puts its neighbours in
/// place.
///
/// Positions are logical px of the parent. Bound to the user interface's thread.
class ALIDADE_API CPositionBar : public QWidget {
public:
    enum DIRECTION { UP_DOWN = 0, LEFT_RIGHT = 1 };

    static constexpr int kThickness = 6; // px

    /// Without a window.
    CPositionBar();

    /// Makes the window: a child of `parent`, visible as its parent is. 0 when there is one already.
    int Create(const QRect& rect, QWidget* parent, int identifier);
    /// What bounds the bar, and where to it moves.
    void Init(const QRect& range, DIRECTION direction);
    DIRECTION GetDirection() const { return m_direction; }
    /// Told the bar's identifier after each move by hand. It may destroy the bar.
    void SetMoved(std::function<void(int)> moved) { m_moved = std::move(moved); }

    /// The bar as a whole stays inside it. In one that has no room for the bar it does not move.
    QRect m_rcRange;
    /// Where a move by hand has put the bar's near edge, until the parent has taken it; -1: nowhere.
    int m_nPending = -1;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    int Along(const QPoint& point) const { return m_direction == LEFT_RIGHT ? point.x() : point.y(); }
    void MoveTo(int position);

    DIRECTION m_direction = LEFT_RIGHT;
    bool m_dragging = false;
    int m_grip = 0; // where in the bar the mouse took it, px
    std::function<void(int)> m_moved;
};

} // namespace alidade
