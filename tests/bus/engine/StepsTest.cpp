#include "tests/bus/engine/Receiver.h"

#include "foundation/platform/Text.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

TEST(BusSteps, TheEndOfTheHandlerEndsTheCommand)
{
    const struct {
        const char* what;
        TestHandler handler;
        int ok;
        std::vector<int> steps;
    } rows[] = {
        {"one step", [](CIPCommand&) { return 1; }, 1, {0}},
        {"failure", [](CIPCommand&) { return 0; }, 0, {0}},
        {"failure although scheduled", [](CIPCommand& c) { return c.EnqueueNextStep(-1, 0) - 1; }, 0, {0}},
        {"following steps",
         [](CIPCommand& c) { return c.GetStep() < 2 ? c.EnqueueNextStep(-1, 0) : 1; },
         1,
         {0, 1, 2}},
        {"a step by number",
         [](CIPCommand& c) { return c.GetStep() == 0 ? c.EnqueueNextStep(7, 0) : 1; },
         1,
         {0, 7}},
        {"the later choice holds",
         [](CIPCommand& c) {
             return c.GetStep() == 0 ? c.EnqueueNextStep(7, 0) + c.EnqueueNextStep(5, 0) : 1;
         },
         1,
         {0, 5}},
        {"the same step again",
         [](CIPCommand& c) { return ++c.GetSlot() < 3 ? c.EnqueueNextStepCurrent(0) : 1; },
         1,
         {0, 0, 0}},
        {"a reserved error", [](CIPCommand& c) { return c.IsOK() ? c.ReserveErrorStep(-1) : 0; }, 0, {0, 1}},
        {"a reserved error fails the command even if the handler does not notice",
         [](CIPCommand& c) { return c.GetStep() == 0 ? c.ReserveErrorStep(-1) : 1; },
         0,
         {0, 1}},
        {"an exception", [](CIPCommand&) -> int { throw CIPException(L"Here", L"that"); }, 0, {0}},
        {"something else thrown", [](CIPCommand&) -> int { throw 5; }, 0, {0}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        T_TEST_BUS test;
        CReceiver receiver(test.client);
        std::vector<int> steps;
        receiver.On("Run", [&](CIPCommand& command) {
            steps.push_back(command.GetCurrentStep());
            command.GetResult().SetChildItem("Steps", static_cast<int>(steps.size()));
            return row.handler(command);
        });
        CIPVariable out;
        EXPECT_EQ(test.Send("Run", out), row.ok);
        EXPECT_EQ(steps, row.steps);
        EXPECT_EQ(out("Steps", 0), static_cast<int>(row.steps.size())); // a failed command has a result too
        EXPECT_EQ(CIPClient::GetLastIPError().empty(), row.ok == 1);
    }
}

TEST(BusSteps, TellsWhyACommandFailed)
{
    T_TEST_BUS test;
    CReceiver receiver(test.client);
    receiver.On("Run", [](CIPCommand& command) {
        command.SetError(L"The lamp is dark.");
        return 0;
    });
    receiver.On("Other", [](CIPCommand&) -> int { throw CIPException(L"Here", L"that"); });
    CIPVariable out;
    EXPECT_EQ(test.Send("Run", out), 0);
    EXPECT_EQ(CIPClient::GetLastIPError(), L"The lamp is dark.");
    EXPECT_EQ(test.Send("Other", out), 0);
    EXPECT_EQ(CIPClient::GetLastIPError(), L"Here: that");
}

TEST(BusSteps, ADelayIsMeasuredByTheTick)
{
    CManualTicks ticks(0xFFFFFF00); // the tick wraps on the way
    T_TEST_BUS test;
    std::vector<DWORD> at;
    CEvent ran;
    CReceiver receiver(test.client);
    receiver.On("Run", [&](CIPCommand& command) {
        at.push_back(GetTickCount());
        ran.SetEvent();
        return command.GetStep() < 2 ? command.EnqueueNextStep(-1, 500) : 1;
    });
    ASSERT_EQ(test.Post("Run"), 1);
    ASSERT_TRUE(ran.Wait(INFINITE));
    for (int step = 1; step < 3; ++step) {
        ASSERT_TRUE(WaitUntil([&] { return ticks.Advance(20), ran.Wait(0); }));
    }
    ASSERT_EQ(at.size(), 3u);
    EXPECT_GE(static_cast<DWORD>(at[1] - at[0]), 500u);
    EXPECT_GE(static_cast<DWORD>(at[2] - at[1]), 500u);
}

TEST(BusSteps, AContinueEndsAPauseAndItsWordTells)
{
    const struct {
        DWORD word;
        int ok;
    } rows[] = {{0, 1}, {IP_CONTINUE_RESET, 0}, {IP_CONTINUE_ESCAPE, 0}, {IP_CONTINUE_ERROR, 0}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.word);
        T_TEST_BUS test;
        CReceiver receiver(test.client);
        CEvent paused;
        std::atomic<CIPCommand*> running{nullptr};
        receiver.On("Run", [&](CIPCommand& command) {
            if (command.GetStep() == 0) {
                running = &command;
                paused.SetEvent();
                return command.PauseStep(INFINITE, -1, nullptr, nullptr);
            }
            command.GetResult().SetChildItem("OK", command.IsOK());
            return command.IsOK();
        });
        CIPVariable out;
        int ok = -1;
        std::thread sender([&] { ok = test.Send("Run", out); });
        EXPECT_TRUE(paused.Wait(INFINITE));
        EXPECT_EQ(test.client.IsValidCmd(running), 1);
        // Whether it comes before the handler has returned or after, it is not lost.
        EXPECT_EQ(test.client.ContinueIPStepCommand(running, row.word, 0, nullptr), 1);
        sender.join();
        EXPECT_EQ(ok, row.ok);
        EXPECT_EQ(out("OK", -1), row.ok);
        EXPECT_EQ(test.client.IsValidCmd(running), 0);
        EXPECT_EQ(test.client.ContinueIPStepCommand(running, 0, 0, nullptr), 0);
    }
}

TEST(BusSteps, APauseWithALimitGoesOnByItself)
{
    CManualTicks ticks;
    T_TEST_BUS test;
    CReceiver receiver(test.client);
    CEvent paused;
    receiver.On("Run", [&](CIPCommand& command) {
        if (command.GetStep() != 0) {
            return command.IsOK();
        }
        paused.SetEvent();
        return command.PauseStep(1000, 3, nullptr, nullptr);
    });
    EXPECT_EQ(test.SendWhileTimePasses("Run", paused, ticks), 1);
}

TEST(BusSteps, StopByNameFailsTheNextStep)
{
    T_TEST_BUS test;
    CReceiver receiver(test.client);
    CEvent ran;
    std::atomic<int> failures{0};
    receiver.On("Run", [&](CIPCommand& command) {
        ran.SetEvent();
        if (!command.IsOK()) {
            ++failures;
            return 0;
        }
        return command.EnqueueNextStepCurrent(1);
    });
    EXPECT_EQ(receiver.ResumeIPStepCommandByName("Test", "Run", IP_CONTINUE_ERROR, 0), 0); // nothing runs yet
    CIPVariable out;
    int ok = -1;
    std::thread sender([&] { ok = test.Send("Run", out, INFINITE); });
    EXPECT_TRUE(ran.Wait(INFINITE));
    EXPECT_EQ(receiver.ResumeIPStepCommandByName("Test", "Child", IP_CONTINUE_ERROR, 0), 0);
    EXPECT_EQ(receiver.ResumeIPStepCommandByName("Test", "Run", IP_CONTINUE_ERROR, 0), 1);
    sender.join();
    EXPECT_EQ(ok, 0);
    EXPECT_EQ(failures, 1);
}

TEST(BusSteps, ATimeOutEndsTheSendersWaitAndLeavesTheCommandAlone)
{
    CManualTicks ticks;
    T_TEST_BUS test;
    CReceiver receiver(test.client);
    CEvent started;
    CEvent ended;
    std::atomic<CIPCommand*> running{nullptr};
    receiver.On("Run", [&](CIPCommand& command) {
        if (command.GetStep() == 0) {
            running = &command;
            started.SetEvent();
            return command.PauseStep(INFINITE, -1);
        }
        EXPECT_EQ(command.IsOK(), 1);
        ended.SetEvent();
        return 1;
    });
    CIPVariable out;
    int ok = -1;
    CString error;
    std::atomic<bool> done{false};
    std::thread sender([&] {
        ok = test.Send("Run", out, 10000);
        error = CIPClient::GetLastIPError();
        done = true;
    });
    EXPECT_TRUE(started.Wait(INFINITE));
    ticks.Advance(9000);
    EXPECT_FALSE(done);
    EXPECT_TRUE(WaitUntil([&] { return ticks.Advance(500), done.load(); }));
    sender.join();
    EXPECT_EQ(ok, 0);
    EXPECT_EQ(error, L"No answer within 10000 ms.");
    ASSERT_EQ(test.client.IsValidCmd(running), 1); // the operator takes his time
    ticks.Advance(60000);
    EXPECT_EQ(test.client.ContinueIPStepCommand(running, 0, 0, nullptr), 1);
    EXPECT_TRUE(ended.Wait(INFINITE));
}

TEST(BusSteps, WhatACommandKeepsLivesAcrossItsSteps)
{
    struct T_RECORD : IIPLocalVar {
        double scale;
        int index;
    };
    struct T_OTHER : IIPLocalVar {};
    T_TEST_BUS test;
    CReceiver receiver(test.client);
    receiver.On("Run", [&](CIPCommand& command) -> int {
        auto& record = command.LocalVar<T_RECORD>("l");
        EXPECT_EQ(record.index, command.GetStep());
        EXPECT_EQ(record.scale, 0.0);
        ++record.index;
        if (command.GetStep() < 2) {
            return command.EnqueueNextStep(-1, 0);
        }
        command.LocalVar<T_OTHER>("l");
        return 1;
    });
    CIPVariable out;
    EXPECT_EQ(test.Send("Run", out), 0);
    EXPECT_EQ(CIPClient::GetLastIPError(), L"CIPCommand::LocalVar: Local Variable(l) Type Mismatch...");
}

TEST(BusSteps, AReceiverRunsOneHandlerAtATimeAndReceiversRunBesideEachOther)
{
    std::atomic<int> inside{0};
    std::atomic<int> most{0};
    CEvent met;
    T_TEST_BUS test;
    CReceiver first(test.client, "First");
    CReceiver second(test.client, "Second");
    const TestHandler count = [&](CIPCommand& command) {
        most = std::max(most.load(), ++inside);
        std::this_thread::yield();
        --inside;
        return command.GetStep() < 3 ? command.EnqueueNextStep(-1, 0) : 1;
    };
    first.On("Run", count);
    std::vector<std::thread> senders;
    for (int i = 0; i < 8; ++i) {
        senders.emplace_back([&] {
            CIPVariable out;
            for (int k = 0; k < 50; ++k) {
                EXPECT_EQ(test.Send("Run", out, INFINITE, "First"), 1);
            }
        });
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
    EXPECT_EQ(most, 1);

    first.On("Run", [&](CIPCommand&) { return met.Wait(INFINITE) ? 1 : 0; });
    second.On("Run", [&](CIPCommand&) { return met.SetEvent(); });
    ASSERT_EQ(test.Post("Run", "First"), 1);
    CIPVariable out;
    EXPECT_EQ(test.Send("Run", out, INFINITE, "Second"), 1); // while the first waits inside its handler
}

TEST(BusSteps, ASendThatWouldWaitForItsOwnSenderFailsAtOnce)
{
    T_TEST_BUS test;
    CReceiver receiver(test.client);
    receiver.On("Run", [&](CIPCommand&) {
        CIPVariable out;
        EXPECT_EQ(receiver.SendIPCommand("Test", "Child", CIPVariable(), out, INFINITE), 0);
        EXPECT_NE(CIPClient::GetLastIPError().find(L"its own sender"), CString::npos);
        return 1;
    });
    CIPVariable out;
    EXPECT_EQ(test.Send("Run", out), 1);
}

} // namespace
} // namespace alidade
