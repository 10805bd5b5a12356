#include "Defocus.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

namespace alidade {
namespace {

constexpr double kFirstLevel = 0.5; // px; between it and the sharp frame one blend is as good as many
constexpr double kLevelRatio = 1.5; // from blur to blur
constexpr double kSameBlur = 0.06;  // differences below this part of the blur are not shown

constexpr int kRun = 8; // pixels that share one blur

/// Variances, not deviations, are blended.
double Square(double value)
{
    return value * value;
}

} // namespace

void CDefocus::Apply(cv::Mat& image, const cv::Mat& sigma)
{
    double least = 0, most = 0;
    cv::minMaxLoc(sigma, &least, &most);
    most = std::min(most, static_cast<double>(std::max(image.cols, image.rows)));
    least = std::min(least, most);
    if (most < kSharp) {
        return;
    }
    if (most - least <= std::max(0.1, kSameBlur * most)) {
        Blur(image, m_result, (least + most) / 2);
        m_result.copyTo(image);
        return;
    }
    BlurVarying(image, sigma, least, most);
}

void CDefocus::Blur(const cv::Mat& image, cv::Mat& blurred, double sigma)
{
    if (sigma < kSharp) {
        image.copyTo(blurred);
        return;
    }
    int factor = 1;
    while (2 * factor * 1.6 <= sigma && std::min(image.cols, image.rows) / (2 * factor) >= 4) {
        factor *= 2;
    }
    if (factor == 1) {
        cv::GaussianBlur(image, blurred, {}, sigma, sigma, cv::BORDER_REPLICATE);
        return;
    }
    // Averaging over factor pixels and interpolating back blur, too.
    const double own = (Square(factor) - 1) / 12 + (Square(factor) - 1) / 6;
    const double rest = std::sqrt(std::max(0.01, Square(sigma) - own)) / factor;
    cv::resize(image, m_small, {(image.cols + factor - 1) / factor, (image.rows + factor - 1) / factor}, 0, 0,
               cv::INTER_AREA);
    cv::GaussianBlur(m_small, m_smallBlurred, {}, rest, rest, cv::BORDER_REPLICATE);
    cv::resize(m_smallBlurred, blurred, image.size(), 0, 0, cv::INTER_LINEAR);
}

void CDefocus::BlurVarying(cv::Mat& image, const cv::Mat& sigma, double least, double most)
{
    std::vector<double> levels;
    if (least < kFirstLevel) {
        levels.push_back(0);
    }
    double level = std::max(least, kFirstLevel);
    for (; level < most; level *= kLevelRatio) {
        levels.push_back(level);
    }
    levels.push_back(level);
    m_levels.resize(std::max(m_levels.size(), levels.size()));
    for (std::size_t i = 0; i < levels.size(); ++i) {
        Blur(image, m_levels[i], levels[i]);
    }
    cv::parallel_for_(cv::Range(0, image.rows), [&](const cv::Range& rows) {
        for (int y = rows.start; y < rows.end; ++y) {
            BlendRow(image, y, sigma, levels);
        }
    });
}

void CDefocus::BlendRow(cv::Mat& image, int y, const cv::Mat& sigma, const std::vector<double>& levels) const
{
    const double stepX = (sigma.cols - 1.0) / std::max(image.cols - 1, 1);
    const double stepY = (sigma.rows - 1.0) / std::max(image.rows - 1, 1);
    const int above = std::min(static_cast<int>(y * stepY), sigma.rows - 2);
    const double down = y * stepY - above;
    const auto sigmaAt = [&](double x) {
        const int left = std::min(static_cast<int>(x * stepX), sigma.cols - 2);
        const double right = x * stepX - left;
        const auto interpolated = [&](int column) {
            return sigma.at<double>(above, column) * (1 - down) + sigma.at<double>(above + 1, column) * down;
        };
        return interpolated(left) * (1 - right) + interpolated(left + 1) * right;
    };
    std::uint8_t* out = image.ptr(y);
    std::size_t pair = 0;
    for (int x = 0; x < image.cols; x += kRun) {
        const int count = std::min(kRun, image.cols - x);
        const double here = sigmaAt(x + (count - 1) / 2.0);
        // Neighbours have nearly the same blur, so the pair of levels is seldom another.
        while (pair > 0 && here < levels[pair]) {
            --pair;
        }
        while (pair + 2 < levels.size() && here > levels[pair + 1]) {
            ++pair;
        }
        const double low = Square(levels[pair]), high = Square(levels[pair + 1]);
        const int weight =
            static_cast<int>(256 * std::clamp((Square(here) - low) / (high - low), 0.0, 1.0) + 0.5);
        const int first = x * image.channels(), end = first + count * image.channels();
        const std::uint8_t* a = m_levels[pair].ptr(y);
        const std::uint8_t* b = m_levels[pair + 1].ptr(y);
        for (int i = first; i < end; ++i) {
            out[i] = static_cast<std::uint8_t>((a[i] * (256 - weight) + b[i] * weight + 128) >> 8);
        }
    }
}

} // namespace alidade
