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

TEST(HostOptions, WrongUseIsRefusedInOneLine)
{
    const struct {
        std::vector<const char*> arguments;
        const char* text;
    } cases[] = {
        {{}, "--list-drivers or --grabber"},
        {{"--list-drivers", "--grabber", "Dummy"}, "--list-drivers or --grabber"},
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
