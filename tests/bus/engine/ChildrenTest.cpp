#include "tests/bus/engine/Receiver.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

TEST(BusChildren, TheParentGoesOnWhenTheChildHasEnded)
{
    T_TEST_BUS test;
    CReceiver receiver(test.client);
    std::vector<std::string> order;
    receiver.On("Child", [&](CIPCommand& command) {
        if (command.GetStep() < 2) {
            return command.EnqueueNextStep(-1, 0);
        }
        order.push_back("child");
        command.GetResult().SetChildItem("IX0", command.GetParameter()("Start", 0) + 1);
        return 1;
    });
    receiver.On("Run", [&](CIPCommand& command) {
        if (command.GetStep() < 3) {
            CIPVariable in;
            in.SetChildItem("Start", command.GetStep() * 10);
            EXPECT_EQ(receiver.SendIPStepCommand("Test", "Child", in, INFINITE), 1);
            return command.GetStep() == 0 ? command.EnqueueNextStep(-1, 0) : 1; // with or without a wish
        }
        order.push_back("parent");
        EXPECT_EQ(command.IsChildOK(), 1);
        EXPECT_EQ(command.GetChildResult("Elsewhere", "Test", "Child").GetChildCount(), 0);
        command.GetResult() = command.GetChildResult(nullptr, "Test", "Child"); // the last one's
        return 1;
    });
    CIPVariable out;
    EXPECT_EQ(test.Send("Run", out), 1);
    EXPECT_EQ(out("IX0", 0), 21);
    EXPECT_EQ(order, (std::vector<std::string>{"child", "child", "child", "parent"}));
}

TEST(BusChildren, AFailedChildShowsInTheNextStepOnly)
{
    T_TEST_BUS test;
    CReceiver receiver(test.client);
    receiver.On("Child", [](CIPCommand& command) {
        command.GetResult().SetChildItem("eButton", 2);
        return 0;
    });
    std::vector<int> seen;
    receiver.On("Run", [&](CIPCommand& command) {
        seen.push_back(command.IsChildOK());
        EXPECT_EQ(command.IsOK(), 1);
        if (command.GetStep() == 0) {
            return receiver.SendIPStepCommand("Test", "Child", INFINITE);
        }
        EXPECT_EQ(command.GetChildResult(nullptr, "Test", "Child")("eButton", 0), 2);
        return command.GetStep() == 1 ? command.EnqueueNextStep(-1, 0) : 1;
    });
    CIPVariable out;
    EXPECT_EQ(test.Send("Run", out), 1);
    EXPECT_EQ(seen, (std::vector<int>{1, 0, 1}));
}

TEST(BusChildren, TheWaitIsOverWhenTheLastThingHasCome)
{
    CManualTicks ticks;
    T_TEST_BUS test;
    CIPClient sequence(nullptr, nullptr, "Sequence", test.bus);
    CReceiver receiver(test.client);
    CReceiver stage(sequence, "Stage");
    CEvent moving;
    CEvent arrived;
    stage.On("Run", [&](CIPCommand&) {
        moving.SetEvent();
        return arrived.Wait(INFINITE) ? 1 : 0;
    });
    std::atomic<int> step{-1};
    receiver.On("Run", [&](CIPCommand& command) {
        step = command.GetStep();
        if (command.GetStep() == 0) {
            HIPCOMMAND self(command);
            EXPECT_EQ(test.client.SendIPStepCommand(self, "Sequence", nullptr, "Test", "Run", CIPVariable(),
                                                    INFINITE, nullptr),
                      1);
            return command.EnqueueNextStep(-1, 500);
        }
        return command.IsChildOK();
    });
    CIPVariable out;
    int ok = -1;
    std::thread sender([&] { ok = test.Send("Run", out, INFINITE); });
    EXPECT_TRUE(moving.Wait(INFINITE));
    ticks.Advance(5000); // the delay is over, the child is not
    EXPECT_EQ(test.Post("Other"), 1);
    EXPECT_EQ(test.Send("Child", out), 1); // the receiver is free meanwhile
    EXPECT_EQ(step, 0);
    arrived.SetEvent();
    std::atomic<bool> done{false};
    std::thread clock([&] { // the delay may have begun after the jump
        while (!done) {
            ticks.Advance(100);
            std::this_thread::yield();
        }
    });
    sender.join();
    done = true;
    clock.join();
    EXPECT_EQ(ok, 1);
    EXPECT_EQ(step, 1);
}

TEST(BusChildren, AChildThatOutlastsItsTimeCountsAsFailedAndGoesOn)
{
    CManualTicks ticks;
    T_TEST_BUS test;
    CReceiver receiver(test.client);
    CReceiver other(test.client, "Other");
    std::atomic<CIPCommand*> child{nullptr};
    CEvent started;
    receiver.On("Child", [&](CIPCommand& command) {
        if (command.GetStep() == 0) {
            child = &command;
            started.SetEvent();
            return command.PauseStep(INFINITE, -1);
        }
        return 1;
    });
    receiver.On("Run", [&](CIPCommand& command) {
        return command.GetStep() == 0 ? receiver.SendIPStepCommand("Test", "Child", 1000)
                                      : command.IsChildOK();
    });
    EXPECT_EQ(test.SendWhileTimePasses("Run", started, ticks), 0);
    EXPECT_EQ(test.client.IsValidCmd(child), 1);
    EXPECT_EQ(test.client.ContinueIPStepCommand(child, 0, 0, nullptr), 1);
    EXPECT_TRUE(WaitUntil([&] { return test.client.IsValidCmd(child) == 0; }));
}

TEST(BusChildren, NobodyToAnswerLeavesNothingToWaitFor)
{
    T_TEST_BUS test;
    CReceiver receiver(test.client);
    receiver.On("Run", [&](CIPCommand&) {
        EXPECT_EQ(receiver.SendIPStepCommand("Test", "Unknown", INFINITE), 0);
        return 1;
    });
    CIPVariable out;
    EXPECT_EQ(test.Send("Run", out), 1);
    EXPECT_EQ(receiver.SendIPStepCommand("Test", "Child", INFINITE), 0); // no command runs on this thread
}

} // namespace
} // namespace alidade
