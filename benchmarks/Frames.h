#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace alidade::bench {

struct T_FRAME_SIZE {
    std::string name;
    cv::Size size;
    int type;
    bool large;
};

/// The frame sizes that the figures are stated for.
inline const std::vector<T_FRAME_SIZE>& FrameSizes()
{
    static const std::vector<T_FRAME_SIZE> sizes = {
        {"1024x768x3", {1024, 768}, CV_8UC3, false},
        {"2448x2048x1", {2448, 2048}, CV_8UC1, false},
        {"5120x5120x3", {5120, 5120}, CV_8UC3, true},
    };
    return sizes;
}

inline cv::Mat MakeFrame(const T_FRAME_SIZE& size)
{
    cv::Mat frame(size.size, size.type);
    cv::randu(frame, 0, 255);
    return frame;
}

} // namespace alidade::bench
