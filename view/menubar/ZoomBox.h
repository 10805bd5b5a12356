#pragma once

#include "view/menubar/ZoomChoice.h"

#include <QComboBox>
#include <functional>

namespace alidade {

/// The box of a view's zoom. An edit ends with Enter or when the keyboard goes elsewhere, and is dropped by
/// Esc; nothing is completed while it is typed. The wheel turns it only while it has the keyboard.
class CZoomBox : public QComboBox {
public:
    /// @param changed  called after a zoom was chosen, the same one too
    /// @param leave    called when Enter or Esc has ended the edit: gives the keyboard elsewhere
    CZoomBox(QWidget* parent, std::function<void()> changed, std::function<void()> leave);

    const T_ZOOM_STATE& GetState() const { return m_choice.GetState(); }
    void Toggle();

protected:
    // The edit in the box hands its events to the box.
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    /// Shows the choice.
    void Show();
    void EndEdit();

    CZoomChoice m_choice;
    const std::function<void()> m_changed;
    const std::function<void()> m_leave;
    bool m_edited = false;
    bool m_leaving = false; // the keyboard goes elsewhere
};

} // namespace alidade
