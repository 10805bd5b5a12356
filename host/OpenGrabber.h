#pragma once

#include "acquisition/FrameGrabber.h"
#include "host/HostLog.h"
#include "host/HostOptions.h"

namespace alidade {

/// Checks the settings that the options give and opens the driver with its clip; capture is not started.
/// @param settings, message  receive the grabber's settings and what the driver said
/// @return empty with `failure` set when it cannot be opened
TRefPointer<CFrameGrabber> OpenGrabber(const T_HOST_OPTIONS& options, CHostLog& log,
                                       CProfileSection& settings, CString& message, T_HOST_FAILURE& failure);

/// Stops and closes the grabber and drops it, within the options' time.
void CloseGrabber(const T_HOST_OPTIONS& options, TRefPointer<CFrameGrabber>& grabber);

} // namespace alidade
