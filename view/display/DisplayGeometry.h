#pragma once

#include "acquisition/Export.h"
#include "foundation/math/Geometry.h"

#include <opencv2/core/types.hpp>

namespace alidade {

/// How a frame lies on the screen.
struct T_DISPLAY_GEOMETRY {
    cv::Rect source; // the part of the frame to show, px of the frame
    cv::Size buffer; // the scaled picture, px; its width is a multiple of 4 where it was scaled
    cv::Size target; // its logical size on the screen, px
};

/// Works out how a frame fits the picture area.
///
/// Whole pixels are rounded by adding 0.5 and cutting. Far in, an area of a few px may be less than half an
/// image pixel wide: `source` is empty then, and there is nothing to show.
/// @param image  px of the frame
/// @param area   px of the picture area on the screen
/// @param zoom   of ZOOM_FACTOR: screen px per image px
/// @param shift  the image point that is shown at the area's centre
/// @return 1; 0 and `geometry` unchanged when the frame or the area is empty
ALIDADE_API int GetDisplayGeometry(const cv::Size& image, const cv::Size& area, int zoomMode, double zoom,
                                   const TPoint2<double>& shift, T_DISPLAY_GEOMETRY& geometry);

} // namespace alidade
