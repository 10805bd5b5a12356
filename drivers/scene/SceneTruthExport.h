#pragma once

#include "alidade/driver/Driver.h"

namespace alidade {

/// "GetSceneTruth": what is true of a scene, as JSON (UTF-8), for whoever scores a calibration or a finder
/// from outside of the plug-in. docs/scene.md describes the texts.
///
/// @param driver  of this plug-in
/// @param tick    0: all that does not depend on the moment, with all marks, as in the truth file. The tick
///                of a delivered frame (m_dwLastGrab): what that frame shows, with the marks in it; the
///                latest 256 frames are remembered
/// @param text    receives the text with a terminator if it fits, else an empty text; may be null
/// @param size    bytes in `text`
/// @return bytes that the text needs with its terminator; 0 for a driver that is not of this plug-in or not
///         open, and for a tick of no frame. Thread-safe, but not against the driver's destruction.
using GetSceneTruthFunction = int (*)(const IFrameGrabberInterface* driver, DWORD tick, char* text, int size);

} // namespace alidade
