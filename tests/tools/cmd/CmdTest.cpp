#include "tests/support/TempFolder.h"
#include "tests/tools/RunProgram.h"

#include "foundation/bus/IPBus.h"
#include "foundation/bus/IPClient.h"
#include "foundation/bus/IPDataWriter.h"
#include "foundation/bus/ImageVariable.h"
#include "foundation/platform/PrivateFolder.h"
#include "foundation/platform/Text.h"

#include <atomic>
#include <cstdlib>
#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>
#include <set>
#include <sstream>
#include <thread>

namespace alidade {
namespace {

class CCmdReceiver : public IIPCommandTarget {
public:
    explicit CCmdReceiver(CIPClient* client)
    {
        SetUnitName("Camera 1");
        CreateIPCommandTarget(client);
    }
    ~CCmdReceiver() override { DestroyIPCommandTarget(); }

    const IP_COMMAND_TARGET* GetIPCommandTargetStatic() const override
    {
        static const IP_COMMAND_TARGET_ENTRY entries[] = {
            IPCommandEntry("Test", "Echo", &CCmdReceiver::OnIPEcho),
            IPCommandEntry("Test", "Fail", &CCmdReceiver::OnIPFail),
            IPCommandEntry("Test", "Wait", &CCmdReceiver::OnIPWait, IPCMD_OPERATOR),
            {nullptr, nullptr, nullptr}};
        static const IP_COMMAND_TARGET table{entries, nullptr};
        return &table;
    }

private:
    int OnIPEcho(CIPCommand& command)
    {
        command.GetResult() = command.GetParameter();
        return 1;
    }
    int OnIPFail(CIPCommand& command)
    {
        command.SetError(L"The lamp is off");
        return 0;
    }
    int OnIPWait(CIPCommand& command)
    {
        return command.IsOK() ? command.PauseStep(INFINITE, IP_NEXT_STEP) : 0;
    }
};

class CmdProgram : public testing::Test {
protected:
    void SetUp() override
    {
        ::setenv("XDG_RUNTIME_DIR", m_folder.Path().c_str(), 1);
        ::setenv("ALIDADE_INSTANCE", ("cmd" + std::to_string(GetThisProcessNumber())).c_str(), 1);
        ::unsetenv("ALIDADE_BUS");
        CString error;
        ASSERT_TRUE(m_bus->Join("local:cmd", error)) << ToNarrow(error);
    }
    static T_PROGRAM_RUN Run(std::vector<std::string> arguments)
    {
        return RunProgram(ALIDADE_CMD, arguments);
    }
    static T_PROGRAM_RUN Send(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), {"--bus", "local:cmd"});
        return Run(std::move(arguments));
    }

    CTempFolder m_folder{"c"};
    std::shared_ptr<CIPBus> m_bus = std::make_shared<CIPBus>();
    CIPClient m_client{nullptr, nullptr, "Vision", m_bus};
    CCmdReceiver m_receiver{&m_client};
};

TEST_F(CmdProgram, ExitStatusTellsWhatCameOfIt)
{
    struct T_CASE {
        std::vector<std::string> arguments;
        int status;
        const char* says;
    };
    for (const T_CASE& c : {
             T_CASE{{"Camera 1", "Test", "Echo", "i=3", "d=2.5", "s=\"3\""}, 0, R"({"i":3,"d":2.5,"s":"3"})"},
             {{"", "Test", "Echo"}, 0, "{}"},
             {{"--task", "Vision", "", "Test", "Echo", "n=-4"}, 0, R"({"n":-4})"},
             {{"", "Test", "Fail"}, 1, "The lamp is off"},
             {{"", "Test", "Echo", "--save", "image=x.png"}, 1, "no image \"image\""},
             {{"--timeout", "50", "", "Test", "Wait"}, 3, "has not ended within 50 ms; it goes on"},
             {{"--timeout", "50", "--abort", "", "Test", "Wait"}, 3, "it is aborted"},
             {{"Camera 2", "Test", "Echo"}, 3, "nobody on the bus answers"},
             {{"--task", "Motion", "", "Test", "Echo"}, 3, "nobody on the bus answers"},
             {{"", "Test"}, 2, "UNIT GROUP NAME"},
             {{"", "Test", "Echo", "novalue"}, 2, "novalue"},
             {{"", "Test", "Echo", "i=@/does/not/exist.png"}, 2, "cannot read the picture"},
             {{"--list", "", "Test", "Echo"}, 2, "give one of"},
             {{"--timeout", "x", "", "Test", "Echo"}, 2, "timeout"},
             {{"--nonsense"}, 2, "nonsense"},
             {{"--bus", "local:nobodyishere", "", "Test", "Echo"}, 3, "Nobody is on the bus"},
             {{"--bus", "http://host", "", "Test", "Echo"}, 2, "no address of a bus"},
         }) {
        const bool other = c.arguments[0] == "--bus";
        const T_PROGRAM_RUN run = other ? Run(c.arguments) : Send(c.arguments);
        EXPECT_EQ(run.status, c.status) << run.output;
        EXPECT_NE(run.output.find(c.says), std::string::npos) << run.output << "\nshould say " << c.says;
    }
    EXPECT_EQ(Run({"", "Test", "Echo"}).status, 2) << "without an address";
    ::setenv("ALIDADE_BUS", "local:cmd", 1);
    EXPECT_EQ(Run({"", "Test", "Echo"}).status, 0) << "with the address from the environment";
}

TEST_F(CmdProgram, ImageGoesThereAndBack)
{
    const std::string in = m_folder / "in.png", out = m_folder / "out.png";
    cv::Mat picture(40, 30, CV_8UC3);
    cv::randu(picture, 0, 255);
    ASSERT_TRUE(cv::imwrite(in, picture));
    const T_PROGRAM_RUN run = Send({"", "Test", "Echo", "image=@" + in, "--save", "image=" + out});
    EXPECT_EQ(run.status, 0) << run.output;
    const cv::Mat back = cv::imread(out, cv::IMREAD_UNCHANGED);
    ASSERT_EQ(back.size(), picture.size());
    EXPECT_EQ(cv::norm(back, picture, cv::NORM_INF), 0.0);
}

TEST_F(CmdProgram, ListShowsWhatIsServed)
{
    const T_PROGRAM_RUN table = Send({"--list"});
    EXPECT_EQ(table.status, 0);
    EXPECT_NE(table.output.find("Vision  Camera 1  Test   Wait  operator"), std::string::npos)
        << table.output;
    const T_PROGRAM_RUN json = Send({"--list", "--json"});
    EXPECT_NE(json.output.find("\"name\": \"Fail\""), std::string::npos) << json.output;
}

TEST_F(CmdProgram, WatchPrintsEachChangeOfABlock)
{
    EXPECT_EQ(Run({"--watch", "MotorPosition", "--count", "1"}).status, 3);
    CIPDataWriter writer(L"Tavro");
    CString error;
    const std::vector<T_IP_DATA_ITEM> items{{"dX", IPDATA_DOUBLE, 0}, {"name", IPDATA_STRING, 16}};
    ASSERT_TRUE(writer.Create("MotorPosition", items, error)) << ToNarrow(error);
    writer.SetString(1, "home");
    std::atomic<bool> stop{false};
    std::thread machine([&] {
        for (int i = 1; !stop; ++i) {
            writer.SetDouble(0, i + 0.5);
            Sleep(1);
        }
    });
    const T_PROGRAM_RUN run = Run({"--watch", "MotorPosition", "--count", "3"});
    stop = true;
    machine.join();
    EXPECT_EQ(run.status, 0);
    std::set<std::string> lines;
    std::istringstream output(run.output);
    for (std::string line; std::getline(output, line);) {
        EXPECT_EQ(line.substr(0, 6), "{\"dX\":") << line;
        EXPECT_NE(line.find("\"name\":\"home\"}"), std::string::npos) << line;
        lines.insert(line);
    }
    EXPECT_EQ(lines.size(), 3u) << run.output;
}

TEST_F(CmdProgram, WatchShowsNumbersOfOneWrite)
{
    constexpr int kItems = 200;
    CIPDataWriter writer(L"Tavro");
    CString error;
    std::vector<T_IP_DATA_ITEM> items;
    for (int i = 0; i < kItems; ++i) {
        items.push_back({Format("d%d", i), i % 2 == 0 ? IPDATA_DOUBLE : IPDATA_INT, 0});
    }
    ASSERT_TRUE(writer.Create("MotorPosition", items, error)) << ToNarrow(error);
    std::atomic<bool> stop{false};
    std::thread machine([&] {
        for (int write = 1; !stop; ++write) {
            writer.Begin();
            for (int i = 0; i < kItems; ++i) {
                writer.SetInt(i, write);
            }
            writer.Commit();
        }
    });
    const T_PROGRAM_RUN run = Run({"--watch", "MotorPosition", "--count", "1000"});
    stop = true;
    machine.join();
    EXPECT_EQ(run.status, 0);
    std::istringstream output(run.output);
    for (std::string line; std::getline(output, line);) {
        const std::string first = line.substr(6, line.find_first_of(".,") - 6);
        std::size_t same = 0;
        for (std::size_t at = 0; (at = line.find(":" + first, at)) != line.npos; ++at) {
            const char behind = line[at + 1 + first.size()];
            same += behind == '.' || behind == ',' || behind == '}' ? 1 : 0;
        }
        ASSERT_EQ(same, kItems) << line;
    }
}

} // namespace
} // namespace alidade
