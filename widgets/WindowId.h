#pragma once

#include <QVariant>
#include <QWidget>

namespace alidade {

/// The number of a child window, by which its parent and tests find it; 0: none.
inline void SetDlgCtrlID(QWidget* window, int identifier)
{
    window->setProperty("identifier", identifier);
}

inline int GetDlgCtrlID(const QWidget* window)
{
    return window->property("identifier").toInt();
}

/// The direct child of that number, or null.
inline QWidget* FindChildWindow(const QWidget* parent, int identifier)
{
    for (QObject* child : parent->children()) {
        auto* window = qobject_cast<QWidget*>(child);
        if (window != nullptr && GetDlgCtrlID(window) == identifier) {
            return window;
        }
    }
    return nullptr;
}

} // namespace alidade
