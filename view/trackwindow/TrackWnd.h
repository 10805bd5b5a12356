#pragma once

#include "acquisition/Export.h"

#include <QWidget>

namespace alidade {

/// A hollow frame over the picture: the operator moves it by what shows inside and sizes it by its edges, and
/// so says which region is meant. Small ones are solid. Some of it always stays on its parent. The parent is
/// repainted whenever the frame has moved or changed its size.
///
/// Keys: arrows move it by 1 px, with Shift they move its right and lower edge.
///
/// Its geometry is the region, logical px of the parent. Bound to the window's thread.
class ALIDADE_API CTrackWnd : public QWidget {
public:
    /// Hidden at first, 10 by 10 px.
    explicit CTrackWnd(QWidget* parent);

protected:
    bool eventFilter(QObject* object, QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    /// The edges at a point; none: it moves.
    Qt::Edges GetEdges(const QPoint& at) const;
    void ShowCursor(Qt::Edges edges);
    /// Moves these edges of `from`, or all of it, by so many px and takes the result.
    void Change(const QRect& from, Qt::Edges edges, const QPoint& by);
    /// Moves it back to where some of it can be seen.
    void KeepReachable();

    bool m_dragging = false;
    Qt::Edges m_edges;    // being dragged
    QPoint m_pressed;     // px of the parent
    QRect m_pressedFrame; // as it was then
};

} // namespace alidade
