#include "SceneRenderer.h"

#include "SceneRandom.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <opencv2/imgproc.hpp>

namespace alidade {
namespace {

constexpr double kSlitLight = 110;                // grey levels
constexpr double kLaserLight[3] = {60, 60, 330};  // blue, green, red; the strongest for grey
constexpr int kFocusGridX = 33, kFocusGridY = 25; // where the blur is computed
constexpr double kFarTexel = 1e6;                 // beyond it the work piece is a speck
constexpr std::size_t kNoiseTable = 1 << 18;

/// Part of a pixel at `distance` from the middle of a band.
double CoverageOfBand(double distance, double halfWidth)
{
    return std::clamp(std::min(distance + 0.5, halfWidth) - std::max(distance - 0.5, -halfWidth), 0.0, 1.0);
}

/// Whole pixels within `reach` of a point, and within 0 and `count`.
cv::Range Clip(double at, double reach, int count)
{
    return {static_cast<int>(std::clamp(std::floor(at - reach), 0.0, static_cast<double>(count))),
            static_cast<int>(std::clamp(std::ceil(at + reach) + 1, 0.0, static_cast<double>(count)))};
}

void AddLight(std::uint8_t* pixel, int channels, double light, const double* colour)
{
    for (int c = 0; c < channels; ++c) {
        pixel[c] =
            cv::saturate_cast<std::uint8_t>(pixel[c] + light * (channels == 1 ? colour[2] : colour[c]));
    }
}

} // namespace

CSceneRenderer::CSceneRenderer(const CSceneTruth& truth, IWorkPiece& workPiece)
    : m_truth(truth), m_workPiece(workPiece)
{
    const T_SCENE_SETTINGS& settings = truth.GetSettings();
    const double brightness = settings.GetBrightness();
    if (settings.dVignetting > 0) {
        const int channels = settings.bColor ? 3 : 1;
        m_gain.create(settings.GetFrameSize(), CV_MAKETYPE(CV_16U, channels));
        const double cx = (settings.nWidth - 1) / 2.0, cy = (settings.nHeight - 1) / 2.0;
        for (int y = 0; y < m_gain.rows; ++y) {
            for (int x = 0; x < m_gain.cols; ++x) {
                const double r2 = ((x - cx) * (x - cx) + (y - cy) * (y - cy)) / (cx * cx + cy * cy);
                const double gain = 256 * brightness * (1 - settings.dVignetting * r2);
                std::fill_n(m_gain.ptr<std::uint16_t>(y) + x * channels, channels,
                            cv::saturate_cast<std::uint16_t>(gain));
            }
        }
    } else if (brightness != 1) {
        m_curve.create(1, 256, CV_8U);
        for (int i = 0; i < 256; ++i) {
            m_curve.at<std::uint8_t>(i) = cv::saturate_cast<std::uint8_t>(std::min(i * brightness, 255.0));
        }
    }
    if (settings.dNoise > 0) {
        CSceneRandom random(static_cast<std::uint64_t>(settings.nSeed), 1, 1);
        m_noise.resize(kNoiseTable + static_cast<std::size_t>(3 * settings.nWidth));
        for (std::int8_t& value : m_noise) {
            const double radius = std::sqrt(-2 * std::log(1 - random.Uniform()));
            const double normal = radius * std::cos(2 * std::numbers::pi * random.Uniform());
            value = cv::saturate_cast<std::int8_t>(settings.dNoise * normal);
        }
    }
}

void CSceneRenderer::Render(const T_MACHINE_STATE& state, std::uint64_t frame, cv::Mat& image)
{
    SampleWorkPiece(state, image);
    if (state.bSlitOn) {
        AddSlit(state, image);
    }
    if (state.bLaserOn) {
        AddLaser(state, image);
    }
    Blur(state, image);
    Expose(image);
    if (!m_noise.empty()) {
        AddNoise(frame, image);
    }
}

void CSceneRenderer::SampleWorkPiece(const T_MACHINE_STATE& state, cv::Mat& image)
{
    const T_SCENE_SETTINGS& settings = m_truth.GetSettings();
    const cv::Size size = settings.GetFrameSize();
    image.create(size, settings.bColor ? CV_8UC3 : CV_8UC1);
    const T_SCENE_TRANSFORM stage = m_truth.GetStageFromImage(state.nLens, state.position);
    const auto workPiece = [&](double x, double y) {
        return m_truth.WorkPieceFromStage(stage.Trans({x, y}));
    };
    const cv::Point2d corners[4] = {workPiece(-1, -1), workPiece(size.width, -1), workPiece(-1, size.height),
                                    workPiece(size.width, size.height)};
    cv::Point2d low = corners[0], high = corners[0];
    for (const cv::Point2d& corner : corners) {
        low = {std::min(low.x, corner.x), std::min(low.y, corner.y)};
        high = {std::max(high.x, corner.x), std::max(high.y, corner.y)};
    }
    const T_SCENE_TEXTURE& texture = m_workPiece.Prepare(cv::Rect2d(low, high), stage.dScale);
    m_texture = texture.image;

    // Pixel to texel: an affine map, known by three points.
    const auto texel = [&](double x, double y) {
        const cv::Point2d at = workPiece(x, y);
        const cv::Vec2d result = texture.texelFromWorkPiece * cv::Vec3d(at.x, at.y, 1);
        return cv::Point2d(result[0], result[1]);
    };
    const cv::Point2d zero = texel(0, 0), end = texel(size.width, size.height);
    const cv::Point2d alongX = (texel(size.width, 0) - zero) * (1.0 / size.width);
    const cv::Point2d alongY = (texel(0, size.height) - zero) * (1.0 / size.height);
    m_texelFromPixel = {alongX.x, alongY.x, zero.x, alongX.y, alongY.y, zero.y};
    const double reach = std::max({std::abs(zero.x), std::abs(zero.y), std::abs(end.x), std::abs(end.y)});
    if (m_texture.empty() || !(reach <= kFarTexel)) {
        image.setTo(cv::Scalar::all(IWorkPiece::kBackground));
        return;
    }
    cv::warpAffine(m_texture, image, m_texelFromPixel, size, cv::INTER_LINEAR | cv::WARP_INVERSE_MAP,
                   cv::BORDER_CONSTANT, cv::Scalar::all(IWorkPiece::kBackground));
}

void CSceneRenderer::AddSlit(const T_MACHINE_STATE& state, cv::Mat& image) const
{
    constexpr double kWhite[3] = {kSlitLight, kSlitLight, kSlitLight};
    const std::array<cv::Point2d, 4> corners = m_truth.GetSlitCorners(state);
    const cv::Point2d center = m_truth.GetLaserCenter(state.nLens);
    const cv::Point2d width = corners[1] - corners[0], height = corners[3] - corners[0];
    const double halfWidth = cv::norm(width) / 2, halfHeight = cv::norm(height) / 2;
    if (halfWidth == 0 || halfHeight == 0) {
        return;
    }
    const cv::Point2d u = width * (0.5 / halfWidth), v = height * (0.5 / halfHeight);
    const int channels = image.channels();
    const cv::Point2d reach(std::abs(width.x) + std::abs(height.x), std::abs(width.y) + std::abs(height.y));
    const cv::Range columns = Clip(center.x, reach.x / 2 + 1, image.cols);
    const cv::Range rows = Clip(center.y, reach.y / 2 + 1, image.rows);
    for (int y = rows.start; y < rows.end; ++y) {
        std::uint8_t* row = image.ptr(y);
        for (int x = columns.start; x < columns.end; ++x) {
            const cv::Point2d at = cv::Point2d(x, y) - center;
            const double light = CoverageOfBand(at.dot(u), halfWidth) * CoverageOfBand(at.dot(v), halfHeight);
            if (light > 0) {
                AddLight(row + x * channels, channels, light, kWhite);
            }
        }
    }
}

void CSceneRenderer::AddLaser(const T_MACHINE_STATE& state, cv::Mat& image) const
{
    const T_SCENE_TRANSFORM transform = m_truth.GetStageFromImage(state.nLens, {});
    const double radius = std::max(m_truth.GetSettings().dLaserSize / 2 / transform.dScale, 0.5);
    const cv::Point2d at = transform.shift;
    const cv::Range columns = Clip(at.x, 2 * radius + 1, image.cols);
    const cv::Range rows = Clip(at.y, 2 * radius + 1, image.rows);
    const int channels = image.channels();
    for (int y = rows.start; y < rows.end; ++y) {
        for (int x = columns.start; x < columns.end; ++x) {
            const double r2 = (x - at.x) * (x - at.x) + (y - at.y) * (y - at.y);
            AddLight(image.ptr(y) + x * channels, channels, std::exp(-2 * r2 / (radius * radius)),
                     kLaserLight);
        }
    }
}

void CSceneRenderer::Blur(const T_MACHINE_STATE& state, cv::Mat& image)
{
    const T_SCENE_TRANSFORM transform = m_truth.GetStageFromImage(state.nLens, state.position);
    cv::Mat sigma(kFocusGridY, kFocusGridX, CV_64F);
    for (int y = 0; y < kFocusGridY; ++y) {
        for (int x = 0; x < kFocusGridX; ++x) {
            const cv::Point2d pixel(x * (image.cols - 1.0) / (kFocusGridX - 1),
                                    y * (image.rows - 1.0) / (kFocusGridY - 1));
            sigma.at<double>(y, x) = m_truth.GetBlur(state.nLens, transform.Trans(pixel), state.dZ);
        }
    }
    m_defocus.Apply(image, sigma);
}

void CSceneRenderer::Expose(cv::Mat& image) const
{
    if (!m_curve.empty()) {
        cv::LUT(image, m_curve, image);
    }
    if (m_gain.empty()) {
        return;
    }
    const int count = image.cols * image.channels();
    for (int y = 0; y < image.rows; ++y) {
        std::uint8_t* row = image.ptr(y);
        const std::uint16_t* gain = m_gain.ptr<std::uint16_t>(y);
        for (int x = 0; x < count; ++x) {
            const std::uint32_t value = (static_cast<std::uint32_t>(row[x]) * gain[x] + 128) >> 8;
            row[x] = static_cast<std::uint8_t>(std::min<std::uint32_t>(value, 255));
        }
    }
}

void CSceneRenderer::AddNoise(std::uint64_t frame, cv::Mat& image) const
{
    CSceneRandom random(static_cast<std::uint64_t>(m_truth.GetSettings().nSeed), frame, 2);
    const int count = image.cols * image.channels();
    for (int y = 0; y < image.rows; ++y) {
        std::uint8_t* row = image.ptr(y);
        const std::int8_t* noise = m_noise.data() + random.Next() % kNoiseTable;
        for (int x = 0; x < count; ++x) {
            row[x] = static_cast<std::uint8_t>(std::clamp(row[x] + noise[x], 0, 255));
        }
    }
}

} // namespace alidade
