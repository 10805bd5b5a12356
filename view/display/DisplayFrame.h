#pragma once

#include "view/display/DisplayGeometry.h"

#include <cstdint>
#include <opencv2/core/mat.hpp>

namespace alidade {

/// A frame as it is painted: cut out and scaled to the screen. A value: nothing writes the pictures any more
/// once the frame was handed over, so copies share them.
struct T_DISPLAY_FRAME {
    cv::Mat picture;   // 8 bits, one or three channels (blue, green, red); buffer size
    cv::Mat deep;      // of a frame deeper than 8 bits: the scaled values; otherwise empty
    double low = 0.0;  // of `deep`: what is shown black
    double high = 0.0; // and white
    T_DISPLAY_GEOMETRY geometry;
    cv::Size image;           // the full frame, px
    std::uint64_t number = 0; // counts what its display handed over, over restarts too; 0: none yet
    std::int64_t fetched = 0; // GetTickNanoseconds when the grabber's copy was made
};

} // namespace alidade
