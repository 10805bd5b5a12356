#include "view/menubar/BarButton.h"

#include "view/menubar/BarColors.h"

#include <QKeyEvent>
#include <QPainter>
#include <algorithm>

namespace alidade {

void DrawBarArrow(QPainter& dc, const QRectF& rect, bool up, const QColor& color)
{
    const qreal half = std::min(rect.width(), rect.height()) * 0.24;
    const qreal rise = up ? -half / 2.0 : half / 2.0;
    const QPointF center = rect.center();
    const QPointF points[] = {center + QPointF(-half, -rise), center + QPointF(0, rise),
                              center + QPointF(half, -rise)};
    dc.save();
    dc.setRenderHint(QPainter::Antialiasing);
    dc.setPen(QPen(color, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    dc.setBrush(Qt::NoBrush);
    dc.drawPolyline(points, 3);
    dc.restore();
}

CBarButton::CBarButton(QWidget* parent, const char* text, eLOOK look) : QAbstractButton(parent), m_look(look)
{
    setText(QString::fromUtf8(text));
    setFocusPolicy(Qt::TabFocus);
    setAttribute(Qt::WA_Hover);
}

void CBarButton::SetFaceColor(std::optional<COLORREF> color)
{
    if (m_face != color) {
        m_face = color;
        update();
    }
}

void CBarButton::SetPressed(bool pressed)
{
    if (isChecked() != pressed) {
        setCheckable(true);
        setChecked(pressed);
    }
}

QSize CBarButton::sizeHint() const
{
    const QFontMetrics metrics(font());
    return {metrics.horizontalAdvance(text()) + metrics.height() * 2 / 3, metrics.height()};
}

void CBarButton::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        if (!event->isAutoRepeat()) {
            click();
        }
        return;
    }
    QAbstractButton::keyPressEvent(event);
}

void CBarButton::paintEvent(QPaintEvent*)
{
    const QColor bar = palette().color(QPalette::Window);
    const QColor ink = palette().color(QPalette::WindowText);
    const bool pressed = isDown() || isChecked();
    QColor face = m_face ? FromColorRef(*m_face) : bar;
    if (pressed) {
        face = MixColors(face, m_face ? Qt::black : ink, m_face ? 10 : 25);
    } else if (underMouse() && isEnabled()) {
        face = MixColors(face, m_face ? Qt::white : ink, m_face ? 25 : 12);
    }
    QPainter dc(this);
    const QRect box = rect().adjusted(1, 1, -1, -1);
    if (face != bar) {
        dc.fillRect(box, face);
    }
    if (pressed) { // sunk
        const QColor edge = MixColors(face, Qt::black, 35);
        dc.fillRect(box.left(), box.top(), box.width(), 1, edge);
        dc.fillRect(box.left(), box.top(), 1, box.height(), edge);
    }
    const QColor front = m_face ? ReadableOn(face) : ink;
    if (m_look == LOOK_ARROW) {
        DrawBarArrow(dc, rect(), true, front);
    } else {
        dc.setPen(front);
        const QString shown = fontMetrics().elidedText(text(), Qt::ElideRight, box.width());
        dc.drawText(box, Qt::AlignCenter | Qt::TextSingleLine, shown);
    }
    if (hasFocus()) {
        dc.setPen(palette().color(QPalette::Highlight));
        dc.setBrush(Qt::NoBrush);
        dc.drawRect(box.adjusted(0, 0, -1, -1));
    }
}

} // namespace alidade
