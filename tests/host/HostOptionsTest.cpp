#include "host/HostOptions.h"

#include "foundation/platform/FileReplace.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

int Parse(std::vector<const char*> arguments, T_HOST_OPTIONS& options, CStringA& text,
          T_HOST_FAILURE& failure)
{
    arguments.insert(arguments.begin(), "alidade-host");
    return ParseHostOptions(static_cast<int>(arguments.size()), arguments.data(), options, text, failure);
}

TEST(HostOptions, ReadsEveryOption)
{
    T_HOST_OPTIONS options;
    T_HOST_FAILURE failure;
    CStringA text;
    ASSERT_EQ(Parse({"--grabber",
                     "Replay",
                     "--set",
                     "Replay.Source=/a=b c",
                     "--set=Image.Rotate=1",
                     "--set",
                     "Empty=",
                     "--frames",
                     "13",
                     "--save",
                     "out/%04d.png",
                     "--report",
                     "r.json",
                     "--profile",
                     "p.ini",
                     "--section",
                     "Cam1",
                     "--clip",
                     "1,2,30,40",
                     "--buffers",
                     "5",
                     "--timeout",
                     "1.5",
                     "--drivers",
                     "d",
                     "--log",
                     "\xC3\xA9.log"},
                    options, text, failure),
              1)
        << FormatFailure(failure);
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(options.eJob, eHOST_JOB::RECORD);
    EXPECT_EQ(options.strGrabber, L"Replay");
    const std::vector<std::pair<CString, CString>> settings = {
        {L"Replay.Source", L"/a=b c"}, {L"Image.Rotate", L"1"}, {L"Empty", L""}};
    EXPECT_EQ(options.settings, settings);
    EXPECT_EQ(options.nFrames, 13u);
    EXPECT_EQ(options.save->GetFile(2), std::filesystem::path("out/0002.png"));
    EXPECT_EQ(options.strReport, L"r.json");
    EXPECT_EQ(options.strProfile, L"p.ini");
    EXPECT_EQ(options.strSection, L"Cam1");
    EXPECT_EQ(options.clip, cv::Rect(1, 2, 30, 40));
    EXPECT_EQ(options.nBuffers, 5);
    EXPECT_EQ(options.dwTimeout, 1500u);
    EXPECT_EQ(options.strDrivers, L"d");
    EXPECT_EQ(options.strLog, L"\u00e9.log");
}

TEST(HostOptions, WhatIsAskedForMakesTheJobAndTheViews)
{
    const struct {
        std::vector<const char*> arguments;
        eHOST_JOB job;
        const wchar_t* grabber;
        const char* unit; // null: none
        bool machine;
    } cases[] = {
        {{}, eHOST_JOB::WINDOW, L"Scene", "Camera1", true},
        {{"--headless", "--quit-after", "1"}, eHOST_JOB::WINDOW, L"Scene", "Camera1", true},
        {{"--set", "Scene.Color=Color", "--unit", "Top"}, eHOST_JOB::WINDOW, L"Scene", "Top", true},
        {{"--grabber", "Dummy"}, eHOST_JOB::WINDOW, L"Dummy", "Camera1", false},
        {{"--grabber", "Dummy", "--profile", "a", "--section", "Top"},
         eHOST_JOB::WINDOW,
         L"Dummy",
         "Top",
         false},
        {{"--grabber", "Dummy", "--unit", ""}, eHOST_JOB::WINDOW, L"Dummy", "", false},
        {{"--bus", "local:x", "--grabber", "Dummy"}, eHOST_JOB::WINDOW, L"Dummy", "Camera1", false},
        {{"--layout", "a", "--machine", "simulated"}, eHOST_JOB::WINDOW, L"", nullptr, true},
        {{"--bus", "local:x"}, eHOST_JOB::SERVE, L"", nullptr, false},
        {{"--exec", "a b c"}, eHOST_JOB::SERVE, L"", nullptr, false},
        {{"--machine", "simulated", "--headless"}, eHOST_JOB::SERVE, L"", nullptr, true},
        {{"--demo-stage", "a.png", "--machine", "simulated", "--grabber", "Scene", "--unit", "A"},
         eHOST_JOB::SERVE,
         L"Scene",
         "A",
         true},
        {{"--grabber", "Dummy", "--buffers", "3"}, eHOST_JOB::RECORD, L"Dummy", nullptr, false},
        {{"--list-drivers"}, eHOST_JOB::LIST, L"", nullptr, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.arguments));
        T_HOST_OPTIONS options;
        T_HOST_FAILURE failure;
        CStringA text;
        ASSERT_EQ(Parse(c.arguments, options, text, failure), 1) << FormatFailure(failure);
        EXPECT_EQ(options.eJob, c.job);
        EXPECT_EQ(options.strGrabber, c.grabber);
        EXPECT_EQ(options.strUnit, c.unit != nullptr ? std::optional<CStringA>(c.unit) : std::nullopt);
        EXPECT_EQ(options.bMachine, c.machine);
    }
    T_HOST_OPTIONS options;
    T_HOST_FAILURE failure;
    CStringA text;
    ASSERT_EQ(Parse({"--size", "100x16384", "--screenshot", "a/b.JPG"}, options, text, failure), 1);
    EXPECT_EQ(options.size, cv::Size(100, 16384));
    EXPECT_EQ(options.strScreenshot, L"a/b.JPG");
    EXPECT_FALSE(options.bGrabberGiven);
}

TEST(HostOptions, WrongUseIsRefusedInOneLine)
{
    const struct {
        std::vector<const char*> arguments;
        const char* text;
    } cases[] = {
        {{"--list-drivers", "--grabber", "Dummy"}, "--grabber does not go with --list-drivers"},
        {{"--list-drivers", "--screenshot", "a.png"}, "--screenshot does not go with --list-drivers"},
        {{"--frames", "3"}, "--frames needs --grabber"},
        {{"--grabber", "Dummy", "--frames", "3", "--headless"}, "--headless does not go with --frames"},
        {{"--grabber", "Dummy", "--save", "%d.png", "--size", "200x200"}, "--size does not go with --save"},
        {{"--bus", "local:x", "--screenshot", "a.png"}, "--screenshot does not go with --bus"},
        {{"--machine", "simulated", "--set", "a=1"}, "--set does not go with --machine"},
        {{"--layout", "a.layout", "--grabber", "Dummy"}, "--grabber does not go with --layout"},
        {{"--layout", "a.layout", "--unit", "Camera1"}, "--unit does not go with --layout"},
        {{"--layout", ""}, "--layout"},
        {{"--size", "640"}, "WxH"},
        {{"--size", "640x"}, "WxH"},
        {{"--size", "x480"}, "WxH"},
        {{"--size", "640x480x2"}, "WxH"},
        {{"--size", "99x480"}, "100 to 16384"},
        {{"--size", "640x16385"}, "100 to 16384"},
        {{"--size=-640x480"}, "100 to 16384"},
        {{"--size", "640x99999999999"}, "WxH"},
        {{"--screenshot", "shot.xyz"}, ".png or .jpg"},
        {{"--screenshot", "png"}, ".png or .jpg"},
        {{"--grabber"}, "--grabber"},
        {{"--graber", "Dummy"}, "--graber"},
        {{"--grabber", "Dummy", "stray"}, "stray"},
        {{"--grabber", "Dummy", "--set", "a=1", "b=2"}, "b=2"},
        {{"--grabber", "Dummy", "--set", "Image.Rotate"}, "KEY=VALUE"},
        {{"--grabber", "Dummy", "--set", "=1"}, "KEY=VALUE"},
        {{"--grabber", "Dummy", "--frames", "-1"}, "--frames"},
        {{"--grabber", "Dummy", "--frames", "ten"}, "--frames"},
        {{"--grabber", "Dummy", "--frames", "99999999999999"}, "--frames"},
        {{"--grabber", "Dummy", "--save", "out/a.png"}, "exactly one number"},
        {{"--grabber", "Dummy", "--save", "out/%s.png"}, "only %d"},
        {{"--grabber", "Dummy", "--clip", "1,2,3"}, "X,Y,W,H"},
        {{"--grabber", "Dummy", "--clip", "1,2,3,4,5"}, "X,Y,W,H"},
        {{"--grabber", "Dummy", "--clip", "1,2,0,4"}, "X,Y,W,H"},
        {{"--grabber", "Dummy", "--clip=-1,2,3,4"}, "X,Y,W,H"},
        {{"--grabber", "Dummy", "--clip", "1,2,3,99999999999"}, "X,Y,W,H"},
        {{"--grabber", "Dummy", "--timeout", "0"}, "--timeout"},
        {{"--grabber", "Dummy", "--timeout", "nan"}, "--timeout"},
        {{"--grabber", "Dummy", "--buffers", "0"}, "--buffers"},
        {{"--grabber", "Dummy", "--section", "Cam1"}, "--profile"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        T_HOST_OPTIONS options;
        T_HOST_FAILURE failure;
        CStringA text;
        EXPECT_EQ(Parse(c.arguments, options, text, failure), 0);
        EXPECT_EQ(failure.status, kExitUsage);
        const CStringA line = FormatFailure(failure);
        EXPECT_NE(line.find(c.text), line.npos) << line;
        EXPECT_EQ(line.find('\n'), line.npos) << line;
    }
}

TEST(HostOptions, EveryOptionIsInTheHelpAndOnThePage)
{
    T_HOST_OPTIONS options;
    T_HOST_FAILURE failure;
    CStringA help;
    ASSERT_EQ(Parse({"--help"}, options, help, failure), 1);
    std::string page;
    ASSERT_TRUE(ReadWholeFile(std::filesystem::path(ALIDADE_DOCS_DIR) / "host.md", page));
    const std::vector<CStringA> names = GetHostOptionNames();
    EXPECT_GE(names.size(), 14u);
    for (const CStringA& name : names) {
        EXPECT_NE(help.find(name), help.npos) << name;
        EXPECT_NE(page.find("| `" + name), page.npos) << "docs/host.md has no row for " << name;
    }
    CStringA version;
    ASSERT_EQ(Parse({"--version"}, options, version, failure), 1);
    EXPECT_EQ(version.find("alidade-host "), 0u);
}

} // namespace
} // namespace alidade
