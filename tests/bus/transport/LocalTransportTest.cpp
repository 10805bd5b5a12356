#include "tests/bus/transport/TestBus.h"

#include "foundation/bus/IPBus.h"
#include "foundation/bus/transport/LocalTransport.h"
#include "foundation/platform/Event.h"

#include <grp.h>
#include <sys/stat.h>

namespace alidade {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

/// The socket of the only process on the bus.
fs::path FindSocket(const CTestBus& bus)
{
    for (const auto& entry : fs::directory_iterator(CLocalTransport::GetFolder(bus.GetName()))) {
        if (entry.path().extension() == ".sock") {
            return entry.path();
        }
    }
    return {};
}

std::string Framed(const std::string& body)
{
    const auto size = static_cast<std::uint32_t>(body.size());
    std::string frame;
    for (const int shift : {24, 16, 8, 0}) {
        frame.push_back(static_cast<char>(size >> shift));
    }
    return frame + body;
}

// [0, 1, "intruder", "an intruder", 1, [], false]
const std::string kHello = "\x87\x00\x01\x68intruder\x6b"s + "an intruder\x01\x80\xf4"s;

TEST(LocalTransport, JoinOnlyFailsWhenNobodyIsThere)
{
    const CTestBus bus;
    CFakeHost host;
    CString error;
    EXPECT_EQ(JoinTransport(bus.GetAddress().c_str(), true, host, error), nullptr);
    EXPECT_NE(error.find(L"Nobody is on the bus"), CString::npos);
    CFakeHost other;
    const auto there = bus.Join(other);
    EXPECT_NE(bus.Join(host, true), nullptr);
}

TEST(LocalTransport, MalformedPeersAreRefusedAndTheBusGoesOn)
{
    struct T_CASE {
        const char* what;
        std::string bytes;
        bool closes; // the intruder, after them
        const wchar_t* line;
        T_LOCAL_LIMITS limits = {};
    };
    T_LOCAL_LIMITS soonSilent, soonLate;
    soonSilent.helloTime = 300;
    soonLate.frameTime = 100;
    const std::string deep(10000, '\x81');
    const T_CASE cases[] = {
        {"no CBOR", Framed("GET / HTTP/1.1\r\n\r\n"), false, L"malformed"},
        {"4 GiB", "\xff\xff\xff\xff", false, L"a message of 4294967295 bytes"},
        {"nothing in it", Framed(""), false, L"a message of 0 bytes"},
        {"depth 10000", Framed(deep), false, L"malformed"},
        {"text of 4 GiB", Framed("\x87\x00\x01\x7a\xff\xff\xff\xff"s), false, L"malformed"},
        {"name is no UTF-8", Framed("\x87\x00\x01\x62\xc3\x28\x61x\x01\x80\xf4"s), false, L"malformed"},
        {"id is a number", Framed("\x87\x00\x01\x05\x61x\x01\x80\xf4"s), false, L"malformed"},
        {"no HELLO", Framed("\x82\x04\x01"), false, L"does not say who it is"},
        {"ends within", Framed(kHello).substr(0, 9), true, L"in the middle of a message"},
        {"never ends", Framed(kHello).substr(0, 9), false, L"took too long", soonLate},
        {"silent", "", false, L"did not say who it is", soonSilent},
        {"wrong request", Framed(kHello) + Framed("\x85\x02\x07\x01\x01\x01"), false, L"malformed"},
    };
    for (const T_CASE& c : cases) {
        SCOPED_TRACE(c.what);
        const CTestBus bus;
        CFakeHost host, asking;
        host.Serve("A", "G", "N", CFakeHost::Echo);
        CString error;
        const auto server = CLocalTransport::Join(bus.GetName(), false, host, error, c.limits);
        ASSERT_NE(server, nullptr);
        const fs::path path = FindSocket(bus);
        const auto client = bus.JoinAndFind(asking);
        const int before = host.CountLines(c.line);
        CLocalSocket intruder = CLocalSocket::Connect(path, error);
        ASSERT_TRUE(intruder.IsOpen());
        const T_SOCKET_PART part{c.bytes.data(), c.bytes.size()};
        bool failed = false;
        EXPECT_EQ(intruder.Send({&part, 1}, failed), c.bytes.size());
        if (c.closes) {
            intruder = CLocalSocket();
        }
        EXPECT_TRUE(WaitUntil([&] { return host.CountLines(c.line) > before; }));
        CAnswer answer(*client, MakeRequest("A", "G", "N"));
        ASSERT_TRUE(answer.Wait());
        EXPECT_TRUE(answer.Get().ok);
        if (intruder.IsOpen() && c.what != std::string("wrong request")) {
            char bytes[4096];
            std::ptrdiff_t got = 0;
            while ((got = intruder.Receive(bytes, sizeof(bytes), 60000)) > 0) {
            }
            EXPECT_EQ(got, 0) << "the connection is still open";
        }
    }
}

TEST(LocalTransport, MalformedRequestIsAnsweredAndThePeerKept)
{
    const CTestBus bus;
    CFakeHost host;
    host.Serve("A", "G", "N", CFakeHost::Echo);
    const auto server = bus.Join(host);
    CString error;
    CLocalSocket client = CLocalSocket::Connect(FindSocket(bus), error);
    ASSERT_TRUE(client.IsOpen());
    // A request whose unit is a number, then one as it should be.
    const std::string bytes = Framed(kHello) + Framed("\x89\x02\x07\x60\x05\x61G\x61N\xf6\x01\xf6"s) +
                              Framed("\x89\x02\x08\x60\x60\x61G\x61N\xf6\x01\xf6"s);
    const T_SOCKET_PART part{bytes.data(), bytes.size()};
    bool failed = false;
    ASSERT_EQ(client.Send({&part, 1}, failed), bytes.size());
    std::string all;
    const auto has = [&](const std::string& text) { return all.find(text) != all.npos; };
    char got[4096];
    for (std::ptrdiff_t size;
         !has("\x03\x08\xf5"s) && (size = client.Receive(got, sizeof(got), 60000)) > 0;) {
        all.append(got, static_cast<std::size_t>(size));
    }
    EXPECT_TRUE(has("\x03\x07\xf4"s)) << "the wrong request has no failure";
    EXPECT_TRUE(has("\x03\x08\xf5"s)) << "the right request has no success";
}

TEST(LocalTransport, StuckPeerIsCutOffAloneAndFoundAgain)
{
    const CTestBus bus;
    CFakeHost stuck, sound, asking;
    CEvent goOn(false, true);
    stuck.Serve("Stuck", "G", "N", [&](T_IP_REQUEST&&, IP_REPLY_HANDLER) { goOn.Wait(120000); });
    stuck.Serve("Stuck", "G", "Echo", CFakeHost::Echo);
    sound.Serve("Sound", "G", "N", CFakeHost::Echo);
    const auto a = bus.Join(stuck);
    const auto b = bus.Join(sound);
    T_LOCAL_LIMITS limits;
    limits.queueBytes = 4 << 20;
    CString error;
    const auto client = CLocalTransport::Join(bus.GetName(), false, asking, error, limits);
    ASSERT_NE(client, nullptr);
    ASSERT_TRUE(WaitUntil([&] { return client->ListCommands().size() == 3; }));
    std::vector<CAnswer> answers;
    for (int i = 0; i < 10; ++i) {
        T_IP_REQUEST request = MakeRequest("Stuck", "G", "N");
        request.parameter.SetChildItem("data", nullptr, 1u << 20, 0u);
        answers.emplace_back(*client, std::move(request));
        CAnswer answer(*client, MakeRequest("Sound", "G", "N"));
        ASSERT_TRUE(answer.Wait());
        EXPECT_TRUE(answer.Get().ok);
    }
    EXPECT_TRUE(answers[0].Wait());
    EXPECT_FALSE(answers[0].Get().ok);
    EXPECT_TRUE(WaitUntil([&] { return asking.CountLines(L"it takes too little") > 0; }));
    goOn.SetEvent();
    EXPECT_TRUE(WaitUntil([&] { return CAnswer(*client, MakeRequest("Stuck", "G", "Echo")).sent; }));
}

TEST(LocalTransport, ProcessOfAnotherUserIsRefused)
{
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can be another user";
    }
    const CTestBus bus;
    int status = -1;
    CFakeHost host;
    const auto server = bus.Join(host);
    const fs::path path = FindSocket(bus);
    // Opened to everybody, so that only the look at the peer is left.
    for (fs::path at = path; at != fs::temp_directory_path(); at = at.parent_path()) {
        ::chmod(at.c_str(), 0777);
    }
    const pid_t child = ::fork();
    if (child == 0) {
        bool refused = false;
        if (::setgroups(0, nullptr) == 0 && ::setgid(65534) == 0 && ::setuid(65534) == 0) {
            CString error;
            CLocalSocket socket = CLocalSocket::Connect(path, error);
            char byte = 0;
            refused = socket.IsOpen() && socket.Receive(&byte, 1, 20000) == 0;
        }
        ::_exit(refused ? 0 : 1);
    }
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(host.CountLines(L"another user, number 65534"), 1);
}

TEST(LocalTransport, FolderOfAnotherUserOrALinkIsNotUsed)
{
    const CTestBus bus;
    CFakeHost host;
    CString error;
    const fs::path folder = CLocalTransport::GetFolder(bus.GetName());
    fs::create_directories(folder.parent_path());
    fs::create_directory(folder.parent_path() / "elsewhere");
    fs::create_directory_symlink(folder.parent_path() / "elsewhere", folder);
    EXPECT_EQ(JoinTransport(bus.GetAddress().c_str(), false, host, error), nullptr);
    EXPECT_NE(error.find(L"not a folder"), CString::npos);
    if (::geteuid() == 0) {
        fs::remove(folder);
        fs::create_directory(folder);
        ASSERT_EQ(::chown(folder.c_str(), 65534, 65534), 0);
        EXPECT_EQ(JoinTransport(bus.GetAddress().c_str(), false, host, error), nullptr);
        EXPECT_NE(error.find(L"belongs to another user"), CString::npos);
    }
}

TEST(LocalTransport, AddressesThatAreNoneAreRefused)
{
    CFakeHost host;
    CIPBus whole;
    for (const char* address : {"", "local", "local:", "local:../x", "local:.hidden", "local:a b",
                                "local:abcdefghijklmnopqrstuvwxyz0123456", "http://host", "nats://"}) {
        CString error, wholeError;
        EXPECT_EQ(JoinTransport(address, false, host, error), nullptr) << address;
        EXPECT_FALSE(error.empty()) << address;
        EXPECT_EQ(whole.Join(address, wholeError), 0) << address;
        EXPECT_FALSE(wholeError.empty()) << address;
    }
}

} // namespace
} // namespace alidade
