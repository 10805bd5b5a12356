#pragma once

#include "foundation/Export.h"

#include <opencv2/core.hpp>

namespace alidade {

/// Deep copy as cv::Mat::copyTo: `target` is reallocated only if size or type differ, and an empty source
/// gives an empty target. Copies of 3 MB and more use all cores, since one core moves about half of what the
/// memory can. Reentrant.
ALIDADE_FOUNDATION_API void CopyImage(const cv::Mat& source, cv::Mat& target);

} // namespace alidade
