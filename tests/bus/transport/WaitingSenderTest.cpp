#include "tests/bus/engine/Receiver.h"
#include "tests/bus/transport/TestBus.h"

namespace alidade {
namespace {

/// A request whose sender brings the reply itself, on a thread of its own.
class CWaitingSender {
public:
    CWaitingSender(IIPTransport& transport, T_IP_REQUEST request)
        : m_answer(transport, Mark(std::move(request))),
          m_thread([&transport, this] { transport.ServeReply(m_answer.number); })
    {
    }
    ~CWaitingSender() { Join(); }

    /// Once ServeReply has returned.
    const CAnswer& Join()
    {
        if (m_thread.joinable()) {
            m_thread.join();
        }
        return m_answer;
    }
    std::uint64_t GetNumber() const { return m_answer.number; }

private:
    static T_IP_REQUEST Mark(T_IP_REQUEST request)
    {
        request.senderWaits = true;
        return request;
    }
    CAnswer m_answer;
    std::thread m_thread;
};

class WaitingSender : public testing::Test {
protected:
    CTestBus m_bus;
    CFakeHost m_serving, m_asking;
};

TEST_F(WaitingSender, BringsResultsAndFailuresItself)
{
    bool free = false;
    m_serving.Serve("A", "G", "N", [&](T_IP_REQUEST&& request, IP_REPLY_HANDLER reply) {
        free = request.threadIsFree;
        CFakeHost::Echo(std::move(request), std::move(reply));
    });
    const auto server = m_bus.Join(m_serving);
    const auto client = m_bus.JoinAndFind(m_asking);
    for (int i = 0; i < 100; ++i) {
        T_IP_REQUEST request = MakeRequest("A", "G", "N");
        request.senderWaits = true;
        request.parameter.SetChildItem("i", i);
        request.parameter.SetChildItem("data", nullptr, i == 50 ? 5u << 20 : 10u, 0u);
        CAnswer answer(*client, std::move(request));
        ASSERT_TRUE(answer.sent);
        client->ServeReply(answer.number);
        ASSERT_EQ(answer.Count(), 1);
        EXPECT_TRUE(answer.Get().ok);
        EXPECT_EQ(answer.Get().result("i", -1), i);
    }
    EXPECT_TRUE(free);
    T_IP_REQUEST unknown = MakeRequest("B", "G", "N");
    unknown.senderWaits = true;
    EXPECT_FALSE(CAnswer(*client, std::move(unknown)).sent);
}

TEST_F(WaitingSender, ComesAfterWhatWasPostedBefore)
{
    std::atomic<int> posted{0};
    m_serving.Serve("A", "G", "Post", [&](T_IP_REQUEST&&, IP_REPLY_HANDLER) { ++posted; });
    m_serving.Serve("A", "G", "Count", [&](T_IP_REQUEST&&, IP_REPLY_HANDLER reply) {
        T_IP_REPLY answer;
        answer.ok = true;
        answer.result.SetChildItem("n", posted.load());
        reply(std::move(answer));
    });
    const auto server = m_bus.Join(m_serving);
    const auto client = m_bus.JoinAndFind(m_asking, 2);
    for (int i = 0; i < 200; ++i) {
        T_IP_REQUEST post = MakeRequest("A", "G", "Post");
        post.wantsReply = false;
        post.parameter.SetChildItem("data", nullptr, 50000u, 0u);
        client->Send(std::move(post), {});
        CWaitingSender sender(*client, MakeRequest("A", "G", "Count"));
        ASSERT_EQ(sender.Join().Get().result("n", -1), i + 1);
    }
}

TEST_F(WaitingSender, ReturnsWhenItIsAbandonedAndAbortsOnlyWhenAskedTo)
{
    m_serving.Serve("A", "G", "Hold", m_serving.Hold());
    m_serving.Serve("A", "G", "Echo", CFakeHost::Echo);
    const auto server = m_bus.Join(m_serving);
    const auto client = m_bus.JoinAndFind(m_asking, 2);
    for (const bool asked : {false, true}) {
        const std::size_t before = m_serving.CountHeld();
        T_IP_REQUEST request = MakeRequest("A", "G", "Hold");
        request.abortWithSender = asked;
        CWaitingSender sender(*client, std::move(request));
        ASSERT_TRUE(WaitUntil([&] { return m_serving.CountHeld() > before; }));
        client->Abandon(sender.GetNumber());
        EXPECT_EQ(sender.Join().Count(), 0);
        CWaitingSender after(*client, MakeRequest("A", "G", "Echo"));
        EXPECT_TRUE(after.Join().Get().ok);
    }
    EXPECT_TRUE(WaitUntil([&] { return m_serving.CountAborted() == 1; }));
}

TEST_F(WaitingSender, AbandonedBeforeItArrivesIsAborted)
{
    m_serving.Serve("A", "G", "Hold", m_serving.Hold());
    const auto server = m_bus.Join(m_serving);
    const auto client = m_bus.JoinAndFind(m_asking);
    for (int i = 0; i < 100; ++i) {
        T_IP_REQUEST request = MakeRequest("A", "G", "Hold");
        request.senderWaits = true;
        request.abortWithSender = true;
        const CAnswer answer(*client, std::move(request));
        client->Abandon(answer.number);
        client->ServeReply(answer.number);
        EXPECT_EQ(answer.Count(), 0);
    }
    EXPECT_TRUE(WaitUntil([&] { return m_serving.CountHeld() == 100 && m_serving.CountAborted() == 100; }));
}

TEST_F(WaitingSender, GivesItsConnectionBackWhenItsRequestCannotTravel)
{
    std::atomic<bool> free{false};
    m_serving.Serve("A", "G", "N", [&](T_IP_REQUEST&& request, IP_REPLY_HANDLER reply) {
        free = request.threadIsFree;
        CFakeHost::Echo(std::move(request), std::move(reply));
    });
    const auto server = m_bus.Join(m_serving);
    const auto bus = std::make_shared<CIPBus>();
    CIPClient client(nullptr, nullptr, "", bus);
    CString error;
    ASSERT_EQ(bus->Join(m_bus.GetAddress().c_str(), error), 1);
    ASSERT_TRUE(WaitUntil([&] { return !client.ListIPCommands().empty(); }));
    CIPVariable deep;
    CIPVariable* node = &deep;
    for (int depth = 0; depth < 100; ++depth) {
        node = &(*node)("n");
    }
    for (int i = 0; i < 20; ++i) { // more than there are
        EXPECT_EQ(client.SendIPCommand("", "A", "G", "N", deep, INFINITE, nullptr), 0);
        EXPECT_NE(CIPClient::GetLastIPError().find(L"nested deeper"), CString::npos);
    }
    EXPECT_EQ(client.SendIPCommand("", "A", "G", "N", CIPVariable(), INFINITE, nullptr), 1);
    EXPECT_TRUE(free);
    EXPECT_EQ(client.PostIPCommand("", "A", "G", "N", deep, nullptr), 0);
    EXPECT_NE(CIPClient::GetLastIPError().find(L"nested deeper"), CString::npos);

    // What a receiver without a unit name sends to its own unit is for nobody else.
    CReceiver nameless(client, "");
    CIPVariable out;
    EXPECT_EQ(nameless.SendIPCommand("G", "N", CIPVariable(), out, INFINITE), 0);
}

TEST_F(WaitingSender, ReturnsWithAFailureWhenEitherSideLeaves)
{
    m_serving.Serve("A", "G", "Hold", m_serving.Hold());
    auto server = m_bus.Join(m_serving);
    auto client = m_bus.JoinAndFind(m_asking);
    for (const bool own : {false, true}) {
        std::vector<std::unique_ptr<CWaitingSender>> senders;
        for (int i = 0; i < 20; ++i) { // more than have a connection of their own
            senders.push_back(std::make_unique<CWaitingSender>(*client, MakeRequest("A", "G", "Hold")));
        }
        ASSERT_TRUE(WaitUntil([&] { return m_serving.CountHeld() == (own ? 40u : 20u); }));
        if (own) {
            client->Close();
        } else {
            server.reset();
        }
        for (const auto& sender : senders) {
            const CAnswer& answer = sender->Join();
            ASSERT_TRUE(answer.Wait());
            EXPECT_FALSE(answer.Get().ok);
        }
        if (!own) {
            server = m_bus.Join(m_serving);
            ASSERT_TRUE(WaitUntil([&] { return !client->ListCommands().empty(); }));
        }
    }
}

} // namespace
} // namespace alidade
