#include "view/menubar/StatusLabel.h"

#include <QHelpEvent>
#include <QPainter>
#include <QToolTip>

namespace alidade {
namespace {

constexpr int kMargin = 4; // px before the text

} // namespace

CStatusLabel::CStatusLabel(QWidget* parent) : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
}

QRect CStatusLabel::GetTextRect() const
{
    // Of a bar that is wider than the view only a part can be seen.
    QRect visible = rect();
    if (parentWidget() != nullptr) {
        visible.setRight(std::min(visible.right(), parentWidget()->width() - 1 - x()));
    }
    return visible.adjusted(kMargin, 0, 0, 0);
}

void CStatusLabel::UpdateToolTip()
{
    const bool fits = fontMetrics().horizontalAdvance(text()) <= GetTextRect().width();
    const QString tip = fits ? QString() : text();
    if (tip == toolTip()) {
        return;
    }
    setToolTip(tip);
    if (m_tipShown && QToolTip::isVisible() && underMouse()) {
        ShowToolTip();
    }
}

void CStatusLabel::ShowToolTip()
{
    QString tip = toolTip();
    if (Qt::mightBeRichText(tip)) {
        tip = "<p style='white-space:pre'>" + tip.toHtmlEscaped() + "</p>";
    }
    QToolTip::showText(m_tipPosition, tip, this); // nothing for an empty text
    m_tipShown = !tip.isEmpty();
}

bool CStatusLabel::event(QEvent* event)
{
    if (event->type() == QEvent::ToolTip) {
        m_tipPosition = static_cast<QHelpEvent*>(event)->globalPos();
        ShowToolTip();
        return true;
    }
    if (event->type() == QEvent::Leave) {
        m_tipShown = false;
    }
    return QLabel::event(event);
}

void CStatusLabel::resizeEvent(QResizeEvent* event)
{
    QLabel::resizeEvent(event);
    UpdateToolTip();
}

void CStatusLabel::paintEvent(QPaintEvent*)
{
    const QRect area = GetTextRect();
    QPainter dc(this);
    dc.setPen(palette().color(QPalette::WindowText));
    dc.drawText(area, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                fontMetrics().elidedText(text(), Qt::ElideRight, area.width()));
}

} // namespace alidade
