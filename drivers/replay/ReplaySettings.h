#pragma once

#include "alidade/driver/SettingTable.h"
#include "foundation/config/ProfileSection.h"

namespace alidade {

/// What becomes of a picture's colours.
enum class eREPLAY_COLOR {
    COLOR,     // 8 bits, 3 channels in the order blue, green, red
    GRAY,      // 8 bits, 1 channel
    UNCHANGED, // depth and channels of the file, without transparency
};

/// The driver's settings, checked.
struct T_REPLAY_SETTINGS {
    CString strSource;
    double dFrameRate = 0; // frames per second; 0: without pause
    bool bLoop = true;
    eREPLAY_COLOR eColor = eREPLAY_COLOR::COLOR;
};

/// One row per setting: the home of keys, defaults and descriptions.
std::span<const T_DRIVER_SETTING> GetReplaySettingTable();

/// Reads and checks the settings.
/// @param message  receives the reason of a refusal, for the operator
/// @return 1, or 0 with `out` unchanged
int ReadReplaySettings(const CProfileSection& settings, T_REPLAY_SETTINGS& out, CString& message);

} // namespace alidade
