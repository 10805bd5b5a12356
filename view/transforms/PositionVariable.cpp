#include "view/transforms/PositionVariable.h"

#include "foundation/bus/ImageVariable.h"

#include <string>
#include <vector>

namespace alidade {
namespace {

using Point = TPoint2<double>;

std::vector<Point> CopyPoints(const TList<Point>* list)
{
    std::vector<Point> points;
    if (list != nullptr) {
        CS lock(list->GetLock());
        for (const Point* point : *list) {
            if (point != nullptr) {
                points.push_back(*point);
            }
        }
    }
    return points;
}

/// "nPts..." and, for a prefix P, "PX0", "PY0" and so on, then the means "PX" and "PY".
void WriteGroup(CIPVariable& result, const char* countKey, const std::string& prefix,
                const std::vector<Point>& points)
{
    result.SetChildItem(countKey, static_cast<int>(points.size()));
    Point sum;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const std::string number = std::to_string(i);
        result.SetChildItem((prefix + "X" + number).c_str(), points[i].x);
        result.SetChildItem((prefix + "Y" + number).c_str(), points[i].y);
        sum = {sum.x + points[i].x, sum.y + points[i].y};
    }
    const auto count = static_cast<double>(points.size());
    const Point mean = points.size() == 1 ? points[0] : Point{sum.x / count, sum.y / count};
    result.SetChildItem((prefix + "X").c_str(), mean.x);
    result.SetChildItem((prefix + "Y").c_str(), mean.y);
}

std::vector<Point> RelativeTo(std::vector<Point> points, const Point& origin)
{
    for (Point& point : points) {
        point = {point.x - origin.x, point.y - origin.y};
    }
    return points;
}

} // namespace

void WritePositions(CIPVariable& result, const TList<Point>* stagePoints, const TList<Point>* imagePoints,
                    const cv::Mat* image, const T_LASER_CENTER& laser)
{
    const std::vector<Point> onStage = CopyPoints(stagePoints);
    const std::vector<Point> inImage = CopyPoints(imagePoints);
    if (!onStage.empty()) {
        WriteGroup(result, "nPtsMachine", "M", onStage);
    }
    if (!inImage.empty()) {
        WriteGroup(result, "nPtsImage", "I", inImage);
        WriteGroup(result, "nPtsLaserImage", "LI", RelativeTo(inImage, laser.image));
        if (!onStage.empty()) {
            WriteGroup(result, "nPtsLaserImage", "LM", RelativeTo(onStage, laser.stage));
        }
    }
    if (image != nullptr && !image->empty()) {
        ConvertMatToVar(result("matImage"), *image);
    }
}

} // namespace alidade
