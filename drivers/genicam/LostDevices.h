#pragma once

#include "GObject.h"

namespace alidade {

/// Lets go of a camera that no longer answers, in the background: the library asks it for some seconds to
/// stop and to give back control. Whatever is still under way when the process ends is waited for.
/// Thread-safe.
void ReleaseLostDevice(TGObjectPtr<ArvCamera> camera, TGObjectPtr<ArvStream> stream);

} // namespace alidade
