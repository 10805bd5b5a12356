#pragma once

namespace alidade {

/// How an item of the popup menu stands when the menu is opened.
struct T_MENU_ITEM_STATE {
    bool present = true; // false: it is taken out, for the life of the bar
    bool enabled = true;
    bool checked = false;
};

/// What a menu bar asks of its view. Called on the window's thread.
class IMenuBarOwner {
public:
    virtual void OnZoomChanged() = 0;
    /// The frame rate button was pressed.
    virtual void OnFrameRateButton() = 0;
    /// The bar was hidden by its button, or brought back.
    virtual void OnToolMenuShown() = 0;
    virtual T_MENU_ITEM_STATE GetMenuItemState(int identifier) = 0;
    virtual void OnMenuItem(int identifier) = 0;

protected:
    ~IMenuBarOwner() = default;
};

} // namespace alidade
