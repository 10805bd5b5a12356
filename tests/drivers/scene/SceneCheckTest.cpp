// The conformance kit, run as a program against the plug-in.

#include "tests/tools/CheckRun.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

TEST(SceneDriverCheck, PassesEveryCheck)
{
    const std::vector<std::vector<std::string>> kRuns = {
        {"Scene.Width=640", "Scene.Height=480", "Scene.FrameRate=100"},
        {"Scene.Width=320", "Scene.Height=240", "Scene.FrameRate=200", "Scene.Color=Color", "Scene.Delay=80",
         "Scene.Noise=3", "Scene.Z=0.3", "Scene.DropEvery=7"},
    };
    for (const auto& settings : kRuns) {
        std::vector<std::string> arguments = {ALIDADE_SCENE_PLUGIN, "Scene.Machine="};
        arguments.insert(arguments.end(), settings.begin(), settings.end());
        const T_CHECK_RUN run = RunCheck(arguments);
        EXPECT_EQ(run.status, 0) << run.output;
        EXPECT_TRUE(ChecksWith(run, "FAIL").empty()) << run.output;
        EXPECT_TRUE(ChecksWith(run, "skip").empty()) << run.output;
        EXPECT_GT(ChecksWith(run, "ok").size(), 25u) << run.output;
    }
}

} // namespace
} // namespace alidade
