#pragma once

#include "drivers/scene/SceneRenderer.h"
#include "foundation/platform/Text.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <utility>

namespace alidade {

using SettingList = std::initializer_list<std::pair<const wchar_t*, const wchar_t*>>;

inline CProfileSection SceneSection(SettingList list)
{
    CProfileSection section;
    section.SetItemValue(L"Scene.Machine", L"");
    for (const auto& [key, value] : list) {
        section.SetItemValue(key, value);
    }
    return section;
}

inline T_SCENE_SETTINGS SceneSettings(SettingList list)
{
    T_SCENE_SETTINGS settings;
    CString message;
    EXPECT_TRUE(ReadSceneSettings(SceneSection(list), settings, message)) << ToNarrow(message);
    return settings;
}

/// A scene with its truth, without a driver.
struct T_SCENE {
    explicit T_SCENE(const T_SCENE_SETTINGS& settings)
        : workPiece(MakeWorkPiece(settings, message)),
          truth(settings, workPiece->GetMarks(), workPiece->Describe()), renderer(truth, *workPiece)
    {
    }
    explicit T_SCENE(SettingList list) : T_SCENE(SceneSettings(list)) {}

    cv::Mat Render(const T_MACHINE_STATE& state, std::uint64_t frame = 0)
    {
        cv::Mat image;
        renderer.Render(ApplySwitches(truth.GetSettings(), state), frame, image);
        return image;
    }

    CString message;
    std::unique_ptr<IWorkPiece> workPiece;
    CSceneTruth truth;
    CSceneRenderer renderer;
};

inline T_MACHINE_STATE StateAt(const cv::Point2d& position, int lens = 0, double z = 0)
{
    T_MACHINE_STATE state;
    state.position = position;
    state.nLens = lens;
    state.dZ = z;
    return state;
}

/// Centroid of what differs from the surroundings of a point by more than a few grey levels, within `reach`
/// px.
inline cv::Point2d CentroidAround(const cv::Mat& image, const cv::Point2d& at, int reach)
{
    const cv::Point first(cvRound(at.x) - reach, cvRound(at.y) - reach);
    const int ground = image.at<std::uint8_t>(first);
    double sum = 0, x = 0, y = 0;
    for (int row = first.y; row <= first.y + 2 * reach; ++row) {
        for (int column = first.x; column <= first.x + 2 * reach; ++column) {
            const double weight = std::abs(image.at<std::uint8_t>(row, column) - ground);
            sum += weight;
            x += weight * column;
            y += weight * row;
        }
    }
    return {x / sum, y / sum};
}

} // namespace alidade
