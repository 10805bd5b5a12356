#pragma once

#include "foundation/platform/Types.h"

#include <QAbstractButton>
#include <optional>

class QPainter;

namespace alidade {

/// The arrows of the hide button (up) and of the decoration that brings the bar back (down), sharp at any
/// scale factor.
void DrawBarArrow(QPainter& dc, const QRectF& rect, bool up, const QColor& color);

/// A flat button of the menu bar. A mouse click leaves the keyboard where it is; Space and Enter press it.
class CBarButton : public QAbstractButton {
public:
    enum eLOOK { LOOK_TEXT, LOOK_ARROW };

    CBarButton(QWidget* parent, const char* text, eLOOK look = LOOK_TEXT);

    /// None: the bar's own.
    void SetFaceColor(std::optional<COLORREF> color);
    /// Held down until it is taken back; clicks do not change it.
    void SetPressed(bool pressed);
    QSize sizeHint() const override;

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void nextCheckState() override {}
    void paintEvent(QPaintEvent* event) override;

private:
    const eLOOK m_look;
    std::optional<COLORREF> m_face;
};

} // namespace alidade
