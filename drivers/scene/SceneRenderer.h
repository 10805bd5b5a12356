#pragma once

#include "Defocus.h"
#include "SceneTruth.h"
#include "WorkPiece.h"

namespace alidade {

/// Makes the frames that a camera over the work piece takes. Bound to one thread at a time.
class CSceneRenderer {
public:
    /// Both must outlive the renderer.
    CSceneRenderer(const CSceneTruth& truth, IWorkPiece& workPiece);

    /// Renders one frame: the same exposure gives the same bytes.
    /// @param image  8 bits with one channel or three; its memory is used again where it fits
    void Render(const T_MACHINE_STATE& state, std::uint64_t frame, cv::Mat& image);

    /// The texture and the matrix from pixels to texels that the latest frame was sampled by.
    const cv::Mat& GetTexture() const { return m_texture; }
    const cv::Matx23d& GetTexelFromPixel() const { return m_texelFromPixel; }

private:
    void SampleWorkPiece(const T_MACHINE_STATE& state, cv::Mat& image);
    void AddSlit(const T_MACHINE_STATE& state, cv::Mat& image) const;
    void AddLaser(const T_MACHINE_STATE& state, cv::Mat& image) const;
    void Blur(const T_MACHINE_STATE& state, cv::Mat& image);
    void Expose(cv::Mat& image) const;
    void AddNoise(std::uint64_t frame, cv::Mat& image) const;

    const CSceneTruth& m_truth;
    IWorkPiece& m_workPiece;
    CDefocus m_defocus;
    cv::Mat m_texture;
    cv::Matx23d m_texelFromPixel;
    cv::Mat m_gain;  // 256 for each pixel of unchanged brightness; empty: the same everywhere
    cv::Mat m_curve; // brightness to brightness; empty: as it is
    std::vector<std::int8_t> m_noise;
};

} // namespace alidade
