#pragma once

#include "WorkPiece.h"

namespace alidade {

/// A round wafer: dies with streets between them, a cross wherever streets meet, marks in the corners of each
/// die, and dots, circles and crosses in its middle, where the seed puts them. Drawn afresh for the region
/// and the resolution that are looked at, so that edges are exact at every magnification.
class CWafer : public IWorkPiece {
public:
    /// @throws std::length_error  for more dies than kMostDies
    explicit CWafer(const T_SCENE_SETTINGS& settings);

    static constexpr int kMostDies = 20000;

    const T_SCENE_TEXTURE& Prepare(const cv::Rect2d& region, double mmPerPixel) override;
    const std::vector<T_SCENE_MARK>& GetMarks() const override { return m_marks; }
    cv::Size2d GetSize() const override { return {m_dDiameter, m_dDiameter}; }
    CString Describe() const override;

private:
    void LayOutDie(cv::Point die);
    void AddCrosses();
    void Draw(const cv::Rect2d& region, double mmPerPixel, double texel);

    double m_dDiameter;
    cv::Size2d m_pitch;
    double m_dStreet;
    int m_nSeed;
    bool m_bColor;
    std::vector<T_SCENE_MARK> m_marks;
    int m_nColumns = 0, m_nRows = 0;        // dies to either side of the middle one
    std::vector<std::pair<int, int>> m_die; // by die: its marks, from and up to
    int m_nDies = 0;
    int m_nCrosses = 0; // the first of the crosses between the dies

    // What was drawn last.
    cv::Mat m_gray;
    T_SCENE_TEXTURE m_texture;
    cv::Rect2d m_drawn;
    double m_dTexel = 0;
};

} // namespace alidade
