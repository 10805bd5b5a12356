// The thread sanitizer cannot see how OpenCV's own worker threads are joined: run its loops on one thread.

#include <opencv2/core.hpp>

namespace {

const bool g_set = [] {
    cv::setNumThreads(0);
    return true;
}();

} // namespace
