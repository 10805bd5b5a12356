// alidade-machine as a user runs it.

#include "MachineHarness.h"
#include "tests/support/TempFolder.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace alidade {
namespace {

/// alidade-machine as a process of its own, with what it prints kept apart. It never outlives the object.
class CMachineProcess {
public:
    explicit CMachineProcess(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), ALIDADE_MACHINE);
        std::vector<char*> argv;
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        const std::string out = (m_folder / "out").string(), err = (m_folder / "err").string();
        m_process = ::fork();
        if (m_process == 0) {
            ::dup2(::open(out.c_str(), O_WRONLY | O_CREAT, 0600), STDOUT_FILENO);
            ::dup2(::open(err.c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
            ::execv(argv[0], argv.data());
            ::_exit(127);
        }
        EXPECT_GT(m_process, 0);
    }
    ~CMachineProcess()
    {
        if (m_process > 0) {
            ::kill(m_process, SIGKILL);
            ::waitpid(m_process, nullptr, 0);
        }
    }
    CMachineProcess(const CMachineProcess&) = delete;
    CMachineProcess& operator=(const CMachineProcess&) = delete;

    bool IsReady() const
    {
        return WaitUntil([&] { return Output().find("ready") != std::string::npos; });
    }
    /// The exit status; -1 when a signal ended it or it did not end.
    int Wait()
    {
        int status = 0;
        if (!WaitUntil([&] { return ::waitpid(m_process, &status, WNOHANG) != 0; })) {
            return -1;
        }
        m_process = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    void Interrupt() { ::kill(m_process, SIGINT); }

    std::string Output() const { return m_folder.Read("out"); }
    std::string Errors() const { return m_folder.Read("err"); }

private:
    CTempFolder m_folder;
    pid_t m_process = 0;
};

TEST(MachineProgram, PublishesUntilItIsInterruptedAndIsAloneWithItsBlocks)
{
    const COwnInstance instance;
    CMachineProcess program({"--set", "StartX=12.5", "--set", "StartLens=3"});
    ASSERT_TRUE(program.IsReady()) << program.Errors();
    const std::string line = program.Output();
    EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1) << line;
    EXPECT_EQ(ReadItem("MotorPosition", "MotorPosition.dMachineStageX"), 12.5);
    EXPECT_EQ(ReadItem("AxisParameter", "AxisParameter.iCurrentLens"), 3);

    CMachineProcess second({});
    EXPECT_EQ(second.Wait(), 1);
    EXPECT_EQ(second.Errors().find("alidade-machine: cannot make the shared block MotorPosition"), 0u)
        << second.Errors();

    program.Interrupt();
    EXPECT_EQ(program.Wait(), 0);
    EXPECT_EQ(program.Errors(), "");
    CMachineProcess third({"--quit-after", "0.05"});
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
        CMachineProcess program(c.arguments);
        EXPECT_EQ(program.Wait(), c.status) << c.text;
        EXPECT_EQ(program.Errors().find("alidade-machine: " + std::string(c.text)), 0u) << program.Errors();
        EXPECT_EQ(program.Output(), "");
    }
}

TEST(MachineProgram, ObeysAnotherProcess)
{
    const COwnInstance instance;
    const CStringA address = "local:machine-" + instance.GetName();
    CMachineProcess program({"--bus", address, "--set", "StageAcceleration=100000"});
    ASSERT_TRUE(program.IsReady()) << program.Errors();
    const auto bus = std::make_shared<CIPBus>();
    CString error;
    ASSERT_EQ(bus->Join(address.c_str(), error, nullptr, true), 1) << ToNarrow(error);
    CIPClient client(nullptr, nullptr, "Test", bus);
    CIPVariable in;
    in.SetChildItem("TargetX", 7.5);
    in.SetChildItem("TargetY", "-2.25");
    CIPVariable out;
    EXPECT_EQ(client.SendIPCommand("Sequence", nullptr, "Stage", "StageMovePos", in, out, 60000, nullptr), 1)
        << ToNarrow(CIPClient::GetLastIPError());
    EXPECT_EQ(out("X", 0.0), 7.5);
    EXPECT_EQ(ReadItem("MotorPosition", "MotorPosition.dMachineStageY"), -2.25);
    in.SetChildItem("TargetX", 1000);
    EXPECT_EQ(client.SendIPCommand("Sequence", nullptr, "Stage", "StageMovePos", in, out, 60000, nullptr), 0);
    EXPECT_NE(CIPClient::GetLastIPError().find(L"lies outside of its limits -300 to 300 mm"), CString::npos)
        << ToNarrow(CIPClient::GetLastIPError());
    program.Interrupt();
    EXPECT_EQ(program.Wait(), 0);
}

} // namespace
} // namespace alidade
