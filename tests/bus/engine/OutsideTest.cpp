#include "foundation/bus/engine/Engine.h"
#include "tests/bus/engine/Receiver.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

T_IP_REQUEST Request(const char* name)
{
    T_IP_REQUEST request;
    request.unit = "Camera1";
    request.group = "Test";
    request.name = name;
    return request;
}

TEST(BusOutside, ACommandFromOutsideIsAnsweredOnce)
{
    T_TEST_BUS test;
    CReceiver receiver(test.client);
    receiver.On("Run", [](CIPCommand& command) {
        command.GetResult().SetChildItem("Steps", command.GetStep());
        return command.GetStep() < 2 ? command.EnqueueNextStep(-1, 0) : 1;
    });
    receiver.On("Child", [](CIPCommand& command) {
        command.SetError(L"No.");
        return 0;
    });
    const struct {
        const char* name;
        bool ok;
        int steps;
        const wchar_t* error;
    } rows[] = {{"Run", true, 2, L""},
                {"Child", false, -1, L"No."},
                {"Unknown", false, -1, L"Nobody answers \"Test\" \"Unknown\" of unit \"Camera1\"."}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        CEvent answered;
        std::atomic<int> answers{0};
        T_IP_REPLY reply;
        const std::uint64_t number =
            test.bus->GetEngine()->StartRequest(Request(row.name), [&](T_IP_REPLY&& answer) {
                ++answers;
                reply = std::move(answer);
                answered.SetEvent();
            });
        EXPECT_TRUE(answered.Wait(INFINITE));
        EXPECT_EQ(number == 0, std::string(row.name) == "Unknown");
        EXPECT_EQ(reply.ok, row.ok);
        EXPECT_EQ(reply.result("Steps", -1), row.steps);
        EXPECT_EQ(reply.error, row.error);
        EXPECT_EQ(answers, 1);
    }
}

TEST(BusOutside, AnAbortReachesThePauseTheDelayAndTheChild)
{
    const struct {
        const char* what;
        TestHandler first;
    } rows[] = {{"pause", [](CIPCommand& command) { return command.PauseStep(INFINITE, -1); }},
                {"delay", [](CIPCommand& command) { return command.EnqueueNextStep(-1, 3600000); }},
                {"child", nullptr}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        T_TEST_BUS test;
        CReceiver receiver(test.client);
        std::atomic<int> begun{0};
        std::atomic<int> cleanedUp{0};
        const auto step = [&](const TestHandler& first) {
            return [&, first](CIPCommand& command) {
                if (command.GetStep() > 0) {
                    cleanedUp += command.IsOK() == 0 ? 1 : 0;
                    return 1;
                }
                ++begun;
                return first(command);
            };
        };
        receiver.On("Child", step([](CIPCommand& command) { return command.PauseStep(INFINITE, -1); }));
        receiver.On("Run", step(row.first ? row.first : [&](CIPCommand&) {
                        return receiver.SendIPStepCommand("Test", "Child", INFINITE);
                    }));
        CEvent answered;
        T_IP_REPLY reply{true, {}, {}};
        const std::uint64_t number =
            test.bus->GetEngine()->StartRequest(Request("Run"), [&](T_IP_REPLY&& answer) {
                reply = std::move(answer);
                answered.SetEvent();
            });
        EXPECT_TRUE(WaitUntil([&] { return begun == (row.first ? 1 : 2); }));
        test.bus->GetEngine()->AbortRequest(number);
        EXPECT_TRUE(answered.Wait(INFINITE));
        EXPECT_FALSE(reply.ok);
        EXPECT_EQ(cleanedUp, row.first ? 1 : 2);
        test.bus->GetEngine()->AbortRequest(number); // long gone
    }
}

TEST(BusOutside, ASenderMayAskForTheAbortWhenItGivesUp)
{
    CManualTicks ticks;
    T_TEST_BUS test;
    CReceiver receiver(test.client);
    CEvent started;
    CEvent aborted;
    receiver.On("Run", [&](CIPCommand& command) {
        if (command.GetStep() == 0) {
            started.SetEvent();
            return command.PauseStep(INFINITE, -1);
        }
        return command.IsOK() ? 1 : aborted.SetEvent();
    });
    std::thread sender([&] {
        CIPVariable out;
        EXPECT_EQ(test.client.SendIPCommand(nullptr, "Camera1", "Test", "Run", CIPVariable(), out, 1000,
                                            nullptr, IPSEND_ABORT_WITH_SENDER),
                  0);
    });
    EXPECT_TRUE(started.Wait(INFINITE));
    EXPECT_TRUE(WaitUntil([&] { return ticks.Advance(100), aborted.Wait(0); }));
    sender.join();
}

} // namespace
} // namespace alidade
