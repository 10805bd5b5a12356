#pragma once

#include "foundation/Export.h"

#include <opencv2/core.hpp>

namespace alidade {

/// An allocator of image memory that keeps the blocks last freed for the next images of the same size.
///
/// A fresh block of a large image costs several copies of it in page faults. Where an image changes its
/// shape on its way (a clip, a quarter turn) and the next frame is written into the same cv::Mat again, the
/// memory goes round here instead. Set it as `cv::Mat::allocator`. It lives as long as the process, so images
/// may outlive whatever made them. At most 16 blocks and 1 GiB are kept. Thread-safe.
ALIDADE_FOUNDATION_API cv::MatAllocator* GetFrameAllocator();

/// Gives the kept blocks back to the system.
ALIDADE_FOUNDATION_API void TrimFrameAllocator();

} // namespace alidade
