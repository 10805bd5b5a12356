#pragma once

#include "acquisition/Export.h"

#include <span>

namespace alidade {

/// One row of the stage settings: the single home of its key, default, options and description. The dialog
/// and the documentation take them from here.
struct T_STAGE_SETTING {
    const wchar_t* name; // "----": a separator
    const wchar_t* defaultValue = L"";
    const wchar_t* options = L""; // separated by ";"; empty: none
    bool allowEdit = true;        // a text beside the options may be given
    const wchar_t* description = L"";
};

/// The rows of one group, which are the keys of the sub-section of that name.
struct T_STAGE_GROUP {
    const wchar_t* name;
    std::span<const T_STAGE_SETTING> rows;
};

/// The groups "Lens", "StageXY", "StageZ" and "Slit", in the order in which they are shown.
ALIDADE_API std::span<const T_STAGE_GROUP> GetStageSettingTable();

/// What CStageInterface takes for a key that is not in the section. These differ from the table's defaults,
/// which suggest a usual installation to whoever opens the dialog, while these hold where nobody has set
/// anything up: positions are then read as far as there are any, and nothing moves.
namespace stage_default {

constexpr int kUseToRead = 1;
constexpr int kUseToMove = 0;
constexpr int kCanMove = 1; // the table has FALSE for the slit, which few installations have
constexpr int kIndividual = 0;

constexpr const wchar_t* kTargetX =
    L"TargetX"; // of the stage and of the slit; the table has "PulseX" for the slit
constexpr const wchar_t* kTargetY = L"TargetY";
constexpr const wchar_t* kTargetAlone = L"MovePos"; // of one axis that is moved by a command of its own
constexpr const wchar_t* kTargetAngle = L"TargetAngle";

} // namespace stage_default

/// The key under which the slit's angle command looks for the name of its parameter. The dialog's row is
/// "TargetTName": it does not act on the command. Controllers rely on the one name and settings files
/// hold the other, so both stay.
constexpr const wchar_t* kStageTargetAngleKey = L"TargetAngleName";

} // namespace alidade
