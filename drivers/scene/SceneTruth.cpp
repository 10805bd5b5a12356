#include "SceneTruth.h"

#include "SceneRandom.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace alidade {
namespace {

double Radians(double degrees)
{
    return degrees * (std::numbers::pi / 180);
}

cv::Matx22d Rotation(double degrees)
{
    const double c = std::cos(Radians(degrees)), s = std::sin(Radians(degrees));
    return {c, -s, s, c};
}

} // namespace

const char* GetSceneMarkName(eSCENE_MARK kind)
{
    constexpr const char* kNames[] = {"die", "cross", "corner", "dot", "circle"};
    return kNames[static_cast<int>(kind)];
}

CSceneTruth::CSceneTruth(const T_SCENE_SETTINGS& settings, std::vector<T_SCENE_MARK> marks, CString workPiece)
    : m_settings(settings), m_marks(std::move(marks)), m_strWorkPiece(std::move(workPiece))
{
}

bool CSceneTruth::IsLost(std::uint64_t frame) const
{
    const auto every = static_cast<std::uint64_t>(m_settings.nDropEvery);
    if (every > 0 && (frame + 1) % every == 0) {
        return true;
    }
    CSceneRandom random(static_cast<std::uint64_t>(m_settings.nSeed), frame, 3);
    return random.Uniform() < m_settings.dDropProbability;
}

const T_SCENE_LENS& CSceneTruth::Lens(int lens) const
{
    return m_settings.lenses[static_cast<std::size_t>(std::clamp(lens, 0, T_SCENE_SETTINGS::kLenses - 1))];
}

T_SCENE_TRANSFORM CSceneTruth::GetStageFromImage(int lens, const cv::Point2d& position) const
{
    const T_SCENE_LENS& of = Lens(lens);
    T_SCENE_TRANSFORM transform;
    transform.dScale = of.dMmPerPixel;
    transform.m = Rotation(of.dRotation) * cv::Matx22d(of.bMirrorX ? -1 : 1, 0, 0, of.bMirrorY ? -1 : 1);
    const cv::Point2d pixels = transform.m.t() * of.centerOffset; // M is orthogonal
    transform.shift =
        cv::Point2d(m_settings.nWidth / 2, m_settings.nHeight / 2) + pixels * (1 / of.dMmPerPixel);
    transform.offset = position;
    return transform;
}

cv::Point2d CSceneTruth::GetLaserCenter(int lens) const
{
    return GetStageFromImage(lens, {}).shift;
}

cv::Point2d CSceneTruth::StageFromWorkPiece(const cv::Point2d& point) const
{
    return m_settings.workPiece + Rotation(m_settings.dWorkPieceAngle) * point;
}

cv::Point2d CSceneTruth::WorkPieceFromStage(const cv::Point2d& point) const
{
    return Rotation(-m_settings.dWorkPieceAngle) * (point - m_settings.workPiece);
}

double CSceneTruth::GetHeight(const cv::Point2d& stage) const
{
    const T_SCENE_SURFACE& of = m_settings.surface;
    double height = of.dZ + (of.dTiltX * stage.x + of.dTiltY * stage.y) / 1000;
    if (of.dBumpHeight != 0) {
        const double r = std::hypot(stage.x - of.dBumpX, stage.y - of.dBumpY) / of.dBumpSize;
        height += of.dBumpHeight * std::exp(-0.5 * r * r);
    }
    if (of.dWaveHeight != 0) {
        const double k = 2 * std::numbers::pi / of.dWavePeriod;
        height += of.dWaveHeight * std::sin(k * stage.x) * std::sin(k * stage.y);
    }
    return height;
}

double CSceneTruth::GetFocusZ(int lens, const cv::Point2d& stage) const
{
    return GetHeight(stage) + Lens(lens).dFocusZ;
}

double CSceneTruth::GetBlur(int lens, const cv::Point2d& stage, double z) const
{
    return std::abs(z - GetFocusZ(lens, stage)) * Lens(lens).dDefocus / Lens(lens).dMmPerPixel;
}

cv::Size2d CSceneTruth::GetSlitSize(const T_MACHINE_STATE& state) const
{
    return {std::max(state.slitPulse.x, 0.0) * m_settings.dSlitMmPerPulseX,
            std::max(state.slitPulse.y, 0.0) * m_settings.dSlitMmPerPulseY};
}

std::array<cv::Point2d, 4> CSceneTruth::GetSlitCorners(const T_MACHINE_STATE& state) const
{
    const T_SCENE_TRANSFORM transform = GetStageFromImage(state.nLens, {});
    const cv::Size2d size = GetSlitSize(state);
    const cv::Matx22d turn = Rotation(state.dSlitAngle);
    std::array<cv::Point2d, 4> corners;
    constexpr int kSigns[4][2] = {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}};
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const cv::Point2d corner(kSigns[i][0] * size.width / 2, kSigns[i][1] * size.height / 2);
        corners[i] = transform.TransI(turn * corner);
    }
    return corners;
}

cv::Point2d CSceneTruth::GetPixel(const T_SCENE_MARK& mark, int lens, const cv::Point2d& position) const
{
    return GetStageFromImage(lens, position).TransI(StageFromWorkPiece(mark.position));
}

std::vector<int> CSceneTruth::FindMarks(int lens, const cv::Point2d& position) const
{
    std::vector<int> found;
    for (std::size_t i = 0; i < m_marks.size(); ++i) {
        const cv::Point2d at = GetPixel(m_marks[i], lens, position);
        if (at.x > -0.5 && at.y > -0.5 && at.x < m_settings.nWidth - 0.5 && at.y < m_settings.nHeight - 0.5) {
            found.push_back(static_cast<int>(i));
        }
    }
    return found;
}

} // namespace alidade
