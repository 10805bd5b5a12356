// What is rendered lies where the truth says.

#include "SceneHarness.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "tests/support/TempFolder.h"

namespace alidade {
namespace {

struct T_VIEW {
    const char* name;
    int lens;
    const wchar_t* rotation;
    const wchar_t* mirror;
    const wchar_t* centerX;
    const wchar_t* angle; // of the work piece
    cv::Point2d position;
};

const T_VIEW kViews[] = {
    {"Plain", 0, L"0", L"None", L"0", L"0", {0, 0}},
    {"DefaultMirror", 0, L"0", L"Y", L"0", L"0", {4.0123, -2.9871}},
    {"Rotated", 0, L"1.7", L"Y", L"0", L"0", {0.33337, 0.127}},
    {"BothMirrored", 0, L"-33", L"XY", L"0", L"0", {-7.7, 5.0041}},
    {"OffCentre", 0, L"0.4", L"X", L"0.3217", L"0", {2.2, 2.1}},
    {"TurnedWorkPiece", 0, L"0", L"Y", L"0", L"12.5", {1.0, 1.0}},
    {"HigherLens", 1, L"0, 0.9", L"Y", L"0", L"0", {0.4444, -0.1003}},
    {"HighestLens", 4, L"0", L"Y", L"0", L"0", {0.0, 0.0}}, // moved onto a dot below
};

TEST(SceneTruth, DotsLieWhereTheTruthSaysAtEveryLensAndPose)
{
    for (const T_VIEW& view : kViews) {
        SCOPED_TRACE(view.name);
        T_SCENE scene({{L"Scene.Rotation", view.rotation},
                       {L"Scene.Mirror", view.mirror},
                       {L"Scene.CenterX", view.centerX},
                       {L"Scene.WorkPieceAngle", view.angle},
                       {L"Scene.WorkPieceX", L"0.05"}});
        const CSceneTruth& truth = scene.truth;
        cv::Point2d position = view.position;
        if (truth.FindMarks(view.lens, position).size() < 3) {
            const auto& marks = truth.GetMarks();
            const auto dot = std::find_if(marks.begin(), marks.end(),
                                          [](const auto& mark) { return mark.eKind == eSCENE_MARK::DOT; });
            position = truth.StageFromWorkPiece(dot->position) + cv::Point2d(0.0031, -0.0017);
        }
        const cv::Mat image = scene.Render(StateAt(position, view.lens));
        int seen = 0;
        double worst = 0;
        cv::Point2d mean;
        for (const int i : truth.FindMarks(view.lens, position)) {
            const T_SCENE_MARK& mark = truth.GetMarks()[static_cast<std::size_t>(i)];
            if (mark.eKind != eSCENE_MARK::DOT && mark.eKind != eSCENE_MARK::CIRCLE) {
                continue;
            }
            const cv::Point2d at = truth.GetPixel(mark, view.lens, position);
            const int reach =
                static_cast<int>(mark.size.width / 2 / truth.GetStageFromImage(view.lens, {}).dScale) + 5;
            if (at.x < reach + 1 || at.y < reach + 1 || at.x > image.cols - reach - 2 ||
                at.y > image.rows - reach - 2) {
                continue;
            }
            ++seen;
            const cv::Point2d error = CentroidAround(image, at, reach) - at;
            mean += error;
            worst = std::max(worst, cv::norm(error));
        }
        ASSERT_GT(seen, 0);
        EXPECT_LT(worst, 0.03);
        EXPECT_LT(cv::norm(mean) / seen, 0.015); // a half of the sampler's step at most
    }
}

TEST(SceneTruth, ThePointUnderTheLaserIsTheStagePosition)
{
    const T_SCENE scene(
        {{L"Scene.CenterX", L"0.5, -0.25"}, {L"Scene.CenterY", L"0.1"}, {L"Scene.Rotation", L"30"}});
    const CSceneTruth& truth = scene.truth;
    for (const int lens : {0, 1}) {
        const T_SCENE_TRANSFORM stage = truth.GetStageFromImage(lens, {10, 20});
        EXPECT_NEAR(cv::norm(stage.Trans(truth.GetLaserCenter(lens)) - cv::Point2d(10, 20)), 0, 1e-12);
        // The frame's centre sees what lies the centre offset away from there.
        const cv::Point2d center = stage.Trans({800, 600});
        EXPECT_NEAR(center.x, 10 - (lens == 0 ? 0.5 : -0.25), 1e-12);
        EXPECT_NEAR(center.y, 20 - 0.1, 1e-12);
    }
}

TEST(SceneTruth, RotationTurnsFromXTowardsYAndMirrorsComeBeforeIt)
{
    constexpr struct {
        const wchar_t* rotation;
        const wchar_t* mirror;
        double right[2], down[2]; // stage mm of 100 px to the right and of 100 px down
    } kRows[] = {
        {L"0", L"None", {1, 0}, {0, 1}},
        {L"0", L"Y", {1, 0}, {0, -1}},
        {L"0", L"X", {-1, 0}, {0, 1}},
        {L"90", L"None", {0, 1}, {-1, 0}},
        {L"90", L"Y", {0, 1}, {1, 0}},
        {L"-90", L"X", {0, 1}, {1, 0}},
        {L"30", L"XY", {-0.8660254037844387, -0.5}, {0.5, -0.8660254037844387}},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(ToNarrow(row.rotation) + ToNarrow(row.mirror));
        const T_SCENE scene({{L"Scene.MmPerPixel", L"0.01"},
                             {L"Scene.Rotation", row.rotation},
                             {L"Scene.Mirror", row.mirror},
                             {L"Scene.CenterX", L"0.05"}});
        const T_SCENE_TRANSFORM stage = scene.truth.GetStageFromImage(0, {10, 20});
        const cv::Point2d center = scene.truth.GetLaserCenter(0);
        const cv::Point2d right = stage.Trans(center + cv::Point2d(100, 0)) - cv::Point2d(10, 20);
        const cv::Point2d down = stage.Trans(center + cv::Point2d(0, 100)) - cv::Point2d(10, 20);
        EXPECT_NEAR(cv::norm(right - cv::Point2d(row.right[0], row.right[1])), 0, 1e-9);
        EXPECT_NEAR(cv::norm(down - cv::Point2d(row.down[0], row.down[1])), 0, 1e-9);
    }
}

TEST(SceneTruth, APictureLiesUprightWithItsCentreWhereItWasPut)
{
    const CTempFolder folder;
    cv::Mat picture(200, 300, CV_8UC1, cv::Scalar(50));
    cv::circle(picture, {40, 60}, 8, cv::Scalar(200), cv::FILLED, cv::LINE_AA);
    const auto path = folder / "piece.png";
    ASSERT_TRUE(cv::imwrite(path.string(), picture));
    const CString name = FromPath(path);
    for (const double mmPerPixel : {0.01, 0.005, 0.04}) { // of the lens; 0.01 is the picture's
        const CString lens = Format(L"%g", mmPerPixel);
        T_SCENE scene({{L"Scene.WorkPiece", L"Picture"},
                       {L"Scene.Picture", name.c_str()},
                       {L"Scene.MmPerPixel", lens.c_str()},
                       {L"Scene.WorkPieceX", L"3"}});
        const cv::Point2d dot(3 + (40 - 149.5) * 0.01, -(60 - 99.5) * 0.01);
        const cv::Point2d at = scene.truth.GetStageFromImage(0, {3, 0}).TransI(dot);
        EXPECT_LT(at.y, 600); // the upper half is seen in the upper half
        const cv::Mat image = scene.Render(StateAt({3, 0}));
        const cv::Point2d seen = CentroidAround(image, at, static_cast<int>(0.1 / mmPerPixel) + 4);
        EXPECT_LT(cv::norm(seen - at), 0.05) << mmPerPixel;
        EXPECT_EQ(image.at<std::uint8_t>(0, 0), mmPerPixel < 0.01 / 3 ? 50 : IWorkPiece::kBackground);
    }
}

TEST(SceneTruth, SlitAndLaserShineWhereTheTruthSays)
{
    T_SCENE scene({{L"Scene.WaferDiameter", L"0.1"},
                   {L"Scene.DieX", L"0.2"},
                   {L"Scene.DieY", L"0.2"},
                   {L"Scene.Street", L"0.01"},
                   {L"Scene.CenterX", L"0.2"},
                   {L"Scene.LaserSize", L"0.1"},
                   {L"Scene.Rotation", L"5"}});
    T_MACHINE_STATE state = StateAt({500, 500}); // nothing of the wafer is in sight
    state.slitPulse = {1500, 700};
    state.dSlitAngle = 20;
    const cv::Mat dark = scene.Render(state);
    EXPECT_EQ(cv::countNonZero(dark != IWorkPiece::kBackground), 0);

    state.bSlitOn = true;
    cv::Mat slit = scene.Render(state) - dark;
    const auto corners = scene.truth.GetSlitCorners(state);
    const cv::Moments moments = cv::moments(slit);
    const cv::Point2d center = scene.truth.GetLaserCenter(0);
    EXPECT_NEAR(moments.m10 / moments.m00, center.x, 0.02);
    EXPECT_NEAR(moments.m01 / moments.m00, center.y, 0.02);
    EXPECT_NEAR(moments.m00 / 110, 300 * 140, 40); // px, of 1.5 x 0.7 mm
    EXPECT_NEAR(cv::norm(corners[1] - corners[0]), 300, 1e-9);
    // Image rows run against Y, so 20 degrees of the slit and 5 of the camera make 15, anticlockwise to see.
    const double angle = 0.5 * std::atan2(2 * moments.mu11, moments.mu20 - moments.mu02) * 180 / CV_PI;
    EXPECT_NEAR(angle, -15, 0.05);

    state.bSlitOn = false;
    state.bLaserOn = true;
    const cv::Mat laser = scene.Render(state) - dark;
    const cv::Moments spot = cv::moments(laser);
    EXPECT_NEAR(spot.m10 / spot.m00, center.x, 0.02);
    EXPECT_NEAR(spot.m01 / spot.m00, center.y, 0.02);
    EXPECT_EQ(laser.at<std::uint8_t>(cv::Point(cvRound(center.x) + 25, cvRound(center.y))), 0);
}

TEST(SceneTruth, TheTextsAgreeWithTheTruth)
{
    const T_SCENE scene(
        {{L"Scene.Rotation", L"0.5"}, {L"Scene.Delay", L"70"}, {L"Scene.WorkPieceX", L"1.5"}});
    const CSceneTruth& truth = scene.truth;
    const auto all = nlohmann::json::parse(truth.MakeText());
    EXPECT_EQ(all["delay"], 70);
    EXPECT_EQ(all["lenses"].size(), 10u);
    ASSERT_EQ(all["marks"].size(), truth.GetMarks().size());

    T_SCENE_EXPOSURE exposure{7, 1000, 1070, StateAt({2, -1}, 1, 0.25)};
    const auto one = nlohmann::json::parse(truth.MakeText(exposure));
    EXPECT_EQ(one["exposureTick"], 1000);
    EXPECT_DOUBLE_EQ(one["focusZ"].get<double>(), truth.GetFocusZ(1, {2, -1}));
    ASSERT_FALSE(one["marks"].empty());
    // Scored as a reader from outside would: by the nine numbers of the transform alone.
    const auto& t = one["stageFromImage"];
    for (const auto& mark : one["marks"]) {
        const double px = mark["pixel"][0].get<double>() - t["shiftX"].get<double>();
        const double py = mark["pixel"][1].get<double>() - t["shiftY"].get<double>();
        const double scale = t["scale"];
        EXPECT_NEAR(mark["x"].get<double>(),
                    t["offsetX"].get<double>() +
                        scale * (t["m00"].get<double>() * px + t["m01"].get<double>() * py),
                    1e-9);
        EXPECT_NEAR(mark["y"].get<double>(),
                    t["offsetY"].get<double>() +
                        scale * (t["m10"].get<double>() * px + t["m11"].get<double>() * py),
                    1e-9);
    }
}

TEST(SceneNoise, TheSeedDecidesOnEveryByte)
{
    const auto render = [](const wchar_t* seed, std::uint64_t frame) {
        T_SCENE scene({{L"Scene.Width", L"320"},
                       {L"Scene.Height", L"240"},
                       {L"Scene.Noise", L"4"},
                       {L"Scene.Seed", seed}});
        return scene.Render(StateAt({50, 50}), frame); // beside the wafer, so that only the noise differs
    };
    const cv::Mat first = render(L"5", 3);
    EXPECT_EQ(cv::norm(first, render(L"5", 3), cv::NORM_INF), 0);
    EXPECT_GT(cv::norm(first, render(L"6", 3), cv::NORM_INF), 0);
    EXPECT_GT(cv::norm(first, render(L"5", 4), cv::NORM_INF), 0);
    cv::Scalar mean, deviation;
    cv::meanStdDev(first, mean, deviation);
    EXPECT_NEAR(mean[0], IWorkPiece::kBackground, 0.2);
    EXPECT_NEAR(deviation[0], 4, 0.2);
}

TEST(SceneExposure, BrightnessFollowsGainExposureAndVignetting)
{
    const auto at = [](const wchar_t* gain, const wchar_t* exposure, const wchar_t* vignetting,
                       cv::Point pixel) {
        T_SCENE scene({{L"Scene.Width", L"201"},
                       {L"Scene.Height", L"101"},
                       {L"Scene.Gain", gain},
                       {L"Scene.Exposure", exposure},
                       {L"Scene.Vignetting", vignetting}});
        return static_cast<int>(scene.Render(StateAt({50, 50})).at<std::uint8_t>(pixel));
    };
    EXPECT_EQ(at(L"1", L"10", L"0", {0, 0}), 24);
    EXPECT_EQ(at(L"2", L"15", L"0", {100, 50}), 72);
    EXPECT_EQ(at(L"100", L"10", L"0", {100, 50}), 255);
    EXPECT_EQ(at(L"4", L"10", L"0.5", {100, 50}), 96);
    EXPECT_EQ(at(L"4", L"10", L"0.5", {0, 0}), 48);
    EXPECT_EQ(at(L"100", L"10000", L"0.5", {200, 100}), 255);
}

} // namespace
} // namespace alidade
