#pragma once

#include "alidade/driver/PropertyGridProperty.h"
#include "foundation/config/ProfileSection.h"
#include "foundation/containers/List.h"

#include <span>

namespace alidade {

/// One row of a driver's settings: the single home of its key, default, options and description. The reader,
/// the settings grid and the documentation take them from here.
struct T_DRIVER_SETTING {
    const wchar_t* key;
    const wchar_t* type; // "boolean", "integer", "double" or "text", for the documentation
    const wchar_t* defaultValue;
    const wchar_t* options; // separated by ";"; empty: none
    bool allowEdit;         // a text beside the options may be given
    const wchar_t* description;
};

/// Appends one property per row, in order, each with an empty value.
inline void AppendProperties(std::span<const T_DRIVER_SETTING> table,
                             TList<CMFCPropertyGridProperty, int, int>& properties)
{
    for (const T_DRIVER_SETTING& row : table) {
        auto* property = new CMFCPropertyGridProperty(row.key, L"", row.description);
        property->AddOptions(row.options);
        property->AllowEdit(row.allowEdit);
        properties.Insert(property);
    }
}

/// The value of one row in a section, or the row's default. What cannot be read as the type asked for is
/// reported by the section, and the default taken.
inline const wchar_t* ReadText(const CProfileSection& settings, const T_DRIVER_SETTING& row)
{
    return settings.GetItemValue(row.key, row.defaultValue);
}

inline bool ReadBoolean(const CProfileSection& settings, const T_DRIVER_SETTING& row)
{
    CProfileSection defaults;
    defaults.SetItemValue(row.key, row.defaultValue);
    return settings.GetItemValueBoolean(row.key, defaults.GetItemValueBoolean(row.key, 0)) != 0;
}

inline double ReadDouble(const CProfileSection& settings, const T_DRIVER_SETTING& row)
{
    CProfileSection defaults;
    defaults.SetItemValue(row.key, row.defaultValue);
    return settings.GetItemValue(row.key, defaults.GetItemValue(row.key, 0.0));
}

} // namespace alidade
