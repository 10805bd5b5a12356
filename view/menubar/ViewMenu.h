#pragma once

#include "acquisition/Export.h"
#include "view/menubar/MenuBarOwner.h"

#include <functional>
#include <span>

class QMenu;
class QWidget;

namespace alidade {

/// One item of a view's popup menu.
struct T_VIEW_MENU_ITEM {
    const wchar_t* path; // submenus, separated by '/'
    const wchar_t* text;
    int identifier;
    bool checkable = false;
    bool separated = false; // a line stands above it
};

/// All items, in order. Submenus stand where their first item does.
ALIDADE_API std::span<const T_VIEW_MENU_ITEM> GetViewMenuTable();

/// The menu, a child of `owner`. An action has its identifier as data, and "item" with the identifier as
/// object name. At each opening every item is asked for its state; one that is not present is taken out for
/// ever.
/// @param state   asked while the menu opens
/// @param chosen  called after the menu has closed, from the event loop
QMenu* MakeViewMenu(QWidget* owner, std::function<T_MENU_ITEM_STATE(int)> state,
                    std::function<void(int)> chosen);

} // namespace alidade
