// What alidade-machine takes from its command line and settings file.

#include "host/machine/MachineOptions.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

struct T_PARSED {
    int ok;
    T_MACHINE_OPTIONS options;
    CStringA text;
    CStringA error;
};
T_PARSED Parse(std::vector<std::string> arguments)
{
    std::vector<const char*> argv = {"alidade-machine"};
    for (const std::string& argument : arguments) {
        argv.push_back(argument.c_str());
    }
    T_PARSED parsed;
    T_HOST_FAILURE failure;
    parsed.ok =
        ParseMachineOptions(static_cast<int>(argv.size()), argv.data(), parsed.options, parsed.text, failure);
    parsed.error = ToNarrow(failure.text);
    EXPECT_TRUE(parsed.ok || failure.status == kExitUsage);
    return parsed;
}

TEST(MachineOptions, AnOptionWinsOverSetWhichWinsOverTheFile)
{
    CTempFolder folder;
    folder.Write("m.ini", "[Machine]\nNoise = 0.001\nLag = 5\nXMax=100\nSeed=7\n[Other]\nXMin=5\n");
    const T_PARSED parsed =
        Parse({"--config", (folder / "m.ini").string(), "--set", "Lag=6", "--set", "XMax=110", "--set",
               "XMax=120", "--lag", "8", "--bus", "local:m", "--quit-after", "1.5"});
    ASSERT_EQ(parsed.ok, 1) << parsed.error;
    EXPECT_EQ(parsed.options.settings.dNoise, 0.001);
    EXPECT_EQ(parsed.options.settings.dLag, 8);
    EXPECT_EQ(parsed.options.settings.dXMax, 120);
    EXPECT_EQ(parsed.options.settings.dSeed, 7);
    EXPECT_EQ(parsed.options.settings.dXMin, -300);
    EXPECT_EQ(parsed.options.strBus, "local:m");
    EXPECT_EQ(parsed.options.dwQuitAfter, 1500u);
    EXPECT_EQ(Parse({}).options.dwQuitAfter, INFINITE);
}

TEST(MachineOptions, WhatIsWrongIsSaidByName)
{
    CTempFolder folder;
    folder.Write("typo.ini", "[Machine]\nNoize = 0.001\n");
    folder.Write("range.ini", "[Machine]\nCycle = 0\n");
    folder.Write("bad.ini", "[Machine]\nLag = 1\nthis is no setting\n");
    folder.Write("none.ini", "[Machin]\nLag = 1\n");
    const auto file = [&](const char* name) { return (folder / name).string(); };
    const struct {
        std::vector<std::string> arguments;
        const char* error;
    } cases[] = {
        {{"--config", file("typo.ini")}, "\"Noize\" is no setting of the machine"},
        {{"--config", file("range.ini")}, "Cycle = \"0\" is not a whole number from 1 to 100 ms"},
        {{"--config", file("bad.ini")}, "line 3 is no setting"},
        {{"--config", file("none.ini")}, "has no section [Machine]"},
        {{"--config", file("missing.ini")}, "cannot read the settings file"},
        {{"--set", "Lag"}, "not of the form KEY=VALUE"},
        {{"--set", "Lag="}, "Lag = \"\" is not a number from 0 to 1000 ms"},
        {{"--set", "Cycle=1.5"}, "Cycle = \"1.5\" is not a whole number"},
        {{"--noise", "nan"}, "--noise: Noise = \"nan\" is not a number from 0 to 10 mm"},
        {{"--seed", "-1"}, "--seed: Seed = \"-1\""},
        {{"--set", "XMin=300"}, "the limits of X, 300 to 300 mm, leave no travel"},
        {{"--set", "StartZ=30"}, "the start of Z, 30 mm, lies outside of its limits -20 to 20"},
        {{"--set", "StageSpeed=600"}, "the speed of X, 600 mm/s, is above its highest, 500"},
        {{"--quit-after", "-1"}, "--quit-after"},
        {{"--quit-after", "nan"}, "--quit-after takes a number"},
        {{"--noise", ""}, "--noise: an empty text"},
        {{"--config", ""}, "--config: an empty text"},
        {{"--bus", ""}, "--bus: an empty text"},
        {{"--frobnicate"}, "--frobnicate"},
    };
    for (const auto& c : cases) {
        const T_PARSED parsed = Parse(c.arguments);
        EXPECT_EQ(parsed.ok, 0) << c.error;
        EXPECT_NE(parsed.error.find(c.error), parsed.error.npos) << parsed.error << "\nwanted: " << c.error;
    }
}

TEST(MachineOptions, HelpTellsEverySettingWithItsDefaultAndRange)
{
    const T_PARSED parsed = Parse({"--help"});
    EXPECT_NE(parsed.text.find("--backlash MM"), parsed.text.npos) << parsed.text;
    EXPECT_NE(parsed.text.find("StageAcceleration      2000    0.001 to 10000000 mm/s^2"), parsed.text.npos)
        << parsed.text;
}

} // namespace
} // namespace alidade
