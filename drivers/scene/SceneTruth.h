#pragma once

#include "SceneMark.h"
#include "SceneSettings.h"

#include <memory>
#include <vector>

namespace alidade {

/// A planar transform from image pixels to stage mm: Offset + Scale * M * (p - Shift).
struct T_SCENE_TRANSFORM {
    double dScale = 1;
    cv::Matx22d m = cv::Matx22d::eye();
    cv::Point2d shift;
    cv::Point2d offset;

    cv::Point2d Trans(const cv::Point2d& p) const { return offset + dScale * (m * (p - shift)); }
    cv::Point2d TransI(const cv::Point2d& q) const { return shift + (m.inv() * (q - offset)) * (1 / dScale); }
};

/// All that is true of a scene, so that what a calibration or a finder says of a frame can be scored. Image
/// points are pixels from the frame's top left, whole numbers at the centres of pixels. Positions of the
/// stage and on it are mm: the stage at (X, Y) has its point (X, Y) under the laser centre. Immutable, so
/// thread-safe.
class CSceneTruth {
public:
    /// @param marks  on the work piece, in its own coordinates
    CSceneTruth(const T_SCENE_SETTINGS& settings, std::vector<T_SCENE_MARK> marks, CString workPiece);

    const T_SCENE_SETTINGS& GetSettings() const { return m_settings; }
    /// ms from exposure to delivery.
    int GetDelay() const { return m_settings.nDelay; }
    /// True for the exposures that are never delivered, by their number.
    bool IsLost(std::uint64_t frame) const;

    /// Image to stage for a lens (0 to 9; clamped) with the stage at a position.
    T_SCENE_TRANSFORM GetStageFromImage(int lens, const cv::Point2d& position) const;
    /// Where the laser hits, px. The same at every position of the stage.
    cv::Point2d GetLaserCenter(int lens) const;

    cv::Point2d StageFromWorkPiece(const cv::Point2d& point) const;
    cv::Point2d WorkPieceFromStage(const cv::Point2d& point) const;

    /// Height of the surface at a stage point, mm.
    double GetHeight(const cv::Point2d& stage) const;
    /// Z at which a stage point is in focus, mm.
    double GetFocusZ(int lens, const cv::Point2d& stage) const;
    /// Standard deviation of the blur at a stage point, px.
    double GetBlur(int lens, const cv::Point2d& stage, double z) const;

    /// Opening of the slit, mm.
    cv::Size2d GetSlitSize(const T_MACHINE_STATE& state) const;
    /// The corners of the slit's light in the image, px; in its own axes (-,-), (+,-), (+,+), (-,+).
    std::array<cv::Point2d, 4> GetSlitCorners(const T_MACHINE_STATE& state) const;

    /// All marks, in work-piece coordinates.
    const std::vector<T_SCENE_MARK>& GetMarks() const { return m_marks; }
    /// Where a mark's position is to be seen, px; also outside of the frame.
    cv::Point2d GetPixel(const T_SCENE_MARK& mark, int lens, const cv::Point2d& position) const;
    /// Numbers of the marks whose position is in the frame.
    std::vector<int> FindMarks(int lens, const cv::Point2d& position) const;

    /// All that does not depend on the moment as JSON, marks included; docs/scene.md describes it.
    CStringA MakeText() const;
    /// What is true of one exposure as JSON, with the marks in the frame.
    CStringA MakeText(const T_SCENE_EXPOSURE& exposure) const;

private:
    const T_SCENE_LENS& Lens(int lens) const;

    T_SCENE_SETTINGS m_settings;
    std::vector<T_SCENE_MARK> m_marks;
    CString m_strWorkPiece;
};

} // namespace alidade
