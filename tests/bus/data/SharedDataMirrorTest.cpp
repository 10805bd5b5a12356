// A block of one machine as a block of another, through a server of the test's own.
#include "foundation/bus/data/IPDataReplica.h"
#include "foundation/bus/data/MirrorWire.h"
#include "foundation/platform/Ticks.h"
#include "tests/bus/data/OwnInstance.h"
#include "tests/bus/transport/NatsServer.h"
#include "tests/support/WaitUntil.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <nats/nats.h>

namespace alidade {
namespace {

class CSharedDataMirror : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (std::string(ALIDADE_NATS_SERVER).empty()) {
            GTEST_SKIP() << "nats-server is not installed";
        }
        m_server = std::make_unique<CNatsServer>();
        m_settings.address = "nats://" + m_server->GetHost();
        m_settings.family = L"Tavro";
        m_settings.blockName = "Machine";
        m_settings.instance = m_here.GetName();
        m_settings.silence = 600000;
        m_farSettings = m_settings;
        m_farSettings.instance += "far"; // stands for the other machine
    }

    void Create(int count)
    {
        std::vector<T_IP_DATA_ITEM> items = MakeNumbers(count);
        items.push_back({"i", IPDATA_INT, 0});
        items.push_back({"text", IPDATA_STRING, 20});
        CString text;
        ASSERT_EQ(m_writer.Create("Machine", items, text), 1) << ::testing::PrintToString(text);
    }
    void StartMirror()
    {
        CString text;
        ASSERT_EQ(m_mirror.Start(m_settings, text), 1) << ::testing::PrintToString(text);
    }
    void StartReplica()
    {
        CString text;
        ASSERT_EQ(m_replica.Start(m_farSettings, text), 1) << ::testing::PrintToString(text);
    }
    /// The text that says why the far block does not open; empty when it does.
    CString OpenFar()
    {
        ::setenv("ALIDADE_INSTANCE", m_farSettings.instance.c_str(), 1);
        CString text;
        const int opened = m_far.Open("Machine", text);
        ::setenv("ALIDADE_INSTANCE", m_here.GetName().c_str(), 1);
        return opened != 0 ? L"" : text;
    }
    bool WaitForFar()
    {
        return WaitUntil([&] { return OpenFar().empty(); });
    }
    bool WaitForFar(const char* path, const char* value)
    {
        return WaitUntil([&] { return m_far.GetDataItem(path).GetString() == value; });
    }

    COwnInstance m_here;
    std::unique_ptr<CNatsServer> m_server;
    T_IP_DATA_MIRROR m_settings, m_farSettings;
    CIPDataWriter m_writer{L"Tavro"};
    CIPData m_far{L"Tavro"};
    CIPDataMirror m_mirror;
    CIPDataReplica m_replica;
};

TEST_F(CSharedDataMirror, CarriesValuesOfEveryTypeAndKeepsThoseOfOneWriteTogether)
{
    constexpr int kCount = 100;
    Create(kCount);
    StartMirror();
    StartReplica();
    ASSERT_TRUE(WaitForFar());
    EXPECT_EQ(m_far.ListItems().size(), kCount + 2u);
    EXPECT_EQ(m_far.IsWriterAlive(), 1);
    std::vector<CIPDataItemIterator> items;
    for (int i = 0; i < kCount; ++i) {
        items.push_back(m_far.GetDataItem(("v[" + std::to_string(i) + "]").c_str()));
    }
    std::vector<double> values(kCount);
    int seen = 0;
    double last = 0.0;
    const bool arrived = WaitUntil([&] {
        for (int i = 0; i < 100; ++i) {
            SetAll(m_writer, kCount, last + i);
        }
        CIPData::ReadTogether(items, values);
        EXPECT_EQ(std::count(values.begin(), values.end(), values[0]), kCount);
        seen += values[0] != last ? 1 : 0;
        last = values[0];
        return seen >= 10 || ::testing::Test::HasFailure();
    });
    EXPECT_TRUE(arrived);

    m_writer.SetInt(kCount, -7);
    m_writer.SetString(kCount + 1, "f\xC3\xBCnf");
    m_writer.SetDouble(3, 0.1);
    EXPECT_TRUE(WaitForFar("i", "-7"));
    EXPECT_TRUE(WaitForFar("text", "f\xC3\xBCnf"));
    EXPECT_TRUE(WaitForFar("v[3]", "0.1"));
    m_writer.SetString(kCount + 1, "");
    EXPECT_TRUE(WaitForFar("text", ""));
}

TEST_F(CSharedDataMirror, GoesOnAfterTheServerWasAwayAndWhateverComesFirst)
{
    m_server->Stop();
    StartReplica();
    StartMirror();
    EXPECT_TRUE(WaitUntil([&] { return m_mirror.GetStatus().text.find(L"Cannot join") != CString::npos; }));
    m_server->Start();
    Create(1);
    ASSERT_TRUE(WaitForFar());
    m_writer.SetInt(0, 1);
    EXPECT_TRUE(WaitForFar("v[0]", "1"));

    m_server->Stop();
    EXPECT_TRUE(
        WaitUntil([&] { return !m_mirror.GetStatus().isConnected && !m_replica.GetStatus().isConnected; }));
    EXPECT_TRUE(WaitUntil([&] { return m_mirror.GetStatus().text == L"The NATS server is away"; }));
    m_writer.SetInt(0, 2);
    m_server->Start();
    EXPECT_TRUE(WaitForFar("v[0]", "2"));
    EXPECT_EQ(m_far.IsWriterAlive(), 1);
    EXPECT_TRUE(WaitUntil([&] { return m_mirror.GetStatus().text == L"Sending"; }));
}

TEST_F(CSharedDataMirror, StopsBesideAServerThatTakesNothing)
{
    m_settings.rate = 1000;
    constexpr int kCount = 10000;
    Create(kCount);
    StartMirror();
    EXPECT_TRUE(WaitUntil([&] { return m_mirror.GetStatus().messages > 0; }));
    m_server->Freeze();
    // Until no message has gone for a while: the mirror is held in one.
    std::uint64_t sent = 0;
    DWORD since = GetTickCount();
    EXPECT_TRUE(WaitUntil([&] {
        SetAll(m_writer, kCount, static_cast<double>(GetTickNanoseconds()));
        if (m_mirror.GetStatus().messages != sent) {
            sent = m_mirror.GetStatus().messages;
            since = GetTickCount();
        }
        return IsTimedout(since, 500, GetTickCount());
    }));
    m_mirror.Stop();
}

TEST_F(CSharedDataMirror, TakesTheBlockDownWhenItsWriterGoesAndMakesItAnewWithWhatTheNextOneWrites)
{
    Create(1);
    StartMirror();
    StartReplica();
    ASSERT_TRUE(WaitForFar());
    m_writer.Close();
    EXPECT_TRUE(WaitUntil([&] { return m_far.IsWriterAlive() == 0; }));
    EXPECT_FALSE(OpenFar().empty());

    Create(3);
    m_writer.SetInt(2, 9);
    ASSERT_TRUE(WaitForFar());
    EXPECT_EQ(m_far.ListItems().size(), 5u);
    EXPECT_TRUE(WaitForFar("v[2]", "9"));
}

TEST_F(CSharedDataMirror, TakesTheBlockDownWhenNothingIsHeardAnyMore)
{
    m_farSettings.silence = 1500; // three times the beat
    Create(1);
    StartMirror();
    StartReplica();
    ASSERT_TRUE(WaitForFar());
    m_mirror.Stop();
    EXPECT_TRUE(WaitUntil([&] { return m_far.IsWriterAlive() == 0; }));
    EXPECT_TRUE(WaitUntil([&] { return m_replica.GetStatus().text == L"Nothing is heard any more"; }));
    StartMirror(); // another one, as after a restart
    EXPECT_TRUE(WaitForFar());
}

TEST_F(CSharedDataMirror, SendsTheNewestAtABoundedRate)
{
    m_settings.rate = 20;
    Create(1);
    const std::int64_t start = GetTickNanoseconds();
    StartMirror();
    StartReplica();
    ASSERT_TRUE(WaitForFar());
    int value = 0;
    EXPECT_TRUE(WaitUntil([&] {
        m_writer.SetInt(0, ++value);
        return m_mirror.GetStatus().messages >= 6;
    }));
    const auto messages = static_cast<double>(m_mirror.GetStatus().messages);
    const double seconds = static_cast<double>(GetTickNanoseconds() - start) / 1e9;
    EXPECT_LE(messages, seconds * m_settings.rate + 1);
    EXPECT_TRUE(WaitForFar("v[0]", std::to_string(value).c_str()));
}

TEST_F(CSharedDataMirror, RefusesMessagesThatAreNoneAndGoesOn)
{
    Create(1);
    m_writer.SetInt(0, 4);
    StartMirror();
    StartReplica();
    ASSERT_TRUE(WaitForFar());
    ASSERT_TRUE(WaitForFar("v[0]", "4"));

    // As the mirror's own, but for the number of the mirror, and with what does not belong there.
    const auto number = [](std::uint64_t value, int bytes) {
        return std::string(reinterpret_cast<const char*>(&value), static_cast<std::size_t>(bytes));
    };
    const auto head = [&](int kind) {
        return "ALBM" + number(1, 2) + number(static_cast<std::uint64_t>(kind), 2) + number(77, 8) +
               number(1, 4);
    };
    const std::string messages[] = {
        "",      "ALBM",           std::string(100000, '\xFF'),
        head(1), head(2),          head(1) + number(0xFFFFFFFF, 4),
        head(9), head(3) + "more",
    };
    natsConnection* connection = nullptr;
    ASSERT_EQ(natsConnection_ConnectTo(&connection, m_settings.address.c_str()), NATS_OK);
    for (const char* subject : {"alidade.data.Tavro-Machine", "alidade.data.Tavro-Machine.ask"}) {
        for (const std::string& message : messages) {
            EXPECT_EQ(
                natsConnection_Publish(connection, subject, message.data(), static_cast<int>(message.size())),
                NATS_OK);
        }
    }
    EXPECT_EQ(natsConnection_FlushTimeout(connection, 10000), NATS_OK);
    natsConnection_Destroy(connection);
    EXPECT_TRUE(WaitUntil([&] { return m_replica.GetStatus().refused == std::size(messages); }));
    EXPECT_TRUE(WaitUntil([&] { return m_mirror.GetStatus().refused == std::size(messages); }));
    m_writer.SetInt(0, 5);
    EXPECT_TRUE(WaitForFar("v[0]", "5"));
    EXPECT_EQ(m_far.IsWriterAlive(), 1);
}

TEST_F(CSharedDataMirror, RefusesSettingsThatAreNone)
{
    const struct {
        const char* why;
        void (*change)(T_IP_DATA_MIRROR& settings);
    } kRows[] = {
        {"no address", [](T_IP_DATA_MIRROR& s) { s.address = "somewhere"; }},
        {"no block", [](T_IP_DATA_MIRROR& s) { s.blockName.clear(); }},
        {"no rate", [](T_IP_DATA_MIRROR& s) { s.rate = 0.0; }},
        {"a rate that is no number", [](T_IP_DATA_MIRROR& s) { s.rate = std::stod("nan"); }},
        {"no silence", [](T_IP_DATA_MIRROR& s) { s.silence = INFINITE; }},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.why);
        T_IP_DATA_MIRROR settings = m_settings;
        row.change(settings);
        CString text;
        EXPECT_EQ(m_mirror.Start(settings, text), 0);
        EXPECT_FALSE(text.empty());
        text.clear();
        EXPECT_EQ(m_replica.Start(settings, text), 0);
        EXPECT_FALSE(text.empty());
    }
}

TEST(SharedDataMirrorMessages, AreReadWholeOrNotAtAll)
{
    CBlockDirectory directory;
    CString text;
    ASSERT_TRUE(
        directory.Plan(std::vector<T_IP_DATA_ITEM>{{"i", IPDATA_INT, 0}, {"t", IPDATA_STRING, 4}}, text));
    const std::string definition("\2\0\0\0"
                                 "\1\0\0\0\0\0\0\0\1\0\0\0i"
                                 "\4\0\0\0\4\0\0\0\1\0\0\0t",
                                 30);
    const std::string values("\5\0\0\0\0\0\0\0\2\0\0\0"
                             "\x2A\0\0\0"
                             "\3\0\0\0abc",
                             23);
    const auto readDefinition = [&](std::string_view bytes) {
        CArchiveU archive(bytes.data(), bytes.size());
        return DecodeMirrorDefinition(archive);
    };
    std::vector<std::uint64_t> words;
    const auto readValues = [&](std::string_view bytes) {
        CArchiveU archive(bytes.data(), bytes.size());
        return DecodeMirrorValues(archive, directory, words);
    };
    ASSERT_EQ(readDefinition(definition).size(), 2u);
    EXPECT_EQ(readDefinition(definition)[1].path, "t");
    ASSERT_EQ(readValues(values), 5u);
    EXPECT_EQ(words[0], 0x2Au);
    EXPECT_EQ(words[1], 3u);

    const std::vector<std::uint64_t> before = words;
    for (std::size_t size = 0; size < definition.size(); ++size) {
        EXPECT_THROW(readDefinition(definition.substr(0, size)), CArchiveException) << size;
    }
    for (std::size_t size = 0; size < values.size(); ++size) {
        EXPECT_THROW(readValues(values.substr(0, size)), CArchiveException) << size;
    }
    EXPECT_THROW(readDefinition(definition + "x"), CArchiveException);
    EXPECT_THROW(readValues(values + "x"), CArchiveException);
    const struct {
        const char* why;
        std::size_t at;
        char byte;
    } kRows[] = {{"another count", 8, 3},
                 {"a text longer than its room", 16, 5},
                 {"a text of 2 GB", 19, '\x7F'},
                 {"a text that is not UTF-8", 20, '\xFF'}};
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.why);
        std::string bytes = values + "abcdef";
        bytes[row.at] = row.byte;
        bytes.resize(row.at == 16 ? 25 : 23);
        EXPECT_THROW(readValues(bytes), CArchiveException);
    }
    EXPECT_EQ(words, before);
}

} // namespace
} // namespace alidade
