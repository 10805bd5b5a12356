#pragma once

#include "foundation/platform/Types.h"
#include "view/display/DisplayFrame.h"

#include <optional>
#include <vector>

namespace alidade {

class CCoordTrans;

/// What the status line tells.
struct T_STATUS {
    std::optional<double> focus;            // none: not measured
    TPoint2<double> position;               // stage mm
    const T_DISPLAY_FRAME* frame = nullptr; // null: none
    TPoint2<int> pixel;                     // under the mouse, px of the frame's picture
    const CCoordTrans* stageFromImage =
        nullptr;                         // of the current lens, for lengths in px; null: they are left out
    std::vector<TPoint2<double>> points; // selected, stage mm
};

/// The line of a view's status: docs/display.md.
ALIDADE_API CString FormatStatusLine(const T_STATUS& status);

} // namespace alidade
