#include "tests/layout/LayoutHarness.h"
#include "tests/support/TempFolder.h"
#include "tests/tools/RunProgram.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

class LayoutTool : public testing::Test {
protected:
    std::string At(const char* name) const { return (m_folder / name).string(); }
    static T_PROGRAM_RUN Run(const std::vector<std::string>& arguments)
    {
        return RunProgram(ALIDADE_LAYOUT, arguments);
    }
    void ExpectRun(const std::vector<std::string>& arguments, int status, std::string_view part)
    {
        const T_PROGRAM_RUN run = Run(arguments);
        EXPECT_EQ(run.status, status) << run.output;
        EXPECT_NE(run.output.find(part), std::string::npos) << run.output;
    }

    CTempFolder m_folder;
};

TEST_F(LayoutTool, JsonGoesToAFileAndBackTheSame)
{
    m_folder.Write("a.layout", Stored(RandomLayout(30, 40)));
    const T_PROGRAM_RUN shown = Run({"show", At("a.layout")});
    ASSERT_EQ(shown.status, 0) << shown.output;
    m_folder.Write("a.json", shown.output);
    ExpectRun({"make", At("a.json"), At("b.layout")}, 0, "");
    EXPECT_EQ(m_folder.Read("b.layout"), m_folder.Read("a.layout"));
    EXPECT_EQ(Run({"show", At("b.layout")}).output, shown.output);
    ExpectRun({"check", At("b.layout")}, 0, "good; nodes 40, cameras ");
}

TEST_F(LayoutTool, CheckTellsGoodFromBad)
{
    const std::string good = Stored(CCameraLayoutItem());
    const struct {
        std::string bytes;
        const char* message;
    } rows[] = {
        {"", "ends 0 bytes on"},
        {"PNG\x1A", "no layout file"},
        {Hex("43 4C 07 00"), "file version 7 is not known"},
        {good.substr(0, 20), "byte 16 of 20: "},
        {good + "xy", "2 bytes follow the last node"},
        {Hex("43 4C 01 00 09 00 00 00"), "a node of the unknown version 9"},
    };
    for (const auto& row : rows) {
        m_folder.Write("file", row.bytes);
        ExpectRun({"check", At("file")}, 1, row.message);
    }
    ExpectRun({"check", At("missing")}, 1, "missing: ");
    ExpectRun({"show", At("missing")}, 1, "missing: ");
}

TEST_F(LayoutTool, WhatCannotBeMadeLeavesTheOldFileAndSaysWhere)
{
    m_folder.Write("file", "old");
    m_folder.Write("bad.json", R"({"children": [{"name": 1}]})");
    ExpectRun({"make", At("bad.json"), At("file")}, 1, "bad.json: /children/0/name: must be a text");
    ExpectRun({"make", At("none.json"), At("file")}, 1, "none.json: ");
    EXPECT_EQ(m_folder.Read("file"), "old");
    m_folder.Write("good.json", "{}");
    ExpectRun({"make", At("good.json"), At("none/file")}, 1, "none/file: ");
}

TEST_F(LayoutTool, WrongUseHasAStatusOfItsOwn)
{
    ExpectRun({}, 2, "");
    ExpectRun({"check"}, 2, "file is required");
    ExpectRun({"make", "a"}, 2, "file is required");
    ExpectRun({"print", "a"}, 2, "");
    ExpectRun({"--help"}, 0, "make");
}

} // namespace
} // namespace alidade
