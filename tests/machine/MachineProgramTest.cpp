// alidade-machine as a user runs it.

#include "MachineHarness.h"

// The process below is the machine's.
inline const std::string kMachineProgram = ALIDADE_MACHINE;
#define ALIDADE_HOST kMachineProgram
#include "tests/host/HostProcess.h"

namespace alidade {
namespace {

bool IsReady(const CHostProcess& program)
{
    return WaitUntil([&] { return program.Output().find("ready") != std::string::npos; });
}

TEST(MachineProgram, PublishesUntilItIsInterruptedAndIsAloneWithItsBlocks)
{
    const COwnInstance instance;
    CHostProcess program({"--set", "StartX=12.5", "--set", "StartLens=3"});
    ASSERT_TRUE(IsReady(program)) << program.Errors();
    const std::string line = program.Output();
    EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1) << line;
    EXPECT_EQ(ReadItem("MotorPosition", "MotorPosition.dMachineStageX"), 12.5);
    EXPECT_EQ(ReadItem("AxisParameter", "AxisParameter.iCurrentLens"), 3);

    CHostProcess second({});
    EXPECT_EQ(second.Wait(), 1);
    EXPECT_EQ(second.Errors().find("alidade-machine: cannot make the shared block MotorPosition"), 0u)
        << second.Errors();

    program.Interrupt();
    EXPECT_EQ(program.Wait(), 0);
    EXPECT_EQ(program.Errors(), "");
    CHostProcess third({"--quit-after", "0.05"});
    EXPECT_EQ(third.Wait(), 0) << third.Errors();
}

TEST(MachineProgram, SaysInOneLineWhyItDoesNotBegin)
{
    const COwnInstance instance;
    const struct {
        std::vector<std::string> arguments;
        int status;
        const char* text;
    } cases[] = {
        {{"--noise", "-1"}, 2, "--noise: Noise = \"-1\""},
        {{"--config", "/none\n.ini"}, 2, "cannot read the settings file /none .ini"},
        {{"--bus", "smoke:signals"}, 1, "cannot join the bus smoke:signals"},
    };
    for (const auto& c : cases) {
        CHostProcess program(c.arguments);
        EXPECT_EQ(program.Wait(), c.status) << c.text;
        EXPECT_EQ(program.Errors().find("alidade-machine: " + std::string(c.text)), 0u) << program.Errors();
        EXPECT_EQ(program.Output(), "");
    }
}

TEST(MachineProgram, ObeysAnotherProcess)
{
    const COwnInstance instance;
    const CStringA address = "local:machine-" + instance.GetName();
    CHostProcess program({"--bus", address, "--set", "StageAcceleration=100000"});
    ASSERT_TRUE(IsReady(program)) << program.Errors();
    const auto bus = std::make_shared<CIPBus>();
    CString error;
    ASSERT_EQ(bus->Join(address.c_str(), error, nullptr, true), 1) << ToNarrow(error);
    CIPClient client(nullptr, nullptr, "Test", bus);
    CIPVariable in;
    in.SetChildItem("TargetX", 7.5);
    in.SetChildItem("TargetY", "-2.25");
    CIPVariable out;
    EXPECT_EQ(client.SendIPCommand("Sequence", nullptr, "Stage", "StageMovePos", in, out, 20000, nullptr), 1)
        << ToNarrow(CIPClient::GetLastIPError());
    EXPECT_EQ(out("X", 0.0), 7.5);
    EXPECT_EQ(ReadItem("MotorPosition", "MotorPosition.dMachineStageY"), -2.25);
    in.SetChildItem("TargetX", 1000);
    EXPECT_EQ(client.SendIPCommand("Sequence", nullptr, "Stage", "StageMovePos", in, out, 20000, nullptr), 0);
    EXPECT_NE(CIPClient::GetLastIPError().find(L"lies outside of its limits -300 to 300 mm"), CString::npos)
        << ToNarrow(CIPClient::GetLastIPError());
    program.Interrupt();
    EXPECT_EQ(program.Wait(), 0);
}

} // namespace
} // namespace alidade
