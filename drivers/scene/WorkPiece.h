#pragma once

#include "SceneMark.h"
#include "SceneSettings.h"

#include <memory>
#include <vector>

namespace alidade {

/// A piece of a work piece's surface as a picture.
struct T_SCENE_TEXTURE {
    cv::Mat image; // 8 bits, channels as the frame; empty: nothing of the work piece is there
    cv::Matx23d texelFromWorkPiece; // whole numbers are centres of texels
};

/// What lies on the stage, in coordinates of its own: mm from its centre, Y against the rows of a picture
/// of it. Bound to one thread at a time; the marks do not change and may be read by all.
class IWorkPiece {
public:
    /// Brightness of what lies around the work piece.
    static constexpr int kBackground = 24;

    virtual ~IWorkPiece() = default;
    /// A texture that shows at least `region` (mm), fine enough for pixels of `mmPerPixel`.
    virtual const T_SCENE_TEXTURE& Prepare(const cv::Rect2d& region, double mmPerPixel) = 0;
    /// All marks, those of one die together. Empty when nothing is known of what the work piece shows.
    virtual const std::vector<T_SCENE_MARK>& GetMarks() const = 0;
    /// Width and height, mm.
    virtual cv::Size2d GetSize() const = 0;
    /// What it is, in a few words.
    virtual CString Describe() const = 0;
};

/// Makes the work piece that the settings name.
/// @param message  receives the reason of a failure, for the operator
/// @return null on failure
std::unique_ptr<IWorkPiece> MakeWorkPiece(const T_SCENE_SETTINGS& settings, CString& message);

} // namespace alidade
