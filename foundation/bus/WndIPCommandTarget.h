#pragma once

#include "foundation/bus/IPCommandTarget.h"

namespace alidade {

using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;
using LRESULT = std::intptr_t;

/// A receiver whose handlers run on the thread of a window, between its events, and while that thread waits
/// in SendIPCommand. A handler never runs beside another of the same thread.
///
/// The window puts IP_OnWndMsg first in its event routing:
///
///   bool CMyView::event(QEvent* event)
///   {
///       int handled = 0;
///       LRESULT result = 0;
///       IP_OnWndMsg(event->type(), 0, reinterpret_cast<LPARAM>(event), &result, handled);
///       return handled ? result != 0 : QWidget::event(event);
///   }
///
/// A command that arrives while the window is null fails. Made and destroyed on the window's thread.
class ALIDADE_FOUNDATION_API IWNDIPCommandTarget : public IIPCommandTarget {
public:
    /// @param window  the window's handle; read on its thread whenever a command arrives, so it may be set
    /// later
    IWNDIPCommandTarget(HWND& window, CIPClient* client = nullptr, int flag = 1);
    ~IWNDIPCommandTarget() override;

    int DoIPCommand(HIPCOMMAND command, const IP_COMMAND_TARGET_ENTRY* entry) override;
    /// Serves the message if it is one of the bus's, and sets `handled` then.
    /// @param message  the QEvent's type
    /// @param lparam   the QEvent
    /// @param result   1 for a served message; may be null
    /// @return the value of `handled`
    virtual int IP_OnWndMsg(UINT message, WPARAM wparam, LPARAM lparam, LRESULT* result, int& handled);
};

} // namespace alidade
