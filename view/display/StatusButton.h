#pragma once

#include "acquisition/Export.h"
#include "foundation/platform/Types.h"

#include <optional>

namespace alidade {

/// The colours of the frame rate button.
enum eSTATUS_BUTTON {
    STATUS_BUTTON_NORMAL,  // the button's own colour
    STATUS_BUTTON_FREEZED, // live, but the frames have stopped: red
    STATUS_BUTTON_PAUSED   // yellow
};

/// What the grabber says.
struct T_STATUS_BUTTON_INPUT {
    bool live = false;
    bool freezed = false; // live, yet the frames have stopped
    double rate = 0.0;    // frames per second
    DWORD elapsed = 0;    // ms over which the rate was measured
};

/// What is to be done; what is not set stays as it is.
struct T_STATUS_BUTTON_CHANGE {
    bool pressed = false;
    std::optional<CString> text;
    std::optional<eSTATUS_BUTTON> state; // the button is redrawn at once
    bool logFreezed = false;             // as an error: "Freezed - " and the unit's name
    bool logUnFreezed = false;           // "UnFreezed - " and the unit's name
};

/// What the frame rate button shows, and when it changes; knows no widget. Bound to the window's thread.
class ALIDADE_API CStatusButton {
public:
    /// A new grabber came: its first good status sets the colour and is logged.
    void Reset() { m_bNormalStatus = 0; }
    /// By a timer.
    ///
    /// Text and colour of a warning stay until the grabber is live and delivers again: pausing one that is
    /// frozen already changes neither.
    T_STATUS_BUTTON_CHANGE Update(const T_STATUS_BUTTON_INPUT& input);

private:
    int m_bNormalStatus = 1; // a frame rate is shown, not a warning
};

} // namespace alidade
