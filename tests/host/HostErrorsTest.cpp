// What goes wrong: one line on standard error, an exit status, and never a hang.

#include "HostProcess.h"

#include "tests/support/WaitUntil.h"

#include <cstring>
#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>
#include <optional>

namespace alidade {
namespace {

struct ErrorCase {
    const char* name;
    std::vector<std::string> arguments; // "@" stands for a folder
    int status;
    std::string text;
    bool reports = false; // the report is written all the same
};

std::ostream& operator<<(std::ostream& stream, const ErrorCase& c)
{
    return stream << c.name;
}

std::vector<std::string> Wrong(const char* driver)
{
    return {"--drivers", "@/wrong", "--grabber", driver, "--frames", "3", "--timeout", "5"};
}

class HostErrors : public testing::TestWithParam<ErrorCase> {};

TEST_P(HostErrors, OneLineAndAStatus)
{
    CTempFolder folder;
    folder.Write("file", "x");
    folder.Write("noise.ini", "[CameraSettings/Other]\nx=1\n");
    std::filesystem::create_directory(folder / "in");
    ASSERT_TRUE(cv::imwrite((folder / "in/1.png").string(), cv::Mat(24, 32, CV_16UC1, cv::Scalar(1))));
    std::vector<std::string> arguments = GetParam().arguments;
    std::optional<CWrongDriver> wrong;
    if (arguments.size() > 3 && arguments[1] == "@/wrong") {
        wrong.emplace(arguments[3]);
        arguments[1] = wrong->Folder();
    }
    for (std::string& argument : arguments) {
        const std::size_t at = argument.find('@');
        if (at != argument.npos) {
            argument.replace(at, 1, folder.Path().string());
        }
    }
    const std::filesystem::path report = folder / "report.json";
    if (std::find(arguments.begin(), arguments.end(), "--report") == arguments.end()) {
        arguments.insert(arguments.end(), {"--report", report.string()});
    }
    CHostProcess host(arguments);
    EXPECT_EQ(host.Wait(), GetParam().status);
    EXPECT_TRUE(host.HasOneErrorLine(GetParam().text)) << host.Errors();
    EXPECT_EQ(host.Output(), "");
    EXPECT_EQ(std::filesystem::exists(report), GetParam().reports);
    if (GetParam().reports) {
        EXPECT_FALSE(nlohmann::json::parse(folder.Read("report.json"))["ended"].get<std::string>().empty());
    }
    EXPECT_EQ(folder.Read("file"), "x");
}

std::string NameOf(const testing::TestParamInfo<ErrorCase>& info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(
    Asked, HostErrors,
    testing::Values(
        ErrorCase{"WrongOption", {"--frobnicate"}, 2, "--frobnicate"},
        ErrorCase{"UnknownDriver", {"--grabber", "Nope"}, 2, "no driver Nope; known are Dummy"},
        ErrorCase{"MisspeltSetting", {"--grabber", "Replay", "--set", "Replay.Sorce=x"}, 2, "Replay.Source"},
        ErrorCase{"MisspeltTurn",
                  {"--grabber", "Dummy", "--set", "Image.RotateArbitrary=1"},
                  2,
                  "Image.RotateArbitraty"},
        ErrorCase{"NoDriverFolder", {"--grabber", "Dummy", "--drivers", "@/none"}, 2, "is no folder"},
        ErrorCase{"MissingSource",
                  {"--grabber", "Replay", "--set", "Replay.Source=@/none"},
                  1,
                  "none does not exist"},
        ErrorCase{"MissingProfile",
                  {"--grabber", "Dummy", "--profile", "@/none.ini"},
                  1,
                  "none.ini cannot be read"},
        ErrorCase{"MissingSection",
                  {"--grabber", "Dummy", "--profile", "@/noise.ini"},
                  2,
                  "CameraSettings/Default"},
        ErrorCase{"UnwritableFolder", {"--grabber", "Dummy", "--save", "@/file/%d.png"}, 1, "cannot be made"},
        ErrorCase{"ReportIsAFolder", {"--grabber", "Dummy", "--report", "@"}, 1, "is a folder"},
        ErrorCase{"ReportIsADevice", {"--grabber", "Dummy", "--report", "/dev/null"}, 1, "cannot be written"},
        ErrorCase{"UnwritableLog", {"--grabber", "Dummy", "--log", "@/file/x.log"}, 1, "cannot be made"},
        ErrorCase{
            "UnknownFormat", {"--grabber", "Dummy", "--save", "@/%d.xyz"}, 2, "no known picture format"}),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    Frames, HostErrors,
    testing::Values(ErrorCase{"ClipOutside",
                              {"--grabber", "Dummy", "--clip", "1000,0,25,10"},
                              1,
                              "picture of 1024 x 768",
                              true},
                    ErrorCase{"DepthLost",
                              {"--grabber", "Replay", "--set", "Replay.Source=@/in", "--set",
                               "Replay.Color=Unchanged", "--save", "@/out/%d.jpg"},
                              1,
                              "CV_16UC1 cannot be kept in .jpg",
                              true},
                    ErrorCase{"SourceEnds",
                              {"--grabber", "Replay", "--set", "Replay.Source=@/in", "--set",
                               "Replay.Loop=False", "--frames", "2", "--timeout", "3"},
                              1,
                              "no frame came for 3 s; 1 were taken",
                              true}),
    NameOf);

// Drivers that stall in each of their operations, or deliver nothing of use.
INSTANTIATE_TEST_SUITE_P(
    Stalls, HostErrors,
    testing::Values(ErrorCase{"Factory", Wrong("FactoryStalls"), 1, "did not open"},
                    ErrorCase{"Init", Wrong("InitStalls"), 1, "did not open"},
                    ErrorCase{"InitThrows", Wrong("InitThrows"), 1, ""},
                    ErrorCase{"Frames", Wrong("NoFrames"), 1, "no frame came for 5 s", true},
                    ErrorCase{"Empty", Wrong("EmptyImage"), 1, "empty images", true},
                    ErrorCase{"Stop", Wrong("StopStalls"), 1, "did not close", true},
                    ErrorCase{"Close", Wrong("CloseStalls"), 1, "did not close", true},
                    ErrorCase{"Unload", Wrong("UnloadStalls"), 1, "did not unload", true}),
    NameOf);

TEST(HostFullDisk, AFolderThatVanishesEndsTheJob)
{
    CTempFolder folder;
    CHostProcess host({"--grabber", "Dummy", "--set", "Dummy.resolution=320x200", "--set",
                       "Dummy.FrameRate=100", "--save", (folder / "out/%04d.png").string(), "--report",
                       (folder / "report.json").string()});
    ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(folder / "out/0002.png"); }));
    std::filesystem::rename(folder / "out", folder / "moved");
    EXPECT_EQ(host.Wait(), 1);
    EXPECT_TRUE(host.HasOneErrorLine("cannot be written")) << host.Errors();
    const auto report = nlohmann::json::parse(folder.Read("report.json"));
    EXPECT_EQ(report["ended"], "failed");
    // The file that was under way when the folder went has its temporary name.
    std::vector<std::string> names = ListNames(folder / "moved");
    std::erase_if(names, [](const std::string& name) { return name.size() != std::strlen("0001.png"); });
    EXPECT_EQ(report["frames"], names.size());
}

} // namespace
} // namespace alidade
