#pragma once

#include "acquisition/Export.h"
#include "foundation/config/ProfileSection.h"
#include "foundation/platform/Types.h"

#include <span>
#include <variant>

namespace alidade {

/// The display settings of a view. Bound to the window's thread.
struct T_VIEW_SETTINGS {
    int bDisplayRegion = 1;
    int bDisplayGrid = 0;
    int bDisplaySlit = 0;
    int bDisplayFocusValue = 0;
    int bDisplaySelectedRegionSize = 1;
    int bDisplayLabel = 1;
    double dGridIntervalX = 0.015; // mm
    double dGridIntervalY = 0.015;
    double dGridSizeX = 0.015; // mm
    double dGridSizeY = 0.015;
    int bDisplayLaserCenterOffset = 1;
    int crOffset = 255;    // COLORREF
    int sizeOffsetX = 200; // screen px
    int sizeOffsetY = 200;
    CString strUILockPassword;
};

/// One row of the view's settings: the single home of its key, default and description. The reader, the menu
/// and the documentation take them from here.
struct T_VIEW_SETTING {
    const wchar_t* key;
    const wchar_t* type; // "boolean", "integer", "double" or "text"
    const wchar_t* defaultValue;
    const wchar_t* description;
    /// Where the value is; null for the one that is the menu bar's own.
    std::variant<std::nullptr_t, int T_VIEW_SETTINGS::*, double T_VIEW_SETTINGS::*,
                 CString T_VIEW_SETTINGS::*>
        member;
    int menuItem = 0; // identifier of the item that toggles it; 0: none
};

/// Key of the menu bar's visibility, the last row.
inline constexpr const wchar_t* kToolMenuKey = L"view.ToolMenu";

/// The rows in the order in which they are read and written.
ALIDADE_API std::span<const T_VIEW_SETTING> GetViewSettingTable();

/// Reads or, with `store` non-zero, writes all rows that have a member. A key that is absent, or no number of
/// its type, leaves the value as it is.
ALIDADE_API void SyncViewSettings(int store, CProfileSection& section, T_VIEW_SETTINGS& settings);

/// The toggle that a menu item stands for, or null.
ALIDADE_API int* FindViewToggle(T_VIEW_SETTINGS& settings, int menuItem);

} // namespace alidade
