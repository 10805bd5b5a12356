#include "ShapePainter.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace alidade {
namespace {

/// Part of the texel `at` (from at - 0.5 to at + 0.5) between two edges.
double CoverageOfSpan(int at, double low, double high)
{
    return std::max(0.0, std::min(at + 0.5, high) - std::max(at - 0.5, low));
}

std::uint8_t Blend(std::uint8_t under, int tone, double coverage)
{
    return static_cast<std::uint8_t>(under + coverage * (tone - under) + 0.5);
}

/// Part of a texel at (dx, dy) from the centre of a disc.
double CoverageOfDisc(double dx, double dy, double radius)
{
    constexpr double kReach = 0.7072; // half of a texel's diagonal
    const double distance = std::sqrt(dx * dx + dy * dy);
    if (distance >= radius + kReach) {
        return 0;
    }
    if (distance <= radius - kReach) {
        return 1;
    }
    if (radius > 64) {
        // As good as a straight edge.
        return std::clamp(radius - distance + 0.5, 0.0, 1.0);
    }
    // The chord's height, averaged over lines across the texel.
    constexpr int kLines = 16;
    double sum = 0;
    for (int i = 0; i < kLines; ++i) {
        const double y = dy + (i + 0.5) / kLines - 0.5;
        const double half = radius * radius - y * y;
        if (half > 0) {
            const double root = std::sqrt(half);
            sum += std::max(0.0, std::min(dx + 0.5, root) - std::max(dx - 0.5, -root));
        }
    }
    return sum / kLines;
}

/// Whole texels from `low` to `high`, within 0 and `count`; the second is one past the end.
std::pair<int, int> ClipSpan(double low, double high, int count)
{
    const double first = std::floor(low + 0.5);
    const double end = std::floor(high + 0.5) + 1;
    return {static_cast<int>(std::clamp(first, 0.0, static_cast<double>(count))),
            static_cast<int>(std::clamp(end, 0.0, static_cast<double>(count)))};
}

} // namespace

CShapePainter::CShapePainter(cv::Mat& image, const cv::Point2d& origin, double texel)
    : m_image(image), m_origin(origin), m_texel(texel)
{
}

void CShapePainter::FillRectangle(const cv::Point2d& a, const cv::Point2d& b, int tone)
{
    const double left = (std::min(a.x, b.x) - m_origin.x) / m_texel;
    const double right = (std::max(a.x, b.x) - m_origin.x) / m_texel;
    const double top = (std::min(a.y, b.y) - m_origin.y) / m_texel;
    const double bottom = (std::max(a.y, b.y) - m_origin.y) / m_texel;
    const auto [x0, x1] = ClipSpan(left, right, m_image.cols);
    const auto [y0, y1] = ClipSpan(top, bottom, m_image.rows);
    // Columns within which every texel is covered whole.
    const int inner0 = std::clamp(static_cast<int>(std::ceil(std::max(left, -1.0) + 0.5)), x0, x1);
    const int inner1 =
        std::clamp(static_cast<int>(std::floor(std::min(right, m_image.cols + 1.0) - 0.5)) + 1, inner0, x1);
    for (int y = y0; y < y1; ++y) {
        std::uint8_t* row = m_image.ptr(y);
        const double vertical = CoverageOfSpan(y, top, bottom);
        const auto blend = [&](int from, int to) {
            for (int x = from; x < to; ++x) {
                row[x] = Blend(row[x], tone, vertical * CoverageOfSpan(x, left, right));
            }
        };
        if (vertical < 1) {
            blend(x0, x1);
            continue;
        }
        blend(x0, inner0);
        std::memset(row + inner0, tone, static_cast<std::size_t>(inner1 - inner0));
        blend(inner1, x1);
    }
}

void CShapePainter::FillParts(std::initializer_list<T_PART> parts, int tone)
{
    std::vector<cv::Point2d> low, high; // of the parts, in texels
    cv::Point2d first(1e300, 1e300), last(-1e300, -1e300);
    for (const T_PART& part : parts) {
        const cv::Point2d a = (part.a - m_origin) / m_texel, b = (part.b - m_origin) / m_texel;
        low.emplace_back(std::min(a.x, b.x), std::min(a.y, b.y));
        high.emplace_back(std::max(a.x, b.x), std::max(a.y, b.y));
        first = {std::min(first.x, low.back().x), std::min(first.y, low.back().y)};
        last = {std::max(last.x, high.back().x), std::max(last.y, high.back().y)};
    }
    const auto [x0, x1] = ClipSpan(first.x, last.x, m_image.cols);
    const auto [y0, y1] = ClipSpan(first.y, last.y, m_image.rows);
    for (int y = y0; y < y1; ++y) {
        std::uint8_t* row = m_image.ptr(y);
        for (int x = x0; x < x1; ++x) {
            double coverage = 0;
            std::size_t i = 0;
            for (const T_PART& part : parts) {
                coverage += part.sign * CoverageOfSpan(x, low[i].x, high[i].x) *
                            CoverageOfSpan(y, low[i].y, high[i].y);
                ++i;
            }
            row[x] = Blend(row[x], tone, coverage);
        }
    }
}

void CShapePainter::FillRing(const cv::Point2d& center, double outer, double inner, int tone)
{
    const cv::Point2d at = (center - m_origin) / m_texel;
    const double radius = outer / m_texel;
    const double hole = inner / m_texel;
    const auto [y0, y1] = ClipSpan(at.y - radius - 1, at.y + radius + 1, m_image.rows);
    for (int y = y0; y < y1; ++y) {
        std::uint8_t* row = m_image.ptr(y);
        const double dy = y - at.y;
        // Half the chords of the circles in which texels lie whole in the disc, or have a part of it.
        const auto chord = [dy](double r) { return r > std::abs(dy) ? std::sqrt(r * r - dy * dy) : 0.0; };
        const double reach = chord(radius + 1) + 1;
        const auto [x0, x1] = ClipSpan(at.x - reach, at.x + reach, m_image.cols);
        const double whole = hole > 0 ? 0 : chord(radius - 1) - 1;
        int solid0 = x1, solid1 = x1;
        if (whole > 0) {
            std::tie(solid0, solid1) = ClipSpan(at.x - whole, at.x + whole, m_image.cols);
            solid0 = std::clamp(solid0, x0, x1);
            solid1 = std::clamp(solid1, solid0, x1);
        }
        const auto blend = [&](int from, int to) {
            for (int x = from; x < to; ++x) {
                double coverage = CoverageOfDisc(x - at.x, dy, radius);
                if (hole > 0 && coverage > 0) {
                    coverage -= CoverageOfDisc(x - at.x, dy, hole);
                }
                row[x] = Blend(row[x], tone, coverage);
            }
        };
        blend(x0, solid0);
        std::memset(row + solid0, tone, static_cast<std::size_t>(solid1 - solid0));
        blend(solid1, x1);
    }
}

} // namespace alidade
