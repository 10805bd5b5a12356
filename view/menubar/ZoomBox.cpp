#include "view/menubar/ZoomBox.h"

#include <QAbstractItemView>
#include <QCompleter>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QWheelEvent>
#include <algorithm>

namespace alidade {
namespace {

constexpr int kDroppedWidth = 80; // px, at least
constexpr int kTextLimit = 32;    // characters

} // namespace

CZoomBox::CZoomBox(QWidget* parent, std::function<void()> changed, std::function<void()> leave)
    : QComboBox(parent), m_changed(std::move(changed)), m_leave(std::move(leave))
{
    setEditable(true);
    setInsertPolicy(QComboBox::NoInsert);
    setCompleter(nullptr); // or 15 becomes 150
    setFocusPolicy(Qt::StrongFocus);
    for (const wchar_t* item : CZoomChoice::GetItems()) {
        addItem(QString::fromWCharArray(item));
    }
    setMaxVisibleItems(count());
    lineEdit()->setMaxLength(kTextLimit);
    connect(lineEdit(), &QLineEdit::textEdited, this, [this] { m_edited = true; });
    connect(this, &QComboBox::activated, this, [this](int item) {
        if (m_leaving) {
            return; // what was typed is an item; the end of the edit finds it
        }
        m_edited = false;
        m_choice.Select(item);
        Show();
        m_changed();
    });
    view()->setMinimumWidth(std::max(kDroppedWidth, view()->sizeHintForColumn(0) + 12));
    Show();
}

void CZoomBox::Show()
{
    m_edited = false;
    setCurrentIndex(m_choice.GetSelection());
    const QString text = QString::fromStdWString(m_choice.GetText());
    if (currentText() != text) {
        setEditText(text);
    }
}

void CZoomBox::Toggle()
{
    if (m_edited) {
        m_choice.SetText(currentText().toStdWString());
    }
    m_choice.Toggle();
    Show();
    m_changed();
}

void CZoomBox::EndEdit()
{
    if (!m_edited) {
        return;
    }
    m_choice.SetText(currentText().toStdWString());
    Show();
    m_changed();
}

bool CZoomBox::event(QEvent* event)
{
    if (event->type() == QEvent::ShortcutOverride) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Escape || key == Qt::Key_Menu) { // the edit's, whatever shortcuts there are
            event->accept();
            return true;
        }
    }
    return QComboBox::event(event);
}

void CZoomBox::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        EndEdit();
        m_leave();
        return;
    case Qt::Key_Escape:
        Show();
        m_leave();
        return;
    default:
        QComboBox::keyPressEvent(event);
    }
}

void CZoomBox::focusOutEvent(QFocusEvent* event)
{
    m_leaving = true;
    QComboBox::focusOutEvent(event);
    m_leaving = false;
    if (m_edited && event->reason() != Qt::PopupFocusReason) {
        // Later: a view that is being destroyed loses the keyboard, too.
        QMetaObject::invokeMethod(
            this, [this] { EndEdit(); }, Qt::QueuedConnection);
    }
}

void CZoomBox::wheelEvent(QWheelEvent* event)
{
    if (hasFocus()) {
        QComboBox::wheelEvent(event);
    } else {
        event->ignore();
    }
}

} // namespace alidade
