// The conformance kit, run as a program against drivers that are right and drivers that are wrong in one way.

#include "DriverCheck.h"
#include "CheckRun.h"

#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

using namespace alidade;

namespace {

std::string WrongDriver(const std::string& name)
{
    return std::string(ALIDADE_WRONG_DRIVER_DIR) + "/FG." + name + ".zbr.64R.dll";
}

struct T_WRONG_DRIVER {
    const char* name;
    const char* check; // that must fail; empty: none
};

void PrintTo(const T_WRONG_DRIVER& row, std::ostream* out)
{
    *out << (*row.check != '\0' ? row.check : "none");
}

constexpr T_WRONG_DRIVER kWrongDrivers[] = {
#define WRONG_DRIVER(name, check) {#name, check},
#include "wrong-drivers/WrongDrivers.inc"
#undef WRONG_DRIVER
    {"NotALibrary", "loads"},          {"NoNameExport", "exports"},   {"NoFactoryExport", "exports"},
    {"NoPropertiesExport", "exports"}, {"NoLayoutVersionExport", ""},
};

class WrongDriverTest : public ::testing::TestWithParam<T_WRONG_DRIVER> {};

} // namespace

TEST_P(WrongDriverTest, FailsExactlyTheCheckMadeForIt)
{
    const T_WRONG_DRIVER& row = GetParam();
    const std::string name = row.name;
    const auto isOneOf = [&](const Names& names) { return names.count(name) != 0; };
    // A short deadline where it is waited out, a long one where it must not be met by a busy machine.
    const bool waitsItOut =
        name.find("Stalls") != name.npos ||
        isOneOf({"NoFrames", "FramesAfterStop", "StartsOnce", "KeepsImageLock", "EndsOnSlowClient",
                 "NeedsCallback", "KeepsLockWithoutCallback", "SecondTakesFrames"});
    // Likewise for the watch: short where nothing comes, long where a frame must be seen in it.
    const std::string watch = name == "EndsOnSlowClient" ? "2500"
                              : isOneOf({"FramesBeforeStart", "FramesAfterStop", "FramesAfterClose",
                                         "InitAgainKeepsCapturing", "DestructorStalls"})
                                  ? "1500"
                                  : "150";
    const T_CHECK_RUN run =
        RunCheck({WrongDriver(name), "--deadline", waitsItOut ? "5" : "30", "--watch", watch});

    const Names expected = *row.check != '\0' ? Names{row.check} : Names{};
    EXPECT_EQ(ChecksWith(run, "FAIL"), expected) << run.output;
    EXPECT_EQ(run.status, expected.empty() ? 0 : 1) << run.output;
    if (name != "ThreadThrows") { // which ends the process at once
        EXPECT_EQ(run.lines.size(), CDriverCheck::GetTable().size()) << run.output;
    }
    for (const std::string& check : expected) {
        EXPECT_FALSE(run.lines.at(check).reason.empty());
    }
    if (name.find("Stalls") != name.npos) {
        EXPECT_NE(run.output.find("did not return within 5 s"), run.output.npos) << run.output;
    }
    std::ostringstream summary;
    summary << ChecksWith(run, "ok").size() << " passed, " << ChecksWith(run, "FAIL").size() << " failed, "
            << ChecksWith(run, "skip").size() << " skipped";
    EXPECT_EQ(run.last, summary.str());
}

INSTANTIATE_TEST_SUITE_P(DriverCheck, WrongDriverTest, ::testing::ValuesIn(kWrongDrivers),
                         [](const auto& row) { return row.param.name; });

TEST(DriverCheck, EveryCheckHasADriverThatFailsIt)
{
    Names covered;
    for (const T_WRONG_DRIVER& row : kWrongDrivers) {
        covered.insert(row.check);
    }
    Names checks;
    for (const T_DRIVER_CHECK& check : CDriverCheck::GetTable()) {
        EXPECT_TRUE(checks.insert(check.name).second) << check.name << " is there twice";
        EXPECT_TRUE(covered.count(check.name)) << "no wrong driver fails " << check.name;
        std::istringstream needs(check.needs);
        for (std::string need; needs >> need;) {
            EXPECT_TRUE(checks.count(need))
                << check.name << " needs " << need << ", which does not come before it";
        }
    }
}

TEST(DriverCheck, DummyPasses)
{
    for (const std::string color : {"Dummy.Color=True", "Dummy.Color=False"}) {
        const T_CHECK_RUN run =
            RunCheck({"Dummy", color, "Dummy.FrameRate=100", "Dummy.resolution=322x240", "--watch", "100"});
        EXPECT_EQ(run.status, 0) << color << "\n" << run.output;
        EXPECT_EQ(ChecksWith(run, "skip"), (Names{"loads", "unload"})) << run.output;
    }
}

TEST(DriverCheck, ReplayPassesOnAFolderOfPictures)
{
    const CTempFolder folder;
    for (int i = 0; i < 5; ++i) {
        const cv::Mat picture(48, 64, CV_8UC3, cv::Scalar(40 * i, 100, 200));
        ASSERT_TRUE(cv::imwrite((folder / ("picture" + std::to_string(i) + ".png")).string(), picture));
    }
    const std::string source = "Replay.Source=" + folder.Path().string();
    for (const std::string rate : {"Replay.FrameRate=100", "Replay.FrameRate=0"}) {
        const T_CHECK_RUN run =
            RunCheck({ALIDADE_REPLAY_DRIVER, source, rate, "Replay.Loop=True", "--watch", "100"});
        EXPECT_EQ(run.status, 0) << rate << "\n" << run.output;
        EXPECT_EQ(ChecksWith(run, "skip"), Names{}) << run.output;
    }
}

TEST(DriverCheck, SettingsReachTheDriver)
{
    const T_CHECK_RUN run =
        RunCheck({"Dummy", "Dummy.resolution=none", "Dummy.FrameRate=100", "--watch", "50"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(ChecksWith(run, "FAIL"), (Names{"image-size", "image"})) << run.output;
}

TEST(DriverCheck, ASlowCameraIsJudgedByTheFramesThatItMakes)
{
    // 12 frames within the deadline, where 18 would be enough to judge the image's memory.
    const T_CHECK_RUN run = RunCheck(
        {"Dummy", "Dummy.FrameRate=3", "Dummy.resolution=64x64", "--deadline", "4", "--watch", "50"});
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(ChecksWith(run, "skip"), (Names{"loads", "unload", "steady-image"})) << run.output;
}

TEST(DriverCheck, WrongUseGivesOneLineAndStatusTwo)
{
    const std::vector<std::string> rows[] = {
        {},
        {"no-such-file.dll"},
        {"/"},
        {"Dummy", "Dummy.FrameRate"},
        {"Dummy", "=15"},
        {"Dummy", "--deadline", "0"},
        {"Dummy", "--deadline", "soon"},
        {"Dummy", "--deadline", "5", "--watch", "5000"},
        {"Dummy", "--no-such-option"},
    };
    for (const auto& arguments : rows) {
        const T_PROGRAM_RUN run = RunProgram(ALIDADE_DRIVER_CHECK, arguments);
        EXPECT_EQ(run.status, 2) << run.output;
        EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\n'), 1) << run.output;
        EXPECT_EQ(run.output.rfind("alidade-driver-check: ", 0), 0u) << run.output;
    }
}

TEST(DriverCheck, HelpAndListSucceed)
{
    EXPECT_EQ(RunProgram(ALIDADE_DRIVER_CHECK, {"--help"}).status, 0);
    const T_PROGRAM_RUN list = RunProgram(ALIDADE_DRIVER_CHECK, {"--list"});
    EXPECT_EQ(list.status, 0);
    for (const T_DRIVER_CHECK& check : CDriverCheck::GetTable()) {
        EXPECT_NE(list.output.find(check.name), list.output.npos) << check.name;
    }
}
