// Many commands in flight at once, with failures of every kind on the way. ALIDADE_SOAK_SECONDS sets how
// long.
#include "foundation/bus/engine/Engine.h"
#include "tests/bus/engine/Receiver.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <unistd.h>

namespace alidade {
namespace {

constexpr int kSenders = 16;
constexpr int kInFlightEach = 64; // about a thousand in all

std::int64_t Seconds()
{
    const char* text = std::getenv("ALIDADE_SOAK_SECONDS");
    return text != nullptr ? std::max(1, std::atoi(text)) : 5;
}

double ResidentMegabytes()
{
    std::ifstream file("/proc/self/statm");
    double total = 0.0;
    double resident = 0.0;
    file >> total >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

/// Counts what lives: every command carries one through its steps.
struct T_TOKEN : IIPLocalVar {
    T_TOKEN() { ++s_living; }
    ~T_TOKEN() override { --s_living; }
    static std::atomic<int> s_living;
};
std::atomic<int> T_TOKEN::s_living{0};

TEST(BusSoak, NothingIsLostAndNothingStays)
{
    T_TEST_BUS test;
    std::vector<std::unique_ptr<CReceiver>> receivers;
    for (int i = 0; i < 4; ++i) {
        auto& receiver = *receivers.emplace_back(
            std::make_unique<CReceiver>(test.client, ("Unit" + std::to_string(i)).c_str()));
        receiver.On("Child", [](CIPCommand& command) {
            command.LocalVar<T_TOKEN>("token");
            return command.GetStep() == 0 ? command.EnqueueNextStep(-1, command.GetParameter()("Delay", 0))
                                          : 1;
        });
        receiver.On("Run", [&receiver](CIPCommand& command) -> int {
            command.LocalVar<T_TOKEN>("token");
            if (!command.IsOK() || !command.IsChildOK()) {
                return 0;
            }
            switch (command.GetParameter()("Kind", 0)) {
            case 0:
                return 1;
            case 1:
                return command.GetStep() < 10 ? command.EnqueueNextStep(-1, 0) : 1;
            case 2:
                return command.GetStep() < 2
                           ? receiver.SendIPStepCommand("Test", "Child", command.GetParameter(), 5)
                           : 1;
            case 3:
                return command.GetStep() == 0 ? command.PauseStep(20, -1) : 1;
            default:
                return 0;
            }
        });
    }

    std::atomic<std::int64_t> asked{0};
    std::atomic<std::int64_t> answered{0};
    std::atomic<std::int64_t> failed{0};
    const std::int64_t end = GetTickNanoseconds() + Seconds() * 1'000'000'000;
    const auto send = [&](unsigned seed) {
        std::mt19937 random(seed);
        CIPEngine& engine = *test.bus->GetEngine();
        std::atomic<int> inFlight{0};
        while (GetTickNanoseconds() < end) {
            T_IP_REQUEST request;
            request.unit = "Unit" + std::to_string(random() % 4);
            request.group = "Test";
            request.name = "Run";
            request.parameter.SetChildItem("Kind", static_cast<int>(random() % 5));
            request.parameter.SetChildItem("Delay", static_cast<int>(random() % 10));
            if (random() % 8 == 0) { // one that is waited for, with a time that may be too short
                ++asked;
                CIPVariable out;
                const int ok =
                    test.client.SendIPCommand(nullptr, request.unit.c_str(), "Test", "Run", request.parameter,
                                              out, random() % 8, nullptr, random() % 2);
                ++answered;
                failed += ok == 0 ? 1 : 0;
                continue;
            }
            ++asked;
            ++inFlight;
            const std::uint64_t number = engine.StartRequest(std::move(request), [&](T_IP_REPLY&& reply) {
                failed += reply.ok ? 0 : 1;
                ++answered;
                --inFlight;
            });
            if (random() % 4 == 0) {
                engine.AbortRequest(number - random() % 3);
            }
            while (inFlight >= kInFlightEach && GetTickNanoseconds() < end + 20'000'000'000) {
                std::this_thread::yield();
            }
        }
        EXPECT_TRUE(WaitUntil([&] { return inFlight == 0; }));
    };
    std::vector<std::thread> senders;
    for (unsigned i = 0; i < kSenders; ++i) {
        senders.emplace_back(send, i + 1);
    }
    // What stays from the start is there after a third of the time, if the senders had their turn.
    while (GetTickNanoseconds() < end - Seconds() * 666'000'000 ||
           (answered < 10'000 && GetTickNanoseconds() < end)) {
        std::this_thread::yield();
    }
    const double before = ResidentMegabytes();
    for (std::thread& sender : senders) {
        sender.join();
    }
    const double after = ResidentMegabytes();
    EXPECT_TRUE(WaitUntil([&] { return T_TOKEN::s_living == 0; })); // those given up run out
    EXPECT_EQ(asked, answered);
    EXPECT_GT(failed, 0);
    EXPECT_LT(failed, answered);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // these hold freed memory back
    EXPECT_LT(after - before, 16.0);
#endif
    std::printf("%lld commands, %lld failed as asked for, memory %.1f -> %.1f MB\n",
                static_cast<long long>(answered), static_cast<long long>(failed), before, after);
}

} // namespace
} // namespace alidade
