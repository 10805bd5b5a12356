#pragma once

#include <opencv2/core.hpp>
#include <vector>

namespace alidade {

/// Blurs frames as a lens out of focus does. Its cost hardly grows with the blur: strong ones are made at a
/// lower resolution. Keeps memory from frame to frame. Reentrant.
class CDefocus {
public:
    /// A standard deviation below this, in px, leaves the frame as it is.
    static constexpr double kSharp = 0.2;

    /// Blurs in place.
    /// @param sigma  standard deviation in px, 64-bit floats, evenly spread over the frame from its first to
    ///               its last pixel; at least 2 x 2
    void Apply(cv::Mat& image, const cv::Mat& sigma);

private:
    void Blur(const cv::Mat& image, cv::Mat& blurred, double sigma);
    void BlurVarying(cv::Mat& image, const cv::Mat& sigma, double least, double most);
    void BlendRow(cv::Mat& image, int y, const cv::Mat& sigma, const std::vector<double>& levels) const;

    cv::Mat m_small, m_smallBlurred, m_result;
    std::vector<cv::Mat> m_levels;
};

} // namespace alidade
