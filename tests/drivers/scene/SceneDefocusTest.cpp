// Frames are sharpest where Z is at the surface, and blurred by what lies between.

#include "SceneHarness.h"

#include <opencv2/imgproc.hpp>

namespace alidade {
namespace {

/// How sharp a part of a frame is: the mean square of its slopes.
double Sharpness(const cv::Mat& image, const cv::Rect& part)
{
    cv::Mat x, y;
    cv::Sobel(image(part), x, CV_64F, 1, 0);
    cv::Sobel(image(part), y, CV_64F, 0, 1);
    return (x.dot(x) + y.dot(y)) / part.area();
}

TEST(SceneDefocus, SharpnessFallsOnBothSidesOfTheSurface)
{
    T_SCENE scene({{L"Scene.SurfaceZ", L"1.25"}, {L"Scene.FocusZ", L"0, 0.5"}});
    for (const int lens : {0, 1}) {
        const cv::Point2d position(2, 1.5);
        const double focus = scene.truth.GetFocusZ(lens, position);
        EXPECT_DOUBLE_EQ(focus, lens == 0 ? 1.25 : 1.75);
        for (const int side : {-1, 1}) {
            double before = 1e300;
            for (const double distance : {0.0, 0.05, 0.1, 0.2, 0.4, 0.7, 1.2, 2.0, 3.5, 6.0}) {
                const cv::Mat image = scene.Render(StateAt(position, lens, focus + side * distance));
                const double sharpness = Sharpness(image, {200, 200, 1200, 800});
                EXPECT_LT(sharpness, before) << "lens " << lens << " at " << side * distance;
                before = sharpness;
            }
        }
    }
}

TEST(SceneDefocus, BlurIsThatOfTheTruth)
{
    // The edge of a wide bright slit on nothing, out of focus: its slope tells the deviation.
    T_SCENE scene({{L"Scene.Slit", L"On"}, {L"Scene.SlitPulseX", L"2000"}, {L"Scene.SlitPulseY", L"100000"}});
    T_MACHINE_STATE state = StateAt({100, 100});
    state.slitPulse = {2000, 100000};
    for (const double z : {0.1, 0.17, 0.32, 0.33, 0.6, 0.64, 0.65, 2.5}) {
        state.dZ = z;
        const double sigma = scene.truth.GetBlur(0, state.position, z);
        const cv::Mat row = scene.Render(state).row(600);
        double mean = 0, square = 0, sum = 0;
        for (int x = 400; x < 800; ++x) { // the left edge lies at 600
            const double slope = row.at<std::uint8_t>(x) - row.at<std::uint8_t>(x - 1);
            sum += slope;
            mean += slope * (x - 0.5);
            square += slope * (x - 0.5) * (x - 0.5);
        }
        mean /= sum;
        EXPECT_NEAR(mean, 600, 0.25) << z;
        EXPECT_NEAR(std::sqrt(square / sum - mean * mean), sigma, 0.06 * sigma + 0.3) << z;
    }
}

TEST(SceneDefocus, ATiltedSurfaceIsSharpWhereItCrossesZ)
{
    T_SCENE scene({{L"Scene.TiltX", L"50"}, {L"Scene.Defocus", L"0.1"}}); // 0.4 mm over the frame's 8 mm
    const double z = 0.1;                                                 // met 2 mm right of the centre
    const cv::Mat image = scene.Render(StateAt({0, 0}, 0, z));
    // The dies repeat every 4 mm, so compare columns of the picture with what they are in focus.
    T_SCENE flat({});
    const cv::Mat sharp = flat.Render(StateAt({0, 0}));
    const auto difference = [&](int x) {
        const cv::Rect part(x - 50, 100, 100, 1000);
        return cv::norm(image(part), sharp(part), cv::NORM_L2);
    };
    EXPECT_LT(difference(1200), 0.2 * difference(400));
    EXPECT_LT(difference(1200), 0.5 * difference(800));
    EXPECT_NEAR(scene.truth.GetBlur(0, scene.truth.GetStageFromImage(0, {0, 0}).Trans({1200, 600}), z), 0,
                1e-9);
}

TEST(SceneDefocus, BumpAndWavesRaiseTheFocus)
{
    const T_SCENE scene({{L"Scene.BumpHeight", L"0.2"},
                         {L"Scene.BumpX", L"3"},
                         {L"Scene.BumpSize", L"2"},
                         {L"Scene.WaveHeight", L"0.01"},
                         {L"Scene.WavePeriod", L"8"}});
    EXPECT_NEAR(scene.truth.GetFocusZ(0, {3, 0}), 0.2, 1e-12);
    EXPECT_NEAR(scene.truth.GetFocusZ(0, {103, 0}), 0, 1e-12);
    EXPECT_NEAR(scene.truth.GetFocusZ(0, {102, 2}), -0.01 * 0 + 0.01 * std::sin(2 * CV_PI * 102 / 8), 1e-9);
}

} // namespace
} // namespace alidade
