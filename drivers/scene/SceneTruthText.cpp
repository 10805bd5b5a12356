// The truth as JSON.

#include "SceneTruth.h"
#include "foundation/platform/Text.h"

#include <nlohmann/json.hpp>

namespace alidade {
namespace {

using nlohmann::ordered_json;

ordered_json Point(const cv::Point2d& point)
{
    return {point.x, point.y};
}

ordered_json Transform(const T_SCENE_TRANSFORM& transform)
{
    const cv::Matx22d& m = transform.m;
    return {{"scale", transform.dScale},
            {"m00", m(0, 0)},
            {"m01", m(0, 1)},
            {"m10", m(1, 0)},
            {"m11", m(1, 1)},
            {"shiftX", transform.shift.x},
            {"shiftY", transform.shift.y},
            {"offsetX", transform.offset.x},
            {"offsetY", transform.offset.y}};
}

ordered_json Mark(const CSceneTruth& truth, const T_SCENE_MARK& mark)
{
    const cv::Point2d stage = truth.StageFromWorkPiece(mark.position);
    return {{"kind", GetSceneMarkName(mark.eKind)},
            {"x", stage.x},
            {"y", stage.y},
            {"workPieceX", mark.position.x},
            {"workPieceY", mark.position.y},
            {"width", mark.size.width},
            {"height", mark.size.height},
            {"line", mark.dLine},
            {"tone", mark.nTone},
            {"die", {mark.die.x, mark.die.y}}};
}

ordered_json Surface(const T_SCENE_SURFACE& surface)
{
    return {{"z", surface.dZ},
            {"tiltX", surface.dTiltX},
            {"tiltY", surface.dTiltY},
            {"bump",
             {{"height", surface.dBumpHeight},
              {"x", surface.dBumpX},
              {"y", surface.dBumpY},
              {"size", surface.dBumpSize}}},
            {"wave", {{"height", surface.dWaveHeight}, {"period", surface.dWavePeriod}}}};
}

} // namespace

CStringA CSceneTruth::MakeText() const
{
    const T_SCENE_SETTINGS& of = m_settings;
    ordered_json lenses = ordered_json::array();
    for (int i = 0; i < T_SCENE_SETTINGS::kLenses; ++i) {
        lenses.push_back({{"lens", i},
                          {"stageFromImageAtOrigin", Transform(GetStageFromImage(i, {}))},
                          {"focusZ", Lens(i).dFocusZ},
                          {"blurPerMm", Lens(i).dDefocus / Lens(i).dMmPerPixel}});
    }
    ordered_json marks = ordered_json::array();
    for (const T_SCENE_MARK& mark : m_marks) {
        marks.push_back(Mark(*this, mark));
    }
    const ordered_json text = {
        {"version", 1},
        {"frame", {{"width", of.nWidth}, {"height", of.nHeight}, {"channels", of.bColor ? 3 : 1}}},
        {"delay", of.nDelay},
        {"seed", of.nSeed},
        {"lenses", std::move(lenses)},
        {"surface", Surface(of.surface)},
        {"slit", {{"mmPerPulseX", of.dSlitMmPerPulseX}, {"mmPerPulseY", of.dSlitMmPerPulseY}}},
        {"laser", {{"size", of.dLaserSize}}},
        {"workPiece",
         {{"text", ToNarrow(m_strWorkPiece)},
          {"x", of.workPiece.x},
          {"y", of.workPiece.y},
          {"angle", of.dWorkPieceAngle}}},
        {"marks", std::move(marks)}};
    return text.dump(1, ' ') + "\n";
}

CStringA CSceneTruth::MakeText(const T_SCENE_EXPOSURE& exposure) const
{
    const T_MACHINE_STATE& state = exposure.state;
    ordered_json marks = ordered_json::array();
    for (const int i : FindMarks(state.nLens, state.position)) {
        const T_SCENE_MARK& mark = m_marks[static_cast<std::size_t>(i)];
        ordered_json entry = Mark(*this, mark);
        entry["pixel"] = Point(GetPixel(mark, state.nLens, state.position));
        marks.push_back(std::move(entry));
    }
    ordered_json corners = ordered_json::array();
    for (const cv::Point2d& corner : GetSlitCorners(state)) {
        corners.push_back(Point(corner));
    }
    const ordered_json text = {
        {"version", 1},
        {"frame", exposure.nFrame},
        {"exposureTick", exposure.dwExposure},
        {"deliveryTick", exposure.dwDelivery},
        {"x", state.position.x},
        {"y", state.position.y},
        {"z", state.dZ},
        {"lens", state.nLens},
        {"stageFromImage", Transform(GetStageFromImage(state.nLens, state.position))},
        {"focusZ", GetFocusZ(state.nLens, state.position)},
        {"blur", GetBlur(state.nLens, state.position, state.dZ)},
        {"laser", {{"on", state.bLaserOn}, {"pixel", Point(GetLaserCenter(state.nLens))}}},
        {"slit", {{"on", state.bSlitOn}, {"angle", state.dSlitAngle}, {"corners", std::move(corners)}}},
        {"marks", std::move(marks)}};
    return text.dump();
}

} // namespace alidade
