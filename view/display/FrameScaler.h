#pragma once

#include "view/display/DisplayFrame.h"

#include <array>

namespace alidade {

/// Images of one size that go round: one that nobody else refers to any more is written again.
/// Bound to one thread; the images given out may be dropped on any.
class CPicturePool {
public:
    /// An image to write; when all are in use the memory of a new one is made by what writes it.
    cv::Mat& Take();

private:
    std::array<cv::Mat, 3> m_pictures; // one handed over, one being painted, one being made
};

/// Makes pictures for the screen out of frames: what the display thread does to a frame but fetching it.
/// No memory is allocated while sizes and types stay. Reentrant.
class ALIDADE_API CFrameScaler {
public:
    /// Cuts `geometry.source` out of the frame and scales it to `geometry.buffer`. Fills `picture`, `deep`,
    /// `low`, `high`, `geometry` and `image` of the result.
    ///
    /// Frames have one, three or four channels; the fourth is dropped. Frames of 16 and 32 bits and doubles
    /// are scaled in their own depth, then mapped to 8 bits by their range over all channels; a flat one is
    /// black, and so is what is not finite.
    /// @return 1; 0 and the result unchanged when such a frame cannot be shown, or `source` is empty or does
    ///         not lie in it
    /// @throws cv::Exception when there is no memory
    int Scale(const cv::Mat& frame, const T_DISPLAY_GEOMETRY& geometry, T_DISPLAY_FRAME& result);

private:
    void MapTo8Bits(const cv::Mat& deep, T_DISPLAY_FRAME& result);

    CPicturePool m_pictures;
    CPicturePool m_deeps;
    cv::Mat m_fourChannels, m_finite; // scratch
};

/// How sharp a picture is: the mean difference between the part of at most 200 by 200 px at its centre and
/// the same one px down and to the right, over all channels. It goes by what is on the screen, so it depends
/// on the zoom.
/// @param picture  8 bits
/// @return 0 for a picture below 3 by 3 px
ALIDADE_API double MeasureFocus(const cv::Mat& picture);

} // namespace alidade
