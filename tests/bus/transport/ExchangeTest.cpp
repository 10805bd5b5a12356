#include "tests/bus/transport/TestBus.h"

#include "foundation/platform/Event.h"

#include <csignal>

namespace alidade {
namespace {

/// What holds for every kind of transport.
class TransportExchange : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override
    {
        ALIDADE_NEEDS_NATS_SERVER(GetParam());
        m_bus = std::make_unique<CTestBus>(GetParam());
    }
    std::unique_ptr<CTestBus> m_bus;
};

TEST_P(TransportExchange, RequestComesWholeAndResultReturns)
{
    CFakeHost serving, asking;
    T_IP_REQUEST seen;
    serving.Serve("Cämera 1/a.b*>", "Image", "Grab", [&](T_IP_REQUEST&& request, IP_REPLY_HANDLER reply) {
        seen = request;
        CFakeHost::Echo(std::move(request), std::move(reply));
    });
    const auto server = m_bus->Join(serving);
    const auto client = m_bus->JoinAndFind(asking);

    T_IP_REQUEST request = MakeRequest("Cämera 1/a.b*>", "Image", "Grab");
    request.timeout = 1234;
    request.parameter.SetChildItem("dX", 2.5);
    request.parameter.SetChildItem("text", "a\nb");
    request.parameter("deep")("deeper").SetChildItem("raw", "\0\1\2", 3u, 0u);
    const CIPVariable sent = request.parameter;
    CAnswer answer(*client, std::move(request));
    ASSERT_TRUE(answer.sent);
    ASSERT_TRUE(answer.Wait());
    EXPECT_TRUE(answer.Get().ok);
    EXPECT_TRUE(answer.Get().result == sent);
    EXPECT_EQ(seen.unit, "Cämera 1/a.b*>");
    EXPECT_EQ(seen.timeout, 1234u);
    EXPECT_FALSE(seen.abortWithSender);
    EXPECT_TRUE(seen.wantsReply);
}

TEST_P(TransportExchange, FailureReturnsWithItsSentence)
{
    CFakeHost serving, asking;
    serving.Serve("A", "G", "Fail", [](T_IP_REQUEST&&, IP_REPLY_HANDLER reply) {
        T_IP_REPLY answer;
        answer.error = L"The stage is at its limit, 25 \u00b5m too far";
        answer.result.SetChildItem("limit", 25);
        reply(std::move(answer));
    });
    const auto server = m_bus->Join(serving);
    const auto client = m_bus->JoinAndFind(asking);
    CAnswer answer(*client, MakeRequest("A", "G", "Fail"));
    ASSERT_TRUE(answer.Wait());
    EXPECT_FALSE(answer.Get().ok);
    EXPECT_EQ(answer.Get().error, L"The stage is at its limit, 25 \u00b5m too far");
    EXPECT_EQ(answer.Get().result("limit", 0), 25);
}

TEST_P(TransportExchange, OnlyWhatIsServedIsFound)
{
    CFakeHost serving, asking;
    serving.Serve("A", "G", "N", CFakeHost::Echo, "Motion");
    const auto server = m_bus->Join(serving);
    const auto client = m_bus->JoinAndFind(asking);
    struct T_CASE {
        const char* task;
        const char* unit;
        const char* group;
        const char* name;
        bool found;
    };
    for (const T_CASE& c : {T_CASE{"", "A", "G", "N", true},
                            {"", "", "G", "N", true},
                            {"Motion", "", "G", "N", true},
                            {"Other", "", "G", "N", false},
                            {"", "B", "G", "N", false},
                            {"", "A", "N", "G", false},
                            {"", "A", "G", "", false}}) {
        T_IP_REQUEST request = MakeRequest(c.unit, c.group, c.name);
        request.task = c.task;
        EXPECT_EQ(CAnswer(*client, std::move(request)).sent, c.found)
            << c.task << c.unit << c.group << c.name;
    }
    ASSERT_EQ(client->ListCommands().size(), 1u);
    EXPECT_EQ(client->ListCommands()[0].task, "Motion");
}

TEST_P(TransportExchange, WhatIsServedLaterIsFoundAndWhatLeavesIsNot)
{
    CFakeHost first, second;
    auto a = m_bus->Join(first);
    auto b = m_bus->Join(second);
    second.Serve("B", "G", "Later", CFakeHost::Echo);
    b->OnOwnCommandsChanged();
    EXPECT_TRUE(WaitUntil([&] { return CAnswer(*a, MakeRequest("B", "G", "Later")).sent; }));
    b.reset();
    EXPECT_TRUE(WaitUntil([&] { return !CAnswer(*a, MakeRequest("B", "G", "Later")).sent; }));
}

TEST_P(TransportExchange, LargeImagePassesWholeWhileSmallCommandsGoOn)
{
    CFakeHost serving, asking;
    serving.Serve("A", "G", "N", CFakeHost::Echo);
    const auto server = m_bus->Join(serving);
    const auto client = m_bus->JoinAndFind(asking);
    constexpr unsigned kBytes = 75u << 20;
    auto image = std::make_shared<std::vector<std::uint8_t>>(kBytes);
    for (unsigned i = 0; i < kBytes; i += 997) {
        (*image)[i] = static_cast<std::uint8_t>(i * 31 + 7);
    }
    T_IP_REQUEST request = MakeRequest("A", "G", "N");
    request.parameter.SetChildItemEmpty("data", IPVAR_RAW)
        .SetShared(std::shared_ptr<const void>(image, image->data()), kBytes);
    CAnswer large(*client, std::move(request));
    CAnswer small(*client, MakeRequest("A", "G", "N"));
    ASSERT_TRUE(small.Wait());
    ASSERT_TRUE(large.Wait());
    ASSERT_TRUE(large.Get().ok) << std::string(large.Get().error.begin(), large.Get().error.end());
    const CIPVariable& back = large.Get().result("data");
    ASSERT_EQ(back.GetSize(), kBytes);
    EXPECT_EQ(std::memcmp(back.GetRawData(), image->data(), kBytes), 0);
}

TEST_P(TransportExchange, CommandIsAbortedWithItsSenderOnlyWhenAskedTo)
{
    for (const bool asked : {true, false}) {
        CFakeHost serving, asking;
        serving.Serve("A", "G", "Hold", serving.Hold());
        serving.Serve("A", "G", "Echo", CFakeHost::Echo);
        const auto server = m_bus->Join(serving);
        auto client = m_bus->JoinAndFind(asking, 2);
        const auto start = [&] {
            T_IP_REQUEST request = MakeRequest("A", "G", "Hold");
            request.abortWithSender = asked;
            return CAnswer(*client, std::move(request));
        };
        const CAnswer givenUp = start();
        client->Abandon(givenUp.number);
        const CAnswer left = start();
        CAnswer echo(*client, MakeRequest("A", "G", "Echo"));
        ASSERT_TRUE(echo.Wait());
        EXPECT_EQ(serving.CountHeld(), 2u);
        EXPECT_EQ(serving.CountAborted(), asked ? 1u : 0u);
        client.reset();
        EXPECT_EQ(givenUp.Count(), 0);
        EXPECT_EQ(left.Count(), 1);
        EXPECT_FALSE(left.Get().ok);
        ASSERT_TRUE(WaitUntil([&] { return server->ListCommands().empty(); }));
        EXPECT_TRUE(WaitUntil([&] { return serving.CountAborted() == (asked ? 2u : 0u); }));
    }
}

TEST_P(TransportExchange, DeathOfOneProcessFailsItsCommandsAndTheOthersGoOn)
{
    const pid_t victim = ::fork();
    if (victim == 0) {
        CFakeHost host;
        host.Serve("Victim", "G", "Hold", host.Hold());
        CString error;
        std::unique_ptr<IIPTransport> transport;
        while ((transport = JoinTransport(m_bus->GetAddress().c_str(), false, host, error)) == nullptr) {
        }
        for (;;) {
            ::pause();
        }
    }
    CFakeHost first, second;
    second.Serve("B", "G", "N", CFakeHost::Echo);
    auto a = m_bus->Join(first);
    auto b = m_bus->Join(second);
    ASSERT_TRUE(WaitUntil([&] { return a->ListCommands().size() == 2; }));
    CAnswer lost(*a, MakeRequest("Victim", "G", "Hold"));
    ASSERT_TRUE(lost.sent);
    ::kill(victim, SIGKILL);
    ::waitpid(victim, nullptr, 0);
    // A server of the network tells when something is sent, once it has noticed itself.
    ASSERT_TRUE(WaitUntil([&] {
        const CAnswer another(*a, MakeRequest("Victim", "G", "Hold"));
        return lost.Count() > 0;
    }));
    EXPECT_FALSE(lost.Get().ok);
    EXPECT_NE(lost.Get().error.find(L"process " + std::to_wstring(victim)), CString::npos);
    EXPECT_TRUE(WaitUntil([&] { return a->ListCommands().size() == 1; }));
    CAnswer alive(*a, MakeRequest("B", "G", "N"));
    ASSERT_TRUE(alive.Wait());
    CFakeHost third;
    const auto c = m_bus->JoinAndFind(third);
    EXPECT_EQ(c->ListCommands().size(), 1u);
}

TEST_P(TransportExchange, ReplyThatComesAfterTheProcessHasLeftIsDropped)
{
    CFakeHost serving, asking;
    IP_REPLY_HANDLER late;
    CEvent came;
    serving.Serve("A", "G", "N", [&](T_IP_REQUEST&&, IP_REPLY_HANDLER reply) {
        late = std::move(reply);
        came.SetEvent();
    });
    auto server = m_bus->Join(serving);
    auto client = m_bus->JoinAndFind(asking);
    const CAnswer answer(*client, MakeRequest("A", "G", "N"));
    ASSERT_TRUE(came.Wait(60000));
    server.reset();
    ASSERT_TRUE(answer.Wait());
    client.reset();
    late({});
    EXPECT_EQ(answer.Count(), 1);
}

TEST_P(TransportExchange, PostThatCannotTravelFailsAtOnceWithALine)
{
    CFakeHost serving, asking;
    serving.Serve("A", "G", "N", CFakeHost::Echo);
    const auto server = m_bus->Join(serving);
    const auto client = m_bus->JoinAndFind(asking);
    T_IP_REQUEST post = MakeRequest("A", "G", "N");
    post.wantsReply = false;
    CIPVariable* node = &post.parameter;
    for (int depth = 0; depth < 100; ++depth) {
        node = &(*node)("n");
    }
    EXPECT_EQ(client->Send(std::move(post), {}), 0u);
    EXPECT_EQ(asking.CountLines(L"cannot be sent"), 1);
}

INSTANTIATE_TEST_SUITE_P(Kinds, TransportExchange, testing::Values("local", "nats"),
                         [](const auto& kind) { return std::string(kind.param); });

} // namespace
} // namespace alidade
