#include "view/display/StatusLine.h"

#include "foundation/math/CoordTrans.h"
#include "foundation/platform/Text.h"

#include <algorithm>
#include <cmath>

namespace alidade {
namespace {

using Point = TPoint2<double>;

/// Half a unit more, cut towards zero; held within the range of int, no number gives 0.
int WholePixel(double value)
{
    return std::isnan(value) ? 0 : static_cast<int>(std::clamp(value + 0.5, -2147483648.0, 2147483647.0));
}

double GetValue(const cv::Mat& image, int x, int y, int channel)
{
    const int at = x * image.channels() + channel;
    switch (image.depth()) {
    case CV_8U:
        return image.ptr<std::uint8_t>(y)[at];
    case CV_16U:
        return image.ptr<std::uint16_t>(y)[at];
    case CV_16S:
        return image.ptr<std::int16_t>(y)[at];
    case CV_32F:
        return image.ptr<float>(y)[at];
    case CV_64F:
        return image.ptr<double>(y)[at];
    default:
        return 0.0;
    }
}

/// Whole numbers with leading zeroes, so that the line keeps its width.
CString FormatValue(double value, int depth)
{
    if (depth == CV_32F || depth == CV_64F) {
        return Format(L"%g", value);
    }
    return Format(depth == CV_8U ? L"%03d" : L"%05d", static_cast<int>(value));
}

/// The grey value or red'green'blue under the mouse; empty outside the picture. Of a deep frame the camera's
/// own values, and which of them are shown black and white.
CString FormatPixel(const T_STATUS& status)
{
    if (status.frame == nullptr) {
        return {};
    }
    const T_DISPLAY_FRAME& frame = *status.frame;
    const cv::Mat& image = frame.deep.empty() ? frame.picture : frame.deep;
    const auto [x, y] = status.pixel;
    if (x < 0 || y < 0 || x >= image.cols || y >= image.rows) {
        return {};
    }
    const int depth = image.depth();
    CString text;
    if (image.channels() == 1) {
        text = L", " + FormatValue(GetValue(image, x, y, 0), depth);
    } else if (image.channels() == 3) {
        text = L", " + FormatValue(GetValue(image, x, y, 2), depth) + L"'" +
               FormatValue(GetValue(image, x, y, 1), depth) + L"'" +
               FormatValue(GetValue(image, x, y, 0), depth);
    }
    if (!frame.deep.empty()) {
        text += Format(L" [%g..%g]", frame.low, frame.high);
    }
    return text;
}

/// Length, start and size of what was selected, and its size in image px.
CString FormatDistance(const T_STATUS& status)
{
    const Point& start = status.points.front();
    const Point& end = status.points.size() > 1 ? status.points[1] : status.position;
    const double dx = end.x - start.x, dy = end.y - start.y;
    CString text = Format(L" L = %.3f mm, start(%.3f, %.3f) size(%.3f, %.3f)", std::hypot(dx, dy), start.x,
                          start.y, dx, dy);
    if (status.stageFromImage != nullptr) {
        const Point from = status.stageFromImage->TransI(start);
        const Point to = status.stageFromImage->TransI(end);
        text += Format(L" Img W/D (%d, %d)", WholePixel(to.x - from.x), WholePixel(to.y - from.y));
    }
    return text;
}

} // namespace

CString FormatStatusLine(const T_STATUS& status)
{
    CString line;
    if (status.focus) {
        line = Format(L"focus(%5.3f)", *status.focus);
    }
    line += Format(L"(%8.3f, %8.3f%s)", status.position.x, status.position.y, FormatPixel(status).c_str());
    if (status.points.size() == 1 || status.points.size() == 2) {
        line += FormatDistance(status);
    } else {
        int number = 0;
        for (const Point& point : status.points) {
            line += Format(L" [%d](%.3f, %.3f)", ++number, point.x, point.y);
        }
    }
    return line;
}

} // namespace alidade
