#pragma once

#include <QLabel>

namespace alidade {

/// One line of plain text, cut by an ellipsis at its end. While it does not fit, its tooltip holds the whole,
/// and follows it while it is shown.
class CStatusLabel : public QLabel {
public:
    explicit CStatusLabel(QWidget* parent);

    /// The text was set, or what is visible of the label has changed.
    void UpdateToolTip();
    QSize minimumSizeHint() const override { return {0, QLabel::minimumSizeHint().height()}; }

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QRect GetTextRect() const;
    void ShowToolTip();

    QPoint m_tipPosition; // screen
    bool m_tipShown = false;
};

} // namespace alidade
