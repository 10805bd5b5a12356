#include "foundation/math/CoordTrans.h"
#include "foundation/platform/Text.h"
#include "view/display/StatusButton.h"
#include "view/display/StatusLine.h"

#include <cmath>
#include <gtest/gtest.h>

namespace alidade {
namespace {

std::string Line(const T_STATUS& status)
{
    return ToNarrow(FormatStatusLine(status));
}

TEST(StatusLine, TellsFocusPositionAndSelection)
{
    const CCoordTrans stageFromImage(0.01, {1, 0, 0, -1}, {500, 400}, {10, 20});
    const struct {
        const char* what;
        std::optional<double> focus;
        std::vector<TPoint2<double>> points;
        std::string expected;
    } cases[] = {
        {"position", {}, {}, "(   1.500,  -22.250)"},
        {"focus", 12.34567, {}, "focus(12.346)(   1.500,  -22.250)"},
        {"from a point to the mouse",
         {},
         {{4.5, -18.25}},
         "(   1.500,  -22.250) L = 5.000 mm, start(4.500, -18.250) size(-3.000, -4.000) Img W/D (-299, 400)"},
        {"between two points",
         {},
         {{0, 0}, {0.006, -0.004}},
         "(   1.500,  -22.250) L = 0.007 mm, start(0.000, 0.000) size(0.006, -0.004) Img W/D (1, 0)"},
        {"several points",
         0.5,
         {{1, 2}, {3, 4}, {-5, 6.0004}},
         "focus(0.500)(   1.500,  -22.250) [1](1.000, 2.000) [2](3.000, 4.000) [3](-5.000, 6.000)"},
    };
    for (const auto& c : cases) {
        T_STATUS status;
        status.focus = c.focus;
        status.position = {1.5, -22.25};
        status.points = c.points;
        status.stageFromImage = &stageFromImage;
        EXPECT_EQ(Line(status), c.expected) << c.what;
    }
    T_STATUS odd;
    odd.points = {{std::nan(""), 0}, {1e300, 0}};
    odd.stageFromImage = &stageFromImage;
    EXPECT_NE(Line(odd).find("Img W/D (0, "), std::string::npos) << Line(odd);
}

TEST(StatusLine, TellsThePixelUnderTheMouse)
{
    T_DISPLAY_FRAME grey, colour, deep, deepColour, floating;
    grey.picture = (cv::Mat_<uchar>(2, 2) << 1, 2, 3, 40);
    colour.picture = cv::Mat(2, 2, CV_8UC3, cv::Scalar(7, 80, 255));
    deep.picture = cv::Mat(2, 2, CV_8UC1, cv::Scalar(128));
    deep.deep = cv::Mat(2, 2, CV_16UC1, cv::Scalar(1234));
    deep.low = 100;
    deep.high = 65535;
    deepColour.picture = cv::Mat(2, 2, CV_8UC3);
    deepColour.deep = cv::Mat(2, 2, CV_16SC3, cv::Scalar(-3, 20, 4095));
    deepColour.low = -3;
    deepColour.high = 4095;
    floating.picture = cv::Mat(2, 2, CV_8UC1);
    floating.deep = cv::Mat(2, 2, CV_32FC1, cv::Scalar(0.125));
    floating.high = 1;
    const struct {
        const T_DISPLAY_FRAME* frame;
        TPoint2<int> pixel;
        std::string expected;
    } cases[] = {
        {&grey, {1, 1}, ", 040"},
        {&grey, {1, 0}, ", 002"},
        {&grey, {2, 0}, ""},
        {&grey, {0, -1}, ""},
        {nullptr, {0, 0}, ""},
        {&colour, {0, 1}, ", 255'080'007"},
        {&deep, {0, 0}, ", 01234 [100..65535]"},
        {&deepColour, {0, 0}, ", 04095'00020'-0003 [-3..4095]"},
        {&floating, {0, 0}, ", 0.125 [0..1]"},
    };
    for (const auto& c : cases) {
        T_STATUS status;
        status.frame = c.frame;
        status.pixel = c.pixel;
        EXPECT_EQ(Line(status), "(   0.000,    0.000" + c.expected + ")");
    }
}

TEST(StatusButton, FollowsTheGrabber)
{
    struct T_STEP {
        T_STATUS_BUTTON_INPUT input;
        std::string text; // empty: stays
        int state;        // -1: stays
        bool pressed;
        int log; // 1 frozen, 2 no longer
    };
    const T_STEP steps[] = {
        {{true, true, 0, 0}, "", -1, false, 0}, // no frame of the new grabber yet
        {{true, false, 0, 0}, "calc...", STATUS_BUTTON_NORMAL, false, 2},
        {{true, false, 25.04, 500}, "calc...", -1, false, 0},
        {{true, false, 25.04, 501}, "25.0 fps", -1, false, 0},
        {{true, false, 9.96, 3000}, "10.0 fps", -1, false, 0},
        {{true, false, 1.24, 3000}, " 1.2 fps", -1, false, 0},
        {{true, true, 25, 3000}, "Freezed", STATUS_BUTTON_FREEZED, false, 1},
        {{true, true, 25, 3000}, "", -1, false, 0},
        {{false, false, 25, 3000}, "", -1, true, 0}, // paused when frozen: the warning stays
        {{true, false, 25, 3000}, "25.0 fps", STATUS_BUTTON_NORMAL, false, 2},
        {{false, false, 25, 3000}, "Paused", STATUS_BUTTON_PAUSED, true, 0},
        {{false, false, 25, 3000}, "", -1, true, 0},
        {{true, false, 25, 3000}, "25.0 fps", STATUS_BUTTON_NORMAL, false, 2},
    };
    CStatusButton button;
    EXPECT_FALSE(button.Update({true, false, 25, 3000}).state) << "a new button is normal";
    button.Reset();
    int number = 0;
    for (const T_STEP& step : steps) {
        const T_STATUS_BUTTON_CHANGE change = button.Update(step.input);
        ++number;
        EXPECT_EQ(change.text ? ToNarrow(*change.text) : "", step.text) << number;
        EXPECT_EQ(change.state ? static_cast<int>(*change.state) : -1, step.state) << number;
        EXPECT_EQ(change.pressed, step.pressed) << number;
        EXPECT_EQ(change.logFreezed, step.log == 1) << number;
        EXPECT_EQ(change.logUnFreezed, step.log == 2) << number;
    }
}

} // namespace
} // namespace alidade
