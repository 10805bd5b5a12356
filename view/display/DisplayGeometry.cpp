#include "view/display/DisplayGeometry.h"

#include "view/display/ZoomState.h"

#include <algorithm>
#include <cmath>

namespace alidade {
namespace {

const cv::Size kLeast{12, 9};
constexpr double kMost = 1 << 30; // px; what lies beyond comes of numbers that nobody meant

/// Half a unit more, cut towards zero; no number gives 0.
int WholePixel(double value)
{
    return std::isnan(value) ? 0 : static_cast<int>(std::clamp(value + 0.5, -kMost, kMost));
}

int RoundUpTo4(int width)
{
    return (width + 3) & ~3;
}

/// The part of one direction that an area of `shown` screen px has room for. It never leaves the frame.
void CutOut(int image, int shown, double zoom, double shift, int& start, int& length)
{
    length = std::min(WholePixel(shown / zoom), image);
    start = std::max(WholePixel(shift - length / 2), 0); // integer half
    start = std::min(start, image - length);
}

} // namespace

int GetDisplayGeometry(const cv::Size& image, const cv::Size& area, int zoomMode, double zoom,
                       const TPoint2<double>& shift, T_DISPLAY_GEOMETRY& geometry)
{
    if (image.width <= 0 || image.height <= 0 || area.width <= 0 || area.height <= 0) {
        return 0;
    }
    cv::Rect source({0, 0}, image);
    cv::Size buffer = image, target = image;
    if (zoomMode == ZOOM_FIT) {
        zoom = std::min(static_cast<double>(area.width) / image.width,
                        static_cast<double>(area.height) / image.height);
    }
    if (zoomMode == ZOOM_ANISOTROPIC) {
        target = area;
        buffer = {RoundUpTo4(area.width), area.height};
        zoom = 0.0;
    } else if ((zoomMode == ZOOM_FIT || zoomMode == ZOOM_FACTOR) && zoom != 1.0) {
        target = {WholePixel(image.width * zoom), WholePixel(image.height * zoom)};
        zoom = static_cast<double>(target.width) / image.width; // fits the whole pixels
        buffer = {RoundUpTo4(target.width), WholePixel(image.height * zoom)};
    } else {
        zoom = 1.0;
    }
    if (area.width < target.width) {
        CutOut(image.width, area.width, zoom, shift.x, source.x, source.width);
        target.width = area.width;
        buffer.width = RoundUpTo4(area.width);
    }
    if (area.height < target.height) {
        CutOut(image.height, area.height, zoom, shift.y, source.y, source.height);
        target.height = buffer.height = area.height;
    }
    // The width may stay up to 3 px below the buffer's, which was rounded up: the picture keeps its scale.
    buffer = {std::max(buffer.width, kLeast.width), std::max(buffer.height, kLeast.height)};
    target = {std::max(target.width, kLeast.width), std::max(target.height, kLeast.height)};
    geometry = {source, buffer, target};
    return 1;
}

} // namespace alidade
