#pragma once

#include "foundation/bus/IPClient.h"
#include "foundation/platform/Event.h"

#include <functional>
#include <opencv2/core.hpp>

namespace alidade {

/// Moves the stage along a path, takes a picture at each stop, all through the bus, and writes a sheet of the
/// pictures with the positions in them.
/// @param unit   answers "Image" "Grab"
/// @param waitForFrame  waits for the next frame of that unit's camera; 0 when none comes
/// @param file   picture file to write; replaced as a whole
/// @param stop   manual reset; ends it early, without a sheet
/// @return 1; 0 with one sentence in `error`
int RunStageDemo(CIPClient& client, const char* unit, const std::function<int()>& waitForFrame,
                 const CString& file, CEvent& stop, CString& error);

} // namespace alidade
