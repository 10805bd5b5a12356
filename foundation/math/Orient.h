#pragma once

#include "foundation/Export.h"

#include <opencv2/core.hpp>

namespace alidade {

/// How an image is turned: a transpose, then at most one flip.
struct T_ORIENTATION {
    bool transpose = false;
    bool flipRows = false;    // top to bottom, after the transpose
    bool flipColumns = false; // left to right, after the transpose

    bool IsIdentity() const { return !transpose && !flipRows && !flipColumns; }
    bool operator==(const T_ORIENTATION&) const = default;

    /// The camera's image first mirrored by the two flags along its own axes, then turned by a quarter:
    /// `turn` above 0 anticlockwise, below 0 clockwise, 0 not at all.
    static constexpr T_ORIENTATION FromMirrorAndTurn(bool mirrorX, bool mirrorY, int turn)
    {
        if (turn == 0) {
            return {false, mirrorY, mirrorX};
        }
        // Behind a transpose the camera's columns are rows: a mirror left to right flips rows.
        return {true, (turn > 0) != mirrorX, (turn < 0) != mirrorY};
    }
};

/// Writes `source`, turned, to `target` in one pass by cache-sized blocks, on all cores for larger images.
/// Any type with elements of up to 32 bytes. The two must not share pixels; `target` is reallocated only if
/// size or type differ. Reentrant.
ALIDADE_FOUNDATION_API void OrientImage(const cv::Mat& source, cv::Mat& target,
                                        const T_ORIENTATION& orientation);

} // namespace alidade
