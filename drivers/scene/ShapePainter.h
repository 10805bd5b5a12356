#pragma once

#include <initializer_list>
#include <opencv2/core.hpp>

namespace alidade {

/// Draws shapes into a grey picture so that each texel gets the part of it that the shape covers: edges and
/// centres lie where they were asked for, to some thousandths of a texel. Positions in mm. Reentrant.
class CShapePainter {
public:
    /// @param image   8-bit grey, not owned
    /// @param origin  centre of the first texel, mm; texels run along X, then Y
    /// @param texel   width of a texel, mm
    CShapePainter(cv::Mat& image, const cv::Point2d& origin, double texel);

    /// A rectangle between two corners in any order.
    void FillRectangle(const cv::Point2d& a, const cv::Point2d& b, int tone);
    /// Rectangles that are added to or cut out of one shape; no point is in it more than once in the end.
    struct T_PART {
        cv::Point2d a, b; // corners in any order
        int sign;         // 1: added, -1: cut out
    };
    void FillParts(std::initializer_list<T_PART> parts, int tone);
    /// @param inner  radius of the hole; 0: none
    void FillRing(const cv::Point2d& center, double outer, double inner, int tone);

private:
    cv::Mat& m_image;
    cv::Point2d m_origin;
    double m_texel;
};

} // namespace alidade
