#pragma once

#include "WorkPiece.h"

namespace alidade {

/// A picture file lying on the stage, its first row at the far end of Y. Kept at several resolutions, so that
/// a small magnification shows no false patterns.
class CPictureWorkPiece : public IWorkPiece {
public:
    /// Reads the file.
    /// @param message  receives the reason of a failure
    /// @return 1 on success
    int Open(const T_SCENE_SETTINGS& settings, CString& message);

    const T_SCENE_TEXTURE& Prepare(const cv::Rect2d& region, double mmPerPixel) override;
    const std::vector<T_SCENE_MARK>& GetMarks() const override { return m_marks; }
    cv::Size2d GetSize() const override { return m_size; }
    CString Describe() const override;

private:
    std::vector<cv::Mat> m_levels; // each half the size of the one before
    std::vector<T_SCENE_MARK> m_marks;
    cv::Size2d m_size;
    double m_dMmPerPixel = 0;
    T_SCENE_TEXTURE m_texture;
};

} // namespace alidade
