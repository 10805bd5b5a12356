#include "tests/bus/engine/Receiver.h"

#include <gtest/gtest.h>
#include <set>

namespace alidade {
namespace {

/// One command in each of the stages in which it can be met when its receiver or client goes.
struct T_FLIGHT {
    T_TEST_BUS test;
    std::unique_ptr<CReceiver> receiver = std::make_unique<CReceiver>(test.client);
    CEvent paused;
    CEvent running{false, true};
    CEvent release{false, true};
    std::atomic<int> calls{0};
    int okPaused = -1;
    int okRunning = -1;
    std::atomic<int> okQueued{-1};
    std::vector<std::thread> senders;

    T_FLIGHT()
    {
        receiver->On("Other", [this](CIPCommand& command) {
            ++calls;
            paused.SetEvent();
            return command.PauseStep(INFINITE, -1);
        });
        receiver->On("Run", [this](CIPCommand& command) {
            ++calls;
            running.SetEvent();
            release.Wait(INFINITE);
            return command.EnqueueNextStep(-1, 0);
        });
        receiver->On("Child", [this](CIPCommand&) { return ++calls; });
        senders.emplace_back([this] {
            CIPVariable out;
            okPaused = test.Send("Other", out, INFINITE);
        });
        paused.Wait(INFINITE);
        senders.emplace_back([this] {
            CIPVariable out;
            okRunning = test.Send("Run", out, INFINITE);
        });
        running.Wait(INFINITE);
        senders.emplace_back([this] {
            CIPVariable out;
            okQueued = test.Send("Child", out, INFINITE);
        });
    }

    void ExpectAllFailed()
    {
        for (std::thread& sender : senders) {
            sender.join();
        }
        EXPECT_EQ(okPaused, 0);
        EXPECT_EQ(okRunning, 0);
        EXPECT_EQ(okQueued, 0);
        EXPECT_EQ(calls, 2); // no handler was called again
    }
};

TEST(BusLifetime, AReceiverThatGoesFailsItsCommands)
{
    T_FLIGHT flight;
    std::thread destroyer([&] { flight.receiver.reset(); });
    // The destructor waits for the handler that runs.
    EXPECT_TRUE(WaitUntil([&] { return flight.okQueued == 0; }));
    flight.release.SetEvent();
    destroyer.join();
    flight.ExpectAllFailed();
}

TEST(BusLifetime, AClientThatShutsDownFailsWhatIsInFlight)
{
    T_FLIGHT flight;
    std::thread closer([&] { flight.test.client.Shutdown(); });
    EXPECT_TRUE(WaitUntil([&] { return flight.okQueued == 0; }));
    flight.release.SetEvent();
    closer.join();
    flight.ExpectAllFailed();
    CIPVariable out;
    EXPECT_EQ(flight.test.Send("Run", out), 0);
    EXPECT_FALSE(CIPClient::GetLastIPError().empty());
    CReceiver late(flight.test.client, "Late");
    EXPECT_EQ(late.GetIPClient(), nullptr);
    EXPECT_EQ(CIPClient::GetLastIPError(), L"The client is shut down.");
}

TEST(BusLifetime, WhatAHandlerWaitsForIsGivenUpWhenItsReceiverGoes)
{
    T_TEST_BUS test;
    CReceiver other(test.client, "Other");
    auto receiver = std::make_unique<CReceiver>(test.client);
    CEvent paused;
    other.On("Run", [&](CIPCommand& command) {
        paused.SetEvent();
        return command.PauseStep(INFINITE, -1);
    });
    int waited[2] = {-1, -1};
    receiver->On("Run", [&](CIPCommand&) {
        for (int& ok : waited) { // the second time when it is going already
            CIPVariable out;
            ok = test.Send("Run", out, INFINITE, "Other");
        }
        return 1;
    });
    int ok = -1;
    std::thread sender([&] {
        CIPVariable out;
        ok = test.Send("Run", out, INFINITE);
    });
    EXPECT_TRUE(paused.Wait(INFINITE));
    receiver.reset();
    sender.join();
    EXPECT_EQ(ok, 0);
    EXPECT_EQ(waited[0], 0);
    EXPECT_EQ(waited[1], 0);
}

TEST(BusLifetime, AReceiverMayGoInItsOwnHandler)
{
    for (const bool throws : {false, true}) {
        T_TEST_BUS test;
        auto receiver = std::make_unique<CReceiver>(test.client);
        receiver->On("Run", [&, throws](CIPCommand& command) {
            receiver.reset();
            if (throws) {
                throw CIPException(L"Here", L"that");
            }
            return command.EnqueueNextStep(-1, 0);
        });
        CIPVariable out;
        EXPECT_EQ(test.Send("Run", out), 0);
    }
}

/// A record that uses the bus when it goes.
struct T_LAST_WORD : IIPLocalVar {
    ~T_LAST_WORD() override
    {
        if (say) {
            say();
        }
    }
    std::function<void()> say;
};

TEST(BusLifetime, ARecordMayUseTheBusWhenItsCommandIsLeftInTheQueue)
{
    T_TEST_BUS test;
    auto receiver = std::make_unique<CReceiver>(test.client);
    CEvent begun, goOn, running, release;
    std::atomic<bool> said{false};
    receiver->On("Other", [&](CIPCommand& command) {
        command.LocalVar<T_LAST_WORD>("l").say = [&] { said = test.client.IsValidCmd(nullptr) == 0; };
        begun.SetEvent();
        goOn.Wait(INFINITE);
        return command.EnqueueNextStep(-1, 0);
    });
    receiver->On("Run", [&](CIPCommand&) {
        running.SetEvent();
        return release.Wait(INFINITE) ? 1 : 0;
    });
    std::atomic<int> ok{-1};
    std::thread sender([&] {
        CIPVariable out;
        ok = test.Send("Other", out, INFINITE);
    });
    EXPECT_TRUE(begun.Wait(INFINITE));
    EXPECT_EQ(test.Post("Run"), 1); // before the second step of the other
    goOn.SetEvent();
    EXPECT_TRUE(running.Wait(INFINITE));
    std::thread destroyer([&] { receiver.reset(); });
    EXPECT_TRUE(WaitUntil([&] { return ok == 0; }));
    release.SetEvent();
    destroyer.join();
    sender.join();
    EXPECT_TRUE(WaitUntil([&] { return said.load(); }));
}

TEST(BusLifetime, ARecordMaySendToItsOwnReceiverAndWait)
{
    T_TEST_BUS test;
    CReceiver receiver(test.client);
    CEvent running, release, said;
    receiver.On("Run", [&](CIPCommand& command) {
        command.LocalVar<T_LAST_WORD>("l").say = [&] {
            CIPVariable out;
            EXPECT_EQ(test.Send("Child", out, INFINITE), 1);
            said.SetEvent();
        };
        running.SetEvent();
        return release.Wait(INFINITE) ? 1 : 0;
    });
    EXPECT_EQ(test.Post("Run"), 1);
    EXPECT_TRUE(running.Wait(INFINITE));
    EXPECT_EQ(test.Post("Other"), 1); // stands in the queue when the first one ends
    release.SetEvent();
    EXPECT_TRUE(said.Wait(INFINITE));
}

TEST(BusLifetime, AnEndedCommandIsNotTakenForANewOne)
{
    T_TEST_BUS test;
    CReceiver receiver(test.client);
    const CIPCommand* first = nullptr;
    std::uint64_t generation = 0;
    std::set<const CIPCommand*> met;
    receiver.On("Run", [&](CIPCommand& command) {
        if (first == nullptr) {
            first = &command;
            generation = command.GetGeneration();
            EXPECT_EQ(test.client.IsValidCmd(first, generation), 1);
        } else {
            met.insert(&command);
        }
        return 1;
    });
    CIPVariable out;
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(test.Send("Run", out), 1);
    }
    EXPECT_FALSE(met.contains(first));
    EXPECT_EQ(test.client.IsValidCmd(first), 0);
    EXPECT_EQ(test.client.IsValidCmd(first, generation), 0);
    EXPECT_EQ(test.client.IsValidCmd(nullptr), 0);
    EXPECT_EQ(test.client.ContinueIPStepCommand(const_cast<CIPCommand*>(first), 0, 0, nullptr), 0);
}

} // namespace
} // namespace alidade
