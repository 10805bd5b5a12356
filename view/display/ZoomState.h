#pragma once

#include <atomic>

namespace alidade {

enum eZOOM_MODE {
    ZOOM_FIT,         // the whole frame, centred
    ZOOM_ANISOTROPIC, // the whole frame, stretched to the picture area
    ZOOM_FACTOR       // a fixed factor
};

/// How a view shows its frame. Written on the window's thread, read on any: the two values need not belong
/// to one moment, which costs one frame.
struct T_ZOOM_STATE {
    std::atomic<int> mode{ZOOM_FIT};
    std::atomic<double> factor{1.0}; // of ZOOM_FACTOR: screen px per image px, 0.01 to 10
};

} // namespace alidade
